// Palette look-ups as a map view uses them: the display colour of every cell of a large map, and
// the nearest palette entry of many colours. Each figure runs beside its baseline.
#include "colours/FarbArr.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <random>
#include <vector>

using namespace wn;

namespace {

constexpr int cColourCount = 1000000;
constexpr int cMapSide = 4096;

// 0: the default palette (most entries still black); 1: all 240 entries random.
void FillPalette(TFarbArray &f, int kind)
{
    if (kind == 0) {
        f.InitFarben();
        return;
    }
    std::mt19937 rng(240);
    for (int nr = 1; nr <= cFarbCount; ++nr)
        f.SetRGB(nr, std::uint8_t(rng()), std::uint8_t(rng()), std::uint8_t(rng()));
}

const std::vector<std::array<int, 3>> &Colours()
{
    static const std::vector<std::array<int, 3>> colours = [] {
        std::mt19937 rng(1);
        std::vector<std::array<int, 3>> v(cColourCount);
        for (auto &c : v)
            c = {int(rng() % 256), int(rng() % 256), int(rng() % 256)};
        return v;
    }();
    return colours;
}

// The search over rising tolerances, written as the old program wrote it.
int LiteralNearest(const std::array<std::uint8_t, 3 * cFarbCount> &entries, int R, int G, int B)
{
    for (int t = 0; t <= 255; ++t)
        for (int nr = 1; nr <= cFarbCount; ++nr) {
            const std::uint8_t *e = &entries[std::size_t(3 * (nr - 1))];
            if (std::abs(R - e[0]) <= t && std::abs(G - e[1]) <= t && std::abs(B - e[2]) <= t)
                return nr;
        }
    return 0;
}

// Looks up the nearest entry of every colour with Nearest(R, G, B).
template <typename Search> void RunNearest(benchmark::State &state, Search Nearest)
{
    const auto &colours = Colours();
    for (auto _ : state) {
        long sum = 0;
        for (const auto &c : colours)
            sum += Nearest(c[0], c[1], c[2]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * cColourCount);
}

void BM_Nearest_OnePass(benchmark::State &state)
{
    TFarbArray f;
    FillPalette(f, int(state.range(0)));
    RunNearest(state, [&f](int R, int G, int B) { return f.GetNearestFarbNr(R, G, B); });
}

void BM_Nearest_LiteralSearchBaseline(benchmark::State &state)
{
    TFarbArray f;
    FillPalette(f, int(state.range(0)));
    std::array<std::uint8_t, 3 * cFarbCount> entries{};
    for (int nr = 1; nr <= cFarbCount; ++nr)
        f.GetRGB(nr, entries[std::size_t(3 * nr - 3)], entries[std::size_t(3 * nr - 2)],
                 entries[std::size_t(3 * nr - 1)]);
    RunNearest(state, [&entries](int R, int G, int B) { return LiteralNearest(entries, R, G, B); });
}

// Maps of palette numbers as hosts keep them: one byte per cell, or one Integer per cell.
template <typename T> const std::vector<T> &Map()
{
    static const std::vector<T> map = [] {
        std::mt19937 rng(2);
        std::vector<T> v(std::size_t(cMapSide) * cMapSide);
        for (auto &n : v)
            n = T(1 + rng() % cFarbCount);
        return v;
    }();
    return map;
}

void SetAdjustments(TFarbArray &f)
{
    f.InitFarben();
    f.SetColorIntens(30);
    f.SetGrayed(40);
    f.SetBlack(20);
}

// Colours every cell of the map with Colour(number).
template <typename T, typename Lookup> void RunDisplay(benchmark::State &state, Lookup Colour)
{
    const auto &map = Map<T>();
    std::vector<TColor> out(map.size());
    for (auto _ : state) {
        for (std::size_t i = 0; i < map.size(); ++i)
            out[i] = Colour(map[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(map.size()));
}

template <typename T> void BM_Display_GetRGBFarbe(benchmark::State &state)
{
    TFarbArray f;
    SetAdjustments(f);
    RunDisplay<T>(state, [&f](T nr) { return f.GetRGBFarbe(nr); });
}

template <typename T> void BM_Display_PlainArrayBaseline(benchmark::State &state)
{
    TFarbArray f;
    SetAdjustments(f);
    std::array<TColor, cFarbCount + 1> plain{};
    for (int nr = 1; nr <= cFarbCount; ++nr)
        plain[std::size_t(nr)] = f.GetRGBFarbe(nr);
    RunDisplay<T>(state, [&plain](T nr) { return plain[std::size_t(nr)]; });
}

} // namespace

BENCHMARK(BM_Nearest_OnePass)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Nearest_LiteralSearchBaseline)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Display_GetRGBFarbe<std::uint8_t>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Display_PlainArrayBaseline<std::uint8_t>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Display_GetRGBFarbe<std::int32_t>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Display_PlainArrayBaseline<std::int32_t>)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
