// Texts of either width for the buffer's tests, and files for it to read.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/leak_check.h"
#include "support/text.h"
#include "ztk/buffer.h"
#include "ztk/strings.h"

namespace ztk_test {

// ascii in characters of T, terminated behind its end.
template <class T>
std::vector<T> Text(std::string_view ascii) {
    std::vector<T> text(ascii.begin(), ascii.end());
    text.push_back(0);
    return text;
}

// The first count lines of a buffer as it stored them, each up to its NUL and with '|' behind it.
template <class T>
std::string Lines(ZTK::CBuffer<T>& buffer, int count) {
    std::string joined;
    std::FILE* none = nullptr;
    for (int i = 0; i < count; ++i) {
        const T* line = buffer.GetNext(none, i);
        for (; line != nullptr && *line != 0; ++line) {
            joined += static_cast<char>(*line);
        }
        joined += line == nullptr ? "(none)|" : "|";
    }
    return joined;
}

// A handle for reading the file of a UTF-8 path, or INVALID_HANDLE_VALUE.
inline HANDLE OpenToRead(const std::string& path) {
    return CreateFileW(ZTK::StrConvert(path.c_str(), 65001), GENERIC_READ,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

// A file of the given bytes, removed at the end of the scope.
class TestFile {
  public:
    explicit TestFile(std::string_view bytes) {
        std::FILE* const file = std::fopen(name_.c_str(), "wb");
        EXPECT_NE(file, nullptr);
        EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
        (void)std::fclose(file);
    }
    TestFile(const TestFile&) = delete;
    TestFile& operator=(const TestFile&) = delete;
    ~TestFile() {
        if (stream_ != nullptr) {
            (void)std::fclose(stream_);
        }
        (void)std::remove(name_.c_str());
    }

    const std::string& Name() const { return name_; }

    // Opens the file anew; the last stream is closed.
    std::FILE*& Open(const char* mode) {
        if (stream_ != nullptr) {
            (void)std::fclose(stream_);
        }
        // The C library itself loses some memory with every stream of a "ccs=" mode.
        const NoLeakCheck not_ours;
        stream_ = std::fopen(name_.c_str(), mode);
        EXPECT_NE(stream_, nullptr) << mode;
        return stream_;
    }

    // As a stream that hands a buffer of T each byte of an ASCII file as a character.
    template <class T>
    std::FILE*& OpenFor() {
        return Open(std::is_same_v<T, char> ? "rb" : "r,ccs=UTF-8");
    }

  private:
    // Its own name: the test programs run side by side in one folder.
    const std::string name_ = "buffer_test_" + std::to_string(std::random_device{}()) + ".tmp";
    std::FILE* stream_ = nullptr;
};

}  // namespace ztk_test
