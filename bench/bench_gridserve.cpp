// Point queries over TCP with `wnpack grid serve`'s server: queries per second for 50 clients at
// once, each asking and waiting for its answer in turn, against the non-blocking and the
// thread-blocking server, beside the same queries answered in-process (the baseline).

#include "GridServer.h"

#include "grid/KVRasterNeu.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

using namespace wn;

namespace {

constexpr int Clients = 50;
constexpr int QueriesPerClient = 100;
constexpr int Columns = 400, Rows = 400;

// A 400 x 400 grid of two level channels and two sources under two periods.
QString MakeGrid(const QTemporaryDir &dir)
{
    const QString name = dir.filePath(QStringLiteral("bench.rlk"));
    TRKFile f(name);
    auto &s = f.Struktur;
    s.dx = s.dy = 5;
    s.ZLevels = 1;
    s.nH = 2;
    s.TypeH = cwtSingle;
    s.nW1 = 2;
    s.TypeW1 = cwtNone;
    s.nW2 = 2;
    s.TypeW2 = cwtSmallInt;
    f.CalcDimension(0, 0, (Columns - 1) * 5.0, (Rows - 1) * 5.0);
    f.CreateInfos(true, true, true, true);
    for (int i = 1; i <= 2; ++i) {
        f.GetHInfo(i)->Name = QStringLiteral("L%1").arg(i);
        f.GetW1Info(i)->Name = QStringLiteral("Source %1").arg(i);
        f.GetW2Info(i)->Name = QStringLiteral("period %1").arg(i);
    }
    f.CreateEmptyGrid(nullptr, 0);
    f.OpenGridFile();
    std::vector<std::uint8_t> row(std::size_t(Columns * f.GetDataSize()));
    for (int r = 1; r <= Rows; ++r) {
        for (int c = 0; c < Columns; ++c) {
            const float level = float(40 + (r + c) % 40);
            std::memcpy(&row[std::size_t(c * f.GetDataSize() + 1)], &level, 4);
        }
        f.WriteDataBlock(1, r, Columns, 1, row.data());
    }
    f.CloseGridFile();
    return name;
}

QByteArray Request(int client, int k)
{
    return QByteArray::number((client * 37 + k * 11) % Columns * 5) + ' ' +
           QByteArray::number((client * 13 + k * 29) % Rows * 5) + '\n';
}

// One client: a query, then its answer up to the empty line, QueriesPerClient times.
bool Ask(std::uint16_t port, int client)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool ok = ::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    char buffer[4096];
    for (int k = 0; ok && k < QueriesPerClient; ++k) {
        const QByteArray q = Request(client, k);
        ok = ::send(fd, q.constData(), size_t(q.size()), MSG_NOSIGNAL) == q.size();
        QByteArray answer;
        while (ok && !answer.endsWith("\n\n")) {
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            ok = n > 0;
            if (ok)
                answer.append(buffer, n);
        }
    }
    ::close(fd);
    return ok;
}

void Serve(benchmark::State &state, bool threads)
{
    QTemporaryDir dir;
    wnpack::TServeOptions o;
    o.FileName = MakeGrid(dir);
    o.Threads = threads;
    wnpack::TGridQueryServer server(o);
    for (auto _ : state) {
        std::atomic<int> done{0}, failed{0};
        std::vector<std::thread> clients;
        for (int c = 0; c < Clients; ++c)
            clients.emplace_back([&, c] {
                failed += !Ask(server.Port(), c);
                ++done;
                QCoreApplication::eventDispatcher()->wakeUp();
            });
        // The non-blocking server answers from this thread's event loop, which sleeps between
        // events as a host's would.
        while (done < Clients)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        for (std::thread &t : clients)
            t.join();
        if (failed)
            state.SkipWithError("a client failed");
    }
    state.SetItemsProcessed(state.iterations() * Clients * QueriesPerClient);
}

void BM_NonBlockingServer(benchmark::State &state)
{
    Serve(state, false);
}

void BM_ThreadBlockingServer(benchmark::State &state)
{
    Serve(state, true);
}

// Baseline: the same requests answered in-process, one after the other, on one open file.
void BM_InProcess(benchmark::State &state)
{
    QTemporaryDir dir;
    TRKFile grid(MakeGrid(dir));
    grid.OpenGridFileReadOnly();
    std::int64_t bytes = 0;
    for (auto _ : state)
        for (int c = 0; c < Clients; ++c)
            for (int k = 0; k < QueriesPerClient; ++k)
                bytes += wnpack::AnswerRequest(grid, QByteArray(Request(c, k)).chopped(1)).size();
    benchmark::DoNotOptimize(bytes);
    state.SetItemsProcessed(state.iterations() * Clients * QueriesPerClient);
}

} // namespace

BENCHMARK(BM_InProcess)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_NonBlockingServer)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_ThreadBlockingServer)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
