// The variant of the COM support classes.
#include <utility>

#include "ztk/platform/posix/comutil.h"

namespace ZTKPosix {

namespace {

void RequireType(const VARIANT& variant, VARTYPE type) {
    if (variant.vt != type) {
        _com_issue_error(DISP_E_TYPEMISMATCH);
    }
}

}  // namespace

_variant_t::_variant_t(const VARIANT& source) : _variant_t() {
    _com_util::CheckError(VariantCopy(this, &source));
}

_variant_t::_variant_t(_variant_t&& source) noexcept : VARIANT(source.Detach()) {}

_variant_t::_variant_t(short value, VARTYPE type) : _variant_t() {
    if (type != VT_I2 && type != VT_BOOL) {
        _com_issue_error(E_INVALIDARG);
    }
    vt = type;
    iVal = type == VT_BOOL && value != 0 ? VARIANT_TRUE : value;
}

_variant_t::_variant_t(LONG value) noexcept : _variant_t() {
    vt = VT_I4;
    lVal = value;
}

_variant_t::_variant_t(double value) noexcept : _variant_t() {
    vt = VT_R8;
    dblVal = value;
}

_variant_t::_variant_t(bool value) noexcept : _variant_t() {
    vt = VT_BOOL;
    boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

_variant_t::_variant_t(const wchar_t* text) : _variant_t(_bstr_t(text)) {}

_variant_t::_variant_t(const _bstr_t& text) : _variant_t() {
    bstrVal = text.copy();
    vt = VT_BSTR;
}

_variant_t& _variant_t::operator=(const VARIANT& source) {
    _com_util::CheckError(VariantCopy(this, &source));
    return *this;
}

_variant_t& _variant_t::operator=(const _variant_t& source) {
    return *this = static_cast<const VARIANT&>(source);
}

_variant_t& _variant_t::operator=(_variant_t&& source) noexcept {
    std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(source));
    return *this;
}

_variant_t::operator short() const {
    RequireType(*this, VT_I2);
    return iVal;
}

_variant_t::operator LONG() const {
    RequireType(*this, VT_I4);
    return lVal;
}

_variant_t::operator double() const {
    RequireType(*this, VT_R8);
    return dblVal;
}

_variant_t::operator bool() const {
    RequireType(*this, VT_BOOL);
    return boolVal != VARIANT_FALSE;
}

_variant_t::operator _bstr_t() const {
    RequireType(*this, VT_BSTR);
    return {bstrVal, true};
}

void _variant_t::Attach(VARIANT& source) {
    Clear();
    static_cast<VARIANT&>(*this) = std::exchange(source, VARIANT{});
}

VARIANT _variant_t::Detach() noexcept {
    return std::exchange(static_cast<VARIANT&>(*this), VARIANT{});
}

VARIANT* _variant_t::GetAddress() noexcept {
    VariantClear(this);
    return this;
}

}  // namespace ZTKPosix
