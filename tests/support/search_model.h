// The rules of the buffer's search, followed one step at a time and without thought for speed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "ztk/buffer.h"

namespace ztk_test {

struct SearchOutcome {
    std::string hits;  // "start:line " for each
    int calls = 0;     // of the cancel callback

    bool operator==(const SearchOutcome&) const = default;
};

template <class T>
class SearchModel {
  public:
    SearchModel(std::vector<T> term, bool fold) : term_(std::move(term)) {
        const auto m = static_cast<int>(term_.size());
        int largest = 0;
        for (const T c : term_) {
            for (const T form : {Cased(c, 'a', fold), Cased(c, 'A', fold)}) {
                // Folded narrow characters are compared and widened with their sign; the larger of
                // the two cases of a letter is the lower one.
                const int value = fold ? Cased(c, 'a', true) : Key(form);
                largest = std::max(largest, value & 0xFFFF);
            }
        }
        size_ = (largest + 1) & 0xFFFF;
        // From the front, so that the last place of a key is the one that stays; a wrapped one is
        // replaced only by a smaller one.
        for (int i = m - 1; i >= 0; --i) {
            for (const T form : {Cased(term_[i], 'a', fold), Cased(term_[i], 'A', fold)}) {
                const auto known = moves_.emplace(Key(form), m & 0xFFFF).first;
                known->second = std::min(known->second, (m - 1 - i) & 0xFFFF);
            }
        }
        moves_[Key(Cased(term_.back(), 'a', fold))] = 1;
        moves_[Key(Cased(term_.back(), 'A', fold))] = 1;
    }

    // stop_at: the call of the cancel callback that ends the search; 0 for none.
    SearchOutcome Search(const std::vector<T>& text, unsigned flags, T delimiter, int stop_at) {
        const auto at = [&](std::size_t i) { return i < text.size() ? text[i] : T{0}; };
        const auto same = [&](T a, T b) {
            return a == b || ((flags & 1) != 0 && Cased(a, 'a', true) == Cased(b, 'a', true));
        };
        const std::size_t m = term_.size();
        SearchOutcome outcome;
        for (std::size_t pos = 0; pos + m <= text.size();) {
            if (++outcome.calls == stop_at) {
                break;
            }
            std::size_t k = 0;
            while (k < m && same(at(pos + k), term_[k])) {
                ++k;
            }
            if (!same(at(pos + m - 1), term_[m - 1])) {
                pos += Move(at(pos + m - 1));
            } else if (k < m) {
                pos += Move(at(pos + k + m - 1));
            } else {
                const bool inside = (pos > 0 && IsWord(at(pos - 1))) || IsWord(at(pos + m));
                if ((flags & 2) == 0 || !inside) {
                    AddHit(text, pos, delimiter, &outcome);
                }
                pos += m;
            }
        }
        return outcome;
    }

  private:
    static int Key(T c) {
        return sizeof(T) == 1 ? std::abs(static_cast<signed char>(c)) : c & 0xFFFF;
    }

    // A letter in the case of `like`; everything else, or without fold, as it is.
    static T Cased(T c, char like, bool fold) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        return fold && letter ? static_cast<T>((c & ~0x20) | (like & 0x20)) : c;
    }

    static bool IsWord(T c) { return ZTK::CBuffer<T>::IsWordDelimeter(c) == 0; }

    std::size_t Move(T c) const {
        const std::size_t m = term_.size();
        if (Key(c) >= size_) {
            return m;
        }
        const auto known = moves_.find(Key(c));
        return std::max<std::size_t>(1, known == moves_.end() ? m & 0xFFFF : known->second);
    }

    static void AddHit(const std::vector<T>& text, std::size_t pos, T delimiter,
                       SearchOutcome* outcome) {
        std::size_t start = 0;
        int line = 1;
        for (std::size_t i = 0; i < pos; ++i) {
            if (text[i] == delimiter) {
                start = i + 1;
                ++line;
            }
        }
        outcome->hits += std::to_string(start) + ":" + std::to_string(line) + " ";
    }

    std::vector<T> term_;
    std::map<int, int> moves_;
    int size_ = 0;
};

}  // namespace ztk_test
