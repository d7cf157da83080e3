#pragma once
// Helpers of the socket tests: waiting with the event loop running, raw POSIX peers on
// 127.0.0.1 with time-outs, and the descriptor/thread count check every test ends with.

#include "framework/ApplicationExceptions.h"
#include "sockets/MyScktComp.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMetaProperty>
#include <QThread>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace sockettest {

inline int CountEntries(const char *dir)
{
    return static_cast<int>(
        QDir(QString::fromLatin1(dir)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size());
}

// Runs the event loop (and waiting Synchronize calls) until pred holds or timeoutMs passed.
inline bool WaitUntil(const std::function<bool()> &pred, int timeoutMs = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!pred()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        wn::TThread::CheckSynchronize();
        QThread::usleep(200);
    }
    return true;
}

inline void Pump(int ms)
{
    WaitUntil([] { return false; }, ms);
}

// Every socket test checks that it gave back the descriptors and threads it used. Threads
// that free themselves and look-up workers end shortly after the test's last step.
class SocketTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // A sanitizer starts a helper thread of its own with the process's first thread;
        // started here, it is not counted as a thread the test left running.
        static const bool helperStarted = [] {
            std::thread([] {}).join();
            return true;
        }();
        (void)helperStarted;
        Pump(1);
        FDescriptors = CountEntries("/proc/self/fd");
        FThreads = CountEntries("/proc/self/task");
        FStartups = wn::winsock::StartupCount();
    }
    void TearDown() override
    {
        WaitUntil([this] {
            return CountEntries("/proc/self/fd") == FDescriptors &&
                   CountEntries("/proc/self/task") == FThreads && wn::winsock::PendingLookups() == 0;
        });
        EXPECT_EQ(CountEntries("/proc/self/fd"), FDescriptors) << "descriptors leaked";
        EXPECT_EQ(CountEntries("/proc/self/task"), FThreads) << "threads left running";
        EXPECT_EQ(wn::winsock::StartupCount(), FStartups) << "start-up/clean-up unbalanced";
    }

private:
    int FDescriptors = 0;
    int FThreads = 0;
    int FStartups = 0;
};

inline sockaddr_in Loopback(std::uint16_t port)
{
    return sockaddr_in{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
}

// A blocking TCP socket whose sends and receives give up after five seconds.
inline int RawSocket()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval tv{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    return fd;
}

// A raw listening socket on 127.0.0.1 with an ephemeral port.
class RawListener
{
public:
    RawListener() : Fd(RawSocket())
    {
        sockaddr_in a = Loopback(0);
        ::bind(Fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
        ::listen(Fd, 16);
        socklen_t len = sizeof a;
        ::getsockname(Fd, reinterpret_cast<sockaddr *>(&a), &len);
        Port = ntohs(a.sin_port);
    }
    ~RawListener() { ::close(Fd); }
    // Bounded by the receive time-out; -1 when nobody came. The accepted socket inherits it.
    int Accept() { return ::accept4(Fd, nullptr, nullptr, SOCK_CLOEXEC); }
    int Fd;
    std::uint16_t Port = 0;
};

// A raw blocking client connected to 127.0.0.1:port, or -1.
inline int RawConnect(std::uint16_t port)
{
    const int fd = RawSocket();
    sockaddr_in a = Loopback(port);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// A port that nothing listens on (bound and released at once).
inline std::uint16_t UnusedPort()
{
    return RawListener().Port;
}

inline std::string ReadAll(int fd, std::size_t want)
{
    std::string out;
    char buf[65536];
    for (ssize_t n = 1; out.size() < want && n > 0;) {
        n = ::recv(fd, buf, sizeof buf, 0);
        out.append(buf, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    }
    return out;
}

// Reads without blocking while the event loop runs, until want bytes came or timeoutMs passed.
inline std::string ReadPumping(int fd, std::size_t want, int timeoutMs = 5000)
{
    std::string out;
    char buf[8192];
    WaitUntil(
        [&] {
            const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
            out.append(buf, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
            return out.size() >= want;
        },
        timeoutMs);
    return out;
}

inline void SendAll(int fd, const std::string &data)
{
    for (std::size_t sent = 0; sent < data.size();) {
        const ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return;
        sent += static_cast<std::size_t>(n);
    }
}

// Closes with a reset instead of an orderly close.
inline void ResetAndClose(int fd)
{
    linger l{1, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &l, sizeof l);
    ::close(fd);
}

// The names of the properties a component class adds, in declaration order.
inline QStringList PublishedNames(const QObject &o)
{
    const QMetaObject *mo = o.metaObject();
    QStringList names;
    for (int i = mo->propertyOffset(); i < mo->propertyCount(); ++i)
        names << QString::fromLatin1(mo->property(i).name());
    return names;
}

// Runs f and expects it to raise an ESocketError with the given message.
inline void ExpectSocketError(const std::function<void()> &f, const QString &message)
{
    try {
        f();
        ADD_FAILURE() << "no exception";
    } catch (const wn::ESocketError &e) {
        EXPECT_EQ(e.Message(), message);
    }
}

// The message of a failed call as CheckSocketResult words it.
inline QString SocketErrorText(int code, const char *op)
{
    return wn::sWindowsSocketError.arg(wn::winsock::SysErrorMessage(code), QString::number(code),
                                       QString::fromLatin1(op));
}

// A server core whose asynchronous listen keeps to the loopback interface, so that no test
// listens on every interface; the rest is the palette component's behaviour.
class LoopbackServerCore : public wn::TServerWinSocket
{
public:
    using wn::TServerWinSocket::TServerWinSocket;

protected:
    in_addr_t AsyncListenAddress() const override { return htonl(INADDR_LOOPBACK); }
};

class FunctionWorker : public wn::TServerClientThread
{
public:
    FunctionWorker(wn::TServerClientWinSocket *s, std::function<void(wn::TServerClientThread &)> body)
        : wn::TServerClientThread(true, s), FBody(std::move(body))
    {}

protected:
    void ClientExecute() override { FBody(*this); }

private:
    std::function<void(wn::TServerClientThread &)> FBody;
};

class LoopbackServerSocket : public wn::TWNServerSocket
{
public:
    LoopbackServerSocket()
    {
        FServerSocket = std::make_unique<LoopbackServerCore>(wn::INVALID_SOCKET);
        InitSocket(FServerSocket.get());
        FServerSocket->SetThreadCacheSize(10);
        SetAddress(QStringLiteral("127.0.0.1"));
    }
    // Listens on an ephemeral port.
    void Start(wn::TServerType type)
    {
        SetServerType(type);
        SetPort(0);
        Open();
    }
    std::uint16_t ListeningPort() { return static_cast<std::uint16_t>(Socket()->LocalPort()); }
    // Connects a raw client and waits until the server counts `threads` busy workers.
    int ConnectAndWait(int threads)
    {
        const int fd = RawConnect(ListeningPort());
        EXPECT_TRUE(WaitUntil([&] { return Socket()->ActiveThreads() == threads; }));
        return fd;
    }
    // Serves every connection with a worker that runs body.
    void UseWorkers(const std::function<void(wn::TServerClientThread &)> &body)
    {
        SetGetThreadEvent(
            [body](wn::TObject *, wn::TServerClientWinSocket *client, wn::TServerClientThread *&thread) {
                thread = wn::TThread::Run<FunctionWorker>(client, body);
            });
    }
};

} // namespace sockettest
