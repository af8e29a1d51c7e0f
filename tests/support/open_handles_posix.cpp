#include <dirent.h>

#include "support/open_handles.h"

int ztk_test::OpenHandles() {
    DIR* directory = opendir("/proc/self/fd");
    if (directory == nullptr) {
        return -1;
    }
    int count = 0;
    while (readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}
