// Sorting point numbers: by TStringFormat sort strings against QCollator's numeric mode.
#include "util/NoSortFormat.h"

#include <QCollator>
#include <QCollatorSortKey>
#include <QStringList>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

namespace {

constexpr int kCount = 1'000'000;
// Room for every generated form: B5.12, 7a, P10-3.
const QString kFormat = QStringLiteral("A000-00.0000");

const QStringList &Numbers()
{
    static const QStringList numbers = [] {
        std::mt19937 rng(20260114);
        const auto pick = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
        QStringList list;
        list.reserve(kCount);
        for (int i = 0; i < kCount; ++i) {
            const QChar prefix = QChar(u'A' + pick(0, 25));
            const int main = pick(1, 999);
            switch (pick(0, 3)) {
            case 0: list << QStringLiteral("%1%2.%3").arg(prefix).arg(main).arg(pick(1, 9999)); break;
            case 1: list << QStringLiteral("%1%2").arg(main).arg(QChar(u'a' + pick(0, 25))); break;
            case 2: list << QStringLiteral("%1%2-%3").arg(prefix).arg(main).arg(pick(1, 99)); break;
            default: list << QStringLiteral("%1%2").arg(prefix).arg(main); break;
            }
        }
        return list;
    }();
    return numbers;
}

void BM_SortBySortStrings(benchmark::State &state)
{
    const QStringList &numbers = Numbers();
    for (auto _ : state) {
        wn::TStringFormat f;
        f.InitPointNo(kFormat);
        std::vector<std::pair<QString, qsizetype>> keyed;
        keyed.reserve(std::size_t(numbers.size()));
        bool allFit = true;
        for (qsizetype i = 0; i < numbers.size(); ++i) {
            keyed.emplace_back(f.GetSortStr(numbers[i]), i);
            allFit = allFit && f.ErrorCode == 0;
        }
        if (!allFit)
            state.SkipWithError("a generated number does not fit the format");
        std::stable_sort(keyed.begin(), keyed.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        benchmark::DoNotOptimize(keyed.data());
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

QCollator NumericCollator()
{
    // Not the C locale: Qt compares code points there and ignores the numeric mode.
    QCollator collator(QLocale(QLocale::English, QLocale::UnitedStates));
    collator.setNumericMode(true);
    return collator;
}

// The baseline: a natural sort as Qt offers it.
void BM_SortQCollatorNumeric(benchmark::State &state)
{
    const QStringList &numbers = Numbers();
    const QCollator collator = NumericCollator();
    if (collator.compare(QStringLiteral("B9"), QStringLiteral("B10")) >= 0)
        state.SkipWithError("the collator does not sort numerically");
    for (auto _ : state) {
        QStringList copy = numbers;
        std::stable_sort(copy.begin(), copy.end(), collator);
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

// The baseline with the collator's own keys built once per number.
void BM_SortQCollatorNumericKeys(benchmark::State &state)
{
    const QStringList &numbers = Numbers();
    const QCollator collator = NumericCollator();
    for (auto _ : state) {
        std::vector<std::pair<QCollatorSortKey, qsizetype>> keyed;
        keyed.reserve(std::size_t(numbers.size()));
        for (qsizetype i = 0; i < numbers.size(); ++i)
            keyed.emplace_back(collator.sortKey(numbers[i]), i);
        std::stable_sort(keyed.begin(), keyed.end(),
                         [](const auto &a, const auto &b) { return a.first.compare(b.first) < 0; });
        benchmark::DoNotOptimize(keyed.data());
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

// Building the keys alone, without sorting: sort strings against the collator's keys.
void BM_BuildSortStrings(benchmark::State &state)
{
    const QStringList &numbers = Numbers();
    wn::TStringFormat f;
    f.InitPointNo(kFormat);
    for (auto _ : state) {
        for (const QString &n : numbers)
            benchmark::DoNotOptimize(f.GetSortStr(n));
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

void BM_BuildQCollatorKeys(benchmark::State &state)
{
    const QStringList &numbers = Numbers();
    const QCollator collator = NumericCollator();
    for (auto _ : state) {
        for (const QString &n : numbers)
            benchmark::DoNotOptimize(collator.sortKey(n));
    }
    state.SetItemsProcessed(state.iterations() * numbers.size());
}

BENCHMARK(BM_SortBySortStrings)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortQCollatorNumeric)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortQCollatorNumericKeys)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildSortStrings)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildQCollatorKeys)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
