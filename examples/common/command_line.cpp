// Command lines and endpoints of the examples.
#include "common/command_line.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace example {

CommandLine::CommandLine(int argc, char** argv, const char* program, const char* usage)
    : program_(program),
      usage_(usage),
      arguments_(argv + std::min(1, argc), argv + argc),
      help_(std::find(arguments_.begin(), arguments_.end(), "--help") != arguments_.end()) {}

bool CommandLine::Flag(const char* name) {
    const auto found = std::find(arguments_.begin(), arguments_.end(), name);
    if (found == arguments_.end()) {
        return false;
    }
    arguments_.erase(found);
    taken_.emplace_back(name);
    return true;
}

std::string CommandLine::Text(const char* name, const char* otherwise) {
    const auto found = std::find(arguments_.begin(), arguments_.end(), name);
    if (found == arguments_.end()) {
        return otherwise;
    }
    taken_.emplace_back(name);
    const auto next = arguments_.erase(found);
    if (next == arguments_.end() || next->substr(0, 2) == "--") {
        Complain(std::string(name) + " needs a value");
        return otherwise;
    }
    std::string value = *next;
    arguments_.erase(next);
    return value;
}

long CommandLine::Number(const char* name, long least, long most, long otherwise) {
    const std::string text = Text(name, "");
    if (text.empty()) {
        return otherwise;
    }
    long value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec == std::errc() && parsed.ptr == end && value >= least && value <= most) {
        return value;
    }
    Complain(std::string(name) + " takes a number from " + std::to_string(least) + " to " +
             std::to_string(most) + ", not '" + text + "'");
    return otherwise;
}

long CommandLine::RequiredNumber(const char* name, long least, long most) {
    const long value = Number(name, least, most, least - 1);
    if (value < least) {
        Complain(std::string(name) + " is missing");
    }
    return value;
}

std::vector<std::string> CommandLine::Rest(const char* name) {
    const auto found = std::find(arguments_.begin(), arguments_.end(), name);
    if (found == arguments_.end()) {
        return {};
    }
    taken_.emplace_back(name);
    std::vector<std::string> rest(found + 1, arguments_.end());
    arguments_.erase(found, arguments_.end());
    help_ = std::find(arguments_.begin(), arguments_.end(), "--help") != arguments_.end();
    if (rest.empty()) {
        Complain(std::string(name) + " needs a value");
    }
    return rest;
}

void CommandLine::Complain(const std::string& problem) {
    if (problem_.empty()) {
        problem_ = problem;
    }
}

bool CommandLine::IsSettled(int* exit_code) const {
    if (help_) {
        std::fputs(usage_, stdout);
        *exit_code = 0;
        return true;
    }
    std::string problem = problem_;
    if (problem.empty() && !arguments_.empty()) {
        const std::string& argument = arguments_.front();
        const bool again = std::find(taken_.begin(), taken_.end(), argument) != taken_.end();
        problem = again ? argument + " is given twice" : "unknown argument '" + argument + "'";
    }
    if (problem.empty()) {
        return false;
    }
    std::fprintf(stderr, "%s: %s\n%s", program_, problem.c_str(), usage_);
    *exit_code = 2;
    return true;
}

ZTK::TSOSocketInfo Endpoint(const std::string& host, long port) {
    ZTK::TSOSocketInfo info = {};
    info.family = host.find(':') == std::string::npos ? 2 : 23;
    info.protocol = IPPROTO_TCP;
    info.socketType = 1;
    info.port = static_cast<unsigned short>(port);
    // An empty text converts to null, which leaves the host empty: every local address.
    ZTK::StrSafeCopy(info.host, ZTK::StrConvert(host.c_str(), 0), 1024);
    return info;
}

std::string Narrow(const wchar_t* text) {
    const char* narrow = ZTK::StrConvert(text, 65001);
    return narrow == nullptr ? "" : narrow;
}

}  // namespace example
