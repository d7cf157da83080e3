// The synthetic noise map of `wnpack grid sample` and `wnpack demo`: a motorway, a rail line
// and a factory, with a barrier beside the motorway. Levels spread freely from the sources (no
// ground or air absorption), and a line source is integrated along each straight piece in
// closed form, so that a map of millions of nodes takes seconds.
#include "GridTool.h"

#include "Command.h"
#include "Paths.h"
#include "Progress.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cSizeText = "columns and rows must lie between 2 and 65535";
const char *const cCommentText = "Synthetic noise map: motorway, rail line, factory, barrier";

constexpr double cSpacing = 5.0;
constexpr double cX0 = 3500000.0, cY0 = 5800000.0;
// Free-field spreading: Lp = Lw - 20 lg d - 11 (a line source: its power per metre, integrated).
const double cSpreading = std::pow(10.0, -1.1);
// What the barrier lets through.
const double cBarrier = std::pow(10.0, -1.2);
constexpr double cMinDistance = 1.0;
constexpr int cPeriods = 3;
constexpr float cOffset = 10.0f, cFactor = 0.4f;

struct TPoint {
    double X, Y;
};

TPoint operator-(TPoint a, TPoint b)
{
    return {a.X - b.X, a.Y - b.Y};
}

double Cross(TPoint a, TPoint b)
{
    return a.X * b.Y - a.Y * b.X;
}

// A source with its sound power per period (day, evening, night): a point, or a line whose
// levels are per metre.
struct TSource {
    const char *Name;
    std::vector<TPoint> Points;
    double Power[cPeriods];
};

struct TBarrier {
    TPoint A, B;
};

// Whether the sight line from r to s crosses the barrier.
bool Shadowed(TPoint r, TPoint s, const TBarrier &b)
{
    return Cross(s - r, b.A - r) * Cross(s - r, b.B - r) < 0 &&
           Cross(b.B - b.A, r - b.A) * Cross(b.B - b.A, s - b.A) < 0;
}

// The part [t0, t1] of the piece p + t u (0 <= t <= len) that the barrier hides from r: points
// beyond the barrier's line and between the sight lines to its two ends. Each condition is
// a + b t > 0 along the piece.
bool ShadowOfPiece(TPoint r, TPoint p, TPoint u, double len, const TBarrier &b, double &t0, double &t1)
{
    const double rSide = Cross(b.B - b.A, r - b.A);
    const double wedge = Cross(b.A - r, b.B - r);
    if (rSide == 0 || wedge == 0)
        return false;
    const double conditions[3][2] = {
        {-rSide * Cross(b.B - b.A, p - b.A), -rSide * Cross(b.B - b.A, u)},
        {wedge * Cross(b.A - r, p - r), wedge * Cross(b.A - r, u)},
        {wedge * Cross(p - r, b.B - r), wedge * Cross(u, b.B - r)},
    };
    t0 = 0;
    t1 = len;
    for (const auto &[a, slope] : conditions) {
        if (slope == 0) {
            if (a <= 0)
                return false;
        } else if (slope > 0) {
            t0 = std::max(t0, -a / slope);
        } else {
            t1 = std::min(t1, -a / slope);
        }
    }
    return t0 < t1;
}

// A straight piece of a line source: from P, Len metres along the unit vector U.
struct TPiece {
    TPoint P, U;
    double Len;
};

// A source as the model computes it: its pieces (none for a point), and per period its power
// (relative to 1 W, with the spreading constant) and the level of that power.
struct TEmitter {
    TPoint Point;
    std::vector<TPiece> Pieces;
    double Power[cPeriods];
    double Level[cPeriods];
};

TEmitter Prepare(const TSource &s)
{
    TEmitter e{s.Points[0], {}, {}, {}};
    for (std::size_t i = 0; i + 1 < s.Points.size(); ++i) {
        const TPoint d = s.Points[i + 1] - s.Points[i];
        const double len = std::hypot(d.X, d.Y);
        e.Pieces.push_back({s.Points[i], {d.X / len, d.Y / len}, len});
    }
    for (int p = 0; p < cPeriods; ++p) {
        e.Power[p] = cSpreading * std::pow(10.0, s.Power[p] / 10.0);
        e.Level[p] = 10.0 * std::log10(e.Power[p]);
    }
    return e;
}

// The integral of 1 / d^2 along a straight piece seen from r, with the barrier's share damped.
double PieceFactor(TPoint r, const TPiece &piece, const TBarrier &b)
{
    const TPoint p = piece.P, u = piece.U;
    const double along = u.X * (p.X - r.X) + u.Y * (p.Y - r.Y);
    const double h = std::max(std::abs(Cross(u, r - p)), cMinDistance);
    // atan(a / h) - atan(b / h) in one call.
    const auto angle = [h](double a, double b) { return std::atan2(h * (a - b), h * h + a * b); };
    double factor = angle(along + piece.Len, along);
    double t0, t1;
    if (ShadowOfPiece(r, p, u, piece.Len, b, t0, t1))
        factor -= (1 - cBarrier) * angle(along + t1, along + t0);
    return factor / h;
}

// How much of a source's power reaches r: 1 / d^2 for a point, its integral along a line.
double Geometry(const TEmitter &e, TPoint r, const TBarrier &b)
{
    if (e.Pieces.empty()) {
        const double d = std::max(std::hypot(r.X - e.Point.X, r.Y - e.Point.Y), cMinDistance);
        return (Shadowed(r, e.Point, b) ? cBarrier : 1.0) / (d * d);
    }
    double g = 0;
    for (const TPiece &piece : e.Pieces)
        g += PieceFactor(r, piece, b);
    return g;
}

std::uint8_t Quantize(double level)
{
    return std::uint8_t(std::clamp(std::nearbyint((level - cOffset) / cFactor), 0.0, 255.0));
}

void Describe(TRKFile &f, int cols, int rows, const std::vector<TSource> &sources)
{
    auto &st = f.Struktur;
    st.dx = float(cSpacing);
    st.dy = float(cSpacing);
    st.ZLevels = 1;
    st.nH = cPeriods;
    st.TypeH = cwtSingle;
    st.nW1 = std::uint16_t(sources.size());
    st.TypeW1 = cwtNone;
    st.nW2 = cPeriods;
    st.TypeW2 = cwtSmallInt;
    f.CalcDimension(cX0, cY0, cX0 + (cols - 1) * cSpacing, cY0 + (rows - 1) * cSpacing);
    f.Comment = QLatin1String(cCommentText);
    f.CreateInfos(true, true, true, true);
    const char *const periods[cPeriods][2] = {
        {"Lday", "6-18 h"}, {"Levening", "18-22 h"}, {"Lnight", "22-6 h"}};
    for (int p = 0; p < cPeriods; ++p) {
        f.GetHInfo(p + 1)->Name = QLatin1String(periods[p][0]);
        f.GetHInfo(p + 1)->Unit = QStringLiteral("dB(A)");
        TInfoItem &w2 = *f.GetW2Info(p + 1);
        w2.Name = QLatin1String(periods[p][0] + 1);
        w2.Unit = QLatin1String(periods[p][1]);
        w2.Offset = cOffset;
        w2.Factor = cFactor;
    }
    for (std::size_t s = 0; s < sources.size(); ++s) {
        TInfoItem &w1 = *f.GetW1Info(int(s) + 1);
        w1.Name = QLatin1String(sources[s].Name);
        w1.Unit = QStringLiteral("dB(A)");
        w1.Offset = cOffset;
        w1.Factor = cFactor;
    }
    f.GetZInfo(1)->Name = QStringLiteral("4 m");
    f.GetZInfo(1)->Unit = QStringLiteral("receiver height above ground");
}

void Widen(TInfoItem &item, float value)
{
    item.Min = std::min(item.Min, value);
    item.Max = std::max(item.Max, value);
}

} // namespace

void WriteSampleGrid(TOutputFile &out, int cols, int rows, TProgress &progress)
{
    if (cols < 2 || rows < 2 || cols > 65535 || rows > 65535)
        throw UsageError(QLatin1String(cSizeText));
    const double width = (cols - 1) * cSpacing, height = (rows - 1) * cSpacing;
    // Local coordinates in metres from the south-west corner, scaled to the map's size.
    const auto at = [&](double fx, double fy) { return TPoint{fx * width, fy * height}; };
    const std::vector<TSource> sources = {
        {"A7 motorway", {at(0, 0.35), at(0.45, 0.42), at(1, 0.5)}, {84, 81, 77}},
        {"Rail line", {at(0.15, 1), at(0.4, 0.6), at(0.7, 0)}, {79, 79, 82}},
        {"Factory", {at(0.78, 0.78)}, {106, 103, 95}},
    };
    const TBarrier barrier{at(0.3, 0.44), at(0.65, 0.5)};
    const TPoint factory = sources[2].Points[0];
    std::vector<TEmitter> emitters;
    for (const TSource &source : sources)
        emitters.push_back(Prepare(source));

    TRKFile f(out.Device().fileName());
    Describe(f, cols, rows, sources);
    const TCellLayout layout(f.Struktur);
    TGridWriter writer(f, out, QByteArray());
    std::vector<std::uint8_t> row(std::size_t(cols * layout.CellSize));
    // The stored bytes seen per source and period, and the H levels, for min and max.
    std::vector<std::array<std::uint8_t, cPeriods>> low(emitters.size()), high(emitters.size());
    for (std::size_t s = 0; s < emitters.size(); ++s) {
        low[s].fill(255);
        high[s].fill(0);
    }
    for (int r = 1; r <= rows; ++r) {
        std::fill(row.begin(), row.end(), 0);
        for (int c = 1; c <= cols; ++c) {
            const TPoint here{(c - 1) * cSpacing, (r - 1) * cSpacing};
            std::uint8_t *cell = &row[std::size_t((c - 1) * layout.CellSize)];
            // The flag marks nodes on the factory's premises.
            cell[0] = std::abs(here.X - factory.X) < 20 && std::abs(here.Y - factory.Y) < 20 ? 1 : 0;
            double total[cPeriods] = {0, 0, 0};
            for (std::size_t s = 0; s < emitters.size(); ++s) {
                const TEmitter &e = emitters[s];
                const double g = Geometry(e, here, barrier);
                const double lg = g > 0 ? 10.0 * std::log10(g) : -HUGE_VAL;
                for (int p = 0; p < cPeriods; ++p) {
                    const std::uint8_t stored = Quantize(lg + e.Level[p]);
                    cell[layout.W2Pos(std::int64_t(s) + 1, p + 1)] = stored; // small int, high byte 0
                    low[s][p] = std::min(low[s][p], stored);
                    high[s][p] = std::max(high[s][p], stored);
                    total[p] += g * e.Power[p];
                }
            }
            for (int p = 0; p < cPeriods; ++p) {
                // A quiet background of 30 dB(A) everywhere.
                const float level = float(10.0 * std::log10(total[p] + 1000.0));
                qToLittleEndian(level, cell + layout.HPos(p + 1));
                Widen(*f.GetHInfo(p + 1), level);
            }
        }
        writer.Write(row.data(), std::int64_t(row.size()));
        progress.Update(r, rows);
    }
    for (std::size_t s = 0; s < emitters.size(); ++s)
        for (int p = 0; p < cPeriods; ++p)
            for (std::uint8_t stored : {low[s][p], high[s][p]}) {
                const float physical = float(stored) * cFactor + cOffset;
                Widen(*f.GetW1Info(int(s) + 1), physical);
                Widen(*f.GetW2Info(p + 1), physical);
            }
    writer.Finish();
}

} // namespace wnpack
