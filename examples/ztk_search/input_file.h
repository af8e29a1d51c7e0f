// Files to read, with an explanation when one cannot be read.
#pragma once

#include <string>

#include <ztk/ztk.h>

namespace example {

// A file opened for reading.
class InputFile {
  public:
    explicit InputFile(const std::string& path);

    [[nodiscard]] HANDLE Handle() const { return handle_.get(); }

    // Why there is nothing to read, or an empty text. *size receives the size in bytes.
    std::string Problem(DWORD* size) const;

    // Whether the next two bytes are the mark of UTF-16 (little-endian), which are then read.
    [[nodiscard]] bool TakeMark() const;

  private:
    std::string OpenProblem() const;

    const std::string path_;
    const ZTK::COwnedHandle handle_;
    const DWORD error_;
};

}  // namespace example
