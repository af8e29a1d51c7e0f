#include "xml/dom_calls.h"

#include "platform/wide_number.h"

namespace ZTK::xml {

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
