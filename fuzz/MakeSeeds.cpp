// Writes the starting corpus of every fuzz target into SEEDDIR/<target>/: small valid files made
// by the package's own writers where it has them, hand-laid bytes where it only reads.
#include "colours/FarbArr.h"
#include "grid/FileIO.h"
#include "grid/KVRasterNeu.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <cstdio>
#include <initializer_list>

using namespace wn;

namespace {

QString gRoot;

QString SeedPath(const char *target, const QString &name)
{
    const QString dir = gRoot + QLatin1Char('/') + QLatin1String(target);
    QDir().mkpath(dir);
    return dir + QLatin1Char('/') + name;
}

void Seed(const char *target, const QString &name, const QByteArray &bytes)
{
    QFile file(SeedPath(target, name));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        std::fprintf(stderr, "cannot write seed %s/%s\n", target, qPrintable(name));
}

QByteArray Le16(int value)
{
    return QByteArray(1, char(value & 0xFF)) + char((value >> 8) & 0xFF);
}

QByteArray Le32(std::int32_t value)
{
    return Le16(value & 0xFFFF) + Le16((value >> 16) & 0xFFFF);
}

QByteArray Record(int tag, const QByteArray &data)
{
    return Le16(tag) + Le16(int(data.size())) + data;
}

// Texts joined with the NUL bytes that the text-taking targets split their input at.
QByteArray Texts(char lead, std::initializer_list<const char *> texts)
{
    QByteArray bytes(1, lead);
    for (const char *text : texts)
        bytes += QByteArray(text) + '\0';
    return bytes;
}

void GridSeeds()
{
    const auto make = [](const QString &name, std::uint8_t typeH, std::uint8_t typeW1, std::uint8_t typeW2,
                         int special) {
        const QString path = SeedPath("fuzz_KVRasterNeu", name);
        TRKFile f(path);
        auto &s = f.Struktur;
        s.Columns = 3;
        s.Rows = 2;
        s.ZLevels = 1;
        s.XOrigin = 100;
        s.YOrigin = 200;
        s.dx = 10;
        s.dy = 5;
        s.nH = typeH ? 2 : 0;
        s.nW1 = typeW1 || typeW2 ? 2 : 0;
        s.nW2 = typeW2 ? 1 : 0;
        s.TypeH = typeH;
        s.TypeW1 = typeW1;
        s.TypeW2 = typeW2;
        f.Comment = QStringLiteral("seed");
        f.CreateInfos(s.nH > 0, true, s.nW1 > 0, s.nW2 > 0);
        for (std::size_t i = 0; i < f.HList.size(); ++i)
            f.HList[i]->Name = QStringLiteral("H%1").arg(i), f.HList[i]->Unit = QStringLiteral("dB");
        for (std::size_t i = 0; i < f.W1List.size(); ++i)
            f.W1List[i]->Name = QStringLiteral("W%1").arg(i), f.W1List[i]->Factor = 0.5f;
        for (std::size_t i = 0; i < f.W2List.size(); ++i)
            f.W2List[i]->Name = QStringLiteral("T%1").arg(i);
        const QByteArray block(special, '\x5A');
        f.CreateEmptyGrid(block.constData(), special);
        f.OpenGridFile();
        f.ReadGridStructure();
        QByteArray cells(int(f.GetDataSize() * 6), '\0');
        for (int i = 0; i < cells.size(); ++i)
            cells[i] = char(i * 7 + 1);
        f.WriteDataBlock(1, 1, 3, 2, cells.constData());
        f.CloseGridFile();
    };
    make(QStringLiteral("bytes.rlk"), cwtByte, cwtNone, cwtNone, 0);
    make(QStringLiteral("mixed.rlk"), cwtByte, cwtNone, cwtSmallInt, 3);
    make(QStringLiteral("singles.rlk"), cwtSingle, cwtSingle, cwtSingle, 0);
}

void FileIOSeeds()
{
    TFileIO io;
    io.MakeHeader(SeedPath("fuzz_FileIO", QStringLiteral("records.dat")), QStringLiteral("comment"), 3);
    io.write_data(70, 5, "12345");
    io.write_text(71, QStringLiteral("text"));
    io.write_begin();
    io.write_longdata(72, 3, "678");
    io.write_end();
    io.write_ID(73);
    io.Close();
    Seed("fuzz_FileIO", QStringLiteral("plain.dat"), Record(7, "abc") + Record(42, Le16(8) + Le32(2) + "xy"));
}

void PaletteSeeds()
{
    TFarbArray palette;
    palette.InitFarben();
    palette.SaveColors(SeedPath("fuzz_FarbArr", QStringLiteral("default.sgc")));
    QByteArray old;
    for (int nr = 0; nr < 16; ++nr)
        old += QByteArray(3, char(nr)) + char(nr * 16) + char(255 - nr * 16) + char(nr * 5);
    Seed("fuzz_FarbArr_PlotFarb", QStringLiteral("PlotFarb.dat"), old);
}

void DescriptionSeeds()
{
    // Geo and situation files: file word, header length and block, marker, text length and text.
    QByteArray current(16, '\x55');
    current[0] = 10;
    current[1] = current[2] = current[3] = '0';
    current[11] = 10;
    const auto described = [](const QByteArray &block, const QByteArray &text) {
        return QByteArray("\x07\x00", 2) + Le32(std::int32_t(block.size())) + block + "M1" +
               QByteArray(4, '\0') + Le32(std::int32_t(text.size())) + text;
    };
    QByteArray old(24, '\0');
    old[4] = 5;
    old.replace(5, 5, "older");
    Seed("fuzz_GeoDBFileDescr", QStringLiteral("current.geo"), described(current, "Geo data"));
    Seed("fuzz_GeoDBFileDescr", QStringLiteral("old.geo"), described(old, "Situation"));

    // The first byte picks the reader (see fuzz_KVUtil_descriptions.cpp).
    const char *t = "fuzz_KVUtil_descriptions";
    Seed(t, QStringLiteral("res"), QByteArray(1, 0) + "[General]\r\nRunName=run one\r\n");
    Seed(t, QStringLiteral("txt"), QByteArray(1, 1) + "line one\nline two\r\n\n");
    const auto slot = [](int offset, const QByteArray &text) {
        return QByteArray(offset, '\x11') + char(text.size()) + text + QByteArray(100, '\x22');
    };
    Seed(t, QStringLiteral("rlk"), QByteArray(1, 2) + slot(86, "rlk"));
    Seed(t, QStringLiteral("rmk"), QByteArray(1, 3) + slot(287, "rmk"));
    Seed(t, QStringLiteral("gm"),
         QByteArray(1, 6) + Le16(4) + char(2) + "abcd" + Le16(7) + char(1) + "Map one");
    Seed(t, QStringLiteral("v4"), QByteArray(1, 7) + Le16(4) + "Xabc" + Le16(6) + "KTitle");
    Seed(t, QStringLiteral("sgf"), QByteArray(1, 9) + Record(26, "abc") + Record(66, "Scale one"));
    Seed(t, QStringLiteral("list"),
         QByteArray(1, 10) + Record(33, QByteArray("KV.FML") + Le32(2)) + Record(34, "comment"));

    Seed("fuzz_MyIniFiles", QStringLiteral("plain.ini"),
         "[RASTER.1]\r\nName=a\r\n[General]\r\nCount=12\r\nValue=1,5\r\nOn=1\r\n[Other]\r\nX=y\r\n");
    Seed("fuzz_MyIniFiles", QStringLiteral("latin1.ini"), "; \xe4\r\n[Fuzz]\nKEY=old\n");
}

void TextSeeds()
{
    const char *t = "fuzz_NoSortFormat";
    Seed(t, QStringLiteral("worked"), Texts(0, {"A00.0000", "", "B5.12"}));
    Seed(t, QStringLiteral("sorted"), Texts(0, {"00.00", "45123", "1.2"}));
    Seed(t, QStringLiteral("alone"), Texts(0, {"00..00", "", "1.2"}));
    Seed(t, QStringLiteral("long"), Texts(0, {"A0000000.00", "ba987654321", "K1234.56"}));
    Seed(t, QStringLiteral("glk"), Texts(1, {"A00", "", "P7", "a", "1"}) + "-.\x05\x03");

    const char *s = "fuzz_SysUtils";
    Seed(s, QStringLiteral("float"),
         QByteArray("\x07\x00", 2) + "#,##0.00;(0.0);'zero'" + '\0' + "\x16\x18\x02");
    Seed(s, QStringLiteral("format"),
         QByteArray("\x03\x01", 2) + "%d %.3f %s %x %g %e %%" + '\0' + "\x20\x10\x00");
    Seed(s, QStringLiteral("date"),
         QByteArray("\x01\x00", 2) + "dd/mm/yyyy" + '\0' + "\x15\x15\x01" + "hh:nn:ss.zzz");

    const char *l = "fuzz_KVLogBook";
    Seed(l, QStringLiteral("kinds.log"),
         "\\W Grid too coarse$\\H120$\\O7\r\n\\F Receiver 12$\\E3\t2\t1.500\t-2.250\t\r\n"
         "\\P two$\\Nlines\r\n\\U \r\n\\E x$\\O1$\\H2\n\\H h\n\\A stop\n");
    Seed(l, QStringLiteral("mixed.log"),
         "\xEF\xBB\xBF\\P L\xC3\xA4rm\r\n\\W Stra\xDF"
         "e\r\n");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SEEDDIR\n", argv[0]);
        return 2;
    }
    gRoot = QString::fromLocal8Bit(argv[1]);
    GridSeeds();
    FileIOSeeds();
    PaletteSeeds();
    DescriptionSeeds();
    TextSeeds();
    return 0;
}
