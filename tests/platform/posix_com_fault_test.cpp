// The layer's strings and variants when memory runs out. Loading and reading documents is a matter
// of xml_fault_test.
#include <gtest/gtest.h>

#include "support/faults.h"
#include "ztk/platform/com.h"

namespace {

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
