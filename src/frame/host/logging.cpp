#include "frame/host/logging.h"

#include <cstdint>
#include <utility>

#include "frame/base/static_object.h"
#include "frame/base/tmp_ring.h"
#include "frame/host/hex_line.h"
#include "frame/host/last_error_keeper.h"
#include "frame/host/log_hook.h"
#include "frame/host/logging_switches.h"
#include "frame/host/scratch_text.h"
#include "frame/host/trace_log.h"
#include "platform/code_page.h"
#include "ztk/logging.h"
#include "ztk/scope.h"
#include "ztk/sync.h"

namespace ZTK {
namespace frame {

namespace {

constexpr int kTextMode = 1;

struct LogState {
    CLock lock;
    HexLine hex_line ZTK_GUARDED_BY(lock);
    bool line_is_out ZTK_GUARDED_BY(lock) = false;  // the host's log hook may still read it
};

constinit StaticObject<LogState> log_state;

// Takes a ring slot as every conversion does; a text too long for one is not written.
void WriteUtf8(const char* text) noexcept {
    const LastErrorKeeper keeper;  // a text that is measured first fails before it converts
    ScratchText wide;
    int count = MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.get(), ScratchText::kShort);
    if (count == 0) {
        count = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
        const auto room = static_cast<std::uint32_t>(count);
        if (room == 0 || room > kMaxRingText || !wide.Reserve(room)) {
            return;
        }
        count = MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.get(), count);
    }
    if (RequestTmpString<wchar_t>(static_cast<std::uint32_t>(count)) != nullptr) {
        WriteTraceLog(wide.get());
    }
}

}  // namespace

void BuildLogging() noexcept {
    BuildLogHook();
    log_state.Build();
}

void DestroyLogging() noexcept {
    log_state.Destroy();
    DestroyLogHook();
}

// Not analysed: there is no other thread, and who held the lock may not have come along.
void RepairLoggingInChild() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    log_state.Get().hex_line.RepairInChild();
    ForgetLogHookCallsInChild();
}

}  // namespace frame

void EnableLogging(bool enable, int mode) noexcept {
    frame::logging_switches.enabled.store(enable, std::memory_order_relaxed);
    frame::logging_switches.text_mode.store(mode == frame::kTextMode, std::memory_order_relaxed);
}

void LogTextA(const char* text) noexcept {
    if (!frame::LoggingEnabled() || text == nullptr || *text == '\0') {
        return;
    }
    const CLockGuard guard(frame::log_state.Get().lock);
    frame::WriteUtf8(text);
}

void LogTextW(const wchar_t* text) noexcept {
    if (!frame::LoggingEnabled() || text == nullptr || *text == L'\0') {
        return;
    }
    const CLockGuard guard(frame::log_state.Get().lock);
    frame::WriteTraceLog(text);
}

void LogHex(const wchar_t* label, unsigned char* data, DWORD size) noexcept {
    if (!frame::LoggingEnabled()) {
        return;
    }
    frame::LogState& state = frame::log_state.Get();
    const CLockGuard guard(state.lock);
    frame::HexLine nested;  // for a hook that logs while it is handed a line
    frame::HexLine& hex_line = state.line_is_out ? nested : state.hex_line;
    const wchar_t* line = hex_line.Format(label, data, size);
    if (line != nullptr) {
        const bool was_out = std::exchange(state.line_is_out, true);
        frame::WriteTraceLog(line);
        state.line_is_out = was_out;
    }
}

}  // namespace ZTK
