#include "colours/FarbArr.h"

#include "framework/Exceptions.h"
#include "grid/FileIO.h"

#include "TestSupport.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>

using namespace wn;
using namespace wntest;

namespace {

struct Rgb {
    std::uint8_t r, g, b;
    bool operator==(const Rgb &) const = default;
};

Rgb Entry(const TFarbArray &f, int nr)
{
    Rgb c{1, 2, 3};
    f.GetRGB(nr, c.r, c.g, c.b);
    return c;
}

// Record 70 of the default palette, typed in from the table of default colours.
QByteArray DefaultRecord()
{
    QByteArray rec(720, '\0');
    const int table[][4] = {
        {2, 50, 50, 50},     {3, 100, 100, 100}, {4, 150, 150, 150}, {5, 180, 180, 180}, {6, 220, 220, 220},
        {7, 255, 255, 255},  {8, 120, 0, 0},     {9, 200, 0, 0},     {10, 255, 0, 0},    {11, 255, 120, 120},
        {12, 255, 200, 200}, {13, 0, 120, 0},    {14, 0, 200, 0},    {15, 0, 255, 0},    {16, 120, 255, 120},
        {17, 200, 255, 200}, {18, 0, 0, 120},    {19, 0, 0, 200},    {20, 0, 0, 255},    {21, 120, 120, 255},
        {22, 200, 200, 255}, {23, 120, 120, 0},  {24, 200, 200, 0},  {25, 255, 255, 0},  {26, 255, 255, 120},
        {27, 255, 255, 200}, {28, 120, 0, 120},  {29, 200, 0, 200},  {30, 255, 0, 255},  {31, 255, 120, 255},
        {32, 255, 200, 255}, {33, 0, 120, 120},  {34, 0, 200, 200},  {35, 0, 255, 255},  {36, 120, 255, 255},
        {37, 200, 255, 255}, {38, 120, 60, 0},   {39, 160, 80, 0},   {40, 200, 100, 0},  {41, 255, 150, 0},
        {42, 255, 200, 120}, {43, 200, 100, 0},  {81, 0, 120, 0},    {82, 51, 147, 0},   {83, 102, 174, 0},
        {84, 153, 201, 0},   {85, 204, 228, 0},  {86, 255, 255, 0},  {87, 246, 212, 0},  {88, 237, 170, 0},
        {89, 227, 128, 0},   {90, 218, 85, 0},   {91, 209, 42, 0},   {92, 200, 0, 0},    {93, 150, 0, 30},
        {94, 100, 0, 60},    {95, 50, 0, 90},    {96, 0, 0, 120},
    };
    for (const auto &e : table)
        for (int c = 0; c < 3; ++c)
            rec[3 * (e[0] - 1) + c] = char(e[1 + c]);
    return rec;
}

// The colour-scale file as another program writes it.
QByteArray ScaleFile(const QByteArray &ext, const QByteArray &record)
{
    return Bytes({0x21, 0x00, 0x0A, 0x00, 'K', 'V'}) + ext + Bytes({0x55, 0xBB, 0x30, 0x01}) +
           Bytes({0x22, 0x00, 0x00, 0x00}) +
           Bytes({0x46, 0x00, int(record.size() & 0xFF), int(record.size() >> 8)}) + record;
}

// The display colour worked out from the public parts, without the cached table.
TColor Reference(const TFarbArray &f, int nr)
{
    const Rgb c = Entry(f, nr);
    if (c == Rgb{0, 0, 0})
        return f.GetBlack();
    return f.GetColor(c.r, c.g, c.b);
}

void ExpectTableRight(const TFarbArray &f, const char *after)
{
    for (int nr = 1; nr <= 240; ++nr)
        ASSERT_EQ(f.GetRGBFarbe(nr), Reference(f, nr)) << "entry " << nr << " after " << after;
}

// The nearest-entry search exactly as the old program ran it.
int LiteralNearest(const TFarbArray &f, int R, int G, int B)
{
    for (int t = 0; t <= 255; ++t)
        for (int nr = 1; nr <= 240; ++nr) {
            const Rgb c = Entry(f, nr);
            if (std::abs(R - c.r) <= t && std::abs(G - c.g) <= t && std::abs(B - c.b) <= t)
                return nr;
        }
    return 0;
}

class FarbArrTest : public ::testing::Test
{
protected:
    QString Path(const QString &name) const { return Dir.filePath(name); }
    QTemporaryDir Dir;
};

} // namespace

TEST_F(FarbArrTest, DefaultPaletteFileBytes)
{
    TFarbArray f;
    EXPECT_FALSE(f.Modified());
    f.InitFarben();
    EXPECT_TRUE(f.Modified());
    const QString name = Path("Default.SGC");
    f.SaveColors(name);
    const QByteArray bytes = ReadAll(name);
    ASSERT_EQ(bytes.size(), 742);
    EXPECT_EQ(bytes, ScaleFile(".SGC", DefaultRecord()));
    EXPECT_EQ(f.Dateiname(), name);
    EXPECT_FALSE(f.Modified());
}

TEST_F(FarbArrTest, ExtensionInTheHeaderAsGiven)
{
    struct Case {
        const char *name;
        QByteArray ext;
    };
    for (const Case &c : {Case{"scale.colours", ".col"}, Case{"scale.s", ".s  "}, Case{"scale", "    "},
                          Case{"scale.sgc", ".sgc"}}) {
        TFarbArray f;
        f.SetRGB(240, 1, 2, 3);
        f.SaveColors(Path(QString::fromLatin1(c.name)));
        QByteArray record(720, '\0');
        record[717] = 1;
        record[718] = 2;
        record[719] = 3;
        EXPECT_EQ(ReadAll(Path(QString::fromLatin1(c.name))), ScaleFile(c.ext, record)) << c.name;
    }
    TFarbArray f;
    f.SaveColors(QString());
    EXPECT_TRUE(f.Dateiname().isEmpty());
}

TEST_F(FarbArrTest, FilesWrittenElsewhereLoad)
{
    std::mt19937 rng(7);
    QByteArray record(720, '\0');
    for (char &c : record)
        c = char(rng());
    WriteAll(Path("other.SGC"), ScaleFile(".XYZ", record));
    TFarbArray f;
    f.SetModified(true);
    f.LoadColors(Path("other.SGC"));
    EXPECT_FALSE(f.Modified());
    for (int nr = 1; nr <= 240; ++nr)
        ASSERT_EQ(Entry(f, nr), (Rgb{std::uint8_t(record[3 * nr - 3]), std::uint8_t(record[3 * nr - 2]),
                                     std::uint8_t(record[3 * nr - 1])}));
    // Loading does not take the name over; SetDateiname does that.
    EXPECT_TRUE(f.Dateiname().isEmpty());

    // A record file without header is read from its first byte.
    QByteArray grey(720, '\x11');
    WriteAll(Path("bare.dat"), Bytes({0x46, 0x00, 0xD0, 0x02}) + grey);
    f.LoadColors(Path("bare.dat"));
    EXPECT_EQ(Entry(f, 1), (Rgb{0x11, 0x11, 0x11}));
    EXPECT_EQ(Entry(f, 240), (Rgb{0x11, 0x11, 0x11}));

    // A short record fills only the front.
    TFarbArray g;
    g.InitFarben();
    WriteAll(Path("short.SGC"), ScaleFile(".SGC", Bytes({9, 8, 7, 6, 5, 4})));
    g.LoadColors(Path("short.SGC"));
    EXPECT_EQ(Entry(g, 1), (Rgb{9, 8, 7}));
    EXPECT_EQ(Entry(g, 2), (Rgb{6, 5, 4}));
    EXPECT_EQ(Entry(g, 3), (Rgb{100, 100, 100}));
    EXPECT_EQ(g.GetRGBFarbe(1), RGB(9, 8, 7));

    // A longer record gives its first 720 bytes.
    WriteAll(Path("long.SGC"), ScaleFile(".SGC", QByteArray(720, '\x22') + QByteArray(30, '\x33')));
    g.LoadColors(Path("long.SGC"));
    EXPECT_EQ(Entry(g, 240), (Rgb{0x22, 0x22, 0x22}));
}

TEST_F(FarbArrTest, DamagedAndForeignFilesEndQuietly)
{
    TFarbArray source;
    source.InitFarben();
    source.SaveColors(Path("good.SGC"));
    const QByteArray good = ReadAll(Path("good.SGC"));
    for (qsizetype cut = 0; cut < good.size(); ++cut) {
        WriteAll(Path("cut.SGC"), good.left(cut));
        TFarbArray f;
        f.SetRGB(240, 5, 5, 5);
        EXPECT_NO_THROW(f.LoadColors(Path("cut.SGC"))) << cut;
        // The bytes of record 70 that were there arrived; the rest stayed.
        const qsizetype got = std::max<qsizetype>(cut - 22, 0);
        if (got >= 6) {
            EXPECT_EQ(Entry(f, 2), (Rgb{50, 50, 50})) << cut;
        }
        if (got <= 717) {
            EXPECT_EQ(Entry(f, 240), (Rgb{5, 5, 5})) << cut;
        }
        ExpectTableRight(f, "a truncated load");
    }

    const QByteArray foreign[] = {
        QByteArray("[Settings]\r\nColour=1\r\n"),
        Bytes({0x2A, 0x00, 0x06, 0x00, 0x46, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3}),
        Bytes({0x21, 0x00, 0xFF, 0xFF}),
        Bytes({0x46, 0x00}),
        QByteArray(),
    };
    for (const QByteArray &bytes : foreign) {
        WriteAll(Path("foreign.SGC"), bytes);
        TFarbArray f;
        EXPECT_NO_THROW(f.LoadColors(Path("foreign.SGC")));
    }
    std::mt19937 rng(99);
    for (int round = 0; round < 200; ++round) {
        QByteArray bytes(int(rng() % 800), '\0');
        for (char &c : bytes)
            c = char(rng());
        if (round % 2 && bytes.size() > 4) {
            bytes[0] = 0x46;
            bytes[1] = 0;
        }
        WriteAll(Path("noise.SGC"), bytes);
        TFarbArray f;
        EXPECT_NO_THROW(f.LoadColors(Path("noise.SGC")));
    }

    TFarbArray f;
    f.InitFarben();
    f.LoadColors(Path("missing.SGC"));
    f.LoadColors(QString());
    EXPECT_EQ(Entry(f, 2), (Rgb{50, 50, 50}));
}

TEST_F(FarbArrTest, ImportOldPaletteFile)
{
    // Two and a half records: the incomplete one is ignored.
    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 10, 20, 30, 9, 9, 9, 40, 50, 60, 1, 2, 3}));
    TFarbArray f;
    f.SetRGB(3, 7, 7, 7);
    f.SetModified(false);
    f.ImportOldColors(Path("PlotFarb.dat"));
    EXPECT_TRUE(f.Modified());
    EXPECT_EQ(Entry(f, 1), (Rgb{10, 20, 30}));
    EXPECT_EQ(Entry(f, 2), (Rgb{40, 50, 60}));
    EXPECT_EQ(Entry(f, 3), (Rgb{7, 7, 7}));
    EXPECT_EQ(f.GetRGBFarbe(2), RGB(40, 50, 60));

    // More than 240 records: the rest is not read.
    QByteArray many;
    for (int k = 1; k <= 250; ++k)
        many += Bytes({0, 0, 0, k, 255 - k, k / 2});
    WriteAll(Path("PlotFarb.dat"), many);
    f.ImportOldColors(Path("PlotFarb.dat"));
    EXPECT_EQ(Entry(f, 1), (Rgb{1, 254, 0}));
    EXPECT_EQ(Entry(f, 240), (Rgb{240, 15, 120}));

    EXPECT_THROW(f.ImportOldColors(Path("nothere/PlotFarb.dat")), EInOutError);
}

TEST_F(FarbArrTest, DateinameLoadsImportsOrDefaults)
{
    TFarbArray f;
    // A missing file gives the default palette and keeps the name.
    f.SetDateiname(Path("new.SGC"));
    EXPECT_EQ(f.Dateiname(), Path("new.SGC"));
    EXPECT_EQ(Entry(f, 86), (Rgb{255, 255, 0}));

    // The old palette file in any letter case is imported and the name dropped.
    for (const char *name : {"plotfarb.dat", "PLOTFARB.DAT", "myPlotFarb.dat"}) {
        WriteAll(Path(QString::fromLatin1(name)), Bytes({0, 0, 0, 1, 2, 3}));
        TFarbArray g;
        g.setProperty("Dateiname", Path(QString::fromLatin1(name)));
        EXPECT_TRUE(g.Dateiname().isEmpty()) << name;
        EXPECT_EQ(Entry(g, 1), (Rgb{1, 2, 3})) << name;
        EXPECT_TRUE(g.Modified());
    }

    // Any other existing file is a colour-scale file.
    WriteAll(Path("scale.SGC"), ScaleFile(".SGC", QByteArray(720, '\x44')));
    f.SetDateiname(Path("scale.SGC"));
    EXPECT_EQ(f.property("Dateiname").toString(), Path("scale.SGC"));
    EXPECT_EQ(Entry(f, 86), (Rgb{0x44, 0x44, 0x44}));
    EXPECT_FALSE(f.Modified());

    f.SetDateiname(QString());
    EXPECT_EQ(Entry(f, 86), (Rgb{0x44, 0x44, 0x44}));
}

TEST_F(FarbArrTest, EntriesAndNumbersOutsideThePalette)
{
    QObject owner;
    auto *f = new TFarbArray(&owner);
    EXPECT_EQ(f->parent(), &owner);
    f->SetRGB(0, 9, 9, 9);
    f->SetRGB(241, 9, 9, 9);
    EXPECT_FALSE(f->Modified());
    Rgb c{1, 2, 3};
    f->GetRGB(0, c.r, c.g, c.b);
    EXPECT_EQ(c, (Rgb{1, 2, 3}));
    EXPECT_EQ(f->GetRGBFarbe(0), 0u);
    EXPECT_EQ(f->GetRGBFarbe(300), 300u);
    for (int nr : {241, 255, 256, 65536 + 5, -255, std::numeric_limits<int>::min()})
        EXPECT_EQ(f->GetRGBFarbe(nr), TColor(nr)) << nr;
    EXPECT_EQ(f->GetFarbe(-1), TColor(-1));
    f->SetRGB(240, 10, 20, 30);
    EXPECT_EQ(f->GetFarbe(240), 10u + 20u * 256 + 30u * 65536);
    EXPECT_EQ(f->GetRGBFarbe(239), 0u);
    EXPECT_EQ(f->GetIntensRGB(300, 50), 300u);
}

TEST_F(FarbArrTest, IntensityBoundsAndRounding)
{
    TFarbArray f;
    f.SetColorIntens(50);
    EXPECT_EQ(f.Intens(100), 178); // 177.5 goes to the even 178
    EXPECT_EQ(f.Intens(255), 255);
    f.SetColorIntens(-50);
    EXPECT_EQ(f.Intens(100), 50);
    EXPECT_EQ(f.Intens(101), 50); // 50.5 goes to the even 50
    f.SetColorIntens(0.9);        // below one hundredth: no change
    EXPECT_EQ(f.Intens(100), 100);
    f.SetColorIntens(1); // stored as a float just below 0.01, still no change
    EXPECT_EQ(f.Intens(100), 100);
    f.SetColorIntens(1.01);
    EXPECT_EQ(f.Intens(100), 102); // 101.5655
    f.SetColorIntens(-1.01);
    EXPECT_EQ(f.Intens(100), 99); // 98.99
    f.SetColorIntens(100.001);
    EXPECT_EQ(f.Intens(0), 255);
    f.SetColorIntens(-100.001);
    EXPECT_EQ(f.Intens(200), 0);
    f.SetColorIntens(100.002);
    EXPECT_EQ(f.ColorIntens(), 0.0f);
    f.SetColorIntens(-100.002);
    EXPECT_EQ(f.ColorIntens(), 0.0f);
    f.SetColorIntens(25);
    EXPECT_EQ(f.GetColor(0, 100, 255), RGB(64, 139, 255)); // 63.75, 138.75
}

TEST_F(FarbArrTest, GreyingAndBlackBounds)
{
    TFarbArray f;
    f.SetGrayed(50);
    EXPECT_EQ(f.GetColor(200, 100, 0), RGB(150, 100, 50));
    // Halves of the pull towards the mean round to even.
    EXPECT_EQ(f.GetColor(10, 11, 12), RGB(10, 11, 12));
    EXPECT_EQ(f.GetColor(8, 11, 14), RGB(10, 11, 12));
    f.SetGrayed(100);
    EXPECT_EQ(f.GetColor(0, 0, 255), RGB(85, 85, 85));
    f.SetGrayed(0.5);
    EXPECT_EQ(f.Grayed(), 0.0f);
    EXPECT_EQ(f.GetColor(200, 100, 0), RGB(200, 100, 0));
    f.SetGrayed(1);
    EXPECT_FLOAT_EQ(f.Grayed(), 0.01f);
    f.SetGrayed(100.002);
    EXPECT_EQ(f.Grayed(), 0.0f);

    f.SetBlack(0.5);
    EXPECT_EQ(f.Black(), 0);
    f.SetBlack(1);
    EXPECT_EQ(f.Black(), 3);
    f.SetBlack(50);
    EXPECT_EQ(f.Black(), 128); // 127.5 goes to the even 128
    f.SetBlack(100);
    EXPECT_EQ(f.Black(), 255);
    EXPECT_EQ(f.GetBlack(), 0xFFFFFFu);
    EXPECT_EQ(f.GetRGBFarbe(5), 0xFFFFFFu);
    f.SetBlack(100.002);
    EXPECT_EQ(f.Black(), 0);

    // Black entries show the black level untouched by intensity and greying.
    f.SetBlack(20);
    f.SetColorIntens(50);
    f.SetGrayed(50);
    EXPECT_EQ(f.GetRGBFarbe(1), 51u * 65793u);
}

TEST_F(FarbArrTest, IntensityPreviewAppliesTwice)
{
    TFarbArray f;
    f.SetRGB(1, 100, 100, 100);
    f.SetColorIntens(50);
    // 100 -> 178 under the current intensity, then 178 -> 216.5 -> 216 under the preview's.
    EXPECT_EQ(f.GetIntensRGB(1, 50), 216u * 65793u);
    EXPECT_FLOAT_EQ(f.ColorIntens(), 0.5f);
    EXPECT_EQ(f.GetRGBFarbe(1), 178u * 65793u);
    EXPECT_EQ(f.GetIntensRGB(1, 0.009), 178u * 65793u);
    EXPECT_EQ(f.GetIntensRGB(1, -30), 178u * 65793u);
    // A gap starts from the black level, which the current intensity leaves alone.
    f.SetBlack(50);
    EXPECT_EQ(f.GetIntensRGB(2, 50), 192u * 65793u); // 128 + 63.5
    // A preview beyond the bounds uses intensity 0 on top.
    EXPECT_EQ(f.GetIntensRGB(1, 150), 178u * 65793u);
}

TEST_F(FarbArrTest, CalcRGBFillsGaps)
{
    TFarbArray f;
    f.SetRGB(1, 40, 40, 40);
    f.SetRGB(5, 200, 80, 0);
    f.CalcRGB(5);
    EXPECT_EQ(Entry(f, 2), (Rgb{80, 50, 30}));
    EXPECT_EQ(Entry(f, 3), (Rgb{120, 60, 20}));
    EXPECT_EQ(Entry(f, 4), (Rgb{160, 70, 10}));
    ExpectTableRight(f, "CalcRGB");

    // Gaps down to the bottom interpolate from (0, 0, 0).
    TFarbArray g;
    g.SetRGB(4, 40, 80, 120);
    g.SetModified(false);
    g.CalcRGB(4);
    EXPECT_TRUE(g.Modified());
    EXPECT_EQ(Entry(g, 1), (Rgb{10, 20, 30}));
    EXPECT_EQ(Entry(g, 2), (Rgb{20, 40, 60}));
    EXPECT_EQ(Entry(g, 3), (Rgb{30, 60, 90}));

    // Halves round to even.
    TFarbArray h;
    h.SetRGB(1, 10, 10, 10);
    h.SetRGB(3, 11, 13, 10);
    h.CalcRGB(3);
    EXPECT_EQ(Entry(h, 2), (Rgb{10, 12, 10}));

    // Nothing below to fill.
    h.SetModified(false);
    h.CalcRGB(3);
    h.CalcRGB(1);
    h.CalcRGB(0);
    h.CalcRGB(241);
    EXPECT_FALSE(h.Modified());
}

TEST_F(FarbArrTest, NearestEntryMatchesTheToleranceSearch)
{
    std::mt19937 rng(4711);
    for (int palette = 0; palette < 12; ++palette) {
        TFarbArray f;
        // Few distinct channel values make ties and duplicates common in half of the palettes.
        const int step = palette % 2 ? 64 : 1;
        for (int nr = 1; nr <= 240; ++nr)
            f.SetRGB(nr, std::uint8_t(rng() % 256 / step * step), std::uint8_t(rng() % 256 / step * step),
                     std::uint8_t(rng() % 256 / step * step));
        if (palette == 0)
            f.InitFarben();
        for (int i = 0; i < 300; ++i) {
            const int R = int(rng() % 256), G = int(rng() % 256), B = int(rng() % 256);
            ASSERT_EQ(f.GetNearestFarbNr(R, G, B), LiteralNearest(f, R, G, B)) << R << " " << G << " " << B;
        }
    }
    TFarbArray f;
    f.SetRGB(7, 1, 2, 3);
    f.SetRGB(9, 1, 2, 3);
    EXPECT_EQ(f.GetNearestFarbNr(1, 2, 3), 7);
    f.SetRGB(5, 3, 2, 1);
    EXPECT_EQ(f.GetNearestFarbNr(2, 2, 2), 5);
    // Colours off the byte range: nothing within 255 gives 0, as the search does.
    TFarbArray zero;
    EXPECT_EQ(zero.GetNearestFarbNr(300, 0, 0), LiteralNearest(zero, 300, 0, 0));
    EXPECT_EQ(zero.GetNearestFarbNr(255, -1, 0), 1);
    EXPECT_EQ(zero.GetNearestFarbNr(256, 0, 0), 0);
}

TEST_F(FarbArrTest, AssignAndCopyLeaveTheGreyFraction)
{
    QImage image(4, 4, QImage::Format_RGB32);
    QPainter painter(&image);
    TFarbArray a;
    a.InitFarben();
    a.SaveColors(Path("a.SGC"));
    a.SetRGB(100, 1, 2, 3);
    a.SetColorIntens(30);
    a.SetBlack(40);
    a.SetGrayed(70);
    a.SetCanvas(&painter);

    TFarbArray b;
    b.SetGrayed(20);
    b.Assign(a);
    EXPECT_EQ(Entry(b, 100), (Rgb{1, 2, 3}));
    EXPECT_EQ(b.Dateiname(), Path("a.SGC"));
    EXPECT_EQ(b.Canvas(), &painter);
    EXPECT_TRUE(b.Modified());
    EXPECT_FLOAT_EQ(b.ColorIntens(), 0.3f);
    EXPECT_EQ(b.Black(), 102);
    EXPECT_FLOAT_EQ(b.Grayed(), 0.2f);
    ExpectTableRight(b, "Assign");

    std::unique_ptr<TFarbArray> c = a.Copy();
    EXPECT_EQ(c->parent(), nullptr);
    EXPECT_EQ(Entry(*c, 86), (Rgb{255, 255, 0}));
    EXPECT_EQ(c->Grayed(), 0.0f);
    // The copy draws without the original's greying.
    EXPECT_NE(c->GetRGBFarbe(86), a.GetRGBFarbe(86));
    ExpectTableRight(*c, "Copy");
}

TEST_F(FarbArrTest, DisplayTableFollowsEveryChange)
{
    TFarbArray f;
    ExpectTableRight(f, "Create");
    f.InitFarben();
    ExpectTableRight(f, "InitFarben");
    f.SetColorIntens(-40);
    ExpectTableRight(f, "SetColorIntens");
    f.SetGrayed(35);
    ExpectTableRight(f, "SetGrayed");
    f.SetBlack(60);
    ExpectTableRight(f, "SetBlack");
    f.SetRGB(50, 10, 200, 30);
    f.SetRGB(2, 0, 0, 0);
    ExpectTableRight(f, "SetRGB");
    f.SetRGB(60, 90, 90, 90);
    f.CalcRGB(60);
    ExpectTableRight(f, "CalcRGB");
    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 6, 7}));
    f.ImportOldColors(Path("PlotFarb.dat"));
    ExpectTableRight(f, "ImportOldColors");
    WriteAll(Path("x.SGC"), ScaleFile(".SGC", QByteArray(720, '\x00')));
    f.LoadColors(Path("x.SGC"));
    ExpectTableRight(f, "LoadColors");
    EXPECT_EQ(f.GetRGBFarbe(17), f.GetBlack());
    TFarbArray other;
    other.SetRGB(3, 250, 1, 1);
    other.SetColorIntens(10);
    f.Assign(other);
    ExpectTableRight(f, "Assign");
    f.SetColorIntens(0);
    f.SetGrayed(0);
    f.SetBlack(0);
    ExpectTableRight(f, "reset");
}

TEST_F(FarbArrTest, PaletteRecordInsideACallersFile)
{
    const QString name = Path("project.dat");
    TFarbArray f;
    f.InitFarben();
    f.SetModified(true);
    {
        TFileIO io;
        io.MakeHeader(name, QStringLiteral("project"), 3);
        io.write_data(5, 2, "ab");
        f.SaveCol(io);
        io.write_ID(6);
    }
    EXPECT_TRUE(f.Modified());
    const QByteArray bytes = ReadAll(name);
    EXPECT_EQ(bytes.mid(31, 4), Bytes({0x46, 0x00, 0xD0, 0x02}));
    EXPECT_EQ(bytes.mid(35, 720), DefaultRecord());

    TFileIO io;
    QString comment;
    std::int32_t version;
    io.OpenHeader(name, comment, version);
    io.read_IDdata(5, 0, nullptr);
    TFarbArray g;
    g.LoadCol(io);
    io.read_IDdata(6, 0, nullptr);
    EXPECT_FALSE(io.Error());
    EXPECT_EQ(Entry(g, 43), (Rgb{200, 100, 0}));
    ExpectTableRight(g, "LoadCol");
}

TEST_F(FarbArrTest, PenAndBrushTakeTheRawEntry)
{
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::white);
    TFarbArray f;
    f.SetRGB(10, 200, 100, 50);
    f.SetColorIntens(80);
    f.SetGrayed(90);
    f.SetPenColor(10); // no canvas: nothing happens
    QPainter painter(&image);
    painter.setBrush(Qt::NoBrush);
    QPen pen(Qt::black, 3);
    painter.setPen(pen);
    f.SetCanvas(&painter);
    f.SetPenColor(10);
    EXPECT_EQ(painter.pen().color(), QColor(200, 100, 50));
    EXPECT_EQ(painter.pen().width(), 3);
    f.SetBrushColor(10);
    EXPECT_EQ(painter.brush().color(), QColor(200, 100, 50));
    EXPECT_EQ(painter.brush().style(), Qt::SolidPattern);
    f.SetPenColor(0);
    f.SetBrushColor(241);
    EXPECT_EQ(painter.pen().color(), QColor(200, 100, 50));
    painter.setPen(Qt::NoPen);
    painter.drawRect(0, 0, 8, 8);
    painter.end();
    EXPECT_EQ(image.pixelColor(4, 4), QColor(200, 100, 50));
}

TEST_F(FarbArrTest, SaveThatCannotBeWrittenRaises)
{
    TFarbArray f;
    EXPECT_THROW(f.SaveColors(Path("no/such/dir/x.SGC")), EInOutError);
    if (QFile::exists(QStringLiteral("/dev/full"))) {
        f.SetModified(true);
        EXPECT_THROW(f.SaveColors(QStringLiteral("/dev/full")), EInOutError);
        EXPECT_TRUE(f.Modified());
        EXPECT_TRUE(f.Dateiname().isEmpty());
    }
}
