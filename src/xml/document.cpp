// Documents: creation, loading, the root, and the text value that is handed out without an owner.
#include "frame/base/tmp_ring.h"
#include "xml/dom_calls.h"
#include "xml/heap_operators-inl.h"
#include "xml/long_texts.h"
#include "ztk/strings.h"
#include "ztk/xml.h"

namespace ZTK {

namespace {

constexpr DWORD kAnyServer = 23;  // in-process server and handler, local and remote server

// The parser takes these as 16-bit integers with the values of VARIANT_FALSE and VARIANT_TRUE.
void SetProperty(MSXML2::IXMLDOMDocument2* document, const wchar_t* name, short setting) {
    const xml::DomString key(name);
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I2;
    value.iVal = setting;
    xml::Check(document->setProperty(key.Get(), value), document);
}

}  // namespace

CXml::CXml() {
    CreateDocument();
}

CXml::CXml(const wchar_t* xml) : CXml() {
    if (xml != nullptr) {
        LoadXML(xml);
    }
}

CXml::CXml(const CXml& other) = default;
CXml& CXml::operator=(const CXml& other) = default;

CXml::~CXml() {
    Reset();
}

void CXml::CreateDocument() {
    // Never balanced: what outlives this document, tags and their nodes, needs COM on this thread.
    // The result does not matter: a thread in the other model has COM, too, and on a thread without
    // COM no class is made below.
    (void)CoInitialize(nullptr);
    // Only S_OK counts: a class that answers with another success is left alone like one that
    // fails.
    if (document_.CreateInstance(L"Msxml2.DOMDocument.6.0", nullptr, kAnyServer) == S_OK) {
        SetProperty(document_, L"ProhibitDTD", 0);
        SetProperty(document_, L"ResolveExternals", -1);
        is_version6_ = true;
        return;
    }
    // Without either class the document stays null, and loading raises E_POINTER.
    (void)document_.CreateInstance(L"Msxml2.DOMDocument.4.0", nullptr, kAnyServer);
}

bool CXml::LoadXML(const wchar_t* xml) {
    if (xml == nullptr) {
        return false;
    }
    Reset();
    return LoadDocument(xml);
}

bool CXml::LoadDocument(const wchar_t* xml) {
    const xml::DomString text(xml);
    if (!document_) {
        _com_issue_error(E_POINTER);
    }
    MSXML2::IXMLDOMDocument* document = document_;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    xml::Check(document->loadXML(text.Get(), &loaded), document);
    if (loaded == VARIANT_FALSE) {
        return false;
    }
    MSXML2::IXMLDOMElementPtr element;
    xml::Check(document->get_documentElement(&element), document);
    const MSXML2::IXMLDOMNodePtr node(element);
    if (!node) {
        return false;
    }
    xml::DomString name;
    xml::ReadName(node, &name);
    root_ = new CXMLTag(node, name.Get());
    return true;
}

void CXml::Reset() {
    if (root_ != nullptr) {
        root_->Release();
        delete root_;
        root_ = nullptr;
    }
}

CXMLTag* CXml::GetRoot() {
    return root_;
}

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

ZTK_XML_DEFINE_HEAP_OPERATORS(CXml);

}  // namespace ZTK
