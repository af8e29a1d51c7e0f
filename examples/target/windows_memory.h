// The memory of another process.
#pragma once

#include <cstddef>

#include <ztk/ztk.h>

#include "target/target.h"

namespace example {

// How many of the first bytes could be read or written.
std::size_t ReadProcess(HANDLE process, Address address, void* bytes, std::size_t count);
std::size_t WriteProcess(HANDLE process, Address address, const void* bytes, std::size_t count);

}  // namespace example
