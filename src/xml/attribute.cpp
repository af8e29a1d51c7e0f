// Attributes of a tag.
#include <utility>

#include "buffer/ptr_array.h"
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
    if (!node_) {
        return nullptr;
    }
    const BSTR text = xml::ReadText(node_);
    SysFreeString(value_);
    value_ = text;
    return value_;
}

int CXMLAttribute::ToInt() {
    return node_ ? xml::ReadInt(node_) : 0;
}

long CXMLAttribute::ToLong() {
    return node_ ? xml::ReadLong(node_) : 0;
}

CXMLTag* CXMLAttribute::GetParent() noexcept {
    return parent_;
}

}  // namespace ZTK
