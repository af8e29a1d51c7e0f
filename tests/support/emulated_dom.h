// Whether the platform's DOM is Wine's stand-in. It differs from the original in some places, and
// tests of the platform's documented behaviour leave these out there.
#pragma once

namespace ztk_test {

// Where it differs: the value of a text or CDATA node includes the text of the nodes behind it;
// namespace declarations are not found as attributes; prefixes need no declaration; a boolean other
// than 0 and 1 has a value; default attributes do not appear.
[[nodiscard]] bool IsDomEmulated();

}  // namespace ztk_test
