#include "grid/KVRasterNeu.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>

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

    QByteArray want;
    want += Hex("430002"); // structure header: 67 bytes, id 2
    want += Hex("0200"
                "0100"
                "0100");             // columns, rows, Z levels
    want += Hex("0000000000005940"); // x origin 100
    want += Hex("0000000000006940"); // y origin 200
    want += Hex("0000000000000000"); // z origin
    want += QByteArray(16, '\0');    // reserved
    want += Hex("00002041"
                "0000a040");     // dx 10, dy 5
    want += QByteArray(4, '\0'); // reserved
    want += Hex("0100"
                "0100"
                "0100"
                "010002");                                        // nW1, nW2, nH, types
    want += Hex("510001") + Hex("024869") + QByteArray(78, '\0'); // comment "Hi"
    want += Hex("100004") + Hex("00002042"
                                "00008c42"
                                "00000000"
                                "0000803f");
    want += Hex("100005") + Hex("0c139a79"
                                "0c139af9"
                                "00000000"
                                "0000803f");
    want += Hex("100006") + Hex("0c139a79"
                                "0c139af9"
                                "00000000"
                                "0000803f");
    // Name sections: length 256 = 00 01; the Z list's first entry is empty, so no id 8.
    want += Hex("000107") + Hex("044c7c6442") + QByteArray(251, '\0'); // "L|dB"
    want += Hex("000109") + Hex("02517c") + QByteArray(253, '\0');     // "Q|"
    want += Hex("00010a") + Hex("02547c") + QByteArray(253, '\0');     // "T|"
    want += Hex("020003abcd");                                         // special block
    want += Hex("00000b") + QByteArray(8, '\0');                       // data: 2 cells of 4
    EXPECT_EQ(ReadAll(path).toHex(), want.toHex());
}

TEST_F(RKFileTest, RoundTripKeepsStructureNamesAndScaling)
{
    const QString path = Path("round.rlk");
    {
        TRKFile f(path);
        FillSmallGrid(f);
        f.Struktur.ZOrigin = -3.25;
        f.Struktur.Reserved30[0] = 0x11;
        f.Struktur.Reserved30[15] = 0x22;
        f.Struktur.Reserved54 = {1, 2, 3, 4};
        f.Comment = QStringLiteral("Lärm µ ") + QString(90, QLatin1Char('x'));
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
    EXPECT_EQ(r.Struktur.Columns, 2);
    EXPECT_EQ(r.Struktur.ZOrigin, -3.25);
    EXPECT_EQ(r.Struktur.Reserved30[0], 0x11);
    EXPECT_EQ(r.Struktur.Reserved30[15], 0x22);
    EXPECT_EQ(r.Struktur.Reserved54[3], 4);
    EXPECT_EQ(r.Struktur.TypeW2, cwtSmallInt);
    // Cut to 80 characters of the code page.
    EXPECT_EQ(r.Comment, (QStringLiteral("Lärm µ ") + QString(90, QLatin1Char('x'))).left(80));
    EXPECT_EQ(r.GetHInfo(1)->Name, QStringLiteral("L"));
    EXPECT_EQ(r.GetHInfo(1)->Unit, QStringLiteral("dB"));
    EXPECT_EQ(r.GetHInfo(1)->Offset, -2.5f);
    EXPECT_EQ(r.GetHInfo(1)->Factor, 0.25f);
    EXPECT_EQ(r.GetHInfo(1)->Min, 40.0f);
    EXPECT_EQ(r.GetZInfo(1)->Name, QString());
    EXPECT_EQ(r.GetZInfo(1)->Unit, QStringLiteral("4 m"));
    EXPECT_EQ(r.GetW2Info(1)->Name, QStringLiteral("T"));
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
    EXPECT_EQ(x0, 7.5 - 10);
    EXPECT_EQ(y0, 200 - 5);
    EXPECT_EQ(x1, 2 * 10 + x0);
    EXPECT_EQ(y1, 1 * 5 + y0);
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
        f.GetHInfo(1)->Min = 3;
        ASSERT_TRUE(f.CreateEmptyGrid(nullptr, 0));
    }
    TProbe r(path);
    r.OpenGridFile();
    EXPECT_TRUE(r.Has(kHMinMax));
    for (TKennung k : {kVersInfo, kSpecial, kW1MinMax, kW2MinMax, kHNames, kZNames, kW1Names, kW2Names})
        EXPECT_FALSE(r.Has(k)) << int(k);
    r.ReadGridStructure();
    r.ReadAllMinMax();
    r.ReadAllNames();
    EXPECT_EQ(r.GetHInfo(1)->Min, 3.0f);
    EXPECT_EQ(r.GetHInfo(2)->Max, -1e35f);
    EXPECT_TRUE(r.W1List.empty());
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
    EXPECT_EQ(r.Comment, QStringLiteral("Hi"));
    r.CloseGridFile();

    // Another writer puts an empty version section in front of the comment.
    QByteArray bytes = ReadAll(path);
    bytes.insert(70, Hex("000000"));
    WriteAll(path, bytes);
    r.OpenGridFile();
    r.Comment.clear();
    r.ReadComment(); // the remembered place now holds the version header
    EXPECT_EQ(r.Comment, QString());
    EXPECT_FALSE(r.Has(kComment));
    EXPECT_TRUE(r.Has(kHMinMax)); // never looked for before: found by a scan

    TProbe fresh(path);
    fresh.OpenGridFile();
    fresh.ReadComment();
    EXPECT_EQ(fresh.Comment, QStringLiteral("Hi"));
}

TEST_F(RKFileTest, TruncatedPayloadRaisesOnRead)
{
    const QString full = MakeSmallGrid("tp.rlk");
    WriteAll(full, ReadAll(full).left(40)); // inside the structure
    TRKFile r(full);
    r.OpenGridFile();
    try {
        r.ReadGridStructure();
        FAIL() << "no error";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, 100);
    }
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
    f.CalcDimension(0, 0, 100, 40);
    EXPECT_EQ(f.Struktur.Columns, 11);
    EXPECT_EQ(f.Struktur.Rows, 11);
    EXPECT_EQ(f.Struktur.XOrigin, 0.0);

    f.CalcDimension(15, 6, 105, 10);
    EXPECT_EQ(f.Struktur.XOrigin, 20.0); // 1.5 -> 2
    EXPECT_EQ(f.Struktur.YOrigin, 8.0);  // 1.5 -> 2
    EXPECT_EQ(f.Struktur.Columns, 9);    // 10.5 -> 10: end 110
    EXPECT_EQ(f.Struktur.Rows, 1);       // 2.5 -> 2: end 12

    f.CalcDimension(25, -6, 35, -2);
    EXPECT_EQ(f.Struktur.XOrigin, 20.0); // 2.5 -> 2
    EXPECT_EQ(f.Struktur.YOrigin, -8.0); // -1.5 -> -2
    EXPECT_EQ(f.Struktur.Columns, 3);    // 3.5 -> 4: end 50
    EXPECT_EQ(f.Struktur.Rows, 3);       // -0.5 -> 0: end 4

    f.Struktur.dx = 1;
    f.CalcDimension(0, 0, 70000, 0);
    EXPECT_EQ(f.Struktur.Columns, 70001 % 65536); // kept in 16 bits
}

TEST(RKFileTags, PackAndUnpack)
{
    std::int32_t h, w1, w2;
    GetSelected(GetSelTag(2, 0, 0), h, w1, w2);
    EXPECT_EQ(h, 2);
    EXPECT_EQ(w1, 512);
    EXPECT_EQ(w2, 0);
    EXPECT_EQ(GetSelTag(1, 2, 3), 65536 + 512 + 3);
    GetSelected(GetSelTag(0, 7, 9), h, w1, w2);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(w1, 7);
    EXPECT_EQ(w2, 9);
    GetSelected(-1, h, w1, w2);
    EXPECT_EQ(h, 65535);
    EXPECT_EQ(w1, 65535);
    EXPECT_EQ(w2, -1);
}

TEST(RKFileUnits, Prefixes)
{
    const auto prefixed = [](double v, double &out) {
        QString unit = QStringLiteral("Pa");
        PrefixUnit(v, unit);
        out = v;
        return unit;
    };
    double v;
    EXPECT_EQ(prefixed(0.0025, v), QStringLiteral("mPa"));
    EXPECT_DOUBLE_EQ(v, 2.5);
    EXPECT_EQ(prefixed(123456, v), QStringLiteral("kPa"));
    EXPECT_DOUBLE_EQ(v, 123.456);
    EXPECT_EQ(prefixed(2.5e-6, v), QString::fromUtf8("\xC2\xB5Pa"));
    EXPECT_DOUBLE_EQ(v, 2.5);
    EXPECT_EQ(prefixed(2e-15, v), QStringLiteral("fPa"));
    EXPECT_DOUBLE_EQ(v, 2.0);
    EXPECT_EQ(prefixed(1e-18, v), QStringLiteral("Pa")); // too small to be scaled
    EXPECT_EQ(prefixed(5e20, v), QStringLiteral("TPa"));
    EXPECT_DOUBLE_EQ(v, 5e8);
    EXPECT_EQ(prefixed(0, v), QStringLiteral("Pa"));
    EXPECT_EQ(prefixed(-0.002, v), QStringLiteral("Pa"));
    EXPECT_EQ(v, -0.002);
    EXPECT_EQ(prefixed(999.5, v), QStringLiteral("Pa"));
}

class PointQueryTest : public RKFileTest
{
protected:
    // 4 x 3 nodes; H: two singles; W1: two bytes, each with two small ints behind its start.
    // Cell of 1 + 8 + 2 * (2 * 2 + 1) = 19 bytes.
    QString MakeQueryGrid()
    {
        const QString path = Path("query.rlk");
        TRKFile f(path);
        auto &s = f.Struktur;
        s.Columns = 4;
        s.Rows = 3;
        s.ZLevels = 1;
        s.XOrigin = 1000;
        s.YOrigin = 2000;
        s.ZOrigin = 5;
        s.dx = 2;
        s.dy = 1.5;
        s.nH = 2;
        s.TypeH = cwtSingle;
        s.nW1 = 2;
        s.TypeW1 = cwtByte;
        s.nW2 = 2;
        s.TypeW2 = cwtSmallInt;
        f.CreateInfos(true, false, true, true);
        *f.GetHInfo(1) = Item("Lday", "dB(A)", 0, 1);
        *f.GetHInfo(2) = Item("Lnight", "dB(A)", 10, 0.5);
        *f.GetW1Info(1) = Item("Src1", "Pa", 0, 0.5);
        *f.GetW1Info(2) = Item("", "W", 0, 1000);
        f.GetW2Info(1)->Name = QStringLiteral("D");
        f.GetW2Info(2)->Name = QStringLiteral("N");
        EXPECT_TRUE(f.CreateEmptyGrid(nullptr, 0));
        f.OpenGridFile();
        std::vector<std::uint8_t> cells(12 * 19, 0);
        for (int n = 0; n < 12; ++n) {
            std::uint8_t *c = &cells[n * 19];
            const float lday = 50.0f + n, lnight = 2;
            std::memcpy(c + 1, &lday, 4);
            std::memcpy(c + 5, &lnight, 4);
            c[9] = 1;     // W1 1 and its W2 1
            c[11] = 0x2C; // W2 2: 0x2C 0x01 reads 44
            c[12] = 0x01;
            c[14] = 200; // W1 2 and its W2 1
            c[16] = 7;
        }
        f.WriteDataBlock(1, 1, 4, 3, cells.data());
        f.CloseGridFile();
        return path;
    }

    static TInfoItem Item(const char *name, const char *unit, float offset, float factor)
    {
        TInfoItem i;
        i.Name = QString::fromUtf8(name);
        i.Unit = QString::fromUtf8(unit);
        i.Offset = offset;
        i.Factor = factor;
        return i;
    }
};

TEST_F(PointQueryTest, LinesTagsAndUnitPrefixes)
{
    TRKFile f(MakeQueryGrid());
    double x = 1003.1, y = 2001.4, z = 99;
    TTaggedLines lines;
    f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(x, 1004.0); // column 3
    EXPECT_EQ(y, 2001.5); // row 2
    EXPECT_EQ(z, 0.0);
    QStringList texts;
    QList<std::int32_t> tags;
    for (const auto &l : lines) {
        texts << l.Text;
        tags << l.Tag;
    }
    EXPECT_EQ(texts, QStringList({QStringLiteral("Lday [dB(A)] \t56"), // node 2 * 4 + 3 - 4 = 6
                                  QStringLiteral("Lnight [dB(A)] \t11"), QStringLiteral("-"),
                                  QStringLiteral("Src1 [mPa] \t500"), QStringLiteral("Src1-D [mPa] \t500"),
                                  QStringLiteral("Src1-N [Pa] \t22"), QStringLiteral("-D [kW] \t200"),
                                  QStringLiteral("-N [kW] \t7")}));
    EXPECT_EQ(tags, QList<std::int32_t>({65536, 131072, 0, 256, 257, 258, 513, 514}));
}

TEST_F(PointQueryTest, SnapsToBorderAndEvenNodes)
{
    TRKFile f(MakeQueryGrid());
    f.OpenGridFile();
    TTaggedLines lines;
    double x = -1e9, y = 1e300, z = 0;
    f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    EXPECT_TRUE(f.IsOpen()); // an open file stays open
    EXPECT_EQ(x, 1000.0);
    EXPECT_EQ(y, 2003.0);
    EXPECT_EQ(lines.first().Text, QStringLiteral("Lday [dB(A)] \t58")); // column 1, row 3

    x = 1001;    // halfway between columns 1 and 2: index 0.5 goes to 0
    y = 2002.25; // 1.5 goes to 2
    f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    EXPECT_EQ(x, 1000.0);
    EXPECT_EQ(y, 2003.0);
    x = 1003; // 1.5 goes to 2
    f.GetValuesOfPt(false, nullptr, x, y, z, lines);
    EXPECT_EQ(x, 1004.0);
}

TEST_F(PointQueryTest, VerticalSection)
{
    TRKFile f(MakeQueryGrid());
    const double direction[2] = {0.6, 0.8};
    double x = 4.2, y = 7.25, z = 0; // distance 2.1 spacings, height 1.5 spacings above z origin
    TTaggedLines lines;
    f.GetValuesOfPt(true, direction, x, y, z, lines);
    EXPECT_DOUBLE_EQ(x, 1000 + 4 * 0.6);
    EXPECT_DOUBLE_EQ(y, 2000 + 4 * 0.8);
    EXPECT_EQ(z, 8.0);
    EXPECT_EQ(lines.first().Text, QStringLiteral("Lday [dB(A)] \t60")); // column 3, row 3
}

TEST_F(RKFileTest, WriteNamesOnlyActsOnMinMaxSections)
{
    const QString path = MakeSmallGrid("wn.rlk");
    const QByteArray before = ReadAll(path);
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    f.ReadAllNames();
    f.GetHInfo(1)->Name = QStringLiteral("New");
    f.WriteHNames();
    f.WriteZNames();
    f.WriteW1Names();
    f.WriteW2Names();
    f.WriteNames(kData);
    EXPECT_EQ(ReadAll(path), before);

    f.WriteNames(kHMinMax);
    f.CloseGridFile();
    const QByteArray after = ReadAll(path);
    const int minMax = 70 + 84 + 3;
    QByteArray want = before;
    want.replace(minMax, 256, Hex("064e65777c6442") + QByteArray(249, '\0')); // "New|dB"
    EXPECT_EQ(after.toHex(), want.toHex());
}

TEST_F(RKFileTest, MinMaxRewrittenInPlace)
{
    const QString path = MakeSmallGrid("mm.rlk");
    TRKFile f(path);
    f.OpenGridFile();
    f.ReadGridStructure();
    f.ReadAllMinMax();
    f.GetW2Info(1)->Min = 1;
    f.GetW2Info(1)->Max = 10;
    f.WriteW2MinMax();
    f.WriteMinMax(kHNames); // not a min/max identifier
    f.CloseGridFile();
    const QByteArray bytes = ReadAll(path);
    EXPECT_EQ(bytes.mid(70 + 84 + 19 * 2, 19).toHex(), Hex("100006"
                                                           "0000803f"
                                                           "00002041"
                                                           "00000000"
                                                           "0000803f")
                                                           .toHex());
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
    EXPECT_EQ(b.GetW2Info(1)->Name, QStringLiteral("T"));
    EXPECT_NE(b.GetHInfo(1), a.GetHInfo(1));

    TRKFile c(Path("c.rlk"));
    a.W1List.clear();
    c.AssignStructure(a);
    EXPECT_EQ(c.GetW1Info(1), nullptr);
    EXPECT_NE(c.GetZInfo(1), nullptr);
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
    ASSERT_TRUE(f.ReadGridStructure());
    f.ReadAllNames();
    EXPECT_EQ(f.GetHInfo(1)->Name, QStringLiteral("L"));
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
    EXPECT_THROW(f.WriteHMinMax(), EInOutError);
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
    // A structure whose cell cannot fit the file.
    const QString huge = Path("huge.rlk");
    {
        // Written with a small layout so the file stays small, then patched.
        TRKFile small(huge);
        small.Struktur.Columns = 2;
        small.Struktur.Rows = 2;
        ASSERT_TRUE(small.CreateEmptyGrid(nullptr, 0));
        small.OpenGridFile();
        small.Struktur.ZLevels = 65535;
        small.Struktur.nW1 = 65535;
        small.Struktur.nW2 = 65535;
        small.Struktur.TypeW2 = cwtSingle;
        small.Struktur.dx = 1;
        small.Struktur.dy = 1;
        small.WriteGridStructure();
    }
    TRKFile h(huge);
    double x = 0, y = 0, z = 0;
    TTaggedLines lines;
    EXPECT_THROW(h.GetValuesOfPt(false, nullptr, x, y, z, lines), EInOutError);
    EXPECT_FALSE(h.IsOpen());

    // No room for W values in the cell (no Z level): they read as 0, but not billions of them.
    const QString flat = MakeByteGrid("flat.rlk", 2, 2);
    {
        TRKFile patch(flat);
        patch.OpenGridFile();
        patch.ReadGridStructure();
        patch.Struktur.ZLevels = 0;
        patch.Struktur.nW1 = 2;
        patch.Struktur.nW2 = 1;
        patch.Struktur.TypeW2 = cwtSingle;
        patch.WriteGridStructure();
    }
    TRKFile w(flat);
    w.GetValuesOfPt(false, nullptr, x, y, z, lines);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[1].Text, QStringLiteral("- [] \t0"));
    {
        TRKFile patch(flat);
        patch.OpenGridFile();
        patch.ReadGridStructure();
        patch.Struktur.nW1 = 65535;
        patch.Struktur.nW2 = 65535;
        patch.Struktur.TypeW2 = cwtNone;
        patch.WriteGridStructure();
    }
    TRKFile many(flat);
    EXPECT_THROW(many.GetValuesOfPt(false, nullptr, x, y, z, lines), EInOutError);

    // A data area cut short: the far cell is not there.
    const QString cut = MakeByteGrid("cut.rlk", 10, 10);
    WriteAll(cut, ReadAll(cut).left(ReadAll(cut).size() - 50));
    TRKFile c(cut);
    x = 9;
    y = 9;
    try {
        c.GetValuesOfPt(false, nullptr, x, y, z, lines);
        FAIL() << "read a missing cell";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, 100);
    }
    x = 0;
    y = 0;
    c.GetValuesOfPt(false, nullptr, x, y, z, lines);

    // A zero spacing at the origin gives no node at all.
    TRKFile zero(MakeByteGrid("zero.rlk", 2, 2));
    zero.OpenGridFile();
    zero.ReadGridStructure();
    zero.Struktur.dx = 0;
    zero.WriteGridStructure();
    x = 0;
    EXPECT_THROW(zero.GetValuesOfPt(false, nullptr, x, y, z, lines), wn::Exception);
}

TEST_F(RKFileTest, GarbageFilesNeverCrash)
{
    std::mt19937 rng(12345);
    const QString full = MakeSmallGrid("g.rlk");
    const QByteArray good = ReadAll(full);
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes;
        if (round % 3 == 0) {
            bytes.resize(int(rng() % 600));
            for (auto &b : bytes)
                b = char(rng());
        } else {
            // A valid file with a few bytes flipped and maybe cut.
            bytes = good;
            for (int n = 0; n < 4; ++n)
                bytes[int(rng() % bytes.size())] = char(rng());
            if (round % 3 == 2)
                bytes.truncate(int(rng() % bytes.size()));
        }
        const QString path = Path(QStringLiteral("garbage%1.rlk").arg(round));
        WriteAll(path, bytes);
        TRKFile f(path);
        try {
            f.OpenGridFile();
            f.ReadGridStructure();
            f.ReadComment();
            f.ReadAllNames();
            f.ReadAllMinMax();
            QByteArray special;
            f.ReadSpecialStructure(special);
            double x0, y0, x1, y1;
            f.GetKoordMinMax(x0, y0, x1, y1);
            f.CloseGridFile();
            double x = x0, y = y1, z = 0;
            TTaggedLines lines;
            f.GetValuesOfPt(round % 2 == 1, nullptr, x, y, z, lines);
        } catch (const wn::Exception &) {
        }
    }
}

} // namespace
