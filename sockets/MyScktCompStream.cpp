// TWinSocketStream: reads and writes of a blocking socket that give up after a time-out.

#include "sockets/MyScktComp.h"

#include "sockets/SocketEngine_p.h"

#include <chrono>
#include <climits>

namespace wn {

namespace {

[[noreturn]] void RaiseIOError(const QString &what, int code)
{
    throw ESocketError(sSocketIOError.arg(what, QString::number(code), native::SysErrorMessage(code)));
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

// Takes what is waiting, or gives what the socket has room for, without waiting: -1 when
// nothing moves; a failure raises.
std::int32_t ReceiveNow(TSocket s, void *buf, std::int32_t count)
{
    const int n = native::ReceiveNow(s, buf, count);
    if (n < 0 && native::LastError() != WSAEWOULDBLOCK)
        RaiseIOError(sSocketRead, native::LastError());
    return n;
}

std::int32_t SendNow(TSocket s, const void *buf, std::int32_t count)
{
    const int n = native::SendNow(s, buf, count);
    if (n < 0 && native::LastError() != WSAEWOULDBLOCK)
        RaiseIOError(sSocketWrite, native::LastError());
    return n;
}

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
    // A negative time-out is no time-out to wait for: the wait fails at once.
    const TSocket s = FSocket->SocketHandle();
    if (Timeout < 0 || s == INVALID_SOCKET || FSocket->ReadsInterrupted())
        return false;
    const std::int64_t micro = std::int64_t(Timeout / 1000) * 1000000 + std::int64_t(Timeout % 1000) * 1000;
    const bool ready = native::WaitReady(s, false, micro) > 0;
    // A socket closed or stopped while it was waited on has nothing to offer.
    return ready && !FSocket->ReadsInterrupted() && FSocket->SocketHandle() == s;
}

std::int32_t TWinSocketStream::Read(void *Buffer, std::int32_t Count)
{
    TSocketLockGuard lock(FSocket);
    if (FSocket->ReadsInterrupted())
        return 0;
    const TSocket s = FSocket->SocketHandle();
    if (s == INVALID_SOCKET)
        RaiseIOError(sSocketRead, WSAEBADF);
    // Data already there is taken at once; the wait with the time-out is for an empty socket.
    std::int32_t n = ReceiveNow(s, Buffer, Count);
    if (n >= 0)
        return n;
    if (native::WaitReady(s, false, FTimeout < 0 ? -1 : std::int64_t(FTimeout) * 1000) <= 0)
        return 0;
    n = ReceiveNow(s, Buffer, Count);
    return n < 0 ? 0 : n;
}

std::int32_t TWinSocketStream::Write(const void *Buffer, std::int32_t Count)
{
    TSocketLockGuard lock(FSocket);
    const TSocket s = FSocket->SocketHandle();
    if (s == INVALID_SOCKET)
        RaiseIOError(sSocketWrite, WSAEBADF);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(FTimeout);
    const char *data = static_cast<const char *>(Buffer);
    std::int32_t sent = 0;
    // The transfer is one operation with one time-out (none when it is negative): pieces go out
    // as the socket takes them until all is sent or the time is up.
    while (sent < Count) {
        const std::int32_t n = SendNow(s, data + sent, Count - sent);
        if (n > 0) {
            sent += n;
            continue;
        }
        std::int64_t wait = -1;
        if (FTimeout >= 0) {
            wait = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
            if (wait <= 0)
                break;
        }
        if (native::WaitReady(s, true, wait) <= 0)
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
