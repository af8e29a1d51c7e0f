// Texts that the system and its users exchange.
#pragma once

#include <string>

#include <ztk/ztk.h>

namespace example {

// The system's own words for an error, without line end and full stop.
std::string SystemText(DWORD error);

// The path of an open file as people write it: "C:\folder\file"; empty if the system does not tell.
std::string PathOfFile(HANDLE file);

}  // namespace example
