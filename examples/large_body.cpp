// Reads a large body: a peer sends an XML document of 2 MB in UTF-8 over loopback, framed by its
// length; the agent reads it, and answers with its text in standard Base64, framed alike. Checks
// itself, takes no arguments, and returns 0 if all of it worked.
#include <ztk/ztk.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kHeader = 4;  // the length of the body, lowest byte first
constexpr DWORD kPatience = 60000;  // milliseconds

class Message : public ZTK::CSocketMsg {
  public:
    ~Message() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        if (GetRecvSize() < static_cast<int>(kHeader)) {
            return false;
        }
        const auto* const header = reinterpret_cast<const unsigned char*>(GetPacket());
        *length = header[0] | header[1] << 8 | header[2] << 16;
        *offset = kHeader;
        *trailer = 0;
        return header[3] == 0;
    }
    std::string_view Body() { return {GetMsg(), static_cast<std::size_t>(GetMsgLength())}; }
};

// One side of the connection: gathers what arrives, and wakes whoever waits for a message.
class Side : public ZTK::ISOReceiver, public ZTK::CSocketMsgReceiver {
  public:
    ZTK::CSocketMsg* CreateMessage() override { return &message_; }  // there is one each way
    bool IsStopping() override { return false; }
    bool OnReceive(ZTK::CClientSocket*, unsigned char* data, int length) override {
        if (AddMessage(data, length)) {
            SetEvent(arrived_.get());
        }
        return true;
    }
    void OnDisconnect(ZTK::CClientSocket*) override { SetEvent(arrived_.get()); }

    // Empty when none came.
    std::string_view WaitForBody() {
        WaitForSingleObject(arrived_.get(), kPatience);
        return Pop() != nullptr ? message_.Body() : std::string_view();
    }

  private:
    Message message_;
    ZTK::COwnedHandle arrived_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

class Door : public ZTK::ISOListener {
  public:
    bool IsStopping() override { return false; }
    void OnSocketCreated(std::uint64_t) override {}
    void OnListen(const wchar_t*, const wchar_t*, unsigned short) override {
        SetEvent(changed_.get());
    }
    void OnAccept(ZTK::CServerSocket*, std::uint64_t socket) override {
        accepted_ = socket;
        SetEvent(changed_.get());
    }
    void OnError(ZTK::CServerSocket*, int) override { SetEvent(changed_.get()); }

    std::uint64_t WaitForChange() {
        WaitForSingleObject(changed_.get(), kPatience);
        return accepted_;
    }

  private:
    ZTK::COwnedHandle changed_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<std::uint64_t> accepted_{0};
};

bool SendFramed(ZTK::CClientSocket& socket, const std::string& body) {
    std::string packet(kHeader, '\0');
    for (std::size_t i = 0; i < kHeader; ++i) {
        packet[i] = static_cast<char>(body.size() >> 8 * i);
    }
    packet += body;
    return socket.SendAll(packet.data(), packet.size(), kPatience);
}

// What the agent makes of a body.
std::string Answer(std::string_view body) {
    try {
        std::size_t bad = 0;
        const auto text = ZTK::ToWideStrict(body, &bad);
        if (!text) {
            return "no UTF-8 at byte " + std::to_string(bad);
        }
        ZTK::CXml xml;
        ZTK::CXMLLoadError error;
        if (!xml.LoadXML(text->c_str())) {
            return xml.GetLoadError(error) ? ZTK::Describe(error) : "no XML";
        }
        return ZTK::Base64EncodeStandard(ZTK::ToUtf8(xml.GetRoot()->GetValue()));
    } catch (const _com_error& error) {
        return ZTK::Describe(error);
    }
}

bool Check(bool good, const char* what) {
    std::printf("%s: %s\n", good ? "ok" : "FAILED", what);
    return good;
}

bool Converse(ZTK::CClientSocket& agent, Side& at_agent, ZTK::CClientSocket& peer, Side& at_peer) {
    std::string text;
    while (text.size() < 2u << 20) {
        text +=
            "Gr\xC3\xBC\xC3\x9F"
            "e, \xE4\xB8\xAD\xE6\x96\x87, \xF0\x9F\x98\x80;";
    }
    const ZTK::COwnedHandle agent_thread(agent.Receive(0)), peer_thread(peer.Receive(0));
    bool good = Check(SendFramed(peer, "<body>" + text + "</body>"), "the peer sends 2 MB");
    const std::string answer = Answer(at_agent.WaitForBody());
    good = Check(SendFramed(agent, answer), "the agent answers") && good;
    std::size_t bad = 0;
    const auto decoded = ZTK::Base64DecodeStandard(at_peer.WaitForBody(), &bad);
    good = Check(decoded == text, "the answer is the text in standard Base64") && good;
    if (!decoded) {
        std::printf("wrong at %zu: %.60s\n", bad, answer.c_str());
    }
    for (ZTK::CClientSocket* const socket : {&agent, &peer}) {
        socket->Shutdown();
        socket->WaitForThreadExit(-1);
    }
    return good;
}

}  // namespace

int main() {
    ZTK::InitWSA();
    bool good = false;
    {
        Door door;
        ZTK::TSOSocketInfo endpoint = {2, IPPROTO_TCP, 1, L"127.0.0.1", 0};
        ZTK::CServerSocket server(&door, 0, &endpoint);
        server.Listen();
        door.WaitForChange();
        sockaddr_in address = {};
        int size = sizeof address;
        ZTK::CSocketUtil::GetSockName(server.GetSocket(), reinterpret_cast<sockaddr*>(&address),
                                      &size);
        endpoint.port = ntohs(address.sin_port);
        Side at_agent, at_peer;
        ZTK::CClientSocket peer(&at_peer, 0);
        if (Check(peer.Connect(&endpoint), "connects")) {
            ZTK::CClientSocket agent(&at_agent, door.WaitForChange(), 0);
            good = Converse(agent, at_agent, peer, at_peer);
        }
        server.Shutdown();
        server.WaitForThreadExit(-1);
    }
    ZTK::CloseWSA();
    return good ? 0 : 1;
}
