// Memory that runs out below the library, in the layer that stands in for the platform. Loading and
// reading documents is a matter of xml_fault_test.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/refuse_each.h"
#include "support/xml.h"
#include "ztk/platform/com.h"
#include "ztk/ztk.h"

namespace {

using ztk_test::Raised;

HANDLE Duplicate(HANDLE source) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, 0);
    return copy;
}

DWORD Nothing(LPVOID) {
    return 0;
}

// Each refused request makes the call give `refused`.
void ExpectEachRefused(const std::function<HRESULT()>& call, HRESULT refused) {
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] {
        const HRESULT result = call();
        EXPECT_TRUE(result == S_OK || result == refused) << result;
        return result == S_OK;
    });
}

TEST(OutOfMemory, KernelObjectsAreRefusedWithTheirErrorCode) {
    const HANDLE open = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const std::function<HANDLE()> makers[] = {
        [] { return CreateEventW(nullptr, FALSE, FALSE, nullptr); },
        [] { return CreateMutexW(nullptr, FALSE, L"named"); },
        [] { return CreateMutexW(nullptr, TRUE, nullptr); },
        [] { return CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr); },
        [] {
            return CreateFileW(L"/proc/self/maps", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0,
                               nullptr);
        },
        [open] { return Duplicate(open); },
    };
    // Once with room in the table of handles, and once when a handle needs more room.
    std::vector<HANDLE> filling;
    for (const long long passing : {0, 1}) {
        for (const auto& make : makers) {
            const long long live = ztk_test::LiveBlocks();
            const bool copies = &make == std::end(makers) - 1;  // its only request is for room
            if (copies && passing == 0) {
                continue;
            }
            SetLastError(0);
            ztk_test::FailAlways(copies ? 0 : passing);
            const HANDLE made = make();
            ztk_test::StopFailing();
            EXPECT_TRUE(made == nullptr || made == INVALID_HANDLE_VALUE) << &make - makers;
            EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY) << &make - makers;
            EXPECT_EQ(ztk_test::LiveBlocks(), live) << &make - makers;
        }
        EXPECT_TRUE(SetEvent(open)) << "what exists goes on working";
        EXPECT_EQ(WaitForSingleObject(open, 0), WAIT_OBJECT_0);
        ztk_test::FailAlways(0);
        while (HANDLE copy = Duplicate(open)) {
            filling.push_back(copy);
        }
        ztk_test::StopFailing();
    }
    filling.push_back(open);
    EXPECT_TRUE(std::all_of(filling.begin(), filling.end(), CloseHandle));
}

TEST(OutOfMemory, ComReportsIt) {
    CoInitialize(nullptr);
    MSXML2::IXMLDOMDocument2Ptr document;
    ASSERT_EQ(document.CreateInstance(L"Msxml2.DOMDocument.4.0"), S_OK);
    VARIANT_BOOL loaded = VARIANT_FALSE;
    document->loadXML(_bstr_t(L"<a xmlns:d='urn:schemas-microsoft-com:datatypes'"
                              L" d:dt='bin.hex' b='c'>0aff</a>"),
                      &loaded);
    ASSERT_EQ(loaded, VARIANT_TRUE);
    MSXML2::IXMLDOMElementPtr root;
    document->get_documentElement(&root);
    const auto copied = [](const VARIANT& source) {
        _variant_t copy;
        const HRESULT result = VariantCopy(&copy, &source);
        EXPECT_EQ(copy.vt, result == S_OK ? source.vt : VARTYPE{VT_EMPTY});
        return result;
    };
    const _bstr_t text(L"text");
    const _variant_t variant(text);
    _variant_t bytes;
    EXPECT_EQ(root->get_nodeTypedValue(&bytes), S_OK);
    EXPECT_EQ(document->setProperty(_bstr_t(L"Other"), _variant_t(true)), E_FAIL);
    IErrorInfo* record = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &record), S_OK);
    const std::function<HRESULT()> calls[] = {
        [&] { return copied(variant); },
        [&] { return copied(bytes); },
        [&] {
            _variant_t value;
            return root->get_nodeTypedValue(&value);
        },
        [&] { return Raised([] { (void)_bstr_t(L"x"); }); },
        [&] { return Raised([] { (void)_bstr_t("x"); }); },
        [&] { return Raised([&] { (void)(text + text); }); },
        [&] { return Raised([&] { (void)static_cast<const char*>(_bstr_t(text, true)); }); },
        [&] { return MSXML2::IXMLDOMDocument2Ptr().CreateInstance(L"Msxml2.DOMDocument.6.0"); },
        [&] {
            BSTR description = nullptr;
            const HRESULT result = record->GetDescription(&description);
            EXPECT_EQ(description != nullptr, result == S_OK);
            SysFreeString(description);
            return result;
        },
    };
    for (const auto& call : calls) {
        SCOPED_TRACE(&call - calls);
        ExpectEachRefused(call, E_OUTOFMEMORY);
    }
    record->Release();
    root = nullptr;
    document = nullptr;
    CoUninitialize();
}

TEST(OutOfMemory, AStringBlockIsRefused) {
    const LPCWSTR strings[ZTKPosix::kStringsPerBlock] = {};
    const auto add = [&] {
        const BOOL added = ZTKPosix::AddStringBlock(nullptr, 1, strings);
        ZTKPosix::RemoveStringBlocks(nullptr);
        return added ? S_OK : static_cast<HRESULT>(GetLastError());
    };
    ExpectEachRefused(add, ERROR_NOT_ENOUGH_MEMORY);
}

TEST(OutOfMemory, AThreadWithoutANotifyEventIsRegisteredAllTheSame) {
    ZTK::RegisterThread(1, nullptr);  // makes room in the table
    ztk_test::FailAlways(0);
    EXPECT_EQ(ZTK::RegisterThread(7, reinterpret_cast<void*>(0x70)), nullptr);
    ztk_test::StopFailing();
    EXPECT_EQ(ZTK::GetThreadHandle(7), reinterpret_cast<void*>(0x70));
    EXPECT_EQ(ZTK::GetThreadNotify(7), nullptr);
    ZTK::DeRegisterThread(7);
    ZTK::DeRegisterThread(1);
}

TEST(OutOfMemory, AReceiverThreadThatCannotStartLeavesNoThread) {
    ZTK::CClientSocket socket(100);
    ztk_test::FailAlways(0);
    EXPECT_EQ(socket.Receive(0), nullptr);
    ztk_test::StopFailing();
    EXPECT_EQ(socket.GetThreadID(), 0U);
    ZTK::DeRegisterThread(0);
}

}  // namespace
