// The socket model on POSIX sockets: errno mapped onto the model's error numbers, and every
// system call of the unit.

#include "sockets/SocketEngine_p.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace wn::native {

namespace {

std::atomic<int> TheStartupCount{0};
thread_local int TheLastError = 0;

struct ErrorMapping {
    int Errno;
    int Code;
};

// The first entry for a code gives the errno whose text describes it.
const ErrorMapping ErrorTable[] = {
    {EINTR, WSAEINTR},
    {EBADF, WSAEBADF},
    {EACCES, WSAEACCES},
    {EFAULT, WSAEFAULT},
    {EINVAL, WSAEINVAL},
    {EMFILE, WSAEMFILE},
    {ENFILE, WSAEMFILE},
    {EAGAIN, WSAEWOULDBLOCK},
    // A non-blocking connect under way is reported as would-block, as the model does.
    {EINPROGRESS, WSAEWOULDBLOCK},
    {EALREADY, WSAEALREADY},
    {ENOTSOCK, WSAENOTSOCK},
    {EDESTADDRREQ, WSAEDESTADDRREQ},
    {EMSGSIZE, WSAEMSGSIZE},
    {EPROTOTYPE, WSAEPROTOTYPE},
    {ENOPROTOOPT, WSAENOPROTOOPT},
    {EPROTONOSUPPORT, WSAEPROTONOSUPPORT},
    {EOPNOTSUPP, WSAEOPNOTSUPP},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},
    {EADDRINUSE, WSAEADDRINUSE},
    {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENETDOWN, WSAENETDOWN},
    {ENETUNREACH, WSAENETUNREACH},
    {ENETRESET, WSAENETRESET},
    {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},
    // Sending on a connection the peer has reset.
    {EPIPE, WSAECONNRESET},
    {ENOBUFS, WSAENOBUFS},
    {ENOMEM, WSAENOBUFS},
    {EISCONN, WSAEISCONN},
    {ENOTCONN, WSAENOTCONN},
    {ESHUTDOWN, WSAESHUTDOWN},
    {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},
    {EHOSTDOWN, WSAEHOSTDOWN},
    {EHOSTUNREACH, WSAEHOSTUNREACH},
};

int Failed()
{
    TheLastError = ErrnoToError(errno);
    return SOCKET_ERROR;
}

int Checked(int rc)
{
    return rc != 0 ? Failed() : 0;
}

int Counted(ssize_t n)
{
    return n < 0 ? Failed() : static_cast<int>(n);
}

size_t Size(int count)
{
    return static_cast<size_t>(count < 0 ? 0 : count);
}

// The model's address record and the system's hold the same three numbers, both in network order.
sockaddr_in ToSystem(const TSockAddrIn &addr)
{
    sockaddr_in result{};
    result.sin_family = addr.sin_family;
    result.sin_port = addr.sin_port;
    result.sin_addr.s_addr = addr.sin_addr;
    return result;
}

int SocketName(int (*call)(int, sockaddr *, socklen_t *), TSocket s, TSockAddrIn &addr)
{
    sockaddr_in system{};
    socklen_t len = sizeof system;
    if (call(s, reinterpret_cast<sockaddr *>(&system), &len) != 0)
        return Failed();
    addr.sin_family = system.sin_family;
    addr.sin_port = system.sin_port;
    addr.sin_addr = system.sin_addr.s_addr;
    return 0;
}

int SocketOption(TSocket s, int option)
{
    int value = 0;
    socklen_t len = sizeof value;
    ::getsockopt(s, SOL_SOCKET, option, &value, &len);
    return value;
}

} // namespace

int Startup()
{
    TheStartupCount.fetch_add(1);
    return 0;
}

int Cleanup()
{
    int count = TheStartupCount.load();
    while (count > 0) {
        if (TheStartupCount.compare_exchange_weak(count, count - 1))
            return 0;
    }
    TheLastError = WSANOTINITIALISED;
    return SOCKET_ERROR;
}

int LastError()
{
    return TheLastError;
}

void SetLastError(int code)
{
    TheLastError = code;
}

int ErrnoToError(int errnoValue)
{
    if (errnoValue == EWOULDBLOCK)
        return WSAEWOULDBLOCK;
    for (const ErrorMapping &m : ErrorTable) {
        if (m.Errno == errnoValue)
            return m.Code;
    }
    return errnoValue;
}

QString SysErrorMessage(int code)
{
    switch (code) {
    case WSAHOST_NOT_FOUND: return QString::fromLocal8Bit(gai_strerror(EAI_NONAME));
    case WSATRY_AGAIN: return QString::fromLocal8Bit(gai_strerror(EAI_AGAIN));
    case WSANO_RECOVERY: return QString::fromLocal8Bit(gai_strerror(EAI_FAIL));
    case WSANO_DATA: return QString::fromLocal8Bit(gai_strerror(EAI_NODATA));
    case WSANOTINITIALISED: return QStringLiteral("Socket start-up was not called");
    default: break;
    }
    for (const ErrorMapping &m : ErrorTable) {
        if (m.Code == code)
            return QString::fromLocal8Bit(std::strerror(m.Errno));
    }
    return QString::fromLocal8Bit(std::strerror(code));
}

TSocket CreateSocket()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return fd < 0 ? (Failed(), INVALID_SOCKET) : fd;
}

int Connect(TSocket s, const TSockAddrIn &addr)
{
    const sockaddr_in a = ToSystem(addr);
    return Checked(::connect(s, reinterpret_cast<const sockaddr *>(&a), sizeof a));
}

int Bind(TSocket s, const TSockAddrIn &addr)
{
    const int on = 1;
    ::setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in a = ToSystem(addr);
    return Checked(::bind(s, reinterpret_cast<const sockaddr *>(&a), sizeof a));
}

int Listen(TSocket s, int backlog)
{
    return Checked(::listen(s, backlog));
}

TSocket Accept(TSocket listener)
{
    const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    return fd < 0 ? (Failed(), INVALID_SOCKET) : fd;
}

int Send(TSocket s, const void *buf, int count)
{
    return Counted(::send(s, buf, Size(count), MSG_NOSIGNAL));
}

int Receive(TSocket s, void *buf, int count)
{
    return Counted(::recv(s, buf, Size(count), 0));
}

int SendNow(TSocket s, const void *buf, int count)
{
    for (;;) {
        const ssize_t n = ::send(s, buf, Size(count), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0 || errno != EINTR)
            return Counted(n);
    }
}

int ReceiveNow(TSocket s, void *buf, int count)
{
    for (;;) {
        const ssize_t n = ::recv(s, buf, Size(count), MSG_DONTWAIT);
        if (n >= 0 || errno != EINTR)
            return Counted(n);
    }
}

int BytesWaiting(TSocket s, int &count)
{
    int n = 0;
    if (::ioctl(s, FIONREAD, &n) != 0)
        return Failed();
    count = n;
    return 0;
}

int SetBlocking(TSocket s, bool blocking)
{
    const int flags = ::fcntl(s, F_GETFL);
    if (flags < 0)
        return Failed();
    const int wanted = blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK);
    return wanted == flags ? 0 : Checked(::fcntl(s, F_SETFL, wanted));
}

void ShutdownReads(TSocket s)
{
    ::shutdown(s, SHUT_RD);
}

int CloseSocket(TSocket s)
{
    // A plain close does not wake a thread blocked on the handle (an accept thread in accept,
    // a worker in poll); shutdown does.
    ::shutdown(s, SHUT_RDWR);
    return Checked(::close(s));
}

int WaitReady(TSocket s, bool write, std::int64_t timeoutMicroseconds)
{
    pollfd p{};
    p.fd = s;
    p.events = write ? POLLOUT : POLLIN;
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(timeoutMicroseconds / 1000000);
    ts.tv_nsec = static_cast<long>((timeoutMicroseconds % 1000000) * 1000);
    for (;;) {
        const int rc = ::ppoll(&p, 1, timeoutMicroseconds < 0 ? nullptr : &ts, nullptr);
        if (rc >= 0 || errno != EINTR)
            return rc < 0 ? Failed() : rc;
    }
}

bool IsListening(TSocket s)
{
    return SocketOption(s, SO_ACCEPTCONN) != 0;
}

bool HasPeer(TSocket s)
{
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    return ::getpeername(s, reinterpret_cast<sockaddr *>(&peer), &len) == 0;
}

int ConnectError(TSocket s)
{
    const int error = SocketOption(s, SO_ERROR);
    return error == 0 ? 0 : ErrnoToError(error);
}

TReadiness PeekReadiness(TSocket s, int &error)
{
    error = 0;
    char probe;
    const ssize_t n = ::recv(s, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n > 0)
        return TReadiness::Data;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
        return TReadiness::Nothing;
    if (n < 0)
        error = ErrnoToError(errno);
    return TReadiness::Closed;
}

int LocalName(TSocket s, TSockAddrIn &addr)
{
    return SocketName(::getsockname, s, addr);
}

int PeerName(TSocket s, TSockAddrIn &addr)
{
    return SocketName(::getpeername, s, addr);
}

QString HostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return QString();
    return QString::fromLocal8Bit(name);
}

QString HostOfAddress(TInAddr addr)
{
    const sockaddr_in a = ToSystem(TSockAddrIn{AF_INET, 0, addr});
    char host[NI_MAXHOST] = {};
    if (::getnameinfo(reinterpret_cast<const sockaddr *>(&a), sizeof a, host, sizeof host, nullptr, 0,
                      NI_NAMEREQD) != 0)
        return QString();
    return QString::fromLocal8Bit(host);
}

QString AddressText(TInAddr addr)
{
    char text[INET_ADDRSTRLEN] = {};
    const in_addr a{addr};
    ::inet_ntop(AF_INET, &a, text, sizeof text);
    return QString::fromLatin1(text);
}

TInAddr ParseAddress(const QString &text)
{
    return ::inet_addr(text.toLatin1().constData());
}

int ResolveHost(const QString &name, TInAddr &addr)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *info = nullptr;
    const int rc = ::getaddrinfo(name.toLocal8Bit().constData(), nullptr, &hints, &info);
    switch (rc) {
    case 0:
        addr = reinterpret_cast<const sockaddr_in *>(info->ai_addr)->sin_addr.s_addr;
        ::freeaddrinfo(info);
        return 0;
    case EAI_NONAME: return WSAHOST_NOT_FOUND;
    case EAI_AGAIN: return WSATRY_AGAIN;
    case EAI_NODATA: return WSANO_DATA;
    case EAI_SYSTEM: return ErrnoToError(errno);
    default: return WSANO_RECOVERY;
    }
}

bool ResolveService(const QString &service, std::uint16_t &port)
{
    servent entry{};
    servent *found = nullptr;
    char buffer[1024];
    if (::getservbyname_r(service.toLocal8Bit().constData(), "tcp", &entry, buffer, sizeof buffer, &found) !=
            0 ||
        !found)
        return false;
    port = static_cast<std::uint16_t>(found->s_port);
    return true;
}

} // namespace wn::native
