#include "frame/host/trace_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "frame/base/tmp_ring.h"
#include "frame/host/last_error_keeper.h"
#include "frame/host/log_hook.h"
#include "frame/host/scratch_text.h"
#include "platform/formatting.h"
#include "platform/text_stream.h"
#include "ztk/logging.h"

namespace ZTK::frame {
namespace {

constexpr std::int32_t kWritesPerFlush = 16;

constinit std::atomic<TextStream*> trace_log{nullptr};
// Counts over all trace logs of the process: opening and closing do not reset it.
constinit std::atomic<std::int32_t> writes_since_flush{0};

void WriteToFile(const wchar_t* text) noexcept {
    TextStream* stream = trace_log.load(std::memory_order_acquire);
    if (stream == nullptr) {
        return;
    }
    // A full disk must not disturb the agent: write errors are ignored, and their codes stay here.
    const LastErrorKeeper keeper;
    (void)fputws(text, stream);
    if ((writes_since_flush.fetch_add(1, std::memory_order_relaxed) + 1) % kWritesPerFlush == 0) {
        (void)fflush(stream);  // as above
        writes_since_flush.store(0, std::memory_order_relaxed);
    }
}

}  // namespace

bool TraceLogIsOpen() noexcept {
    return trace_log.load(std::memory_order_acquire) != nullptr;
}

void WriteTraceLog(const wchar_t* text) noexcept {
    WriteToFile(text);
    HandToLogHook(LogKindTrace, text);
}

void CloseTraceLog() noexcept {
    TextStream* stream = trace_log.exchange(nullptr, std::memory_order_acq_rel);
    if (stream != nullptr) {
        (void)fclose(stream);  // what the disk could not take is lost, as with every write
    }
}

namespace {

bool OpenTraceLog(const wchar_t* path) noexcept {
    if (TraceLogIsOpen()) {
        return true;
    }
    TextStream* stream = path == nullptr ? nullptr : _wfopen(path, L"w,ccs=UNICODE");
    trace_log.store(stream, std::memory_order_release);
    return stream != nullptr;
}

constexpr int kNone = -1;

// Formats into text; the length without terminator, or kNone when the format fails, memory is short
// or the text is too long for a ring slot. No memory is asked for then.
int FormatInto(ScratchText& text, const wchar_t* format, std::va_list arguments) noexcept {
    std::va_list again;
    va_copy(again, arguments);
    int length = _vsnwprintf(text.get(), ScratchText::kShort, format, again);
    va_end(again);
    if (length >= 0 && static_cast<std::size_t>(length) < ScratchText::kShort) {
        return length;
    }
    va_copy(again, arguments);
    length = _vscwprintf(format, again);
    va_end(again);
    if (length < 0 || static_cast<std::uint32_t>(length) >= kMaxRingText) {
        return kNone;
    }
    const std::size_t room = static_cast<std::size_t>(length) + 1;
    if (!text.Reserve(room)) {
        return kNone;
    }
    (void)_vsnwprintf(text.get(), room, format, arguments);  // as long as it was counted
    return length;
}

void Trace(const wchar_t* format, std::va_list arguments) noexcept {
    ScratchText text;
    const int length = FormatInto(text, format, arguments);
    // A slot is taken whether or not a trace log is open, but none for a text that there is not.
    if (length != kNone &&
        RequestTmpString<wchar_t>(static_cast<std::uint32_t>(length) + 1) != nullptr) {
        text.get()[length] = L'\0';
        WriteTraceLog(text.get());
    }
}

}  // namespace
}  // namespace ZTK::frame

bool ZTKOpenTraceLog(const wchar_t* path) noexcept {
    return ZTK::frame::OpenTraceLog(path);
}

void ZTKCloseTraceLog() noexcept {
    ZTK::frame::CloseTraceLog();
}

void ZTKWriteTraceLog(const wchar_t* text) noexcept {
    ZTK::frame::WriteTraceLog(text);
}

void ZTKTrace(const wchar_t* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    ZTK::frame::Trace(format, arguments);
    va_end(arguments);
}
