// The socket core of MyScktComp and the Winsock-style layer beneath it: start-up counting,
// error numbers and texts, the send/recv/accept shims that re-arm notifications, the
// asynchronous-select emulation with QSocketNotifiers, and name and service look-ups on
// worker threads.

#include "sockets/MyScktComp.h"

#include "framework/ApplicationExceptions.h"
#include "framework/CodePages.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QThread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <thread>

namespace wn {

// A posted network event (CM_SOCKETMESSAGE).
class TSocketMessageEvent : public QEvent
{
public:
    TSocketMessageEvent(TSocket s, int event, int error);
    TCMSocketMessage Message;
};

// A finished look-up (CM_LOOKUPCOMPLETE) with its result: an IPv4 address or a port, both in
// network byte order.
class TLookupEvent : public QEvent
{
public:
    TLookupEvent(int handle, int error, const QByteArray &result);
    TCMLookupComplete Message;
    QByteArray Result;
};

// The hidden notification object of a socket. It lives in the thread that first asked for it;
// its notifiers are made, switched and deleted only there.
class TSocketWindow : public QObject
{
public:
    explicit TSocketWindow(TCustomWinSocket *owner);
    ~TSocketWindow() override;

    void Select(TSocket s, int mask);
    void CancelSelect(TSocket s);
    // Called with the select registry locked.
    void RearmLocked(TSocket s, int what);

    TCustomWinSocket *FSocket;
    int FDispatching = 0;

protected:
    bool event(QEvent *e) override;

private:
    struct Registration {
        TSocket Socket = INVALID_SOCKET;
        int Mask = 0;
        QSocketNotifier *Read = nullptr;
        QSocketNotifier *Write = nullptr;
        bool Listening = false;
        bool ConnectPending = false;
        bool CloseReported = false;
    };

    void ReadReady();
    void WriteReady();
    void Post(int event, int error);

    std::unique_ptr<Registration> FSelect;
};

namespace winsock {

int WSAAsyncSelect(TSocket s, TSocketWindow *window, int msg, int mask);
void Rearm(TSocket s, int what);
bool ServicePort(const QByteArray &name, std::uint16_t &port);

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

int LookupErrorCode(int gaiError)
{
    switch (gaiError) {
    case EAI_NONAME: return WSAHOST_NOT_FOUND;
    case EAI_AGAIN: return WSATRY_AGAIN;
    case EAI_NODATA: return WSANO_DATA;
    case EAI_SYSTEM: return ErrnoToError(errno);
    default: return WSANO_RECOVERY;
    }
}

int Failed()
{
    TheLastError = ErrnoToError(errno);
    return SOCKET_ERROR;
}

} // namespace

int WSAStartup()
{
    TheStartupCount.fetch_add(1);
    return 0;
}

int WSACleanup()
{
    int count = TheStartupCount.load();
    while (count > 0) {
        if (TheStartupCount.compare_exchange_weak(count, count - 1))
            return 0;
    }
    TheLastError = WSANOTINITIALISED;
    return SOCKET_ERROR;
}

int StartupCount()
{
    return TheStartupCount.load();
}

int WSAGetLastError()
{
    return TheLastError;
}

void WSASetLastError(int code)
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

TSocket socket()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        Failed();
        return INVALID_SOCKET;
    }
    return fd;
}

int connect(TSocket s, const sockaddr_in &addr)
{
    if (::connect(s, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0)
        return Failed();
    return 0;
}

int bind(TSocket s, const sockaddr_in &addr)
{
    // A listening port is reusable at once after its server closes, as it is on the
    // model's platform, where TIME_WAIT does not hold a listening address.
    const int on = 1;
    ::setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(s, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0)
        return Failed();
    return 0;
}

int listen(TSocket s, int backlog)
{
    if (::listen(s, backlog) != 0)
        return Failed();
    return 0;
}

int SetBlocking(TSocket s, bool blocking)
{
    const int flags = ::fcntl(s, F_GETFL);
    if (flags < 0)
        return Failed();
    const int wanted = blocking ? (flags & ~O_NONBLOCK) : (flags | O_NONBLOCK);
    if (wanted != flags && ::fcntl(s, F_SETFL, wanted) != 0)
        return Failed();
    return 0;
}

int send(TSocket s, const void *buf, int count)
{
    const ssize_t n = ::send(s, buf, static_cast<size_t>(count < 0 ? 0 : count), MSG_NOSIGNAL);
    if (n < 0) {
        const int code = Failed();
        if (TheLastError == WSAEWOULDBLOCK)
            Rearm(s, FD_WRITE);
        return code;
    }
    return static_cast<int>(n);
}

int recv(TSocket s, void *buf, int count)
{
    const ssize_t n = ::recv(s, buf, static_cast<size_t>(count < 0 ? 0 : count), 0);
    const int result = n < 0 ? Failed() : static_cast<int>(n);
    Rearm(s, FD_READ);
    return result;
}

int BytesWaiting(TSocket s, int &count)
{
    int n = 0;
    if (::ioctl(s, FIONREAD, &n) != 0)
        return Failed();
    count = n;
    return 0;
}

TSocket AcceptConnection(TSocket listener)
{
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    const int fd = ::accept4(listener, reinterpret_cast<sockaddr *>(&addr), &len, SOCK_CLOEXEC);
    const TSocket result = fd < 0 ? (Failed(), INVALID_SOCKET) : fd;
    Rearm(listener, FD_ACCEPT);
    return result;
}

int closesocket(TSocket s)
{
    WSAAsyncSelect(s, nullptr, 0, 0);
    // shutdown wakes threads blocked on the handle (an accept thread in accept, a worker in
    // poll), which a plain close does not.
    ::shutdown(s, SHUT_RDWR);
    if (::close(s) != 0)
        return Failed();
    return 0;
}

// ---- asynchronous select ----------------------------------------------------------------------

namespace {

struct SelectRegistry {
    std::mutex Lock;
    std::map<TSocket, TSocketWindow *> Windows;
};

SelectRegistry &Selects()
{
    static SelectRegistry r;
    return r;
}

const QEvent::Type RearmEventType = static_cast<QEvent::Type>(QEvent::User + 0x0410);

class TRearmEvent : public QEvent
{
public:
    TRearmEvent(TSocket s, int what) : QEvent(RearmEventType), Socket(s), What(what) {}
    TSocket Socket;
    int What;
};

} // namespace

void RunInThreadOf(QObject *object, const std::function<void()> &fn)
{
    if (object->thread() == QThread::currentThread() || !object->thread()->isRunning())
        fn();
    else
        QMetaObject::invokeMethod(object, fn, Qt::BlockingQueuedConnection);
}

int WSAAsyncSelect(TSocket s, TSocketWindow *window, int msg, int mask)
{
    TSocketWindow *previous = nullptr;
    {
        std::lock_guard<std::mutex> lock(Selects().Lock);
        auto it = Selects().Windows.find(s);
        if (it != Selects().Windows.end())
            previous = it->second;
    }
    if (previous)
        RunInThreadOf(previous, [previous, s] { previous->CancelSelect(s); });
    if (!window || msg == 0)
        return 0;
    if (SetBlocking(s, false) != 0)
        return SOCKET_ERROR;
    RunInThreadOf(window, [window, s, mask] { window->Select(s, mask); });
    return 0;
}

void Rearm(TSocket s, int what)
{
    std::lock_guard<std::mutex> lock(Selects().Lock);
    auto it = Selects().Windows.find(s);
    if (it == Selects().Windows.end())
        return;
    TSocketWindow *window = it->second;
    if (window->thread() == QThread::currentThread())
        window->RearmLocked(s, what);
    else
        QCoreApplication::postEvent(window, new TRearmEvent(s, what));
}

// ---- look-ups ---------------------------------------------------------------------------------

namespace {

struct LookupRegistry {
    std::mutex Lock;
    std::map<int, TSocketWindow *> Requests;
    int NextHandle = 1;
    std::atomic<int> Running{0};
};

LookupRegistry &Lookups()
{
    static LookupRegistry r;
    return r;
}

int StartLookup(TSocketWindow *window, std::function<int(QByteArray &)> work)
{
    LookupRegistry &r = Lookups();
    int handle;
    {
        std::lock_guard<std::mutex> lock(r.Lock);
        handle = r.NextHandle++;
        if (r.NextHandle <= 0)
            r.NextHandle = 1;
        r.Requests[handle] = window;
    }
    r.Running.fetch_add(1);
    try {
        std::thread([handle, work = std::move(work)] {
            QByteArray result;
            const int error = work(result);
            LookupRegistry &reg = Lookups();
            {
                std::lock_guard<std::mutex> lock(reg.Lock);
                auto it = reg.Requests.find(handle);
                // Posting under the lock keeps the window alive: it withdraws its requests
                // under the same lock before it goes.
                if (it != reg.Requests.end())
                    QCoreApplication::postEvent(it->second, new TLookupEvent(handle, error, result));
            }
            reg.Running.fetch_sub(1);
        }).detach();
    } catch (const std::system_error &) {
        r.Running.fetch_sub(1);
        std::lock_guard<std::mutex> lock(r.Lock);
        r.Requests.erase(handle);
        TheLastError = WSAENOBUFS;
        return 0;
    }
    return handle;
}

} // namespace

int WSAAsyncGetHostByName(TSocketWindow *window, const QString &name)
{
    const QByteArray host = name.toLocal8Bit();
    return StartLookup(window, [host](QByteArray &result) {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo *info = nullptr;
        const int rc = ::getaddrinfo(host.constData(), nullptr, &hints, &info);
        if (rc != 0)
            return LookupErrorCode(rc);
        const auto *addr = reinterpret_cast<const sockaddr_in *>(info->ai_addr);
        result = QByteArray(reinterpret_cast<const char *>(&addr->sin_addr), sizeof addr->sin_addr);
        ::freeaddrinfo(info);
        return 0;
    });
}

int WSAAsyncGetServByName(TSocketWindow *window, const QString &service)
{
    const QByteArray name = service.toLocal8Bit();
    return StartLookup(window, [name](QByteArray &result) {
        std::uint16_t port = 0;
        if (!ServicePort(name, port))
            return WSANO_DATA;
        result = QByteArray(reinterpret_cast<const char *>(&port), sizeof port);
        return 0;
    });
}

int WSACancelAsyncRequest(int handle)
{
    std::lock_guard<std::mutex> lock(Lookups().Lock);
    if (Lookups().Requests.erase(handle) == 0) {
        TheLastError = WSAEINVAL;
        return SOCKET_ERROR;
    }
    return 0;
}

bool TakeLookup(int handle)
{
    std::lock_guard<std::mutex> lock(Lookups().Lock);
    return Lookups().Requests.erase(handle) != 0;
}

void WithdrawLookups(TSocketWindow *window)
{
    std::lock_guard<std::mutex> lock(Lookups().Lock);
    auto &requests = Lookups().Requests;
    for (auto it = requests.begin(); it != requests.end();)
        it = it->second == window ? requests.erase(it) : std::next(it);
}

int PendingLookups()
{
    return Lookups().Running.load();
}

bool ServicePort(const QByteArray &name, std::uint16_t &port)
{
    servent entry{};
    servent *found = nullptr;
    char buffer[1024];
    if (::getservbyname_r(name.constData(), "tcp", &entry, buffer, sizeof buffer, &found) != 0 || !found)
        return false;
    port = static_cast<std::uint16_t>(found->s_port);
    return true;
}

} // namespace winsock

// ---- the notification object ------------------------------------------------------------------

TLookupEvent::TLookupEvent(int handle, int error, const QByteArray &result)
    : QEvent(static_cast<QEvent::Type>(QEvent::User + CM_LOOKUPCOMPLETE)), Result(result)
{
    Message.LookupHandle = handle;
    Message.AsyncBufLen = static_cast<std::uint16_t>(result.size());
    Message.AsyncError = static_cast<std::uint16_t>(error);
}

TSocketMessageEvent::TSocketMessageEvent(TSocket s, int event, int error)
    : QEvent(static_cast<QEvent::Type>(QEvent::User + CM_SOCKETMESSAGE))
{
    Message.Socket = s;
    Message.SelectEvent = static_cast<std::uint16_t>(event);
    Message.SelectError = static_cast<std::uint16_t>(error);
}

TSocketWindow::TSocketWindow(TCustomWinSocket *owner) : FSocket(owner) {}

TSocketWindow::~TSocketWindow()
{
    winsock::WithdrawLookups(this);
    if (FSelect)
        CancelSelect(FSelect->Socket);
}

void TSocketWindow::Post(int event, int error)
{
    QCoreApplication::postEvent(this, new TSocketMessageEvent(FSelect->Socket, event, error));
}

void TSocketWindow::Select(TSocket s, int mask)
{
    if (FSelect)
        CancelSelect(FSelect->Socket);
    auto reg = std::make_unique<Registration>();
    reg->Socket = s;
    reg->Mask = mask;
    int listening = 0;
    socklen_t len = sizeof listening;
    ::getsockopt(s, SOL_SOCKET, SO_ACCEPTCONN, &listening, &len);
    reg->Listening = listening != 0;
    sockaddr_in peer{};
    socklen_t peerLen = sizeof peer;
    const bool connected =
        !reg->Listening && ::getpeername(s, reinterpret_cast<sockaddr *>(&peer), &peerLen) == 0;
    reg->Read = new QSocketNotifier(s, QSocketNotifier::Read, this);
    reg->Write = new QSocketNotifier(s, QSocketNotifier::Write, this);
    reg->Read->setEnabled(false);
    reg->Write->setEnabled(false);
    connect(reg->Read, &QSocketNotifier::activated, this, [this] { ReadReady(); });
    connect(reg->Write, &QSocketNotifier::activated, this, [this] { WriteReady(); });
    FSelect = std::move(reg);
    {
        std::lock_guard<std::mutex> lock(winsock::Selects().Lock);
        winsock::Selects().Windows[s] = this;
    }
    if (FSelect->Listening || connected) {
        FSelect->Read->setEnabled(true);
        if (connected && (mask & FD_WRITE))
            Post(FD_WRITE, 0);
    } else {
        // Neither listening nor connected yet: the listen or connect follows this call at once.
        // The write notifier tells when a connect completes; a listening socket's read
        // notifier tells of waiting connections.
        if (mask & FD_ACCEPT)
            FSelect->Read->setEnabled(true);
        if (mask & FD_CONNECT) {
            FSelect->ConnectPending = true;
            FSelect->Write->setEnabled(true);
        }
    }
}

void TSocketWindow::CancelSelect(TSocket s)
{
    {
        std::lock_guard<std::mutex> lock(winsock::Selects().Lock);
        auto it = winsock::Selects().Windows.find(s);
        if (it != winsock::Selects().Windows.end() && it->second == this)
            winsock::Selects().Windows.erase(it);
    }
    if (!FSelect || FSelect->Socket != s)
        return;
    delete FSelect->Read;
    delete FSelect->Write;
    FSelect.reset();
    // Notifications already posted for this handle are void: the number may be reused.
    QCoreApplication::removePostedEvents(this, static_cast<QEvent::Type>(QEvent::User + CM_SOCKETMESSAGE));
}

void TSocketWindow::RearmLocked(TSocket s, int what)
{
    if (!FSelect || FSelect->Socket != s)
        return;
    switch (what) {
    case FD_READ:
        if (!FSelect->CloseReported && !FSelect->Listening && !FSelect->ConnectPending)
            FSelect->Read->setEnabled(true);
        break;
    case FD_ACCEPT:
        if (FSelect->Listening)
            FSelect->Read->setEnabled(true);
        break;
    case FD_WRITE:
        if (!FSelect->ConnectPending)
            FSelect->Write->setEnabled(true);
        break;
    default: break;
    }
}

void TSocketWindow::ReadReady()
{
    if (!FSelect)
        return;
    FSelect->Read->setEnabled(false);
    const int mask = FSelect->Mask;
    if (!FSelect->Listening) {
        int listening = 0;
        socklen_t len = sizeof listening;
        ::getsockopt(FSelect->Socket, SOL_SOCKET, SO_ACCEPTCONN, &listening, &len);
        FSelect->Listening = listening != 0;
    }
    if (FSelect->ConnectPending)
        return;
    if (FSelect->Listening) {
        if (mask & FD_ACCEPT)
            Post(FD_ACCEPT, 0);
        return;
    }
    char probe;
    const ssize_t n = ::recv(FSelect->Socket, &probe, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n > 0) {
        if (mask & FD_READ)
            Post(FD_READ, 0);
        return;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        FSelect->Read->setEnabled(true);
        return;
    }
    FSelect->CloseReported = true;
    if (mask & FD_CLOSE)
        Post(FD_CLOSE, n == 0 ? 0 : winsock::ErrnoToError(errno));
}

void TSocketWindow::WriteReady()
{
    if (!FSelect)
        return;
    // The socket stays writable while idle; one notification per arming is the rhythm wanted.
    FSelect->Write->setEnabled(false);
    const int mask = FSelect->Mask;
    if (!FSelect->ConnectPending) {
        if (mask & FD_WRITE)
            Post(FD_WRITE, 0);
        return;
    }
    int error = 0;
    socklen_t len = sizeof error;
    ::getsockopt(FSelect->Socket, SOL_SOCKET, SO_ERROR, &error, &len);
    if (error != 0) {
        FSelect->ConnectPending = false;
        FSelect->CloseReported = true;
        if (mask & FD_CONNECT)
            Post(FD_CONNECT, winsock::ErrnoToError(error));
        return;
    }
    sockaddr_in peer{};
    socklen_t peerLen = sizeof peer;
    if (::getpeername(FSelect->Socket, reinterpret_cast<sockaddr *>(&peer), &peerLen) != 0) {
        // Writable before connect() was called: keep waiting for the connect.
        FSelect->Write->setEnabled(true);
        return;
    }
    FSelect->ConnectPending = false;
    if (mask & FD_CONNECT)
        Post(FD_CONNECT, 0);
    if (mask & FD_WRITE)
        Post(FD_WRITE, 0);
    FSelect->Read->setEnabled(true);
}

bool TSocketWindow::event(QEvent *e)
{
    const int type = e->type() - QEvent::User;
    if (e->type() == winsock::RearmEventType) {
        auto *r = static_cast<winsock::TRearmEvent *>(e);
        std::lock_guard<std::mutex> lock(winsock::Selects().Lock);
        RearmLocked(r->Socket, r->What);
        return true;
    }
    if (type != CM_SOCKETMESSAGE && type != CM_DEFERFREE && type != CM_LOOKUPCOMPLETE)
        return QObject::event(e);
    if (type == CM_LOOKUPCOMPLETE &&
        !winsock::TakeLookup(static_cast<TLookupEvent *>(e)->Message.LookupHandle))
        return true;
    TCustomWinSocket *socket = FSocket;
    if (!socket)
        return true;
    ++FDispatching;
    try {
        switch (type) {
        case CM_SOCKETMESSAGE:
            socket->Dispatch(type, &static_cast<TSocketMessageEvent *>(e)->Message, nullptr);
            break;
        case CM_LOOKUPCOMPLETE: {
            auto *l = static_cast<TLookupEvent *>(e);
            socket->Dispatch(type, &l->Message, &l->Result);
            break;
        }
        default: socket->Dispatch(type, nullptr, nullptr); break;
        }
    } catch (const EAbort &) {
    } catch (const std::exception &error) {
        ApplicationHandleException(FSocket, error);
    } catch (...) {
    }
    --FDispatching;
    return true;
}

// ---- texts, error procedure -------------------------------------------------------------------

const QString sWindowsSocketError = QStringLiteral("Socket error: %1 (%2), in call '%3'");
const QString sAsyncSocketError = QStringLiteral("Asynchronous socket error %1");
const QString sNoAddress = QStringLiteral("No host name or address given");
const QString sCannotListenOnOpen = QStringLiteral("Cannot listen on a socket that is open");
const QString sCannotCreateSocket = QStringLiteral("Cannot create a new socket");
const QString sSocketAlreadyOpen = QStringLiteral("The socket is already open");
const QString sCantChangeWhileActive = QStringLiteral("Cannot change this value while the socket is active");
const QString sSocketMustBeBlocking = QStringLiteral("The socket must be in blocking mode");
const QString sSocketIOError = QStringLiteral("%1 error %2: %3");
const QString sSocketRead = QStringLiteral("Read");
const QString sSocketWrite = QStringLiteral("Write");

namespace {

std::atomic<TSocketErrorProc> TheErrorProc{nullptr};

QString WindowsSocketError(int code, const QString &op)
{
    return sWindowsSocketError.arg(winsock::SysErrorMessage(code), QString::number(code), op);
}

void ResetAddress(sockaddr_in &addr)
{
    std::memset(&addr, 0, sizeof addr);
    addr.sin_family = AF_INET;
}

} // namespace

TSocketErrorProc SetErrorProc(TSocketErrorProc ErrorProc)
{
    return TheErrorProc.exchange(ErrorProc);
}

std::int32_t CheckSocketResult(std::int32_t ResultCode, const QString &Op)
{
    if (ResultCode == 0)
        return 0;
    const std::int32_t code = winsock::WSAGetLastError();
    if (code == WSAEWOULDBLOCK)
        return code;
    if (TSocketErrorProc proc = TheErrorProc.load())
        proc(code);
    else
        throw ESocketError(WindowsSocketError(code, Op));
    return code;
}

// ---- TCustomWinSocket -------------------------------------------------------------------------

TCustomWinSocket::TCustomWinSocket(TSocket ASocket) : FSocket(ASocket), FConnected(false)
{
    if (winsock::WSAStartup() != 0)
        throw ESocketError(WindowsSocketError(winsock::WSAGetLastError(), QStringLiteral("WSAStartup")));
    FAsyncStyles = TAsyncStyles{asRead, asWrite, asConnect, asClose};
    ResetAddress(FAddr);
    FConnected = FSocket != INVALID_SOCKET;
}

TCustomWinSocket::~TCustomWinSocket()
{
    OnSocketEvent = nullptr;
    try {
        if (FConnected && FSocket != INVALID_SOCKET)
            Disconnect(FSocket);
    } catch (...) {
        // A destructor cannot report; the handle is gone either way.
    }
    if (FSocket != INVALID_SOCKET)
        winsock::closesocket(FSocket);
    ReleaseHandle();
    winsock::WSACleanup();
}

void TCustomWinSocket::ReleaseHandle()
{
    if (!FHandle)
        return;
    TSocketWindow *window = FHandle;
    FHandle = nullptr;
    window->FSocket = nullptr;
    if (window->FDispatching > 0 || window->thread() != QThread::currentThread())
        window->deleteLater();
    else
        delete window;
}

void TCustomWinSocket::Open(const QString &Name, const QString &Address, const QString &Service,
                            std::uint16_t Port, bool Block)
{
    if (FConnected)
        throw ESocketError(sSocketAlreadyOpen);
    StartOpen(Name, Address, Service, Port, 0, true, Block);
}

void TCustomWinSocket::Listen(const QString &Name, const QString &Address, const QString &Service,
                              std::uint16_t Port, std::int32_t QueueSize, bool Block)
{
    if (FConnected)
        throw ESocketError(sCannotListenOnOpen);
    StartOpen(Name, Address, Service, Port, QueueSize, false, Block);
}

void TCustomWinSocket::StartOpen(const QString &Name, const QString &Address, const QString &Service,
                                 std::uint16_t Port, std::int32_t QueueSize, bool Client, bool Block)
{
    // A handle still waiting for its connect or look-up is given up, not leaked.
    if (FSocket != INVALID_SOCKET || FLookupHandle != 0)
        Disconnect(FSocket);
    FSocket = winsock::socket();
    if (FSocket == INVALID_SOCKET)
        throw ESocketError(sCannotCreateSocket);
    try {
        Event(this, seLookup);
        if (!Block) {
            AsyncInitSocket(Name, Address, Service, Port, QueueSize, Client);
        } else {
            FAddr = InitSocket(Name, Address, Service, Port, Client);
            if (Client)
                DoOpen();
            else
                DoListen(QueueSize);
        }
    } catch (...) {
        Disconnect(FSocket);
        throw;
    }
}

void TCustomWinSocket::Close()
{
    // Under the lock: another thread may be closing the same socket.
    std::lock_guard<std::recursive_mutex> lock(FLock);
    Disconnect(FSocket);
}

void TCustomWinSocket::Lock()
{
    FLock.lock();
}

void TCustomWinSocket::Unlock()
{
    FLock.unlock();
}

void TCustomWinSocket::DoOpen()
{
    DoSetAsyncStyles();
    Event(this, seConnecting);
    CheckSocketResult(winsock::connect(FSocket, FAddr), QStringLiteral("connect"));
    FLookupState = lsIdle;
    if (!FAsyncStyles.contains(asConnect)) {
        FConnected = FSocket != INVALID_SOCKET;
        Event(this, seConnect);
    }
}

void TCustomWinSocket::DoListen(std::int32_t QueueSize)
{
    CheckSocketResult(winsock::bind(FSocket, FAddr), QStringLiteral("bind"));
    DoSetAsyncStyles();
    if (QueueSize > 5)
        QueueSize = 5;
    Event(this, seListen);
    CheckSocketResult(winsock::listen(FSocket, QueueSize), QStringLiteral("listen"));
    FLookupState = lsIdle;
    FConnected = true;
}

void TCustomWinSocket::DoSetAsyncStyles()
{
    if (!FAsyncStyles.empty()) {
        winsock::WSAAsyncSelect(FSocket, static_cast<TSocketWindow *>(GetHandle()), CM_SOCKETMESSAGE,
                                static_cast<int>(FAsyncStyles.Bits()));
    } else {
        winsock::WSAAsyncSelect(FSocket, nullptr, 0, 0);
        winsock::SetBlocking(FSocket, true);
    }
}

void TCustomWinSocket::SetAsyncStyles(TAsyncStyles Value)
{
    if (Value == FAsyncStyles)
        return;
    FAsyncStyles = Value;
    if (FSocket != INVALID_SOCKET)
        DoSetAsyncStyles();
}

QObject *TCustomWinSocket::GetHandle()
{
    if (!FHandle)
        FHandle = new TSocketWindow(this);
    return FHandle;
}

in_addr TCustomWinSocket::LookupName(const QString &Name)
{
    in_addr result{};
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *info = nullptr;
    if (::getaddrinfo(Name.toLocal8Bit().constData(), nullptr, &hints, &info) == 0) {
        result = reinterpret_cast<const sockaddr_in *>(info->ai_addr)->sin_addr;
        ::freeaddrinfo(info);
    }
    return result;
}

std::int32_t TCustomWinSocket::LookupService(const QString &Service)
{
    std::uint16_t port = 0;
    if (!winsock::ServicePort(Service.toLocal8Bit(), port))
        return 0;
    return ntohs(port);
}

sockaddr_in TCustomWinSocket::InitSocket(const QString &Name, const QString &Address, const QString &Service,
                                         std::uint16_t Port, bool Client)
{
    sockaddr_in result;
    ResetAddress(result);
    if (!Name.isEmpty())
        result.sin_addr = LookupName(Name);
    else if (!Address.isEmpty())
        result.sin_addr.s_addr = ::inet_addr(Address.toLatin1().constData());
    else if (Client)
        throw ESocketError(sNoAddress);
    else
        result.sin_addr.s_addr = htonl(INADDR_ANY);
    if (!Service.isEmpty())
        result.sin_port = htons(static_cast<std::uint16_t>(LookupService(Service)));
    else
        result.sin_port = htons(Port);
    return result;
}

in_addr_t TCustomWinSocket::AsyncListenAddress() const
{
    return htonl(INADDR_ANY);
}

void TCustomWinSocket::AsyncInitSocket(const QString &Name, const QString &Address, const QString &Service,
                                       std::uint16_t Port, std::int32_t QueueSize, bool Client)
{
    try {
        for (;;) {
            switch (FLookupState) {
            case lsIdle:
                if (!Client) {
                    FLookupState = lsLookupAddress;
                    FAddr.sin_addr.s_addr = AsyncListenAddress();
                } else if (!Name.isEmpty()) {
                    if (FLookupBuffer.isEmpty())
                        FLookupBuffer = QByteArray(1024, '\0');
                    FLookupHandle =
                        winsock::WSAAsyncGetHostByName(static_cast<TSocketWindow *>(GetHandle()), Name);
                    CheckSocketResult(FLookupHandle == 0 ? 1 : 0, QStringLiteral("WSAASyncGetHostByName"));
                    FService = Service;
                    FPort = Port;
                    FQueueSize = QueueSize;
                    FClient = Client;
                    FLookupState = lsLookupAddress;
                    return;
                } else if (!Address.isEmpty()) {
                    FLookupState = lsLookupAddress;
                    FAddr.sin_addr.s_addr = ::inet_addr(Address.toLatin1().constData());
                } else {
                    std::int32_t code = NoAddressErrorCode;
                    Error(this, eeLookup, code);
                    Disconnect(FSocket);
                    if (code != 0)
                        throw ESocketError(sNoAddress);
                    return;
                }
                break;
            case lsLookupAddress:
                if (!Service.isEmpty()) {
                    if (FLookupBuffer.isEmpty())
                        FLookupBuffer = QByteArray(1024, '\0');
                    FLookupHandle =
                        winsock::WSAAsyncGetServByName(static_cast<TSocketWindow *>(GetHandle()), Service);
                    CheckSocketResult(FLookupHandle == 0 ? 1 : 0, QStringLiteral("WSAASyncGetServByName"));
                    // Saved here too: with an address instead of a name nothing was saved yet,
                    // and the completion must still know a client from a server.
                    FQueueSize = QueueSize;
                    FClient = Client;
                    FLookupState = lsLookupService;
                    return;
                }
                FLookupState = lsLookupService;
                FAddr.sin_port = htons(Port);
                break;
            case lsLookupService:
                FLookupState = lsIdle;
                if (Client)
                    DoOpen();
                else
                    DoListen(QueueSize);
                return;
            }
        }
    } catch (...) {
        Disconnect(FSocket);
        throw;
    }
}

void TCustomWinSocket::CMLookupComplete(TCMLookupComplete &Message, const QByteArray &Result)
{
    if (Message.LookupHandle != FLookupHandle)
        return;
    FLookupHandle = 0;
    if (Message.AsyncError != 0) {
        std::int32_t code = Message.AsyncError;
        Error(this, eeLookup, code);
        Disconnect(FSocket);
        if (code != 0)
            throw ESocketError(WindowsSocketError(Message.AsyncError, QStringLiteral("ASync Lookup")));
        return;
    }
    std::memcpy(FLookupBuffer.data(), Result.constData(),
                std::min<qsizetype>(Result.size(), FLookupBuffer.size()));
    if (FLookupState == lsLookupAddress) {
        std::memcpy(&FAddr.sin_addr, FLookupBuffer.constData(), sizeof FAddr.sin_addr);
        AsyncInitSocket(QString(), QString(), FService, FPort, FQueueSize, FClient);
    } else if (FLookupState == lsLookupService) {
        std::memcpy(&FAddr.sin_port, FLookupBuffer.constData(), sizeof FAddr.sin_port);
        FPort = 0;
        FService.clear();
        AsyncInitSocket(QString(), QString(), QString(), 0, FQueueSize, FClient);
    }
}

void TCustomWinSocket::Dispatch(int Msg, void *Message, const QByteArray *Result)
{
    switch (Msg) {
    case CM_SOCKETMESSAGE: CMSocketMessage(*static_cast<TCMSocketMessage *>(Message)); break;
    case CM_LOOKUPCOMPLETE: CMLookupComplete(*static_cast<TCMLookupComplete *>(Message), *Result); break;
    case CM_DEFERFREE: CMDeferFree(); break;
    default: break;
    }
}

void TCustomWinSocket::CMSocketMessage(TCMSocketMessage &Message)
{
    if (Message.SelectError != 0) {
        TErrorEvent kind;
        switch (Message.SelectEvent) {
        case FD_CONNECT: kind = eeConnect; break;
        case FD_CLOSE: kind = eeDisconnect; break;
        case FD_READ: kind = eeReceive; break;
        case FD_WRITE: kind = eeSend; break;
        case FD_ACCEPT: kind = eeAccept; break;
        default: kind = eeGeneral; break;
        }
        std::int32_t code = Message.SelectError;
        Error(this, kind, code);
        if (code != 0)
            throw ESocketError(sAsyncSocketError.arg(code));
        return;
    }
    switch (Message.SelectEvent) {
    case FD_CONNECT: Connect(Message.Socket); break;
    case FD_CLOSE: Disconnect(Message.Socket); break;
    case FD_READ: Read(Message.Socket); break;
    case FD_WRITE: Write(Message.Socket); break;
    case FD_ACCEPT: Accept(Message.Socket); break;
    default: break;
    }
}

void TCustomWinSocket::CMDeferFree()
{
    delete this;
}

void TCustomWinSocket::DeferFree()
{
    if (FHandle)
        QCoreApplication::postEvent(FHandle,
                                    new QEvent(static_cast<QEvent::Type>(QEvent::User + CM_DEFERFREE)));
}

void TCustomWinSocket::Accept(TSocket) {}

void TCustomWinSocket::Connect(TSocket) {}

void TCustomWinSocket::Read(TSocket Socket)
{
    if (FSocket != INVALID_SOCKET && Socket == FSocket)
        Event(this, seRead);
}

void TCustomWinSocket::Write(TSocket Socket)
{
    if (FSocket != INVALID_SOCKET && Socket == FSocket && !SendStreamPiece())
        Event(this, seWrite);
}

void TCustomWinSocket::Disconnect(TSocket Socket)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    // A set-up given up or failed half-way (a look-up cancelled here, or one that came back
    // with an error) leaves no half-way state for the next Open.
    FLookupState = lsIdle;
    if (FLookupHandle != 0) {
        const int handle = FLookupHandle;
        FLookupHandle = 0;
        CheckSocketResult(winsock::WSACancelAsyncRequest(handle), QStringLiteral("WSACancelASyncRequest"));
    }
    if (Socket == INVALID_SOCKET || Socket != FSocket)
        return;
    Event(this, seDisconnect);
    const TSocket handle = FSocket;
    FSocket = INVALID_SOCKET;
    ResetAddress(FAddr);
    FConnected = false;
    FSendStream.reset();
    FDropAfterSend = false;
    CheckSocketResult(winsock::closesocket(handle), QStringLiteral("closesocket"));
}

void TCustomWinSocket::Event(TCustomWinSocket *Socket, TSocketEvent SocketEvent)
{
    if (OnSocketEvent)
        OnSocketEvent(this, Socket, SocketEvent);
}

void TCustomWinSocket::Error(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode)
{
    if (OnErrorEvent)
        OnErrorEvent(this, Socket, ErrorEvent, ErrorCode);
}

std::int32_t TCustomWinSocket::SendText(const QString &S)
{
    const QByteArray bytes = ToWin1252(S);
    return SendBuf(bytes.constData(), static_cast<std::int32_t>(bytes.size()));
}

std::int32_t TCustomWinSocket::TransferResult(std::int32_t Result, TErrorEvent ErrorEvent, const QString &Op)
{
    if (Result != SOCKET_ERROR)
        return Result;
    std::int32_t code = winsock::WSAGetLastError();
    if (code == WSAEWOULDBLOCK)
        return Result;
    Error(this, ErrorEvent, code);
    Disconnect(FSocket);
    if (code != 0)
        throw ESocketError(WindowsSocketError(code, Op));
    return Result;
}

std::int32_t TCustomWinSocket::SendBuf(const void *Buf, std::int32_t Count)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return 0;
    return TransferResult(winsock::send(FSocket, Buf, Count), eeSend, QStringLiteral("send"));
}

std::int32_t TCustomWinSocket::ReceiveBuf(void *Buf, std::int32_t Count)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (Count == -1 && FConnected) {
        int waiting = 0;
        winsock::BytesWaiting(FSocket, waiting);
        return waiting;
    }
    if (!FConnected)
        return 0;
    return TransferResult(winsock::recv(FSocket, Buf, Count), eeReceive, QStringLiteral("recv"));
}

std::int32_t TCustomWinSocket::ReceiveLength()
{
    return ReceiveBuf(nullptr, -1);
}

QString TCustomWinSocket::ReceiveText()
{
    QByteArray bytes(ReceiveLength(), '\0');
    const std::int32_t n = ReceiveBuf(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    bytes.resize(n > 0 ? n : 0);
    return FromWin1252(bytes);
}

bool TCustomWinSocket::SendStream(QIODevice *AStream)
{
    if (FSendStream)
        return false;
    FSendStream.reset(AStream);
    return SendStreamPiece();
}

bool TCustomWinSocket::SendStreamThenDrop(QIODevice *AStream)
{
    FDropAfterSend = true;
    const bool result = SendStream(AStream);
    if (!result)
        FDropAfterSend = false;
    return result;
}

void TCustomWinSocket::DropStream()
{
    if (FDropAfterSend)
        Disconnect(FSocket);
    FDropAfterSend = false;
    FSendStream.reset();
}

bool TCustomWinSocket::SendStreamPiece()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FSendStream)
        return false;
    if (FSocket == INVALID_SOCKET || !FConnected)
        return false;
    char buffer[4096];
    for (;;) {
        const qint64 start = FSendStream->pos();
        const qint64 read = FSendStream->read(buffer, sizeof buffer);
        if (read <= 0) {
            DropStream();
            return true;
        }
        const std::int32_t sent = winsock::send(FSocket, buffer, static_cast<int>(read));
        if (sent == SOCKET_ERROR) {
            std::int32_t code = winsock::WSAGetLastError();
            if (code == WSAEWOULDBLOCK) {
                FSendStream->seek(start);
                return true;
            }
            Error(this, eeSend, code);
            Disconnect(FSocket);
            DropStream();
            if (!FAsyncStyles.empty())
                Abort();
            return true;
        }
        if (sent < read) {
            FSendStream->seek(start + sent);
            continue;
        }
        if (FSendStream->atEnd() || FSendStream->pos() >= FSendStream->size()) {
            DropStream();
            return true;
        }
    }
}

QString TCustomWinSocket::LocalAddress()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (FSocket == INVALID_SOCKET)
        return QString();
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    if (::getsockname(FSocket, reinterpret_cast<sockaddr *>(&addr), &len) != 0)
        return QString();
    return QString::fromLatin1(::inet_ntoa(addr.sin_addr));
}

QString TCustomWinSocket::LocalHost()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (FSocket == INVALID_SOCKET)
        return QString();
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return QString();
    return QString::fromLocal8Bit(name);
}

std::int32_t TCustomWinSocket::LocalPort()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (FSocket == INVALID_SOCKET)
        return -1;
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    if (::getsockname(FSocket, reinterpret_cast<sockaddr *>(&addr), &len) != 0)
        return -1;
    return ntohs(addr.sin_port);
}

namespace {

int PeerName(TSocket s, sockaddr_in &addr)
{
    socklen_t len = sizeof addr;
    if (::getpeername(s, reinterpret_cast<sockaddr *>(&addr), &len) != 0) {
        winsock::WSASetLastError(winsock::ErrnoToError(errno));
        return SOCKET_ERROR;
    }
    return 0;
}

} // namespace

QString TCustomWinSocket::RemoteHost()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return QString();
    sockaddr_in addr{};
    CheckSocketResult(PeerName(FSocket, addr), QStringLiteral("getpeername"));
    char host[NI_MAXHOST] = {};
    if (::getnameinfo(reinterpret_cast<const sockaddr *>(&addr), sizeof addr, host, sizeof host, nullptr, 0,
                      NI_NAMEREQD) != 0)
        return QString();
    return QString::fromLocal8Bit(host);
}

QString TCustomWinSocket::RemoteAddress()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return QString();
    sockaddr_in addr{};
    CheckSocketResult(PeerName(FSocket, addr), QStringLiteral("getpeername"));
    return QString::fromLatin1(::inet_ntoa(addr.sin_addr));
}

std::int32_t TCustomWinSocket::RemotePort()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return 0;
    sockaddr_in addr{};
    CheckSocketResult(PeerName(FSocket, addr), QStringLiteral("getpeername"));
    return ntohs(addr.sin_port);
}

sockaddr_in TCustomWinSocket::RemoteAddr()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    sockaddr_in addr{};
    if (FConnected && PeerName(FSocket, addr) != 0)
        addr = sockaddr_in{};
    return addr;
}

} // namespace wn
