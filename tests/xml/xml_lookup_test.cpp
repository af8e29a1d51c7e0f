// Finding tags and attributes: by iteration, by name, by path, and in the table in which a tag
// keeps its attributes.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/text.h"
#include "support/xml.h"
#include "ztk/strings.h"

namespace {

using ztk_test::Plain;
using ztk_test::Raised;
using ztk_test::Show;
using ztk_test::Tag;

constexpr wchar_t kDocument[] =
    L"<a x='0'>"
    L"<!--c-->"
    L"<b id='1'><c>first</c><C>second</C></b>"
    L"<b id='2'><d z='9'/></b>"
    L"<p:e xmlns:p='urn:x' p:i='5'/>"
    L"text"
    L"</a>";

using Path = const wchar_t* [4];

ZTK::CXMLTag* FindTag(ZTK::CXml& xml, const Path& path) {
    return xml.FindTagV(path[0], path[1], path[2], path[3], nullptr);
}

ZTK::CXMLAttribute* FindAttribute(ZTK::CXml& xml, const Path& path) {
    return xml.FindAttributeV(path[0], path[1], path[2], path[3], nullptr);
}

TEST(XmlPath, FindTagV) {
    const struct {
        Path path;
        const char* found;  // name = value
    } cases[] = {
        {{L"a", L"b"}, "\"b\"=\"firstsecond\""},
        {{L"a", L"b", L"c"}, "\"c\"=\"first\""},
        {{L"A", L"B", L"C"}, "\"C\"=\"first\""},  // the case does not matter, the spelling is kept
        {{L"a", L"p:E"}, "\"p:E\"=\"\""},
        {{L"a", L"b", L"c", L"#TEXT"}, "\"#TEXT\"=\"first\""},
        {{L"a", L"#comment"}, "\"#comment\"=\"c\""},
        {{L"a", L"b", L"#TEXT"}, nullptr},
        {{L"a", L"b", L"d"}, nullptr},  // only the second b has one
        {{L"a", L"e"}, nullptr},
        {{L"a", L"missing"}, nullptr},
        {{L"a", L"missing", L"c"}, nullptr},
        {{L"a", L"missing", L"missing", L"c"}, nullptr},
        {{L"a", L"b", L"c", L"d"}, nullptr},
        {{L"a", L""}, nullptr},
        {{nullptr, L"b"}, nullptr},
    };
    ZTK::CXml xml(kDocument);
    for (const auto& row : cases) {
        const Tag tag(FindTag(xml, row.path));
        EXPECT_NE(tag.get(), xml.GetRoot());
        if (row.found == nullptr) {
            EXPECT_EQ(tag, nullptr) << Plain(row.path[1]);
        } else {
            ASSERT_NE(tag, nullptr) << row.found;
            EXPECT_EQ(Plain(tag->GetBuffer()) + "=" + Plain(tag->GetValue()), row.found);
        }
    }
}

TEST(XmlPath, FindTagVGivesTheRootForAWrongFirstName) {
    const Path paths[] = {{L"a"}, {L"A"}, {L"x"}, {L"x", L"b"}, {L"x", L"missing", L"b"}, {L""}};
    ZTK::CXml xml(kDocument);
    for (const auto& path : paths) {
        EXPECT_EQ(FindTag(xml, path), xml.GetRoot()) << Plain(path[0]);
    }
    xml.Reset();
    EXPECT_EQ(FindTag(xml, paths[0]), nullptr);
}

TEST(XmlPath, FindAttributeV) {
    const struct {
        Path path;
        const wchar_t* value;
    } cases[] = {
        {{L"a", L"x"}, L"0"},
        {{L"A", L"x"}, L"0"},
        {{L"a", L"b", L"id"}, L"1"},
        {{L"a", L"B", L"id"}, L"1"},
        {{L"a", L"p:e", L"p:i"}, L"5"},
        {{L"a", L"b", L"ID"}, nullptr},  // attributes are found exactly
        {{L"a", L"X"}, nullptr},
        {{L"a"}, nullptr},
        {{L"x", L"x"}, nullptr},
        {{nullptr, L"x"}, nullptr},
        {{L"a", L"missing", L"id"}, nullptr},
        {{L"a", L"missing", L"c", L"id"}, nullptr},
        {{L"a", L"b", L"missing"}, nullptr},
        {{L"a", L"#text", L"id"}, nullptr},  // a node that has no attributes
        {{L"a", L""}, nullptr},
    };
    ZTK::CXml xml(kDocument);
    for (const auto& row : cases) {
        ZTK::CXMLAttribute* const attribute = FindAttribute(xml, row.path);
        ASSERT_EQ(attribute != nullptr, row.value != nullptr) << Plain(row.path[1]);
        if (attribute == nullptr) {
            continue;
        }
        EXPECT_TEXT(row.value, attribute->GetValue());
        EXPECT_EQ(attribute->ToInt(), row.value[0] - L'0');
        if (attribute->GetParent() != xml.GetRoot()) {
            delete attribute->GetParent();
        }
    }
    xml.Reset();
    EXPECT_EQ(FindAttribute(xml, cases[0].path), nullptr);
}

TEST(XmlTag, IterationVisitsEveryKindOfChildAndEnds) {
    ZTK::CXml xml(kDocument);
    ZTK::CXMLTag* const root = xml.GetRoot();
    EXPECT_EQ(root->NextTag(), nullptr) << "before the first";
    for (int round = 0; round < 2; ++round) {
        std::string names;
        for (Tag tag(root->FirstTag()); tag != nullptr; tag.reset(root->NextTag())) {
            names += Plain(tag->GetBuffer());
        }
        EXPECT_EQ(names, R"("#comment""b""b""p:e""#text")");
        EXPECT_EQ(root->NextTag(), nullptr);
        EXPECT_EQ(root->NextTag(), nullptr);
    }
}

TEST(XmlTag, LookupsMakeNewTagsAndKeepAttributes) {
    ZTK::CXml xml(kDocument);
    const Tag one(xml.GetRoot()->GetTag(L"b"));
    const Tag two(xml.GetRoot()->GetTag(L"b"));
    EXPECT_NE(one, two);
    EXPECT_EQ(one->GetAttribute(L"id"), one->GetAttribute(L"id"));
    EXPECT_NE(one->GetAttribute(L"id"), two->GetAttribute(L"id"));
}

TEST(XmlTag, WorksAfterReleaseWithWhatItHasRead) {
    ZTK::CXml xml(kDocument);
    const Tag tag(xml.GetRoot()->GetTag(L"b"));
    ZTK::CXMLAttribute* const id = tag->GetAttribute(L"id");
    const Tag first(tag->FirstTag());
    tag->Release();
    EXPECT_EQ(tag->GetAttribute(L"id"), id);
    EXPECT_TEXT(L"1", id->GetValue());
    EXPECT_TEXT(nullptr, tag->GetValue());
    EXPECT_EQ(tag->ToInt() + tag->ToLong(), 0);
    const Tag next(tag->NextTag());
    EXPECT_TEXT(L"C", next->GetBuffer());
    EXPECT_EQ(tag->FirstTag(), nullptr);
    EXPECT_EQ(tag->NextTag(), nullptr);
    EXPECT_EQ(Raised([&] { (void)tag->GetAttribute(L"other"); }), E_POINTER);
    EXPECT_EQ(Raised([&] { (void)tag->GetTag(L"c"); }), E_POINTER);
}

TEST(XmlToken, OrdersByCodeUnit) {
    const wchar_t* const ascending[] = {nullptr, L"A",      L"B",      L"a",     L"ab",
                                        L"b",    L"\x00E9", L"\xD834", L"\xFFFD"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const ZTK::CXMLToken a(ascending[i]);
            const ZTK::CXMLToken b(ascending[j]);
            EXPECT_EQ(a == b, i == j);
            EXPECT_EQ(a != b, i != j);
            EXPECT_EQ(a < b, i < j);
            EXPECT_EQ(a <= b, i <= j);
            EXPECT_EQ(a > b, i > j);
            EXPECT_EQ(a >= b, i >= j);
        }
    }
}

// --- The table of attributes

// A document with these many attributes, n0='0' n1='1' and so on.
std::vector<wchar_t> ManyAttributes(int count) {
    std::string text = "<a";
    for (int i = 0; i < count; ++i) {
        text += " n" + std::to_string(i) + "='" + std::to_string(i) + "'";
    }
    text += "/>";
    std::vector<wchar_t> wide(text.begin(), text.end());
    wide.push_back(0);
    return wide;
}

TEST(XmlAttributeTable, AgreesWithAMapUnderRandomReads) {
    std::mt19937 random(1);
    for (int round = 0; round < 20; ++round) {
        const int count = 1 + static_cast<int>(random() % 250);
        ZTK::CXml xml(ManyAttributes(count).data());
        std::map<int, ZTK::CXMLAttribute*> model;
        for (int step = 0; step < 4 * count; ++step) {
            const int wanted = static_cast<int>(random() % (count + count / 8 + 1));
            ZTK::CXMLAttribute* const found =
                xml.GetRoot()->GetAttribute(ZTK::StrFormat(L"n%d", wanted));
            ASSERT_EQ(found != nullptr, wanted < count) << wanted << " of " << count;
            if (found != nullptr) {
                ASSERT_EQ(model.emplace(wanted, found).first->second, found) << wanted;
                ASSERT_EQ(found->ToInt(), wanted);
            }
        }
    }
}

// The order in which a table has always been sorted. It decides which of several attributes of one
// name a lookup finds, and so must not change.
class TableModel {
  public:
    struct Entry {
        unsigned name;
        ZTK::CXMLAttribute* attribute;
    };

    void Append(wchar_t name, ZTK::CXMLAttribute* attribute) {
        entries_.push_back({name, attribute});
        sorted_ = false;
    }

    ZTK::CXMLAttribute* Find(wchar_t name) {
        if (!entries_.empty() && !sorted_) {
            Sort(0, static_cast<int>(entries_.size()) - 1);
            sorted_ = true;
        }
        for (const Entry& entry : entries_) {
            if (entry.name == name) {
                return entry.attribute;
            }
        }
        return nullptr;
    }

  private:
    void Sort(int l, int r) {
        auto& s = entries_;
        while (r > l) {
            const auto v = s[r].name;
            int i = l - 1, j = r, p = l - 1, q = r;
            for (;;) {
                while (s[++i].name < v) {
                }
                while (v < s[--j].name) {
                    if (j == l) {
                        break;
                    }
                }
                if (i >= j) {
                    break;
                }
                std::swap(s[i], s[j]);
                if (s[i].name == v) {
                    std::swap(s[++p], s[i]);
                }
                if (s[j].name == v) {
                    std::swap(s[--q], s[j]);
                }
            }
            std::swap(s[i], s[r]);
            j = i - 1;
            ++i;
            for (int k = l; k < p; ++k, --j) {
                std::swap(s[k], s[j]);
            }
            for (int k = r - 1; k > q; --k, ++i) {
                std::swap(s[k], s[i]);
            }
            Sort(l, j);
            l = i;
        }
    }

    std::vector<Entry> entries_;
    bool sorted_ = true;
};

// A host may enter attributes of its own, also several of one name.
TEST(XmlAttributeTable, FindsTheSameOfSeveralAttributesOfOneNameAsEver) {
    std::mt19937 random(2);
    for (int round = 0; round < 400; ++round) {
        ZTK::CXMLTag tag(L"a");
        TableModel model;
        const unsigned names = 1 + random() % (round % 2 == 0 ? 60 : 6);
        const unsigned lookups = 1 + random() % 4;
        for (int step = 0; step < 120; ++step) {
            const wchar_t name[] = {static_cast<wchar_t>(L'A' + random() % names), 0};
            if (random() % 4 >= lookups) {
                model.Append(name[0], new ZTK::CXMLAttribute(&tag, nullptr, name));
                continue;
            }
            // There is no node, so a miss raises.
            ZTK::CXMLAttribute* found = nullptr;
            const HRESULT raised = Raised([&] { found = tag.GetAttribute(name); });
            ZTK::CXMLAttribute* const expected = model.Find(name[0]);
            ASSERT_EQ(found, expected) << "round " << round << ", step " << step;
            ASSERT_EQ(raised, expected != nullptr ? S_OK : E_POINTER);
        }
    }
}

// Sorting from scratch for each would make three hundred thousand million comparisons of names. Two
// attributes of one name make it slower, but not that slow.
TEST(XmlAttributeTable, TenThousandAttributesAreReadInAnyOrder) {
    constexpr int kCount = 10'000;
    const std::vector<wchar_t> text = ManyAttributes(kCount);
    std::vector<int> order(kCount);
    std::iota(order.begin(), order.end(), 0);
    const auto read_all = [&](bool repeats) {
        ZTK::CXml xml(text.data());
        ASSERT_NE(xml.GetRoot(), nullptr);
        for (int i = 0; i < (repeats ? 2 : 0); ++i) {
            new ZTK::CXMLAttribute(xml.GetRoot(), nullptr, L"n5000");
        }
        for (const int number : order) {
            wchar_t name[8];
            ZTK::StrCopy(name, ZTK::StrFormat(L"n%d", number));
            ASSERT_NE(xml.GetRoot()->GetAttribute(name), nullptr) << number;
        }
    };
    read_all(false);
    std::reverse(order.begin(), order.end());
    read_all(false);
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    read_all(false);
    order.resize(kCount / 5);
    read_all(true);
}

}  // namespace
