// Framed messages through a transport that cuts them, joins them, stalls and resets: all that were
// sent arrive once, in order and intact, or, after a reset, the first of them do.
#include <random>
#include <thread>

#include "common/inbox.h"
#include "support/loopback.h"

struct Transport : ztk_test::IPv4LoopbackTest, ZTK::ISOReceiver, example::Inbox {
    bool IsStopping() override { return false; }
    bool OnReceive(ZTK::CClientSocket*, unsigned char* data, int n) override {
        return Feed(data, n);
    }
    void OnDisconnect(ZTK::CClientSocket*) override { ++orderly_ends; }
    std::string Body(unsigned n) { return std::string(mixed ? n * 7919 % 1500 : 42, char(n)); }
    void Write(std::uint64_t socket) {
        ZTK::CClientSocket peer(nullptr, socket, 0);
        int on = 1;
        ZTK::CSocketUtil::SetOptions(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        std::string bytes, cut;
        for (unsigned number = 0; number < messages && pieces != 0;) {
            example::AppendMessage(&bytes, example::Kind::kRequest, number, Body(number));
            if (++number < messages && keeps && bytes.size() < piece) {
                continue;
            }
            for (; !bytes.empty() && pieces != 0; --pieces) {
                cut = bytes.substr(0, 1 + std::rand() % piece);
                bytes.erase(0, cut.size());
                EXPECT_TRUE(example::SendAll(peer, cut)) << peer.GetLastError();
                if (std::rand() % 2000 == 0) {
                    Sleep(5);
                }
            }
            EXPECT_TRUE(keeps || pieces == 0 || peer.Read() == 1);
        }
        resets ? ztk_test::Abort(socket) : peer.Shutdown();
    }
    bool keeps = std::random_device{}() % 3 != 0;   // the remainder; else an answer to each message
    bool mixed = std::random_device{}() % 2 != 0;   // sizes, else 64 bytes
    bool resets = std::random_device{}() % 4 == 0;  // when the pieces are used up, or at the end
    unsigned piece = 1U << std::random_device{}() % 17;  // the longest; shorter messages are joined
    unsigned messages = 1 + std::random_device{}() % std::min(20'000U, 200 * piece);
    unsigned pieces = resets ? std::random_device{}() % 200 : ~0U, orderly_ends = 0;
};

TEST_F(Transport, DeliversAllInOrderOrReportsTheReset) {
    SetKeepRemainder(keeps);
    ZTK::CClientSocket client(this, 16 << std::rand() % 13);
    const std::jthread writer(&Transport::Write, this, StartReceiving(client));
    const HANDLE handles[] = {Arrived(), thread_};
    unsigned next = 0;
    for (DWORD woken = 0; woken == 0;) {
        woken = WaitForMultipleObjects(2, handles, FALSE, ztk_test::kPatience);
        EXPECT_LE(woken, 1U) << "neither a message nor an end";
        for (example::Message* message; (message = Take()) != nullptr; ++next) {
            EXPECT_TRUE(message->GetSequence() == next && message->GetBody() == Body(next)) << next;
            GiveBack(message);
            EXPECT_TRUE(keeps || client.Send("!", 1) == 1 || resets);
        }
    }
    ExpectReceiverEnds(client);
    EXPECT_TRUE(resets || next == messages) << next << " of " << messages;
    EXPECT_EQ(orderly_ends, resets ? 0U : 1U);
    EXPECT_EQ(client.GetLastError(), resets ? 10054U : 0U);
    std::printf("Transport %u\n", next);
}
