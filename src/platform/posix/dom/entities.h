// How deep the declared entities of a document nest, and whether what they refer to is declared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/posix/dom/text_pool.h"
#include "platform/posix/dom/wide_buffer.h"

namespace ZTKPosix::dom {

// The parser expands an entity within an entity by calling itself, so a document could choose how
// much stack that takes. This keeps the nesting as entities are declared; a document in which it
// gets too deep, as it does with an entity that contains itself, is refused before anything is
// expanded. Whatever looks like a reference in an entity's text counts as one.
class Entities {
  public:
    // REQUIRES: the arena outlives this object.
    explicit Entities(Arena& arena) noexcept : arena_(arena), pool_(arena) {}

    // Takes a declaration in; text is null for an entity outside the document. False when memory is
    // short, and when the entities nest too deep: then Refusal() says so.
    [[nodiscard]] bool Declare(const char* name, bool is_parameter, const char* text,
                               std::size_t length) noexcept;

    // Whether the general entities that text refers to are declared, and in turn all that these
    // refer to. False when memory is short, and when one is not: then Refusal() says so.
    [[nodiscard]] bool AreDeclared(std::string_view text) noexcept;

    // Null as long as nothing was refused.
    [[nodiscard]] const char* Refusal() const noexcept {
        const char* const reason = deepest_ > kDeepest
                                       ? "entities nest too deep, or contain themselves"
                                       : "an entity is declared nowhere";
        return refused_ ? reason : nullptr;
    }

    // The levels of the deepest nesting.
    [[nodiscard]] unsigned Deepest() const noexcept { return deepest_; }

    // How often a depth had to be looked at so far, which may be often for each reference.
    [[nodiscard]] std::uint64_t Visits() const noexcept { return visits_; }

    static constexpr unsigned kDeepest = 256;

  private:
    struct Reference;
    struct Entity : PooledText {
        std::uint32_t depth;   // 0: not declared; 1: contains no other
        bool is_complete;      // all that it contains is declared
        Reference* contained;  // the references in its text
        Reference* uses;       // the references to it
    };
    struct Reference {
        Entity* container;
        Entity* target;
        Reference* next_contained;
        Reference* next_use;
    };

    [[nodiscard]] Entity* EntityOf(char mark, std::string_view name) noexcept;
    [[nodiscard]] bool AddReference(Entity& container, Entity& target) noexcept;
    void Deepen(Entity& entity, std::uint32_t depth) noexcept;
    [[nodiscard]] static bool IsComplete(Entity& entity) noexcept;

    Arena& arena_;
    TextPool<Entity> pool_;
    WideBuffer buffer_;
    unsigned deepest_ = 0;
    std::uint64_t visits_ = 0;
    bool refused_ = false;
};

}  // namespace ZTKPosix::dom
