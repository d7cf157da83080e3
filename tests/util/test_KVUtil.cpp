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
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QWidget>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include <sys/stat.h>

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
    return QByteArray(offset, '\x11') + char(declaredLength < 0 ? text.size() : declaredLength) + text +
           QByteArray(100, '\x22');
}

QString Described(const QString &fileName, const QString &ext)
{
    QString description = QStringLiteral("stale");
    GetFileDescription(fileName, ext, description);
    return description;
}

using TReader = std::function<void(const QString &fileName, QString &description)>;

// A file to describe; no bytes means the file does not exist.
struct TReaderCase {
    const char *Name;
    std::optional<QByteArray> Bytes;
    QString Expected;
};

class FileFixture : public ::testing::Test
{
protected:
    QTemporaryDir dir;

    QString Write(const QString &name, const QByteArray &bytes)
    {
        return wntest::WriteAll(dir.filePath(name), bytes);
    }

    void ExpectDescriptions(const TReader &read, const std::vector<TReaderCase> &cases)
    {
        for (const TReaderCase &c : cases) {
            QString description = QStringLiteral("stale");
            read(c.Bytes ? Write(c.Name, *c.Bytes) : dir.filePath(c.Name), description);
            EXPECT_EQ(description, c.Expected) << c.Name;
        }
    }
};

using KVUtilReaders = FileFixture;

} // namespace

TEST(KVUtilFileType, KeysGroupNumberedFilesAndRpdgFiles)
{
    // Only two or three digits after the point make a number; the key is the name up to its
    // first point, and folders do not count.
    const std::pair<const char *, const char *> cases[] = {{"Plot.001", "plot"},
                                                           {"Plot.12", "plot"},
                                                           {"Plot.abc", ".abc"},
                                                           {"Data.TXT", ".txt"},
                                                           {"rpdg0001.xyz", "rpdg"},
                                                           {"RPDG.txt", "rpdg"},
                                                           {"Plot.1", ".1"},
                                                           {"Plot.1234", ".1234"},
                                                           {"Plot.1a", ".1a"},
                                                           {"Plot.-1", ".-1"},
                                                           {"Archive.Tar.001", "archive"},
                                                           {"/data/run.2/Plot.003", "plot"},
                                                           {"/data/run.2/README", ""},
                                                           {"", ""}};
    for (const auto &[name, key] : cases)
        EXPECT_EQ(GetFileType(name), key) << name;
}

TEST_F(KVUtilReaders, CorrespondingResFileIgnoresLetterCase)
{
    for (const char *name : {"RABC0012.RES", "r0010012.res", "R0010013.RES", "R01012.RES", "R(1)x(2).RES"})
        Write(name, "x");
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
    ExpectDescriptions(GetTXTFileDescription,
                       {
                           {"a.txt", "  A \r\nB\r\n", "A; B"},
                           {"b.txt", "\n  \n\tX\nY", "X; Y"},
                           {"c.txt", "A\n\nB\n", "A; ; B"},
                           {"d.txt", "L\xe4rm\r\n", "Lärm"},
                           {"e.txt", "\xef\xbb\xbfL\xc3\xa4rm\n\xe2\x82\xac", "Lärm; €"},
                           {"empty.txt", "", ""},
                           {"missing.txt", std::nullopt, ""},
                           // Characters, not bytes, count: 50 two-byte letters leave room for more.
                           {"wide.txt", QString(50, QChar(0xE4)).toUtf8() + "\nnext line\n",
                            QString(50, QChar(0xE4)) + "; next line"},
                           {"long.txt", QByteArray(300000, 'x') + "\nnext", QString(80, QLatin1Char('x'))},
                       });
}

TEST_F(KVUtilReaders, GridDescriptionsAtTheirOffsets)
{
    const auto grid = [](const char *prefix) {
        return [prefix](const QString &name, QString &d) { GetRLKFileDescription(name, prefix, d); };
    };
    ExpectDescriptions(grid("RLK_"), {
                                         {"RLK_0001.001", SlotFile(86, "L\xe4rm day"), "Lärm day"},
                                         // The slot holds 80 bytes: at most 79 characters.
                                         {"RLK_0002.001", SlotFile(86, QByteArray(200, 'r'), 255),
                                          QString(79, QLatin1Char('r'))},
                                         // Truncated in the text, before the slot, and missing.
                                         {"RLK_0003.001", SlotFile(86, "abcdef").left(86 + 4), "abc"},
                                         {"RLK_0004.001", QByteArray(50, 'z'), ""},
                                         {"RLK_0005.001", std::nullopt, ""},
                                     });
    ExpectDescriptions(grid("ABCD"), {{"GRID0001.001", SlotFile(38, "grid"), ""}});
}

TEST_F(KVUtilReaders, TaggedRecordDescriptions)
{
    const QByteArray newForm = Record(201, "") + QByteArray("\x01\0\0\0", 4);
    ExpectDescriptions(
        GetSGFFileDescription,
        {
            {"a.sgf", Record(26, "abc") + Record(66, "Scale one") + Record(67, "x"), "Scale one"},
            {"b.sgf", newForm + Record(40, "") + Record(202, "Scale \xe4"), "Scale ä"},
            {"c.sgf", Record(26, "abc") + Record(67, "other"), ""},
            {"d.sgf", newForm + Record(41, "") + Record(202, "x"), ""},
            {"e.sgf", Record(27, "abc") + Record(66, "x"), ""},
            // A text cut short gives what is there.
            {"f.sgf", (Record(26, "abc") + Record(66, "Scale one")).left(16), "Scale"},
        });

    const std::pair<const char *, QByteArray> refused[] = {
        {"b.fml", Record(34, "comment")},
        {"c.fml", Record(33, "KV.FML\0\0\0\0") + Record(35, "comment")},
        // The header record must be read whole.
        {"d.fml", ListFile("comment").left(4 + 6)},
        {"e.fml", Record(33, QByteArray(300, 'h')) + Record(34, "comment")},
    };
    QString d;
    for (const auto &[name, bytes] : refused) {
        EXPECT_FALSE(GetListDescription(Write(name, bytes), d)) << name;
        EXPECT_EQ(d, QString()) << name;
    }
    EXPECT_FALSE(GetListDescription(dir.filePath("missing.fml"), d));
    EXPECT_TRUE(GetListDescription(Write("empty.fml", ListFile("")), d));
    EXPECT_TRUE(GetListDescription(Write("a.fml", ListFile("Sources north")), d));
    EXPECT_EQ(d, QStringLiteral("Sources north"));
}

TEST_F(KVUtilReaders, GMAndV4Records)
{
    const QByteArray twentyFour = GMRecord(3, "xx").repeated(24);
    ExpectDescriptions(
        GetGMFileDescription,
        {
            {"a.dgm", GMRecord(2, "abcd") + GMRecord(1, QByteArray("Map one\0\0\0", 10)), "Map one"},
            {"b.dgm", GMRecord(2, "a") + GMRecord(1, "Map"), ""},
            {"c.dgm", GMRecord(11, "ab") + GMRecord(1, "Map"), ""},
            {"d.dgm", GMRecord(2, QByteArray(2000, 'x')) + GMRecord(1, "Map"), ""},
            {"e.dgm", twentyFour + GMRecord(1, "25th"), "25th"},
            {"f.dgm", twentyFour + GMRecord(3, "xx") + GMRecord(1, "26th"), ""},
        });
    const auto v4 = [](bool convert) {
        return [convert](const QString &name, QString &d) { GetV4FileDescription(name, d, convert); };
    };
    ExpectDescriptions(v4(true), {{"a.v4", V4Record("kL\x84rm"), "Lärm"}});
    ExpectDescriptions(v4(false), {
                                      {"a.v4", V4Record("kL\x84rm"), "L\u201Erm"},
                                      {"b.v4", V4Record("Xabc") + V4Record("KTitle one  "), "Title one"},
                                      {"c.v4", V4Record("Dxx") + V4Record("KTitle"), ""},
                                      {"d.v4", V4Record("Txx") + V4Record("KTitle"), ""},
                                      {"e.v4", V4Record("") + V4Record("KTitle"), ""},
                                      {"f.v4", V4Record("Xx").repeated(25) + V4Record("KTitle"), ""},
                                  });
}

TEST_F(KVUtilReaders, DescriptionsDispatchOnExtensionAndPrefix)
{
    const QString res = Write("res/R0010012.RES", "[General]\r\nRunName=Day run\r\n");
    // Companion files are found whatever their letter case. Grids other than RLK are in the OEM
    // code page, where 0x84 is a-umlaut. In the older geo form the length byte at block offset 4
    // runs past this 5-byte block.
    Write("Case.sdr", "sources");
    Write("Run.RDR", "run text");
    const QByteArray geo = QByteArray("\0\0\x05\0\0\0hhhhhM1MMMM\x03\0\0\0geo", 24);
    const std::tuple<QString, QString, QString> cases[] = {
        {res, ".RES", "Day run"},
        {Write("res/rpdg0012.001", "grid"), "rpdg", "Day run"},
        {Write("res/plain.res", "[GENERAL]\r\nRUNNAME=Upper\r\n"), ".res", "Upper"},
        {Write("res/other.res", "[Other]\r\nRunName=x\r\n"), ".res", ""},
        {Write("a.sgt", Record(26, "") + Record(66, "sgt")), ".SGT", "sgt"},
        {Write("a.txt", "text"), ".txt", "text"},
        {Write("a.rdr", "rdr"), ".rdr", "rdr"},
        {Write("Case.SFL", "x"), ".sfl", "sources"},
        {Write("Run.runx", "x"), ".RUNX", "run text"},
        {Write("None.sfl", "x"), ".sfl", ""},
        {Write("a.dgm", GMRecord(1, "dgm")), ".DGM", "dgm"},
        {Write("a.xyz", "text"), ".xyz", ""},
        {Write("a.sit", geo), ".sit", "geo"},
        {Write("a.geo", geo), ".geo", ""},
        {Write("RLK_0001.001", SlotFile(86, "rlk")), "rlk_0001", "rlk"},
        {Write("rmk_0001.002", SlotFile(287, "L\x84rm")), "rmk_0001", "Lärm"},
        {Write("TLK_0001.003", SlotFile(287, "tlk")), "tlk_0001", "tlk"},
        {Write("grid0001.004", SlotFile(38, "grid")), "grid0001", "grid"},
        {Write("MISKAM.001", V4Record("K\x84")), "miskam", "\u201E"},
        {Write("Plot.001", V4Record("K\x84")), "plot", "ä"},
        {Write("1Plot.001", V4Record("K\x84")), "1plot", ""},
    };
    for (const auto &[path, ext, expected] : cases)
        EXPECT_EQ(Described(path, ext), expected) << qPrintable(path);
    for (const QString &ext : ListFileExtensions())
        EXPECT_EQ(Described(Write("a" + ext, ListFile("list " + ext.toLatin1())), ext.toLower()),
                  "list " + ext);
}

TEST_F(KVUtilReaders, PipesAndDevicesNamedLikeDataFilesGiveNoDescription)
{
    // Opening a FIFO waits for a writer that never comes; a device never ends.
    const std::pair<const char *, const char *> pipes[] = {
        {"p.txt", ".txt"},
        {"p.geo", ".geo"},
        {"p.sit", ".sit"},
        {"p.sgf", ".sgf"},
        {"p.fml", ".fml"},
        {"p.dgm", ".dgm"},
        {"RLK_0001.001", "rlk_0001"},
        {"Plot.001", "plot"},
        {"p.res", ".res"},
        {"C.SDR", ".sdr"},
        {"C.sfl", ".sfl"},
        {"p.ico", ".ico"},
    };
    for (const auto &[name, ext] : pipes) {
        if (name != QLatin1String("C.sfl")) {
            ASSERT_EQ(mkfifo(QFile::encodeName(dir.filePath(name)).constData(), 0600), 0) << name;
        }
    }
    Write("C.sfl", "takes its description from C.SDR");
    ASSERT_TRUE(QFile::link("/dev/zero", dir.filePath("zero.txt")));
    ASSERT_TRUE(QFile::link(dir.filePath("nowhere.txt"), dir.filePath("gone.txt")));
    const wntest::TWatchdog watchdog(std::chrono::seconds(20), "describing pipes and devices");
    for (const auto &[name, ext] : pipes)
        EXPECT_EQ(Described(dir.filePath(name), ext), QString()) << name;
    EXPECT_EQ(Described(dir.filePath("zero.txt"), ".txt"), QString());
    EXPECT_EQ(Described(dir.filePath("gone.txt"), ".txt"), QString());
    QIcon large;
    QIcon small;
    GetFileIcons(dir.filePath("p.ico"), ".ico", 0, large, small);
    EXPECT_FALSE(small.isNull());
}

TEST(KVUtilWidgets, OwnedWidgetsPaintTheirOwnBackground)
{
    QWidget form;
    auto *panel = new QWidget(&form);
    auto *label = new QLabel(QStringLiteral("x"), panel);
    new QObject(&form); // not a widget: passed over
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
        for (auto it = FSaved.rbegin(); it != FSaved.rend(); ++it)
            it->second ? qputenv(it->first.constData(), *it->second) : qunsetenv(it->first.constData());
    }

    void Set(const char *name, const std::optional<QString> &value)
    {
        FSaved.emplace_back(name,
                            qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
        value ? qputenv(name, value->toLocal8Bit()) : qunsetenv(name);
    }

private:
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

// The colour of an icon's pixel at the given size, by default at its centre.
QColor PixelColour(const QIcon &icon, int size, int x = -1, int y = -1)
{
    const QImage image = icon.pixmap(QSize(size, size)).toImage();
    return image.isNull() ? QColor() : image.pixelColor(x < 0 ? size / 2 : x, y < 0 ? size / 2 : y);
}

void SavePicture(const QString &fileName, Qt::GlobalColor colour, QSize size, const char *format = "PNG")
{
    QDir().mkpath(QFileInfo(fileName).absolutePath());
    QImage image(size, QImage::Format_ARGB32);
    image.fill(colour);
    ASSERT_TRUE(image.save(fileName, format)) << qPrintable(fileName);
}

const QString kTestMimeType = QStringLiteral("application/x-wnpack.test");
const QString kTestDesktopId = QStringLiteral("wnpack-wnpack.test.desktop");

// A home of its own: XDG data, configuration and the trash live in the temporary folder, and
// no desktop environment is announced, so the generic freedesktop rules apply.
class KVUtilDesktop : public FileFixture
{
protected:
    TEnvironmentScope env;
    TRecordingUiServices ui;
    TUiServicesScope uiScope{ui};
    QString dataHome, configHome;
    QStringList oldSearchPaths = QIcon::themeSearchPaths();
    QString oldTheme = QIcon::themeName();

    void SetUp() override
    {
        dataHome = dir.filePath("home/.local/share");
        configHome = dir.filePath("home/.config");
        for (const QString &folder :
             {dataHome, configHome, dir.filePath("xdg-config"), dir.filePath("xdg-data")})
            QDir().mkpath(folder);
        env.Set("HOME", dir.filePath("home"));
        env.Set("XDG_DATA_HOME", dataHome);
        env.Set("XDG_CONFIG_HOME", configHome);
        env.Set("XDG_CONFIG_DIRS", dir.filePath("xdg-config"));
        // The system data folders stay visible for the MIME database of the desktop.
        env.Set("XDG_DATA_DIRS", dir.filePath("xdg-data") + ":/usr/local/share:/usr/share");
        for (const char *name : {"XDG_CURRENT_DESKTOP", "XDG_SESSION_DESKTOP", "DESKTOP_SESSION",
                                 "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID", "XDG_MENU_PREFIX"})
            env.Set(name, std::nullopt);
    }

    void TearDown() override
    {
        QIcon::setThemeSearchPaths(oldSearchPaths);
        QIcon::setThemeName(oldTheme);
    }

    // A small icon theme: blue for plain text, green for folders.
    void UseTestTheme()
    {
        static int themeSerial = 0;
        const QString theme = QStringLiteral("wntest%1").arg(++themeSerial);
        const QByteArray folder = "Size=16\nType=Scalable\nMinSize=8\nMaxSize=256\n";
        Write("icons/" + theme + "/index.theme", "[Icon Theme]\nName=" + theme.toLatin1() +
                                                     "\nDirectories=mimetypes,places\n[mimetypes]\n" +
                                                     folder + "[places]\n" + folder);
        SavePicture(dir.filePath("icons/" + theme + "/mimetypes/text-plain.png"), Qt::blue, QSize(16, 16));
        SavePicture(dir.filePath("icons/" + theme + "/places/folder.png"), Qt::green, QSize(16, 16));
        QIcon::setThemeSearchPaths({dir.filePath("icons")});
        QIcon::setThemeName(theme);
    }

    QStringList DesktopEntry(const QString &fileType) const
    {
        return GroupLines(dataHome + "/applications/wnpack-" + fileType + ".desktop", "[Desktop Entry]");
    }
};

} // namespace

TEST_F(KVUtilDesktop, RegisterLinkWritesTheAssociationAndAsksBeforeChangingIt)
{
    const QString list =
        Write("home/.config/mimeapps.list", "[Default Applications]\ntext/plain=gedit.desktop;\n\n"
                                            "[Removed Associations]\nimage/png=gimp.desktop;\n");
    const QString icon = dir.filePath("red.png") + ",0";
    const QString package = dataHome + "/mime/packages/wnpack-wnq.xml";

    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", icon);
    EXPECT_TRUE(ui.Calls.empty());
    for (const QString &part :
         {"<mime-type type=\"" + kTestMimeType + "\">", QStringLiteral("<comment>WN test file</comment>"),
          QStringLiteral("<glob pattern=\"*.wnq\"/>")})
        EXPECT_TRUE(ReadAll(package).contains(part)) << qPrintable(part);
    const QStringList entry = DesktopEntry("wnpack.test");
    for (const QString &line :
         {QStringLiteral("Type=Application"), QStringLiteral("Name=WN test file"),
          QStringLiteral("Exec=/usr/bin/wnview %f"), "Icon=" + icon, "MimeType=" + kTestMimeType + ";"})
        EXPECT_TRUE(entry.contains(line)) << qPrintable(line);
    const QString association = kTestMimeType + "=" + kTestDesktopId + ";";
    EXPECT_EQ(GroupLines(list, "[Default Applications]"),
              QStringList({"text/plain=gedit.desktop;", association}));
    EXPECT_EQ(GroupLines(list, "[Added Associations]"), QStringList({association}));
    EXPECT_EQ(GroupLines(list, "[Removed Associations]"), QStringList({"image/png=gimp.desktop;"}));
    if (!QStandardPaths::findExecutable("update-mime-database").isEmpty()) {
        EXPECT_TRUE(QFile::exists(dataHome + "/mime/mime.cache"));
    }

    // The same command in other letter case: nothing to ask, everything written again.
    RegisterLink(".WNQ", "WNPack.Test", "Renamed", "/USR/BIN/WNVIEW %F", icon);
    EXPECT_TRUE(ui.Calls.empty());
    EXPECT_TRUE(ReadAll(package).contains("<comment>Renamed</comment>"));
    EXPECT_EQ(GroupLines(list, "[Default Applications]").size(), 2);

    // Another command: the user decides.
    ui.MessageAnswers = {mrNo};
    RegisterLink(".wnq", "Other.Type", "Other", "/usr/bin/other %f", QString());
    ASSERT_EQ(ui.Calls.size(), 1u);
    EXPECT_EQ(ui.Calls[0].What, QStringLiteral("MessageDlg"));
    EXPECT_EQ(ui.Calls[0].Text,
              "The file extension \".wnq\" is already linked with command /USR/BIN/WNVIEW %F. Overwrite?");
    EXPECT_EQ(ui.Calls[0].Kind, mtConfirmation);
    EXPECT_TRUE(ui.Calls[0].Buttons == (TMsgDlgButtons{mbYes, mbNo}));
    EXPECT_TRUE(DesktopEntry("other.type").isEmpty());
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnq"), QStringLiteral("/USR/BIN/WNVIEW %F"));

    ui.MessageAnswers = {mrYes};
    RegisterLink(".wnq", "Other.Type", "Other", "/usr/bin/other %f", QString());
    EXPECT_EQ(ui.Calls.size(), 2u);
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnq"), QStringLiteral("/usr/bin/other %f"));
    EXPECT_TRUE(ReadAll(package).contains("application/x-other.type"));
    EXPECT_FALSE(DesktopEntry("other.type").join("\n").contains("Icon="));

    // Backslashes and quotes of a Windows-style command survive the desktop entry.
    const QString windowsCommand = QStringLiteral("\"C:\\Prog\\app.exe\" \"%1\"");
    RegisterLink(".wnb", "WNPack.Back", "Back", windowsCommand, QString());
    EXPECT_EQ(ShellPlatform().LinkedCommand(".wnb"), windowsCommand);
}

TEST(KVUtilChild, DISABLED_PrintMimeTypeOfProbe)
{
    const QString probe = qEnvironmentVariable("WN_MIME_PROBE");
    std::printf("MIME:%s\n",
                qPrintable(QMimeDatabase().mimeTypeForFile(probe, QMimeDatabase::MatchExtension).name()));
}

TEST_F(KVUtilDesktop, DesktopToolsSeeTheRegisteredLink)
{
    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", QString());

    // A fresh process, since a MIME database already in use reloads only every few seconds.
    env.Set("WN_MIME_PROBE", dir.filePath("sample.wnq"));
    const wntest::TToolRun probe = wntest::RunProgram(
        QCoreApplication::applicationFilePath(),
        {"--gtest_also_run_disabled_tests", "--gtest_filter=KVUtilChild.DISABLED_PrintMimeTypeOfProbe"});
    EXPECT_TRUE(probe.Out.contains("MIME:" + kTestMimeType)) << qPrintable(probe.Out);

    const QString xdgMime = QStandardPaths::findExecutable("xdg-mime");
    if (xdgMime.isEmpty())
        GTEST_SKIP() << "xdg-utils is not installed";
    const wntest::TToolRun query = wntest::RunProgram(xdgMime, {"query", "default", kTestMimeType});
    EXPECT_EQ(query.Out.trimmed(), kTestDesktopId);
}

TEST_F(KVUtilDesktop, IconsComeFromTheLinkTheFileTheThemeOrTheStyle)
{
    UseTestTheme();
    QIcon large, small;
    GetFileIcons(Write("a.txt", "plain text\n"), ".txt", 0, large, small);
    EXPECT_EQ(large.availableSizes(), QList<QSize>({QSize(32, 32)}));
    EXPECT_EQ(small.availableSizes(), QList<QSize>({QSize(16, 16)}));
    EXPECT_EQ(PixelColour(large, 32), QColor(Qt::blue));
    EXPECT_EQ(PixelColour(small, 16), QColor(Qt::blue));

    GetFileIcons(dir.filePath("icons"), QString(), faDirectory, large, small);
    EXPECT_EQ(PixelColour(large, 32), QColor(Qt::green));

    // A wide picture is scaled into the square, keeping its proportions.
    SavePicture(dir.filePath("red.png"), Qt::red, QSize(64, 48));
    RegisterLink(".wnq", "WNPack.Test", "WN test file", "/usr/bin/wnview %f", dir.filePath("red.png") + ",0");
    GetFileIcons(Write("f.wnq", "plain text\n"), ".wnq", 0, large, small);
    EXPECT_EQ(PixelColour(large, 32), QColor(Qt::red));
    EXPECT_EQ(PixelColour(large, 32, 16, 1).alpha(), 0);
    EXPECT_EQ(small.availableSizes(), QList<QSize>({QSize(16, 16)}));

    // An icon index that is no number finds nothing; the style's generic icon stands in.
    RegisterLink(".wnr", "WNPack.R", "R file", "/usr/bin/wnview %f", dir.filePath("red.png") + ",first");
    GetFileIcons(Write("f.wnr", QByteArray("\0\1\2\3", 4)), ".wnr", 0, large, small);
    EXPECT_FALSE(large.isNull());
    EXPECT_NE(PixelColour(large, 32), QColor(Qt::red));
    EXPECT_NE(PixelColour(large, 32), QColor(Qt::blue));

    // Icon files show themselves, but only for the exact lower-case extension.
    SavePicture(dir.filePath("own.ico"), Qt::yellow, QSize(16, 16), "ICO");
    GetFileIcons(dir.filePath("own.ico"), ".ico", 0, large, small);
    EXPECT_EQ(PixelColour(large, 32), QColor(Qt::yellow));
    EXPECT_EQ(PixelColour(small, 16), QColor(Qt::yellow));
    GetFileIcons(dir.filePath("own.ico"), ".ICO", 0, large, small);
    EXPECT_NE(PixelColour(large, 32), QColor(Qt::yellow));
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

    // A file that fails is reported, and the others are still described.
    const wntest::TToolRun missing = wntest::RunWnpack({"describe", dir.filePath("missing.txt"), notes});
    EXPECT_EQ(missing.Status, 1);
    EXPECT_EQ(missing.Out, notes + "\t.txt\tA; B\n");
    EXPECT_TRUE(missing.Err.contains("missing.txt"));
}
