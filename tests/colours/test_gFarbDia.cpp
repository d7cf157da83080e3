// The colour-scale editor: choose mode by mouse and keys, the mixer, range clear and
// interpolation in edit mode, files and printing through recorded UI services, Cancel.

#include "colours/gFarbDia.h"

#include "framework/SpeedButton.h"

#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include <QLabel>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <functional>

using namespace wn;
using namespace wntest;

namespace {

TColor Entry(const TFarbArray &f, int nr)
{
    std::uint8_t r = 0, g = 0, b = 0;
    f.GetRGB(nr, r, g, b);
    return RGB(r, g, b);
}

// An editor on the default palette with recorded UI services. In the grid's viewport cell
// (c, r) starts at (15c, 15r): 14 pixels and a line.
struct EditorTest : ::testing::Test {
    TRecordingUiServices Ui;
    TUiServicesScope Scope{Ui};
    test::TModalUsers Users{Ui};
    QTemporaryDir Dir;
    TFarbArray Palette;
    TFarbenDialog Form;

    EditorTest()
    {
        Palette.InitFarben();
        Palette.SetModified(false);
        Form.SetFarbArray(&Palette);
    }
    QString Path(const char *name) const { return Dir.filePath(QString::fromLatin1(name)); }
    void Show(bool edit)
    {
        Form.SetAendern(edit);
        Form.show();
        Form.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&Form));
    }
    // Shows the form through the modal hook for user to work; the result it closed with.
    int RunModal(const std::function<void()> &user)
    {
        Users.Users.push_back([&](QDialog &) {
            Show(Form.Aendern());
            user();
        });
        return UiServices().ShowModal(Form);
    }
    void ClickCell(int nr, bool twice = false)
    {
        const TGridCoord c = CellOfFarbNr(nr);
        const QPoint at(15 * c.X + 7, 15 * c.Y + 7);
        QWidget &vp = *Form.DGFarben->viewport();
        test::SendMouse(vp, QEvent::MouseButtonPress, at);
        test::SendMouse(vp, QEvent::MouseButtonRelease, at);
        if (twice)
            test::SendMouse(vp, QEvent::MouseButtonDblClick, at);
    }
    static void Keys(std::initializer_list<int> keys, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        for (int k : keys)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key(k), mods);
    }
    static void Press(QWidget *button) { QTest::mouseClick(button, Qt::LeftButton); }
    void ExpectGridPixels(std::initializer_list<std::pair<QPoint, QRgb>> pixels) const
    {
        const QImage grid = Form.DGFarben->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        for (const auto &[at, colour] : pixels)
            EXPECT_EQ(grid.pixel(at), colour) << at.x() << "," << at.y();
    }
    QStringList Messages() const
    {
        QStringList texts;
        for (const auto &c : Ui.CallsOf(QStringLiteral("MessageDlg")))
            texts << c.Text;
        return texts;
    }
};

} // namespace

TEST_F(EditorTest, ChooseModePicksByClickDoubleClickArrowsAndEnter)
{
    // Preset, a cell clicked (negative: double-clicked), keys typed, result and entry picked.
    const std::tuple<int, int, std::vector<QKeyCombination>, int, int> cases[] = {
        {1, 37, {}, mrOk, 37},
        {5, -50, {}, mrOk, 50},
        {1, 0, {Qt::Key_Right, Qt::Key_Right, Qt::Key_Down, Qt::Key_Left, Qt::Key_Return}, mrOk, 18},
        {1, 0, {Qt::Key_Left, Qt::Key_Up, Qt::Key_Enter}, mrOk, 1}, // no wrap
        {240, 0, {Qt::Key_Right, Qt::Key_Down, Qt::Key_Return}, mrOk, 240},
        {3, 0, {Qt::Key_Down, Qt::Key_Escape}, mrCancel, 19},
        {3, 0, {Qt::Key_F4 | Qt::AltModifier}, mrCancel, 3},
    };
    for (const auto &[preset, click, keys, result, picked] : cases) {
        SCOPED_TRACE(picked);
        Form.SetFarbe(preset);
        EXPECT_EQ(RunModal([&] {
                      if (click)
                          ClickCell(std::abs(click), click < 0);
                      for (const QKeyCombination key : keys)
                          QTest::keyClick(QApplication::focusWidget(), key.key(), key.keyboardModifiers());
                  }),
                  result);
        EXPECT_FALSE(Form.isVisible());
        EXPECT_EQ(Form.Farbe(), picked);
    }
    EXPECT_EQ(RunModal([&] { Form.close(); }), mrCancel);
    EXPECT_FALSE(Palette.Modified());
}

TEST_F(EditorTest, EditModeMixesStoresAndReloadsByButtonsAndKeys)
{
    const int narrow = Form.width();
    Form.SetFarbe(10);
    Show(true);
    EXPECT_EQ(Form.width(), narrow + Form.PanelFarbDef->width());
    EXPECT_EQ(Form.MischFarbe(), RGB(255, 0, 0)); // switching on loads the selection

    // Enter on the grid loads the mixer and goes to Red; Enter there stores the mix and returns.
    ClickCell(14); // (0, 200, 0)
    Keys({Qt::Key_Return});
    EXPECT_EQ(QApplication::focusWidget(), Form.SpEdRot);
    QTest::keyClicks(Form.SpEdRot, QStringLiteral("77"));
    Keys({Qt::Key_Tab});
    QTest::keyClicks(Form.SpEdGruen, QStringLiteral("5"));
    Keys({Qt::Key_Up}); // one step is 5
    EXPECT_EQ(Form.MischFarbe(), RGB(77, 10, 0));
    Keys({Qt::Key_Return});
    EXPECT_TRUE(Form.DGFarben->hasFocus());
    EXPECT_EQ(Entry(Palette, 14), RGB(77, 10, 0));

    // A double click acts as "->"; Alt+B finds Blue; "<-" stores into the cell selected now.
    ClickCell(20, true); // (0, 0, 255)
    EXPECT_EQ(Form.MischFarbe(), RGB(0, 0, 255));
    Keys({Qt::Key_B}, Qt::AltModifier);
    EXPECT_EQ(QApplication::focusWidget(), Form.SpEdBlau);
    Form.SpEdBlau->selectAll();
    QTest::keyClicks(Form.SpEdBlau, QStringLiteral("128"));
    ClickCell(21);
    Press(Form.ButtonDefOK);
    EXPECT_EQ(Entry(Palette, 21), RGB(0, 0, 128));
    ClickCell(9);
    Press(Form.ButtonInit);
    EXPECT_EQ(Form.SpEdRot->text(), QStringLiteral("200"));

    // Out-of-range and non-decimal texts leave the mixer alone.
    for (const char *text : {"300", "256", "abc", "", "1e2", "0x10"})
        Form.Farbanteil_aendern(QLatin1Char('g'), QString::fromLatin1(text));
    Form.Farbanteil_aendern(QLatin1Char('x'), QStringLiteral("7"));
    EXPECT_EQ(Form.MischFarbe(), RGB(200, 0, 0));
    Form.Farbanteil_aendern(QLatin1Char('b'), QStringLiteral("255"));
    EXPECT_EQ(Form.MischFarbe(), RGB(200, 0, 255));
    // Typed over Red, 300 loses its last digit: the mixer keeps 30.
    Form.SpEdRot->selectAll();
    QTest::keyClicks(Form.SpEdRot, QStringLiteral("300"));
    EXPECT_EQ(std::make_pair(Form.SpEdRot->text(), Form.MischFarbe()),
              std::make_pair(QStringLiteral("30"), RGB(30, 0, 255)));

    Keys({Qt::Key_Return}, Qt::ControlModifier); // OK from anywhere
    EXPECT_EQ(Form.result(), mrOk);
    Form.SetAendern(false);
    EXPECT_EQ(Form.width(), narrow);
}

TEST_F(EditorTest, RangeClearForwardsBackwardsAndInterpolation)
{
    Show(true);
    // "0" on entry 10, then entry 5 (below the start): nothing cleared, the clear ends.
    Form.SetFarbe(10);
    Press(Form.SB0);
    EXPECT_TRUE(Form.SB0->Down());
    ClickCell(5);
    EXPECT_FALSE(Form.SB0->Down());
    ClickCell(14);
    for (int nr = 5; nr <= 14; ++nr)
        EXPECT_NE(Entry(Palette, nr), RGB(0, 0, 0)) << nr;
    // "0" on entry 10, then entry 14: 10 to 14 are cleared, 9 and 15 stay.
    ClickCell(10);
    Press(Form.SB0);
    ClickCell(14);
    for (int nr = 9; nr <= 15; ++nr)
        EXPECT_EQ(Entry(Palette, nr) == RGB(0, 0, 0), nr >= 10 && nr <= 14) << nr;

    // Interpolation below 81 (0, 120, 0) down to 43 (200, 100, 0): 43 + m = round(m * (C81 -
    // C43) / 38 + C43).
    ClickCell(81);
    Press(Form.SBCalc);
    EXPECT_FALSE(Form.SBCalc->Down());
    EXPECT_EQ(Entry(Palette, 44), RGB(195, 101, 0)); // 194.74, 100.53
    EXPECT_EQ(Entry(Palette, 62), RGB(100, 110, 0));
    EXPECT_EQ(Entry(Palette, 80), RGB(5, 119, 0)); // 5.26, 119.47
    // The cleared run between 9 (200, 0, 0) and 15 (0, 255, 0) in sixths: 127.5 rounds to 128.
    ClickCell(15);
    Press(Form.SBCalc);
    EXPECT_EQ(Entry(Palette, 12), RGB(100, 128, 0));
}

TEST_F(EditorTest, TransparentCellSelectedBevelAndPictures)
{
    Form.SetEnableTransparent(true);
    Form.SetFarbe(0);
    EXPECT_EQ(std::make_tuple(Form.Selected(), Form.Farbe(), Form.RGBFarbe()), std::make_tuple(240, 0, -1));
    Show(false);
    test::SavePicture(Form, "colours", "editor_choose_transparent");
    // Cell 240 at (225, 210): white, a black cross, marked by yellow top and left bevels.
    ExpectGridPixels({{{232, 217}, qRgb(0, 0, 0)},
                      {{232, 213}, qRgb(255, 255, 255)},
                      {{232, 210}, qRgb(255, 255, 0)},
                      {{226, 217}, qRgb(255, 255, 0)},
                      {{238, 217}, qRgb(0, 0, 0)}});
    EXPECT_EQ(Form.SelectedCellRect(), QRect(225, 210, 14, 14));

    // The grid shows raw entries, RGBFarbe the display colour (50 % lighter: 127.5 -> 128).
    Palette.SetColorIntens(50);
    Form.SetRGBFarbe(int(RGB(250, 5, 5)));
    EXPECT_EQ(Form.Selected(), 10);
    EXPECT_EQ(Form.MischFarbe(), RGB(250, 5, 5));
    EXPECT_EQ(Form.RGBFarbe(), int(RGB(255, 128, 128)));
    // Cell 10 at (135, 0): white and black bevels around red; cell 9 framed in button face.
    const QRgb face = ColorToQColor(clBtnFace, Form.palette()).rgb();
    ExpectGridPixels({{{140, 1}, qRgb(255, 255, 255)},
                      {{147, 5}, qRgb(0, 0, 0)},
                      {{141, 6}, qRgb(255, 0, 0)},
                      {{120, 5}, face},
                      {{126, 6}, qRgb(200, 0, 0)},
                      {{232, 210}, face}});
    Form.SetAendern(true);
    test::SavePicture(Form, "colours", "editor_edit_selected");
}

TEST_F(EditorTest, SaveAsSaveOpenAndCancelAfterALoad)
{
    Form.SetIniDateiName(QStringLiteral("start.SGC"));
    Form.SetIniPfadName(Dir.path());
    Show(true);
    EXPECT_FALSE(Form.ButtonSpeichern->isEnabled()); // no file yet

    // Save as "mine" takes the default extension COL: the three records, typed in by hand.
    Palette.SetRGB(1, 1, 2, 3);
    Ui.FileAnswers = {Path("mine")};
    Press(Form.ButtonSpAls);
    const QString mine = Path("mine.COL");
    EXPECT_EQ(ReadAll(mine).left(28),
              Bytes({0x21, 0, 0x0A, 0, 'K',  'V', '.',  'C',  'O', 'L', 0x55, 0xBB, 0x30, 0x01,
                     0x22, 0, 0,    0, 0x46, 0,   0xD0, 0x02, 1,   2,   3,    50,   50,   50}));
    EXPECT_EQ(ReadAll(mine).size(), 742);
    EXPECT_EQ(Form.ButtonSpeichern->toolTip(), QStringLiteral("Save as: ") + mine);
    // Save writes there without asking.
    Palette.SetRGB(2, 9, 9, 9);
    Press(Form.ButtonSpeichern);
    EXPECT_EQ(ReadAll(mine).mid(25, 3), Bytes({9, 9, 9}));

    // Open another scale, then Cancel: the colours come back, the loaded name stays.
    TFarbArray other;
    other.SetRGB(1, 11, 22, 33);
    other.SaveColors(Path("other.SGC"));
    Ui.FileAnswers = {Path("other.SGC")};
    Form.SetFarbArray(&Palette); // as the dialog component hands it over
    EXPECT_EQ(RunModal([&] {
                  Press(Form.ButtonLaden);
                  EXPECT_EQ(Entry(Palette, 1), RGB(11, 22, 33));
                  EXPECT_EQ(Entry(Palette, 2), RGB(0, 0, 0));
                  Press(Form.ButtonCancel);
              }),
              mrCancel);
    EXPECT_EQ(Entry(Palette, 1), RGB(1, 2, 3));
    EXPECT_EQ(Entry(Palette, 2), RGB(9, 9, 9));
    EXPECT_EQ(Palette.Dateiname(), Path("other.SGC"));

    // OK saves to the palette's file only with SaveWithOK.
    for (const bool save : {false, true}) {
        Form.SetSaveWithOK(save);
        Palette.SetRGB(1, 4, save ? 6 : 5, 6);
        EXPECT_EQ(RunModal([] { Keys({Qt::Key_Return}, Qt::ControlModifier); }), mrOk);
        EXPECT_EQ(ReadAll(Path("other.SGC")).mid(22, 3), save ? Bytes({4, 6, 6}) : Bytes({11, 22, 33}));
    }

    // Both file dialogs start at the ini name and folder, with the default extension COL.
    const auto save = Ui.CallsOf(QStringLiteral("SaveFileDialog")),
               open = Ui.CallsOf(QStringLiteral("OpenFileDialog"));
    ASSERT_EQ(save.size() + open.size(), 2u);
    EXPECT_EQ(save[0].Dialog.Filter, QStringLiteral("Kalvero Farben (*.SGC)|*.SGC"));
    EXPECT_EQ(open[0].Dialog.Filter,
              QString::fromUtf8("Farbdatei (*.SGC)|*.SGC|Farben \xc3\xa4lter Version 5.0|PlotFarb.dat"));
    for (const TFileDialogOptions &o : {save[0].Dialog, open[0].Dialog})
        EXPECT_EQ(std::make_tuple(o.DefaultExt, o.FileName, o.InitialDir),
                  std::make_tuple(QStringLiteral("COL"), QStringLiteral("start.SGC"), Dir.path()));
    EXPECT_TRUE(Messages().isEmpty());
    // Help and F1 show topic 100001.
    Show(true);
    Press(Form.ButtonHelp);
    Keys({Qt::Key_F1});
    const auto help = Ui.CallsOf(QStringLiteral("ShowHelp"));
    ASSERT_EQ(help.size(), 2u);
    EXPECT_EQ(std::make_pair(help[0].HelpContext, help[1].HelpContext), std::make_pair(100001, 100001));
}

TEST_F(EditorTest, BadPaletteFilesAreReportedAndLeaveTheEditorUsable)
{
    ASSERT_TRUE(QDir(Dir.path()).mkdir(QStringLiteral("folder.SGC")));
    WriteAll(Path("damaged.SGC"), QByteArray("this is no colour scale at all"));
    // A palette record that promises 720 bytes but holds 6.
    WriteAll(Path("short.SGC"),
             Bytes({0x21, 0, 0x0A, 0, 'K',  'V', '.',  'S',  'G', 'C', 0x55, 0xBB, 0x30, 0x01,
                    0x22, 0, 0,    0, 0x46, 0,   0xD0, 0x02, 7,   7,   7,    8,    8,    8}));
    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 7, 8, 9}));
    // The palette's rules: a missing file or a folder gives the default palette (entry 2), a
    // damaged file keeps what was read; an old "PlotFarb.dat" imports and clears the name.
    const std::tuple<const char *, const char *, TColor, TColor> cases[] = {
        {"missing.SGC", "The color file %1 does not exist.", RGB(0, 0, 0), RGB(50, 50, 50)},
        {"folder.SGC", "%1 is a folder, not a color file.", RGB(0, 0, 0), RGB(50, 50, 50)},
        {"damaged.SGC", "%1 is not a readable color file.", RGB(1, 1, 1), RGB(1, 1, 1)},
        {"short.SGC", "%1 is not a readable color file.", RGB(7, 7, 7), RGB(8, 8, 8)},
        {"PlotFarb.dat", nullptr, RGB(7, 8, 9), RGB(1, 1, 1)},
    };
    Show(true);
    for (const auto &[file, message, entry1, entry2] : cases) {
        SCOPED_TRACE(file);
        Palette.SetRGB(1, 1, 1, 1);
        Palette.SetRGB(2, 1, 1, 1);
        Ui.Calls.clear();
        Ui.FileAnswers = {Path(file)};
        Press(Form.ButtonLaden);
        EXPECT_EQ(Messages(),
                  message ? QStringList{QString::fromLatin1(message).arg(Path(file))} : QStringList{});
        EXPECT_EQ(std::make_pair(Entry(Palette, 1), Entry(Palette, 2)), std::make_pair(entry1, entry2));
        EXPECT_EQ(Form.ButtonSpeichern->isEnabled(), message != nullptr);
        // Still usable: a click selects, "->" loads the mixer.
        ClickCell(2);
        Press(Form.ButtonInit);
        EXPECT_EQ(Form.MischFarbe(), entry2);
    }
}

TEST_F(EditorTest, PrintsOnePortraitPageOfTheColoursInGridOrder)
{
    const QString pdftoppm = QStandardPaths::findExecutable(QStringLiteral("pdftoppm"));
    if (pdftoppm.isEmpty())
        GTEST_SKIP() << "pdftoppm (poppler-utils) is not installed";
    QPrinter &printer = Ui.Printer();
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setPageOrientation(QPageLayout::Landscape); // the print turns it upright
    Show(true);
    printer.setOutputFileName(Path("none.pdf"));
    Ui.PrintAnswers = {false};
    Press(Form.ButtonPlott);
    EXPECT_FALSE(QFile::exists(Path("none.pdf")));
    printer.setOutputFileName(Path("chart.pdf"));
    Press(Form.ButtonPlott);
    const TToolRun run = RunProgram(pdftoppm, {"-r", "40", "-png", Path("chart.pdf"), Path("page")});
    ASSERT_EQ(run.Status, 0) << qPrintable(run.Err);
    const QStringList pages = QDir(Dir.path()).entryList({QStringLiteral("page*.png")});
    ASSERT_EQ(pages.size(), 1);
    const QImage page(Dir.filePath(pages[0]));
    EXPECT_GT(page.height(), page.width());
    // Where the pure red (entry 10: row 0, column 9), the pure blue (20: row 1, column 3) and
    // the dark green (13 and 81: row 0, column 12 and row 5, column 0) are, on average.
    const auto centre = [&](QRgb colour) {
        QPoint sum;
        int n = 0;
        for (int y = 0; y < page.height(); ++y)
            for (int x = 0; x < page.width(); ++x)
                if (page.pixel(x, y) == colour)
                    sum += QPoint(x, y), ++n;
        return n > 20 ? sum / n : QPoint(-1000, -1000);
    };
    const QPoint red = centre(qRgb(255, 0, 0)), blue = centre(qRgb(0, 0, 255)),
                 green = centre(qRgb(0, 120, 0));
    const int cell = (red.x() - blue.x()) / 6;
    EXPECT_GT(cell, 10);
    EXPECT_NEAR(blue.y() - red.y(), cell, 2);
    EXPECT_NEAR(green.x(), blue.x() + 3 * cell, 3);
    EXPECT_NEAR(green.y(), red.y() + 5 * cell / 2, 3);
    EXPECT_TRUE(Messages().isEmpty());
}
