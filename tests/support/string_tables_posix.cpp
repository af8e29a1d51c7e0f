#include <iterator>

#include "support/string_tables.h"

HINSTANCE ztk_test::ModuleWithStrings() {
    static int module;
    using Block = LPCWSTR[ZTKPosix::kStringsPerBlock];
    static constexpr Block kBlocks[] = {
        {nullptr, L"one", L"longer than half of the bytes of block 2", nullptr, nullptr, nullptr,
         nullptr, nullptr, nullptr, L"nine"},
        {L"sixteen", L"seventeen"},
        {L"", L"thirty-three"},
    };
    for (UINT i = 0; i < std::size(kBlocks); ++i) {
        ZTKPosix::AddStringBlock(&module, i + 1, kBlocks[i]);
    }
    return &module;
}
