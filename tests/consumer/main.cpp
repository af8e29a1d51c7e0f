// A small host: waits on a thread handle, sets an event, formats a text and sends it to itself over
// a loopback socket. Written once for both targets; returns 0 if all of it worked.
#include <ztk/ztk.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

bool failed = false;

void Check(bool good, const char* what) {
    std::printf("%s: %s\n", good ? "ok" : "FAILED", what);
    failed = failed || !good;
}

DWORD WINAPI SetTheEvent(LPVOID event) {
    return SetEvent(static_cast<HANDLE>(event)) ? 7 : 1;
}

void CheckThreads() {
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = CreateThread(nullptr, 0, SetTheEvent, event, 0, nullptr);
    const HANDLE both[] = {event, thread};
    Check(WaitForMultipleObjects(2, both, TRUE, INFINITE) == WAIT_OBJECT_0,
          "waits for event and thread");
    DWORD code = 0;
    Check(GetExitCodeThread(thread, &code) && code == 7, "thread's exit code");
    CloseHandle(thread);
    CloseHandle(event);
}

// Accepts one connection and lets another thread know of it.
class Listener : public ZTK::ISOListener {
  public:
    bool IsStopping() override { return stopping; }
    void OnSocketCreated(std::uint64_t) override {}
    void OnListen(const wchar_t*, const wchar_t*, unsigned short) override { SetEvent(listening); }
    void OnError(ZTK::CServerSocket*, int) override { SetEvent(listening); }
    void OnAccept(ZTK::CServerSocket*, std::uint64_t socket) override {
        accepted = socket;
        SetEvent(connected);
    }

    HANDLE listening = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE connected = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<std::uint64_t> accepted{0};
    std::atomic<bool> stopping{false};
};

unsigned short PortOf(std::uint64_t socket) {
    sockaddr_in address = {};
    int bytes = sizeof address;
    ZTK::CSocketUtil::GetSockName(socket, reinterpret_cast<sockaddr*>(&address), &bytes);
    return ntohs(address.sin_port);
}

void CheckSockets() {
    ZTK::TSOSocketInfo endpoint = {2, IPPROTO_TCP, 1, L"127.0.0.1", 0};
    Listener listener;
    ZTK::CServerSocket server(&listener, 0, &endpoint);
    Check(server.Listen() == 1, "listener thread");
    WaitForSingleObject(listener.listening, INFINITE);
    endpoint.port = PortOf(server.GetSocket());

    ZTK::CClientSocket client(0);
    Check(client.Connect(&endpoint), "connects");
    WaitForSingleObject(listener.connected, INFINITE);
    const char* text = ZTK::StrFormat("%d-%hs-%ls", 42, "narrow", L"wide");
    Check(std::strcmp(text, "42-narrow-wide") == 0, "formats");
    client.Send(text, static_cast<int>(std::strlen(text)));

    ZTK::CClientSocket peer(nullptr, listener.accepted, 0);
    const int received = peer.Read();
    Check(received == 14 && std::memcmp(peer.GetBuffer(), text, 14) == 0, "receives what it sent");
    peer.Shutdown();
    client.Shutdown();
    listener.stopping = true;
    server.Shutdown();
    server.WaitForThreadExit(-1);
    CloseHandle(listener.listening);
    CloseHandle(listener.connected);
}

}  // namespace

int main() {
    Check(sizeof(wchar_t) == 2, "16-bit wide characters");
    CheckThreads();
    ZTK::InitWSA();
    CheckSockets();
    ZTK::CloseWSA();
    wchar_t* copy = ZTK::StrDupW(L"a block that the library allocated");
    Check(HeapFree(GetProcessHeap(), 0, copy) != 0, "frees the library's block");
    return failed ? 1 : 0;
}
