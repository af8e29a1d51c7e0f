// What variants own: strings, references, byte arrays.
#include "platform/posix/com/oleauto_variant.h"

#include <cstring>

#include "platform/memory/allocation.h"

namespace ZTKPosix {

SAFEARRAY* MakeByteArray(std::size_t count) noexcept {
    // Array and bytes are one block.
    void* const block = ZTK::allocation::RuntimeAlloc(sizeof(SAFEARRAY) + count);
    if (block == nullptr) {
        return nullptr;
    }
    auto* array = static_cast<SAFEARRAY*>(block);
    *array = {};
    array->cDims = 1;
    array->cbElements = 1;
    array->pvData = array + 1;
    array->rgsabound[0].cElements = static_cast<ULONG>(count);
    return array;
}

void VariantInit(VARIANT* variant) noexcept {
    if (variant != nullptr) {
        *variant = {};
    }
}

HRESULT VariantClear(VARIANT* variant) noexcept {
    if (variant == nullptr) {
        return E_INVALIDARG;
    }
    // Empty before anything goes: releasing a reference may run a host's code.
    const VARIANT old = *variant;
    *variant = {};
    switch (old.vt) {
        case VT_BSTR:
            SysFreeString(old.bstrVal);
            break;
        case VT_UNKNOWN:
            if (old.punkVal != nullptr) {
                old.punkVal->Release();
            }
            break;
        case VT_ARRAY | VT_UI1:
            ZTK::allocation::RuntimeFree(old.parray);
            break;
        default:
            break;
    }
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept {
    if (target == nullptr || source == nullptr) {
        return E_INVALIDARG;
    }
    if (target == source) {
        return S_OK;
    }
    VariantClear(target);
    VARIANT copy = *source;
    if (copy.vt == VT_BSTR && copy.bstrVal != nullptr) {
        copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(copy.bstrVal),
                                             SysStringByteLen(copy.bstrVal));
        if (copy.bstrVal == nullptr) {
            return E_OUTOFMEMORY;
        }
    } else if (copy.vt == VT_UNKNOWN && copy.punkVal != nullptr) {
        copy.punkVal->AddRef();
    } else if (copy.vt == (VT_ARRAY | VT_UI1) && copy.parray != nullptr) {
        const ULONG count = copy.parray->rgsabound[0].cElements;
        copy.parray = MakeByteArray(count);
        if (copy.parray == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::memcpy(copy.parray->pvData, source->parray->pvData, count);
    }
    *target = copy;
    return S_OK;
}

}  // namespace ZTKPosix
