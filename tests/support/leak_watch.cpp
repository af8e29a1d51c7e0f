// Fails a test program in whose later rounds more stays behind than in the one before: blocks of
// the library's, open handles. The tests are repeated (--gtest_repeat), because a first round also
// leaves what is kept for later use, and a second one what a thread of the first was late to free.
#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/open_handles.h"
#include "ztk/ztk.h"

namespace {

class LeakWatch : public testing::Environment {
  public:
    // From here on, no slot of a ring gets its first storage.
    void SetUp() override {
        for (int i = 0; i < 256; ++i) {
            char* narrow = nullptr;
            wchar_t* wide = nullptr;
            ZTK::ZTKGetTmpString(narrow, 2048);
            ZTK::ZTKGetTmpString(wide, 2048);
        }
    }

    void TearDown() override {
        // A thread whose end was noticed may still be on its way out.
        for (int i = 0; i < 500 && round_ > 1 && !IsClean(); ++i) {
            Sleep(1);
        }
        EXPECT_TRUE(round_ < 2 || IsClean())
            << ztk_test::LiveBlocks() - blocks_ << " blocks and "
            << ztk_test::OpenHandles() - handles_ << " handles more than after the round before";
        ++round_;
        blocks_ = ztk_test::LiveBlocks();
        handles_ = ztk_test::OpenHandles();
    }

  private:
    [[nodiscard]] bool IsClean() const {
        return ztk_test::LiveBlocks() <= blocks_ && ztk_test::OpenHandles() <= handles_;
    }

    int round_ = 0;
    long long blocks_ = 0;
    int handles_ = 0;
};

[[maybe_unused]] const testing::Environment* const leak_watch =
    testing::AddGlobalTestEnvironment(new LeakWatch);

}  // namespace
