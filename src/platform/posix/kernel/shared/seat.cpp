#include "platform/posix/kernel/shared/seat.h"

#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/process_identity.h"
#include "platform/posix/kernel/shared/step.h"

namespace ZTKPosix::shared {

namespace {

// A member of the C library's list: the kernel reads next, the C library uses both. Addresses of
// members are those of next, and bit 0 of one says something about the member.
struct ListNode {
    ListNode* previous;
    robust_list next;
};
static_assert(offsetof(ListNode, next) == sizeof(void*));

// How the C libraries with a list of this shape place the word before the node's next.
constexpr long kWordBeforeNext = -32;

// Both mappings of a seat.
struct SeatPair {
    SeatPage page;
    ListNode node;
    std::byte unused[kPageBytes - sizeof(ListNode)];
};
static_assert(sizeof(SeatPair) == 2 * kPageBytes);
static_assert(static_cast<long>(offsetof(SeatPair, page.life)) -
                  static_cast<long>(offsetof(SeatPair, node.next)) ==
              kWordBeforeNext);

struct ThreadSeat {
    std::uint32_t index = kNoSeat;
    SeatPair* pair = nullptr;
};
constinit thread_local ThreadSeat current_seat{};

// Pairs that this process has mapped and no thread uses, by their index.
constinit std::atomic<SeatPair*> free_pairs[kMaxSeats]{};
// No pair was ever put back from here on.
constinit std::atomic<std::uint32_t> pairs_end{0};

robust_list_head* ListHead() noexcept {
    robust_list_head* head = nullptr;
    std::size_t bytes = 0;
    if (syscall(SYS_get_robust_list, 0, &head, &bytes) != 0 || bytes != sizeof *head ||
        head == nullptr || head->futex_offset != kWordBeforeNext) {
        return nullptr;
    }
    return head;
}

ListNode* NodeOf(robust_list* member) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(member) & ~std::uintptr_t{1};
    return reinterpret_cast<ListNode*>(address - offsetof(ListNode, next));
}

// The kernel may read the list at any instruction, if the thread is killed there: a node enters it
// and leaves it with one store.
void Link(ListNode& node, robust_list_head& head) noexcept {
    node.previous = reinterpret_cast<ListNode*>(&head.list);
    node.next.next = head.list.next;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    NodeOf(head.list.next)->previous = reinterpret_cast<ListNode*>(&node.next);
    head.list.next = &node.next;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void Unlink(ListNode& node) noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    NodeOf(node.next.next)->previous = node.previous;
    NodeOf(reinterpret_cast<robust_list*>(node.previous))->next.next = node.next.next;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

// Null when memory is short.
SeatPair* TakePair(std::uint32_t index) noexcept {
    if (SeatPair* kept = free_pairs[index].exchange(nullptr, std::memory_order_acquire)) {
        return kept;
    }
    SeatPage* const page = SeatAt(index);
    if (page == nullptr) {
        return nullptr;
    }
    void* const pair =
        mmap(nullptr, sizeof(SeatPair), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pair == MAP_FAILED) {
        return nullptr;
    }
    // A size of 0 leaves the old mapping where it is and makes a second one of the same page.
    if (mremap(page, 0, sizeof(SeatPage), MREMAP_MAYMOVE | MREMAP_FIXED, pair) != pair) {
        munmap(pair, sizeof(SeatPair));
        return nullptr;
    }
    return static_cast<SeatPair*>(pair);
}

void Raise(std::atomic<std::uint32_t>& most, std::uint32_t value) noexcept {
    std::uint32_t seen = most.load(std::memory_order_relaxed);
    while (seen < value && !most.compare_exchange_weak(seen, value)) {
    }
}

void PutPairBack(std::uint32_t index, SeatPair* pair) noexcept {
    SeatPair* none = nullptr;
    if (!free_pairs[index].compare_exchange_strong(none, pair, std::memory_order_release)) {
        munmap(pair, sizeof(SeatPair));
        return;
    }
    Raise(pairs_end, index + 1);
}

bool IsMarked(std::uint32_t life) noexcept {
    return (life & FUTEX_OWNER_DIED) != 0;
}

}  // namespace

bool CanTakeSeats() noexcept {
    return ListHead() != nullptr;
}

std::uint32_t CurrentSeat() noexcept {
    return current_seat.index;
}

bool TakeSeat() noexcept {
    if (current_seat.index != kNoSeat) {
        return true;
    }
    robust_list_head* const head = ListHead();
    const auto thread_id = static_cast<std::uint32_t>(gettid());
    for (std::uint32_t index = 0; head != nullptr && index < kMaxSeats; ++index) {
        SeatPage* const page = SeatAt(index);
        if (page == nullptr) {
            return false;
        }
        if (page->life.load(std::memory_order_relaxed) != 0) {
            continue;
        }
        SeatPair* const pair = TakePair(index);
        if (pair == nullptr) {
            return false;
        }
        Raise(table->seats_made, index + 1);
        // In the list first: a word that is the thread's is never without its node.
        Link(pair->node, *head);
        Step();
        std::uint32_t free = 0;
        if (page->life.compare_exchange_strong(free, thread_id, std::memory_order_acq_rel)) {
            Step();
            current_seat = {index, pair};
            return true;
        }
        Unlink(pair->node);
        PutPairBack(index, pair);
    }
    return false;
}

void LeaveSeat() noexcept {
    const ThreadSeat seat = current_seat;
    if (seat.index == kNoSeat) {
        return;
    }
    current_seat = {};
    seat.pair->page.life.store(0, std::memory_order_release);
    Step();
    Unlink(seat.pair->node);
    PutPairBack(seat.index, seat.pair);
}

// The C library has emptied the child's list.
void ForgetSeatInChild() noexcept {
    if (current_seat.index != kNoSeat) {
        PutPairBack(current_seat.index, current_seat.pair);
        current_seat = {};
    }
}

void FreeSeats() noexcept {
    LeaveSeat();
    const std::uint32_t end = pairs_end.exchange(0, std::memory_order_relaxed);
    for (std::uint32_t index = 0; index < end; ++index) {
        if (SeatPair* pair = free_pairs[index].exchange(nullptr, std::memory_order_acquire)) {
            munmap(pair, sizeof(SeatPair));
        }
    }
}

bool IsSeatTaken(std::uint32_t seat, std::uint32_t* watched) noexcept {
    SeatPage* const page = SeatAt(seat);
    if (page == nullptr) {
        // Memory is short, or there is no such seat. Where it cannot be told, nobody is robbed.
        return seat < kMaxSeats;
    }
    std::uint32_t life = page->life.load(std::memory_order_acquire);
    for (;;) {
        if (life == 0 || IsMarked(life)) {
            return false;
        }
        if (watched == nullptr || (life & FUTEX_WAITERS) != 0 ||
            page->life.compare_exchange_weak(life, life | FUTEX_WAITERS,
                                             std::memory_order_acq_rel)) {
            break;
        }
    }
    if (watched != nullptr) {
        *watched = life | FUTEX_WAITERS;
    }
    return true;
}

void ReclaimSeats() noexcept {
    const std::uint32_t count =
        std::min(table->seats_made.load(std::memory_order_relaxed), kMaxSeats);
    for (std::uint32_t seat = 0; seat < count; ++seat) {
        SeatPage* const page = SeatAt(seat);
        if (page != nullptr && IsMarked(page->life.load(std::memory_order_acquire))) {
            page->life.store(0, std::memory_order_release);
            Step();
        }
    }
}

}  // namespace ZTKPosix::shared
