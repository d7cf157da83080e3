// Server sockets: the non-blocking server's events and deferred frees, and the thread-blocking
// server's accept thread, worker threads, thread cache, Synchronize into the GUI thread and
// shutdown with busy workers.

#include "SocketTestSupport.h"

#include <fcntl.h>

using namespace wn;
using namespace sockettest;

namespace {

// A client connection that tells when it is freed.
struct ProbeClient : TServerClientWinSocket {
    bool *Freed;
    ProbeClient(TSocket s, TServerWinSocket *server, bool *freed)
        : TServerClientWinSocket(s, server), Freed(freed)
    {}
    ~ProbeClient() override { *Freed = true; }
};

// The server is closed before the descriptor and thread counts are checked.
class ServerTest : public SocketTest
{
protected:
    void TearDown() override
    {
        Server.Close();
        SocketTest::TearDown();
    }
    LoopbackServerSocket Server;
    TServerWinSocket *Core = Server.Socket();
};

} // namespace

TEST_F(ServerTest, ServerPublishesItsPropertiesAndGuardsThem)
{
    EXPECT_EQ(PublishedNames(Server),
              (QStringList{"Active", "Port", "Service", "ServerType", "ThreadCacheSize"}));
    EXPECT_EQ(TWNServerSocket().ThreadCacheSize(), 10);
    EXPECT_EQ(Core->ASyncStyles().Bits(), std::uint64_t(FD_ACCEPT));

    Server.Start(stThreadBlocking);
    EXPECT_TRUE(Core->ASyncStyles().empty());
    ExpectSocketError([&] { Server.SetServerType(stNonBlocking); }, sCantChangeWhileActive);
    EXPECT_NO_THROW(Server.SetServerType(stThreadBlocking));
    // The connection settings are guarded as the client's are; letter case alone is no change.
    EXPECT_THROW(Server.SetPort(Server.Port() + 1), ESocketError);
    EXPECT_THROW(Server.SetService("echo"), ESocketError);
    EXPECT_NO_THROW(Server.SetPort(Server.Port()));
    EXPECT_NO_THROW(Server.SetThreadCacheSize(3));
    Server.Close();
    Server.SetService("ECHO");
    EXPECT_NO_THROW(Server.SetService("echo"));
    EXPECT_EQ(Server.Service(), "ECHO");
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
}

TEST_F(ServerTest, OnlyAThreadBlockingServerListensOnItsAddress)
{
    // The non-blocking set-up listens on every interface; the component cannot narrow it.
    struct PaletteCore : TServerWinSocket {
        using TServerWinSocket::TServerWinSocket;
        in_addr_t ListenAddress() const { return AsyncListenAddress(); }
    };
    EXPECT_EQ(PaletteCore(INVALID_SOCKET).ListenAddress(), htonl(INADDR_ANY));

    // 192.0.2.1 belongs to no interface here: the non-blocking server does not look at it,
    // while the thread-blocking one tries to bind to it.
    Server.SetAddress("192.0.2.1");
    Server.Start(stNonBlocking);
    EXPECT_EQ(Core->LocalAddress(), "127.0.0.1");
    Server.Close();
    ExpectSocketError([&] { Server.Start(stThreadBlocking); }, SocketErrorText(WSAEADDRNOTAVAIL, "bind"));
    EXPECT_FALSE(Server.Active());
    EXPECT_EQ(Core->SocketHandle(), INVALID_SOCKET);
}

TEST_F(ServerTest, NonBlockingServerAndClientExchangeData)
{
    std::vector<QString> log;
    auto note = [&log](const QString &what) {
        return [&log, what](TObject *, TCustomWinSocket *) { log.push_back(what); };
    };
    Server.OnListen = note("server Listen");
    Server.OnAccept = note("server Accept");
    Server.SetOnClientEvent(2, note("server ClientConnect"));
    Server.SetOnClientEvent(1, note("server ClientWrite"));
    Server.SetOnClientEvent(0, [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(Core));
        log.push_back("server ClientRead");
        Socket->SendText(Socket->ReceiveText().toUpper());
    });
    Server.Start(stNonBlocking);
    EXPECT_EQ(log, std::vector<QString>{"server Listen"});

    TWNClientSocket client;
    QString received;
    client.OnConnect = note("client Connect");
    client.OnWrite = [&](TObject *, TCustomWinSocket *Socket) {
        log.push_back("client Write");
        Socket->SendText("hello");
    };
    client.OnRead = [&](TObject *, TCustomWinSocket *Socket) { received += Socket->ReceiveText(); };
    client.SetAddress("127.0.0.1");
    client.SetPort(Server.ListeningPort());
    client.Open();
    ASSERT_TRUE(WaitUntil([&] { return received == "HELLO"; }));

    auto pos = [&log](const QString &s) { return std::find(log.begin(), log.end(), s) - log.begin(); };
    // The connection reports itself as it is made, before the server's accept event.
    EXPECT_LT(pos("server ClientConnect"), pos("server Accept"));
    EXPECT_LT(pos("server Accept"), pos("server ClientWrite"));
    EXPECT_LT(pos("client Connect"), pos("client Write"));
    EXPECT_LT(pos("client Write"), pos("server ClientRead"));
    EXPECT_EQ(std::count(log.begin(), log.end(), "server ClientWrite"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), "client Write"), 1);

    client.Close();
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveConnections() == 0; }));
    EXPECT_TRUE(Server.Active());
}

TEST_F(ServerTest, NonBlockingServerFreesAConnectionAfterItsDisconnectHandler)
{
    bool freed = false;
    bool freedDuringHandler = true;
    int disconnects = 0;
    Server.SetGetSocketEvent([&](TObject *, TSocket s, TServerClientWinSocket *&client) {
        client = new ProbeClient(s, Core, &freed);
    });
    Server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *Socket) {
        ++disconnects;
        freedDuringHandler = freed;
        EXPECT_EQ(Core->Connections(0), Socket);
    });
    Server.Start(stNonBlocking);
    const int peer = RawConnect(Server.ListeningPort());
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveConnections() == 1; }));

    Core->Connections(0)->Close();
    EXPECT_EQ(disconnects, 1);
    EXPECT_FALSE(freedDuringHandler);
    // Freed only when the event loop runs again.
    EXPECT_FALSE(freed);
    EXPECT_EQ(Core->ActiveConnections(), 1);
    ASSERT_TRUE(WaitUntil([&] { return freed; }));
    EXPECT_EQ(Core->ActiveConnections(), 0);
    EXPECT_EQ(ReadAll(peer, 1), "");
    ::close(peer);

    // A peer that goes away is seen the same way.
    freed = false;
    ::close(RawConnect(Server.ListeningPort()));
    ASSERT_TRUE(WaitUntil([&] { return freed; }));
    EXPECT_EQ(disconnects, 2);

    // Closing the server closes every open connection.
    std::vector<int> peers;
    for (int i = 0; i < 5; ++i)
        peers.push_back(RawConnect(Server.ListeningPort()));
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveConnections() == 5; }));
    Server.Close();
    EXPECT_EQ(Core->ActiveConnections(), 0);
    for (int fd : peers) {
        EXPECT_EQ(ReadAll(fd, 1), "");
        ::close(fd);
    }
}

TEST_F(ServerTest, ThreadBlockingServerReadsThroughTheGuiThread)
{
    std::atomic<int> accepts{0};
    std::atomic<bool> acceptInGui{true};
    Server.OnAccept = [&](TObject *, TCustomWinSocket *) {
        ++accepts;
        acceptInGui = TThread::InGuiThread();
    };
    int clientReads = 0;
    Server.SetOnClientEvent(0, [&](TObject *, TCustomWinSocket *) { ++clientReads; });
    bool readInGui = false;
    Server.OnRead = [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(&Server));
        readInGui = TThread::InGuiThread();
        Socket->SendText("echo:" + Socket->ReceiveText());
    };
    Server.Start(stThreadBlocking);
    const int peer = RawConnect(Server.ListeningPort());
    SendAll(peer, "abc");
    EXPECT_EQ(ReadPumping(peer, 8), "echo:abc");
    EXPECT_TRUE(readInGui);
    EXPECT_EQ(clientReads, 0); // worker reads go to OnRead, not OnClientRead
    EXPECT_EQ(accepts.load(), 1);
    EXPECT_FALSE(acceptInGui.load());
    // The accepted handle is blocking.
    TServerClientWinSocket *conn = Core->Connections(0);
    EXPECT_TRUE(conn->ASyncStyles().empty());
    EXPECT_EQ(fcntl(conn->SocketHandle(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(Core->GetClientThread(conn)->ClientSocket(), conn);
    ::close(peer);
}

TEST_F(ServerTest, ThreadCacheKeepsTenAndTheEleventhThreadEnds)
{
    std::atomic<int> started{0}, ended{0}, created{0};
    Server.SetOnThreadStart([&](TObject *, TServerClientThread *) { ++started; });
    Server.SetOnThreadEnd([&](TObject *, TServerClientThread *) { ++ended; });
    Server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *, TServerClientThread *&) { ++created; });
    Server.Start(stThreadBlocking);
    std::vector<int> peers;
    for (int i = 0; i < 11; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    EXPECT_EQ(created.load(), 11);
    std::vector<TServerClientThread *> threads = Core->Threads();
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(threads[i]->KeepInCache(), i < 10) << i;
    // Under the server's list lock, after which the eleventh may end and free itself.
    EXPECT_EQ(Core->IdleThreads(), 0);

    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(
        WaitUntil([&] { return Core->IdleThreads() == 10 && Core->Threads().size() == 10 && ended == 1; }));
    EXPECT_EQ(Core->Threads(), std::vector<TServerClientThread *>(threads.begin(), threads.begin() + 10));

    // An idle cached thread is reused before the application is asked, the lowest first.
    const int again = Server.ConnectAndWait(1);
    EXPECT_EQ(created.load(), 11);
    EXPECT_EQ(started.load(), 11);
    EXPECT_EQ(Core->Threads()[0]->ClientSocket(), Core->Connections(0));
    ::close(again);
    ASSERT_TRUE(WaitUntil([&] { return Core->IdleThreads() == 10; }));
    Server.Close();
    EXPECT_TRUE(Core->Threads().empty());
    EXPECT_EQ(ended.load(), 11);
}

TEST_F(ServerTest, ThreadCacheShrinksAndGrows)
{
    Server.Start(stThreadBlocking);
    std::vector<int> peers;
    for (int i = 0; i < 6; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    Server.SetThreadCacheSize(3);
    Server.SetThreadCacheSize(10);
    std::vector<TServerClientThread *> threads = Core->Threads();
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(threads[i]->KeepInCache(), i < 3) << i;
    // All busy; asked under the server's list lock, after which a worker may end and free itself.
    EXPECT_EQ(Core->IdleThreads(), 0);

    // The uncached ones end with their connections; a new thread within the size is cached.
    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(WaitUntil([&] { return Core->Threads().size() == 3 && Core->IdleThreads() == 3; }));
    peers.clear();
    for (int i = 0; i < 4; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    EXPECT_TRUE(Core->Threads()[3]->KeepInCache());
    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(WaitUntil([&] { return Core->IdleThreads() == 4; }));
}

TEST_F(ServerTest, StoppingTheServerWaitsForBusyWorkers)
{
    std::atomic<int> inPass{0};
    Server.UseWorkers([&](TServerClientThread &t) {
        while (!t.Terminated()) {
            ++inPass;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            --inPass;
        }
    });
    int disconnects = 0;
    Server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *) { ++disconnects; });
    Server.Start(stThreadBlocking);
    std::vector<int> peers;
    for (int i = 0; i < 4; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    Server.Close();
    EXPECT_EQ(inPass.load(), 0);
    EXPECT_TRUE(Core->Threads().empty());
    EXPECT_EQ(Core->ActiveConnections(), 0);
    // Each busy connection was closed by the server and reported once, not again when its
    // worker freed it.
    EXPECT_EQ(disconnects, 4);
    for (int fd : peers) {
        EXPECT_EQ(ReadAll(fd, 1), "");
        ::close(fd);
    }
    Server.SetActive(true);
    EXPECT_TRUE(Server.Active());
}

TEST_F(SocketTest, StoppingTheServerWhileAWorkerEndsAConnection)
{
    // A peer goes away: its worker reports the disconnect (holding the connection's lock, the
    // connection already out of the server's list), then an uncached worker runs its end
    // handler. The server is stopped while the one or the other handler runs.
    for (const bool inEndHandler : {false, true}) {
        LoopbackServerSocket server;
        TServerWinSocket *core = server.Socket();
        server.SetThreadCacheSize(inEndHandler ? 0 : 10);
        std::atomic<bool> inHandler{false}, handlerDone{false};
        std::atomic<int> reports{0}, threadsSeen{-1}, listed{-1};
        std::atomic<TCustomWinSocket *> reported{nullptr};
        auto slowHandler = [&] {
            inHandler = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            threadsSeen = core->ActiveThreads();
            handlerDone = true;
        };
        server.SetOnClientEvent(3, [&](TObject *Sender, TCustomWinSocket *Socket) {
            EXPECT_EQ(Sender, static_cast<TObject *>(core));
            EXPECT_FALSE(TThread::InGuiThread());
            reported = Socket;
            listed = core->ActiveConnections();
            if (reports++ == 0 && !inEndHandler)
                slowHandler();
        });
        server.SetOnThreadEnd([&](TObject *Sender, TServerClientThread *) {
            EXPECT_EQ(Sender, static_cast<TObject *>(core));
            if (inEndHandler)
                slowHandler();
        });
        server.Start(stThreadBlocking);
        const int peer = server.ConnectAndWait(1);
        TServerClientWinSocket *connection = core->Connections(0);
        ::close(peer);
        ASSERT_TRUE(WaitUntil([&] { return inHandler.load(); }));
        server.Close();
        EXPECT_TRUE(handlerDone.load()) << inEndHandler;
        EXPECT_EQ(reports.load(), 1);
        EXPECT_EQ(reported.load(), connection);
        EXPECT_EQ(listed.load(), 0);
        EXPECT_TRUE(core->Threads().empty());
        EXPECT_TRUE(inEndHandler || threadsSeen == 1);
    }
}

TEST_F(ServerTest, WorkerExceptionsAreShownInTheGuiThreadAndEndTheThread)
{
    std::vector<QString> shown;
    bool shownInGui = false;
    auto previous = SetApplicationShowException([&](const Exception &e) {
        shown.push_back(e.Message());
        shownInGui = TThread::InGuiThread();
    });
    std::atomic<bool> abort{false};
    Server.UseWorkers([&](TServerClientThread &) {
        if (abort)
            Abort();
        throw Exception("worker failed");
    });
    Server.Start(stThreadBlocking);
    const int peer = RawConnect(Server.ListeningPort());
    ASSERT_TRUE(WaitUntil([&] { return shown.size() == 1 && Core->Threads().empty(); }));
    EXPECT_EQ(shown[0], "worker failed");
    EXPECT_TRUE(shownInGui);
    EXPECT_EQ(ReadAll(peer, 1), "");
    ::close(peer);

    abort = true;
    const int second = RawConnect(Server.ListeningPort());
    EXPECT_EQ(ReadAll(second, 1), "");
    ASSERT_TRUE(WaitUntil([&] { return Core->Threads().empty(); }));
    Pump(20);
    EXPECT_EQ(shown.size(), 1u); // an abort is silent
    ::close(second);
    SetApplicationShowException(previous);
}

TEST_F(ServerTest, TwoHundredConcurrentClientsAreAllServed)
{
    Server.UseWorkers([](TServerClientThread &t) {
        TWinSocketStream stream(t.ClientSocket(), 30000);
        char buf[256];
        for (int n; (n = stream.Read(buf, sizeof buf)) > 0;)
            stream.Write(buf, n);
    });
    Server.Start(stThreadBlocking);
    constexpr int clients = 200;
    std::vector<int> peers;
    // One at a time: the listen queue holds five, and a burst beyond it costs SYN retries.
    for (int i = 0; i < clients; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    for (int i = 0; i < clients; ++i)
        SendAll(peers[i], "client " + std::to_string(i));
    int served = 0;
    for (int i = 0; i < clients; ++i) {
        const std::string want = "client " + std::to_string(i);
        served += ReadAll(peers[i], want.size()) == want;
        ::close(peers[i]);
    }
    EXPECT_EQ(served, clients);
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveThreads() == 0 && Core->Threads().size() == 10; }, 20000));
}

TEST_F(ServerTest, NonBlockingServerKeepsUpWithAFloodingPeer)
{
    std::int64_t received = 0;
    int reads = 0;
    Server.SetOnClientEvent(0, [&](TObject *, TCustomWinSocket *Socket) {
        ++reads;
        char buf[1000]; // less than arrives at once: the rest is announced again
        received += std::max(Socket->ReceiveBuf(buf, sizeof buf), 0);
    });
    Server.Start(stNonBlocking);
    const int peer = RawConnect(Server.ListeningPort());
    std::thread flood([&] { SendAll(peer, std::string(4 << 20, 'f')); });
    EXPECT_TRUE(WaitUntil([&] { return received == 4 << 20; }, 20000)) << received;
    // Joined in any case; the peer's send time-out bounds the flood when nobody reads.
    flood.join();
    EXPECT_GT(reads, 4000);
    ::close(peer);
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveConnections() == 0; }));
}
