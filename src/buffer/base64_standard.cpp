// The standard's Base64 between the caller's buffers and into text buffers.
#include "buffer/base64_codec.h"
#include "buffer/filled_buffer.h"
#include "ztk/base64.h"

namespace ZTK {

static_assert(Base64Decoded::kNone == base64::kNoneBad);

std::size_t Base64EncodeStandard(const void* data, std::size_t n, char* out) noexcept {
    if (n == 0) {
        return 0;
    }
    base64::EncodeStandard(base64::BestLanes(), static_cast<const unsigned char*>(data), n,
                           reinterpret_cast<unsigned char*>(out));
    return base64::EncodedSize(n);
}

Base64Decoded Base64DecodeStandard(const char* text, std::size_t n, void* out) noexcept {
    if (n == 0) {
        return {0, Base64Decoded::kNone};
    }
    const base64::StandardText decoded =
        base64::DecodeStandard(base64::BestLanes(), reinterpret_cast<const unsigned char*>(text), n,
                               static_cast<unsigned char*>(out));
    return {decoded.size, decoded.first_bad};
}

std::optional<std::size_t> Base64EncodeStandard(const void* data, std::size_t n,
                                                CBuffer<char>& out) noexcept {
    // What cannot be counted is more than a buffer can hold.
    const std::size_t size = Base64StandardEncodedSize(n).value_or(static_cast<std::size_t>(-1));
    const bool is_stored = FillBuffer(
        out, size, [data, n](char* place) { (void)Base64EncodeStandard(data, n, place); });
    return is_stored ? std::optional(size) : std::nullopt;
}

std::optional<std::size_t> Base64DecodeStandard(std::string_view text, CBuffer<char>& out,
                                                std::size_t* first_bad) noexcept {
    Base64Decoded decoded = {0, Base64Decoded::kNone};
    const bool is_stored =
        FillBuffer(out, Base64StandardDecodedSize(text), [text, &decoded](char* place) {
            decoded = Base64DecodeStandard(text.data(), text.size(), place);
        });
    if (first_bad != nullptr) {
        *first_bad = decoded.first_bad;
    }
    if (decoded.first_bad != Base64Decoded::kNone) {
        (void)FillBuffer(out, 0, [](char*) {});  // empties it, for which there is always room
        return std::nullopt;
    }
    return is_stored ? std::optional(decoded.size) : std::nullopt;
}

}  // namespace ZTK
