// Runs a fuzzer over the files that it is given, where there is no libFuzzer.
#include <fstream>
#include <iostream>
#include <iterator>

#include "fuzz_input.h"

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::cout << argv[i] << std::endl;  // the last one that is named ended the process
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return argc < 2;  // an empty corpus is a mistake
}
