// The code pages other than UTF-8, converted by the system's iconv.
#include "platform/posix/text/code_page_iconv.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace ZTKPosix {
namespace {

constexpr std::size_t kNameRoom = 32;

const auto kNotOpen = reinterpret_cast<iconv_t>(std::intptr_t{-1});

// Pages whose number does not lead to their iconv name by a rule. An empty name: a page that
// exists, but not for these calls (its text is not made of bytes).
struct PageName {
    UINT page;
    const char* name;
};
constexpr PageName kPageNames[] = {
    {37, "IBM037"},
    {708, "ASMO-708"},
    {1200, ""},
    {1201, ""},
    {12000, ""},
    {12001, ""},
    {10000, "MACINTOSH"},
    {10017, "MAC-UK"},
    {10029, "MAC-CENTRALEUROPE"},
    {10079, "MAC-IS"},
    {20106, "DIN_66003"},
    {20107, "SEN_850200_B"},
    {20108, "NS_4551-1"},
    {20127, "US-ASCII"},
    {20261, "T.61-8BIT"},
    {20269, "ISO_6937"},
    {20866, "KOI8-R"},
    {20932, "EUC-JP"},
    {20936, "GB2312"},
    {20949, "EUC-KR"},
    {21025, "IBM1025"},
    {21866, "KOI8-U"},
    {38598, "ISO-8859-8"},
    {50220, "ISO-2022-JP"},
    {50225, "ISO-2022-KR"},
    {51932, "EUC-JP"},
    {51936, "EUC-CN"},
    {51949, "EUC-KR"},
    {51950, "EUC-TW"},
    {54936, "GB18030"},
    {65000, "UTF-7"},
};

// The name that iconv knows the page by. Numbers 28591 and up are the parts of ISO 8859, those from
// 20273 to 20924 and from 50930 to 50939 the pages of IBM of the same last digits.
bool NameOfPage(UINT page, char (&name)[kNameRoom]) noexcept {
    const auto* known = std::find_if(std::begin(kPageNames), std::end(kPageNames),
                                     [page](const PageName& entry) { return entry.page == page; });
    if (known != std::end(kPageNames)) {
        std::snprintf(name, kNameRoom, "%s", known->name);
    } else if (page > 28590 && page < 28607) {
        std::snprintf(name, kNameRoom, "ISO-8859-%u", page - 28590);
    } else if (page >= 20273 && page <= 20924) {
        std::snprintf(name, kNameRoom, "IBM%u", page - 20000);
    } else if (page >= 50930 && page <= 50939) {
        std::snprintf(name, kNameRoom, "IBM%u", page - 50000);
    } else {
        std::snprintf(name, kNameRoom, "CP%u", page);
    }
    return name[0] != 0;
}

iconv_t Open(UINT page, IconvConversion::Direction direction) noexcept {
    constexpr const char* kWide = "UTF-16LE";
    char name[kNameRoom];
    if (!NameOfPage(page, name)) {
        return kNotOpen;
    }
    const LockGuard guard(iconv_lock);
    return direction == IconvConversion::Direction::kToWide ? iconv_open(kWide, name)
                                                            : iconv_open(name, kWide);
}

}  // namespace

IconvConversion::IconvConversion(UINT code_page, Direction direction) noexcept
    : conversion_(Open(code_page, direction)), direction_(direction) {}

IconvConversion::~IconvConversion() {
    if (IsOpen()) {
        const LockGuard guard(iconv_lock);
        iconv_close(conversion_);
    }
}

bool IconvConversion::IsOpen() const noexcept {
    return conversion_ != kNotOpen;
}

void IconvConversion::SetSource(const void* source, std::size_t bytes) noexcept {
    // iconv takes a pointer to char* for historical reasons and does not write through it.
    source_ = const_cast<char*>(static_cast<const char*>(source));
    left_ = bytes;
}

std::size_t IconvConversion::Next(char* buffer, std::size_t room) noexcept {
    char* out = buffer;
    std::size_t out_left = room;
    while (left_ > 0) {
        if (iconv(conversion_, &source_, &left_, &out, &out_left) != static_cast<std::size_t>(-1)) {
            break;
        }
        if (errno == E2BIG || out_left < kLeastRoom) {
            return static_cast<std::size_t>(out - buffer);
        }
        PutSubstitute(out, out_left);
    }
    if (!flushed_) {
        // Pages with shift states return to the initial one.
        flushed_ =
            iconv(conversion_, nullptr, nullptr, &out, &out_left) != static_cast<std::size_t>(-1);
    }
    return static_cast<std::size_t>(out - buffer);
}

// Passes over the element that could not be converted.
void IconvConversion::PutSubstitute(char*& out, std::size_t& out_left) noexcept {
    const bool to_narrow = direction_ == Direction::kToNarrow;
    const std::size_t skipped = to_narrow ? std::min(left_, sizeof(wchar_t)) : 1;
    source_ += skipped;
    left_ -= skipped;
    wchar_t substitute = to_narrow ? L'?' : wchar_t{0xFFFD};
    char* text = reinterpret_cast<char*>(&substitute);
    std::size_t text_left = sizeof substitute;
    if (to_narrow) {
        // By iconv, too: only it knows the shift state, and which byte the page has for this. All
        // pages have one.
        (void)iconv(conversion_, &text, &text_left, &out, &out_left);
        return;
    }
    std::memcpy(out, text, text_left);
    out += text_left;
    out_left -= text_left;
}

}  // namespace ZTKPosix
