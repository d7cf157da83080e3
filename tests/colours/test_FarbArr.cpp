#include "colours/FarbArr.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <random>
#include <tuple>

using namespace wn;
using namespace wntest;

namespace {

// Record 70 of the default palette, typed in from the table of default colours: entries 2 to 43
// and 81 to 96, the rest black.
QByteArray DefaultRecord()
{
    return QByteArray(3, '\0') +
           QByteArray::fromHex("323232646464969696b4b4b4dcdcdcffffff780000c80000ff0000ff7878ffc8c8007800"
                               "00c80000ff0078ff78c8ffc80000780000c80000ff7878ffc8c8ff787800c8c800ffff00"
                               "ffff78ffffc8780078c800c8ff00ffff78ffffc8ff00787800c8c800ffff78ffffc8ffff"
                               "783c00a05000c86400ff9600ffc878c86400") +
           QByteArray(37 * 3, '\0') +
           QByteArray::fromHex("00780033930066ae0099c900cce400ffff00f6d400edaa00e38000da5500d12a00c80000"
                               "96001e64003c32005a000078") +
           QByteArray(144 * 3, '\0');
}

// A colour-scale file as another program writes it: header (33, 10) with "KV", the extension and
// version 19970901 (0x0130BB55), an empty comment (34, 0), then the palette record (70).
QByteArray ScaleFile(const QByteArray &ext, const QByteArray &record)
{
    return Bytes({0x21, 0, 0x0A, 0, 'K', 'V'}) + ext + Bytes({0x55, 0xBB, 0x30, 0x01, 0x22, 0, 0, 0}) +
           Bytes({0x46, 0, int(record.size() & 0xFF), int(record.size() >> 8)}) + record;
}

TColor Entry(const TFarbArray &f, int nr)
{
    std::uint8_t r = 0, g = 0, b = 0;
    f.GetRGB(nr, r, g, b);
    return RGB(r, g, b);
}

// The display colours from the public parts; numbers outside the palette come back as themselves.
void ExpectTableRight(const TFarbArray &f, const char *after)
{
    for (int nr = 1; nr <= 240; ++nr) {
        const TColor c = Entry(f, nr);
        const TColor expected = c == 0 ? f.GetBlack() : f.GetColor(c & 0xFF, c >> 8 & 0xFF, c >> 16);
        ASSERT_EQ(f.GetRGBFarbe(nr), expected) << "entry " << nr << " after " << after;
    }
    for (int nr : {0, 241, 255, 256, 65536 + 5, -1, std::numeric_limits<int>::min()})
        ASSERT_EQ(f.GetFarbe(nr), TColor(nr)) << nr << " after " << after;
}

// The nearest-entry search exactly as the old program ran it.
int LiteralNearest(const TFarbArray &f, int R, int G, int B)
{
    for (int t = 0; t <= 255; ++t)
        for (int nr = 1; nr <= 240; ++nr) {
            const int c = int(Entry(f, nr));
            if (std::abs(R - (c & 0xFF)) <= t && std::abs(G - (c >> 8 & 0xFF)) <= t &&
                std::abs(B - (c >> 16)) <= t)
                return nr;
        }
    return 0;
}

class FarbArrTest : public ::testing::Test
{
protected:
    QString Path(const char *name) const { return Dir.filePath(QString::fromLatin1(name)); }
    QTemporaryDir Dir;
};

} // namespace

TEST_F(FarbArrTest, DefaultPaletteFileBytesAndFailedSaves)
{
    const std::pair<const char *, QByteArray> cases[] = {
        {"Default.SGC", ".SGC"}, {"scale.colours", ".col"}, {"scale.s", ".s  "}, {"scale", "    "}};
    for (const auto &[file, ext] : cases) {
        TFarbArray f;
        f.InitFarben();
        f.SaveColors(Path(file));
        EXPECT_EQ(ReadAll(Path(file)), ScaleFile(ext, DefaultRecord())) << file;
        EXPECT_EQ(f.Dateiname(), Path(file));
        EXPECT_FALSE(f.Modified());
    }
    // A save that fails leaves the palette modified and an existing file as it was.
    TFarbArray f;
    f.SetModified(true);
    EXPECT_THROW(f.SaveColors(Path("no/such/dir/x.SGC")), EInOutError);
    {
        const TFileSizeLimit limit(100);
        EXPECT_THROW(f.SaveColors(Path("Default.SGC")), EInOutError);
    }
    EXPECT_EQ(ReadAll(Path("Default.SGC")), ScaleFile(".SGC", DefaultRecord()));
    EXPECT_TRUE(f.Modified());
    EXPECT_TRUE(f.Dateiname().isEmpty());
}

TEST_F(FarbArrTest, LoadFilesWrittenElsewhereOrDamaged)
{
    const std::tuple<const char *, QByteArray, int, TColor> cases[] = {
        {"no header", Bytes({0x46, 0, 0xD0, 0x02}) + QByteArray(720, '\x11'), 240, RGB(0x11, 0x11, 0x11)},
        {"short record", ScaleFile(".SGC", Bytes({9, 8, 7, 6})), 2, RGB(6, 50, 50)},
        {"long record", ScaleFile(".XYZ", QByteArray(750, '\x22')), 240, RGB(0x22, 0x22, 0x22)},
        {"other version and a comment",
         Bytes({0x21, 0, 0x0A, 0, 'K', 'V', '.', 'S', 'G', 'C', 1, 0, 0, 0x80, 0x22, 0, 7, 0}) + "by hand" +
             Bytes({0x46, 0, 3, 0, 90, 90, 90}),
         1, RGB(90, 90, 90)},
        {"no palette record", Bytes({0x2A, 0, 6, 0, 0x46, 0, 0xFF, 0xFF, 0xFF, 0xFF}), 86, RGB(255, 255, 0)},
    };
    for (const auto &[what, bytes, nr, expected] : cases) {
        TFarbArray f;
        f.InitFarben();
        WriteAll(Path("case.SGC"), bytes);
        f.LoadColors(Path("case.SGC"));
        EXPECT_EQ(Entry(f, nr), expected) << what;
        EXPECT_FALSE(f.Modified()) << what;
        EXPECT_TRUE(f.Dateiname().isEmpty()) << what;
    }

    // Damaged files end the load quietly with whatever was read.
    const QByteArray good = ScaleFile(".SGC", DefaultRecord());
    for (qsizetype cut = 0; cut < good.size(); ++cut) {
        WriteAll(Path("cut.SGC"), good.left(cut));
        TFarbArray f;
        f.SetRGB(240, 5, 5, 5);
        EXPECT_NO_THROW(f.LoadColors(Path("cut.SGC"))) << cut;
        ExpectTableRight(f, "a truncated load");
        if (cut >= 28 && cut <= 739) {
            EXPECT_EQ(Entry(f, 2), RGB(50, 50, 50)) << cut;
            EXPECT_EQ(Entry(f, 240), RGB(5, 5, 5)) << cut;
        }
    }
}

TEST_F(FarbArrTest, OldPaletteFilesAndDateiname)
{
    // Two and a half records: the incomplete one is ignored.
    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 10, 20, 30, 9, 9, 9, 40, 50, 60, 1, 2, 3}));
    TFarbArray f;
    f.SetRGB(3, 7, 7, 7);
    f.ImportOldColors(Path("PlotFarb.dat"));
    EXPECT_EQ(Entry(f, 2), RGB(40, 50, 60));
    EXPECT_EQ(Entry(f, 3), RGB(7, 7, 7));
    // More than 240 records: the rest is not read.
    QByteArray many;
    for (int k = 1; k <= 250; ++k)
        many += Bytes({0, 0, 0, k, 255 - k, k / 2});
    WriteAll(Path("PlotFarb.dat"), many);
    f.ImportOldColors(Path("PlotFarb.dat"));
    EXPECT_EQ(Entry(f, 240), RGB(240, 15, 120));
    EXPECT_THROW(f.ImportOldColors(Path("nothere/PlotFarb.dat")), EInOutError);

    // By name: "PlotFarb.dat" in any letter case is imported and the name dropped; a missing file
    // gives the default palette, others are colour-scale files, and an empty name loads nothing.
    for (const char *name : {"plotfarb.dat", "PLOTFARB.DAT", "myPlotFarb.dat"}) {
        WriteAll(Path(name), Bytes({0, 0, 0, 1, 2, 3}));
        TFarbArray g;
        g.setProperty("Dateiname", Path(name));
        EXPECT_TRUE(g.Dateiname().isEmpty()) << name;
        EXPECT_EQ(Entry(g, 1), RGB(1, 2, 3)) << name;
    }
    TFarbArray g;
    g.SetDateiname(Path("new.SGC"));
    EXPECT_EQ(g.Dateiname(), Path("new.SGC"));
    EXPECT_EQ(Entry(g, 86), RGB(255, 255, 0));
    WriteAll(Path("scale.SGC"), ScaleFile(".SGC", QByteArray(720, '\x44')));
    g.SetDateiname(Path("scale.SGC"));
    g.SetDateiname(QString());
    EXPECT_EQ(Entry(g, 86), RGB(0x44, 0x44, 0x44));
}

TEST_F(FarbArrTest, IntensityGreyingAndBlackBounds)
{
    // Percent, channel in, channel out; halves go to even; 1 % is a float just below 0.01.
    const double intensity[][3] = {
        {50, 100, 178},   {-50, 101, 50},    {0.9, 100, 100},    {1, 100, 100},       {1.01, 100, 102},
        {-1.01, 100, 99}, {100.001, 0, 255}, {-100.001, 200, 0}, {100.002, 100, 100},
    };
    TFarbArray f;
    for (const auto &c : intensity) {
        f.SetColorIntens(c[0]);
        EXPECT_EQ(f.Intens(std::uint8_t(c[1])), int(c[2])) << c[0] << "% of " << c[1];
    }
    f.SetColorIntens(0);
    // Percent and the colour (200, 100, 0) greyed, as red and blue.
    const double greying[][3] = {
        {50, 150, 50}, {100, 100, 100}, {1, 199, 1}, {0.5, 200, 0}, {100.002, 200, 0}};
    for (const auto &c : greying) {
        f.SetGrayed(c[0]);
        EXPECT_EQ(f.GetColor(200, 100, 0), RGB(std::uint8_t(c[1]), 100, std::uint8_t(c[2]))) << c[0];
    }
    f.SetGrayed(50);
    EXPECT_EQ(f.GetColor(8, 11, 14), RGB(10, 11, 12));  // pulls of 1.5 round to the even 2
    EXPECT_EQ(f.GetColor(10, 11, 12), RGB(10, 11, 12)); // and of 0.5 to the even 0
    // Black entries show the black level untouched by intensity and greying.
    f.SetColorIntens(50);
    const double black[][2] = {{0.5, 0}, {1, 3}, {50, 128}, {100, 255}, {100.002, 0}, {20, 51}};
    for (const auto &c : black) {
        f.SetBlack(c[0]);
        EXPECT_EQ(f.GetRGBFarbe(5), TColor(c[1]) * 65793u) << c[0];
    }

    // The preview applies the current intensity (100 -> 178) and then its own (-> 216.5 -> 216).
    f.SetRGB(1, 100, 100, 100);
    f.SetGrayed(0);
    EXPECT_EQ(f.GetIntensRGB(1, 50), RGB(216, 216, 216));
    // Below one hundredth, negative or beyond the bounds: only the current intensity.
    for (double percent : {0.009, -30.0, 150.0})
        EXPECT_EQ(f.GetIntensRGB(1, percent), RGB(178, 178, 178)) << percent;
    // A gap starts from the black level, which the current intensity leaves alone.
    EXPECT_EQ(f.GetIntensRGB(2, 10), RGB(71, 71, 71)); // 51 + 20.4
}

TEST_F(FarbArrTest, CalcRGBFillsGaps)
{
    // From the bottom the gap starts at (0, 0, 0); halves round to even.
    TFarbArray g;
    g.SetRGB(3, 30, 61, 91);
    g.CalcRGB(3);
    EXPECT_EQ(Entry(g, 1), RGB(10, 20, 30));
    EXPECT_EQ(Entry(g, 2), RGB(20, 41, 61)); // 40.67, 60.67
    g.SetRGB(7, 33, 0, 0);
    g.CalcRGB(7);
    EXPECT_EQ(Entry(g, 4), RGB(31, 46, 68)); // 30.75, 45.75, 68.25
    EXPECT_EQ(Entry(g, 5), RGB(32, 30, 46)); // 31.5, 30.5, 45.5
}

TEST_F(FarbArrTest, NearestEntryMatchesTheToleranceSearch)
{
    std::mt19937 rng(4711);
    for (int palette = 0; palette < 12; ++palette) {
        TFarbArray f;
        // Few distinct channel values make ties and duplicates common in half of the palettes.
        const unsigned step = palette % 2 ? 64 : 1;
        for (int nr = 1; nr <= 240; ++nr)
            f.SetRGB(nr, std::uint8_t(rng() % 256 / step * step), std::uint8_t(rng() % 256 / step * step),
                     std::uint8_t(rng() % 256 / step * step));
        for (int i = 0; i < 300; ++i) {
            const int R = int(rng() % 256), G = int(rng() % 256), B = int(rng() % 256);
            ASSERT_EQ(f.GetNearestFarbNr(R, G, B), LiteralNearest(f, R, G, B)) << R << " " << G << " " << B;
        }
    }
}

TEST_F(FarbArrTest, AssignLeavesTheGreyFractionAndDrawsWithRawEntries)
{
    QImage image(8, 8, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 3));
    TFarbArray a;
    a.SetRGB(100, 1, 2, 3);
    a.SetColorIntens(30);
    a.SetBlack(40);
    a.SetGrayed(70);
    a.SetCanvas(&painter);
    TFarbArray b;
    b.SetGrayed(20);
    b.Assign(a);
    EXPECT_EQ(Entry(b, 100), RGB(1, 2, 3));
    EXPECT_TRUE(b.Modified());
    EXPECT_FLOAT_EQ(b.ColorIntens(), 0.3f);
    EXPECT_EQ(b.Black(), 102);
    EXPECT_FLOAT_EQ(b.Grayed(), 0.2f);
    EXPECT_EQ(a.Copy()->Grayed(), 0.0f);
    // The assigned canvas gets the raw bytes, without intensity, greying or black level.
    b.SetPenColor(100);
    b.SetBrushColor(100);
    b.SetBrushColor(241);
    EXPECT_EQ(painter.pen(), QPen(QColor(1, 2, 3), 3));
    EXPECT_EQ(painter.brush(), QBrush(QColor(1, 2, 3)));
}

TEST_F(FarbArrTest, DisplayTableFollowsEveryChange)
{
    TFarbArray other;
    other.SetRGB(3, 250, 1, 1);
    other.SetColorIntens(10);
    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 6, 7}));
    WriteAll(Path("x.SGC"), ScaleFile(".SGC", QByteArray(720, '\x00')));
    const std::pair<const char *, std::function<void(TFarbArray &)>> changes[] = {
        {"InitFarben", [](TFarbArray &f) { f.InitFarben(); }},
        {"SetColorIntens", [](TFarbArray &f) { f.SetColorIntens(-40); }},
        {"SetGrayed", [](TFarbArray &f) { f.SetGrayed(35); }},
        {"SetBlack", [](TFarbArray &f) { f.SetBlack(60); }},
        {"SetRGB", [](TFarbArray &f) { f.SetRGB(50, 10, 200, 30); }},
        {"CalcRGB", [](TFarbArray &f) { f.CalcRGB(81); }},
        {"ImportOldColors", [&](TFarbArray &f) { f.ImportOldColors(Path("PlotFarb.dat")); }},
        {"LoadColors", [&](TFarbArray &f) { f.LoadColors(Path("x.SGC")); }},
        {"Assign", [&](TFarbArray &f) { f.Assign(other); }},
    };
    const int colours[][3] = {{0, 0, 0}, {5, 6, 7}, {250, 1, 1}, {10, 200, 30}, {255, -1, 0}, {256, 0, 0}};
    TFarbArray f;
    for (const auto &[after, change] : changes) {
        change(f);
        ExpectTableRight(f, after);
        // The channels the nearest-entry search reads follow too, also for colours off the range.
        for (const auto &c : colours)
            ASSERT_EQ(f.GetNearestFarbNr(c[0], c[1], c[2]), LiteralNearest(f, c[0], c[1], c[2])) << after;
    }
}
