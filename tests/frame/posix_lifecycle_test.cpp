// Loading and unloading, and the end of a process. This program itself does not link the library: a
// plugin that does comes and goes.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

struct Plugin {
    void* const library = dlopen(ZTK_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ~Plugin() { EXPECT_EQ(0, dlclose(library)); }
    int Call(const char* name) { return reinterpret_cast<int (*)()>(dlsym(library, name))(); }
};

long CountEntries(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

long CountMappings() {
    std::ifstream maps("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
}

TEST(Lifecycle, ThousandLoadsAndUnloadsLeaveNothingBehind) {
    std::size_t bytes = 0;
    long mappings = 0, threads = 0;
    const long descriptors = CountEntries("/proc/self/fd");
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(3, Plugin().Call("UseAndLeave")) << i;
        ASSERT_EQ(nullptr, dlopen(ZTK_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) << "not unloaded";
        // The first rounds fill what the C library itself keeps for later.
        if (i == 20) {
            bytes = mallinfo2().uordblks;
            mappings = CountMappings();
            threads = CountEntries("/proc/self/task");
        }
    }
    EXPECT_EQ(descriptors, CountEntries("/proc/self/fd"));
    // The system lists a thread for a moment after it has been joined.
    EXPECT_LE(CountEntries("/proc/self/task"), threads + 3);
    EXPECT_LE(mallinfo2().uordblks, bytes + 8192);
    // A leak would add one for each load; a sanitizer maps some memory of its own now and then.
    EXPECT_LE(CountMappings(), mappings + 900);
}

TEST(LifecycleDeathTest, AProcessMayEndWhileItsThreadsRunAndLog) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int i = 0; i < 10; ++i) {
        EXPECT_EXIT(std::exit((new Plugin)->Call("StartEndlessThreads")),
                    testing::ExitedWithCode(0), "");
        EXPECT_EXIT(execl(ZTK_TEST_HOST, ZTK_TEST_HOST, nullptr), testing::ExitedWithCode(0), "");
    }
}

TEST(LifecycleDeathTest, AChildOfForkFindsNothingTakenByThreadsThatDidNotComeAlong) {
    EXPECT_EXIT(std::exit((new Plugin)->Call("ForkWhileThreadsRun")), testing::ExitedWithCode(0),
                "");
}

TEST(LifecycleDeathTest, NeitherForkNorExitWaitsForTheReaderOfALog) {
    EXPECT_EXIT(std::exit((new Plugin)->Call("ForkWhileTheLogStalls")), testing::ExitedWithCode(0),
                "");
}

}  // namespace
