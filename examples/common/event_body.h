// Events as the bodies of messages: XML, made by the agent and read by its peers.
#pragma once

#include <string>

#include "common/xml_body.h"
#include "target/event.h"

namespace example {

// The name of an event of that kind on the wire, such as "stopped".
const char* NameOf(Event::Kind kind);

// Why and where the debuggee stopped: "breakpoint 1 in thread 71 at work (0x401136)".
std::string DescribeStop(const Event& stop);

// <event name="stopped" reason="breakpoint" process="71" thread="71" address="0x401136" .../>
// Attributes that have nothing to say are left out. docs/wire-format.md has all of them.
std::string MakeEvent(const Event& event);

// Reads what MakeEvent made. REQUIRES: body was loaded with the root "event". False for an
// event that is not known, or whose Base64 is damaged; a peer may skip it. Raises _com_error.
bool ReadEvent(XmlBody& body, Event* event);

}  // namespace example
