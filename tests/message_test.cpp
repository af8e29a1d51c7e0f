// Messages and their receiver: what is framed, which hooks are asked, what is dropped and what is
// kept.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ztk/ztk.h"

namespace {

// A readable wire format: "3:abc;" is a body of three bytes with its header and a trailer of one.
class TextMessage : public ZTK::CSocketMsg {
  public:
    explicit TextMessage(std::string* story, int patience = 0)
        : story_(story), patience_(patience) {}
    ~TextMessage() override = default;

    bool ParseHeader(int* length, int* offset, int* trailer) override {
        *story_ += "h" + std::to_string(GetRecvSize()) + " ";
        if (on_parse)
            on_parse(*this);
        const char* end = GetPacket() + GetRecvSize();
        const char* colon = std::find(GetPacket(), GetPacket() + GetRecvSize(), ':');
        if (colon == end || GetRecvSize() < patience_)
            return false;
        *length = std::atoi(GetPacket());
        *offset = static_cast<int>(colon - GetPacket()) + 1;
        *trailer = 1;
        return true;
    }

    std::function<void(TextMessage&)> on_parse;

  private:
    std::string* story_;
    int patience_;
};

std::string PacketOf(ZTK::CSocketMsg& message) {
    return std::string(message.GetPacket(), static_cast<std::size_t>(message.GetRecvSize()));
}

// Tells a story: c a message was made, h<n> a header was asked for with n bytes there, v<n> and
// p<n> the two checks, + or - what AddMessage returned.
class TextReceiver : public ZTK::CSocketMsgReceiver {
  public:
    ZTK::CSocketMsg* CreateMessage() override {
        story += "c ";
        made.push_back(std::make_unique<TextMessage>(&story, patience));
        made.back()->on_parse = on_parse;
        return made.back().get();
    }
    void AssertPartialMsg(ZTK::CSocketMsg* message) override {
        story += "p" + std::to_string(message->GetRecvSize()) + " ";
    }
    void AssertValidMsg(ZTK::CSocketMsg* message) override {
        story += "v" + std::to_string(message->GetRecvSize()) + " ";
        if (on_valid)
            on_valid(message);
    }

    void Feed(std::string chunk) {
        story += AddMessage(chunk.data(), static_cast<int>(chunk.size())) ? "+ " : "- ";
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
    int patience = 0;
    std::function<void(TextMessage&)> on_parse;
    std::function<void(ZTK::CSocketMsg*)> on_valid;
    std::deque<std::unique_ptr<TextMessage>> made;
};

class LoggingOn {
  public:
    explicit LoggingOn(int mode) { ZTK::EnableLogging(true, mode); }
    LoggingOn(const LoggingOn&) = delete;
    LoggingOn& operator=(const LoggingOn&) = delete;
    ~LoggingOn() { ZTK::EnableLogging(false, 0); }
};

struct StreamCase {
    const char* reason;
    bool keep;
    int patience;
    std::vector<std::string> chunks;
    const char* story;
    const char* packets;
};

TEST(Message, StreamsAreCutIntoPackets) {
    const LoggingOn logging(0);
    const StreamCase cases[] = {
        {"whole messages in one chunk",
         false,
         0,
         {"3:abc;2:de;"},
         "c h11 v6 c h5 v5 + ",
         "3:abc; 2:de; "},
        {"a partial one behind it", false, 0, {"3:abc;2:d"}, "c h9 v6 c h3 p3 + ", "3:abc; "},
        {"split in the body", false, 0, {"3:ab", "c;"}, "c h4 p4 - v6 + ", "3:abc; "},
        {"split in the header",
         false,
         0,
         {"1", "0", ":0123456789;"},
         "c h1 p1 - h2 p2 - h14 v14 + ",
         "10:0123456789; "},
        {"nothing of what follows is handed on",
         false,
         0,
         {"3:a", "bc;2:", "1:x;"},
         "c h3 p3 - v6 + c h4 v4 + ",
         "3:abc; 1:x; "},
        {"what follows is cut short",
         false,
         0,
         {"3:a", "bc;2:de;", "de;"},
         "c h3 p3 - v6 c h2 p2 + v5 + ",
         "3:abc; 2:de; "},
        {"what follows is kept",
         true,
         0,
         {"3:a", "bc;2:de;1:"},
         "c h3 p3 - v6 c h7 v5 c h2 p2 + ",
         "3:abc; 2:de; "},
        {"an empty body is asked for until it is whole",
         false,
         0,
         {"0:", ";"},
         "c h2 p2 - h3 v3 + ",
         "0:; "},
        {"the header is understood late",
         false,
         9,
         {"3:abc;2:", "de;1:x;1:y;"},
         "c h8 p8 - h19 v6 c h5 p5 + ",
         "3:abc; "},
        {"the same without loss",
         true,
         9,
         {"3:abc;2:", "de;1:x;1:y;"},
         "c h8 p8 - h19 v6 c h13 v5 c h8 p8 + ",
         "3:abc; 2:de; "},
    };
    for (const StreamCase& row : cases) {
        SCOPED_TRACE(row.reason);
        TextReceiver receiver;
        receiver.patience = row.patience;
        receiver.SetKeepRemainder(row.keep);
        for (const std::string& chunk : row.chunks)
            receiver.Feed(chunk);
        EXPECT_EQ(receiver.story, row.story);
        EXPECT_EQ(receiver.Drain(), row.packets);
        EXPECT_EQ(receiver.Pop(), nullptr);
    }
}

TEST(Message, PartialMessagesAreCheckedOnlyWhileLoggingIsOn) {
    TextReceiver receiver;
    receiver.Feed("3:ab");
    EXPECT_EQ(receiver.story, "c h4 - ");
}

TEST(Message, AnyChunkingGivesTheSamePacketsWhenTheRemainderIsKept) {
    const std::string stream = "3:abc;0:;12:abcdefghijkl;1:x;";
    for (std::size_t size = 1; size <= stream.size(); ++size) {
        TextReceiver receiver;
        receiver.SetKeepRemainder(true);
        for (std::size_t at = 0; at < stream.size(); at += size)
            receiver.Feed(stream.substr(at, size));
        EXPECT_EQ(receiver.Drain(), "3:abc; 0:; 12:abcdefghijkl; 1:x; ") << "chunks of " << size;
    }
}

TEST(Message, BadChunksAndEmptyQueuesAreHarmless) {
    TextReceiver receiver;
    char byte = '1';
    EXPECT_FALSE(receiver.AddMessage(nullptr, 1));
    EXPECT_FALSE(receiver.AddMessage(&byte, 0));
    EXPECT_FALSE(receiver.AddMessage(&byte, INT_MIN));
    EXPECT_EQ(receiver.Push(nullptr), 0u);
    EXPECT_EQ(receiver.PushPool(nullptr), 0u);
    EXPECT_EQ(receiver.Pop(), nullptr);
    EXPECT_EQ(receiver.story, "");
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
    EXPECT_EQ(first->GetMsgLength(), 1);
    EXPECT_STREQ(first->GetPacket(), "1:a;") << "a zero byte follows the packet";
}

TEST(Message, QueueGrowsAndKeepsItsOrder) {
    TextReceiver receiver;
    std::string expected;
    for (int i = 10; i < 90; ++i) {
        receiver.Feed("2:" + std::to_string(i) + ";");
        if (i < 15)
            receiver.PushPool(receiver.Pop());  // moves the ring's start
        else
            expected += "2:" + std::to_string(i) + "; ";
    }
    EXPECT_EQ(receiver.Drain(), expected);
}

struct LengthsCase {
    int length, offset, trailer, packet_size;
    bool complete_at_8;
    bool has_body;
};

class FixedMessage : public ZTK::CSocketMsg {
  public:
    explicit FixedMessage(const LengthsCase& lengths) : lengths_(lengths) {}
    ~FixedMessage() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        *length = lengths_.length;
        *offset = lengths_.offset;
        *trailer = lengths_.trailer;
        return true;
    }

  private:
    LengthsCase lengths_;
};

TEST(Message, LengthsFromThePeerAreAddedWithCare) {
    const LengthsCase cases[] = {
        {4, 2, 2, 8, true, true},
        {0, 4, 0, 4, true, false},
        {4, 0, 4, 8, true, false},
        {9, 4, -5, 8, true, true},
        {4, 4, 1, 9, false, true},
        {-1, -1, 0, -2, false, false},
        {4, -4, 0, 0, false, false},
        {INT_MAX, 1, 0, INT_MAX, false, true},
        {INT_MAX, INT_MAX, INT_MAX, INT_MAX, false, true},
        {INT_MAX, 4, 0, INT_MAX, false, true},
        {INT_MIN, -4, 0, INT_MIN, false, false},
        {1, 8, INT_MIN, INT_MIN + 9, false, true},
        {4, 200, -196, 8, true, true},
    };
    char data[] = "12345678";
    for (const int mode : {0, 1}) {
        const LoggingOn logging(mode);
        for (const LengthsCase& row : cases) {
            SCOPED_TRACE(testing::Message()
                         << row.length << " " << row.offset << " " << row.trailer);
            class Receiver : public TextReceiver {
              public:
                explicit Receiver(ZTK::CSocketMsg* only) : only_(only) {}
                ZTK::CSocketMsg* CreateMessage() override { return std::exchange(only_, nullptr); }

              private:
                ZTK::CSocketMsg* only_;
            };
            FixedMessage message(row);
            Receiver receiver(&message);
            EXPECT_EQ(receiver.AddMessage(data, 8), row.complete_at_8);
            EXPECT_EQ(message.GetPacketSize(), row.packet_size);
            EXPECT_EQ(message.GetMsg() != nullptr, row.has_body);
            if (row.complete_at_8) {
                EXPECT_EQ(message.GetRecvSize(), row.packet_size);
                EXPECT_FALSE(receiver.AddMessage(data, 8)) << "no further message can be made";
            } else {
                receiver.AddMessage(data, 1);
                EXPECT_EQ(PacketOf(message).substr(0, 8), data);
            }
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
    EXPECT_EQ(message.Add(data, -1), -1);
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(message.Add(data + i, 1), -1);
    EXPECT_EQ(message.Add(data + 15, 5), 16);
    EXPECT_EQ(story, "h1 h2 h3 ");
    EXPECT_EQ(message.GetRecvSize(), 20) << "bytes behind the packet stay";
    EXPECT_EQ(std::string(message.GetMsg(), 12), "abcdefghijkl");
    message.Reset();
    EXPECT_EQ(message.GetPacketSize(), -2);
    EXPECT_EQ(message.GetMsg(), nullptr);

    FixedMessage no_lengths(LengthsCase{-1, -1, 0, 0, false, false});
    EXPECT_EQ(no_lengths.Add(data, 1), -2) << "the sum comes back as it is";
}

TEST(Message, HooksMayMeddle) {
    TextReceiver receiver;
    char extra[] = "!";
    receiver.on_parse = [&](TextMessage& message) {
        if (message.GetRecvSize() == 13)
            message.Add(extra, 1);
    };
    receiver.Feed("1:a;2:bc;1:d;");
    EXPECT_EQ(receiver.Drain(), "1:a; 2:bc; 1:d; ") << "bytes it adds count for itself only";

    TextReceiver forgetful;
    forgetful.on_parse = [](TextMessage& message) { message.Reset(); };
    forgetful.Feed("4:lost");
    forgetful.made.back()->on_parse = nullptr;
    forgetful.Feed("1:x;");
    EXPECT_EQ(forgetful.Drain(), "1:x; ");
}

TEST(Message, CopiesShareTheBlockEvenWhenMadeInsideTheHook) {
    TextReceiver receiver;
    alignas(TextMessage) unsigned char place[sizeof(TextMessage)];
    TextMessage* copy = nullptr;  // never destroyed: the block belongs to its source
    receiver.on_parse = [&](TextMessage& message) {
        if (copy == nullptr)
            copy = new (place) TextMessage(message);
    };
    receiver.Feed("3:ab");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(PacketOf(*copy), "3:ab");
    EXPECT_EQ(copy->GetPacket(), receiver.made.front()->GetPacket());
}

TEST(Message, HooksMayCallTheReceiver) {
    TextReceiver receiver;
    std::string taken;
    receiver.on_valid = [&](ZTK::CSocketMsg*) {
        while (ZTK::CSocketMsg* earlier = receiver.Pop()) {
            taken += PacketOf(*earlier) + " ";
            receiver.PushPool(earlier);
        }
        taken += std::to_string(receiver.GetQueueSize()) + " ";
    };
    receiver.SetKeepRemainder(true);
    receiver.patience = 6;
    receiver.Feed("1:a;");
    receiver.Feed("1:b;12:abcdefghijkl;");
    EXPECT_EQ(taken, "0 1:a; 0 1:b; 0 ") << "each is queued after its check";
    EXPECT_EQ(receiver.Drain(), "12:abcdefghijkl; ");
}

TEST(Message, LoggedTextEndsWithItsPacket) {
    struct {
        int mode;
        const char* expected;
    } const cases[] = {
        {1, "abc;de;"},
        {0, "recv: 333A6162633B\nrecv: 323A64653B\nrecv: 303A3B\n"},
    };
    for (const auto& row : cases) {
        ASSERT_TRUE(ZTKOpenTraceLog(L"message_test.log"));
        {
            const LoggingOn logging(row.mode);
            TextReceiver receiver;
            receiver.Feed("3:abc;2:de;0:;9:partial");
        }
        ZTKCloseTraceLog();
        std::FILE* file = std::fopen("message_test.log", "rb");
        ASSERT_NE(file, nullptr);
        std::string text;
        for (int c; (c = std::fgetc(file)) != EOF;)
            if (c != 0 && c < 0x80 && c != '\r')  // the file is UTF-16
                text.push_back(static_cast<char>(c));
        std::fclose(file);
        EXPECT_EQ(text, row.expected);
    }
    std::remove("message_test.log");
}

TEST(Message, ConsumerOnAnotherThreadGetsAllInOrder) {
    constexpr int kMessages = 20000;
    TextReceiver receiver;
    receiver.SetKeepRemainder(true);
    HANDLE arrived = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::thread consumer([&] {
        for (int next = 0; next < kMessages;) {
            WaitForSingleObject(arrived, INFINITE);
            while (ZTK::CSocketMsg* message = receiver.Pop()) {
                const auto length = static_cast<std::size_t>(message->GetMsgLength());
                EXPECT_EQ(std::string(message->GetMsg(), length), std::to_string(next));
                ++next;
                receiver.PushPool(message);
            }
        }
    });
    std::string pending;
    for (int i = 0; i < kMessages; ++i) {
        const std::string body = std::to_string(i);
        pending += std::to_string(body.size()) + ":" + body + ";";
        if (pending.size() < 8000 && i + 1 < kMessages)
            continue;
        receiver.LockQueue();
        EXPECT_TRUE(receiver.AddMessage(pending.data(), static_cast<int>(pending.size())));
        EXPECT_GT(receiver.GetQueueSize(), 0u) << "nobody drains while we hold the lock";
        receiver.UnlockQueue();
        SetEvent(arrived);
        pending.clear();
    }
    consumer.join();
    CloseHandle(arrived);
}

}  // namespace
