#include "xml/dom_calls.h"

#include "platform/node_lookup.h"
#include "platform/wide_number.h"
#include "ztk/strings.h"

namespace ZTK::xml {

MSXML2::IXMLDOMNodePtr FindChild(MSXML2::IXMLDOMNode* node, const wchar_t* name) {
    MSXML2::IXMLDOMNodePtr found;
    const HRESULT result = FindChildByName(node, name, &found);
    if (result != E_NOINTERFACE) {
        Check(result, node);
        return found;
    }
    for (found = FirstChild(node); found; found = NextSibling(found)) {
        DomString child_name;
        ReadName(found, &child_name);
        if (StrEqual(child_name.Get(), name, false)) {
            break;
        }
    }
    return found;
}

MSXML2::IXMLDOMNodePtr FindAttribute(MSXML2::IXMLDOMNode* node, const wchar_t* name) {
    MSXML2::IXMLDOMNodePtr found;
    const HRESULT result = FindAttributeByName(node, name, &found);
    if (result != E_NOINTERFACE) {
        Check(result, node);
        return found;
    }
    MSXML2::IXMLDOMNamedNodeMapPtr map;
    Check(node->get_attributes(&map), node);
    if (map) {
        const DomString key(name);
        Check(map->getNamedItem(key.Get(), &found), map.GetInterfacePtr());
    }
    return found;
}

BSTR ReadText(MSXML2::IXMLDOMNode* node) {
    if (node == nullptr) {
        _com_issue_error(E_POINTER);
    }
    VARIANT value;
    VariantInit(&value);
    Check(node->get_nodeTypedValue(&value), node);
    if (value.vt == VT_BSTR) {
        return value.bstrVal;  // taken over, instead of clearing the variant
    }
    VariantClear(&value);
    return nullptr;
}

namespace {

// Holds a text for a conversion.
class TextOf {
  public:
    explicit TextOf(MSXML2::IXMLDOMNode* node)
        : text_(node != nullptr ? ReadText(node) : nullptr) {}
    TextOf(const TextOf&) = delete;
    TextOf& operator=(const TextOf&) = delete;
    ~TextOf() { SysFreeString(text_); }

    // Never null: the runtime's conversions take that for a fault of the program.
    [[nodiscard]] const wchar_t* Get() const { return text_ != nullptr ? text_ : L""; }

  private:
    BSTR text_;
};

}  // namespace

int ReadInt(MSXML2::IXMLDOMNode* node) {
    return _wtoi(TextOf(node).Get());
}

LONG ReadLong(MSXML2::IXMLDOMNode* node) {
    return _wtol(TextOf(node).Get());
}

}  // namespace ZTK::xml
