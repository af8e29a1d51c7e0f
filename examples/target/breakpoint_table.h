// The breakpoints of a debuggee, and what their instructions have displaced in its memory.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "target/target.h"

namespace example {

// A breakpoint is an instruction of one byte, 0xCC on x86, which is written over the first byte of
// another. The table knows the byte that was there. It writes nothing: its owner does, and tells
// it.
//
// Thread-safety: none of its own; the owner guards it.
class BreakpointTable {
  public:
    static constexpr unsigned char kInstruction = 0xCC;

    struct Entry {
        int number = 0;
        Address address = 0;
        unsigned char displaced = 0;  // the debuggee's own byte
        bool in_memory = true;        // false while it is lifted, to step over it, say
    };

    // Adds a breakpoint that was written over the byte displaced, and returns its number.
    // REQUIRES: there is none at address.
    int Add(Address address, unsigned char displaced);

    // null when there is none. Valid until the entry is removed.
    [[nodiscard]] Entry* FindAt(Address address);
    [[nodiscard]] Entry* FindNumber(int number);

    void Remove(int number);

    // Forgets all of them: the memory they were in is gone. The numbers go on.
    void Clear() { entries_.clear(); }

    // Forgets all, and numbers begin with 1 again: for another debuggee.
    void Reset();

    [[nodiscard]] std::vector<Entry*> All();             // by address
    [[nodiscard]] std::vector<Breakpoint> List() const;  // by number

    // --- Memory, as the debuggee's own code has it.

    // Puts the displaced bytes into what was read at address.
    void Hide(Address address, unsigned char* bytes, std::size_t count) const;

    // Puts the breakpoints' instructions into what is about to be written at address, so that they
    // stay; KeepDisplaced then tells how many of the bytes were written.
    void Insert(Address address, unsigned char* bytes, std::size_t count) const;
    void KeepDisplaced(Address address, const unsigned char* bytes, std::size_t written);

  private:
    std::map<Address, Entry> entries_;
    int last_number_ = 0;
};

}  // namespace example
