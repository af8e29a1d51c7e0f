// Controls of the library variant whose allocation seam can refuse a request, and whose choice of
// instructions can be limited. Link a test with
// ztk_add_fault_test to get it.
//
//     ztk_test::FailAfter(2);             // the third request from now on is refused
//     EXPECT_EQ(ZTK::StrDupW("text"), nullptr);
//     ztk_test::StopFailing();
//
// Thread-safety: every function may be called from any thread; the counts are over all threads.
#pragma once

#include "platform/processor/instruction_set.h"
#include "ztk/platform/export.h"

namespace ztk_test {

// Lets the next n requests pass, refuses the one after them, and lets all later ones pass.
ZTK_API void FailAfter(long long n) noexcept;

// Lets the next n requests pass and refuses every later one until StopFailing.
ZTK_API void FailAlways(long long n) noexcept;

// Lets every request pass again.
ZTK_API void StopFailing() noexcept;

// Blocks that were allocated through the seam and not released through it. Blocks that a host
// releases on its own (HeapFree) stay counted.
[[nodiscard]] ZTK_API long long LiveBlocks() noexcept;

// Requests so far, refused ones included. A resize is a request, a release is none.
[[nodiscard]] ZTK_API long long Requests() noexcept;

// Linux only: kills this process at the nth step from now on that the library marks as one at which
// others have to put right what it leaves. Returns how many steps were passed since the last call.
ZTK_API long long DieAtStep(long long n) noexcept;

// Has the library use no instructions beyond this set. False if the processor does not have it.
ZTK_API bool UseInstructions(ZTK::processor::InstructionSet most) noexcept;

}  // namespace ztk_test
