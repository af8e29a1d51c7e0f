#include "platform/posix/dom/kept_parser.h"

#include <atomic>

#include "platform/memory/allocation.h"
#include "platform/posix/process/large_block.h"
#include "platform/posix/text/text_hash.h"

namespace ZTKPosix::dom {

namespace {

static_assert(sizeof(XML_Char) == 1, "the parser on the machine speaks UTF-8");

// The encoding is given because the text's own declaration does not describe what is fed.
constexpr const char* kEncoding = "UTF-8";

// One parser serves all threads: whoever takes it leaves null behind, and a second load at the same
// time makes its own. So a child of a fork finds a parser that nobody uses, or none.
constinit std::atomic<XML_Parser> kept_parser{nullptr};

// A request does not tell which load it is for, but a load stays on its thread.
constinit thread_local bool parser_lacked_memory = false;

// The only large blocks are for texts, which are written from their beginning on.
void* Note(void* block, std::size_t bytes) noexcept {
    if (block == nullptr) {
        parser_lacked_memory = true;
    } else {
        ExpectLargeBlockFilled(block, bytes);
    }
    return block;
}

const XML_Memory_Handling_Suite kMemory = {
    [](std::size_t bytes) { return Note(ZTK::allocation::RuntimeAlloc(bytes), bytes); },
    [](void* block, std::size_t bytes) {
        return Note(ZTK::allocation::RuntimeRealloc(block, bytes), bytes);
    },
    ZTK::allocation::RuntimeFree};

void Free(XML_Parser parser) noexcept {
    if (parser != nullptr) {
        XML_ParserFree(parser);
    }
}

}  // namespace

BorrowedParser::BorrowedParser() noexcept
    : parser_(kept_parser.exchange(nullptr, std::memory_order_acquire)) {
    parser_lacked_memory = false;
    if (parser_ == nullptr) {
        parser_ = XML_ParserCreate_MM(kEncoding, &kMemory, nullptr);
    }
    if (parser_ != nullptr) {
        // Otherwise the parser asks the system for a random number, once for each document. Refused
        // only while a parser is at work.
        (void)XML_SetHashSalt(parser_, static_cast<unsigned long>(HashText(L"", 0)));
    }
}

BorrowedParser::~BorrowedParser() {
    Free(parser_);
}

void BorrowedParser::KeepAfter(std::size_t length) noexcept {
    constexpr std::size_t kLongest = 32 * 1024;
    if (length > kLongest) {
        return;
    }
    parser_lacked_memory = false;
    // Resetting does not report that there was no memory for the encoding.
    if (XML_ParserReset(parser_, kEncoding) == XML_TRUE && !parser_lacked_memory) {
        parser_ = kept_parser.exchange(parser_, std::memory_order_acq_rel);
    }
}

bool BorrowedParser::LackedMemory() noexcept {
    return parser_lacked_memory;
}

void TearDownKeptParser() noexcept {
    Free(kept_parser.exchange(nullptr, std::memory_order_acquire));
}

}  // namespace ZTKPosix::dom
