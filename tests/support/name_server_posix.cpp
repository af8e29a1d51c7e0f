// A name server that never answers, so that no test waits for one or depends on what it says: the
// system's lookup of an address, which this replaces in the test program, fails unless it is asked
// for the address's text.
#include <dlfcn.h>
#include <netdb.h>

extern "C" int getnameinfo(const sockaddr* address, socklen_t address_length, char* host,
                           socklen_t host_length, char* service, socklen_t service_length,
                           int flags) {
    auto* lookup = reinterpret_cast<decltype(&getnameinfo)>(dlsym(RTLD_NEXT, "getnameinfo"));
    return (flags & NI_NUMERICHOST) == 0
               ? EAI_AGAIN
               : lookup(address, address_length, host, host_length, service, service_length, flags);
}
