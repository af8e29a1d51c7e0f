// The layer's own DOM is held to all of it.
#include "support/emulated_dom.h"

namespace ztk_test {

bool IsDomEmulated() {
    return false;
}

}  // namespace ztk_test
