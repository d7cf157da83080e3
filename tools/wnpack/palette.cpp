// wnpack palette: writes, shows, converts, searches and draws colour-scale files.
#include "Command.h"
#include "Paths.h"

#include "colours/FarbArr.h"
#include "colours/gFarbDia.h"
#include "framework/Exceptions.h"
#include "grid/FileIO.h"

#include <QBuffer>
#include <QFont>
#include <QImage>
#include <QPainter>

#include <memory>

namespace wnpack {
namespace {

const char *const cNotAScaleText = "not a colour-scale file: ";
const char *const cChannelText = " must be a number from 0 to 255: ";
const char *const cPngText = "cannot encode the picture ";

// The editor's layout: 16 entries to a row, 15 rows.
constexpr int cGridColumns = 16;
constexpr int cGridRows = 15;
constexpr int cCellWidth = 48;
constexpr int cCellHeight = 32;

// Loads a colour-scale file, refusing what the palette itself would read quietly: a file
// without a palette record.
void LoadPalette(const QByteArray &raw, wn::TFarbArray &palette)
{
    const QString fileName = InputFile(raw);
    wn::TFileIO io;
    QString comment;
    std::int32_t version = 0;
    io.OpenHeader(fileName, comment, version);
    palette.LoadCol(io);
    if (io.Error())
        throw wn::Exception(QLatin1String(cNotAScaleText) + fileName);
}

void Save(wn::TFarbArray &palette, const QByteArray &raw)
{
    TOutputPath out(raw);
    palette.SaveColors(out.Qt());
    out.Finish();
}

int ChannelArg(const TArgs &args, int i, const char *name)
{
    bool ok = false;
    const int value = args.Text(i).toInt(&ok);
    if (!ok || value < 0 || value > 255)
        throw UsageError(QLatin1String(name) + QLatin1String(cChannelText) + args.Text(i));
    return value;
}

QImage Render(const wn::TFarbArray &source)
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
    return image;
}

// The editor form in edit mode on the palette, as a user sees it.
QImage RenderEditor(wn::TFarbArray &palette)
{
    wn::TFarbenDialog form;
    form.SetFarbArray(&palette);
    form.SetAendern(true);
    form.setAttribute(Qt::WA_DontShowOnScreen);
    form.show();
    return form.grab().toImage();
}

int RunDefault(TArgs &args)
{
    args.Expect(1, 1);
    wn::TFarbArray palette;
    palette.InitFarben();
    Save(palette, args.Raw(0));
    return 0;
}

int RunShow(TArgs &args)
{
    args.Expect(1, 1);
    wn::TFarbArray palette;
    LoadPalette(args.Raw(0), palette);
    QString text;
    for (int nr = 1; nr <= wn::cFarbCount; ++nr) {
        std::uint8_t r = 0, g = 0, b = 0;
        palette.GetRGB(nr, r, g, b);
        text += QString::number(nr) + '\t' + QString::number(r) + '\t' + QString::number(g) + '\t' +
                QString::number(b) + '\n';
    }
    Print(text);
    return 0;
}

int RunImport(TArgs &args)
{
    args.Expect(2, 2);
    RefuseSameFile(args.Raw(0), args.Raw(1));
    wn::TFarbArray palette;
    palette.ImportOldColors(InputFile(args.Raw(0)));
    Save(palette, args.Raw(1));
    return 0;
}

int RunNearest(TArgs &args)
{
    args.Expect(4, 4);
    const int r = ChannelArg(args, 1, "R"), g = ChannelArg(args, 2, "G"), b = ChannelArg(args, 3, "B");
    wn::TFarbArray palette;
    LoadPalette(args.Raw(0), palette);
    Print(QString::number(palette.GetNearestFarbNr(r, g, b)) + '\n');
    return 0;
}

int RunRender(TArgs &args)
{
    const bool editor = args.Flag("--editor");
    args.Expect(2, 2);
    wn::TFarbArray palette;
    LoadPalette(args.Raw(0), palette);
    RefuseSameFile(args.Raw(0), args.Raw(1));
    TOutputFile out(args.Raw(1));
    // Encoded in memory first: the PNG writer would report a full disk in words of its own.
    QBuffer png;
    png.open(QIODevice::WriteOnly);
    if (!(editor ? RenderEditor(palette) : Render(palette)).save(&png, "PNG"))
        throw wn::Exception(QLatin1String(cPngText) + out.Device().fileName());
    out.Write(png.data());
    out.Commit();
    return 0;
}

const TCommandRegistration registrations[] = {
    TCommandRegistration({"palette default", "OUT", "writes the default palette as a colour-scale file",
                          "Writes the suite's default palette of 240 colours as a colour-scale file (*.SGC).",
                          "", "wnpack palette default Default.SGC", false, false, RunDefault}),
    TCommandRegistration(
        {"palette show", "FILE", "lists the colours of a colour-scale file",
         "Prints the 240 entries of a colour-scale file, one line each: number, red, green, blue.", "",
         "wnpack palette show Default.SGC", false, false, RunShow}),
    TCommandRegistration(
        {"palette import", "PLOTFARB OUT", "converts an old PlotFarb.dat palette",
         "Reads a palette in the older fixed-record format (PlotFarb.dat) and writes it as a\n"
         "colour-scale file.",
         "", "wnpack palette import PlotFarb.dat Old.SGC", false, false, RunImport}),
    TCommandRegistration(
        {"palette nearest", "FILE R G B", "the entry nearest to a colour",
         "Prints the number of the palette entry nearest to the colour R G B (0 to 255 each): the\n"
         "smallest largest channel difference, and the lowest number among equals.",
         "", "wnpack palette nearest Default.SGC 250 250 10", false, false, RunNearest}),
    TCommandRegistration(
        {"palette render", "FILE [--editor] OUT.png", "draws the palette as a picture",
         "Draws the 240 entries as the editor lays them out (16 across, 15 down, numbered) into a\n"
         "PNG picture, in the entries' own colours.",
         "  --editor           draws the colour-scale editor in edit mode on the palette instead\n",
         "wnpack palette render Default.SGC palette.png", false, true, RunRender}),
};

} // namespace
} // namespace wnpack
