// The socket components (Active state, property guards, loading and design state) and the
// blocking socket stream with its time-outs.

#include "SocketTestSupport.h"

#include <QMetaProperty>

using namespace wn;
using namespace sockettest;

namespace {

struct ComponentEvents {
    std::vector<QString> Names;
    std::vector<bool> ActiveAt;

    void Hook(TWNClientSocket &c)
    {
        auto add = [this, &c](const char *name) {
            return [this, &c, name](TObject *Sender, TCustomWinSocket *Socket) {
                EXPECT_EQ(Sender, static_cast<TObject *>(&c));
                EXPECT_EQ(Socket, c.Socket());
                Names.push_back(QString::fromLatin1(name));
                ActiveAt.push_back(c.Active());
            };
        };
        c.OnLookup = add("Lookup");
        c.OnConnecting = add("Connecting");
        c.OnConnect = add("Connect");
        c.OnDisconnect = add("Disconnect");
        c.OnRead = add("Read");
        c.OnWrite = add("Write");
    }
};

void Aim(TWNClientSocket &c, const RawListener &peer, TClientType type)
{
    c.SetClientType(type);
    c.SetAddress("127.0.0.1");
    c.SetPort(peer.Port);
}

} // namespace

TEST_F(SocketTest, NonBlockingClientComponentBecomesActiveOnConnect)
{
    RawListener peer;
    QObject owner;
    auto *c = new TWNClientSocket(&owner);
    ComponentEvents ev;
    ev.Hook(*c);
    Aim(*c, peer, ctNonBlocking);
    c->SetActive(true);
    EXPECT_FALSE(c->Active()); // set by the connect notification, not by the assignment
    EXPECT_EQ(ev.Names, (std::vector<QString>{"Lookup", "Connecting"}));
    ASSERT_TRUE(WaitUntil([&] { return ev.Names.size() == 4; }));
    EXPECT_EQ(ev.Names, (std::vector<QString>{"Lookup", "Connecting", "Connect", "Write"}));
    EXPECT_EQ(ev.ActiveAt, (std::vector<bool>{false, false, true, true}));
    ExpectSocketError([&] { c->SetClientType(ctBlocking); }, sCantChangeWhileActive);

    const int server = peer.Accept();
    SendAll(server, "ping");
    ASSERT_TRUE(WaitUntil([&] { return ev.Names.back() == "Read"; }));
    EXPECT_EQ(c->Socket()->ReceiveText(), "ping");

    c->SetActive(false);
    EXPECT_EQ(ev.Names.back(), "Disconnect");
    EXPECT_FALSE(c->Active());
    ::close(server);

    // Opening again while connecting gives up the first handle.
    ev.Names.clear();
    c->Open();
    c->Open();
    ASSERT_TRUE(WaitUntil([&] { return c->Active(); }));
    EXPECT_EQ(std::count(ev.Names.begin(), ev.Names.end(), "Lookup"), 2);
    EXPECT_EQ(std::count(ev.Names.begin(), ev.Names.end(), "Connect"), 1);

    // The client type may change until the connect completes.
    c->Close();
    c->Open();
    EXPECT_NO_THROW(c->SetClientType(ctBlocking));
    EXPECT_TRUE(c->Socket()->ASyncStyles().empty());
    c->Socket()->Close();
}

TEST_F(SocketTest, ConnectionSettingsAreGuardedWhileActive)
{
    RawListener peer;
    TWNClientSocket c;
    const QMetaObject *mo = c.metaObject();
    QStringList published;
    for (int i = mo->propertyOffset(); i < mo->propertyCount(); ++i)
        published << QString::fromLatin1(mo->property(i).name());
    EXPECT_EQ(published, (QStringList{"Active", "Address", "ClientType", "Host", "Port", "Service"}));
    EXPECT_TRUE(c.setProperty("ClientType", QVariant::fromValue(ctBlocking)));
    EXPECT_TRUE(c.Socket()->ASyncStyles().empty());
    c.SetHost("localhost");
    c.SetPort(peer.Port);
    ComponentEvents ev;
    ev.Hook(c);
    c.SetActive(true);
    // A blocking connect runs its events inside the assignment.
    EXPECT_EQ(ev.Names, (std::vector<QString>{"Lookup", "Connecting", "Connect"}));
    EXPECT_TRUE(c.Active());

    // Letter case alone is no change: nothing stored, nothing raised.
    EXPECT_NO_THROW(c.SetHost("LOCALHOST"));
    EXPECT_EQ(c.Host(), "localhost");
    EXPECT_NO_THROW(c.SetPort(peer.Port));
    EXPECT_NO_THROW(c.SetAddress(""));
    const std::function<void()> changes[] = {
        [&] { c.SetHost("otherhost"); },         [&] { c.SetPort(peer.Port + 1); },
        [&] { c.SetAddress("127.0.0.2"); },      [&] { c.SetService("http"); },
        [&] { c.SetClientType(ctNonBlocking); },
    };
    for (const auto &change : changes)
        ExpectSocketError(change, sCantChangeWhileActive);
    EXPECT_EQ(c.Port(), peer.Port);

    c.Close();
    EXPECT_FALSE(c.Active());
    EXPECT_NO_THROW(c.SetHost("otherhost"));
    EXPECT_EQ(c.Host(), "otherhost");
}

TEST_F(SocketTest, ComponentsSavedActiveOpenWhenLoadedAndNotWhenDesigned)
{
    RawListener peer;
    TWNClientSocket client;
    TWNServerSocket server;
    client.setProperty("ClientType", QVariant::fromValue(ctBlocking));
    server.setProperty("ServerType", QVariant::fromValue(stThreadBlocking));
    for (TCustomSocket *c : {static_cast<TCustomSocket *>(&client), static_cast<TCustomSocket *>(&server)}) {
        c->BeginLoading();
        c->setProperty("Active", true);
        c->setProperty("Port", int(c == &client ? peer.Port : 0));
        c->SetAddress("127.0.0.1");
        // While the properties are read nothing opens, and changes are allowed.
        EXPECT_TRUE(c->Active());
        EXPECT_NO_THROW(c->SetHost(""));
    }
    EXPECT_EQ(client.Socket()->SocketHandle(), INVALID_SOCKET);
    EXPECT_EQ(server.Socket()->SocketHandle(), INVALID_SOCKET);
    client.EndLoading();
    server.EndLoading();
    EXPECT_TRUE(client.Socket()->Connected());
    EXPECT_TRUE(server.Socket()->Connected());
    const int accepted = peer.Accept();
    EXPECT_GE(accepted, 0);
    ::close(accepted);

    TWNClientSocket designedClient;
    TWNServerSocket designedServer;
    Aim(designedClient, peer, ctBlocking);
    for (TCustomSocket *c :
         {static_cast<TCustomSocket *>(&designedClient), static_cast<TCustomSocket *>(&designedServer)}) {
        c->SetDesigning(true);
        c->SetActive(true);
        EXPECT_TRUE(c->Active());
        c->BeginLoading();
        c->EndLoading();
        c->SetActive(false);
        EXPECT_FALSE(c->Active());
    }
    EXPECT_EQ(designedClient.Socket()->SocketHandle(), INVALID_SOCKET);
    EXPECT_EQ(designedServer.Socket()->SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, BlockingClientThroughTheStream)
{
    RawListener peer;
    TWNClientSocket c;
    ExpectSocketError([&] { TWinSocketStream s(c.Socket(), 100); }, sSocketMustBeBlocking);
    Aim(c, peer, ctBlocking);
    char buf[64];
    TWinSocketStream stream(c.Socket(), 50);
    EXPECT_EQ(stream.Seek(100, 0), 0);
    EXPECT_THROW(stream.Read(buf, 1), ESocketError); // no handle yet
    c.Open();
    const int server = peer.Accept();
    ASSERT_GE(server, 0);

    // A peer that sends nothing: time-outs, not hangs.
    EXPECT_FALSE(stream.WaitForData(0));
    EXPECT_FALSE(stream.WaitForData(20));
    EXPECT_EQ(stream.Read(buf, sizeof buf), 0);
    stream.SetTimeOut(0);
    EXPECT_EQ(stream.Read(buf, sizeof buf), 0);

    // Without limit (-1, INFINITE): the read waits for what comes.
    stream.SetTimeOut(-1);
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        SendAll(server, "late");
    });
    EXPECT_EQ(stream.Read(buf, sizeof buf), 4);
    late.join();

    SendAll(server, "0123456789");
    EXPECT_TRUE(stream.WaitForData(5000));
    // Time-out 0 still takes what is already there.
    EXPECT_EQ(stream.Read(buf, 4), 4);
    EXPECT_EQ(std::string(buf, 4), "0123");
    stream.SetTimeOut(1000);
    EXPECT_EQ(stream.Read(buf, sizeof buf), 6);
    EXPECT_EQ(std::string(buf, 6), "456789");

    EXPECT_EQ(stream.Write("abc", 3), 3);
    EXPECT_EQ(stream.write("de", 2), 2); // through the QIODevice interface as well
    EXPECT_EQ(ReadAll(server, 5), "abcde");

    // A peer that closes half-way: readable, and reading gives 0.
    ::shutdown(server, SHUT_WR);
    EXPECT_TRUE(stream.WaitForData(5000));
    EXPECT_EQ(stream.Read(buf, sizeof buf), 0);

    // A peer that does not read: writes time out once the buffers are full (a few MiB at most).
    stream.SetTimeOut(30);
    const std::vector<char> block(1 << 20, 'x');
    std::int64_t total = 0;
    int last = -1;
    for (int i = 0; i < 64 && last != 0; ++i) {
        last = stream.Write(block.data(), static_cast<std::int32_t>(block.size()));
        EXPECT_GE(last, 0);
        total += last;
    }
    EXPECT_EQ(last, 0);
    EXPECT_GT(total, 0);
    // Without limit, the write waits until the peer reads.
    stream.SetTimeOut(-1);
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ReadAll(server, std::size_t(total) + block.size());
    });
    EXPECT_EQ(stream.Write(block.data(), static_cast<std::int32_t>(block.size())), 1 << 20);
    reader.join();
    // Resetting the flooded connection makes the next write fail loudly.
    ResetAndClose(server);
    ASSERT_TRUE(WaitUntil([&] {
        try {
            stream.Write(block.data(), 16);
        } catch (const ESocketError &e) {
            EXPECT_TRUE(e.Message().startsWith(sSocketWrite + " error 10054")) << e.what();
            return true;
        }
        return false;
    }));
}

TEST_F(SocketTest, StreamHoldsTheSocketLockAcrossTheTransfer)
{
    struct Client : TClientWinSocket {
        using TClientWinSocket::TClientWinSocket;
        bool TryLock() { return FLock.try_lock(); }
    };
    RawListener peer;
    Client c(INVALID_SOCKET);
    c.SetClientType(ctBlocking);
    c.Open("", "127.0.0.1", "", peer.Port, true);
    const int server = peer.Accept();
    TWinSocketStream stream(&c, 10000);
    std::atomic<bool> sent{false};
    std::thread reader([&] {
        char b[8];
        stream.Read(b, sizeof b); // waits for the peer's byte
    });
    // Until the reader holds the lock.
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 10000 && c.TryLock()) {
        c.Unlock();
        std::this_thread::yield();
    }
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        sent = true;
        SendAll(server, "x");
    });
    // The lock comes only once the byte has ended the read.
    c.Lock();
    EXPECT_TRUE(sent.load());
    c.Unlock();
    sender.join();
    reader.join();
    ::close(server);
}
