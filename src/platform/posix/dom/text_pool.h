// Texts that are kept once each, together with what is noted about each of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/posix/dom/arena.h"

namespace ZTKPosix::dom {

// A text in an arena, length characters without a terminator. They stand behind the whole entry of
// which this is the beginning.
struct PooledText {
    std::uint64_t hash;
    std::uint32_t length;
};

// The part of a pool that does not depend on what is noted. Used by one thread at a time; Find
// alone may run on several.
class TextPoolBase {
  public:
    TextPoolBase(const TextPoolBase&) = delete;
    TextPoolBase& operator=(const TextPoolBase&) = delete;

    [[nodiscard]] std::size_t Count() const noexcept { return count_; }

    // Those of all texts together, without what is noted about them.
    [[nodiscard]] std::size_t Characters() const noexcept { return characters_; }

  protected:
    TextPoolBase(Arena& arena, std::size_t entry_bytes) noexcept
        : arena_(arena), entry_bytes_(entry_bytes) {}
    ~TextPoolBase();

    [[nodiscard]] PooledText* Intern(const wchar_t* text, std::size_t length) noexcept;
    [[nodiscard]] PooledText* Find(const wchar_t* text, std::size_t length) const noexcept;

  private:
    [[nodiscard]] std::size_t SlotOf(std::uint64_t hash, const wchar_t* text,
                                     std::size_t length) const noexcept;
    bool Grow() noexcept;

    Arena& arena_;
    const std::size_t entry_bytes_;
    PooledText** slots_ = nullptr;  // owned; a power of two of them, never full
    std::size_t capacity_ = 0;
    std::size_t count_ = 0;
    std::size_t characters_ = 0;
};

// Entry is derived from PooledText, and an object whose bytes are all 0 is a new one.
template <class Entry>
class TextPool : public TextPoolBase {
  public:
    // REQUIRES: the arena outlives the pool.
    explicit TextPool(Arena& arena) noexcept : TextPoolBase(arena, sizeof(Entry)) {}

    // The entry of that text, which is copied if it is new. Null when memory is short or the
    // arena's limit is reached; the pool is as it was then. It lives as long as the arena.
    [[nodiscard]] Entry* Intern(const wchar_t* text, std::size_t length) noexcept {
        return static_cast<Entry*>(TextPoolBase::Intern(text, length));
    }

    // Null when the pool has no such text.
    [[nodiscard]] Entry* Find(const wchar_t* text, std::size_t length) const noexcept {
        return static_cast<Entry*>(TextPoolBase::Find(text, length));
    }
};

struct Prefix;

// A qualified name. The same name is the same object everywhere in a tree. What is noted about it
// serves the load of the tree and means nothing afterwards.
struct Name : PooledText {
    std::uint32_t declared_attributes;  // of the elements of that name
    std::uint32_t default_bytes;        // the names and values of those that have a default
    Prefix* prefix;                     // see Namespaces

    [[nodiscard]] const wchar_t* Text() const noexcept {
        return reinterpret_cast<const wchar_t*>(this + 1);
    }
};

using NamePool = TextPool<Name>;

}  // namespace ZTKPosix::dom
