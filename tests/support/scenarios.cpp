#include "support/scenarios.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "ztk/ztk.h"

namespace ztk_test {
namespace {

constexpr char kText[] = "<r><line n='1'>first</line><line n='2'>second</line></r>";
constexpr wchar_t kWideText[] = L"<r><line n='1'>first</line><line n='2'>second</line></r>";
constexpr int kLength = sizeof(kText) - 1;
constexpr DWORD kLong = 60'000;  // milliseconds

struct Handle {
    Handle(HANDLE owned) : value(owned) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { CloseHandle(value); }
    operator HANDLE() const { return value; }
    [[nodiscard]] bool Missing() const { return value == nullptr || value == INVALID_HANDLE_VALUE; }

    HANDLE value;
};

// A thread's handle, closed when the thread has ended.
struct Worker : Handle {
    using Handle::Handle;
    ~Worker() {
        while (!Missing() && WaitForSingleObject(value, INFINITE) != WAIT_OBJECT_0) {
        }
    }
};

HANDLE AutoResetEvent() {
    return CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

Outcome Judge(bool right) {
    return right ? Outcome::kDone : Outcome::kWrong;
}

// A server that is stopped at the end of the scope, and a connection that nobody took is closed.
struct Server final : ZTK::ISOListener {
    Server() : socket(this, 0, &endpoint) {
        socket.Listen();
        thread = ZTK::GetThreadHandle(socket.GetThreadID());
    }
    ~Server() {
        stopping = true;
        socket.Shutdown();
        { const Worker ends(thread); }
        closesocket(static_cast<SOCKET>(accepted));
    }
    // Whether the event came before the thread's end.
    [[nodiscard]] bool WaitFor(HANDLE event) const {
        const HANDLE either[] = {event, thread};
        return WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0;
    }
    bool FindPort() {
        sockaddr_in address{};
        int bytes = sizeof(address);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        const int code = ZTK::CSocketUtil::GetSockName(socket.GetSocket(), generic, &bytes);
        endpoint.port = ntohs(address.sin_port);
        return code == 0;
    }

    bool IsStopping() override { return stopping; }
    void OnSocketCreated(std::uint64_t) override {}
    void OnListen(const wchar_t*, const wchar_t*, unsigned short) override { SetEvent(listening); }
    void OnAccept(ZTK::CServerSocket*, std::uint64_t peer) override {
        accepted = peer;
        SetEvent(accept);
    }
    void OnError(ZTK::CServerSocket*, int) override {}

    ZTK::TSOSocketInfo endpoint{2, IPPROTO_TCP, SOCK_STREAM, L"127.0.0.1", 0};
    std::atomic<bool> stopping{false};
    std::uint64_t accepted = 0;
    Handle listening = AutoResetEvent(), accept = AutoResetEvent();
    ZTK::CServerSocket socket;
    HANDLE thread;
};

// Sends back what it receives, or collects it until it has all of the text.
struct Receiver final : ZTK::ISOReceiver {
    explicit Receiver(bool is_echo) : echo(is_echo) {}
    bool IsStopping() override { return false; }
    bool OnReceive(ZTK::CClientSocket* socket, unsigned char* data, int length) override {
        if (echo) {
            return socket->Send(data, length) == length;
        }
        std::memcpy(text + have, data, static_cast<std::size_t>(length));
        have += length;
        return have < kLength;
    }
    void OnDisconnect(ZTK::CClientSocket*) override {}

    const bool echo;
    char text[kLength + 1] = {};
    int have = 0;
};

// Whether the socket's receiver thread runs; else shuts the socket down, which a thread that finds
// no buffer does not.
bool Runs(ZTK::CClientSocket& socket, const Worker& thread) {
    const bool runs = !thread.Missing() && socket.GetBuffer() != nullptr;
    if (!runs) {
        socket.Shutdown();
    }
    return runs;
}

Outcome TalkOverSockets() {
    Server server;
    Receiver collector(false), echo(true);
    ZTK::CClientSocket client(&collector, 0);
    if (server.WaitFor(server.listening) && server.FindPort() &&
        client.Connect(&server.endpoint, kLong) && server.WaitFor(server.accept)) {
        ZTK::CClientSocket peer(&echo, std::exchange(server.accepted, 0), 0);
        const Worker echoing(peer.Receive(0)), collecting(client.Receive(0));
        if (!Runs(peer, echoing) || !Runs(client, collecting) ||
            !client.SendAll(kText, kLength, kLong)) {
            client.Shutdown();
        }
    }
    client.Shutdown();
    if (collector.have < kLength) {
        return Outcome::kReported;
    }
    return Judge(std::memcmp(collector.text, kText, kLength) == 0);
}

Outcome LookUpAddresses() {
    addrinfo* list = nullptr;
    ZTK::TSOHostNameW host{};
    if (!ZTK::CSocketUtil::GetAddrInfoW(L"127.0.0.1", 4711, nullptr, &list)) {
        return Outcome::kReported;
    }
    const int code = ZTK::CSocketUtil::GetHostNameW(
        list->ai_addr, static_cast<int>(list->ai_addrlen), &host, NI_NUMERICHOST);
    freeaddrinfo(list);
    return code != 0 ? Outcome::kReported : Judge(ZTK::StrEqual(host.name, L"127.0.0.1", true));
}

// A file that is removed at the end of the scope; its name is the calling thread's own.
struct ScratchFile {
    ScratchFile() {
        std::snprintf(path, sizeof(path), "/tmp/ztk-scenario-%d",
                      static_cast<int>(GetCurrentThreadId()));
        for (std::size_t i = 0; i < sizeof(path); ++i) {
            wide_path[i] = static_cast<wchar_t>(path[i]);
        }
    }
    ~ScratchFile() { std::remove(path); }

    char path[64] = {};
    wchar_t wide_path[64] = {};
};

// The process has one trace log, so one thread at a time plays with it. The lock stays until the
// process is gone: threads may play while it exits.
Outcome WriteTraceLog() {
    static ZTK::CLock& turn = *new ZTK::CLock;
    const ScratchFile file;
    turn.Lock();
    const bool open = ZTKOpenTraceLog(file.wide_path);
    if (open) {
        ZTKTrace(L"%d lines: %ls\n", 2, kWideText);
        ZTKWriteTraceLog(kWideText);
        ZTKCloseTraceLog();
    }
    turn.Unlock();
    return open ? Outcome::kDone : Outcome::kReported;
}

Outcome LoadAndSearch() {
    const ScratchFile file;
    std::FILE* stream = std::fopen(file.path, "w+");
    if (stream == nullptr) {
        return Outcome::kReported;
    }
    for (int i = 0; i < 300; ++i) {
        std::fprintf(stream, "%s %d\n", kText, i);
    }
    std::rewind(stream);
    ZTK::CBuffer<char> lines, text;
    const int count = lines.Load(stream);
    const bool failed = std::ferror(stream) != 0 || count == 0;
    std::fclose(stream);
    stream = nullptr;
    const char* const last = lines.GetNext(stream, 299);
    const Handle found(CreateFileW(file.wide_path, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                   OPEN_EXISTING, 0, nullptr));
    ZTK::CSearchQuery<char> query;
    query.SetTerm("second", 0, false);
    if (failed || last == nullptr || found.Missing() ||
        text.Search(found, 0, query, nullptr, nullptr) != 300) {
        return Outcome::kReported;
    }
    return Judge(count == 300 && ZTK::StrFind(last, "> 299") != nullptr);
}

Outcome ReadXml() {
    ZTK::CXml xml;
    ZTK::CXMLTag* const root = xml.LoadXML(kWideText) ? xml.GetRoot() : nullptr;
    const std::unique_ptr<ZTK::CXMLTag> line(root == nullptr ? nullptr : root->GetTag(L"line"));
    ZTK::CXMLAttribute* const number = line == nullptr ? nullptr : line->GetAttribute(L"n");
    if (number == nullptr) {
        return Outcome::kReported;
    }
    return Judge(number->ToInt() == 1 && ZTK::StrEqual(line->GetValue(), L"first", true));
}

Outcome ConvertText() {
    const wchar_t* const original = L"\x3042 text";
    const char* const encoded = ZTK::StrConvert(original, 65001);
    const wchar_t* const decoded = ZTK::StrConvert(encoded, 65001);
    const char* const shifted = ZTK::StrConvert(original, 50220);
    const char* const number = ZTK::StrFormat("%5.2f|%s", 1.5, "x");
    if (ZTK::StrLength(decoded) == 0 || ZTK::StrLength(shifted) == 0) {
        return Outcome::kReported;
    }
    return Judge(ZTK::StrEqual(decoded, original, true) && *shifted == '\x1B' &&
                 ZTK::StrEqual(number, " 1.50|x", true));
}

DWORD WINAPI Signal(void* event) {
    return static_cast<DWORD>(SetEvent(event));
}

struct ClosedSet : ZTK::CSASync {
    ~ClosedSet() override { CloseAll(); }
};

Outcome WaitForThreads() {
    ClosedSet set;
    void* const event = set.CreateEventW(0, 0, nullptr, true);
    void* const mutex = set.CreateMutexW(0, 1, L"ztk-scenario");
    const Handle other(CreateMutexW(nullptr, FALSE, L"ztk-scenario"));
    const Worker worker(CreateThread(nullptr, 0, Signal, event, 0, nullptr));
    const HANDLE all[] = {event, worker, other};
    if (mutex == nullptr || WaitForMultipleObjects(3, all, TRUE, INFINITE) == WAIT_FAILED) {
        return Outcome::kReported;
    }
    return Judge(ReleaseMutex(mutex) != FALSE && set.IsSignalled(0) && set.Wait(1, 0) == 0);
}

}  // namespace

const Scenario kScenarios[kScenarioCount] = {
    {"sockets", TalkOverSockets},
    {"lookup", LookUpAddresses},
    {"log", WriteTraceLog},
    {"load", LoadAndSearch},
    {"xml", ReadXml},
    {"text", ConvertText},
    {"waits", WaitForThreads},
};

Outcome Play(const Scenario& scenario) {
    try {
        return scenario.play();
    } catch (const _com_error&) {
        return Outcome::kReported;
    } catch (const std::bad_alloc&) {
        return Outcome::kReported;
    }
}

}  // namespace ztk_test
