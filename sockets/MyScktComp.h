#pragma once
// MyScktComp: TCP/IPv4 stream sockets as components. TCustomWinSocket owns one socket and does
// what client and server sockets share; TWNClientSocket and TWNServerSocket are the palette
// components; a thread-blocking server serves each connection in a worker thread of its own;
// TWinSocketStream reads and writes a blocking socket with a time-out.
//
// The unit keeps the asynchronous-select model of Windows Sockets 1.1 on POSIX sockets: a
// non-blocking socket receives its network events as messages posted to a hidden QObject in the
// thread that first asked for it (the model is in SocketWindow_p.h, the system calls in
// SocketEngine_unix.cpp). Error numbers are the model's (would-block is 10035).
//
// Failures raise ESocketError, except where an error handler clears the error code first.

#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "framework/Exceptions.h"
#include "framework/Threads.h"
#include "wn_export.h"

#include <QIODevice>
#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace wn {

// A socket handle.
using TSocket = std::int32_t;
constexpr TSocket INVALID_SOCKET = -1;

// An IPv4 address in network byte order.
using TInAddr = std::uint32_t;

// An IPv4 socket address as the socket model keeps it: port and address in network byte order.
struct TSockAddrIn {
    std::uint16_t sin_family = 2; // PF_INET
    std::uint16_t sin_port = 0;
    TInAddr sin_addr = 0;
};

// The error numbers an error handler is handed most often (the model's numbers; the system's
// errors are mapped onto them).
constexpr int WSAEWOULDBLOCK = 10035;
constexpr int WSAEADDRINUSE = 10048;
constexpr int WSAEADDRNOTAVAIL = 10049;
constexpr int WSAENETDOWN = 10050;
constexpr int WSAENETUNREACH = 10051;
constexpr int WSAENETRESET = 10052;
constexpr int WSAECONNABORTED = 10053;
constexpr int WSAECONNRESET = 10054;
constexpr int WSAENOTCONN = 10057;
constexpr int WSAETIMEDOUT = 10060;
constexpr int WSAECONNREFUSED = 10061;
constexpr int WSAEHOSTUNREACH = 10065;
constexpr int WSAHOST_NOT_FOUND = 11001;
constexpr int WSATRY_AGAIN = 11002;
constexpr int WSANO_RECOVERY = 11003;
constexpr int WSANO_DATA = 11004;

// Error code offered to the error handler when a client has neither host name nor address.
constexpr std::int32_t NoAddressErrorCode = 1110;

enum TServerType : std::uint8_t { stNonBlocking, stThreadBlocking };
enum TClientType : std::uint8_t { ctNonBlocking, ctBlocking };
enum TAsyncStyle : std::uint8_t { asRead, asWrite, asOOB, asAccept, asConnect, asClose };
// Bits() is the network-event mask of the model: asRead = 1 (FD_READ) ... asClose = 32 (FD_CLOSE).
using TAsyncStyles = TSet<TAsyncStyle>;
enum TSocketEvent : std::uint8_t {
    seLookup,
    seConnecting,
    seConnect,
    seDisconnect,
    seListen,
    seAccept,
    seWrite,
    seRead
};
enum TLookupState : std::uint8_t { lsIdle, lsLookupAddress, lsLookupService };
enum TErrorEvent : std::uint8_t { eeGeneral, eeSend, eeReceive, eeConnect, eeDisconnect, eeAccept, eeLookup };

// The unit's texts. Arguments: sWindowsSocketError (system text, code, operation),
// sAsyncSocketError (code), sSocketIOError (sSocketRead or sSocketWrite, code, system text).
extern WN_EXPORT const QString sWindowsSocketError;
extern WN_EXPORT const QString sAsyncSocketError;
extern WN_EXPORT const QString sNoAddress;
extern WN_EXPORT const QString sCannotListenOnOpen;
extern WN_EXPORT const QString sCannotCreateSocket;
extern WN_EXPORT const QString sSocketAlreadyOpen;
extern WN_EXPORT const QString sCantChangeWhileActive;
extern WN_EXPORT const QString sSocketMustBeBlocking;
extern WN_EXPORT const QString sSocketIOError;
extern WN_EXPORT const QString sSocketRead;
extern WN_EXPORT const QString sSocketWrite;

class WN_EXPORT ESocketError : public Exception
{
public:
    using Exception::Exception;
};

class TCustomWinSocket;
class TServerWinSocket;
class TServerClientWinSocket;
class TServerClientThread;
class TSocketWindow;
struct TCMSocketMessage;
struct TCMLookupComplete;

using TSocketEventEvent =
    std::function<void(TObject *Sender, TCustomWinSocket *Socket, TSocketEvent SocketEvent)>;
using TSocketErrorEvent = std::function<void(TObject *Sender, TCustomWinSocket *Socket,
                                             TErrorEvent ErrorEvent, std::int32_t &ErrorCode)>;
using TSocketNotifyEvent = std::function<void(TObject *Sender, TCustomWinSocket *Socket)>;
using TGetSocketEvent =
    std::function<void(TObject *Sender, TSocket Socket, TServerClientWinSocket *&ClientSocket)>;
using TGetThreadEvent = std::function<void(TObject *Sender, TServerClientWinSocket *ClientSocket,
                                           TServerClientThread *&SocketThread)>;
using TThreadNotifyEvent = std::function<void(TObject *Sender, TServerClientThread *Thread)>;

// The process-wide socket error procedure; see CheckSocketResult.
using TSocketErrorProc = void (*)(std::int32_t ErrorCode);

// Installs ErrorProc (nullptr removes it) and returns the one installed before.
WN_EXPORT TSocketErrorProc SetErrorProc(TSocketErrorProc ErrorProc);
// The check every socket call of the unit goes through. ResultCode 0 returns 0. Otherwise the
// calling thread's last socket error is read: would-block is returned as it is; else the error
// procedure is called when one is installed, or ESocketError (sWindowsSocketError with Op) is
// raised. Returns the error code.
WN_EXPORT std::int32_t CheckSocketResult(std::int32_t ResultCode, const QString &Op);

// One socket with everything client and server sockets share. Non-blocking sockets must be
// used from the thread that owns their notification object (GetHandle).
class WN_EXPORT TCustomWinSocket : public TObject
{
public:
    explicit TCustomWinSocket(TSocket ASocket);
    ~TCustomWinSocket() override;
    TCustomWinSocket(const TCustomWinSocket &) = delete;
    TCustomWinSocket &operator=(const TCustomWinSocket &) = delete;

    void Open(const QString &Name, const QString &Address, const QString &Service, std::uint16_t Port,
              bool Block = true);
    void Listen(const QString &Name, const QString &Address, const QString &Service, std::uint16_t Port,
                std::int32_t QueueSize, bool Block = true);
    void Close();
    void Lock();
    void Unlock();

    // Notifications for the given handle; notifications for another handle are dropped.
    virtual void Accept(TSocket Socket);
    virtual void Connect(TSocket Socket);
    virtual void Disconnect(TSocket Socket);
    virtual void Read(TSocket Socket);
    virtual void Write(TSocket Socket);

    std::int32_t SendText(const QString &S);
    // -1 when the send or receive would block.
    std::int32_t SendBuf(const void *Buf, std::int32_t Count);
    // Count -1 with Buf nullptr: the number of bytes waiting, nothing is read.
    std::int32_t ReceiveBuf(void *Buf, std::int32_t Count);
    std::int32_t ReceiveLength();
    QString ReceiveText();
    // Takes ownership of AStream when it returns true, or when it returns false because the
    // socket is unusable; false with a stream already pending leaves AStream to the caller.
    bool SendStream(QIODevice *AStream);
    bool SendStreamThenDrop(QIODevice *AStream);

    TAsyncStyles ASyncStyles() const { return FAsyncStyles; }
    void SetAsyncStyles(TAsyncStyles Value);

    QString LocalAddress();
    QString LocalHost();
    std::int32_t LocalPort();
    QString RemoteHost();
    QString RemoteAddress();
    std::int32_t RemotePort();
    TSockAddrIn RemoteAddr();

    // The hidden notification object, made in the calling thread on first request.
    QObject *GetHandle();
    bool HasHandle() const { return FHandle != nullptr; }
    // 0 when the name is unknown.
    TInAddr LookupName(const QString &Name);
    // The port in host byte order, 0 when the service is unknown.
    std::int32_t LookupService(const QString &Service);
    TSockAddrIn InitSocket(const QString &Name, const QString &Address, const QString &Service,
                           std::uint16_t Port, bool Client);
    // Frees the object from its notification object's event loop; nothing without one.
    void DeferFree();

    bool Connected() const { return FConnected; }
    TSocket SocketHandle() const { return FSocket; }
    TLookupState LookupState() const { return FLookupState; }
    const TSockAddrIn &Addr() const { return FAddr; }
    QIODevice *PendingSendStream() const { return FSendStream.get(); }

    // Hooks of the owning component or server.
    TSocketEventEvent OnSocketEvent;
    TSocketErrorEvent OnErrorEvent;
    void *Data = nullptr;

protected:
    virtual void Event(TCustomWinSocket *Socket, TSocketEvent SocketEvent);
    virtual void Error(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode);

    // The address a server's asynchronous set-up listens on: every interface, whatever name
    // or address the server was given. A descendant may narrow it.
    virtual TInAddr AsyncListenAddress() const;

    void DoSetAsyncStyles();
    void DoOpen();
    void DoListen(std::int32_t QueueSize);
    void AsyncInitSocket(const QString &Name, const QString &Address, const QString &Service,
                         std::uint16_t Port, std::int32_t QueueSize, bool Client);
    bool SendStreamPiece();

    // Read without the lock by threads that wait on the handle while another closes it.
    std::atomic<TSocket> FSocket;
    std::atomic<bool> FConnected;
    std::recursive_mutex FLock;

private:
    // The notification object delivers its messages to these.
    friend class TSocketWindow;
    // A stopping server ends the waits of its workers' streams.
    friend class TServerWinSocket;
    friend class TWinSocketStream;
    // Ends every wait for data on the socket: a waiting read returns 0, and reads and
    // WaitForData find nothing more from now on.
    void InterruptReads();
    bool ReadsInterrupted() const { return FReadsInterrupted; }

    void CMSocketMessage(TCMSocketMessage &Message);
    void CMDeferFree();
    void CMLookupComplete(TCMLookupComplete &Message);

    TSocketWindow *Window();
    // Starts the asynchronous look-up of Name (lsLookupAddress) or Service (lsLookupService)
    // and keeps what its completion needs to carry on with.
    void StartAsyncLookup(TLookupState Next, const QString &Name, const QString &Service, std::uint16_t Port,
                          std::int32_t QueueSize, bool Client);
    // The common start of Open (Client) and Listen: a fresh handle, then the look-up.
    void StartOpen(const QString &Name, const QString &Address, const QString &Service, std::uint16_t Port,
                   std::int32_t QueueSize, bool Client, bool Block);
    // The result of a send or receive: would-block passes as -1; any other failure goes to the
    // error handler and closes the socket, and raises unless the handler cleared the code.
    std::int32_t TransferResult(std::int32_t Result, TErrorEvent ErrorEvent, const QString &Op);
    void DropStream();

    // Held while the handle is closed or its reads are shut, so that a shut never meets a
    // handle number that has been closed and given out again.
    std::mutex FHandleLock;
    std::atomic<bool> FReadsInterrupted{false};
    std::unique_ptr<QIODevice> FSendStream;
    bool FDropAfterSend = false;
    TSocketWindow *FHandle = nullptr;
    TSockAddrIn FAddr;
    TAsyncStyles FAsyncStyles;
    TLookupState FLookupState = lsIdle;
    std::int32_t FLookupHandle = 0;
    QByteArray FLookupBuffer;
    QString FService;
    std::uint16_t FPort = 0;
    std::int32_t FQueueSize = 0;
    bool FClient = false;
};

class WN_EXPORT TClientWinSocket : public TCustomWinSocket
{
public:
    using TCustomWinSocket::TCustomWinSocket;
    void Connect(TSocket Socket) override;
    TClientType ClientType() const { return FClientType; }
    void SetClientType(TClientType Value);

private:
    TClientType FClientType = ctNonBlocking;
};

// One accepted connection of a server.
class WN_EXPORT TServerClientWinSocket : public TCustomWinSocket
{
public:
    TServerClientWinSocket(TSocket Socket, TServerWinSocket *ServerWinSocket);
    ~TServerClientWinSocket() override;
    TServerWinSocket *ServerWinSocket() const { return FServerWinSocket; }

private:
    TServerWinSocket *FServerWinSocket;
};

class WN_EXPORT TServerAcceptThread : public TThread
{
public:
    TServerAcceptThread(bool CreateSuspended, TServerWinSocket *ASocket);
    ~TServerAcceptThread() override;
    TServerWinSocket *ServerSocket() const { return FServerSocket; }

protected:
    void Execute() override;

private:
    TServerWinSocket *FServerSocket;
    // The listening handle, taken once: the server invalidates its own copy when it closes.
    TSocket FListener;
};

// A worker of a thread-blocking server. It serves one connection at a time and, when it is
// kept in the server's cache, waits for the next one afterwards. Descendants override
// ClientExecute to serve their own protocol.
class WN_EXPORT TServerClientThread : public TThread
{
public:
    // Frees itself when it ends. A descendant that overrides ClientExecute passes
    // CreateSuspended true and calls Resume() once it is fully constructed.
    TServerClientThread(bool CreateSuspended, TServerClientWinSocket *ASocket);
    ~TServerClientThread() override;

    void ReActivate(TServerClientWinSocket *ASocket);
    TServerClientWinSocket *ClientSocket() const { return FClientSocket.load(); }
    TServerWinSocket *ServerSocket() const { return FServerSocket; }
    bool KeepInCache() const { return FKeepInCache.load(); }
    void SetKeepInCache(bool Value) { FKeepInCache.store(Value); }
    // Signals the wake-up event.
    void WakeUp() { FEvent.SetEvent(); }
    void *Data = nullptr;

protected:
    void Execute() override;
    virtual void ClientExecute();
    virtual void Event(TSocketEvent SocketEvent);
    virtual void Error(TErrorEvent ErrorEvent, std::int32_t &ErrorCode);
    virtual void HandleException();
    void DoRead();
    void DoWrite();
    bool StartConnect();
    bool EndConnect();

private:
    friend class TServerWinSocket;
    // Lists the thread with its server and routes the connection's events to it; the server
    // calls this once a descendant's construction is complete as well.
    void Publish(TServerClientWinSocket *ASocket);
    void DoHandleException();
    // Shows the exception being handled (through HandleException).
    void ShowCurrentException();
    void DoTerminate();
    bool ReleaseClient();
    void ServerClosed();
    void HandleEvent(TObject *Sender, TCustomWinSocket *Socket, TSocketEvent SocketEvent);
    void HandleError(TObject *Sender, TCustomWinSocket *Socket, TErrorEvent ErrorEvent,
                     std::int32_t &ErrorCode);

    std::atomic<TServerClientWinSocket *> FClientSocket{nullptr};
    TServerWinSocket *FServerSocket = nullptr;
    std::exception_ptr FException;
    TSimpleEvent FEvent;
    std::atomic<bool> FKeepInCache{false};
    // Decided to end (under the server's list lock): no longer handed connections.
    bool FLeaving = false;
    // The stopping server is closing this thread's connection; it is not freed meanwhile.
    std::atomic<bool> FServerClosing{false};
};

// The listening socket of a server, with its connections and (thread-blocking) its threads.
class WN_EXPORT TServerWinSocket : public TCustomWinSocket
{
public:
    explicit TServerWinSocket(TSocket ASocket);
    ~TServerWinSocket() override;

    void Accept(TSocket Socket) override;
    void Disconnect(TSocket Socket) override;
    void Listen(const QString &Name, const QString &Address, const QString &Service, std::uint16_t Port,
                std::int32_t QueueSize);
    virtual TServerClientThread *DoCreateThread(TServerClientWinSocket *ClientSocket);
    TServerClientThread *GetClientThread(TServerClientWinSocket *ClientSocket);

    TServerType ServerType() const { return FServerType; }
    void SetServerType(TServerType Value);
    std::int32_t ThreadCacheSize() const { return FThreadCacheSize; }
    void SetThreadCacheSize(std::int32_t Value);

    std::int32_t ActiveConnections() const;
    TServerClientWinSocket *Connections(std::int32_t Index) const;
    std::int32_t ActiveThreads();
    std::int32_t IdleThreads();
    // All worker threads, busy or idle (a snapshot taken under the list lock).
    std::vector<TServerClientThread *> Threads();

    TGetSocketEvent OnGetSocket;
    TGetThreadEvent OnGetThread;
    TThreadNotifyEvent OnThreadStart;
    TThreadNotifyEvent OnThreadEnd;
    TSocketNotifyEvent OnClientConnect;
    TSocketNotifyEvent OnClientDisconnect;
    TSocketNotifyEvent OnClientRead;
    TSocketNotifyEvent OnClientWrite;
    TSocketErrorEvent OnClientError;

protected:
    virtual void ClientConnect(TCustomWinSocket *Socket);
    virtual void ClientDisconnect(TCustomWinSocket *Socket);
    virtual void ClientRead(TCustomWinSocket *Socket);
    virtual void ClientWrite(TCustomWinSocket *Socket);
    virtual void ClientErrorEvent(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode);
    virtual TServerClientWinSocket *GetClientSocket(TSocket Socket);
    virtual TServerClientThread *GetServerThread(TServerClientWinSocket *ClientSocket);
    virtual void ThreadStart(TServerClientThread *Thread);
    virtual void ThreadEnd(TServerClientThread *Thread);

private:
    friend class TServerClientWinSocket;
    friend class TServerClientThread;
    friend class TServerAcceptThread;
    void AddClient(TServerClientWinSocket *AClient);
    void RemoveClient(TServerClientWinSocket *AClient);
    void AddThread(TServerClientThread *AThread);
    void RemoveThread(TServerClientThread *AThread);
    void ClientEvent(TObject *Sender, TCustomWinSocket *Socket, TSocketEvent SocketEvent);
    void ClientError(TObject *Sender, TCustomWinSocket *Socket, TErrorEvent ErrorEvent,
                     std::int32_t &ErrorCode);
    void StopClients();

    TServerType FServerType = stNonBlocking;
    std::int32_t FThreadCacheSize = 0;
    std::vector<TServerClientWinSocket *> FConnections;
    std::vector<TServerClientThread *> FActiveThreads;
    mutable std::recursive_mutex FListLock;
    TServerAcceptThread *FServerAcceptThread = nullptr;
};

// Base of the socket components: the persisted connection settings and the Active state.
class WN_EXPORT TAbstractSocket : public QObject, public TObject, public TComponentState
{
    Q_OBJECT
public:
    explicit TAbstractSocket(QObject *AOwner = nullptr);

    bool Active() const { return FActive; }
    void SetActive(bool Value);
    QString Address() const { return FAddress; }
    void SetAddress(const QString &Value);
    QString Host() const { return FHost; }
    void SetHost(const QString &Value);
    std::int32_t Port() const { return FPort; }
    void SetPort(std::int32_t Value);
    QString Service() const { return FService; }
    void SetService(const QString &Value);
    void Open() { SetActive(true); }
    void Close() { SetActive(false); }

protected:
    virtual void Event(TCustomWinSocket *Socket, TSocketEvent SocketEvent) = 0;
    virtual void Error(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode) = 0;
    virtual void DoActivate(bool Value) = 0;
    void Loaded() override;
    void InitSocket(TCustomWinSocket *Socket);

    bool FActive = false;

private:
    void DoEvent(TObject *Sender, TCustomWinSocket *Socket, TSocketEvent SocketEvent);
    void DoError(TObject *Sender, TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode);
    bool Changing();

    std::int32_t FPort = 0;
    QString FAddress;
    QString FHost;
    QString FService;
};

// Adds the user-facing event slots; each is called with (the component, the core socket).
class WN_EXPORT TCustomSocket : public TAbstractSocket
{
    Q_OBJECT
public:
    using TAbstractSocket::TAbstractSocket;

    TSocketNotifyEvent OnLookup;
    TSocketNotifyEvent OnConnect;
    TSocketNotifyEvent OnConnecting;
    TSocketNotifyEvent OnDisconnect;
    TSocketNotifyEvent OnListen;
    TSocketNotifyEvent OnAccept;
    TSocketNotifyEvent OnRead;
    TSocketNotifyEvent OnWrite;
    TSocketErrorEvent OnError;

protected:
    void Event(TCustomWinSocket *Socket, TSocketEvent SocketEvent) override;
    void Error(TCustomWinSocket *Socket, TErrorEvent ErrorEvent, std::int32_t &ErrorCode) override;
};

// The client component. None of its properties has a declared default.
class WN_EXPORT TWNClientSocket : public TCustomSocket
{
    Q_OBJECT
    Q_PROPERTY(bool Active READ Active WRITE SetActive)
    Q_PROPERTY(QString Address READ Address WRITE SetAddress)
    Q_PROPERTY(wn::TClientType ClientType READ ClientType WRITE SetClientType)
    Q_PROPERTY(QString Host READ Host WRITE SetHost)
    Q_PROPERTY(std::int32_t Port READ Port WRITE SetPort)
    Q_PROPERTY(QString Service READ Service WRITE SetService)
public:
    explicit TWNClientSocket(QObject *AOwner = nullptr);
    ~TWNClientSocket() override;

    TClientWinSocket *Socket() const { return FClientSocket.get(); }
    TClientType ClientType() const { return FClientSocket->ClientType(); }
    void SetClientType(TClientType Value) { FClientSocket->SetClientType(Value); }

protected:
    void DoActivate(bool Value) override;

private:
    std::unique_ptr<TClientWinSocket> FClientSocket;
};

// The server component's behaviour: forwards the server core's settings and events.
class WN_EXPORT TCustomServerSocket : public TCustomSocket
{
    Q_OBJECT
public:
    using TCustomSocket::TCustomSocket;
    ~TCustomServerSocket() override;

    TServerWinSocket *Socket() const { return FServerSocket.get(); }
    TServerType ServerType() const { return FServerSocket->ServerType(); }
    void SetServerType(TServerType Value) { FServerSocket->SetServerType(Value); }
    std::int32_t ThreadCacheSize() const { return FServerSocket->ThreadCacheSize(); }
    void SetThreadCacheSize(std::int32_t Value) { FServerSocket->SetThreadCacheSize(Value); }

    TGetThreadEvent GetGetThreadEvent() const { return FServerSocket->OnGetThread; }
    void SetGetThreadEvent(TGetThreadEvent Value) { FServerSocket->OnGetThread = std::move(Value); }
    TGetSocketEvent GetGetSocketEvent() const { return FServerSocket->OnGetSocket; }
    void SetGetSocketEvent(TGetSocketEvent Value) { FServerSocket->OnGetSocket = std::move(Value); }
    TThreadNotifyEvent GetOnThreadStart() const { return FServerSocket->OnThreadStart; }
    void SetOnThreadStart(TThreadNotifyEvent Value) { FServerSocket->OnThreadStart = std::move(Value); }
    TThreadNotifyEvent GetOnThreadEnd() const { return FServerSocket->OnThreadEnd; }
    void SetOnThreadEnd(TThreadNotifyEvent Value) { FServerSocket->OnThreadEnd = std::move(Value); }
    // Index 0 OnClientRead, 1 OnClientWrite, 2 OnClientConnect, 3 OnClientDisconnect.
    TSocketNotifyEvent GetOnClientEvent(int Index) const;
    void SetOnClientEvent(int Index, TSocketNotifyEvent Value);
    TSocketErrorEvent GetOnClientError() const { return FServerSocket->OnClientError; }
    void SetOnClientError(TSocketErrorEvent Value) { FServerSocket->OnClientError = std::move(Value); }

protected:
    void DoActivate(bool Value) override;

    std::unique_ptr<TServerWinSocket> FServerSocket;

private:
    TSocketNotifyEvent *ClientEventSlot(int Index) const;
};

// The server component. ThreadCacheSize defaults to 10; the other properties have no default.
class WN_EXPORT TWNServerSocket : public TCustomServerSocket
{
    Q_OBJECT
    Q_PROPERTY(bool Active READ Active WRITE SetActive)
    Q_PROPERTY(std::int32_t Port READ Port WRITE SetPort)
    Q_PROPERTY(QString Service READ Service WRITE SetService)
    Q_PROPERTY(wn::TServerType ServerType READ ServerType WRITE SetServerType)
    Q_PROPERTY(std::int32_t ThreadCacheSize READ ThreadCacheSize WRITE SetThreadCacheSize)
public:
    explicit TWNServerSocket(QObject *AOwner = nullptr);
};

// Reads and writes a blocking socket; every transfer waits at most TimeOut milliseconds, a
// negative TimeOut (INFINITE) without limit. Read returns 0 when nothing came in time (or the
// peer closed; WaitForData tells them apart), Write the bytes the socket took in time. The
// socket's lock is held across each transfer. When a thread-blocking server stops, the streams
// of its connections read nothing more and WaitForData says no, so that workers end quietly.
class WN_EXPORT TWinSocketStream : public QIODevice
{
    Q_OBJECT
public:
    // Raises ESocketError (sSocketMustBeBlocking) for a socket with asynchronous styles.
    TWinSocketStream(TCustomWinSocket *ASocket, std::int32_t TimeOut);
    ~TWinSocketStream() override;

    // Whether data can be read within Timeout milliseconds; false at once for a negative one.
    bool WaitForData(std::int32_t Timeout);
    std::int32_t Read(void *Buffer, std::int32_t Count);
    std::int32_t Write(const void *Buffer, std::int32_t Count);
    // The stream has no position.
    std::int64_t Seek(std::int64_t Offset, int Origin);

    TCustomWinSocket *Socket() const { return FSocket; }
    std::int32_t TimeOut() const { return FTimeout; }
    void SetTimeOut(std::int32_t Value) { FTimeout = Value; }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 maxSize) override;

private:
    static TCustomWinSocket *CheckBlocking(TCustomWinSocket *ASocket);

    TCustomWinSocket *FSocket;
    std::int32_t FTimeout;
};

} // namespace wn
