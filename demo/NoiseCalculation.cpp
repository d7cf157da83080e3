// The workbench's calculation worker.
#include "NoiseCalculation.h"

#include "framework/Exceptions.h"
#include "grid/KVRasterNeu.h"
#include "logging/LogEvent.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace wndemo {

using namespace wn;

namespace {

const char *const cHintGrid = "Grid of %1 x %2 nodes, %3 m apart, receivers %4 m above ground";
const char *const cWarnNoBarrier = "No barrier: the houses north of the road get the full road noise";
const char *const cWarnLarge = "%1 nodes: the calculation takes a while";
const char *const cProgress = "Rows %1 to %2 of %3 written";
const char *const cDone = "Grid file %1 written";
const char *const cStopped = "Calculation stopped by the user after %1 of %2 rows";
const char *const cFailed = "Calculation failed: %1";

constexpr std::int64_t cMaxNodes = std::int64_t(4000) * 4000;
constexpr std::int64_t cWarnNodes = 1000000;
// Night levels lie this far below the day levels.
constexpr double cRoadNight = 8.0, cFactoryNight = 10.0;
constexpr double cEmitterStep = 10.0; // m between the road's point sources
// The source levels are stored in one byte each, 10 to 112 dB(A) in steps of 0.4 dB.
constexpr float cWOffset = 10.0f, cWFactor = 0.4f;

struct TPt {
    double X, Y;
};

struct TEmitter {
    TPt At;
    double Day, Night; // sound power, dB(A)
};

void Log(const QString &text, TLogStatus kind, std::int32_t context = 0)
{
    if (KV_ELOG)
        KV_ELOG(text, kind, context, 0, nullptr);
}

double Cross(TPt o, TPt a, TPt b)
{
    return (a.X - o.X) * (b.Y - o.Y) - (a.Y - o.Y) * (b.X - o.X);
}

// Where the ray from s to r crosses the segment a-b, as the fraction along the ray; -1 if not.
double Crossing(TPt s, TPt r, TPt a, TPt b)
{
    const double d1 = Cross(a, b, s), d2 = Cross(a, b, r), d3 = Cross(s, r, a), d4 = Cross(s, r, b);
    if ((d1 > 0) == (d2 > 0) || (d3 > 0) == (d4 > 0))
        return -1;
    return d1 / (d1 - d2);
}

struct TLayout {
    std::vector<TEmitter> Road;
    TEmitter Factory;
    TPt BarrierA, BarrierB;
};

TLayout LayoutOf(const TScenario &s)
{
    TLayout l;
    const TPt a{0, 0.3 * s.Height}, b{s.Width, 0.55 * s.Height};
    const double length = std::hypot(b.X - a.X, b.Y - a.Y);
    const int n = std::max(2, int(length / cEmitterStep));
    const double perEmitter = s.RoadPower + 10.0 * std::log10(length / n);
    for (int i = 0; i < n; ++i) {
        const double f = (i + 0.5) / n;
        l.Road.push_back(
            {{a.X + f * (b.X - a.X), a.Y + f * (b.Y - a.Y)}, perEmitter, perEmitter - cRoadNight});
    }
    l.Factory = {{0.78 * s.Width, 0.8 * s.Height}, s.FactoryPower, s.FactoryPower - cFactoryNight};
    // Along the road's north side, over its middle third.
    l.BarrierA = {0.3 * s.Width, 0.375 * s.Height + 25};
    l.BarrierB = {0.65 * s.Width, 0.4625 * s.Height + 25};
    return l;
}

// Energy sum of one source's emitters at a receiver, by day and by night.
void AddSource(const std::vector<TEmitter> &emitters, TPt here, const TLayout &l, double barrier, double &day,
               double &night)
{
    for (const TEmitter &e : emitters) {
        const double d = std::max(1.0, std::hypot(here.X - e.At.X, here.Y - e.At.Y));
        double a = 20.0 * std::log10(d) + 11.0 + 0.005 * d;
        if (barrier > cNoBarrier) {
            const double f = Crossing(e.At, here, l.BarrierA, l.BarrierB);
            if (f >= 0) {
                // Path difference over the top; sources at 0.5 m, receivers at cReceiverHeight.
                const double ds = f * d, dr = (1 - f) * d;
                const double z = std::hypot(ds, barrier - 0.5) + std::hypot(dr, barrier - cReceiverHeight) -
                                 std::hypot(d, cReceiverHeight - 0.5);
                a += std::min(20.0, 10.0 * std::log10(3.0 + 20.0 * std::max(0.0, z)));
            }
        }
        day += std::pow(10.0, (e.Day - a) / 10.0);
        night += std::pow(10.0, (e.Night - a) / 10.0);
    }
}

void Keep(TInfoItem &item, float value)
{
    item.Min = std::min(item.Min, value);
    item.Max = std::max(item.Max, value);
}

} // namespace

void CheckScenario(const TScenario &s)
{
    if (!(s.Spacing > 0) || !(s.Width > 0) || !(s.Height > 0))
        throw Exception(QStringLiteral("Spacing, width and height must be above 0"));
    const double cols = std::floor(s.Width / s.Spacing) + 1, rows = std::floor(s.Height / s.Spacing) + 1;
    if (cols * rows > double(cMaxNodes) || cols > 65535 || rows > 65535)
        throw Exception(
            QStringLiteral("%1 x %2 nodes are more than the workbench calculates").arg(cols).arg(rows));
}

TNoiseCalculation::TNoiseCalculation(const TScenario &scenario, const QString &fileName)
    : FScenario(scenario), FFileName(fileName)
{}

TNoiseCalculation::~TNoiseCalculation()
{
    TerminateAndWait();
}

void TNoiseCalculation::Execute()
{
    try {
        Calculate();
    } catch (const std::exception &e) {
        ReturnValue = 2;
        Log(QString::fromLatin1(cFailed).arg(QString::fromUtf8(e.what())), clog_Error);
    }
}

void TNoiseCalculation::Calculate()
{
    const TScenario &s = FScenario;
    CheckScenario(s);
    const int cols = int(std::floor(s.Width / s.Spacing)) + 1,
              rows = int(std::floor(s.Height / s.Spacing)) + 1;
    const TLayout layout = LayoutOf(s);
    Log(QString::fromLatin1(cHintGrid).arg(cols).arg(rows).arg(s.Spacing).arg(cReceiverHeight), clog_Hint);
    if (!(s.BarrierHeight > cNoBarrier))
        Log(QString::fromLatin1(cWarnNoBarrier), clog_warning);
    if (std::int64_t(cols) * rows > cWarnNodes)
        Log(QString::fromLatin1(cWarnLarge).arg(std::int64_t(cols) * rows), clog_warning);

    // Written beside the target and moved over it when complete, so a stopped run leaves the
    // last result alone.
    const QString part = FFileName + QStringLiteral(".part");
    TRKFile f(part);
    auto &st = f.Struktur;
    st.dx = st.dy = float(s.Spacing);
    st.ZLevels = 1;
    st.nH = 2;
    st.TypeH = cwtSingle;
    st.nW1 = 2;
    st.TypeW1 = cwtNone;
    st.nW2 = 2;
    st.TypeW2 = cwtSmallInt;
    f.CalcDimension(s.XOrigin, s.YOrigin, s.XOrigin + (cols - 1) * s.Spacing,
                    s.YOrigin + (rows - 1) * s.Spacing);
    f.Comment = QStringLiteral("Road and factory, barrier %1 m").arg(s.BarrierHeight);
    f.CreateInfos(true, true, true, true);
    const char *const hNames[2] = {"Lday", "Lnight"};
    const char *const periods[2][2] = {{"day", "6-22 h"}, {"night", "22-6 h"}};
    const char *const sources[2] = {"Road", "Factory"};
    for (int i = 0; i < 2; ++i) {
        f.GetHInfo(i + 1)->Name = QLatin1String(hNames[i]);
        f.GetHInfo(i + 1)->Unit = QStringLiteral("dB(A)");
        f.GetW1Info(i + 1)->Name = QLatin1String(sources[i]);
        f.GetW1Info(i + 1)->Unit = QStringLiteral("dB(A)");
        f.GetW1Info(i + 1)->Offset = cWOffset;
        f.GetW1Info(i + 1)->Factor = cWFactor;
        f.GetW2Info(i + 1)->Name = QLatin1String(periods[i][0]);
        f.GetW2Info(i + 1)->Unit = QLatin1String(periods[i][1]);
        f.GetW2Info(i + 1)->Offset = cWOffset;
        f.GetW2Info(i + 1)->Factor = cWFactor;
    }
    f.GetZInfo(1)->Name = QStringLiteral("%1 m").arg(cReceiverHeight);
    f.GetZInfo(1)->Unit = QStringLiteral("receiver height above ground");
    if (!f.CreateEmptyGrid(nullptr, 0))
        throw EInOutError(QStringLiteral("Could not write the whole of %1").arg(part), 101);

    f.OpenGridFile();
    const std::int64_t cellSize = f.GetDataSize();
    const std::int64_t w2Pos[2][2] = {{f.GetDataPos(1, 1), f.GetDataPos(1, 2)},
                                      {f.GetDataPos(2, 1), f.GetDataPos(2, 2)}};
    const std::vector<TEmitter> factory{layout.Factory};
    std::vector<std::uint8_t> band(std::size_t(cols * cellSize * cBandRows));
    for (int r0 = 1; r0 <= rows; r0 += cBandRows) {
        Log(QString(), clog_CheckPause);
        if (rechenabbruch || Terminated()) {
            f.CloseGridFile();
            QFile::remove(part);
            ReturnValue = 1;
            Log(QString::fromLatin1(cStopped).arg(r0 - 1).arg(rows), clog_userbreak);
            return;
        }
        const int n = std::min(cBandRows, rows - r0 + 1);
        std::fill(band.begin(), band.end(), 0);
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < cols; ++c) {
                const TPt here{c * s.Spacing, (r0 - 1 + r) * s.Spacing};
                std::uint8_t *cell = &band[std::size_t((std::int64_t(r) * cols + c) * cellSize)];
                double e[2][2] = {{0, 0}, {0, 0}}; // [source][period]
                AddSource(layout.Road, here, layout, s.BarrierHeight, e[0][0], e[0][1]);
                AddSource(factory, here, layout, s.BarrierHeight, e[1][0], e[1][1]);
                for (int p = 0; p < 2; ++p) {
                    const float total = float(10.0 * std::log10(e[0][p] + e[1][p] + 1e-3));
                    std::memcpy(cell + 1 + p * 4, &total, 4);
                    Keep(*f.GetHInfo(p + 1), total);
                    for (int src = 0; src < 2; ++src) {
                        const double level = 10.0 * std::log10(e[src][p] + 1e-3);
                        // Small integers whose high byte stays 0.
                        const auto stored =
                            std::uint8_t(std::clamp(std::lround((level - cWOffset) / cWFactor), 0L, 255L));
                        cell[w2Pos[src][p]] = stored;
                        const float physical = float(stored) * cWFactor + cWOffset;
                        Keep(*f.GetW1Info(src + 1), physical);
                        Keep(*f.GetW2Info(p + 1), physical);
                    }
                }
            }
        f.WriteDataBlock(1, r0, cols, n, band.data());
        Log(QString::fromLatin1(cProgress).arg(r0).arg(r0 + n - 1).arg(rows), clog_Progress,
            std::int32_t((r0 + n - 1) * 100 / rows));
    }
    f.WriteHMinMax();
    f.WriteW1MinMax();
    f.WriteW2MinMax();
    f.CloseGridFile();
    QFile::remove(FFileName);
    if (!QFile::rename(part, FFileName))
        throw EInOutError::FromErrno(EACCES, FFileName);
    Log(QString::fromLatin1(cDone).arg(FFileName), clog_protok);
}

} // namespace wndemo
