// Packets of the remote protocol that debuggers speak with gdbserver.
#include "gdb_target/gdb_packet.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace example {

namespace {

constexpr int kCheckBytes = 3;  // '#' and two digits

unsigned CheckSum(std::string_view body) {
    unsigned sum = 0;
    for (const char c : body) {
        sum += static_cast<unsigned char>(c);
    }
    return sum & 0xFF;
}

// A '*' repeats the character before it; the one behind it says how often. The result is limited,
// because a small packet could stand for a huge text.
bool ExpandRepetitions(std::string_view text, std::string* out) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '*') {
            out->push_back(text[i]);
            continue;
        }
        const int count = ++i < text.size() ? static_cast<unsigned char>(text[i]) - 29 : 0;
        if (out->empty() || count < 3 || count > 126 - 29 || out->size() > kMaxPacketBytes) {
            return false;
        }
        out->append(static_cast<std::size_t>(count), out->back());
    }
    return true;
}

}  // namespace

// Every packet ends where its '#' is, so the length is known once that has arrived. A long one
// comes in many chunks, of which each is searched once.
bool GdbPacket::ParseHeader(int* length, int* offset, int* trailer) {
    const std::string_view bytes(GetPacket(), static_cast<std::size_t>(GetRecvSize()));
    const std::size_t start = std::min(bytes.find_first_not_of("+-"), bytes.size());
    if (bytes.substr(0, start).find('-') != std::string_view::npos) {
        *problem_ = "the server did not receive a packet intact";
    } else if (start < bytes.size() && bytes[start] != '$' && bytes[start] != '%') {
        *problem_ = "these bytes are no packets; this is not a gdbserver";
    }
    if (*problem_ != nullptr || start == bytes.size()) {
        return false;
    }
    const std::size_t end = bytes.find('#', std::max(start, searched_));
    searched_ = end == std::string_view::npos ? bytes.size() : 0;
    if (end == std::string_view::npos) {
        if (bytes.size() > static_cast<std::size_t>(kMaxPacketBytes)) {
            *problem_ = "a packet without an end; this is not a gdbserver";
        }
        return false;
    }
    *offset = static_cast<int>(start + 1);
    *length = static_cast<int>(end - start - 1);
    *trailer = kCheckBytes;
    return true;
}

bool GdbPacket::IsNotification() {
    return GetPacket()[GetPacketSize() - kCheckBytes - GetMsgLength() - 1] == '%';
}

bool GdbPacket::Decode(std::string* body) {
    body->clear();
    const int length = GetMsgLength();
    const char* digits = GetPacket() + GetPacketSize() - kCheckBytes + 1;
    const std::string_view sent(digits - 1 - length, static_cast<std::size_t>(length));
    unsigned sum = 0;
    const auto parsed = std::from_chars(digits, digits + 2, sum, 16);
    return parsed.ptr == digits + 2 && sum == CheckSum(sent) && ExpandRepetitions(sent, body);
}

ZTK::CSocketMsg* GdbReceiver::CreateMessage() {
    made_.push_back(std::make_unique<GdbPacket>(&problem_));
    return made_.back().get();
}

std::string MakePacket(std::string_view body) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", CheckSum(body));
    return "$" + std::string(body) + "#" + digits;
}

bool FindItem(std::string_view list, std::string_view name, std::string_view* value) {
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(';'), list.size());
        const std::string_view item = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        if (item.starts_with(name)) {
            *value = item.substr(name.size());
            return true;
        }
    }
    return false;
}

bool Unescape(std::string_view data, std::string* out) {
    for (std::size_t i = 0; i < data.size(); ++i) {
        if (data[i] != '}') {
            out->push_back(data[i]);
        } else if (++i < data.size()) {
            out->push_back(static_cast<char>(data[i] ^ 0x20));
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace example
