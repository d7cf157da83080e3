// Grid result files on a 2000 x 2000 grid of 33-byte cells, each figure next to a baseline of
// plain file operations on the same bytes; and the sample noise map of the same size.
#include "grid/KVRasterNeu.h"

#ifdef WN_BENCH_SAMPLE
#include "GridTool.h"
#include "Paths.h"
#include "Progress.h"
#endif

#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr int cCols = 2000;
constexpr int cRows = 2000;
constexpr std::int64_t cCell = 33;
constexpr std::int64_t cDataBytes = std::int64_t(cCols) * cRows * cCell;
constexpr std::int64_t cLargeWrite = 1 << 20;
constexpr int cBandRows = 64;

QTemporaryDir &Dir()
{
    static QTemporaryDir dir;
    return dir;
}

// nH = 2 singles, one Z level, nW1 = 3 without values, nW2 = 4 small ints: 33 bytes a cell.
void Describe(wn::TRKFile &f)
{
    auto &s = f.Struktur;
    s.Columns = cCols;
    s.Rows = cRows;
    s.ZLevels = 1;
    s.XOrigin = 3500000;
    s.YOrigin = 5800000;
    s.dx = 5;
    s.dy = 5;
    s.nH = 2;
    s.TypeH = wn::cwtSingle;
    s.nW1 = 3;
    s.TypeW1 = wn::cwtNone;
    s.nW2 = 4;
    s.TypeW2 = wn::cwtSmallInt;
    f.CreateInfos(true, true, true, true);
    for (auto *list : {&f.HList, &f.ZList, &f.W1List, &f.W2List})
        for (std::size_t i = 0; i < list->size(); ++i) {
            (*list)[i]->Name = QStringLiteral("C%1").arg(i + 1);
            (*list)[i]->Unit = QStringLiteral("dB(A)");
        }
}

// The grid the read benchmarks use, written once.
const QString &SharedGrid()
{
    static const QString path = [] {
        const QString p = Dir().filePath(QStringLiteral("shared.rlk"));
        wn::TRKFile f(p);
        Describe(f);
        if (!f.CreateEmptyGrid(nullptr, 0))
            std::abort();
        return p;
    }();
    return path;
}

void BM_CreateEmptyGrid(benchmark::State &state)
{
    const QString path = Dir().filePath(QStringLiteral("create.rlk"));
    wn::TRKFile f(path);
    Describe(f);
    for (auto _ : state)
        benchmark::DoNotOptimize(f.CreateEmptyGrid(nullptr, 0));
    state.SetBytesProcessed(state.iterations() * cDataBytes);
    QFile::remove(path);
}
BENCHMARK(BM_CreateEmptyGrid)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CreateEmptyGrid_Baseline_LargeZeroWrites(benchmark::State &state)
{
    const QString path = Dir().filePath(QStringLiteral("zeros.bin"));
    const std::vector<char> zeros(cLargeWrite, '\0');
    for (auto _ : state) {
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
            state.SkipWithError("cannot create");
        for (std::int64_t left = cDataBytes; left > 0; left -= cLargeWrite)
            out.write(zeros.data(), std::min(left, cLargeWrite));
        out.close();
    }
    state.SetBytesProcessed(state.iterations() * cDataBytes);
    QFile::remove(path);
}
BENCHMARK(BM_CreateEmptyGrid_Baseline_LargeZeroWrites)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef WN_BENCH_SAMPLE
// The synthetic noise map of `wnpack grid sample` (31-byte cells), beside an empty grid of the
// same size written by the library.
constexpr std::int64_t cSampleBytes = std::int64_t(cCols) * cRows * 31;

void BM_SampleGrid(benchmark::State &state)
{
    const QString path = Dir().filePath(QStringLiteral("sample.rlk"));
    for (auto _ : state) {
        wnpack::TOutputFile out(QFile::encodeName(path));
        wnpack::TProgress progress(true);
        wnpack::WriteSampleGrid(out, cCols, cRows, progress);
    }
    state.SetBytesProcessed(state.iterations() * cSampleBytes);
    QFile::remove(path);
}
BENCHMARK(BM_SampleGrid)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SampleGrid_Baseline_CreateEmptyGrid(benchmark::State &state)
{
    const QString path = Dir().filePath(QStringLiteral("empty31.rlk"));
    wn::TRKFile f(path);
    Describe(f);
    f.Struktur.nH = 3;
    f.Struktur.nW2 = 3;
    f.CreateInfos(true, true, true, true);
    for (auto _ : state)
        benchmark::DoNotOptimize(f.CreateEmptyGrid(nullptr, 0));
    state.SetBytesProcessed(state.iterations() * cSampleBytes);
    QFile::remove(path);
}
BENCHMARK(BM_SampleGrid_Baseline_CreateEmptyGrid)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

void BM_ReadDataBlock_Bands(benchmark::State &state)
{
    wn::TRKFile f(SharedGrid());
    f.OpenGridFile();
    f.ReadGridStructure();
    std::vector<std::uint8_t> band(static_cast<std::size_t>(cBandRows * cCols * cCell));
    for (auto _ : state) {
        for (int row = 1; row <= cRows; row += cBandRows)
            f.ReadDataBlock(1, row, cCols, cBandRows, band.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * cDataBytes);
}
BENCHMARK(BM_ReadDataBlock_Bands)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadDataBlock_Baseline_OneSequentialRead(benchmark::State &state)
{
    const QString path = SharedGrid();
    const std::int64_t dataStart = QFile(path).size() - cDataBytes;
    std::vector<char> all(static_cast<std::size_t>(cDataBytes));
    QFile in(path);
    in.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    for (auto _ : state) {
        in.seek(dataStart);
        benchmark::DoNotOptimize(in.read(all.data(), cDataBytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * cDataBytes);
}
BENCHMARK(BM_ReadDataBlock_Baseline_OneSequentialRead)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GetValuesOfPt_ClosedFile(benchmark::State &state)
{
    wn::TRKFile f(SharedGrid());
    wn::TTaggedLines lines;
    int n = 0;
    for (auto _ : state) {
        double x = 3500000 + (n * 37 % cCols) * 5.0, y = 5800000 + (n * 91 % cRows) * 5.0, z = 0;
        f.GetValuesOfPt(false, nullptr, x, y, z, lines);
        benchmark::DoNotOptimize(lines.data());
        ++n;
    }
}
BENCHMARK(BM_GetValuesOfPt_ClosedFile)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_GetValuesOfPt_Baseline_OpenReadCellClose(benchmark::State &state)
{
    const QString path = SharedGrid();
    const std::int64_t dataStart = QFile(path).size() - cDataBytes;
    char cell[cCell];
    int n = 0;
    for (auto _ : state) {
        QFile in(path);
        in.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        const std::int64_t index = std::int64_t(n * 91 % cRows) * cCols + (n * 37 % cCols);
        in.seek(dataStart + index * cCell);
        benchmark::DoNotOptimize(in.read(cell, cCell));
        in.close();
        ++n;
    }
}
BENCHMARK(BM_GetValuesOfPt_Baseline_OpenReadCellClose)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
