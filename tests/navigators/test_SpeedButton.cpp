// The speed button the navigator buttons are built on, and the glyph helpers behind it.

#include "framework/Bitmaps.h"
#include "framework/Graphics.h"
#include "framework/SpeedButton.h"

#include "NavTestSupport.h"

#include <QPainter>

using namespace wn;
using wn::test::THostedControl;

namespace {

const QRgb Key = qRgb(128, 128, 0);

// Two 4 x 3 pictures side by side on the key colour: up shows a black pixel at (1, 1),
// disabled a gray one at (2, 1).
QImage TwoPictures()
{
    QImage image(8, 3, QImage::Format_RGB32);
    image.fill(Key);
    image.setPixel(1, 1, qRgb(0, 0, 0));
    image.setPixel(4 + 2, 1, qRgb(128, 128, 128));
    return image;
}

} // namespace

TEST(Bitmaps, LookUpIgnoresCaseAndMissingNamesGiveNull)
{
    EXPECT_EQ(LoadBitmap("n_JNext").size(), QSize(28, 13));
    EXPECT_EQ(LoadBitmap("N_JNEXT").size(), QSize(28, 13));
    EXPECT_EQ(LoadBitmap("en_mpplay").size(), QSize(21, 16));
    EXPECT_TRUE(LoadBitmap("n_nothing").isNull());
}

TEST(Bitmaps, TransparentColourAndEngravedGlyph)
{
    const QImage clear = WithTransparentColor(TwoPictures(), QColor(Key));
    EXPECT_EQ(qAlpha(clear.pixel(0, 0)), 0);
    EXPECT_EQ(clear.pixel(1, 1), qRgba(0, 0, 0, 255));

    const QImage engraved = EngravedGlyph(clear.copy(0, 0, 4, 3), Qt::gray, Qt::white);
    EXPECT_EQ(engraved.pixel(1, 1), QColor(Qt::gray).rgba());
    EXPECT_EQ(engraved.pixel(2, 2), QColor(Qt::white).rgba());
    EXPECT_EQ(qAlpha(engraved.pixel(0, 0)), 0);
    EXPECT_EQ(qAlpha(engraved.pixel(2, 1)), 0);
}

TEST(Bitmaps, FocusRectangleIsDottedAlongTheInside)
{
    QImage image(10, 6, QImage::Format_RGB32);
    image.fill(Qt::white);
    {
        QPainter p(&image);
        DrawFocusRect(p, QRect(1, 1, 8, 4), Qt::black);
    }
    const QRgb black = qRgb(0, 0, 0);
    EXPECT_EQ(image.pixel(1, 1), black);
    EXPECT_NE(image.pixel(2, 1), black);
    EXPECT_EQ(image.pixel(3, 1), black);
    EXPECT_EQ(image.pixel(8, 4), black);
    EXPECT_NE(image.pixel(1, 2), black);
    EXPECT_EQ(image.pixel(1, 3), black);
    EXPECT_EQ(wn::test::CountPixels(image, QRect(2, 2, 6, 2), black), 0);
    EXPECT_EQ(wn::test::CountPixels(image, QRect(0, 0, 10, 1), black), 0);
}

TEST(SpeedButton, GlyphPicturesByState)
{
    TSpeedButton button;
    button.SetGlyph(TwoPictures());
    button.SetNumGlyphs(2);
    EXPECT_EQ(button.State(), TSpeedButton::bsUp);
    EXPECT_EQ(button.StateGlyph(TSpeedButton::bsUp).pixel(1, 1), qRgba(0, 0, 0, 255));
    EXPECT_EQ(button.StateGlyph(TSpeedButton::bsDisabled).pixel(2, 1), qRgba(128, 128, 128, 255));
    // No down picture: the up picture is used.
    EXPECT_EQ(button.StateGlyph(TSpeedButton::bsDown), button.StateGlyph(TSpeedButton::bsUp));
    button.SetEnabled(false);
    EXPECT_EQ(button.State(), TSpeedButton::bsDisabled);

    // One picture only: the disabled one is engraved from it.
    button.SetNumGlyphs(1);
    const QImage engraved = button.StateGlyph(TSpeedButton::bsDisabled);
    EXPECT_EQ(engraved.size(), QSize(8, 3));
    EXPECT_EQ(engraved.pixel(1, 1), ColorToQColor(clBtnShadow).rgba());
}

TEST(SpeedButton, MouseDownAndClickSlots)
{
    THostedControl<TSpeedButton> host;
    TSpeedButton &button = *host.Control;
    button.resize(20, 18);
    int clicks = 0;
    std::vector<Qt::MouseButton> downs;
    button.OnClick = [&](TSpeedButton *sender) {
        EXPECT_EQ(sender, &button);
        ++clicks;
    };
    button.OnMouseDown = [&](TSpeedButton *, Qt::MouseButton b, Qt::KeyboardModifiers, QPoint) {
        downs.push_back(b);
    };
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::mouseClick(&button, Qt::RightButton);
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(downs, (std::vector<Qt::MouseButton>{Qt::LeftButton, Qt::RightButton}));
    EXPECT_EQ(button.focusPolicy(), Qt::NoFocus);

    button.SetEnabled(false);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks, 1);
}

TEST(SpeedButton, DownMovesTheGlyphAndSinksTheFace)
{
    THostedControl<TSpeedButton> host;
    TSpeedButton &button = *host.Control;
    button.resize(12, 9);
    button.SetGlyph(TwoPictures());
    button.SetNumGlyphs(2);
    const QRgb black = qRgb(0, 0, 0);
    const QRgb highlight = ColorToQColor(clBtnHighlight, button.palette()).rgb();

    // The 4 x 3 picture sits at (4, 3); its black pixel at (5, 4).
    const QImage up = wn::test::Picture(button, "speedbutton_up");
    EXPECT_EQ(up.pixel(5, 4), black);
    EXPECT_EQ(up.pixel(0, 0), highlight);
    button.setDown(true);
    const QImage down = wn::test::Picture(button, "speedbutton_down");
    EXPECT_EQ(down.pixel(6, 5), black);
    EXPECT_NE(down.pixel(5, 4), black);
    EXPECT_NE(down.pixel(0, 0), highlight);
    EXPECT_EQ(down.pixel(11, 8), highlight);

    // A flat button shows no border until it is pressed.
    button.setDown(false);
    button.SetFlat(true);
    const QImage flat = wn::test::Picture(button, "speedbutton_flat");
    EXPECT_EQ(flat.pixel(0, 0), ColorToQColor(clBtnFace, button.palette()).rgb());
}

TEST(SpeedButton, DisabledButtonKeepsTheColoursOfItsFaceAndFrame)
{
    THostedControl<QWidget> host;
    auto *button = new TSpeedButton(host.Control);
    button->setGeometry(0, 0, 20, 18);
    host.Control->resize(20, 18);
    button->show();
    auto frameAndFace = [&](const QString &name) {
        const QImage image = wn::test::Picture(*button, name);
        return std::vector<QRgb>{image.pixel(0, 0), image.pixel(19, 17), image.pixel(18, 16),
                                 image.pixel(1, 1), image.pixel(10, 9)};
    };
    const std::vector<QRgb> enabled = frameAndFace("speedbutton_up_plain");
    EXPECT_EQ(enabled[0], ColorToQColor(clBtnHighlight).rgb());
    EXPECT_EQ(enabled[1], ColorToQColor(cl3DDkShadow).rgb());
    EXPECT_EQ(enabled[2], ColorToQColor(clBtnShadow).rgb());
    EXPECT_EQ(enabled[4], ColorToQColor(clBtnFace).rgb());

    button->SetEnabled(false);
    EXPECT_EQ(frameAndFace("speedbutton_disabled"), enabled);
    button->SetEnabled(true);
    host.Control->setEnabled(false);
    EXPECT_EQ(frameAndFace("speedbutton_on_disabled_parent"), enabled);
}
