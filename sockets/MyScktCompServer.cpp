// The server side of MyScktComp: the listening socket with its connections, the accept and
// worker threads of a thread-blocking server, and the server components.

#include "sockets/MyScktComp.h"

#include "framework/ApplicationExceptions.h"
#include "sockets/SocketEngine_p.h"
#include "sockets/SocketWindow_p.h"

#include <QWidget>

#include <algorithm>
#include <chrono>
#include <thread>

namespace wn {

namespace {

// The poll of a worker's default serving loop: 0 seconds and 500 microseconds.
constexpr std::chrono::microseconds ServePoll{500};

int PollOnce(TSocket s, bool write)
{
    return native::WaitReady(s, write, ServePoll.count());
}

} // namespace

// ---- TServerClientWinSocket -------------------------------------------------------------------

TServerClientWinSocket::TServerClientWinSocket(TSocket Socket, TServerWinSocket *ServerWinSocket)
    : TCustomWinSocket(Socket), FServerWinSocket(ServerWinSocket)
{
    const bool nonBlockingServer = FServerWinSocket && !FServerWinSocket->ASyncStyles().empty();
    if (FServerWinSocket) {
        FServerWinSocket->AddClient(this);
        if (nonBlockingServer) {
            OnSocketEvent = std::bind_front(&TServerWinSocket::ClientEvent, FServerWinSocket);
            OnErrorEvent = std::bind_front(&TServerWinSocket::ClientError, FServerWinSocket);
        }
    }
    if (nonBlockingServer)
        DoSetAsyncStyles();
    if (FConnected)
        Event(this, seConnect);
}

TServerClientWinSocket::~TServerClientWinSocket()
{
    if (FServerWinSocket)
        FServerWinSocket->RemoveClient(this);
}

// ---- TServerWinSocket -------------------------------------------------------------------------

TServerWinSocket::TServerWinSocket(TSocket ASocket) : TCustomWinSocket(ASocket)
{
    SetAsyncStyles(TAsyncStyles{asAccept});
}

TServerWinSocket::~TServerWinSocket()
{
    // Done here rather than in the base destructor, where this class's Disconnect would no
    // longer be the one called.
    OnSocketEvent = nullptr;
    try {
        Disconnect(FSocket);
    } catch (...) {
        // A destructor cannot report; threads and connections are gone either way.
    }
}

void TServerWinSocket::Listen(const QString &Name, const QString &Address, const QString &Service,
                              std::uint16_t Port, std::int32_t QueueSize)
{
    TCustomWinSocket::Listen(Name, Address, Service, Port, QueueSize, FServerType == stThreadBlocking);
    if (FConnected && FServerType == stThreadBlocking)
        FServerAcceptThread = new TServerAcceptThread(false, this);
}

void TServerWinSocket::SetServerType(TServerType Value)
{
    if (Value == FServerType)
        return;
    if (FConnected)
        throw ESocketError(sCantChangeWhileActive);
    FServerType = Value;
    if (Value == stThreadBlocking)
        SetAsyncStyles(TAsyncStyles{});
    else
        SetAsyncStyles(TAsyncStyles{asAccept});
}

void TServerWinSocket::SetThreadCacheSize(std::int32_t Value)
{
    if (Value == FThreadCacheSize)
        return;
    const std::int32_t start = std::min(FThreadCacheSize, Value);
    FThreadCacheSize = Value;
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    for (std::size_t i = 0; i < FActiveThreads.size(); ++i)
        FActiveThreads[i]->SetKeepInCache(static_cast<std::int32_t>(i) < start);
}

void TServerWinSocket::Accept(TSocket Socket)
{
    // The accepted handle is blocking for a thread-blocking server and switched to
    // non-blocking by its own registration for a non-blocking one.
    const TSocket handle = async::Accept(Socket);
    if (handle == INVALID_SOCKET)
        return;
    if (FServerType == stThreadBlocking)
        native::SetBlocking(handle, true);
    TServerClientWinSocket *client = GetClientSocket(handle);
    Event(client, seAccept);
    if (FServerType == stThreadBlocking) {
        client->SetAsyncStyles(TAsyncStyles{});
        GetServerThread(client);
    }
}

void TServerWinSocket::StopClients()
{
    for (;;) {
        TServerClientThread *thread;
        TServerClientWinSocket *client;
        {
            std::lock_guard<std::recursive_mutex> lock(FListLock);
            if (FActiveThreads.empty())
                break;
            thread = FActiveThreads.back();
            // Under the list lock: a thread removes itself under it before deciding whether
            // it frees itself, so it sees this.
            thread->FreeOnTerminate = false;
            thread->Terminate();
            thread->WakeUp();
            client = thread->ClientSocket();
            if (client)
                thread->FServerClosing.store(true);
        }
        if (client) {
            // Closed outside the list lock: the close runs the connection's handlers, which may
            // need that lock while a worker handler holds the connection's lock. The worker
            // keeps the connection until this close is over.
            try {
                // A worker waiting for data (it may hold the connection's lock while it waits)
                // gets none and can end; then the connection is closed.
                client->InterruptReads();
                if (client->Connected())
                    client->Close();
            } catch (...) {
                thread->ServerClosed();
                throw;
            }
            thread->ServerClosed();
        }
        thread->WaitFor();
        RemoveThread(thread);
        delete thread;
    }
    for (;;) {
        TServerClientWinSocket *client;
        {
            std::lock_guard<std::recursive_mutex> lock(FListLock);
            if (FConnections.empty())
                break;
            client = FConnections.back();
            FConnections.pop_back();
        }
        delete client;
    }
}

void TServerWinSocket::Disconnect(TSocket Socket)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    const std::int32_t saved = FThreadCacheSize;
    SetThreadCacheSize(0);
    StopClients();
    if (FServerAcceptThread)
        FServerAcceptThread->Terminate();
    TCustomWinSocket::Disconnect(Socket);
    if (FServerAcceptThread) {
        delete FServerAcceptThread;
        FServerAcceptThread = nullptr;
        // A connection accepted just before the accept thread saw the end has a thread now.
        StopClients();
    }
    FThreadCacheSize = saved;
}

TServerClientThread *TServerWinSocket::DoCreateThread(TServerClientWinSocket *ClientSocket)
{
    return new TServerClientThread(false, ClientSocket);
}

TServerClientWinSocket *TServerWinSocket::GetClientSocket(TSocket Socket)
{
    TServerClientWinSocket *result = nullptr;
    if (OnGetSocket)
        OnGetSocket(this, Socket, result);
    if (!result)
        result = new TServerClientWinSocket(Socket, this);
    return result;
}

TServerClientThread *TServerWinSocket::GetServerThread(TServerClientWinSocket *ClientSocket)
{
    {
        std::lock_guard<std::recursive_mutex> lock(FListLock);
        for (TServerClientThread *thread : FActiveThreads) {
            if (!thread->ClientSocket() && !thread->FLeaving) {
                thread->ReActivate(ClientSocket);
                return thread;
            }
        }
    }
    TServerClientThread *result = nullptr;
    if (OnGetThread)
        OnGetThread(this, ClientSocket, result);
    if (!result)
        result = DoCreateThread(ClientSocket);
    if (result)
        result->Publish(ClientSocket);
    return result;
}

TServerClientThread *TServerWinSocket::GetClientThread(TServerClientWinSocket *ClientSocket)
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    for (TServerClientThread *thread : FActiveThreads) {
        if (thread->ClientSocket() == ClientSocket)
            return thread;
    }
    return nullptr;
}

std::int32_t TServerWinSocket::ActiveConnections() const
{
    // Workers remove their connections from their own threads.
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    return static_cast<std::int32_t>(FConnections.size());
}

TServerClientWinSocket *TServerWinSocket::Connections(std::int32_t Index) const
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    return FConnections.at(static_cast<std::size_t>(Index));
}

std::int32_t TServerWinSocket::ActiveThreads()
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    return static_cast<std::int32_t>(std::count_if(FActiveThreads.begin(), FActiveThreads.end(),
                                                   [](TServerClientThread *t) { return t->ClientSocket(); }));
}

std::int32_t TServerWinSocket::IdleThreads()
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    return static_cast<std::int32_t>(
        std::count_if(FActiveThreads.begin(), FActiveThreads.end(),
                      [](TServerClientThread *t) { return !t->ClientSocket(); }));
}

std::vector<TServerClientThread *> TServerWinSocket::Threads()
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    return FActiveThreads;
}

void TServerWinSocket::AddClient(TServerClientWinSocket *AClient)
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    if (std::find(FConnections.begin(), FConnections.end(), AClient) == FConnections.end())
        FConnections.push_back(AClient);
}

void TServerWinSocket::RemoveClient(TServerClientWinSocket *AClient)
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    FConnections.erase(std::remove(FConnections.begin(), FConnections.end(), AClient), FConnections.end());
}

void TServerWinSocket::AddThread(TServerClientThread *AThread)
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    if (std::find(FActiveThreads.begin(), FActiveThreads.end(), AThread) != FActiveThreads.end())
        return;
    FActiveThreads.push_back(AThread);
    if (static_cast<std::int32_t>(FActiveThreads.size()) <= FThreadCacheSize)
        AThread->SetKeepInCache(true);
}

void TServerWinSocket::RemoveThread(TServerClientThread *AThread)
{
    std::lock_guard<std::recursive_mutex> lock(FListLock);
    FActiveThreads.erase(std::remove(FActiveThreads.begin(), FActiveThreads.end(), AThread),
                         FActiveThreads.end());
}

void TServerWinSocket::ClientEvent(TObject *, TCustomWinSocket *Socket, TSocketEvent SocketEvent)
{
    switch (SocketEvent) {
    case seConnect: ClientConnect(Socket); break;
    case seDisconnect: ClientDisconnect(Socket); break;
    case seRead: ClientRead(Socket); break;
    case seWrite: ClientWrite(Socket); break;
    default: break;
    }
}

void TServerWinSocket::ClientError(TObject *, TCustomWinSocket *Socket, TErrorEvent ErrorEvent,
                                   std::int32_t &ErrorCode)
{
    ClientErrorEvent(Socket, ErrorEvent, ErrorCode);
}

void TServerWinSocket::ClientConnect(TCustomWinSocket *Socket)
{
    if (OnClientConnect)
        OnClientConnect(this, Socket);
}

void TServerWinSocket::ClientDisconnect(TCustomWinSocket *Socket)
{
    if (OnClientDisconnect)
        OnClientDisconnect(this, Socket);
    if (FServerType == stNonBlocking)
        Socket->DeferFree();
}

void TServerWinSocket::ClientRead(TCustomWinSocket *Socket)
{
    if (OnClientRead)
        OnClientRead(this, Socket);
}

void TServerWinSocket::ClientWrite(TCustomWinSocket *Socket)
{
    if (OnClientWrite)
        OnClientWrite(this, Socket);
}

void TServerWinSocket::ClientErrorEvent(TCustomWinSocket *Socket, TErrorEvent ErrorEvent,
                                        std::int32_t &ErrorCode)
{
    if (OnClientError)
        OnClientError(this, Socket, ErrorEvent, ErrorCode);
}

void TServerWinSocket::ThreadStart(TServerClientThread *Thread)
{
    if (OnThreadStart)
        OnThreadStart(this, Thread);
}

void TServerWinSocket::ThreadEnd(TServerClientThread *Thread)
{
    if (OnThreadEnd)
        OnThreadEnd(this, Thread);
}

// ---- TServerAcceptThread ----------------------------------------------------------------------

TServerAcceptThread::TServerAcceptThread(bool CreateSuspended, TServerWinSocket *ASocket)
    : FServerSocket(ASocket), FListener(ASocket->SocketHandle())
{
    if (!CreateSuspended)
        Resume();
}

TServerAcceptThread::~TServerAcceptThread()
{
    TerminateAndWait();
}

void TServerAcceptThread::Execute()
{
    while (!Terminated())
        FServerSocket->Accept(FListener);
}

// ---- TServerClientThread ----------------------------------------------------------------------

TServerClientThread::TServerClientThread(bool CreateSuspended, TServerClientWinSocket *ASocket)
{
    FreeOnTerminate = true;
    SetPriority(tpHigher);
    // Published later (GetServerThread): until a descendant's constructor has run, another
    // thread closing the connection would call the virtual Event of a half-built object.
    FClientSocket.store(ASocket);
    if (ASocket)
        FServerSocket = ASocket->ServerWinSocket();
    if (!CreateSuspended)
        Resume();
}

TServerClientThread::~TServerClientThread()
{
    // A thread that frees itself has finished; one freed by another thread is stopped first.
    if (!Finished()) {
        Terminate();
        FEvent.SetEvent();
        WaitFor();
    }
    delete FClientSocket.exchange(nullptr);
}

void TServerClientThread::ReActivate(TServerClientWinSocket *ASocket)
{
    FClientSocket.store(ASocket);
    if (!ASocket)
        return;
    FServerSocket = ASocket->ServerWinSocket();
    Publish(ASocket);
}

void TServerClientThread::Publish(TServerClientWinSocket *ASocket)
{
    // All of it under the list lock: a server that stops takes the thread from its list and
    // frees it, which must wait until the wake-up below is done.
    std::unique_lock<std::recursive_mutex> lock;
    if (FServerSocket) {
        lock = std::unique_lock<std::recursive_mutex>(FServerSocket->FListLock);
        FServerSocket->AddThread(this);
    }
    ASocket->OnSocketEvent = std::bind_front(&TServerClientThread::HandleEvent, this);
    ASocket->OnErrorEvent = std::bind_front(&TServerClientThread::HandleError, this);
    FEvent.SetEvent();
}

void TServerClientThread::Execute()
{
    try {
        // The start handler waits for the first connection's wake-up: until the server has
        // listed the thread, a raising handler would end and free a thread the server is about
        // to list.
        bool connected = StartConnect();
        if (FServerSocket)
            FServerSocket->ThreadStart(this);
        for (;; connected = StartConnect()) {
            if (connected)
                ClientExecute();
            if (EndConnect())
                break;
        }
    } catch (...) {
        ShowCurrentException();
        SetKeepInCache(false);
        try {
            ReleaseClient();
        } catch (...) {
            ShowCurrentException();
        }
    }
    // Whatever happened above, the end handler runs and the thread leaves the server's lists:
    // a thread that frees itself must not stay listed.
    try {
        if (FServerSocket)
            FServerSocket->ThreadEnd(this);
    } catch (...) {
        ShowCurrentException();
    }
    DoTerminate();
}

void TServerClientThread::ShowCurrentException()
{
    FException = std::current_exception();
    HandleException();
}

void TServerClientThread::DoTerminate()
{
    if (FServerSocket)
        FServerSocket->RemoveThread(this);
}

bool TServerClientThread::StartConnect()
{
    if (FEvent.WaitFor(-1) == wrSignaled)
        FEvent.ResetEvent();
    return !Terminated();
}

bool TServerClientThread::EndConnect()
{
    return ReleaseClient();
}

bool TServerClientThread::ReleaseClient()
{
    TServerClientWinSocket *client = ClientSocket();
    if (client && FServerSocket)
        FServerSocket->RemoveClient(client);
    // Freeing a connection closes it, and the close is reported through this thread: the
    // server's OnClientDisconnect hears of every connection that ends, not only of those the
    // server closes itself. A connection the server has closed already is not reported again.
    if (client && client->Connected())
        client->Close();
    if (!FServerSocket) {
        delete FClientSocket.exchange(nullptr);
        return true;
    }
    bool leave;
    {
        // Becoming idle and deciding to end happen together under the list lock: the server
        // never hands a connection to a thread about to end, and never closes a connection
        // this thread is freeing.
        std::lock_guard<std::recursive_mutex> lock(FServerSocket->FListLock);
        client = FClientSocket.exchange(nullptr);
        leave = Terminated() || !KeepInCache();
        // It stays in the list until it has ended, so that the server waits for it.
        FLeaving = leave;
    }
    FServerClosing.wait(true);
    delete client;
    return leave;
}

void TServerClientThread::ClientExecute()
{
    TServerClientWinSocket *client = ClientSocket();
    while (!Terminated() && client->Connected()) {
        const TSocket handle = client->SocketHandle();
        bool readable = false;
        if (PollOnce(handle, false) >= 1 && !Terminated()) {
            readable = true;
            if (client->ReceiveBuf(nullptr, -1) == 0)
                break;
            Synchronize([this] { DoRead(); });
        }
        // The write check reuses the read check's descriptor set, which holds the handle only
        // when it was readable; an empty set just waits out the time-out.
        if (readable) {
            if (PollOnce(handle, true) >= 1 && !Terminated())
                Synchronize([this] { DoWrite(); });
        } else {
            std::this_thread::sleep_for(ServePoll);
        }
    }
}

void TServerClientThread::DoRead()
{
    if (TServerClientWinSocket *client = ClientSocket())
        client->ServerWinSocket()->Event(client, seRead);
}

void TServerClientThread::DoWrite()
{
    if (TServerClientWinSocket *client = ClientSocket())
        client->ServerWinSocket()->Event(client, seWrite);
}

void TServerClientThread::HandleEvent(TObject *, TCustomWinSocket *, TSocketEvent SocketEvent)
{
    Event(SocketEvent);
}

void TServerClientThread::HandleError(TObject *, TCustomWinSocket *, TErrorEvent ErrorEvent,
                                      std::int32_t &ErrorCode)
{
    Error(ErrorEvent, ErrorCode);
}

void TServerClientThread::Event(TSocketEvent SocketEvent)
{
    FServerSocket->ClientEvent(this, ClientSocket(), SocketEvent);
}

void TServerClientThread::Error(TErrorEvent ErrorEvent, std::int32_t &ErrorCode)
{
    FServerSocket->ClientError(this, ClientSocket(), ErrorEvent, ErrorCode);
}

void TServerClientThread::HandleException()
{
    try {
        if (FException)
            std::rethrow_exception(FException);
    } catch (const EAbort &) {
    } catch (...) {
        Synchronize([this] { DoHandleException(); });
    }
    FException = nullptr;
}

void TServerClientThread::DoHandleException()
{
    if (QWidget *grabber = QWidget::mouseGrabber())
        grabber->releaseMouse();
    try {
        std::rethrow_exception(FException);
    } catch (const Exception &e) {
        if (!ApplicationShowException(e))
            ShowException(e);
    } catch (const std::exception &e) {
        ShowException(e);
    } catch (...) {
        // A thrown object that is no std::exception has no text to show; the thread ends all
        // the same.
    }
}

void TServerClientThread::ServerClosed()
{
    FServerClosing.store(false);
    FServerClosing.notify_all();
}

// ---- components -------------------------------------------------------------------------------

TCustomServerSocket::~TCustomServerSocket() = default;

void TCustomServerSocket::DoActivate(bool Value)
{
    if (Value == FServerSocket->Connected() || Designing())
        return;
    if (FServerSocket->Connected())
        FServerSocket->Disconnect(FServerSocket->SocketHandle());
    else
        FServerSocket->Listen(Host(), Address(), Service(), static_cast<std::uint16_t>(Port()), 5);
}

TSocketNotifyEvent *TCustomServerSocket::ClientEventSlot(int Index) const
{
    switch (Index) {
    case 0: return &FServerSocket->OnClientRead;
    case 1: return &FServerSocket->OnClientWrite;
    case 2: return &FServerSocket->OnClientConnect;
    case 3: return &FServerSocket->OnClientDisconnect;
    default: return nullptr;
    }
}

TSocketNotifyEvent TCustomServerSocket::GetOnClientEvent(int Index) const
{
    TSocketNotifyEvent *slot = ClientEventSlot(Index);
    return slot ? *slot : TSocketNotifyEvent();
}

void TCustomServerSocket::SetOnClientEvent(int Index, TSocketNotifyEvent Value)
{
    if (TSocketNotifyEvent *slot = ClientEventSlot(Index))
        *slot = std::move(Value);
}

TWNServerSocket::TWNServerSocket(QObject *AOwner) : TCustomServerSocket(AOwner)
{
    FServerSocket = std::make_unique<TServerWinSocket>(INVALID_SOCKET);
    InitSocket(FServerSocket.get());
    FServerSocket->SetThreadCacheSize(10);
}

} // namespace wn
