// The log book with many lines. AddLine into a shown log book whose event loop runs (and paints it)
// after every 1,000 lines,
// against keeping the same texts in a QStringList: time per line should stay flat from 10,000 to
// 1,000,000 lines, and the heap the lines take (counter bytes_per_text_byte, the heap growth over
// the UTF-16 size of the texts) within 2. LoadFromFile of a 1,000,000-line file against reading
// the same lines into a QStringList with QTextStream (goal: at most 3 times as long).

#include "WidgetBenchMain.h"
#include "logging/KVLogBook.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>
#include <QVBoxLayout>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdint>
#include <limits>
#include <memory>

using namespace wn;

namespace {

constexpr int kPaintEvery = 1000;
constexpr int kFileLines = 1'000'000;

QString LineText(int i)
{
    return QStringLiteral("Receiver %1: Lr,day = %2.%3 dB(A), Lr,night = %4.%5 dB(A)")
        .arg(i)
        .arg(40 + i % 30)
        .arg(i % 10)
        .arg(30 + i % 25)
        .arg(i % 7);
}

TLogStatus LineKind(int i)
{
    return i % 50 == 7 ? clog_warning : i % 97 == 3 ? clog_Hint : clog_KVSResult;
}

std::size_t HeapInUse()
{
    return mallinfo2().uordblks;
}

struct TShownBook {
    QWidget Form;
    TKVLogBook *Book = new TKVLogBook(&Form);
    TShownBook()
    {
        auto *layout = new QVBoxLayout(&Form);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(Book);
        Form.resize(800, 600);
        Form.show();
        QApplication::processEvents();
    }
};

void Report(benchmark::State &state, std::int64_t lines, std::size_t heap, std::size_t textBytes)
{
    state.SetItemsProcessed(state.iterations() * lines);
    // Seconds per line (shown with an SI prefix: 2.5u is 2.5 microseconds).
    state.counters["time_per_line"] = benchmark::Counter(
        double(lines), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytes_per_line"] = double(heap) / double(lines);
    state.counters["bytes_per_text_byte"] = double(heap) / double(textBytes);
}

void BM_AddLineShownBook(benchmark::State &state)
{
    const int lines = int(state.range(0));
    std::size_t heap = 0;
    std::size_t textBytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto shown = std::make_unique<TShownBook>();
        const std::size_t before = HeapInUse();
        textBytes = 0;
        state.ResumeTiming();
        for (int i = 0; i < lines; ++i) {
            const QString text = LineText(i);
            textBytes += std::size_t(text.size()) * 2;
            shown->Book->AddLine(text, LineKind(i), 0, i);
            if (i % kPaintEvery == kPaintEvery - 1)
                QApplication::processEvents();
        }
        QApplication::processEvents();
        state.PauseTiming();
        heap = HeapInUse() - before;
        shown.reset();
        state.ResumeTiming();
    }
    Report(state, lines, heap, textBytes);
}

void BM_QStringListAppend(benchmark::State &state)
{
    const int lines = int(state.range(0));
    std::size_t heap = 0;
    std::size_t textBytes = 0;
    for (auto _ : state) {
        auto list = std::make_unique<QStringList>();
        const std::size_t before = HeapInUse();
        textBytes = 0;
        for (int i = 0; i < lines; ++i) {
            const QString text = LineText(i);
            textBytes += std::size_t(text.size()) * 2;
            list->append(text);
        }
        state.PauseTiming();
        heap = HeapInUse() - before;
        list.reset();
        state.ResumeTiming();
    }
    Report(state, lines, heap, textBytes);
}

// A log book of kFileLines lines in the file form, written once.
const QString &LogFile()
{
    static QTemporaryDir dir;
    static const QString name = [] {
        const QString path = dir.filePath(QStringLiteral("bench.log"));
        TLines lines;
        for (int i = 0; i < kFileLines; ++i) {
            TLineInfo &line = lines.Add(LineText(i), LineKind(i), i % 13 == 0 ? 120 : 0, i);
            if (i % 101 == 0)
                line.ErrObj = std::make_unique<TErrorHandler>(4711.25, 815.5);
        }
        lines.SaveToFile(path, TTextEncoding::Utf8);
        return path;
    }();
    return name;
}

void BM_LoadFromFile(benchmark::State &state)
{
    const QString &file = LogFile();
    TShownBook shown;
    for (auto _ : state) {
        shown.Book->LoadFromFile(file, std::numeric_limits<std::int32_t>::max());
        benchmark::DoNotOptimize(shown.Book->Lines().Count());
    }
    state.SetItemsProcessed(state.iterations() * kFileLines);
}

void BM_QTextStreamReadLines(benchmark::State &state)
{
    const QString &file = LogFile();
    for (auto _ : state) {
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        QTextStream in(&f);
        QStringList lines;
        QString line;
        while (in.readLineInto(&line))
            lines.append(line);
        benchmark::DoNotOptimize(lines.size());
    }
    state.SetItemsProcessed(state.iterations() * kFileLines);
}

} // namespace

BENCHMARK(BM_QStringListAppend)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_AddLineShownBook)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_QTextStreamReadLines)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_LoadFromFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

WN_WIDGET_BENCHMARK_MAIN()
