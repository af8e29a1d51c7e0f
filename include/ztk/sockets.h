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
// Sockets on both targets (10054: reset by the peer, ...); PrintSocketError gives their texts. On
// Linux an error of the system that has no such code comes as 11500 plus its errno.
#pragma once

#include <atomic>
#include <cstddef>
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

// Undoes one InitWSA; does nothing without one. The last one closes the sockets that are still
// open: calls that are blocked in them fail. Safe from any thread.
ZTK_API void CloseWSA() noexcept;

// --- Records

// An endpoint, as CClientSocket::Connect and the CServerSocket constructor take it. A plain record:
// fill it field by field or in braces.
struct TSOSocketInfo {
    unsigned short family;      // 2 for IPv4, 23 for IPv6
    IPPROTO protocol;           // IPPROTO_TCP
    unsigned short socketType;  // 1 for a stream socket
    // A name or the text of an address, terminated; empty or "any" (any case): every local address,
    // to listen on.
    wchar_t host[1025];
    unsigned short port;  // host byte order; 0 lets the system choose one to listen on
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
// Thread-safety: every function may be called from any thread. Lookups wait as long as the system
// does, which may be seconds. Errors: a function whose system call fails returns its failure value
// and leaves the code in WSAGetLastError. Wide arguments are passed to the system in its narrow
// code page.
class ZTK_API CSocketUtil {
  public:
    CSocketUtil() = default;

    // There is nothing to copy.
    CSocketUtil& operator=(const CSocketUtil&) noexcept;
    CSocketUtil& operator=(CSocketUtil&&) noexcept;

    // Resolves host and service (null or empty: none, but not both) under hints (null: none). True
    // on success: the caller releases *result with freeaddrinfo. False leaves *result unspecified.
    // A text of 4096 or more narrow characters is no name: false with 11001. A null result gives
    // false with 10014.
    static bool GetAddrInfoW(const wchar_t* host, const wchar_t* service, const addrinfo* hints,
                             addrinfo** result) noexcept;

    // The same with a port in host byte order as the service. A null host gives false without a
    // lookup and without an error code.
    static bool GetAddrInfoW(const wchar_t* host, unsigned short port, const addrinfo* hints,
                             addrinfo** result) noexcept;

    // Fills *address with a fresh socket address for host and port; what it held before is not
    // freed. The caller releases address->lpSockaddr with MemFree. Returns 1, or 0 with *address
    // cleared; a null address gives 0 with 10014.
    //
    // A null or empty host, or "any", gives the wildcard address of family 2 or 23; for any other
    // family, and when memory is short, the result is 1 too, but *address stays empty (callers ask
    // for the result first and then look). Otherwise the name is resolved, and the last IPv4 or
    // IPv6 entry of the system's list is taken; 0 then also means that memory was short (8) or that
    // the list has no such entry (no code).
    static int GetHostAddress(const wchar_t* host, unsigned short family, IPPROTO protocol,
                              unsigned short socket_type, unsigned short port,
                              SOCKET_ADDRESS* address) noexcept;

    // The host name of an address, or the text of the address where it has none or no name server
    // answers, unless the flags ask for a name (NI_NAMEREQD). Returns 0, or the error code with
    // *host unchanged: 10014 for a null address or a length that does not fit it.
    // address_bytes is the length of the address; flags are the system's NI_ flags. host may be
    // null.
    static int GetHostNameW(const sockaddr* address, int address_bytes, TSOHostNameW* host,
                            int flags) noexcept;

    // Looks the address up as GetHostNameW does, but the service name is not asked for: on success
    // it is empty. Callers use the result as a test whether the address can be resolved. service
    // may be null.
    static int GetServName(const sockaddr* address, int address_bytes, TSOServiceNameW* service,
                           int flags) noexcept;

    // Reads or sets a socket option. level and option are the system's constants (SOL_SOCKET,
    // SO_DONTLINGER, ...; for Linux, ztk/platform/posix/winsock2.h says which work and how); length
    // is the size of value in bytes. The length that the system reports is not returned. Result 0,
    // or -1: 10014 for a null value, 10042 for an unknown option.
    static int GetOptions(std::uint64_t socket, int level, int option, void* value,
                          int length) noexcept;
    static int SetOptions(std::uint64_t socket, int level, int option, void* value,
                          int length) noexcept;

    // Switches keep-alive on: after idle_seconds without traffic the system asks the peer for a
    // sign of life, every interval_seconds, and when ten such questions have found no answer it
    // ends the connection (10060, or 10054). idle_seconds 0 switches it off. Without this call a
    // receiver waits for ever for a peer whose machine or network went away. Result 0, or -1: 10022
    // for an idle time below 0, an interval below 1, and for either above 32767.
    static int SetKeepAlive(std::uint64_t socket, int idle_seconds, int interval_seconds) noexcept;

    // Switches no-delay on or off: with it, a small message leaves at once, and does not wait for
    // the peer to acknowledge the one before. For many small ones CSendBatch is better still.
    // Result 0 or -1.
    static int SetNoDelay(std::uint64_t socket, bool enable) noexcept;

    // The remote or the local address of a socket. *address_bytes is the room in address on entry
    // and the address's length afterwards. Result 0, or -1: 10014 for a null pointer or too little
    // room, 10057 without a peer, 10022 for a socket without a local address.
    static int GetPeerName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept;
    static int GetSockName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept;

    // The dotted text of an IPv4 address, as a wide ring string (see ZTKGetTmpString); null for
    // null.
    static const wchar_t* IP4SockIPToStrIP(sockaddr_in* address) noexcept;

    // The IPv4 address, in network byte order, of a dotted text (also of fewer than four numbers,
    // or octal or hexadecimal ones, as the system reads it); 0xFFFFFFFF for null or a text that is
    // not one.
    static DWORD IP4StrIPToSockIP(const wchar_t* text) noexcept;

    // Writes the text of an address to buffer, which has room for length characters, and cuts it at
    // its last colon. Returns the character count before the cut, terminator included, or 0: 10014
    // for too little room, a null buffer or address, and an address without a block.
    //
    // The cut takes off the port where there is one ("10.1.2.3:80", "[fe80::1]:80"). It is made
    // blindly: an IPv6 address with port 0 is written without a port and loses its last group, so
    // callers set a port before they ask.
    static int IPAddressToString(SOCKET_ADDRESS* address, wchar_t* buffer, DWORD length) noexcept;

    // Whether text holds at least one character that is neither a letter nor a digit. A purely
    // lexical test: "10.0.0.1" and "my-host" pass, "localhost", an empty and a null text do not.
    // Beyond ASCII the C runtime's iswalnum decides: on Linux nothing is a letter there.
    static bool IsHostName(const wchar_t* text) noexcept;

    // The English sentence for a socket error code, "Unknown socket error" for any other. Static
    // text.
    static const wchar_t* PrintSocketError(int code) noexcept;
};

// --- Socket base

// One stream socket with what is known about its endpoint, a receive buffer, and the id of the
// worker thread that serves it. Hosts use CClientSocket and CServerSocket.
//
// Thread-safety: Shutdown, WaitForThreadExit, SetAsyncMode, Lock, Unlock and the accessors of
// socket, thread id and last error may be called from any thread, also while a worker thread runs.
// The texts are written by the constructors, by Connect and by the listener thread: read them in or
// after OnListen, or on the thread that connected. SetBufferSize must not run while a receiver
// thread runs.
class ZTK_API CSocket {
  public:
    // Without a socket; family 2, TCP, type 1, port 0 and empty texts. buffer_size is the receive
    // buffer's capacity in bytes; below 1 means 8912. When memory is short there is no buffer:
    // GetBuffer returns null.
    explicit CSocket(int buffer_size) noexcept;

    // The same with the endpoint of *info, which is copied; a null info keeps the defaults.
    CSocket(TSOSocketInfo* info, int buffer_size) noexcept;

    // Wraps a connected socket and takes ownership of it. Host text, address text and socket
    // address are the peer's; family, protocol, type and port keep their defaults (2, TCP, 1 and 0)
    // whatever the peer is, so GetPort gives 0. Looks the peer's name up, which may take seconds. A
    // socket without a peer is wrapped all the same, with empty texts.
    CSocket(std::uint64_t socket, int buffer_size) noexcept;

    CSocket(const CSocket&) = delete;
    CSocket& operator=(const CSocket&) = delete;

    // Shuts the socket down and closes it (CClientSocket leaves it open), and frees the buffer.
    // REQUIRES: no worker thread of this object runs any more (Shutdown, then WaitForThreadExit);
    // in particular not called from one of its callbacks.
    virtual ~CSocket();

    // The endpoint's host text; the numeric address text without port; the port in host byte order,
    // as it was given (0 stays 0). The texts belong to the object and are never null.
    virtual const wchar_t* GetHost();
    virtual const wchar_t* GetIPAddress();
    virtual unsigned short GetPort();

    // Shuts the socket down in both directions and closes it; does nothing without a socket. Wakes
    // a worker thread that is blocked in a receive or an accept. May be called repeatedly and from
    // several threads at once, callbacks included: the socket is closed once.
    //
    // Bytes that Send has taken are still delivered, unless the peer has sent bytes that nobody has
    // received yet: then those are dropped, the system resets the connection, and what is still on
    // its way to the peer may be lost too. A side whose last bytes must arrive waits for the peer's
    // answer to them before it shuts down.
    virtual void Shutdown();

    // Waits up to milliseconds (-1: without end) for the worker thread to end; whether it has is
    // not told. Returns at once if there is none, if it has ended, and if WaitRegisteredThreadsExit
    // has taken it out of the registry, though it may still run then. Must not be called from the
    // object's own callbacks: it would wait for itself.
    //
    // Once the thread has ended, none of the object's callbacks runs again, and the thread has
    // closed the socket: a server's port is free. Not so a server that failed before OnListen, and
    // a client without a receive buffer: their sockets stay open, and a server that could bind but
    // not listen keeps its port, until Shutdown.
    void WaitForThreadExit(int milliseconds) noexcept;

    // Switches non-blocking mode on (not 0) or off; does nothing without a socket. A receiver
    // thread switches it off when it begins.
    void SetAsyncMode(int enable) noexcept;

    // Makes the receive buffer at least bytes large (below 1 means 8912); it never shrinks, and may
    // move. Returns the buffer size afterwards: unchanged when memory is short. An object without a
    // buffer gets one when bytes is above its buffer size.
    int SetBufferSize(int bytes) noexcept;

    // The object's own lock, recursive, for callers that share it among threads. It guards no
    // member of the object: what it keeps apart is up to them. Of the library's own functions only
    // SetBufferSize takes it, while it replaces the buffer.
    void Lock() noexcept ZTK_ACQUIRE(lock_);
    void Unlock() noexcept ZTK_RELEASE(lock_);

    [[nodiscard]] std::uint64_t GetSocket() noexcept;  // 0 when there is none
    [[nodiscard]] DWORD GetThreadID() noexcept;  // 0 until a worker thread was started; then kept
    [[nodiscard]] unsigned char*
    GetBuffer() noexcept;                        // owned by the object; null if memory was short
    [[nodiscard]] int GetBufferSize() noexcept;  // bytes, also while there is no buffer

    // The last socket error that this object recorded; 0 for none. A receiver thread sets it to 0
    // when it begins and when OnReceive ends it, a listener thread after OnListen.
    [[nodiscard]] DWORD GetLastError() noexcept;
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
// call at a time, with no lock held; held by plain pointer and never deleted by the library. An
// exception must not leave a callback: it would end the process.
class ISOReceiver {
  public:
    // Asked after each receive, before its outcome is handed on; true ends the receiver thread, and
    // what was received is dropped.
    virtual bool IsStopping() = 0;

    // One chunk of length >= 1 bytes, as one receive returned it, in the socket's own buffer: valid
    // only during the call. Nothing is received meanwhile. False ends the receiver thread.
    virtual bool OnReceive(CClientSocket* socket, unsigned char* data, int length) = 0;

    // The peer closed the connection in an orderly way; the receiver thread ends after this call.
    // Not called after an error, nor when this side shut the socket down.
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
// Thread-safety: Send and SendAll may be called from any thread while the receiver thread runs, one
// at a time;
// Connect, Read and Receive from one thread; SetReceiver from any; the rest as for CSocket. The
// callbacks may call Send, Shutdown, SetReceiver and the accessors of their own socket, but neither
// wait for it nor destroy it.
class ZTK_API CClientSocket : public CSocket {
  public:
    // Without a socket until Connect. buffer_size as for CSocket; receiver as for SetReceiver, null
    // where there is none.
    explicit CClientSocket(int buffer_size) noexcept;
    CClientSocket(ISOReceiver* receiver, int buffer_size) noexcept;

    // Wraps a connected socket, such as a server accepted, as CSocket does; Shutdown closes it.
    CClientSocket(ISOReceiver* receiver, std::uint64_t socket, int buffer_size) noexcept;
    ~CClientSocket() override;

    // Replaces the receiver. Null ends the receiver thread before its next callback, so not while
    // it is blocked in a receive: Shutdown ends that. A callback that has begun goes on
    // with the old receiver.
    void SetReceiver(ISOReceiver* receiver) noexcept;

    // Shuts down what was connected before, copies *info (null: the endpoint stays as it was),
    // resolves it and connects, waiting as long as the system does; Shutdown on another thread ends
    // the wait for the peer, not the lookup. False with the last error set; the new socket then
    // stays open until Shutdown. (GetSocket is not 0 then, also when no socket could be made: it is
    // the platform's INVALID_SOCKET.) Not to be used while a receiver thread runs. An object whose
    // receiver thread has ended may connect again, but only Read then.
    bool Connect(TSOSocketInfo* info) noexcept;

    // The same within a time, counted from the call: milliseconds (INFINITE: no limit; 0: what
    // connects without waiting). A look-up of a name cannot be cut short, but its time counts.
    //
    // False with the last error set, as above, and also WSAETIMEDOUT (10060) when the time is over;
    // the attempt is then given up and the object has no socket. When Shutdown on another thread
    // ended it, the last error is WSAEINTR (10004).
    bool Connect(TSOSocketInfo* info, DWORD milliseconds) noexcept;

    // One send call, which waits until the system has taken all length bytes, unless SetAsyncMode
    // was called; the option SO_SNDTIMEO of CSocketUtil::SetOptions limits the wait. Returns the
    // bytes taken, which may be fewer than length (the rest is not retried), 0 without a socket, or
    // -1 with the last error set; -1 also for null data and a negative length.
    int Send(const void* data, int length) noexcept;

    // Sends all length bytes within a time, going on where the system took a part only:
    // milliseconds (INFINITE: no limit; 0: what the system takes without waiting), whatever
    // SO_SNDTIMEO says and whether or not SetAsyncMode was called. It leaves that mode as it is, so
    // a receiver thread may run meanwhile. Counts as one Send of the object's; Shutdown on another
    // thread ends it.
    //
    // sent, unless null, receives the bytes that the system has taken, in any case. True when that
    // is all of them; with length 0, whether there is a socket. False with the last error set:
    // WSAETIMEDOUT (10060) when the time is over, WSAEINTR (10004) after Shutdown, what broke the
    // connection, WSAEFAULT (10014) for null data; without a socket it stays as it was, unless that
    // is 0: then it becomes WSAENOTCONN (10057).
    //
    // A failure may leave the peer with a part of a message. On Linux, and there after a time-out
    // only, a later call may go on behind the bytes sent. On Windows the system does not promise
    // that nothing goes out of a piece whose sending was cancelled at that moment, of at most
    // 64 KB: there, shut the socket down.
    bool SendAll(const void* data, std::size_t length, DWORD milliseconds,
                 std::uint64_t* sent = nullptr) noexcept;

    // One receive call into the object's buffer, blocking unless SetAsyncMode was called. Returns
    // the bytes received, 0 when the peer has closed or there is no socket or no buffer, or -1 with
    // the last error set. Not to be used while a receiver thread runs.
    int Read() noexcept;

    // Starts the receiver thread and returns its handle, or null if this object has started one
    // before (also when that has ended) or no thread could be made. creation_flags go to
    // CreateThread; the thread runs at once, whatever they say. It takes the socket out of
    // non-blocking mode.
    //
    // The handle is recorded in the thread registry too: do not close it while the thread runs.
    // WaitRegisteredThreadsExit closes the handles of threads that are still registered then; a
    // thread that ended by itself leaves its handle to the caller, who closes it with CloseHandle.
    // When no thread could be made, or there is no memory to register it, id 0 is registered with a
    // null handle, for hosts that look there, and Receive may be called again; DeRegisterThread(0)
    // takes it out.
    //
    // The thread ends when the peer closes (after OnDisconnect), on a receive error (no callback;
    // see GetLastError), when IsStopping says true, OnReceive says false or the receiver is null,
    // and after Shutdown. It then shuts the socket down. Without a socket or a buffer it ends at
    // once and shuts nothing down.
    void* Receive(DWORD creation_flags) noexcept;

  protected:
    // What the receiver thread runs; parameter is the object. Ends with the thread's
    // deregistration.
    static DWORD WINAPI ReceiverThreadProc(void* parameter);

    // Receives and calls back until one of the ends that Receive names.
    DWORD ReceiverProc();

  private:
    ZTK_LOCAL bool MakeSocket(TSOSocketInfo* info, std::uint64_t* created) noexcept;
    ZTK_LOCAL bool SendUntil(const char* data, std::size_t length, DWORD milliseconds,
                             std::size_t* done) noexcept;
    ZTK_LOCAL void SetErrorOf(std::uint64_t socket, int code) noexcept;

    std::atomic<ISOReceiver*> receiver_;
};

// --- Send batch

// Collects messages and sends them with as few calls as the system allows. A call costs several
// times what it takes to copy a small message, so where many small ones go one way, this is many
// times as fast as a Send for each:
//
//     ZTK::CSendBatch batch(&socket);
//     while (NextAnswer(&answer)) {
//         if (!batch.Add(answer.data(), answer.size())) { ... memory is short ... }
//         if (batch.GetSize() >= 64 * 1024 && !batch.Send()) { ... socket.GetErrorDesc() ... }
//     }
//     batch.Send();
//
// It has no thread and no timer: nothing goes out but in Send. Nothing limits what it holds, so
// callers send when it has enough; above some 64 KB larger batches gain nothing.
//
// Ownership: the socket is borrowed and must outlive the last Send. What was added and not sent is
// dropped by the destructor.
//
// Thread-safety: a batch is used by one thread at a time, and its Send counts as one of the
// socket's.
class ZTK_API CSendBatch {
  public:
    explicit CSendBatch(CClientSocket* socket) noexcept;  // empty; with null every Send fails
    CSendBatch(const CSendBatch&) = delete;
    CSendBatch& operator=(const CSendBatch&) = delete;
    ~CSendBatch();

    // Appends a copy of length bytes. False, with nothing added, when memory is short and for null
    // data with a length above 0.
    [[nodiscard]] bool Add(const void* data, std::size_t length) noexcept;

    // Sends all that was added, going on where the system took a part only. True when nothing is
    // left. False when the socket's Send failed, whose last error says why, or when there is no
    // socket.
    //
    // sent, unless null, receives the bytes that went out with this call, in either case. They have
    // left the batch; what follows them stays. So where the failure was that a socket in
    // non-blocking mode had no room (10035), a later call goes on behind them. After any other the
    // peer may have a part of a message: shut the socket down.
    bool Send(std::uint64_t* sent = nullptr) noexcept;

    // Drops what was added and not sent.
    void Clear() noexcept;

    // The bytes that were added and not sent.
    [[nodiscard]] std::size_t GetSize() const noexcept;

  private:
    ZTK_LOCAL bool MakeRoom(std::size_t length) noexcept;

    CClientSocket* socket_;  // borrowed
    // The bytes [begin_, end_) of the block, which is owned and has room for capacity_.
    char* block_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// --- Server socket

class CServerSocket;

// What a host implements to be told of a server's life. Called on the server's listener thread, one
// call at a time, with no lock held; held by plain pointer and never deleted by the library. An
// exception must not leave a callback: it would end the process.
class ISOListener {
  public:
    // Asked before and after each accept; true ends the listener thread.
    virtual bool IsStopping() = 0;

    // The listening socket was made and is not yet bound: the place to set options on it. It
    // belongs to the server. When none could be made, socket is the platform's INVALID_SOCKET, and
    // OnError follows.
    virtual void OnSocketCreated(std::uint64_t socket) = 0;

    // Not called by the library; it holds the interface's third place.
    virtual void OnSocketClosed(std::uint64_t socket);

    // A connection was accepted. The socket belongs to the host: wrap it in a CClientSocket, or
    // close it with closesocket. Its option SO_DONTLINGER is on: closing it does not wait. The next
    // connection is accepted when this returns.
    virtual void OnAccept(CServerSocket* server, std::uint64_t socket) = 0;

    // Listening has begun. host is the name that the system reports for the bound address (the
    // endpoint's host text when it reports none), address its numeric text, port the port given at
    // construction: when that is 0, CSocketUtil::GetSockName tells which one the system chose. The
    // texts belong to the server and stay as they are until its end.
    virtual void OnListen(const wchar_t* host, const wchar_t* address, unsigned short port) = 0;

    // A step failed with a socket error code; the listener thread ends after this call. Before
    // OnListen the socket stays open, until Shutdown or the server's end.
    virtual void OnError(CServerSocket* server, int error) = 0;

  protected:
    ~ISOListener() = default;
};

inline void ISOListener::OnSocketClosed(std::uint64_t) {}

// A listening socket with its own thread, which accepts connections one after another.
//
//     class Door : public ZTK::ISOListener {
//         bool IsStopping() override { return stopping; }
//         void OnSocketCreated(std::uint64_t) override {}
//         void OnListen(const wchar_t*, const wchar_t*, unsigned short) override {}
//         void OnAccept(ZTK::CServerSocket*, std::uint64_t socket) override { Serve(socket); }
//         void OnError(ZTK::CServerSocket*, int error) override { Report(error); }
//     };
//
//     ZTK::TSOSocketInfo info = {2, IPPROTO_TCP, 1, L"127.0.0.1", 9000};
//     ZTK::CServerSocket server(&door, 0, &info);
//     server.Listen();                   // the outcome comes to OnListen or OnError
//     ...
//     stopping = true;
//     server.Shutdown();                 // ends a blocked accept
//     server.WaitForThreadExit(5000);
//
// Ownership: the listener is borrowed, must not be null when Listen is called, and must outlive the
// listener thread. The destructor closes the listening socket; stop the thread first.
//
// To stop: let IsStopping answer true, call Shutdown from any thread (a blocked accept ends at
// once, without OnError), then WaitForThreadExit. Callbacks may call Shutdown, but neither wait for
// the server nor destroy it. A connection that is accepted while the server is being stopped is
// closed, not handed on.
//
// Thread-safety: Listen from one thread; the rest as for CSocket.
class ZTK_API CServerSocket : public CSocket {
  public:
    // endpoint is where to listen; it is copied (null: all local IPv4 addresses, at a port that the
    // system chooses). buffer_size as for CSocket; a server receives nothing itself.
    CServerSocket(ISOListener* listener, int buffer_size, TSOSocketInfo* endpoint) noexcept;
    ~CServerSocket() override;

    // Starts the listener thread. Returns -1 if this object has started one before (also when that
    // has ended), 0 if the thread was gone at once, else 1: also when no thread could be made or
    // registered, which GetThreadID tells: then it is 0, and Listen may be called again.
    //
    // Errors reach OnError. A port in use gives OnSocketCreated, then OnError with 10048; the last
    // error is set by listen and accept failures only.
    //
    // The thread's handle is in the thread registry only, and closed when the thread ends or by
    // WaitRegisteredThreadsExit. Who gets it from GetThreadHandle has it: then the thread leaves it
    // open when it ends.
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
