#include "injector.h"

#include <dlfcn.h>
#include <linux/futex.h>
#include <netdb.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

// The C library's own names for its allocator.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);
}

namespace ztk_faults {

const Call kRequest = {"malloc", 0, false, nullptr};

namespace {

std::atomic<const Call*> failing{nullptr};
std::atomic<long> calls_left{0}, live_blocks{0};
std::atomic<int> failure{0};

// Whether the code that calls is in an object whose path ends like this, give or take a version.
bool Calls(const void* caller, const char* object) {
    Dl_info place{};
    return dladdr(caller, &place) != 0 && std::strstr(place.dli_fname, object) != nullptr;
}

bool IsTurn() {
    return calls_left.fetch_sub(1) == 0;
}

// All arguments are whole numbers or pointers, which travel in the same places whatever their types
// are, so one form serves every call; most have fewer.
using Function = long (*)(long, long, long, long, long, long, long);
struct Arguments {
    long a, b, c, d, e, f, g;
};

long Perform(const Call& call, Function original, const void* caller, Arguments x) {
    constexpr long kFutexWaitv = 449;  // whose name older headers lack
    // Of system calls by number only waiting is failed: nobody could survive that waking a thread
    // fails, and it does not.
    const bool applies = std::strcmp(call.name, "syscall") != 0 || x.a == kFutexWaitv ||
                         (x.a == SYS_futex && (x.c & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET);
    if (failing.load() != &call || !applies || !Calls(caller, "/libZtkAgentLib") || !IsTurn()) {
        return original(x.a, x.b, x.c, x.d, x.e, x.f, x.g);
    }
    if (call.effective == -1 || call.effective == failure) {
        original(x.a, x.b, x.c, x.d, x.e, x.f, x.g);
    }
    errno = failure;
    return call.gives_error ? failure.load() : -1;
}

bool RefusesMemory(const void* caller) {
    const bool refuses = failing.load() == &kRequest && !Calls(caller, "/bin/faults") && IsTurn();
    errno = refuses ? ENOMEM : errno;
    return refuses;
}

void* Counted(void* block) {
    live_blocks.fetch_add(block != nullptr ? 1 : 0);
    return block;
}

}  // namespace

#include "system_calls.inc"

// Defines the function under its own name for the linker, and under another for the compiler, which
// knows it with other parameters.
#define ZTK_DEFINE(name, effective, gives_error, ...)                                              \
    constexpr int name##_errors[] = {__VA_ARGS__, 0};                                              \
    constexpr Call name##_call = {#name, effective, gives_error, name##_errors};                   \
    extern "C" long Faulty_##name(long, long, long, long, long, long, long) asm(#name);            \
    long Faulty_##name(long a, long b, long c, long d, long e, long f, long g) {                   \
        static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, #name));          \
        return Perform(name##_call, original, __builtin_return_address(0), {a, b, c, d, e, f, g}); \
    }
#define ZTK_LIST(name, ...) &name##_call,

ZTK_CALLS(ZTK_DEFINE)
const Call* const kCalls[kCallCount] = {ZTK_CALLS(ZTK_LIST)};

void FailNth(const Call& call, long nth, int error) noexcept {
    failure = error;
    calls_left = nth;
    failing = &call;
}

bool StopFailing() noexcept {
    failing = nullptr;
    return calls_left < 0;
}

long LiveBlocks() noexcept {
    return live_blocks;
}

extern "C" {

void* malloc(std::size_t bytes) noexcept {
    return RefusesMemory(__builtin_return_address(0)) ? nullptr : Counted(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) noexcept {
    return RefusesMemory(__builtin_return_address(0)) ? nullptr
                                                      : Counted(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) noexcept {
    if (RefusesMemory(__builtin_return_address(0))) {
        return nullptr;
    }
    void* const moved = __libc_realloc(block, bytes);
    return block == nullptr ? Counted(moved) : moved;
}

void free(void* block) noexcept {
    live_blocks.fetch_sub(block != nullptr ? 1 : 0);
    __libc_free(block);
}

}  // extern "C"
}  // namespace ztk_faults
