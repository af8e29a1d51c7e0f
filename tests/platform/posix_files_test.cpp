// What the layer for Linux promises about files beyond the platform.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/buffer_text.h"
#include "support/faults.h"
#include "support/open_handles.h"
#include "ztk/strings.h"

namespace {

using ztk_test::TestFile;

HANDLE Open(const wchar_t* path, DWORD access = GENERIC_READ) {
    SetLastError(0);
    return CreateFileW(path, access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(PosixFiles, OnlyRegularFilesAreOpenedAndOnlyForReading) {
    TestFile file("x");
    const std::string pipe = file.Name() + ".pipe";
    const std::string denied = file.Name() + ".denied";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/null/file", denied.c_str()), 0);
    std::vector<wchar_t> endless(5000, L'a');
    endless.push_back(0);
    const wchar_t lone_surrogate[] = {0xD800, 0};
    const struct {
        const wchar_t* path;
        DWORD access, error;
    } cases[] = {{nullptr, GENERIC_READ, ERROR_PATH_NOT_FOUND},
                 {ZTK::StrConvert(pipe.c_str(), 0), GENERIC_READ, ERROR_NOT_SUPPORTED},
                 {L"/dev/null", GENERIC_READ, ERROR_NOT_SUPPORTED},
                 {ZTK::StrConvert(denied.c_str(), 0), GENERIC_READ, ERROR_PATH_NOT_FOUND},
                 {lone_surrogate, GENERIC_READ, ERROR_FILE_NOT_FOUND},
                 {endless.data(), GENERIC_READ, ERROR_FILENAME_EXCED_RANGE},
                 {L"/", GENERIC_READ, ERROR_ACCESS_DENIED},
                 {L"/no-such-file", GENERIC_READ, ERROR_FILE_NOT_FOUND},
                 {ZTK::StrConvert(file.Name().c_str(), 0), 0x40000000, ERROR_NOT_SUPPORTED}};
    for (const auto& c : cases) {
        EXPECT_EQ(Open(c.path, c.access), INVALID_HANDLE_VALUE) << &c - cases;
        EXPECT_EQ(GetLastError(), c.error) << &c - cases;
    }
    (void)unlink(pipe.c_str());
    (void)unlink(denied.c_str());
}

TEST(PosixFiles, AFailedOpenAndTheLastCloseLeaveNoDescriptor) {
    TestFile file("x");
    const wchar_t* const path = ZTK::StrConvert(file.Name().c_str(), 0);
    CloseHandle(Open(path));  // the table of handles has its memory from here on
    const int open = ztk_test::OpenHandles();
    ztk_test::FailAfter(0);
    EXPECT_EQ(Open(path), INVALID_HANDLE_VALUE);
    ztk_test::StopFailing();
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    HANDLE const handle = Open(path);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 0));
    char byte = 0;
    DWORD read = 0;
    EXPECT_FALSE(ReadFile(handle, nullptr, 1, &read, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NOACCESS);
    EXPECT_FALSE(ReadFile(handle, &byte, 1, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ztk_test::OpenHandles(), open + 1);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(ztk_test::OpenHandles(), open);
}

}  // namespace
