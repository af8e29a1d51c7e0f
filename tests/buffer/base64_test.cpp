// Base64 against a model, over every length and hostile bytes, on each path of the codec, between
// pages that nobody may touch.
#include "ztk/base64.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "buffer/base64_codec.h"
#include "support/guarded_text.h"
#include "support/text.h"
#include "ztk/buffer.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

using ZTK::base64::Lanes;
const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit: the standard's text, or with '=' for an 'A' right before the padding.
std::string EncodedByModel(const std::string& bytes, bool is_standard = false) {
    std::string bits;
    for (const char byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            bits += (byte >> bit & 1) != 0 ? '1' : '0';
        }
    }
    std::string text;
    for (std::size_t i = 0; i < bits.size(); i += 6) {
        std::string sextet = bits.substr(i, 6);
        sextet.resize(6, '0');
        text += kAlphabet[std::stoul(sextet, nullptr, 2)];
    }
    if (!is_standard && bytes.size() % 3 != 0 && text.back() == 'A') {
        text.pop_back();
    }
    text.resize((text.size() + 3) / 4 * 4, '=');
    return text;
}

// By the rules for one group, one after another, on bytes.
std::string DecodedByModel(std::string text) {
    std::string result;
    text.resize((text.size() + 3) / 4 * 4, '\0');
    for (std::size_t i = 0; i < text.size() && text[i] != '='; i += 4) {
        int s[4];
        for (std::size_t k = 0; k < 4; ++k) {
            const std::size_t index = kAlphabet.find(text[i + k]);
            s[k] = index < 64 ? static_cast<int>(index) : 0xFF;
        }
        const bool two = text[i + 1] != '=', three = two && text[i + 2] != '=';
        const bool four = three && text[i + 3] != '=';
        std::vector<int> out{s[0] << 2 | (two ? s[1] >> 4 : 0)};
        if (three || (two && (s[1] & 0x0F) != 0)) {
            out.push_back((s[1] & 0x0F) << 4 | (three ? s[2] >> 2 : 0));
        }
        if (four || (three && (s[2] & 0x03) != 0)) {
            out.push_back((s[2] & 0x03) << 6 | (four ? s[3] : 0));
        }
        result.append(out.begin(), out.end());
    }
    return result;
}

std::string Text(const unsigned char* bytes, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes), count};
}

// Bytes at the start or the end of memory that may be read.
class Source {
  public:
    const unsigned char* Put(const std::string& bytes, bool at_end) {
        return memory_.Put(std::vector<unsigned char>(bytes.begin(), bytes.end()), at_end);
    }

  private:
    ztk_test::GuardedText memory_;
};

// The result of a call that writes into room for so many bytes, at the end of such memory.
template <class Call>
std::string Written(std::size_t room, Call call) {
    static ztk_test::GuardedText memory;
    auto* const out =
        const_cast<unsigned char*>(memory.Put(std::vector<unsigned char>(room, 0xA5), true));
    return Text(out, call(out));
}

// size characters, one in `odd` of which is any byte, and often '='.
std::string RandomText(std::mt19937& random, std::size_t size, unsigned odd) {
    std::string text;
    while (text.size() < size) {
        const char any = random() % 2 != 0 ? '=' : static_cast<char>(random());
        text += random() % odd == 0 ? any : kAlphabet[random() % 64];
    }
    return text;
}

TEST(Base64, IsTheModelsOnEveryPathForEveryLength) {
    std::mt19937 random(4);
    for (std::size_t n = 0; n < 4000; ++n) {
        const std::size_t size = n < 200 ? n : random() % (n % 8 == 0 ? 1000 : 260);
        std::string bytes(size, 0);
        for (char& byte : bytes) {
            byte = static_cast<char>(random() % 4 == 0 ? 0 : random());
        }
        const std::string encoded = EncodedByModel(bytes);
        const std::string text = RandomText(random, size, n % 3 == 0 ? 2 : n % 3 == 1 ? 40 : 10000);
        const std::string decoded = DecodedByModel(text);
        const std::string standard = EncodedByModel(bytes, true);
        const bool is_standard = size % 4 == 0 && EncodedByModel(decoded, true) == text;
        static Source memory, hostile_memory, standard_memory;
        const bool at_end = n % 4 != 0;
        const auto* const in = memory.Put(bytes, at_end);
        const auto* const hostile = hostile_memory.Put(text, at_end);
        const auto* const strict = standard_memory.Put(standard, at_end);
        for (int lanes = 0; lanes <= static_cast<int>(ZTK::base64::BestLanes()); ++lanes) {
            const auto path = static_cast<Lanes>(lanes);
            const auto encode = [&](unsigned char* out) {
                ZTK::base64::Encode(path, in, size, out);
                return encoded.size();
            };
            const auto decode = [&](unsigned char* out) {
                return ZTK::base64::Decode(path, hostile, size, out);
            };
            const auto encode_standard = [&](unsigned char* out) {
                ZTK::base64::EncodeStandard(path, in, size, out);
                return standard.size();
            };
            std::size_t bad = 0;
            const auto decode_standard = [&](const unsigned char* from, std::size_t length) {
                const std::size_t room = ZTK::Base64StandardDecodedSize({Text(from, length)});
                return Written(room, [&](unsigned char* out) {
                    const auto result = ZTK::base64::DecodeStandard(path, from, length, out);
                    bad = result.first_bad;
                    return result.size;
                });
            };
            ASSERT_EQ(Written(encoded.size(), encode), encoded);
            ASSERT_EQ(Written(decoded.size(), decode), decoded) << lanes;
            ASSERT_EQ(Written(standard.size(), encode_standard), standard);
            ASSERT_EQ(decode_standard(strict, standard.size()), bytes);
            ASSERT_EQ(bad, ZTK::base64::kNoneBad);
            (void)decode_standard(hostile, size);
            ASSERT_EQ(bad == ZTK::base64::kNoneBad, is_standard) << text;
            if (!standard.empty()) {
                const std::size_t place = random() % standard.size();
                std::string wrong = standard;
                wrong[place] = "!\n\0\x80\xFF-_ "[random() % 8];
                (void)decode_standard(standard_memory.Put(wrong, at_end), wrong.size());
                ASSERT_EQ(bad, place) << wrong;
                const std::size_t cut = place - (place % 4 == 0 && place != 0 ? 1 : 0);
                (void)decode_standard(standard_memory.Put(standard.substr(0, cut), at_end), cut);
                ASSERT_EQ(bad, cut == 0 ? ZTK::base64::kNoneBad : cut) << standard;
                (void)standard_memory.Put(standard, at_end);
            }
        }
        int count = -1;
        unsigned char* block =
            ZTK::Base64Encode(const_cast<unsigned char*>(in), static_cast<int>(size), &count);
        ASSERT_EQ(Text(block, static_cast<std::size_t>(count) + 1), encoded + '\0');
        ZTK::MemFree(block);
        block = ZTK::Base64Decode(const_cast<unsigned char*>(hostile), static_cast<int>(size),
                                  nullptr, &count);
        ASSERT_EQ(Text(block, static_cast<std::size_t>(count) + 1), decoded + '\0');
        ZTK::MemFree(block);
        std::string place = text + "room";
        auto* const bytes_of = reinterpret_cast<unsigned char*>(place.data());
        ASSERT_EQ(ZTK::Base64Decode(bytes_of, bytes_of, static_cast<int>(size), nullptr), count);
        ASSERT_EQ(place.substr(0, decoded.size()), decoded);
    }
}

TEST(Base64, TheStandardsDecoderTellsWhatIsWrong) {
    constexpr std::size_t kNone = ZTK::Base64Decoded::kNone;
    struct Row {
        std::string_view text;
        std::size_t first_bad;
    };
    constexpr Row kRows[] = {
        {"", kNone},  {"QQ==", kNone}, {"QUI=", kNone},     {"QUJD", kNone}, {"Q", 1},
        {"QQ", 2},    {"QQ=", 3},      {"QUI", 3},          {"=", 0},        {"Q=", 1},
        {"Q===", 1},  {"====", 0},     {"QR==", 1},         {"QUJ=", 2},     {"QR=A", 1},
        {"QQ=A", 3},  {"QQ==QQ==", 4}, {"QUI=Q", 4},        {"QUJD\n", 4},   {" QUJD", 0},
        {"QU JD", 2}, {"QUJDQ", 5},    {"QUJDQQ==", kNone},
    };
    for (const Row& row : kRows) {
        std::size_t bad = 7;
        ZTK::CBuffer<char> buffer;
        const auto bytes = ZTK::Base64DecodeStandard<std::vector<unsigned char>>(row.text, &bad);
        EXPECT_EQ(bad, row.first_bad) << row.text;
        EXPECT_EQ(bytes.has_value(), bad == kNone);
        EXPECT_EQ(ZTK::Base64DecodeStandard(row.text, buffer, &bad).has_value(), bytes.has_value());
        EXPECT_EQ(bad, row.first_bad) << row.text;
    }
    std::string body(2u << 20, '\xC3');
    const std::string text = ZTK::Base64EncodeStandard(body);
    EXPECT_TRUE(ZTK::Base64DecodeStandard(text) == body);
    ZTK::CBuffer<char> buffer;
    ASSERT_EQ(ZTK::Base64EncodeStandard(body.data(), body.size(), buffer), text.size());
    EXPECT_TRUE(text == buffer.GetBuffer());
    ASSERT_EQ(ZTK::Base64DecodeStandard(text, buffer), body.size());
    EXPECT_TRUE(body == buffer.GetBuffer());
    EXPECT_EQ(ZTK::Base64EncodeStandard({"\x40", 1}), "QA==");
    std::string place = text;
    ASSERT_EQ(ZTK::Base64DecodeStandard(place.data(), place.size(), place.data()).size,
              body.size());
    EXPECT_TRUE(place.starts_with(body));

    constexpr std::size_t kMost = static_cast<std::size_t>(-1) / 4 * 3;
    EXPECT_EQ(ZTK::Base64StandardEncodedSize(kMost), kMost / 3 * 4);
    EXPECT_EQ(ZTK::Base64StandardEncodedSize(kMost + 1), std::nullopt);
}

TEST(Base64, SizesAreDefinedForEveryInt) {
    const int lengths[] = {0, 1, 3, 4, 5, 1610612733, 1610612734, INT_MAX, -5, INT_MIN};
    const int encoded[] = {0, 4, 4, 8, 8, 2147483644, INT_MIN, 1431655768, -4, 1431655768};
    const int decoded[] = {0, 1, 3, 3, 4, 1207959550, 1207959551, 1610612736, -4, -1610612736};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(ZTK::Base64CalcEncodedSize(lengths[i]), encoded[i]) << lengths[i];
        EXPECT_EQ(ZTK::Base64CalcDecodedSize(lengths[i]), decoded[i]) << lengths[i];
    }
}

TEST(Base64, LengthsThatNoBlockHoldsGiveNone) {
    unsigned char byte = 0;
    for (const int n : {INT_MAX, INT_MAX - 1, 1610612734, -5, INT_MIN}) {
        int length = 7;
        EXPECT_EQ(ZTK::Base64Encode(&byte, n, &length), nullptr) << n;
        EXPECT_EQ(length, 0);
    }
    int length = 7;
    EXPECT_EQ(ZTK::Base64Decode(&byte, -1, nullptr, &length), nullptr);
    EXPECT_EQ(length + ZTK::Base64Decode(&byte, &byte, -1, nullptr), 0);
}

TEST(Base64, StringsAreCutAtTheirFirstNul) {
    unsigned char* const text = ZTK::Base64EncodeString("abc", nullptr);
    EXPECT_TEXT("YWJj", reinterpret_cast<const char*>(text));
    ZTK::MemFree(text);
    EXPECT_EQ(ZTK::Base64EncodeString(nullptr, nullptr), nullptr);
    EXPECT_TEXT("text", ZTK::Base64DecodeString("dGV4dA==", 0));
    EXPECT_TEXT("", ZTK::Base64DecodeString("AEJD", 0));
    EXPECT_TEXT("", ZTK::Base64DecodeString("=EJD", 0));
    EXPECT_TEXT(nullptr, ZTK::Base64DecodeString("", 0));
    EXPECT_TEXT(nullptr, ZTK::Base64DecodeString(static_cast<const char*>(nullptr), 0));
    const std::string longest(512000 / 3 * 4, 'Q');
    EXPECT_NE(ZTK::Base64DecodeString(longest.c_str(), 0), nullptr);
    EXPECT_EQ(ZTK::Base64DecodeString((longest + "QQ==QQ==").c_str(), 0), nullptr);

    EXPECT_TEXT(L"\x20AC!", ZTK::Base64DecodeString(L"4oKsIQ==", 65001));
    EXPECT_TEXT(nullptr, ZTK::Base64DecodeString(L"AEJD", 65001));
    EXPECT_TEXT(nullptr, ZTK::Base64DecodeString(L"QQ==", 77777));
    EXPECT_TEXT(nullptr, ZTK::Base64DecodeString(L"", 65001));
}

TEST(Base64, AWideTextIsDecodedForAsManyCharactersAsItHas) {
    // In UTF-8 each character is longer than in UTF-16; in the other page a pair may become one.
    for (const unsigned page : {65001u, 1252u}) {
        const wchar_t* const text = L"\xD83D\xDE00\xD83D\xDE00QUJD";
        std::string narrow = ZTK::StrConvert(text, page);
        narrow.resize(8, '\0');
        const std::string bytes = DecodedByModel(narrow);
        EXPECT_TEXT(ZTK::StrConvert(bytes.c_str(), page), ZTK::Base64DecodeString(text, page));
    }
}

}  // namespace
