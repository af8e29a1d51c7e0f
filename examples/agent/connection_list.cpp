// The connections of an agent, and the events that all of them are told.
#include "agent/connection_list.h"

#include <chrono>
#include <iterator>

#include "common/event_body.h"

namespace example {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestWait{2000};  // of one WaitForRoom
constexpr milliseconds kStillReading{
    3000};                              // a peer that took something in this time is waited for
constexpr milliseconds kGivenUp{5000};  // one that is behind and took nothing for so long is not
constexpr DWORD kLookAgain = 100;       // milliseconds

}  // namespace

ConnectionList::ConnectionList() : room_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

ConnectionList::~ConnectionList() {
    StopAll();
    CloseHandle(room_);
}

// It is in the list before it starts: its first request may have events already.
bool ConnectionList::Start(std::unique_ptr<Connection> connection) {
    Connection* const started = connection.get();
    lock_.Lock();
    const auto place = connections_.insert(connections_.end(), std::move(connection));
    lock_.Unlock();
    if (started->Start()) {
        return true;
    }
    std::list<std::unique_ptr<Connection>> failed;
    const ZTK::CLockGuard guard(lock_);
    failed.splice(failed.end(), connections_, place);
    return false;
}

std::size_t ConnectionList::Count() {
    const ZTK::CLockGuard guard(lock_);
    return connections_.size();
}

std::size_t ConnectionList::RemoveFinished() {
    std::list<std::unique_ptr<Connection>> finished;
    lock_.Lock();
    for (auto it = connections_.begin(); it != connections_.end();) {
        const auto next = std::next(it);
        if ((*it)->IsOver()) {
            finished.splice(finished.end(), connections_, it);
        }
        it = next;
    }
    lock_.Unlock();
    return finished.size();
}  // destroyed without the lock, since that waits for their threads

// All are told to stop before the first is waited for.
void ConnectionList::StopAll() {
    stopping_ = true;
    SetEvent(room_);
    std::list<std::unique_ptr<Connection>> stopped;
    lock_.Lock();
    stopped.swap(connections_);
    lock_.Unlock();
    for (const auto& connection : stopped) {
        connection->Stop();
    }
}

void ConnectionList::OnEvent(const Event& event) {
    std::string bytes;
    AppendMessage(&bytes, Kind::kEvent, 0, MakeEvent(event));
    const Outbox::Bytes message = std::make_shared<const std::string>(std::move(bytes));
    const ZTK::CLockGuard guard(lock_);
    for (const auto& connection : connections_) {
        connection->Post(message);
    }
}

void ConnectionList::WaitForRoom() {
    const auto until = std::chrono::steady_clock::now() + kLongestWait;
    while (!stopping_ && IsSomebodyBehind() && std::chrono::steady_clock::now() < until) {
        WaitForSingleObject(room_, kLookAgain);
    }
}

// Whether a peer is behind that reads on. One that does not is dropped after a while, whether or
// not more events come.
bool ConnectionList::IsSomebodyBehind() {
    bool found = false;
    const ZTK::CLockGuard guard(lock_);
    for (const auto& connection : connections_) {
        if (!connection->IsBehind()) {
            continue;
        }
        const milliseconds idle = connection->IdleTime();
        found = found || idle < kStillReading;
        if (idle > kGivenUp) {
            connection->Drop();
        }
    }
    return found;
}

}  // namespace example
