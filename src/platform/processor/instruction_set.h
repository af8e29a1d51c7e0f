// Which instructions beyond the baseline of the target this processor has, asked when the code
// runs. The baseline is what the compiler may use anywhere: SSE2 on x86-64, nothing special
// elsewhere.
//
// A function for AVX2 is marked ZTK_TARGET_AVX2, stands within #if defined(ZTK_HAS_AVX2_CODE), and
// is called only where HasAvx2() says so. It looks like this:
//
//     #if defined(ZTK_HAS_AVX2_CODE)
//     ZTK_TARGET_AVX2 inline std::size_t CountBy32(const char* text, std::size_t n) noexcept;
//     #endif
//
//     std::size_t Count(const char* text, std::size_t n) noexcept {
//     #if defined(ZTK_HAS_AVX2_CODE)
//         if (processor::HasAvx2()) {
//             return CountBy32(text, n);
//         }
//     #endif
//         return CountBy16(text, n);
//     }
#pragma once

#include <atomic>

// A build for Windows whose assembler cannot move 32 bytes to a stack that is aligned to 16 defines
// ZTK_NO_AVX2_CODE (cmake/ZtkTargets.cmake).
#if defined(__x86_64__) && !defined(ZTK_NO_AVX2_CODE)
#define ZTK_HAS_AVX2_CODE 1
#define ZTK_TARGET_AVX2 __attribute__((target("avx2,bmi")))
// For the small parts of such functions: only they can take these in.
#define ZTK_INLINE_AVX2 __attribute__((target("avx2,bmi"), always_inline)) inline
#endif

namespace ZTK::processor {

// In order: each has the instructions of those before it.
enum class InstructionSet { kBaseline, kSsse3, kAvx2 };

namespace detail {

// Unknown until somebody asks. Threads that ask at the same time find the same.
inline constexpr int kUnknown = -1;
inline constinit std::atomic<int> usable{kUnknown};

inline InstructionSet AskProcessor() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init();  // the question may come before the compiler's runtime has asked
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")) {
        return InstructionSet::kAvx2;
    }
    if (__builtin_cpu_supports("ssse3")) {
        return InstructionSet::kSsse3;
    }
#endif
    return InstructionSet::kBaseline;
}

inline void Use(InstructionSet most) noexcept {
    usable.store(static_cast<int>(most), std::memory_order_relaxed);
}

inline InstructionSet FirstAnswer() noexcept {
    const InstructionSet best = AskProcessor();
    Use(best);
    return best;
}

}  // namespace detail

// The most that may be used. Costs one read of memory, and may be asked at any time: before
// constructors, after a fork, in a signal handler.
inline InstructionSet Usable() noexcept {
    const int known = detail::usable.load(std::memory_order_relaxed);
    return known == detail::kUnknown ? detail::FirstAnswer() : static_cast<InstructionSet>(known);
}

inline bool HasSsse3() noexcept {
    return Usable() >= InstructionSet::kSsse3;
}
inline bool HasAvx2() noexcept {
    return Usable() >= InstructionSet::kAvx2;
}

// For tests, which run every path: no more than most is used from now on, in the library or program
// that this is compiled into. False, with nothing changed, if the processor does not have most.
inline bool UseForTests(InstructionSet most) noexcept {
    const bool has_most = detail::AskProcessor() >= most;
    if (has_most) {
        detail::Use(most);
    }
    return has_most;
}

}  // namespace ZTK::processor
