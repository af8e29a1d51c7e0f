// Finding tags and attributes: by iteration, by name, by path, and in the table in which a tag
// keeps its attributes; and what happens to documents, tags and attributes when memory runs out.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/refuse_each.h"
#include "support/text.h"
#include "support/xml.h"
#include "ztk/strings.h"

namespace {

using namespace ztk_test;

constexpr wchar_t kDocument[] =
    L"<a x='0'>"
    L"<!--c-->"
    L"<b id='1'><c>first</c><C>second</C></b>"
    L"<b id='2'><d z='9'/></b>"
    L"<p:e xmlns:p='urn:x' p:i='5'/>"
    L"text"
    L"</a>";

using Path = std::array<const wchar_t*, 4>;

ZTK::CXMLTag* FindTag(ZTK::CXml& xml, const Path& path) {
    return xml.FindTagV(path[0], path[1], path[2], path[3], nullptr);
}

ZTK::CXMLAttribute* FindAttribute(ZTK::CXml& xml, const Path& path) {
    return xml.FindAttributeV(path[0], path[1], path[2], path[3], nullptr);
}

TEST(XmlPath, FindTagV) {
    const std::pair<Path, const char*> cases[] = {
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
    for (const auto& [path, found] : cases) {
        const Tag tag(FindTag(xml, path));
        EXPECT_NE(tag.get(), xml.GetRoot());
        if (found == nullptr) {
            EXPECT_EQ(tag, nullptr) << Plain(path[1]);
        } else {
            ASSERT_NE(tag, nullptr) << found;
            EXPECT_EQ(Plain(tag->GetBuffer()) + "=" + Plain(tag->GetValue()), found);
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
    const std::pair<Path, const wchar_t*> cases[] = {
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
    for (const auto& [path, value] : cases) {
        ZTK::CXMLAttribute* const attribute = FindAttribute(xml, path);
        ASSERT_EQ(attribute != nullptr, value != nullptr) << Plain(path[1]);
        if (attribute == nullptr) {
            continue;
        }
        EXPECT_TEXT(value, attribute->GetValue());
        EXPECT_EQ(attribute->ToInt(), value[0] - L'0');
        if (attribute->GetParent() != xml.GetRoot()) {
            delete attribute->GetParent();
        }
    }
    xml.Reset();
    EXPECT_EQ(FindAttribute(xml, cases[0].first), nullptr);
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
            EXPECT_TRUE((a == b) == (i == j) && (a != b) == (i != j)) << i << ", " << j;
            EXPECT_TRUE((a < b) == (i < j) && (a <= b) == (i <= j)) << i << ", " << j;
            EXPECT_TRUE((a > b) == (i > j) && (a >= b) == (i >= j)) << i << ", " << j;
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

// A host may enter attributes of its own, also several of one name. Which of them a lookup finds is
// a matter of how the table has always been sorted, and must not change.
TEST(XmlAttributeTable, FindsTheSameOfSeveralAttributesOfOneNameAsEver) {
    // Attributes are entered by their names of one letter. At a dot each name is looked up, and the
    // place of the one that is found is written down as a letter: a for the first that was entered.
    const struct {
        const char *names, *found;
    } cases[] = {
        {"AAA.", "b"},
        {"BAAA.AB.", "cabf"},
        {"ABAAAAB.BA.", "cgab"},
        {"AAACC.BAAAAAAAA.", "behfe"},
        {"B.ACCCAACABBABBAABAB.B.", "aomciad"},
        {"CACCCDCBDDBACACDADCDADABBABDC.C.", "wyorbAdi"},
        {"CDACCADAB.CCBCCACCCBABCDBAADABCCDDBAAD.CB.B.", "fiabJHvGcukgJHEF"},
        {"DABDCBADCBDEBEDDFF.CDCCDDBADEBFD.CBADCEEECACFEFACCEFF.", "bmiknrgcvtnrgGUklX"},
        {"EEFCJAHIEFEHEIFFEFGFCHFFICICDFHEBGCJJIGEJ.IEAD.CJHJCDC.",
         "fGzCmwMgLORGBSirMgAOfGIYbpHVyO"},
        {"ADBBABACBDBEADDCDEAEBBCACDCDAECAEECACEECECCBDDEECDBB.", "FuAbl"},
    };
    for (const auto& row : cases) {
        ZTK::CXMLTag tag(L"a");
        std::vector<ZTK::CXMLAttribute*> entered;
        std::string found;
        for (const char* name = row.names; *name != 0; ++name) {
            if (*name != '.') {
                const wchar_t text[] = {static_cast<wchar_t>(*name), 0};
                entered.push_back(new ZTK::CXMLAttribute(&tag, nullptr, text));
                continue;
            }
            for (wchar_t text[] = L"A"; text[0] <= L'J'; ++text[0]) {
                ZTK::CXMLAttribute* one = nullptr;
                // There is no node, so a miss raises.
                if (Raised([&] { one = tag.GetAttribute(text); }) == S_OK) {
                    const auto place = std::find(entered.begin(), entered.end(), one);
                    const auto index = place - entered.begin();
                    found += static_cast<char>((index < 26 ? 'a' : 'A' - 26) + index);
                }
            }
        }
        EXPECT_EQ(found, row.found) << row.names;
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
            ZTK::CXMLAttribute* const found = xml.GetRoot()->GetAttribute(name);
            ASSERT_NE(found, nullptr) << number;
            ASSERT_EQ(repeats ? number : found->ToInt(), number);
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

// --- When memory is short

// Loads a document and reads it in all ways. Returns whether everything was there.
bool LoadAndRead() {
    ZTK::CXml xml;
    const wchar_t* const text =
        L"<?xml version='1.0'?><!DOCTYPE a [<!ENTITY e 'x'><!ATTLIST b d CDATA '&e;'>]>"
        L"<a xmlns:p='u' i='1' p:j='2'>text<b k='3'><!-- n --><?p q?><![CDATA[ ]]><c/></b></a>";
    if (!xml.LoadXML(text) || xml.GetRoot() == nullptr) {
        return false;
    }
    ZTK::CXMLTag* const root = xml.GetRoot();
    ZTK::CXMLAttribute* const i = root->GetAttribute(L"i");
    ZTK::CXMLAttribute* const j = root->GetAttribute(L"p:j");
    ZTK::CXMLAttribute* const k = xml.FindAttributeV(L"a", L"b", L"k", nullptr);
    const Tag k_owner(k != nullptr ? k->GetParent() : nullptr);
    const Tag c(xml.FindTagV(L"a", L"b", L"c", nullptr));
    if (i == nullptr || j == nullptr || k == nullptr || c == nullptr) {
        return false;
    }
    EXPECT_EQ(root->GetAttribute(L"i"), i);
    EXPECT_TEXT(L"1", i->GetValue());
    EXPECT_EQ(j->ToInt(), 2);
    EXPECT_TEXT(L"3", k->GetValue());
    int children = 0;
    for (Tag child(root->FirstTag()); child != nullptr; child.reset(root->NextTag())) {
        ++children;
    }
    EXPECT_TEXT(L"text ", root->GetValue());
    return children == 2;
}

// Refuses the n-th request for memory, or all from the n-th on, for every n that a run gets to.
void RefuseEachRequest(void (*refuse)(long long)) {
    ASSERT_TRUE(LoadAndRead());
    ztk_test::RefuseEach(refuse, [] {
        bool complete = false;
        const HRESULT raised = ztk_test::Raised([&] { complete = LoadAndRead(); });
        EXPECT_TRUE(raised == S_OK || raised == E_OUTOFMEMORY || raised == E_POINTER) << raised;
        return complete;
    });
}

TEST(XmlOutOfMemory, OneRefusedRequestIsReportedAndNothingLeaks) {
    RefuseEachRequest(ztk_test::FailAfter);
}

TEST(XmlOutOfMemory, NoMemoryAnyMoreIsReportedAndNothingLeaks) {
    RefuseEachRequest(ztk_test::FailAlways);
}

TEST(XmlOutOfMemory, AWalkWithoutAFirstTagHasNoSecondOne) {
    ZTK::CXml xml(L"<a><b/><c/></a>");
    RefuseEach(FailAfter, [&] {
        Tag first;
        const HRESULT raised = Raised([&] { first.reset(xml.GetRoot()->FirstTag()); });
        StopFailing();
        int further = 0;
        while (Tag(xml.GetRoot()->NextTag()) != nullptr) {
            ++further;
        }
        EXPECT_EQ(further, raised == S_OK ? 1 : 0);
        return first != nullptr;
    });
}

// The tag stays usable, and what was made before and after is released with it.
TEST(XmlOutOfMemory, AnAttributeThatGetsNoPlaceInItsTableIsNotKept) {
    const long long live = ztk_test::LiveBlocks();
    int refusals = 0;
    for (int n = 0; n < 6; ++n) {
        for (const bool look : {false, true}) {
            ZTK::CXMLTag tag(L"a");
            ZTK::CXMLAttribute* first = nullptr;
            ztk_test::FailAfter(n);
            const HRESULT raised =
                ztk_test::Raised([&] { first = new ZTK::CXMLAttribute(&tag, nullptr, L"i"); });
            ztk_test::StopFailing();
            EXPECT_TRUE(raised == S_OK || raised == E_OUTOFMEMORY);
            refusals += first == nullptr;
            ZTK::CXMLAttribute* const second = new ZTK::CXMLAttribute(&tag, nullptr, L"j");
            if (look) {
                EXPECT_EQ(tag.GetAttribute(L"j"), second);
                EXPECT_EQ(ztk_test::Raised([&] { EXPECT_EQ(tag.GetAttribute(L"i"), first); }),
                          first == nullptr ? E_POINTER : S_OK);
            }
        }
        EXPECT_EQ(ztk_test::LiveBlocks(), live) << n;
    }
    EXPECT_GE(refusals, 8);
}

}  // namespace
