// External definitions: whether they are allowed, which file an address means, and its bytes.
#pragma once

#include <cstddef>

namespace ZTKPosix::dom {

// The process's permission, see SetExternalsAllowed.
[[nodiscard]] bool ExternalsAllowed() noexcept;

// The path that address names. It may be an absolute path, a file: address of this host or, when it
// stands in a file, whose path is base, a path relative to that file; base is null for an address
// that stands in the document itself. A new string, which the caller gives back with RuntimeFree;
// null when address names no local file, and when memory is short, which no_memory tells.
[[nodiscard]] char* ResolveLocalFile(const char* address, const char* base,
                                     bool& no_memory) noexcept;

// A regular file, open for reading until this object goes. Symbolic links are followed. Nothing but
// a regular file is opened: opening a pipe may wake who waits at its other end, and opening a
// device may do anything.
class LocalFile {
  public:
    explicit LocalFile(const char* path) noexcept;
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;
    ~LocalFile();

    // False when path leads to nothing, to what may not be read, or to no regular file.
    [[nodiscard]] bool IsOpen() const noexcept { return descriptor_ >= 0; }

    // In bytes, at the time of opening. REQUIRES: IsOpen.
    [[nodiscard]] std::size_t Size() const noexcept { return size_; }

    // Reads on from where the last call ended, until capacity bytes are there or the file ends;
    // length says how many were read. False when reading fails. REQUIRES: IsOpen.
    [[nodiscard]] bool Read(char* buffer, std::size_t capacity, std::size_t& length) noexcept;

  private:
    int descriptor_;
    std::size_t size_ = 0;
};

}  // namespace ZTKPosix::dom
