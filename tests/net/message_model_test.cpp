// The receiver against a naive model that copies every byte: random streams, chunks, formats and
// modes must give the same results, the same hook calls and the same packets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ztk/ztk.h"

namespace {

struct Lengths {
    int length = -1, offset = -1, trailer = 0;
    [[nodiscard]] int Sum() const { return length + offset + trailer; }
};

// Three header bytes give the lengths, anything from sensible to absurd; some answers come late.
bool Understand(const unsigned char* packet, int received, int variety, Lengths* lengths) {
    const bool enough = received >= 3 && received >= (packet[2] >> 4) * variety;
    if (enough)
        *lengths = {packet[0] % 24, packet[1] % 6, (packet[2] & 15) - variety};
    return enough;
}

// Both sides write down every hook call with the bytes that it could see.
struct Story : std::vector<std::string> {
    void Tell(char what, const void* bytes, int count) {
        emplace_back(static_cast<const char*>(bytes), static_cast<std::size_t>(count)) += what;
    }
};

// The model: one message is a byte vector, and each step is done as literally as can be.
struct ModelMessage {
    std::vector<unsigned char> packet;
    Lengths lengths;
};

struct Model {
    bool AddMessage(const unsigned char* data, int n) {
        int count = 0;
        std::vector<unsigned char> d(data, data + n);
        if (!current)
            current.emplace();
        while (n > 0) {
            ModelMessage& m = *current;
            const int r = static_cast<int>(m.packet.size());
            m.packet.insert(m.packet.end(), d.begin(), d.begin() + n);
            const int received = r + n;
            if (m.lengths.length < 1) {
                story.Tell('h', m.packet.data(), received);
                if (!Understand(m.packet.data(), received, variety, &m.lengths))
                    break;
            }
            const int p = m.lengths.Sum();
            if (received < p || p < 1)
                break;
            ++count;
            d.assign(m.packet.begin() + p, m.packet.end());
            m.packet.resize(static_cast<std::size_t>(p));
            story.Tell('v', m.packet.data(), p);
            queue.push_back(std::move(*current));
            current.reset();
            n = keep ? received - p : n - p;
            if (n > 0)
                current.emplace();
        }
        if (current && n > 0)
            story.Tell('p', current->packet.data(), static_cast<int>(current->packet.size()));
        return count > 0;
    }

    int variety;
    bool keep;
    Story story = {};
    std::deque<ModelMessage> queue = {};
    std::optional<ModelMessage> current = {};
};

struct RealMessage : ZTK::CSocketMsg {
    RealMessage(Story* its_story, int its_variety) : story(its_story), variety(its_variety) {}
    ~RealMessage() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        story->Tell('h', GetPacket(), GetRecvSize());
        const auto* packet = reinterpret_cast<unsigned char*>(GetPacket());
        Lengths lengths{*length, *offset, *trailer};
        const bool understood = Understand(packet, GetRecvSize(), variety, &lengths);
        std::tie(*length, *offset, *trailer) =
            std::tie(lengths.length, lengths.offset, lengths.trailer);
        return understood;
    }
    Story* story;
    int variety;
};

struct Real : ZTK::CSocketMsgReceiver {
    explicit Real(int its_variety) : variety(its_variety) {}
    ZTK::CSocketMsg* CreateMessage() override { return &made.emplace_back(&story, variety); }
    void AssertPartialMsg(ZTK::CSocketMsg* m) override {
        story.Tell('p', m->GetPacket(), m->GetRecvSize());
    }
    void AssertValidMsg(ZTK::CSocketMsg* m) override {
        story.Tell('v', m->GetPacket(), m->GetRecvSize());
    }
    int variety;
    Story story;
    std::deque<RealMessage> made;
};

// The oldest messages of both queues are equal; the real one goes to the pool.
void CompareOldest(Model& model, Real& real) {
    ZTK::CSocketMsg* message = real.Pop();
    ASSERT_NE(message, nullptr);
    const ModelMessage expected = std::move(model.queue.front());
    model.queue.pop_front();
    ASSERT_EQ(message->GetRecvSize(), static_cast<int>(expected.packet.size()));
    EXPECT_EQ(std::memcmp(message->GetPacket(), expected.packet.data(), expected.packet.size()), 0);
    EXPECT_EQ(message->GetPacketSize(), expected.lengths.Sum());
    EXPECT_EQ(message->GetMsgLength(), expected.lengths.length);
    const bool has_body = expected.lengths.length > 0 && expected.lengths.offset > 0;
    char* body = message->GetPacket() + expected.lengths.offset;
    EXPECT_EQ(message->GetMsg(), has_body ? body : nullptr);
    real.PushPool(message);
}

void Play(unsigned seed) {
    std::mt19937 random(seed);
    const int variety = static_cast<int>(random() % 4);
    const bool keep = random() % 2 == 0;
    const unsigned longest = random() % 2 == 0 ? 6 : 120;
    Model model{variety, keep};
    Real real(variety);
    real.SetKeepRemainder(keep);
    for (int step = 0; step < 40; ++step) {
        std::vector<unsigned char> chunk(1 + random() % longest);
        std::generate(chunk.begin(), chunk.end(), std::ref(random));
        const int n = static_cast<int>(chunk.size());
        ASSERT_EQ(real.AddMessage(chunk.data(), n), model.AddMessage(chunk.data(), n));
        ASSERT_EQ(real.GetQueueSize(), model.queue.size());
        ASSERT_EQ(real.story, model.story);
        model.story.clear();
        real.story.clear();
        for (std::size_t pops = random() % 5; pops > 0 && !model.queue.empty(); --pops)
            ASSERT_NO_FATAL_FAILURE(CompareOldest(model, real));
    }
}

TEST(MessageModel, RandomStreamsGiveWhatTheModelGives) {
    ZTK::EnableLogging(true, 0);  // so that partial messages are reported
    for (unsigned seed = 0; seed < 2000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Play(seed);
    }
    ZTK::EnableLogging(false, 0);
}

}  // namespace
