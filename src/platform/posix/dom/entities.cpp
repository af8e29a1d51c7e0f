#include "platform/posix/dom/entities.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/dom/text.h"

namespace ZTKPosix::dom {

namespace {

// Far more than documents need, and little stack.
constexpr unsigned kDeepest = 256;

// A longer name is none of an entity that anybody refers to; it is not worth being looked up.
constexpr std::size_t kLongestName = 255;

}  // namespace

// General and parameter entities have names of their own kinds; the mark before it keeps them apart
// from each other and from elements.
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
    // A path through the entities takes at most deepest_ steps before it comes to one that looks
    // ahead, and comes to each of these once.
    refused_ = deepest_ > kDeepest / (forward_ + 1);
    return !refused_;
}

}  // namespace ZTKPosix::dom
