// A host program that knows the package only as installed: the README's example on a small grid.
#include "colours/FarbArr.h"
#include "grid/KVRasterNeu.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

int main()
{
    QTemporaryDir dir;
    const QString noise = dir.filePath(QStringLiteral("noise.rlk"));
    {
        wn::TRKFile f(noise);
        f.Struktur.Columns = f.Struktur.Rows = f.Struktur.ZLevels = f.Struktur.nH = 1;
        f.Struktur.XOrigin = 3500420;
        f.Struktur.YOrigin = 5800310;
        f.Struktur.dx = f.Struktur.dy = 5;
        f.Struktur.TypeH = wn::cwtByte;
        f.CreateInfos(true, false, false, false);
        f.GetHInfo(1)->Name = QStringLiteral("Lden");
        f.GetHInfo(1)->Unit = QStringLiteral("dB(A)");
        f.GetHInfo(1)->Offset = 63;
        if (!f.CreateEmptyGrid(nullptr, 0))
            return 1;
    }

    // From here on as in the README.
    wn::TRKFile grid(noise);
    double x = 3500420, y = 5800310, z = 0;
    wn::TTaggedLines lines;
    grid.GetValuesOfPt(false, nullptr, x, y, z, lines); // x, y become the node that answered
    for (const wn::TTaggedLine &line : lines)
        std::printf("%d\t%s\n", line.Tag, qPrintable(line.Text));

    wn::TFarbArray palette; // the 240 colours; or palette.LoadColors("Levels.SGC")
    palette.InitFarben();
    const double level = lines.first().Text.section(QLatin1Char('\t'), -1).toDouble();
    const int nr = 81 + std::clamp(int((level - 35) / 5), 0, 15); // 81..96: the level scale
    const wn::TColor colour = palette.GetRGBFarbe(nr);            // red + 256 * green + 65536 * blue

    // 63 dB(A) is entry 86, yellow.
    return lines.first().Text == QStringLiteral("Lden [dB(A)] \t63") && colour == 0x00FFFF ? 0 : 1;
}
