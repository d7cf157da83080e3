// Log events from four worker threads to the GUI thread: the queue of LogEvent drained with
// ProcessLogEvents on a timer, against the baseline of the same workers posting the same payload
// to the GUI thread as queued Qt calls drained by the event loop. items_per_second counts
// delivered events; thread start-up is inside both figures.

#include "logging/LogEvent.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QObject>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <thread>
#include <vector>

using namespace wn;

namespace {

constexpr int kWorkers = 4;
constexpr int kEventsPerWorker = 250000;
constexpr std::int64_t kTotal = std::int64_t{kWorkers} * kEventsPerWorker;

// What the host's handler does with an event; enough to keep every field alive.
struct TSink {
    std::int64_t Delivered = 0;
    std::int64_t Checksum = 0;

    void Take(const QString &text, TLogStatus art, std::int32_t help, std::int32_t key, TObject *obj)
    {
        ++Delivered;
        Checksum += text.size() + art + help + key + (obj ? 1 : 0);
    }
};

QString WorkerText(int worker)
{
    return QStringLiteral("Tile %1 computed").arg(worker);
}

template <typename Raise> std::vector<std::thread> StartWorkers(Raise raise)
{
    std::vector<std::thread> threads;
    for (int w = 0; w < kWorkers; ++w)
        threads.emplace_back([w, raise] {
            const QString text = WorkerText(w);
            for (int i = 0; i < kEventsPerWorker; ++i)
                raise(text, clog_Step, i, w);
        });
    return threads;
}

void BM_QtQueuedCalls(benchmark::State &state)
{
    QObject receiver;
    for (auto _ : state) {
        TSink sink;
        QEventLoop loop;
        std::vector<std::thread> threads =
            StartWorkers([&](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key) {
                QMetaObject::invokeMethod(
                    &receiver,
                    [&sink, &loop, text, art, help, key] {
                        sink.Take(text, art, help, key, nullptr);
                        if (sink.Delivered == kTotal)
                            loop.quit();
                    },
                    Qt::QueuedConnection);
            });
        loop.exec();
        for (std::thread &t : threads)
            t.join();
        benchmark::DoNotOptimize(sink.Checksum);
    }
    state.SetItemsProcessed(state.iterations() * kTotal);
}

void BM_ProcessLogEventsOnTimer(benchmark::State &state)
{
    const TLog_Event previous = KV_ELOG;
    for (auto _ : state) {
        TSink sink;
        KV_ELOG = [&sink](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key,
                          TObject *obj) { sink.Take(text, art, help, key, obj); };
        Log_Event_Obj->InitThreadLogEvent();
        QEventLoop loop;
        QTimer timer;
        timer.setInterval(static_cast<int>(state.range(0)));
        QObject::connect(&timer, &QTimer::timeout, [&] {
            Log_Event_Obj->ProcessLogEvents();
            if (sink.Delivered == kTotal)
                loop.quit();
        });
        timer.start();
        std::vector<std::thread> threads =
            StartWorkers([](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key) {
                KV_ELOG(text, art, help, key, nullptr);
            });
        loop.exec();
        for (std::thread &t : threads)
            t.join();
        Log_Event_Obj->ReleaseThreadLogEvent();
        benchmark::DoNotOptimize(sink.Checksum);
    }
    KV_ELOG = previous;
    state.SetItemsProcessed(state.iterations() * kTotal);
}

} // namespace

BENCHMARK(BM_QtQueuedCalls)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
// Timer intervals in milliseconds: 0 drains whenever the event loop is idle, 10 and 50 are
// usual GUI refresh rates.
BENCHMARK(BM_ProcessLogEventsOnTimer)
    ->Arg(0)
    ->Arg(10)
    ->Arg(50)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    QCoreApplication app(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
