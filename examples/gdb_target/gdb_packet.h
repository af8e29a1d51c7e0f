// Packets of the remote protocol that debuggers speak with gdbserver: `$` body `#` and two check
// digits, with acknowledgements in between. A `%` begins one that nobody asked for.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <ztk/ztk.h>

namespace example {

inline constexpr int kMaxPacketBytes = 1 << 22;  // some servers put a whole document into one

// A received packet. What stands before its body is its header: acknowledgements of what we sent.
class GdbPacket : public ZTK::CSocketMsg {
  public:
    // *problem is set to a static text when the bytes are no packet. All that follows is refused.
    explicit GdbPacket(std::atomic<const char*>* problem) : problem_(problem) {}
    ~GdbPacket() override = default;

    bool ParseHeader(int* length, int* offset, int* trailer) override;

    // Whether it tells something that nobody asked for. REQUIRES: the packet is complete.
    bool IsNotification();

    // The body with its repetitions expanded; escapes are left in place. Returns whether the check
    // digits match and the body makes sense. REQUIRES: the packet is complete.
    bool Decode(std::string* body);

  private:
    std::atomic<const char*>* problem_;  // borrowed
    std::size_t searched_ = 0;           // bytes in which the end was not found
};

// Cuts the stream into packets and owns them.
class GdbReceiver : public ZTK::CSocketMsgReceiver {
  public:
    GdbReceiver() { SetKeepRemainder(true); }

    // What was wrong with the stream; null when nothing was. Static text.
    [[nodiscard]] const char* Problem() const { return problem_; }

  protected:
    ZTK::CSocketMsg* CreateMessage() override;

  private:
    std::vector<std::unique_ptr<GdbPacket>>
        made_;  // the library destroys none; guarded by LockQueue
    std::atomic<const char*> problem_{nullptr};
};

// A packet to send.
std::string MakePacket(std::string_view body);

// The value of "name=value", the sign of "name+" and so on, in a list separated by semicolons;
// false when nothing there begins with name.
bool FindItem(std::string_view list, std::string_view name, std::string_view* value);

// Replaces the escapes of binary data. False when the last one is cut short.
bool Unescape(std::string_view data, std::string* out);

}  // namespace example
