// Makes the tree of a document from what the parser reports, in order. Text is the parser's UTF-8.
#pragma once

#include <cstddef>

#include "platform/posix/dom/tree.h"

namespace ZTKPosix::dom {

// Stands between the address, the local name and the prefix of a name that has more than one of
// them, in that order. No document can contain this character, and so no address does.
inline constexpr char kNameSeparator = '\f';

// An operation returns false when the tree cannot take more: memory is short or its limit is
// reached.
class TreeBuilder {
  public:
    // REQUIRES: the tree is empty.
    explicit TreeBuilder(Tree& tree) noexcept;
    TreeBuilder(const TreeBuilder&) = delete;
    TreeBuilder& operator=(const TreeBuilder&) = delete;
    ~TreeBuilder();

    // A declaration for the element that starts next. Null: no prefix, no address.
    [[nodiscard]] bool DeclareNamespace(const char* prefix, const char* address) noexcept;
    // attributes: names and values in turn, ended by null.
    [[nodiscard]] bool StartElement(const char* name, const char* const* attributes) noexcept;
    void EndElement() noexcept;

    [[nodiscard]] bool Characters(const char* text, std::size_t length) noexcept;
    [[nodiscard]] bool StartCdata() noexcept;
    void EndCdata() noexcept;

    [[nodiscard]] bool Comment(const char* text) noexcept;
    [[nodiscard]] bool Instruction(const char* target, const char* data) noexcept;
    [[nodiscard]] bool DocumentType(const char* name) noexcept;

  private:
    // Room for length characters, in which a name is put together. Null when memory is short.
    [[nodiscard]] wchar_t* NameBuffer(std::size_t length) noexcept;
    [[nodiscard]] const Name* InternQualified(const char* prefix, std::size_t prefix_length,
                                              const char* local, std::size_t local_length) noexcept;
    [[nodiscard]] const Name* InternParserName(const char* name) noexcept;
    [[nodiscard]] const Text* StoreText(const char* text) noexcept;
    [[nodiscard]] bool SetAttributes(Element& element, const char* const* attributes,
                                     std::size_t count) noexcept;
    static void ApplySpecialAttribute(Element& element, const char* name,
                                      const char* value) noexcept;

    template <class AnyNode>
    [[nodiscard]] AnyNode* NewNode(NodeKind kind) noexcept;
    void Append(Node& node) noexcept;
    [[nodiscard]] bool AppendLeaf(Node* leaf, const char* text) noexcept;

    [[nodiscard]] bool BeginText(NodeKind kind) noexcept;
    [[nodiscard]] bool Write(const char* text, std::size_t length) noexcept;
    [[nodiscard]] bool NewPiece(std::size_t least) noexcept;
    void EndPiece() noexcept;
    void FlushText() noexcept;
    void NoteDroppedSpace() noexcept;

    Tree& tree_;
    Node* current_;               // the open element, or the document
    Node* last_child_ = nullptr;  // of current_

    // The text node that is being written, which is not yet in the tree, and the place of its last
    // piece. Nothing else is taken from the arena until the text ends.
    Node* text_ = nullptr;
    TextPiece* piece_ = nullptr;
    wchar_t* piece_top_ = nullptr;
    wchar_t* piece_end_ = nullptr;
    bool text_is_blank_ = true;

    // White space at the start of a text that has no node yet. Most often nothing else follows, and
    // no node is made.
    char blank_[256];
    std::size_t blank_length_ = 0;

    // Namespace declarations of the next element.
    Attribute* declared_ = nullptr;  // owned
    std::size_t declared_count_ = 0;
    std::size_t declared_capacity_ = 0;

    wchar_t short_name_[256];
    wchar_t* long_name_ = nullptr;  // owned
    std::size_t long_name_capacity_ = 0;
};

}  // namespace ZTKPosix::dom
