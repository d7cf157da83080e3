// The socket components' common base and the client component.

#include "sockets/MyScktComp.h"

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
    Socket->OnSocketEvent = std::bind_front(&TAbstractSocket::DoEvent, this);
    Socket->OnErrorEvent = std::bind_front(&TAbstractSocket::DoError, this);
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

} // namespace wn
