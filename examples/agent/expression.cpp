// Arithmetic with the names of a debuggee.
#include "agent/expression.h"

#include <cctype>
#include <charconv>

namespace example {

namespace {

// Names of functions and globals have these two beside letters and digits.
bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.';
}

constexpr int kDeepest =
    50;  // the text comes from the peer: it must not choose how deep we recurse

class Parser {
  public:
    Parser(std::string_view text, const Names& names, std::string* problem)
        : text_(text), names_(names), problem_(problem) {}

    bool All(std::uint64_t* value) {
        if (!Sum(value)) {
            return false;
        }
        SkipBlanks();
        return text_.empty() || Fail("unexpected '" + std::string(text_.substr(0, 1)) + "'");
    }

  private:
    bool Sum(std::uint64_t* value) {
        if (!Product(value)) {
            return false;
        }
        for (;;) {
            std::uint64_t right = 0;
            if (Accept('+')) {
                if (!Product(&right)) {
                    return false;
                }
                *value += right;
            } else if (Accept('-')) {
                if (!Product(&right)) {
                    return false;
                }
                *value -= right;
            } else {
                return true;
            }
        }
    }

    bool Product(std::uint64_t* value) {
        if (!Operand(value)) {
            return false;
        }
        for (;;) {
            std::uint64_t right = 0;
            if (Accept('*')) {
                if (!Operand(&right)) {
                    return false;
                }
                *value *= right;
            } else if (Accept('/')) {
                if (!Operand(&right)) {
                    return false;
                }
                if (right == 0) {
                    return Fail("division by zero");
                }
                *value /= right;
            } else {
                return true;
            }
        }
    }

    bool Operand(std::uint64_t* value) {
        if (++depth_ > kDeepest) {
            return Fail("nested too deeply");
        }
        bool ok = false;
        if (Accept('-')) {
            ok = Operand(value);
            *value = 0 - *value;
        } else if (Accept('(')) {
            ok = Sum(value) && (Accept(')') || Fail("')' is missing"));
        } else {
            ok = Word(value);
        }
        --depth_;
        return ok;
    }

    bool Word(std::uint64_t* value) {
        SkipBlanks();
        std::size_t length = 0;
        while (length < text_.size() && IsWordCharacter(text_[length])) {
            ++length;
        }
        const std::string_view word = text_.substr(0, length);
        text_.remove_prefix(length);
        if (word.empty()) {
            return Fail("a number or a name is missing");
        }
        if (std::isdigit(static_cast<unsigned char>(word[0])) == 0) {
            return names_(word, value) || Fail("no such name: " + std::string(word));
        }
        const bool hex = word.substr(0, 2) == "0x";
        const char* end = word.data() + word.size();
        const auto parsed =
            std::from_chars(word.data() + (hex ? 2 : 0), end, *value, hex ? 16 : 10);
        return (parsed.ec == std::errc() && parsed.ptr == end) ||
               Fail("not a number: " + std::string(word));
    }

    void SkipBlanks() {
        while (!text_.empty() && text_.front() == ' ') {
            text_.remove_prefix(1);
        }
    }

    bool Accept(char wanted) {
        SkipBlanks();
        if (text_.empty() || text_.front() != wanted) {
            return false;
        }
        text_.remove_prefix(1);
        return true;
    }

    bool Fail(std::string problem) {
        *problem_ = std::move(problem);
        return false;
    }

    std::string_view text_;
    const Names& names_;
    std::string* problem_;
    int depth_ = 0;
};

}  // namespace

bool EvaluateExpression(std::string_view text, const Names& names, std::uint64_t* value,
                        std::string* problem) {
    *value = 0;
    return Parser(text, names, problem).All(value);
}

}  // namespace example
