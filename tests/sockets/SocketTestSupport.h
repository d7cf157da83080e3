#pragma once
// Helpers of the socket tests: waiting with the event loop running, raw POSIX peers on
// 127.0.0.1 with time-outs, and the descriptor/thread count check every test ends with.

#include "sockets/MyScktComp.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace sockettest {

inline int CountEntries(const char *dir)
{
    return static_cast<int>(
        QDir(QString::fromLatin1(dir)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size());
}

inline int OpenDescriptors()
{
    return CountEntries("/proc/self/fd");
}
inline int RunningThreads()
{
    return CountEntries("/proc/self/task");
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

// Runs the event loop for a while.
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
        Pump(1);
        FDescriptors = OpenDescriptors();
        FThreads = RunningThreads();
        FStartups = wn::winsock::StartupCount();
    }
    void TearDown() override
    {
        WaitUntil([this] {
            return OpenDescriptors() == FDescriptors && RunningThreads() == FThreads &&
                   wn::winsock::PendingLookups() == 0;
        });
        EXPECT_EQ(OpenDescriptors(), FDescriptors) << "descriptors leaked";
        EXPECT_EQ(RunningThreads(), FThreads) << "threads left running";
        EXPECT_EQ(wn::winsock::StartupCount(), FStartups) << "start-up/clean-up unbalanced";
    }

private:
    int FDescriptors = 0;
    int FThreads = 0;
    int FStartups = 0;
};

inline sockaddr_in Loopback(std::uint16_t port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

inline void SetTimeouts(int fd, int ms)
{
    timeval tv{ms / 1000, (ms % 1000) * 1000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
}

// A raw listening socket on 127.0.0.1 with an ephemeral port.
class RawListener
{
public:
    RawListener()
    {
        Fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in a = Loopback(0);
        ::bind(Fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
        ::listen(Fd, 16);
        socklen_t len = sizeof a;
        ::getsockname(Fd, reinterpret_cast<sockaddr *>(&a), &len);
        Port = ntohs(a.sin_port);
        SetTimeouts(Fd, 5000);
    }
    ~RawListener() { ::close(Fd); }
    RawListener(const RawListener &) = delete;
    RawListener &operator=(const RawListener &) = delete;
    // A blocking accept bounded by the receive time-out; -1 when nobody came.
    int Accept()
    {
        const int c = ::accept4(Fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (c >= 0)
            SetTimeouts(c, 5000);
        return c;
    }
    int Fd;
    std::uint16_t Port;
};

// A raw blocking client connected to 127.0.0.1:port, or -1.
inline int RawConnect(std::uint16_t port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    SetTimeouts(fd, 5000);
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
    RawListener l;
    return l.Port;
}

inline std::string ReadAll(int fd, std::size_t want)
{
    std::string out;
    char buf[65536];
    while (out.size() < want) {
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            break;
        out.append(buf, static_cast<std::size_t>(n));
    }
    return out;
}

inline void SendAll(int fd, const std::string &data)
{
    std::size_t sent = 0;
    while (sent < data.size()) {
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

// The server component with a core whose asynchronous listen keeps to the loopback interface,
// so that no test listens on every interface. All else is the palette component's behaviour;
// the address given is the one a thread-blocking server binds to.
class LoopbackServerCore : public wn::TServerWinSocket
{
public:
    using wn::TServerWinSocket::TServerWinSocket;

protected:
    in_addr_t AsyncListenAddress() const override { return htonl(INADDR_LOOPBACK); }
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
};

} // namespace sockettest
