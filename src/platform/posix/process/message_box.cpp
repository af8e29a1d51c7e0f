// The message box: a host's handler, or standard error.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/posix/process/standard_error.h"
#include "platform/posix/text/code_page.h"
#include "ztk/platform.h"

namespace ZTKPosix {
namespace {

std::atomic<MessageBoxHandler> installed_handler{nullptr};

// The bytes of a message, put together first so that they reach standard error in one write.
class Message {
  public:
    Message() noexcept = default;
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;
    ~Message() {
        if (bytes_ != local_) {
            ZTK::allocation::RuntimeFree(bytes_);
        }
    }

    // Adds text as a line in UTF-8. Where memory for it is short, the line is left out.
    void AddLine(LPCWSTR text) noexcept {
        const int needed = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
        if (needed == 0 || !Reserve(used_ + static_cast<std::size_t>(needed))) {
            return;
        }
        WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes_ + used_, needed, nullptr, nullptr);
        used_ += static_cast<std::size_t>(needed);
        bytes_[used_ - 1] = '\n';
    }

    void Show() const noexcept { WriteStandardError(bytes_, used_); }

  private:
    bool Reserve(std::size_t room) noexcept {
        if (room <= room_) {
            return true;
        }
        auto* const grown = static_cast<char*>(ZTK::allocation::RuntimeAlloc(room));
        if (grown == nullptr) {
            return false;
        }
        std::memcpy(grown, bytes_, used_);
        if (bytes_ != local_) {
            ZTK::allocation::RuntimeFree(bytes_);
        }
        bytes_ = grown;
        room_ = room;
        return true;
    }

    char local_[2048];
    char* bytes_ = local_;
    std::size_t room_ = sizeof local_;
    std::size_t used_ = 0;
};

// Reads one line from the terminal. The end of the input acknowledges, too.
void WaitForEnter() noexcept {
    if (::isatty(STDIN_FILENO) == 0) {
        return;
    }
    char c = 0;
    while (c != '\n') {
        const ssize_t count = ::read(STDIN_FILENO, &c, 1);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return;
        }
    }
}

}  // namespace

int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style) noexcept {
    if (const MessageBoxHandler handler = installed_handler.load(std::memory_order_acquire)) {
        return handler(owner, text, caption, style);
    }
    Message message;
    message.AddLine(caption != nullptr ? caption : L"Error");  // the platform's own default
    message.AddLine(text != nullptr ? text : L"");
    message.Show();
    WaitForEnter();
    return IDOK;
}

MessageBoxHandler SetMessageBoxHandler(MessageBoxHandler handler) noexcept {
    return installed_handler.exchange(handler, std::memory_order_acq_rel);
}

}  // namespace ZTKPosix
