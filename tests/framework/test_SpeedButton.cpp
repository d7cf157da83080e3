// The speed button the navigator buttons are built on.

#include "framework/Graphics.h"
#include "framework/SpeedButton.h"

#include "WidgetTestSupport.h"

using namespace wn;

// Two 4 x 3 pictures side by side on the olive key colour: up shows a black pixel at (1, 1),
// disabled a gray one at (2, 1). The 12 x 9 button shows the picture at (4, 3).
TEST(SpeedButton, GlyphByStateSunkenDownFaceAndFlatBorder)
{
    TSpeedButton button;
    QImage glyph(8, 3, QImage::Format_RGB32);
    glyph.fill(qRgb(128, 128, 0));
    glyph.setPixel(1, 1, qRgb(0, 0, 0));
    glyph.setPixel(4 + 2, 1, qRgb(128, 128, 128));
    button.resize(12, 9);
    button.SetGlyph(glyph);
    button.SetNumGlyphs(2);
    const QRgb highlight = ColorToQColor(clBtnHighlight, button.palette()).rgb();

    const QImage up = wn::test::SavePicture(button, "framework", "speedbutton_up");
    EXPECT_EQ(up.pixel(5, 4), qRgb(0, 0, 0));
    EXPECT_EQ(up.pixel(0, 0), highlight);
    button.setDown(true);
    const QImage down = wn::test::SavePicture(button, "framework", "speedbutton_down");
    EXPECT_EQ(down.pixel(6, 5), qRgb(0, 0, 0));
    EXPECT_EQ(down.pixel(11, 8), highlight);

    // Disabled, only the glyph changes: to the second picture, or engraved from the only one.
    button.setDown(false);
    button.SetEnabled(false);
    const QImage disabled = wn::test::SavePicture(button, "framework", "speedbutton_disabled");
    for (const QPoint p : {QPoint(0, 0), QPoint(11, 8), QPoint(10, 7), QPoint(2, 6), QPoint(4, 3)})
        EXPECT_EQ(disabled.pixel(p), up.pixel(p)) << p.x() << "," << p.y();
    EXPECT_EQ(disabled.pixel(6, 4), qRgb(128, 128, 128));
    button.SetNumGlyphs(1);
    EXPECT_EQ(button.StateGlyph(TSpeedButton::bsDisabled).pixel(1, 1), ColorToQColor(clBtnShadow).rgba());

    // A flat button shows no border until it is pressed.
    button.SetFlat(true);
    const QImage flat = wn::test::SavePicture(button, "framework", "speedbutton_flat");
    EXPECT_EQ(flat.pixel(0, 0), ColorToQColor(clBtnFace, button.palette()).rgb());
}

// Grouped buttons of one parent: a click holds one down and releases the other; with AllowAllUp a
// second click releases it. A plain button never stays down. The caption is painted centred.
TEST(SpeedButton, GroupedTogglesAndCaption)
{
    QWidget parent;
    TSpeedButton a(&parent), b(&parent), plain(&parent);
    a.SetGroupIndex(1);
    b.SetGroupIndex(1);
    int clicks = 0;
    b.OnClick = [&](TSpeedButton *) { ++clicks; };
    const auto downs = [&] { return std::make_tuple(a.Down(), b.Down(), plain.Down()); };
    QTest::mouseClick(&a, Qt::LeftButton);
    EXPECT_EQ(downs(), std::make_tuple(true, false, false));
    QTest::mouseClick(&b, Qt::LeftButton);
    EXPECT_EQ(downs(), std::make_tuple(false, true, false));
    QTest::mouseClick(&b, Qt::LeftButton); // stays: one of the group is always down
    EXPECT_EQ(downs(), std::make_tuple(false, true, false));
    b.SetAllowAllUp(true);
    QTest::mouseClick(&b, Qt::LeftButton);
    EXPECT_EQ(downs(), std::make_tuple(false, false, false));
    EXPECT_EQ(clicks, 3);
    plain.SetDown(true);
    QTest::mouseClick(&plain, Qt::LeftButton);
    EXPECT_EQ(downs(), std::make_tuple(false, false, false));
    a.SetDown(true);
    EXPECT_EQ(a.State(), TSpeedButton::bsDown);
    a.SetGroupIndex(0);
    EXPECT_FALSE(a.Down());

    plain.setText(QStringLiteral("0"));
    plain.resize(24, 22);
    const QImage up = wn::test::SavePicture(plain, "framework", "speedbutton_caption");
    const auto dark = [&](const QRect &area) {
        int n = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x)
                n += qGray(up.pixel(x, y)) < 128;
        return n;
    };
    EXPECT_GT(dark(QRect(8, 5, 8, 12)), 6);
    EXPECT_EQ(dark(QRect(2, 2, 5, 18)), 0);
}
