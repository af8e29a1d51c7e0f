// A small host: waits on a thread handle, formats a text, frees a block of the library's, talks to
// a socket of its own. Written once for both targets; returns 0 if all of it worked.
#include <ztk/ztk.h>

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
    Check(WaitForMultipleObjects(2, both, TRUE, 10000) == WAIT_OBJECT_0, "waits for both");
    DWORD code = 0;
    Check(GetExitCodeThread(thread, &code) && code == 7, "thread's exit code");
    CloseHandle(thread);
    CloseHandle(event);
}

void CheckSockets() {
    ZTK::InitWSA();
    ZTK::TSOSocketInfo nobody = {2, IPPROTO_TCP, 1, L"127.0.0.1", 1};
    ZTK::CClientSocket client(0);
    Check(!client.Connect(&nobody) && client.GetLastError() == WSAECONNREFUSED, "is refused");
    client.Shutdown();
    ZTK::CloseWSA();
}

}  // namespace

int main() {
    Check(sizeof(wchar_t) == 2, "16-bit wide characters");
    Check(ZTK::IsLibraryCompatible() && ZTK::GetLibraryVersion() == ZTK_VERSION &&
              std::strcmp(ZTK::GetLibraryVersionText(), ZTK_VERSION_TEXT) == 0,
          "the loaded library has the headers' version");
    CheckThreads();
    CheckSockets();
    const char* text = ZTK::StrFormat("%d-%hs-%ls", 42, "narrow", L"wide");
    Check(std::strcmp(text, "42-narrow-wide") == 0, "formats");
    Check(ZTK::CXml(L"<a>text</a>").GetRoot() != nullptr, "reads a document");
    wchar_t* copy = ZTK::StrDupW(L"a block that the library allocated");
    Check(HeapFree(GetProcessHeap(), 0, copy) != 0, "frees the library's block");
    return failed ? 1 : 0;
}
