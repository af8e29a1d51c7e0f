// Many requests at once, for measuring and for trying an agent under load.
#pragma once

#include "peer/agent_link.h"

namespace example {

// Sends count requests from a thread of its own, and checks meanwhile that each comes back as it
// is. Gives up when no answer comes for `timeout` milliseconds. False, with the reason on standard
// error, when one was not answered.
bool RunPipeline(AgentLink* link, long count, DWORD timeout);

}  // namespace example
