// What the fuzzers of the parsers share: an input that is taken apart piece by piece.
//
// The first two bytes of every input are taken before the fuzzer sees it. The first tells which
// request for memory is refused: none if it is ASCII; else its low six bits count the requests that
// pass before, and the next bit tells whether all later ones are refused, too. The second tells how
// wide text is made: of one byte a unit, which lets the fuzzer work on markup, or, if it is 'w', of
// two, which reaches every unit there is.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ztk/ztk.h"

// An input that has come to its end goes on as zeros and empty texts.
struct FuzzInput {
    std::string_view rest;
    bool refuses = false;  // whether a request for memory may be refused
    bool wide = false;     // whether two bytes make a unit of wide text

    // At most count bytes.
    std::string_view Take(std::size_t count) noexcept {
        const std::string_view taken = rest.substr(0, count);
        rest.remove_prefix(taken.size());
        return taken;
    }
    template <class Number>
    Number Next() noexcept {
        Number number{};
        const std::string_view bytes = Take(sizeof number);
        std::copy_n(bytes.data(), bytes.size(), reinterpret_cast<char*>(&number));
        return number;
    }
    std::uint8_t Byte() noexcept { return Next<std::uint8_t>(); }
    template <class Choice, std::size_t n>
    Choice Pick(const Choice (&choices)[n]) noexcept {
        return choices[Byte() % n];
    }
    // Text made of at most count bytes, terminated. It ends where its block does, so that a read
    // behind it is noticed.
    template <class Char>
    std::vector<Char> Text(std::size_t count) {
        const std::string_view bytes = Take(count);
        const std::size_t size = wide ? sizeof(Char) : 1;
        std::vector<Char> text(bytes.size() / size + 1);
        for (std::size_t i = 0; i + 1 < text.size(); ++i) {
            std::copy_n(&bytes[i * size], size, reinterpret_cast<char*>(&text[i]));
        }
        return text;
    }
};

// Each fuzzer's own: one run over an input. What it takes from the library it gives back.
void Run(FuzzInput& input);

// Ends the process with a finding.
inline void Require(bool good) {
    good ? void() : std::abort();
}

// As libFuzzer and the replay call it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
