// Socket throughput and connection rate on loopback, each beside its baseline from the same run:
//  - 256 MiB through a blocking client's TWinSocketStream into a thread-blocking server's worker,
//    against plain send/recv between two threads;
//  - 256 MiB sent with SendStream by a non-blocking client, against the same with QTcpSocket;
//  - 2,000 sequential short connections to a thread-blocking server with thread cache 10,
//    against cache 0.

#include "sockets/MyScktComp.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QTcpSocket>
#include <QThread>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace wn;

namespace {

constexpr std::int64_t TransferBytes = std::int64_t(256) << 20;
constexpr int Chunk = 64 * 1024;
constexpr int ShortConnections = 2000;

sockaddr_in Loopback(std::uint16_t port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

int RawListen(std::uint16_t &port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a = Loopback(0);
    ::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
    ::listen(fd, 5);
    socklen_t len = sizeof a;
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len);
    port = ntohs(a.sin_port);
    return fd;
}

int RawConnect(std::uint16_t port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a = Loopback(port);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Reads from fd until want bytes came or the peer closed; returns the count.
std::int64_t Drain(int fd, std::int64_t want)
{
    std::vector<char> buf(Chunk);
    std::int64_t got = 0;
    while (got < want) {
        const ssize_t n = ::recv(fd, buf.data(), buf.size(), 0);
        if (n <= 0)
            break;
        got += n;
    }
    return got;
}

void SendAllRaw(int fd, const char *data, std::int64_t size)
{
    std::int64_t sent = 0;
    while (sent < size) {
        const ssize_t n = ::send(
            fd, data + sent, static_cast<size_t>(std::min<std::int64_t>(size - sent, Chunk)), MSG_NOSIGNAL);
        if (n <= 0)
            return;
        sent += n;
    }
}

// A worker that reads everything its client sends through a socket stream.
class SinkThread : public TServerClientThread
{
public:
    SinkThread(TServerClientWinSocket *s, std::atomic<std::int64_t> *received)
        : TServerClientThread(true, s), FReceived(received)
    {}

protected:
    void ClientExecute() override
    {
        TWinSocketStream stream(ClientSocket(), 5000);
        std::vector<char> buf(Chunk);
        while (!Terminated()) {
            const std::int32_t n = stream.Read(buf.data(), Chunk);
            if (n <= 0)
                break;
            FReceived->fetch_add(n);
        }
    }

private:
    std::atomic<std::int64_t> *FReceived;
};

// A worker that answers one byte with one byte and ends the connection.
class PingThread : public TServerClientThread
{
public:
    explicit PingThread(TServerClientWinSocket *s) : TServerClientThread(true, s) {}

protected:
    void ClientExecute() override
    {
        TWinSocketStream stream(ClientSocket(), 5000);
        char b;
        if (stream.Read(&b, 1) == 1)
            stream.Write(&b, 1);
    }
};

void BM_StreamIntoThreadBlockingWorker(benchmark::State &state)
{
    std::atomic<std::int64_t> received{0};
    TWNServerSocket server;
    server.SetServerType(stThreadBlocking);
    server.SetAddress("127.0.0.1");
    server.SetGetThreadEvent([&](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
        auto *t = new SinkThread(client, &received);
        t->Resume();
        thread = t;
    });
    server.Open();
    const std::vector<char> block(Chunk, 'x');
    for (auto _ : state) {
        received = 0;
        TWNClientSocket client;
        client.SetClientType(ctBlocking);
        client.SetAddress("127.0.0.1");
        client.SetPort(server.Socket()->LocalPort());
        client.Open();
        TWinSocketStream stream(client.Socket(), 5000);
        std::int64_t sent = 0;
        while (sent < TransferBytes) {
            const std::int32_t n = stream.Write(block.data(), Chunk);
            if (n <= 0) {
                state.SkipWithError("stream write failed");
                break;
            }
            sent += n;
        }
        while (received.load() < sent)
            std::this_thread::yield();
        client.Close();
    }
    state.SetBytesProcessed(state.iterations() * TransferBytes);
    server.Close();
}

void BM_PlainSendRecvBetweenThreads(benchmark::State &state)
{
    std::uint16_t port = 0;
    const int listener = RawListen(port);
    const std::vector<char> block(Chunk, 'x');
    for (auto _ : state) {
        std::atomic<std::int64_t> got{0};
        std::thread receiver([&] {
            const int c = ::accept(listener, nullptr, nullptr);
            got = Drain(c, TransferBytes);
            ::close(c);
        });
        const int fd = RawConnect(port);
        std::int64_t sent = 0;
        while (sent < TransferBytes) {
            SendAllRaw(fd, block.data(), Chunk);
            sent += Chunk;
        }
        receiver.join();
        ::close(fd);
        if (got.load() != TransferBytes)
            state.SkipWithError("short transfer");
    }
    state.SetBytesProcessed(state.iterations() * TransferBytes);
    ::close(listener);
}

// Sends TransferBytes with a sender driven by the event loop into a raw receiver thread: start
// makes the sender (which starts sending) and it lives until everything has arrived.
template <class Start> void EventLoopTransfer(benchmark::State &state, Start start)
{
    std::uint16_t port = 0;
    const int listener = RawListen(port);
    const QByteArray data(TransferBytes, 'x');
    for (auto _ : state) {
        std::atomic<std::int64_t> got{-1};
        std::thread receiver([&] {
            const int c = ::accept(listener, nullptr, nullptr);
            got = Drain(c, TransferBytes);
            ::close(c);
        });
        const auto sender = start(port, data);
        while (got.load() < 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        receiver.join();
        if (got.load() != TransferBytes)
            state.SkipWithError("short transfer");
    }
    state.SetBytesProcessed(state.iterations() * TransferBytes);
    ::close(listener);
}

void BM_SendStreamNonBlocking(benchmark::State &state)
{
    EventLoopTransfer(state, [](std::uint16_t port, const QByteArray &data) {
        auto client = std::make_unique<TWNClientSocket>();
        client->OnConnect = [&data](TObject *, TCustomWinSocket *s) {
            auto *buffer = new QBuffer;
            buffer->setData(data);
            buffer->open(QIODevice::ReadOnly);
            s->SendStream(buffer);
        };
        client->SetAddress("127.0.0.1");
        client->SetPort(port);
        client->Open();
        return client;
    });
}

void BM_QTcpSocketSend(benchmark::State &state)
{
    EventLoopTransfer(state, [](std::uint16_t port, const QByteArray &data) {
        auto socket = std::make_unique<QTcpSocket>();
        socket->connectToHost(QHostAddress::LocalHost, port);
        socket->waitForConnected(5000);
        socket->write(data);
        return socket;
    });
}

void BM_ShortConnections(benchmark::State &state)
{
    TWNServerSocket server;
    server.SetServerType(stThreadBlocking);
    server.SetAddress("127.0.0.1");
    server.SetThreadCacheSize(static_cast<std::int32_t>(state.range(0)));
    server.SetGetThreadEvent([](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
        auto *t = new PingThread(client);
        t->Resume();
        thread = t;
    });
    server.Open();
    const std::uint16_t port = static_cast<std::uint16_t>(server.Socket()->LocalPort());
    for (auto _ : state) {
        for (int i = 0; i < ShortConnections; ++i) {
            const int fd = RawConnect(port);
            char b = 'p';
            if (fd < 0 || ::send(fd, &b, 1, MSG_NOSIGNAL) != 1 || ::recv(fd, &b, 1, 0) != 1) {
                state.SkipWithError("connection not served");
                if (fd >= 0)
                    ::close(fd);
                break;
            }
            ::close(fd);
        }
    }
    state.SetItemsProcessed(state.iterations() * ShortConnections);
    server.Close();
}

} // namespace

BENCHMARK(BM_StreamIntoThreadBlockingWorker)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_PlainSendRecvBetweenThreads)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_SendStreamNonBlocking)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_QTcpSocketSend)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_ShortConnections)->Arg(10)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
