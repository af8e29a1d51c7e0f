// Tags: their attributes, their children, their value.
#include <utility>

#include "buffer/ptr_array-inl.h"
#include "xml/dom_calls.h"
#include "xml/name_index-inl.h"
#include "ztk/strings.h"
#include "ztk/xml.h"

namespace ZTK {

namespace {

constexpr int kGrowTable = 100;  // slots

}  // namespace

CXMLTag::CXMLTag(const wchar_t* name) : CXMLTag(nullptr, nullptr, name) {}

CXMLTag::CXMLTag(MSXML2::IXMLDOMNodePtr node, const wchar_t* name)
    : CXMLTag(nullptr, std::move(node), name) {}

CXMLTag::CXMLTag(CXMLTag* parent, MSXML2::IXMLDOMNodePtr node, const wchar_t* name)
    : CXMLToken(name),
      parent_(parent),
      node_(std::move(node)),
      attributes_(kGrowTable),
      tags_(kGrowTable) {}

CXMLTag::CXMLTag(const CXMLTag& other) = default;
CXMLTag& CXMLTag::operator=(const CXMLTag& other) = default;

CXMLTag::~CXMLTag() {
    attributes_.Empty();
    tags_.Empty();
    if (owns_parent_) {
        delete parent_;  // recursion only as deep as the path that a host wrote down
    }
}

CXMLTag* CXMLTag::FindTag(const wchar_t* name) {
    int ordered = 0;
    bool repeats = false;
    return xml::NameIndex<CXMLTag>(&tags_, &ordered, &repeats).Find(name);
}

CXMLAttribute* CXMLTag::FindAttribute(const wchar_t* name) {
    return xml::NameIndex<CXMLAttribute>(&attributes_, &ordered_, &repeats_).Find(name);
}

CXMLAttribute* CXMLTag::GetAttribute(const wchar_t* name) {
    if (CXMLAttribute* known = FindAttribute(name)) {
        return known;
    }
    if (!node_) {
        _com_issue_error(E_POINTER);
    }
    MSXML2::IXMLDOMNodePtr item = xml::FindAttribute(node_, name);
    // It enters itself in the table.
    return item ? new CXMLAttribute(this, std::move(item), name) : nullptr;
}

CXMLTag* CXMLTag::GetTag(const wchar_t* name) {
    if (CXMLTag* known = FindTag(name)) {
        return known;
    }
    if (!node_) {
        _com_issue_error(E_POINTER);
    }
    MSXML2::IXMLDOMNodePtr child = xml::FindChild(node_, name);
    return child ? new CXMLTag(this, std::move(child), name) : nullptr;
}

CXMLTag* CXMLTag::TagAtCursor() {
    xml::DomString name;
    xml::ReadName(cursor_, &name);
    if (CXMLTag* known = FindTag(name.Get())) {
        return known;
    }
    return new CXMLTag(this, cursor_, name.Get());
}

CXMLTag* CXMLTag::FirstTag() {
    cursor_ = nullptr;
    if (!node_) {
        return nullptr;
    }
    cursor_ = xml::FirstChild(node_);
    try {
        return cursor_ ? TagAtCursor() : nullptr;
    } catch (...) {
        cursor_ = nullptr;  // a walk begins with its first tag or not at all
        throw;
    }
}

CXMLTag* CXMLTag::NextTag() {
    if (!cursor_) {
        return nullptr;
    }
    cursor_ = xml::NextSibling(cursor_);
    return cursor_ ? TagAtCursor() : nullptr;
}

const wchar_t* CXMLTag::GetValue() {
    return value_.Read(node_);
}

int CXMLTag::ToInt() {
    return xml::ReadInt(node_);
}

LONG CXMLTag::ToLong() {
    return xml::ReadLong(node_);
}

void CXMLTag::Release() {
    node_ = nullptr;
}

}  // namespace ZTK
