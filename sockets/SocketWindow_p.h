#pragma once
// The asynchronous-select model of the socket unit on top of the engine: a socket's hidden
// notification object (TSocketWindow), the message records it delivers, the registration of a
// handle's network events, the calls that re-arm them, and host and service look-ups on
// threads of their own.
//
// The way of one network event, e.g. data arriving on a non-blocking client component:
//   QSocketNotifier::activated -> TSocketWindow::ReadReady posts a TSocketMessageEvent ->
//   TSocketWindow::event -> TCustomWinSocket::CMSocketMessage -> Read -> Event(seRead) ->
//   the component's Event (through OnSocketEvent) -> OnRead.
// The post in between keeps the model's order: every notification is a message handled in the
// thread that owns the window, after the handlers that are running now have returned.
//
// The rhythm is the model's: one FD_WRITE after connecting and again only after a send that
// would block; FD_READ re-armed by each receive, FD_ACCEPT by each accept.

#include "sockets/MyScktComp.h"

#include <QByteArray>
#include <QEvent>
#include <QObject>

#include <memory>

class QSocketNotifier;

namespace wn {

// Network events; the asynchronous-style byte is a mask of these.
constexpr int FD_READ = 0x01;
constexpr int FD_WRITE = 0x02;
constexpr int FD_OOB = 0x04;
constexpr int FD_ACCEPT = 0x08;
constexpr int FD_CONNECT = 0x10;
constexpr int FD_CLOSE = 0x20;

// The messages of the hidden notification object; its posted events carry QEvent::User plus
// these numbers as their type.
constexpr int CM_SOCKETMESSAGE = 0x0401;
constexpr int CM_DEFERFREE = 0x0402;
constexpr int CM_LOOKUPCOMPLETE = 0x0403;

struct TCMSocketMessage {
    int Msg = CM_SOCKETMESSAGE;
    TSocket Socket = INVALID_SOCKET;
    std::uint16_t SelectEvent = 0;
    std::uint16_t SelectError = 0;
    std::int32_t Result = 0;
};

struct TCMLookupComplete {
    int Msg = CM_LOOKUPCOMPLETE;
    std::int32_t LookupHandle = 0;
    std::uint16_t AsyncBufLen = 0;
    std::uint16_t AsyncError = 0;
    std::int32_t Result = 0;
};

// The hidden notification object of one socket object. It lives in the thread that first asked
// for it; its notifiers are made, switched and deleted only there.
class TSocketWindow : public QObject
{
public:
    explicit TSocketWindow(TCustomWinSocket *owner);
    ~TSocketWindow() override;

    // Watches handle s for the events in mask. Connected tells a connection that its owner
    // holds for connected (an accepted one is, from the start, even when its peer has reset it
    // already); a handle that is neither connected nor listening is about to connect or listen.
    void Select(TSocket s, int mask, bool connected);
    void CancelSelect(TSocket s);
    // Re-arms one event of handle s; called with the select registry locked.
    void RearmLocked(TSocket s, int event);
    // Detaches the owner that is being freed, and frees this object when it safely can.
    void Release();

protected:
    bool event(QEvent *e) override;

private:
    struct Registration;

    void ReadReady();
    void WriteReady();
    void Post(int event, int error);
    // The owner that is handling a message may free itself; the window outlives that.
    void Deliver(QEvent *e);

    TCustomWinSocket *FOwner;
    int FDispatching = 0;
    std::unique_ptr<Registration> FSelect;
};

namespace async {

// Registers handle s with window for the events in mask; a null window or an empty mask cancels
// the registration. A registered handle is non-blocking.
int Select(TSocket s, TSocketWindow *window, int mask, bool connected = false);
// The model's re-enabling calls: a receive re-arms FD_READ, a send that would block FD_WRITE,
// an accept FD_ACCEPT of the listening handle.
int Send(TSocket s, const void *buf, int count);
int Receive(TSocket s, void *buf, int count);
TSocket Accept(TSocket listener);
// Cancels the registration and closes the handle.
int CloseSocket(TSocket s);

// Look-ups on threads of their own, answered with CM_LOOKUPCOMPLETE to window. The result is
// the request's handle, 0 when no thread could be started.
int LookupHost(TSocketWindow *window, const QString &name);
int LookupService(TSocketWindow *window, const QString &service);
// SOCKET_ERROR (WSAEINVAL) for a request that is no longer pending.
int CancelLookup(int handle);

} // namespace async
} // namespace wn
