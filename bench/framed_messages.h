// The messages that the benchmarks of framing send, and a receiver of them.
#pragma once

#include <memory>
#include <vector>

#include "ztk/messages.h"

namespace ztk_bench {

// Two bytes of total size, then the body.
class Message : public ZTK::CSocketMsg {
  public:
    ~Message() override = default;
    bool ParseHeader(int* length, int* offset, int* trailer) override {
        if (GetRecvSize() < 2) {
            return false;
        }
        const auto* packet = reinterpret_cast<const unsigned char*>(GetPacket());
        *length = packet[0] + 256 * packet[1] - 2;
        *offset = 2;
        *trailer = 0;
        return true;
    }
};

class Receiver : public ZTK::CSocketMsgReceiver {
  public:
    ZTK::CSocketMsg* CreateMessage() override {
        made_.push_back(std::make_unique<Message>());
        return made_.back().get();
    }

  private:
    std::vector<std::unique_ptr<Message>> made_;
};

}  // namespace ztk_bench
