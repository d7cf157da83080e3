// Server sockets: the non-blocking server's events and deferred frees, and the thread-blocking
// server's accept thread, worker threads, thread cache, Synchronize into the GUI thread and
// shutdown with busy workers.

#include "SocketTestSupport.h"

#include <fcntl.h>

using namespace wn;
using namespace sockettest;

namespace {

using Errors = std::vector<std::pair<TErrorEvent, int>>;

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

TEST_F(ServerTest, NonBlockingServerServesAndFreesConnectionsAfterTheirDisconnectHandler)
{
    QStringList log;
    bool freed = false, freedDuringHandler = true;
    int disconnects = 0, accepted = 0;
    Errors errors;
    auto note = [&log](const char *what) {
        return [&log, what](TObject *, TCustomWinSocket *) { log << what; };
    };
    Server.SetGetSocketEvent([&](TObject *, TSocket s, TServerClientWinSocket *&client) {
        client = new ProbeClient(s, Core, &freed);
    });
    Server.OnListen = note("Listen");
    Server.OnAccept = [&](TObject *, TCustomWinSocket *) { log << "Accept", ++accepted; };
    Server.SetOnClientEvent(2, note("ClientConnect"));
    Server.SetOnClientEvent(1, note("ClientWrite"));
    Server.SetOnClientEvent(0, [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(Core));
        log << "ClientRead";
        Socket->SendText(Socket->ReceiveText().toUpper());
    });
    Server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *Socket) {
        ++disconnects;
        freedDuringHandler = freed;
        bool listed = false;
        for (int i = 0; i < Core->ActiveConnections(); ++i)
            listed = listed || Core->Connections(i) == Socket;
        EXPECT_TRUE(listed);
    });
    Server.SetOnClientError([&](TObject *, TCustomWinSocket *, TErrorEvent e, std::int32_t &code) {
        errors.emplace_back(e, std::exchange(code, 0));
    });
    // 192.0.2.1 belongs to no interface here: the non-blocking server does not look at it (it
    // listens on every interface, narrowed to loopback in the tests), while the thread-blocking
    // one tries to bind to it (below).
    Server.SetAddress("192.0.2.1");
    EXPECT_EQ(Core->ASyncStyles().Bits(), 8u); // accept only
    Server.Start(stNonBlocking);
    EXPECT_EQ(Core->LocalAddress(), "127.0.0.1");
    ExpectSocketError([&] { Server.SetServerType(stThreadBlocking); }, sCantChangeWhileActive);
    TWNClientSocket client;
    QString received;
    client.OnWrite = [&](TObject *, TCustomWinSocket *Socket) { Socket->SendText("hello"); };
    client.OnRead = [&](TObject *, TCustomWinSocket *Socket) { received += Socket->ReceiveText(); };
    client.SetAddress("127.0.0.1");
    client.SetPort(Server.ListeningPort());
    client.Open();
    ASSERT_TRUE(WaitUntil([&] { return received == "HELLO"; }));
    // The connection reports itself as it is made, before the server's accept event, and gets
    // one write notification.
    EXPECT_EQ(log, (QStringList{"Listen", "ClientConnect", "Accept", "ClientWrite", "ClientRead"}));

    // Closed by the server: freed only after the handler, when the event loop runs again.
    Core->Connections(0)->Close();
    EXPECT_EQ(disconnects, 1);
    EXPECT_FALSE(freedDuringHandler || freed);
    EXPECT_EQ(Core->ActiveConnections(), 1);
    ASSERT_TRUE(WaitUntil([&] { return freed && !client.Active(); }));
    EXPECT_EQ(Core->ActiveConnections(), 0);

    // Peers that go away, reset once they are served, or reset while they still wait in the
    // listen queue (the event loop is not running): every connection is freed, and a reset is
    // an error of the disconnect, never of a connect.
    enum How { Close, Reset, ResetQueued };
    for (const How how : {Close, Reset, ResetQueued}) {
        accepted = disconnects = 0;
        std::vector<int> peers;
        for (int i = 0; i < 5; ++i) {
            peers.push_back(RawConnect(Server.ListeningPort()));
            if (how != ResetQueued) {
                ASSERT_TRUE(WaitUntil([&] { return Core->ActiveConnections() == i + 1; }));
            }
        }
        for (int fd : peers)
            how == Close ? (void)::close(fd) : ResetAndClose(fd);
        EXPECT_TRUE(WaitUntil([&] { return accepted == 5 && Core->ActiveConnections() == 0; })) << how;
        EXPECT_EQ(disconnects, 5);
    }
    for (const auto &[event, code] : errors)
        EXPECT_EQ(event, eeDisconnect) << code;

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
    ExpectSocketError([&] { Server.Start(stThreadBlocking); }, SocketErrorText(EADDRNOTAVAIL, 10049, "bind"));
    EXPECT_TRUE(Core->ASyncStyles().empty());
    EXPECT_FALSE(Server.Active());
    EXPECT_EQ(Core->SocketHandle(), INVALID_SOCKET);
}

TEST_F(ServerTest, ThreadBlockingServerServesTwoHundredClientsThroughTheGuiThread)
{
    std::atomic<int> accepts{0};
    std::atomic<bool> acceptInGui{false};
    Server.OnAccept = [&](TObject *, TCustomWinSocket *) {
        ++accepts;
        acceptInGui = acceptInGui || TThread::InGuiThread();
    };
    int clientReads = 0, readsOutsideGui = 0;
    Server.SetOnClientEvent(0, [&](TObject *, TCustomWinSocket *) { ++clientReads; });
    Server.OnRead = [&](TObject *Sender, TCustomWinSocket *Socket) {
        EXPECT_EQ(Sender, static_cast<TObject *>(&Server));
        readsOutsideGui += !TThread::InGuiThread();
        Socket->SendText("echo:" + Socket->ReceiveText());
    };
    Server.Start(stThreadBlocking);
    std::vector<int> peers;
    // One at a time: the listen queue holds five, and a burst beyond it costs SYN retries.
    for (int i = 0; i < 200; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    // The accepted handles are blocking.
    TServerClientWinSocket *conn = Core->Connections(0);
    EXPECT_TRUE(conn->ASyncStyles().empty());
    EXPECT_EQ(fcntl(conn->SocketHandle(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(Core->GetClientThread(conn)->ClientSocket(), conn);
    for (int i = 0; i < 200; ++i)
        SendAll(peers[i], std::to_string(i));
    int served = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string want = "echo:" + std::to_string(i);
        served += ReadPumping(peers[i], want.size()) == want;
        ::close(peers[i]);
    }
    EXPECT_EQ(served, 200);
    EXPECT_EQ(readsOutsideGui, 0);
    EXPECT_EQ(clientReads, 0); // worker reads go to OnRead, not OnClientRead
    EXPECT_EQ(accepts.load(), 200);
    EXPECT_FALSE(acceptInGui.load());
    ASSERT_TRUE(WaitUntil([&] { return Core->ActiveThreads() == 0 && Core->Threads().size() == 10; }, 20000));
}

TEST_F(ServerTest, ThreadCacheKeepsTheFirstThreadsAndReusesThemFirst)
{
    EXPECT_EQ(TWNServerSocket().ThreadCacheSize(), 10);
    std::atomic<int> started{0}, ended{0}, created{0};
    Server.SetOnThreadStart([&](TObject *, TServerClientThread *) { ++started; });
    Server.SetOnThreadEnd([&](TObject *, TServerClientThread *) { ++ended; });
    Server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *, TServerClientThread *&) { ++created; });
    Server.Start(stThreadBlocking);
    std::vector<int> peers;
    for (int i = 0; i < 11; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    EXPECT_EQ(created.load(), 11);
    const std::vector<TServerClientThread *> threads = Core->Threads();
    auto cached = [&](int count) {
        for (int i = 0; i < 11; ++i)
            EXPECT_EQ(threads[i]->KeepInCache(), i < count) << i;
    };
    cached(10);
    // Shrinking un-caches the threads beyond the new size; growing again does not re-cache them.
    Server.SetThreadCacheSize(3);
    cached(3);
    Server.SetThreadCacheSize(10);
    cached(3);
    // All busy; asked under the server's list lock, after which a worker may end and free itself.
    EXPECT_EQ(Core->IdleThreads(), 0);

    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(
        WaitUntil([&] { return Core->Threads().size() == 3 && Core->IdleThreads() == 3 && ended == 8; }));
    EXPECT_EQ(Core->Threads(), std::vector<TServerClientThread *>(threads.begin(), threads.begin() + 3));

    // An idle cached thread is reused before the application is asked, the lowest first; a new
    // thread within the cache size is kept.
    peers.clear();
    for (int i = 0; i < 4; ++i)
        peers.push_back(Server.ConnectAndWait(i + 1));
    EXPECT_EQ(created.load(), 12);
    EXPECT_TRUE(WaitUntil([&] { return started == 12; }));
    EXPECT_EQ(Core->Threads()[0]->ClientSocket(), Core->Connections(0));
    EXPECT_TRUE(Core->Threads()[3]->KeepInCache());
    for (int fd : peers)
        ::close(fd);
    ASSERT_TRUE(WaitUntil([&] { return Core->IdleThreads() == 4; }));
    Server.Close();
    EXPECT_TRUE(Core->Threads().empty());
    EXPECT_EQ(ended.load(), 12);
}

TEST_F(ServerTest, StoppingTheServerEndsBusyAndWaitingWorkersQuietly)
{
    // Workers that are busy, or wait for data without limit in WaitForData or in Read. Should
    // the stop wait for them, a watchdog sends them a byte after five seconds.
    enum Kind { Busy, WaitForData, Read };
    for (const Kind kind : {Busy, WaitForData, Read}) {
        ApplicationExceptions app;
        std::atomic<int> inPass{0};
        Server.UseWorkers([&, kind](TServerClientThread &t) {
            TWinSocketStream stream(t.ClientSocket(), -1);
            char buf[16];
            for (bool more = true; more && !t.Terminated();) {
                ++inPass;
                if (kind == Busy)
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
                else if (kind == Read || stream.WaitForData(60000))
                    more = stream.Read(buf, sizeof buf) > 0;
                --inPass;
            }
        });
        int disconnects = 0;
        Server.SetOnClientEvent(3, [&](TObject *, TCustomWinSocket *) { ++disconnects; });
        Server.Start(stThreadBlocking);
        std::vector<int> peers;
        for (int i = 0; i < 3; ++i)
            peers.push_back(Server.ConnectAndWait(i + 1));
        std::atomic<bool> stopped{false}, fed{false};
        std::thread watchdog([&] {
            for (int i = 0; i < 50 && !stopped; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (!stopped && !fed.exchange(true))
                for (int fd : peers)
                    SendAll(fd, "x");
        });
        Server.Close();
        stopped = true;
        watchdog.join();
        EXPECT_FALSE(fed.load()) << kind;
        EXPECT_EQ(inPass.load(), 0);
        EXPECT_TRUE(Core->Threads().empty());
        EXPECT_EQ(Core->ActiveConnections(), 0);
        // Each connection was closed by the server and reported once, not again when its worker
        // freed it.
        EXPECT_EQ(disconnects, 3);
        Pump(20);
        EXPECT_TRUE(app.Shown.empty()) << app.Shown.front().toStdString();
        for (int fd : peers) {
            EXPECT_EQ(ReadAll(fd, 1), "");
            ::close(fd);
        }
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
        auto slowHandler = [&] {
            inHandler = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            threadsSeen = core->ActiveThreads();
            handlerDone = true;
        };
        server.SetOnClientEvent(3, [&](TObject *Sender, TCustomWinSocket *) {
            EXPECT_TRUE(Sender == core && !TThread::InGuiThread());
            listed = core->ActiveConnections();
            if (reports++ == 0 && !inEndHandler)
                slowHandler();
        });
        server.SetOnThreadEnd([&](TObject *, TServerClientThread *) {
            if (inEndHandler)
                slowHandler();
        });
        server.Start(stThreadBlocking);
        ::close(server.ConnectAndWait(1));
        ASSERT_TRUE(WaitUntil([&] { return inHandler.load(); }));
        server.Close();
        EXPECT_TRUE(handlerDone.load()) << inEndHandler;
        EXPECT_EQ(reports.load(), 1);
        EXPECT_EQ(listed.load(), 0);
        EXPECT_TRUE(core->Threads().empty());
        EXPECT_TRUE(inEndHandler || threadsSeen == 1);
    }
}

TEST_F(ServerTest, WorkerExceptionsAreShownInTheGuiThreadAndEndTheThread)
{
    // From the serving loop or from the start or end handler, the exception is shown, and the
    // thread ends and leaves the server's lists; an abort ends it silently.
    enum Where { Loop, Start, End, Aborted };
    std::atomic<int> where{Loop};
    auto raiseAt = [&](Where w, const char *text) {
        if (where == w)
            throw Exception(text);
    };
    Server.SetOnThreadStart([&](TObject *, TServerClientThread *) { raiseAt(Start, "start failed"); });
    Server.SetOnThreadEnd([&](TObject *, TServerClientThread *) { raiseAt(End, "end failed"); });
    Server.UseWorkers([&](TServerClientThread &) {
        if (where == Aborted)
            Abort();
        raiseAt(Loop, "worker failed");
    });
    Server.SetThreadCacheSize(0);
    Server.Start(stThreadBlocking);
    const struct {
        Where W;
        std::vector<QString> Shown;
    } cases[] = {{Loop, {"worker failed"}}, {Start, {"start failed"}}, {End, {"end failed"}}, {Aborted, {}}};
    for (const auto &t : cases) {
        ApplicationExceptions app;
        where = t.W;
        const int peer = RawConnect(Server.ListeningPort());
        EXPECT_TRUE(WaitUntil([&] {
            return app.Shown.size() == t.Shown.size() && Core->Threads().empty() &&
                   Core->ActiveConnections() == 0;
        })) << t.W;
        Pump(20);
        EXPECT_EQ(ReadAll(peer, 1), "");
        ::close(peer);
        EXPECT_EQ(app.Shown, t.Shown);
        EXPECT_TRUE(app.ShownInGui.load());
    }
}
