// Server sockets: the non-blocking server's events and deferred frees, and the thread-blocking
// server's accept thread, worker threads, thread cache, Synchronize into the GUI thread and
// shutdown with busy workers.

#include "SocketTestSupport.h"

#include "framework/ApplicationExceptions.h"

#include <QMetaProperty>

#include <fcntl.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace wn;
using namespace sockettest;

namespace {

std::uint16_t ListeningPort(TWNServerSocket &s)
{
    return static_cast<std::uint16_t>(s.Socket()->LocalPort());
}

void StartThreadBlocking(TWNServerSocket &s)
{
    s.SetServerType(stThreadBlocking);
    s.SetAddress("127.0.0.1");
    s.SetPort(0);
    s.Open();
}

// A client connection that tells when it is freed.
struct ProbeClient : TServerClientWinSocket {
    bool *Freed;
    ProbeClient(TSocket s, TServerWinSocket *server, bool *freed)
        : TServerClientWinSocket(s, server), Freed(freed)
    {}
    ~ProbeClient() override { *Freed = true; }
};

// Echoes one line through a socket stream, then waits for the peer to close.
class EchoThread : public TServerClientThread
{
public:
    explicit EchoThread(TServerClientWinSocket *s) : TServerClientThread(true, s) {}

protected:
    void ClientExecute() override
    {
        TWinSocketStream stream(ClientSocket(), 10000);
        std::string line;
        char buf[256];
        while (!Terminated() && line.find('\n') == std::string::npos) {
            const int n = stream.Read(buf, sizeof buf);
            if (n <= 0)
                return;
            line.append(buf, static_cast<std::size_t>(n));
        }
        stream.Write(line.data(), static_cast<std::int32_t>(line.size()));
        while (!Terminated() && stream.WaitForData(50) == false) {
        }
    }
};

// Runs until told to stop or terminated, counting its passes.
class BusyThread : public TServerClientThread
{
public:
    BusyThread(TServerClientWinSocket *s, std::atomic<int> *inPass)
        : TServerClientThread(true, s), InPass(inPass)
    {}
    std::atomic<int> *InPass;

protected:
    void ClientExecute() override
    {
        while (!Terminated()) {
            ++*InPass;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            --*InPass;
        }
    }
};

class ThrowingThread : public TServerClientThread
{
public:
    ThrowingThread(TServerClientWinSocket *s, bool abort) : TServerClientThread(true, s), FAbort(abort) {}

protected:
    void ClientExecute() override
    {
        if (FAbort)
            Abort();
        throw Exception("worker failed");
    }

private:
    bool FAbort;
};

} // namespace

TEST_F(SocketTest, ServerPublishesItsPropertiesAndGuardsTheType)
{
    TWNServerSocket s;
    const QMetaObject *mo = s.metaObject();
    QStringList names;
    for (int i = mo->propertyOffset(); i < mo->propertyCount(); ++i)
        names << QString::fromLatin1(mo->property(i).name());
    EXPECT_EQ(names, (QStringList{"Active", "Port", "Service", "ServerType", "ThreadCacheSize"}));
    EXPECT_EQ(s.ThreadCacheSize(), 10);
    EXPECT_EQ(s.ServerType(), stNonBlocking);
    EXPECT_EQ(s.Socket()->ASyncStyles().Bits(), std::uint64_t(FD_ACCEPT));

    StartThreadBlocking(s);
    EXPECT_TRUE(s.Active());
    EXPECT_TRUE(s.Socket()->ASyncStyles().empty());
    try {
        s.SetServerType(stNonBlocking);
        ADD_FAILURE() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_EQ(e.Message(), sCantChangeWhileActive);
    }
    EXPECT_NO_THROW(s.SetServerType(stThreadBlocking));
    // The connection settings are guarded as the client's are; letter case alone is no change.
    EXPECT_THROW(s.SetPort(s.Port() + 1), ESocketError);
    EXPECT_THROW(s.SetService("echo"), ESocketError);
    EXPECT_NO_THROW(s.SetPort(s.Port()));
    EXPECT_NO_THROW(s.SetService(""));
    EXPECT_EQ(s.Port(), 0);
    // The thread cache may change while listening.
    EXPECT_NO_THROW(s.SetThreadCacheSize(3));
    s.Close();
    EXPECT_FALSE(s.Active());
    s.SetService("ECHO");
    EXPECT_NO_THROW(s.SetService("echo"));
    EXPECT_EQ(s.Service(), "ECHO");
}

TEST_F(SocketTest, ServerSavedActiveListensWhenLoadedAndNotWhenDesigned)
{
    TWNServerSocket designed;
    designed.SetDesigning(true);
    designed.SetActive(true);
    EXPECT_TRUE(designed.Active());
    EXPECT_EQ(designed.Socket()->SocketHandle(), INVALID_SOCKET);

    TWNServerSocket s;
    s.BeginLoading();
    s.setProperty("Active", true);
    s.setProperty("ServerType", QVariant::fromValue(stThreadBlocking));
    s.setProperty("ThreadCacheSize", 4);
    s.SetAddress("127.0.0.1");
    EXPECT_EQ(s.Socket()->SocketHandle(), INVALID_SOCKET);
    s.EndLoading();
    EXPECT_TRUE(s.Socket()->Connected());
    EXPECT_EQ(s.ThreadCacheSize(), 4);
    EXPECT_GT(ListeningPort(s), 0);
}

TEST_F(SocketTest, OnlyAThreadBlockingServerListensOnItsAddress)
{
    // The non-blocking set-up listens on every interface; the component cannot narrow it.
    struct Core : TServerWinSocket {
        using TServerWinSocket::TServerWinSocket;
        in_addr_t ListenAddress() const { return AsyncListenAddress(); }
    };
    EXPECT_EQ(Core(INVALID_SOCKET).ListenAddress(), htonl(INADDR_ANY));

    // 192.0.2.1 belongs to no interface here: the non-blocking server does not look at it...
    LoopbackServerSocket nonBlocking;
    nonBlocking.SetAddress("192.0.2.1");
    nonBlocking.SetPort(0);
    nonBlocking.Open();
    EXPECT_TRUE(nonBlocking.Active());
    EXPECT_EQ(nonBlocking.Socket()->LocalAddress(), "127.0.0.1");
    nonBlocking.Close();

    // ...while the thread-blocking one tries to bind to it.
    LoopbackServerSocket threadBlocking;
    threadBlocking.SetServerType(stThreadBlocking);
    threadBlocking.SetAddress("192.0.2.1");
    threadBlocking.SetPort(0);
    try {
        threadBlocking.Open();
        ADD_FAILURE() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_EQ(e.Message(), sWindowsSocketError.arg(winsock::SysErrorMessage(WSAEADDRNOTAVAIL),
                                                       QString::number(WSAEADDRNOTAVAIL), "bind"));
    }
    EXPECT_FALSE(threadBlocking.Active());
    EXPECT_EQ(threadBlocking.Socket()->SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, NonBlockingServerAndClientExchangeData)
{
    LoopbackServerSocket server;
    std::vector<QString> log;
    auto note = [&log](const QString &what) {
        return [&log, what](TObject *, TCustomWinSocket *) { log.push_back(what); };
    };
    server.OnListen = note("server Listen");
    server.OnAccept = note("server Accept");
    server.SetOnClientEvent(2, note("server ClientConnect"));
    server.SetOnClientEvent(1, note("server ClientWrite"));
    server.SetOnClientEvent(0, [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(server.Socket()));
        log.push_back("server ClientRead");
        Socket->SendText(Socket->ReceiveText().toUpper());
    });
    server.SetPort(0);
    server.Open();
    EXPECT_EQ(log, std::vector<QString>{"server Listen"});
    ASSERT_TRUE(server.Active());

    TWNClientSocket client;
    QString received;
    client.OnConnect = note("client Connect");
    client.OnWrite = [&](TObject *, TCustomWinSocket *Socket) {
        log.push_back("client Write");
        Socket->SendText("hello");
    };
    client.OnRead = [&](TObject *, TCustomWinSocket *Socket) { received += Socket->ReceiveText(); };
    client.SetAddress("127.0.0.1");
    client.SetPort(ListeningPort(server));
    client.Open();
    ASSERT_TRUE(WaitUntil([&] { return received == "HELLO"; }));
    EXPECT_EQ(server.Socket()->ActiveConnections(), 1);

    auto pos = [&log](const QString &s) { return std::find(log.begin(), log.end(), s) - log.begin(); };
    // The connection reports itself as it is made, before the server's accept event.
    EXPECT_LT(pos("server ClientConnect"), pos("server Accept"));
    EXPECT_LT(pos("server Accept"), pos("server ClientWrite"));
    EXPECT_LT(pos("client Connect"), pos("client Write"));
    EXPECT_LT(pos("client Write"), pos("server ClientRead"));
    EXPECT_EQ(std::count(log.begin(), log.end(), "server ClientWrite"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "client Write"), 1);

    client.Close();
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveConnections() == 0; }));
    EXPECT_TRUE(server.Active());
    server.Close();
    EXPECT_FALSE(server.Active());
}

TEST_F(SocketTest, NonBlockingServerFreesAConnectionAfterItsDisconnectHandler)
{
    LoopbackServerSocket server;
    bool freed = false;
    bool freedDuringHandler = true;
    int disconnects = 0;
    server.SetGetSocketEvent([&](TObject *, TSocket s, TServerClientWinSocket *&client) {
        client = new ProbeClient(s, server.Socket(), &freed);
    });
    server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *Socket) {
        ++disconnects;
        freedDuringHandler = freed;
        EXPECT_EQ(server.Socket()->Connections(0), Socket);
    });
    server.SetPort(0);
    server.Open();
    const int peer = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveConnections() == 1; }));

    server.Socket()->Connections(0)->Close();
    EXPECT_EQ(disconnects, 1);
    EXPECT_FALSE(freedDuringHandler);
    // Freed only when the event loop runs again.
    EXPECT_FALSE(freed);
    EXPECT_EQ(server.Socket()->ActiveConnections(), 1);
    ASSERT_TRUE(WaitUntil([&] { return freed; }));
    EXPECT_EQ(server.Socket()->ActiveConnections(), 0);
    EXPECT_EQ(ReadAll(peer, 1), "");
    ::close(peer);

    // A peer that goes away is seen the same way.
    const int second = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveConnections() == 1; }));
    freed = false;
    ::close(second);
    ASSERT_TRUE(WaitUntil([&] { return freed; }));
    EXPECT_EQ(disconnects, 2);
}

TEST_F(SocketTest, NonBlockingServerWithOpenConnectionsClosesThemAll)
{
    LoopbackServerSocket server;
    server.SetPort(0);
    server.Open();
    std::vector<int> peers;
    for (int i = 0; i < 5; ++i)
        peers.push_back(RawConnect(ListeningPort(server)));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveConnections() == 5; }));
    server.Close();
    EXPECT_EQ(server.Socket()->ActiveConnections(), 0);
    for (int fd : peers) {
        EXPECT_EQ(ReadAll(fd, 1), "");
        ::close(fd);
    }
}

TEST_F(SocketTest, ThreadBlockingServerReadsThroughTheGuiThread)
{
    LoopbackServerSocket server;
    std::atomic<int> accepts{0};
    std::atomic<bool> acceptInGui{true};
    server.OnAccept = [&](TObject *, TCustomWinSocket *) {
        ++accepts;
        acceptInGui = TThread::InGuiThread();
    };
    int clientReads = 0;
    server.SetOnClientEvent(0, [&](TObject *, TCustomWinSocket *) { ++clientReads; });
    bool readInGui = false;
    server.OnRead = [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(&server));
        readInGui = TThread::InGuiThread();
        Socket->SendText("echo:" + Socket->ReceiveText());
    };
    StartThreadBlocking(server);
    const int peer = RawConnect(ListeningPort(server));
    SendAll(peer, "abc");
    std::string reply;
    ASSERT_TRUE(WaitUntil([&] {
        char buf[64];
        const ssize_t n = ::recv(peer, buf, sizeof buf, MSG_DONTWAIT);
        if (n > 0)
            reply.append(buf, static_cast<std::size_t>(n));
        return reply == "echo:abc";
    }));
    EXPECT_TRUE(readInGui);
    EXPECT_EQ(clientReads, 0); // worker reads go to OnRead, not OnClientRead
    EXPECT_EQ(accepts.load(), 1);
    EXPECT_FALSE(acceptInGui.load());
    // The accepted handle is blocking.
    TServerClientWinSocket *conn = server.Socket()->Connections(0);
    EXPECT_TRUE(conn->ASyncStyles().empty());
    EXPECT_EQ(fcntl(conn->SocketHandle(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(server.Socket()->GetClientThread(conn)->ClientSocket(), conn);
    ::close(peer);
    server.Close();
}

TEST_F(SocketTest, ThreadCacheKeepsTenAndTheEleventhThreadEnds)
{
    LoopbackServerSocket server;
    std::atomic<int> started{0}, ended{0}, created{0};
    server.SetOnThreadStart([&](TObject *, TServerClientThread *) { ++started; });
    server.SetOnThreadEnd([&](TObject *, TServerClientThread *) { ++ended; });
    server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *, TServerClientThread *&) { ++created; });
    StartThreadBlocking(server);
    TServerWinSocket *core = server.Socket();

    std::vector<int> peers;
    for (int i = 0; i < 11; ++i) {
        peers.push_back(RawConnect(ListeningPort(server)));
        ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == i + 1; }));
    }
    EXPECT_EQ(created.load(), 11);
    std::vector<TServerClientThread *> threads = core->Threads();
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(threads[i]->KeepInCache(), i < 10) << i;

    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(
        WaitUntil([&] { return core->IdleThreads() == 10 && core->Threads().size() == 10 && ended == 1; }));
    EXPECT_EQ(core->ActiveThreads(), 0);
    EXPECT_EQ(core->ActiveConnections(), 0);
    EXPECT_EQ(core->Threads(), std::vector<TServerClientThread *>(threads.begin(), threads.begin() + 10));

    // An idle cached thread is reused before the application is asked, the lowest first.
    const int again = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == 1; }));
    EXPECT_EQ(created.load(), 11);
    EXPECT_EQ(started.load(), 11);
    EXPECT_EQ(core->Threads()[0]->ClientSocket(), core->Connections(0));
    ::close(again);
    ASSERT_TRUE(WaitUntil([&] { return core->IdleThreads() == 10; }));

    server.Close();
    EXPECT_TRUE(core->Threads().empty());
    EXPECT_EQ(ended.load(), 11);
    EXPECT_EQ(server.ThreadCacheSize(), 10);
}

TEST_F(SocketTest, ThreadCacheShrinksAndGrows)
{
    LoopbackServerSocket server;
    StartThreadBlocking(server);
    TServerWinSocket *core = server.Socket();
    std::vector<int> peers;
    for (int i = 0; i < 6; ++i)
        peers.push_back(RawConnect(ListeningPort(server)));
    ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == 6; }));

    server.SetThreadCacheSize(3);
    std::vector<TServerClientThread *> threads = core->Threads();
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(threads[i]->KeepInCache(), i < 3) << i;
    server.SetThreadCacheSize(10);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(threads[i]->KeepInCache(), i < 3) << i;

    // The uncached ones end with their connections; a new thread within the size is cached.
    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(WaitUntil([&] { return core->Threads().size() == 3 && core->IdleThreads() == 3; }));
    const int a = RawConnect(ListeningPort(server));
    const int b = RawConnect(ListeningPort(server));
    const int c = RawConnect(ListeningPort(server));
    const int d = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == 4; }));
    EXPECT_TRUE(core->Threads()[3]->KeepInCache());
    for (int fd : {a, b, c, d})
        ::close(fd);
    ASSERT_TRUE(WaitUntil([&] { return core->IdleThreads() == 4; }));
    server.Close();
}

TEST_F(SocketTest, StoppingTheServerWaitsForBusyWorkers)
{
    LoopbackServerSocket server;
    std::atomic<int> inPass{0};
    server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
        auto *t = new BusyThread(client, &inPass);
        t->Resume();
        thread = t;
    });
    int disconnects = 0;
    server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *) { ++disconnects; });
    StartThreadBlocking(server);
    std::vector<int> peers;
    for (int i = 0; i < 4; ++i)
        peers.push_back(RawConnect(ListeningPort(server)));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveThreads() == 4; }));
    server.Close();
    EXPECT_EQ(inPass.load(), 0);
    EXPECT_TRUE(server.Socket()->Threads().empty());
    EXPECT_EQ(server.Socket()->ActiveConnections(), 0);
    // Each busy connection was closed by the server, which its handler heard of.
    EXPECT_EQ(disconnects, 4);
    for (int fd : peers) {
        EXPECT_EQ(ReadAll(fd, 1), "");
        ::close(fd);
    }
    // And the server opens again.
    server.SetActive(true);
    EXPECT_TRUE(server.Active());
}

TEST_F(SocketTest, ThreadBlockingServerReportsEachEndedConnectionOnce)
{
    LoopbackServerSocket server;
    struct Report {
        TCustomWinSocket *Socket;
        bool InGui;
        int ConnectionsListed;
    };
    std::mutex lock;
    std::vector<Report> reports;
    server.SetOnClientEvent(3, [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(server.Socket()));
        std::lock_guard<std::mutex> guard(lock);
        reports.push_back({Socket, TThread::InGuiThread(), server.Socket()->ActiveConnections()});
    });
    auto reportCount = [&] {
        std::lock_guard<std::mutex> guard(lock);
        return reports.size();
    };
    StartThreadBlocking(server);
    TServerWinSocket *core = server.Socket();

    // The peer goes away: the worker frees the connection, which reports it from the worker.
    const int peer = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == 1; }));
    TServerClientWinSocket *connection = core->Connections(0);
    ::close(peer);
    ASSERT_TRUE(WaitUntil([&] { return core->IdleThreads() == 1; }));
    ASSERT_EQ(reportCount(), 1u);
    EXPECT_EQ(reports[0].Socket, connection);
    EXPECT_FALSE(reports[0].InGui);
    // Taken out of the server's list before it closes, as freeing a connection does.
    EXPECT_EQ(reports[0].ConnectionsListed, 0);

    // The server closes a busy connection: reported once, not again when the worker frees it.
    const int second = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return core->ActiveThreads() == 1; }));
    server.Close();
    EXPECT_EQ(reportCount(), 2u);
    Pump(20);
    EXPECT_EQ(reportCount(), 2u);
    ::close(second);
}

TEST_F(SocketTest, StoppingTheServerWhileAWorkerReportsItsDisconnect)
{
    LoopbackServerSocket server;
    std::atomic<bool> inHandler{false};
    std::atomic<int> reports{0};
    std::atomic<int> threadsSeen{-1};
    server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *) {
        ++reports;
        if (TThread::InGuiThread())
            return;
        inHandler = true;
        // Holding the connection's lock, the worker's handler asks for the server's lists
        // while the server is being stopped.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        threadsSeen = server.Socket()->ActiveThreads();
    });
    StartThreadBlocking(server);
    const int peer = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveThreads() == 1; }));
    ::close(peer);
    ASSERT_TRUE(WaitUntil([&] { return inHandler.load(); }));
    server.Close();
    EXPECT_EQ(reports.load(), 1);
    EXPECT_EQ(threadsSeen.load(), 1);
    EXPECT_TRUE(server.Socket()->Threads().empty());
}

TEST_F(SocketTest, WorkerExceptionsAreShownInTheGuiThreadAndEndTheThread)
{
    std::vector<QString> shown;
    bool shownInGui = false;
    auto previous = SetApplicationShowException([&](const Exception &e) {
        shown.push_back(e.Message());
        shownInGui = TThread::InGuiThread();
    });
    LoopbackServerSocket server;
    bool abort = false;
    server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
        auto *t = new ThrowingThread(client, abort);
        t->Resume();
        thread = t;
    });
    StartThreadBlocking(server);
    const int peer = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return shown.size() == 1 && server.Socket()->Threads().empty(); }));
    EXPECT_EQ(shown[0], "worker failed");
    EXPECT_TRUE(shownInGui);
    EXPECT_EQ(ReadAll(peer, 1), "");
    ::close(peer);

    abort = true;
    const int second = RawConnect(ListeningPort(server));
    EXPECT_EQ(ReadAll(second, 1), "");
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->Threads().empty(); }));
    Pump(20);
    EXPECT_EQ(shown.size(), 1u); // an abort is silent
    ::close(second);
    server.Close();
    SetApplicationShowException(previous);
}

TEST_F(SocketTest, TwoHundredConcurrentClientsAreAllServed)
{
    LoopbackServerSocket server;
    server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
        auto *t = new EchoThread(client);
        t->Resume();
        thread = t;
    });
    StartThreadBlocking(server);
    constexpr int clients = 200;
    std::vector<int> peers;
    for (int i = 0; i < clients; ++i) {
        const int fd = RawConnect(ListeningPort(server));
        ASSERT_GE(fd, 0) << i;
        peers.push_back(fd);
        // The listen queue holds five: a burst beyond it costs the clients SYN retries.
        ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveThreads() == i + 1; })) << i;
    }
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveThreads() == clients; }, 20000));
    for (int i = 0; i < clients; ++i)
        SendAll(peers[i], "client " + std::to_string(i) + "\n");
    int served = 0;
    for (int i = 0; i < clients; ++i) {
        const std::string want = "client " + std::to_string(i) + "\n";
        served += ReadAll(peers[i], want.size()) == want;
    }
    EXPECT_EQ(served, clients);
    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(WaitUntil(
        [&] { return server.Socket()->ActiveThreads() == 0 && server.Socket()->Threads().size() == 10; },
        20000));
    EXPECT_EQ(server.Socket()->IdleThreads(), 10);
    server.Close();
}

TEST_F(SocketTest, NonBlockingServerKeepsUpWithAFloodingPeer)
{
    LoopbackServerSocket server;
    std::int64_t received = 0;
    int reads = 0;
    server.SetOnClientEvent(0, [&](TObject *, TCustomWinSocket *Socket) {
        ++reads;
        char buf[1000]; // less than arrives at once: the rest is announced again
        const int n = Socket->ReceiveBuf(buf, sizeof buf);
        if (n > 0)
            received += n;
    });
    server.SetPort(0);
    server.Open();
    const int peer = RawConnect(ListeningPort(server));
    const std::string block(1 << 20, 'f');
    std::thread flood([&] {
        for (int i = 0; i < 4; ++i)
            SendAll(peer, block);
    });
    EXPECT_TRUE(WaitUntil([&] { return received == 4 << 20; }, 20000)) << received;
    // Joined in any case; the peer's send time-out bounds the flood when nobody reads.
    flood.join();
    EXPECT_GT(reads, 4000);
    ::close(peer);
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveConnections() == 0; }));
}

TEST_F(SocketTest, StoppingTheServerWaitsForAnEndingWorker)
{
    LoopbackServerSocket server;
    server.SetThreadCacheSize(0);
    std::atomic<bool> inEnd{false}, endDone{false};
    server.SetOnThreadEnd([&](TObject *Sender, TServerClientThread *) {
        EXPECT_EQ(Sender, static_cast<TObject *>(server.Socket()));
        inEnd = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        endDone = true;
    });
    StartThreadBlocking(server);
    const int peer = RawConnect(ListeningPort(server));
    ASSERT_TRUE(WaitUntil([&] { return server.Socket()->ActiveThreads() == 1; }));
    ::close(peer);
    ASSERT_TRUE(WaitUntil([&] { return inEnd.load(); }));
    // The uncached worker is on its way out, but still the server's to wait for.
    server.Close();
    EXPECT_TRUE(endDone.load());
    EXPECT_TRUE(server.Socket()->Threads().empty());
}
