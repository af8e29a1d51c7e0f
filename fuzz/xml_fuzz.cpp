// Fuzzes the load of a document and a walk over all of it, through the DOM's interfaces.
//
// The first byte of an input chooses how the rest becomes 16-bit text: one unit per byte, which
// lets the fuzzer work on markup, or two bytes per unit, which reaches every unit there is.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "ztk/platform/com.h"

namespace {

using MSXML2::IXMLDOMDocument2Ptr;
using MSXML2::IXMLDOMNode;
using MSXML2::IXMLDOMNodePtr;

void Require(bool good) {
    if (!good) {
        std::abort();
    }
}

BSTR MakeText(const std::uint8_t* data, std::size_t size, bool wide) {
    const auto units = static_cast<UINT>(wide ? size / 2 : size);
    const BSTR text = SysAllocStringLen(nullptr, units);
    Require(text != nullptr);
    if (wide) {
        std::memcpy(text, data, std::size_t{units} * 2);
        return text;
    }
    for (UINT i = 0; i < units; ++i) {
        text[i] = static_cast<wchar_t>(data[i]);
    }
    return text;
}

// Reads all that a string has.
void Touch(BSTR text) {
    volatile wchar_t sum = 0;
    for (UINT i = 0; i <= SysStringLen(text); ++i) {
        sum = static_cast<wchar_t>(sum + text[i]);
    }
    Require(text[SysStringLen(text)] == L'\0');
}

void ReadValue(IXMLDOMNode* node) {
    _variant_t value;
    const HRESULT result = node->get_nodeTypedValue(&value);
    Require(SUCCEEDED(result) || (result == DISP_E_TYPEMISMATCH && value.vt == VT_EMPTY));
    if (value.vt == VT_BSTR) {
        Touch(value.bstrVal);
    }
}

// The attributes that seeds use, and the one that has the node's own name.
void ReadAttributes(IXMLDOMNode* node, BSTR own_name) {
    MSXML2::IXMLDOMNamedNodeMapPtr map;
    Require(SUCCEEDED(node->get_attributes(&map)));
    if (map == nullptr) {
        return;
    }
    for (const wchar_t* name : {L"id", L"a", L"xmlns", L"xmlns:p", L"p:a", L"xml:space"}) {
        IXMLDOMNodePtr attribute;
        Require(SUCCEEDED(map->getNamedItem(_bstr_t(name), &attribute)));
        if (attribute != nullptr) {
            ReadValue(attribute);
        }
    }
    IXMLDOMNodePtr attribute;
    Require(SUCCEEDED(map->getNamedItem(own_name, &attribute)));
}

void ReadNode(IXMLDOMNode* node) {
    BSTR name = nullptr;
    Require(node->get_nodeName(&name) == S_OK);
    Touch(name);
    ReadValue(node);
    ReadAttributes(node, name);
    SysFreeString(name);
}

// Depth first. There is no way up from a node, so the way back is kept, down to a depth where the
// text of all ancestors of a node is still read quickly.
void Walk(IXMLDOMNode* top) {
    constexpr std::size_t kDeepest = 64;
    IXMLDOMNodePtr path[kDeepest];
    std::size_t depth = 0;
    Require(SUCCEEDED(top->get_firstChild(&path[0])));
    for (;;) {
        if (path[depth] == nullptr) {
            if (depth == 0) {
                return;
            }
            --depth;
        } else {
            ReadNode(path[depth]);
            if (depth + 1 < kDeepest) {
                Require(SUCCEEDED(path[depth]->get_firstChild(&path[depth + 1])));
                ++depth;
                continue;
            }
        }
        IXMLDOMNodePtr next;
        Require(SUCCEEDED(path[depth]->get_nextSibling(&next)));
        path[depth] = next;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    CoInitialize(nullptr);
    // An input may name any file of the machine.
    ZTKPosix::SetExternalsAllowed(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const BSTR text = MakeText(data + 1, size - 1, data[0] == 'w');
    {
        IXMLDOMDocument2Ptr document;
        Require(document.CreateInstance(L"Msxml2.DOMDocument.4.0") == S_OK);
        VARIANT_BOOL loaded = 7;
        const HRESULT result = document->loadXML(text, &loaded);
        Require(result == (loaded == VARIANT_TRUE ? S_OK : S_FALSE));
        Walk(document);
    }
    SysFreeString(text);
    Require(ZTKPosix::LiveComObjects() == 0 && ZTKPosix::LiveBstrs() == 0);
    return 0;
}
