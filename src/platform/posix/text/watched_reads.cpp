#include "platform/posix/text/watched_reads.h"

#include <link.h>

#include <cstddef>
#include <cstring>

namespace ZTKPosix {

void LookForTools() noexcept {
#if defined(ZTK_TOOLS_COME_LATER)
    // valgrind puts an object of its own, by this name, into every process that it runs.
    const auto is_tool = [](dl_phdr_info* object, std::size_t, void*) {
        return std::strstr(object->dlpi_name, "/vgpreload_") != nullptr ? 1 : 0;
    };
    reads_are_watched = dl_iterate_phdr(is_tool, nullptr) != 0;
#endif
}

}  // namespace ZTKPosix
