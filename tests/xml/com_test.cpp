// The COM binder: what it leaves of the calling thread's COM initialisation.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "ztk/com.h"

namespace {

// Runs body on a thread that has not initialised COM yet.
template <class Body>
void OnFreshThread(Body body) {
    std::thread(body).join();
}

// Whether the calling thread has COM initialised, found out by initialising it once more.
bool IsInitialised() {
    const HRESULT result = CoInitialize(nullptr);
    if (SUCCEEDED(result)) {
        CoUninitialize();
    }
    return result != S_OK;
}

TEST(ComBinder, InitialisesForAsLongAsItLivesAlsoASecondTime) {
    OnFreshThread([] {
        EXPECT_FALSE(IsInitialised());
        std::optional<ZTK::CCOMBinder> first(std::in_place);
        std::optional<ZTK::CCOMBinder> second(std::in_place);
        first.reset();
        EXPECT_TRUE(IsInitialised());
        second.reset();
        EXPECT_FALSE(IsInitialised());
    });
}

TEST(ComBinder, PassesItsFlagsOnAndUndoesNothingThatFailed) {
    const struct {
        DWORD thread, binder;
    } cases[] = {{COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED},
                 {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}};
    for (const auto& models : cases) {
        OnFreshThread([&models] {
            ASSERT_EQ(CoInitializeEx(nullptr, models.thread), S_OK);
            { const ZTK::CCOMBinder refused(models.binder); }
            EXPECT_EQ(CoInitializeEx(nullptr, models.binder), RPC_E_CHANGED_MODE)
                << "the thread's own initialisation is gone";
            {
                const ZTK::CCOMBinder same(models.thread);
                CoUninitialize();  // the thread's own; the binder's is left
                EXPECT_TRUE(IsInitialised());
            }
            EXPECT_FALSE(IsInitialised());
        });
    }
}

TEST(ComBinder, ACopyTakesOverTheResultWithoutInitialising) {
    OnFreshThread([] {
        ASSERT_EQ(CoInitialize(nullptr), S_OK);
        ASSERT_EQ(CoInitialize(nullptr), S_FALSE);
        ASSERT_EQ(CoInitialize(nullptr), S_FALSE);
        {
            const ZTK::CCOMBinder source;
            ZTK::CCOMBinder refused(COINIT_MULTITHREADED);
            const ZTK::CCOMBinder copy(source);
            EXPECT_EQ(&(refused = source), &refused);
        }
        // One initialisation made, three taken back: of the three above, one is left.
        EXPECT_TRUE(IsInitialised());
        CoUninitialize();
        EXPECT_FALSE(IsInitialised());
    });
}

TEST(ComError, IsDescribedInOneSentence) {
    const std::string general = ZTK::Describe(_com_error(E_INVALIDARG));
    EXPECT_TRUE(general.ends_with("parameter. (0x80070057)") ||
                general.ends_with("incorrect. (0x80070057)"))
        << general;
    try {
        const ZTK::CCOMBinder com;
        MSXML2::IXMLDOMDocument2Ptr document;
        ASSERT_EQ(document.CreateInstance(L"Msxml2.DOMDocument.6.0", nullptr, 1), S_OK);
        VARIANT value = {};
        const _bstr_t name(L"no such property");
        _com_issue_errorex(document->setProperty(name, value), document, __uuidof(*document));
    } catch (const _com_error& error) {
        EXPECT_TRUE(ZTK::Describe(error).ends_with(" (0x80004005)")) << ZTK::Describe(error);
    }
}

}  // namespace
