// The socket components' common base, the client component and the blocking socket stream.

#include "sockets/MyScktComp.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <climits>

namespace wn {

// ---- TClientWinSocket -------------------------------------------------------------------------

void TClientWinSocket::Connect(TSocket)
{
    FConnected = true;
    Event(this, seConnect);
}

void TClientWinSocket::SetClientType(TClientType Value)
{
    if (Value == FClientType)
        return;
    if (FConnected)
        throw ESocketError(sCantChangeWhileActive);
    FClientType = Value;
    if (Value == ctBlocking)
        SetAsyncStyles(TAsyncStyles{});
    else
        SetAsyncStyles(TAsyncStyles{asRead, asWrite, asConnect, asClose});
}

// ---- TAbstractSocket, TCustomSocket -----------------------------------------------------------

TAbstractSocket::TAbstractSocket(QObject *AOwner) : QObject(AOwner) {}

void TAbstractSocket::InitSocket(TCustomWinSocket *Socket)
{
    Socket->OnSocketEvent = [this](TObject *Sender, TCustomWinSocket *S, TSocketEvent E) {
        DoEvent(Sender, S, E);
    };
    Socket->OnErrorEvent = [this](TObject *Sender, TCustomWinSocket *S, TErrorEvent E, std::int32_t &Code) {
        DoError(Sender, S, E, Code);
    };
}

void TAbstractSocket::DoEvent(TObject *, TCustomWinSocket *Socket, TSocketEvent SocketEvent)
{
    Event(Socket, SocketEvent);
}

void TAbstractSocket::DoError(TObject *, TCustomWinSocket *Socket, TErrorEvent ErrorEvent,
                              std::int32_t &ErrorCode)
{
    Error(Socket, ErrorEvent, ErrorCode);
}

void TAbstractSocket::SetActive(bool Value)
{
    if (Value == FActive)
        return;
    if (Designing() || LoadingState())
        FActive = Value;
    if (!LoadingState())
        DoActivate(Value);
}

void TAbstractSocket::Loaded()
{
    DoActivate(FActive);
}

bool TAbstractSocket::Changing()
{
    if (!LoadingState() && FActive)
        throw ESocketError(sCantChangeWhileActive);
    return true;
}

void TAbstractSocket::SetAddress(const QString &Value)
{
    if (QString::compare(Value, FAddress, Qt::CaseInsensitive) != 0 && Changing())
        FAddress = Value;
}

void TAbstractSocket::SetHost(const QString &Value)
{
    if (QString::compare(Value, FHost, Qt::CaseInsensitive) != 0 && Changing())
        FHost = Value;
}

void TAbstractSocket::SetPort(std::int32_t Value)
{
    if (Value != FPort && Changing())
        FPort = Value;
}

void TAbstractSocket::SetService(const QString &Value)
{
    if (QString::compare(Value, FService, Qt::CaseInsensitive) != 0 && Changing())
        FService = Value;
}

void TCustomSocket::Event(TCustomWinSocket *Socket, TSocketEvent SocketEvent)
{
    TSocketNotifyEvent *slot = nullptr;
    switch (SocketEvent) {
    case seLookup: slot = &OnLookup; break;
    case seConnecting: slot = &OnConnecting; break;
    case seConnect:
        FActive = true;
        slot = &OnConnect;
        break;
    case seDisconnect:
        FActive = false;
        slot = &OnDisconnect;
        break;
    case seListen:
        FActive = true;
        slot = &OnListen;
        break;
    case seAccept: slot = &OnAccept; break;
    case seWrite: slot = &OnWrite; break;
    case seRead: slot = &OnRead; break;
    }
    if (slot && *slot)
        (*slot)(this, Socket);
}

void TCustomSocket::Error(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode)
{
    if (OnError)
        OnError(this, Socket, ErrorEvent, ErrorCode);
}

// ---- TWNClientSocket --------------------------------------------------------------------------

TWNClientSocket::TWNClientSocket(QObject *AOwner)
    : TCustomSocket(AOwner), FClientSocket(std::make_unique<TClientWinSocket>(INVALID_SOCKET))
{
    InitSocket(FClientSocket.get());
}

TWNClientSocket::~TWNClientSocket() = default;

void TWNClientSocket::DoActivate(bool Value)
{
    if (Value == FClientSocket->Connected() || Designing())
        return;
    if (FClientSocket->Connected())
        FClientSocket->Disconnect(FClientSocket->SocketHandle());
    else
        FClientSocket->Open(Host(), Address(), Service(), static_cast<std::uint16_t>(Port()),
                            ClientType() == ctBlocking);
}

// ---- TWinSocketStream -------------------------------------------------------------------------

namespace {

// Waits for the handle to become ready for events; > 0 ready, 0 time-out, < 0 failure.
int WaitReady(TSocket s, short events, std::int64_t timeoutMicroseconds)
{
    pollfd p{};
    p.fd = s;
    p.events = events;
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(timeoutMicroseconds / 1000000);
    ts.tv_nsec = static_cast<long>((timeoutMicroseconds % 1000000) * 1000);
    for (;;) {
        const int rc = ::ppoll(&p, 1, &ts, nullptr);
        if (rc >= 0 || errno != EINTR)
            return rc;
    }
}

[[noreturn]] void RaiseIOError(const QString &what, int errnoValue)
{
    const int code = winsock::ErrnoToError(errnoValue);
    throw ESocketError(sSocketIOError.arg(what, QString::number(code), winsock::SysErrorMessage(code)));
}

// Holds a socket's lock for one transfer.
class TSocketLockGuard
{
public:
    explicit TSocketLockGuard(TCustomWinSocket *s) : FSocket(s) { FSocket->Lock(); }
    ~TSocketLockGuard() { FSocket->Unlock(); }
    TSocketLockGuard(const TSocketLockGuard &) = delete;
    TSocketLockGuard &operator=(const TSocketLockGuard &) = delete;

private:
    TCustomWinSocket *FSocket;
};

} // namespace

TCustomWinSocket *TWinSocketStream::CheckBlocking(TCustomWinSocket *ASocket)
{
    if (!ASocket->ASyncStyles().empty())
        throw ESocketError(sSocketMustBeBlocking);
    return ASocket;
}

TWinSocketStream::TWinSocketStream(TCustomWinSocket *ASocket, std::int32_t TimeOut)
    : FSocket(CheckBlocking(ASocket)), FTimeout(TimeOut)
{
    QIODevice::open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

TWinSocketStream::~TWinSocketStream() = default;

bool TWinSocketStream::WaitForData(std::int32_t Timeout)
{
    const std::int64_t micro = std::int64_t(Timeout / 1000) * 1000000 + std::int64_t(Timeout % 1000) * 1000;
    return WaitReady(FSocket->SocketHandle(), POLLIN, micro) > 0;
}

std::int32_t TWinSocketStream::Read(void *Buffer, std::int32_t Count)
{
    TSocketLockGuard lock(FSocket);
    const TSocket s = FSocket->SocketHandle();
    if (s == INVALID_SOCKET)
        RaiseIOError(sSocketRead, EBADF);
    const size_t count = static_cast<size_t>(Count < 0 ? 0 : Count);
    // Takes what is waiting; -1 when nothing is.
    auto receive = [&]() -> std::int32_t {
        for (;;) {
            const ssize_t n = ::recv(s, Buffer, count, MSG_DONTWAIT);
            if (n >= 0)
                return static_cast<std::int32_t>(n);
            if (errno == EAGAIN || errno == EWOULDBLOCK)
                return -1;
            if (errno != EINTR)
                RaiseIOError(sSocketRead, errno);
        }
    };
    // Data already there is taken at once; the poll with the time-out is for an empty socket.
    std::int32_t n = receive();
    if (n >= 0)
        return n;
    if (WaitReady(s, POLLIN, std::int64_t(FTimeout) * 1000) <= 0)
        return 0;
    n = receive();
    return n < 0 ? 0 : n;
}

std::int32_t TWinSocketStream::Write(const void *Buffer, std::int32_t Count)
{
    TSocketLockGuard lock(FSocket);
    const TSocket s = FSocket->SocketHandle();
    if (s == INVALID_SOCKET)
        RaiseIOError(sSocketWrite, EBADF);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(FTimeout < 0 ? 0 : FTimeout);
    const char *data = static_cast<const char *>(Buffer);
    std::int32_t sent = 0;
    // The transfer is one operation with one time-out: pieces go out as the socket takes them
    // until all is sent or the time is up.
    while (sent < Count) {
        const ssize_t n =
            ::send(s, data + sent, static_cast<size_t>(Count - sent), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            sent += static_cast<std::int32_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK)
            RaiseIOError(sSocketWrite, errno);
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
        if (left <= 0 || WaitReady(s, POLLOUT, left) <= 0)
            break;
    }
    return sent;
}

std::int64_t TWinSocketStream::Seek(std::int64_t, int)
{
    return 0;
}

qint64 TWinSocketStream::readData(char *data, qint64 maxSize)
{
    return Read(data, static_cast<std::int32_t>(std::min<qint64>(maxSize, INT_MAX)));
}

qint64 TWinSocketStream::writeData(const char *data, qint64 maxSize)
{
    return Write(data, static_cast<std::int32_t>(std::min<qint64>(maxSize, INT_MAX)));
}

} // namespace wn
