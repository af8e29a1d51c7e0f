// Values of the types that an element can declare for its content.
#pragma once

#include <cstddef>

#include "platform/posix/dom/tree.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// The type of that name; kString for a name that stands for no other type.
[[nodiscard]] DataType DataTypeByName(const wchar_t* name, std::size_t length) noexcept;

// Makes the value that text spells, leaving out the white space around it. S_OK with a value for
// the caller to clear; DISP_E_TYPEMISMATCH for a text that is no such value and E_OUTOFMEMORY, with
// value empty. REQUIRES: type is not kString; value is empty.
[[nodiscard]] HRESULT MakeTypedValue(DataType type, const wchar_t* text, std::size_t length,
                                     VARIANT& value) noexcept;

}  // namespace ZTKPosix::dom
