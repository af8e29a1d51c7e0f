// Asks a running gdbserver what its target looks like, and prints architecture, features and
// registers.
//
//     gdbserver --once 127.0.0.1:9001 /bin/true
//     gdb_target --port 9001
#include <cstdio>

#include "command_line.h"
#include "gdb_session.h"
#include "socket_library.h"
#include "target_description.h"

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
    std::printf("architecture: %s\n", target.Architecture().c_str());
    if (!target.System().empty()) {
        std::printf("system:       %s\n", target.System().c_str());
    }
    std::printf("features:\n");
    for (const example::Feature& feature : target.Features()) {
        std::printf("  %-32s %3u registers\n", feature.name.c_str(),
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

// Throws SessionError.
void Describe(const std::string& host, long port, long timeout) {
    example::GdbSession session(static_cast<DWORD>(timeout * 1000));
    session.Connect(host, port);
    session.Agree();
    example::TargetDescription target;
    std::string problem;
    const example::DocumentSource source = [&session](const std::string& name) {
        return session.ReadDescription(name);
    };
    if (!target.Read(source, &problem)) {
        throw example::SessionError{"the target's description makes no sense: " + problem};
    }
    session.Detach();
    Print(target);
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
