#include "frame/host/hex_line.h"

#include <array>
#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/runtime_text.h"
#include "text/ascii.h"

namespace ZTK::frame {
namespace {

using DigitPair = std::array<wchar_t, 2>;

constexpr std::array<DigitPair, 256> kHexDigits = [] {
    std::array<DigitPair, 256> pairs{};
    for (unsigned byte = 0; byte < pairs.size(); ++byte) {
        pairs[byte] = {static_cast<wchar_t>(ascii::kUpperHexDigits[byte >> 4]),
                       static_cast<wchar_t>(ascii::kUpperHexDigits[byte & 15])};
    }
    return pairs;
}();

wchar_t* WriteDigits(wchar_t* out, const unsigned char* data, std::uint32_t size) noexcept {
    for (std::uint32_t i = 0; i < size; ++i) {
        std::memcpy(out, kHexDigits[data[i]].data(), sizeof(DigitPair));
        out += 2;
    }
    return out;
}

}  // namespace

HexLine::~HexLine() {
    allocation::RuntimeFree(text_);
}

void HexLine::RepairInChild() noexcept {
    if (exchanging_.exchange(false)) {
        text_ = nullptr;  // may be freed already
        capacity_ = 0;
    }
}

bool HexLine::Reserve(std::uint32_t bytes) noexcept {
    if (bytes <= capacity_) {
        return true;
    }
    exchanging_.store(true);
    const bool done = Exchange(bytes);
    exchanging_.store(false);
    return done;
}

bool HexLine::Exchange(std::uint32_t bytes) noexcept {
    const bool growing = text_ != nullptr;
    void* larger =
        growing ? allocation::RuntimeRealloc(text_, bytes) : allocation::RuntimeAlloc(bytes);
    if (larger != nullptr) {
        text_ = static_cast<wchar_t*>(larger);
        capacity_ = bytes;
        return true;
    }
    if (growing) {
        allocation::RuntimeFree(text_);
        text_ = nullptr;
        element_size_ = 0;
    }
    return false;
}

const wchar_t* HexLine::Format(const wchar_t* label, const unsigned char* data,
                               std::uint32_t size) noexcept {
    const std::uint64_t label_length = label != nullptr ? wcslen(label) : 0;
    // Two digits a byte, line feed, terminator, and one to spare; a label brings its blank.
    const std::uint64_t characters =
        2 * static_cast<std::uint64_t>(size) + 3 + (label_length != 0 ? label_length + 1 : 0);
    const std::uint64_t bytes = characters * element_size_;
    // A dump beyond 32 bits has no buffer that could hold it and is dropped like one without
    // memory.
    if (bytes == 0 || bytes > UINT32_MAX || !Reserve(static_cast<std::uint32_t>(bytes))) {
        return nullptr;
    }
    wchar_t* out = text_;
    if (label_length != 0) {
        std::memcpy(out, label, label_length * sizeof(wchar_t));
        out += label_length;
        *out++ = L' ';
    }
    out = WriteDigits(out, data, size);
    *out++ = L'\n';
    *out = L'\0';
    return text_;
}

}  // namespace ZTK::frame
