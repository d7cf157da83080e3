// The socket core: opening with and without addresses, the result check, the notification
// rhythm of a non-blocking socket, streams resumed after a would-block send, look-ups, and
// faults of the peer.

#include "SocketTestSupport.h"

#include <QBuffer>

#include <fcntl.h>

using namespace wn;
using namespace sockettest;

namespace {

using Events = std::vector<TSocketEvent>;
using Errors = std::vector<std::pair<TErrorEvent, int>>;

// A client socket with its events and errors recorded; Connect opens it on a raw peer and
// accepts the peer's end. On seRead the handler reads up to ReadBytes bytes into Got.
struct Client {
    TClientWinSocket S{INVALID_SOCKET};
    Events Evs;
    Errors Errs;
    int ClearTo; // the code the error handler leaves (the original when negative)
    int ReadBytes = 0;
    QByteArray Got;
    RawListener Peer;
    int Server = -1;

    explicit Client(int clearTo = -1) : ClearTo(clearTo)
    {
        S.OnSocketEvent = [this](TObject *, TCustomWinSocket *, TSocketEvent e) {
            Evs.push_back(e);
            char buf[16];
            if (e == seRead && ReadBytes > 0)
                Got.append(buf, std::max(S.ReceiveBuf(buf, ReadBytes), 0));
        };
        S.OnErrorEvent = [this](TObject *, TCustomWinSocket *, TErrorEvent e, std::int32_t &code) {
            Errs.emplace_back(e, code);
            code = ClearTo >= 0 ? ClearTo : code;
        };
    }
    ~Client() { ::close(Server); }
    void Connect(TClientType type)
    {
        S.SetClientType(type);
        S.Open("", "127.0.0.1", "", Peer.Port, type == ctBlocking);
        Server = Peer.Accept();
    }
    int Count(TSocketEvent e) const { return static_cast<int>(std::count(Evs.begin(), Evs.end(), e)); }
};

QBuffer *PatternStream(int size)
{
    auto *stream = new QBuffer;
    stream->buffer().resize(size);
    for (int i = 0; i < size; ++i)
        stream->buffer()[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    stream->open(QIODevice::ReadOnly);
    return stream;
}

} // namespace

TEST_F(SocketTest, OpenFailuresRaiseOrGoToTheHandlers)
{
    TClientWinSocket client(INVALID_SOCKET);
    EXPECT_EQ(client.ASyncStyles().Bits(), 0x33u); // read, write, connect, close
    EXPECT_EQ(client.SendText("x"), 0);            // no handle: nothing sent, nothing raised
    client.SetClientType(ctBlocking);
    ExpectSocketError([&] { client.Open("", "", "", 80, true); }, sNoAddress);
    ExpectSocketError([&] { client.Open("", "127.0.0.1", "", UnusedPort(), true); },
                      SocketErrorText(ECONNREFUSED, 10061, "connect"));
    EXPECT_EQ(client.SocketHandle(), INVALID_SOCKET);
    RawListener taken;
    TServerWinSocket server(INVALID_SOCKET);
    server.SetServerType(stThreadBlocking);
    ExpectSocketError([&] { server.Listen("", "127.0.0.1", "", taken.Port, 50); },
                      SocketErrorText(EADDRINUSE, 10048, "bind"));
    EXPECT_EQ(server.SocketHandle(), INVALID_SOCKET);

    // With an error procedure the failed bind is reported to it and not raised.
    static std::vector<int> calls;
    calls.clear();
    const TSocketErrorProc record = [](std::int32_t code) { calls.push_back(code); };
    EXPECT_EQ(SetErrorProc(record), nullptr);
    EXPECT_NO_THROW(server.Listen("", "127.0.0.1", "", taken.Port, 5));
    EXPECT_EQ(SetErrorProc(nullptr), record);
    EXPECT_EQ(calls, std::vector<int>{WSAEADDRINUSE});

    // Non-blocking without an address: the error handler sees code 1110 first and may swallow it.
    Client c(0);
    EXPECT_NO_THROW(c.S.Open("", "", "", 80, false));
    EXPECT_EQ(c.Errs, (Errors{{eeLookup, 1110}}));
    c.ClearTo = -1;
    ExpectSocketError([&] { c.S.Open("", "", "", 80, false); }, sNoAddress);
    EXPECT_EQ(c.S.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, BlockingConnectRaisesItsEventsInOrder)
{
    Client c;
    c.Connect(ctBlocking);
    EXPECT_EQ(c.Evs, (Events{seLookup, seConnecting, seConnect}));
    ExpectSocketError([&] { c.S.Open("", "127.0.0.1", "", c.Peer.Port, true); }, sSocketAlreadyOpen);
    ASSERT_GE(c.Server, 0);
    EXPECT_EQ(c.S.RemotePort(), c.Peer.Port);
    EXPECT_EQ(c.S.RemoteAddress(), "127.0.0.1");

    // Text travels as Windows-1252, one byte a character; counting consumes nothing.
    SendAll(c.Server, "h\xDF\x80");
    ASSERT_TRUE(WaitUntil([&] { return c.S.ReceiveLength() == 3; }));
    EXPECT_EQ(c.S.ReceiveLength(), 3);
    EXPECT_EQ(c.S.ReceiveText(), QStringLiteral("hß€"));
    EXPECT_EQ(c.S.SendText(QStringLiteral("Lärm €")), 6);
    EXPECT_EQ(ReadAll(c.Server, 6), "L\xE4rm \x80");

    // Notifications for another handle are dropped.
    const TSocket other = c.S.SocketHandle() + 100;
    c.S.Read(other);
    c.S.Write(other);
    c.S.Disconnect(other);
    EXPECT_EQ(c.Evs.size(), 3u);

    c.S.Close();
    c.S.Close(); // closing a closed socket raises no second event
    EXPECT_EQ(c.Evs, (Events{seLookup, seConnecting, seConnect, seDisconnect}));
    EXPECT_EQ(ReadAll(c.Server, 1), ""); // orderly close seen by the peer
}

TEST_F(SocketTest, AResetConnectionDisconnectsAndRaisesWhatTheHandlerLeft)
{
    // The reset is noticed by the close notification, by a receive or by a send. Whatever the
    // handler does with the code, the socket is closed.
    enum How { Notified, Receive, Send };
    const struct {
        How H;
        int ClearTo;
        TErrorEvent Event;
        QString Raised;
    } cases[] = {
        {Notified, 0, eeDisconnect, {}},
        {Receive, -1, eeReceive, SocketErrorText(ECONNRESET, 10054, "recv")},
        {Send, WSAETIMEDOUT, eeSend, SocketErrorText(ETIMEDOUT, 10060, "send")},
        {Send, 0, eeSend, {}},
    };
    for (const auto &t : cases) {
        Client c(t.ClearTo);
        c.Connect(t.H == Notified ? ctNonBlocking : ctBlocking);
        ASSERT_TRUE(WaitUntil([&] { return c.S.Connected(); }));
        ResetAndClose(std::exchange(c.Server, -1));
        QString raised;
        ASSERT_TRUE(WaitUntil([&] {
            try {
                char buf[16];
                if (t.H == Receive)
                    c.S.ReceiveBuf(buf, sizeof buf);
                else if (t.H == Send)
                    c.S.SendText("x");
            } catch (const ESocketError &e) {
                raised = e.Message();
            }
            return !c.Errs.empty();
        }));
        Pump(50);
        EXPECT_EQ(raised, t.Raised);
        EXPECT_EQ(c.Errs, (Errors{{t.Event, WSAECONNRESET}}));
        EXPECT_EQ(c.Count(seRead), 0);
        EXPECT_EQ(c.Evs.back(), seDisconnect);
        EXPECT_EQ(c.S.SocketHandle(), INVALID_SOCKET);
    }
}

TEST_F(SocketTest, SendStreamResumesExactlyAfterAWouldBlockSend)
{
    Client c;
    c.Connect(ctNonBlocking);
    ASSERT_TRUE(WaitUntil([&] { return c.Count(seWrite) == 1; }));
    const int small = 16384;
    ::setsockopt(c.S.SocketHandle(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    QBuffer *stream = PatternStream(8 * 1024 * 1024 + 123);
    const QByteArray data = stream->data();
    ASSERT_TRUE(c.S.SendStream(stream));
    // The socket cannot take it all at once: the stream waits, rewound to the failed piece.
    ASSERT_EQ(c.S.PendingSendStream(), stream);
    EXPECT_LT(stream->pos(), data.size());
    // A second stream is refused and stays the caller's.
    QBuffer second;
    EXPECT_FALSE(c.S.SendStream(&second));
    EXPECT_EQ(c.S.PendingSendStream(), stream);
    // A slow reader: small reads with the event loop running between them.
    EXPECT_TRUE(ReadPumping(c.Server, std::size_t(data.size()), 30000) == data.toStdString());
    EXPECT_EQ(c.S.PendingSendStream(), nullptr);
    EXPECT_EQ(c.Count(seWrite), 1); // write notifications went to the stream, not to the handler

    // Sent, then dropped: the connection closes when the stream is done.
    Client d;
    d.Connect(ctBlocking);
    EXPECT_TRUE(d.S.SendStreamThenDrop(PatternStream(10000)));
    EXPECT_EQ(d.Evs.back(), seDisconnect);
    EXPECT_TRUE(ReadAll(d.Server, 20000) == data.left(10000).toStdString());
}

TEST_F(SocketTest, ListenQueueIsCappedAtFive)
{
    // Nobody accepts: the kernel completes at most backlog + 1 connections.
    TCustomWinSocket raw(INVALID_SOCKET);
    raw.SetAsyncStyles(TAsyncStyles{});
    raw.Listen("", "127.0.0.1", "", 0, 50, true);
    sockaddr_in a;
    std::vector<int> clients(12);
    for (int &fd : clients) {
        fd = RawSocket(std::uint16_t(raw.LocalPort()), a);
        ::fcntl(fd, F_SETFL, O_NONBLOCK);
        ::connect(fd, reinterpret_cast<const sockaddr *>(&a), sizeof a);
    }
    Pump(100);
    int established = 0;
    for (int fd : clients) {
        socklen_t len = sizeof a;
        established += ::getpeername(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0;
        ::close(fd);
    }
    EXPECT_TRUE(established >= 1 && established <= 6) << established;
}

TEST_F(SocketTest, LookupsPreferNameAndServiceAndWaitForTheResult)
{
    Client c;
    TClientWinSocket &s = c.S;
    EXPECT_EQ(s.LookupName("no-such-host.invalid"), 0u);
    EXPECT_EQ(s.LookupService("no-such-service"), 0);
    const struct {
        const char *Name, *Address, *Service;
        bool Client;
        std::uint32_t Addr;
        std::uint16_t Port;
    } cases[] = {
        {"", "127.0.0.1", "http", true, INADDR_LOOPBACK, 80},
        {"localhost", "10.1.2.3", "", true, INADDR_LOOPBACK, 1234},
        {"", "10.1.2.3", "echo", true, 0x0A010203, 7},
        {"", "", "", false, INADDR_ANY, 1234},
    };
    for (const auto &t : cases) {
        const TSockAddrIn a = s.InitSocket(t.Name, t.Address, t.Service, 1234, t.Client);
        EXPECT_EQ(a.sin_family, 2);
        EXPECT_EQ(a.sin_addr, htonl(t.Addr)) << t.Name << t.Address;
        EXPECT_EQ(a.sin_port, htons(t.Port)) << t.Service;
    }

    // Asynchronous: the connect waits for the look-up.
    c.S.Open("localhost", "", "", c.Peer.Port, false);
    EXPECT_EQ(c.Evs, Events{seLookup});
    EXPECT_EQ(c.S.LookupState(), lsLookupAddress);
    ASSERT_TRUE(WaitUntil([&] { return c.Count(seWrite) == 1; }));
    EXPECT_EQ(c.Evs, (Events{seLookup, seConnecting, seConnect, seWrite}));
    EXPECT_EQ(c.S.LookupState(), lsIdle);
    EXPECT_EQ(c.S.RemoteAddress(), "127.0.0.1");
    c.S.Close();

    // A look-up cancelled by closing delivers nothing.
    c.S.Open("localhost", "", "", c.Peer.Port, false);
    c.S.Close();
    EXPECT_EQ(c.S.LookupState(), lsIdle);
    Pump(200);
    EXPECT_EQ(c.Count(seConnecting), 1);
    EXPECT_TRUE(c.Errs.empty());

    // A service name sets the port before the connect starts.
    c.ClearTo = 0;
    std::uint16_t portAtConnecting = 0;
    c.S.OnSocketEvent = [&](TObject *, TCustomWinSocket *, TSocketEvent e) {
        if (e == seConnecting)
            portAtConnecting = ntohs(c.S.Addr().sin_port);
    };
    c.S.Open("", "127.0.0.1", "echo", 1, false);
    EXPECT_EQ(c.S.LookupState(), lsLookupService);
    ASSERT_TRUE(WaitUntil([&] { return portAtConnecting != 0; }));
    EXPECT_EQ(portAtConnecting, 7);
    c.S.Close();
}

TEST_F(SocketTest, AsyncFailuresGoToTheErrorHandlerThenTheApplication)
{
    // A refused connect and a name that does not resolve. A handler that clears the code
    // swallows the failure; left uncleared, it is raised from the event loop. The socket is
    // closed either way.
    const struct {
        const char *Name, *Address;
        TErrorEvent Event;
    } cases[] = {{"", "127.0.0.1", eeConnect}, {"no-such-host.invalid", "", eeLookup}};
    for (const auto &t : cases) {
        Client c(0);
        const std::uint16_t port = UnusedPort();
        c.S.Open(t.Name, t.Address, "", port, false);
        ASSERT_TRUE(WaitUntil([&] { return !c.Errs.empty(); }, 20000));
        Pump(50);
        ASSERT_EQ(c.Errs.size(), 1u);
        const auto [event, code] = c.Errs[0];
        EXPECT_EQ(event, t.Event);
        EXPECT_TRUE(event == eeConnect
                        ? code == WSAECONNREFUSED
                        : code == WSAHOST_NOT_FOUND || code == WSATRY_AGAIN || code == WSANO_DATA)
            << code;
        EXPECT_EQ(c.Count(seConnect), 0);
        EXPECT_EQ(c.S.SocketHandle(), INVALID_SOCKET);

        ApplicationExceptions app;
        c.ClearTo = -1;
        c.S.Open(t.Name, t.Address, "", port, false);
        ASSERT_TRUE(WaitUntil([&] { return !app.Handled.empty(); }, 20000));
        const QString again = QString::number(c.Errs.back().second);
        ASSERT_EQ(app.Handled.size(), 1u);
        EXPECT_TRUE(event == eeConnect ? app.Handled[0] == sAsyncSocketError.arg(again)
                                       : app.Handled[0].endsWith(" (" + again + "), in call 'ASync Lookup'"))
            << app.Handled[0].toStdString();
        EXPECT_EQ(c.S.SocketHandle(), INVALID_SOCKET);
    }
}

TEST_F(SocketTest, TheStyleByteSelectsTheNotificationsBitForBit)
{
    // Connect, then the peer sends three bytes, which the handler reads one at a time (each
    // read leaves more and is notified again), and closes. An idle writable socket reports one
    // write only. Without asConnect the socket counts as connected once the connect started.
    const TSocketEvent R = seRead;
    const struct {
        TAsyncStyles Styles;
        Events Evs;
    } cases[] = {
        {{asRead, asWrite, asConnect, asClose}, {seConnect, seWrite, R, R, R, seDisconnect}},
        {{asRead, asConnect, asClose}, {seConnect, R, R, R, seDisconnect}},
        {{asRead, asWrite, asClose}, {seConnect, seWrite, R, R, R, seDisconnect}},
        {{asRead, asClose}, {seConnect, R, R, R, seDisconnect}},
        {{asWrite}, {seConnect, seWrite}},
    };
    for (const auto &t : cases) {
        Client c;
        c.ReadBytes = 1;
        c.S.SetAsyncStyles(t.Styles);
        c.S.Open("", "127.0.0.1", "", c.Peer.Port, false);
        EXPECT_EQ(c.S.Connected(), !t.Styles.contains(asConnect));
        c.Server = c.Peer.Accept();
        Pump(100);
        EXPECT_EQ(c.S.ReceiveText(), QString()); // nothing waiting: would block, empty text
        SendAll(c.Server, "abc");
        Pump(50);
        ::close(std::exchange(c.Server, -1));
        Events want{seLookup, seConnecting};
        want.insert(want.end(), t.Evs.begin(), t.Evs.end());
        WaitUntil([&] { return c.Evs.size() >= want.size(); }, 1000);
        Pump(50);
        EXPECT_EQ(c.Evs, want) << t.Styles.Bits();
        EXPECT_EQ(c.Got, t.Styles.contains(asRead) ? "abc" : "");
        EXPECT_EQ(c.S.SocketHandle() == INVALID_SOCKET, t.Styles.contains(asClose));
    }

    // Switching to blocking cancels the notifications: the next data raises nothing.
    Client c;
    c.Connect(ctNonBlocking);
    ASSERT_TRUE(WaitUntil([&] { return c.Count(seWrite) == 1; }));
    c.S.SetAsyncStyles(TAsyncStyles{});
    SendAll(c.Server, "y");
    Pump(50);
    EXPECT_EQ(c.Count(seRead), 0);
    char ch = 0;
    EXPECT_EQ(c.S.ReceiveBuf(&ch, 1), 1); // blocking again: waits for the byte
    EXPECT_EQ(ch, 'y');
}
