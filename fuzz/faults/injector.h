// Failing one call of the library at a chosen place. The program's own definitions of the C
// library's functions come before the C library's: each counts the calls that the library makes,
// and fails the one that is asked for.
#pragma once

namespace ztk_faults {

struct Call {
    const char* name;
    int effective;      // the error with which it takes effect all the same; -1: any
    bool gives_error;   // it returns the error itself, instead of -1 with the error in errno
    const int* errors;  // that it is documented to fail with; 0 ends the list
};

inline constexpr int kCallCount = 46;
extern const Call* const kCalls[kCallCount];  // of the system, by the library
extern const Call kRequest;                   // for memory, by the library or by what it calls

// From now on the nth call (from 0) fails with the error, and no later one.
void FailNth(const Call& call, long nth, int error) noexcept;

// Ends it. Whether the nth was reached.
bool StopFailing() noexcept;

// Blocks of memory that the whole program has.
[[nodiscard]] long LiveBlocks() noexcept;

}  // namespace ztk_faults
