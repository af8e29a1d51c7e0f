// Search terms and the searches of a text buffer.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>

#include "platform/processor/text_scan.h"
#include "support/buffer_text.h"
#include "support/guarded_text.h"
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

    // Searches a text that has nothing readable before it, then behind it; with a callback that
    // ends the search at one of its calls, at none, and without.
    void ExpectOutcome(const std::vector<T>& text, DWORD flags, const std::string& outcome) {
        const int steps = std::stoi(outcome.substr(outcome.rfind(' ') + 1));
        for (const int stop_at : {0, 1, steps / 2, steps}) {
            for (const bool at_end : {false, true}) {
                Calls calls{0, stop_at};
                const DWORD hits =
                    buffer.Search(guarded.Put(text, at_end), static_cast<int>(text.size()), flags,
                                  query, Calls::Count, &calls, T{'\n'});
                EXPECT_EQ(static_cast<int>(hits), buffer.GetResultCount());
                if (stop_at == 0) {
                    ASSERT_EQ(outcome, Hits() + std::to_string(calls.count));
                    buffer.Search(guarded.Put(text, at_end), static_cast<int>(text.size()), flags,
                                  query, nullptr, nullptr, T{'\n'});
                }
                ASSERT_TRUE(outcome.starts_with(Hits())) << Hits();
                ASSERT_EQ(calls.count, stop_at == 0 ? steps : stop_at);
            }
        }
    }

    GuardedText guarded;
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Search, Widths);

// Terms, texts and the outcome as it has always been: the hits, and behind them the number of steps
// that the search took, told by its callback. Wide characters are the sign-extended narrow ones.
TYPED_TEST(Search, TakesItsStepsAndNoOther) {
    const struct {
        const char* term;
        bool fold;
        DWORD flags;
        const char *text, *outcome, *if_wide = nullptr;
    } cases[] = {
        {"ab", false, 0, "abab", "0:1 0:1 2"},
        {"aa", false, 0, "aaaa", "0:1 0:1 2"},
        {"c", false, 0, "a\nb\nc", "4:3 5"},
        // "aabb" is stepped over.
        {"aabb", false, 0, "aaabbx", "1"},
        {"is", false, kWord, "this is", "0:1 4"},
        {"is", false, kWord, "this\nis", "5:2 4"},
        {"is", false, kWord, "is this is\nisn't", "0:1 0:1 9"},
        {"ab", false, kNoCase, "AB", "0:1 1"},
        // The table does not know upper case.
        {"ab", false, kNoCase, "xAB", "1"},
        {"ab", true, kNoCase, "xAB", "0:1 2"},
        {"ab", true, 4, "xAB", "2"},
        {"aababba", false, 0, "bbaabaabbaaabbaaaaaaaabbbaabbaabbaababba", "0:1 34"},
        {"b", false, 2, "bbbaabbabbabaaaaaabbaabaabbabb", "30"},
        {"A\nb", true, 3, "bb\naabb\nAaAA\naaabA\nb", "12"},
        {"Ab", true, 1, "bbbbb\n\na\naaaaAb\nA\n\nAbabb\naAbAb", "9:4 19:7 19:7 25:8 25:8 21"},
        {"\n ", false, 0, " B\n 00B0aa\n  aa0a\na ", "0:1 3:2 10"},
        {"0\n", false, 1, " a\na\na\n0a0\n\n0a0aaaa \n \n0\n\n\n0a0", "7:4 23:8 17"},
        {"@[", false, 0, "zZ{[@[[`Zz`z`[Z{{`[{Z[`Z{``{@[", "0:1 0:1 18"},
        {"\366\237\366", false, 0,
         "a\237\237\237a\237\237\366\366\237\366\237\366\366\237\237a\366\237\366", "0:1 0:1 16",
         "0:1 0:1 12"},
        {"\366aa\237\237", false, 0,
         "aa\237aaa\366a\237a\366\366\366\366\237a\366aa\237\237a\366a\237\366\366aaa", "0:1 10",
         "0:1 8"},
        {"\377a\377", false, 2, "\377\377a\377\377aa\377\377\377\377aaaaa\377a\377\377", "0:1 15",
         "6"},
        {"---", false, 0, "--a-----c-----------c---c------bc-cb--b-",
         "0:1 0:1 0:1 0:1 0:1 0:1 0:1 15"},
        {"ab", false, 0, "ccacbadaaadbbbabbbab", "0:1 0:1 14"},
        {"a", false, 0, "bbbabaabbaabaaaabbba", "0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 20"},
        {"\n\naA", false, 1, "\na\naa\nb\n\nb\na\n\n\nA\nAAA\nAAAaabab\n\naA\naAab\n\n",
         "21:12 19"},
        {"\na", true, 2, "\n\nabaAbaA\nb\n\nA\nAbAbb", "14"},
        {"0a", true, 2, " 0a\n a0a\n00\n\n aa B0a \n  BB   a", "0:1 18"},
        {"a\366a\237\366", false, 2, "\366\366\237\366a\237a\237\366a\237aa\366\366a\366a\237\366",
         "0:1 16", "0:1 10"},
        {"\377", false, 0,
         "a\377a\377aaa\377aa\377a\377a\377\377a\377\377\377\377\377\377a\377a\377aaa",
         "0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 30"},
        {"a-a", false, 0, "aba-abaa-b-babbbba-b", "0:1 10"},
    };
    this->buffer.SetLength(100);
    for (const auto& row : cases) {
        const std::string_view text = row.text;
        this->SetTerm(row.term, row.fold);
        ASSERT_NO_FATAL_FAILURE(this->ExpectOutcome(
            {text.begin(), text.end()}, row.flags,

            sizeof(TypeParam) > 1 && row.if_wide != nullptr ? row.if_wide : row.outcome))
            << &row - cases;
    }
}

// In terms of 65,536 characters and more distances wrap, and a move can come out as 0.
TYPED_TEST(Search, TakesItsStepsWithTermsThatWrapTheTable) {
    const std::pair<int, const char*> cases[] = {{65535, "49501,0:1 64461,0:1 64461"},
                                                 {65536, "0:1 64460,0:1 64460,0:1 64460"},
                                                 {65537, "0:1 64459,0:1 64459,0:1 64459"},
                                                 {80000, "49502,0:1 49996,0:1 49996"}};
    this->buffer.SetLength(GuardedText::kRoom);
    for (const auto& [length, outcomes] : cases) {
        SCOPED_TRACE(length);
        std::vector<TypeParam> term(static_cast<std::size_t>(length) + 1, TypeParam{'a'});
        term[500] = 'b';
        term.back() = 0;
        this->query.SetTerm(term.data(), 0, false);
        std::istringstream expected(outcomes);
        for (const char* letters : {"ab", "ba", "cd"}) {
            std::vector<TypeParam> text(130000, static_cast<TypeParam>(letters[0]));
            text[50000] = static_cast<TypeParam>(letters[1]);
            std::copy_n(term.begin(), length, text.end() - length - 5);
            std::string outcome;
            std::getline(expected, outcome, ',');
            ASSERT_NO_FATAL_FAILURE(this->ExpectOutcome(text, 0, outcome)) << letters;
        }
    }
}

// The scans below the searches, in texts of every length around their blocks, against plain loops.
TYPED_TEST(Search, ScansTheSameWithEveryInstructionSet) {
    using namespace ZTK::processor;
    std::mt19937 random(7);
    for (const auto set : {InstructionSet::kBaseline, InstructionSet::kAvx2}) {
        for (std::size_t count = 0; UseForTests(set) && count < 300; ++count) {
            std::vector<TypeParam> text(count);
            for (TypeParam& c : text) {
                c = static_cast<TypeParam>("\nAab"[random() % (count % 3 != 0 ? 4 : 80) % 4]);
            }
            const TypeParam* const at = this->guarded.Put(text, count % 2 != 0);
            const std::size_t from = random() % (count + 1);
            const auto feeds = std::count(text.begin() + from, text.end(), TypeParam{'\n'});
            const auto last = std::find(text.rbegin(), text.rend(), TypeParam{'\n'});
            const auto found = ZTK::scan::FindAll(at, from, count, TypeParam{'\n'});
            ASSERT_EQ(found.count, static_cast<std::size_t>(feeds)) << from << " " << count;
            ASSERT_EQ(found.end, feeds == 0 ? 0 : static_cast<std::size_t>(text.rend() - last))
                << from << " " << count;

            const std::size_t distance = std::min<std::size_t>(random() % 40, count);
            const std::size_t end = count - distance;
            const TypeParam mask = count % 4 < 2 ? 0 : 0x20;
            ZTK::scan::PairFinder<TypeParam> pairs(at, end, {{'a', mask}, {'b', 0}, distance});
            for (std::size_t i = 0; i < end; i += 1 + random() % 2) {
                std::size_t expected = i;
                while (expected < end &&
                       ((text[expected] | mask) != 'a' || text[expected + distance] != 'b')) {
                    ++expected;
                }
                i = pairs.Find(i);
                ASSERT_EQ(i, expected) << count << " " << distance;
            }
        }
    }
    UseForTests(InstructionSet::kAvx2);
}

TYPED_TEST(Search, CountsManyLines) {
    this->SetTerm("ab");
    this->SearchText(std::string(9000, '\n') + "ab", kNoCase);
    EXPECT_EQ("9000:9001 ", this->Hits());
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
