// Exceptions of a debuggee: which of them stop it, and what they are called.
#pragma once

#include <string>

#include <ztk/ztk.h>

namespace example {

// Whether the exception is a fault, which stops the debuggee before its own handlers see it. All
// others are ordinary events of a program's life, such as a C++ exception, and go to the debuggee
// at once.
bool IsFault(DWORD code);

// The system's name, such as "EXCEPTION_ACCESS_VIOLATION"; a number for one without.
std::string ExceptionName(DWORD code);

// The name, with the address that could not be accessed where there is one.
std::string DescribeException(const EXCEPTION_RECORD& record);

// Whether the code that a process ended with says that an exception ended it.
bool IsExceptionCode(DWORD exit_code);

// By this one, a thread tells a debugger a thread's name.
constexpr DWORD kThreadNamingException = 0x406D1388;

}  // namespace example
