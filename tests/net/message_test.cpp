// Messages and their receiver: what is framed, which hooks are asked, what is dropped and what is
// kept, also when memory is short.
#include <gtest/gtest.h>
#include <algorithm>

#include <climits>
#include <cstdlib>
#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>

#include "support/faults.h"
#include "support/text.h"
#include "ztk/ztk.h"

namespace {

std::string PacketOf(ZTK::CSocketMsg& message) {
    return std::string(message.GetPacket(), static_cast<std::size_t>(message.GetRecvSize()));
}

using Lengths = std::tuple<int, int, int>;  // of body, header and trailer

// A readable wire format: "3:abc;" is a body of three bytes with its header and a trailer of one.
// With fixed lengths, any header gives those.
struct TextMessage : ZTK::CSocketMsg {
    explicit TextMessage(std::string* its_story) : story(its_story) {}
    TextMessage(const TextMessage&) = default;
    ~TextMessage() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        *story += "h" + std::to_string(GetRecvSize()) + " ";
        if (on_parse) {
            on_parse(*this);
        }
        const std::size_t colon = PacketOf(*this).find(':');
        if (fixed == nullptr && (colon == std::string::npos || GetRecvSize() < patience)) {
            return false;
        }
        std::tie(*length, *offset, *trailer) =
            fixed != nullptr ? *fixed : Lengths(std::atoi(GetPacket()), colon + 1, 1);
        return true;
    }

    std::string* story;
    int patience = 0;
    const Lengths* fixed = nullptr;
    std::function<void(TextMessage&)> on_parse;
};

// Tells a story: c a message was made, h<n> a header was asked for with n bytes there, v<n> and
// p<n> the two checks, + or - what AddMessage returned.
struct TextReceiver : ZTK::CSocketMsgReceiver {
    ZTK::CSocketMsg* CreateMessage() override {
        story += "c ";
        return made.size() == most ? nullptr : &made.emplace_back(prototype);
    }
    void AssertPartialMsg(ZTK::CSocketMsg* message) override {
        story += "p" + std::to_string(message->GetRecvSize()) + " ";
    }
    void AssertValidMsg(ZTK::CSocketMsg* message) override {
        story += "v" + std::to_string(message->GetRecvSize()) + " ";
        if (on_valid) {
            on_valid();
        }
    }
    bool Feed(std::string chunk) {
        const bool any = AddMessage(chunk.data(), static_cast<int>(chunk.size()));
        story += any ? "+ " : "- ";
        return any;
    }
    std::string Drain() {
        std::string packets;
        while (ZTK::CSocketMsg* message = Pop()) {
            packets += PacketOf(*message) + " ";
            PushPool(message);
        }
        return packets;
    }

    std::string story;
    TextMessage prototype{&story};
    std::deque<TextMessage> made;
    std::size_t most = SIZE_MAX;
    std::function<void()> on_valid;
};

struct LoggingOn {
    explicit LoggingOn(int mode) { ZTK::EnableLogging(true, mode); }
    ~LoggingOn() { ZTK::EnableLogging(false, 0); }
};

TEST(Message, StreamsAreCutIntoPackets) {
    const LoggingOn logging(0);
    const struct {
        bool keep;
        int patience;
        const char *chunks, *story;  // which ends with the packets
    } cases[] = {
        {false, 0, "3:abc;2:de;", "c h11 v6 c h5 v5 + 3:abc; 2:de; "},
        {false, 0, "3:abc;2:d", "c h9 v6 c h3 p3 + 3:abc; "},
        {false, 0, "3:ab|c;", "c h4 p4 - v6 + 3:abc; "},
        {false, 0, "1|0|:0123456789;", "c h1 p1 - h2 p2 - h14 v14 + 10:0123456789; "},
        // Of what lies behind a message that was begun earlier, nothing, a part or all is kept.
        {false, 0, "3:a|bc;2:|1:x;", "c h3 p3 - v6 + c h4 v4 + 3:abc; 1:x; "},
        {false, 0, "3:a|bc;2:de;|de;", "c h3 p3 - v6 c h2 p2 + v5 + 3:abc; 2:de; "},
        {true, 0, "3:a|bc;2:de;1:", "c h3 p3 - v6 c h7 v5 c h2 p2 + 3:abc; 2:de; "},
        // An empty body is asked for until it is whole.
        {false, 0, "0:|;", "c h2 p2 - h3 v3 + 0:; "},
        // The header is understood after the packet's end.
        {false, 9, "3:abc;2:|de;1:x;1:y;", "c h8 p8 - h19 v6 c h5 p5 + 3:abc; "},
        {true, 9, "3:abc;2:|de;1:x;1:y;", "c h8 p8 - h19 v6 c h13 v5 c h8 p8 + 3:abc; 2:de; "},
    };
    for (const auto& row : cases) {
        TextReceiver receiver;
        receiver.prototype.patience = row.patience;
        receiver.SetKeepRemainder(row.keep);
        std::istringstream chunks(row.chunks);
        for (std::string chunk; std::getline(chunks, chunk, '|');) {
            receiver.Feed(chunk);
        }
        EXPECT_EQ(receiver.story + receiver.Drain(), row.story) << row.chunks;
    }
}

TEST(Message, BadChunksAndAHostWithoutMessagesLoseTheChunkOnly) {
    TextReceiver receiver;
    char byte = '1';
    EXPECT_FALSE(receiver.AddMessage(nullptr, 1));
    EXPECT_FALSE(receiver.AddMessage(&byte, 0));
    EXPECT_FALSE(receiver.AddMessage(&byte, INT_MIN));
    EXPECT_EQ(receiver.Push(nullptr), 0u);
    EXPECT_EQ(receiver.PushPool(nullptr), 0u);
    EXPECT_EQ(receiver.Pop(), nullptr);
    EXPECT_EQ(receiver.story, "");
    receiver.most = 0;
    receiver.Feed("1:a;");
    receiver.most = 1;
    receiver.Feed("1:b;2:c");
    receiver.Feed(";");
    EXPECT_EQ(receiver.story, "c - c h7 v4 c + c - ") << "parts are checked with logging on only";
    EXPECT_EQ(receiver.Drain(), "1:b; ");
}

TEST(Message, SpentMessagesAreReusedOldestFirstWithTheirBlocks) {
    TextReceiver receiver;
    receiver.Feed("9:123456789;8:12345678;");
    EXPECT_EQ(receiver.GetQueueSize(), 2u);
    ZTK::CSocketMsg* first = receiver.Pop();
    ZTK::CSocketMsg* second = receiver.Pop();
    const char* block = first->GetPacket();
    EXPECT_EQ(receiver.PushPool(first), 1u);
    EXPECT_EQ(receiver.PushPool(second), 2u);
    EXPECT_EQ(first->GetRecvSize(), 12) << "reset only when it is taken";
    receiver.story.clear();
    receiver.Feed("1:a;1:b;1:c;");
    EXPECT_EQ(receiver.story, "h12 v4 h8 v4 c h4 v4 + ");
    EXPECT_EQ(receiver.Pop(), first);
    EXPECT_EQ(receiver.Pop(), second);
    EXPECT_EQ(first->GetPacket(), block);
    EXPECT_STREQ(first->GetPacket(), "1:a;") << "a zero byte follows the packet";
}

TEST(Message, ManyAreTakenAndGivenBackAtOnceInOrder) {
    TextReceiver receiver;
    ZTK::CSocketMsg* messages[65];
    std::size_t fed = 10;
    std::size_t taken = 10;
    // How many arrive, and how many are asked for then: the ring wraps round, and grows while it
    // does.
    constexpr std::size_t kRows[][2] = {{0, 3}, {5, 0}, {0, 2}, {12, 9}, {11, 4}, {40, 64}, {1, 1}};
    for (const auto& [arrive, most] : kRows) {
        for (const std::size_t end = fed + arrive; fed < end; ++fed)
            receiver.Feed("2:" + std::to_string(fed) + ";");
        const std::size_t count = receiver.Pop(messages, most);
        ASSERT_EQ(count, std::min(most, fed - taken)) << arrive << ' ' << most;
        for (std::size_t i = 0; i < count; ++i)
            EXPECT_EQ(PacketOf(*messages[i]), "2:" + std::to_string(taken++) + ";");
        messages[count] = nullptr;
        EXPECT_TRUE(receiver.PushPool(messages, count + 1));
    }
    EXPECT_EQ(receiver.made.size(), 53u) << "as many as there were at once";
    EXPECT_EQ(receiver.Pop(nullptr, 1), 0u);
    EXPECT_TRUE(receiver.PushPool(nullptr, 0));
    EXPECT_FALSE(receiver.PushPool(nullptr, 1));
}

TEST(Message, LengthsFromThePeerAreAddedWithCare) {
    const struct {
        Lengths lengths;
        int packet_size;
        bool complete_at_8, has_body;
    } cases[] = {
        {{4, 2, 2}, 8, true, true},
        {{0, 4, 0}, 4, true, false},
        {{4, 0, 4}, 8, true, false},
        {{9, 4, -5}, 8, true, true},
        {{4, 200, -196}, 8, true, true},
        {{4, 4, 1}, 9, false, true},
        {{-1, -1, 0}, -2, false, false},
        {{4, -4, 0}, 0, false, false},
        {{INT_MAX, 1, 0}, INT_MAX, false, true},
        {{INT_MAX, INT_MAX, INT_MAX}, INT_MAX, false, true},
        {{INT_MIN, -4, 0}, INT_MIN, false, false},
        {{1, 8, INT_MIN}, INT_MIN + 9, false, true},
    };
    for (const auto& row : cases) {
        for (const int mode : {0, 1}) {
            SCOPED_TRACE("row " + std::to_string(&row - cases));
            const LoggingOn logging(mode);
            TextReceiver receiver;
            receiver.prototype.fixed = &row.lengths;
            receiver.most = 1;
            EXPECT_EQ(receiver.Feed("12345678"), row.complete_at_8);
            TextMessage& message = receiver.made.front();
            EXPECT_EQ(message.GetPacketSize(), row.packet_size);
            EXPECT_EQ(message.GetMsg() != nullptr, row.has_body);
            EXPECT_EQ(message.GetRecvSize(), row.complete_at_8 ? row.packet_size : 8);
            receiver.Feed("9");
            EXPECT_EQ(PacketOf(message), row.complete_at_8 ? PacketOf(message) : "123456789");
        }
    }
}

TEST(Message, AddTellsWhenThePacketIsThere) {
    std::string story;
    TextMessage message(&story);
    char data[] = "12:abcdefghijkl;tail";
    EXPECT_EQ(message.GetPacket(), nullptr);
    EXPECT_EQ(message.GetPacketSize(), -2);
    EXPECT_EQ(message.Add(nullptr, 1), -1);
    EXPECT_EQ(message.Add(data, 0), -1);
    for (int i = 0; i < 15; ++i) {
        EXPECT_EQ(message.Add(data + i, 1), -1);
    }
    EXPECT_EQ(message.Add(data + 15, 5), 16);
    EXPECT_EQ(story, "h1 h2 h3 ");
    EXPECT_EQ(message.GetRecvSize(), 20) << "bytes behind the packet stay";
    EXPECT_EQ(std::string(message.GetMsg(), 12), "abcdefghijkl");
    message.Reset();
    EXPECT_EQ(message.GetPacketSize(), -2);
    EXPECT_EQ(message.GetMsg(), nullptr);
    const Lengths none = {-1, -1, 0};
    message.fixed = &none;
    EXPECT_EQ(message.Add(data, 1), -2) << "the sum comes back as it is";
}

TEST(Message, HeaderHookMayMeddle) {
    TextReceiver receiver;
    receiver.prototype.on_parse = [](TextMessage& message) {
        char extra[] = "!";
        message.Add(extra, message.GetRecvSize() == 13);
    };
    receiver.Feed("1:a;2:bc;1:d;");
    EXPECT_EQ(receiver.Drain(), "1:a; 2:bc; 1:d; ") << "bytes it adds count for itself only";

    TextReceiver forgetful;
    forgetful.prototype.on_parse = [](TextMessage& message) { message.Reset(); };
    forgetful.Feed("4:lost");
    forgetful.made.back().on_parse = nullptr;
    forgetful.Feed("1:x;");
    EXPECT_EQ(forgetful.Drain(), "1:x; ");

    TextReceiver copied;
    alignas(TextMessage) unsigned char place[sizeof(TextMessage)];
    TextMessage* copy = nullptr;  // never destroyed: the block belongs to its source
    copied.prototype.on_parse = [&](TextMessage& message) {
        copy = new (place) TextMessage(message);
    };
    copied.Feed("3:ab");
    EXPECT_EQ(PacketOf(*copy), "3:ab");
    EXPECT_EQ(copy->GetPacket(), copied.made.front().GetPacket());
}

TEST(Message, CheckHookMayCallTheReceiver) {
    TextReceiver receiver;
    std::string taken;
    receiver.on_valid = [&] {
        taken += receiver.Drain();
        taken += std::to_string(receiver.GetQueueSize()) + " ";
    };
    receiver.SetKeepRemainder(true);
    receiver.prototype.patience = 6;
    receiver.Feed("1:a;");
    receiver.Feed("1:b;12:abcdefghijkl;");
    EXPECT_EQ(taken, "0 1:a; 0 1:b; 0 ") << "each is queued after its check";
    EXPECT_EQ(receiver.Drain(), "12:abcdefghijkl; ");
}

TEST(Message, LoggedTextEndsWithItsPacket) {
    const char* const expected[] = {"recv: 333A6162633B\nrecv: 323A64653B\nrecv: 303A3B\n",
                                    "abc;de;"};
    for (const int mode : {0, 1}) {
        ASSERT_TRUE(ZTKOpenTraceLog(L"message_test.log"));
        {
            const LoggingOn logging(mode);
            TextReceiver().Feed("3:abc;2:de;0:;9:partial");
        }
        ZTKCloseTraceLog();
        EXPECT_EQ(ztk_test::TakeTraceLog("message_test.log"), expected[mode]);
    }
}

TEST(Message, ConsumerOnAnotherThreadGetsAllInOrder) {
    constexpr int kMessages = 20000;
    TextReceiver receiver;
    receiver.SetKeepRemainder(true);
    HANDLE arrived = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::thread consumer([&] {
        for (int next = 0; next < kMessages;) {
            ASSERT_EQ(WaitForSingleObject(arrived, 10000), DWORD{WAIT_OBJECT_0}) << next;
            while (ZTK::CSocketMsg* message = receiver.Pop()) {
                EXPECT_EQ(std::atoi(message->GetMsg()), next++);
                receiver.PushPool(message);
            }
        }
    });
    std::string pending;
    for (int i = 0; i < kMessages; ++i) {
        const std::string body = std::to_string(i);
        pending += std::to_string(body.size()) + ":" + body + ";";
        if (pending.size() > 8000 || i + 1 == kMessages) {
            receiver.LockQueue();
            EXPECT_TRUE(receiver.Feed(pending));
            EXPECT_GT(receiver.GetQueueSize(), 0u) << "nobody drains while we hold the lock";
            receiver.UnlockQueue();
            SetEvent(arrived);
            pending.clear();
        }
    }
    consumer.join();
    CloseHandle(arrived);
}

// --- When memory is short

// Refuses each request of the middle chunk in turn. Whatever is refused, the chunk may be lost, but
// what came before it stays: feeding the rest again completes it.
TEST(MessageFault, RefusedMemoryLosesNothingThatWasReceived) {
    const std::string some(20, 'x'), rest(61, 'x');
    const struct {
        int patience;
        std::string before, during, after, packets;
    } cases[] = {
        {0, "", "3:abc;", "3:abc;", "3:abc; "},
        {0, "", "3:a", "3:abc;", "3:abc; "},
        {0, "16:abc", "defghijklmnop;", "defghijklmnop;", "16:abcdefghijklmnop; "},
        {0, "64:abc", some, rest + ";", "64:abc" + rest + "; "},
        // Bytes behind a late header.
        {9, "2:ab;2:c", "d;2:e", "d;2:ef;2:gh;", "2:ab; 2:cd; 2:ef; "},
    };
    for (const auto& row : cases) {
        bool refused = true;
        for (int n = 0; refused; ++n) {
            SCOPED_TRACE(testing::Message() << "row " << &row - cases << ", request " << n);
            TextReceiver receiver;
            receiver.SetKeepRemainder(true);
            receiver.prototype.patience = row.patience;
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
                receiver.Feed("1:z;");  // a queue slot was refused: the message waits whole
                EXPECT_NE(receiver.GetQueueSize(), 0u);
            }
        }
    }
}

TEST(MessageFault, ACopyFillsTheRoomOfTheBlockThatItShares) {
    std::string story;
    TextMessage source(&story);
    char data[] = "16:abcdefghijklmnop;";
    source.Add(data, 11);
    source.Add(data + 11, 1);  // room for the whole packet
    alignas(TextMessage) unsigned char place[sizeof(TextMessage)];
    auto* const copy =
        new (place) TextMessage(source);  // never destroyed: the block is its source's
    ztk_test::FailAlways(0);
    EXPECT_EQ(copy->Add(data + 12, 8), 20);
    ztk_test::StopFailing();
    EXPECT_EQ(PacketOf(*copy), data);
}

TEST(MessageFault, QueueAndPoolStayAsTheyAreWithoutMemory) {
    TextReceiver receiver;
    TextMessage message(&receiver.story);
    ztk_test::FailAlways(0);
    EXPECT_EQ(receiver.Push(&message), 0u);
    EXPECT_EQ(receiver.PushPool(&message), 0u);
    ZTK::CSocketMsg* messages[16] = {&message};
    EXPECT_FALSE(receiver.PushPool(messages, 1));
    ztk_test::StopFailing();
    for (std::uint64_t i = 1; i <= 16; ++i)
        EXPECT_EQ(receiver.Push(&message), i);
    ztk_test::FailAlways(0);
    EXPECT_EQ(receiver.Push(&message), 16u) << "the ring could not grow";
    char data[] = "0:;";
    EXPECT_EQ(message.Add(data, 3), -1);
    EXPECT_EQ(message.GetRecvSize(), 0);
    ztk_test::StopFailing();
    EXPECT_EQ(message.Add(data, 3), 3);
    EXPECT_EQ(receiver.Pop(messages, 16), 16u);
    EXPECT_EQ(std::count(messages, messages + 16, &message), 16);
}

}  // namespace
