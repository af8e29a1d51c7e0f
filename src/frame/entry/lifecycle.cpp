#include "frame/entry/lifecycle.h"

#include "frame/base/tmp_ring.h"
#include "frame/host/logging.h"
#include "frame/host/trace_log.h"
#include "sync/thread_registry.h"

namespace ZTK::frame {

void BuildStaticObjects() noexcept {
    BuildLogging();
    sync::BuildThreadRegistry();
}

void DestroyStaticObjects() noexcept {
    sync::DestroyThreadRegistry();
    DestroyLogging();
}

void OnProcessAttach() noexcept {
    narrow_ring.Clear();
    wide_ring.Clear();
}

void OnProcessDetach() noexcept {
    for (std::int32_t index = 0; index < kRingSlots; ++index) {
        narrow_ring.FreeSlot(index);
        wide_ring.FreeSlot(index);
    }
    CloseTraceLog();
}

void OnProcessExit() noexcept {
    CloseTraceLog();
}

}  // namespace ZTK::frame
