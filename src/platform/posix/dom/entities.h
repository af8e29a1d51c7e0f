// How deep the declared entities of a document can nest.
#pragma once

#include <cstddef>

#include "platform/posix/dom/name_pool.h"

namespace ZTKPosix::dom {

// The parser expands an entity within an entity by calling itself, so a document could choose how
// much stack that takes. This keeps an upper bound of the nesting as entities are declared; a
// document that exceeds it is refused before anything is expanded.
class EntityDepths {
  public:
    // names: the tree's own, among which the names of entities are kept. REQUIRES: it outlives this
    // object.
    explicit EntityDepths(NamePool& names) noexcept : names_(names) {}

    // Takes a declaration in; text is null for an entity outside the document. False when memory is
    // short, and when the entities may nest too deep: then Refused() is true.
    [[nodiscard]] bool Declare(const char* name, bool is_parameter, const char* text,
                               std::size_t length) noexcept;

    [[nodiscard]] bool Refused() const noexcept { return refused_; }

  private:
    [[nodiscard]] Name* NameOf(char mark, const char* name, std::size_t length) noexcept;
    [[nodiscard]] bool Measure(const char* text, std::size_t length, bool is_parameter,
                               unsigned& depth) noexcept;

    NamePool& names_;
    unsigned deepest_ = 0;  // the nesting that references to entities declared before add up to
    unsigned forward_ = 0;  // entities that refer to others which were not declared before them
    bool refused_ = false;
};

}  // namespace ZTKPosix::dom
