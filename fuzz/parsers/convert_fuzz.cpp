// Fuzzes the conversion of text between code pages, and the unescaping of URLs.
#include "fuzz_input.h"

// There and back and there again: results end within the limit of a ring string, and the last error
// stays. UTF-8 holds all that a first conversion made.
template <class To, class From>
static void ConvertBothWays(const From* text, unsigned page, bool refuses) {
    SetLastError(page);
    const To* const there = ZTK::StrConvert(text, page);
    const From* const back = ZTK::StrConvert(there, page);
    const To* const again = ZTK::StrConvert(back, page);
    Require(ZTK::StrLength(there) + ZTK::StrLength(back) < 1024000 && GetLastError() == page);
    Require(page != 65001 || refuses || ZTK::StrEqual(there, again, true));
}

// The known pages are of single bytes, two, more, shift states and bits of bytes.
void Run(FuzzInput& input) {
    const unsigned known = input.Pick({65001, 0, 1252, 28605, 437, 37, 1140, 932, 936, 1361, 858,
                                       1258, 51932, 54936, 50220, 50225, 65000, 1200});
    const unsigned page = input.Byte() % 4 != 0 ? known : input.Next<WORD>();
    const auto narrow = input.Text<char>(input.rest.size() / 2);
    const auto wide = input.Text<wchar_t>(input.rest.size());
    ConvertBothWays<wchar_t>(narrow.data(), page, input.refuses);
    ConvertBothWays<char>(wide.data(), page, input.refuses);
    Require(ZTK::StrLength(ZTK::ZTKUrlUnescape(wide.data())) < wide.size());
}
