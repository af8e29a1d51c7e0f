// Values of the types that an element can declare for its content.
#pragma once

#include <cstddef>

#include "platform/posix/dom/tree.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// kString for a name that declares no other type.
[[nodiscard]] DataType DataTypeByName(const char* name) noexcept;

// Makes the value that text spells, its outer white space left out. S_OK, DISP_E_TYPEMISMATCH for a
// text that is no such value, E_OUTOFMEMORY. REQUIRES: type is not kString; value is empty.
[[nodiscard]] HRESULT MakeTypedValue(DataType type, const wchar_t* text, std::size_t length,
                                     VARIANT& value) noexcept;

}  // namespace ZTKPosix::dom
