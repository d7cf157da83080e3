#include "util/KVUtil.h"

#include "framework/UiServices.h"

#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QMimeDatabase>
#include <QPixmap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWidget>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <utility>
#include <vector>

using namespace wn;

namespace {

QByteArray Le16(int value)
{
    return QByteArray(1, char(value & 0xFF)) + char((value >> 8) & 0xFF);
}

// A tagged record: identifier and length (16 bits each), then the data.
QByteArray Record(int tag, const QByteArray &data)
{
    return Le16(tag) + Le16(int(data.size())) + data;
}

QByteArray ListFile(const QByteArray &comment)
{
    return Record(33, QByteArray("KV.FML") + QByteArray("\x02\0\0\0", 4)) + Record(34, comment);
}

// A GM record: 16-bit length, type byte, data.
QByteArray GMRecord(int type, const QByteArray &data)
{
    return Le16(int(data.size())) + char(type) + data;
}

QByteArray V4Record(const QByteArray &data)
{
    return Le16(int(data.size())) + data;
}

// A file whose description slot at offset holds a length byte and text.
QByteArray SlotFile(int offset, const QByteArray &text, int declaredLength = -1)
{
    QByteArray bytes(offset, '\x11');
    bytes += char(declaredLength < 0 ? text.size() : declaredLength);
    bytes += text;
    bytes += QByteArray(100, '\x22');
    return bytes;
}

QString Described(const QString &fileName, const QString &ext)
{
    QString description = QStringLiteral("stale");
    GetFileDescription(fileName, ext, description);
    return description;
}

class FileFixture : public ::testing::Test
{
protected:
    QTemporaryDir dir;

    QString Write(const QString &name, const QByteArray &bytes)
    {
        return wntest::WriteAll(dir.filePath(name), bytes);
    }
};

using KVUtilFileTypes = FileFixture;
using KVUtilReaders = FileFixture;

} // namespace

TEST(KVUtilFileType, KeysGroupNumberedFilesAndRpdgFiles)
{
    EXPECT_EQ(GetFileType("Plot.001"), QStringLiteral("plot"));
    EXPECT_EQ(GetFileType("Plot.002"), QStringLiteral("plot"));
    EXPECT_EQ(GetFileType("Plot.12"), QStringLiteral("plot"));
    EXPECT_EQ(GetFileType("Plot.abc"), QStringLiteral(".abc"));
    EXPECT_EQ(GetFileType("Data.TXT"), QStringLiteral(".txt"));
    EXPECT_EQ(GetFileType("rpdg0001.xyz"), QStringLiteral("rpdg"));
    EXPECT_EQ(GetFileType("RPDG.txt"), QStringLiteral("rpdg"));
    // Only two or three characters after the point count as a number.
    EXPECT_EQ(GetFileType("Plot.1"), QStringLiteral(".1"));
    EXPECT_EQ(GetFileType("Plot.1234"), QStringLiteral(".1234"));
    EXPECT_EQ(GetFileType("Plot.1a"), QStringLiteral(".1a"));
    EXPECT_EQ(GetFileType("Plot.-1"), QStringLiteral(".-1"));
    // The key is the name up to its first point; folders do not count.
    EXPECT_EQ(GetFileType("Archive.Tar.001"), QStringLiteral("archive"));
    EXPECT_EQ(GetFileType("/data/run.2/Plot.003"), QStringLiteral("plot"));
    EXPECT_EQ(GetFileType("/data/run.2/README"), QString());
    EXPECT_EQ(GetFileType(QString()), QString());
}

TEST_F(KVUtilFileTypes, CorrespondingResFileIgnoresLetterCase)
{
    Write("RABC0012.RES", "x");
    Write("r0010012.res", "x");
    Write("R0010013.RES", "x");
    Write("R01012.RES", "x");
    Write("R(1)x(2).RES", "x");
    QDir(dir.path()).mkdir("R0020012.RES");
    const QString folder = dir.path() + QLatin1Char('/');
    EXPECT_EQ(GetCorrespondingResFile(folder + "RLK_0012.xyz"), folder + "r0010012.res");
    EXPECT_EQ(GetCorrespondingResFile(folder + "rpdg0013.001"), folder + "R0010013.RES");
    EXPECT_EQ(GetCorrespondingResFile(folder + "RLK_0014.xyz"), QString());
    // Characters that mean something to a pattern match only themselves.
    EXPECT_EQ(GetCorrespondingResFile(folder + "GRID(2).asc"), QString());
    EXPECT_EQ(GetCorrespondingResFile(folder + "GRIDx(2).asc"), folder + "R(1)x(2).RES");
    EXPECT_EQ(GetCorrespondingResFile(dir.filePath("missing/RLK_0012.xyz")), QString());
}

TEST_F(KVUtilReaders, TextDescriptionJoinsTrimmedLines)
{
    QString d;
    GetTXTFileDescription(Write("a.txt", "  A \r\nB\r\n"), d);
    EXPECT_EQ(d, QStringLiteral("A; B"));
    GetTXTFileDescription(Write("b.txt", "\n  \n\tX\nY"), d);
    EXPECT_EQ(d, QStringLiteral("X; Y"));
    GetTXTFileDescription(Write("c.txt", "A\n\nB\n"), d);
    EXPECT_EQ(d, QStringLiteral("A; ; B"));
    GetTXTFileDescription(Write("d.txt", "L\xe4rm\r\n"), d);
    EXPECT_EQ(d, QStringLiteral("Lärm"));
    GetTXTFileDescription(Write("e.txt", "\xef\xbb\xbfL\xc3\xa4rm\n\xe2\x82\xac"), d);
    EXPECT_EQ(d, QStringLiteral("Lärm; €"));
    GetTXTFileDescription(Write("empty.txt", ""), d);
    EXPECT_EQ(d, QString());
    d = QStringLiteral("stale");
    GetTXTFileDescription(dir.filePath("missing.txt"), d);
    EXPECT_EQ(d, QString());

    QByteArray many;
    for (int i = 0; i < 100; ++i)
        many += "line" + QByteArray::number(i) + "\n";
    GetTXTFileDescription(Write("many.txt", many), d);
    QStringList expected;
    for (int i = 0; i < 100; ++i)
        expected << QStringLiteral("line%1").arg(i);
    EXPECT_EQ(d, expected.join("; ").left(80));

    // Characters, not bytes, count: 50 two-byte letters leave room for the next line.
    GetTXTFileDescription(Write("wide.txt", QString(50, QChar(0xE4)).toUtf8() + "\nnext line\n"), d);
    EXPECT_EQ(d, QString(50, QChar(0xE4)) + QStringLiteral("; next line"));
    GetTXTFileDescription(Write("long.txt", QByteArray(300000, 'x') + "\nnext"), d);
    EXPECT_EQ(d, QString(80, QLatin1Char('x')));
}

TEST_F(KVUtilReaders, GridDescriptionsAtTheirOffsets)
{
    QString d;
    GetRLKFileDescription(Write("RLK_0001.001", SlotFile(86, "L\xe4rm day")), "RLK_", d);
    EXPECT_EQ(d, QStringLiteral("Lärm day"));
    // The other grid kinds are in the OEM code page, where 0x84 is a-umlaut.
    GetRLKFileDescription(Write("RMK_0001.001", SlotFile(287, "L\x84rm")), "RMK_", d);
    EXPECT_EQ(d, QStringLiteral("Lärm"));
    GetRLKFileDescription(Write("TLK_0001.001", SlotFile(287, "night")), "TLK_", d);
    EXPECT_EQ(d, QStringLiteral("night"));
    GetRLKFileDescription(Write("GRID0001.001", SlotFile(38, "grid")), "GRID", d);
    EXPECT_EQ(d, QStringLiteral("grid"));
    GetRLKFileDescription(dir.filePath("GRID0001.001"), "ABCD", d);
    EXPECT_EQ(d, QString());
    // The slot holds 80 bytes: at most 79 characters.
    GetRLKFileDescription(Write("RLK_0002.001", SlotFile(86, QByteArray(200, 'r'), 255)), "RLK_", d);
    EXPECT_EQ(d, QString(79, QLatin1Char('r')));
    // Truncated in the text, before the slot, and missing.
    GetRLKFileDescription(Write("RLK_0003.001", SlotFile(86, "abcdef").left(86 + 4)), "RLK_", d);
    EXPECT_EQ(d, QStringLiteral("abc"));
    GetRLKFileDescription(Write("RLK_0004.001", QByteArray(50, 'z')), "RLK_", d);
    EXPECT_EQ(d, QString());
    GetRLKFileDescription(dir.filePath("RLK_0005.001"), "RLK_", d);
    EXPECT_EQ(d, QString());
}

TEST_F(KVUtilReaders, TaggedRecordDescriptions)
{
    QString d;
    GetSGFFileDescription(Write("a.sgf", Record(26, "abc") + Record(66, "Scale one") + Record(67, "x")), d);
    EXPECT_EQ(d, QStringLiteral("Scale one"));
    GetSGFFileDescription(Write("b.sgf", Record(201, "") + QByteArray("\x01\0\0\0", 4) + Record(40, "") +
                                             Record(202, "Scale \xe4")),
                          d);
    EXPECT_EQ(d, QStringLiteral("Scale ä"));
    GetSGFFileDescription(Write("c.sgf", Record(26, "abc") + Record(67, "other")), d);
    EXPECT_EQ(d, QString());
    GetSGFFileDescription(
        Write("d.sgf", Record(201, "") + QByteArray("\x01\0\0\0", 4) + Record(41, "") + Record(202, "x")), d);
    EXPECT_EQ(d, QString());
    GetSGFFileDescription(Write("e.sgf", Record(27, "abc") + Record(66, "x")), d);
    EXPECT_EQ(d, QString());
    // A text cut short gives what is there.
    GetSGFFileDescription(Write("f.sgf", (Record(26, "abc") + Record(66, "Scale one")).left(7 + 4 + 5)), d);
    EXPECT_EQ(d, QStringLiteral("Scale"));

    EXPECT_TRUE(GetListDescription(Write("a.fml", ListFile("Sources north")), d));
    EXPECT_EQ(d, QStringLiteral("Sources north"));
    EXPECT_TRUE(GetListDescription(Write("empty.fml", ListFile("")), d));
    EXPECT_EQ(d, QString());
    EXPECT_FALSE(GetListDescription(Write("b.fml", Record(34, "comment")), d));
    EXPECT_FALSE(GetListDescription(Write("c.fml", Record(33, "KV.FML\0\0\0\0") + Record(35, "comment")), d));
    EXPECT_EQ(d, QString());
    // The header record must be read whole.
    EXPECT_FALSE(GetListDescription(Write("d.fml", ListFile("comment").left(4 + 6)), d));
    EXPECT_FALSE(
        GetListDescription(Write("e.fml", Record(33, QByteArray(300, 'h')) + Record(34, "comment")), d));
    EXPECT_FALSE(GetListDescription(dir.filePath("missing.fml"), d));
}

TEST_F(KVUtilReaders, GMAndV4Records)
{
    QString d;
    GetGMFileDescription(Write("a.dgm", GMRecord(2, "abcd") + GMRecord(1, QByteArray("Map one\0\0\0", 10))),
                         d);
    EXPECT_EQ(d, QStringLiteral("Map one"));
    GetGMFileDescription(Write("b.dgm", GMRecord(2, "a") + GMRecord(1, "Map")), d);
    EXPECT_EQ(d, QString());
    GetGMFileDescription(Write("c.dgm", GMRecord(11, "ab") + GMRecord(1, "Map")), d);
    EXPECT_EQ(d, QString());
    GetGMFileDescription(Write("d.dgm", GMRecord(2, QByteArray(2000, 'x')) + GMRecord(1, "Map")), d);
    EXPECT_EQ(d, QString());
    QByteArray records;
    for (int i = 0; i < 24; ++i)
        records += GMRecord(3, "xx");
    GetGMFileDescription(Write("e.dgm", records + GMRecord(1, "25th")), d);
    EXPECT_EQ(d, QStringLiteral("25th"));
    GetGMFileDescription(Write("f.dgm", records + GMRecord(3, "xx") + GMRecord(1, "26th")), d);
    EXPECT_EQ(d, QString());

    GetV4FileDescription(Write("a.v4", V4Record("Xabc") + V4Record("KTitle one  ")), d, false);
    EXPECT_EQ(d, QStringLiteral("Title one"));
    GetV4FileDescription(Write("b.v4", V4Record("kL\x84rm")), d, true);
    EXPECT_EQ(d, QStringLiteral("Lärm"));
    GetV4FileDescription(dir.filePath("b.v4"), d, false);
    EXPECT_EQ(d, QStringLiteral("L\u201Erm"));
    GetV4FileDescription(Write("c.v4", V4Record("Dxx") + V4Record("KTitle")), d, false);
    EXPECT_EQ(d, QString());
    GetV4FileDescription(Write("d.v4", V4Record("Txx") + V4Record("KTitle")), d, false);
    EXPECT_EQ(d, QString());
    GetV4FileDescription(Write("e.v4", V4Record("") + V4Record("KTitle")), d, false);
    EXPECT_EQ(d, QString());
    QByteArray v4;
    for (int i = 0; i < 25; ++i)
        v4 += V4Record("Xx");
    GetV4FileDescription(Write("f.v4", v4 + V4Record("KTitle")), d, false);
    EXPECT_EQ(d, QString());
}

TEST_F(KVUtilReaders, DescriptionsDispatchOnExtensionAndPrefix)
{
    Write("res/R0010012.RES", "[General]\r\nRunName=Day run\r\n");
    Write("res/rpdg0012.001", "grid");
    Write("res/plain.res", "[GENERAL]\r\nRUNNAME=Upper\r\n");
    Write("res/other.res", "[Other]\r\nRunName=x\r\n");
    EXPECT_EQ(Described(dir.filePath("res/R0010012.RES"), ".RES"), QStringLiteral("Day run"));
    EXPECT_EQ(Described(dir.filePath("res/plain.res"), ".res"), QStringLiteral("Upper"));
    EXPECT_EQ(Described(dir.filePath("res/other.res"), ".res"), QString());
    EXPECT_EQ(Described(dir.filePath("res/missing.res"), ".res"), QString());
    const QString rpdg = dir.filePath("res/rpdg0012.001");
    EXPECT_EQ(Described(rpdg, GetFileType(rpdg)), QStringLiteral("Day run"));

    EXPECT_EQ(Described(Write("a.sgs", Record(26, "") + Record(66, "sgs")), ".sgs"), QStringLiteral("sgs"));
    EXPECT_EQ(Described(Write("a.sgt", Record(26, "") + Record(66, "sgt")), ".SGT"), QStringLiteral("sgt"));
    EXPECT_EQ(Described(Write("a.txt", "text"), ".txt"), QStringLiteral("text"));
    EXPECT_EQ(Described(Write("a.sdr", "sdr"), ".sdr"), QStringLiteral("sdr"));
    EXPECT_EQ(Described(Write("a.rdr", "rdr"), ".rdr"), QStringLiteral("rdr"));
    // Companion files, found whatever their letter case.
    Write("Case.sdr", "sources");
    Write("Run.RDR", "run text");
    EXPECT_EQ(Described(Write("Case.SFL", "x"), ".sfl"), QStringLiteral("sources"));
    EXPECT_EQ(Described(Write("Run.run", "x"), ".run"), QStringLiteral("run text"));
    EXPECT_EQ(Described(Write("Run.runx", "x"), ".RUNX"), QStringLiteral("run text"));
    EXPECT_EQ(Described(Write("None.sfl", "x"), ".sfl"), QString());
    for (const QString &ext : ListFileExtensions())
        EXPECT_EQ(Described(Write("a" + ext, ListFile("list " + ext.toLatin1())), ext.toLower()),
                  "list " + ext);
    EXPECT_EQ(Described(Write("a.gm", GMRecord(1, "gm")), ".gm"), QStringLiteral("gm"));
    EXPECT_EQ(Described(Write("a.dgm", GMRecord(1, "dgm")), ".DGM"), QStringLiteral("dgm"));
    EXPECT_EQ(Described(Write("a.xyz", "text"), ".xyz"), QString());

    const QByteArray geo = QByteArray("\0\0\x05\0\0\0hhhhhM1MMMM\x03\0\0\0geo", 24);
    EXPECT_EQ(Described(Write("a.sit", geo), ".sit"), QStringLiteral("geo"));
    // In the older geo form the length byte at block offset 4 runs past this 5-byte block.
    EXPECT_EQ(Described(Write("a.geo", geo), ".geo"), QString());

    const auto byType = [this](const QString &name, const QByteArray &bytes) {
        const QString path = Write(name, bytes);
        return Described(path, GetFileType(path));
    };
    EXPECT_EQ(byType("RLK_0001.001", SlotFile(86, "rlk")), QStringLiteral("rlk"));
    EXPECT_EQ(byType("rmk_0001.002", SlotFile(287, "rmk")), QStringLiteral("rmk"));
    EXPECT_EQ(byType("TLK_0001.003", SlotFile(287, "tlk")), QStringLiteral("tlk"));
    EXPECT_EQ(byType("grid0001.004", SlotFile(38, "grid")), QStringLiteral("grid"));
    EXPECT_EQ(byType("MISKAM.001", V4Record("K\x84")), QStringLiteral("\u201E"));
    EXPECT_EQ(byType("Plot.001", V4Record("K\x84")), QStringLiteral("ä"));
    EXPECT_EQ(byType("1Plot.001", V4Record("K\x84")), QString());
}

TEST_F(KVUtilReaders, DamagedFilesNeverCrash)
{
    const std::vector<std::pair<QByteArray, QString>> happy = {
        {Record(26, "abc") + Record(66, "Scale one"), ".sgf"},
        {Record(201, "") + QByteArray("\x01\0\0\0", 4) + Record(40, "") + Record(202, "Scale"), ".sgf"},
        {ListFile("comment"), ".fml"},
        {GMRecord(2, "abcd") + GMRecord(1, "Map one"), ".gm"},
        {V4Record("Xabc") + V4Record("KTitle"), "plot"},
        {SlotFile(86, "rlk"), "RLK_"},
        {SlotFile(287, "rmk"), "RMK_"},
        {"line one\nline two\n", ".txt"},
        {"[General]\nRunName=run\n", ".res"},
    };
    // Fresh names: rewriting one file over and over makes the file system flush on every close.
    int serial = 0;
    for (const auto &[bytes, ext] : happy) {
        for (int cut = 0; cut <= bytes.size(); ++cut) {
            const QString d =
                Described(Write(QStringLiteral("cut%1.bin").arg(serial++), bytes.left(cut)), ext);
            EXPECT_LE(d.size(), 120) << qPrintable(ext) << " cut at " << cut;
        }
    }
    std::mt19937 random(77);
    const QStringList exts = {".sgf", ".fml", ".gm",  "plot", "MISKAM",
                              "RLK_", "GRID", ".txt", ".geo", ".sit"};
    for (int round = 0; round < 300; ++round) {
        QByteArray bytes(int(random() % 400), '\0');
        for (auto &byte : bytes)
            byte = char(random() % 4 == 0 ? random() % 12 : random() & 0xFF);
        const QString path = Write(QStringLiteral("garbage%1.bin").arg(round), bytes);
        for (const QString &ext : exts)
            EXPECT_LE(Described(path, ext).size(), 65535);
    }
}

TEST(KVUtilWidgets, OwnedWidgetsPaintTheirOwnBackground)
{
    QWidget form;
    auto *panel = new QWidget(&form);
    auto *label = new QLabel(QStringLiteral("x"), panel);
    auto *plain = new QObject(&form);
    Q_UNUSED(plain);
    SwitchOffParentBackGround(&form);
    EXPECT_TRUE(panel->autoFillBackground());
    EXPECT_TRUE(label->autoFillBackground());
    EXPECT_FALSE(form.autoFillBackground());
    SwitchOffParentBackGround(nullptr);
}

namespace {

// Sets environment variables for one test and puts the old values back afterwards.
class TEnvironmentScope
{
public:
    ~TEnvironmentScope()
    {
        for (auto it = FSaved.rbegin(); it != FSaved.rend(); ++it) {
            if (it->second)
                qputenv(it->first.constData(), *it->second);
            else
                qunsetenv(it->first.constData());
        }
    }

    void Set(const char *name, const QString &value)
    {
        Save(name);
        qputenv(name, value.toLocal8Bit());
    }

    void Unset(const char *name)
    {
        Save(name);
        qunsetenv(name);
    }

private:
    void Save(const char *name)
    {
        FSaved.emplace_back(name, qEnvironmentVariableIsSet(name) ? std::optional<QByteArray>(qgetenv(name))
                                                                  : std::nullopt);
    }

    std::vector<std::pair<QByteArray, std::optional<QByteArray>>> FSaved;
};

QString ReadAll(const QString &fileName)
{
    return QString::fromUtf8(wntest::ReadAll(fileName));
}

// The lines of one group of a key file.
QStringList GroupLines(const QString &fileName, const QString &group)
{
    QStringList result;
    bool inGroup = false;
    for (const QString &line : ReadAll(fileName).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('[')))
            inGroup = line == group;
        else if (inGroup && !line.isEmpty())
            result.append(line);
    }
    return result;
}

QColor CentreColour(const QIcon &icon, int size)
{
    const QImage image = icon.pixmap(QSize(size, size)).toImage();
    return image.isNull() ? QColor() : image.pixelColor(size / 2, size / 2);
}

void SaveSquare(const QString &fileName, Qt::GlobalColor colour, int size, const char *format = "PNG")
{
    QDir().mkpath(QFileInfo(fileName).absolutePath());
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    ASSERT_TRUE(image.save(fileName, format)) << qPrintable(fileName);
}

// A home of its own: XDG data, configuration and the trash live in the temporary folder, and
// no desktop environment is announced, so the generic freedesktop rules apply.
class KVUtilDesktop : public FileFixture
{
protected:
    TEnvironmentScope env;
    TRecordingUiServices ui;
    TUiServicesScope uiScope{ui};
    QString home, dataHome, configHome;

    void SetUp() override
    {
        home = dir.filePath("home");
        dataHome = home + "/.local/share";
        configHome = home + "/.config";
        QDir().mkpath(dataHome);
        QDir().mkpath(configHome);
        QDir().mkpath(dir.filePath("xdg-config"));
        QDir().mkpath(dir.filePath("xdg-data"));
        env.Set("HOME", home);
        env.Set("XDG_DATA_HOME", dataHome);
        env.Set("XDG_CONFIG_HOME", configHome);
        env.Set("XDG_CONFIG_DIRS", dir.filePath("xdg-config"));
        // The system data folders stay visible for the MIME database of the desktop.
        env.Set("XDG_DATA_DIRS", dir.filePath("xdg-data") + ":/usr/local/share:/usr/share");
        for (const char *name : {"XDG_CURRENT_DESKTOP", "XDG_SESSION_DESKTOP", "DESKTOP_SESSION",
                                 "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID", "XDG_MENU_PREFIX"})
            env.Unset(name);
    }

    QString DesktopFile(const QString &fileType) const
    {
        return dataHome + "/applications/wnpack-" + fileType + ".desktop";
    }
};

const QString kTestMimeType = QStringLiteral("application/x-wnpack.test");
const QString kTestDesktopId = QStringLiteral("wnpack-wnpack.test.desktop");

} // namespace

TEST_F(KVUtilDesktop, RegisterLinkWritesTheAssociationAndAsksBeforeChangingIt)
{
    Write("home/.config/mimeapps.list", "[Default Applications]\ntext/plain=gedit.desktop;\n\n"
                                        "[Removed Associations]\nimage/png=gimp.desktop;\n");
    const QString icon = dir.filePath("red.png") + ",0";

    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", icon);
    EXPECT_TRUE(ui.Calls.empty());
    const QString package = ReadAll(dataHome + "/mime/packages/wnpack-wnq.xml");
    EXPECT_TRUE(package.contains("<mime-type type=\"" + kTestMimeType + "\">")) << qPrintable(package);
    EXPECT_TRUE(package.contains("<comment>WN test file</comment>"));
    EXPECT_TRUE(package.contains("<glob pattern=\"*.wnq\"/>"));
    const QStringList entry = GroupLines(DesktopFile("wnpack.test"), "[Desktop Entry]");
    EXPECT_TRUE(entry.contains("Type=Application"));
    EXPECT_TRUE(entry.contains("Name=WN test file"));
    EXPECT_TRUE(entry.contains("Exec=/usr/bin/wnview %f"));
    EXPECT_TRUE(entry.contains("Icon=" + icon));
    EXPECT_TRUE(entry.contains("MimeType=" + kTestMimeType + ";"));
    const QString list = configHome + "/mimeapps.list";
    EXPECT_EQ(GroupLines(list, "[Default Applications]"),
              QStringList({"text/plain=gedit.desktop;", kTestMimeType + "=" + kTestDesktopId + ";"}));
    EXPECT_EQ(GroupLines(list, "[Removed Associations]"), QStringList({"image/png=gimp.desktop;"}));
    EXPECT_EQ(GroupLines(list, "[Added Associations]"),
              QStringList({kTestMimeType + "=" + kTestDesktopId + ";"}));
    EXPECT_EQ(ShellPlatform().LinkedCommand(".WNQ"), QStringLiteral("/usr/bin/wnview %f"));
    if (!QStandardPaths::findExecutable("update-mime-database").isEmpty()) {
        EXPECT_TRUE(QFile::exists(dataHome + "/mime/mime.cache"));
    }

    // The same command in other letter case: nothing to ask, everything written again.
    RegisterLink(".WNQ", "WNPack.Test", "Renamed", "/USR/BIN/WNVIEW %F", icon);
    EXPECT_TRUE(ui.Calls.empty());
    EXPECT_TRUE(ReadAll(dataHome + "/mime/packages/wnpack-wnq.xml").contains("<comment>Renamed</comment>"));
    EXPECT_TRUE(
        GroupLines(DesktopFile("wnpack.test"), "[Desktop Entry]").contains("Exec=/USR/BIN/WNVIEW %F"));
    EXPECT_EQ(GroupLines(list, "[Default Applications]").size(), 2);

    // Another command: the user decides.
    ui.MessageAnswers = {mrNo};
    RegisterLink(".wnq", "Other.Type", "Other", "/usr/bin/other %f", QString());
    ASSERT_EQ(ui.Calls.size(), 1u);
    EXPECT_EQ(ui.Calls[0].What, QStringLiteral("MessageDlg"));
    EXPECT_EQ(
        ui.Calls[0].Text,
        QStringLiteral(
            "The file extension \".wnq\" is already linked with command /USR/BIN/WNVIEW %F. Overwrite?"));
    EXPECT_EQ(ui.Calls[0].Kind, mtConfirmation);
    EXPECT_TRUE(ui.Calls[0].Buttons == (TMsgDlgButtons{mbYes, mbNo}));
    EXPECT_FALSE(QFile::exists(DesktopFile("other.type")));
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnq"), QStringLiteral("/USR/BIN/WNVIEW %F"));

    ui.MessageAnswers = {mrYes};
    RegisterLink(".wnq", "Other.Type", "Other", "/usr/bin/other %f", QString());
    EXPECT_EQ(ui.Calls.size(), 2u);
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnq"), QStringLiteral("/usr/bin/other %f"));
    EXPECT_TRUE(ReadAll(dataHome + "/mime/packages/wnpack-wnq.xml").contains("application/x-other.type"));
    EXPECT_FALSE(GroupLines(DesktopFile("other.type"), "[Desktop Entry]").join("\n").contains("Icon="));

    // Backslashes and quotes of a Windows-style command survive the desktop entry.
    const QString windowsCommand = QStringLiteral("\"C:\\Prog\\app.exe\" \"%1\"");
    RegisterLink(".wnb", "WNPack.Back", "Back", windowsCommand, QString());
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnb"), windowsCommand);
    EXPECT_EQ(ui.Calls.size(), 2u);
}

TEST(KVUtilChild, DISABLED_PrintMimeTypeOfProbe)
{
    const QString probe = qEnvironmentVariable("WN_MIME_PROBE");
    if (!probe.isEmpty())
        std::printf("MIME:%s\n",
                    qPrintable(QMimeDatabase().mimeTypeForFile(probe, QMimeDatabase::MatchExtension).name()));
}

TEST_F(KVUtilDesktop, DesktopToolsSeeTheRegisteredLink)
{
    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", QString());

    // A fresh process, since a MIME database already in use reloads only every few seconds.
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("WN_MIME_PROBE", dir.filePath("sample.wnq"));
    child.setProcessEnvironment(environment);
    child.start(
        QCoreApplication::applicationFilePath(),
        {"--gtest_also_run_disabled_tests", "--gtest_filter=KVUtilChild.DISABLED_PrintMimeTypeOfProbe"});
    ASSERT_TRUE(child.waitForFinished(60000));
    EXPECT_TRUE(child.readAllStandardOutput().contains("MIME:" + kTestMimeType.toUtf8()));

    const QString xdgMime = QStandardPaths::findExecutable("xdg-mime");
    if (xdgMime.isEmpty())
        GTEST_SKIP() << "xdg-utils is not installed";
    QProcess query;
    query.start(xdgMime, {"query", "default", kTestMimeType});
    ASSERT_TRUE(query.waitForFinished(60000));
    EXPECT_EQ(QString::fromUtf8(query.readAllStandardOutput()).trimmed(), kTestDesktopId);
}

namespace {

// A small icon theme: blue for plain text, green for folders.
class KVUtilIcons : public KVUtilDesktop
{
protected:
    QStringList oldSearchPaths;
    QString oldTheme;

    void SetUp() override
    {
        KVUtilDesktop::SetUp();
        oldSearchPaths = QIcon::themeSearchPaths();
        oldTheme = QIcon::themeName();
        static int themeSerial = 0;
        const QString theme = QStringLiteral("wntest%1").arg(++themeSerial);
        const QString root = dir.filePath("icons/" + theme);
        Write("icons/" + theme + "/index.theme",
              "[Icon Theme]\nName=" + theme.toLatin1() +
                  "\nComment=test\nDirectories=mimetypes,places\n\n"
                  "[mimetypes]\nSize=16\nType=Scalable\nMinSize=8\nMaxSize=256\n\n"
                  "[places]\nSize=16\nType=Scalable\nMinSize=8\nMaxSize=256\n");
        SaveSquare(root + "/mimetypes/text-plain.png", Qt::blue, 16);
        SaveSquare(root + "/places/folder.png", Qt::green, 16);
        QIcon::setThemeSearchPaths({dir.filePath("icons")});
        QIcon::setThemeName(theme);
    }

    void TearDown() override
    {
        QIcon::setThemeSearchPaths(oldSearchPaths);
        QIcon::setThemeName(oldTheme);
    }
};

} // namespace

TEST_F(KVUtilIcons, IconsComeFromTheLinkTheFileTheThemeOrTheStyle)
{
    QIcon large, small;
    GetFileIcons(Write("a.txt", "plain text\n"), ".txt", 0, large, small);
    EXPECT_EQ(large.availableSizes(), QList<QSize>({QSize(32, 32)}));
    EXPECT_EQ(small.availableSizes(), QList<QSize>({QSize(16, 16)}));
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::blue));
    EXPECT_EQ(CentreColour(small, 16), QColor(Qt::blue));

    GetFileIcons(dir.filePath("icons"), QString(), faDirectory, large, small);
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::green));

    SaveSquare(dir.filePath("red.png"), Qt::red, 48);
    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", dir.filePath("red.png") + ",0");
    GetFileIcons(Write("f.wnq", "plain text\n"), ".wnq", 0, large, small);
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::red));
    EXPECT_EQ(small.availableSizes(), QList<QSize>({QSize(16, 16)}));

    // An icon index that is no number finds nothing; the style's generic icon stands in.
    RegisterLink(".wnr", "WNPack.R", "R file", "/usr/bin/wnview %f", dir.filePath("red.png") + ",first");
    GetFileIcons(Write("f.wnr", QByteArray("\0\1\2\3", 4)), ".wnr", 0, large, small);
    EXPECT_FALSE(large.isNull());
    EXPECT_NE(CentreColour(large, 32), QColor(Qt::red));
    EXPECT_NE(CentreColour(large, 32), QColor(Qt::blue));

    // Icon files show themselves, but only for the exact lower-case extension.
    SaveSquare(dir.filePath("own.ico"), Qt::yellow, 16, "ICO");
    GetFileIcons(dir.filePath("own.ico"), ".ico", 0, large, small);
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::yellow));
    EXPECT_EQ(CentreColour(small, 16), QColor(Qt::yellow));
    GetFileIcons(dir.filePath("own.ico"), ".ICO", 0, large, small);
    EXPECT_NE(CentreColour(large, 32), QColor(Qt::yellow));
    GetFileIcons(Write("tool.exe", "MZ"), ".exe", 0, large, small);
    EXPECT_EQ(large.availableSizes(), QList<QSize>({QSize(32, 32)}));
}

TEST_F(KVUtilDesktop, RecycleFilesMovesFilesToTheTrash)
{
    const QString a = Write("work/a.txt", "first");
    const QString b = Write("work/b.dat", "second");
    EXPECT_TRUE(RecycleFiles({a, b}));
    EXPECT_FALSE(QFile::exists(a));
    EXPECT_FALSE(QFile::exists(b));
    const QString trash = dataHome + "/Trash";
    EXPECT_EQ(ReadAll(trash + "/files/a.txt"), QStringLiteral("first"));
    EXPECT_EQ(ReadAll(trash + "/files/b.dat"), QStringLiteral("second"));
    const QString info = ReadAll(trash + "/info/a.txt.trashinfo");
    EXPECT_TRUE(info.startsWith("[Trash Info]")) << qPrintable(info);
    EXPECT_TRUE(info.contains("Path=" + QFileInfo(a).absoluteFilePath())) << qPrintable(info);
    EXPECT_TRUE(QFile::exists(trash + "/info/b.dat.trashinfo"));
    EXPECT_TRUE(RecycleFiles({}));

    // One file that cannot go makes the result false; the others still go.
    const QString c = Write("work/c.txt", "third");
    EXPECT_FALSE(RecycleFiles({dir.filePath("work/missing.txt"), c}));
    EXPECT_FALSE(QFile::exists(c));

    // A trash that cannot be made leaves the file where it is (and nothing appears below the
    // working folder, where Qt would otherwise put it).
    env.Set("XDG_DATA_HOME", Write("blocker", "not a folder"));
    const QString d = Write("work/d.txt", "fourth");
    EXPECT_FALSE(RecycleFiles({d}));
    EXPECT_EQ(ReadAll(d), QStringLiteral("fourth"));
    EXPECT_FALSE(QFile::exists(QDir::current().filePath("files/d.txt")));
}

TEST_F(KVUtilReaders, DescribeCommandPrintsOneLinePerFile)
{
    if (!wntest::WnpackBuilt())
        GTEST_SKIP() << "the wnpack program is not built";
    const QString notes = Write("notes.txt", " A \r\nB\n");
    const QString grid = Write("RLK_0001.001", SlotFile(86, "Day\tlevels"));
    const QString list = Write("Sources.FML", ListFile("North"));
    const wntest::TToolRun described = wntest::RunWnpack({"describe", notes, grid, list});
    EXPECT_EQ(described.Status, 0);
    EXPECT_EQ(described.Out,
              notes + "\t.txt\tA; B\n" + grid + "\trlk_0001\tDay levels\n" + list + "\t.fml\tNorth\n");

    const wntest::TToolRun missing = wntest::RunWnpack({"describe", notes, dir.filePath("missing.txt")});
    EXPECT_EQ(missing.Status, 1);
    EXPECT_TRUE(missing.Out.isEmpty());
    EXPECT_TRUE(missing.Err.contains("missing.txt"));
}

namespace {

// Answers with icons of fixed colours and records what it was asked.
class TFakeShell : public TShellPlatform
{
public:
    QStringList Asked;
    bool HasLinked = true;
    bool HasType = true;

    QString LinkedCommand(const QString &Ext) override
    {
        Asked << "LinkedCommand " + Ext;
        return QString();
    }
    void WriteLink(const QString &Ext, const QString &, const QString &, const QString &,
                   const QString &) override
    {
        Asked << "WriteLink " + Ext;
    }
    QIcon LinkedIcon(const QString &, bool Folder) override
    {
        Asked << QStringLiteral("LinkedIcon %1").arg(Folder);
        return HasLinked ? Square(Qt::red) : QIcon();
    }
    QIcon OwnIcon(const QString &) override
    {
        Asked << "OwnIcon";
        return QIcon();
    }
    QIcon TypeIcon(const QString &, bool Folder) override
    {
        Asked << QStringLiteral("TypeIcon %1").arg(Folder);
        return HasType ? Square(Qt::blue) : QIcon();
    }
    QIcon GenericIcon(bool Folder) override
    {
        Asked << QStringLiteral("GenericIcon %1").arg(Folder);
        return Square(Qt::gray);
    }
    bool Recycle(const QStringList &Files) override
    {
        Asked << "Recycle " + Files.join(',');
        return false;
    }

private:
    static QIcon Square(Qt::GlobalColor colour)
    {
        QPixmap pixmap(64, 48);
        pixmap.fill(colour);
        return QIcon(pixmap);
    }
};

class KVUtilFakeShell : public ::testing::Test
{
protected:
    TFakeShell fake;
    TShellPlatform *previous = SetShellPlatform(&fake);
    ~KVUtilFakeShell() override { SetShellPlatform(previous); }
};

} // namespace

TEST_F(KVUtilFakeShell, IconRulesAskThePlatformInOrder)
{
    QIcon large, small;
    GetFileIcons("a.xyz", ".xyz", 0, large, small);
    EXPECT_EQ(fake.Asked, QStringList({"LinkedIcon 0"}));
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::red));
    // A wide picture is scaled into the square, keeping its proportions.
    const QImage image = large.pixmap(QSize(32, 32)).toImage();
    EXPECT_EQ(image.size(), QSize(32, 32));
    EXPECT_EQ(image.pixelColor(16, 1).alpha(), 0);
    EXPECT_EQ(image.pixelColor(16, 16), QColor(Qt::red));

    fake.Asked.clear();
    fake.HasLinked = false;
    GetFileIcons("folder", "", faDirectory | 1, large, small);
    EXPECT_EQ(fake.Asked, QStringList({"LinkedIcon 1", "TypeIcon 1"}));
    EXPECT_EQ(CentreColour(small, 16), QColor(Qt::blue));

    fake.Asked.clear();
    fake.HasType = false;
    GetFileIcons("a.xyz", ".xyz", 0, large, small);
    EXPECT_EQ(fake.Asked, QStringList({"LinkedIcon 0", "TypeIcon 0", "GenericIcon 0"}));
    EXPECT_EQ(CentreColour(large, 32), QColor(Qt::gray));

    fake.Asked.clear();
    fake.HasLinked = fake.HasType = true;
    GetFileIcons("tool.exe", ".exe", 0, large, small);
    GetFileIcons("pic.ico", ".ico", 0, large, small);
    EXPECT_EQ(fake.Asked, QStringList({"OwnIcon", "GenericIcon 0", "OwnIcon", "GenericIcon 0"}));

    fake.Asked.clear();
    EXPECT_FALSE(RecycleFiles({"a", "b"}));
    RegisterLink(".abc", "T", "D", "C", "I");
    EXPECT_EQ(fake.Asked, QStringList({"Recycle a,b", "LinkedCommand .abc", "WriteLink .abc"}));
}
