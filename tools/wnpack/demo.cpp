// wnpack demo: the package's main job, run by ./wn demo. Writes a sample noise map into a
// temporary folder, describes it and answers a few point queries on it.
#include "Command.h"
#include "GridTool.h"
#include "Paths.h"
#include "Progress.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QFile>
#include <QTemporaryDir>

namespace wnpack {
namespace {

const char *const cNoFolderText = "cannot make a temporary folder";

int RunDemo(TArgs &args)
{
    args.Expect(0, 0);
    // The map lives only as long as the demo, so its temporary path is never shown.
    QTemporaryDir dir;
    if (!dir.isValid())
        throw wn::Exception(QLatin1String(cNoFolderText));
    const QString file = dir.filePath(QStringLiteral("sample.rlk"));
    {
        TOutputFile out(QFile::encodeName(file));
        TProgress progress(true);
        WriteSampleGrid(out, 160, 120, progress);
    }
    Print(QStringLiteral("A sample noise map, written to a temporary file:\n\n"));
    Print(GridInfoText(file, QStringLiteral("sample.rlk")));

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
        Print(QLatin1String("\nPoint query ") + QLatin1String(p.What) + QLatin1String(" (") +
              wn::FloatToStr(x) + QLatin1String(", ") + wn::FloatToStr(y) + QLatin1String("):\n"));
        Print(QueryGrid(file, {x, y, false, 1.0, 0.0}).Text);
    }
    return 0;
}

const TCommandRegistration registration(
    {"demo", "", "writes a sample noise map and queries it",
     "Writes a sample noise map (see wnpack grid sample) into a temporary file, prints its structure\n"
     "and answers a few point queries on it; the file is removed at the end.",
     "", "wnpack demo", false, false, RunDemo});

} // namespace
} // namespace wnpack
