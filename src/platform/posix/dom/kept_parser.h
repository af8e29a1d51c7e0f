// The parser of a load: made for it, or kept from an earlier one. Making a parser takes longer than
// reading a short message with it.
#pragma once

// The header declares the limits of expansion only under this name.
#define XML_DTD
#include <expat.h>

#include <cstddef>

namespace ZTKPosix::dom {

// A parser of UTF-8 for one load, without handlers. Used by the thread that took it.
class BorrowedParser {
  public:
    BorrowedParser() noexcept;
    BorrowedParser(const BorrowedParser&) = delete;
    BorrowedParser& operator=(const BorrowedParser&) = delete;
    ~BorrowedParser();

    // Null when memory is short.
    [[nodiscard]] XML_Parser Get() const noexcept { return parser_; }

    // The parser has read a document of that many characters, well-formed and without a document
    // type: what it has grown to is in proportion to them. It is kept for the next load unless that
    // is much.
    void KeepAfter(std::size_t length) noexcept;

    // Whether a parser of this thread was refused memory since this one was taken. Its error code
    // does not always say so: short of memory within a declaration it may report a fault of the
    // text instead.
    [[nodiscard]] static bool LackedMemory() noexcept;

  private:
    XML_Parser parser_;
};

// Frees the parser that is kept. REQUIRES: no load is under way.
void TearDownKeptParser() noexcept;

}  // namespace ZTKPosix::dom
