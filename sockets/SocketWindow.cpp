// The asynchronous-select model: a notifier pair per registered handle, the registry through
// which a send, receive or accept finds the window to re-arm, and look-ups on threads of their
// own.

#include "sockets/SocketWindow_p.h"

#include "framework/ApplicationExceptions.h"
#include "sockets/SocketEngine_p.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QThread>

#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace wn {

namespace {

QEvent::Type MessageType(int msg)
{
    return static_cast<QEvent::Type>(QEvent::User + msg);
}

const QEvent::Type RearmEventType = MessageType(0x0410);

class TSocketMessageEvent : public QEvent
{
public:
    TSocketMessageEvent(TSocket s, int event, int error) : QEvent(MessageType(CM_SOCKETMESSAGE))
    {
        Message.Socket = s;
        Message.SelectEvent = static_cast<std::uint16_t>(event);
        Message.SelectError = static_cast<std::uint16_t>(error);
    }
    TCMSocketMessage Message;
};

// A finished look-up with its result: an IPv4 address or a port, both in network byte order.
class TLookupEvent : public QEvent
{
public:
    TLookupEvent(int handle, int error, const QByteArray &result)
        : QEvent(MessageType(CM_LOOKUPCOMPLETE)), Result(result)
    {
        Message.LookupHandle = handle;
        Message.AsyncBufLen = static_cast<std::uint16_t>(result.size());
        Message.AsyncError = static_cast<std::uint16_t>(error);
    }
    TCMLookupComplete Message;
    QByteArray Result;
};

// A re-arm asked for by another thread than the window's.
class TRearmEvent : public QEvent
{
public:
    TRearmEvent(TSocket s, int event) : QEvent(RearmEventType), Socket(s), Event(event) {}
    TSocket Socket;
    int Event;
};

struct SelectRegistry {
    std::mutex Lock;
    std::map<TSocket, TSocketWindow *> Windows;
};

SelectRegistry &Selects()
{
    static SelectRegistry r;
    return r;
}

void RunInThreadOf(QObject *object, const std::function<void()> &fn)
{
    if (object->thread() == QThread::currentThread() || !object->thread()->isRunning())
        fn();
    else
        QMetaObject::invokeMethod(object, fn, Qt::BlockingQueuedConnection);
}

void Rearm(TSocket s, int event)
{
    std::lock_guard<std::mutex> lock(Selects().Lock);
    auto it = Selects().Windows.find(s);
    if (it == Selects().Windows.end())
        return;
    TSocketWindow *window = it->second;
    if (window->thread() == QThread::currentThread())
        window->RearmLocked(s, event);
    else
        QCoreApplication::postEvent(window, new TRearmEvent(s, event));
}

struct LookupRegistry {
    std::mutex Lock;
    std::map<int, TSocketWindow *> Requests;
    int NextHandle = 1;
};

LookupRegistry &Lookups()
{
    // Never freed: a look-up thread still resolving when the program ends finds it in place.
    static LookupRegistry *r = new LookupRegistry;
    return *r;
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
    try {
        std::thread([handle, work = std::move(work)] {
            QByteArray result;
            const int error = work(result);
            LookupRegistry &reg = Lookups();
            std::lock_guard<std::mutex> lock(reg.Lock);
            auto it = reg.Requests.find(handle);
            // Posting under the lock keeps the window alive: it withdraws its requests under
            // the same lock before it goes.
            if (it != reg.Requests.end())
                QCoreApplication::postEvent(it->second, new TLookupEvent(handle, error, result));
        }).detach();
    } catch (const std::system_error &) {
        std::lock_guard<std::mutex> lock(r.Lock);
        r.Requests.erase(handle);
        native::SetLastError(WSAENOBUFS);
        return 0;
    }
    return handle;
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

QByteArray Bytes(const void *data, std::size_t size)
{
    return QByteArray(static_cast<const char *>(data), static_cast<qsizetype>(size));
}

} // namespace

// ---- registration and re-enabling calls -------------------------------------------------------

namespace async {

int Select(TSocket s, TSocketWindow *window, int mask, bool connected)
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
    if (!window || mask == 0)
        return 0;
    if (native::SetBlocking(s, false) != 0)
        return SOCKET_ERROR;
    RunInThreadOf(window, [window, s, mask, connected] { window->Select(s, mask, connected); });
    return 0;
}

int Send(TSocket s, const void *buf, int count)
{
    const int n = native::Send(s, buf, count);
    if (n == SOCKET_ERROR && native::LastError() == WSAEWOULDBLOCK)
        Rearm(s, FD_WRITE);
    return n;
}

int Receive(TSocket s, void *buf, int count)
{
    const int n = native::Receive(s, buf, count);
    const int error = native::LastError();
    Rearm(s, FD_READ);
    native::SetLastError(error);
    return n;
}

TSocket Accept(TSocket listener)
{
    const TSocket result = native::Accept(listener);
    const int error = native::LastError();
    Rearm(listener, FD_ACCEPT);
    native::SetLastError(error);
    return result;
}

int CloseSocket(TSocket s)
{
    Select(s, nullptr, 0);
    return native::CloseSocket(s);
}

int LookupHost(TSocketWindow *window, const QString &name)
{
    return StartLookup(window, [name](QByteArray &result) {
        TInAddr addr = 0;
        const int error = native::ResolveHost(name, addr);
        if (error == 0)
            result = Bytes(&addr, sizeof addr);
        return error;
    });
}

int LookupService(TSocketWindow *window, const QString &service)
{
    return StartLookup(window, [service](QByteArray &result) {
        std::uint16_t port = 0;
        if (!native::ResolveService(service, port))
            return WSANO_DATA;
        result = Bytes(&port, sizeof port);
        return 0;
    });
}

int CancelLookup(int handle)
{
    if (TakeLookup(handle))
        return 0;
    native::SetLastError(WSAEINVAL);
    return SOCKET_ERROR;
}

} // namespace async

// ---- the notification object ------------------------------------------------------------------

struct TSocketWindow::Registration {
    TSocket Socket = INVALID_SOCKET;
    int Mask = 0;
    QSocketNotifier *Read = nullptr;
    QSocketNotifier *Write = nullptr;
    bool Listening = false;
    bool ConnectPending = false;
    bool CloseReported = false;
};

TSocketWindow::TSocketWindow(TCustomWinSocket *owner) : FOwner(owner) {}

TSocketWindow::~TSocketWindow()
{
    WithdrawLookups(this);
    if (FSelect)
        CancelSelect(FSelect->Socket);
}

void TSocketWindow::Release()
{
    FOwner = nullptr;
    if (FDispatching > 0 || thread() != QThread::currentThread())
        deleteLater();
    else
        delete this;
}

void TSocketWindow::Post(int event, int error)
{
    QCoreApplication::postEvent(this, new TSocketMessageEvent(FSelect->Socket, event, error));
}

void TSocketWindow::Select(TSocket s, int mask, bool connected)
{
    if (FSelect)
        CancelSelect(FSelect->Socket);
    auto reg = std::make_unique<Registration>();
    reg->Socket = s;
    reg->Mask = mask;
    reg->Listening = native::IsListening(s);
    connected = !reg->Listening && (connected || native::HasPeer(s));
    reg->Read = new QSocketNotifier(s, QSocketNotifier::Read, this);
    reg->Write = new QSocketNotifier(s, QSocketNotifier::Write, this);
    reg->Read->setEnabled(false);
    reg->Write->setEnabled(false);
    connect(reg->Read, &QSocketNotifier::activated, this, &TSocketWindow::ReadReady);
    connect(reg->Write, &QSocketNotifier::activated, this, &TSocketWindow::WriteReady);
    FSelect = std::move(reg);
    {
        std::lock_guard<std::mutex> lock(Selects().Lock);
        Selects().Windows[s] = this;
    }
    if (FSelect->Listening || connected) {
        FSelect->Read->setEnabled(true);
        if (connected && (mask & FD_WRITE))
            Post(FD_WRITE, 0);
    } else {
        // Neither listening nor connected yet: the listen or connect follows this call at once.
        // The write notifier tells when a connect completes, whether FD_CONNECT is selected or
        // not (reads and writes are watched from then on); a listening socket's read notifier
        // tells of waiting connections.
        FSelect->ConnectPending = true;
        FSelect->Write->setEnabled(true);
        if (mask & FD_ACCEPT)
            FSelect->Read->setEnabled(true);
    }
}

void TSocketWindow::CancelSelect(TSocket s)
{
    {
        std::lock_guard<std::mutex> lock(Selects().Lock);
        auto it = Selects().Windows.find(s);
        if (it != Selects().Windows.end() && it->second == this)
            Selects().Windows.erase(it);
    }
    if (!FSelect || FSelect->Socket != s)
        return;
    delete FSelect->Read;
    delete FSelect->Write;
    FSelect.reset();
    // Notifications already posted for this handle are void: the number may be reused.
    QCoreApplication::removePostedEvents(this, MessageType(CM_SOCKETMESSAGE));
}

void TSocketWindow::RearmLocked(TSocket s, int event)
{
    if (!FSelect || FSelect->Socket != s)
        return;
    switch (event) {
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
    if (!FSelect->Listening)
        FSelect->Listening = native::IsListening(FSelect->Socket);
    if (FSelect->Listening) {
        FSelect->ConnectPending = false;
        if (mask & FD_ACCEPT)
            Post(FD_ACCEPT, 0);
        return;
    }
    if (FSelect->ConnectPending)
        return;
    int error = 0;
    switch (native::PeekReadiness(FSelect->Socket, error)) {
    case native::TReadiness::Data:
        if (mask & FD_READ)
            Post(FD_READ, 0);
        break;
    case native::TReadiness::Nothing: FSelect->Read->setEnabled(true); break;
    case native::TReadiness::Closed:
        FSelect->CloseReported = true;
        if (mask & FD_CLOSE)
            Post(FD_CLOSE, error);
        break;
    }
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
    if (const int error = native::ConnectError(FSelect->Socket)) {
        FSelect->ConnectPending = false;
        FSelect->CloseReported = true;
        if (mask & FD_CONNECT)
            Post(FD_CONNECT, error);
        return;
    }
    if (!native::HasPeer(FSelect->Socket)) {
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
    const QEvent::Type type = e->type();
    if (type == RearmEventType) {
        auto *r = static_cast<TRearmEvent *>(e);
        std::lock_guard<std::mutex> lock(Selects().Lock);
        RearmLocked(r->Socket, r->Event);
        return true;
    }
    if (type != MessageType(CM_SOCKETMESSAGE) && type != MessageType(CM_LOOKUPCOMPLETE) &&
        type != MessageType(CM_DEFERFREE))
        return QObject::event(e);
    Deliver(e);
    return true;
}

void TSocketWindow::Deliver(QEvent *e)
{
    const int msg = e->type() - QEvent::User;
    if (msg == CM_LOOKUPCOMPLETE && !TakeLookup(static_cast<TLookupEvent *>(e)->Message.LookupHandle))
        return;
    if (!FOwner)
        return;
    ++FDispatching;
    try {
        switch (msg) {
        case CM_SOCKETMESSAGE: FOwner->CMSocketMessage(static_cast<TSocketMessageEvent *>(e)->Message); break;
        case CM_LOOKUPCOMPLETE: {
            // The model's look-up writes its result into the socket's buffer before it reports.
            auto *l = static_cast<TLookupEvent *>(e);
            FOwner->FLookupBuffer.replace(0, l->Result.size(), l->Result);
            FOwner->CMLookupComplete(l->Message);
            break;
        }
        default: FOwner->CMDeferFree(); break;
        }
    } catch (const EAbort &) {
    } catch (const std::exception &error) {
        ApplicationHandleException(FOwner, error);
    } catch (...) {
        // Exceptions never leave the event loop. One that is no std::exception carries no
        // text the application's handler could show, so there is nothing to hand on.
    }
    --FDispatching;
}

} // namespace wn
