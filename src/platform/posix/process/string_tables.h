// The string tables of modules, in blocks of sixteen strings. What hosts call is declared in
// ztk/platform/posix: AddStringBlock, FindResourceW, LoadStringW and their companions.
#pragma once

#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

inline constinit Lock string_tables_lock;

// Frees the blocks that hosts did not remove. Called when the library is unloaded.
void TearDownStringTables() noexcept;

}  // namespace ZTKPosix
