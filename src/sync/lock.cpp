#include <new>

#include "platform/memory/allocation.h"
#include "platform/recursive_lock.h"
#include "ztk/sync.h"

// Not analysed: that the lock which section_ points to is this one is not seen by the analysis.

namespace ZTK {
namespace {

RecursiveLock* Section(void* section) noexcept {
    return static_cast<RecursiveLock*>(section);
}

}  // namespace

CLock::CLock() noexcept : section_(allocation::RuntimeAlloc(sizeof(RecursiveLock))) {
    if (section_ != nullptr) {
        ::new (section_) RecursiveLock;
    }
}

CLock::~CLock() {
    Unlock();
    if (section_ != nullptr) {
        Section(section_)->~RecursiveLock();
        allocation::RuntimeFree(section_);
        section_ = nullptr;
    }
}

void CLock::Lock() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    if (section_ != nullptr) {
        Section(section_)->Acquire();
    }
}

void CLock::Unlock() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    if (section_ != nullptr) {
        Section(section_)->Release();
    }
}

bool CLock::HaveLock() const noexcept {
    return section_ != nullptr && Section(section_)->IsLastOwner();
}

}  // namespace ZTK
