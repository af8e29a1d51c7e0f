// The text that a tag or an attribute handed out last.
#include "xml/dom_calls.h"
#include "ztk/xml.h"

namespace ZTK::xml {

const wchar_t* LastValue::Read(MSXML2::IXMLDOMNode* node) {
    if (node == nullptr) {
        return nullptr;
    }
    const BSTR text = ReadText(node);
    SysFreeString(text_);
    text_ = text;
    return text;
}

}  // namespace ZTK::xml
