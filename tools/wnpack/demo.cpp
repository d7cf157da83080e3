// wnpack demo: the package's main job, run by ./wn demo. Writes a sample noise map into a
// temporary folder, describes it and answers a few point queries on it.
#include "Command.h"
#include "GridTool.h"

#include "framework/SysUtils.h"
#include "grid/KVRasterNeu.h"

#include <QDir>
#include <QTemporaryDir>

#include <cstdio>

namespace wnpack {
namespace {

void Print(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stdout);
}

int RunDemo(const QStringList &)
{
    QTemporaryDir dir;
    if (!dir.isValid())
        throw std::runtime_error("cannot make a temporary folder");
    const QString file = dir.filePath(QStringLiteral("sample.rlk"));
    WriteSampleGrid(file, 160, 120);
    Print(QStringLiteral("Sample noise map written to %1\n\n").arg(QDir::toNativeSeparators(file)));
    Print(GridInfoText(file));

    wn::TRKFile grid(file);
    double x0, y0, x1, y1;
    grid.GetKoordMinMax(x0, y0, x1, y1);
    const struct {
        const char *What;
        double FX, FY;
    } points[] = {{"next to the motorway", 0.2, 0.37},
                  {"behind the barrier", 0.5, 0.55},
                  {"at the factory", 0.78, 0.78},
                  {"outside the map (answered by the nearest border node)", 1.5, -0.5}};
    for (const auto &p : points) {
        const double x = x0 + p.FX * (x1 - x0), y = y0 + p.FY * (y1 - y0);
        Print(QStringLiteral("\nPoint query %1 (%2, %3):\n")
                  .arg(QLatin1String(p.What), wn::FloatToStr(x), wn::FloatToStr(y)));
        Print(GridQueryText(file, x, y, false, 1.0, 0.0));
    }
    return 0;
}

const TCommandRegistration registration({"demo", "writes a sample noise map and queries it", RunDemo});

} // namespace
} // namespace wnpack
