// Memory for a text between two pages that nobody may touch.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

namespace ztk_test {

// room bytes of memory that may be used, a multiple of the page size, with such pages around; kept
// until the program ends.
char* GuardedPages(std::size_t room);

// Puts texts at the very start or the very end of such memory.
class GuardedText {
  public:
    static constexpr std::size_t kRoom = 1 << 18;  // bytes

    // The copy is not terminated.
    template <class T>
    const T* Put(const std::vector<T>& text, bool at_end) {
        const std::size_t bytes = text.size() * sizeof(T);
        char* const place = at_end ? pages_ + kRoom - bytes : pages_;
        if (bytes != 0) {
            std::memcpy(place, text.data(), bytes);
        }
        return reinterpret_cast<const T*>(place);
    }

  private:
    char* pages_ = GuardedPages(kRoom);
};

}  // namespace ztk_test
