// The layer's COM and DOM when memory runs out: every request of a load and of a walk refused in
// turn.
#include <gtest/gtest.h>

#include <string>

#include "support/faults.h"
#include "ztk/platform/com.h"

namespace {

using MSXML2::IXMLDOMDocument2Ptr;

constexpr wchar_t kText[] =
    L"<?xml version='1.0'?><!DOCTYPE a [<!ENTITY e 'x'><!ATTLIST a d CDATA '&e;'>]>"
    L"<a xmlns:p='u' p:b='1'><!-- c --><?i d?>text &e;<![CDATA[ ]]><c>more</c></a>";

// Everything that allocates; the first result that is not a success.
HRESULT LoadAndWalk(BSTR text) {
    IXMLDOMDocument2Ptr document;
    HRESULT result = document.CreateInstance(L"Msxml2.DOMDocument.4.0");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(result) || FAILED(result = document->loadXML(text, &loaded))) {
        return result;
    }
    EXPECT_EQ(loaded, VARIANT_TRUE);
    MSXML2::IXMLDOMElementPtr root;
    MSXML2::IXMLDOMNamedNodeMapPtr attributes;
    MSXML2::IXMLDOMNodePtr node;
    _bstr_t name;
    VARIANT value{};
    if (FAILED(result = document->get_documentElement(&root)) ||
        FAILED(result = root->get_attributes(&attributes)) ||
        FAILED(result = root->get_firstChild(&node)) ||
        FAILED(result = root->get_nodeTypedValue(&value))) {
        return result;
    }
    VariantClear(&value);
    return node->get_nodeName(name.GetAddress());
}

TEST(ComFaultTest, EveryRefusedRequestIsReportedAndNothingLeaks) {
    ASSERT_EQ(CoInitialize(nullptr), S_OK);
    const BSTR text = SysAllocString(kText);
    ASSERT_EQ(LoadAndWalk(text), S_OK);
    const long long blocks = ztk_test::LiveBlocks();
    HRESULT result = E_OUTOFMEMORY;
    int refused = 0;
    for (; result != S_OK && refused < 10000; ++refused) {
        ztk_test::FailAfter(refused);
        try {
            result = LoadAndWalk(text);
        } catch (const _com_error& error) {
            result = error.Error();
        }
        ztk_test::StopFailing();
        EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << refused;
        EXPECT_EQ(ztk_test::LiveBlocks(), blocks) << refused;
        EXPECT_EQ(ZTKPosix::LiveComObjects(), 0u) << refused;
    }
    EXPECT_GT(refused, 20);
    EXPECT_EQ(result, S_OK);
    SysFreeString(text);
    CoUninitialize();
}

TEST(ComFaultTest, StringsAndVariantsReportShortMemory) {
    const _variant_t text(L"text");
    VARIANT copy{};
    ztk_test::FailAlways(0);
    EXPECT_EQ(SysAllocString(L"x"), nullptr);
    EXPECT_EQ(VariantCopy(&copy, &text), E_OUTOFMEMORY);
    EXPECT_EQ(copy.vt, VT_EMPTY);
    EXPECT_THROW(_bstr_t(L"x"), _com_error);
    EXPECT_THROW(_bstr_t("x"), _com_error);
    ztk_test::StopFailing();
}

}  // namespace
