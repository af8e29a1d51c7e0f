// The receiver against a naive model that copies every byte: random streams, chunks, formats and
// modes must give the same results, the same hook calls and the same packets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ztk/ztk.h"

namespace {

struct Lengths {
    int length = -1, offset = -1, trailer = 0;
    [[nodiscard]] int Sum() const { return length + offset + trailer; }
};

// Three header bytes give the lengths, anything from sensible to absurd; some answers come late.
bool Understand(const unsigned char* packet, int received, int variety, Lengths* lengths) {
    if (received < 3 || received < (packet[2] >> 4) * variety)
        return false;
    lengths->length = packet[0] % 24;
    lengths->offset = packet[1] % 6;
    lengths->trailer = (packet[2] & 15) - variety;
    return true;
}

// Both sides write down every hook call with the bytes that it could see.
struct Story {
    std::vector<std::string> lines;
    void Tell(char what, const void* bytes, int count) {
        lines.push_back(
            what + std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(count)));
    }
};

// The model: one message is a byte vector, and each step is done as literally as can be.
struct ModelMessage {
    std::vector<unsigned char> packet;
    Lengths lengths;
};

class Model {
  public:
    Model(int variety, bool keep) : variety_(variety), keep_(keep) {}

    bool AddMessage(const unsigned char* data, int n) {
        int count = 0;
        std::vector<unsigned char> d(data, data + n);
        if (!current_)
            current_ = std::make_unique<ModelMessage>();
        while (n > 0) {
            ModelMessage& m = *current_;
            const int r = static_cast<int>(m.packet.size());
            m.packet.insert(m.packet.end(), d.begin(), d.begin() + n);
            const int received = r + n;
            if (m.lengths.length < 1) {
                story.Tell('h', m.packet.data(), received);
                if (!Understand(m.packet.data(), received, variety_, &m.lengths))
                    break;
            }
            const int p = m.lengths.Sum();
            if (received < p || p < 1)
                break;
            ++count;
            d.assign(m.packet.begin() + p, m.packet.end());
            m.packet.resize(static_cast<std::size_t>(p));
            story.Tell('v', m.packet.data(), p);
            queue.push_back(std::move(*current_));
            current_.reset();
            n = keep_ ? received - p : n - p;
            if (n > 0)
                current_ = std::make_unique<ModelMessage>();
        }
        if (current_ && n > 0)
            story.Tell('p', current_->packet.data(), static_cast<int>(current_->packet.size()));
        return count > 0;
    }

    Story story;
    std::deque<ModelMessage> queue;

  private:
    int variety_;
    bool keep_;
    std::unique_ptr<ModelMessage> current_;
};

class RealMessage : public ZTK::CSocketMsg {
  public:
    RealMessage(Story* story, int variety) : story_(story), variety_(variety) {}
    ~RealMessage() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        story_->Tell('h', GetPacket(), GetRecvSize());
        Lengths lengths;
        if (!Understand(reinterpret_cast<unsigned char*>(GetPacket()), GetRecvSize(), variety_,
                        &lengths))
            return false;
        *length = lengths.length;
        *offset = lengths.offset;
        *trailer = lengths.trailer;
        return true;
    }

  private:
    Story* story_;
    int variety_;
};

class Real : public ZTK::CSocketMsgReceiver {
  public:
    Real(int variety, bool keep) : variety_(variety) { SetKeepRemainder(keep); }
    ZTK::CSocketMsg* CreateMessage() override {
        made_.push_back(std::make_unique<RealMessage>(&story, variety_));
        return made_.back().get();
    }
    void AssertPartialMsg(ZTK::CSocketMsg* m) override {
        story.Tell('p', m->GetPacket(), m->GetRecvSize());
    }
    void AssertValidMsg(ZTK::CSocketMsg* m) override {
        story.Tell('v', m->GetPacket(), m->GetRecvSize());
    }

    Story story;

  private:
    int variety_;
    std::vector<std::unique_ptr<RealMessage>> made_;
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
    EXPECT_EQ(message->GetMsg(),
              has_body ? message->GetPacket() + expected.lengths.offset : nullptr);
    real.PushPool(message);
}

void Play(unsigned seed) {
    std::mt19937 random(seed);
    const int variety = static_cast<int>(random() % 4);
    const bool keep = random() % 2 == 0;
    const int longest = random() % 2 == 0 ? 6 : 120;
    Model model(variety, keep);
    Real real(variety, keep);
    for (int step = 0; step < 40; ++step) {
        std::vector<unsigned char> chunk(1 + random() % static_cast<unsigned>(longest));
        for (unsigned char& byte : chunk)
            byte = static_cast<unsigned char>(random());
        const int n = static_cast<int>(chunk.size());
        const bool expected = model.AddMessage(chunk.data(), n);
        ASSERT_EQ(real.AddMessage(chunk.data(), n), expected);
        ASSERT_EQ(real.GetQueueSize(), model.queue.size());
        ASSERT_EQ(real.story.lines, model.story.lines);
        model.story.lines.clear();
        real.story.lines.clear();
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
