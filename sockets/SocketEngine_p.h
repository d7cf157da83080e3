#pragma once
// The system calls under MyScktComp. Only SocketEngine_unix.cpp includes the system's network
// headers; everything above it speaks the socket model's terms: handles, the model's error
// numbers (kept per thread as the last error), and addresses and ports in network byte order.
// A call that fails returns SOCKET_ERROR (or INVALID_SOCKET) and sets the last error.

#include "sockets/MyScktComp.h"

#include <QString>

#include <cstdint>

namespace wn {

constexpr int SOCKET_ERROR = -1;

// The model's error numbers that MyScktComp.h does not list for hosts.
constexpr int WSAEINTR = 10004;
constexpr int WSAEBADF = 10009;
constexpr int WSAEACCES = 10013;
constexpr int WSAEFAULT = 10014;
constexpr int WSAEINVAL = 10022;
constexpr int WSAEMFILE = 10024;
constexpr int WSAEINPROGRESS = 10036;
constexpr int WSAEALREADY = 10037;
constexpr int WSAENOTSOCK = 10038;
constexpr int WSAEDESTADDRREQ = 10039;
constexpr int WSAEMSGSIZE = 10040;
constexpr int WSAEPROTOTYPE = 10041;
constexpr int WSAENOPROTOOPT = 10042;
constexpr int WSAEPROTONOSUPPORT = 10043;
constexpr int WSAEOPNOTSUPP = 10045;
constexpr int WSAEAFNOSUPPORT = 10047;
constexpr int WSAENOBUFS = 10055;
constexpr int WSAEISCONN = 10056;
constexpr int WSAESHUTDOWN = 10058;
constexpr int WSAEHOSTDOWN = 10064;
constexpr int WSANOTINITIALISED = 10093;

namespace native {

// Start-up/clean-up pair of a socket object; a clean-up without a start-up fails.
int Startup();
int Cleanup();

int LastError();
void SetLastError(int code);
// The model's number for an errno value (unknown values pass through unchanged).
int ErrnoToError(int errnoValue);
// The system's text for one of the model's error numbers.
QString SysErrorMessage(int code);

TSocket CreateSocket();
int Connect(TSocket s, const TSockAddrIn &addr);
// Binds with the address reusable at once, as a closed server's port is on the model's platform.
int Bind(TSocket s, const TSockAddrIn &addr);
int Listen(TSocket s, int backlog);
TSocket Accept(TSocket listener);
// Send never raises SIGPIPE; a reset peer is WSAECONNRESET.
int Send(TSocket s, const void *buf, int count);
int Receive(TSocket s, void *buf, int count);
// Without waiting, whatever the handle's mode: -1 with WSAEWOULDBLOCK when nothing moves.
int SendNow(TSocket s, const void *buf, int count);
int ReceiveNow(TSocket s, void *buf, int count);
int BytesWaiting(TSocket s, int &count);
int SetBlocking(TSocket s, bool blocking);
// Wakes every thread waiting to read the handle; later reads find the end of the data.
void ShutdownReads(TSocket s);
// Shuts the handle down both ways (waking threads blocked on it) and closes it.
int CloseSocket(TSocket s);

// Waits until the handle can be read (or written); a negative time-out waits without limit.
// > 0 ready (or closed), 0 time-out, < 0 failure.
int WaitReady(TSocket s, bool write, std::int64_t timeoutMicroseconds);

// What the notification object needs to know of a handle.
bool IsListening(TSocket s);
bool HasPeer(TSocket s);
// The error of a finished connect (0 when it succeeded), as the model's number.
int ConnectError(TSocket s);
enum class TReadiness { Data, Nothing, Closed };
// Peeks without consuming; Closed carries the model's error of a reset (0 for an orderly end).
TReadiness PeekReadiness(TSocket s, int &error);

int LocalName(TSocket s, TSockAddrIn &addr);
int PeerName(TSocket s, TSockAddrIn &addr);
// The machine's host name, empty on failure.
QString HostName();
// The name of an address, empty when it has none.
QString HostOfAddress(TInAddr addr);
QString AddressText(TInAddr addr);
// Dotted text to an address; INADDR_NONE (all bits set) when the text is not an address.
TInAddr ParseAddress(const QString &text);
// Blocking look-ups; the error is the model's number (0 on success).
int ResolveHost(const QString &name, TInAddr &addr);
// The port of a TCP service in network byte order; false when unknown.
bool ResolveService(const QString &service, std::uint16_t &port);

} // namespace native
} // namespace wn
