// What a launched debuggee writes to its standard output and error.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>

#include <ztk/ztk.h>

#include "target/event.h"
#include "target/output_pieces.h"

namespace example {

// A pipe, and a thread that reads it and tells a sink what has come. Output is told before the
// debuggee's own doings that followed it: whoever tells of those calls Drain first.
//
// Both take what the pipe has under a lock. A plain read would not allow that, since it holds on
// to what came until the thread goes on; an overlapped one can be taken over by another thread.
class OutputReader {
  public:
    // null, with the system's error as last error, when there is no pipe or thread to be had.
    static std::unique_ptr<OutputReader> Make(EventSink* sink);

    OutputReader(const OutputReader&) = delete;
    OutputReader& operator=(const OutputReader&) = delete;

    // Drops what was not read yet. REQUIRES: the sink waits for room in bounded time.
    ~OutputReader();

    // The end for the debuggee, which inherits it. Closed by CloseWriteEnd, so that the pipe ends
    // with the debuggee; nothing is read before.
    [[nodiscard]] HANDLE WriteEnd() const { return write_end_.get(); }
    void CloseWriteEnd(std::uint64_t process);

    // Tells the sink all that was written until now; last: also the beginning of a character whose
    // rest is missing.
    void Drain(bool last);

    // Whether the last of the pipe's writers has gone, and all is told.
    [[nodiscard]] bool IsOver() const { return over_; }

  private:
    explicit OutputReader(EventSink* sink) : sink_(sink) {}

    bool Open();
    static DWORD WINAPI Thread(void* reader);
    void ReadUntilOver();
    void BeginRead();
    void EndRead(bool wait);
    void ReadWhatIsThere();
    void Tell(std::string_view bytes);

    static constexpr unsigned kStop = 0;
    static constexpr unsigned kCame = 1;

    EventSink* const sink_;
    std::uint64_t process_ = 0;
    ZTK::COwnedHandle read_end_;
    ZTK::COwnedHandle write_end_;
    ZTK::COwnedHandle thread_;
    ZTK::CSASync events_;
    std::atomic<bool> over_{false};

    ZTK::CLock lock_;  // guards all below
    OVERLAPPED read_ = {};
    bool reading_ = false;  // the system may write into buffer_
    char buffer_[16 << 10];
    OutputPieces pieces_;
};

}  // namespace example
