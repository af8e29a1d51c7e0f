// The string tables of modules, in blocks of sixteen strings. What hosts call is declared in
// ztk/platform/posix: AddStringBlock, FindResourceW, LoadStringW and their companions.
#pragma once

namespace ZTKPosix {

// Frees the blocks that hosts did not remove. Called when the library is unloaded.
void TearDownStringTables() noexcept;

}  // namespace ZTKPosix
