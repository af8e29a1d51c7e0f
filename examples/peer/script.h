// Requests from a file or a pipe.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>

#include "peer/user_interface.h"

namespace example {

class Script final : public UserInterface {
  public:
    // Gives the next bytes: 0 at the end, -1 when they cannot be read.
    using Source = std::function<long(char* bytes, std::size_t count)>;

    // Begins to read. The reading thread keeps the object for as long as it needs it. Null when
    // there is no thread.
    static std::shared_ptr<Script> Open(Source source);

    explicit Script(Source source);
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() override;

    // UserInterface
    [[nodiscard]] HANDLE Arrived() const override { return arrived_; }
    Next Take(std::string* line) override;
    void Print(std::string_view lines) override;
    [[nodiscard]] bool IsInteractive() const override { return false; }

  private:
    static DWORD WINAPI ReadingThread(void* script);
    void ReadAll();
    void Push(std::string line);

    const Source source_;
    const HANDLE arrived_;
    const HANDLE taken_;  // auto-reset: there is room for another line
    ZTK::CLock lock_;     // guards the three below
    std::deque<std::string> lines_;
    bool ended_ = false;
    bool unreadable_ = false;
};

}  // namespace example
