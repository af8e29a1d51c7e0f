// The loops over blocks. text_scan_blocks.h includes this once for each size of register, in its
// namespace, and so there is no #pragma once.

template <class T>
ZTK_SCAN_INLINE std::uint64_t BlockOf(const T* text, const Lanes<T>& lanes) noexcept {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kBlock; i += kStep) {
        bits |= std::uint64_t{Lanes<T>::Bits(lanes(text + i))} << i;
    }
    return bits;
}

template <class T>
ZTK_SCAN_INLINE std::uint64_t PairsOf(const T* text, const Lanes<T>& first, const Lanes<T>& second,
                                      std::size_t distance) noexcept {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kBlock; i += kStep) {
        const auto lanes = Both(first(text + i), second(text + i + distance));
        bits |= std::uint64_t{Lanes<T>::Bits(lanes)} << i;
    }
    return bits;
}

// The first block from `from` on in which the pair has places, or the last block, without any.
// REQUIRES: from < end, kBlock <= end, and end + distance characters.
template <class T>
ZTK_SCAN_FUNCTION Block NextPairs(const T* text, std::size_t from, std::size_t end,
                                  const Pair<T>& pair) noexcept {
    const Lanes<T> first(pair.first);
    const Lanes<T> second(pair.second);
    for (; end - from >= kBlock; from += kBlock) {
        const std::uint64_t bits = PairsOf(text + from, first, second, pair.distance);
        if (bits != 0) {
            return {from, bits};
        }
    }
    // The last block begins with characters that are known already.
    const std::size_t start = end - kBlock;
    const std::uint64_t bits = PairsOf(text + start, first, second, pair.distance);
    return {start, from == end ? 0 : bits >> (from - start) << (from - start)};
}

// Keeps no place while it counts: whether a block has one is not to be foreseen, and looking back
// for the last one, when the number is known, costs little. What is less than a block is looked at
// together with characters before it, so that a short stretch takes no loop. REQUIRES: kBlock <=
// to.
template <class T>
ZTK_SCAN_FUNCTION Occurrences FindAll(const T* text, std::size_t from, std::size_t to,
                                      Wanted<T> wanted) noexcept {
    const Lanes<T> lanes(wanted);
    std::size_t at = to - kBlock;
    std::uint64_t last = BlockOf(text + at, lanes);
    const std::size_t rest = (to - from) % kBlock;
    std::size_t total = CountBits(last >> 1 >> (kBlock - 1 - rest));
    for (; to - from >= kBlock; from += kBlock) {
        total += CountBits(BlockOf(text + from, lanes));
    }
    if (total == 0) {
        return {0, 0};
    }
    while (last == 0) {
        at = at < kBlock ? 0 : at - kBlock;
        last = BlockOf(text + at, lanes);
    }
    return {total, at + static_cast<std::size_t>(std::bit_width(last))};
}
