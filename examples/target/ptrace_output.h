// What a launched debuggee writes, as events.
#pragma once

#include <cstdint>

#include <ztk/ztk.h>

#include "target/descriptor.h"
#include "target/event.h"
#include "target/output_pieces.h"

namespace example {

// A pipe that is the debuggee's standard output and error, and a thread that reads it. The thread
// goes on until nobody can write any more, or this object ends.
class OutputReader {
  public:
    explicit OutputReader(EventSink* sink) : sink_(sink) {}
    OutputReader(const OutputReader&) = delete;
    OutputReader& operator=(const OutputReader&) = delete;
    ~OutputReader();

    // Makes the pipe. False, with errno set, when the system has none.
    bool Open();

    // For the new process, and for it only: CloseWritingEnd when it has it.
    [[nodiscard]] int WritingEnd() const { return pipe_.writing.Get(); }
    void CloseWritingEnd() { pipe_.writing.Close(); }

    // Begins to read what process writes. False when there is no thread for it.
    bool Start(std::uint64_t process);

    // Gives out all that was written up to now, by the calling thread. It is for the moments before
    // an event that may not overtake the output, so it does not wait for room. last: the debuggee
    // writes no more, so an incomplete character is given out, too.
    void Drain(bool last);

  private:
    enum class Found { kSomething, kNothing, kEnd };

    static DWORD WINAPI Thread(void* reader);
    void ReadUntilEnd();
    Found ReadPiece();
    void Tell(std::string text);

    EventSink* const sink_;
    Pipe pipe_;
    Pipe end_;  // something to read: the thread is to end
    std::uint64_t process_ = 0;
    HANDLE thread_ = nullptr;
    ZTK::CLock lock_;      // guards pieces_, and keeps the events in the order of the reads
    OutputPieces pieces_;  // guarded by lock_
};

}  // namespace example
