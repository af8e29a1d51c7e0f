// Fuzzes printf formats: directives and literal text that the input chooses, with arguments of the
// kinds that the directives name.
#include <variant>

#include "fuzz_input.h"

[[maybe_unused]] static const bool log_is_open = ZTKOpenTraceLog(L"/dev/null");

using Argument = std::variant<int, long long, double, long double, const char*, const wchar_t*>;
constexpr int kStars[] = {0, 1, -7, 400, 511999, INT_MAX, INT_MIN};

// In the order of the arguments that they take: the kinds of Argument, text of the format's own
// width and of the other, none.
constexpr const char* kConversions[][8] = {
    {"d", "hi", "hhu", "I32o", "x", "hC", "c", "lc"},
    {"ld", "llx", "ji", "zu", "tX", "Io", "I64d", "I64X"},
    {"e", "lE", "f", "F", "g", "lG", "a", "A"},
    {"Le", "LE", "Lf", "LF", "Lg", "LG", "La", "LA"},
    {"hs", "hhs", "hS", "hhS", "p", "hs", "hs", "hs"},
    {"ls", "ws", "lS", "wS", "p", "ls", "ls", "ls"},
    {"s", "s", "s", "s", "s", "s", "s", "s"},
    {"S", "S", "S", "S", "S", "S", "S", "S"},
    {"%", "n", "y", "Ls", "wd", "hf", "I6_", "I3_"},
};

// Two directives in the middle of literal text: one with stars, one with whatever may stand between
// a percent sign and a conversion.
template <class Char>
static void FuzzFormat(FuzzInput& input) {
    const int width = input.Pick(kStars), precision = input.Pick(kStars);
    std::string directives = std::string("%*.*") + input.Pick(kConversions[0]) + "%";
    for (const char choice : input.Take(input.Byte() % 8)) {
        directives += "-+ #0.123456789."[choice & 0xF];
    }
    const std::size_t kind = input.Byte() % std::size(kConversions);
    directives += input.Pick(kConversions[kind]);
    const auto number = input.Next<int>();
    const auto real = input.Next<double>();
    const auto narrow = input.Text<char>(input.Byte());
    const auto wide = input.Text<wchar_t>(input.Byte());
    const Argument n = narrow.size() == 2 ? nullptr : narrow.data(), w = wide.data();
    const Argument own = sizeof(Char) == 1 ? n : w, other = sizeof(Char) == 1 ? w : n;
    const Argument all[] = {number, number * 0x10000001LL, real, real / 3.0L, n, w, own, other, 0};
    auto format = input.Text<Char>(input.rest.size());
    std::replace(format.begin(), format.end(), Char{'%'}, Char{'_'});
    const auto middle = format.begin() + static_cast<std::ptrdiff_t>(format.size() / 2);
    format.insert(middle, directives.begin(), directives.end());
    const auto print = [&](auto value) {
        const auto* const text = ZTK::StrFormat(format.data(), width, precision, number, value);
        Require(ZTK::StrLength(text) < 512000);
        if constexpr (sizeof(Char) == 2) {
            ZTKTrace(format.data(), width, precision, number, value);
        }
    };
    std::visit(print, all[kind]);
}

void Run(FuzzInput& input) {
    input.Byte() % 2 == 0 ? FuzzFormat<char>(input) : FuzzFormat<wchar_t>(input);
}
