// The socket core: error numbers and the result check, start-up balance, opening with and
// without addresses, the notification rhythm of a non-blocking socket, streams resumed after a
// would-block send, look-ups, and faults of the peer.

#include "SocketTestSupport.h"

#include "framework/ApplicationExceptions.h"

#include <QBuffer>

#include <poll.h>

#include <cerrno>
#include <cstring>
#include <vector>

using namespace wn;
using namespace sockettest;

namespace {

struct Recorder {
    std::vector<TSocketEvent> Events;
    std::vector<std::pair<TErrorEvent, int>> Errors;
    // The code the error handler leaves behind (the original unless set).
    int ClearTo = -1;

    void Hook(TCustomWinSocket &s)
    {
        s.OnSocketEvent = [this](TObject *, TCustomWinSocket *, TSocketEvent e) { Events.push_back(e); };
        s.OnErrorEvent = [this](TObject *, TCustomWinSocket *, TErrorEvent e, std::int32_t &code) {
            Errors.emplace_back(e, code);
            if (ClearTo >= 0)
                code = ClearTo;
        };
    }
    int Count(TSocketEvent e) const { return static_cast<int>(std::count(Events.begin(), Events.end(), e)); }
};

QByteArray Pattern(int size)
{
    QByteArray b(size, '\0');
    for (int i = 0; i < size; ++i)
        b[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    return b;
}

std::vector<int> ErrorProcCalls;
void RecordingErrorProc(std::int32_t code)
{
    ErrorProcCalls.push_back(code);
}

} // namespace

TEST(SocketErrors, PosixErrorsKeepTheModelsNumbers)
{
    EXPECT_EQ(winsock::ErrnoToError(EAGAIN), WSAEWOULDBLOCK);
    EXPECT_EQ(winsock::ErrnoToError(EINPROGRESS), 10035);
    EXPECT_EQ(winsock::ErrnoToError(ECONNREFUSED), 10061);
    EXPECT_EQ(winsock::ErrnoToError(ECONNRESET), 10054);
    EXPECT_EQ(winsock::ErrnoToError(EPIPE), 10054);
    EXPECT_EQ(winsock::ErrnoToError(ETIMEDOUT), 10060);
    EXPECT_EQ(winsock::ErrnoToError(EADDRINUSE), 10048);
    EXPECT_EQ(winsock::ErrnoToError(ENOTCONN), 10057);
    EXPECT_EQ(winsock::ErrnoToError(EHOSTUNREACH), 10065);
    EXPECT_EQ(winsock::SysErrorMessage(10061), QString::fromLocal8Bit(std::strerror(ECONNREFUSED)));
    EXPECT_FALSE(winsock::SysErrorMessage(WSAHOST_NOT_FOUND).isEmpty());
}

TEST(SocketErrors, CheckSocketResultRaisesOrCallsTheErrorProc)
{
    EXPECT_EQ(CheckSocketResult(0, QStringLiteral("bind")), 0);

    winsock::WSASetLastError(WSAEWOULDBLOCK);
    EXPECT_EQ(CheckSocketResult(-1, QStringLiteral("connect")), WSAEWOULDBLOCK);

    winsock::WSASetLastError(WSAECONNREFUSED);
    try {
        CheckSocketResult(-1, QStringLiteral("connect"));
        FAIL() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_EQ(e.Message(),
                  sWindowsSocketError.arg(winsock::SysErrorMessage(10061)).arg(10061).arg("connect"));
    }

    ErrorProcCalls.clear();
    EXPECT_EQ(SetErrorProc(RecordingErrorProc), nullptr);
    winsock::WSASetLastError(WSAEADDRINUSE);
    EXPECT_EQ(CheckSocketResult(-1, QStringLiteral("bind")), WSAEADDRINUSE);
    EXPECT_EQ(ErrorProcCalls, std::vector<int>{WSAEADDRINUSE});
    EXPECT_EQ(SetErrorProc(nullptr), &RecordingErrorProc);
}

TEST_F(SocketTest, StartupsStayBalanced)
{
    const int before = winsock::StartupCount();
    {
        TClientWinSocket a(INVALID_SOCKET);
        TServerWinSocket b(INVALID_SOCKET);
        EXPECT_EQ(winsock::StartupCount(), before + 2);
    }
    EXPECT_EQ(winsock::StartupCount(), before);
}

TEST_F(SocketTest, FreshSocketHasTheResetStateAndCloseDoesNothing)
{
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(s.Addr().sin_family, AF_INET);
    EXPECT_EQ(s.Addr().sin_port, 0);
    EXPECT_EQ(s.ASyncStyles().Bits(), std::uint64_t(FD_READ | FD_WRITE | FD_CONNECT | FD_CLOSE));
    s.Close();
    EXPECT_TRUE(r.Events.empty());
    EXPECT_EQ(s.ReceiveLength(), 0);
    EXPECT_EQ(s.SendText("x"), 0);
    EXPECT_EQ(s.LocalPort(), -1);
    EXPECT_EQ(s.RemoteAddress(), QString());
    EXPECT_EQ(s.RemotePort(), 0);
    EXPECT_FALSE(s.HasHandle());
}

TEST_F(SocketTest, OpeningWithoutAddress)
{
    TClientWinSocket blocking(INVALID_SOCKET);
    blocking.SetClientType(ctBlocking);
    EXPECT_THROW(blocking.Open("", "", "", 80, true), ESocketError);
    EXPECT_EQ(blocking.SocketHandle(), INVALID_SOCKET);

    // Non-blocking: the error handler sees code 1110 first and may swallow it.
    TClientWinSocket async(INVALID_SOCKET);
    Recorder r;
    r.Hook(async);
    r.ClearTo = 0;
    EXPECT_NO_THROW(async.Open("", "", "", 80, false));
    ASSERT_EQ(r.Errors.size(), 1u);
    EXPECT_EQ(r.Errors[0], std::make_pair(eeLookup, 1110));
    EXPECT_EQ(async.SocketHandle(), INVALID_SOCKET);

    r.ClearTo = -1;
    try {
        async.Open("", "", "", 80, false);
        FAIL() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_EQ(e.Message(), sNoAddress);
    }
    EXPECT_EQ(async.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, BlockingConnectRaisesItsEventsInOrder)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    Recorder r;
    r.Hook(s);
    s.Open("", "127.0.0.1", "", peer.Port, true);
    EXPECT_EQ(r.Events, (std::vector<TSocketEvent>{seLookup, seConnecting, seConnect}));
    EXPECT_TRUE(s.Connected());
    EXPECT_THROW(s.Open("", "127.0.0.1", "", peer.Port, true), ESocketError);
    const int server = peer.Accept();
    ASSERT_GE(server, 0);
    EXPECT_EQ(s.RemoteAddress(), "127.0.0.1");
    EXPECT_EQ(s.RemotePort(), peer.Port);
    EXPECT_EQ(s.LocalAddress(), "127.0.0.1");
    EXPECT_EQ(ntohs(s.RemoteAddr().sin_port), peer.Port);

    SendAll(server, "hello");
    ASSERT_TRUE(WaitUntil([&] { return s.ReceiveLength() == 5; }));
    EXPECT_EQ(s.ReceiveLength(), 5); // counting consumes nothing
    EXPECT_EQ(s.ReceiveText(), "hello");
    EXPECT_EQ(s.SendText("world"), 5);
    EXPECT_EQ(ReadAll(server, 5), "world");

    s.Close();
    EXPECT_EQ(r.Events.back(), seDisconnect);
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(ReadAll(server, 1), ""); // orderly close seen by the peer
    ::close(server);
}

TEST_F(SocketTest, BlockingConnectRefusedRaisesWithTheModelsCode)
{
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    try {
        s.Open("", "127.0.0.1", "", UnusedPort(), true);
        FAIL() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_TRUE(e.Message().contains("(10061)")) << e.what();
        EXPECT_TRUE(e.Message().contains("'connect'")) << e.what();
    }
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, NonBlockingClientGetsConnectThenOneWrite)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    s.Open("", "127.0.0.1", "", peer.Port, false);
    EXPECT_EQ(r.Events, (std::vector<TSocketEvent>{seLookup, seConnecting}));
    EXPECT_FALSE(s.Connected());
    ASSERT_TRUE(WaitUntil([&] { return r.Count(seWrite) == 1; }));
    EXPECT_EQ(r.Events, (std::vector<TSocketEvent>{seLookup, seConnecting, seConnect, seWrite}));
    EXPECT_TRUE(s.Connected());
    EXPECT_TRUE(s.HasHandle());

    const int server = peer.Accept();
    ASSERT_GE(server, 0);
    // An idle writable socket reports nothing further.
    Pump(100);
    EXPECT_EQ(r.Count(seWrite), 1);
    EXPECT_EQ(r.Count(seRead), 0);
    EXPECT_EQ(s.ReceiveText(), QString()); // nothing waiting: would block, empty text

    // A handler that reads one byte at a time is notified again for the rest.
    QByteArray got;
    s.OnSocketEvent = [&](TObject *, TCustomWinSocket *, TSocketEvent e) {
        r.Events.push_back(e);
        if (e == seRead) {
            char c;
            if (s.ReceiveBuf(&c, 1) == 1)
                got.append(c);
        }
    };
    SendAll(server, "abcdef");
    ASSERT_TRUE(WaitUntil([&] { return got.size() == 6; }));
    EXPECT_EQ(got, "abcdef");
    Pump(50);
    EXPECT_EQ(r.Count(seRead), 6);

    // The peer's orderly close ends in a disconnect.
    ::close(server);
    ASSERT_TRUE(WaitUntil([&] { return !s.Connected(); }));
    EXPECT_EQ(r.Events.back(), seDisconnect);
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, NotificationsForAnotherHandleAreDropped)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    Recorder r;
    s.Open("", "127.0.0.1", "", peer.Port, true);
    r.Hook(s);
    s.Read(s.SocketHandle() + 100);
    s.Write(s.SocketHandle() + 100);
    s.Disconnect(s.SocketHandle() + 100);
    EXPECT_TRUE(r.Events.empty());
    EXPECT_TRUE(s.Connected());
    s.Read(s.SocketHandle());
    EXPECT_EQ(r.Events, std::vector<TSocketEvent>{seRead});
}

TEST_F(SocketTest, NonBlockingConnectRefusedGoesToTheErrorHandler)
{
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    r.ClearTo = 0;
    s.Open("", "127.0.0.1", "", UnusedPort(), false);
    ASSERT_TRUE(WaitUntil([&] { return !r.Errors.empty(); }));
    EXPECT_EQ(r.Errors[0], std::make_pair(eeConnect, WSAECONNREFUSED));
    EXPECT_EQ(r.Count(seConnect), 0);
    Pump(50);
    EXPECT_EQ(r.Errors.size(), 1u);
    s.Close();
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, AnUnclearedAsyncErrorReachesTheApplicationHandler)
{
    std::vector<QString> handled;
    auto previous = SetApplicationHandleException(
        [&](TObject *, const std::exception &e) { handled.push_back(QString::fromUtf8(e.what())); });
    TClientWinSocket s(INVALID_SOCKET);
    s.Open("", "127.0.0.1", "", UnusedPort(), false);
    ASSERT_TRUE(WaitUntil([&] { return !handled.empty(); }));
    EXPECT_EQ(handled[0], sAsyncSocketError.arg(WSAECONNREFUSED));
    SetApplicationHandleException(previous);
    s.Close();
}

TEST_F(SocketTest, PeerResetIsAnErrorOfTheCloseNotification)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    r.ClearTo = 0;
    s.Open("", "127.0.0.1", "", peer.Port, false);
    ASSERT_TRUE(WaitUntil([&] { return s.Connected(); }));
    ResetAndClose(peer.Accept());
    ASSERT_TRUE(WaitUntil([&] { return !r.Errors.empty(); }));
    EXPECT_EQ(r.Errors[0], std::make_pair(eeDisconnect, WSAECONNRESET));
    // Quiet after the close was reported.
    Pump(50);
    EXPECT_EQ(r.Errors.size(), 1u);
    EXPECT_EQ(r.Count(seRead), 0);

    // Sending on the reset connection: the handler swallows the error, the socket closes.
    const char byte = 'x';
    EXPECT_NO_THROW(s.SendBuf(&byte, 1));
    EXPECT_NO_THROW(s.SendBuf(&byte, 1));
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(r.Errors.back().first, eeSend);
    EXPECT_EQ(r.Errors.back().second, WSAECONNRESET);
}

TEST_F(SocketTest, ReceiveErrorNotClearedRaisesAfterDisconnecting)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    Recorder r;
    r.Hook(s);
    s.Open("", "127.0.0.1", "", peer.Port, true);
    ResetAndClose(peer.Accept());
    char buf[16];
    ASSERT_TRUE(WaitUntil([&] {
        try {
            s.ReceiveBuf(buf, sizeof buf);
        } catch (const ESocketError &e) {
            EXPECT_TRUE(e.Message().contains("'recv'"));
            return true;
        }
        return false;
    }));
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(r.Errors.back(), std::make_pair(eeReceive, WSAECONNRESET));
}

TEST_F(SocketTest, TheRaisedSendErrorCarriesTheCodeTheHandlerLeft)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    Recorder r;
    r.Hook(s);
    r.ClearTo = WSAETIMEDOUT;
    s.Open("", "127.0.0.1", "", peer.Port, true);
    ResetAndClose(peer.Accept());
    QString message;
    ASSERT_TRUE(WaitUntil([&] {
        try {
            s.SendText("x");
        } catch (const ESocketError &e) {
            message = e.Message();
            return true;
        }
        return false;
    }));
    EXPECT_EQ(r.Errors.back(), std::make_pair(eeSend, WSAECONNRESET));
    EXPECT_EQ(message, sWindowsSocketError.arg(winsock::SysErrorMessage(WSAETIMEDOUT),
                                               QString::number(WSAETIMEDOUT), "send"));
    EXPECT_FALSE(s.Connected());
}

TEST_F(SocketTest, SendStreamResumesExactlyAfterAWouldBlockSend)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    s.Open("", "127.0.0.1", "", peer.Port, false);
    ASSERT_TRUE(WaitUntil([&] { return r.Count(seWrite) == 1; }));
    const int server = peer.Accept();
    ASSERT_GE(server, 0);
    const int small = 16384;
    ::setsockopt(s.SocketHandle(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);

    const QByteArray data = Pattern(8 * 1024 * 1024 + 123);
    auto *stream = new QBuffer;
    stream->setData(data);
    stream->open(QIODevice::ReadOnly);
    ASSERT_TRUE(s.SendStream(stream));
    // The socket cannot take it all at once: the stream waits, rewound to the failed piece.
    ASSERT_EQ(s.PendingSendStream(), stream);
    EXPECT_LT(stream->pos(), data.size());

    // A second stream is refused and stays the caller's.
    QBuffer second;
    EXPECT_FALSE(s.SendStream(&second));
    EXPECT_EQ(s.PendingSendStream(), stream);

    // A slow reader: small reads with the event loop running between them.
    std::string received;
    char buf[8192];
    WaitUntil(
        [&] {
            const ssize_t n = ::recv(server, buf, sizeof buf, MSG_DONTWAIT);
            if (n > 0)
                received.append(buf, static_cast<std::size_t>(n));
            return received.size() >= std::size_t(data.size());
        },
        30000);
    ASSERT_EQ(received.size(), std::size_t(data.size()));
    EXPECT_TRUE(received == data.toStdString());
    EXPECT_EQ(s.PendingSendStream(), nullptr);
    // Write notifications went to the stream, not to the handler.
    EXPECT_EQ(r.Count(seWrite), 1);
    ::close(server);
}

TEST_F(SocketTest, SendStreamThenDropClosesWhenDone)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    s.SetClientType(ctBlocking);
    Recorder r;
    r.Hook(s);
    s.Open("", "127.0.0.1", "", peer.Port, true);
    const int server = peer.Accept();
    auto *stream = new QBuffer;
    stream->setData(Pattern(10000));
    stream->open(QIODevice::ReadOnly);
    EXPECT_TRUE(s.SendStreamThenDrop(stream));
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(r.Events.back(), seDisconnect);
    const std::string got = ReadAll(server, 20000);
    EXPECT_TRUE(got == Pattern(10000).toStdString());
    ::close(server);
}

TEST_F(SocketTest, ListeningPortInUseRaises)
{
    RawListener taken;
    TServerWinSocket s(INVALID_SOCKET);
    s.SetServerType(stThreadBlocking);
    Recorder r;
    r.Hook(s);
    try {
        s.Listen("", "127.0.0.1", "", taken.Port, 50);
        FAIL() << "no exception";
    } catch (const ESocketError &e) {
        EXPECT_TRUE(e.Message().contains("(10048)")) << e.what();
        EXPECT_TRUE(e.Message().contains("'bind'")) << e.what();
    }
    EXPECT_FALSE(s.Connected());
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, ListenQueueIsCappedAtFive)
{
    // Nobody accepts: the kernel completes at most backlog + 1 connections.
    TCustomWinSocket raw(INVALID_SOCKET);
    raw.SetAsyncStyles(TAsyncStyles{});
    raw.Listen("", "127.0.0.1", "", 0, 50, true);
    std::vector<int> clients;
    for (int i = 0; i < 12; ++i) {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in a = Loopback(static_cast<std::uint16_t>(raw.LocalPort()));
        ::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
        clients.push_back(fd);
    }
    Pump(100);
    int established = 0;
    for (int fd : clients) {
        pollfd p{fd, POLLOUT, 0};
        int err = 0;
        socklen_t len = sizeof err;
        ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len);
        sockaddr_in peerAddr{};
        socklen_t plen = sizeof peerAddr;
        if (::poll(&p, 1, 0) == 1 && err == 0 &&
            ::getpeername(fd, reinterpret_cast<sockaddr *>(&peerAddr), &plen) == 0)
            ++established;
    }
    EXPECT_LE(established, 6);
    for (int fd : clients)
        ::close(fd);
}

TEST_F(SocketTest, LookupsByNameAndService)
{
    TClientWinSocket s(INVALID_SOCKET);
    EXPECT_EQ(s.LookupName("localhost").s_addr, htonl(INADDR_LOOPBACK));
    EXPECT_EQ(s.LookupName("no-such-host.invalid").s_addr, 0u);
    EXPECT_EQ(s.LookupService("http"), 80);
    EXPECT_EQ(s.LookupService("echo"), 7);
    EXPECT_EQ(s.LookupService("no-such-service"), 0);
    const sockaddr_in a = s.InitSocket("", "127.0.0.1", "http", 1234, true);
    EXPECT_EQ(a.sin_port, htons(80));
    EXPECT_EQ(a.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    const sockaddr_in b = s.InitSocket("localhost", "10.1.2.3", "", 1234, true);
    EXPECT_EQ(b.sin_port, htons(1234));
    EXPECT_EQ(b.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    const sockaddr_in c = s.InitSocket("", "", "", 99, false);
    EXPECT_EQ(c.sin_addr.s_addr, htonl(INADDR_ANY));
}

TEST_F(SocketTest, AsynchronousLookupWaitsForTheResultBeforeConnecting)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    s.Open("localhost", "", "", peer.Port, false);
    EXPECT_EQ(r.Events, std::vector<TSocketEvent>{seLookup});
    EXPECT_EQ(s.LookupState(), lsLookupAddress);
    ASSERT_TRUE(WaitUntil([&] { return r.Count(seWrite) == 1; }));
    EXPECT_EQ(r.Events, (std::vector<TSocketEvent>{seLookup, seConnecting, seConnect, seWrite}));
    EXPECT_TRUE(s.Connected());
    EXPECT_EQ(s.LookupState(), lsIdle);
    EXPECT_EQ(s.RemoteAddress(), "127.0.0.1");
    s.Close();
}

TEST_F(SocketTest, AsynchronousServiceLookupSetsThePort)
{
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    r.ClearTo = 0;
    std::uint16_t portAtConnecting = 0;
    s.OnSocketEvent = [&](TObject *, TCustomWinSocket *, TSocketEvent e) {
        r.Events.push_back(e);
        if (e == seConnecting)
            portAtConnecting = ntohs(s.Addr().sin_port);
    };
    s.Open("", "127.0.0.1", "echo", 1, false);
    EXPECT_EQ(s.LookupState(), lsLookupService);
    ASSERT_TRUE(WaitUntil([&] { return r.Count(seConnecting) == 1; }));
    EXPECT_EQ(portAtConnecting, 7);
    s.Close();
}

TEST_F(SocketTest, NameThatDoesNotResolve)
{
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    r.ClearTo = 0;
    s.Open("no-such-host.invalid", "", "", 80, false);
    ASSERT_TRUE(WaitUntil([&] { return !r.Errors.empty(); }, 20000));
    EXPECT_EQ(r.Errors[0].first, eeLookup);
    EXPECT_TRUE(r.Errors[0].second == WSAHOST_NOT_FOUND || r.Errors[0].second == WSATRY_AGAIN ||
                r.Errors[0].second == WSANO_DATA)
        << r.Errors[0].second;
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
    EXPECT_EQ(r.Count(seConnecting), 0);

    // Left uncleared, the failure is raised from the event loop with the look-up's own code.
    std::vector<QString> handled;
    auto previous = SetApplicationHandleException(
        [&](TObject *, const std::exception &e) { handled.push_back(QString::fromUtf8(e.what())); });
    r.ClearTo = -1;
    s.Open("no-such-host.invalid", "", "", 80, false);
    EXPECT_TRUE(WaitUntil([&] { return !handled.empty(); }, 20000));
    SetApplicationHandleException(previous);
    ASSERT_EQ(r.Errors.size(), 2u);
    const int code = r.Errors[1].second;
    ASSERT_EQ(handled.size(), 1u);
    EXPECT_EQ(handled[0],
              sWindowsSocketError.arg(winsock::SysErrorMessage(code), QString::number(code), "ASync Lookup"));
    EXPECT_EQ(s.SocketHandle(), INVALID_SOCKET);
}

TEST_F(SocketTest, CancelledLookupDeliversNothingAndTheSocketOpensAgain)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    s.Open("localhost", "", "", peer.Port, false);
    s.Close();
    EXPECT_EQ(s.LookupState(), lsIdle);
    Pump(200);
    EXPECT_EQ(r.Count(seConnecting), 0);
    EXPECT_TRUE(r.Errors.empty());

    s.Open("localhost", "", "", peer.Port, false);
    ASSERT_TRUE(WaitUntil([&] { return s.Connected(); }));
    s.Close();
}

TEST_F(SocketTest, DeferFreeFreesFromTheEventLoop)
{
    struct Probe : TClientWinSocket {
        bool *Freed;
        explicit Probe(bool *freed) : TClientWinSocket(INVALID_SOCKET), Freed(freed) {}
        ~Probe() override { *Freed = true; }
    };
    bool freed = false;
    auto *p = new Probe(&freed);
    p->DeferFree(); // no notification object yet: nothing happens
    Pump(20);
    EXPECT_FALSE(freed);
    p->GetHandle();
    p->DeferFree();
    EXPECT_FALSE(freed);
    ASSERT_TRUE(WaitUntil([&] { return freed; }));
}

TEST_F(SocketTest, TheStyleByteSelectsTheNotifications)
{
    RawListener peer;
    TClientWinSocket s(INVALID_SOCKET);
    Recorder r;
    r.Hook(s);
    s.SetAsyncStyles(TAsyncStyles{asRead, asConnect, asClose});
    EXPECT_EQ(s.ASyncStyles().Bits(), std::uint64_t(FD_READ | FD_CONNECT | FD_CLOSE));
    s.Open("", "127.0.0.1", "", peer.Port, false);
    ASSERT_TRUE(WaitUntil([&] { return s.Connected(); }));
    const int server = peer.Accept();
    SendAll(server, "x");
    ASSERT_TRUE(WaitUntil([&] { return r.Count(seRead) == 1; }));
    EXPECT_EQ(r.Count(seWrite), 0);
    EXPECT_EQ(s.ReceiveText(), "x");

    // Switching to blocking cancels the notifications: the next data raises nothing.
    s.SetAsyncStyles(TAsyncStyles{});
    SendAll(server, "y");
    Pump(50);
    EXPECT_EQ(r.Count(seRead), 1);
    char c = 0;
    EXPECT_EQ(s.ReceiveBuf(&c, 1), 1); // blocking again: waits for the byte
    EXPECT_EQ(c, 'y');
    s.Close();
    ::close(server);
}
