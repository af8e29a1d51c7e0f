// The allocation seam of the library variant for the tests: counts requests and can refuse them. It
// stands in for src/platform/memory/allocation.cpp and gives the same results while nothing is
// refused.
#include <atomic>
#include <cstdlib>

#include "platform/memory/address_space.h"
#include "platform/memory/allocation.h"
#include "support/faults.h"
#include "ztk/platform.h"

namespace {

// Constant-initialized: the library allocates before any constructor of this file could run.
constexpr long long kNever = -1;
std::atomic<long long> fail_at{kNever};  // number of the request to refuse first, or kNever
std::atomic<bool> fail_on{false};        // the later ones too
std::atomic<long long> requests{0};
std::atomic<long long> live{0};

bool Refused() noexcept {
    const long long number = requests.fetch_add(1);
    const long long first = fail_at.load();
    if (first == kNever || number < first) {
        return false;
    }
    return number == first || fail_on.load();
}

void* Counted(void* block) noexcept {
    if (block != nullptr) {
        live.fetch_add(1);
    }
    return block;
}

void CountRelease(const void* block) noexcept {
    if (block != nullptr) {
        live.fetch_sub(1);
    }
}

}  // namespace

namespace ztk_test {

void FailAfter(long long n) noexcept {
    FailAlways(n);
    fail_on.store(false);
}

void FailAlways(long long n) noexcept {
    fail_on.store(true);
    fail_at.store(requests.load() + n);
}

void StopFailing() noexcept {
    fail_at.store(kNever);
}

long long LiveBlocks() noexcept {
    return live.load();
}

long long Requests() noexcept {
    return requests.load();
}

bool UseInstructions(ZTK::processor::InstructionSet most) noexcept {
    return ZTK::processor::UseForTests(most);
}

}  // namespace ztk_test

namespace ZTK::allocation {

void* ProcessAlloc(std::size_t bytes) noexcept {
    return Refused() ? nullptr : Counted(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes));
}

void* ProcessRealloc(void* block, std::size_t bytes) noexcept {
    return Refused() ? nullptr : HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, bytes);
}

void ProcessFree(void* block) noexcept {
    CountRelease(block);
    HeapFree(GetProcessHeap(), 0, block);
}

void* RuntimeAlloc(std::size_t bytes) noexcept {
    return Refused() ? nullptr : Counted(std::malloc(bytes));
}

void* RuntimeAllocZeroed(std::size_t bytes) noexcept {
    return Refused() ? nullptr : Counted(std::calloc(1, bytes));
}

void* RuntimeRealloc(void* block, std::size_t bytes) noexcept {
    if (Refused()) {
        return nullptr;
    }
    return block == nullptr ? Counted(std::malloc(bytes)) : std::realloc(block, bytes);
}

void RuntimeFree(void* block) noexcept {
    CountRelease(block);
    std::free(block);
}

void* ReserveSpace(std::size_t bytes) noexcept {
    return Refused() ? nullptr : Counted(address_space::Reserve(bytes));
}

bool FillSpace(void* space, std::size_t bytes) noexcept {
    return !Refused() && address_space::Fill(space, bytes);
}

void FreeSpace(void* space, std::size_t bytes) noexcept {
    CountRelease(space);
    address_space::Free(space, bytes);
}

}  // namespace ZTK::allocation
