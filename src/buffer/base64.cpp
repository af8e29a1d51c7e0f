// Base64 between the caller's buffers and into fresh blocks.
#include "ztk/base64.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "buffer/base64_codec.h"
#include "platform/memory/allocation.h"

namespace ZTK {
namespace {

void Tell(int* out_length, std::size_t length) noexcept {
    if (out_length != nullptr) {
        *out_length = static_cast<int>(length);
    }
}

std::size_t Count(int n) noexcept {
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

// n + by, wrapping at 32 bits.
int Wrapped(int n, int by) noexcept {
    return static_cast<int>(static_cast<unsigned>(n) + static_cast<unsigned>(by));
}

unsigned char* AllocateBytes(std::size_t bytes) noexcept {
    return static_cast<unsigned char*>(allocation::ProcessAlloc(bytes));
}

}  // namespace

int Base64CalcEncodedSize(int n) noexcept {
    const int groups = Wrapped(Wrapped(n, -(Wrapped(n, 2) % 3)), 2) / 3;
    return static_cast<int>(4 * static_cast<unsigned>(groups));
}

int Base64CalcDecodedSize(int n) noexcept {
    return n - n / 4;
}

unsigned char* Base64Encode(unsigned char* in, unsigned char* out, int n,
                            int* out_length) noexcept {
    const std::size_t count = Count(n);
    base64::Encode(base64::BestLanes(), in, count, out);
    Tell(out_length, base64::EncodedSize(count));
    return out;
}

unsigned char* Base64Encode(unsigned char* in, int n, int* out_length) noexcept {
    Tell(out_length, 0);
    const std::size_t size = base64::EncodedSize(Count(n));
    // From -4 to -1 the formula still gives 0, and so room for the terminator.
    if (n < -4 || size > INT_MAX) {
        return nullptr;
    }
    unsigned char* const block = AllocateBytes(size + 1);
    return block == nullptr ? nullptr : Base64Encode(in, block, n, out_length);
}

unsigned char* Base64EncodeString(const char* s, int* out_length) noexcept {
    if (s == nullptr) {
        return nullptr;
    }
    const std::size_t length = std::strlen(s);
    if (length > INT_MAX) {
        Tell(out_length, 0);
        return nullptr;
    }
    // The bytes are read only.
    auto* const bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(s));
    return Base64Encode(bytes, static_cast<int>(length), out_length);
}

int Base64Decode(unsigned char* in, unsigned char* out, int n, unsigned char**) noexcept {
    return static_cast<int>(base64::Decode(base64::BestLanes(), in, Count(n), out));
}

unsigned char* Base64Decode(unsigned char* in, int n, unsigned char**, int* out_length) noexcept {
    Tell(out_length, 0);
    if (n < 0) {
        return nullptr;
    }
    // Room for any text of n characters and a terminator, which is there already: the block is
    // zero-filled. Base64CalcDecodedSize(n + 1) would be short when one character is left over.
    unsigned char* const block = AllocateBytes(base64::MostDecoded(Count(n)) + 1);
    if (block != nullptr) {
        Tell(out_length, base64::Decode(base64::BestLanes(), in, Count(n), block));
    }
    return block;
}

}  // namespace ZTK
