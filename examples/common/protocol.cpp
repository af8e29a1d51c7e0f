// The wire format of the examples.
#include "common/protocol.h"

#include <algorithm>
#include <cstring>

namespace example {

namespace {

constexpr char kMagic[] = {'Z', 'D', 'B', 'G'};
constexpr char kTrailerMark[] = {'\n', '\0'};

// Integers go over the wire byte by byte, lowest first, whatever the machine's own order is.
void WriteNumber(char* to, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        to[i] = static_cast<char>(value >> (8 * i) & 0xFF);
    }
}

std::uint32_t ReadNumber(const char* bytes, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    return value;
}

// FNV-1a over header, body and the trailer's mark, piece by piece.
constexpr std::uint32_t kFirstSum = 2166136261u;
std::uint32_t Checksum(std::uint32_t sum, std::string_view bytes) {
    for (const char byte : bytes) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 16777619u;
    }
    return sum;
}

// What stands around a body.
struct Frame {
    Frame(Kind kind, std::uint32_t sequence, std::string_view body) {
        std::memcpy(header, kMagic, sizeof kMagic);
        WriteNumber(header + 4, static_cast<std::uint32_t>(body.size()), 4);
        WriteNumber(header + 8, sequence, 4);
        WriteNumber(header + 12, static_cast<std::uint32_t>(kind), 2);
        WriteNumber(header + 14, 0, 2);
        std::memcpy(trailer, kTrailerMark, sizeof kTrailerMark);
        const std::uint32_t sum = Checksum(Checksum(kFirstSum, {header, sizeof header}), body);
        WriteNumber(trailer + 2, Checksum(sum, {kTrailerMark, sizeof kTrailerMark}), 4);
    }

    char header[kHeaderBytes];
    char trailer[kTrailerBytes];
};

}  // namespace

void AppendMessage(std::string* out, Kind kind, std::uint32_t sequence, std::string_view body) {
    const Frame frame(kind, sequence, body);
    out->append(frame.header, sizeof frame.header);
    out->append(body);
    out->append(frame.trailer, sizeof frame.trailer);
}

bool AddMessage(ZTK::CSendBatch* batch, Kind kind, std::uint32_t sequence, std::string_view body) {
    const Frame frame(kind, sequence, body);
    return batch->Add(frame.header, sizeof frame.header) && batch->Add(body.data(), body.size()) &&
           batch->Add(frame.trailer, sizeof frame.trailer);
}

bool SendAll(ZTK::CClientSocket& socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const int piece = static_cast<int>(std::min<std::size_t>(bytes.size(), 1 << 20));
        const int sent = socket.Send(bytes.data(), piece);
        if (sent < 1) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool Message::ParseHeader(int* length, int* offset, int* trailer) {
    if (const char* problem = HeaderProblem()) {
        *problem_ = problem;
        return false;
    }
    if (GetRecvSize() < kHeaderBytes) {
        return false;
    }
    *length = static_cast<int>(ReadNumber(GetPacket() + 4, 4));
    *offset = kHeaderBytes;
    *trailer = kTrailerBytes;
    return true;
}

const char* Message::HeaderProblem() {
    const auto received = static_cast<std::size_t>(GetRecvSize());
    if (std::memcmp(GetPacket(), kMagic, std::min(received, sizeof kMagic)) != 0) {
        return "wrong magic: the other side does not speak this protocol";
    }
    if (received >= 8 && ReadNumber(GetPacket() + 4, 4) > kMaxBodyBytes) {
        return "the announced length is absurd";
    }
    return nullptr;
}

bool Message::Check() {
    const char* problem = PacketProblem();
    intact_ = problem == nullptr;
    if (!intact_) {
        *problem_ = problem;
    }
    return intact_;
}

const char* Message::PacketProblem() {
    const auto checked = static_cast<std::size_t>(GetPacketSize()) - 4;
    const char* packet = GetPacket();
    if (Checksum(kFirstSum, {packet, checked}) != ReadNumber(packet + checked, 4)) {
        return "the checksum does not match";
    }
    const Kind kind = GetKind();
    if (kind < Kind::kRequest || kind > Kind::kEvent) {
        return "unknown kind of message";
    }
    return nullptr;
}

Kind Message::GetKind() {
    return static_cast<Kind>(ReadNumber(GetPacket() + 12, 2));
}

std::uint32_t Message::GetSequence() {
    return ReadNumber(GetPacket() + 8, 4);
}

std::string_view Message::GetBody() {
    if (GetMsg() == nullptr) {  // an empty body
        return {};
    }
    return {GetMsg(), static_cast<std::size_t>(GetMsgLength())};
}

}  // namespace example
