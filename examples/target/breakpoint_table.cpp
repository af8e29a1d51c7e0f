// The breakpoints of a debuggee.
#include "target/breakpoint_table.h"

#include <algorithm>

namespace example {

namespace {

// Calls use(entry, index) for each of entries whose address is among the count from address on.
// Written with differences, since address + count may wrap.
template <class Entries, class Use>
void ForEachWithin(Entries& entries, Address address, std::size_t count, Use use) {
    for (auto it = entries.lower_bound(address); it != entries.end(); ++it) {
        const Address index = it->first - address;
        if (index >= count) {
            return;
        }
        use(it->second, static_cast<std::size_t>(index));
    }
}

}  // namespace

int BreakpointTable::Add(Address address, unsigned char displaced) {
    entries_[address] = {++last_number_, address, displaced, true};
    return last_number_;
}

BreakpointTable::Entry* BreakpointTable::FindAt(Address address) {
    const auto found = entries_.find(address);
    return found == entries_.end() ? nullptr : &found->second;
}

BreakpointTable::Entry* BreakpointTable::FindNumber(int number) {
    for (auto& [address, entry] : entries_) {
        if (entry.number == number) {
            return &entry;
        }
    }
    return nullptr;
}

void BreakpointTable::Remove(int number) {
    if (const Entry* entry = FindNumber(number)) {
        const Address address = entry->address;  // erase may still look at its key afterwards
        entries_.erase(address);
    }
}

void BreakpointTable::Reset() {
    Clear();
    last_number_ = 0;
}

std::vector<BreakpointTable::Entry*> BreakpointTable::All() {
    std::vector<Entry*> all;
    for (auto& [address, entry] : entries_) {
        all.push_back(&entry);
    }
    return all;
}

std::vector<Breakpoint> BreakpointTable::List() const {
    std::vector<Breakpoint> list;
    for (const auto& [address, entry] : entries_) {
        list.push_back({entry.number, address});
    }
    std::sort(list.begin(), list.end(),
              [](const Breakpoint& a, const Breakpoint& b) { return a.number < b.number; });
    return list;
}

void BreakpointTable::Hide(Address address, unsigned char* bytes, std::size_t count) const {
    ForEachWithin(entries_, address, count,
                  [bytes](const Entry& entry, std::size_t i) { bytes[i] = entry.displaced; });
}

void BreakpointTable::Insert(Address address, unsigned char* bytes, std::size_t count) const {
    ForEachWithin(entries_, address, count, [bytes](const Entry& entry, std::size_t i) {
        if (entry.in_memory) {
            bytes[i] = kInstruction;
        }
    });
}

void BreakpointTable::KeepDisplaced(Address address, const unsigned char* bytes,
                                    std::size_t written) {
    ForEachWithin(entries_, address, written,
                  [bytes](Entry& entry, std::size_t i) { entry.displaced = bytes[i]; });
}

}  // namespace example
