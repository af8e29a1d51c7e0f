#include "buffer/base64_codec.h"

#include <array>
#include <cstring>

namespace ZTK::base64 {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kPad = '=';

constexpr auto kSextets = [] {
    std::array<unsigned char, 256> table{};
    table.fill(0xFF);  // outside the alphabet
    for (unsigned char sextet = 0; sextet < 64; ++sextet) {
        table[static_cast<unsigned char>(kAlphabet[sextet])] = sextet;
    }
    return table;
}();

unsigned char Character(unsigned sextet) noexcept {
    return static_cast<unsigned char>(kAlphabet[sextet]);
}

void EncodeGroup(const unsigned char* in, unsigned char* out) noexcept {
    const unsigned bits = static_cast<unsigned>(in[0] << 16 | in[1] << 8 | in[2]);
    out[0] = Character(bits >> 18);
    out[1] = Character(bits >> 12 & 63);
    out[2] = Character(bits >> 6 & 63);
    out[3] = Character(bits & 63);
}

// One or two bytes. A last sextet of zero is left out, not written as 'A': readers of these texts
// see "Q===" where the standard has "QA==".
void EncodeRest(const unsigned char* in, std::size_t n, unsigned char* out) noexcept {
    const unsigned bits = static_cast<unsigned>(in[0] << 16 | (n == 2 ? in[1] << 8 : 0));
    const unsigned last_shift = n == 2 ? 6 : 12;
    std::memset(out, kPad, 4);
    for (unsigned shift = 18; shift >= last_shift; shift -= 6) {
        const unsigned sextet = bits >> shift & 63;
        if (shift != last_shift || sextet != 0) {
            *out++ = Character(sextet);
        }
    }
}

// Decodes four characters, of which at least one is outside the alphabet, and returns the number of
// bytes that the group has; 0 ends the text. A pad character cuts the group, but bits that stand
// before it count: "QR==" gives a second byte for the low bits of R.
std::size_t DecodeOddGroup(const unsigned char (&c)[4], unsigned char* out) noexcept {
    const unsigned s0 = kSextets[c[0]];
    const unsigned s1 = kSextets[c[1]];
    const unsigned s2 = kSextets[c[2]];
    const unsigned s3 = kSextets[c[3]];
    if (c[0] == kPad) {
        return 0;
    }
    out[0] = static_cast<unsigned char>(s0 << 2);
    if (c[1] == kPad) {
        return 1;
    }
    out[0] = static_cast<unsigned char>(out[0] | s1 >> 4);
    if (c[2] == kPad) {
        if ((s1 & 0x0F) == 0) {
            return 1;
        }
        out[1] = static_cast<unsigned char>(s1 << 4);
        return 2;
    }
    out[1] = static_cast<unsigned char>(s1 << 4 | s2 >> 2);
    if (c[3] == kPad) {
        if ((s2 & 0x03) == 0) {
            return 2;
        }
        out[2] = static_cast<unsigned char>(s2 << 6);
        return 3;
    }
    out[2] = static_cast<unsigned char>(s2 << 6 | s3);
    return 3;
}

// Decodes four characters of the alphabet. False, with nothing written, if one is outside it.
bool DecodeWholeGroup(const unsigned char (&c)[4], unsigned char* out) noexcept {
    const unsigned s0 = kSextets[c[0]];
    const unsigned s1 = kSextets[c[1]];
    const unsigned s2 = kSextets[c[2]];
    const unsigned s3 = kSextets[c[3]];
    if ((s0 | s1 | s2 | s3) > 63) {
        return false;
    }
    const unsigned bits = s0 << 18 | s1 << 12 | s2 << 6 | s3;
    out[0] = static_cast<unsigned char>(bits >> 16);
    out[1] = static_cast<unsigned char>(bits >> 8);
    out[2] = static_cast<unsigned char>(bits);
    return true;
}

std::size_t DecodeGroup(const unsigned char* in, unsigned char* out) noexcept {
    const unsigned char c[4] = {in[0], in[1], in[2], in[3]};
    return DecodeWholeGroup(c, out) ? 3 : DecodeOddGroup(c, out);
}

// Encodes the whole groups of three bytes and returns how many bytes they have.
std::size_t EncodeGroups(Lanes lanes, const unsigned char* in, std::size_t n,
                         unsigned char* out) noexcept {
    std::size_t done = EncodeLanes(lanes, in, n, out);
    for (out += done / 3 * 4; n - done >= 3; done += 3, out += 4) {
        EncodeGroup(in + done, out);
    }
    return done;
}

// Decodes the last group of a standard text: its n characters from in, which do not begin with four
// of the alphabet. Writes nothing unless they are a padded group and nothing else.
StandardText DecodeLastGroup(const unsigned char* in, std::size_t n, unsigned char* out) noexcept {
    const auto sextet = [in, n](std::size_t i) { return i < n ? kSextets[in[i]] : 0xFFu; };
    const auto is_pad = [in, n](std::size_t i) { return i < n && in[i] == kPad; };
    const unsigned s0 = sextet(0), s1 = sextet(1), s2 = sextet(2);
    if (s0 > 63 || s1 > 63) {
        return {0, s0 > 63 ? 0u : 1u};  // outside the alphabet, or missing
    }
    const bool has_third = s2 <= 63;
    const std::size_t padding = has_third ? 3 : 2;  // where it begins
    const unsigned unused_bits = has_third ? s2 & 0x03 : s1 & 0x0F;
    if (!is_pad(padding)) {
        return {0, padding};
    }
    if (unused_bits != 0) {
        return {0, padding - 1};
    }
    if (!is_pad(3) || n > 4) {
        return {0, is_pad(3) ? 4u : 3u};
    }
    out[0] = static_cast<unsigned char>(s0 << 2 | s1 >> 4);
    if (has_third) {
        out[1] = static_cast<unsigned char>(s1 << 4 | s2 >> 2);
    }
    return {padding - 1, kNoneBad};
}

}  // namespace

void Encode(Lanes lanes, const unsigned char* in, std::size_t n, unsigned char* out) noexcept {
    const std::size_t done = EncodeGroups(lanes, in, n, out);
    if (n != done) {
        EncodeRest(in + done, n - done, out + done / 3 * 4);
    }
}

void EncodeStandard(Lanes lanes, const unsigned char* in, std::size_t n,
                    unsigned char* out) noexcept {
    const std::size_t done = EncodeGroups(lanes, in, n, out);
    const std::size_t rest = n - done;
    if (rest != 0) {
        unsigned char group[3] = {};
        std::memcpy(group, in + done, rest);
        out += done / 3 * 4;
        EncodeGroup(group, out);
        std::memset(out + 1 + rest, kPad, 3 - rest);
    }
}

StandardText DecodeStandard(Lanes lanes, const unsigned char* in, std::size_t n,
                            unsigned char* out) noexcept {
    // The lanes stop where padding or a bad character is near, or the end: no second try is worth
    // it.
    std::size_t done = DecodeLanes(lanes, in, n, out);
    for (; n - done >= 4; done += 4) {
        const unsigned char c[4] = {in[done], in[done + 1], in[done + 2], in[done + 3]};
        if (!DecodeWholeGroup(c, out + done / 4 * 3)) {
            break;
        }
    }
    const std::size_t size = done / 4 * 3;
    if (done == n) {
        return {size, kNoneBad};
    }
    const StandardText last = DecodeLastGroup(in + done, n - done, out + size);
    return {size + last.size, last.first_bad == kNoneBad ? kNoneBad : done + last.first_bad};
}

std::size_t Decode(Lanes lanes, const unsigned char* in, std::size_t n,
                   unsigned char* out) noexcept {
    constexpr int kGroupsBetween = 4;  // the block of 16 characters that the lanes stopped at
    const unsigned char* const start = out;
    while (n >= 4) {
        const std::size_t done = DecodeLanes(lanes, in, n, out);
        in += done;
        out += done / 4 * 3;
        n -= done;
        for (int group = 0; group < kGroupsBetween && n >= 4; ++group) {
            const std::size_t size = DecodeGroup(in, out);
            if (size == 0) {
                return static_cast<std::size_t>(out - start);
            }
            in += 4;
            out += size;
            n -= 4;
        }
    }
    if (n != 0) {
        // What is missing from the last group reads as NUL, which is no pad character: the group
        // is not taken as one that ends here.
        unsigned char rest[4] = {};
        std::memcpy(rest, in, n);
        out += DecodeGroup(rest, out);
    }
    return static_cast<std::size_t>(out - start);
}

}  // namespace ZTK::base64
