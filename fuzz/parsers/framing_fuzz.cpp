// Fuzzes framing: chunks cut anywhere give the messages that a plain reading of the bytes gives.
#include <list>

#include "fuzz_input.h"

// A header of two bytes tells the lengths of the body and of the trailer. Both may be negative, as
// a broken peer announces them.
struct Message : ZTK::CSocketMsg {
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        if (GetRecvSize() >= 2) {
            *length = GetPacket()[0];
            *offset = 2;
            *trailer = GetPacket()[1];
        }
        return GetRecvSize() >= 2;
    }
};

struct Receiver : ZTK::CSocketMsgReceiver {
    ZTK::CSocketMsg* CreateMessage() override { return &messages.emplace_back(); }
    std::list<Message> messages;
};

// The size of the message at the start of a text; 0 while it is not complete.
static std::size_t SizeOfFirst(const std::string& text) {
    const int size = text.size() < 2 ? 0 : std::max(2 + text[0] + text[1], 0);
    return static_cast<std::size_t>(size) <= text.size() ? static_cast<std::size_t>(size) : 0;
}

void Run(FuzzInput& input) {
    Receiver receiver;
    const bool keep = input.Byte() % 2 != 0;
    receiver.SetKeepRemainder(keep);
    for (std::string pending; !input.rest.empty();) {
        std::size_t earlier = keep ? 0 : pending.size();
        std::string chunk(input.Take(input.Byte() + std::size_t{1}));
        pending += chunk;
        receiver.AddMessage(chunk.data(), static_cast<int>(chunk.size()));
        while (ZTK::CSocketMsg* const message = receiver.Pop()) {
            const std::string first = pending.substr(0, SizeOfFirst(pending));
            const auto size = static_cast<std::size_t>(message->GetPacketSize());
            Require(input.refuses || first == std::string_view(message->GetPacket(), size));
            pending.erase(0, size);
            // Behind a message begun in an earlier chunk, as many bytes are dropped as came then.
            pending.resize(pending.size() - std::min(pending.size(), earlier));
            earlier = 0;
            receiver.PushPool(message);
        }
        Require(input.refuses || SizeOfFirst(pending) == 0);
    }
}
