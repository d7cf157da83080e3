// The synthetic noise map of `wnpack grid sample` and `wnpack demo`: a motorway, a rail line
// and a factory, with a barrier beside the motorway, on a grid of result values.
#include "GridTool.h"

#include "Command.h"

#include "framework/Exceptions.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

struct TPoint {
    double X, Y;
};

// A source with its sound power per period (day, evening, night): a point, or a line whose
// levels are per metre and which is split into short pieces.
struct TSource {
    const char *Name;
    std::vector<TPoint> Points;
    double Power[3];
};

bool Crosses(TPoint a, TPoint b, TPoint c, TPoint d)
{
    const auto side = [](TPoint p, TPoint q, TPoint r) {
        return (q.X - p.X) * (r.Y - p.Y) - (q.Y - p.Y) * (r.X - p.X);
    };
    return side(a, b, c) * side(a, b, d) < 0 && side(c, d, a) * side(c, d, b) < 0;
}

struct TEmitter {
    TPoint At;
    double Power[3];
};

std::vector<TEmitter> Emitters(const TSource &source)
{
    std::vector<TEmitter> out;
    if (source.Points.size() == 1) {
        out.push_back({source.Points[0], {source.Power[0], source.Power[1], source.Power[2]}});
        return out;
    }
    constexpr double piece = 20.0;
    for (std::size_t i = 0; i + 1 < source.Points.size(); ++i) {
        const TPoint a = source.Points[i], b = source.Points[i + 1];
        const double len = std::hypot(b.X - a.X, b.Y - a.Y);
        const int n = std::max(1, int(std::ceil(len / piece)));
        const double add = 10.0 * std::log10(len / n);
        for (int k = 0; k < n; ++k) {
            const double t = (k + 0.5) / n;
            out.push_back({{a.X + t * (b.X - a.X), a.Y + t * (b.Y - a.Y)},
                           {source.Power[0] + add, source.Power[1] + add, source.Power[2] + add}});
        }
    }
    return out;
}

std::uint8_t Quantize(double level, float offset, float factor)
{
    return std::uint8_t(std::clamp(std::nearbyint((level - offset) / factor), 0.0, 255.0));
}

} // namespace

void WriteSampleGrid(const QString &fileName, int cols, int rows)
{
    if (cols < 2 || rows < 2 || cols > 65535 || rows > 65535)
        throw UsageError("columns and rows must lie between 2 and 65535");
    constexpr double spacing = 5.0;
    constexpr double x0 = 3500000.0, y0 = 5800000.0;
    const double width = (cols - 1) * spacing, height = (rows - 1) * spacing;

    // Local coordinates in metres from the south-west corner, scaled to the map's size.
    const auto at = [&](double fx, double fy) { return TPoint{fx * width, fy * height}; };
    const std::vector<TSource> sources = {
        {"A7 motorway", {at(0, 0.35), at(0.45, 0.42), at(1, 0.5)}, {84, 81, 77}},
        {"Rail line", {at(0.15, 1), at(0.4, 0.6), at(0.7, 0)}, {79, 79, 82}},
        {"Factory", {at(0.78, 0.78)}, {106, 103, 95}},
    };
    const TPoint barrierA = at(0.3, 0.44), barrierB = at(0.65, 0.5);
    const TPoint factory = sources[2].Points[0];
    std::vector<std::vector<TEmitter>> emitters;
    for (const auto &s : sources)
        emitters.push_back(Emitters(s));

    TRKFile f(fileName);
    auto &st = f.Struktur;
    st.dx = float(spacing);
    st.dy = float(spacing);
    st.ZLevels = 1;
    st.nH = 3;
    st.TypeH = cwtSingle;
    st.nW1 = std::uint16_t(sources.size());
    st.TypeW1 = cwtNone;
    st.nW2 = 3;
    st.TypeW2 = cwtSmallInt;
    f.CalcDimension(x0, y0, x0 + width, y0 + height);
    f.Comment = QStringLiteral("Synthetic noise map: motorway, rail line, factory, barrier");
    f.CreateInfos(true, true, true, true);
    const char *const periods[3][2] = {{"Lday", "6-18 h"}, {"Levening", "18-22 h"}, {"Lnight", "22-6 h"}};
    constexpr float offset = 10.0f, factor = 0.4f;
    for (int p = 0; p < 3; ++p) {
        f.GetHInfo(p + 1)->Name = QString::fromLatin1(periods[p][0]);
        f.GetHInfo(p + 1)->Unit = QStringLiteral("dB(A)");
        f.GetW2Info(p + 1)->Name = QString::fromLatin1(periods[p][0]).mid(1);
        f.GetW2Info(p + 1)->Unit = QString::fromLatin1(periods[p][1]);
        f.GetW2Info(p + 1)->Offset = offset;
        f.GetW2Info(p + 1)->Factor = factor;
    }
    for (std::size_t s = 0; s < sources.size(); ++s) {
        TInfoItem &w1 = *f.GetW1Info(int(s) + 1);
        w1.Name = QString::fromLatin1(sources[s].Name);
        w1.Unit = QStringLiteral("dB(A)");
        w1.Offset = offset;
        w1.Factor = factor;
    }
    f.GetZInfo(1)->Name = QStringLiteral("4 m");
    f.GetZInfo(1)->Unit = QStringLiteral("receiver height above ground");
    if (!f.CreateEmptyGrid(nullptr, 0))
        throw EInOutError::FromErrno(cInOutDiskWriteError, fileName);

    f.OpenGridFile();
    const TCellLayout layout(f.Struktur);
    const std::int64_t cellSize = layout.CellSize;
    std::vector<std::uint8_t> row(std::size_t(cols * cellSize));
    for (int r = 1; r <= rows; ++r) {
        std::fill(row.begin(), row.end(), 0);
        for (int c = 1; c <= cols; ++c) {
            const TPoint here{(c - 1) * spacing, (r - 1) * spacing};
            std::uint8_t *cell = &row[std::size_t((c - 1) * cellSize)];
            // The flag marks nodes on the factory's premises.
            cell[0] = std::abs(here.X - factory.X) < 20 && std::abs(here.Y - factory.Y) < 20 ? 1 : 0;
            double total[3] = {0, 0, 0};
            for (std::size_t s = 0; s < sources.size(); ++s) {
                double energy[3] = {0, 0, 0};
                for (const TEmitter &e : emitters[s]) {
                    const double d = std::max(1.0, std::hypot(here.X - e.At.X, here.Y - e.At.Y));
                    double a = 20.0 * std::log10(d) + 11.0 + 0.005 * d;
                    if (Crosses(e.At, here, barrierA, barrierB))
                        a += 12.0;
                    for (int p = 0; p < 3; ++p)
                        energy[p] += std::pow(10.0, (e.Power[p] - a) / 10.0);
                }
                for (int p = 0; p < 3; ++p) {
                    const double level = 10.0 * std::log10(energy[p] + 1e-3);
                    const std::uint8_t stored = Quantize(level, offset, factor);
                    cell[layout.W2Pos(std::int64_t(s) + 1, p + 1)] = stored; // small int, high byte 0
                    const float physical = float(stored) * factor + offset;
                    for (TInfoItem *item : {f.GetW1Info(int(s) + 1), f.GetW2Info(p + 1)}) {
                        item->Min = std::min(item->Min, physical);
                        item->Max = std::max(item->Max, physical);
                    }
                    total[p] += energy[p];
                }
            }
            for (int p = 0; p < 3; ++p) {
                // A quiet background of 30 dB(A) everywhere.
                const float level = float(10.0 * std::log10(total[p] + 1000.0));
                qToLittleEndian(level, cell + layout.HPos(p + 1));
                TInfoItem &h = *f.GetHInfo(p + 1);
                h.Min = std::min(h.Min, level);
                h.Max = std::max(h.Max, level);
            }
        }
        f.WriteDataBlock(1, r, cols, 1, row.data());
    }
    f.WriteHMinMax();
    f.WriteW1MinMax();
    f.WriteW2MinMax();
    f.CloseGridFile();
}

} // namespace wnpack
