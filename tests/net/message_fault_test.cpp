// Framing when memory runs out: nothing that was received before is lost, and nothing leaks.
#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "support/faults.h"
#include "ztk/ztk.h"

namespace {

// One byte of body length, then the body.
struct Message : ZTK::CSocketMsg {
    explicit Message(int its_late = 1) : late(its_late) {}
    ~Message() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        *length = GetRecvSize() < late ? -1 : GetPacket()[0];
        *offset = 1;
        *trailer = 0;
        return GetRecvSize() >= late;
    }
    int late;
};

struct Receiver : ZTK::CSocketMsgReceiver {
    ZTK::CSocketMsg* CreateMessage() override { return &made.emplace_back(late); }
    void Feed(std::string chunk) { AddMessage(chunk.data(), static_cast<int>(chunk.size())); }
    std::string Drain() {
        std::string packets;
        while (ZTK::CSocketMsg* message = Pop()) {
            packets.append(message->GetMsg(), static_cast<std::size_t>(message->GetMsgLength()));
            packets += " ";
        }
        return packets;
    }
    int late = 1;
    std::deque<Message> made;
};

// Refuses each request of the middle chunk in turn. Whatever is refused, the chunk may be lost, but
// what came before it stays: feeding the rest again completes it.
TEST(MessageFault, RefusedMemoryLosesNothingThatWasReceived) {
    const std::string some(20, 'x'), rest(61, 'x');
    const struct {
        int late;
        std::string before, during, after, packets;
    } cases[] = {
        {1, "", "\3abc", "\3abc", "abc "},
        {1, "", "\3a", "\3abc", "abc "},
        {1, "\20abc", "defghijklmnop", "defghijklmnop", "abcdefghijklmnop "},
        {1, "\100abc", some, rest, "abc" + rest + " "},
        {6, "\2ab\2c", "d\2e", "d\2ef\2gh", "ab cd ef "},  // bytes behind a late header
    };
    for (const auto& row : cases) {
        bool refused = true;
        for (int n = 0; refused; ++n) {
            SCOPED_TRACE(testing::Message() << "row " << &row - cases << ", request " << n);
            const auto live = ztk_test::LiveBlocks();
            {
                Receiver receiver;
                receiver.SetKeepRemainder(true);
                receiver.late = row.late;
                receiver.Feed(row.before);
                const int received = receiver.made.empty() ? 0 : receiver.made[0].GetRecvSize();
                const auto requests = ztk_test::Requests();
                ztk_test::FailAlways(n);
                receiver.Feed(row.during);
                ztk_test::StopFailing();
                refused = ztk_test::Requests() - requests > n;
                if (refused && receiver.made[0].GetRecvSize() == received) {
                    receiver.Feed(row.after);
                    EXPECT_EQ(receiver.Drain(), row.packets);
                } else if (refused && receiver.GetQueueSize() == 0) {
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

}  // namespace
