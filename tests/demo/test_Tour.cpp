// The workbench's scripted tour, run as `./wn demo` runs it, with its results checked against
// the wnpack program and the pixels of the map.
#include "MapView.h"
#include "Tour.h"
#include "Workbench.h"

#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include "colours/FarbArr.h"
#include "colours/KFarbArr.h"
#include "colours/gFarbDia.h"
#include "controls/FLView.h"
#include "framework/Graphics.h"
#include "framework/UiServices.h"
#include "logging/KVLogBook.h"

#include <QDeadlineTimer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QTreeWidgetItem>
#include <gtest/gtest.h>

using namespace wndemo;
using namespace wntest;

namespace {

TEST(Tour, CalculatesQueriesRecoloursStopsAndSavesTheLogBook)
{
    if (!WnpackBuilt())
        GTEST_SKIP() << "wnpack is not built";
    wn::TRecordingUiServices ui;
    wn::TUiServicesScope scope(ui);
    QTemporaryDir dir;
    const QString work = dir.filePath(QStringLiteral("work"));
    QString printed;
    QTextStream out(&printed);
    TWorkbench w(work, dir.filePath(QStringLiteral("demo.ini")));
    w.resize(1280, 800);
    w.show();
    const TTourResult r = RunTour(w, dir.filePath(QStringLiteral("shots")), out, 60000);
    ASSERT_TRUE(r.Ok) << r.Failure.toStdString();
    EXPECT_TRUE(ui.CallsOf(QStringLiteral("MessageDlg")).empty());
    EXPECT_EQ(r.Screenshots.size(), 9);
    for (const QString &s : r.Screenshots)
        EXPECT_GT(QFileInfo(dir.filePath(QStringLiteral("shots/") + s)).size(), 1500) << s.toStdString();

    // The grid file: the first run's (the stopped second run left it alone), 1000 x 800 m at 5 m.
    const QString grid = QDir(work).filePath(QLatin1String(cResultName));
    const TToolRun info = RunWnpack({QStringLiteral("grid"), QStringLiteral("info"), grid});
    ASSERT_EQ(info.Status, 0) << info.Err.toStdString();
    for (const char *expected :
         {"Road and factory, barrier 4 m", "201 columns x 161 rows", "dx 5  dy 5", "1  Lday [dB(A)]",
          "2  Lnight [dB(A)]", "1  Road [dB(A)]", "2  Factory [dB(A)]", "2  night [22-6 h]"})
        EXPECT_TRUE(info.Out.contains(QLatin1String(expected))) << expected << "\n" << info.Out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(grid + QStringLiteral(".part")));

    // Each click's value grid holds the lines of `wnpack grid query` at that point, and the
    // lines went to the output too.
    ASSERT_EQ(r.Points.size(), 3u);
    for (const TTourPoint &p : r.Points) {
        const TToolRun q = RunWnpack({QStringLiteral("grid"), QStringLiteral("query"), grid,
                                      QString::number(p.At.x(), 'f', 3), QString::number(p.At.y(), 'f', 3)});
        ASSERT_EQ(q.Status, 0) << q.Err.toStdString();
        QStringList expected = q.Out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        expected.removeFirst(); // the node's coordinates
        EXPECT_EQ(p.Lines, expected);
        EXPECT_TRUE(printed.contains(QStringLiteral("  ") + expected.first()));
    }

    // The log book: progress of the first run, the warning and the user's break of the second.
    const wn::TLines &log = w.LogBook()->Lines();
    const auto count = [&](wn::TLogStatus art, const char *start) {
        int n = 0;
        for (std::int32_t i = 0; i < log.Count(); ++i)
            n += log[i].Art == art && log[i].Text.startsWith(QLatin1String(start));
        return n;
    };
    EXPECT_GE(count(wn::clog_Progress, "Rows "), 11);
    EXPECT_EQ(count(wn::clog_Progress, "Rows 161 to 161 of 161 written"), 1);
    EXPECT_EQ(count(wn::clog_warning, "No barrier"), 1);
    EXPECT_EQ(count(wn::clog_userbreak, "Calculation stopped by the user"), 1);
    // Saved in the suite's log-book form, read back whole, printed to a PDF.
    const QByteArray saved = ReadAll(r.LogBook);
    EXPECT_TRUE(saved.contains("\r\n\\U Calculation stopped by the user after ")) << saved.toStdString();
    EXPECT_TRUE(saved.contains("\r\n\\W No barrier"));
    EXPECT_EQ(saved.count("\r\n"), log.Count());
    const std::int32_t lines = log.Count();
    w.LogBook()->Clear();
    w.LoadLogBook(r.LogBook);
    EXPECT_EQ(log.Count(), lines);
    const QString pdf = dir.filePath(QStringLiteral("log.pdf"));
    w.PrintLogBook(pdf);
    EXPECT_TRUE(ReadAll(pdf).startsWith("%PDF"));
    EXPECT_TRUE(ui.CallsOf(QStringLiteral("MessageDlg")).empty());

    // The recoloured band shows in the map in the palette entry's colour, its old colour nowhere.
    TMapView &map = *w.Map();
    const QImage picture = map.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QRgb now = wn::ColorToQColor(w.Palette().GetRGBFarbe(r.RecolouredTo)).rgb();
    const QRgb before =
        wn::ColorToQColor(w.Palette().GetRGBFarbe(DefaultBands()[r.RecolouredBand].FarbNr)).rgb();
    const QRect area = map.MapRect();
    EXPECT_GT(wn::test::CountPixels(picture, area, now), 500);
    EXPECT_EQ(wn::test::CountPixels(picture, area, before), 0);
}

// Settings: the scenario and the palette file come back in the next session; a bad scenario is
// refused before any thread starts.
TEST(Tour, SettingsSurviveTheSessionAndBadScenariosAreRefused)
{
    wn::TRecordingUiServices ui;
    wn::TUiServicesScope scope(ui);
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("demo.ini"));
    const QString scale = dir.filePath(QStringLiteral("scale.sgc"));
    TScenario s;
    s.Spacing = 2.5;
    s.Width = 300;
    s.Height = 250;
    s.BarrierHeight = cNoBarrier;
    {
        TWorkbench w(dir.path(), ini);
        w.SetScenario(s);
        w.SetBandColour(0, 7);
        w.Palette().SetRGB(7, 1, 2, 3);
        w.SaveColourScale(scale);
    }
    TWorkbench w(dir.path(), ini);
    const TScenario back = w.Scenario();
    EXPECT_EQ(back.Spacing, 2.5);
    EXPECT_EQ(back.Width, 300);
    EXPECT_EQ(back.Height, 250);
    EXPECT_EQ(back.BarrierHeight, cNoBarrier);
    std::uint8_t r = 0, g = 0, b = 0;
    w.Palette().GetRGB(7, r, g, b);
    EXPECT_EQ(QList<int>({r, g, b}), QList<int>({1, 2, 3}));

    // The working folder's list offers the colour scale; a double-click on it loads it again.
    w.show();
    w.Palette().SetRGB(7, 9, 9, 9);
    QTreeWidgetItem *item = nullptr;
    ASSERT_TRUE(w.Files()->GetFileItem(QStringLiteral("scale.sgc"), item));
    EXPECT_EQ(item->text(1), QStringLiteral("Colour scale"));
    QWidget *rows = w.Files()->viewport();
    const QPoint at = w.Files()->visualItemRect(item).center();
    QTest::mouseClick(rows, Qt::LeftButton, {}, at);
    QTest::mouseDClick(rows, Qt::LeftButton, {}, at);
    w.Palette().GetRGB(7, r, g, b);
    EXPECT_EQ(QList<int>({r, g, b}), QList<int>({1, 2, 3}));

    const struct {
        double Spacing, Width, Height;
    } bad[] = {{0, 100, 100}, {5, -1, 100}, {0.25, 2000, 2000}};
    for (const auto &c : bad) {
        TScenario t;
        t.Spacing = c.Spacing;
        t.Width = c.Width;
        t.Height = c.Height;
        EXPECT_THROW(CheckScenario(t), std::exception) << c.Spacing << " " << c.Width;
    }
}

// The palette editor behind the legend: OK recolours the map and the band's colour field, Cancel
// gives the palette back its colours.
TEST(Tour, PaletteEditorRecoloursTheMapOnOkOnly)
{
    wn::TRecordingUiServices ui;
    wn::TUiServicesScope scope(ui);
    QTemporaryDir dir;
    TWorkbench w(dir.path(), dir.filePath(QStringLiteral("demo.ini")));
    w.resize(1000, 700);
    w.show();
    TScenario s;
    s.Width = 300;
    s.Height = 250;
    w.SetScenario(s);
    w.StartCalculation();
    const QDeadlineTimer deadline(30000);
    while (w.Calculating() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    ASSERT_EQ(w.LastResult(), 0);

    const QImage &raster = w.Map()->Raster();
    const int band = raster.pixelIndex(raster.width() / 2, raster.height() / 2);
    const int entry = DefaultBands()[band].FarbNr;
    const QRgb mixed = qRgb(1, 2, 250);
    for (const bool ok : {false, true}) {
        ui.ModalAnswer = [&](QDialog &d) {
            auto &form = dynamic_cast<wn::TFarbenDialog &>(d);
            EXPECT_TRUE(form.Aendern());
            form.SetFarbe(entry);
            form.InitFarbDef();
            form.Farbanteil_aendern(QLatin1Char('r'), QStringLiteral("1"));
            form.Farbanteil_aendern(QLatin1Char('g'), QStringLiteral("2"));
            form.Farbanteil_aendern(QLatin1Char('b'), QStringLiteral("250"));
            QTest::mouseClick(form.ButtonDefOK, Qt::LeftButton);
            QTest::mouseClick(ok ? form.ButtonOK : form.ButtonCancel, Qt::LeftButton);
            return form.result();
        };
        EXPECT_EQ(w.EditPalette(), ok);
        const QImage map = w.Map()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        EXPECT_EQ(wn::test::CountPixels(map, w.Map()->MapRect(), mixed) > 100, ok) << ok;
        const QImage field =
            wn::test::SavePicture(*w.Legend()->Field(band), "demo",
                                  ok ? QStringLiteral("field_ok") : QStringLiteral("field_cancel"))
                .convertToFormat(QImage::Format_RGB32);
        EXPECT_EQ(field.pixel(field.rect().center()) == mixed, ok) << ok;
    }
}

} // namespace
