#include "platform/posix/dom/tree.h"

#include <algorithm>
#include <new>

#include "platform/memory/allocation.h"

namespace ZTKPosix::dom {

Tree* Tree::Make(std::size_t text_length) noexcept {
    void* const storage = ZTK::allocation::RuntimeAlloc(sizeof(Tree));
    if (storage == nullptr) {
        return nullptr;
    }
    // All but very large trees take one block: the system's heap keeps room for such a block when
    // it gets it back, for the next document, where it would return a row of growing ones.
    constexpr std::size_t kSmallest = 1024;
    constexpr std::size_t kLargest = Arena::kMaxBlockBytes;
    return ::new (storage) Tree(std::clamp(text_length * 4, kSmallest, kLargest));
}

void Tree::Release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        this->~Tree();
        ZTK::allocation::RuntimeFree(this);
    }
}

const Node* Tree::DocumentElement() const noexcept {
    const Node* node = document.first_child;
    while (node != nullptr && node->kind != NodeKind::kElement) {
        node = node->NextSibling();
    }
    return node;
}

}  // namespace ZTKPosix::dom
