// What searches do when memory runs out, provoked by an allocation seam that refuses.
#include <gtest/gtest.h>

#include "support/buffer_text.h"
#include "support/faults.h"
#include "ztk/strings.h"

namespace {

using ztk_test::TestFile;
using ztk_test::Text;

template <class T>
class SearchFault : public testing::Test {
  protected:
    ~SearchFault() override { ztk_test::StopFailing(); }

    void SetTerm(const char* ascii) { query.SetTerm(Text<T>(ascii).data(), 0, true); }

    ZTK::CBuffer<T> buffer;
    ZTK::CSearchQuery<T> query;
};
using Widths = testing::Types<char, wchar_t>;
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
    const auto live = ztk_test::LiveBlocks();
    bool refused = true;
    for (int n = 0; refused; ++n) {
        const auto before = ztk_test::Requests();
        ztk_test::FailAfter(n);
        HANDLE const handle =
            CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        {
            ZTK::CSearchQuery<TypeParam> query;
            query.SetTerm(Text<TypeParam>("a").data(), 0, false);
            ZTK::CBuffer<TypeParam> found;
            const int hits = static_cast<int>(found.Search(handle, 0, query, nullptr, nullptr));
            EXPECT_EQ(hits, found.GetResultCount());
            for (int i = 0; i < hits; ++i) {
                int line = 0;
                const TypeParam* const start = found.GetResult(i, line);
                ASSERT_TRUE(line == 0 || (line == i + 1 && start == found.GetBuffer() + 2 * i));
            }
            refused = ztk_test::Requests() - before > n;
            EXPECT_TRUE(refused || hits == 2500);
        }
        ztk_test::StopFailing();
        EXPECT_TRUE(handle == INVALID_HANDLE_VALUE || CloseHandle(handle));
        ASSERT_LE(ztk_test::LiveBlocks(), live + 1) << n;  // the table of handles stays
    }
}

}  // namespace
