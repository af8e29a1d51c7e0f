// The raising function of the compiler's COM support that this compiler declares and does not have.
#include "ztk/platform/com.h"

void WINAPI _com_issue_errorex(HRESULT result, IUnknown* object, REFIID iid) {
    IErrorInfo* info = nullptr;
    ISupportErrorInfo* support = nullptr;
    if (object != nullptr &&
        SUCCEEDED(object->QueryInterface(__uuidof(ISupportErrorInfo),
                                         reinterpret_cast<void**>(&support)))) {
        // A record left by an earlier call of someone else must not be taken for this failure's.
        const bool leaves_records = support->InterfaceSupportsErrorInfo(iid) == S_OK;
        support->Release();
        if (leaves_records && GetErrorInfo(0, &info) != S_OK) {
            info = nullptr;
        }
    }
    _com_raise_error(result, info);
}
