// The log book: its file form line by line, saving and loading with the size rule and the
// encodings, bad files, the clipboard and keys, painting, live feeding from worker threads and
// printing to PDF.

#include "logging/KVLogBook.h"

#include "TestSupport.h"
#include "WidgetTestSupport.h"
#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QDeadlineTimer>
#include <QPrinter>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <csignal>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace wn;
using wntest::ReadAll;
using wntest::WriteAll;

namespace {

// Kind, text, help context, object key and error location of a line in one string.
QString Describe(const TLineInfo &line)
{
    const TErrorHandler *e = line.ErrObj.get();
    return QStringLiteral("%1|%2|%3|%4|%5")
        .arg(line.Art)
        .arg(line.Text)
        .arg(line.HelpContext)
        .arg(line.ObjKey)
        .arg(e ? QStringLiteral("%1 %2 %3 %4").arg(e->ObjNr).arg(e->SubKind).arg(e->X).arg(e->Y) : "-");
}

struct LogBookTest : ::testing::Test {
    QTemporaryDir Dir;
    TRecordingUiServices Ui;
    TUiServicesScope UiScope{Ui};
    TFormatSettings SavedSettings = FormatSettings();
    TLog_Event SavedLog = KV_ELOG;
    QStringList Events;
    QWidget Form;
    TKVLogBook *Book = new TKVLogBook(&Form);

    LogBookTest()
    {
        FormatSettings().DecimalSeparator = QLatin1Char('.');
        KV_ELOG = [this](const QString &text, TLogStatus, std::int32_t, std::int32_t, TObject *) {
            Events << text;
        };
        Form.resize(560, 260);
        auto *layout = new QVBoxLayout(&Form);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(Book);
    }
    ~LogBookTest() override
    {
        KV_ELOG = SavedLog;
        FormatSettings() = SavedSettings;
    }
    QString Path(const QString &name) const { return Dir.filePath(name); }
    void Show()
    {
        Form.show();
        Form.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&Form));
        Book->setFocus();
    }
    QString LineAt(int row) const
    {
        TLineInfo line;
        Book->GetLineInfo(row, line.Text, line.Art, line.HelpContext, line.ObjKey);
        return Describe(line);
    }
};

} // namespace

TEST(LineInfo, FileFormOfEveryKindAndFieldReadInAnyOrder)
{
    // Written code and kind read back, by ordinal: only seven kinds survive.
    const char *codes = "PAWUEEPPPPPPHPF";
    const int back[] = {0, 1, 2, 3, 4, 4, 0, 0, 0, 0, 0, 0, 12, 0, 14};
    TLineInfo line;
    for (int art = clog_protok; art <= clog_Error; ++art) {
        line.Art = TLogStatus(art);
        line.Text = QStringLiteral("T");
        EXPECT_EQ(line.InfoToStr(), QStringLiteral("\\%1 T").arg(QLatin1Char(codes[art])));
        line.StrToInfo(line.InfoToStr());
        EXPECT_EQ(line.Art, back[art]) << art;
    }
    const std::vector<std::pair<QString, QString>> reads = {
        {"\\W Grid too coarse$\\H120$\\O7", "2|Grid too coarse|120|7|-"},
        {"xH a$\\O5$\\H6", "12|a|6|5|-"},
        {"\\P at$\\E1\t255\t2,5\t3.25\t$\\H9", "0|at|9|0|1 255 2.5 3.25"},
        {"\\E x$\\E-2\t300\t-1.5\tNAN\t", "4|x|0|0|-2 44 -1.5 nan"},
        {"\\P a$\\X1$\\H9", "0|a|0|0|-"},
        {"\\F one$\\Ntwo$\\", "14|one\r\ntwo|0|0|-"},
        {"\\", "0||0|0|-"},
    };
    for (const auto &[text, expected] : reads) {
        line.HelpContext = 99;
        line.StrToInfo(text);
        EXPECT_EQ(Describe(line), expected);
    }
    for (const char *bad :
         {"\\P a$\\Hx", "\\P a$\\O", "\\P a$\\H1 ", "\\P a$\\E1\t2\t3.0", "\\P a$\\E1\tz\t1\t2\t"})
        EXPECT_THROW(line.StrToInfo(QString::fromLatin1(bad)), EConvertError) << bad;
}

TEST_F(LogBookTest, SavesCrLfLinesAndKeepsTheEncodingItRead)
{
    Book->AddLine(QStringLiteral("Lärm über 55 dB"), clog_warning, 120, 7);
    Book->AddLine(QStringLiteral("two\r\nlines"), clog_protok, 0, 0);
    Book->AddLine(QStringLiteral("Receiver 12"), clog_Error, -4, 3);
    Book->AddLine(QStringLiteral("a\nb"), clog_exProtok, 0, 0);
    Book->Lines()[2].ErrObj = std::make_unique<TErrorHandler>(10.0, -0.5);
    Book->Lines()[2].ErrObj->ObjNr = 4;
    Book->Lines()[2].ErrObj->SubKind = 200;
    Book->Lines()[3].ErrObj = std::make_unique<TErrorHandler>(1, 2);
    Book->Lines()[3].ErrObj->ObjNr = -1;
    Book->SaveToFile(Path("new.log"));
    EXPECT_EQ(ReadAll(Path("new.log")),
              QByteArray("\\W L\xC3\xA4rm \xC3\xBC"
                         "ber 55 dB$\\H120$\\O7\r\n\\P two$\\Nlines\r\n"
                         "\\F Receiver 12$\\O3$\\E4\t200\t10.000\t-0.500\t\r\n\\E a$\\Nb\r\n"));
    Book->SaveLogBookWithoutReplacement(Path("plain.txt"));
    EXPECT_EQ(ReadAll(Path("plain.txt")),
              QByteArray("L\xC3\xA4rm \xC3\xBC"
                         "ber 55 dB\r\ntwo\r\nlines\r\nReceiver 12\r\na\r\nb\r\n"));

    // Windows-1252 with LF line ends comes back as Windows-1252 with CR LF; UTF-8 with a mark keeps it.
    const std::vector<std::tuple<QByteArray, TTextEncoding, QByteArray>> files = {
        {"\\W L\xE4rm\n\\P ok", TTextEncoding::Windows1252,
         "\\W L\xE4rm\r\n\\P ok\r\n\\P Stra\xDF"
         "e\r\n"},
        {"\xEF\xBB\xBF\\H L\xC3\xA4rm\r\n", TTextEncoding::Utf8Bom,
         "\xEF\xBB\xBF\\H L\xC3\xA4rm\r\n\\P Stra\xC3\x9F"
         "e\r\n"},
    };
    for (const auto &[bytes, encoding, saved] : files) {
        Book->LoadFromFile(WriteAll(Path("old.log"), bytes), 100);
        EXPECT_EQ(Book->Encoding(), encoding);
        Book->AddLine(QStringLiteral("Straße"), clog_protok, 0, 0);
        Book->SaveToFile(Path("old.log"));
        EXPECT_EQ(ReadAll(Path("old.log")), saved);
    }
    // A save that fails half-way leaves the old file whole.
    const QByteArray before = ReadAll(Path("old.log"));
    for (int i = 0; i < 2000; ++i)
        Book->AddLine(QStringLiteral("Tile %1 of 2000 computed").arg(i), clog_Step, 0, 0);
    struct rlimit saved {
    }, small{};
    getrlimit(RLIMIT_FSIZE, &saved);
    small = {4096, saved.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(Book->SaveToFile(Path("old.log")), EInOutError);
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(ReadAll(Path("old.log")), before);
}

TEST_F(LogBookTest, OversizedFilesMoveAsideToTheFirstFreeName)
{
    // Eight lines of 128 bytes: exactly 1 kB.
    QByteArray kilobyte;
    for (int i = 0; i < 8; ++i)
        kilobyte += "\\P " + QByteArray(123, char('a' + i)) + "\r\n";
    Book->LoadFromFile(WriteAll(Path("calc.log"), kilobyte), 1);
    EXPECT_EQ(std::make_tuple(Book->Lines().Count(), Book->RowCount(), Book->Row()),
              std::make_tuple(8, 9, 7));

    for (int n = 0; n < 3; ++n)
        WriteAll(Path(QStringLiteral("LogBk%1.log").arg(n)), "taken");
    Book->LoadFromFile(WriteAll(Path("calc.log"), kilobyte + "x"), 1);
    EXPECT_EQ(Book->RowCount(), 1);
    EXPECT_FALSE(QFile::exists(Path("calc.log")));
    EXPECT_EQ(ReadAll(Path("LogBk3.log")), kilobyte + "x");
    EXPECT_EQ(ReadAll(Path("LogBk0.log")), "taken");
    EXPECT_EQ(Events,
              QStringList{QStringLiteral("File size of Logbook file is bigger than 1 kB: File has been "
                                         "saved to \"%1\"")
                              .arg(Path("LogBk3.log"))});

    // With every name up to 999 taken the rename fails: the file stays and nobody is told.
    for (int n = 4; n <= 999; ++n)
        WriteAll(Path(QStringLiteral("LogBk%1.log").arg(n)), "taken");
    Events.clear();
    Book->LoadFromFile(WriteAll(Path("calc.log"), kilobyte + "x"), 1);
    EXPECT_EQ(ReadAll(Path("calc.log")), kilobyte + "x");
    EXPECT_EQ(ReadAll(Path("LogBk999.log")), "taken");
    EXPECT_TRUE(Events.isEmpty());
    EXPECT_EQ(Book->RowCount(), 1);
}

TEST_F(LogBookTest, BadFilesGiveAClearErrorOrGarbageLinesNeverAHang)
{
    Book->LoadFromFile(Path("missing.log"), 100);
    EXPECT_EQ(Book->RowCount(), 1);
    QDir(Dir.path()).mkdir(QStringLiteral("folder"));
    ASSERT_EQ(mkfifo(QFile::encodeName(Path("fifo")).constData(), 0600), 0);
    // 100 MB of NUL bytes without a line end, as a sparse file.
    QFile huge(Path("huge.log"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(100 << 20));
    huge.close();
    for (const char *name : {"folder", "fifo", "huge.log"}) {
        Book->AddLine(QStringLiteral("before"), clog_protok, 0, 0);
        try {
            Book->LoadFromFile(Path(name), 1 << 30);
            ADD_FAILURE() << name;
        } catch (const EInOutError &e) {
            EXPECT_TRUE(e.Message().contains(Path(name))) << e.what();
        }
        EXPECT_EQ(Book->RowCount(), 1) << name;
    }
    // Binary bytes and NULs are read as Windows-1252 text.
    Book->LoadFromFile(WriteAll(Path("binary.log"), QByteArray("\\W a\0b\r\n\xFF\xFE\x01\n", 12)), 1);
    EXPECT_EQ(LineAt(0), QStringLiteral("2|a%1b|0|0|-").arg(QChar(0)));
    EXPECT_EQ(LineAt(1), "0||0|0|-");

    // A malformed number ends loading; the lines before it stay and the book goes on.
    const QByteArray file = "\\P one\r\n\\W two\r\n\\P bad$\\H1x\r\n\\P four\r\n";
    EXPECT_THROW(Book->LoadFromFile(WriteAll(Path("bad.log"), file), 1), EConvertError);
    EXPECT_EQ(Book->RowCount(), 3);
    Book->AddLine(QStringLiteral("three"), clog_Hint, 0, 0);
    EXPECT_EQ(LineAt(2), "12|three|0|0|-");
}

TEST_F(LogBookTest, ClipboardKeysAndRowsWithoutLines)
{
    Book->AddLine(QStringLiteral("Grid too coarse"), clog_warning, 120, 7);
    Book->AddLine(QStringLiteral("ignored"), clog_userbreak, 0, 0);
    Book->AddLine(QStringLiteral("Division by zero"), clog_exProtok, 0, 0);
    Book->CopyToClipBoard(-5, 1000);
    EXPECT_EQ(Ui.Clipboard,
              QStringLiteral("Warning: Grid too coarse\r\nCalculation canceled by user ignored\r\n"
                             "Exception: Division by zero\r\n"));
    for (int row : {3, 4, -1})
        EXPECT_EQ(LineAt(row), "0||0|0|-");

    Show();
    Ui.Calls.clear();
    QTest::keyClick(Book, Qt::Key_Home);
    QTest::keyClick(Book, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(Book, Qt::Key_C, Qt::ControlModifier);
    QTest::keyClick(Book, 'c', Qt::ControlModifier);
    EXPECT_EQ(Ui.CallsOf("SetClipboardText").size(), 2u);
    EXPECT_EQ(Ui.Clipboard, "Warning: Grid too coarse\r\nCalculation canceled by user ignored\r\n");
    QTest::keyClick(Book, Qt::Key_F1);
    QTest::keyClick(Book, Qt::Key_Up);
    QTest::keyClick(Book, Qt::Key_F1);
    ASSERT_EQ(Ui.CallsOf("ShowHelp").size(), 1u);
    EXPECT_EQ(Ui.CallsOf("ShowHelp")[0].HelpContext, 120);
}

TEST_F(LogBookTest, PaintsEveryKindInItsColourWithRowsAsHighAsTheText)
{
    Show();
    for (int art = clog_protok; art <= clog_Error; ++art)
        Book->AddLine(QStringLiteral("Receiver %1: level 55.3 dB(A)").arg(art), TLogStatus(art), art, 0);
    Book->AddLine(QStringLiteral("Tile 3 failed:\r\nno terrain model"), clog_abbruch, 0, 0);
    Book->SetTopRow(0);
    Book->SetSelection({0, 3, 0, 4});
    const QImage image = test::SavePicture(Form, "logging", "logbook_every_kind");
    const int line = QFontMetrics(Book->font()).height();
    EXPECT_EQ(std::make_tuple(Book->RowHeights(0), Book->RowHeights(15), Book->ColWidths(0)),
              std::make_tuple(line, 2 * line, Form.width()));

    const QPoint origin = Book->viewport()->mapTo(&Form, QPoint(0, 0));
    const auto ink = [&](int row, QRgb colour, int skip = 0) {
        const QRect cell = Book->CellRect(0, row).translated(origin);
        return test::CountPixels(image, cell.adjusted(0, skip, 0, 0), colour);
    };
    const QRgb red = qRgb(255, 0, 0), blue = qRgb(0, 0, 255), fuchsia = qRgb(255, 0, 255),
               black = qRgb(0, 0, 0);
    const std::vector<std::pair<int, QRgb>> colours = {{0, black}, {1, red},     {2, red},
                                                       {3, blue},  {4, fuchsia}, {5, fuchsia},
                                                       {6, black}, {12, blue},   {14, red}};
    for (const auto &[row, colour] : colours)
        EXPECT_GT(ink(row, colour), 10) << row;
    EXPECT_EQ(ink(2, black) + ink(0, red), 0);
    // Bold strokes are wider than plain ones; the second line of the two-line row is drawn too.
    EXPECT_GT(ink(1, red), ink(0, black) * 6 / 5);
    EXPECT_GT(ink(15, red, line), 10);
    // Selected rows are grey, the others white.
    const int right = origin.x() + Book->viewport()->width() - 3;
    EXPECT_EQ(image.pixel(right, origin.y() + Book->CellRect(0, 4).center().y()), qRgb(128, 128, 128));
    EXPECT_EQ(image.pixel(right, origin.y() + Book->CellRect(0, 5).center().y()), qRgb(255, 255, 255));

    // New lines scroll the last row into view; after a look back GoDown returns there on the next paint.
    const auto atEnd = [&] {
        return std::make_pair(Book->Row(), Book->TopRow()) ==
               std::make_pair(55, Book->RowCount() - Book->VisibleRowCount());
    };
    for (int i = 0; i < 40; ++i)
        Book->AddLine(QStringLiteral("Step %1").arg(i), clog_Step, 0, 0);
    EXPECT_TRUE(atEnd());
    Book->SetTopRow(0);
    Book->SetRow(0);
    Book->GoDown();
    EXPECT_FALSE(atEnd());
    QApplication::processEvents();
    EXPECT_TRUE(atEnd());
    Book->Clear();
    EXPECT_EQ(std::make_tuple(Book->RowCount(), Book->Row(), Book->Lines().Count()),
              std::make_tuple(1, 0, 0));
}

TEST_F(LogBookTest, FourWorkersFeedTheBookWithOneRepaintPerDrain)
{
    Show();
    struct TPaints : QObject {
        int Count = 0;
        bool eventFilter(QObject *, QEvent *e) override { return (Count += e->type() == QEvent::Paint) < 0; }
    } paints;
    Book->viewport()->installEventFilter(&paints);
    KV_ELOG = [this](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key, TObject *) {
        Book->AddLine(text, art, help, key);
    };
    Log_Event_Obj->InitThreadLogEvent();
    // Each worker raises its events in chunks and waits for the window to drain the queue in
    // between, so that the window sees many batches.
    constexpr int kLines = 2000, kChunk = 50;
    std::vector<std::thread> workers;
    for (int w = 0; w < 4; ++w)
        workers.emplace_back([w] {
            for (int i = 0; i < kLines / 4; ++i) {
                KV_ELOG(QStringLiteral("%1 %2").arg(w).arg(i), i % 2 ? clog_Step : clog_Hint, 0, w, nullptr);
                const QDeadlineTimer drained(10000);
                while (i % kChunk == kChunk - 1 && Log_Event_Obj->QueueCount() > 0 && !drained.hasExpired())
                    std::this_thread::yield();
            }
        });
    int drains = 0;
    const QDeadlineTimer deadline(30000);
    while (Book->Lines().Count() < kLines && !deadline.hasExpired()) {
        const int had = Book->Lines().Count();
        Log_Event_Obj->ProcessLogEvents();
        drains += Book->Lines().Count() > had;
        QApplication::processEvents();
    }
    for (std::thread &t : workers)
        t.join();
    Log_Event_Obj->ReleaseThreadLogEvent();
    ASSERT_EQ(Book->Lines().Count(), kLines);
    EXPECT_GE(drains, kLines / 4 / kChunk);
    EXPECT_LE(paints.Count, drains + 1);
    EXPECT_EQ(Book->Row(), kLines - 1);
    const QRect last = Book->CellRect(0, kLines);
    EXPECT_TRUE(!last.isEmpty() && last.bottom() < Book->viewport()->height());
}

TEST_F(LogBookTest, PrintsNumberedPagesWithTitleAndScreenColoursKeepingMessagesWhole)
{
    QPrinter &printer = Ui.Printer();
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(Path("log.pdf"));
    // Prints 140 lines of the coloured kinds, the one at "at" a message of six lines; the pages' text.
    const auto print = [&](int at) {
        Book->Clear();
        const TLogStatus arts[] = {clog_protok, clog_protok, clog_protok, clog_warning,
                                   clog_protok, clog_Hint,   clog_except};
        for (int i = 0; i < 140; ++i)
            Book->AddLine(i == at ? QStringLiteral("block\r\nb2\r\nb3\r\nb4\r\nb5\r\nb6")
                                  : QStringLiteral("entry %1").arg(i),
                          arts[i % 7], 0, 0);
        Book->Print(QStringLiteral("Noise map Nord"));
        const wntest::TToolRun text = wntest::RunProgram("pdftotext", {Path("log.pdf"), "-"});
        EXPECT_EQ(text.Status, 0) << qPrintable(text.Err);
        return text.Out.split(QLatin1Char('\f'), Qt::SkipEmptyParts);
    };
    const QStringList pages = print(-1);
    ASSERT_GE(pages.size(), 3);
    for (int p = 0; p < pages.size(); ++p)
        EXPECT_TRUE(pages[p].contains("Noise map Nord") &&
                    pages[p].contains(QStringLiteral("Page %1").arg(p + 1)))
            << p;
    EXPECT_TRUE(pages[0].contains("Warning: entry 3\n") && pages.back().contains("entry 139\n"));
    // Six lines starting three lines before the end of page 1 all go to page 2.
    const int perPage = int(pages[0].count("entry "));
    const QStringList moved = print(perPage - 3);
    EXPECT_EQ(moved[0].count("entry "), perPage - 3);
    EXPECT_TRUE(moved[1].contains("block\nb2\nb3\nb4\nb5\nb6\n"));

    ASSERT_EQ(wntest::RunProgram("pdftoppm", {"-r", "100", "-png", Path("log.pdf"), Path("page")}).Status, 0);
    const QStringList images = QDir(Dir.path()).entryList({"page*.png"}, QDir::Files, QDir::Name);
    EXPECT_EQ(images.size(), moved.size());
    // Warnings red, hints blue, exceptions fuchsia: pixels near each colour on page 1.
    const QImage first(Dir.filePath(images.value(0)));
    for (const QColor want : {QColor(255, 0, 0), QColor(0, 0, 255), QColor(255, 0, 255)}) {
        int near = 0;
        for (int y = 0; y < first.height(); ++y)
            for (int x = 0; x < first.width(); ++x) {
                const QColor c = first.pixelColor(x, y);
                near += std::abs(c.red() - want.red()) + std::abs(c.green() - want.green()) +
                            std::abs(c.blue() - want.blue()) <
                        120;
            }
        EXPECT_GT(near, 5) << qPrintable(want.name());
    }
}
