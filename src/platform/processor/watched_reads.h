// Whether a tool looks at every read of this process.
#pragma once

namespace ZTK::processor {

// The search for a 16-bit unit and the length of 16-bit text read whole aligned blocks, and so up
// to 63 bytes beside the text; a conversion reads the end of a text as a block, too. No page is
// touched that the text does not reach into, but sanitizers and valgrind rightly object to such
// reads. With them a plain loop runs instead, or a copy is read, so that they still see every read
// that a caller's text does not cover.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool reads_are_watched = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
inline constexpr bool reads_are_watched = true;
#else
#define ZTK_TOOLS_COME_LATER 1
#endif
#else
#define ZTK_TOOLS_COME_LATER 1
#endif

#if defined(ZTK_TOOLS_COME_LATER)
inline constinit bool reads_are_watched = false;
#endif

}  // namespace ZTK::processor
