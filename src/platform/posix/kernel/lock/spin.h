// How long a thread that finds a lock taken looks again before it sleeps.
#pragma once

namespace ZTKPosix {

// Most of what is done under these locks takes well under a microsecond, a sleep and a wake-up
// several.
inline constexpr int kSpins = 100;

// Tells the processor that the thread only waits for another one's store.
inline void RelaxProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}

}  // namespace ZTKPosix
