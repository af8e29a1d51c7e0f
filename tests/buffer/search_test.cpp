// Search terms and the searches of a text buffer.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "support/buffer_text.h"
#include "support/guarded_text.h"
#include "support/search_model.h"
#include "ztk/search.h"
#include "ztk/strings.h"

namespace {

using namespace std::string_view_literals;
using namespace ztk_test;

constexpr DWORD kNoCase = ZTK::SEARCH_IGNORE_CASE, kWord = ZTK::SEARCH_WHOLE_WORD;

// A cancel callback that counts its calls and ends the search at one of them.
struct Calls {
    int count = 0;
    int stop_at = 0;

    static bool Count(void* calls) {
        auto* const self = static_cast<Calls*>(calls);
        return ++self->count == self->stop_at;
    }
};

template <class T>
class Search : public testing::Test {
  protected:
    ZTK::CBuffer<T> buffer;
    ZTK::CSearchQuery<T> query;

    void SetTerm(std::string_view ascii, bool fold = false) {
        query.SetTerm(Text<T>(ascii).data(), 7, fold);
    }
    void SetText(std::string_view ascii) {
        buffer.Reset();
        buffer.Add(Text<T>(ascii).data(), static_cast<int>(ascii.size()));
    }
    DWORD SearchText(std::string_view ascii, DWORD flags = 0) {
        SetText(ascii);
        return buffer.Search(buffer.GetBuffer(), static_cast<int>(ascii.size()), flags, query,
                             nullptr, nullptr, T{'\n'});
    }

    // "start:line " for each hit. REQUIRES: the buffer has room for the text that was searched.
    std::string Hits() {
        std::string hits;
        for (int i = 0; i < buffer.GetResultCount(); ++i) {
            int line = 0;
            const T* const start = buffer.GetResult(i, line);
            hits += std::to_string(start - buffer.GetBuffer()) + ":" + std::to_string(line) + " ";
        }
        return hits;
    }

    // Searches a text that has nothing readable beside it, with and without a callback.
    void ExpectAsInModel(const std::vector<T>& term, bool fold, const std::vector<T>& text,
                         DWORD flags, int stop_at = 0) {
        std::vector<T> terminated = term;
        terminated.push_back(0);
        query.SetTerm(terminated.data(), 0, fold);
        const auto delimiter = static_cast<T>('\n');
        SearchModel<T> model(term, fold);
        for (const bool with_calls : {true, false}) {
            Calls calls{0, with_calls ? stop_at : 0};
            const SearchOutcome expected = model.Search(text, flags, delimiter, calls.stop_at);
            const DWORD hits = buffer.Search(
                guarded.Put(text, with_calls != (stop_at == 0)), static_cast<int>(text.size()),
                flags, query, with_calls ? Calls::Count : nullptr, &calls, delimiter);
            EXPECT_EQ(static_cast<int>(hits), buffer.GetResultCount());
            ASSERT_EQ(expected.hits, Hits());
            ASSERT_EQ(with_calls ? expected.calls : 0, calls.count);
        }
    }

    GuardedText guarded;
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Search, Widths);

// Outcomes that callers know, written down by hand.
TYPED_TEST(Search, FindsWhatItsRulesSay) {
    const struct {
        const char* term;
        bool fold;
        const char* text;
        DWORD flags;
        const char* hits;
    } cases[] = {
        {"ab", false, "abab", 0, "0:1 0:1 "},
        {"aa", false, "aaaa", 0, "0:1 0:1 "},
        {"c", false, "a\nb\nc", 0, "4:3 "},
        {"aabb", false, "aaabbx", 0, ""},  // stepped over
        {"is", false, "this is", kWord, "0:1 "},
        {"is", false, "this\nis", kWord, "5:2 "},
        {"is", false, "is this is\nisn't", kWord, "0:1 0:1 "},
        {"ab", false, "AB", kNoCase, "0:1 "},
        {"ab", false, "xAB", kNoCase, ""},  // the table does not know upper case
        {"ab", true, "xAB", kNoCase, "0:1 "},
        {"ab", true, "xAB", 4, ""},
    };
    for (const auto& c : cases) {
        this->SetTerm(c.term, c.fold);
        this->SearchText(c.text, c.flags);
        EXPECT_EQ(c.hits, this->Hits()) << &c - cases;
    }
    this->SearchText(std::string(9000, '\n') + "ab", kNoCase);
    EXPECT_EQ("9000:9001 ", this->Hits());
}

TYPED_TEST(Search, FollowsTheRulesOnTextsOfFewCharacters) {
    std::mt19937 random(20240501);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    // 0x9F, 0xF6 and 0x161 share a key or a byte with 'a' and '\n'; 0xFF and 0xFFFF wrap a table.
    const std::vector<std::vector<int>> alphabets = {{'a', 'b'},
                                                     {'a', 'b', 'A', '\n'},
                                                     {'a', 'B', ' ', '\n', '0'},
                                                     {'a', 0x9F, 0xF6},
                                                     {'a', 0xFF, 0xFFFF},
                                                     {'a', 0x161, 0, 'b'},
                                                     {'@', '`', '[', '{', 'z', 'Z'}};
    this->buffer.SetLength(3000);
    for (int round = 0; round < 20000; ++round) {
        const std::vector<int>& alphabet = alphabets[round % alphabets.size()];
        const auto character = [&] {
            return static_cast<TypeParam>(alphabet[below(static_cast<int>(alphabet.size()))]);
        };
        std::vector<TypeParam> text(1 + below(round % 50 == 0 ? 2999 : 100));
        const int filler = below(3) == 0 ? 20 : 0;  // long stretches of one character
        for (auto& c : text) {
            c = filler != 0 && below(filler) != 0 ? TypeParam{'-'} : character();
        }
        std::vector<TypeParam> term(1 + below(below(4) == 0 ? 40 : 5));
        for (auto& c : term) {
            do {
                c = character();
            } while (c == 0);
        }
        if (below(2) == 0 && text.size() > term.size()) {  // one that is there
            std::copy_n(term.begin(), term.size(), text.end() - term.size() - below(2));
        }
        const auto flags = static_cast<DWORD>(below(4));
        ASSERT_NO_FATAL_FAILURE(
            this->ExpectAsInModel(term, below(2) == 0, text, flags, below(2) * (1 + below(30))))
            << "round " << round;
    }
}

// In terms of 65,536 characters and more distances wrap, and a move can come out as 0.
TYPED_TEST(Search, FollowsTheRulesWithTermsThatWrapTheTable) {
    std::mt19937 random(7);
    this->buffer.SetLength(GuardedText::kRoom);
    for (const int length : {65535, 65536, 65537, 80000}) {
        for (const char* letters : {"ab", "ba", "cd"}) {
            SCOPED_TRACE(length);
            std::vector<TypeParam> term(static_cast<std::size_t>(length), TypeParam{'a'});
            term[random() % 1000] = 'b';
            std::vector<TypeParam> text(130000, static_cast<TypeParam>(letters[0]));
            text[random() % 100000] = static_cast<TypeParam>(letters[1]);
            std::copy(term.begin(), term.end(), text.end() - length - 5);
            ASSERT_NO_FATAL_FAILURE(this->ExpectAsInModel(term, false, text, 0));
        }
    }
}

TYPED_TEST(Search, KeepsTheHitsOfASearchThatCannotBegin) {
    this->SetTerm("b");
    EXPECT_EQ(this->SearchText("ab\nb"), 2U);
    const auto* const text = this->buffer.GetBuffer();
    const auto search = [&](const TypeParam* in, int n) {
        return this->buffer.Search(in, n, 0, this->query, nullptr, nullptr, TypeParam{'\n'});
    };
    EXPECT_EQ(search(nullptr, 4) + search(text, 0) + search(text, -1), 0U);
    for (const bool null : {false, true}) {
        this->query.SetTerm(null ? nullptr : Text<TypeParam>("").data(), 0, true);
        EXPECT_EQ(search(text, 4), 0U);
    }
    EXPECT_EQ(this->Hits(), "0:1 3:2 ");
    this->SetTerm("abcab");
    EXPECT_EQ(search(text, 4), 0U);
    EXPECT_EQ(this->Hits(), "") << "a longer term empties the list";
}

TYPED_TEST(Search, ASearchOfTheOwnTextCountsLinesAsLoadStoresThem) {
    EXPECT_EQ(this->buffer.Search(0, this->query), 0U);
    TestFile file("one\r\ntwo\nand three\r\n");
    ASSERT_EQ(this->buffer.Load(file.template OpenFor<TypeParam>()), 3);
    this->SetTerm("three");
    EXPECT_EQ(this->buffer.Search(0, this->query), 1U);
    int line = 0;
    EXPECT_TEXT(Text<TypeParam>("and three").data(), this->buffer.GetResult(0, line));
    EXPECT_EQ(line, 3);
    EXPECT_EQ(this->buffer.GetResultLength(0), 9);
    EXPECT_EQ(this->buffer.GetResult(-1, line), this->buffer.GetBuffer());
    EXPECT_EQ(line, 0);
}

TYPED_TEST(Search, MakesCopiesInOneCaseOfAsciiLetters) {
    using Query = ZTK::CSearchQuery<TypeParam>;
    const char* const narrow = "aZ@[`{\xE9";
    const wchar_t* const wide = L"aZ@[`{\xE9\x416";
    EXPECT_TEXT("az@[`{\xE9", std::unique_ptr<char[]>(Query::MakeLower(narrow)).get());
    EXPECT_TEXT("AZ@[`{\xE9", std::unique_ptr<char[]>(Query::MakeUpper(narrow)).get());
    EXPECT_TEXT(L"az@[`{\xE9\x416", std::unique_ptr<wchar_t[]>(Query::MakeLower(wide)).get());
    EXPECT_TEXT(L"AZ@[`{\xE9\x416", std::unique_ptr<wchar_t[]>(Query::MakeUpper(wide)).get());
    const wchar_t* const null = nullptr;
    EXPECT_TEXT(L"", std::unique_ptr<wchar_t[]>(Query::MakeUpper(null)).get());
    EXPECT_EQ(Query::StringLength(narrow) + Query::StringLength(wide) + Query::StringLength(null),
              15U);
    EXPECT_EQ(ZTK::CSearchQuery<char>::ToBase('\x80'), 128);
    EXPECT_EQ(ZTK::CSearchQuery<char>::ToBase('\xFF'), 1);
    EXPECT_EQ(ZTK::CSearchQuery<wchar_t>::ToBase(L'\xFFE9'), 0xFFE9);
}

// --- Files

// A file opened for a search.
struct FileHandle {
    HANDLE handle;

    explicit FileHandle(const TestFile& file) : handle(ztk_test::OpenToRead(file.Name())) {}
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle() { EXPECT_TRUE(CloseHandle(handle)); }

    DWORD Read(void* to, DWORD count) const {
        DWORD read = 0;
        EXPECT_TRUE(ReadFile(handle, to, count, &read, nullptr));
        return read;
    }
};

// The bytes of a file that has the text ascii in characters of T.
template <class T>
std::string Bytes(std::string_view ascii) {
    const std::vector<T> text(ascii.begin(), ascii.end());
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(T)};
}

TYPED_TEST(Search, ReadsTheRestOfAFile) {
    TestFile file("\xFF\xFE" + Bytes<TypeParam>("first\nsecond\n") + "x");
    const FileHandle open(file);
    char mark[2];
    EXPECT_EQ(open.Read(mark, 2), 2U);
    this->SetTerm("second");
    Calls calls;
    EXPECT_EQ(this->buffer.Search(open.handle, 0, this->query, Calls::Count, &calls), 1U);
    EXPECT_EQ(this->Hits(), "6:2 ");
    EXPECT_EQ(this->buffer.GetResultLength(0), 6);
    EXPECT_GT(calls.count, 1);
    // At its end the file has nothing more to give: fewer bytes than the term has characters.
    EXPECT_EQ(this->buffer.Search(open.handle, 0, this->query, nullptr, nullptr), 0U);
    EXPECT_EQ(this->Hits(), "6:2 ");
}

TYPED_TEST(Search, AFileWithFewerBytesThanTheTermChangesTheTextButNotItsLength) {
    this->SetTerm("b");
    EXPECT_EQ(this->SearchText("ab\nb"), 2U);
    this->SetTerm("four");
    TestFile file("xyz");
    EXPECT_EQ(this->buffer.Search(FileHandle(file).handle, 0, this->query, nullptr, nullptr), 0U);
    EXPECT_EQ(this->Hits(), "0:1 3:2 ");
    this->buffer += TypeParam{'!'};
    EXPECT_EQ(this->buffer.GetBuffer()[4], '!');
    EXPECT_EQ(std::memcmp(this->buffer.GetBuffer(), "xyz", 3), 0);
}

TYPED_TEST(Search, RefusesHandlesWithoutASizeAndFilesOf2GiB) {
    this->SetTerm("b");
    EXPECT_EQ(this->SearchText("ab"), 1U);
    TestFile file("b");
    std::FILE* const stream = file.Open("r+b");
    ASSERT_EQ(std::fseek(stream, 0x7FFFFFFF, SEEK_SET), 0);
    std::fputc('b', stream);
    std::fflush(stream);
    HANDLE const event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const FileHandle huge(file);
    for (HANDLE handle : {event, HANDLE{}, INVALID_HANDLE_VALUE, huge.handle}) {
        EXPECT_EQ(this->buffer.Search(handle, 0, this->query, nullptr, nullptr), 0U);
    }
    CloseHandle(event);
    char first = 0;
    EXPECT_TRUE(huge.Read(&first, 1) == 1 && first == 'b') << "the file was read";
    EXPECT_EQ(this->Hits(), "0:1 ");
}

}  // namespace
