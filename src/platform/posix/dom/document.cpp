// The DOM's document object.
#include <atomic>

#include "platform/posix/com/com_object.h"
#include "platform/posix/com/oleauto_error_info.h"
#include "platform/posix/dom/document.h"
#include "platform/posix/dom/node.h"
#include "platform/posix/dom/parser.h"
#include "platform/posix/text/runtime_text.h"

namespace ZTKPosix {

namespace {

using MSXML2::IXMLDOMDocument2;
using MSXML2::IXMLDOMElement;
using MSXML2::IXMLDOMNamedNodeMap;
using MSXML2::IXMLDOMNode;

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

class DocumentObject final : public ComObject<DocumentObject, IXMLDOMDocument2, ISupportErrorInfo> {
  public:
    explicit DocumentObject(DomVersion version) noexcept
        : options_{version == DomVersion::k6, version == DomVersion::k4} {}
    ~DocumentObject() { ReplaceTree(nullptr); }

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = nullptr;
        if (iid == IID_IUnknown || Answers(iid)) {
            return HandOut<IXMLDOMDocument2>(this, object);
        }
        if (iid == IID_ISupportErrorInfo) {
            return HandOut<ISupportErrorInfo>(this, object);
        }
        return E_NOINTERFACE;
    }

    HRESULT InterfaceSupportsErrorInfo(REFIID iid) override {
        return Answers(iid) ? S_OK : S_FALSE;
    }

    HRESULT get_nodeName(BSTR* name) override {
        if (name == nullptr) {
            return E_INVALIDARG;
        }
        *name = SysAllocString(L"#document");
        return *name != nullptr ? S_OK : E_OUTOFMEMORY;
    }

    HRESULT get_nodeTypedValue(VARIANT* typedValue) override {
        if (typedValue == nullptr) {
            return E_INVALIDARG;
        }
        VariantInit(typedValue);
        typedValue->vt = VT_NULL;
        return S_FALSE;
    }

    HRESULT get_firstChild(IXMLDOMNode** firstChild) override {
        return tree_ != nullptr ? dom::HandOutNode(*tree_, tree_->document.first_child, firstChild)
                                : None(firstChild);
    }
    HRESULT get_nextSibling(IXMLDOMNode** nextSibling) override { return None(nextSibling); }
    HRESULT get_attributes(IXMLDOMNamedNodeMap** attributeMap) override {
        return None(attributeMap);
    }

    HRESULT get_documentElement(IXMLDOMElement** DOMElement) override {
        return tree_ != nullptr ? dom::HandOutElement(*tree_, tree_->DocumentElement(), DOMElement)
                                : None(DOMElement);
    }

    HRESULT loadXML(BSTR bstrXML, VARIANT_BOOL* isSuccessful) override {
        if (isSuccessful != nullptr) {
            *isSuccessful = VARIANT_FALSE;
        }
        // What was loaded before goes first: its memory may be what the new text needs.
        ReplaceTree(nullptr);
        const UINT length = SysStringLen(bstrXML);
        dom::Tree* const tree = dom::Tree::Make(length);
        if (tree == nullptr) {
            return E_OUTOFMEMORY;
        }
        const dom::LoadResult result = dom::LoadTree(*tree, bstrXML, length, options_);
        if (result != dom::LoadResult::kLoaded) {
            tree->Release();
            return result == dom::LoadResult::kNoMemory ? E_OUTOFMEMORY : S_FALSE;
        }
        ReplaceTree(tree);
        if (isSuccessful != nullptr) {
            *isSuccessful = VARIANT_TRUE;
        }
        return S_OK;
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
    [[nodiscard]] static bool Answers(REFIID iid) noexcept {
        return iid == IID_IXMLDOMNode || iid == IID_IXMLDOMDocument || iid == IID_IXMLDOMDocument2;
    }

    template <class Interface>
    static HRESULT None(Interface** target) noexcept {
        if (target == nullptr) {
            return E_INVALIDARG;
        }
        *target = nullptr;
        return S_FALSE;
    }

    bool* FlagByName(BSTR name) noexcept {
        if (name != nullptr && wcscmp(name, L"ProhibitDTD") == 0) {
            return &options_.prohibit_dtd;
        }
        if (name != nullptr && wcscmp(name, L"ResolveExternals") == 0) {
            return &options_.resolve_externals;
        }
        return nullptr;
    }

    void ReplaceTree(dom::Tree* tree) noexcept {
        if (tree_ != nullptr) {
            tree_->Release();
        }
        tree_ = tree;
    }

    LiveObject alive_;
    dom::LoadOptions options_;
    dom::Tree* tree_ = nullptr;  // a reference of the document's own; null when it is empty
};

}  // namespace

IUnknown* MakeDomDocument(DomVersion version) noexcept {
    auto* const document = MakeComObject<DocumentObject>(version);
    return document != nullptr ? static_cast<IXMLDOMDocument2*>(document) : nullptr;
}

}  // namespace ZTKPosix
