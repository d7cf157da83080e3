#include "grid/KVRasterNeu.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cerrno>

using namespace wn;
using wntest::ReadAll;
using wntest::WriteAll;

namespace {

// Exposes the section search for the scanning tests.
class TProbe : public TRKFile
{
public:
    using TRKFile::TRKFile;
    bool Has(TKennung k)
    {
        TrecInfo info;
        return SeekKenn(k, info);
    }
};

QByteArray Hex(const char *hex)
{
    return QByteArray::fromHex(hex);
}

class RKFileTest : public ::testing::Test
{
protected:
    QString Path(const QString &name) const { return dir.filePath(name); }

    // Two columns, one row; H byte, W1 none, W2 small int: a cell of 4 bytes.
    void FillSmallGrid(TRKFile &f)
    {
        auto &s = f.Struktur;
        s.Columns = 2;
        s.Rows = 1;
        s.ZLevels = 1;
        s.XOrigin = 100;
        s.YOrigin = 200;
        s.dx = 10;
        s.dy = 5;
        s.nH = 1;
        s.nW1 = 1;
        s.nW2 = 1;
        s.TypeH = cwtByte;
        s.TypeW1 = cwtNone;
        s.TypeW2 = cwtSmallInt;
        f.Comment = QStringLiteral("Hi");
        f.CreateInfos(true, true, true, true);
        f.GetHInfo(1)->Name = QStringLiteral("L");
        f.GetHInfo(1)->Unit = QStringLiteral("dB");
        f.GetHInfo(1)->Min = 40;
        f.GetHInfo(1)->Max = 70;
        f.GetW1Info(1)->Name = QStringLiteral("Q");
        f.GetW2Info(1)->Name = QStringLiteral("T");
    }

    // FillSmallGrid written to a new file.
    QString MakeSmallGrid(const QString &name)
    {
        const QString path = Path(name);
        TRKFile f(path);
        FillSmallGrid(f);
        EXPECT_TRUE(f.CreateEmptyGrid(nullptr, 0));
        return path;
    }

    // A grid of cols x rows with a cell of 3 bytes (flag + two byte channels).
    QString MakeByteGrid(const QString &name, int cols, int rows)
    {
        const QString path = Path(name);
        TRKFile f(path);
        f.Struktur.Columns = std::uint16_t(cols);
        f.Struktur.Rows = std::uint16_t(rows);
        f.Struktur.ZLevels = 1;
        f.Struktur.dx = 1;
        f.Struktur.dy = 1;
        f.Struktur.nH = 2;
        f.Struktur.TypeH = cwtByte;
        EXPECT_TRUE(f.CreateEmptyGrid(nullptr, 0));
        return path;
    }

    QTemporaryDir dir;
};

TEST_F(RKFileTest, NewFileHasTheExpectedBytes)
{
    const QString path = Path("small.rlk");
    TRKFile f(path);
    FillSmallGrid(f);
    const char special[] = {char(0xAB), char(0xCD)};
    ASSERT_TRUE(f.CreateEmptyGrid(special, 2));
    EXPECT_FALSE(f.IsOpen());

    QByteArray want = Hex("430002");                       // structure header: 67 bytes, id 2
    want += Hex("020001000100");                           // columns, rows, Z levels
    want += Hex("00000000000059400000000000006940");       // x origin 100, y origin 200
    want += QByteArray(8 + 16, '\0');                      // z origin, reserved
    want += Hex("000020410000a040") + QByteArray(4, '\0'); // dx 10, dy 5, reserved
    want += Hex("010001000100010002");                     // nW1, nW2, nH, types
    want += Hex("510001024869") + QByteArray(78, '\0');    // comment "Hi"
    want += Hex("1000040000204200008c42000000000000803f");
    want += Hex("1000050c139a790c139af9000000000000803f");
    want += Hex("1000060c139a790c139af9000000000000803f");
    // Name sections: length 256 = 00 01; the Z list's first entry is empty, so no id 8.
    want += Hex("000107044c7c6442") + QByteArray(251, '\0'); // "L|dB"
    want += Hex("00010902517c") + QByteArray(253, '\0');     // "Q|"
    want += Hex("00010a02547c") + QByteArray(253, '\0');     // "T|"
    want += Hex("020003abcd");                               // special block
    want += Hex("00000b") + QByteArray(8, '\0');             // data: 2 cells of 4
    EXPECT_EQ(ReadAll(path).toHex(), want.toHex());
}

TEST_F(RKFileTest, RoundTripKeepsStructureNamesAndScaling)
{
    const QString path = Path("round.rlk");
    const QString comment = QStringLiteral("Lärm µ ") + QString(90, QLatin1Char('x'));
    {
        TRKFile f(path);
        FillSmallGrid(f);
        f.Struktur.ZOrigin = -3.25;
        f.Struktur.Reserved30[0] = 0x11;
        f.Struktur.Reserved54 = {1, 2, 3, 4};
        f.Comment = comment;
        f.GetZInfo(1)->Unit = QStringLiteral("4 m");
        f.GetHInfo(1)->Offset = -2.5f;
        f.GetHInfo(1)->Factor = 0.25f;
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    TRKFile r(path);
    r.OpenGridFile();
    ASSERT_TRUE(r.ReadGridStructure());
    r.ReadComment();
    r.ReadAllNames();
    r.ReadAllMinMax();
    EXPECT_EQ(r.Struktur.ZOrigin, -3.25);
    EXPECT_EQ(r.Struktur.Reserved30[0], 0x11);
    EXPECT_EQ(r.Struktur.Reserved54[3], 4);
    EXPECT_EQ(r.Comment, comment.left(80));
    EXPECT_EQ(r.GetHInfo(1)->Offset, -2.5f);
    EXPECT_EQ(r.GetHInfo(1)->Factor, 0.25f);
    EXPECT_EQ(r.GetZInfo(1)->Unit, QStringLiteral("4 m"));
    EXPECT_EQ(r.GetW2Info(1)->Min, 1e35f);
    EXPECT_EQ(r.GetW2Info(2), nullptr);
    EXPECT_EQ(r.GetHInfo(0), nullptr);

    // Structure rewritten in place.
    r.Struktur.XOrigin = 7.5;
    r.WriteGridStructure();
    r.CloseGridFile();
    TRKFile again(path);
    double x0, y0, x1, y1;
    again.GetKoordMinMax(x0, y0, x1, y1);
    EXPECT_EQ(QList<double>({x0, y0, x1, y1}), QList<double>({-2.5, 195, 17.5, 200}));
    EXPECT_FALSE(again.IsOpen());
}

TEST_F(RKFileTest, NameEntriesSplitAtTheFirstBarAfterTrimming)
{
    const QString path = Path("names.rlk");
    {
        TRKFile f(path);
        f.Struktur.nH = 3;
        f.Struktur.ZLevels = 1;
        f.CreateInfos(true, false, false, false);
        f.GetHInfo(1)->Name = QStringLiteral("  Lden");
        f.GetHInfo(1)->Unit = QStringLiteral("dB|A  ");
        f.GetHInfo(2)->Name = QString(300, QLatin1Char('n'));
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    // Turn the third entry into one without a bar.
    QByteArray bytes = ReadAll(path);
    const int names = bytes.indexOf(Hex("000307"));
    ASSERT_GT(names, 0);
    bytes.replace(names + 3 + 512, 5, Hex("04") + "abcd");
    WriteAll(path, bytes);

    TRKFile r(path);
    r.OpenGridFile();
    r.ReadGridStructure();
    r.ReadNames(kHNames);
    EXPECT_EQ(r.GetHInfo(1)->Name, QStringLiteral("Lden"));
    EXPECT_EQ(r.GetHInfo(1)->Unit, QStringLiteral("dB|A"));
    // Cut to 255 characters before the bar.
    EXPECT_EQ(r.GetHInfo(2)->Name, QString());
    EXPECT_EQ(r.GetHInfo(2)->Unit, QString(255, QLatin1Char('n')));
    EXPECT_EQ(r.GetHInfo(3)->Name, QString());
    EXPECT_EQ(r.GetHInfo(3)->Unit, QStringLiteral("abcd"));
}

TEST_F(RKFileTest, MoreThan255NamesWrapTheLengthField)
{
    const QString path = Path("many.rlk");
    {
        TRKFile f(path);
        f.Struktur.nH = 300;
        f.Struktur.TypeH = cwtNone;
        f.CreateInfos(true, false, false, false);
        for (int i = 1; i <= 300; ++i)
            f.GetHInfo(i)->Name = QStringLiteral("C%1").arg(i);
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    const QByteArray bytes = ReadAll(path);
    const int minMax = 70 + 84;
    EXPECT_EQ(bytes.mid(minMax, 3), Hex("c01204")); // 300 * 16 = 4800
    const int names = minMax + 3 + 4800;
    EXPECT_EQ(bytes.mid(names, 3), Hex("002c07"));  // 76800 wraps to 11264
    EXPECT_EQ(bytes.size(), names + 3 + 76800 + 3); // every entry is written, then an empty data area

    TProbe r(path);
    r.OpenGridFile();
    r.ReadGridStructure();
    r.ReadNames(kHNames);
    ASSERT_EQ(r.HList.size(), 300u);
    EXPECT_EQ(r.GetHInfo(44)->Name, QStringLiteral("C44"));
    EXPECT_EQ(r.GetHInfo(45)->Name, QString());
    // The wrapped length sends the scan into the name entries, which it reads as headers; it
    // must still come to an end.
    r.Has(kData);
}

TEST_F(RKFileTest, ListsWithoutEntriesOrNamesWriteNoSections)
{
    const QString path = Path("bare.rlk");
    {
        TRKFile f(path);
        f.Struktur.nH = 2;
        f.Struktur.TypeH = cwtByte;
        f.CreateInfos(true, false, false, false); // names and units left empty
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    TProbe r(path);
    r.OpenGridFile();
    EXPECT_TRUE(r.Has(kHMinMax));
    for (TKennung k : {kVersInfo, kSpecial, kW1MinMax, kW2MinMax, kHNames, kZNames, kW1Names, kW2Names})
        EXPECT_FALSE(r.Has(k)) << int(k);
    // Nothing to read: the caller's buffer stays as it was.
    QByteArray special("keep");
    r.ReadSpecialStructure(special);
    EXPECT_EQ(special, QByteArray("keep"));
}

TEST_F(RKFileTest, ScanStopsAtTheDataArea)
{
    const QString path = MakeByteGrid("stop.rlk", 2, 2);
    TProbe r(path);
    r.OpenGridFile();
    r.ReadGridStructure();
    // A cell whose bytes look like a version header behind the data header.
    const char cell[] = {5, 0, 0, 9, 9, 9};
    r.WriteDataBlock(1, 1, 2, 1, cell);
    EXPECT_FALSE(r.Has(kVersInfo));
    EXPECT_TRUE(r.Has(kData));
}

TEST_F(RKFileTest, TruncatedFilesLoseEverySectionBehindTheBreak)
{
    const QString full = Path("full.rlk");
    {
        TRKFile f(full);
        FillSmallGrid(f);
        const char special[] = {1, 2, 3};
        ASSERT_TRUE(f.CreateEmptyGrid(special, 3));
    }
    const QByteArray bytes = ReadAll(full);
    // Walk the frame to find each section's start.
    QList<std::pair<int, TKennung>> starts;
    for (int pos = 0; pos + 3 <= bytes.size();) {
        const auto kennung = TKennung(std::uint8_t(bytes[pos + 2]));
        starts.append({pos, kennung});
        if (kennung == kData)
            break;
        pos += 3 + (std::uint8_t(bytes[pos]) | std::uint8_t(bytes[pos + 1]) << 8);
    }
    ASSERT_EQ(starts.size(), 10);
    for (const auto &[cut, cutKennung] : starts) {
        // Cut at the boundary, inside the header, and inside the previous payload.
        for (int len : {cut, cut + 1, cut + 2, cut - 1}) {
            if (len < 0)
                continue;
            const QString path = Path(QStringLiteral("cut%1.rlk").arg(len));
            WriteAll(path, bytes.left(len));
            TProbe r(path);
            r.OpenGridFile();
            for (const auto &[start, kennung] : starts) {
                // A section counts as there when its whole header survives the cut.
                const bool present = start + 3 <= len;
                EXPECT_EQ(r.Has(kennung), present) << "cut " << len << " section " << int(kennung);
            }
        }
    }
}

TEST_F(RKFileTest, RememberedPositionsAreTrustedWithoutANewScan)
{
    const QString path = MakeSmallGrid("moved.rlk");
    TProbe r(path);
    r.OpenGridFile();
    r.ReadComment();
    r.CloseGridFile();

    // Another writer puts an empty version section in front of the comment.
    QByteArray bytes = ReadAll(path);
    bytes.insert(70, Hex("000000"));
    WriteAll(path, bytes);
    r.OpenGridFile();
    r.Comment.clear();
    r.ReadComment(); // the remembered place now holds the version header
    EXPECT_EQ(r.Comment, QString());
    EXPECT_TRUE(r.Has(kHMinMax)); // never looked for before: found by a scan

    TProbe fresh(path);
    fresh.OpenGridFile();
    fresh.ReadComment();
    EXPECT_EQ(fresh.Comment, QStringLiteral("Hi"));
}

TEST_F(RKFileTest, ClippedBlocksReadZerosOutsideTheGrid)
{
    const QString path = MakeByteGrid("clip.rlk", 4, 3);
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    ASSERT_EQ(f.GetDataSize(), 3);
    QByteArray all(4 * 3 * 3, '\0');
    for (int i = 0; i < all.size(); ++i)
        all[i] = char(i + 1);
    f.WriteDataBlock(1, 1, 4, 3, all.constData());
    EXPECT_EQ(ReadAll(path).right(36), all);

    // Columns 3..5 of rows 2..4: only columns 3, 4 of rows 2, 3 exist.
    QByteArray block(3 * 3 * 3, char(0xEE));
    f.ReadDataBlock(3, 2, 3, 3, block.data());
    QByteArray want(27, '\0');
    for (int k = 0; k < 2; ++k)
        for (int c = 0; c < 2; ++c)
            for (int b = 0; b < 3; ++b)
                want[k * 9 + c * 3 + b] = all[((1 + k) * 4 + 2 + c) * 3 + b];
    EXPECT_EQ(block.toHex(), want.toHex());

    // A whole block beyond the grid reads as zeros; nothing at all for an empty block.
    QByteArray outside(6, char(0xEE));
    f.ReadDataBlock(5, 1, 2, 1, outside.data());
    EXPECT_EQ(outside, QByteArray(6, '\0'));
    f.ReadDataBlock(1, 1, 0, 5, outside.data());
    EXPECT_EQ(outside, QByteArray(6, '\0'));

    // A clipped write changes only the cells on the grid and does not grow the file.
    const qsizetype sizeBefore = ReadAll(path).size();
    const QByteArray ones(3 * 2 * 3, char(0x7F));
    f.WriteDataBlock(4, 3, 3, 2, ones.constData());
    f.CloseGridFile();
    const QByteArray after = ReadAll(path);
    EXPECT_EQ(after.size(), sizeBefore);
    QByteArray changed = all;
    changed.replace((2 * 4 + 3) * 3, 3, QByteArray(3, char(0x7F)));
    EXPECT_EQ(after.right(36).toHex(), changed.toHex());
}

TEST_F(RKFileTest, WriteMaskKeepsUnmaskedCells)
{
    const QString path = MakeByteGrid("mask.rlk", 3, 2);
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    const QByteArray base(18, char(0x11));
    f.WriteDataBlock(1, 1, 3, 2, base.constData());
    QByteArray data(18, '\0');
    for (int i = 0; i < 18; ++i)
        data[i] = char(0xA0 + i);
    const bool mask[] = {true, false, true, true, true, true};
    f.WriteDataBlockEx(1, 1, 3, 2, data.constData(), mask);
    QByteArray back(18, '\0');
    f.ReadDataBlock(1, 1, 3, 2, back.data());
    QByteArray want = data;
    want.replace(3, 3, QByteArray(3, char(0x11)));
    EXPECT_EQ(back.toHex(), want.toHex());

    // Flags of clipped-off columns do not count: row 1 goes out whole, row 2 not at all.
    const bool tail[] = {true, false, false, true};
    const QByteArray two(12, char(0x55));
    f.WriteDataBlockEx(3, 1, 2, 2, two.constData(), tail);
    f.ReadDataBlock(3, 1, 1, 2, back.data());
    EXPECT_EQ(back.left(6).toHex(), (QByteArray(3, char(0x55)) + data.mid(15, 3)).toHex());
}

TEST_F(RKFileTest, DataSizeAndPositions)
{
    TRKFile f(Path("unused.rlk"));
    auto &s = f.Struktur;
    s.nH = 2;
    s.TypeH = cwtSingle;
    s.ZLevels = 1;
    s.nW1 = 3;
    s.TypeW1 = cwtNone;
    s.nW2 = 4;
    s.TypeW2 = cwtSmallInt;
    EXPECT_EQ(f.GetDataSize(), 33);
    EXPECT_EQ(f.GetDataPos(1, 0), 9);
    EXPECT_EQ(f.GetDataPos(2, 3), 9 + 8 + 4);
    s.TypeW1 = cwtByte;
    EXPECT_EQ(f.GetDataPos(2, 1), 9 + 9); // W2 counted from the start of its group
    EXPECT_EQ(f.GetDataPos(3, 0), 9 + 2); // steps over W1 values only
    s.ZLevels = 3;
    EXPECT_EQ(f.GetDataSize(), 33); // kept from the first call

    TRKFile g(Path("unused2.rlk"));
    g.Struktur = s;
    EXPECT_EQ(g.GetDataSize(), 3 * 3 * (4 * 2 + 1) + 8 + 1);
    TRKFile none(Path("unused3.rlk"));
    none.Struktur.TypeH = 9; // unknown types take no room
    none.Struktur.nH = 5;
    EXPECT_EQ(none.GetDataSize(), 1);
}

TEST(RKFileGetVal, EachType)
{
    const std::uint8_t data[] = {0x2C, 0x01, 0x00, 0x00, 0x20, 0x41};
    EXPECT_EQ(TRKFile::GetVal(data, 5, 0, cwtByte, 1.0f, 2.0f), 89.0f);
    // The slot's second byte is not read: 44, not 300.
    EXPECT_EQ(TRKFile::GetVal(data, 5, 0, cwtSmallInt, 0.5f, 0.5f), 22.5f);
    EXPECT_EQ(TRKFile::GetVal(data, 5, 2, cwtSingle, -1.0f, 0.5f), 4.0f);
    EXPECT_EQ(TRKFile::GetVal(data, 5, 0, cwtNone, 7.0f, 3.0f), 0.0f);
    // Values reaching past the last index read as 0.
    EXPECT_EQ(TRKFile::GetVal(data, 5, 3, cwtSingle, 1.0f, 1.0f), 0.0f);
    EXPECT_EQ(TRKFile::GetVal(data, 5, 6, cwtByte, 1.0f, 1.0f), 0.0f);
}

TEST_F(RKFileTest, CalcDimensionRoundsHalvesToEven)
{
    TRKFile f(Path("x.rlk"));
    f.Struktur.dx = 10;
    f.Struktur.dy = 4;
    const auto layout = [&] {
        const auto &s = f.Struktur;
        return QList<double>({s.XOrigin, s.YOrigin, double(s.Columns), double(s.Rows)});
    };
    // Origins 1.5 -> 2 spacings, ends 10.5 -> 10 and 2.5 -> 2.
    f.CalcDimension(15, 6, 105, 10);
    EXPECT_EQ(layout(), QList<double>({20, 8, 9, 1}));
    // Origins 2.5 -> 2 and -1.5 -> -2, ends 3.5 -> 4 and -0.5 -> 0.
    f.CalcDimension(25, -6, 35, -2);
    EXPECT_EQ(layout(), QList<double>({20, -8, 3, 3}));
    f.Struktur.dx = 1;
    f.CalcDimension(0, 0, 70000, 0);
    EXPECT_EQ(f.Struktur.Columns, 70001 % 65536); // kept in 16 bits
}

TEST(RKFileTags, PackAndUnpack)
{
    EXPECT_EQ(GetSelTag(1, 2, 3), 65536 + 512 + 3);
    const struct {
        std::int32_t Tag, H, W1, W2;
    } cases[] = {{GetSelTag(2, 0, 0), 2, 512, 0}, {GetSelTag(0, 7, 9), 0, 7, 9}, {-1, 65535, 65535, -1}};
    for (const auto &c : cases) {
        std::int32_t h, w1, w2;
        GetSelected(c.Tag, h, w1, w2);
        EXPECT_EQ(QList<std::int32_t>({h, w1, w2}), QList<std::int32_t>({c.H, c.W1, c.W2})) << c.Tag;
    }
}

TEST(RKFileUnits, Prefixes)
{
    const struct {
        double In;
        const char *Unit;
        double Out;
    } cases[] = {{0.0025, "mPa", 2.5}, {123456, "kPa", 123.456}, {2.5e-6, "\xC2\xB5Pa", 2.5},
                 {2e-15, "fPa", 2},    {1e-18, "Pa", 1e-18},     {5e20, "TPa", 5e8},
                 {0, "Pa", 0},         {-0.002, "Pa", -0.002},   {999.5, "Pa", 999.5}};
    for (const auto &c : cases) {
        double v = c.In;
        QString unit = QStringLiteral("Pa");
        PrefixUnit(v, unit);
        EXPECT_EQ(unit, QString::fromUtf8(c.Unit)) << c.In;
        EXPECT_DOUBLE_EQ(v, c.Out) << c.In;
    }
}

// Lines, tags, unit prefixes, W2 addressing and the vertical section of the point query are
// checked through `wnpack grid query` on files built byte by byte.
TEST_F(RKFileTest, PointQuerySnapsToBorderAndEvenNodes)
{
    TRKFile f(Path("snap.rlk"));
    auto &s = f.Struktur;
    s.Columns = 4;
    s.Rows = 3;
    s.ZLevels = 1;
    s.XOrigin = 1000;
    s.YOrigin = 2000;
    s.dx = 2;
    s.dy = 1.5;
    ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    // Indices 0.5 go to 0 and 1.5 to 2.
    const double cases[][4] = {
        {-1e9, 1e300, 1000, 2003}, {1001, 2002.25, 1000, 2003}, {1003, 2001.4, 1004, 2001.5}};
    for (const auto &c : cases) {
        double x = c[0], y = c[1], z = 99;
        TTaggedLines lines;
        f.GetValuesOfPt(false, nullptr, x, y, z, lines);
        EXPECT_FALSE(f.IsOpen());
        EXPECT_EQ(QList<double>({x, y, z}), QList<double>({c[2], c[3], 0})) << c[0];
    }
}

TEST_F(RKFileTest, ListSectionsRewrittenInPlace)
{
    const QString path = MakeSmallGrid("wn.rlk");
    const QByteArray before = ReadAll(path);
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    f.ReadAllNames();
    f.ReadAllMinMax();
    f.GetHInfo(1)->Name = QStringLiteral("New");
    // Only the min/max identifiers are acted on, by either writer.
    f.WriteHNames();
    f.WriteZNames();
    f.WriteW1Names();
    f.WriteW2Names();
    f.WriteNames(kData);
    f.WriteMinMax(kHNames);
    EXPECT_EQ(ReadAll(path), before);

    f.GetW2Info(1)->Min = 1;
    f.GetW2Info(1)->Max = 10;
    f.WriteW2MinMax();
    f.CloseGridFile();
    QByteArray want = before;
    want.replace(70 + 84 + 19 * 2 + 3, 16, Hex("0000803f00002041000000000000803f"));
    EXPECT_EQ(ReadAll(path).toHex(), want.toHex());

    f.OpenGridFile();
    f.WriteNames(kHMinMax);
    f.CloseGridFile();
    want.replace(70 + 84 + 3, 256, Hex("064e65777c6442") + QByteArray(249, '\0')); // "New|dB"
    EXPECT_EQ(ReadAll(path).toHex(), want.toHex());
}

TEST_F(RKFileTest, SpecialBlockReadAndRewritten)
{
    const QString path = Path("sp.rlk");
    {
        TRKFile f(path);
        const QByteArray block("abcdef");
        ASSERT_TRUE(f.CreateEmptyGrid(block.constData(), block.size()));
    }
    TRKFile f(path);
    f.OpenGridFile();
    QByteArray got;
    f.ReadSpecialStructure(got);
    EXPECT_EQ(got, QByteArray("abcdef"));
    f.WriteSpecialStructure(QByteArray("ABCDEFGH"));
    f.ReadSpecialStructure(got);
    EXPECT_EQ(got, QByteArray("ABCDEF"));
    EXPECT_THROW(f.WriteSpecialStructure(QByteArray("x")), std::invalid_argument);
}

TEST_F(RKFileTest, AssignStructureCopiesLayoutAndItems)
{
    TRKFile a(Path("a.rlk"));
    FillSmallGrid(a);
    a.GetHInfo(1)->Factor = 3;
    TRKFile b(Path("b.rlk"));
    b.AssignStructure(a);
    EXPECT_EQ(b.Comment, QStringLiteral("Hi"));
    EXPECT_EQ(b.Struktur.ToBytes(), a.Struktur.ToBytes());
    ASSERT_NE(b.GetHInfo(1), nullptr);
    EXPECT_EQ(b.GetHInfo(1)->Factor, 3.0f);
    EXPECT_NE(b.GetHInfo(1), a.GetHInfo(1));
    a.W1List.clear();
    b.AssignStructure(a);
    EXPECT_EQ(b.GetW1Info(1), nullptr);
}

TEST_F(RKFileTest, FileErrorsRaiseWithTheOsError)
{
    TRKFile missing(Path("missing.rlk"));
    try {
        missing.OpenGridFile();
        FAIL() << "opened a missing file";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, ENOENT);
        EXPECT_TRUE(e.Message().contains(QStringLiteral("missing.rlk")));
    }
    EXPECT_FALSE(missing.IsOpen());
    try {
        missing.ReadComment();
        FAIL() << "read from a closed file";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, 103);
    }
    double x = 0, y = 0, z = 0;
    TTaggedLines lines;
    EXPECT_THROW(missing.GetValuesOfPt(false, nullptr, x, y, z, lines), EInOutError);

    const QString cut = MakeSmallGrid("tp.rlk");
    WriteAll(cut, ReadAll(cut).left(40)); // inside the structure
    TRKFile r(cut);
    r.OpenGridFile();
    try {
        r.ReadGridStructure();
        FAIL() << "read a cut structure";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, 100);
    }

    TRKFile inDir(Path("nodir/x.rlk"));
    try {
        inDir.CreateEmptyGrid(nullptr, 0);
        FAIL() << "created a file in a missing folder";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, ENOENT);
    }
}

TEST_F(RKFileTest, ReadOnlyOpenReadsAndRefusesWrites)
{
    const QString path = MakeSmallGrid("ro.rlk");
    const QByteArray before = ReadAll(path);
    TRKFile f(path);
    f.OpenGridFileReadOnly();
    // The query keeps the file open as it found it.
    double x = 110, y = 200, z = 0;
    TTaggedLines lines;
    f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    EXPECT_TRUE(f.IsOpen());
    EXPECT_EQ(lines.first().Text, QStringLiteral("L [dB] \t0"));
    try {
        f.WriteGridStructure();
        FAIL() << "wrote through a read-only open";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, EBADF);
    }
    const char cell[4] = {1, 2, 3, 4};
    EXPECT_THROW(f.WriteDataBlock(1, 1, 1, 1, cell), EInOutError);
    // Opening again for writing works as before.
    f.OpenGridFile();
    f.WriteDataBlock(2, 1, 1, 1, cell);
    f.CloseGridFile();
    EXPECT_EQ(ReadAll(path).toHex(), (before.left(before.size() - 4) + QByteArray(cell, 4)).toHex());
}

TEST(RKFileDevice, FullDiskAnswersFalse)
{
    if (!QFile::exists(QStringLiteral("/dev/full")))
        GTEST_SKIP() << "no /dev/full";
    TRKFile f(QStringLiteral("/dev/full"));
    f.Struktur.Columns = 10;
    f.Struktur.Rows = 10;
    EXPECT_FALSE(f.CreateEmptyGrid(nullptr, 0));
}

TEST_F(RKFileTest, DamagedFilesGiveErrorsNotCrashes)
{
    const auto patch = [](const QString &path, auto change) {
        TRKFile f(path);
        f.OpenGridFile();
        f.ReadGridStructure();
        change(f.Struktur);
        f.WriteGridStructure();
        return path;
    };
    double x = 0, y = 0, z = 0;
    TTaggedLines lines;
    const auto query = [&](const QString &path) {
        TRKFile f(path);
        f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    };
    // A cell that cannot fit the file.
    const QString huge = patch(MakeByteGrid("huge.rlk", 2, 2), [](TrecRlkStruktur &s) {
        s.ZLevels = s.nW1 = s.nW2 = 65535;
        s.TypeW2 = cwtSingle;
    });
    EXPECT_THROW(query(huge), EInOutError);

    // No room for W values in the cell (no Z level): they read as 0, but not billions of them.
    const QString flat = patch(MakeByteGrid("flat.rlk", 2, 2), [](TrecRlkStruktur &s) {
        s.ZLevels = 0;
        s.nW1 = 2;
        s.nW2 = 1;
        s.TypeW2 = cwtSingle;
    });
    query(flat);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[1].Text, QStringLiteral("- [] \t0"));
    patch(flat, [](TrecRlkStruktur &s) {
        s.nW1 = s.nW2 = 65535;
        s.TypeW2 = cwtNone;
    });
    EXPECT_THROW(query(flat), EInOutError);

    // A data area cut short: the far cell is not there.
    const QString cut = MakeByteGrid("cut.rlk", 10, 10);
    WriteAll(cut, ReadAll(cut).chopped(50));
    x = y = 9;
    try {
        query(cut);
        FAIL() << "read a missing cell";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, 100);
    }
    x = y = 0;
    query(cut);

    // A zero spacing at the origin gives no node at all.
    const QString zero = patch(MakeByteGrid("zero.rlk", 2, 2), [](TrecRlkStruktur &s) { s.dx = 0; });
    EXPECT_THROW(query(zero), wn::Exception);
}

} // namespace
