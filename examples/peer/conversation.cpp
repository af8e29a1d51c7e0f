// What the peer and an agent say to each other.
#include "peer/conversation.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "common/event_body.h"
#include "peer/shorthand.h"

namespace example {

namespace {

constexpr std::size_t kMostHeldBytes = 64 * 1024;  // of event lines that wait for an answer

constexpr std::string_view kWait = "wait ";

}  // namespace

bool Conversation::Run() {
    Turn turn = Turn::kGoOn;
    while (turn == Turn::kGoOn) {
        turn = LookAtMessages();
        if (turn == Turn::kGoOn) {
            turn = LookAtLines();
        }
        if (turn == Turn::kGoOn) {
            turn = WaitForMore();
        }
    }
    const std::string rest = event_lines_ + event_text_.Rest();
    if (!rest.empty()) {
        user_->Print(rest);
    }
    return turn == Turn::kOver;
}

Conversation::Turn Conversation::LookAtMessages() {
    // Asked first: what arrived before the end is there to be taken then.
    gone_ = gone_ || WaitForSingleObject(link_->Ended(), 0) == WAIT_OBJECT_0;
    while (Message* message = link_->Take()) {
        if (message->GetKind() == Kind::kEvent) {
            TakeEvent(*message);
        } else if (!TakeAnswer(*message)) {
            return GiveUp("the answer does not match");
        }
    }
    gone_ = gone_ || link_->IsRefused();
    return gone_ ? AgentIsGone() : Turn::kGoOn;
}

// A script may have nothing more to say; else its next request tells of it.
Conversation::Turn Conversation::AgentIsGone() {
    if (IsUsersTurn() && !user_->IsInteractive()) {
        return Turn::kGoOn;
    }
    if (IsUsersTurn() && agent_ends_) {
        return Turn::kOver;
    }
    return GiveUp(link_->Problem());
}

bool Conversation::TakeAnswer(Message& answer) {
    if (unanswered_.empty() || unanswered_.front() != answer.GetSequence()) {
        return false;
    }
    unanswered_.pop_front();
    Show((answer.GetKind() == Kind::kFailure ? "error: " : "") + link_->TextOf(answer) + "\n");
    return true;
}

// An event that we do not know is none of ours: agents may tell more than this peer shows.
bool Conversation::Read(std::string_view body, Event* event) {
    std::string problem;
    try {
        return event_body_.Load(body, L"event", &problem) && ReadEvent(event_body_, event);
    } catch (const _com_error&) {
        return false;
    }
}

// What happens while an answer is on its way is shown behind it: "running" before the stop.
void Conversation::TakeEvent(Message& message) {
    Event event;
    if (Read(message.GetBody(), &event)) {
        event_lines_ += event_text_.Lines(event);
        const std::string name = NameOf(event.kind);
        if (awaited_ == name) {
            awaited_.clear();
        } else {
            ++happened_[name];
        }
    }
    if (unanswered_.empty() || event_lines_.size() > kMostHeldBytes) {
        Show("");
    }
}

// Shows lines, and the events that waited for them.
void Conversation::Show(const std::string& lines) {
    const std::string all = lines + std::exchange(event_lines_, std::string());
    if (!all.empty()) {
        user_->Print(all);
    }
}

Conversation::Turn Conversation::LookAtLines() {
    std::string line;
    while (IsUsersTurn()) {
        Turn turn = Turn::kGoOn;
        switch (user_->Take(&line)) {
            case UserInterface::Next::kLine:
                turn = DoLine(line);
                break;
            case UserInterface::Next::kNoneYet:
                return Turn::kGoOn;
            case UserInterface::Next::kUnreadable:  // a directory can be opened, but not read
                return GiveUp("the requests cannot be read");
            case UserInterface::Next::kEnd:
                if (!user_->IsInteractive()) {
                    Show("peer: " + std::to_string(sequence_) + " requests, all answered\n");
                }
                return Turn::kOver;
        }
        if (turn != Turn::kGoOn) {
            return turn;
        }
    }
    return Turn::kGoOn;
}

Conversation::Turn Conversation::DoLine(const std::string& typed) {
    const std::string line = user_->IsInteractive() ? Expand(typed) : typed;
    if (line.empty() || line.front() == '#') {
        return Turn::kGoOn;
    }
    if (line.substr(0, kWait.size()) == kWait) {
        return DoWait(line.substr(kWait.size()));
    }
    if (user_->IsInteractive() && line == "help") {
        Show(InteractiveHelp());
        return Turn::kGoOn;
    }
    if (user_->IsInteractive() && line == "quit") {
        return Turn::kOver;
    }
    return SendRequest(line);
}

Conversation::Turn Conversation::DoWait(const std::string& name) {
    if (!IsEventName(name)) {
        return Reject("no event is called \"" + name + "\"");
    }
    int& happened = happened_[name];
    if (happened > 0) {
        --happened;
        return Turn::kGoOn;
    }
    awaited_ = name;
    waiting_since_ = Clock::now();
    return gone_ ? AgentIsGone() : Turn::kGoOn;
}

Conversation::Turn Conversation::SendRequest(const std::string& line) {
    const std::string request = MakeRequest(line);
    if (request.size() > static_cast<std::size_t>(kMaxBodyBytes)) {
        return Reject("a request is too long");
    }
    if (!user_->IsInteractive()) {
        user_->Print("> " + line + "\n");
    }
    agent_ends_ = line == "shutdown";
    unanswered_.push_back(++sequence_);
    waiting_since_ = Clock::now();
    (void)link_->Send(sequence_, request);  // an agent that refuses us has sent its reason
    return gone_ ? AgentIsGone() : Turn::kGoOn;
}

// At any time, also while an answer or an event is waited for.
Conversation::Turn Conversation::Interrupt() {
    awaited_.clear();
    return SendRequest("interrupt");
}

Conversation::Turn Conversation::WaitForMore() {
    std::vector<HANDLE> handles = {link_->Arrived()};
    if (!gone_) {
        handles.push_back(link_->Ended());
    }
    if (IsUsersTurn()) {
        handles.push_back(user_->Arrived());
    }
    for (HANDLE const signal : {quit_, interrupt_}) {
        if (signal != nullptr) {
            handles.push_back(signal);
        }
    }
    const DWORD woken = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                               FALSE, TimeLeft());
    if (woken == static_cast<DWORD>(WAIT_TIMEOUT)) {
        return awaited_.empty() ? GiveUp("no answer in time") : EndWait();
    }
    const std::size_t index = woken - WAIT_OBJECT_0;
    if (index >= handles.size()) {
        return GiveUp("waiting failed");
    }
    if (handles[index] == quit_) {
        return Turn::kOver;
    }
    return handles[index] == interrupt_ ? Interrupt() : Turn::kGoOn;
}

Conversation::Turn Conversation::EndWait() {
    const std::string name = std::exchange(awaited_, std::string());
    return Reject("no event \"" + name + "\" came in time");
}

// What a user can put right; a script cannot.
Conversation::Turn Conversation::Reject(const std::string& problem) {
    if (!user_->IsInteractive()) {
        return GiveUp(problem);
    }
    Show("error: " + problem + "\n");
    return Turn::kGoOn;
}

DWORD Conversation::TimeLeft() const {
    if (IsUsersTurn()) {
        return INFINITE;
    }
    const auto waited =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - waiting_since_);
    return timeout_ - static_cast<DWORD>(std::min<long long>(waited.count(), timeout_));
}

Conversation::Turn Conversation::GiveUp(const std::string& reason) {
    if (!unanswered_.empty()) {
        problem_ =
            "request " + std::to_string(unanswered_.front()) + " was not answered: " + reason;
    } else if (!awaited_.empty()) {
        problem_ = "no event \"" + awaited_ + "\" came: " + reason;
    } else {
        problem_ = reason;
    }
    return Turn::kFailed;
}

}  // namespace example
