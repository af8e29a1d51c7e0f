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
    table.Append(this, true);
    if (table.Count() == count || table.At(count) == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);  // nobody would own it
    }
}

CXMLAttribute::CXMLAttribute(const CXMLAttribute& other)
    : CXMLToken(other), parent_(other.parent_), node_(other.node_) {}

CXMLAttribute& CXMLAttribute::operator=(const CXMLAttribute& other) {
    CXMLToken::operator=(other);
    parent_ = other.parent_;
    node_ = other.node_;
    return *this;
}

CXMLAttribute::~CXMLAttribute() {
    SysFreeString(value_);
}

const wchar_t* CXMLAttribute::GetValue() {
    return xml::KeepText(node_, &value_);
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
