// The agent's peer: a small debugger on a terminal, and for scripts a program that sends requests
// and prints the answers.
//
//     peer --port 9000
//     peer --port 9000 --requests requests.txt
//     echo "evaluate 6*7" | peer --port 9000
//     peer --port 9000 --pipeline 1000000
#include <cstdio>
#include <fstream>
#include <memory>

#include "common/command_line.h"
#include "common/interrupts.h"
#include "common/socket_library.h"
#include "peer/console.h"
#include "peer/conversation.h"
#include "peer/pipeline.h"
#include "peer/script.h"

namespace {

constexpr const char* kUsage =
    "usage: peer --port N | --port-file F [--host HOST] [--wait-event N]\n"
    "            [--requests FILE | --pipeline N] [--timeout S]\n"
    "\n"
    "Sends requests to an agent, and prints its answers and what happens to its debuggee.\n"
    "On a terminal it asks for them; try \"help\" there.\n"
    "\n"
    "  --host HOST      name or address of the agent (127.0.0.1)\n"
    "  --port N         the agent's port\n"
    "  --port-file F    the file in which the agent has written its port\n"
    "  --wait-event N   connect once the agent has set the event of name N\n"
    "  --requests FILE  one request a line, sent one after the other; - is standard input (-).\n"
    "                   A line \"wait EVENT\" waits for an event, such as stopped or exited\n"
    "  --pipeline N     send N requests without waiting for answers, and check that all come back\n"
    "  --timeout S      give up when no answer, or the event, comes for S seconds (30)\n"
    "\n"
    "Exit code: 0 if every request was answered, 1 if not, 2 for a bad command line.\n";

struct Settings {
    std::string host;
    long port = 0;
    std::string port_file;
    std::string wait_event;
    std::string requests;
    long pipeline = 0;
    long timeout = 0;
};

DWORD Timeout(const Settings& settings) {
    return static_cast<DWORD>(settings.timeout * 1000);
}

// Waits until the agent is ready. Whoever of the two comes first makes the event.
bool WaitForAgent(const std::string& event_name, DWORD timeout) {
    HANDLE const event =
        CreateEventW(nullptr, TRUE, FALSE, ZTK::StrConvert(event_name.c_str(), 65001));
    if (event == nullptr) {
        std::fprintf(stderr, "peer: cannot open the event %s (%lu)\n", event_name.c_str(),
                     static_cast<unsigned long>(::GetLastError()));
        return false;
    }
    const bool ready = WaitForSingleObject(event, timeout) == WAIT_OBJECT_0;
    CloseHandle(event);
    if (!ready) {
        std::fprintf(stderr, "peer: nobody has set the event %s\n", event_name.c_str());
    }
    return ready;
}

// The connection of whoever needs one; null, with the reason on standard error, without an agent.
std::unique_ptr<example::AgentLink> Connect(const Settings& settings) {
    long port = settings.port;
    if (port == 0 && !(std::ifstream(settings.port_file) >> port)) {
        std::fprintf(stderr, "peer: there is no port in %s\n", settings.port_file.c_str());
        return nullptr;
    }
    auto link = std::make_unique<example::AgentLink>();
    return link->Connect(settings.host, port) ? std::move(link) : nullptr;
}

// The lines of a file, or of the standard input where there is none.
std::shared_ptr<example::Script> OpenScript(const std::shared_ptr<std::ifstream>& file) {
    if (file == nullptr) {
        return example::Script::Open(example::ReadStandardInput);
    }
    return example::Script::Open([file](char* bytes, std::size_t count) {
        file->read(bytes, static_cast<std::streamsize>(count));
        return file->bad() ? -1L : static_cast<long>(file->gcount());
    });
}

void Report(const example::Conversation& conversation, bool ok) {
    if (!ok) {
        std::fprintf(stderr, "peer: %s\n", conversation.Problem().c_str());
    }
}

bool Converse(const Settings& settings, const std::shared_ptr<std::ifstream>& file) {
    const auto link = Connect(settings);
    const auto script = link == nullptr ? nullptr : OpenScript(file);
    if (script == nullptr) {
        return false;
    }
    example::Conversation conversation(link.get(), script.get(), Timeout(settings));
    const bool ok = conversation.Run();
    Report(conversation, ok);
    return ok;
}

// Ctrl-C is for the debuggee here, so it is ours before another thread could take it.
bool ConverseOnTerminal(const Settings& settings) {
    const example::Interrupts interrupts;
    const auto link = Connect(settings);
    const auto console = link == nullptr ? nullptr : example::Console::Open("peer> ");
    if (console == nullptr) {
        return false;
    }
    example::Conversation conversation(link.get(), console.get(), Timeout(settings));
    conversation.ListenTo(interrupts.Interrupted(), interrupts.EndRequested());
    console->Print("\"help\" lists the commands.\n");
    const bool ok = conversation.Run();
    console->End();
    Report(conversation, ok);
    return ok;
}

bool Talk(const Settings& settings) {
    const bool has_file = settings.requests != "-";
    const auto file = has_file ? std::make_shared<std::ifstream>(settings.requests) : nullptr;
    if (has_file && settings.pipeline == 0 && !*file) {
        std::fprintf(stderr, "peer: cannot read %s\n", settings.requests.c_str());
        return false;
    }
    if (!settings.wait_event.empty() && !WaitForAgent(settings.wait_event, Timeout(settings))) {
        return false;
    }
    if (settings.pipeline > 0) {
        const auto link = Connect(settings);
        return link != nullptr &&
               example::RunPipeline(link.get(), settings.pipeline, Timeout(settings));
    }
    if (!has_file && example::Terminal::IsThere()) {
        return ConverseOnTerminal(settings);
    }
    return Converse(settings, file);
}

}  // namespace

int main(int argc, char** argv) {
    example::CommandLine line(argc, argv, "peer", kUsage);
    Settings settings;
    settings.host = line.Text("--host", "127.0.0.1");
    settings.port_file = line.Text("--port-file", "");
    settings.port = settings.port_file.empty() ? line.RequiredNumber("--port", 1, 65535) : 0;
    settings.wait_event = line.Text("--wait-event", "");
    settings.requests = line.Text("--requests", "-");
    settings.pipeline = line.Number("--pipeline", 1, 100000000, 0);
    settings.timeout = line.Number("--timeout", 1, 86400, 30);
    int exit_code = 0;
    if (line.IsSettled(&exit_code)) {
        return exit_code;
    }
    const example::SocketLibrary sockets;
    return Talk(settings) ? 0 : 1;
}
