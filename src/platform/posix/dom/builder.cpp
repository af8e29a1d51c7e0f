#include "platform/posix/dom/builder.h"

#include <cstring>
#include <string_view>

#include "platform/memory/allocation.h"
#include "platform/posix/dom/text.h"
#include "platform/posix/dom/typed_value.h"

namespace ZTKPosix::dom {

namespace {

constexpr std::string_view kTypeAttribute = "urn:schemas-microsoft-com:datatypes\fdt";
constexpr std::string_view kSpaceAttribute = "http://www.w3.org/XML/1998/namespace\fspace\fxml";

}  // namespace

TreeBuilder::TreeBuilder(Tree& tree) noexcept : tree_(tree), current_(&tree.document) {
    current_->kind = NodeKind::kDocument;
    current_->EndSiblings(nullptr);
}

TreeBuilder::~TreeBuilder() {
    ZTK::allocation::RuntimeFree(declared_);
    ZTK::allocation::RuntimeFree(long_name_);
}

wchar_t* TreeBuilder::NameBuffer(std::size_t length) noexcept {
    if (length <= std::size(short_name_)) {
        return short_name_;
    }
    if (length > long_name_capacity_) {
        void* const grown =
            ZTK::allocation::RuntimeRealloc(long_name_, length * 2 * sizeof(wchar_t));
        if (grown == nullptr) {
            return nullptr;
        }
        long_name_ = static_cast<wchar_t*>(grown);
        long_name_capacity_ = length * 2;
    }
    return long_name_;
}

const Name* TreeBuilder::InternQualified(const char* prefix, std::size_t prefix_length,
                                         const char* local, std::size_t local_length) noexcept {
    wchar_t* const buffer = NameBuffer(prefix_length + 1 + local_length);
    if (buffer == nullptr) {
        return nullptr;
    }
    wchar_t* end = buffer;
    if (prefix_length != 0) {
        end = WidenUtf8(prefix, prefix_length, end);
        *end++ = L':';
    }
    end = WidenUtf8(local, local_length, end);
    return tree_.names.Intern(buffer, static_cast<std::size_t>(end - buffer));
}

const Name* TreeBuilder::InternParserName(const char* name) noexcept {
    const char* const after_address = std::strchr(name, kNameSeparator);
    if (after_address == nullptr) {
        return InternQualified(nullptr, 0, name, std::strlen(name));
    }
    const char* const local = after_address + 1;
    const char* const after_local = std::strchr(local, kNameSeparator);
    if (after_local == nullptr) {
        return InternQualified(nullptr, 0, local, std::strlen(local));
    }
    const char* const prefix = after_local + 1;
    return InternQualified(prefix, std::strlen(prefix), local,
                           static_cast<std::size_t>(after_local - local));
}

const Text* TreeBuilder::StoreText(const char* text) noexcept {
    const std::size_t bytes = std::strlen(text);
    void* const storage = tree_.arena.Allocate(sizeof(Text) + bytes * sizeof(wchar_t));
    if (storage == nullptr) {
        return nullptr;
    }
    auto* const stored = static_cast<Text*>(storage);
    auto* const characters = reinterpret_cast<wchar_t*>(stored + 1);
    wchar_t* const end = WidenUtf8(text, bytes, characters);
    stored->length = static_cast<std::uint32_t>(end - characters);
    tree_.arena.ShrinkLast(end);
    return stored;
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

bool TreeBuilder::DeclareNamespace(const char* prefix, const char* address) noexcept {
    FlushText();
    if (declared_count_ == declared_capacity_) {
        const std::size_t capacity = declared_capacity_ != 0 ? declared_capacity_ * 2 : 8;
        void* const grown =
            ZTK::allocation::RuntimeRealloc(declared_, capacity * sizeof(Attribute));
        if (grown == nullptr) {
            return false;
        }
        declared_ = static_cast<Attribute*>(grown);
        declared_capacity_ = capacity;
    }
    constexpr std::string_view kXmlns = "xmlns";
    Attribute& declared = declared_[declared_count_];
    declared.name = prefix == nullptr ? InternQualified(nullptr, 0, kXmlns.data(), kXmlns.size())
                                      : InternQualified(kXmlns.data(), kXmlns.size(), prefix,
                                                        std::strlen(prefix));
    declared.value = StoreText(address != nullptr ? address : "");
    ++declared_count_;
    return declared.name != nullptr && declared.value != nullptr;
}

bool TreeBuilder::StartElement(const char* name, const char* const* attributes) noexcept {
    FlushText();
    std::size_t count = 0;
    while (attributes[count * 2] != nullptr) {
        ++count;
    }
    auto* const element = NewNode<Element>(NodeKind::kElement);
    if (element == nullptr) {
        return false;
    }
    element->name = InternParserName(name);
    if (element->name == nullptr || !SetAttributes(*element, attributes, count)) {
        return false;
    }
    Append(*element);
    current_ = element;
    last_child_ = nullptr;
    return true;
}

bool TreeBuilder::SetAttributes(Element& element, const char* const* attributes,
                                std::size_t count) noexcept {
    const std::size_t total = declared_count_ + count;
    if (total == 0) {
        return true;
    }
    auto* const stored = static_cast<Attribute*>(tree_.arena.Allocate(total * sizeof(Attribute)));
    if (stored == nullptr) {
        return false;
    }
    element.attributes = stored;
    element.attribute_count = static_cast<std::uint32_t>(total);
    if (declared_count_ != 0) {
        std::memcpy(stored, declared_, declared_count_ * sizeof(Attribute));
    }
    Attribute* next = stored + declared_count_;
    declared_count_ = 0;
    for (; *attributes != nullptr; attributes += 2, ++next) {
        next->name = InternParserName(attributes[0]);
        next->value = StoreText(attributes[1]);
        if (next->name == nullptr || next->value == nullptr) {
            return false;
        }
        ApplySpecialAttribute(element, attributes[0], attributes[1]);
    }
    return true;
}

// The attributes that say how to read the element: the type of its content, and its white space.
void TreeBuilder::ApplySpecialAttribute(Element& element, const char* name,
                                        const char* value) noexcept {
    if (name[0] != kTypeAttribute[0] && name[0] != kSpaceAttribute[0]) {
        return;
    }
    const std::string_view full = name;
    if (full == kSpaceAttribute) {
        const std::string_view mode = value;
        if (mode == "preserve" || mode == "default") {
            element.keeps_space = mode == "preserve";
        }
    } else if (full.substr(0, full.rfind(kNameSeparator)) == kTypeAttribute) {
        element.type = DataTypeByName(value);
    }
}

void TreeBuilder::EndElement() noexcept {
    FlushText();
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
    const Name* const name = InternQualified(nullptr, 0, target, std::strlen(target));
    auto* const node = NewNode<NamedNode>(NodeKind::kInstruction);
    if (name == nullptr || node == nullptr) {
        return false;
    }
    node->name = name;
    return AppendLeaf(node, data);
}

bool TreeBuilder::DocumentType(const char* name) noexcept {
    const Name* const interned = InternQualified(nullptr, 0, name, std::strlen(name));
    auto* const node = NewNode<NamedNode>(NodeKind::kDocumentType);
    if (interned == nullptr || node == nullptr) {
        return false;
    }
    node->name = interned;
    return AppendLeaf(node, "");
}

}  // namespace ZTKPosix::dom
