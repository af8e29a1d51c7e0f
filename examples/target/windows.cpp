// Controls a process of Windows.
#include "target/target.h"

namespace example {

std::unique_ptr<Target> MakeProcessTarget(EventSink*) {
    return nullptr;
}

bool CanControlProcesses(std::string* problem) {
    *problem = "this agent cannot control processes yet";
    return false;
}

}  // namespace example
