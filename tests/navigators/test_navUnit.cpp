// The record navigator: its size rule, glyphs, clicks, keyboard focus, hints and painting.

#include "navigators/navUnit.h"

#include "NavTestSupport.h"
#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

#include <vector>

using namespace wn;
using wn::test::THostedControl;

namespace {

const QPoint MinButton{20, 18};
const TButtonSet AllNavButtons = TButtonSet::FromBits(0xFFF);

std::vector<int> VisibleWidths(const TNavLayout &layout, TButtonSet visible)
{
    std::vector<int> widths;
    for (int i = 0; i < NavButtonCount; ++i)
        if (visible.contains(TNavigateBtn(i)))
            widths.push_back(layout.Buttons[i].width());
    return widths;
}

} // namespace

TEST(NavLayout, UnalignedWidthSnapsToWholeButtons)
{
    const QSize control(300, 25);
    EXPECT_EQ(NavLayout(250, 25, NavDefaultButtons, false, MinButton, control).Width, 250);
    const TNavLayout snapped = NavLayout(255, 25, NavDefaultButtons, false, MinButton, control);
    EXPECT_EQ(snapped.Width, 250);
    EXPECT_EQ(snapped.ButtonWidth, 25);
    EXPECT_EQ(VisibleWidths(snapped, NavDefaultButtons), std::vector<int>(10, 25));
    // Too narrow or too low for ten buttons of the minimum size.
    const TNavLayout grown = NavLayout(150, 10, NavDefaultButtons, false, MinButton, control);
    EXPECT_EQ(grown.Width, 200);
    EXPECT_EQ(grown.Height, 18);
}

TEST(NavLayout, NoVisibleButtonCountsAsOne)
{
    const TNavLayout layout = NavLayout(0, 0, TButtonSet{}, false, MinButton, QSize(100, 30));
    EXPECT_EQ(layout.Width, 20);
    EXPECT_EQ(layout.Height, 18);
    EXPECT_EQ(layout.ButtonWidth, 20);
    // Hidden buttons go just right of the current control, with the button width.
    EXPECT_EQ(layout.Buttons[nbFirst], QRect(101, 0, 20, 30));
}

TEST(NavLayout, AlignedRemainderIsSpreadFromHalfACountIn)
{
    // 255 over 10: 25 each and 5 left; the error step starts at 5 and gives every second
    // button, beginning with the second, one pixel more.
    const TNavLayout layout = NavLayout(255, 25, NavDefaultButtons, true, MinButton, QSize(255, 25));
    EXPECT_EQ(layout.Width, 255);
    EXPECT_EQ(VisibleWidths(layout, NavDefaultButtons),
              (std::vector<int>{25, 26, 25, 26, 25, 26, 25, 26, 25, 26}));
    EXPECT_EQ(layout.Buttons[nbRefresh].right(), 254);
    EXPECT_EQ(layout.Buttons[nbJumpPrior].left(), 256);

    // 241 over 12: one pixel left, which the seventh button gets.
    const TNavLayout one = NavLayout(241, 25, AllNavButtons, true, MinButton, QSize(241, 25));
    std::vector<int> expected(12, 20);
    expected[6] = 21;
    EXPECT_EQ(VisibleWidths(one, AllNavButtons), expected);
    EXPECT_EQ(one.Buttons[nbInsert].left(), 120);
}

TEST(NavGlyphs, EveryButtonHasTwoPicturesOfThirteenRows)
{
    for (int i = 0; i < NavButtonCount; ++i) {
        const auto b = TNavigateBtn(i);
        const QImage bitmap = LoadBitmap("n_" + NavGlyphWord(b));
        ASSERT_FALSE(bitmap.isNull()) << i;
        EXPECT_EQ(bitmap.height(), 13) << i;
        EXPECT_EQ(bitmap.width(), b == nbPrior || b == nbNext ? 20 : 28) << i;
    }
    EXPECT_EQ(NavGlyphWord(nbJumpNext), "JNext");
}

TEST(Navigator, CreatedWithDefaultsAndSnappedSize)
{
    TNavigator nav;
    EXPECT_EQ(nav.VisibleButtons(), NavDefaultButtons);
    EXPECT_TRUE(nav.ConfirmDelete());
    EXPECT_FALSE(nav.TabStop());
    EXPECT_EQ(nav.Align(), alNone);
    EXPECT_EQ(nav.FocusedButton(), nbFirst);
    EXPECT_TRUE(nav.Hints().isEmpty());
    // Width 241 snaps to ten buttons of 24.
    EXPECT_EQ(nav.size(), QSize(240, 25));
    EXPECT_EQ(nav.ButtonWidth(), 24);
    EXPECT_EQ(nav.Buttons(nbPrior)->geometry(), QRect(24, 0, 24, 25));
    EXPECT_TRUE(nav.Buttons(nbPrior)->NavStyle.contains(nsAllowTimer));
    EXPECT_FALSE(nav.Buttons(nbFirst)->NavStyle.contains(nsAllowTimer));
    for (int i = 0; i < NavButtonCount; ++i)
        EXPECT_FALSE(nav.Buttons(TNavigateBtn(i))->StateGlyph(TSpeedButton::bsDisabled).isNull());

    const QMetaObject *meta = nav.metaObject();
    for (const char *name : {"VisibleButtons", "Align", "Enabled", "Hints", "ConfirmDelete", "TabStop"})
        EXPECT_GE(meta->indexOfProperty(name), 0) << name;
    // The form reader sets the button set through the property system.
    EXPECT_TRUE(nav.setProperty("VisibleButtons", QVariant::fromValue(TButtonSet{nbFirst, nbLast})));
    EXPECT_EQ(nav.VisibleButtons(), (TButtonSet{nbFirst, nbLast}));
    EXPECT_FALSE(nav.Buttons(nbPrior)->isVisibleTo(&nav));
    EXPECT_EQ(nav.property("VisibleButtons").value<TButtonSet>(), (TButtonSet{nbFirst, nbLast}));
}

TEST(Navigator, SizeRuleThroughTheWidget)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.resize(255, 25);
    EXPECT_EQ(nav.width(), 250);
    nav.SetBounds(0, 0, 255, 30);
    EXPECT_EQ(nav.size(), QSize(250, 30));
    EXPECT_EQ(nav.Buttons(nbRefresh)->geometry(), QRect(225, 0, 25, 30));

    EXPECT_TRUE(nav.setProperty("Align", QVariant::fromValue(alTop)));
    EXPECT_EQ(nav.Align(), alTop);
    nav.resize(255, 25);
    EXPECT_EQ(nav.width(), 255);
    EXPECT_EQ(nav.Buttons(nbPrior)->width(), 26);
    EXPECT_EQ(nav.Buttons(nbRefresh)->geometry().right(), 254);
    nav.SetAlign(alNone);
    EXPECT_EQ(nav.width(), 250);

    nav.SetVisible(TButtonSet{});
    nav.resize(5, 5);
    EXPECT_EQ(nav.size(), QSize(20, 18));

    nav.SetVisible(TButtonSet{nbFirst, nbLast});
    nav.resize(101, 20);
    EXPECT_EQ(nav.size(), QSize(100, 20));
    EXPECT_EQ(nav.Buttons(nbLast)->geometry(), QRect(50, 0, 50, 20));
    EXPECT_GT(nav.Buttons(nbNext)->x(), nav.width());
    EXPECT_FALSE(nav.Buttons(nbNext)->isVisible());
}

TEST(Navigator, SizeIsLeftAloneWhileLoading)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.BeginLoading();
    nav.SetVisible(AllNavButtons);
    nav.resize(255, 25);
    EXPECT_EQ(nav.width(), 255);
    nav.SetHints({"Erster"});
    nav.EndLoading();
    EXPECT_EQ(nav.width(), 252);
    EXPECT_EQ(nav.Buttons(nbFirst)->toolTip(), "Erster");
}

TEST(Navigator, ClickReportsTheButtonButNotWhileDesigning)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.SetVisible(AllNavButtons);
    std::vector<TNavigateBtn> clicks;
    QObject *sender = nullptr;
    nav.OnClick = [&](QObject *s, TNavigateBtn b) {
        sender = s;
        clicks.push_back(b);
    };
    for (int i = 0; i < NavButtonCount; ++i)
        QTest::mouseClick(nav.Buttons(TNavigateBtn(i)), Qt::LeftButton);
    ASSERT_EQ(clicks.size(), 12u);
    for (int i = 0; i < NavButtonCount; ++i)
        EXPECT_EQ(clicks[i], TNavigateBtn(i));
    EXPECT_EQ(sender, &nav);

    // A press that leaves the button before the release is no click.
    TNavButton *last = nav.Buttons(nbLast);
    QTest::mousePress(last, Qt::LeftButton);
    QTest::mouseRelease(last, Qt::LeftButton, {}, QPoint(-5, -5));
    EXPECT_EQ(clicks.size(), 12u);

    nav.SetDesigning(true);
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    nav.BtnClick(nbPost);
    EXPECT_EQ(clicks.size(), 12u);
}

TEST(Navigator, DisabledBarKeepsTheButtonsOwnState)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    int clicks = 0;
    nav.OnClick = [&](QObject *, TNavigateBtn) { ++clicks; };
    nav.Buttons(nbEdit)->SetEnabled(false);
    nav.SetEnabled(false);
    EXPECT_FALSE(nav.Enabled());
    EXPECT_TRUE(nav.Buttons(nbFirst)->Enabled());
    EXPECT_EQ(nav.Buttons(nbFirst)->State(), TSpeedButton::bsUp);
    QTest::mouseClick(nav.Buttons(nbFirst), Qt::LeftButton);
    EXPECT_EQ(clicks, 0);
    nav.SetEnabled(true);
    EXPECT_FALSE(nav.Buttons(nbEdit)->Enabled());
    QTest::mouseClick(nav.Buttons(nbEdit), Qt::LeftButton);
    QTest::mouseClick(nav.Buttons(nbFirst), Qt::LeftButton);
    EXPECT_EQ(clicks, 1);
}

TEST(Navigator, ArrowsMoveTheFocusAndStopAtTheEnds)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.SetTabStop(true);
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    EXPECT_TRUE(nav.hasFocus());
    EXPECT_EQ(nav.FocusedButton(), nbNext);

    // The jump buttons are hidden by default and skipped.
    QTest::keyClick(&nav, Qt::Key_Left);
    EXPECT_EQ(nav.FocusedButton(), nbPrior);
    QTest::keyClick(&nav, Qt::Key_Left);
    EXPECT_EQ(nav.FocusedButton(), nbFirst);
    QTest::keyClick(&nav, Qt::Key_Left);
    EXPECT_EQ(nav.FocusedButton(), nbFirst);
    QTest::keyClick(&nav, Qt::Key_Right);
    QTest::keyClick(&nav, Qt::Key_Right);
    QTest::keyClick(&nav, Qt::Key_Right);
    EXPECT_EQ(nav.FocusedButton(), nbLast);
    QTest::keyClick(&nav, Qt::Key_Up);
    EXPECT_EQ(nav.FocusedButton(), nbLast);

    // The ends are reached even when their buttons are hidden.
    nav.SetVisible(TButtonSet{nbPrior, nbNext, nbEdit});
    QTest::keyClick(&nav, Qt::Key_Right);
    EXPECT_EQ(nav.FocusedButton(), nbEdit);
    QTest::keyClick(&nav, Qt::Key_Right);
    EXPECT_EQ(nav.FocusedButton(), nbRefresh);
    QTest::keyClick(&nav, Qt::Key_Right);
    EXPECT_EQ(nav.FocusedButton(), nbRefresh);
    QTest::keyClick(&nav, Qt::Key_Left);
    EXPECT_EQ(nav.FocusedButton(), nbEdit);
    for (int i = 0; i < 4; ++i)
        QTest::keyClick(&nav, Qt::Key_Left);
    EXPECT_EQ(nav.FocusedButton(), nbFirst);
}

TEST(Navigator, TabKeyReachesTheBarOnlyWithTabStop)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    auto *before = new QWidget(host.Form.get());
    before->setFocusPolicy(Qt::StrongFocus);
    before->show();
    before->setFocus();
    QWidget::setTabOrder(before, &nav);
    QTest::keyClick(before, Qt::Key_Tab);
    EXPECT_FALSE(nav.hasFocus());
    nav.SetTabStop(true);
    before->setFocus();
    QTest::keyClick(before, Qt::Key_Tab);
    EXPECT_TRUE(nav.hasFocus());
}

TEST(Navigator, ClickWithoutTabStopLeavesTheFocusAlone)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    QTest::mouseClick(nav.Buttons(nbLast), Qt::LeftButton);
    EXPECT_FALSE(nav.hasFocus());
    EXPECT_EQ(nav.FocusedButton(), nbLast);
}

TEST(Navigator, SpaceClicksTheFocusedButtonOnlyWhenEnabled)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.SetTabStop(true);
    std::vector<TNavigateBtn> clicks;
    nav.OnClick = [&](QObject *, TNavigateBtn b) { clicks.push_back(b); };
    nav.setFocus();
    QTest::keyClick(&nav, Qt::Key_Right);
    QTest::keyClick(&nav, Qt::Key_Space);
    ASSERT_EQ(clicks, std::vector<TNavigateBtn>{nbPrior});
    nav.Buttons(nbPrior)->SetEnabled(false);
    QTest::keyClick(&nav, Qt::Key_Space);
    EXPECT_EQ(clicks.size(), 1u);
    QTest::keyClick(&nav, Qt::Key_Return);
    QTest::keyClick(&nav, Qt::Key_A);
    EXPECT_EQ(clicks.size(), 1u);
}

TEST(Navigator, HintsGoToButtonsByPositionSkippingEmptyEntries)
{
    TNavigator nav;
    nav.Buttons(nbPrior)->setToolTip("kept");
    QStringList hints{"First", "Back", "", "Next"};
    for (int i = 4; i < 14; ++i)
        hints << QString("Hint %1").arg(i);
    nav.SetHints(hints);
    EXPECT_EQ(nav.Hints(), hints);
    EXPECT_EQ(nav.Buttons(nbFirst)->toolTip(), "First");
    EXPECT_EQ(nav.Buttons(nbJumpPrior)->toolTip(), "Back");
    EXPECT_EQ(nav.Buttons(nbPrior)->toolTip(), "kept");
    EXPECT_EQ(nav.Buttons(nbNext)->toolTip(), "Next");
    EXPECT_EQ(nav.Buttons(nbRefresh)->toolTip(), "Hint 11");

    nav.SetHints({"", "", "", ""});
    EXPECT_EQ(nav.Buttons(nbFirst)->toolTip(), "First");
}

TEST(NavigatorPictures, FocusRectangleAndDisabledGlyph)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.SetTabStop(true);
    const QRgb shadow = ColorToQColor(clBtnShadow, nav.palette()).rgb();
    const QRgb face = ColorToQColor(clBtnFace, nav.palette()).rgb();

    const QImage plain = wn::test::Picture(nav, "navigator_default");
    const QRect first = nav.Buttons(nbFirst)->geometry();
    const QRect next = nav.Buttons(nbNext)->geometry();
    EXPECT_EQ(plain.pixel(first.left() + 3, first.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);
    EXPECT_GT(wn::test::CountPixels(plain, next, qRgb(0, 0, 0)), 10);
    EXPECT_EQ(wn::test::CountPixels(plain, next, qRgb(128, 128, 128)), 0);

    nav.setFocus();
    QApplication::processEvents();
    const QImage focused = wn::test::Picture(nav, "navigator_focused");
    // Dots from the corner (3, 3) inward, every other pixel.
    EXPECT_EQ(focused.pixel(first.left() + 3, first.top() + 3) & 0xFFFFFF, shadow & 0xFFFFFF);
    EXPECT_EQ(focused.pixel(first.left() + 4, first.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);
    EXPECT_EQ(focused.pixel(first.left() + 5, first.top() + 3) & 0xFFFFFF, shadow & 0xFFFFFF);
    EXPECT_EQ(focused.pixel(next.left() + 3, next.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);

    // Held down, the focus rectangle moves one pixel right and down with the glyph.
    nav.Buttons(nbFirst)->setDown(true);
    const QImage down = wn::test::Picture(nav, "navigator_focused_first_down");
    EXPECT_EQ(down.pixel(first.left() + 4, first.top() + 4) & 0xFFFFFF, shadow & 0xFFFFFF);
    EXPECT_EQ(down.pixel(first.left() + 5, first.top() + 4) & 0xFFFFFF, face & 0xFFFFFF);
    EXPECT_EQ(down.pixel(first.left() + 4, first.bottom() - 2) & 0xFFFFFF, shadow & 0xFFFFFF);
    nav.Buttons(nbFirst)->setDown(false);
    nav.clearFocus();
    const QImage unfocused = wn::test::Picture(nav, "navigator_unfocused");
    EXPECT_EQ(unfocused.pixel(first.left() + 3, first.top() + 3) & 0xFFFFFF, face & 0xFFFFFF);
    nav.setFocus();

    nav.Buttons(nbNext)->SetEnabled(false);
    nav.Buttons(nbDelete)->SetEnabled(false);
    const QImage disabled = wn::test::Picture(nav, "navigator_disabled_next_delete");
    EXPECT_EQ(wn::test::CountPixels(disabled, next, qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(disabled, next, qRgb(128, 128, 128)), 10);
    EXPECT_GT(wn::test::CountPixels(disabled, next, qRgb(255, 255, 255)), 5);

    nav.SetVisible(AllNavButtons);
    nav.Buttons(nbNext)->SetEnabled(true);
    nav.Buttons(nbDelete)->SetEnabled(true);
    nav.clearFocus();
    wn::test::Picture(nav, "navigator_all_buttons");
    nav.SetVisible(TButtonSet{nbFirst, nbPrior, nbNext, nbLast});
    wn::test::Picture(nav, "navigator_moves_only");
}
