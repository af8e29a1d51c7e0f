// The names of one tree, each kept once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/posix/dom/arena.h"

namespace ZTKPosix::dom {

// A qualified name in an arena. The same name is the same object everywhere in a tree. The text
// follows the record, length characters without a terminator.
struct Name {
    std::uint64_t hash;
    std::uint32_t length;
    // For the names of entities only, which are kept during a load; see EntityDepths.
    std::uint32_t entity_depth;

    [[nodiscard]] const wchar_t* Text() const noexcept {
        return reinterpret_cast<const wchar_t*>(this + 1);
    }
};

// Used by one thread at a time; Find alone may run on several.
class NamePool {
  public:
    // REQUIRES: the arena outlives the table.
    explicit NamePool(Arena& arena) noexcept : arena_(arena) {}
    NamePool(const NamePool&) = delete;
    NamePool& operator=(const NamePool&) = delete;
    ~NamePool();

    // The name of that text, which is copied if it is new. Null when memory is short or the arena's
    // limit is reached; the pool is as it was then. It lives as long as the arena.
    [[nodiscard]] Name* Intern(const wchar_t* text, std::size_t length) noexcept;

    // Null when the tree has no such name.
    [[nodiscard]] const Name* Find(const wchar_t* text, std::size_t length) const noexcept;

  private:
    [[nodiscard]] std::size_t SlotOf(std::uint64_t hash, const wchar_t* text,
                                     std::size_t length) const noexcept;
    bool Grow() noexcept;

    Arena& arena_;
    Name** slots_ = nullptr;  // owned; a power of two of them, never full
    std::size_t capacity_ = 0;
    std::size_t count_ = 0;
};

}  // namespace ZTKPosix::dom
