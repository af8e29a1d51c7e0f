// The DOM: documents that are loaded from text and read.
//
// Classes, by ProgID: "Msxml2.DOMDocument.6.0" and "Msxml2.DOMDocument.4.0". They differ in what a
// new document is set to: version 6.0 refuses documents with a document type definition and
// resolves no externals, version 4.0 accepts the one and does the other; see
// IXMLDOMDocument2::setProperty.
//
// Ownership and lifetime: a node reference keeps the whole tree that it belongs to; it stays usable
// after its document is gone or has loaded another text. Strings and variants handed out belong to
// the caller. Thread-safety: a document is used by one thread at a time. The nodes of a loaded
// document do not change and may be read from several threads. Errors: every call returns a failure
// and leaves its output null or empty when memory is short (E_OUTOFMEMORY) and when the output
// pointer is null (E_INVALIDARG). What does not exist (a further sibling, an attribute) is S_FALSE
// with a null output.
#pragma once

#include "ztk/platform/posix/comip.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

namespace MSXML2 {

struct IXMLDOMNamedNodeMap;

// A node of any kind.
struct ZTK_API IXMLDOMNode : IUnknown {
    // The qualified name of an element or attribute, a processing instruction's target, a document
    // type's name, else "#document", "#text", "#cdata-section" or "#comment".
    virtual HRESULT get_nodeName(BSTR* name) = 0;

    // The node's value. A string (VT_BSTR) for attributes, text, CDATA sections, comments and
    // processing instructions, and for elements: there it is the text of all text and CDATA below
    // the element, less the white space around it that stands neither in a CDATA section nor under
    // xml:space="preserve". Where white space that became no node stood between two texts, one
    // blank does, so that indented elements read "1 2"; but not where it leads the element of the
    // second text, which the first is not in.
    //
    // An element with an attribute dt of the namespace urn:schemas-microsoft-com:datatypes has a
    // value of the type which that names: i1 i2 i4 i8 int ui1 ui2 ui4 ui8 r4 r8 float fixed.14.4
    // boolean, date dateTime dateTime.tz time time.tz (VT_DATE), bin.hex bin.base64 (VT_ARRAY |
    // VT_UI1). Any other name makes a string. A text that is no such value fails the call:
    // DISP_E_TYPEMISMATCH.
    //
    // S_FALSE with VT_NULL for documents and document types.
    virtual HRESULT get_nodeTypedValue(VARIANT* typedValue) = 0;

    // The children in document order. Attributes and document types show none here.
    virtual HRESULT get_firstChild(IXMLDOMNode** firstChild) = 0;
    virtual HRESULT get_nextSibling(IXMLDOMNode** nextSibling) = 0;

    // An element's attributes, namespace declarations and defaults included; null for other nodes.
    virtual HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) = 0;

  protected:
    ~IXMLDOMNode() = default;
};

struct ZTK_API IXMLDOMElement : IXMLDOMNode {
  protected:
    ~IXMLDOMElement() = default;
};

// The attributes of one element.
struct ZTK_API IXMLDOMNamedNodeMap : IUnknown {
    // By exact qualified name. E_INVALIDARG for a null name.
    virtual HRESULT getNamedItem(BSTR name, IXMLDOMNode** namedItem) = 0;

  protected:
    ~IXMLDOMNamedNodeMap() = default;
};

struct ZTK_API IXMLDOMDocument : IXMLDOMNode {
    virtual HRESULT get_documentElement(IXMLDOMElement** DOMElement) = 0;

    // Parses text and replaces what the document held. S_OK with VARIANT_TRUE, or S_FALSE with
    // VARIANT_FALSE and an empty document when the text is not well-formed, namespaces included, or
    // is refused. E_OUTOFMEMORY leaves the document empty as well. isSuccessful may be null.
    //
    // A byte-order mark is skipped, and the encoding that the text declares does not matter. White
    // space between tags makes no text nodes, except under xml:space="preserve". Declared entities
    // are expanded and become part of the text around them, default attributes are supplied, and
    // the XML declaration is no node. There is no validation.
    //
    // Refused are: version numbers other than 1.0; a document type definition when "ProhibitDTD" is
    // set; an external definition that cannot be resolved (see SetExternalsAllowed); entities that
    // expand to more than a hundred times a text of some size, or that may nest deeper than 256
    // levels; more than 65536 declared attributes; a tree of more than 64 bytes of memory per
    // character of text and 64 MiB.
    virtual HRESULT loadXML(BSTR bstrXML, VARIANT_BOOL* isSuccessful) = 0;

  protected:
    ~IXMLDOMDocument() = default;
};

struct ZTK_API IXMLDOMDocument2 : IXMLDOMDocument {
    // Sets a property for the loads to come: "ProhibitDTD" or "ResolveExternals", to a VT_BOOL,
    // VT_I2 or VT_I4, where 0 is false. S_OK; E_INVALIDARG for a value of another type; E_FAIL for
    // another name.
    virtual HRESULT setProperty(BSTR name, VARIANT value) = 0;

  protected:
    ~IXMLDOMDocument2() = default;
};

}  // namespace MSXML2

inline constexpr IID IID_IXMLDOMNode{
    0x2933BF80, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMDocument{
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMNamedNodeMap{
    0x2933BF83, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMElement{
    0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMDocument2{
    0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

template <>
struct InterfaceIdOf<MSXML2::IXMLDOMNode> {
    static constexpr const IID& value = IID_IXMLDOMNode;
};
template <>
struct InterfaceIdOf<MSXML2::IXMLDOMElement> {
    static constexpr const IID& value = IID_IXMLDOMElement;
};
template <>
struct InterfaceIdOf<MSXML2::IXMLDOMNamedNodeMap> {
    static constexpr const IID& value = IID_IXMLDOMNamedNodeMap;
};
template <>
struct InterfaceIdOf<MSXML2::IXMLDOMDocument> {
    static constexpr const IID& value = IID_IXMLDOMDocument;
};
template <>
struct InterfaceIdOf<MSXML2::IXMLDOMDocument2> {
    static constexpr const IID& value = IID_IXMLDOMDocument2;
};

namespace MSXML2 {

_COM_SMARTPTR_TYPEDEF(IXMLDOMNode, IID_IXMLDOMNode);
_COM_SMARTPTR_TYPEDEF(IXMLDOMElement, IID_IXMLDOMElement);
_COM_SMARTPTR_TYPEDEF(IXMLDOMNamedNodeMap, IID_IXMLDOMNamedNodeMap);
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument, IID_IXMLDOMDocument);
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument2, IID_IXMLDOMDocument2);

}  // namespace MSXML2

// Whether documents may take definitions (an external subset, external entities) from files. They
// may at first, where a document's "ResolveExternals" is set. Only local regular files are read,
// named by an absolute path or a file: address, or relative to the file that names them; nothing is
// ever fetched over a network. One file may have 16 MiB, all files of one load 64 MiB; files may
// name files 16 levels deep. A definition that cannot be had makes the load fail as a text that
// does not parse.
//
// A host that reads documents from a peer which it does not trust calls this with false: then every
// document that needs an external definition is refused, whatever its properties say. For the whole
// process; safe from any thread.
ZTK_API void SetExternalsAllowed(bool allowed) noexcept;

}  // namespace ZTKPosix

namespace MSXML2 = ZTKPosix::MSXML2;

using ZTKPosix::IID_IXMLDOMDocument;
using ZTKPosix::IID_IXMLDOMDocument2;
using ZTKPosix::IID_IXMLDOMElement;
using ZTKPosix::IID_IXMLDOMNamedNodeMap;
using ZTKPosix::IID_IXMLDOMNode;
