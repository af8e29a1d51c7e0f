// Framing when memory runs out: nothing that was received before is lost, and nothing leaks.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>

#include "support/faults.h"
#include "ztk/ztk.h"

namespace {

// One byte of body length, then the body.
class Message : public ZTK::CSocketMsg {
  public:
    ~Message() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        if (GetRecvSize() < late)
            return false;
        *length = static_cast<unsigned char>(GetPacket()[0]);
        *offset = 1;
        *trailer = 0;
        return true;
    }
    int late = 1;
};

class Receiver : public ZTK::CSocketMsgReceiver {
  public:
    ZTK::CSocketMsg* CreateMessage() override {
        if (fail_create)
            return nullptr;
        made.push_back(std::make_unique<Message>());
        made.back()->late = late;
        return made.back().get();
    }
    bool Feed(std::string chunk) {
        return AddMessage(chunk.data(), static_cast<int>(chunk.size()));
    }
    std::string Drain() {
        std::string packets;
        while (ZTK::CSocketMsg* message = Pop())
            packets += std::string(message->GetPacket() + 1,
                                   static_cast<std::size_t>(message->GetMsgLength())) +
                       " ";
        return packets;
    }

    int late = 1;
    bool fail_create = false;
    std::deque<std::unique_ptr<Message>> made;
};

struct FaultCase {
    const char* reason;
    int late;
    std::string before, during, after;
    const char* packets;
};

// Refuses each request of the middle chunk in turn. Whatever is refused, the chunk may be lost, but
// what came before it stays: feeding the rest again completes it.
TEST(MessageFault, RefusedMemoryLosesNothingThatWasReceived) {
    const FaultCase cases[] = {
        {"a first packet", 1, "", "\3abc", "\3abc", "abc "},
        {"a first part", 1, "", "\3a", "\3abc", "abc "},
        {"the rest of a packet", 1, "\20abc", "defghijklmnop", "defghijklmnop",
         "abcdefghijklmnop "},
        {"growth of a part", 1, "\100abc", std::string(20, 'x'), std::string(61, 'x'), nullptr},
        {"bytes behind a late header", 6, "\2ab\2c", "d\2e", "d\2ef\2gh", "ab cd ef "},
    };
    for (const FaultCase& row : cases) {
        for (int refused = 0; refused < 8; ++refused) {
            SCOPED_TRACE(testing::Message() << row.reason << ", request " << refused);
            const auto live = ztk_test::LiveBlocks();
            {
                Receiver receiver;
                receiver.SetKeepRemainder(true);
                receiver.late = row.late;
                receiver.Feed(row.before);
                const auto received =
                    receiver.made.empty() ? 0 : receiver.made.front()->GetRecvSize();
                ztk_test::FailAlways(refused);
                const auto requests = ztk_test::Requests();
                receiver.Feed(row.during);
                const bool enough = ztk_test::Requests() - requests <= refused;
                ztk_test::StopFailing();
                if (enough)
                    break;
                if (receiver.GetQueueSize() > 0)
                    continue;  // some of it went through, the rest was lost
                if (receiver.made.front()->GetRecvSize() == received) {
                    receiver.Feed(row.after);
                    EXPECT_EQ(receiver.Drain(), row.packets != nullptr
                                                    ? row.packets
                                                    : "abc" + std::string(61, 'x') + " ");
                } else {
                    receiver.Feed("\1z");  // a queue slot was refused: the message waits whole
                    EXPECT_NE(receiver.GetQueueSize(), 0u);
                }
            }
            EXPECT_EQ(ztk_test::LiveBlocks(), live);
        }
    }
}

TEST(MessageFault, QueueAndPoolStayAsTheyAreWithoutMemory) {
    Receiver receiver;
    Message message;
    ztk_test::FailAlways(0);
    EXPECT_EQ(receiver.Push(&message), 0u);
    EXPECT_EQ(receiver.PushPool(&message), 0u);
    ztk_test::StopFailing();
    for (std::uint64_t i = 1; i <= 16; ++i)
        EXPECT_EQ(receiver.Push(&message), i);
    ztk_test::FailAlways(0);
    EXPECT_EQ(receiver.Push(&message), 16u) << "the ring could not grow";
    char data[] = "\1a";
    EXPECT_EQ(message.Add(data, 2), -1);
    EXPECT_EQ(message.GetRecvSize(), 0);
    ztk_test::StopFailing();
    EXPECT_EQ(message.Add(data, 2), 2);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(receiver.Pop(), &message);
}

TEST(MessageFault, HostThatMakesNoMessageLosesTheChunkOnly) {
    Receiver receiver;
    receiver.fail_create = true;
    EXPECT_FALSE(receiver.Feed("\1a"));
    receiver.fail_create = false;
    EXPECT_TRUE(receiver.Feed("\1b"));
    EXPECT_EQ(receiver.Drain(), "b ");
}

}  // namespace
