// TCP client and server sockets with worker threads that call back into the host.
//
//     class Echo : public ZTK::ISOReceiver {
//         bool IsStopping() override { return stopping; }
//         bool OnReceive(ZTK::CClientSocket* s, unsigned char* data, int n) override {
//             return s->Send(data, n) == n;
//         }
//         void OnDisconnect(ZTK::CClientSocket*) override {}
//     };
//
//     ZTK::InitWSA();
//     ZTK::TSOSocketInfo info = {2, IPPROTO_TCP, 1, L"127.0.0.1", 9000};
//     ZTK::CClientSocket socket(&echo, 0);
//     if (!socket.Connect(&info)) { ... socket.GetErrorDesc() ... }
//     HANDLE thread = socket.Receive(0);
//     ...
//     socket.Shutdown();                 // ends a blocked receive
//     socket.WaitForThreadExit(5000);
//     CloseHandle(thread);
//     ZTK::CloseWSA();
//
// A socket handle is an unsigned 64-bit number; 0 means no socket. Error codes are those of Windows
// Sockets on both targets (10054: reset by the peer, ...); PrintSocketError gives their texts.
#pragma once

#include <atomic>
#include <cstdint>

#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"
#include "ztk/sync.h"

namespace ZTK {

// --- Start and end

// Starts Windows Sockets 2.2 for the process. The host calls it before it makes its first socket;
// without it every socket call fails with 10093. Counted: each call needs one CloseWSA. Safe from
// any thread.
ZTK_API void InitWSA() noexcept;

// Undoes one InitWSA. The last one closes the sockets that are still open. Safe from any thread.
ZTK_API void CloseWSA() noexcept;

// --- Records

// An endpoint, as CClientSocket::Connect and the CServerSocket constructor take it. A plain record:
// fill it field by field or in braces.
struct TSOSocketInfo {
    unsigned short family;      // 2 for IPv4, 23 for IPv6
    IPPROTO protocol;           // IPPROTO_TCP
    unsigned short socketType;  // 1 for a stream socket
    wchar_t host[1025];   // name or address text; empty or "any" (any case): every local address
    unsigned short port;  // host byte order; 0 lets the system choose (servers)
};

// Names that the reverse lookups fill; the terminator is counted in the sizes.
struct TSOHostNameA {
    char name[1025];  // a host's name or the text of its address, terminated
};
struct TSOHostNameW {
    wchar_t name[1025];  // a host's name or the text of its address, terminated
};
struct TSOServiceNameA {
    char name[32];  // a service's name or its port as a number, terminated
};
struct TSOServiceNameW {
    wchar_t name[32];  // a service's name or its port as a number, terminated
};

// --- Helpers

// Name resolution, socket options and error texts.
//
// Thread-safety: every function may be called from any thread. Errors: a function whose system call
// fails returns its failure value and leaves the code in WSAGetLastError. Wide arguments are passed
// to the system in its narrow code page.
class ZTK_API CSocketUtil {
  public:
    CSocketUtil() = default;

    // There is nothing to copy.
    CSocketUtil& operator=(const CSocketUtil&) noexcept;
    CSocketUtil& operator=(CSocketUtil&&) noexcept;

    // Resolves host and service (null stays null) under hints. True on success: the caller releases
    // *result with freeaddrinfo. False leaves *result unspecified.
    static bool GetAddrInfoW(const wchar_t* host, const wchar_t* service, const addrinfo* hints,
                             addrinfo** result) noexcept;

    // The same with a port in host byte order as the service. A null host gives false without a
    // lookup.
    static bool GetAddrInfoW(const wchar_t* host, unsigned short port, const addrinfo* hints,
                             addrinfo** result) noexcept;

    // Fills *address with a fresh socket address for host and port; what it held before is not
    // freed. The caller releases address->lpSockaddr with MemFree. Returns 1, or 0 with *address
    // cleared.
    //
    // A null or empty host, or "any", gives the wildcard address of family 2 or 23; for any other
    // family the result is 1 too, but *address stays empty (callers ask for the result first and
    // then look). Otherwise the name is resolved, and the last IPv4 or IPv6 entry of the system's
    // list is taken.
    static int GetHostAddress(const wchar_t* host, unsigned short family, IPPROTO protocol,
                              unsigned short socket_type, unsigned short port,
                              SOCKET_ADDRESS* address) noexcept;

    // The host name of an address. Returns 0, or the system's error code with *host unchanged.
    // address_bytes is the length of the address; flags are the system's NI_ flags.
    static int GetHostNameW(const sockaddr* address, int address_bytes, TSOHostNameW* host,
                            int flags) noexcept;

    // Looks the address up as GetHostNameW does, but the service name is not asked for: on success
    // it is empty. Callers use the result as a test whether the address can be resolved.
    static int GetServName(const sockaddr* address, int address_bytes, TSOServiceNameW* service,
                           int flags) noexcept;

    // Reads or sets a socket option. level and option are the system's constants (SOL_SOCKET,
    // SO_DONTLINGER, ...); length is the size of value in bytes. The length that the system reports
    // is not returned. Result 0, or -1.
    static int GetOptions(std::uint64_t socket, int level, int option, void* value,
                          int length) noexcept;
    static int SetOptions(std::uint64_t socket, int level, int option, void* value,
                          int length) noexcept;

    // The remote or the local address of a socket. *address_bytes is the room in address on entry
    // and the address's length afterwards. Result 0, or -1.
    static int GetPeerName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept;
    static int GetSockName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept;

    // The dotted text of an IPv4 address, as a wide ring string (see ZTKGetTmpString); null for
    // null.
    static const wchar_t* IP4SockIPToStrIP(sockaddr_in* address) noexcept;

    // The IPv4 address, in network byte order, of a dotted text; 0xFFFFFFFF for null or a text that
    // is not one.
    static DWORD IP4StrIPToSockIP(const wchar_t* text) noexcept;

    // Writes the text of an address to buffer, which has room for length characters, and cuts it at
    // its last colon. Returns the character count before the cut, terminator included, or 0.
    //
    // The cut takes off the port where there is one ("10.1.2.3:80", "[fe80::1]:80"). It is made
    // blindly: an IPv6 address with port 0 is written without a port and loses its last group, so
    // callers set a port before they ask.
    static int IPAddressToString(SOCKET_ADDRESS* address, wchar_t* buffer, DWORD length) noexcept;

    // Whether text holds at least one character that is neither a letter nor a digit. A purely
    // lexical test: "10.0.0.1" and "my-host" pass, "localhost", an empty and a null text do not.
    static bool IsHostName(const wchar_t* text) noexcept;

    // The English sentence for a socket error code, "Unknown socket error" for any other. Static
    // text.
    static const wchar_t* PrintSocketError(int code) noexcept;
};

// --- Socket base

// One stream socket with what is known about its endpoint, a receive buffer, and the id of the
// worker thread that serves it. Hosts use CClientSocket and CServerSocket.
//
// Thread-safety: Shutdown, WaitForThreadExit, Lock, Unlock and the accessors of socket, thread id
// and last error may be called from any thread, also while a worker thread runs. The texts are
// written by Connect or by the listener thread: read them in or after OnListen, or on the thread
// that connected. SetBufferSize must not run while a receiver thread runs.
class ZTK_API CSocket {
  public:
    // buffer_size is the receive buffer's capacity in bytes; below 1 means 8912.
    explicit CSocket(int buffer_size) noexcept;

    // Takes the endpoint from *info.
    CSocket(TSOSocketInfo* info, int buffer_size) noexcept;

    // Wraps a connected socket and takes ownership of it. Host text, address text and socket
    // address are the peer's; family, protocol, type and port keep their defaults (2, TCP, 1 and 0)
    // whatever the peer is, so GetPort gives 0.
    CSocket(std::uint64_t socket, int buffer_size) noexcept;

    CSocket(const CSocket&) = delete;
    CSocket& operator=(const CSocket&) = delete;

    // Shuts the socket down and closes it. REQUIRES: no worker thread of this object runs any more
    // (Shutdown, then WaitForThreadExit); in particular not called from one of its callbacks.
    virtual ~CSocket();

    // The endpoint's host text; the numeric address text without port; the port in host byte order.
    // The texts belong to the object.
    virtual const wchar_t* GetHost();
    virtual const wchar_t* GetIPAddress();
    virtual unsigned short GetPort();

    // Shuts the socket down in both directions and closes it; does nothing without a socket. Wakes
    // a worker thread that is blocked in a receive or an accept. May be called repeatedly and from
    // several threads at once, callbacks included: the socket is closed once. Data that the peer
    // sent and nobody has received yet is dropped; data already passed to Send is still delivered.
    virtual void Shutdown();

    // Waits up to milliseconds (-1: without end) for the worker thread to end. Returns at once if
    // there is none or it has ended. Once it has ended, none of the object's callbacks runs again
    // and its port is free. Must not be called from the object's own callbacks: it would wait for
    // itself.
    void WaitForThreadExit(int milliseconds) noexcept;

    // Switches non-blocking mode on (not 0) or off; does nothing without a socket.
    void SetAsyncMode(int enable) noexcept;

    // Makes the receive buffer at least bytes large (below 1 means 8912); it never shrinks. Returns
    // the buffer size afterwards: unchanged when memory is short.
    int SetBufferSize(int bytes) noexcept;

    // The object's own lock, for callers that share it among threads. It guards no member of the
    // object: what it keeps apart is up to them. Of the library's own functions only SetBufferSize
    // takes it, while it replaces the buffer.
    void Lock() noexcept ZTK_ACQUIRE(lock_);
    void Unlock() noexcept ZTK_RELEASE(lock_);

    [[nodiscard]] std::uint64_t GetSocket() noexcept;  // 0 when there is none
    [[nodiscard]] DWORD GetThreadID() noexcept;        // 0 until a worker thread was started
    [[nodiscard]] unsigned char*
    GetBuffer() noexcept;                         // owned by the object; null if memory was short
    [[nodiscard]] int GetBufferSize() noexcept;   // bytes
    [[nodiscard]] DWORD GetLastError() noexcept;  // the last socket error recorded by this object
    [[nodiscard]] const wchar_t* GetErrorDesc() noexcept;  // its sentence; static text

  protected:
    // Gives every member its first value and makes the receive buffer; what they held before is not
    // released.
    void Init(int buffer_size) noexcept;

    // Copies the endpoint; a null info changes nothing.
    void SetupSocket(TSOSocketInfo* info) noexcept;

    // Records the error that GetLastError returns.
    void SetSocketError(int code) noexcept;

    // The endpoint, in the terms of TSOSocketInfo; ip_address_ is what GetIPAddress returns.
    unsigned short family_;
    IPPROTO protocol_;
    unsigned short socket_type_;
    unsigned short port_;
    wchar_t host_[1025];
    wchar_t ip_address_[1025];
    SOCKET_ADDRESS address_;             // owned, allocated with MemAlloc
    std::atomic<std::uint64_t> socket_;  // 0 for none
    int buffer_size_;                    // bytes
    unsigned char* buffer_;              // owned, allocated with MemAlloc
    CLock lock_;                         // the callers': guards none of these members
    std::atomic<DWORD> thread_id_;       // never cleared: one worker thread per object
    std::atomic<DWORD> last_error_;      // as SetSocketError recorded it
};

// --- Client socket

class CClientSocket;

// What a host implements to be told of received bytes. Called on the socket's receiver thread, one
// call at a time; held by plain pointer and never deleted by the library.
class ISOReceiver {
  public:
    // Asked before each chunk is handed on; true ends the receiver thread.
    virtual bool IsStopping() = 0;

    // One chunk of length >= 1 bytes, as one receive returned it, in the socket's own buffer: valid
    // only during the call. Nothing is received meanwhile. False ends the receiver thread.
    virtual bool OnReceive(CClientSocket* socket, unsigned char* data, int length) = 0;

    // The peer closed the connection in an orderly way. Not called after an error, nor when this
    // side shut the socket down.
    virtual void OnDisconnect(CClientSocket* socket) = 0;

  protected:
    ~ISOReceiver() = default;
};

// A client socket: connects to a peer, or wraps a socket that a server accepted; sends; and runs a
// receiver thread that hands every received chunk to an ISOReceiver.
//
// Ownership: the receiver is borrowed and must outlive the receiver thread. The socket is not
// closed by the destructor: a host may destroy the object and keep the connection. Call Shutdown to
// close it; the receiver thread does so when it ends.
//
// Thread-safety: Send may be called from any thread while the receiver thread runs, one at a time;
// Connect, Read and Receive from one thread; the rest as for CSocket. The callbacks may call Send,
// Shutdown and the accessors of their own socket, but neither wait for it nor destroy it.
class ZTK_API CClientSocket : public CSocket {
  public:
    // Without a socket until Connect. buffer_size as for CSocket; receiver as for SetReceiver, null
    // where there is none.
    explicit CClientSocket(int buffer_size) noexcept;
    CClientSocket(ISOReceiver* receiver, int buffer_size) noexcept;

    // Wraps a connected socket, such as a server accepted, and takes ownership of it.
    CClientSocket(ISOReceiver* receiver, std::uint64_t socket, int buffer_size) noexcept;
    ~CClientSocket() override;

    // Replaces the receiver (null ends the receiver thread before the next callback). A callback
    // that has begun goes on with the old one.
    void SetReceiver(ISOReceiver* receiver) noexcept;

    // Shuts down what was connected before, resolves the endpoint and connects, waiting as long as
    // the system does. False with the last error set; the new socket then stays open until
    // Shutdown.
    bool Connect(TSOSocketInfo* info) noexcept;

    // One send call. Returns the bytes taken by the system, which may be fewer than length (the
    // rest is not retried), 0 without a socket, or -1 with the last error set.
    int Send(const void* data, int length) noexcept;

    // One receive call into the object's buffer, blocking unless SetAsyncMode was called. Returns
    // the bytes received, 0 when the peer has closed or there is no socket or no buffer, or -1 with
    // the last error set. Not to be used while a receiver thread runs.
    int Read() noexcept;

    // Starts the receiver thread and returns its handle, or null if this object has started one
    // before (also when that has ended) or no thread could be made. creation_flags go to
    // CreateThread.
    //
    // The handle is recorded in the thread registry too. WaitRegisteredThreadsExit closes the
    // handles of threads that are still registered then; a thread that ended by itself leaves its
    // handle to the caller, who closes it with CloseHandle.
    //
    // The thread ends when the peer closes (after OnDisconnect), on a receive error (no callback;
    // see GetLastError), when IsStopping says true, OnReceive says false or the receiver is null,
    // and after Shutdown. It then shuts the socket down.
    void* Receive(DWORD creation_flags) noexcept;

  protected:
    // What the receiver thread runs; parameter is the object. Ends with the thread's
    // deregistration.
    static DWORD WINAPI ReceiverThreadProc(void* parameter);

    // Receives and calls back until one of the ends that Receive names.
    DWORD ReceiverProc();

  private:
    ZTK_LOCAL int ReceiveChunk() noexcept;

    std::atomic<ISOReceiver*> receiver_;
};

// --- Server socket

class CServerSocket;

// What a host implements to be told of a server's life. Called on the server's listener thread, one
// call at a time; held by plain pointer and never deleted by the library.
class ISOListener {
  public:
    // Asked before and after each accept; true ends the listener thread.
    virtual bool IsStopping() = 0;

    // The listening socket was made and is not yet bound: the place to set options on it.
    virtual void OnSocketCreated(std::uint64_t socket) = 0;

    // Not called by the library; it holds the interface's third place.
    virtual void OnSocketClosed(std::uint64_t socket);

    // A connection was accepted. The socket belongs to the host: wrap it in a CClientSocket, or
    // close it with closesocket. The next connection is accepted when this returns.
    virtual void OnAccept(CServerSocket* server, std::uint64_t socket) = 0;

    // Listening has begun. host is the name that the system reports for the bound address, address
    // its numeric text, port the port given at construction. The texts belong to the server.
    virtual void OnListen(const wchar_t* host, const wchar_t* address, unsigned short port) = 0;

    // A step failed; the listener thread ends after this call.
    virtual void OnError(CServerSocket* server, int error) = 0;

  protected:
    ~ISOListener() = default;
};

inline void ISOListener::OnSocketClosed(std::uint64_t) {}

// A listening socket with its own thread, which accepts connections one after another.
//
// Ownership: the listener is borrowed, must not be null when Listen is called, and must outlive the
// listener thread. The destructor closes the listening socket; stop the thread first.
//
// To stop: let IsStopping answer true, call Shutdown from any thread (a blocked accept ends at
// once, without OnError), then WaitForThreadExit. Callbacks may call Shutdown, but neither wait for
// the server nor destroy it. A connection that was accepted while the stop came in is closed, not
// handed on.
class ZTK_API CServerSocket : public CSocket {
  public:
    // endpoint is where to listen; it is copied. buffer_size as for CSocket.
    CServerSocket(ISOListener* listener, int buffer_size, TSOSocketInfo* endpoint) noexcept;
    ~CServerSocket() override;

    // Starts the listener thread. Returns -1 if this object has started one before (also when that
    // has ended), 0 if the thread was gone at once, else 1: also when no thread could be made,
    // since callers wait for OnListen or OnError either way.
    //
    // Errors reach OnError. A port in use gives OnSocketCreated, then OnError with 10048; the last
    // error is set by listen and accept failures only.
    virtual int Listen();

    // True, without effect: a derived server may give them a meaning.
    virtual bool Resume();
    virtual bool Pause();

  protected:
    // What the listener thread runs; parameter is the object. Ends with the thread's
    // deregistration.
    static DWORD WINAPI ListenThreadProc(void* parameter);

    // Makes the listening socket and accepts until a stop or a failure.
    DWORD ListenProc();

  private:
    ZTK_LOCAL bool OpenListeningSocket();
    ZTK_LOCAL DWORD AcceptLoop();

    std::atomic<ISOListener*> listener_;
};

}  // namespace ZTK
