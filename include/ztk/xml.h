// Reading XML: a document loaded from text, its tags and attributes, and lookups by a path of
// names.
//
//     ZTK::CXml xml;
//     if (!xml.LoadXML(L"<run id='7'><step>4</step></run>")) { ... not well-formed ... }
//     ZTK::CXMLAttribute* id = xml.FindAttributeV(L"run", L"id", nullptr);
//     const int number = id != nullptr ? id->ToInt() : 0;                          // 7
//     // A tag below the root is ours to delete.
//     std::unique_ptr<ZTK::CXMLTag> step(xml.FindTagV(L"run", L"step", nullptr));
//     const int steps = step != nullptr ? step->ToInt() : 0;                       // 4
//
// A text that does not parse and a name that is not found are results: false and null. A failed
// call of the DOM or of COM, and a copy of a text for which there is no memory, throw _com_error
// (see ztk/platform/com.h), here "raise". A call that raises leaves its object as it was, except
// for CXml::LoadXML, CXMLTag::FirstTag and CXMLTag::NextTag; these say what they leave. Codes that
// the library itself chooses are E_POINTER, where a document or node is missing, and E_OUTOFMEMORY.
// Where there is no memory for the object of a tag or an attribute, the result is null as if there
// were none of that name, or no further child.
//
// Names and values are UTF-16. Kinds of nodes: elements and attributes carry their qualified name,
// prefix included; a text is named "#text", a CDATA section "#cdata-section", a comment "#comment",
// a processing instruction by its target. Text that is white space only does not appear, unless
// xml:space="preserve" is in force.
//
// Thread-safety: a document and all tags and attributes taken from it are used on the thread that
// made the document. Documents of different threads do not affect each other.
#pragma once

#include <cstddef>
#include <new>
#include <string>

#include "ztk/buffer.h"
#include "ztk/com.h"
#include "ztk/platform/com.h"
#include "ztk/text.h"
#include "ztk/wide_string.h"

namespace ZTK {

class CXMLAttribute;
class CXMLTag;

namespace xml {

// The text that a tag or an attribute handed out last. Hosts meet it only as a member of these.
class LastValue {
  public:
    LastValue() noexcept = default;

    // A copy of its owner has handed out nothing yet, and an owner that is assigned to keeps what
    // it handed out.
    LastValue(const LastValue&) noexcept {}
    LastValue& operator=(const LastValue&) noexcept { return *this; }
    ~LastValue() { SysFreeString(text_); }

    // The text value of node in place of the text kept before; null for a null node and when the
    // value is no text. Raises, and then keeps what it had.
    const wchar_t* Read(MSXML2::IXMLDOMNode* node);

  private:
    BSTR text_ = nullptr;  // owned
};

}  // namespace xml

// A name that can be ordered: exactly, by 16-bit code unit, an empty name first.
//
// Tokens live on the library's heap however they are made: a host deletes those that it owns with a
// plain delete, and the library can delete what a host made.
//
// Assignment and copies are member-wise, as for CBuffer: both then refer to one text, and nothing
// that the target held is released. See CBuffer for what may be done with such a pair.
class ZTK_API CXMLToken : public CBuffer<wchar_t> {
  public:
    // A copy of name; null makes an empty token. Raises E_OUTOFMEMORY.
    explicit CXMLToken(const wchar_t* name);

    // Member-wise, as said above.
    CXMLToken(const CXMLToken& other);
    CXMLToken& operator=(const CXMLToken& other) noexcept;
    CXMLToken& operator=(CXMLToken&& other) noexcept;
    ~CXMLToken();

    using CBuffer<wchar_t>::operator==;

    // In the order of CBuffer::Compare.
    bool operator==(const CXMLToken& other) const;
    bool operator!=(const CXMLToken& other) const;
    bool operator<(const CXMLToken& other) const;
    bool operator<=(const CXMLToken& other) const;
    bool operator>(const CXMLToken& other) const;
    bool operator>=(const CXMLToken& other) const;

    // A new-expression gives null when memory is short.
    static void* operator new(std::size_t bytes) noexcept;
    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept;
    static void operator delete(void* block, const std::nothrow_t&) noexcept;
    static void operator delete(void*, void*) noexcept {}
};

// An attribute of a tag, under the name with which it was asked for.
//
// Ownership: it belongs to the tag that it was read through and goes with it; a host never deletes
// one. It holds its own reference on its node: it stays usable after its document is gone, and
// after its tag's Release.
class ZTK_API CXMLAttribute : public CXMLToken {
  public:
    // A name without a node.
    explicit CXMLAttribute(const wchar_t* name);

    // Enters itself in the table of parent, which then owns it: make it with new, and do not delete
    // it. Raises E_OUTOFMEMORY when the name or the entry gets no memory. REQUIRES: parent is not
    // null.
    CXMLAttribute(CXMLTag* parent, MSXML2::IXMLDOMNodePtr node, const wchar_t* name);

    // Member-wise, with a reference of its own on the node. No tag owns the copy.
    CXMLAttribute(const CXMLAttribute& other);
    CXMLAttribute& operator=(const CXMLAttribute& other);
    ~CXMLAttribute();

    // The value; null without a node, and when the value is no text. See CXMLTag::GetValue.
    [[nodiscard]] const wchar_t* GetValue();

    // The number at the start of the value; see CXMLTag::ToInt.
    [[nodiscard]] int ToInt();
    [[nodiscard]] LONG ToLong();

    // The tag that owns this attribute. After CXml::FindAttributeV with a path of a tag or more
    // below the root, this is the tag that the walk made: deleting it releases the attribute and
    // the whole path. REQUIRES: made with a parent.
    [[nodiscard]] CXMLTag* GetParent() noexcept;

    // This object, where a call takes a pointer.
    operator CXMLAttribute*() noexcept { return this; }  // NOLINT: part of the interface

  private:
    CXMLTag* parent_ = nullptr;
    MSXML2::IXMLDOMNodePtr node_;
    xml::LastValue value_;
};

// A node of the document: in most cases an element, but children of every kind are tags.
//
// Ownership: the tag that CXml::GetRoot returns belongs to its document. Every other tag that a
// call returns is a new object for the caller to delete; asking twice for one child gives two. A
// tag owns the attributes read through it. It holds its own references on its nodes: it stays
// usable after its document is gone.
//
// A tag remembers its attributes: reading one a second time through the same tag gives the same
// object and does not ask the DOM again. Tags are not remembered: each lookup scans the children.
class ZTK_API CXMLTag : public CXMLToken {
  public:
    // A name without a node: it has no children and no value, and lookups raise E_POINTER.
    explicit CXMLTag(const wchar_t* name);

    // A tag of a node. parent is the tag that it was found through; it is not kept alive by this
    // one. The name is copied. Raise E_OUTOFMEMORY.
    CXMLTag(MSXML2::IXMLDOMNodePtr node, const wchar_t* name);
    CXMLTag(CXMLTag* parent, MSXML2::IXMLDOMNodePtr node, const wchar_t* name);

    // Member-wise, with references of its own on the nodes: the copy shares its source's name and
    // its table of attributes, so only one of the two may be used to look up attributes from then
    // on, and only one may be destroyed. Assigning releases no attribute that the target held.
    CXMLTag(const CXMLTag& other);
    CXMLTag& operator=(const CXMLTag& other);

    // Releases the attributes read through this tag and, for a tag from CXml::FindTagV, the tags
    // that the walk made on its way.
    ~CXMLTag();

    // The children in document order, whatever their kind, under the DOM's names. The tag keeps a
    // place among them. FirstTag starts over at the first child, NextTag moves on to the next; each
    // returns a tag for the child at the new place. Null at the end, and then from NextTag until
    // FirstTag is called. Without a node FirstTag returns null and leaves no place; NextTag goes on
    // after Release.
    //
    //     for (std::unique_ptr<CXMLTag> child(tag->FirstTag()); child; child.reset(tag->NextTag()))
    //
    // Where they raise, the place depends on what failed. When the DOM does not give the child,
    // FirstTag leaves no place, so that NextTag returns null, and NextTag leaves the place where it
    // was: calling it again tries the same child again. When the child's name cannot be read or
    // copied, the place is at that child all the same, as it is when null is returned because there
    // was no memory for the tag: NextTag goes on behind it, and only starting over comes back to
    // it.
    [[nodiscard]] CXMLTag* FirstTag();
    [[nodiscard]] CXMLTag* NextTag();

    // The first child of that name, ignoring the case of ASCII letters, or null. The new tag
    // carries the name as it was asked for. Raises E_POINTER without a node.
    [[nodiscard]] CXMLTag* GetTag(const wchar_t* name);

    // The attribute of exactly that name, or null. It belongs to this tag. Raises E_POINTER without
    // a node, unless the attribute was read before. A null name without such an attribute raises
    // what the DOM answers to it, E_INVALIDARG.
    [[nodiscard]] CXMLAttribute* GetAttribute(const wchar_t* name);

    // The node's text: for an element that of all text below it, without the white space around it;
    // elements that white space parts have one blank between their texts. Null without a node, and
    // when the value is no text: an element that declares a type (dt:dt) has a number, a date, ...
    //
    // The text belongs to this object: it stays valid until GetValue reads the value again, or
    // until the object is destroyed. A GetValue that raises or finds no node leaves it alone, as do
    // all other calls.
    [[nodiscard]] const wchar_t* GetValue();

    // The decimal number at the start of the value: optional white space, an optional sign, digits
    // up to the first other character. 0 without digits, without a node, and when the value is no
    // text. Numbers out of range give the nearest one that fits. Both have 32 bits. They raise
    // where GetValue does, and leave its text alone.
    [[nodiscard]] int ToInt();
    [[nodiscard]] LONG ToLong();

    // Gives the node back. The name, the attributes read so far and the place in the children stay.
    void Release();

    // This object, where a call takes a pointer.
    operator CXMLTag*() noexcept { return this; }  // NOLINT: part of the interface

  private:
    friend class CXMLAttribute;
    friend class CXml;

    [[nodiscard]] ZTK_LOCAL CXMLTag* FindTag(const wchar_t* name);
    [[nodiscard]] ZTK_LOCAL CXMLAttribute* FindAttribute(const wchar_t* name);
    ZTK_LOCAL CXMLTag* TagAtCursor();

    CXMLTag* parent_ = nullptr;
    MSXML2::IXMLDOMNodePtr node_;
    MSXML2::IXMLDOMNodePtr cursor_;
    CPtrArray<CXMLAttribute*> attributes_;
    CPtrArray<CXMLTag*> tags_;  // nothing is ever entered here: tags are not remembered
    int ordered_ = 0;           // so many of the first slots of attributes_ are in order
    bool repeats_ = false;      // two of these have the same name
    bool owns_parent_ = false;  // made by a path walk, as was its parent, which nobody else knows
    xml::LastValue value_;
};

// Why a document refused a text. A platform that does not tell one of these leaves it empty or 0:
// Wine gives a code and the word "error", and no place.
struct CXMLLoadError {
    HRESULT code = S_OK;  // the parser's: E_FAIL on Linux, on Windows one for each reason
    String reason;        // a sentence, without a line end; English on Linux
    LONG line = 0;        // where in the text, from 1
    LONG column = 0;      // the character in that line, from 1
};

// "line 3, column 7: Mismatched tag.", in UTF-8, without what is empty. Throws std::bad_alloc.
[[nodiscard]] inline std::string Describe(const CXMLLoadError& error) {
    std::string text;
    if (error.line > 0) {
        text = "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
               ": ";
    }
    return text + ToUtf8(error.reason);
}

// An XML document. Read only; loads from a text in memory.
//
// Every CXml initialises COM, apartment-threaded, on the thread that makes it, and one
// initialisation remains when it is gone: tags and attributes that outlive it need it. Documents
// are created as version 6.0 of the platform's DOM or, where that is not installed, version 4.0.
// Where neither is, a CXml can be made, and loading raises E_POINTER.
//
// Documents with a document type definition are accepted: its entities are expanded and its default
// attributes appear. External definitions are resolved. On Linux these are local files only, never
// anything over a network, within limits on size and depth, and a host that reads texts from a peer
// it does not trust forbids them with ZTKPosix::SetExternalsAllowed(false) (ztk/platform/com.h);
// on Windows the platform's DOM decides. An external definition that cannot be had makes the load
// fail as a text that does not parse.
class ZTK_API CXml {
  public:
    // Raises when a property of the new document cannot be set: E_OUTOFMEMORY, or what the DOM
    // answers. There is no object then; one initialisation of COM remains on the thread even so.
    CXml();

    // The same, and loads xml unless it is null; GetRoot tells whether that went well. Raises what
    // LoadXML raises, too.
    explicit CXml(const wchar_t* xml);

    // Member-wise: the copy shares the document and the root. Only one of the two may be loaded,
    // reset or destroyed after that. Assigning drops the target's document and leaves its root
    // allocated.
    CXml(const CXml& other);
    CXml& operator=(const CXml& other);

    virtual ~CXml();

    // Drops what was loaded before, parses xml and makes the root tag. True when xml was parsed:
    // then GetRoot is the root's tag, or null when there was no memory for the tag. False for a
    // text that is not well-formed or is refused; there is no root then. A null xml gives false and
    // leaves the root as it was. A byte-order mark and an encoding declaration in the text do not
    // matter.
    //
    // Raises: E_OUTOFMEMORY, E_POINTER without a document, or what the DOM answers; there is no
    // root then. Pointers to the root and to its attributes are invalid after any load of a text,
    // whether it succeeds, fails or raises.
    bool LoadXML(const wchar_t* xml);

    // Why the last load of a text was refused: asks the DOM's document, which keeps that until the
    // next load. False, with error as it was, when the last load was none that was refused, and
    // when the document does not tell. Short of memory the reason is left without a buffer.
    //
    //     ZTK::CXMLLoadError error;
    //     if (!xml.LoadXML(text) && xml.GetLoadError(error)) {
    //         Answer(ZTK::Describe(error));    // line 1, column 9: Mismatched tag.
    //     }
    [[nodiscard]] bool GetLoadError(CXMLLoadError& error) const noexcept;

    // Frees the root tag and its attributes. The DOM's document stays as it is until the next load.
    void Reset();

    // The tag of the root element, owned by the document: valid until the next load, Reset, or the
    // end of the document. Null when nothing is loaded; see LoadXML.
    [[nodiscard]] CXMLTag* GetRoot();

    // The text value of a node, or null when its value is no text. Raises E_POINTER for a null
    // node.
    //
    // A ring string (see ZTKGetTmpString): it belongs to nobody, and 256 requests later its place
    // is used again. A text too long for the ring, 512000 characters and more, is kept until eight
    // further such texts were asked for, over all threads.
    // CXMLTag::GetValue and CXMLAttribute::GetValue keep theirs longer and copy nothing.
    [[nodiscard]] static const wchar_t* GetXMLTextValue(MSXML2::IXMLDOMNodePtr node);

    // The tag at the end of a path: the root's name, then names of tags, each a child of the one
    // before (the first of that name, ignoring case), then a null pointer.
    //
    // A wrong root name does not make the lookup fail: the result is the root itself, wherever the
    // path leads. So it is for a path of the root's name only. Null when there is no root,
    // root_name is null, or any tag of the path is missing.
    //
    // The root belongs to the document. Any other result is the caller's to delete, and the tags
    // that the walk makes on its way go with it. When the walk fails or raises, they are deleted.
    [[gnu::sentinel]] CXMLTag* FindTagV(const wchar_t* root_name, ...);

    // The attribute at the end of a path: the root's name, names of tags, the attribute's name,
    // then a null pointer. Here a wrong root name gives null, as do a missing root, tag or
    // attribute and a path without an attribute.
    //
    // An attribute of the root belongs to the root. For any other the walk makes a tag which nobody
    // else refers to, so that the attribute stays usable; `delete attribute->GetParent()` releases
    // both.
    [[gnu::sentinel]] CXMLAttribute* FindAttributeV(const wchar_t* root_name, ...);

    // A document made with new goes back to the library's heap, like its tags.
    static void* operator new(std::size_t bytes) noexcept;
    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept;
    static void operator delete(void* block, const std::nothrow_t&) noexcept;
    static void operator delete(void*, void*) noexcept {}

  private:
    class PathWalk;

    ZTK_LOCAL void CreateDocument();
    ZTK_LOCAL bool LoadDocument(const wchar_t* xml);
    [[nodiscard]] ZTK_LOCAL bool IsRootName(const wchar_t* name);

    CCOMBinder com_;
    bool is_version6_ = false;  // which class the document is of; for a look in the debugger
    MSXML2::IXMLDOMDocument2Ptr document_;
    CXMLTag* root_ = nullptr;  // owned
};

}  // namespace ZTK
