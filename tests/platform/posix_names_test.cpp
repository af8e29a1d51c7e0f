// What the layer for Linux promises about names that processes share: that no process can hurt
// another one by dying, by writing rubbish, or by putting something else in the table's place.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "support/faults.h"
#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

constexpr DWORD kPatience = 10000;

LPCWSTR Name(const char* what) {
    static const long base = getpid();
    return ZTK::StrFormat(L"ztk-test-%ld-%hs", base, what);
}

HANDLE Event(const char* name, BOOL manual = FALSE) {
    return CreateEventW(nullptr, manual, FALSE, Name(name));
}
HANDLE Mutex(const char* name, BOOL owned = FALSE) {
    return CreateMutexW(nullptr, owned, Name(name));
}

// What is about several processes needs a system whose processes can share names.
struct PosixNames : testing::Test {
    void SetUp() override {
        if (!ZTKPosix::NamesAreShared()) {
            GTEST_SKIP() << "no /dev/shm, or a system older than Linux 5.16";
        }
    }
};

// A child of fork that ends with what body returns, or is killed.
template <typename Body>
int Status(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(body());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// Everything that a process does with the table. Returns how many steps that were.
long long UseTable(long long deadly_step) {
    ztk_test::DieAtStep(deadly_step);
    HANDLE const all[] = {Event("a"), Mutex("m"), Event("b")};
    HANDLE const own[] = {Event("own", TRUE), Mutex("own mutex", TRUE)};
    HANDLE const not_all[] = {all[1], own[1], own[0]};
    std::thread([&] {
        WaitForMultipleObjects(3, all, TRUE, 0);
        ReleaseMutex(all[1]);
        WaitForSingleObject(all[1], 0);  // and leaves it abandoned
        WaitForMultipleObjects(3, not_all, TRUE, 0);
    }).join();
    WaitForMultipleObjects(3, not_all, TRUE, 0);
    for (HANDLE handle : {own[0], own[1], all[0], all[1], all[2]}) {
        CloseHandle(handle);
    }
    return ztk_test::DieAtStep(0);
}

// At each step one process dies, and so does, in the second round, the next one while it puts right
// what a process before it left.
TEST_F(PosixNames, AProcessMayDieAtEveryStep) {
    const bool thorough = std::getenv("ZTK_TEST_THOROUGH") != nullptr;
    alarm(thorough ? 0 : 20);
    HANDLE const a = Event("a"), b = Event("b"), m = Mutex("m");
    long long steps = 0, deaths = 0;
    for (int first = 0; first == 0 || first <= steps; first += thorough ? 1 : 40) {
        for (int second = 1;; second += thorough || first == 0 ? 1 : 5) {
            ASSERT_TRUE(SetEvent(a) && SetEvent(b));
            if (first != 0) {
                Status([&] { return UseTable(first) == 0; });
            }
            const int status = Status([&] { return UseTable(second) == 0; });
            ASSERT_TRUE(WIFEXITED(status) || WTERMSIG(status) == SIGKILL) << second << " hangs";
            deaths += WIFSIGNALED(status);
            const DWORD got_a = WaitForSingleObject(a, 0), got_b = WaitForSingleObject(b, 0);
            EXPECT_EQ(got_a, got_b) << first << ", " << second << ": taken by half";
            const DWORD owner = WaitForSingleObject(m, kPatience);
            EXPECT_TRUE(owner == WAIT_OBJECT_0 || owner == WAIT_ABANDONED) << owner;
            EXPECT_EQ(WaitForSingleObject(m, 0), WAIT_OBJECT_0) << "told twice";
            EXPECT_TRUE(ReleaseMutex(m) && ReleaseMutex(m));
            for (HANDLE fresh : {Event("own mutex"), Mutex("own")}) {
                EXPECT_TRUE(GetLastError() == 0 && CloseHandle(fresh)) << second << " left a name";
            }
            if (WIFEXITED(status)) {
                steps = first == 0 ? second - 1 : steps;
                break;
            }
        }
    }
    EXPECT_GT(steps, 40);
    std::printf("%lld steps, %lld deaths\n", steps, deaths);
    EXPECT_TRUE(CloseHandle(a) && CloseHandle(b) && CloseHandle(m));
}

TEST_F(PosixNames, AChildOfForkHasObjectsOfItsOwn) {
    HANDLE const event = Event("forked", TRUE), mutex = Mutex("forked mutex", TRUE);
    HANDLE const freed = Mutex("free mutex");
    const int status = Status([&] {
        const bool apart = !ReleaseMutex(mutex) && GetLastError() == ERROR_NOT_OWNER &&
                           WaitForSingleObject(mutex, 0) == WAIT_ABANDONED &&
                           WaitForSingleObject(freed, 0) == WAIT_OBJECT_0 && SetEvent(event) &&
                           WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
        HANDLE const same = Event("forked");
        return apart && GetLastError() == ERROR_ALREADY_EXISTS && CloseHandle(event) &&
                       WaitForSingleObject(same, 0) == WAIT_TIMEOUT && SetEvent(same)
                   ? 0
                   : 1;
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(CloseHandle(event) && CloseHandle(mutex) && CloseHandle(freed));
}

TEST(PosixNamesAnywhere, HaveUpTo260Characters) {
    std::u16string name(260, u'x');
    for (const std::u16string prefix : {u"", u"Local\\", u"Global\\"}) {
        const std::u16string fits = prefix + name, longer = fits + u'x';
        HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, LPCWSTR(fits.c_str()));
        EXPECT_TRUE(event != nullptr && CloseHandle(event));
        EXPECT_EQ(CreateEventW(nullptr, FALSE, FALSE, LPCWSTR(longer.c_str())), nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_FILENAME_EXCED_RANGE});
    }
}

// --- In a /dev/shm of its own, so that nobody else is disturbed

std::string TablePath() {
    const std::filesystem::directory_iterator files("/dev/shm"), end;
    const auto found = std::find_if(files, end, [](const auto& entry) {
        return entry.path().filename().string().starts_with("ztk-names-");
    });
    return found != end ? found->path().string() : std::string();
}

// Runs a disabled test of this program after the shell has prepared /dev/shm, where the table would
// be at $f. Returns its exit code; 77 if a process may not have such a folder here.
int RunIsolated(const char* test, const std::string& prepare) {
    const char* const flags = geteuid() == 0 ? "-m" : "-rm";
    if (std::system((std::string("unshare ") + flags + " true 2>/dev/null").c_str()) != 0) {
        return 77;
    }
    const std::string script =
        "mount -t tmpfs none /dev/shm 2>/dev/null || exit 77; "
        "f=/dev/shm/ztk-names-$(id -u)-$(stat -Lc %i /proc/self/ns/pid)-"
        "$(stat -Lc %i /proc/self/ns/time)-1; " +
        prepare + "; exec \"$0\" --gtest_brief=1 --gtest_also_run_disabled_tests " +
        "--gtest_filter=\"$1\"";
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const int status = Status([&] {
        execlp("unshare", "unshare", flags, "sh", "-c", script.c_str(), program.c_str(), test,
               nullptr);
        return 77;
    });
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Names work within the process in any case.
void UseNames() {
    HANDLE const event = Event("x"), same = Event("x");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(SetEvent(event) && WaitForSingleObject(same, kPatience) == WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(event) && CloseHandle(same));
}

TEST(PosixNamesAnywhere, DISABLED_AreShared) {
    EXPECT_TRUE(ZTKPosix::NamesAreShared());
    UseNames();
    struct stat file;
    EXPECT_TRUE(stat(TablePath().c_str(), &file) == 0 && (file.st_mode & 0077) == 0);
}

TEST(PosixNamesAnywhere, DISABLED_AreThisProcesssOwn) {
    EXPECT_FALSE(ZTKPosix::NamesAreShared());
    UseNames();
}

TEST(PosixNamesAnywhere, DISABLED_AreThisProcesssOwnUnderAFilter) {
    constexpr unsigned kFutexWaitv = 449;
    sock_filter steps[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kFutexWaitv, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter = {std::size(steps), steps};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    EXPECT_FALSE(ZTKPosix::NamesAreShared());
    UseNames();
}

TEST(PosixNamesAnywhere, DISABLED_CannotBeMade) {
    EXPECT_FALSE(ZTKPosix::NamesAreShared());
    EXPECT_EQ(Event("x"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    const std::string filling = "/dev/shm/filling";
    EXPECT_TRUE(std::filesystem::remove(filling));
    UseNames();
    EXPECT_TRUE(ZTKPosix::NamesAreShared());
}

TEST(PosixNamesAnywhere, WhatStandsInTheTablesPlaceIsNotUsedUnlessItIsOne) {
    const std::pair<const char*, const char*> rows[] = {
        {"true", "AreShared"},
        {"umask 0777", "AreShared"},
        {"touch $f; chmod 0 $f", "AreShared"},
        {"mount -o remount,ro /dev/shm", "AreThisProcesssOwn"},
        {"umount /dev/shm; mount -t sysfs none /dev/shm", "AreThisProcesssOwn"},
        {"true", "AreThisProcesssOwnUnderAFilter"},
        {"mkdir $f", "AreThisProcesssOwn"},
        {"mkfifo $f", "AreThisProcesssOwn"},
        {"touch /dev/shm/x; ln -s x $f", "AreThisProcesssOwn"},
        {"touch $f; chmod 600 $f; ln $f /dev/shm/x", "AreThisProcesssOwn"},
        {"touch $f; chmod 644 $f", "AreThisProcesssOwn"},
        {"head -c 100 /dev/zero >$f; chmod 600 $f", "AreThisProcesssOwn"},
        {"touch $f; chmod 600 $f; chown 1 $f || chmod 622 $f", "AreThisProcesssOwn"},
        {"mount -o remount,size=300k /dev/shm; head -c 290000 /dev/zero >/dev/shm/filling",
         "CannotBeMade"},
    };
    for (const auto& [prepare, test] : rows) {
        const int code = RunIsolated((std::string("*.DISABLED_") + test).c_str(), prepare);
        if (code == 77) {
            GTEST_SKIP() << "no /dev/shm of one's own";
        }
        EXPECT_EQ(code, 0) << prepare;
    }
}

TEST(PosixNamesAnywhere, DISABLED_SurviveRubbish) {
    UseNames();
    const std::string path = TablePath();
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const std::size_t bytes = std::filesystem::file_size(path);
    auto* const table = static_cast<unsigned char*>(
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
    // A mutex of an owner who never was, in a slot that says that it holds none: nothing mends it.
    HANDLE const odd = Mutex("odd");
    const auto* const name = reinterpret_cast<const unsigned char*>(Name("odd"));
    unsigned char* const found = std::search(table, table + bytes, name,
                                             name + ZTK::StrLength(Name("odd")) * sizeof(wchar_t));
    ASSERT_NE(found, table + bytes);
    constexpr std::ptrdiff_t kHead = 144;  // from the slot's state and kind to its name
    std::copy_n("\xF0\x0F\0\0\x77\0\0\0", 8, found - kHead);
    EXPECT_EQ(WaitForSingleObject(odd, INFINITE), WAIT_FAILED);
    CloseHandle(odd);
    std::mt19937 random(1);
    HANDLE kept[] = {Event("kept"), Event("kept manual", TRUE), Mutex("kept mutex")};
    for (int round = 0; round < 3000; ++round) {
        // Most of what is in use lies in the first pages, of slots too.
        const std::size_t begin = random() % 4 == 0 ? random() % bytes : random() % 100000;
        const std::size_t count = std::min<std::size_t>(random() % 300, bytes - begin);
        std::generate_n(table + begin, count, [&] { return static_cast<unsigned char>(random()); });
        HANDLE const opened[] = {Event("kept"), Event("x"), Mutex("m"), Mutex("kept mutex", TRUE)};
        for (HANDLE handle : kept) {
            WaitForSingleObject(handle, 0);
        }
        SetEvent(kept[random() % 2]);
        ResetEvent(kept[random() % 2]);
        WaitForMultipleObjects(3, kept, random() % 2 == 0, 1);
        ReleaseMutex(kept[2]);
        for (HANDLE handle : opened) {
            WaitForSingleObject(handle, 0);
            CloseHandle(handle);
        }
    }
    munmap(table, bytes);
}

TEST(PosixNamesAnywhere, WithRubbishInTheTableDoNoHarm) {
    const int code = RunIsolated("*.DISABLED_SurviveRubbish", "true");
    EXPECT_TRUE(code == 0 || code == 77) << code;
}

}  // namespace
