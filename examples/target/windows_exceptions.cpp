// Exceptions of a debuggee: which of them stop it, and what they are called.
#include "target/windows_exceptions.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace example {

namespace {

struct Named {
    DWORD code;
    const char* name;
};

constexpr Named kFaults[] = {
    {EXCEPTION_ACCESS_VIOLATION, "EXCEPTION_ACCESS_VIOLATION"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
    {EXCEPTION_DATATYPE_MISALIGNMENT, "EXCEPTION_DATATYPE_MISALIGNMENT"},
    {EXCEPTION_FLT_DENORMAL_OPERAND, "EXCEPTION_FLT_DENORMAL_OPERAND"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
    {EXCEPTION_FLT_INEXACT_RESULT, "EXCEPTION_FLT_INEXACT_RESULT"},
    {EXCEPTION_FLT_INVALID_OPERATION, "EXCEPTION_FLT_INVALID_OPERATION"},
    {EXCEPTION_FLT_OVERFLOW, "EXCEPTION_FLT_OVERFLOW"},
    {EXCEPTION_FLT_STACK_CHECK, "EXCEPTION_FLT_STACK_CHECK"},
    {EXCEPTION_FLT_UNDERFLOW, "EXCEPTION_FLT_UNDERFLOW"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "EXCEPTION_ILLEGAL_INSTRUCTION"},
    {EXCEPTION_IN_PAGE_ERROR, "EXCEPTION_IN_PAGE_ERROR"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
    {EXCEPTION_INT_OVERFLOW, "EXCEPTION_INT_OVERFLOW"},
    {EXCEPTION_INVALID_DISPOSITION, "EXCEPTION_INVALID_DISPOSITION"},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION, "EXCEPTION_NONCONTINUABLE_EXCEPTION"},
    {EXCEPTION_PRIV_INSTRUCTION, "EXCEPTION_PRIV_INSTRUCTION"},
    {EXCEPTION_STACK_OVERFLOW, "EXCEPTION_STACK_OVERFLOW"},
    {0xC0000374, "STATUS_HEAP_CORRUPTION"},
    {0xC0000409, "STATUS_STACK_BUFFER_OVERRUN"},
    {0xC0000420, "STATUS_ASSERTION_FAILURE"},
};

constexpr Named kOthers[] = {
    {EXCEPTION_BREAKPOINT, "EXCEPTION_BREAKPOINT"},
    {EXCEPTION_SINGLE_STEP, "EXCEPTION_SINGLE_STEP"},
    {EXCEPTION_GUARD_PAGE, "EXCEPTION_GUARD_PAGE"},
    {0x20474343, "a C++ exception"},
    {0xC0000135, "STATUS_DLL_NOT_FOUND"},
    {0xC0000139, "STATUS_ENTRYPOINT_NOT_FOUND"},
    {0xC000013A, "STATUS_CONTROL_C_EXIT"},
    {0xC0000142, "STATUS_DLL_INIT_FAILED"},
    {0xE06D7363, "a C++ exception"},
};

template <std::size_t count>
const Named* Find(const Named (&list)[count], DWORD code) {
    const Named* const found =
        std::find_if(std::begin(list), std::end(list),
                     [code](const Named& named) { return named.code == code; });
    return found == std::end(list) ? nullptr : found;
}

std::string Hex(unsigned long long number) {
    char text[20];
    (void)std::snprintf(text, sizeof text, "0x%llx", number);
    return text;
}

}  // namespace

bool IsFault(DWORD code) {
    return Find(kFaults, code) != nullptr;
}

std::string ExceptionName(DWORD code) {
    const Named* const fault = Find(kFaults, code);
    const Named* const named = fault != nullptr ? fault : Find(kOthers, code);
    return named != nullptr ? named->name : "exception " + Hex(code);
}

std::string DescribeException(const EXCEPTION_RECORD& record) {
    std::string text = ExceptionName(record.ExceptionCode);
    const bool has_address = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION ||
                             record.ExceptionCode == EXCEPTION_IN_PAGE_ERROR;
    if (has_address && record.NumberParameters >= 2) {
        text += " at " + Hex(record.ExceptionInformation[1]);
    }
    return text;
}

bool IsExceptionCode(DWORD exit_code) {
    return exit_code >= 0xC0000000 && exit_code != 0xFFFFFFFF;  // -1 is a program's own word
}

}  // namespace example
