#include "frame/entry/lifecycle.h"

#include "frame/base/tmp_ring.h"
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
    FreeRings();
    CloseTraceLog();
}

void OnProcessExit() noexcept {
    CloseTraceLog();
}

void OnForkBegin() noexcept {
    sync::LockThreadRegistry();
}

void OnForkEnd() noexcept {
    sync::UnlockThreadRegistry();
}

void OnForkChild() noexcept {
    UnblockRingsInChild();
    RepairLoggingInChild();
}

}  // namespace ZTK::frame
