// Many requests at once.
#include "peer/pipeline.h"

#include <cstdio>

namespace example {

namespace {

constexpr std::size_t kSendAtOnce = 64 * 1024;  // bytes of requests

// Requests are numbered; each is to come back as it is.
std::string TextOf(long number) {
    return "message " + std::to_string(number) + " of the pipeline";
}

struct Sender {
    AgentLink* link;
    long count;
};

DWORD WINAPI SendRequests(void* parameter) {
    const auto* sender = static_cast<Sender*>(parameter);
    ZTK::CSendBatch batch(sender->link->Socket());
    for (long number = 1; number <= sender->count; ++number) {
        const bool added = AddMessage(&batch, Kind::kRequest, static_cast<std::uint32_t>(number),
                                      MakeRequest("echo " + TextOf(number)));
        const bool is_enough = batch.GetSize() >= kSendAtOnce || number == sender->count;
        if (!added || (is_enough && !batch.Send())) {
            break;  // the checking side notices that no more answers come
        }
    }
    return 0;
}

// The next answer; what happens to the debuggee meanwhile is of no interest here.
Message* WaitForAnswer(AgentLink* link, DWORD timeout) {
    Message* answer = link->Wait(timeout);
    while (answer != nullptr && answer->GetKind() == Kind::kEvent) {
        answer = link->Wait(timeout);
    }
    return answer;
}

// An answer that is written as our agents write it is known without reading its XML.
bool IsAnswerTo(long number, Message& answer, AgentLink* link) {
    const std::string expected = TextOf(number);
    return answer.GetKind() == Kind::kAnswer &&
           answer.GetSequence() == static_cast<std::uint32_t>(number) &&
           (answer.GetBody() == MakeAnswer(expected) || link->TextOf(answer) == expected);
}

void ReportFailure(AgentLink* link, long number, bool came) {
    std::string reason = came ? "the answer does not match" : link->Problem();
    if (reason.empty()) {
        reason = "no answer in time";
    }
    std::fprintf(stderr, "peer: message %ld was not answered: %s\n", number, reason.c_str());
}

}  // namespace

bool RunPipeline(AgentLink* link, long count, DWORD timeout) {
    Sender sender{link, count};
    HANDLE thread = CreateThread(nullptr, 0, SendRequests, &sender, 0, nullptr);
    if (thread == nullptr) {
        std::fprintf(stderr, "peer: no thread\n");
        return false;
    }
    long answered = 0;
    while (answered < count) {
        Message* answer = WaitForAnswer(link, timeout);
        if (answer == nullptr || !IsAnswerTo(answered + 1, *answer, link)) {
            ReportFailure(link, answered + 1, answer != nullptr);
            link->Close();  // ends a blocked send
            break;
        }
        ++answered;
        if (count >= 10 && answered % (count / 10) == 0) {
            std::printf("peer: %ld of %ld came back\n", answered, count);
            std::fflush(stdout);
        }
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    if (answered == count) {
        std::printf("peer: all %ld messages came back\n", count);
    }
    return answered == count;
}

}  // namespace example
