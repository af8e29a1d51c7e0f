#include "platform/posix/dom/entities.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/dom/text.h"

namespace ZTKPosix::dom {

namespace {

// Far more levels than documents need, and few enough for any thread's stack.
constexpr unsigned kDeepest = 256;

// In characters. Longer names do not occur in practice: a reference to one is not looked up but
// counted as one to an entity that was not declared before, which keeps the bound an upper one.
constexpr std::size_t kLongestName = 255;

}  // namespace

// A general entity, a parameter entity and an element may have the same name; the mark in front of
// an entity's name keeps them apart in the pool.
Name* EntityDepths::NameOf(char mark, const char* name, std::size_t length) noexcept {
    wchar_t buffer[kLongestName + 1];
    buffer[0] = static_cast<wchar_t>(mark);
    wchar_t* const end = WidenUtf8(name, std::min(length, kLongestName), buffer + 1);
    return names_.Intern(buffer, static_cast<std::size_t>(end - buffer));
}

bool EntityDepths::Measure(const char* text, std::size_t length, bool is_parameter,
                           unsigned& depth) noexcept {
    depth = 1;
    bool looks_ahead = false;
    const char* const end = text + length;
    for (const char* at = text; at != end; ++at) {
        if (*at != '&' && !(is_parameter && *at == '%')) {
            continue;
        }
        const char* const name = at + 1;
        const char* const stop =
            static_cast<const char*>(std::memchr(name, ';', static_cast<std::size_t>(end - name)));
        if (stop == nullptr || *name == '#') {
            continue;
        }
        const auto name_length = static_cast<std::size_t>(stop - name);
        if (name_length > kLongestName) {
            looks_ahead = true;
            continue;
        }
        const Name* const known = NameOf(*at, name, name_length);
        if (known == nullptr) {
            return false;
        }
        looks_ahead = looks_ahead || known->entity_depth == 0;
        depth = std::max(depth, known->entity_depth + 1);
    }
    forward_ += looks_ahead ? 1 : 0;
    return true;
}

bool EntityDepths::Declare(const char* name, bool is_parameter, const char* text,
                           std::size_t length) noexcept {
    unsigned depth = 1;
    if (text != nullptr && !Measure(text, length, is_parameter, depth)) {
        return false;
    }
    Name* const declared = NameOf(is_parameter ? '%' : '&', name, std::strlen(name));
    if (declared == nullptr) {
        return false;
    }
    declared->entity_depth = std::max(declared->entity_depth, depth);
    deepest_ = std::max(deepest_, depth);
    // A chain of entities within entities has at most deepest_ links before it comes to one that
    // refers to an entity not declared before it, and it comes to each of these at most once,
    // because no entity may contain itself.
    refused_ = deepest_ > kDeepest / (forward_ + 1);
    return !refused_;
}

}  // namespace ZTKPosix::dom
