#include "platform/posix/dom/node.h"

#include <algorithm>

#include "platform/posix/com/error_record.h"
#include "platform/posix/dom/dom_object.h"
#include "platform/posix/dom/node_lookup.h"
#include "platform/posix/dom/value.h"
#include "platform/posix/text/runtime_text.h"
#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

using MSXML2::IXMLDOMElement;
using MSXML2::IXMLDOMNamedNodeMap;
using MSXML2::IXMLDOMNode;

struct NameText {
    const wchar_t* characters;
    std::size_t length;
};

NameText NameOf(const Node& node) noexcept {
    switch (node.kind) {
        case NodeKind::kText:
            return {L"#text", 5};
        case NodeKind::kCdata:
            return {L"#cdata-section", 14};
        case NodeKind::kComment:
            return {L"#comment", 8};
        case NodeKind::kDocument:
            return {L"#document", 9};
        default:
            break;
    }
    const Name& own = *static_cast<const NamedNode&>(node).name;
    return {own.Text(), own.length};
}

HRESULT CopyName(NameText name, BSTR* copy) noexcept {
    *copy = SysAllocStringLen(name.characters, static_cast<UINT>(name.length));
    return *copy != nullptr ? S_OK : Fail(E_OUTOFMEMORY);
}

// Ignores the case of ASCII letters.
bool AreEqual(NameText a, NameText b) noexcept {
    return a.length == b.length &&
           std::equal(a.characters, a.characters + a.length, b.characters,
                      [](wchar_t x, wchar_t y) {
                          return ZTK::ascii::ToLower(x) == ZTK::ascii::ToLower(y);
                      });
}

// The first of the siblings from node on that has that name, or null.
const Node* FindSibling(const Node* node, NameText wanted) noexcept {
    // Most siblings have one of a few names, and each name lies in one place.
    const wchar_t* other = nullptr;
    for (; node != nullptr; node = node->NextSibling()) {
        const NameText name = NameOf(*node);
        if (name.characters == other) {
            continue;
        }
        if (AreEqual(name, wanted)) {
            return node;
        }
        other = name.characters;
    }
    return nullptr;
}

// A reference on a tree that goes with the object that holds it.
class TreeReference {
  public:
    explicit TreeReference(Tree& tree) noexcept : tree_(tree) { tree_.AddRef(); }
    TreeReference(const TreeReference&) = delete;
    TreeReference& operator=(const TreeReference&) = delete;
    ~TreeReference() { tree_.Release(); }

    [[nodiscard]] Tree& operator*() const noexcept { return tree_; }
    [[nodiscard]] Tree* operator->() const noexcept { return &tree_; }

  private:
    Tree& tree_;
};

class AttributeObject final : public DomObject<AttributeObject, IXMLDOMNode> {
  public:
    AttributeObject(Tree& tree, const Attribute& attribute) noexcept
        : tree_(tree), attribute_(attribute) {}

    [[nodiscard]] bool Answers(REFIID iid) const noexcept { return iid == IID_IXMLDOMNode; }

    HRESULT get_nodeName(BSTR* name) override {
        return name == nullptr ? Fail(E_INVALIDARG)
                               : CopyName({attribute_.name->Text(), attribute_.name->length}, name);
    }
    HRESULT get_nodeTypedValue(VARIANT* typedValue) override {
        if (typedValue == nullptr) {
            return Fail(E_INVALIDARG);
        }
        VariantInit(typedValue);
        const HRESULT result = AttributeValue(attribute_, *typedValue);
        return FAILED(result) ? Fail(result) : result;
    }
    HRESULT get_firstChild(IXMLDOMNode** firstChild) override { return HandOutNone(firstChild); }
    HRESULT get_nextSibling(IXMLDOMNode** nextSibling) override { return HandOutNone(nextSibling); }
    HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) override {
        return HandOutNone(attributeMap);
    }

  private:
    TreeReference tree_;
    const Attribute& attribute_;
};

HRESULT HandOutAttribute(Tree& tree, const Element& element, NameText name,
                         IXMLDOMNode** target) noexcept {
    // Each name exists once in a tree, so it is enough to compare addresses.
    const Name* const wanted = tree.names.Find(name.characters, name.length);
    const Attribute* const end = element.attributes + element.attribute_count;
    for (const Attribute* found = element.attributes; wanted != nullptr && found != end; ++found) {
        if (found->name == wanted) {
            return HandOutNew(MakeComObject<AttributeObject>(tree, *found), target);
        }
    }
    return S_FALSE;
}

class AttributeMapObject final : public DomObject<AttributeMapObject, IXMLDOMNamedNodeMap> {
  public:
    AttributeMapObject(Tree& tree, const Element& element) noexcept
        : tree_(tree), element_(element) {}

    [[nodiscard]] bool Answers(REFIID iid) const noexcept { return iid == IID_IXMLDOMNamedNodeMap; }

    HRESULT getNamedItem(BSTR name, IXMLDOMNode** namedItem) override {
        if (namedItem == nullptr) {
            return Fail(E_INVALIDARG);
        }
        *namedItem = nullptr;
        if (name == nullptr) {
            return Fail(E_INVALIDARG);
        }
        return HandOutAttribute(*tree_, element_, {name, SysStringLen(name)}, namedItem);
    }

  private:
    TreeReference tree_;
    const Element& element_;
};

// Every kind of node but attributes and documents.
class NodeObject final : public DomObject<NodeObject, IXMLDOMElement>, public NodeLookup {
  public:
    NodeObject(Tree& tree, const Node& node) noexcept : tree_(tree), node_(node) {}

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (iid == kNodeLookupId && object != nullptr) {
            *object = static_cast<NodeLookup*>(this);
            return S_OK;
        }
        return DomObject::QueryInterface(iid, object);
    }

    [[nodiscard]] bool Answers(REFIID iid) const noexcept {
        return iid == IID_IXMLDOMNode ||
               (iid == IID_IXMLDOMElement && node_.kind == NodeKind::kElement);
    }

    HRESULT get_nodeName(BSTR* name) override {
        return name == nullptr ? Fail(E_INVALIDARG) : CopyName(NameOf(node_), name);
    }

    HRESULT get_nodeTypedValue(VARIANT* typedValue) override {
        if (typedValue == nullptr) {
            return Fail(E_INVALIDARG);
        }
        VariantInit(typedValue);
        const HRESULT result = NodeValue(node_, *typedValue);
        if (result == DISP_E_TYPEMISMATCH) {
            LeaveErrorRecord(L"The text of the element is no value of the type that it declares.");
            return result;
        }
        return FAILED(result) ? Fail(result) : result;
    }

    HRESULT get_firstChild(IXMLDOMNode** firstChild) override {
        return HandOutNode(*tree_, node_.HasChildren() ? node_.first_child : nullptr, firstChild);
    }

    HRESULT get_nextSibling(IXMLDOMNode** nextSibling) override {
        return HandOutNode(*tree_, node_.NextSibling(), nextSibling);
    }

    HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) override {
        if (attributeMap == nullptr) {
            return Fail(E_INVALIDARG);
        }
        *attributeMap = nullptr;
        if (node_.kind != NodeKind::kElement) {
            return S_FALSE;
        }
        return HandOutNew(
            MakeComObject<AttributeMapObject>(*tree_, static_cast<const Element&>(node_)),
            attributeMap);
    }

    HRESULT FindChild(const wchar_t* name, IXMLDOMNode** child) noexcept override {
        const Node* const first = node_.HasChildren() ? node_.first_child : nullptr;
        const bool can_match = first != nullptr && name != nullptr;
        return HandOutNode(*tree_, can_match ? FindSibling(first, {name, wcslen(name)}) : nullptr,
                           child);
    }

    HRESULT FindAttribute(const wchar_t* name, IXMLDOMNode** attribute) noexcept override {
        if (node_.kind != NodeKind::kElement) {
            return S_FALSE;
        }
        if (name == nullptr) {
            return Fail(E_INVALIDARG);
        }
        return HandOutAttribute(*tree_, static_cast<const Element&>(node_), {name, wcslen(name)},
                                attribute);
    }

  private:
    TreeReference tree_;
    const Node& node_;
};

}  // namespace

HRESULT HandOutElement(Tree& tree, const Node* element, IXMLDOMElement** target) noexcept {
    if (target == nullptr) {
        return Fail(E_INVALIDARG);
    }
    *target = nullptr;
    if (element == nullptr) {
        return S_FALSE;
    }
    return HandOutNew(MakeComObject<NodeObject>(tree, *element), target);
}

HRESULT HandOutNode(Tree& tree, const Node* node, IXMLDOMNode** target) noexcept {
    if (target == nullptr) {
        return Fail(E_INVALIDARG);
    }
    IXMLDOMElement* object = nullptr;
    const HRESULT result = HandOutElement(tree, node, &object);
    *target = object;
    return result;
}

}  // namespace ZTKPosix::dom
