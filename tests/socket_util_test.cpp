// Socket helpers: addresses, names, texts, options.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/loopback.h"
#include "support/text.h"
#include "ztk/ztk.h"

namespace {

using ZTK::CSocketUtil;

class SocketUtil : public testing::Test {
  public:
    static void SetUpTestSuite() { ZTK::InitWSA(); }
    static void TearDownTestSuite() { ZTK::CloseWSA(); }
};

// An address pair that is freed at the end of its scope.
struct Address : SOCKET_ADDRESS {
    Address() : SOCKET_ADDRESS{} {}
    Address(const Address&) = delete;
    Address& operator=(const Address&) = delete;
    ~Address() { ZTK::MemFree(lpSockaddr); }
    [[nodiscard]] const sockaddr_in6& v6() const {
        return *reinterpret_cast<const sockaddr_in6*>(lpSockaddr);
    }
};

TEST_F(SocketUtil, AnyAddressNeedsNoLookup) {
    for (const wchar_t* host : {static_cast<const wchar_t*>(nullptr), L"", L"any", L"ANY"}) {
        for (const auto& [family, bytes] :
             {std::pair(2, 16), std::pair(23, 28), std::pair(17, 0)}) {
            SCOPED_TRACE(ztk_test::Show(host) + " family " + std::to_string(family));
            Address address;
            address.iSockaddrLength = 99;
            EXPECT_EQ(CSocketUtil::GetHostAddress(host, static_cast<unsigned short>(family),
                                                  IPPROTO_TCP, SOCK_STREAM, 8080, &address),
                      1);
            EXPECT_EQ(address.iSockaddrLength, bytes);
            ASSERT_EQ(address.lpSockaddr != nullptr, bytes != 0);
            if (bytes != 0) {
                EXPECT_EQ(address.lpSockaddr->sa_family, family);
                EXPECT_EQ(std::memcmp(address.lpSockaddr->sa_data, "\x1F\x90", 2), 0);
                for (int i = 4; i < bytes; ++i) {
                    EXPECT_EQ(reinterpret_cast<unsigned char*>(address.lpSockaddr)[i], 0) << i;
                }
            }
        }
    }
}

TEST_F(SocketUtil, NumericHostsResolve) {
    struct Row {
        const wchar_t* host;
        unsigned short family;
        int result;
        int bytes;
        const wchar_t* text;
    };
    constexpr Row kRows[] = {
        {L"127.0.0.1", 2, 1, 16, L"127.0.0.1"}, {L"::1", 23, 1, 28, L"[::1]"},
        {L"::1", AF_INET6, 1, 28, L"[::1]"},  // the system's own number is accepted as well
        {L"::1", 0, 1, 28, L"[::1]"},           {L"::1", 2, 0, 0, nullptr},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(ztk_test::Show(row.host) + " family " + std::to_string(row.family));
        Address address;
        WSASetLastError(0);
        ASSERT_EQ(CSocketUtil::GetHostAddress(row.host, row.family, IPPROTO_TCP, SOCK_STREAM, 80,
                                              &address),
                  row.result);
        EXPECT_EQ(address.iSockaddrLength, row.bytes);
        if (row.result == 0) {
            EXPECT_NE(WSAGetLastError(), 0);
            EXPECT_EQ(address.lpSockaddr, nullptr);
            continue;
        }
        EXPECT_EQ(address.lpSockaddr->sa_family, row.bytes == 28 ? 23 : 2);
        wchar_t text[64];
        EXPECT_GT(CSocketUtil::IPAddressToString(&address, text, 64), 0);
        EXPECT_TEXT(row.text, text);
    }
}

TEST_F(SocketUtil, ResultListsCarryThePlatformsFamilyAndAreFreed) {
    addrinfo hints{};
    hints.ai_family = 23;
    hints.ai_socktype = SOCK_STREAM;
    for (const wchar_t* service : {L"80", static_cast<const wchar_t*>(nullptr)}) {
        addrinfo* list = nullptr;
        ASSERT_TRUE(CSocketUtil::GetAddrInfoW(L"::1", service, &hints, &list));
        EXPECT_EQ(list->ai_family, 23);
        EXPECT_EQ(list->ai_addr->sa_family, 23);
        freeaddrinfo(list);
    }
    addrinfo* list = nullptr;
    const wchar_t* no_host = nullptr;
    EXPECT_FALSE(
        CSocketUtil::GetAddrInfoW(no_host, static_cast<unsigned short>(80), &hints, &list));
}

TEST_F(SocketUtil, AddressTextIsCutAtItsLastColon) {
    struct Row {
        const wchar_t* host;
        unsigned short family;
        unsigned short port;
        unsigned long scope;
        int count;
        const wchar_t* text;
    };
    constexpr Row kRows[] = {
        {L"10.1.2.3", 2, 80, 0, 12, L"10.1.2.3"},
        {L"10.1.2.3", 2, 0, 0, 9, L"10.1.2.3"},
        {L"255.255.255.255", 2, 65535, 0, 22, L"255.255.255.255"},
        {L"fe80::1", 23, 80, 0, 13, L"[fe80::1]"},
        {L"fe80::1", 23, 0, 0, 8, L"fe80:"},
        {L"::1", 23, 0, 0, 4, L":"},
        {L"::", 23, 0, 0, 3, L":"},
        {L"fe80::1", 23, 80, 7, 15, L"[fe80::1%7]"},
        {L"fe80::1", 23, 0, 7, 10, L"fe80:"},
        {L"1:0:2:0:0:3:0:4", 23, 1, 0, 17, L"[1:0:2::3:0:4]"},
        {L"::ffff:10.1.2.3", 23, 1, 0, 20, L"[::ffff:10.1.2.3]"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(ztk_test::Show(row.host) + " port " + std::to_string(row.port));
        Address address;
        ASSERT_EQ(CSocketUtil::GetHostAddress(row.host, row.family, IPPROTO_TCP, SOCK_STREAM,
                                              row.port, &address),
                  1);
        if (row.scope != 0) {
            reinterpret_cast<sockaddr_in6*>(address.lpSockaddr)->sin6_scope_id = row.scope;
        }
        wchar_t text[64];
        const DWORD exact = static_cast<DWORD>(row.count);
        EXPECT_EQ(CSocketUtil::IPAddressToString(&address, text, exact), row.count);
        EXPECT_TEXT(row.text, text);
        EXPECT_EQ(CSocketUtil::IPAddressToString(&address, text, exact - 1), 0);
        EXPECT_EQ(WSAGetLastError(), WSAEFAULT);
    }
}

TEST_F(SocketUtil, ClassicTextsConvertBothWays) {
    sockaddr_in address{};
    std::memcpy(&address.sin_addr, "\x0A\x00\xFF\x07", 4);
    EXPECT_TEXT(L"10.0.255.7", CSocketUtil::IP4SockIPToStrIP(&address));
    EXPECT_TEXT(nullptr, CSocketUtil::IP4SockIPToStrIP(nullptr));

    const DWORD packed = CSocketUtil::IP4StrIPToSockIP(L"10.0.255.7");
    EXPECT_EQ(std::memcmp(&packed, "\x0A\x00\xFF\x07", 4), 0);
    for (const wchar_t* bad : {static_cast<const wchar_t*>(nullptr), L"", L"10.0.0.256", L"host"}) {
        EXPECT_EQ(CSocketUtil::IP4StrIPToSockIP(bad), 0xFFFFFFFF) << ztk_test::Show(bad);
    }
}

TEST_F(SocketUtil, HostNamesAreToldByOneOddCharacter) {
    for (const wchar_t* name :
         {L"192.168.0.1", L"my-host", L"host.local", L" ", L"a_b", L"\u4E2D"}) {
        EXPECT_TRUE(CSocketUtil::IsHostName(name)) << ztk_test::Show(name);
    }
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"", L"localhost", L"h0st"}) {
        EXPECT_FALSE(CSocketUtil::IsHostName(name)) << ztk_test::Show(name);
    }
}

TEST_F(SocketUtil, ReverseLookupsFillTheHostAndNeverTheService) {
    for (const ztk_test::Family& family : {ztk_test::kIPv4, ztk_test::kIPv6}) {
        Address address;
        ASSERT_EQ(CSocketUtil::GetHostAddress(family.host, family.number, IPPROTO_TCP, SOCK_STREAM,
                                              80, &address),
                  1);
        ZTK::TSOHostNameW host = {L"junk"};
        ZTK::TSOServiceNameW service = {L"junk"};
        EXPECT_EQ(CSocketUtil::GetHostNameW(address.lpSockaddr, address.iSockaddrLength, &host,
                                            NI_NUMERICHOST),
                  0);
        EXPECT_TEXT(family.host, host.name);
        EXPECT_EQ(CSocketUtil::GetServName(address.lpSockaddr, address.iSockaddrLength, &service,
                                           NI_NUMERICHOST),
                  0);
        EXPECT_TEXT(L"", service.name);

        const int failure = CSocketUtil::GetHostNameW(address.lpSockaddr, 4, &host, NI_NUMERICHOST);
        EXPECT_NE(failure, 0);
        EXPECT_TEXT(family.host, host.name);
    }
}

TEST_F(SocketUtil, ErrorTextsExistForTheDocumentedCodesOnly) {
    int known = 0;
    for (int code = -10; code < 12000; ++code) {
        known += !ZTK::StrEqual(CSocketUtil::PrintSocketError(code), L"Unknown socket error", true);
    }
    EXPECT_EQ(known, 89);
    for (const int gap : {0, -10054, 10003, 10005, 10072, 10113, 11000, 11032, 0x7FFFFFFF}) {
        EXPECT_TEXT(L"Unknown socket error", CSocketUtil::PrintSocketError(gap));
    }
    EXPECT_TEXT(L"An invalid argument was supplied.", CSocketUtil::PrintSocketError(10022));
    EXPECT_TEXT(L"A database query failed because it was actively refused.",
                CSocketUtil::PrintSocketError(10112));
    EXPECT_TEXT(L"No such host is known.", CSocketUtil::PrintSocketError(11001));
    EXPECT_TEXT(L"A reserved policy element was found in the QOS provider-specific buffer.",
                CSocketUtil::PrintSocketError(11031));
    EXPECT_TEXT(CSocketUtil::PrintSocketError(10102), CSocketUtil::PrintSocketError(10110));
    EXPECT_TEXT(CSocketUtil::PrintSocketError(10103), CSocketUtil::PrintSocketError(10111));
}

using SocketOptions = ztk_test::IPv4LoopbackTest;

TEST_F(SocketOptions, DontLingerIsTheInverseOfLinger) {
    ZTK::CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    linger option{};
    option.l_onoff = 1;
    option.l_linger = 5;
    ASSERT_EQ(CSocketUtil::SetOptions(peer, SOL_SOCKET, SO_LINGER, &option, sizeof(option)), 0);
    int enabled = 7;
    EXPECT_EQ(CSocketUtil::GetOptions(peer, SOL_SOCKET, SO_DONTLINGER, &enabled, sizeof(enabled)),
              0);
    EXPECT_EQ(enabled, 0);
    enabled = 1;
    EXPECT_EQ(CSocketUtil::SetOptions(peer, SOL_SOCKET, SO_DONTLINGER, &enabled, sizeof(enabled)),
              0);
    EXPECT_EQ(CSocketUtil::GetOptions(peer, SOL_SOCKET, SO_LINGER, &option, sizeof(option)), 0);
    EXPECT_EQ(option.l_onoff, 0);
    client.Shutdown();
    closesocket(static_cast<SOCKET>(peer));
}

TEST_F(SocketOptions, ReceiveTimeoutCountsMilliseconds) {
    ZTK::CClientSocket client(0);
    const std::uint64_t peer = Connect(client);
    ASSERT_NE(peer, 0U);
    DWORD milliseconds = 1500;
    EXPECT_EQ(
        CSocketUtil::SetOptions(client.GetSocket(), SOL_SOCKET, SO_RCVTIMEO, &milliseconds, 4), 0);
    milliseconds = 0;
    EXPECT_EQ(
        CSocketUtil::GetOptions(client.GetSocket(), SOL_SOCKET, SO_RCVTIMEO, &milliseconds, 4), 0);
    EXPECT_EQ(milliseconds, 1500U);
    milliseconds = 10;
    EXPECT_EQ(
        CSocketUtil::SetOptions(client.GetSocket(), SOL_SOCKET, SO_RCVTIMEO, &milliseconds, 4), 0);
    EXPECT_EQ(client.Read(), -1);
    EXPECT_EQ(client.GetLastError(), static_cast<DWORD>(WSAETIMEDOUT));
    client.Shutdown();
    closesocket(static_cast<SOCKET>(peer));
}

TEST(SocketHandles, ClosedAndInventedOnesAreRefused) {
    ZTK::InitWSA();
    int value = 0;
    for (const std::uint64_t bad :
         {std::uint64_t{0}, std::uint64_t{0x7FFFFFF0}, ~std::uint64_t{0}}) {
        EXPECT_EQ(CSocketUtil::GetOptions(bad, SOL_SOCKET, SO_ERROR, &value, sizeof(value)), -1);
        EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK) << bad;
        EXPECT_EQ(closesocket(static_cast<SOCKET>(bad)), SOCKET_ERROR);
        EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK) << bad;
    }
    ZTK::CloseWSA();
}

TEST(SocketHandles, TheLastEndClosesWhatIsOpen) {
    ZTK::InitWSA();
    ZTK::InitWSA();
    ztk_test::Receiver receiver;
    ZTK::CClientSocket client(&receiver, 0);
    ztk_test::Server server(ztk_test::Endpoint(ztk_test::kIPv4, 0));
    ASSERT_TRUE(server.Start());
    ZTK::TSOSocketInfo info = ztk_test::Endpoint(ztk_test::kIPv4, server.port());
    ASSERT_TRUE(client.Connect(&info));
    ASSERT_NE(server.listener.NextAccepted(), 0U);
    ZTK::CloseWSA();
    EXPECT_EQ(client.Send("x", 1), 1);
    ZTK::CloseWSA();
    EXPECT_EQ(client.Send("x", 1), -1);
}

}  // namespace
