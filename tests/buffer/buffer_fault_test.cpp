// What a text buffer does when memory runs out, provoked by an allocation seam that refuses.
#include <gtest/gtest.h>

#include <functional>

#include "support/buffer_text.h"
#include "support/faults.h"

namespace {

using ztk_test::Lines;
using ztk_test::TestFile;
using ztk_test::Text;

template <class T>
class BufferFault : public testing::Test {
  protected:
    ~BufferFault() override { ztk_test::StopFailing(); }
    ZTK::CBuffer<T> buffer;
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(BufferFault, Widths);

TYPED_TEST(BufferFault, ARefusedGrowthEmptiesTheBuffer) {
    TestFile file("a file that is longer than the text before");
    const auto text = Text<TypeParam>("one\ntwo");
    auto& buffer = this->buffer;
    const std::function<void()> growths[] = {
        [&] { EXPECT_EQ(buffer.Realloc(1000), nullptr); },
        [&] { buffer.SetLength(1000); },
        [&] { buffer += TypeParam{'x'}; },
        [&] { buffer.Add(text.data(), 5); },
        [&] { buffer += buffer.GetBuffer(); },
        [&] { buffer = Text<TypeParam>("longer than what was there").data(); },
        [&] { EXPECT_GT(buffer.ReAllocForFile(file.OpenFor<TypeParam>()), 0); },
        [&] { EXPECT_EQ(buffer.Load(file.OpenFor<TypeParam>()), 0); },
    };
    for (const auto& grow : growths) {
        SCOPED_TRACE(&grow - growths);
        buffer.Free();
        buffer = text.data();
        ASSERT_TRUE(buffer.ToLines());
        ztk_test::FailAlways(0);
        grow();
        ztk_test::StopFailing();
        EXPECT_EQ(buffer.GetBuffer(), nullptr);
        EXPECT_EQ(Lines(buffer, 1), "(none)|");
        buffer += text.data();
        EXPECT_TEXT(text.data(), buffer.GetBuffer());
    }
}

TYPED_TEST(BufferFault, ALineWithoutARecordCountsAndOneWithoutASlotIsLost) {
    auto& buffer = this->buffer;
    buffer = Text<TypeParam>("a,b").data();
    ztk_test::FailAlways(0);
    EXPECT_FALSE(buffer.Split(TypeParam{','})) << "neither slots nor records";
    buffer = Text<TypeParam>("a,b").data();
    ztk_test::FailAlways(1);
    EXPECT_TRUE(buffer.Split(TypeParam{','})) << "slots, but no records";
    EXPECT_EQ(Lines(buffer, 2), "(none)|(none)|");
    ztk_test::StopFailing();
    buffer = Text<TypeParam>("a,b").data();
    EXPECT_TRUE(buffer.Split(TypeParam{','}));
    EXPECT_EQ(Lines(buffer, 2), "a|b|");
}

// Every request is refused once: whatever is lost, nothing crashes or outlives the buffer.
TYPED_TEST(BufferFault, SurvivesEachSingleRefusal) {
    std::string lines(10000, '\n');
    TestFile file(lines);
    const auto live = ztk_test::LiveBlocks();
    bool refused = true;
    for (int n = 0; refused; ++n) {
        SCOPED_TRACE(n);
        const auto before = ztk_test::Requests();
        ztk_test::FailAfter(n);
        {
            ZTK::CBuffer<TypeParam> loaded;
            const int count = loaded.Load(file.OpenFor<TypeParam>());
            EXPECT_EQ(count == 0, loaded.GetBuffer() == nullptr);
        }
        refused = ztk_test::Requests() - before > n;
        ztk_test::StopFailing();
        ASSERT_EQ(ztk_test::LiveBlocks(), live);
    }
}

TYPED_TEST(BufferFault, ALineThatFindsNoRoomIsLostAndTheNextIsRead) {
    TestFile file(std::string(3000, 'a') + "\nnext\n");
    std::FILE*& stream = file.OpenFor<TypeParam>();
    ztk_test::FailAfter(1);
    EXPECT_EQ(this->buffer.GetNext(stream, 0), nullptr);
    ASSERT_NE(stream, nullptr) << "the stream has not ended";
    EXPECT_TEXT(Text<TypeParam>("next").data(), this->buffer.GetNext(stream, 0));
}

}  // namespace
