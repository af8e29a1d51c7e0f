// Names that can be ordered.
#include "xml/heap_operators-inl.h"
#include "ztk/xml.h"

namespace ZTK {

CXMLToken::CXMLToken(const wchar_t* name) {
    CBuffer<wchar_t>::operator=(name);
    if (name != nullptr && *name != 0 && GetBuffer() == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    }
}

CXMLToken::CXMLToken(const CXMLToken& other) : CBuffer<wchar_t>() {
    CBuffer<wchar_t>::operator=(static_cast<const CBuffer<wchar_t>&>(other));
}

CXMLToken& CXMLToken::operator=(const CXMLToken& other) noexcept {
    CBuffer<wchar_t>::operator=(static_cast<const CBuffer<wchar_t>&>(other));
    return *this;
}

// A copy like any other: the source keeps its text, and both refer to it.
CXMLToken& CXMLToken::operator=(CXMLToken&& other) noexcept {
    return *this = static_cast<const CXMLToken&>(other);
}

CXMLToken::~CXMLToken() = default;

bool CXMLToken::operator==(const CXMLToken& other) const {
    return Compare(other) == 0;
}
bool CXMLToken::operator!=(const CXMLToken& other) const {
    return Compare(other) != 0;
}
bool CXMLToken::operator<(const CXMLToken& other) const {
    return Compare(other) < 0;
}
bool CXMLToken::operator<=(const CXMLToken& other) const {
    return Compare(other) <= 0;
}
bool CXMLToken::operator>(const CXMLToken& other) const {
    return Compare(other) > 0;
}
bool CXMLToken::operator>=(const CXMLToken& other) const {
    return Compare(other) >= 0;
}

ZTK_XML_DEFINE_HEAP_OPERATORS(CXMLToken);

}  // namespace ZTK
