// Fuzzes Base64: any text decodes, and what was encoded decodes to itself.
#include "fuzz_input.h"

void Run(FuzzInput& input) {
    const unsigned page = input.Pick({65001U, 0U, 1252U, 932U, 37U, 1U});
    const auto text = input.Text<char>(input.rest.size() / 2);
    const auto wide = input.Text<wchar_t>(input.rest.size() / 2);
    Require(ZTK::StrLength(ZTK::Base64DecodeString(text.data(), 0)) < text.size() + 2);
    Require(ZTK::StrLength(ZTK::Base64DecodeString(wide.data(), page)) < 512000);
    std::vector<unsigned char> raw(input.rest.begin(), input.rest.end());
    int length = static_cast<int>(raw.size()), decoded = 7;
    ZTK::MemFree(ZTK::Base64Decode(raw.data(), length, nullptr, &decoded));
    unsigned char* const there = ZTK::Base64Encode(raw.data(), length, &length);
    unsigned char* const back = ZTK::Base64Decode(there, length, nullptr, &decoded);
    // Zeros at the end are lost: they are not told from what fills up the last group.
    const auto end = std::mismatch(raw.begin(), raw.end(), back, back + decoded).first;
    Require(input.refuses || std::count(end, raw.end(), 0) == raw.end() - end);
    ZTK::MemFree(there);
    ZTK::MemFree(back);
}
