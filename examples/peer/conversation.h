// What the peer and an agent say to each other, one request after the other.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "peer/agent_link.h"
#include "peer/event_text.h"
#include "peer/user_interface.h"

namespace example {

// Sends each line of the user when the one before has been answered, shows the answers, and shows
// what happens to the debuggee as it comes. A line "wait NAME" is not sent: it waits for an event
// of that name. Every event ends one wait, also one that begins later.
class Conversation {
  public:
    // Borrows both. Gives up when an answer, or an event that is waited for, does not come for
    // `timeout` milliseconds.
    Conversation(AgentLink* link, UserInterface* user, DWORD timeout)
        : link_(link), user_(user), timeout_(timeout) {}

    // Events of the caller: an auto-reset one that asks for the debuggee to be interrupted, and one
    // that ends the conversation.
    void ListenTo(HANDLE interrupt, HANDLE quit) {
        interrupt_ = interrupt;
        quit_ = quit;
    }

    // Until the user or the agent has no more to say. False when a request was not answered, or an
    // event did not come; Problem says why.
    bool Run();
    [[nodiscard]] const std::string& Problem() const { return problem_; }

  private:
    enum class Turn { kGoOn, kOver, kFailed };

    Turn LookAtMessages();
    Turn LookAtLines();
    Turn WaitForMore();

    Turn DoLine(const std::string& line);
    Turn DoWait(const std::string& name);
    Turn SendRequest(const std::string& line);
    Turn Interrupt();
    Turn EndWait();
    Turn AgentIsGone();
    Turn Reject(const std::string& problem);
    Turn GiveUp(const std::string& reason);

    bool TakeAnswer(Message& answer);
    void TakeEvent(Message& message);
    bool Read(std::string_view body, Event* event);
    void Show(const std::string& lines);
    [[nodiscard]] bool IsUsersTurn() const { return unanswered_.empty() && awaited_.empty(); }
    [[nodiscard]] DWORD TimeLeft() const;

    using Clock = std::chrono::steady_clock;

    AgentLink* const link_;
    UserInterface* const user_;
    const DWORD timeout_;
    HANDLE interrupt_ = nullptr;
    HANDLE quit_ = nullptr;

    std::uint32_t sequence_ = 0;            // of the last request
    std::deque<std::uint32_t> unanswered_;  // the user's request and interrupts; the oldest first
    std::string awaited_;                   // the name of an event; empty for none
    Clock::time_point waiting_since_;       // for the answers or for the event
    std::map<std::string, int> happened_;   // events that ended no wait yet, by name
    std::string event_lines_;               // that came while an answer was waited for
    EventText event_text_;
    XmlBody event_body_;
    std::string problem_;
    bool gone_ = false;        // the agent: nothing more comes
    bool agent_ends_ = false;  // it was asked to
};

}  // namespace example
