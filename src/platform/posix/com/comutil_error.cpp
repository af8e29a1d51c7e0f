// The functions that raise failed COM calls.
#include "ztk/platform/posix/comdef.h"

namespace ZTKPosix {

void _com_issue_error(HRESULT result) {
    throw _com_error(result);
}

void _com_issue_errorex(HRESULT result, IUnknown* object, REFIID iid) {
    IErrorInfo* info = nullptr;
    ISupportErrorInfo* support = nullptr;
    if (object != nullptr && SUCCEEDED(object->QueryInterface(&support))) {
        if (support->InterfaceSupportsErrorInfo(iid) == S_OK) {
            (void)GetErrorInfo(0, &info);  // without a record info stays null
        }
        support->Release();
    }
    throw _com_error(result, info);
}

}  // namespace ZTKPosix
