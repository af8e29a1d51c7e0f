// Names and texts of addresses, as the socket classes keep them.
#pragma once

#include "ztk/sockets.h"

namespace ZTK::net {

// The families that the library knows. Written as numbers because the same numbers hold on both
// targets, which the system's constants do not.
inline constexpr unsigned short kFamilyIPv4 = 2;
inline constexpr unsigned short kFamilyIPv6 = 23;

// The room for a host name or the text of an address, in characters: that of a socket, see
// CSocket::GetHost and GetIPAddress.
inline constexpr DWORD kTextCapacity = 1025;

// The reverse lookup of an address: fills the records that are not null. The service name is not
// asked for and comes out empty. Returns 0, or the system's code with both records unchanged.
int GetNameInfoW(const sockaddr* address, int address_bytes, TSOHostNameW* host,
                 TSOServiceNameW* service, int flags) noexcept;

// Replaces host with the name that the system reports for an address, if it reports one.
void ReadHostName(const SOCKET_ADDRESS& address, wchar_t (&host)[kTextCapacity]) noexcept;

// Replaces text with that of an address without its port, if it has one.
void WriteAddressText(SOCKET_ADDRESS& address, wchar_t (&text)[kTextCapacity]) noexcept;

// Copies text up to its terminator and cuts it to fit; null empties the destination. Reads no
// further than the destination could hold, so the source may lack a terminator there.
template <int N>
void CopyText(wchar_t (&destination)[N], const wchar_t* text) noexcept {
    int length = 0;
    if (text != nullptr) {
        while (length < N - 1 && text[length] != 0) {
            destination[length] = text[length];
            ++length;
        }
    }
    destination[length] = 0;
}

}  // namespace ZTK::net
