#include "frame/logging.h"

#include "frame/hex_line.h"
#include "frame/logging_switches.h"
#include "frame/static_object.h"
#include "frame/trace_log.h"
#include "sync/lock_guard.h"
#include "ztk/logging.h"
#include "ztk/strings.h"
#include "ztk/sync.h"

namespace ZTK {
namespace frame {

constinit LoggingSwitches logging_switches;

namespace {

constexpr int kTextMode = 1;
constexpr unsigned int kUtf8 = 65001;

struct LogState {
    CLock lock;
    HexLine hex_line;  // guarded by lock
};

constinit StaticObject<LogState> log_state;

}  // namespace

void BuildLogging() noexcept {
    log_state.Build();
}

void DestroyLogging() noexcept {
    log_state.Destroy();
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
    const sync::LockGuard guard(frame::log_state.Get().lock);
    const wchar_t* wide = StrConvert(text, frame::kUtf8);
    if (wide != nullptr) {  // null when the text is too long for a ring string
        frame::WriteTraceLog(wide);
    }
}

void LogTextW(const wchar_t* text) noexcept {
    if (!frame::LoggingEnabled() || text == nullptr || *text == L'\0') {
        return;
    }
    const sync::LockGuard guard(frame::log_state.Get().lock);
    frame::WriteTraceLog(text);
}

void LogHex(const wchar_t* label, unsigned char* data, DWORD size) noexcept {
    if (!frame::LoggingEnabled()) {
        return;
    }
    frame::LogState& state = frame::log_state.Get();
    const sync::LockGuard guard(state.lock);
    const wchar_t* line = state.hex_line.Format(label, data, size);
    if (line != nullptr) {
        frame::WriteTraceLog(line);
    }
}

}  // namespace ZTK
