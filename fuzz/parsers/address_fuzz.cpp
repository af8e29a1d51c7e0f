// Fuzzes texts that may be addresses, and addresses that a peer could send. All hints and flags are
// numeric, so that no lookup leaves the machine.
#include "fuzz_input.h"

using Util = ZTK::CSocketUtil;

[[maybe_unused]] static const bool sockets_are_started = (ZTK::InitWSA(), true);

// The text of an address is terminated in whatever room there is.
static void Print(sockaddr* address, std::size_t size, std::size_t room) {
    SOCKET_ADDRESS pair{address, static_cast<int>(size)};
    std::vector<wchar_t> text(room, L'x');
    const int count = Util::IPAddressToString(&pair, text.data(), static_cast<DWORD>(room));
    Require(count == 0 || std::count(text.begin(), text.begin() + count, 0) > 0);
    ZTK::TSOHostNameW name{};
    const int error = Util::GetHostNameW(address, pair.iSockaddrLength, &name, NI_NUMERICHOST);
    Require((error == 0) == (name.name[0] != 0));
}

void Run(FuzzInput& input) {
    const std::size_t room = input.Byte() % 80;
    auto raw = input.Text<char>(input.Byte() % 160);
    Print(reinterpret_cast<sockaddr*>(raw.data()), raw.size() - 1, room);
    addrinfo hints{}, *list = nullptr;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | input.Byte();
    hints.ai_family = input.Pick({2, 23, AF_INET6, 0, 1, 77});
    hints.ai_socktype = input.Byte() % 4;
    const auto service = input.Text<wchar_t>(input.Byte() % 16);
    const auto text = input.Text<wchar_t>(input.rest.size());
    if (Util::GetAddrInfoW(text.data(), service.data(), &hints, &list)) {
        Print(list->ai_addr, list->ai_addrlen, room);
        freeaddrinfo(list);
    }
    sockaddr_in parsed{};
    parsed.sin_addr.s_addr = Util::IP4StrIPToSockIP(text.data());
    const DWORD again = Util::IP4StrIPToSockIP(Util::IP4SockIPToStrIP(&parsed));
    Require(input.refuses || again == parsed.sin_addr.s_addr);
    Require(!Util::IsHostName(text.data()) || text[0] != 0);
}
