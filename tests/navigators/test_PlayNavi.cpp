// The player bar: its width rule, hit test, mouse tracking, keyboard and painting.

#include "navigators/PlayNavi.h"

#include "NavTestSupport.h"
#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

#include <vector>

using namespace wn;
using wn::test::THostedControl;

namespace {

using TPlaySet = TPlayButtons::TButtonSet;
const std::array<bool, MPButtonCount> AllVisible{true, true, true, true, true, true, true, true, true};

QPoint Centre(const TPlayButtons &bar, TMPBtnType b)
{
    return bar.ButtonRect(b).center();
}

struct TClickLog {
    std::vector<TMPBtnType> Buttons;
    QObject *Sender = nullptr;
    void Attach(TPlayButtons &bar)
    {
        bar.OnClick = [this](QObject *sender, TMPBtnType b) {
            Sender = sender;
            Buttons.push_back(b);
        };
    }
};

} // namespace

TEST(PlayLayout, WidthRuleSharesBordersAndKeepsTheMinimum)
{
    EXPECT_EQ(PlayButtonWidth(240, 9), 27);
    EXPECT_EQ(PlayButtonWidth(253, 9), 29);
    EXPECT_EQ(PlayButtonWidth(1, 1), 1);
    // 240 gives 235, below (29 - 1) * 9 + 1.
    EXPECT_EQ(PlayAdjustedSize(QSize(240, 24), 9, 29, 20), QSize(253, 24));
    EXPECT_EQ(PlayAdjustedSize(QSize(253, 24), 9, 29, 20), QSize(253, 24));
    EXPECT_EQ(PlayAdjustedSize(QSize(300, 10), 9, 29, 20), QSize(298, 20));
    EXPECT_EQ(PlayAdjustedSize(QSize(100, 30), 1, 29, 20), QSize(100, 30));
    EXPECT_EQ(PlayAdjustedSize(QSize(10, 30), 1, 29, 20), QSize(29, 30));
}

TEST(PlayLayout, HitTestGivesSharedBorderToTheLeftButton)
{
    EXPECT_EQ(PlayButtonAt(0, AllVisible, 29), pnPlay);
    // Play spans 0 to 29, pause 28 to 57: the shared border and the pixel after it are play's.
    EXPECT_EQ(PlayButtonAt(28, AllVisible, 29), pnPlay);
    EXPECT_EQ(PlayButtonAt(29, AllVisible, 29), pnPlay);
    EXPECT_EQ(PlayButtonAt(30, AllVisible, 29), pnPause);
    EXPECT_EQ(PlayButtonAt(57, AllVisible, 29), pnPause);
    EXPECT_EQ(PlayButtonAt(58, AllVisible, 29), pnStop);
    EXPECT_EQ(PlayButtonAt(253, AllVisible, 29), pnEject);
    EXPECT_EQ(PlayButtonAt(254, AllVisible, 29), -1);
    EXPECT_EQ(PlayButtonAt(-1, AllVisible, 29), -1);
    std::array<bool, MPButtonCount> some{};
    some[pnStop] = some[pnEject] = true;
    EXPECT_EQ(PlayButtonAt(20, some, 29), pnStop);
    EXPECT_EQ(PlayButtonAt(40, some, 29), pnEject);
    EXPECT_EQ(PlayButtonAt(60, some, 29), -1);
}

TEST(PlayGlyphs, TwentySevenBitmapsWithTheLargestTwentyOneBySixteen)
{
    int maxWidth = 0, maxHeight = 0;
    for (const char *prefix : {"EN", "DI", "CL"})
        for (const char *name :
             {"MPPLAY", "MPPAUSE", "MPSTOP", "MPNEXT", "MPPREV", "MPSTEP", "MPBACK", "MPRECORD", "MPEJECT"}) {
            const QImage bitmap = LoadBitmap(QString("%1_%2").arg(prefix, name));
            ASSERT_FALSE(bitmap.isNull()) << prefix << "_" << name;
            maxWidth = std::max(maxWidth, bitmap.width());
            maxHeight = std::max(maxHeight, bitmap.height());
            EXPECT_EQ(bitmap.pixel(0, bitmap.height() - 1) & 0xFFFFFF, 0x808000u) << name;
        }
    EXPECT_EQ(maxWidth, 21);
    EXPECT_EQ(maxHeight, 16);
}

TEST(PlayButtons, NewBarGrowsToTheMinimumAndStaysThere)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    EXPECT_EQ(bar.MinButtonWidth(), 29);
    EXPECT_EQ(bar.MinHeight(), 20);
    EXPECT_EQ(bar.size(), QSize(253, 24));
    EXPECT_EQ(bar.ButtonWidth(), 29);
    EXPECT_EQ(bar.FocusedButton(), pnPlay);
    EXPECT_TRUE(bar.TabStop());
    EXPECT_EQ(bar.focusPolicy(), Qt::TabFocus);
    EXPECT_EQ(bar.VisibleButtons(), TPlayButtons::AllButtons);
    EXPECT_EQ(bar.EnabledButtons().Bits(), 0x1FFu);
    EXPECT_EQ(bar.ColoredButtons().Bits(), 0x1FFu);
    for (const char *name : {"ColoredButtons", "EnabledButtons", "VisibleButtons", "Enabled", "TabStop"})
        EXPECT_GE(bar.metaObject()->indexOfProperty(name), 0) << name;
    EXPECT_TRUE(bar.setProperty("EnabledButtons", QVariant::fromValue(TPlaySet{pnPlay, pnStop})));
    EXPECT_EQ(bar.GlyphKind(pnPause), mgDisabled);
    EXPECT_EQ(bar.GlyphKind(pnStop), mgColored);

    bar.resize(300, 10);
    EXPECT_EQ(bar.size(), QSize(298, 20));
    EXPECT_EQ(bar.ButtonWidth(), 34);
}

TEST(PlayButtons, NewBarHasItsSnappedSizeBeforeItIsShown)
{
    TPlayButtons bar;
    EXPECT_EQ(bar.size(), QSize(253, 24));
    EXPECT_EQ(bar.ButtonWidth(), 29);
    bar.SetVisible(TPlaySet{pnPlay, pnStop});
    EXPECT_EQ(bar.size(), QSize(57, 24));
    EXPECT_EQ(bar.ButtonRect(pnStop), QRect(28, 0, 29, 24));
}

TEST(PlayButtons, HidingButtonsKeepsTheButtonWidth)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    bar.SetVisible(TPlaySet{pnPlay, pnPause, pnStop, pnNext, pnPrev, pnEject});
    EXPECT_EQ(bar.VisibleButtonCount(), 6);
    EXPECT_EQ(bar.width(), 169);
    EXPECT_EQ(bar.ButtonWidth(), 29);
    EXPECT_EQ(bar.ButtonRect(pnEject), QRect(140, 0, 29, 24));
    EXPECT_TRUE(bar.ButtonRect(pnStep).isNull());

    bar.SetVisible(TPlaySet{});
    EXPECT_EQ(bar.VisibleButtonCount(), 1);
    EXPECT_EQ(bar.width(), 29);

    // While loading only the button width follows the set.
    bar.BeginLoading();
    bar.SetVisible(TPlayButtons::AllButtons);
    EXPECT_EQ(bar.width(), 29);
    EXPECT_EQ(bar.ButtonWidth(), 4);
    bar.EndLoading();
    EXPECT_EQ(bar.width(), 253);
    EXPECT_EQ(bar.ButtonWidth(), 29);
}

TEST(PlayButtons, PressAndReleaseInsideClicks)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    TClickLog log;
    log.Attach(bar);
    QTest::mouseClick(&bar, Qt::LeftButton, {}, Centre(bar, pnStop));
    ASSERT_EQ(log.Buttons, std::vector<TMPBtnType>{pnStop});
    EXPECT_EQ(log.Sender, &bar);
    EXPECT_EQ(bar.FocusedButton(), pnStop);
    // The right edge of a button is shared with the next one and belongs to it on the left.
    QTest::mouseClick(&bar, Qt::LeftButton, {}, QPoint(bar.ButtonRect(pnPlay).right(), 5));
    EXPECT_EQ(log.Buttons.back(), pnPlay);
    QTest::mouseClick(&bar, Qt::RightButton, {}, Centre(bar, pnPause));
    EXPECT_EQ(log.Buttons.size(), 2u);
}

TEST(PlayButtons, DragOutAndBackIn)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    TClickLog log;
    log.Attach(bar);
    const QPoint inside = Centre(bar, pnRecord);
    const QPoint outside = Centre(bar, pnEject);

    wn::test::Press(bar, inside);
    const QImage pressed = wn::test::Picture(bar, "player_record_pressed");
    wn::test::MoveHeld(bar, outside);
    const QImage draggedOut = wn::test::Picture(bar, "player_record_dragged_out");
    wn::test::Release(bar, outside);
    EXPECT_TRUE(log.Buttons.empty());
    // Pressed, the button loses its highlight edge at the bottom right.
    const QRect r = bar.ButtonRect(pnRecord);
    EXPECT_NE(pressed.pixel(r.right() - 1, r.bottom() - 1), draggedOut.pixel(r.right() - 1, r.bottom() - 1));

    wn::test::Press(bar, inside);
    wn::test::MoveHeld(bar, outside);
    wn::test::MoveHeld(bar, QPoint(inside.x(), bar.height() + 20));
    wn::test::MoveHeld(bar, inside);
    wn::test::Release(bar, inside);
    EXPECT_EQ(log.Buttons, std::vector<TMPBtnType>{pnRecord});

    // A release without a tracked press does nothing.
    wn::test::Release(bar, inside);
    EXPECT_EQ(log.Buttons.size(), 1u);
}

TEST(PlayButtons, DisabledButtonCannotBePressed)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    TClickLog log;
    log.Attach(bar);
    bar.SetEnabledButtons(TPlayButtons::AllButtons - pnStop);
    QTest::mouseClick(&bar, Qt::LeftButton, {}, Centre(bar, pnStop));
    QTest::mouseDClick(&bar, Qt::LeftButton, {}, Centre(bar, pnStop));
    EXPECT_TRUE(log.Buttons.empty());
    EXPECT_EQ(bar.FocusedButton(), pnPlay);

    bar.SetEnabled(false);
    QTest::mouseClick(&bar, Qt::LeftButton, {}, Centre(bar, pnPlay));
    EXPECT_TRUE(log.Buttons.empty());
}

TEST(PlayButtons, KeyboardMovesFocusAndSpaceClicksEnabledButtons)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    TClickLog log;
    log.Attach(bar);
    bar.setFocus();
    ASSERT_TRUE(bar.hasFocus());

    QTest::keyClick(&bar, Qt::Key_Space);
    EXPECT_EQ(log.Buttons, std::vector<TMPBtnType>{pnPlay});
    QTest::keyClick(&bar, Qt::Key_Left);
    EXPECT_EQ(bar.FocusedButton(), pnPlay);

    // The focus may rest on a disabled button, but Space does not click it.
    bar.SetEnabledButtons(TPlaySet{pnPlay});
    QTest::keyClick(&bar, Qt::Key_Right);
    EXPECT_EQ(bar.FocusedButton(), pnPause);
    QTest::keyClick(&bar, Qt::Key_Space);
    QTest::keyClick(&bar, Qt::Key_Return);
    EXPECT_EQ(log.Buttons.size(), 1u);

    // Hidden buttons are skipped; the ends are reached even when hidden.
    bar.SetEnabledButtons(TPlayButtons::AllButtons);
    bar.SetVisible(TPlaySet{pnPause, pnNext, pnRecord});
    QTest::keyClick(&bar, Qt::Key_Right);
    EXPECT_EQ(bar.FocusedButton(), pnNext);
    QTest::keyClick(&bar, Qt::Key_Right);
    EXPECT_EQ(bar.FocusedButton(), pnRecord);
    QTest::keyClick(&bar, Qt::Key_Right);
    EXPECT_EQ(bar.FocusedButton(), pnEject);
    QTest::keyClick(&bar, Qt::Key_Right);
    EXPECT_EQ(bar.FocusedButton(), pnEject);
    QTest::keyClick(&bar, Qt::Key_Space);
    EXPECT_EQ(log.Buttons.back(), pnEject);
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(&bar, Qt::Key_Left);
    EXPECT_EQ(bar.FocusedButton(), pnPause);
    QTest::keyClick(&bar, Qt::Key_Left);
    EXPECT_EQ(bar.FocusedButton(), pnPlay);
}

TEST(PlayButtons, GlyphFollowsEnabledAndColouredFlags)
{
    TPlayButtons bar;
    EXPECT_EQ(bar.GlyphKind(pnPlay), mgColored);
    bar.SetColored(TPlayButtons::AllButtons - pnPlay);
    EXPECT_EQ(bar.GlyphKind(pnPlay), mgEnabled);
    bar.SetEnabledButtons(TPlayButtons::AllButtons - pnPause);
    EXPECT_EQ(bar.GlyphKind(pnPause), mgDisabled);
    bar.SetEnabled(false);
    EXPECT_EQ(bar.GlyphKind(pnStop), mgDisabled);
    bar.SetDesigning(true);
    EXPECT_EQ(bar.GlyphKind(pnStop), mgColored);
    EXPECT_EQ(bar.GlyphKind(pnPause), mgDisabled);
}

TEST(PlayButtonsPictures, GlyphsAndFocusRectangle)
{
    THostedControl<TPlayButtons> host;
    TPlayButtons &bar = *host.Control;
    const QRgb face = ColorToQColor(clBtnFace, bar.palette()).rgb();
    const QRgb text = ColorToQColor(clBtnText, bar.palette()).rgb();
    const QRgb frame = ColorToQColor(clWindowFrame, bar.palette()).rgb();
    // The form gave the bar the focus when it was shown.
    bar.clearFocus();

    const QImage coloured = wn::test::Picture(bar, "player_coloured");
    const QRect play = bar.ButtonRect(pnPlay);
    const QRect stop = bar.ButtonRect(pnStop);
    EXPECT_EQ(coloured.pixel(0, 0) & 0xFFFFFF, frame & 0xFFFFFF);
    EXPECT_GT(wn::test::CountPixels(coloured, play, qRgb(0, 176, 0)), 20);
    EXPECT_GT(wn::test::CountPixels(coloured, stop, qRgb(208, 0, 0)), 50);
    EXPECT_EQ(wn::test::CountPixels(coloured, play, qRgb(128, 128, 0)), 0);
    EXPECT_EQ(coloured.pixel(play.left() + 3, play.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);

    bar.SetColored(TPlaySet{});
    bar.SetEnabledButtons(TPlayButtons::AllButtons - pnStop - pnRecord);
    bar.setFocus();
    QApplication::processEvents();
    const QImage plain = wn::test::Picture(bar, "player_plain_focused_stop_record_disabled");
    EXPECT_EQ(wn::test::CountPixels(plain, play, qRgb(0, 176, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(plain, play, qRgb(0, 0, 0)), 20);
    EXPECT_EQ(wn::test::CountPixels(plain, stop.adjusted(2, 2, -2, -2), qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(plain, stop, qRgb(128, 128, 128)), 50);
    EXPECT_EQ(plain.pixel(play.left() + 3, play.top() + 3) & 0xFFFFFF, text & 0xFFFFFF);
    EXPECT_EQ(plain.pixel(play.left() + 4, play.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);
    EXPECT_EQ(plain.pixel(stop.left() + 3, stop.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);

    bar.SetColored(TPlayButtons::AllButtons);
    bar.SetEnabledButtons(TPlayButtons::AllButtons);
    bar.SetVisible(TPlaySet{pnPlay, pnPause, pnStop, pnRecord});
    wn::test::Picture(bar, "player_four_buttons");
    bar.clearFocus();
    const QImage enabled = wn::test::Picture(bar, "player_four_buttons_unfocused");
    bar.SetEnabled(false);
    const QImage disabled = wn::test::Picture(bar, "player_disabled_bar");
    // A disabled bar shows its state in the glyphs only; frame and faces keep their colours.
    for (const QPoint p :
         {QPoint(0, 0), QPoint(1, 1), QPoint(stop.left() + 1, 1), QPoint(stop.left() + 3, 3),
          QPoint(stop.right() - 1, stop.bottom() - 1), QPoint(bar.width() - 1, bar.height() - 1)})
        EXPECT_EQ(disabled.pixel(p), enabled.pixel(p)) << p.x() << "," << p.y();
    EXPECT_GT(wn::test::CountPixels(disabled, stop, qRgb(128, 128, 128)), 50);
}
