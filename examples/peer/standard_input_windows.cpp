// The standard input and its console on Windows.
#include <ztk/ztk.h>
#include <iterator>

#include "common/utf.h"
#include "peer/standard_input.h"

namespace example {

namespace {

// Written by the constructor of Terminal.
DWORD g_input_mode_before = 0;
DWORD g_output_mode_before = 0;
UINT g_code_page_before = 0;

HANDLE Input() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

HANDLE Output() {
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

bool IsHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

}  // namespace

long ReadStandardInput(char* bytes, std::size_t count) {
    DWORD read = 0;
    if (ReadFile(Input(), bytes, static_cast<DWORD>(count), &read, nullptr) != 0) {
        return static_cast<long>(read);
    }
    return ::GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;  // how a pipe ends
}

bool Terminal::IsThere() {
    DWORD mode = 0;
    return GetConsoleMode(Input(), &mode) != 0 && GetConsoleMode(Output(), &mode) != 0;
}

// Ctrl-C still is a signal, and the output understands the usual escape sequences.
Terminal::Terminal() {
    GetConsoleMode(Input(), &g_input_mode_before);
    GetConsoleMode(Output(), &g_output_mode_before);
    g_code_page_before = GetConsoleOutputCP();
    SetConsoleMode(Input(), ENABLE_PROCESSED_INPUT);
    SetConsoleMode(Output(), ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT |
                                 ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    SetConsoleOutputCP(CP_UTF8);
}

Terminal::~Terminal() {
    SetConsoleOutputCP(g_code_page_before);
    SetConsoleMode(Output(), g_output_mode_before);
    SetConsoleMode(Input(), g_input_mode_before);
}

// A character may come in two units, and the second one in a read of its own.
std::string Terminal::Read() {
    wchar_t units[128] = {};
    DWORD count = 0;
    if (ReadConsoleW(Input(), units, std::size(units) - 2, &count, nullptr) == 0 || count == 0) {
        return "";
    }
    DWORD second = 0;
    if (IsHighSurrogate(units[count - 1])) {
        ReadConsoleW(Input(), units + count, 1, &second, nullptr);
    }
    units[count + second] = 0;
    return ToUtf8(units);
}

}  // namespace example
