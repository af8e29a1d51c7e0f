// A user at a terminal: a prompt, a line that can be mended while it is typed, and events that are
// shown above it as they come.
#pragma once

#include <memory>
#include <optional>

#include "peer/line_editor.h"
#include "peer/standard_input.h"
#include "peer/user_interface.h"

namespace example {

class Console final : public UserInterface {
  public:
    // Begins to read. The reading thread keeps the object until the process ends; End gives the
    // terminal back. Null when there is no thread.
    static std::shared_ptr<Console> Open(std::string prompt);

    explicit Console(std::string prompt);
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console() override;

    // Takes the prompt away and leaves the terminal as it was.
    void End();

    // UserInterface
    [[nodiscard]] HANDLE Arrived() const override { return arrived_; }
    Next Take(std::string* line) override;
    void Print(std::string_view lines) override;
    [[nodiscard]] bool IsInteractive() const override { return true; }

  private:
    static DWORD WINAPI ReadingThread(void* console);
    void ReadAll();
    bool Feed(char byte);
    void Redraw();

    enum class Asking { kNotYet, kNow, kAnswered, kEnded };

    const std::string prompt_;
    const HANDLE arrived_;
    const HANDLE asked_;  // auto-reset: the prompt is shown
    ZTK::CLock lock_;     // guards all below, and what is on the screen
    std::optional<Terminal> terminal_;
    LineEditor editor_;
    Asking asking_ = Asking::kNotYet;
};

}  // namespace example
