// Values that a debugger shows: scripts/printers-check compares what it prints at Stop.
#include "ztk/ztk.h"

// Only the debugger looks at some of them.
#pragma GCC diagnostic ignored "-Wunused-variable"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"

namespace {

// "3:abc;" is a body of three bytes with its header and a trailer of one.
struct Packet : ZTK::CSocketMsg {
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        *length = GetPacket()[0] - '0';
        *offset = 2;
        *trailer = 1;
        return GetRecvSize() > 1;
    }
};

[[gnu::noinline]] void Stop() {
    asm volatile("");
}

void Show() {
    ZTK::String text = L"Gr\u00FC\u00DFe\n\xD83D\xDE00 \xD800";
    ZTK::String none;
    const wchar_t* wide = L"wide \"text\"";
    wchar_t letter = L'\u00FC';
    wchar_t letters[8] = L"array";
    ZTK::WideText counted(L"counted\0text", 12);
    [[maybe_unused]] ZTK::WideView view = counted;
    ZTK::CBuffer<char> lines;
    lines = "one\ntwo\nthree";
    lines.ToLines();
    ZTK::CBuffer<wchar_t> words;
    words = L"\u20AC 5";
    ZTK::CPtrArray<std::int64_t> empty(4);
    Packet whole, part, fresh;
    char bytes[] = "3:abc;";
    whole.Add(bytes, 6);
    part.Add(bytes, 4);
    ZTK::CXml xml(L"<list id='7' of='\u00FC'>text<item/><item>5</item></list>");
    ZTK::CXMLTag* root = xml.GetRoot();
    ZTK::CXMLAttribute* id = root->GetAttribute(L"id");
    ZTK::CXMLTag loose(L"loose");
    HANDLE set = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    HANDLE clear = CreateEventW(nullptr, FALSE, FALSE, L"ztk printed values");
    HANDLE free_mutex = CreateMutexW(nullptr, FALSE, nullptr);
    HANDLE own_mutex = CreateMutexW(nullptr, TRUE, nullptr);
    HANDLE thread = CreateThread(
        nullptr, 0, [](void*) -> DWORD { return 3; }, nullptr, CREATE_SUSPENDED, nullptr);
    HANDLE closed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(closed);
    HANDLE nothing = nullptr, invalid = INVALID_HANDLE_VALUE;
    Stop();
    ResumeThread(thread);
    WaitForSingleObject(thread, INFINITE);
    for (HANDLE open : {set, clear, free_mutex, own_mutex, thread}) {
        CloseHandle(open);
    }
}

}  // namespace

int main() {
    Show();
    return 0;
}
