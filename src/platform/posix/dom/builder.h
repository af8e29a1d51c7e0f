// Makes the tree of a document from what the parser reports, in order. Text is the parser's UTF-8.
#pragma once

#include <cstddef>

#include "platform/posix/dom/namespaces.h"
#include "platform/posix/dom/recent_names.h"
#include "platform/posix/dom/tree.h"
#include "platform/posix/dom/wide_buffer.h"

namespace ZTKPosix::dom {

// An operation returns false, or null, when the tree cannot take more, because memory is short or a
// limit is reached, and when the names break a rule of namespaces: then Refusal() says which.
class TreeBuilder {
  public:
    // notes: for what is only needed until the tree is built. REQUIRES: the tree is empty.
    TreeBuilder(Tree& tree, Arena& notes) noexcept;
    TreeBuilder(const TreeBuilder&) = delete;
    TreeBuilder& operator=(const TreeBuilder&) = delete;

    // The name of elements or attributes, for what is noted about it.
    [[nodiscard]] Name* InternName(const char* name) noexcept;

    // attributes: names and values in turn, ended by null. The element's name.
    [[nodiscard]] const Name* StartElement(const char* name,
                                           const char* const* attributes) noexcept;
    void EndElement() noexcept;

    // A parser goes that names of attributes came from.
    void ForgetParser() noexcept { attribute_places_.Forget(); }

    [[nodiscard]] bool Characters(const char* text, std::size_t length) noexcept;
    [[nodiscard]] bool StartCdata() noexcept;
    void EndCdata() noexcept;

    [[nodiscard]] bool Comment(const char* text) noexcept;
    [[nodiscard]] bool Instruction(const char* target, const char* data) noexcept;
    [[nodiscard]] bool DocumentType(const char* name) noexcept;

    // What was refused; null if nothing was.
    [[nodiscard]] const char* Refusal() const noexcept { return namespaces_.Refusal(); }

  private:
    // A name to which the rules of namespaces do not apply.
    [[nodiscard]] Name* InternPlain(const char* name, std::size_t bytes) noexcept;
    // A name whose prefix is noted.
    [[nodiscard]] Name* InternClassified(const char* name, std::size_t bytes) noexcept;
    [[nodiscard]] Name* InternAttributeName(const char* name) noexcept;
    [[nodiscard]] bool SetAttributes(Element& element, const char* const* attributes) noexcept;
    [[nodiscard]] bool ResolvePrefixes(Element& element) noexcept;
    void ApplySpecialAttribute(Element& element, const Attribute& attribute) const noexcept;

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

    Namespaces namespaces_;
    RecentNames recent_names_;  // whose prefixes are noted, as below
    AttributePlaces attribute_places_;
    WideBuffer buffer_;
};

}  // namespace ZTKPosix::dom
