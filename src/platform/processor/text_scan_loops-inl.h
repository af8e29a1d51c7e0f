// The loops over blocks. text_scan_blocks.h includes this once for each size of register, in its
// namespace, and so there is no #pragma once.

template <class T, bool kMasks>
ZTK_SCAN_INLINE std::uint64_t BlockOf(const T* text, const Lanes<T, kMasks>& lanes) noexcept {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kBlock; i += kStep) {
        bits |= std::uint64_t{lanes.Bits(lanes(text + i))} << i;
    }
    return bits;
}

// Lanes for both characters of a pair.
template <class T, bool kMasks>
class PairLanes {
  public:
    ZTK_SCAN_INLINE explicit PairLanes(const Pair<T>& pair) noexcept
        : first_(pair.first), second_(pair.second), distance_(pair.distance) {}

    ZTK_SCAN_INLINE std::uint64_t BlockOf(const T* text) const noexcept {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < kBlock; i += kStep) {
            const auto lanes = Both(first_(text + i), second_(text + i + distance_));
            bits |= std::uint64_t{first_.Bits(lanes)} << i;
        }
        return bits;
    }

  private:
    Lanes<T, kMasks> first_;
    Lanes<T, kMasks> second_;
    std::size_t distance_;
};

// As NextPairs.
template <class T, bool kMasks>
ZTK_SCAN_INLINE Block NextBlock(const T* text, std::size_t from, std::size_t end,
                                const PairLanes<T, kMasks>& pairs) noexcept {
    for (; end - from >= kBlock; from += kBlock) {
        const std::uint64_t bits = pairs.BlockOf(text + from);
        if (bits != 0) {
            return {from, bits};
        }
    }
    // The last block begins with characters that are known already.
    const std::size_t start = end - kBlock;
    const std::uint64_t bits = pairs.BlockOf(text + start);
    return {start, from == end ? 0 : bits >> (from - start) << (from - start)};
}

// The first block from `from` on in which the pair has places, or the last block, without any.
// REQUIRES: from < end, kBlock <= end, and end + distance characters.
template <class T>
ZTK_SCAN_FUNCTION Block NextPairs(const T* text, std::size_t from, std::size_t end,
                                  const Pair<T>& pair) noexcept {
    return (pair.first.mask | pair.second.mask) == 0
               ? NextBlock(text, from, end, PairLanes<T, false>(pair))
               : NextBlock(text, from, end, PairLanes<T, true>(pair));
}

// Keeps no place while it counts: whether a block has one is not to be foreseen, and looking back
// for the last one, when the number is known, costs little. What is less than a block is looked at
// together with characters before it, so that a short stretch takes no loop. REQUIRES: kBlock <=
// to.
template <class T>
ZTK_SCAN_FUNCTION Occurrences FindAll(const T* text, std::size_t from, std::size_t to,
                                      Wanted<T> wanted) noexcept {
    const Lanes<T, false> lanes(wanted);
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
