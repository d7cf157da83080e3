// The file list view: masks and natural order, filling from a folder, descriptions, icons, the
// hourglass, sorting by header clicks, rows added directly, and folders full of strange entries.

#include "controls/FLView.h"

#include "framework/SysUtils.h"
#include "framework/UiServices.h"
#include "util/KVUtil.h"

#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include <QHeaderView>
#include <QPainter>
#include <QTemporaryDir>

#include <map>
#include <set>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace wn;
using wn::test::CountPixels;
using wn::test::THostedControl;

namespace {

// Icons drawn here, one colour per file type, so that sharing and pictures do not depend on the
// desktop's theme.
class TPaintedIcons : public TShellPlatform
{
public:
    QStringList Asked;
    bool Fail = false;

    QString LinkedCommand(const QString &) override { return {}; }
    void WriteLink(const QString &, const QString &, const QString &, const QString &,
                   const QString &) override
    {}
    QIcon LinkedIcon(const QString &, bool) override { return {}; }
    QIcon OwnIcon(const QString &) override { return {}; }
    QIcon GenericIcon(bool) override { return {}; }
    bool Recycle(const QStringList &) override { return false; }
    QIcon TypeIcon(const QString &FileName, bool) override
    {
        Asked.append(FileName.section('/', -1));
        if (Fail)
            return {};
        QPixmap page(32, 32);
        page.fill(Qt::transparent);
        QPainter p(&page);
        p.setPen(QColor(90, 90, 90));
        p.setBrush(Qt::white);
        p.drawPolygon(QPolygon({QPoint(5, 1), QPoint(21, 1), QPoint(27, 7), QPoint(27, 30), QPoint(5, 30)}));
        p.fillRect(8, 14, 17, 10, QColor::fromHsv(int(qHash(GetFileType(FileName)) % 360), 200, 220));
        return QIcon(page);
    }
};

class FileListView : public ::testing::Test
{
protected:
    QTemporaryDir dir;
    TPaintedIcons icons;
    TShellPlatform *previousPlatform = SetShellPlatform(&icons);
    TRecordingUiServices ui;
    TUiServicesScope uiScope{ui};
    TFormatSettings previousSettings = FormatSettings();
    THostedControl<TFileListView> host;
    TFileListView &view = *host.Control;

    FileListView()
    {
        FormatSettings() = TFormatSettings();
        host.Form->resize(720, 260);
        view.resize(700, 240);
    }
    ~FileListView() override
    {
        FormatSettings() = previousSettings;
        SetShellPlatform(previousPlatform);
    }

    QString Write(const QString &name, const QByteArray &bytes, const QDateTime &changed = {})
    {
        const QString path = wntest::WriteAll(dir.filePath(name), bytes);
        if (changed.isValid()) {
            QFile file(path);
            EXPECT_TRUE(file.open(QIODevice::ReadWrite) &&
                        file.setFileTime(changed, QFile::FileModificationTime));
        }
        return path;
    }

    // Through the properties, as a form being loaded sets them.
    void Show(const QString &filter)
    {
        ASSERT_TRUE(view.setProperty("Path", dir.path()) && view.setProperty("Filter", filter));
    }

    QStringList Column(int column) const
    {
        QStringList texts;
        for (int i = 0; i < view.GetItemsCount(); ++i)
            texts.append(view.topLevelItem(i)->text(column));
        return texts;
    }

    void ClickHeader(int column)
    {
        QHeaderView *header = view.header();
        const QPoint centre(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                            header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, centre);
    }
};

} // namespace

TEST(FileListRules, MasksAndNaturalOrder)
{
    const std::tuple<const char *, const char *, bool> masks[] = {
        {"A.RLK", "*.rlk", true},      {"README", "*.*", true},    {"a", "a.*", true},
        {"a.b", "a.*", true},          {"ab.txt", "a?.TXT", true}, {"ab.txt", "?.txt", false},
        {"a.txt.bak", "*.txt", false}, {"a.txt", "", false},       {"Lärm.sgf", "LÄRM.SG?", true},
        {"abcabd", "*abd", true},      {"a.b.c", "*.c", true},     {"abc", "a*b", false},
    };
    for (const auto &[name, mask, expected] : masks)
        EXPECT_EQ(MatchesFileMask(QString::fromUtf8(name), QString::fromUtf8(mask)), expected)
            << name << " " << mask;

    const std::tuple<const char *, const char *, int> order[] = {
        {"a9", "a10", -1},
        {"a10", "a9", 1},
        {"a007", "a7", 0},
        {"x2y10", "x2y9", 1},
        {"B", "a", -1},
        {"a", "a1", -1},
        {"", "", 0},
        {"1a", "a1", -1},
        {"abc", "ab1", 1},
        {"a01b", "a1c", -1},
        {"f99999999999999999999", "f100000000000000000000", -1},
    };
    for (const auto &[a, b, expected] : order)
        EXPECT_EQ(NaturalCompare(QString::fromLatin1(a), QString::fromLatin1(b)), expected) << a << " " << b;
}

TEST_F(FileListView, FillsFromTwoMasksAndAsksTheOwner)
{
    Write("a10.txt", "ten");
    Write("a9.txt", QByteArray(70, 'x') + "\n");
    Write("B.RLK", "grid");
    Write("a.b.rlk", "two dots");
    Write("refused.txt", "no");
    Write(".hidden.txt", "hidden");
    QDir(dir.path()).mkdir("folder.txt");
    QStringList asked;
    view.OnAddFile = [&](QObject *sender, const QString &name, const QString &type, bool &allow) {
        EXPECT_EQ(sender, &view);
        asked.append(name + " " + type);
        allow = name != "refused.txt";
    };
    view.OnGetFileDescription = [&](QObject *, const QString &name, QString &value) {
        if (name == dir.filePath("a10.txt"))
            value = "replaced " + value;
    };
    Show("*.TXT;*.rlk");

    EXPECT_EQ(view.Path(), dir.path() + "/");
    // The first mask's files come first while filling; the rows are then sorted by name.
    ASSERT_EQ(asked.size(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(asked[i].endsWith(".TXT"), i < 3) << qPrintable(asked[i]);
    // Runs compare whole: "a" before "a.b", so a9 and a10 come before a.b.rlk.
    EXPECT_EQ(Column(0), QStringList({"B.RLK", "a9.txt", "a10.txt", "a.b.rlk"}));
    EXPECT_EQ(Column(1), QStringList({"", QString(60, 'x'), "replaced ten", ""}));
    EXPECT_EQ(Column(3), QStringList({"4", "71", "3", "8"}));

    view.SetHideFileExt(true);
    view.SetSubItems({siSize});
    EXPECT_EQ(view.headerItem()->text(0) + "|" + view.headerItem()->text(1), "Name|Size (B)");
    EXPECT_EQ(Column(0), QStringList({"B", "a", "a9", "a10"}));
    QTreeWidgetItem *found = nullptr;
    ASSERT_TRUE(view.GetFileItem("A9", found));
    EXPECT_EQ(found->text(1), "71");
    view.Delete(found);
    EXPECT_EQ(view.GetItemsCount(), 3);
    EXPECT_FALSE(view.GetFileItem("a9", found));
}

TEST_F(FileListView, PathsThatCannotBeEnteredAndTheHourglass)
{
    view.SetFilter("*.dat");
    view.SetPath(dir.filePath("missing"));
    EXPECT_EQ(view.Path(), QDir::currentPath() + "/");
    view.SetPath(Write("plain.dat", "x"));
    EXPECT_EQ(view.Path(), QDir::currentPath() + "/");
    EXPECT_TRUE(ui.CallsOf("MessageDlg").empty());

    for (int i = 0; i < 25; ++i)
        Write(QString("f%1.dat").arg(i), "x");
    ui.Cursor = crCross;
    const auto cursors = [&] {
        std::vector<TCursor> set;
        for (const auto &call : ui.CallsOf("SetScreenCursor"))
            set.push_back(TCursor(call.Answer));
        ui.Calls.clear();
        return set;
    };
    cursors();
    view.SetPath(dir.path());
    EXPECT_EQ(cursors(), std::vector<TCursor>({crHourGlass, crCross})) << "26 files";
    QFile::remove(dir.filePath("plain.dat"));
    view.ReadFiles();
    EXPECT_EQ(cursors(), std::vector<TCursor>({crCross})) << "25 files";
    // Refused entries count as well.
    Write("plain.dat", "x");
    view.OnAddFile = [](QObject *, const QString &name, const QString &, bool &allow) {
        allow = name != "f3.dat";
    };
    view.ReadFiles();
    EXPECT_EQ(cursors(), std::vector<TCursor>({crHourGlass, crCross})) << "26 files, one refused";
    EXPECT_EQ(view.GetItemsCount(), 25);
}

TEST_F(FileListView, OneIconPerFileType)
{
    for (const char *name : {"b.txt", "a.txt", "c.sgf", "RLK_0001.001", "RLK_0001.002", "RLK_0002.001"})
        Write(name, "x");
    Show("*.*");
    EXPECT_EQ(icons.Asked.size(), 4);
    EXPECT_EQ(view.IconFileTypes().size(), 4);
    EXPECT_EQ(view.SmallImages().size(), 4);
    EXPECT_EQ(view.LargeImages()[0].availableSizes().value(0), QSize(32, 32));
    std::map<QString, std::set<std::int32_t>> indexes;
    for (int i = 0; i < view.GetItemsCount(); ++i)
        indexes[GetFileType(Column(0)[i])].insert(TFileListView::ImageIndex(view.topLevelItem(i)));
    for (const auto &[type, set] : indexes)
        EXPECT_EQ(set.size(), 1u) << qPrintable(type);

    // Without icons the lists stay empty and the indexes run past their end.
    icons.Fail = true;
    TFileListView bare;
    // Properties read from a form wait for the end of loading to list anything.
    bare.BeginLoading();
    bare.SetPath(dir.path());
    bare.SetFilter("*.txt;*.sgf");
    EXPECT_EQ(bare.GetItemsCount(), 0);
    bare.EndLoading();
    EXPECT_EQ(bare.GetItemsCount(), 3);
    EXPECT_TRUE(bare.SmallImages().isEmpty());
    EXPECT_EQ(bare.IconFileTypes(), QStringList({".txt", ".sgf"}));
}

TEST_F(FileListView, HeaderClicksSortAscendingDescendingAndAscendingAgain)
{
    // Sizes, dates and descriptions each order the rows differently, and differently from their
    // texts compared as plain strings.
    Write("a9.txt", "Gamma", QDateTime(QDate(2022, 1, 1), QTime(0, 0)));
    Write("a10.txt", "Alpha" + QByteArray(25, ' '), QDateTime(QDate(2021, 3, 4), QTime(10, 0)));
    Write("b1.txt", "Beta" + QByteArray(196, ' '), QDateTime(QDate(2020, 12, 31), QTime(23, 59, 59)));
    Show("*.txt");
    EXPECT_EQ(Column(2), QStringList({"01/01/2022", "04/03/2021 10:00:00", "31/12/2020 23:59:59"}));
    const QStringList byName{"a9.txt", "a10.txt", "b1.txt"};
    const QStringList byDescription{"a10.txt", "b1.txt", "a9.txt"};
    const QStringList byTime{"b1.txt", "a10.txt", "a9.txt"};
    const QStringList &bySize = byName;
    const auto reversed = [](QStringList list) {
        std::reverse(list.begin(), list.end());
        return list;
    };
    // The row the user picked stays picked while the rows move.
    view.setCurrentItem(view.topLevelItem(1));
    QTreeWidgetItem *picked = view.currentItem();
    const std::tuple<int, const QStringList &> columns[] = {
        {3, bySize}, {2, byTime}, {1, byDescription}, {0, byName}};
    for (const auto &[column, ascending] : columns) {
        for (int click = 1; click <= 3; ++click) {
            ClickHeader(column);
            const bool descending = click == 2;
            EXPECT_EQ(view.SortBy(), column + (descending ? 256 : 0)) << column << " click " << click;
            EXPECT_EQ(Column(0), descending ? reversed(ascending) : ascending)
                << column << " click " << click;
            EXPECT_EQ(view.header()->sortIndicatorSection(), column);
            EXPECT_EQ(view.header()->sortIndicatorOrder(),
                      descending ? Qt::DescendingOrder : Qt::AscendingOrder);
        }
    }
    EXPECT_EQ(view.currentItem(), picked);
    EXPECT_EQ(view.selectedItems(), QList<QTreeWidgetItem *>({picked}));
    wn::test::SavePicture(view, "controls", "flview_sorted_by_name");

    // Rows added directly are not sorted in; their "0" texts sort first as dates and sizes.
    view.AddFileDirect("c0.txt", QString(70, 'd'));
    EXPECT_EQ(view.topLevelItem(3)->text(1), QString(70, 'd'));
    EXPECT_EQ(Column(2).last() + Column(3).last(), "00");
    for (int column : {2, 3}) {
        ClickHeader(column);
        EXPECT_EQ(Column(0).first(), "c0.txt") << column;
        ClickHeader(column);
        EXPECT_EQ(Column(0).last(), "c0.txt") << column;
    }
}

TEST_F(FileListView, StrangeEntriesAreListedWithoutBlocking)
{
    Write("ok.txt", "fine");
    Write("late.txt", "goes while listed");
    Write("swap.txt", "becomes a device while listed");
    Write("v1.dat", "x");
    Write("v2.dat", "x");
    ASSERT_EQ(mkfifo(dir.filePath("pipe.txt").toLocal8Bit(), 0600), 0);
    ASSERT_EQ(mkfifo(dir.filePath("pipe.geo").toLocal8Bit(), 0600), 0);
    ASSERT_TRUE(QFile::link("/dev/zero", dir.filePath("zero.txt")));
    ASSERT_TRUE(QFile::link(dir.filePath("nowhere"), dir.filePath("gone.fml")));
    ASSERT_TRUE(QFile::link(dir.filePath("loop.sgf"), dir.filePath("loop.sgf")));
    ASSERT_TRUE(QFile::link(dir.path(), dir.filePath("folder.txt")));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray socketPath = dir.filePath("sock.sgf").toLocal8Bit();
    ASSERT_LT(socketPath.size(), qsizetype(sizeof address.sun_path));
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ::close(fd);
    // A file the description reader cannot open: unreadable for others than root, and for root a
    // write-only kernel setting behind a link.
    const QString locked = Write("locked.txt", "secret");
    QFile::setPermissions(locked, QFileDevice::WriteOwner);
    const bool rootReads = QFile(locked).open(QIODevice::ReadOnly);
    if (rootReads)
        QFile::remove(locked), QFile::link("/proc/sys/vm/compact_memory", locked);

    // Files vanish after the folder was read: v1/v2.dat before they are looked at, late.txt
    // before its description is read; swap.txt turns into an endless
    // device after it was seen as a file.
    view.OnAddFile = [&](QObject *, const QString &name, const QString &, bool &) {
        if (name == "ok.txt")
            QFile::remove(dir.filePath("v1.dat")), QFile::remove(dir.filePath("v2.dat"));
        if (name == "late.txt")
            QFile::remove(dir.filePath("late.txt"));
        if (name == "swap.txt")
            QFile::remove(dir.filePath(name)), QFile::link("/dev/zero", dir.filePath(name));
    };
    {
        const wntest::TWatchdog watchdog(std::chrono::seconds(20), "listing a folder of strange entries");
        view.SetPath(dir.path());
        view.SetFilter("ok.txt;*.*");
    }
    QStringList rows;
    for (int i = 0; i < view.GetItemsCount(); ++i)
        rows.append(Column(0)[i] + "|" + Column(1)[i] + "|" + Column(3)[i]);
    EXPECT_EQ(rows, QStringList({"gone.fml||0", "late.txt||17", rootReads ? "locked.txt||0" : "locked.txt||6",
                                 "loop.sgf||0", "ok.txt|fine|4", "ok.txt|fine|4", "pipe.geo||0",
                                 "pipe.txt||0", "sock.sgf||0", "swap.txt||29", "zero.txt||0"}));
}

TEST_F(FileListView, PictureOfSuiteFiles)
{
    const auto le16 = [](int v) { return QByteArray(1, char(v & 0xFF)) + char(v >> 8); };
    const auto record = [&](int tag, const QByteArray &data) {
        return le16(tag) + le16(int(data.size())) + data;
    };
    Write("RLK_0012.001", QByteArray(86, '\0') +
                              "\x0f"
                              "Day levels, 4 m" +
                              QByteArray(100, '\0'));
    Write("RLK_0012.002", QByteArray(86, '\0') +
                              "\x11"
                              "Night levels, 4 m" +
                              QByteArray(100, '\0'));
    Write("Traffic.sgf", record(26, "abc") + record(66, "Colours for road traffic"));
    Write("Sources.fml",
          record(33, QByteArray("KV.FML\2\0\0\0", 10)) + record(34, "Sources north of the river"));
    Write("Notes.txt", "Survey 2023\r\nMeasured by the town\r\n");
    Write("Map.dgm", le16(4) + char(2) + "abcd" + le16(12) + char(1) + QByteArray("Town centre\0", 12));
    Show("*.001;*.002;*.sgf;*.fml;*.txt;*.dgm");
    EXPECT_EQ(Column(0), QStringList({"Map.dgm", "Notes.txt", "RLK_0012.001", "RLK_0012.002", "Sources.fml",
                                      "Traffic.sgf"}));
    EXPECT_EQ(Column(1),
              QStringList({"Town centre", "Survey 2023; Measured by the town", "Day levels, 4 m",
                           "Night levels, 4 m", "Sources north of the river", "Colours for road traffic"}));
    const QImage picture = wn::test::SavePicture(view, "controls", "flview_suite_files");
    // Each type's colour band shows in the icon column, RLK_0012's once per row.
    const QRect firstColumn(0, 0, view.header()->sectionSize(0) / 4, picture.height());
    EXPECT_EQ(view.SmallImages().size(), 5);
    for (const QIcon &icon : view.SmallImages()) {
        const QRgb band = icon.pixmap(16, 16).toImage().pixel(8, 10);
        EXPECT_GT(CountPixels(picture, firstColumn, band), 8);
    }
}
