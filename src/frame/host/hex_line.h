// The line of a hex dump, built in a buffer that is kept from line to line.
#pragma once

#include <atomic>
#include <cstdint>

namespace ZTK::frame {

// Not thread-safe: guarded by the log lock.
class HexLine {
  public:
    HexLine() = default;
    HexLine(const HexLine&) = delete;
    HexLine& operator=(const HexLine&) = delete;
    ~HexLine();

    // Label, blank, two upper-case digits for each byte, line feed. The text stays valid until the
    // next call. Null if there is no memory for it; after a buffer could not be grown, for good.
    const wchar_t* Format(const wchar_t* label, const unsigned char* data,
                          std::uint32_t size) noexcept;

    // In a child of fork: gives up the buffer if a thread that did not come along was exchanging
    // it.
    void RepairInChild() noexcept;

  private:
    bool Exchange(std::uint32_t bytes) noexcept;
    bool Reserve(std::uint32_t bytes) noexcept;

    wchar_t* text_ = nullptr;
    std::uint32_t capacity_ = 0;  // bytes
    // Bytes a character takes; 0 once a growth has failed. Every later line then needs 0 bytes and
    // is dropped: a process that ran out of memory is not made to try again for its log.
    std::uint32_t element_size_ = sizeof(wchar_t);
    std::atomic<bool> exchanging_{false};  // the buffer, for a larger one
};

}  // namespace ZTK::frame
