// The socket components (Active state, property guards, loading and design state) and the
// blocking socket stream with its time-outs.

#include "SocketTestSupport.h"

using namespace wn;
using namespace sockettest;

namespace {

// The component's events as "<name><+ when Active, - when not>".
void Hook(TWNClientSocket &c, QStringList &log)
{
    auto add = [&](TSocketNotifyEvent &slot, const char *name) {
        slot = [&log, &c, name](TObject *Sender, TCustomWinSocket *Socket) {
            EXPECT_TRUE(Sender == &c && Socket == c.Socket());
            log << QString::fromLatin1(name) + (c.Active() ? "+" : "-");
        };
    };
    add(c.OnLookup, "Lookup");
    add(c.OnConnecting, "Connecting");
    add(c.OnConnect, "Connect");
    add(c.OnDisconnect, "Disconnect");
    add(c.OnRead, "Read");
    add(c.OnWrite, "Write");
}

void Aim(TWNClientSocket &c, const RawListener &peer, TClientType type)
{
    c.SetClientType(type);
    c.SetAddress("127.0.0.1");
    c.SetPort(peer.Port);
}

} // namespace

TEST_F(SocketTest, ClientComponentFollowsItsSocketAndGuardsItsSettings)
{
    RawListener peer;
    QObject owner;
    auto *c = new TWNClientSocket(&owner);
    QStringList log;
    Hook(*c, log);
    Aim(*c, peer, ctNonBlocking);
    c->SetHost("localhost");
    c->SetActive(true);
    EXPECT_FALSE(c->Active()); // set by the connect notification, not by the assignment
    ASSERT_TRUE(WaitUntil([&] { return log.size() == 4; }));
    EXPECT_EQ(log, (QStringList{"Lookup-", "Connecting-", "Connect+", "Write+"}));

    // Letter case alone is no change: nothing stored, nothing raised; real changes are refused.
    EXPECT_NO_THROW(c->SetHost("LOCALHOST"));
    EXPECT_EQ(c->Host(), "localhost");
    EXPECT_NO_THROW(c->SetPort(peer.Port));
    const std::function<void()> changes[] = {
        [&] { c->SetHost("otherhost"); },      [&] { c->SetPort(peer.Port + 1); },
        [&] { c->SetAddress("127.0.0.2"); },   [&] { c->SetService("http"); },
        [&] { c->SetClientType(ctBlocking); },
    };
    for (const auto &change : changes)
        ExpectSocketError(change, sCantChangeWhileActive);
    EXPECT_EQ(c->Port(), peer.Port);

    const int server = peer.Accept();
    SendAll(server, "ping");
    ASSERT_TRUE(WaitUntil([&] { return log.back() == "Read+"; }));
    EXPECT_EQ(c->Socket()->ReceiveText(), "ping");
    c->SetActive(false);
    EXPECT_EQ(log.back(), "Disconnect-");
    ::close(server);

    // Opening again while connecting gives up the first handle.
    log.clear();
    c->Open();
    c->Open();
    ASSERT_TRUE(WaitUntil([&] { return c->Active(); }));
    EXPECT_EQ(log.count("Lookup-"), 2);
    EXPECT_EQ(log.count("Connect+"), 1);

    // The client type may change until the connect completes; a blocking connect gives up the
    // pending handle and runs its events inside the assignment.
    c->Close();
    c->Open();
    EXPECT_NO_THROW(c->SetClientType(ctBlocking));
    EXPECT_TRUE(c->Socket()->ASyncStyles().empty());
    log.clear();
    c->Open();
    EXPECT_EQ(log, (QStringList{"Disconnect-", "Lookup-", "Connecting-", "Connect+"}));
    c->Close();
}

TEST_F(SocketTest, ComponentsSavedActiveOpenWhenLoadedAndNotWhenDesigned)
{
    RawListener peer;
    for (const bool designing : {false, true}) {
        TWNClientSocket client;
        TWNServerSocket server;
        client.SetClientType(ctBlocking);
        server.SetServerType(stThreadBlocking);
        const std::pair<TCustomSocket *, TCustomWinSocket *> both[] = {{&client, client.Socket()},
                                                                       {&server, server.Socket()}};
        for (const auto &[c, core] : both) {
            c->SetDesigning(designing);
            c->BeginLoading();
            c->setProperty("Active", true);
            c->setProperty("Port", int(c == &client ? peer.Port : 0));
            c->SetAddress("127.0.0.1");
            // While the properties are read nothing opens, and changes are allowed.
            EXPECT_NO_THROW(c->SetHost(""));
            EXPECT_EQ(core->SocketHandle(), INVALID_SOCKET);
            c->EndLoading();
            EXPECT_TRUE(c->Active());
            EXPECT_EQ(core->Connected(), !designing);
            if (designing) {
                // At design time the flag is stored and nothing opens.
                c->SetActive(false);
                EXPECT_FALSE(c->Active());
                c->SetActive(true);
                EXPECT_TRUE(c->Active() && !core->Connected());
            }
        }
    }
    ::close(peer.Accept());
}

TEST_F(SocketTest, BlockingClientThroughTheStream)
{
    RawListener peer;
    TWNClientSocket c;
    ExpectSocketError([&] { TWinSocketStream s(c.Socket(), 100); }, sSocketMustBeBlocking);
    Aim(c, peer, ctBlocking);
    char buf[64];
    TWinSocketStream stream(c.Socket(), 50);
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
    stream.SetTimeOut(0);
    EXPECT_EQ(stream.Read(buf, 4), 4);
    EXPECT_EQ(std::string(buf, 4), "0123");
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
    for (int i = 0, last = -1; i < 64 && last != 0; ++i)
        total += last = stream.Write(block.data(), static_cast<std::int32_t>(block.size()));
    EXPECT_GT(total, 0);
    EXPECT_LT(total, std::int64_t(64) << 20);
    // Without limit, the write waits until the peer reads.
    stream.SetTimeOut(-1);
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ReadAll(server, std::size_t(total) + block.size());
    });
    EXPECT_EQ(stream.Write(block.data(), static_cast<std::int32_t>(block.size())), 1 << 20);
    reader.join();
    // Resetting the connection makes the next write fail loudly.
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
    struct Locking : TClientWinSocket {
        using TClientWinSocket::TClientWinSocket;
        bool TryLock() { return FLock.try_lock(); }
    } c(INVALID_SOCKET);
    RawListener peer;
    c.SetClientType(ctBlocking);
    c.Open("", "127.0.0.1", "", peer.Port, true);
    const int server = peer.Accept();
    TWinSocketStream stream(&c, 10000);
    char b[8];
    std::thread reader([&] { stream.Read(b, sizeof b); }); // waits for the peer's byte
    EXPECT_TRUE(WaitUntil([&] { return !c.TryLock() || (c.Unlock(), false); }));
    std::atomic<bool> sent{false};
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        sent = true;
        SendAll(server, "x");
    });
    c.Lock(); // only once the byte has ended the read
    EXPECT_TRUE(sent.load());
    c.Unlock();
    sender.join();
    reader.join();
    ::close(server);
}
