// What happens to documents, tags and attributes when memory runs out.
#include <gtest/gtest.h>

#include "support/refuse_each.h"
#include "support/text.h"
#include "support/xml.h"
#include "ztk/ztk.h"

namespace {

using ztk_test::Tag;

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
