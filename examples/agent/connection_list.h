// The connections of an agent, and the events that all of them are told.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>

#include "agent/connection.h"
#include "target/event.h"

namespace example {

// Thread-safety: all functions may be called from any thread.
//
// An event is put into the outboxes of all peers at once; their own threads send it. A peer that
// reads slowly holds the debuggee up for a while, by WaitForRoom. One that does not read is dropped
// instead, for it must hold up neither the debuggee nor the other peers.
class ConnectionList final : public EventSink {
  public:
    ConnectionList();
    ConnectionList(const ConnectionList&) = delete;
    ConnectionList& operator=(const ConnectionList&) = delete;
    ~ConnectionList();

    // Takes a connection and starts it. False, with the connection gone, when that failed.
    bool Start(std::unique_ptr<Connection> connection);

    [[nodiscard]] std::size_t Count();

    // Destroys the connections that are over. Returns how many there were. REQUIRES: not on a
    // thread of a connection.
    std::size_t RemoveFinished();

    // Stops all connections and destroys them. From now on events go nowhere. REQUIRES: as above,
    // and that no more are started.
    void StopAll();

    // A connection has sent events; called by its thread.
    void OnRoom() { SetEvent(room_); }

    // EventSink
    void OnEvent(const Event& event) override;
    void WaitForRoom() override;

  private:
    bool IsSomebodyBehind();

    HANDLE room_;  // auto-reset
    std::atomic<bool> stopping_{false};
    ZTK::CLock lock_;  // guards the list
    std::list<std::unique_ptr<Connection>> connections_;
};

}  // namespace example
