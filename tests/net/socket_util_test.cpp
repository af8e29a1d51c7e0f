// Socket helpers: addresses, names, texts, options.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "support/loopback.h"
#include "support/text.h"
#include "ztk/ztk.h"

namespace {

using ZTK::CSocketUtil;
using ztk_test::Show;

constexpr const wchar_t* kNull = nullptr;

using SocketUtil = ztk_test::IPv4LoopbackTest;

// The address of a host, freed at the end of its scope.
struct Address : SOCKET_ADDRESS {
    Address(const wchar_t* host, int family, unsigned short port) : SOCKET_ADDRESS{nullptr, 99} {
        result = CSocketUtil::GetHostAddress(host, static_cast<unsigned short>(family), IPPROTO_TCP,
                                             SOCK_STREAM, port, this);
    }
    Address(const Address&) = delete;
    Address& operator=(const Address&) = delete;
    ~Address() { ZTK::MemFree(lpSockaddr); }
    int result;
};

TEST_F(SocketUtil, AnyAddressNeedsNoLookup) {
    for (const wchar_t* host : {kNull, L"", L"any", L"ANY"}) {
        for (const auto& [family, bytes] : {std::pair(2, 16), {23, 28}, {AF_INET6, 28}, {17, 0}}) {
            SCOPED_TRACE(Show(host) + " family " + std::to_string(family));
            const Address address(host, family, 8080);
            EXPECT_EQ(address.result, 1);
            ASSERT_EQ(address.iSockaddrLength, bytes);
            const unsigned char number = bytes == 28 ? 23 : 2;
            const unsigned char expected[28] = {number, 0, 0x1F, 0x90};
            const auto* actual = reinterpret_cast<const unsigned char*>(address.lpSockaddr);
            ASSERT_EQ(actual != nullptr, bytes != 0);
            EXPECT_TRUE(std::equal(actual, actual + bytes, expected));
        }
    }
}

TEST_F(SocketUtil, AddressTextIsCutAtItsLastColon) {
    const struct {
        const wchar_t* host;
        int family;
        unsigned short port;
        unsigned long scope;
        int count;
        const wchar_t* text;
    } rows[] = {
        {L"10.1.2.3", 2, 80, 0, 12, L"10.1.2.3"},
        {L"10.1.2.3", 2, 0, 0, 9, L"10.1.2.3"},
        {L"255.255.255.255", 2, 65535, 0, 22, L"255.255.255.255"},
        {L"fe80::1", 23, 80, 0, 13, L"[fe80::1]"},
        {L"fe80::1", AF_INET6, 80, 0, 13, L"[fe80::1]"},  // the system's own number does as well
        {L"fe80::1", 0, 80, 0, 13, L"[fe80::1]"},
        {L"fe80::1", 23, 0, 0, 8, L"fe80:"},
        {L"::", 23, 0, 0, 3, L":"},
        {L"fe80::1", 23, 80, 7, 15, L"[fe80::1%7]"},
        {L"fe80::1", 23, 0, 7, 10, L"fe80:"},
        {L"1:0:2:0:0:3:0:4", 23, 1, 0, 17, L"[1:0:2::3:0:4]"},
        {L"::ffff:10.1.2.3", 23, 1, 0, 20, L"[::ffff:10.1.2.3]"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        Address address(row.host, row.family, row.port);
        ASSERT_EQ(address.result, 1);
        EXPECT_EQ(address.iSockaddrLength, row.family == 2 ? 16 : 28);
        EXPECT_EQ(address.lpSockaddr->sa_family, row.family == 2 ? 2 : 23);
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
    wchar_t unused[64];
    EXPECT_EQ(CSocketUtil::IPAddressToString(nullptr, unused, 64), 0);
    EXPECT_EQ(CSocketUtil::GetHostAddress(L"::1", 23, IPPROTO_TCP, SOCK_STREAM, 80, nullptr), 0);
    WSASetLastError(0);
    const Address foreign(L"::1", 2, 80);
    EXPECT_NE(WSAGetLastError(), 0);
    EXPECT_EQ(foreign.result, 0);
    EXPECT_EQ(foreign.iSockaddrLength, 0);
    EXPECT_EQ(foreign.lpSockaddr, nullptr);
}

TEST_F(SocketUtil, ResultListsCarryThePlatformsFamilyAndAreFreed) {
    addrinfo hints{};
    hints.ai_family = 23;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    for (const wchar_t* service : {L"80", L"7", kNull}) {
        ASSERT_TRUE(CSocketUtil::GetAddrInfoW(L"::1", service, &hints, &list));
        EXPECT_EQ(list->ai_family, 23);
        EXPECT_EQ(list->ai_addr->sa_family, 23);
        freeaddrinfo(list);
    }
    constexpr unsigned short kPort = 80;
    EXPECT_FALSE(CSocketUtil::GetAddrInfoW(kNull, kPort, &hints, &list));
    EXPECT_FALSE(CSocketUtil::GetAddrInfoW(L"::1", kPort, &hints, nullptr));
}

TEST_F(SocketUtil, ResultListsCarryTheKindAndProtocolThatWereAskedFor) {
    for (const auto& asked : {std::pair<int, int>(1, 0), {2, 0}, {2, 6}, {1, 17}}) {
        addrinfo hints{}, *list = nullptr;
        std::tie(hints.ai_socktype, hints.ai_protocol) = asked;
        ASSERT_TRUE(CSocketUtil::GetAddrInfoW(L"10.1.2.3", L"80", &hints, &list));
        EXPECT_EQ(std::pair(list->ai_socktype, list->ai_protocol), asked);
        freeaddrinfo(list);
    }
}

TEST_F(SocketUtil, ClassicTextsConvertBothWays) {
    sockaddr_in address{};
    std::memcpy(&address.sin_addr, "\x0A\x00\xFF\x07", 4);
    EXPECT_TEXT(L"10.0.255.7", CSocketUtil::IP4SockIPToStrIP(&address));
    EXPECT_TEXT(nullptr, CSocketUtil::IP4SockIPToStrIP(nullptr));
    const DWORD packed = CSocketUtil::IP4StrIPToSockIP(L"10.0.255.7");
    EXPECT_EQ(std::memcmp(&packed, &address.sin_addr, 4), 0);
    for (const wchar_t* bad : {kNull, L"", L"10.0.0.256", L"host"}) {
        EXPECT_EQ(CSocketUtil::IP4StrIPToSockIP(bad), 0xFFFFFFFF) << Show(bad);
    }
}

TEST_F(SocketUtil, HostNamesAreToldByOneOddCharacter) {
    for (const wchar_t* name : {L"192.168.0.1", L"my-host", L" ", L"a_b"}) {
        EXPECT_TRUE(CSocketUtil::IsHostName(name)) << Show(name);
    }
    for (const wchar_t* name : {kNull, L"", L"localhost", L"h0st"}) {
        EXPECT_FALSE(CSocketUtil::IsHostName(name)) << Show(name);
    }
}

TEST_F(SocketUtil, ReverseLookupsFillTheHostAndNeverTheService) {
    for (const ztk_test::Family& family : {ztk_test::kIPv4, ztk_test::kIPv6}) {
        const Address address(family.host, family.number, 80);
        const auto* block = address.lpSockaddr;
        const int bytes = address.iSockaddrLength;
        ZTK::TSOHostNameW host = {L"junk"};
        ZTK::TSOServiceNameW service = {L"junk"};
        EXPECT_EQ(CSocketUtil::GetHostNameW(block, bytes, &host, NI_NUMERICHOST), 0);
        EXPECT_EQ(CSocketUtil::GetServName(block, bytes, &service, NI_NUMERICHOST), 0);
        EXPECT_TEXT(L"", service.name);
        EXPECT_NE(CSocketUtil::GetHostNameW(block, 4, &host, NI_NUMERICHOST), 0);
        EXPECT_TEXT(family.host, host.name);
    }
}

TEST_F(SocketUtil, ErrorTextsExistForTheDocumentedCodesOnly) {
    const std::pair<int, const wchar_t*> rows[] = {
        {0, L"Unknown socket error"},
        {-10054, L"Unknown socket error"},
        {0x7FFFFFFF, L"Unknown socket error"},
        {10022, L"An invalid argument was supplied."},
        {10110, CSocketUtil::PrintSocketError(10102)},
        {10111, CSocketUtil::PrintSocketError(10103)},
        {10112, L"A database query failed because it was actively refused."},
        {11001, L"No such host is known."},
        {11031, L"A reserved policy element was found in the QOS provider-specific buffer."},
    };
    for (const auto& [code, text] : rows) {
        EXPECT_TEXT(text, CSocketUtil::PrintSocketError(code));
    }
    int known = 0;
    for (int code = -10; code < 12000; ++code) {
        known += !ZTK::StrEqual(CSocketUtil::PrintSocketError(code), L"Unknown socket error", true);
    }
    EXPECT_EQ(known, 89);
}

TEST_F(SocketUtil, DontLingerIsTheInverseOfLinger) {
    const std::uint64_t peer = Connect(client_);
    ztk_test::SetOption(peer, SO_LINGER, linger{1, 5});
    EXPECT_EQ(ztk_test::GetOption<int>(peer, SO_DONTLINGER), 0);
    ztk_test::SetOption(peer, SO_DONTLINGER, 1);
    EXPECT_EQ(ztk_test::GetOption<linger>(peer, SO_LINGER).l_onoff, 0);
}

TEST_F(SocketUtil, KeepAliveAndNoDelayAreSwitchedInOneCall) {
    Connect(client_);
    const std::uint64_t socket = client_.GetSocket();
    for (const int on : {1, 0}) {
        EXPECT_EQ(CSocketUtil::SetKeepAlive(socket, on * 30, 5), 0);
        EXPECT_EQ(ztk_test::GetOption<char>(socket, SO_KEEPALIVE), on);
        EXPECT_EQ(CSocketUtil::SetNoDelay(socket, on != 0), 0);
        int value = 77;
        CSocketUtil::GetOptions(socket, IPPROTO_TCP, TCP_NODELAY, &value, sizeof(value));
        EXPECT_EQ(value, on);
    }
    for (const auto& [idle, interval] : {std::pair(-1, 1), {1, 0}, {32768, 1}, {1, 32768}}) {
        EXPECT_EQ(CSocketUtil::SetKeepAlive(socket, idle, interval), -1);
        EXPECT_EQ(WSAGetLastError(), WSAEINVAL);
    }
    EXPECT_EQ(CSocketUtil::SetKeepAlive(77, 1, 1) & CSocketUtil::SetNoDelay(77, true), -1);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
}

TEST_F(SocketUtil, ReceiveTimeoutCountsMilliseconds) {
    Connect(client_);
    ztk_test::SetOption(client_.GetSocket(), SO_RCVTIMEO, 1500);
    EXPECT_EQ(ztk_test::GetOption<int>(client_.GetSocket(), SO_RCVTIMEO), 1500);
    ztk_test::SetOption(client_.GetSocket(), SO_RCVTIMEO, 10);
    EXPECT_EQ(client_.Read(), -1);
    EXPECT_EQ(client_.GetLastError(), static_cast<DWORD>(WSAETIMEDOUT));
}

TEST_F(SocketUtil, InventedHandlesAreRefused) {
    int value = 0;
    for (const std::uint64_t bad : {0ULL, 0x7FFFFFF0ULL, ~0ULL}) {
        EXPECT_EQ(CSocketUtil::GetOptions(bad, SOL_SOCKET, SO_ERROR, &value, sizeof(value)), -1);
        EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK) << bad;
        EXPECT_EQ(closesocket(static_cast<SOCKET>(bad)), SOCKET_ERROR);
        EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK) << bad;
    }
}

TEST(SocketEnd, TheLastEndClosesWhatIsOpen) {
    ZTK::InitWSA();
    ZTK::InitWSA();
    ZTK::CClientSocket client(0);
    ztk_test::Server server(ztk_test::Endpoint(ztk_test::kIPv4, 0));
    ASSERT_TRUE(server.Start());
    ZTK::TSOSocketInfo info = ztk_test::Endpoint(ztk_test::kIPv4, server.port());
    ASSERT_TRUE(client.Connect(&info));
    ASSERT_NE(server.NextAccepted(), 0U);
    ZTK::CloseWSA();
    EXPECT_EQ(client.Send("x", 1), 1);
    ZTK::CloseWSA();
    EXPECT_EQ(client.Send("x", 1), -1);
}

}  // namespace
