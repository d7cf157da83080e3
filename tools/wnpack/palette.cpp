// wnpack palette: writes, shows, converts, searches and draws colour-scale files.
#include "Command.h"

#include "colours/FarbArr.h"
#include "colours/gFarbDia.h"
#include "grid/FileIO.h"

#include <QFileInfo>
#include <QFont>
#include <QImage>
#include <QPainter>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace wnpack {
namespace {

const char *const cPaletteUsage = "usage: wnpack palette default OUT | show FILE | import PLOTFARB OUT | "
                                  "nearest FILE R G B | render FILE OUT.png | render FILE --editor OUT.png";

// The editor's layout: 16 entries to a row, 15 rows.
constexpr int cGridColumns = 16;
constexpr int cGridRows = 15;
constexpr int cCellWidth = 48;
constexpr int cCellHeight = 32;

void NeedArgs(const QStringList &args, int count)
{
    if (args.size() != count)
        throw UsageError(cPaletteUsage);
}

// Loads a colour-scale file, refusing what the palette itself would read quietly: a missing
// file or one without a palette record.
void LoadPalette(const QString &fileName, wn::TFarbArray &palette)
{
    if (!QFileInfo(fileName).isFile())
        throw UsageError(qPrintable(QStringLiteral("no such file: %1").arg(fileName)));
    wn::TFileIO io;
    QString comment;
    std::int32_t version = 0;
    io.OpenHeader(fileName, comment, version);
    palette.LoadCol(io);
    if (io.Error())
        throw UsageError(qPrintable(QStringLiteral("not a colour-scale file: %1").arg(fileName)));
}

int ChannelArg(const QString &text, const char *name)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < 0 || value > 255)
        throw UsageError(qPrintable(
            QStringLiteral("%1 must be a number from 0 to 255, not \"%2\"").arg(QLatin1String(name), text)));
    return value;
}

void Render(const wn::TFarbArray &source, const QString &outName)
{
    // Drawn from a copy, so the caller's palette keeps no pointer to this painter.
    const std::unique_ptr<wn::TFarbArray> palette = source.Copy();
    QImage image(cGridColumns * cCellWidth + 1, cGridRows * cCellHeight + 1, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    palette->SetCanvas(&painter);
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);
    for (int row = 0; row < cGridRows; ++row) {
        for (int col = 0; col < cGridColumns; ++col) {
            const int nr = row * cGridColumns + col + 1;
            const QRect cell(col * cCellWidth, row * cCellHeight, cCellWidth, cCellHeight);
            painter.setPen(QColor(128, 128, 128));
            palette->SetBrushColor(nr);
            painter.drawRect(cell);
            std::uint8_t r = 0, g = 0, b = 0;
            palette->GetRGB(nr, r, g, b);
            const bool light = 299 * r + 587 * g + 114 * b > 128000;
            painter.setPen(light ? Qt::black : Qt::white);
            painter.drawText(cell, Qt::AlignCenter, QString::number(nr));
        }
    }
    painter.end();
    if (!image.save(outName, "PNG"))
        throw std::runtime_error(qPrintable(QStringLiteral("cannot write %1").arg(outName)));
}

// The editor form in edit mode on the palette, as a user sees it.
void RenderEditor(wn::TFarbArray &palette, const QString &outName)
{
    wn::TFarbenDialog form;
    form.SetFarbArray(&palette);
    form.SetAendern(true);
    form.setAttribute(Qt::WA_DontShowOnScreen);
    form.show();
    if (!form.grab().save(outName, "PNG"))
        throw std::runtime_error(qPrintable(QStringLiteral("cannot write %1").arg(outName)));
}

int RunPalette(const QStringList &args)
{
    if (args.isEmpty())
        throw UsageError(cPaletteUsage);
    const QString action = args.first();
    wn::TFarbArray palette;
    if (action == QLatin1String("default")) {
        NeedArgs(args, 2);
        palette.InitFarben();
        palette.SaveColors(args[1]);
    } else if (action == QLatin1String("show")) {
        NeedArgs(args, 2);
        LoadPalette(args[1], palette);
        for (int nr = 1; nr <= wn::cFarbCount; ++nr) {
            std::uint8_t r = 0, g = 0, b = 0;
            palette.GetRGB(nr, r, g, b);
            std::printf("%d\t%d\t%d\t%d\n", nr, r, g, b);
        }
    } else if (action == QLatin1String("import")) {
        NeedArgs(args, 3);
        palette.ImportOldColors(args[1]);
        palette.SaveColors(args[2]);
    } else if (action == QLatin1String("nearest")) {
        NeedArgs(args, 5);
        const int r = ChannelArg(args[2], "R"), g = ChannelArg(args[3], "G"), b = ChannelArg(args[4], "B");
        LoadPalette(args[1], palette);
        std::printf("%d\n", palette.GetNearestFarbNr(r, g, b));
    } else if (action == QLatin1String("render") && args.size() == 4 &&
               args[2] == QLatin1String("--editor")) {
        LoadPalette(args[1], palette);
        RenderEditor(palette, args[3]);
    } else if (action == QLatin1String("render")) {
        NeedArgs(args, 3);
        LoadPalette(args[1], palette);
        Render(palette, args[2]);
    } else {
        throw UsageError(cPaletteUsage);
    }
    return 0;
}

const TCommandRegistration registration({"palette", "writes, shows, converts and draws colour-scale files",
                                         RunPalette});

} // namespace
} // namespace wnpack
