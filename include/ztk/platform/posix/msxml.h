// The DOM: documents that are loaded from text and read.
//
// Classes, by ProgID: "Msxml2.DOMDocument.6.0" and "Msxml2.DOMDocument.4.0". They differ in what a
// new document is set to: version 6.0 refuses documents with a document type definition and
// resolves no externals, version 4.0 accepts the one and does the other; see
// IXMLDOMDocument2::setProperty.
//
// Interfaces: a document has IXMLDOMNode, IXMLDOMDocument and IXMLDOMDocument2, an element
// IXMLDOMNode and IXMLDOMElement, any other node IXMLDOMNode, an attribute map IXMLDOMNamedNodeMap,
// what a document tells about a refused text IXMLDOMParseError.
// All have IUnknown and ISupportErrorInfo, which names these interfaces. Asking twice for one node
// gives two objects.
//
// Ownership and lifetime: a node reference keeps the whole tree that it belongs to; it stays usable
// after its document is gone or has loaded another text. Objects handed out come with a reference,
// strings and variants as such belong to the caller. What an output held before is overwritten, not
// given back. Thread-safety: a document is used by one thread at a time. The nodes of a loaded
// document do not change and may be read from several threads.
//
// Errors: a call that succeeds returns S_OK. What does not exist (a further sibling, an attribute)
// is S_FALSE with a null output. Every call returns E_INVALIDARG when its output pointer is null,
// and E_OUTOFMEMORY, with its output null or empty, when memory is short. No call changes the
// thread's last error. DISP_E_TYPEMISMATCH and the failures of setProperty leave an error record on
// the thread (see GetErrorInfo), other failures take back the one that was there.
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
    // blank stands in the value, so that indented elements read "1 2"; but not where that white
    // space is the start of an element that contains the second text and not the first.
    //
    // An element with an attribute dt of the namespace urn:schemas-microsoft-com:datatypes has a
    // value of the type which that names: i1 i2 i4 i8 int ui1 ui2 ui4 ui8 r4 r8 float fixed.14.4
    // boolean, date dateTime dateTime.tz time time.tz (VT_DATE), bin.hex bin.base64 (VT_ARRAY |
    // VT_UI1). Any other name makes a string. A text that is no such value fails the call:
    // DISP_E_TYPEMISMATCH with VT_EMPTY.
    //
    // S_FALSE with VT_NULL for documents and document types.
    virtual HRESULT get_nodeTypedValue(VARIANT* typedValue) = 0;

    // The children of documents and elements in document order: the first, and the one behind this
    // node. Other nodes have no children, attributes and documents no siblings.
    virtual HRESULT get_firstChild(IXMLDOMNode** firstChild) = 0;
    virtual HRESULT get_nextSibling(IXMLDOMNode** nextSibling) = 0;

    // An element's attributes, namespace declarations and defaults included; S_FALSE with null for
    // other nodes.
    virtual HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) = 0;

  protected:
    ~IXMLDOMNode() = default;
};

// An element: what it adds to a node is that it is one.
struct ZTK_API IXMLDOMElement : IXMLDOMNode {
  protected:
    ~IXMLDOMElement() = default;
};

// The attributes of one element.
struct ZTK_API IXMLDOMNamedNodeMap : IUnknown {
    // The attribute of exactly that qualified name, in the same case. S_FALSE with null when there
    // is none; E_INVALIDARG, with null, for a null name.
    virtual HRESULT getNamedItem(BSTR name, IXMLDOMNode** namedItem) = 0;

  protected:
    ~IXMLDOMNamedNodeMap() = default;
};

// Why a document refused a text. The object keeps what it was made for. Every call returns S_FALSE,
// with 0 or null, where there is nothing to tell: the last load of the document was no refusal.
struct ZTK_API IXMLDOMParseError : IUnknown {
    // E_FAIL for every text that is refused.
    virtual HRESULT get_errorCode(LONG* errorCode) = 0;

    // A sentence in English, without a line end.
    virtual HRESULT get_reason(BSTR* reasonString) = 0;

    // Where in the text: the line, and the character in it, both from 1. A surrogate pair is one
    // character, a byte-order mark none. For what stands in an external definition, the reference
    // that led there.
    virtual HRESULT get_line(LONG* lineNumber) = 0;
    virtual HRESULT get_linepos(LONG* linePosition) = 0;

  protected:
    ~IXMLDOMParseError() = default;
};

// A document, empty until a text is loaded.
struct ZTK_API IXMLDOMDocument : IXMLDOMNode {
    // The root element; S_FALSE with null when the document is empty.
    virtual HRESULT get_documentElement(IXMLDOMElement** DOMElement) = 0;

    // Parses text and replaces what the document held. S_OK with VARIANT_TRUE, or S_FALSE with
    // VARIANT_FALSE and an empty document when the text is not well-formed, namespaces included, or
    // is refused. E_OUTOFMEMORY, with VARIANT_FALSE, leaves the document empty as well.
    // isSuccessful may be null. A null bstrXML is an empty text, which is not well-formed. Nodes of
    // what was loaded before stay usable.
    //
    // A byte-order mark is skipped, and the encoding that the text declares does not matter. White
    // space between tags makes no text nodes, except under xml:space="preserve". Declared entities
    // are expanded and become part of the text around them, default attributes are supplied, and
    // the XML declaration is no node. There is no validation.
    //
    // Refused are: version numbers other than 1.0; a document type definition when "ProhibitDTD" is
    // set; an external definition that cannot be resolved (see SetExternalsAllowed); a reference to
    // an entity that is declared nowhere, whether or not all definitions were read (but one in a
    // default that stands within a parameter entity is left out); entities that nest deeper than
    // 256 levels or contain themselves.
    //
    // No text takes much longer than its length allows: what it makes of itself is counted. Refused
    // are
    // - a tree that takes more memory than 64 MiB and 64 bytes for each character of text;
    // - entities that expand a text to more than 8 times its size in UTF-8, once that is 8 MiB more
    //   than the files that are read;
    // - definitions that make more work than 64 Mi steps, and 128 for each character of text and
    //   each byte of the files. An element takes a step for each attribute that is declared for its
    //   name, as many again for each attribute that stands in it, and one for each byte of the
    //   defaults' names and values. A declared attribute takes one for each before it on that
    //   element and for each character of the element's name. A reference to an external entity
    //   takes 256 for each name, attribute and entity that is known, and 8 for each character of
    //   their names and texts; where externals are not resolved, 8 for each entity.
    virtual HRESULT loadXML(BSTR bstrXML, VARIANT_BOOL* isSuccessful) = 0;

  protected:
    ~IXMLDOMDocument() = default;
};

// A document with properties.
struct ZTK_API IXMLDOMDocument2 : IXMLDOMDocument {
    // Sets a property for the loads to come: "ProhibitDTD" or "ResolveExternals", to a VT_BOOL,
    // VT_I2 or VT_I4, where 0 is false. The value stays the caller's. S_OK; E_FAIL for a null or
    // another name, in which case counts; E_INVALIDARG for a value of another type. The properties
    // are as they were after a failure.
    virtual HRESULT setProperty(BSTR name, VARIANT value) = 0;

    // Why the last load refused its text. The platform has this call in IXMLDOMDocument; here it
    // stands behind all others, so that programs that were built before still find them.
    virtual HRESULT get_parseError(IXMLDOMParseError** errorObj) = 0;

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

inline constexpr IID IID_IXMLDOMParseError{
    0x3EFAA426, 0x272F, 0x11D2, {0x83, 0x6F, 0x00, 0x00, 0xF8, 0x7A, 0x77, 0x82}};

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

template <>
struct InterfaceIdOf<MSXML2::IXMLDOMParseError> {
    static constexpr const IID& value = IID_IXMLDOMParseError;
};

namespace MSXML2 {

_COM_SMARTPTR_TYPEDEF(IXMLDOMNode, IID_IXMLDOMNode);
_COM_SMARTPTR_TYPEDEF(IXMLDOMElement, IID_IXMLDOMElement);
_COM_SMARTPTR_TYPEDEF(IXMLDOMNamedNodeMap, IID_IXMLDOMNamedNodeMap);
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument, IID_IXMLDOMDocument);
_COM_SMARTPTR_TYPEDEF(IXMLDOMDocument2, IID_IXMLDOMDocument2);
_COM_SMARTPTR_TYPEDEF(IXMLDOMParseError, IID_IXMLDOMParseError);

}  // namespace MSXML2

// Whether documents may take definitions (an external subset, external entities) from files. They
// may at first, where a document's "ResolveExternals" is set. Only local regular files are read,
// named by an absolute path or a file: address, or relative to the file that names them; nothing is
// ever fetched over a network. One file may have 16 MiB, all files of one load 64 MiB; one load may
// read 1000 files, and files may name files 16 levels deep. A definition that cannot be had makes
// the load fail as a text that does not parse.
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
using ZTKPosix::IID_IXMLDOMParseError;
