// The layer's own DOM is tested for all of the documented behaviour.
#include "support/emulated_dom.h"

namespace ztk_test {

bool IsDomEmulated() {
    return false;
}

}  // namespace ztk_test
