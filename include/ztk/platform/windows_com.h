// COM and the DOM from the system's headers, completed by what this compiler's headers lack: the
// ids of the DOM's interfaces, the raising function with rich error information, the narrow
// conversions of _bstr_t, and the namespace MSXML2 with its smart references.
//
// A host links ole32, oleaut32 and this library, whose CMake package brings both. The system's
// headers leave macros behind, `interface` and `small` among them.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/windows.h"

#include <comdef.h>
#include <msxml2.h>

// Throws _com_error for result, with the calling thread's error record if object says that it
// leaves records for that interface. REQUIRES: result is a failure.
ZTK_API void WINAPI _com_issue_errorex(HRESULT result, IUnknown* object, REFIID iid);

namespace _com_util {

// Inline, because _bstr_t releases the narrow text with the delete[] of the module that it is used
// in. Both give null for null and when memory is short; texts are in the system's code page.
inline BSTR WINAPI ConvertStringToBSTR(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const int room = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    BSTR wide = room > 0 ? SysAllocStringLen(nullptr, static_cast<UINT>(room - 1)) : nullptr;
    if (wide != nullptr) {
        MultiByteToWideChar(CP_ACP, 0, text, -1, wide, room);
    }
    return wide;
}

inline char* WINAPI ConvertBSTRToString(BSTR text) {
    if (text == nullptr) {
        return nullptr;
    }
    const int room = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    char* narrow = room > 0 ? new (std::nothrow) char[static_cast<size_t>(room)] : nullptr;
    if (narrow != nullptr) {
        WideCharToMultiByte(CP_ACP, 0, text, -1, narrow, room, nullptr, nullptr);
    }
    return narrow;
}

}  // namespace _com_util

// The ids with which __uuidof answers. They differ in their first word only.
#define ZTK_DOM_INTERFACE_ID(name, word) \
    __CRT_UUID_DECL(name, word, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60)
ZTK_DOM_INTERFACE_ID(IXMLDOMNode, 0x2933BF80)
ZTK_DOM_INTERFACE_ID(IXMLDOMDocument, 0x2933BF81)
ZTK_DOM_INTERFACE_ID(IXMLDOMNodeList, 0x2933BF82)
ZTK_DOM_INTERFACE_ID(IXMLDOMNamedNodeMap, 0x2933BF83)
ZTK_DOM_INTERFACE_ID(IXMLDOMAttribute, 0x2933BF85)
ZTK_DOM_INTERFACE_ID(IXMLDOMElement, 0x2933BF86)
ZTK_DOM_INTERFACE_ID(IXMLDOMDocument2, 0x2933BF95)
#undef ZTK_DOM_INTERFACE_ID
__CRT_UUID_DECL(IXMLDOMParseError, 0x3EFAA426, 0x272F, 0x11D2, 0x83, 0x6F, 0x00, 0x00, 0xF8, 0x7A,
                0x77, 0x82)

namespace MSXML2 {

using ::DOMNodeType;
using ::IXMLDOMAttribute;
using ::IXMLDOMDocument;
using ::IXMLDOMDocument2;
using ::IXMLDOMElement;
using ::IXMLDOMNamedNodeMap;
using ::IXMLDOMNode;
using ::IXMLDOMNodeList;
using ::IXMLDOMParseError;

_COM_SMARTPTR_TYPEDEF(IXMLDOMNode, __uuidof(IXMLDOMNode));
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument, __uuidof(IXMLDOMDocument));
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument2, __uuidof(IXMLDOMDocument2));
_COM_SMARTPTR_TYPEDEF(IXMLDOMNodeList, __uuidof(IXMLDOMNodeList));
_COM_SMARTPTR_TYPEDEF(IXMLDOMNamedNodeMap, __uuidof(IXMLDOMNamedNodeMap));
_COM_SMARTPTR_TYPEDEF(IXMLDOMAttribute, __uuidof(IXMLDOMAttribute));
_COM_SMARTPTR_TYPEDEF(IXMLDOMElement, __uuidof(IXMLDOMElement));
_COM_SMARTPTR_TYPEDEF(IXMLDOMParseError, __uuidof(IXMLDOMParseError));

}  // namespace MSXML2
