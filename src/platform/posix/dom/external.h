// External definitions: which file an address means, and its bytes.
#pragma once

#include <cstddef>

namespace ZTKPosix::dom {

// The process's permission, see SetExternalsAllowed.
[[nodiscard]] bool ExternalsAllowed() noexcept;

// The path that address names as it stands in the file base (null: in the document): an absolute
// path, a file: address without a foreign host, or, in a file, a path relative to it. A new string
// for RuntimeFree; null when it names no local file or memory is short.
[[nodiscard]] char* ResolveLocalFile(const char* address, const char* base) noexcept;

// An open regular file.
class LocalFile {
  public:
    explicit LocalFile(const char* path) noexcept;
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;
    ~LocalFile();

    [[nodiscard]] bool IsOpen() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] std::size_t Size() const noexcept { return size_; }

    // Reads into buffer up to its end or the file's; false when reading fails.
    [[nodiscard]] bool Read(char* buffer, std::size_t capacity, std::size_t& length) noexcept;

  private:
    int descriptor_;
    std::size_t size_ = 0;
};

}  // namespace ZTKPosix::dom
