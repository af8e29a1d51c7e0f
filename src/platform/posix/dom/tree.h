// A loaded document: nodes in an arena, and the count of those who use them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/posix/dom/arena.h"
#include "platform/posix/dom/text_pool.h"

namespace ZTKPosix::dom {

enum class NodeKind : std::uint8_t {
    kDocument,
    kDocumentType,
    kElement,
    kText,
    kCdata,
    kComment,
    kInstruction,
};

// The types that an element's content can be declared to have. Everything else is a string.
enum class DataType : std::uint8_t {
    kString,
    kI1,
    kI2,
    kI4,
    kI8,
    kUi1,
    kUi2,
    kUi4,
    kUi8,
    kR4,
    kR8,
    kFixed,
    kBoolean,
    kDate,
    kDateTime,
    kDateTimeZone,
    kTime,
    kTimeZone,
    kBinHex,
    kBinBase64,
};

// Text in an arena: length characters after the record.
struct Text {
    std::uint32_t length;

    [[nodiscard]] const wchar_t* Characters() const noexcept {
        return reinterpret_cast<const wchar_t*>(this + 1);
    }
};

// A part of a text, as it came from the parser. A long text stays in pieces, because joining them
// would take its size in memory once more.
struct TextPiece {
    TextPiece* next;
    std::uint32_t length;

    [[nodiscard]] const wchar_t* Characters() const noexcept {
        return reinterpret_cast<const wchar_t*>(this + 1);
    }
};

struct Attribute {
    const Name* name;
    const Text* value;
};

// A node knows its parent through its last sibling, so that a tree of any depth is walked without a
// stack and without a pointer more in each node.
struct Node {
    std::uintptr_t link;  // the next sibling, or the parent with the lowest bit set
    union {
        Node* first_child;  // of documents and elements
        TextPiece* text;    // of the others; null for none
    };
    std::uint32_t attribute_count;
    NodeKind kind;
    DataType type;
    bool keeps_space : 1;  // elements: xml:space="preserve" is in force; text: it stands under such
                           // a one
    // White space that became no node stood directly behind this node; or, in an element, before
    // its first child.
    bool dropped_behind : 1;
    bool dropped_first : 1;

    [[nodiscard]] Node* NextSibling() const noexcept {
        return (link & 1) == 0 ? reinterpret_cast<Node*>(link) : nullptr;
    }
    // REQUIRES: it is the last of its siblings.
    [[nodiscard]] Node* Parent() const noexcept {
        return reinterpret_cast<Node*>(link & ~std::uintptr_t{1});
    }
    void EndSiblings(Node* parent) noexcept { link = reinterpret_cast<std::uintptr_t>(parent) | 1; }
    void SetNextSibling(Node* next) noexcept { link = reinterpret_cast<std::uintptr_t>(next); }

    [[nodiscard]] bool HasChildren() const noexcept {
        return (kind == NodeKind::kElement || kind == NodeKind::kDocument) &&
               first_child != nullptr;
    }
};

// Elements, processing instructions and document types.
struct NamedNode : Node {
    const Name* name;
};

struct Element : NamedNode {
    const Attribute* attributes;  // attribute_count of them
};

// A loaded document. It lives until every reference on it has been given back. Once it is loaded it
// does not change, and any thread may read it.
class Tree {
  public:
    // An empty one with one reference, for a text of that many characters. Null when memory is
    // short.
    [[nodiscard]] static Tree* Make(std::size_t text_length) noexcept;

    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    void AddRef() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
    void Release() noexcept;

    // The root element, or null.
    [[nodiscard]] const Node* DocumentElement() const noexcept;

    Arena arena;
    NamePool names{arena};
    Node document{};

  private:
    explicit Tree(std::size_t first_block_bytes) noexcept : arena(first_block_bytes) {}
    ~Tree() = default;

    std::atomic<std::uint32_t> references_{1};
};

}  // namespace ZTKPosix::dom
