// Stops of servers and connections while peers connect and talk: no callback of an object comes
// after its stop, and nothing stays open.
#include <deque>
#include <thread>

#include "support/loopback.h"
#include "support/open_handles.h"

using namespace ztk_test;

struct Stops : IPv4LoopbackTest {};

struct Link {
    explicit Link(std::uint64_t accepted) : socket(&receiver, accepted, 0) {}
    std::size_t Calls() { return receiver.text.size() + receiver.disconnects; }
    Receiver receiver;
    ZTK::CClientSocket socket;
    HANDLE thread = socket.Receive(0);
    std::size_t calls = 0;  // when it was stopped
};

TEST_F(Stops, EndAllCallbacksAndLeaveNothing) {
    static const int open = OpenHandles();
    EXPECT_EQ(OpenHandles(), open) << "the last round left descriptors";
    EXPECT_LT(std::uintptr_t(server_.started.event) % (1U << 22), 8000U) << "rounds left handles";
    std::deque<Link> links;
    std::deque<ZTK::CClientSocket> peers;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        links.emplace_back(Connect(peers.emplace_back(nullptr, 0)));
    }
    for (ZTK::CClientSocket& peer : peers) {
        threads.emplace_back([&peer, text = std::string(4000, 'x')] {
            while (std::rand() % 500 != 0 && peer.Send(text.data(), 1 + std::rand() % 4000) > 0) {
                continue;
            }
            peer.Shutdown();
        });
    }
    threads.emplace_back([endpoint = Endpoint(family_, server_.port())]() mutable {
        ZTK::CClientSocket knocking(nullptr, 0);
        while (knocking.Connect(&endpoint)) {
            continue;
        }
        knocking.Shutdown();
    });
    Sleep(std::rand() % 10);
    server_.Stop();
    const std::size_t accepted = server_.accepted.size();
    for (Link& link : links) {
        link.socket.Shutdown();
    }
    if (std::rand() % 2 == 0) {                         // for all at once, else one by one
        ZTK::WaitRegisteredThreadsExit(2 * kPatience);  // the watchdog comes before
    }
    for (Link& link : links) {
        ExpectThreadEnds(link.socket);
        link.calls = link.Calls();
    }
    Sleep(std::rand() % 3);  // for callbacks that come late
    for (Link& link : links) {
        EXPECT_TRUE(link.Calls() == link.calls && (CloseHandle(link.thread), true));
    }
    EXPECT_EQ(server_.accepted.size(), accepted);
    std::puts("Stops 5");
}
