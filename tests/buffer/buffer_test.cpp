// The text buffer: appending, storage, reading a stream and cutting lines, in both widths; and what
// it and its searches do when memory runs out.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <new>

#include "support/buffer_text.h"
#include "support/refuse_each.h"

namespace {

using namespace ztk_test;
using namespace std::string_view_literals;

template <class T>
class Buffer : public testing::Test {
  protected:
    ZTK::CBuffer<T> buffer;

    // Whether the text is exactly these characters: they are there, and the next append goes
    // behind them.
    void ExpectText(std::string_view ascii) {
        buffer += T{'$'};
        const std::vector<T> expected = Text<T>(std::string(ascii) + "$");
        ASSERT_NE(buffer.GetBuffer(), nullptr);
        EXPECT_EQ(Show(buffer.GetBuffer(), ascii.size() + 1),
                  Show(expected.data(), ascii.size() + 1));
    }
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Buffer, Widths);

TYPED_TEST(Buffer, AppendsWhatItIsGivenAndNothingForNothing) {
    auto& buffer = this->buffer;
    const TypeParam* const null = nullptr;
    buffer += null;
    buffer.Add(null, 3);
    buffer += Text<TypeParam>("").data();
    buffer = null;
    EXPECT_EQ(buffer.GetBuffer(), nullptr);
    buffer += Text<TypeParam>("ab").data();
    buffer.Add(Text<TypeParam>("c\0def"sv).data(), 3);
    buffer.Add(Text<TypeParam>("xyz").data(), 0);
    buffer.Add(Text<TypeParam>("xyz").data(), -2);
    buffer.Add(TypeParam{0});
    this->ExpectText("abc\0d\0"sv);
    EXPECT_TEXT(Text<TypeParam>("c").data(),
                ZTK::CBuffer<TypeParam>(Text<TypeParam>("c").data()).GetBuffer());
}

TYPED_TEST(Buffer, AppendsPiecesOfItsOwnText) {
    this->buffer = Text<TypeParam>("0123456789").data();
    for (int i = 0; i < 10; ++i) {  // the storage moves some of the times
        this->buffer += this->buffer.GetBuffer();
    }
    const auto* text = this->buffer.GetBuffer();
    for (int i = 0; i < 10240; ++i) {
        ASSERT_EQ(text[i], '0' + i % 10) << i;
    }
    this->buffer = text + 10235;
    this->ExpectText("56789");
}

TYPED_TEST(Buffer, OldCharactersRemainBehindAShorterText) {
    auto& buffer = this->buffer;
    const auto hi = Text<TypeParam>("hi");
    const std::function<void()> shorten[] = {
        [&] { buffer = hi.data(); },
        [&] { buffer.Reset(), buffer += hi.data(); },
        [&] { buffer.SetLength(1), buffer += hi.data(); },
        [&] { buffer.SetSize(1), buffer += hi.data(); },
    };
    for (const auto& step : shorten) {
        buffer = Text<TypeParam>("hello").data();
        step();
        EXPECT_TEXT(Text<TypeParam>("hillo").data(), buffer.GetBuffer()) << &step - shorten;
        this->ExpectText("hi");
    }
}

TYPED_TEST(Buffer, ComparesByCharacterValueAndNullFirst) {
    const struct {
        const char* left;  // null: no storage
        const char* right;
        int sign;
    } cases[] = {{nullptr, nullptr, 0}, {nullptr, "a", -1}, {"a", nullptr, 1},
                 {"ab", "ab", 0},       {"ab", "aB", 1},    {"a", "ab", -1}};
    for (const auto& c : cases) {
        ZTK::CBuffer<TypeParam> left;
        ZTK::CBuffer<TypeParam> right;
        left = c.left == nullptr ? nullptr : Text<TypeParam>(c.left).data();
        right = c.right == nullptr ? nullptr : Text<TypeParam>(c.right).data();
        const TypeParam* const text = right.GetBuffer();
        const int result = left.Compare(right);
        EXPECT_EQ((result > 0) - (result < 0), c.sign) << &c - cases;
        EXPECT_EQ(left == text, c.sign == 0 ? 1 : 0) << &c - cases;
    }
}

TYPED_TEST(Buffer, StorageReadsZeroAndKeepsTheText) {
    auto& buffer = this->buffer;
    EXPECT_EQ(buffer.Realloc(-5), nullptr);
    buffer.SetLength(10);
    for (int i = 0; i <= 10; ++i) {
        ASSERT_EQ(buffer.GetBuffer()[i], 0) << i;
        buffer.GetBuffer()[i] = 'x';  // the terminator's place, too: growth clears it again
    }
    buffer += Text<TypeParam>("ab").data();
    const TypeParam* const text = buffer.Realloc(5001);  // in a wide buffer, half a character more
    EXPECT_EQ(Show(text, 10), Show(Text<TypeParam>("abxxxxxxxx").data(), 10));
    const auto bytes = static_cast<const char*>(static_cast<const void*>(text));
    for (std::size_t i = 10 * sizeof(TypeParam); i < 5001 + sizeof(TypeParam); ++i) {
        ASSERT_EQ(bytes[i], 0) << i;
    }
    EXPECT_EQ(buffer.Realloc(100), text) << "less is no change";
    this->ExpectText("ab");
}

TYPED_TEST(Buffer, ATextThatNoLengthCanTellEmptiesTheBuffer) {
    constexpr int kMost = std::numeric_limits<int>::max();
    const auto one = Text<TypeParam>("x");
    this->buffer = one.data();
    this->buffer.Add(one.data(), kMost);
    EXPECT_EQ(this->buffer.GetBuffer(), nullptr);
    if (sizeof(TypeParam) > 1) {
        this->buffer = one.data();
        this->buffer.SetLength(kMost / 2 + 1);
        EXPECT_EQ(this->buffer.GetBuffer(), nullptr);
    }
    this->ExpectText("");
}

TYPED_TEST(Buffer, CanBeUsedAgainAfterFree) {
    auto& buffer = this->buffer;
    const auto text = Text<TypeParam>("a\nb");
    TestFile file("");
    const std::function<void()> uses[] = {
        [&] { buffer += text.data(); },
        [&] { buffer.SetLength(1), buffer += text.data(); },
        [&] { buffer.Load(file.OpenFor<TypeParam>()), buffer += text.data(); },
    };
    for (const auto& use : uses) {
        buffer = text.data();
        ASSERT_TRUE(buffer.ToLines());
        buffer.Free();
        EXPECT_EQ(buffer.GetBuffer(), nullptr);
        EXPECT_EQ(Lines(buffer, 1), "(none)|");
        EXPECT_FALSE(buffer.ToLines());
        EXPECT_FALSE(buffer.Split(TypeParam{','}));
        use();
        EXPECT_TEXT(text.data(), buffer.GetBuffer()) << &use - uses;
    }
}

TYPED_TEST(Buffer, AssignmentSharesStorage) {
    using Type = ZTK::CBuffer<TypeParam>;
    this->buffer = Text<TypeParam>("a,b").data();
    alignas(Type) unsigned char storage[sizeof(Type)];
    auto* const copy = new (storage) Type;  // never destroyed: only one of two sharers may be
    *copy = this->buffer;
    ASSERT_TRUE(this->buffer.Split(TypeParam{','}));
    EXPECT_TEXT(Text<TypeParam>("a").data(), copy->GetBuffer());
}

TYPED_TEST(Buffer, ATextThatIsNotCutKeepsItsLines) {
    auto& buffer = this->buffer;
    EXPECT_FALSE(buffer.Split(TypeParam{','})) << "no storage";
    buffer = Text<TypeParam>("a\nb").data();
    ASSERT_TRUE(buffer.ToLines());
    buffer.GetBuffer()[0] = 0;
    EXPECT_FALSE(buffer.ToLines()) << "begins with NUL";
    EXPECT_EQ(Lines(buffer, 2), "|b|");
    EXPECT_EQ(buffer.Load(nullptr), 0);
    EXPECT_EQ(Lines(buffer, 1), "(none)|");
    EXPECT_FALSE(buffer.ToLines()) << "empty";
    this->ExpectText("");
}

TYPED_TEST(Buffer, HasNoResultsBeforeASearch) {
    this->buffer = Text<TypeParam>("text").data();
    int line = 42;
    EXPECT_EQ(this->buffer.GetResultCount(), 0);
    EXPECT_EQ(this->buffer.GetResult(-1, line), nullptr);
    EXPECT_EQ(this->buffer.GetResultLength(-1), 0);
    EXPECT_EQ(line, 42);
}

TYPED_TEST(Buffer, CharacterTestsFollowTheCharactersWidth) {
    using Type = ZTK::CBuffer<TypeParam>;
    for (int i = 0; i < 256; ++i) {
        SCOPED_TRACE(i);
        const char narrow[] = {static_cast<char>(i), static_cast<char>(i ^ 0x20)};
        const wchar_t wide[] = {static_cast<wchar_t>(i), static_cast<wchar_t>(i ^ 0x20)};
        const bool letter = (i >= 'A' && i <= 'Z') || (i >= 'a' && i <= 'z');
        const bool word = letter || (i >= '0' && i <= '9');
        const bool printable = i >= 32 && i < 127;
        EXPECT_EQ(Type::IsWordDelimeter(narrow[0]), word ? 0 : 1);
        EXPECT_EQ(Type::IsPrintable(narrow), printable);
        if (i < 128 && i != '\t') {  // on Windows the runtime calls a wide tab printable
            EXPECT_EQ(Type::IsWordDelimeter(wide[0]), word ? 0 : 1);
            EXPECT_EQ(Type::IsPrintable(wide), printable);
        }
        EXPECT_EQ(Type::CharEqual(narrow, narrow + 1, false), 0);
        EXPECT_EQ(Type::CharEqual(narrow, narrow + 1, true), letter ? 1 : 0);
        EXPECT_EQ(Type::CharEqual(wide, wide + 1, true), letter ? 1 : 0);
    }
    EXPECT_EQ(Type::CharEqual("ax", "ay", false), 1) << "only the first characters count";
    EXPECT_EQ(Type::CharEqual("a", static_cast<const char*>(nullptr), true), 0);
    EXPECT_FALSE(Type::IsPrintable(static_cast<const wchar_t*>(nullptr)));
}

TEST(WideBuffer, TheStreamsModeDecidesTheEncoding) {
    const std::pair<const char*, std::string_view> cases[] = {
        {"r,ccs=UTF-8", "a\xE2\x82\xAC\xF4\x8F\xBF\xBF\r\nb"},
        {"r,ccs=UTF-16LE", "a\0\xAC\x20\xFF\xDB\xFF\xDF\r\0\n\0b\0"sv}};
    for (const auto& [mode, bytes] : cases) {
        TestFile file(bytes);
        ZTK::CBuffer<wchar_t> loaded;
        EXPECT_EQ(loaded.Load(file.Open(mode)), 2) << mode;
        EXPECT_EQ(Show(loaded.GetBuffer(), 6), Show(L"a\x20AC\xDBFF\xDFFF\0b", 6)) << mode;
    }
}

TEST(NarrowBuffer, LeavesTheStreamWhereSingleReadsWould) {
    TestFile file("skip\none\ntwo\n");
    std::FILE*& stream = file.Open("rb");
    ZTK::CBuffer<char> buffer;
    ASSERT_EQ(std::fseek(stream, 3, SEEK_SET), 0);
    EXPECT_TEXT("p", buffer.GetNext(stream, 0));
    EXPECT_EQ(std::ungetc('t', stream), 't');
    EXPECT_EQ(buffer.Load(stream), 2);
    EXPECT_EQ(Lines(buffer, 2), "tone|two|");
    EXPECT_EQ(std::ftell(stream), 13);
    EXPECT_TRUE(std::feof(stream) != 0 && std::ferror(stream) == 0);
    EXPECT_EQ(buffer.Load(stream), 0) << "a stream at its end has no more lines";
}

// --- When memory is short

template <class T>
class BufferFault : public testing::Test {
  protected:
    ZTK::CBuffer<T> buffer;
};
TYPED_TEST_SUITE(BufferFault, Widths);

TYPED_TEST(BufferFault, ARefusedGrowthEmptiesTheBuffer) {
    TestFile file("a file that is longer than the text before");
    const auto text = Text<TypeParam>("one\ntwo");
    const std::string lines(300, '\n');  // more than there are slots at first
    TestFile file_of_lines(lines);
    const auto many_lines = Text<TypeParam>(lines.c_str());
    auto& buffer = this->buffer;
    const auto refuse_slots_only = [&] {
        ztk_test::StopFailing();
        buffer = many_lines.data();
        ztk_test::FailAlways(0);
    };
    const std::function<void()> growths[] = {
        [&] { EXPECT_EQ(buffer.Realloc(1000), nullptr); },
        [&] { buffer.SetLength(1000); },
        [&] { buffer += TypeParam{'x'}; },
        [&] { buffer.Add(text.data(), 5); },
        [&] { buffer += buffer.GetBuffer(); },
        [&] { buffer = Text<TypeParam>("longer than what was there").data(); },
        [&] { EXPECT_GT(buffer.ReAllocForFile(file.OpenFor<TypeParam>()), 0); },
        [&] { EXPECT_EQ(buffer.Load(file.OpenFor<TypeParam>()), 0); },
        [&] {
            refuse_slots_only();
            EXPECT_FALSE(buffer.ToLines());
        },
        [&] {
            refuse_slots_only();
            EXPECT_FALSE(buffer.Split('\n'));
        },
        [&] {
            refuse_slots_only();
            buffer.Reset();
            std::FILE*& stream = file_of_lines.OpenFor<TypeParam>();
            while (buffer.GetNext(stream, 0) != nullptr) {
            }
            EXPECT_NE(stream, nullptr) << "lines went missing";
        },
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

TYPED_TEST(BufferFault, ALineWithoutARecordCountsAndOneWithoutASlotEmptiesTheBuffer) {
    auto& buffer = this->buffer;
    buffer = Text<TypeParam>("a,b").data();
    ztk_test::FailAlways(0);
    EXPECT_FALSE(buffer.Split(TypeParam{','})) << "neither slots nor records";
    EXPECT_EQ(buffer.GetBuffer(), nullptr);
    ztk_test::StopFailing();
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
