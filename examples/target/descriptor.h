// A file descriptor with an owner.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace example {

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Close();
        number_ = std::exchange(other.number_, -1);
        return *this;
    }
    ~Descriptor() { Close(); }

    [[nodiscard]] int Get() const { return number_; }
    [[nodiscard]] bool IsOpen() const { return number_ >= 0; }

    void Close() {
        if (number_ >= 0) {
            close(std::exchange(number_, -1));
        }
    }

  private:
    int number_;
};

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

// Both ends are closed at an exec. Never 0, 1 or 2, not even where these are closed: they are what
// a new program's standard streams are put into. False, with errno set, when the system has none.
inline bool MakePipe(Pipe* made) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    const Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    made->reading = Descriptor(fcntl(reading.Get(), F_DUPFD_CLOEXEC, 3));
    made->writing = Descriptor(fcntl(writing.Get(), F_DUPFD_CLOEXEC, 3));
    return made->reading.IsOpen() && made->writing.IsOpen();
}

}  // namespace example
