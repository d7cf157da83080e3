// The record navigator: its size rule, glyphs, clicks, keyboard focus, hints and painting.

#include "navigators/navUnit.h"

#include "NavTestSupport.h"
#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

using namespace wn;
using wn::test::THostedControl;

namespace {

const TButtonSet AllNavButtons = TButtonSet::FromBits(0xFFF);

} // namespace

TEST(NavLayout, SnapsOrSpreadsTheRemainderAndKeepsTheMinimum)
{
    const auto widths = [](const TNavLayout &layout, TButtonSet visible) {
        std::vector<int> w;
        for (int i = 0; i < NavButtonCount; ++i)
            if (visible.contains(TNavigateBtn(i)))
                w.push_back(layout.Buttons[i].width());
        return w;
    };
    const TNavLayout snapped = NavLayout(255, 25, NavDefaultButtons, false, {20, 18}, QSize(300, 25));
    EXPECT_EQ(QSize(snapped.Width, snapped.ButtonWidth), QSize(250, 25));
    const TNavLayout grown = NavLayout(150, 10, NavDefaultButtons, false, {20, 18}, QSize(300, 25));
    EXPECT_EQ(QSize(grown.Width, grown.Height), QSize(200, 18));
    // No visible button counts as one; hidden ones go just right of the current control.
    const TNavLayout none = NavLayout(0, 0, TButtonSet{}, false, {20, 18}, QSize(100, 30));
    EXPECT_EQ(QSize(none.Width, none.Height), QSize(20, 18));
    EXPECT_EQ(none.Buttons[nbFirst], QRect(101, 0, 20, 30));

    // Aligned, 5 pixels left: the error step starts at 5 and widens every second button.
    const TNavLayout spread = NavLayout(255, 25, NavDefaultButtons, true, {20, 18}, QSize(255, 25));
    EXPECT_EQ(widths(spread, NavDefaultButtons), (std::vector<int>{25, 26, 25, 26, 25, 26, 25, 26, 25, 26}));
    std::vector<int> twelve(12, 20);
    twelve[6] = 21;
    EXPECT_EQ(widths(NavLayout(241, 25, AllNavButtons, true, {20, 18}, QSize(241, 25)), AllNavButtons),
              twelve);
}

TEST(NavGlyphs, EveryButtonHasTwoPicturesOfThirteenRows)
{
    for (int i = 0; i < NavButtonCount; ++i) {
        const auto b = TNavigateBtn(i);
        const QImage bitmap = LoadBitmap("n_" + NavGlyphWord(b));
        EXPECT_EQ(bitmap.size(), QSize(b == nbPrior || b == nbNext ? 20 : 28, 13)) << i;
    }
    EXPECT_TRUE(LoadBitmap("n_nothing").isNull());
}

TEST(Navigator, SizeRuleAndHintsThroughTheWidget)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    // Width 241 snaps to ten buttons of 24.
    EXPECT_EQ(nav.size(), QSize(240, 25));
    nav.SetBounds(0, 0, 255, 30);
    EXPECT_EQ(nav.Buttons(nbRefresh)->geometry(), QRect(225, 0, 25, 30));

    EXPECT_TRUE(nav.setProperty("Align", QVariant::fromValue(alTop)));
    nav.resize(255, 25);
    EXPECT_EQ(nav.Buttons(nbPrior)->width(), 26);
    nav.SetAlign(alNone);
    EXPECT_EQ(nav.width(), 250);

    // The form reader sets the button set through the property system.
    EXPECT_TRUE(nav.setProperty("VisibleButtons", QVariant::fromValue(TButtonSet{nbFirst, nbLast})));
    nav.resize(101, 20);
    EXPECT_EQ(nav.Buttons(nbLast)->geometry(), QRect(50, 0, 50, 20));
    EXPECT_FALSE(nav.Buttons(nbNext)->isVisible());

    // While loading the size is taken as it comes; it snaps, and hints apply, once loaded.
    nav.BeginLoading();
    nav.SetVisible(AllNavButtons);
    nav.resize(255, 25);
    nav.SetHints({"Erster"});
    EXPECT_EQ(nav.width(), 255);
    nav.EndLoading();
    EXPECT_EQ(nav.width(), 252);
    EXPECT_EQ(nav.Buttons(nbFirst)->toolTip(), "Erster");

    // Hints go to the buttons by position; empty entries leave a button's hint alone.
    nav.Buttons(nbPrior)->setToolTip("kept");
    nav.SetHints({"", "Back", "", "Next", "Jump", "Last", "Insert", "Delete", "Edit", "Post", "Cancel",
                  "Refresh", "Extra"});
    EXPECT_EQ(nav.Buttons(nbFirst)->toolTip(), "Erster");
    EXPECT_EQ(nav.Buttons(nbPrior)->toolTip(), "kept");
    EXPECT_EQ(nav.Buttons(nbRefresh)->toolTip(), "Refresh");
}

TEST(Navigator, ClicksArrowsAndSpace)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    std::vector<TNavigateBtn> clicks, expected;
    nav.OnClick = [&](QObject *sender, TNavigateBtn b) {
        EXPECT_EQ(sender, &nav);
        clicks.push_back(b);
    };
    nav.SetVisible(AllNavButtons);
    for (int i = 0; i < NavButtonCount; ++i) {
        QTest::mouseClick(nav.Buttons(TNavigateBtn(i)), Qt::LeftButton);
        expected.push_back(TNavigateBtn(i));
    }
    // Without a tab stop neither a click nor the tab key gives the bar the focus.
    EXPECT_FALSE(nav.hasFocus());
    EXPECT_EQ(nav.FocusedButton(), nbRefresh);
    auto *before = new QWidget(host.Form.get());
    before->setFocusPolicy(Qt::StrongFocus);
    before->show();
    QWidget::setTabOrder(before, &nav);
    for (const bool tabStop : {false, true}) {
        nav.SetTabStop(tabStop);
        before->setFocus();
        QTest::keyClick(before, Qt::Key_Tab);
        EXPECT_EQ(nav.hasFocus(), tabStop);
    }
    nav.SetVisible(NavDefaultButtons);
    before->setFocus();
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    expected.push_back(nbNext);
    EXPECT_TRUE(nav.hasFocus());

    // The jump buttons are hidden and skipped; up does nothing. The ends are reached even when
    // their buttons are hidden.
    wn::test::ExpectFocusSteps(nav, "<<<>>>^", {nbPrior, nbFirst, nbFirst, nbPrior, nbNext, nbLast, nbLast});
    nav.SetVisible(TButtonSet{nbPrior, nbNext, nbEdit});
    wn::test::ExpectFocusSteps(nav, ">>><<<<",
                               {nbEdit, nbRefresh, nbRefresh, nbEdit, nbNext, nbPrior, nbFirst});

    // Space clicks the focused button when it is enabled; other keys never do.
    QTest::keyClick(&nav, Qt::Key_Right);
    QTest::keyClick(&nav, Qt::Key_Space);
    expected.push_back(nbPrior);
    nav.Buttons(nbPrior)->SetEnabled(false);
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_A})
        QTest::keyClick(&nav, key);

    // A disabled bar leaves its buttons' own state alone but takes no clicks.
    nav.SetEnabled(false);
    EXPECT_EQ(nav.Buttons(nbFirst)->State(), TSpeedButton::bsUp);
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    nav.SetEnabled(true);
    EXPECT_FALSE(nav.Buttons(nbPrior)->Enabled());
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    expected.push_back(nbNext);

    nav.SetDesigning(true);
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    nav.BtnClick(nbPost);
    EXPECT_EQ(clicks, expected);
}

TEST(NavigatorPictures, FocusRectangleAndDisabledGlyph)
{
    THostedControl<TNavigator> host;
    TNavigator &nav = *host.Control;
    nav.SetTabStop(true);
    const QRgb shadow = ColorToQColor(clBtnShadow, nav.palette()).rgb();
    const QRgb face = ColorToQColor(clBtnFace, nav.palette()).rgb();
    const QRect next = nav.Buttons(nbNext)->geometry();
    const QPoint corner = nav.Buttons(nbFirst)->geometry().topLeft() + QPoint(3, 3);

    const QImage plain = wn::test::Picture(nav, "navigator_default");
    EXPECT_EQ(plain.pixel(corner), face);
    EXPECT_GT(wn::test::CountPixels(plain, next, qRgb(0, 0, 0)), 10);

    // Dots from the corner (3, 3) inward, every other pixel, on the focused button only.
    nav.setFocus();
    const QImage focused = wn::test::Picture(nav, "navigator_focused");
    EXPECT_EQ(focused.pixel(corner), shadow);
    EXPECT_EQ(focused.pixel(corner + QPoint(1, 0)), face);
    EXPECT_EQ(focused.pixel(corner + QPoint(2, 0)), shadow);
    EXPECT_EQ(focused.pixel(next.topLeft() + QPoint(3, 3)), face);

    nav.Buttons(nbNext)->SetEnabled(false);
    nav.Buttons(nbDelete)->SetEnabled(false);
    const QImage disabled = wn::test::Picture(nav, "navigator_disabled_next_delete");
    EXPECT_EQ(wn::test::CountPixels(disabled, next, qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(disabled, next, qRgb(128, 128, 128)), 10);

    nav.clearFocus();
    nav.SetVisible(TButtonSet{nbFirst, nbPrior, nbNext, nbLast});
    wn::test::Picture(nav, "navigator_moves_only");
}
