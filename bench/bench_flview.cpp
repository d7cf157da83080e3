// The file list on a folder of 10,000 of the suite's files (grids, colour scales, geo databases,
// texts and lists, all with descriptions): filling it against listing the folder with QDir and
// reading the first 1 KiB of every file; sorting its rows by name in natural order against a
// QCollator numeric-mode sort of the same names.
#include "WidgetBenchMain.h"
#include "controls/FLView.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>

namespace {

constexpr int kFiles = 10'000;

QByteArray Le16(int value)
{
    return QByteArray(1, char(value & 0xFF)) + char((value >> 8) & 0xFF);
}

QByteArray Le32(std::int32_t value)
{
    return Le16(value & 0xFFFF) + Le16((value >> 16) & 0xFFFF);
}

QByteArray Record(int tag, const QByteArray &data)
{
    return Le16(tag) + Le16(int(data.size())) + data;
}

// The file's name and bytes: every fifth file of each kind, numbered so that names sort
// differently as text and as numbers.
std::pair<QString, QByteArray> SuiteFile(int i)
{
    const QByteArray text = "Noise level run " + QByteArray::number(i) + ", day and night";
    switch (i % 5) {
    case 0: {
        // Grids of one run share their name and differ by layer number.
        QByteArray grid(86, '\0');
        grid += char(text.size()) + text + QByteArray(400, '\x11');
        return {QString::asprintf("RLK_%04d.%03d", i / 250, (i / 5) % 50 + 1), grid};
    }
    case 1:
        return {QString::asprintf("Scale %d.sgf", i), Record(26, "abc") + Record(66, text) + Record(67, "x")};
    case 2: {
        QByteArray block(16, '\x55');
        block[0] = 10;
        block[1] = block[2] = block[3] = '0';
        block[11] = 10;
        return {QString::asprintf("Area %d.geo", i), QByteArray("\x07\x00", 2) + Le32(16) + block + "M1" +
                                                         QByteArray(4, '\0') + Le32(int(text.size())) + text};
    }
    case 3:
        return {QString::asprintf("Notes %d.txt", i), text + "\r\nsecond line\r\n" + QByteArray(300, 'x')};
    default:
        return {QString::asprintf("Sources %d.fml", i),
                Record(33, QByteArray("KV.FML\2\0\0\0", 10)) + Record(34, text) + QByteArray(200, '\0')};
    }
}

const QString &Folder()
{
    static const QTemporaryDir dir;
    static const QString path = [] {
        for (int i = 0; i < kFiles; ++i) {
            const auto [name, bytes] = SuiteFile(i);
            QFile file(dir.filePath(name));
            if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
                qFatal("cannot write %s", qPrintable(file.fileName()));
        }
        return dir.path();
    }();
    return path;
}

void BM_ReadFiles(benchmark::State &state)
{
    wn::TFileListView view;
    view.SetFilter(QStringLiteral("*.*"));
    view.SetPath(Folder());
    if (view.GetItemsCount() != kFiles || view.topLevelItem(0)->text(1).isEmpty())
        state.SkipWithError("the folder is not listed whole, with descriptions");
    for (auto _ : state)
        view.ReadFiles();
    state.SetItemsProcessed(state.iterations() * kFiles);
}

// The baseline: the least any file list with descriptions has to do.
void BM_EntryInfoListAndFirstKiB(benchmark::State &state)
{
    const QDir dir(Folder());
    for (auto _ : state) {
        qint64 bytes = 0;
        const QFileInfoList entries = dir.entryInfoList(QDir::Files, QDir::NoSort);
        for (const QFileInfo &entry : entries) {
            QFile file(entry.filePath());
            if (file.open(QIODevice::ReadOnly))
                bytes += file.read(1024).size();
        }
        benchmark::DoNotOptimize(bytes);
        if (entries.size() != kFiles)
            state.SkipWithError("the folder is not listed whole");
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

// Each round sorts the other way, so every sort starts from the reverse of its result.
void BM_SortRowsByName(benchmark::State &state)
{
    wn::TFileListView view;
    view.SetFilter(QStringLiteral("*.*"));
    view.SetPath(Folder());
    bool descending = false;
    for (auto _ : state) {
        descending = !descending;
        view.SetSortBy(descending ? wn::SortByDescending : 0);
        view.SortRows();
    }
    state.SetItemsProcessed(state.iterations() * view.GetItemsCount());
}

void BM_QCollatorNumericSort(benchmark::State &state)
{
    QStringList names = QDir(Folder()).entryList(QDir::Files);
    // Not the C locale: Qt compares code points there and ignores the numeric mode.
    QCollator collator(QLocale(QLocale::English, QLocale::UnitedStates));
    collator.setNumericMode(true);
    if (collator.compare(QStringLiteral("a9"), QStringLiteral("a10")) >= 0)
        state.SkipWithError("the collator does not sort numerically");
    bool descending = false;
    for (auto _ : state) {
        descending = !descending;
        std::stable_sort(names.begin(), names.end(), [&](const QString &a, const QString &b) {
            return descending ? collator.compare(b, a) < 0 : collator.compare(a, b) < 0;
        });
        benchmark::DoNotOptimize(names.data());
    }
    state.SetItemsProcessed(state.iterations() * names.size());
}

} // namespace

BENCHMARK(BM_ReadFiles)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EntryInfoListAndFirstKiB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortRowsByName)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QCollatorNumericSort)->Unit(benchmark::kMillisecond);

WN_WIDGET_BENCHMARK_MAIN()
