// Decoding of Base64 strings into ring strings.
#include <climits>
#include <cstdint>
#include <cstring>

#include "frame/base/tmp_ring.h"
#include "platform/memory/allocation.h"
#include "strings/runtime_overloads.h"
#include "ztk/base64.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

// The decoded bytes of a text, in a block of the process heap, with a NUL behind them.
class DecodedText {
  public:
    // Decodes count characters of s. Those behind its end read as NUL.
    DecodedText(const char* s, std::size_t count) noexcept {
        const std::size_t length = std::strlen(s);
        if (count > INT_MAX) {
            return;
        }
        if (length >= count) {
            Decode(const_cast<char*>(s), count);  // it is read only
        } else if (void* const filled = allocation::ProcessAlloc(count)) {
            Decode(std::memcpy(filled, s, length), count);
            allocation::ProcessFree(filled);
        }
    }
    DecodedText(const DecodedText&) = delete;
    DecodedText& operator=(const DecodedText&) = delete;
    ~DecodedText() { MemFree(block_); }

    // Null when memory was short. The text ends at the first NUL of the bytes.
    [[nodiscard]] const char* get() const noexcept { return reinterpret_cast<char*>(block_); }
    [[nodiscard]] int size() const noexcept { return size_; }

  private:
    void Decode(void* text, std::size_t count) noexcept {
        block_ = Base64Decode(static_cast<unsigned char*>(text), static_cast<int>(count), nullptr,
                              &size_);
    }

    unsigned char* block_ = nullptr;
    int size_ = 0;
};

}  // namespace

const char* Base64DecodeString(const char* s, unsigned int) noexcept {
    if (s == nullptr || *s == 0) {
        return nullptr;
    }
    const DecodedText decoded(s, std::strlen(s));
    if (decoded.get() == nullptr) {
        return nullptr;
    }
    char* const text =
        frame::RequestTmpString<char>(static_cast<std::uint32_t>(decoded.size()) + 1);
    if (text != nullptr) {
        std::memcpy(text, decoded.get(), std::strlen(decoded.get()) + 1);
    }
    return text;
}

const wchar_t* Base64DecodeString(const wchar_t* s, unsigned int code_page) noexcept {
    if (s == nullptr || *s == 0) {
        return nullptr;
    }
    const char* const narrow = StrConvert(s, code_page);
    if (narrow == nullptr) {
        return nullptr;
    }
    // As many characters as the wide text has, although a code page may make more or fewer of
    // those outside the alphabet.
    const DecodedText decoded(narrow, strings::Length(s));
    return StrConvert(decoded.get(), code_page);
}

}  // namespace ZTK
