// Error records: what the layer's objects tell about a failed call.
#include "platform/posix/com/error_record.h"

#include "platform/posix/com/com_object.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

namespace {

class ErrorRecord final : public ComObject<ErrorRecord, IErrorInfo> {
  public:
    // REQUIRES: description lives as long as the library.
    explicit ErrorRecord(const wchar_t* description) noexcept : description_(description) {}

    [[nodiscard]] bool Answers(REFIID iid) const noexcept { return iid == IID_IErrorInfo; }

    HRESULT GetGUID(GUID* id) override {
        if (id == nullptr) {
            return E_INVALIDARG;
        }
        *id = {};
        return S_OK;
    }
    HRESULT GetSource(BSTR* source) override { return CopyText(L"DOM", source); }
    HRESULT GetDescription(BSTR* description) override {
        return CopyText(description_, description);
    }
    HRESULT GetHelpFile(BSTR* help_file) override { return CopyText(nullptr, help_file); }
    HRESULT GetHelpContext(DWORD* help_context) override {
        if (help_context == nullptr) {
            return E_INVALIDARG;
        }
        *help_context = 0;
        return S_OK;
    }

  private:
    static HRESULT CopyText(const wchar_t* text, BSTR* copy) noexcept {
        if (copy == nullptr) {
            return E_INVALIDARG;
        }
        *copy = SysAllocString(text);
        return *copy == nullptr && text != nullptr ? E_OUTOFMEMORY : S_OK;
    }

    const wchar_t* description_;
};

}  // namespace

void LeaveErrorRecord(const wchar_t* description) noexcept {
    auto* const record = MakeComObject<ErrorRecord>(description);
    SetErrorInfo(0, record);
    if (record != nullptr) {
        record->Release();
    }
}

}  // namespace ZTKPosix
