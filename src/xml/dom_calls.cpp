// The text value of a node: as it is read, as a number, and as CXml hands it out.
#include "xml/dom_calls.h"
#include "frame/base/tmp_ring.h"
#include "platform/wide_number.h"
#include "xml/long_texts.h"
#include "ztk/strings.h"
#include "ztk/xml.h"

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

const wchar_t* KeepText(MSXML2::IXMLDOMNode* node, BSTR* kept) {
    if (node == nullptr) {
        return nullptr;
    }
    const BSTR text = ReadText(node);
    SysFreeString(*kept);
    *kept = text;
    return text;
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

namespace ZTK {

// By value: the interface fixes it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
const wchar_t* CXml::GetXMLTextValue(MSXML2::IXMLDOMNodePtr node) {
    const BSTR text = xml::ReadText(node);
    if (text == nullptr) {
        return nullptr;
    }
    const UINT count = SysStringLen(text) + 1;
    wchar_t* const copy = frame::RequestTmpString<wchar_t>(count);
    if (copy == nullptr) {
        return xml::KeepLongText(text);
    }
    StrCopy(copy, text);
    SysFreeString(text);
    return copy;
}

}  // namespace ZTK
