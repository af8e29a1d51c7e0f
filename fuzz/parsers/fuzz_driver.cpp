// Around each run of a fuzzer: refuses memory as the input says, and looks for blocks left behind.
#include "fuzz_input.h"
#include "support/faults.h"

// Gives each slot of the rings all the storage that it can have. The rings keep it, and memory that
// runs out there ends the process: from here on they ask for none.
[[maybe_unused]] static const bool rings_are_filled = [] {
    char* narrow = nullptr;
    wchar_t* wide = nullptr;
    for (int i = 0; i < 256; ++i) {
        Require(ZTK::ZTKGetTmpString(narrow, 512000) + ZTK::ZTKGetTmpString(wide, 512000) == 2);
    }
    return true;
}();

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input{{reinterpret_cast<const char*>(data), size}};
    const std::uint8_t refusal = input.Byte();
    input.refuses = refusal >= 0x80;
    input.wide = input.Byte() == 'w';
    const long long live = ztk_test::LiveBlocks();
    const auto refuse = (refusal & 0x40) != 0 ? ztk_test::FailAlways : ztk_test::FailAfter;
    refuse(input.refuses ? refusal & 0x3F : INT_MAX);
    Run(input);
    ztk_test::StopFailing();
    (void)ZTK::CXml().LoadXML(L"<");  // no document: the library keeps no parser for the next one
    Require(ztk_test::LiveBlocks() == live);
    return 0;
}
