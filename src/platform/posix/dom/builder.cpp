#include "platform/posix/dom/builder.h"

#include <cstring>

#include "platform/posix/dom/text.h"
#include "platform/posix/dom/typed_value.h"
#include "platform/posix/text/short_text.h"

namespace ZTKPosix::dom {

namespace {

// Room for a value of so many characters. Null when the arena cannot give it.
Text* NewText(Arena& arena, std::size_t characters) noexcept {
    return static_cast<Text*>(arena.Allocate(sizeof(Text) + characters * sizeof(wchar_t)));
}

wchar_t* CharactersOf(Text& text) noexcept {
    return reinterpret_cast<wchar_t*>(&text + 1);
}

[[gnu::noinline]] const Text* StoreLongText(Arena& arena, const char* text) noexcept {
    const std::size_t bytes = std::strlen(text);
    Text* const stored = NewText(arena, bytes);
    if (stored == nullptr) {
        return nullptr;
    }
    wchar_t* const end = WidenUtf8(text, bytes, CharactersOf(*stored));
    stored->length = static_cast<std::uint32_t>(end - CharactersOf(*stored));
    arena.ShrinkLast(end);
    return stored;
}

// The value of an attribute. Most are short, and there are more of them than of anything else.
const Text* StoreText(Arena& arena, const char* text) noexcept {
    const ShortText brief(text);
    if (!brief.IsWhole() || !brief.IsAscii()) {
        return StoreLongText(arena, text);
    }
    Text* const stored = NewText(arena, ShortText::kBlock);
    if (stored == nullptr) {
        return nullptr;
    }
    brief.Widen(CharactersOf(*stored));
    stored->length = static_cast<std::uint32_t>(brief.Length());
    arena.ShrinkLast(CharactersOf(*stored) + brief.Length());
    return stored;
}

}  // namespace

TreeBuilder::TreeBuilder(Tree& tree, Arena& notes) noexcept
    : tree_(tree), current_(&tree.document), namespaces_(notes) {
    current_->kind = NodeKind::kDocument;
    current_->EndSiblings(nullptr);
}

Name* TreeBuilder::InternPlain(const char* name, std::size_t bytes) noexcept {
    wchar_t* const buffer = buffer_.Room(bytes);
    if (buffer == nullptr) {
        return nullptr;
    }
    wchar_t* const end = WidenUtf8(name, bytes, buffer);
    return tree_.names.Intern(buffer, static_cast<std::size_t>(end - buffer));
}

Name* TreeBuilder::InternName(const char* name) noexcept {
    const ShortText text(name);
    if (!text.IsWhole()) {
        return InternClassified(name, std::strlen(name));
    }
    Name* interned = recent_names_.Find(text);
    if (interned == nullptr) {
        interned = InternClassified(name, text.Length());
        if (interned != nullptr) {
            recent_names_.Note(text, *interned);
        }
    }
    return interned;
}

// Not inlined: most names are recent.
[[gnu::noinline]] Name* TreeBuilder::InternClassified(const char* name,
                                                      std::size_t bytes) noexcept {
    Name* const interned = InternPlain(name, bytes);
    const bool good =
        interned != nullptr && (interned->prefix != nullptr || namespaces_.Classify(*interned));
    return good ? interned : nullptr;
}

Name* TreeBuilder::InternAttributeName(const char* name) noexcept {
    Name* interned = attribute_places_.Find(name);
    if (interned == nullptr) {
        interned = InternName(name);
        if (interned != nullptr) {
            attribute_places_.Note(name, *interned);
        }
    }
    return interned;
}

template <class AnyNode>
AnyNode* TreeBuilder::NewNode(NodeKind kind) noexcept {
    void* const storage = tree_.arena.Allocate(sizeof(AnyNode));
    if (storage == nullptr) {
        return nullptr;
    }
    auto* const node = static_cast<AnyNode*>(storage);
    *node = {};
    node->kind = kind;
    node->keeps_space = current_->keeps_space;
    return node;
}

void TreeBuilder::Append(Node& node) noexcept {
    if (last_child_ != nullptr) {
        last_child_->SetNextSibling(&node);
    } else {
        current_->first_child = &node;
    }
    node.EndSiblings(current_);
    last_child_ = &node;
}

const Name* TreeBuilder::StartElement(const char* name, const char* const* attributes) noexcept {
    FlushText();
    auto* const element = NewNode<Element>(NodeKind::kElement);
    if (element == nullptr) {
        return nullptr;
    }
    element->name = InternName(name);
    if (element->name == nullptr || !SetAttributes(*element, attributes)) {
        return nullptr;
    }
    Append(*element);
    current_ = element;
    last_child_ = nullptr;
    return element->name;
}

bool TreeBuilder::SetAttributes(Element& element, const char* const* attributes) noexcept {
    bool all_plain = namespaces_.IsPlain(*element.name);
    if (attributes[0] != nullptr) {
        std::uint32_t count = 1;
        while (attributes[std::size_t{count} * 2] != nullptr) {
            ++count;
        }
        void* const storage = tree_.arena.Allocate(count * sizeof(Attribute));
        if (storage == nullptr) {
            return false;
        }
        auto* next = static_cast<Attribute*>(storage);
        element.attributes = next;
        element.attribute_count = count;
        for (; *attributes != nullptr; attributes += 2, ++next) {
            next->name = InternAttributeName(attributes[0]);
            next->value = StoreText(tree_.arena, attributes[1]);
            if (next->name == nullptr || next->value == nullptr) {
                return false;
            }
            all_plain = all_plain && namespaces_.IsPlain(*next->name);
        }
    }
    return all_plain || ResolvePrefixes(element);
}

bool TreeBuilder::ResolvePrefixes(Element& element) noexcept {
    if (!namespaces_.Enter(element)) {
        return false;
    }
    for (std::uint32_t i = 0; i < element.attribute_count; ++i) {
        ApplySpecialAttribute(element, element.attributes[i]);
    }
    return true;
}

// The attributes that say how to read the element: the type of its content, and its white space.
void TreeBuilder::ApplySpecialAttribute(Element& element,
                                        const Attribute& attribute) const noexcept {
    const wchar_t* const value = attribute.value->Characters();
    const std::size_t length = attribute.value->length;
    switch (namespaces_.KindOf(*attribute.name)) {
        case Namespaces::Kind::kSpace:
            if (EqualsAscii(value, length, "preserve")) {
                element.keeps_space = true;
            } else if (EqualsAscii(value, length, "default")) {
                element.keeps_space = false;
            }
            break;
        case Namespaces::Kind::kType:
            element.type = DataTypeByName(value, length);
            break;
        case Namespaces::Kind::kOther:
            break;
    }
}

void TreeBuilder::EndElement() noexcept {
    FlushText();
    namespaces_.Leave(*current_);
    last_child_ = current_;
    current_ = current_->Parent();
}

bool TreeBuilder::AppendLeaf(Node* leaf, const char* text) noexcept {
    if (leaf == nullptr) {
        return false;
    }
    text_ = leaf;
    const std::size_t length = std::strlen(text);
    const bool written = Write(text, length);
    EndPiece();
    text_ = nullptr;
    Append(*leaf);
    return written;
}

bool TreeBuilder::BeginText(NodeKind kind) noexcept {
    text_ = NewNode<Node>(kind);
    text_is_blank_ = true;
    return text_ != nullptr;
}

bool TreeBuilder::Comment(const char* text) noexcept {
    FlushText();
    return AppendLeaf(NewNode<Node>(NodeKind::kComment), text);
}

bool TreeBuilder::Instruction(const char* target, const char* data) noexcept {
    FlushText();
    const Name* const name = InternPlain(target, std::strlen(target));
    auto* const node = NewNode<NamedNode>(NodeKind::kInstruction);
    if (name == nullptr || node == nullptr) {
        return false;
    }
    node->name = name;
    return AppendLeaf(node, data);
}

bool TreeBuilder::DocumentType(const char* name) noexcept {
    const Name* const interned = InternPlain(name, std::strlen(name));
    auto* const node = NewNode<NamedNode>(NodeKind::kDocumentType);
    if (interned == nullptr || node == nullptr) {
        return false;
    }
    node->name = interned;
    return AppendLeaf(node, "");
}

}  // namespace ZTKPosix::dom
