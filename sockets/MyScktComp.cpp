// The socket core of MyScktComp: TCustomWinSocket, the unit's texts and the result check.

#include "sockets/MyScktComp.h"

#include "framework/CodePages.h"
#include "sockets/SocketEngine_p.h"
#include "sockets/SocketWindow_p.h"

#include <QCoreApplication>
#include <QtEndian>

#include <cstring>
#include <utility>

namespace wn {

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
    return sWindowsSocketError.arg(native::SysErrorMessage(code), QString::number(code), op);
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
    const std::int32_t code = native::LastError();
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
    if (native::Startup() != 0)
        throw ESocketError(WindowsSocketError(native::LastError(), QStringLiteral("WSAStartup")));
    FAsyncStyles = TAsyncStyles{asRead, asWrite, asConnect, asClose};
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
        async::CloseSocket(FSocket);
    if (FHandle)
        std::exchange(FHandle, nullptr)->Release();
    native::Cleanup();
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
    FSocket = native::CreateSocket();
    FReadsInterrupted = false;
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
    CheckSocketResult(native::Connect(FSocket, FAddr), QStringLiteral("connect"));
    FLookupState = lsIdle;
    if (!FAsyncStyles.contains(asConnect)) {
        FConnected = FSocket != INVALID_SOCKET;
        Event(this, seConnect);
    }
}

void TCustomWinSocket::DoListen(std::int32_t QueueSize)
{
    CheckSocketResult(native::Bind(FSocket, FAddr), QStringLiteral("bind"));
    DoSetAsyncStyles();
    // The backlog limit (SOMAXCONN) of Windows Sockets 1.1.
    if (QueueSize > 5)
        QueueSize = 5;
    Event(this, seListen);
    CheckSocketResult(native::Listen(FSocket, QueueSize), QStringLiteral("listen"));
    FLookupState = lsIdle;
    FConnected = true;
}

void TCustomWinSocket::DoSetAsyncStyles()
{
    if (!FAsyncStyles.empty()) {
        async::Select(FSocket, Window(), static_cast<int>(FAsyncStyles.Bits()), FConnected);
    } else {
        async::Select(FSocket, nullptr, 0);
        native::SetBlocking(FSocket, true);
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

TSocketWindow *TCustomWinSocket::Window()
{
    if (!FHandle)
        FHandle = new TSocketWindow(this);
    return FHandle;
}

QObject *TCustomWinSocket::GetHandle()
{
    return Window();
}

TInAddr TCustomWinSocket::LookupName(const QString &Name)
{
    TInAddr result = 0;
    native::ResolveHost(Name, result);
    return result;
}

std::int32_t TCustomWinSocket::LookupService(const QString &Service)
{
    std::uint16_t port = 0;
    return native::ResolveService(Service, port) ? qFromBigEndian(port) : 0;
}

TSockAddrIn TCustomWinSocket::InitSocket(const QString &Name, const QString &Address, const QString &Service,
                                         std::uint16_t Port, bool Client)
{
    TSockAddrIn result;
    if (!Name.isEmpty())
        result.sin_addr = LookupName(Name);
    else if (!Address.isEmpty())
        result.sin_addr = native::ParseAddress(Address);
    else if (Client)
        throw ESocketError(sNoAddress);
    if (!Service.isEmpty())
        result.sin_port = qToBigEndian(static_cast<std::uint16_t>(LookupService(Service)));
    else
        result.sin_port = qToBigEndian(Port);
    return result;
}

TInAddr TCustomWinSocket::AsyncListenAddress() const
{
    return 0; // INADDR_ANY
}

void TCustomWinSocket::StartAsyncLookup(TLookupState Next, const QString &Name, const QString &Service,
                                        std::uint16_t Port, std::int32_t QueueSize, bool Client)
{
    if (FLookupBuffer.isEmpty())
        FLookupBuffer = QByteArray(1024, '\0'); // MAXGETHOSTSTRUCT
    const bool host = Next == lsLookupAddress;
    FLookupHandle = host ? async::LookupHost(Window(), Name) : async::LookupService(Window(), Service);
    CheckSocketResult(FLookupHandle == 0 ? 1 : 0, host ? QStringLiteral("WSAASyncGetHostByName")
                                                       : QStringLiteral("WSAASyncGetServByName"));
    // The completion carries on with these; with an address instead of a name nothing was kept
    // yet when the service is looked up.
    FService = Service;
    FPort = Port;
    FQueueSize = QueueSize;
    FClient = Client;
    FLookupState = Next;
}

void TCustomWinSocket::AsyncInitSocket(const QString &Name, const QString &Address, const QString &Service,
                                       std::uint16_t Port, std::int32_t QueueSize, bool Client)
{
    try {
        for (;;) {
            switch (FLookupState) {
            case lsIdle:
                if (!Client) {
                    FAddr.sin_addr = AsyncListenAddress();
                } else if (!Name.isEmpty()) {
                    StartAsyncLookup(lsLookupAddress, Name, Service, Port, QueueSize, Client);
                    return;
                } else if (!Address.isEmpty()) {
                    FAddr.sin_addr = native::ParseAddress(Address);
                } else {
                    std::int32_t code = NoAddressErrorCode;
                    Error(this, eeLookup, code);
                    Disconnect(FSocket);
                    if (code != 0)
                        throw ESocketError(sNoAddress);
                    return;
                }
                FLookupState = lsLookupAddress;
                break;
            case lsLookupAddress:
                if (!Service.isEmpty()) {
                    StartAsyncLookup(lsLookupService, Name, Service, Port, QueueSize, Client);
                    return;
                }
                FAddr.sin_port = qToBigEndian(Port);
                FLookupState = lsLookupService;
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

void TCustomWinSocket::CMLookupComplete(TCMLookupComplete &Message)
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
        // A network error ends the connection whether or not the handler swallows it.
        Disconnect(Message.Socket);
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
        const int handle = std::exchange(FLookupHandle, 0);
        CheckSocketResult(async::CancelLookup(handle), QStringLiteral("WSACancelASyncRequest"));
    }
    if (Socket == INVALID_SOCKET || Socket != FSocket)
        return;
    Event(this, seDisconnect);
    TSocket handle;
    {
        std::lock_guard<std::mutex> handleLock(FHandleLock);
        handle = FSocket.exchange(INVALID_SOCKET);
    }
    FAddr = TSockAddrIn();
    FConnected = false;
    FSendStream.reset();
    FDropAfterSend = false;
    CheckSocketResult(async::CloseSocket(handle), QStringLiteral("closesocket"));
}

void TCustomWinSocket::InterruptReads()
{
    std::lock_guard<std::mutex> lock(FHandleLock);
    FReadsInterrupted = true;
    if (FSocket != INVALID_SOCKET)
        native::ShutdownReads(FSocket);
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
    std::int32_t code = native::LastError();
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
    return TransferResult(async::Send(FSocket, Buf, Count), eeSend, QStringLiteral("send"));
}

std::int32_t TCustomWinSocket::ReceiveBuf(void *Buf, std::int32_t Count)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (Count == -1 && FConnected) {
        int waiting = 0;
        native::BytesWaiting(FSocket, waiting);
        return waiting;
    }
    if (!FConnected)
        return 0;
    return TransferResult(async::Receive(FSocket, Buf, Count), eeReceive, QStringLiteral("recv"));
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
        const std::int32_t sent = async::Send(FSocket, buffer, static_cast<int>(read));
        if (sent == SOCKET_ERROR) {
            std::int32_t code = native::LastError();
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
    TSockAddrIn addr;
    if (FSocket == INVALID_SOCKET || native::LocalName(FSocket, addr) != 0)
        return QString();
    return native::AddressText(addr.sin_addr);
}

QString TCustomWinSocket::LocalHost()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    return FSocket == INVALID_SOCKET ? QString() : native::HostName();
}

std::int32_t TCustomWinSocket::LocalPort()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    TSockAddrIn addr;
    if (FSocket == INVALID_SOCKET || native::LocalName(FSocket, addr) != 0)
        return -1;
    return qFromBigEndian(addr.sin_port);
}

QString TCustomWinSocket::RemoteHost()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return QString();
    TSockAddrIn addr;
    CheckSocketResult(native::PeerName(FSocket, addr), QStringLiteral("getpeername"));
    return native::HostOfAddress(addr.sin_addr);
}

QString TCustomWinSocket::RemoteAddress()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return QString();
    TSockAddrIn addr;
    CheckSocketResult(native::PeerName(FSocket, addr), QStringLiteral("getpeername"));
    return native::AddressText(addr.sin_addr);
}

std::int32_t TCustomWinSocket::RemotePort()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    if (!FConnected)
        return 0;
    TSockAddrIn addr;
    CheckSocketResult(native::PeerName(FSocket, addr), QStringLiteral("getpeername"));
    return qFromBigEndian(addr.sin_port);
}

TSockAddrIn TCustomWinSocket::RemoteAddr()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    TSockAddrIn addr;
    if (!FConnected || native::PeerName(FSocket, addr) != 0)
        return TSockAddrIn{0, 0, 0};
    return addr;
}

} // namespace wn
