// Asks a running gdbserver, or another server of its protocol, what its target looks like, and
// prints architecture, features and registers.
//
//     gdbserver --once 127.0.0.1:9001 /bin/true
//     gdb_target --port 9001
#include <cstdio>

#include "common/command_line.h"
#include "common/socket_library.h"
#include "gdb_target/gdb_session.h"
#include "gdb_target/target_description.h"

namespace {

constexpr const char* kUsage =
    "usage: gdb_target --port N [--host HOST] [--timeout SECONDS]\n"
    "\n"
    "Connects to a gdbserver, prints its target's architecture, features and registers, and lets "
    "the\n"
    "target go.\n"
    "\n"
    "  --host HOST        name or address of the server (127.0.0.1)\n"
    "  --port N           its port\n"
    "  --timeout SECONDS  how long to wait for each answer (10)\n"
    "\n"
    "Exit code: 0 when the target was described, 1 on an error, 2 for a bad command line.\n";

void Print(const example::TargetDescription& target) {
    if (!target.Architecture().empty()) {
        std::printf("architecture: %s\n", target.Architecture().c_str());
    }
    if (!target.System().empty()) {
        std::printf("system:       %s\n", target.System().c_str());
    }
    std::printf("features:\n");
    for (const example::Feature& feature : target.Features()) {
        const char* name = feature.name.empty() ? "(no name)" : feature.name.c_str();
        std::printf("  %-32s %3u registers\n", name,
                    static_cast<unsigned>(feature.registers.size()));
    }
    std::printf("registers:\n  %6s  %-12s %5s  %s\n", "number", "name", "bits", "type");
    for (const example::Feature& feature : target.Features()) {
        for (const example::Register& reg : feature.registers) {
            std::printf("  %6d  %-12s %5d  %s\n", reg.number, reg.name.c_str(), reg.bits,
                        reg.type.c_str());
        }
    }
}

void PrintNotes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        std::fprintf(stderr, "gdb_target: note: %s\n", note.c_str());
    }
}

// From the server's documents, or from its list of registers. Throws SessionError.
example::TargetDescription Read(example::GdbSession& session) {
    example::TargetDescription target;
    std::string problem = "the server has no documents about it";
    const example::DocumentSource documents = [&session](const std::string& name,
                                                         std::string* text) {
        return session.ReadDocument(name, text);
    };
    if (session.HasDocuments() && target.Read(documents, &problem)) {
        return target;
    }
    PrintNotes(target.Notes());
    example::TargetDescription list;
    if (!list.ReadList([&session](int number, std::string* info) {
            return session.ReadRegister(number, info);
        })) {
        throw example::SessionError{"the target cannot be described: " + problem +
                                    ", and no list of its registers"};
    }
    PrintNotes({problem + "; these are the registers of its list"});
    return list;
}

// Throws SessionError.
void Describe(const std::string& host, long port, long timeout) {
    example::GdbSession session(static_cast<DWORD>(timeout * 1000));
    session.Connect(host, port);
    session.Agree();
    const example::TargetDescription target = Read(session);
    Print(target);
    PrintNotes(session.Notes());
    PrintNotes(target.Notes());
    try {
        session.Detach();
    } catch (const example::SessionError& error) {
        PrintNotes({error.text});  // some servers close the connection instead
    }
}

int Run(const std::string& host, long port, long timeout) {
    try {
        Describe(host, port, timeout);
        return 0;
    } catch (const example::SessionError& error) {
        std::fprintf(stderr, "gdb_target: %s\n", error.text.c_str());
    } catch (const _com_error& error) {
        std::fprintf(stderr, "gdb_target: the XML parser failed: %s (0x%08X)\n",
                     static_cast<const char*>(error.ErrorMessage()),
                     static_cast<unsigned>(error.Error()));
    }
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    example::CommandLine line(argc, argv, "gdb_target", kUsage);
    const std::string host = line.Text("--host", "127.0.0.1");
    const long port = line.RequiredNumber("--port", 1, 65535);
    const long timeout = line.Number("--timeout", 1, 3600, 10);
    int exit_code = 0;
    if (line.IsSettled(&exit_code)) {
        return exit_code;
    }
    const example::SocketLibrary sockets;
    return Run(host, port, timeout);
}
