#include "platform/posix/dom/document.h"

#include "platform/posix/com/error_record.h"
#include "platform/posix/dom/dom_object.h"
#include "platform/posix/dom/node.h"
#include "platform/posix/dom/parse_error.h"
#include "platform/posix/dom/parser.h"
#include "platform/posix/text/runtime_text.h"

namespace ZTKPosix::dom {

namespace {

using MSXML2::IXMLDOMDocument2;
using MSXML2::IXMLDOMElement;
using MSXML2::IXMLDOMNamedNodeMap;
using MSXML2::IXMLDOMNode;
using MSXML2::IXMLDOMParseError;

// The truth of a property's value. Hosts give it as a boolean or as the number that stands for one.
bool ReadFlag(const VARIANT& value, bool& flag) noexcept {
    switch (value.vt) {
        case VT_BOOL:
        case VT_I2:
            flag = value.iVal != 0;
            return true;
        case VT_I4:
            flag = value.lVal != 0;
            return true;
        default:
            return false;
    }
}

class DocumentObject final : public DomObject<DocumentObject, IXMLDOMDocument2> {
  public:
    explicit DocumentObject(DocumentVersion version) noexcept
        : options_{version == DocumentVersion::k6, version == DocumentVersion::k4} {}
    ~DocumentObject() { ReplaceTree(nullptr); }

    [[nodiscard]] static bool Answers(REFIID iid) noexcept {
        return iid == IID_IXMLDOMNode || iid == IID_IXMLDOMDocument || iid == IID_IXMLDOMDocument2;
    }

    HRESULT get_nodeName(BSTR* name) override {
        if (name == nullptr) {
            return Fail(E_INVALIDARG);
        }
        *name = SysAllocString(L"#document");
        return *name != nullptr ? S_OK : Fail(E_OUTOFMEMORY);
    }

    HRESULT get_nodeTypedValue(VARIANT* typedValue) override {
        if (typedValue == nullptr) {
            return Fail(E_INVALIDARG);
        }
        VariantInit(typedValue);
        typedValue->vt = VT_NULL;
        return S_FALSE;
    }

    HRESULT get_firstChild(IXMLDOMNode** firstChild) override {
        return tree_ != nullptr ? HandOutNode(*tree_, tree_->document.first_child, firstChild)
                                : HandOutNone(firstChild);
    }
    HRESULT get_nextSibling(IXMLDOMNode** nextSibling) override { return HandOutNone(nextSibling); }
    HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) override {
        return HandOutNone(attributeMap);
    }

    HRESULT get_documentElement(IXMLDOMElement** DOMElement) override {
        return tree_ != nullptr ? HandOutElement(*tree_, tree_->DocumentElement(), DOMElement)
                                : HandOutNone(DOMElement);
    }

    HRESULT loadXML(BSTR bstrXML, VARIANT_BOOL* isSuccessful) override {
        if (isSuccessful != nullptr) {
            *isSuccessful = VARIANT_FALSE;
        }
        // What was loaded before goes first: its memory may be what the new text needs.
        ReplaceTree(nullptr);
        refusal_ = {};
        const UINT length = SysStringLen(bstrXML);
        Tree* const tree = Tree::Make(length);
        if (tree == nullptr) {
            return Fail(E_OUTOFMEMORY);
        }
        const LoadResult result = LoadTree(*tree, bstrXML, length, options_, refusal_);
        if (result != LoadResult::kLoaded) {
            tree->Release();
            return result == LoadResult::kNoMemory ? Fail(E_OUTOFMEMORY) : S_FALSE;
        }
        ReplaceTree(tree);
        if (isSuccessful != nullptr) {
            *isSuccessful = VARIANT_TRUE;
        }
        return S_OK;
    }

    HRESULT get_parseError(IXMLDOMParseError** errorObj) override {
        return errorObj != nullptr ? HandOutNew(MakeComObject<ParseErrorObject>(refusal_), errorObj)
                                   : Fail(E_INVALIDARG);
    }

    HRESULT setProperty(BSTR name, VARIANT value) override {
        bool* const flag = FlagByName(name);
        if (flag == nullptr) {
            LeaveErrorRecord(L"The document has no property of that name.");
            return E_FAIL;
        }
        if (!ReadFlag(value, *flag)) {
            LeaveErrorRecord(L"The property takes a truth value.");
            return E_INVALIDARG;
        }
        return S_OK;
    }

  private:
    bool* FlagByName(BSTR name) noexcept {
        if (name != nullptr && wcscmp(name, L"ProhibitDTD") == 0) {
            return &options_.prohibit_dtd;
        }
        if (name != nullptr && wcscmp(name, L"ResolveExternals") == 0) {
            return &options_.resolve_externals;
        }
        return nullptr;
    }

    void ReplaceTree(Tree* tree) noexcept {
        if (tree_ != nullptr) {
            tree_->Release();
        }
        tree_ = tree;
    }

    LoadOptions options_;
    Refusal refusal_{};     // of the last load
    Tree* tree_ = nullptr;  // a reference of the document's own; null when it is empty
};

}  // namespace

IUnknown* MakeDocument(DocumentVersion version) noexcept {
    auto* const document = MakeComObject<DocumentObject>(version);
    return document != nullptr ? static_cast<IXMLDOMDocument2*>(document) : nullptr;
}

}  // namespace ZTKPosix::dom
