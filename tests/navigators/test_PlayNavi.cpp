// The player bar: its width rule, hit test, mouse tracking, keyboard and painting.

#include "navigators/PlayNavi.h"

#include "NavTestSupport.h"
#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

using namespace wn;
using TPlaySet = TPlayButtons::TButtonSet;

namespace {

// A bar on an active form that logs its clicks.
struct TPlayFixture : ::testing::Test {
    wn::test::THostedControl<TPlayButtons> Host;
    TPlayButtons &Bar = *Host.Control;
    std::vector<TMPBtnType> Clicks;

    TPlayFixture()
    {
        Bar.OnClick = [this](QObject *sender, TMPBtnType b) {
            EXPECT_EQ(sender, &Bar);
            Clicks.push_back(b);
        };
    }
    QPoint Centre(TMPBtnType b) const { return Bar.ButtonRect(b).center(); }
};

} // namespace

TEST(PlayLayout, WidthRuleAndHitTest)
{
    EXPECT_EQ(PlayButtonWidth(240, 9), 27);
    // 240 gives 235, below (29 - 1) * 9 + 1.
    EXPECT_EQ(PlayAdjustedSize(QSize(240, 24), 9, 29, 20), QSize(253, 24));
    EXPECT_EQ(PlayAdjustedSize(QSize(300, 10), 9, 29, 20), QSize(298, 20));
    EXPECT_EQ(PlayAdjustedSize(QSize(10, 30), 1, 29, 20), QSize(29, 30));

    // Play spans 0 to 29, pause 28 to 57: the shared border and the pixel after it are play's.
    std::array<bool, MPButtonCount> all;
    all.fill(true);
    std::array<bool, MPButtonCount> some{};
    some[pnStop] = some[pnEject] = true;
    const std::tuple<int, bool, int> hits[] = {
        {28, true, pnPlay},   {29, true, pnPlay}, {30, true, pnPause}, {58, true, pnStop},
        {253, true, pnEject}, {254, true, -1},    {-1, true, -1},      {20, false, pnStop},
        {40, false, pnEject}, {60, false, -1},
    };
    for (const auto &[x, allVisible, button] : hits)
        EXPECT_EQ(PlayButtonAt(x, allVisible ? all : some, 29), button) << x;
}

TEST(PlayGlyphs, TwentySevenBitmapsWithTheLargestTwentyOneBySixteen)
{
    QSize largest;
    for (const char *prefix : {"EN", "DI", "CL"})
        for (const char *name :
             {"MPPLAY", "MPPAUSE", "MPSTOP", "MPNEXT", "MPPREV", "MPSTEP", "MPBACK", "MPRECORD", "MPEJECT"}) {
            const QImage bitmap = LoadBitmap(QString("%1_%2").arg(prefix, name).toLower());
            largest = largest.expandedTo(bitmap.size());
            EXPECT_EQ(bitmap.pixel(0, bitmap.height() - 1) & 0xFFFFFF, 0x808000u) << prefix << name;
        }
    EXPECT_EQ(largest, QSize(21, 16));
}

TEST_F(TPlayFixture, SizesAndDesignTimeGlyphs)
{
    // Snapped before it is ever shown.
    EXPECT_EQ(TPlayButtons().size(), QSize(253, 24));
    // Hiding buttons keeps the button width; none visible counts as one.
    Bar.SetVisible(TPlaySet{pnPlay, pnPause, pnStop, pnNext, pnPrev, pnEject});
    EXPECT_EQ(Bar.width(), 169);
    EXPECT_EQ(Bar.ButtonRect(pnEject), QRect(140, 0, 29, 24));
    EXPECT_TRUE(Bar.ButtonRect(pnStep).isNull());
    Bar.SetVisible(TPlaySet{});
    EXPECT_EQ(Bar.width(), 29);

    // While loading only the button width follows the set.
    Bar.BeginLoading();
    Bar.SetVisible(TPlayButtons::AllButtons);
    EXPECT_EQ(Bar.width(), 29);
    EXPECT_EQ(Bar.ButtonWidth(), 4);
    Bar.EndLoading();
    Bar.resize(300, 10);
    EXPECT_EQ(Bar.size(), QSize(298, 20));

    // The pictures show the glyph kinds; while designing a disabled bar still shows colours.
    EXPECT_TRUE(Bar.setProperty("EnabledButtons", QVariant::fromValue(TPlayButtons::AllButtons - pnPause)));
    Bar.SetEnabled(false);
    Bar.SetDesigning(true);
    EXPECT_EQ(Bar.GlyphKind(pnStop), mgColored);
    EXPECT_EQ(Bar.GlyphKind(pnPause), mgDisabled);
}

TEST_F(TPlayFixture, PressDragAndReleaseClickEnabledButtons)
{
    QTest::mouseClick(&Bar, Qt::LeftButton, {}, Centre(pnStop));
    EXPECT_EQ(Bar.FocusedButton(), pnStop);
    // The right edge of a button is shared with the next one and belongs to it on the left.
    QTest::mouseClick(&Bar, Qt::LeftButton, {}, QPoint(Bar.ButtonRect(pnPlay).right(), 5));
    QTest::mouseClick(&Bar, Qt::RightButton, {}, Centre(pnPause));

    using wn::test::SendMouse;
    const QPoint inside = Centre(pnRecord);
    const QPoint outside = Centre(pnEject);
    SendMouse(Bar, QEvent::MouseButtonPress, inside);
    const QImage pressed = wn::test::Picture(Bar, "player_record_pressed");
    SendMouse(Bar, QEvent::MouseMove, outside);
    const QImage draggedOut = wn::test::Picture(Bar, "player_record_dragged_out");
    SendMouse(Bar, QEvent::MouseButtonRelease, outside);
    // Pressed, the button loses its highlight edge at the bottom right.
    const QPoint edge = Bar.ButtonRect(pnRecord).bottomRight() - QPoint(1, 1);
    EXPECT_NE(pressed.pixel(edge), draggedOut.pixel(edge));

    // Out, below the bar, back in: the release clicks. A release without a press does nothing.
    SendMouse(Bar, QEvent::MouseButtonPress, inside);
    for (const QPoint p : {outside, QPoint(inside.x(), Bar.height() + 20), inside})
        SendMouse(Bar, QEvent::MouseMove, p);
    SendMouse(Bar, QEvent::MouseButtonRelease, inside);
    SendMouse(Bar, QEvent::MouseButtonRelease, inside);

    Bar.SetEnabledButtons(TPlayButtons::AllButtons - pnNext);
    QTest::mouseClick(&Bar, Qt::LeftButton, {}, Centre(pnNext));
    QTest::mouseDClick(&Bar, Qt::LeftButton, {}, Centre(pnNext));
    EXPECT_EQ(Bar.FocusedButton(), pnRecord);
    Bar.SetEnabled(false);
    QTest::mouseClick(&Bar, Qt::LeftButton, {}, Centre(pnPlay));
    EXPECT_EQ(Clicks, (std::vector<TMPBtnType>{pnStop, pnPlay, pnRecord}));
}

TEST_F(TPlayFixture, ArrowsMoveTheFocusAndSpaceClicksEnabledButtons)
{
    Bar.setFocus();
    QTest::keyClick(&Bar, Qt::Key_Space);
    // The focus may rest on a disabled button, but Space does not click it.
    Bar.SetEnabledButtons(TPlaySet{pnPlay});
    wn::test::ExpectFocusSteps(Bar, "<>", {pnPlay, pnPause});
    QTest::keyClick(&Bar, Qt::Key_Space);
    QTest::keyClick(&Bar, Qt::Key_Return);

    // Hidden buttons are skipped; the ends are reached even when hidden.
    Bar.SetEnabledButtons(TPlayButtons::AllButtons);
    Bar.SetVisible(TPlaySet{pnPause, pnNext, pnRecord});
    wn::test::ExpectFocusSteps(Bar, ">>>><<<<",
                               {pnNext, pnRecord, pnEject, pnEject, pnRecord, pnNext, pnPause, pnPlay});
    QTest::keyClick(&Bar, Qt::Key_Space);
    EXPECT_EQ(Clicks, (std::vector<TMPBtnType>{pnPlay, pnPlay}));
}

TEST_F(TPlayFixture, PicturesShowGlyphsAndFocusRectangle)
{
    const QRgb face = ColorToQColor(clBtnFace, Bar.palette()).rgb();
    const QRect play = Bar.ButtonRect(pnPlay);
    const QRect stop = Bar.ButtonRect(pnStop);
    const QPoint corner = play.topLeft() + QPoint(3, 3);
    // The form gave the bar the focus when it was shown.
    Bar.clearFocus();
    const QImage coloured = wn::test::Picture(Bar, "player_coloured");
    EXPECT_GT(wn::test::CountPixels(coloured, play, qRgb(0, 176, 0)), 20);
    EXPECT_EQ(coloured.pixel(corner), face);

    Bar.SetColored(TPlaySet{});
    Bar.SetEnabledButtons(TPlayButtons::AllButtons - pnStop - pnRecord);
    Bar.setFocus();
    const QImage plain = wn::test::Picture(Bar, "player_plain_focused_stop_record_disabled");
    EXPECT_GT(wn::test::CountPixels(plain, play, qRgb(0, 0, 0)), 20);
    EXPECT_GT(wn::test::CountPixels(plain, stop, qRgb(128, 128, 128)), 50);
    EXPECT_EQ(plain.pixel(corner), ColorToQColor(clBtnText, Bar.palette()).rgb());
    EXPECT_EQ(plain.pixel(corner + QPoint(1, 0)), face);

    // A disabled bar shows its state in the glyphs: all of them disabled.
    Bar.clearFocus();
    Bar.SetVisible(TPlaySet{pnPlay, pnPause, pnStop, pnRecord});
    Bar.SetEnabled(false);
    const QImage disabled = wn::test::Picture(Bar, "player_disabled_bar_four_buttons");
    EXPECT_EQ(wn::test::CountPixels(disabled, play, qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(disabled, play, qRgb(128, 128, 128)), 20);
}
