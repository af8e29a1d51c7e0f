// Who called whom in a stopped thread, by the frame pointers of x86 processors.
//
// A function begins with "push bp; mov bp, sp". From then on the frame pointer is the address of
// its caller's frame pointer, and the return address lies behind that:
//
//     frame pointer -> caller's frame pointer -> ...
//                      return address
//
// Compilers for 64-bit Windows put the frame pointer elsewhere in a function that saves further
// registers, as one with objects to destroy does: the callers of such a function are left out, or
// the chain ends there. To follow it takes the unwind tables of the modules.
#include "agent/backtrace.h"

#include <cstring>

namespace example {

namespace {

constexpr std::size_t kMostFrames = 64;

// The same three registers have other names on 32 bits.
struct Place {
    Address instruction = 0;
    Address stack = 0;
    Address frame = 0;
    std::size_t word = 8;  // bytes of an address
};

bool FindPlace(Target& target, ThreadId thread, Place* place, std::string* problem) {
    std::vector<Register> registers;
    if (!target.Registers(thread, &registers, problem)) {
        return false;
    }
    for (const Register& one : registers) {
        if (one.name == "rip" || one.name == "eip") {
            place->instruction = one.value;
            place->word = one.name == "rip" ? 8 : 4;
        } else if (one.name == "rsp" || one.name == "esp") {
            place->stack = one.value;
        } else if (one.name == "rbp" || one.name == "ebp") {
            place->frame = one.value;
        }
    }
    return true;
}

bool ReadWord(Target& target, Address from, std::size_t bytes, Address* value) {
    unsigned char word[8] = {};
    std::string problem;  // the chain ends there, whatever it is
    if (target.ReadMemory(from, word, bytes, &problem) != bytes) {
        return false;
    }
    *value = 0;
    for (std::size_t i = bytes; i-- > 0;) {
        *value = *value << 8 | word[i];
    }
    return true;
}

// The instructions at the beginning of a function, in the ways that compilers write them.
constexpr unsigned char kPush = 0x55;                                            // push bp
constexpr unsigned char kReturn = 0xC3;                                          // ret
constexpr unsigned char kMark[] = {0xF3, 0x0F, 0x1E, 0xFA};                      // endbr64
constexpr unsigned char kMoves[][3] = {{0x48, 0x89, 0xE5}, {0x48, 0x8B, 0xEC}};  // mov rbp, rsp
constexpr unsigned char kNarrowMoves[][2] = {{0x89, 0xE5}, {0x8B, 0xEC}};        // mov ebp, esp

bool IsMove(const unsigned char* code, std::size_t word) {
    for (std::size_t i = 0; i < 2; ++i) {
        if (word == 8 ? std::memcmp(code, kMoves[i], 3) == 0
                      : std::memcmp(code, kNarrowMoves[i], 2) == 0) {
            return true;
        }
    }
    return false;
}

class Modules {
  public:
    explicit Modules(Target& target) {
        std::string problem;  // without modules the chain ends at once
        (void)target.Modules(&modules_, &problem);
    }

    [[nodiscard]] bool Contain(Address address) const {
        for (const Module& module : modules_) {
            if (address >= module.start && address < module.end) {
                return true;
            }
        }
        return false;
    }

  private:
    std::vector<Module> modules_;
};

// Where a function has not made its frame yet, or has given it up, its return address is the first
// or the second word of the stack. False where there is a frame to look into.
bool FindFramelessReturn(Target& target, const Modules& modules, const Place& place, Address* at) {
    unsigned char code[8] = {};
    unsigned char before = 0;
    std::string problem;  // what cannot be read is no beginning
    (void)target.ReadMemory(place.instruction, code, sizeof code, &problem);
    (void)target.ReadMemory(place.instruction - 1, &before, 1, &problem);
    if (before == kPush && IsMove(code, place.word)) {
        *at = place.stack + place.word;
        return true;
    }
    const unsigned char* first = std::memcmp(code, kMark, sizeof kMark) == 0 ? code + 4 : code;
    const bool begins = *first == kPush && (first != code || IsMove(code + 1, place.word));
    const std::string symbol = target.Describe(place.instruction);
    const bool is_function = !symbol.empty() && symbol.find("+0x") == std::string::npos;
    *at = place.stack;
    const bool is_nowhere = !modules.Contain(place.instruction);  // a call of a bad pointer
    return begins || is_function || is_nowhere || code[0] == kReturn;
}

}  // namespace

bool Backtrace(Target& target, ThreadId thread, std::vector<Address>* addresses,
               std::string* problem) {
    Place place;
    if (!FindPlace(target, thread, &place, problem)) {
        return false;
    }
    const Modules modules(target);
    *addresses = {place.instruction};
    Address at = 0;
    Address caller = 0;
    if (FindFramelessReturn(target, modules, place, &at) &&
        ReadWord(target, at, place.word, &caller) && modules.Contain(caller)) {
        addresses->push_back(caller);
    }
    // The stack grows down, so each caller's frame lies above. What does not is no chain of frames,
    // but whatever else the register was used for.
    Address lowest = place.stack;
    Address frame = place.frame;
    while (addresses->size() < kMostFrames && frame >= lowest && frame % place.word == 0 &&
           ReadWord(target, frame + place.word, place.word, &caller) && modules.Contain(caller)) {
        addresses->push_back(caller);
        lowest = frame + 1;
        if (!ReadWord(target, frame, place.word, &frame)) {
            break;
        }
    }
    return true;
}

}  // namespace example
