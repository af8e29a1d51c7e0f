// Line cutting against a naive model: random files full of CR, LF and NUL, narrow and wide, through
// every way in which a buffer makes lines of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/buffer_text.h"

namespace {

using ztk_test::TestFile;

// What cutting makes of a text, one character at a time.
template <class T>
struct Model {
    std::vector<T> text;
    std::vector<std::size_t> starts;   // of all lines
    std::vector<std::size_t> offsets;  // in what was read, behind each line that has an end

    // cut: besides NUL if that is one of the ends, which it is for a file.
    Model(const std::vector<T>& read, T cut, bool is_file) {
        std::size_t start = 0;
        for (std::size_t i = 0; i < read.size(); ++i) {
            if (is_file && read[i] == '\r') {
                continue;
            }
            const bool ends = read[i] == cut || (is_file && read[i] == 0);
            text.push_back(ends ? T{0} : read[i]);
            if (ends) {
                starts.push_back(start);
                offsets.push_back(i + 1);
                start = text.size();
            }
        }
        if (start < text.size()) {
            starts.push_back(start);
        }
    }
};

// Not the character 26: it ends a text file on Windows, and a wide file is read as one.
void Append(std::vector<char>& text, unsigned random) {
    text.push_back("\n\r\0xyz\xFF\x80"[random]);
}
void Append(std::vector<wchar_t>& text, unsigned random) {
    text.push_back(L"\n\r\0xy\x20AC\xD83D\xFFFD"[random]);
    if (text.back() == 0xD83D) {
        text.push_back(0xDE00);
    }
}

template <class T>
class BufferLinesModel : public testing::Test {
  protected:
    static constexpr bool kWide = sizeof(T) > 1;
    static constexpr const char* kMode = kWide ? "r,ccs=UTF-16LE" : "rb";

    static std::vector<T> RandomText(std::mt19937& random, std::size_t size) {
        std::vector<T> text;
        for (const unsigned variety = 1 + random() % 8; text.size() < size;) {
            Append(text, random() % variety);
        }
        return text;
    }

    static std::string FileOf(const std::vector<T>& text) {
        std::string bytes;
        for (const T c : text) {
            bytes += static_cast<char>(c & 0xFF);
            if (kWide) {
                bytes += static_cast<char>(c >> 8);
            }
        }
        return bytes;
    }

    // The first count lines start where the model says, there are no more, and the storage holds
    // exactly these characters.
    static void Expect(ZTK::CBuffer<T>& buffer, const Model<T>& model, std::size_t count,
                       const std::vector<T>& storage) {
        std::FILE* none = nullptr;
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(buffer.GetNext(none, static_cast<int>(i)),
                      buffer.GetBuffer() + model.starts[i]);
        }
        EXPECT_EQ(buffer.GetNext(none, static_cast<int>(count)), nullptr);
        const auto other = std::mismatch(storage.begin(), storage.end(), buffer.GetBuffer()).first;
        ASSERT_EQ(static_cast<std::size_t>(other - storage.begin()), storage.size());
    }

    void Load(const std::vector<T>& read, const Model<T>& model, TestFile& file) {
        ASSERT_EQ(kept_.Load(file.Open(kMode)), static_cast<int>(model.starts.size()));
        storage_.resize(std::max(storage_.size(), read.size()));
        std::copy(model.text.begin(), model.text.end(), storage_.begin());
        Expect(kept_, model, model.starts.size(), storage_);
    }

    // A new buffer holds nothing but the text: zeros follow in the storage, terminator included.
    void LoadFresh(const Model<T>& model, TestFile& file, std::size_t file_bytes) {
        ZTK::CBuffer<T> buffer;
        ASSERT_EQ(buffer.Load(file.Open(kMode)), static_cast<int>(model.starts.size()));
        std::vector<T> storage = model.text;
        storage.resize(file_bytes == 0 ? 0 : file_bytes + 1);
        Expect(buffer, model, model.starts.size(), storage);
    }

    void ReadLineByLine(const Model<T>& model, TestFile& file, int file_bytes) {
        ZTK::CBuffer<T> buffer;
        std::FILE*& stream = file.Open(kMode);
        ASSERT_EQ(buffer.ReAllocForFile(stream), file_bytes * static_cast<int>(sizeof(T)));
        for (std::size_t i = 0; i < model.offsets.size(); ++i) {
            ASSERT_EQ(buffer.GetNext(stream, 0), buffer.GetBuffer() + model.starts[i]);
            if (!kWide) {
                ASSERT_EQ(std::ftell(stream), static_cast<long>(model.offsets[i])) << "read ahead";
            }
        }
        EXPECT_EQ(buffer.GetNext(stream, 0), nullptr);
        EXPECT_EQ(stream, nullptr) << "closed at its end";
        Expect(buffer, model, model.offsets.size(), model.text);
    }

    void Cut(const std::vector<T>& text, T cut) {
        const Model<T> model(text, cut, false);
        const bool refused = cut == '\n' && (text.empty() || text[0] == 0);
        ZTK::CBuffer<T> buffer;
        buffer.SetLength(static_cast<int>(text.size()) + 1);
        std::fill_n(buffer.GetBuffer(), text.size() + 1, T{'#'});  // old characters
        buffer.Add(text.data(), static_cast<int>(text.size()));
        ASSERT_EQ(cut == '\n' ? buffer.ToLines() : buffer.Split(cut),
                  !refused && !model.starts.empty());
        if (!refused) {
            std::vector<T> storage = model.text;
            storage.push_back(model.starts.size() > model.offsets.size() ? T{0} : T{'#'});
            Expect(buffer, model, model.starts.size(), storage);
        }
    }

    ZTK::CBuffer<T> kept_;  // loads every file, so that each finds what the last has left
    std::vector<T> storage_;
};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(BufferLinesModel, Widths);

TYPED_TEST(BufferLinesModel, RandomTextsGiveTheModelsLines) {
    std::mt19937 random(20240501);
    for (int i = 0; i < 300 && !this->HasFailure(); ++i) {
        SCOPED_TRACE(i);
        // Mostly small ones; some pass the sizes in which the library reads and the runtime
        // buffers.
        const std::size_t size = i % 20 != 0 ? random() % 40 : random() % 150000;
        const auto read = this->RandomText(random, size);
        const Model<TypeParam> model(read, '\n', true);
        const std::string bytes = this->FileOf(read);
        TestFile file(bytes);
        this->Load(read, model, file);
        this->LoadFresh(model, file, bytes.size());
        this->ReadLineByLine(model, file, static_cast<int>(bytes.size()));
        this->Cut(read, TypeParam{'\n'});
        this->Cut(read, read.empty() ? TypeParam{0} : read[random() % read.size()]);
    }
}

}  // namespace
