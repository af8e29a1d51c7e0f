#include "frame/entry/lifecycle.h"

#include "frame/base/tmp_ring.h"
#include "frame/host/log_hook.h"
#include "frame/host/logging.h"
#include "frame/host/trace_log.h"
#include "sync/thread_registry.h"
#include "xml/long_texts.h"

namespace ZTK::frame {

void BuildStaticObjects() noexcept {
    BuildLogging();
    sync::BuildThreadRegistry();
}

void DestroyStaticObjects() noexcept {
    xml::FreeLongTexts();
    sync::DestroyThreadRegistry();
    DestroyLogging();
}

void OnProcessAttach() noexcept {
    ClearRings();
}

void OnProcessDetach() noexcept {
    DropLogHook();
    FreeRings();
    CloseTraceLog();
}

void OnProcessExit() noexcept {
    DropLogHook();
    CloseTraceLog();
}

void OnForkBegin() noexcept {
    sync::LockThreadRegistry();
    LockLogHook();
}

void OnForkEnd() noexcept {
    UnlockLogHook();
    sync::UnlockThreadRegistry();
}

void OnForkChild() noexcept {
    UnblockRingsInChild();
    RepairLoggingInChild();
}

}  // namespace ZTK::frame
