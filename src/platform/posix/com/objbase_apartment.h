// How the calling thread has initialised COM.
#pragma once

namespace ZTKPosix {

// Whether the calling thread has an initialisation that no CoUninitialize has taken back.
[[nodiscard]] bool IsComInitialized() noexcept;

}  // namespace ZTKPosix
