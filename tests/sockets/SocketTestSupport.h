#pragma once
// Helpers of the socket tests: waiting with the event loop running, raw POSIX peers on
// 127.0.0.1 with time-outs, loopback servers, and the descriptor/thread check every test ends
// with.

#include "framework/ApplicationExceptions.h"
#include "sockets/MyScktComp.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// Failure messages show texts as text.
inline void PrintTo(const QString &s, std::ostream *os)
{
    *os << '"' << s.toStdString() << '"';
}

namespace sockettest {

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

// The process's open descriptors and running threads.
inline std::pair<qsizetype, qsizetype> Resources()
{
    const auto count = [](const char *dir) {
        return QDir(QString::fromLatin1(dir)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size();
    };
    return {count("/proc/self/fd"), count("/proc/self/task")};
}

// Every socket test checks that it gave back the descriptors and threads it used; threads that
// free themselves and look-up threads end shortly after the test's last step.
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
        FBefore = Resources();
    }
    void TearDown() override
    {
        WaitUntil([this] { return Resources() == FBefore; });
        EXPECT_EQ(Resources(), FBefore) << "(descriptors, threads) left behind";
    }

private:
    std::pair<qsizetype, qsizetype> FBefore;
};

// A blocking TCP socket whose sends and receives give up after five seconds, and the address
// 127.0.0.1:port.
inline int RawSocket(std::uint16_t port, sockaddr_in &addr)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval tv{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    addr = sockaddr_in{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    return fd;
}

// A raw listening socket on 127.0.0.1 with an ephemeral port.
struct RawListener {
    RawListener()
    {
        sockaddr_in a;
        socklen_t len = sizeof a;
        Fd = RawSocket(0, a);
        ::bind(Fd, reinterpret_cast<sockaddr *>(&a), len);
        ::listen(Fd, 16);
        ::getsockname(Fd, reinterpret_cast<sockaddr *>(&a), &len);
        Port = ntohs(a.sin_port);
    }
    ~RawListener() { ::close(Fd); }
    // Bounded by the receive time-out; -1 when nobody came.
    int Accept() { return ::accept4(Fd, nullptr, nullptr, SOCK_CLOEXEC); }
    int Fd;
    std::uint16_t Port;
};

// A raw blocking client connected to 127.0.0.1:port, or -1.
inline int RawConnect(std::uint16_t port)
{
    sockaddr_in a;
    const int fd = RawSocket(port, a);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0)
        return fd;
    ::close(fd);
    return -1;
}

// A port that nothing listens on (bound and released at once).
inline std::uint16_t UnusedPort()
{
    return RawListener().Port;
}

// Reads until want bytes came, the peer closed or the receive time-out passed.
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

// The message of a failed call, for the system's errno behind the model's code.
inline QString SocketErrorText(int errnoValue, int code, const char *op)
{
    return wn::sWindowsSocketError.arg(QString::fromLocal8Bit(std::strerror(errnoValue)),
                                       QString::number(code), QString::fromLatin1(op));
}

// Records what reaches the application's handle and show hooks while it lives.
struct ApplicationExceptions {
    std::vector<QString> Handled, Shown;
    std::atomic<bool> ShownInGui{true};
    wn::TApplicationExceptionHandler PreviousHandle = wn::SetApplicationHandleException(
        [this](wn::TObject *, const std::exception &e) { Handled.push_back(QString::fromUtf8(e.what())); });
    wn::TShowExceptionHandler PreviousShow = wn::SetApplicationShowException([this](const wn::Exception &e) {
        Shown.push_back(e.Message());
        ShownInGui = ShownInGui && wn::TThread::InGuiThread();
    });
    ~ApplicationExceptions()
    {
        wn::SetApplicationHandleException(PreviousHandle);
        wn::SetApplicationShowException(PreviousShow);
    }
};

// A server core whose asynchronous listen keeps to the loopback interface, so that no test
// listens on every interface.
class LoopbackServerCore : public wn::TServerWinSocket
{
public:
    using wn::TServerWinSocket::TServerWinSocket;

protected:
    wn::TInAddr AsyncListenAddress() const override { return htonl(INADDR_LOOPBACK); }
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

// The palette server on 127.0.0.1, listening on an ephemeral port.
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
