#include "grid/KVRasterNeu.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

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

class RKFileTest : public wntest::TTempDirTest
{
protected:
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
        s.nH = s.nW1 = s.nW2 = 1;
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

    QString MakeSmallGrid(const QString &name, const QByteArray &special = {})
    {
        TRKFile f(Path(name));
        FillSmallGrid(f);
        EXPECT_TRUE(f.CreateEmptyGrid(special.constData(), std::int32_t(special.size())));
        return f.FileName();
    }

    // A grid of cols x rows with a cell of 3 bytes (flag + two byte channels).
    QString MakeByteGrid(const QString &name, int cols, int rows)
    {
        TRKFile f(Path(name));
        f.Struktur.Columns = std::uint16_t(cols);
        f.Struktur.Rows = std::uint16_t(rows);
        f.Struktur.ZLevels = 1;
        f.Struktur.dx = f.Struktur.dy = 1;
        f.Struktur.nH = 2;
        f.Struktur.TypeH = cwtByte;
        EXPECT_TRUE(f.CreateEmptyGrid(nullptr, 0));
        return f.FileName();
    }
};

TEST_F(RKFileTest, NewFileHasTheExpectedBytes)
{
    const QString path = MakeSmallGrid("small.rlk", Hex("abcd"));
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

    TRKFile f(path);
    FillSmallGrid(f);
    EXPECT_EQ(f.HeadBytes("\xab\xcd", 2).toHex(), want.chopped(8).toHex());
}

TEST_F(RKFileTest, RoundTripKeepsStructureNamesScalingAndSpecialBlock)
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
        ASSERT_TRUE(f.CreateEmptyGrid("abcdef", 6));
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

    // The special block is rewritten in place, as many bytes as its section holds.
    QByteArray got;
    r.WriteSpecialStructure(QByteArray("ABCDEFGH"));
    r.ReadSpecialStructure(got);
    EXPECT_EQ(got, QByteArray("ABCDEF"));
    EXPECT_THROW(r.WriteSpecialStructure(QByteArray("x")), EArgumentError);

    // Assigned to another object: the same layout and copies of the items.
    TRKFile b(Path("b.rlk"));
    b.AssignStructure(r);
    EXPECT_EQ(b.Struktur.ToBytes(), r.Struktur.ToBytes());
    EXPECT_EQ(b.GetHInfo(1)->Factor, 0.25f);
    EXPECT_NE(b.GetHInfo(1), r.GetHInfo(1));

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

TEST_F(RKFileTest, NameEntriesSplitAtTheFirstBarAndWrapPast255Entries)
{
    const QString path = Path("names.rlk");
    {
        TRKFile f(path);
        f.Struktur.nH = 300;
        f.Struktur.TypeH = cwtNone;
        f.CreateInfos(true, false, false, false);
        for (int i = 1; i <= 300; ++i)
            f.GetHInfo(i)->Name = QStringLiteral("C%1").arg(i);
        f.GetHInfo(1)->Name = QStringLiteral("  Lden");
        f.GetHInfo(1)->Unit = QStringLiteral("dB|A  ");
        f.GetHInfo(2)->Name = QString(300, QLatin1Char('n'));
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    QByteArray bytes = ReadAll(path);
    const int minMax = 70 + 84;
    EXPECT_EQ(bytes.mid(minMax, 3), Hex("c01204")); // 300 * 16 = 4800
    const int names = minMax + 3 + 4800;
    EXPECT_EQ(bytes.mid(names, 3), Hex("002c07"));         // 76800 wraps to 11264
    EXPECT_EQ(bytes.size(), names + 3 + 76800 + 3);        // every entry is written, then an empty data area
    bytes.replace(names + 3 + 512, 5, Hex("04") + "abcd"); // the third entry without a bar
    WriteAll(path, bytes);

    TProbe r(path);
    r.OpenGridFile();
    r.ReadGridStructure();
    r.ReadNames(kHNames);
    ASSERT_EQ(r.HList.size(), 300u);
    const std::pair<QString, QString> expected[] = {
        {"Lden", "dB|A"}, {"", QString(255, QLatin1Char('n'))}, {"", "abcd"}, {"C44", ""}, {"", ""}};
    const int items[] = {1, 2, 3, 44, 45}; // the wrapped length covers 44 entries
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(r.GetHInfo(items[k])->Name, expected[k].first) << items[k];
        EXPECT_EQ(r.GetHInfo(items[k])->Unit, expected[k].second) << items[k];
    }
    // The wrapped length sends the scan into the name entries, which it reads as headers; it
    // must still come to an end.
    r.Has(kData);
}

TEST_F(RKFileTest, SectionScanStopsAtTheDataAreaAndAtEveryBreak)
{
    // Lists without entries or names write no sections; nothing to read keeps the caller's data.
    const QString bare = MakeByteGrid("bare.rlk", 2, 2);
    TProbe r(bare);
    r.OpenGridFile();
    for (TKennung k : {kVersInfo, kSpecial, kHMinMax, kW1MinMax, kW2MinMax, kHNames, kZNames, kW1Names})
        EXPECT_FALSE(r.Has(k)) << int(k);
    QByteArray special("keep");
    r.ReadSpecialStructure(special);
    EXPECT_EQ(special, QByteArray("keep"));
    // A cell whose bytes look like a version header behind the data header is not a section.
    r.ReadGridStructure();
    r.WriteDataBlock(1, 1, 2, 1, "\x05\x00\x00\x09\x09\x09");
    EXPECT_FALSE(r.Has(kVersInfo));
    EXPECT_TRUE(r.Has(kData));

    const QByteArray bytes = ReadAll(MakeSmallGrid("full.rlk", "\x01\x02\x03"));
    QList<std::pair<int, TKennung>> starts;
    for (int pos = 0; pos + 3 <= bytes.size();) {
        starts.append({pos, TKennung(std::uint8_t(bytes[pos + 2]))});
        if (starts.back().second == kData)
            break;
        pos += 3 + (std::uint8_t(bytes[pos]) | std::uint8_t(bytes[pos + 1]) << 8);
    }
    ASSERT_EQ(starts.size(), 10);
    for (const auto &[cut, cutKennung] : starts) {
        // Cut at the boundary, inside the header, and inside the previous payload.
        for (int len : {cut, cut + 1, cut + 2, cut - 1}) {
            if (len < 0)
                continue;
            TProbe t(WriteAll(Path(QStringLiteral("cut%1.rlk").arg(len)), bytes.left(len)));
            t.OpenGridFile();
            for (const auto &[start, kennung] : starts)
                EXPECT_EQ(t.Has(kennung), start + 3 <= len) << "cut " << len << " section " << int(kennung);
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

TEST_F(RKFileTest, BlocksClipToTheGridAndMasksKeepCells)
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

    // Columns 3..5 of rows 2..4: only columns 3, 4 of rows 2, 3 exist; the rest reads as zeros.
    QByteArray block(27, char(0xEE));
    f.ReadDataBlock(3, 2, 3, 3, block.data());
    QByteArray want(27, '\0');
    for (int k = 0; k < 2; ++k)
        want.replace(k * 9, 6, all.mid(((1 + k) * 4 + 2) * 3, 6));
    EXPECT_EQ(block.toHex(), want.toHex());
    QByteArray outside(6, char(0xEE));
    f.ReadDataBlock(5, 1, 2, 1, outside.data());
    EXPECT_EQ(outside, QByteArray(6, '\0'));

    // A clipped write changes only the cells on the grid and does not grow the file.
    f.WriteDataBlock(4, 3, 3, 2, QByteArray(18, char(0x7F)).constData());
    all.replace((2 * 4 + 3) * 3, 3, QByteArray(3, char(0x7F)));
    // Masked: cells with a false flag keep their bytes; flags of clipped-off columns do not count.
    const bool mask[] = {true, false, true, true, true, true, true, false};
    f.WriteDataBlockEx(2, 1, 4, 2, QByteArray(24, char(0x55)).constData(), mask);
    f.CloseGridFile();
    for (int cell : {1, 3, 5, 6, 7})
        all.replace(cell * 3, 3, QByteArray(3, char(0x55)));
    EXPECT_EQ(ReadAll(path).right(37).toHex(), (Hex("0b") + all).toHex());
}

TEST_F(RKFileTest, CellLayoutSizesAndPositions)
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
    const TCellLayout layout(s);
    EXPECT_EQ(QList<std::int64_t>({layout.HPos(2), layout.W1Pos(3), layout.W2Pos(3, 4), layout.CellSize}),
              QList<std::int64_t>({5, 9 + 18, 9 + 18 + 6, 9 + 27}));
    s.ZLevels = 3;
    EXPECT_EQ(f.GetDataSize(), 33); // kept from the first call
    EXPECT_EQ(TCellLayout(s).CellSize, 3 * 3 * (4 * 2 + 1) + 8 + 1);
    s.TypeH = 9; // unknown types take no room
    EXPECT_EQ(TCellLayout(s).HPos(5), 1);
}

TEST(RKFileValues, GetValTagsPrefixesAndDimensions)
{
    const std::uint8_t data[] = {0x2C, 0x01, 0x00, 0x00, 0x20, 0x41};
    const struct {
        std::int64_t Pos;
        std::uint8_t Type;
        float Offset, Factor, Value;
    } values[] = {
        {0, cwtByte, 1, 2, 89},      {0, cwtSmallInt, 0.5f, 0.5f, 22.5f}, // 44, not 300
        {2, cwtSingle, -1, 0.5f, 4}, {0, cwtNone, 7, 3, 0},
        {3, cwtSingle, 1, 1, 0},     {6, cwtByte, 1, 1, 0}, // reaching past the last index
    };
    for (const auto &v : values)
        EXPECT_EQ(TRKFile::GetVal(data, 5, v.Pos, v.Type, v.Offset, v.Factor), v.Value)
            << v.Pos << int(v.Type);

    EXPECT_EQ(GetSelTag(1, 2, 3), 65536 + 512 + 3);
    const std::int32_t tags[][4] = {
        {GetSelTag(2, 0, 0), 2, 512, 0}, {GetSelTag(0, 7, 9), 0, 7, 9}, {-1, 65535, 65535, -1}};
    for (const auto &t : tags) {
        std::int32_t h, w1, w2;
        GetSelected(t[0], h, w1, w2);
        EXPECT_EQ(QList<std::int32_t>({h, w1, w2}), QList<std::int32_t>({t[1], t[2], t[3]})) << t[0];
    }

    const struct {
        double In;
        const char *Unit;
        double Out;
    } prefixes[] = {{0.0025, "mPa", 2.5}, {123456, "kPa", 123.456}, {2.5e-6, "\xC2\xB5Pa", 2.5},
                    {2e-15, "fPa", 2},    {1e-18, "Pa", 1e-18},     {5e20, "TPa", 5e8},
                    {0, "Pa", 0},         {-0.002, "Pa", -0.002},   {999.5, "Pa", 999.5}};
    for (const auto &p : prefixes) {
        double v = p.In;
        QString unit = QStringLiteral("Pa");
        PrefixUnit(v, unit);
        EXPECT_EQ(unit, QString::fromUtf8(p.Unit)) << p.In;
        EXPECT_DOUBLE_EQ(v, p.Out) << p.In;
    }

    // Origins 1.5 -> 2 spacings, ends 10.5 -> 10 and 2.5 -> 2; then 2.5 -> 2, -1.5 -> -2, 3.5 -> 4
    // and -0.5 -> 0; a count beyond 16 bits wraps.
    TRKFile f(QStringLiteral("unused.rlk"));
    f.Struktur.dx = 10;
    f.Struktur.dy = 4;
    const double extents[][8] = {{15, 6, 105, 10, 20, 8, 9, 1}, {25, -6, 35, -2, 20, -8, 3, 3}};
    for (const auto &e : extents) {
        f.CalcDimension(e[0], e[1], e[2], e[3]);
        const auto &s = f.Struktur;
        EXPECT_EQ(QList<double>({s.XOrigin, s.YOrigin, double(s.Columns), double(s.Rows)}),
                  QList<double>({e[4], e[5], e[6], e[7]}));
    }
    f.Struktur.dx = 1;
    f.CalcDimension(0, 0, 70000, 0);
    EXPECT_EQ(f.Struktur.Columns, 70001 % 65536);
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

TEST_F(RKFileTest, OnlyMinMaxSectionsAreRewrittenByEitherWriter)
{
    const QString path = MakeSmallGrid("wn.rlk");
    const QByteArray before = ReadAll(path);
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    f.ReadAllNames();
    f.ReadAllMinMax();
    f.GetHInfo(1)->Name = QStringLiteral("New");
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
    f.WriteNames(kHMinMax); // the names land on the min/max section
    f.CloseGridFile();
    QByteArray want = before;
    want.replace(70 + 84 + 19 * 2 + 3, 16, Hex("0000803f00002041000000000000803f"));
    want.replace(70 + 84 + 3, 256, Hex("064e65777c6442") + QByteArray(249, '\0')); // "New|dB"
    EXPECT_EQ(ReadAll(path).toHex(), want.toHex());
}

TEST_F(RKFileTest, IsGridFileLooksAtTheStructureSection)
{
    const QByteArray good = ReadAll(MakeSmallGrid("good.rlk"));
    QByteArray badType = good;
    badType[3 + 66] = 4;
    const std::pair<QByteArray, bool> cases[] = {
        {good, true},
        {good.left(70), true},
        {good.left(69), false},
        {badType, false},
        {Hex("430003"), false},
        {QByteArray(), false},
        {Hex("440002") + good.mid(3), false},
    };
    int n = 0;
    for (const auto &[bytes, grid] : cases)
        EXPECT_EQ(TRKFile::IsGridFile(WriteAll(Path(QString::number(n++)), bytes)), grid) << n;
    EXPECT_FALSE(TRKFile::IsGridFile(Path("missing.rlk")));
    EXPECT_FALSE(TRKFile::IsGridFile(dir.path()));
}

TEST_F(RKFileTest, FileErrorsRaiseWithTheOsErrorOrTheRuntimeCode)
{
    TRKFile missing(Path("missing.rlk"));
    double x = 0, y = 0, z = 0;
    TTaggedLines lines;
    const QString cut = MakeSmallGrid("tp.rlk");
    WriteAll(cut, ReadAll(cut).left(40)); // inside the structure
    TRKFile r(cut);
    r.OpenGridFile();
    TRKFile inDir(Path("nodir/x.rlk"));
    const std::pair<std::function<void()>, int> cases[] = {
        {[&] { missing.OpenGridFile(); }, ENOENT},
        {[&] { missing.ReadComment(); }, cInOutFileNotOpen},
        {[&] { missing.GetValuesOfPt(false, nullptr, x, y, z, lines); }, ENOENT},
        {[&] { r.ReadGridStructure(); }, cInOutReadBeyondEnd},
        {[&] { inDir.CreateEmptyGrid(nullptr, 0); }, ENOENT},
    };
    for (const auto &[call, code] : cases) {
        try {
            call();
            ADD_FAILURE() << "no error " << code;
        } catch (const EInOutError &e) {
            EXPECT_EQ(e.ErrorCode, code);
            EXPECT_TRUE(e.Message().contains(QStringLiteral(".rlk"))) << qPrintable(e.Message());
        }
    }
    EXPECT_FALSE(missing.IsOpen());
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
    const char cell[4] = {1, 2, 3, 4};
    EXPECT_THROW(f.WriteGridStructure(), EInOutError);
    EXPECT_THROW(f.WriteDataBlock(1, 1, 1, 1, cell), EInOutError);
    // Opening again for writing works as before.
    f.OpenGridFile();
    f.WriteDataBlock(2, 1, 1, 1, cell);
    f.CloseGridFile();
    EXPECT_EQ(ReadAll(path).toHex(), (before.chopped(4) + QByteArray(cell, 4)).toHex());
}

TEST_F(RKFileTest, AFullDiskAnswersFalseAndLeavesTheOldFile)
{
    const QString path = MakeSmallGrid("keep.rlk");
    const QByteArray before = ReadAll(path);
    TRKFile f(path);
    f.Struktur.Columns = f.Struktur.Rows = 100;
    {
        const wntest::TFileSizeLimit limit(before.size() + 100);
        EXPECT_FALSE(f.CreateEmptyGrid(nullptr, 0));
    }
    EXPECT_EQ(ReadAll(path), before);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{"keep.rlk"});
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

    // A data area cut short: the far cell is not there, the near one is.
    const QString cut = MakeByteGrid("cut.rlk", 10, 10);
    WriteAll(cut, ReadAll(cut).chopped(50));
    x = y = 9;
    try {
        query(cut);
        FAIL() << "read a missing cell";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, cInOutReadBeyondEnd);
    }
    x = y = 0;
    query(cut);

    // A zero spacing at the origin gives no node at all.
    const QString zero = patch(MakeByteGrid("zero.rlk", 2, 2), [](TrecRlkStruktur &s) { s.dx = 0; });
    EXPECT_THROW(query(zero), wn::Exception);
}

} // namespace
