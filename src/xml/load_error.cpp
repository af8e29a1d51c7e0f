// Why a document refused a text.
#include "xml/dom_calls.h"
#include "ztk/text.h"
#include "ztk/xml.h"

namespace ZTK {

namespace {

// The sentence alone: on Windows a line end follows it.
String ReasonOf(MSXML2::IXMLDOMParseError* refusal) noexcept {
    xml::DomString reason;
    if (FAILED(refusal->get_reason(reason.Out())) || reason.Get() == nullptr) {
        return {};
    }
    const WideView text(reason.Get(), SysStringLen(reason.Get()));
    return ToString(text.substr(0, text.find_last_not_of(L" \r\n") + 1));
}

}  // namespace

bool CXml::GetLoadError(CXMLLoadError& error) const noexcept {
    if (!document_) {
        return false;
    }
    MSXML2::IXMLDOMParseErrorPtr refusal;
    if (FAILED(document_->get_parseError(&refusal)) || !refusal) {
        return false;
    }
    LONG code = 0;
    if (refusal->get_errorCode(&code) != S_OK || code == S_OK) {
        return false;
    }
    error.code = static_cast<HRESULT>(code);
    error.reason = ReasonOf(refusal);
    // What cannot be told stays 0.
    error.line = error.column = 0;
    (void)refusal->get_line(&error.line);
    (void)refusal->get_linepos(&error.column);
    return true;
}

}  // namespace ZTK
