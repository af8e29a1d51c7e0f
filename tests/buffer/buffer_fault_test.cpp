// What a text buffer and its searches do when memory runs out.
#include <gtest/gtest.h>

#include <functional>

#include "support/buffer_text.h"
#include "support/refuse_each.h"
#include "ztk/strings.h"

namespace {

using namespace ztk_test;

template <class T>
class BufferFault : public testing::Test {
  protected:
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

// Every request is refused once: a text or slots that are refused empty the buffer, a record only
// leaves its slot null. No line is missing, and nothing outlives the buffer.
TYPED_TEST(BufferFault, SurvivesEachSingleRefusal) {
    TestFile file(std::string(9999, '\n') + "last");
    ztk_test::RefuseEach(ztk_test::FailAfter, [&file] {
        ZTK::CBuffer<TypeParam> loaded;
        const int count = loaded.Load(file.OpenFor<TypeParam>());
        EXPECT_EQ(count == 0, loaded.GetBuffer() == nullptr);
        EXPECT_TRUE(count == 0 || count == 10000) << count;
        return count == 10000;
    });
}

TYPED_TEST(BufferFault, ALineThatFindsNoRoomIsLostAndTheNextIsRead) {
    TestFile file(std::string(3000, 'a') + "\nnext\n");
    std::FILE*& stream = file.OpenFor<TypeParam>();
    ztk_test::FailAfter(1);
    EXPECT_EQ(this->buffer.GetNext(stream, 0), nullptr);
    ASSERT_NE(stream, nullptr) << "the stream has not ended";
    EXPECT_TEXT(Text<TypeParam>("next").data(), this->buffer.GetNext(stream, 0));
}

// --- Searches

template <class T>
class SearchFault : public testing::Test {
  protected:
    void SetTerm(const char* ascii) { query.SetTerm(Text<T>(ascii).data(), 0, true); }

    ZTK::CBuffer<T> buffer;
    ZTK::CSearchQuery<T> query;
};
TYPED_TEST_SUITE(SearchFault, Widths);

TYPED_TEST(SearchFault, AQueryThatGetsNoMemoryHasNoTerm) {
    this->buffer = Text<TypeParam>("ab").data();
    for (int passed = 0; passed < 2; ++passed) {
        this->SetTerm("b");
        EXPECT_EQ(this->buffer.Search(0, this->query), 1U);
        ztk_test::FailAfter(passed);
        this->SetTerm("a");
        EXPECT_EQ(this->buffer.Search(0, this->query), 0U);
        EXPECT_EQ(this->buffer.GetResultCount(), 1) << "the hits were not left alone";
    }
}

TYPED_TEST(SearchFault, HitsWithoutARecordCountAndWithoutASlotTheSearchEnds) {
    this->buffer = Text<TypeParam>("x\na\na").data();
    const auto hits = [&](const char* term) {
        this->SetTerm(term);
        const DWORD count = this->buffer.Search(0, this->query);
        EXPECT_EQ(static_cast<int>(count), this->buffer.GetResultCount());
        return count;
    };
    // The query's own two requests pass. A list that was made is kept.
    ztk_test::FailAlways(2);
    EXPECT_EQ(hits("a"), 0U) << "no list";
    ztk_test::FailAlways(3);
    EXPECT_EQ(hits("a"), 0U) << "no slots";
    ztk_test::FailAlways(3);
    EXPECT_EQ(hits("a"), 2U) << "no records";
    int line = 42;
    EXPECT_EQ(this->buffer.GetResult(1, line), this->buffer.GetBuffer());
    EXPECT_EQ(line, 0);
    ztk_test::StopFailing();
    EXPECT_EQ(hits("a"), 2U);
    (void)this->buffer.GetResult(1, line);
    EXPECT_EQ(line, 1) << "only NUL ends a line of the own text";
}

// Every request is refused once: fewer hits at most, none that is not there, and nothing leaks.
TYPED_TEST(SearchFault, SurvivesEachSingleRefusal) {
    std::string text;
    for (int i = 0; i < 2500; ++i) {
        text += "a\n";
    }
    const std::vector<TypeParam> characters(text.begin(), text.end());
    TestFile file(
        {reinterpret_cast<const char*>(characters.data()), characters.size() * sizeof(TypeParam)});
    const wchar_t* const path = ZTK::StrConvert(file.Name().c_str(), 0);
    CloseHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr));  // the table of handles stays
    ztk_test::RefuseEach(ztk_test::FailAfter, [path] {
        HANDLE const handle =
            CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ZTK::CSearchQuery<TypeParam> query;
        query.SetTerm(Text<TypeParam>("a").data(), 0, false);
        ZTK::CBuffer<TypeParam> found;
        const int hits = static_cast<int>(found.Search(handle, 0, query, nullptr, nullptr));
        EXPECT_EQ(hits, found.GetResultCount());
        for (int i = 0; i < hits; ++i) {
            int line = 0;
            const TypeParam* const start = found.GetResult(i, line);
            EXPECT_TRUE(line == 0 || (line == i + 1 && start == found.GetBuffer() + 2 * i)) << i;
        }
        EXPECT_TRUE(handle == INVALID_HANDLE_VALUE || CloseHandle(handle));
        return hits == 2500;
    });
}

}  // namespace
