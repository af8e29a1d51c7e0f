// The wire format of the examples: what a message looks like, how it is made and how it is checked.
// docs/wire-format.md has the byte layout.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include <ztk/ztk.h>

namespace example {

inline constexpr int kHeaderBytes = 16;
inline constexpr int kTrailerBytes = 6;
inline constexpr int kMaxBodyBytes = 1 << 20;  // a header that announces more is invalid

enum class Kind : std::uint16_t {
    kRequest = 1,  // a command for the agent
    kAnswer = 2,   // what the command gave
    kFailure = 3,  // why the command could not be carried out
    kEvent = 4,    // what happened to the debuggee: answers no request, its sequence number is 0
};

// Appends one message to out. Several may be appended and sent together: the receiving side tells
// them apart. REQUIRES: body.size() <= kMaxBodyBytes.
void AppendMessage(std::string* out, Kind kind, std::uint32_t sequence, std::string_view body);

// The same for a batch that is sent later. False, with a part of it in the batch, when memory is
// short.
[[nodiscard]] bool AddMessage(ZTK::CSendBatch* batch, Kind kind, std::uint32_t sequence,
                              std::string_view body);

// Sends all of bytes. One Send may take fewer bytes than it was given, so it is called until all
// are gone. False when the connection is no longer usable.
bool SendAll(ZTK::CClientSocket& socket, std::string_view bytes);

// A received message. The library fills it, and asks ParseHeader for the lengths in our format.
class Message : public ZTK::CSocketMsg {
  public:
    // *problem is set to a static text when a header is invalid. Such a message stays incomplete
    // for ever, so the code that feeds chunks looks at *problem after each.
    explicit Message(std::atomic<const char*>* problem) : problem_(problem) {}
    ~Message() override = default;

    bool ParseHeader(int* length, int* offset, int* trailer) override;

    // Checks trailer and kind of a complete message; the result is kept for IsIntact.
    bool Check();
    [[nodiscard]] bool IsIntact() const { return intact_; }

    // REQUIRES (the three below): the message is complete and intact.
    [[nodiscard]] Kind GetKind();
    [[nodiscard]] std::uint32_t GetSequence();
    [[nodiscard]] std::string_view GetBody();  // UTF-8; valid until the message is given back

  private:
    [[nodiscard]] const char* HeaderProblem();
    [[nodiscard]] const char* PacketProblem();

    std::atomic<const char*>* problem_;  // borrowed
    bool intact_ = false;
};

}  // namespace example
