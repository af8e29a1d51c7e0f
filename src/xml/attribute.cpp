// Attributes of a tag.
#include <utility>

#include "buffer/ptr_array-inl.h"
#include "xml/dom_calls.h"
#include "ztk/xml.h"

namespace ZTK {

CXMLAttribute::CXMLAttribute(const wchar_t* name) : CXMLToken(name) {}

CXMLAttribute::CXMLAttribute(CXMLTag* parent, MSXML2::IXMLDOMNodePtr node, const wchar_t* name)
    : CXMLToken(name), parent_(parent), node_(std::move(node)) {
    CPtrArray<CXMLAttribute*>& table = parent->attributes_;
    const int count = table.Count();
    if (!table.Append(this, true) || table.At(count) == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);  // nobody would own it
    }
}

CXMLAttribute::CXMLAttribute(const CXMLAttribute& other) = default;
CXMLAttribute& CXMLAttribute::operator=(const CXMLAttribute& other) = default;
CXMLAttribute::~CXMLAttribute() = default;

const wchar_t* CXMLAttribute::GetValue() {
    return value_.Read(node_);
}

int CXMLAttribute::ToInt() {
    return xml::ReadInt(node_);
}

LONG CXMLAttribute::ToLong() {
    return xml::ReadLong(node_);
}

CXMLTag* CXMLAttribute::GetParent() noexcept {
    return parent_;
}

}  // namespace ZTK
