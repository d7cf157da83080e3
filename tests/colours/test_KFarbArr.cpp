// The colour dialog component and the colour field: Execute, the field's picks by mouse and
// keys through the editor, cancelling, and how the field paints its states.

#include "colours/KFarbArr.h"
#include "colours/gFarbDia.h"

#include "WidgetTestSupport.h"

#include <QPainter>
#include <QPushButton>

#include <functional>

using namespace wn;

namespace {

TColor Entry(const TFarbArray &f, int nr)
{
    std::uint8_t r = 0, g = 0, b = 0;
    f.GetRGB(nr, r, g, b);
    return RGB(r, g, b);
}

void ClickCell(TFarbenDialog &form, int nr)
{
    const TGridCoord c = CellOfFarbNr(nr);
    test::SendMouse(*form.DGFarben->viewport(), QEvent::MouseButtonPress, {15 * c.X + 7, 15 * c.Y + 7});
    test::SendMouse(*form.DGFarben->viewport(), QEvent::MouseButtonRelease, {15 * c.X + 7, 15 * c.Y + 7});
}

// A 50 x 25 colour field on an active host form, on the default palette, with recorded UI
// services whose editor users come from Next.
struct FieldTest : ::testing::Test {
    TRecordingUiServices Ui;
    TUiServicesScope Scope{Ui};
    test::TModalUsers Users{Ui};
    TFarbArray Palette;
    test::THostedControl<TFarbFeld> Host;
    TFarbFeld &Feld = *Host.Control;
    int Clicks = 0;
    QPoint EditorAt;

    FieldTest()
    {
        Palette.InitFarben();
        Feld.SetFarbArray(&Palette);
        Feld.OnClick = [this](QObject *) { ++Clicks; };
    }
    void Next(const std::function<void(TFarbenDialog &)> &user)
    {
        Users.Users.push_back([this, user](QDialog &d) {
            auto &form = static_cast<TFarbenDialog &>(d);
            EditorAt = form.pos();
            EXPECT_FALSE(form.Aendern());
            form.activateWindow();
            EXPECT_TRUE(QTest::qWaitForWindowActive(&form));
            user(form);
        });
    }
    static void Key(TFarbenDialog &form, Qt::Key key) { QTest::keyClick(form.DGFarben, key); }
};

} // namespace

TEST(FarbDialog, ExecuteShowsTheEditorInEditModeAndTellsOk)
{
    TRecordingUiServices ui;
    TUiServicesScope scope(ui);
    test::TModalUsers users(ui);
    TFarbDialog dialog;
    EXPECT_FALSE(dialog.Execute()); // no palette: nothing shown
    EXPECT_TRUE(ui.Calls.empty());

    TFarbArray palette;
    palette.InitFarben();
    QImage target(4, 4, QImage::Format_RGB32);
    QPainter hostCanvas(&target);
    palette.SetCanvas(&hostCanvas);
    dialog.SetFarbArray(&palette);
    dialog.SetEnableLoadSave(false);
    dialog.SetSaveWithOK(false);
    dialog.SetCaption(QStringLiteral("Level colours"));
    users.Users.push_back([](QDialog &d) {
        auto &form = static_cast<TFarbenDialog &>(d);
        EXPECT_TRUE(form.Aendern());
        EXPECT_TRUE(form.ButtonLaden->isHidden() && form.ButtonSpAls->isHidden() &&
                    form.ButtonSpeichern->isHidden());
        EXPECT_FALSE(form.ButtonPlott->isHidden());
        form.SetFarbe(5);
        form.InitFarbDef();
        form.Farbanteil_aendern(QLatin1Char('g'), QStringLiteral("1"));
        QTest::mouseClick(form.ButtonDefOK, Qt::LeftButton);
        QTest::mouseClick(form.ButtonOK, Qt::LeftButton);
    });
    users.Users.push_back([](QDialog &d) {
        auto &form = static_cast<TFarbenDialog &>(d);
        EXPECT_FALSE(form.ButtonLaden->isHidden());
        form.SetFarbe(6);
        QTest::mouseClick(form.ButtonDefOK, Qt::LeftButton); // the mixer holds entry 1: (0, 0, 0)
        QTest::keyClick(form.DGFarben, Qt::Key_Escape);
    });
    EXPECT_TRUE(dialog.Execute());
    EXPECT_EQ(Entry(palette, 5), RGB(180, 1, 180));
    EXPECT_TRUE(ui.CallsOf(QStringLiteral("SaveFileDialog")).empty()); // SaveWithOK off
    dialog.SetEnableLoadSave(true);
    EXPECT_FALSE(dialog.Execute()); // Escape: cancelled, entry 6 is back
    EXPECT_EQ(Entry(palette, 6), RGB(220, 220, 220));
    EXPECT_EQ(ui.CallsOf(QStringLiteral("ShowModal"))[0].Text, QStringLiteral("Level colours"));
    EXPECT_EQ(palette.Canvas(), &hostCanvas);
}

TEST_F(FieldTest, MouseAndKeysPickThroughTheEditorBesideTheField)
{
    EXPECT_EQ(std::make_tuple(Feld.size(), Feld.Farbe(), Feld.TabStop()),
              std::make_tuple(QSize(50, 25), 1, true));
    // A click opens the editor on the value, just right of the field and 26 pixels above it.
    Next([](TFarbenDialog &f) {
        EXPECT_EQ(f.Farbe(), 1);
        ClickCell(f, 37);
    });
    QTest::mouseClick(&Feld, Qt::LeftButton);
    EXPECT_EQ(EditorAt, Feld.mapToGlobal(QPoint(48, -26)));
    EXPECT_EQ(std::make_tuple(Feld.Farbe(), Feld.Modified(), Clicks), std::make_tuple(37, true, 1));

    // Enter and Space open it too; Escape, Cancel and taking the same entry change nothing.
    Feld.SetModified(false);
    const std::pair<Qt::Key, std::function<void(TFarbenDialog &)>> unchanged[] = {
        {Qt::Key_Return, [](TFarbenDialog &f) { Key(f, Qt::Key_Escape); }},
        {Qt::Key_Space,
         [](TFarbenDialog &f) {
             Key(f, Qt::Key_Right); // moves without closing
             QTest::mouseClick(f.ButtonCancel, Qt::LeftButton);
         }},
        {Qt::Key_Enter, [](TFarbenDialog &f) { Key(f, Qt::Key_Return); }},
    };
    for (const auto &[key, user] : unchanged) {
        Next(user);
        QTest::keyClick(&Feld, key);
        EXPECT_EQ(std::make_pair(Feld.Farbe(), Feld.Modified()), std::make_pair(37, false));
    }
    Next([](TFarbenDialog &f) {
        Key(f, Qt::Key_Down);
        Key(f, Qt::Key_Return);
    });
    QTest::keyClick(&Feld, Qt::Key_Space);
    EXPECT_EQ(std::make_tuple(Feld.Farbe(), Feld.Modified(), Clicks), std::make_tuple(53, true, 1));

    // Disabled, or without a palette, the field opens nothing.
    Feld.SetErlaubt(false);
    QTest::mouseClick(&Feld, Qt::LeftButton);
    Feld.SetErlaubt(true);
    Feld.SetFarbArray(nullptr);
    QTest::mouseClick(&Feld, Qt::LeftButton);
    EXPECT_EQ(Ui.CallsOf(QStringLiteral("ShowModal")).size(), 5u);
    EXPECT_EQ(Clicks, 2);

    // RGB mode preselects the nearest entry and takes the picked entry's display colour.
    Feld.SetFarbArray(&Palette);
    Feld.SetRGBFarbe(int(RGB(0, 250, 10)));
    Next([](TFarbenDialog &f) {
        EXPECT_EQ(f.Selected(), 15); // (0, 255, 0)
        ClickCell(f, 20);
    });
    QTest::keyClick(&Feld, Qt::Key_Return);
    EXPECT_EQ(Feld.Farbe(), int(RGB(0, 0, 255)));

    // With MitTransparent a value of 0 opens on cell 240 and comes back as 0.
    TFarbFeld plain(Host.Form.get());
    plain.SetFarbArray(&Palette);
    plain.SetMitTransparent(true);
    plain.SetFarbe(0);
    const std::pair<int, int> picks[] = {{0, 0}, {240, 0}, {7, 7}};
    for (const auto &[cell, value] : picks) {
        Next([cell](TFarbenDialog &f) {
            EXPECT_EQ(std::make_pair(f.EnableTransparent(), f.Selected()), std::make_pair(true, 240));
            if (cell == 0)
                Key(f, Qt::Key_Return);
            else
                ClickCell(f, cell);
        });
        QTest::keyClick(&plain, Qt::Key_Space);
        EXPECT_EQ(std::make_pair(plain.Farbe(), plain.Modified()), std::make_pair(value, value != 0));
    }
}

TEST_F(FieldTest, PaintsPaletteRgbTransparentAndFocusedStates)
{
    // Inside the sunken edge, (25, 6) shows the fill. The field shows display colours.
    const QPoint inside(25, 6);
    const auto picture = [](TFarbFeld &f, const char *name) {
        return test::SavePicture(f, "colours", QString::fromLatin1(name));
    };
    Palette.SetRGB(200, 10, 200, 30);
    Palette.SetColorIntens(-50); // (120, 0, 0) becomes (60, 0, 0)
    Feld.SetFarbe(8);
    EXPECT_EQ(picture(Feld, "field_palette").pixel(inside), qRgb(60, 0, 0));
    TFarbFeld rgb(Host.Form.get());
    rgb.move(100, 10);
    rgb.SetFarbArray(&Palette);
    rgb.show();
    // A dark red whose packed value is 200 shows palette entry 200; an orange shows itself.
    rgb.SetRGBFarbe(int(RGB(200, 0, 0)));
    EXPECT_EQ(picture(rgb, "field_rgb_dark_red").pixel(inside), qRgb(5, 100, 15));
    rgb.SetRGBFarbe(int(RGB(255, 128, 0)));
    EXPECT_EQ(picture(rgb, "field_rgb").pixel(inside), qRgb(255, 128, 0));
    Palette.SetColorIntens(0);

    // Transparent: white with a black cross from the client's corner (2, 2).
    rgb.SetMitTransparent(true);
    rgb.SetRGBFarbe(-1);
    const QImage t = picture(rgb, "field_transparent");
    EXPECT_EQ(std::make_tuple(t.pixel(26, 12), t.pixel(26, 4), t.pixel(3, 3)),
              std::make_tuple(qRgb(0, 0, 0), qRgb(255, 255, 255), qRgb(0, 0, 0)));

    // The focus frame: yellow dots on "no colour" and dark entries, black on light ones.
    const std::tuple<int, QRgb, QRgb, const char *> cases[] = {
        {7, qRgb(255, 255, 255), qRgb(0, 0, 0), "field_focused_white"},
        {12, qRgb(255, 200, 200), qRgb(0, 0, 0), "field_focused_light"},
        {18, qRgb(0, 0, 120), qRgb(255, 255, 0), "field_focused_dark_blue"}, // sum below 255
        {1, qRgb(0, 0, 0), qRgb(255, 255, 0), "field_focused_black"},
    };
    const QRect frame(5, 5, 41, 16);
    for (const auto &[value, fill, dots, name] : cases) {
        SCOPED_TRACE(value);
        Feld.SetFarbe(value);
        Feld.setFocus();
        ASSERT_TRUE(Feld.HasFocus());
        const QImage img = picture(Feld, name);
        EXPECT_GE(test::CountPixels(img, frame, dots), 15);
        EXPECT_EQ(img.pixel(inside), fill);
    }
    rgb.setFocus();
    EXPECT_GE(test::CountPixels(picture(rgb, "field_transparent_focused"), frame, qRgb(255, 255, 0)), 15);
}
