// The exception of failed COM calls. Its destructor anchors its type information in the library.
#include <cinttypes>
#include <cstdio>

#include "ztk/platform/posix/comdef.h"

namespace ZTKPosix {

namespace {

struct ResultText {
    HRESULT result;
    const char* text;
};

constexpr ResultText kTexts[] = {
    {S_OK, "The operation completed successfully."},
    {E_NOTIMPL, "Not implemented"},
    {E_NOINTERFACE, "No such interface supported"},
    {E_POINTER, "Invalid pointer"},
    {E_FAIL, "Unspecified error"},
    {E_UNEXPECTED, "Catastrophic failure"},
    {E_OUTOFMEMORY, "Not enough memory resources are available to complete this operation."},
    {E_INVALIDARG, "The parameter is incorrect."},
    {RPC_E_CHANGED_MODE, "Cannot change thread mode after it is set."},
    {DISP_E_TYPEMISMATCH, "Type mismatch."},
    {DISP_E_OVERFLOW, "Out of present range."},
    {CLASS_E_NOAGGREGATION, "Class does not support aggregation (or class object is remote)"},
    {REGDB_E_CLASSNOTREG, "Class not registered"},
    {CO_E_NOTINITIALIZED, "CoInitialize has not been called."},
    {CO_E_CLASSSTRING, "Invalid class string"},
};

// A text of the record, empty when there is no record or it has no such text.
_bstr_t TextOf(IErrorInfo* info, HRESULT (IErrorInfo::*get)(BSTR*)) {
    BSTR text = nullptr;
    if (info == nullptr || FAILED((info->*get)(&text)) || text == nullptr) {
        return {};
    }
    return {text, false};
}

}  // namespace

_com_error::_com_error(HRESULT result, IErrorInfo* info, bool add_ref) noexcept
    : result_(result), info_(info), message_{} {
    if (info_ != nullptr && add_ref) {
        info_->AddRef();
    }
}

_com_error::_com_error(const _com_error& other) noexcept
    : _com_error(other.result_, other.info_, true) {}

_com_error& _com_error::operator=(const _com_error& other) noexcept {
    IErrorInfo* const added = other.ErrorInfo();
    if (info_ != nullptr) {
        info_->Release();
    }
    info_ = added;
    result_ = other.result_;
    return *this;
}

_com_error::~_com_error() noexcept {
    if (info_ != nullptr) {
        info_->Release();
    }
}

IErrorInfo* _com_error::ErrorInfo() const noexcept {
    if (info_ != nullptr) {
        info_->AddRef();
    }
    return info_;
}

_bstr_t _com_error::Description() const {
    return TextOf(info_, &IErrorInfo::GetDescription);
}
_bstr_t _com_error::Source() const {
    return TextOf(info_, &IErrorInfo::GetSource);
}

const char* _com_error::ErrorMessage() const noexcept {
    for (const ResultText& known : kTexts) {
        if (known.result == result_) {
            return known.text;
        }
    }
    std::snprintf(message_, sizeof message_, "Unknown error 0x%08" PRIX32,
                  static_cast<std::uint32_t>(result_));
    return message_;
}

}  // namespace ZTKPosix
