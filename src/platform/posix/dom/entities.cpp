#include "platform/posix/dom/entities.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/posix/dom/text.h"

namespace ZTKPosix::dom {

namespace {

// A general entity and a parameter entity may have the same name. The mark of their references
// stands in front of a name in the pool and keeps them apart.
constexpr char kGeneral = '&';
constexpr char kParameter = '%';

bool IsPredefined(std::string_view name) noexcept {
    return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
}

// Calls visit(mark, name) for each reference to an entity in text, until it returns false. Returns
// whether it never did. With parameters, those to parameter entities count, too.
template <class Visit>
bool ForEachReference(std::string_view text, bool parameters, Visit visit) noexcept {
    const char* const marks = parameters ? "&%" : "&";
    for (;;) {
        const std::size_t start = text.find_first_of(marks);
        if (start == std::string_view::npos) {
            return true;
        }
        const char mark = text[start];
        text.remove_prefix(start + 1);
        const std::string_view name = text.substr(0, text.find_first_of("; \t\r\n&%<>'\""));
        text.remove_prefix(name.size());
        const bool is_reference = !text.empty() && text.front() == ';' && !name.empty() &&
                                  name.front() != '#' && !(mark == kGeneral && IsPredefined(name));
        if (is_reference && !visit(mark, name)) {
            return false;
        }
    }
}

}  // namespace

Entities::Entity* Entities::EntityOf(char mark, std::string_view name) noexcept {
    wchar_t* const text = buffer_.Room(name.size() + 1);
    if (text == nullptr) {
        return nullptr;
    }
    text[0] = static_cast<wchar_t>(mark);
    wchar_t* const end = WidenUtf8(name.data(), name.size(), text + 1);
    return pool_.Intern(text, static_cast<std::size_t>(end - text));
}

bool Entities::AddReference(Entity& container, Entity& target) noexcept {
    if (target.uses != nullptr && target.uses->container == &container) {
        return true;  // not the first one in this text
    }
    auto* const reference = static_cast<Reference*>(arena_.Allocate(sizeof(Reference)));
    if (reference == nullptr) {
        return false;
    }
    *reference = {&container, &target, container.contained, target.uses};
    container.contained = reference;
    target.uses = reference;
    return true;
}

bool Entities::Declare(const char* name, bool is_parameter, const char* text,
                       std::size_t length) noexcept {
    Entity* const declared = EntityOf(is_parameter ? kParameter : kGeneral, name);
    if (declared == nullptr) {
        return false;
    }
    std::uint32_t depth = 1;
    const std::string_view value = text != nullptr ? std::string_view(text, length) : "";
    const bool added =
        ForEachReference(value, is_parameter, [&](char mark, std::string_view other) {
            Entity* const target = EntityOf(mark, other);
            depth = target != nullptr ? std::max(depth, target->depth + 1) : depth;
            return target != nullptr && AddReference(*declared, *target);
        });
    if (added) {
        Deepen(*declared, depth);
    }
    return added && !refused_;
}

// An entity got that deep: so did those that contain it. Calls itself for one level less each time.
void Entities::Deepen(Entity& entity, std::uint32_t depth) noexcept {
    ++visits_;
    if (depth <= entity.depth) {
        return;
    }
    entity.depth = depth;
    deepest_ = std::max(deepest_, depth);
    refused_ = refused_ || depth > kDeepest;
    for (const Reference* use = entity.uses; use != nullptr && !refused_; use = use->next_use) {
        Deepen(*use->container, depth + 1);
    }
}

// Calls itself for one level less each time.
bool Entities::IsComplete(Entity& entity) noexcept {
    if (entity.depth == 0 || entity.is_complete) {
        return entity.is_complete;
    }
    for (const Reference* each = entity.contained; each != nullptr; each = each->next_contained) {
        if (!IsComplete(*each->target)) {
            return false;
        }
    }
    entity.is_complete = true;
    return true;
}

bool Entities::AreDeclared(std::string_view text) noexcept {
    return ForEachReference(text, false, [&](char mark, std::string_view name) {
        Entity* const entity = EntityOf(mark, name);
        refused_ = refused_ || (entity != nullptr && !IsComplete(*entity));
        return entity != nullptr && !refused_;
    });
}

}  // namespace ZTKPosix::dom
