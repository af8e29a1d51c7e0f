// What tags, attributes and documents share in calling the DOM: failed calls are raised, strings
// and nodes that a call hands out are released.
#pragma once

#include <utility>

#include "ztk/platform/com.h"

namespace ZTK::xml {

// A string that a call handed out.
class DomString {
  public:
    DomString() = default;
    // A copy of text, none for null. Raises E_OUTOFMEMORY.
    explicit DomString(const wchar_t* text) : text_(SysAllocString(text)) {
        if (text_ == nullptr && text != nullptr) {
            _com_issue_error(E_OUTOFMEMORY);
        }
    }
    DomString(const DomString&) = delete;
    DomString& operator=(const DomString&) = delete;
    ~DomString() { SysFreeString(text_); }

    [[nodiscard]] BSTR Get() const { return text_; }
    [[nodiscard]] BSTR* Out() { return &text_; }  // REQUIRES: holds none

  private:
    BSTR text_ = nullptr;
};

// Raises a failed result with the error record that object left for this interface.
template <class Interface>
void Check(HRESULT result, Interface* object) {
    if (FAILED(result)) {
        _com_issue_errorex(result, object, __uuidof(Interface));
    }
}

// The node's name. Raises.
inline void ReadName(MSXML2::IXMLDOMNode* node, DomString* name) {
    Check(node->get_nodeName(name->Out()), node);
}

inline MSXML2::IXMLDOMNodePtr FirstChild(MSXML2::IXMLDOMNode* node) {
    MSXML2::IXMLDOMNodePtr child;
    Check(node->get_firstChild(&child), node);
    return child;
}

inline MSXML2::IXMLDOMNodePtr NextSibling(MSXML2::IXMLDOMNode* node) {
    MSXML2::IXMLDOMNodePtr next;
    Check(node->get_nextSibling(&next), node);
    return next;
}

// The first child of that name, ignoring the case of ASCII letters, or null. Raises.
MSXML2::IXMLDOMNodePtr FindChild(MSXML2::IXMLDOMNode* node, const wchar_t* name);

// The attribute of exactly that name, or null; null for a node that has none. Raises, also for a
// null name where there can be attributes.
MSXML2::IXMLDOMNodePtr FindAttribute(MSXML2::IXMLDOMNode* node, const wchar_t* name);

// The text of a node's typed value, for the caller to release with SysFreeString; null when the
// value is no text. Raises, E_POINTER for a null node.
BSTR ReadText(MSXML2::IXMLDOMNode* node);

// The numbers at the start of that text; 0 for a null node and when the value is no text.
int ReadInt(MSXML2::IXMLDOMNode* node);
LONG ReadLong(MSXML2::IXMLDOMNode* node);

}  // namespace ZTK::xml
