// The item navigator: count, index, jump step, insert and delete in each mode, the enabled state
// of every button, and the disabled control.

#include "navigators/NavItem.h"

#include "NavTestSupport.h"

#include <functional>

using namespace wn;
using wn::test::THostedControl;

namespace {

// The enabled buttons, one letter each in button order and '-' for a disabled one: first,
// jump back (B), prior, next, jump forward (J), last, insert, delete, edit, post (S), cancel,
// refresh.
QString Enabled(const TItemNavigator &nav)
{
    const QString letters = "FBPNJLIDESCR";
    QString map;
    for (int i = 0; i < NavButtonCount; ++i)
        map += nav.Buttons(TNavigateBtn(i))->Enabled() ? letters[i] : QChar('-');
    return map;
}

TItemNavigator &WithItems(TItemNavigator &nav, int count, int index)
{
    nav.SetItemsCount(count);
    nav.SetItemIndex(index);
    return nav;
}

} // namespace

TEST(ItemNavigator, CountAndIndexClampAndTheButtonsFollow)
{
    struct Case {
        bool DeleteAll;
        int Count, Index, ExpectedCount, ExpectedIndex;
        const char *Buttons;
    };
    // With the first step of 2; each state is also written as a picture.
    const Case cases[] = {
        {true, -3, -1, 0, -1, "------I-E--R"}, {false, 0, 0, 1, 0, "------IDE--R"},
        {false, -7, 0, 1, 0, "------IDE--R"},  {true, 2, 0, 2, 0, "---N-LIDE--R"},
        {true, 2, 1, 2, 1, "F-P---IDE--R"},    {true, 5, -1, 5, -1, "----J-I-E--R"},
        {true, 5, 0, 5, 0, "---NJLIDE--R"},    {true, 5, 1, 5, 1, "F-PNJLIDE--R"},
        {true, 5, 2, 5, 2, "FBPNJLIDE--R"},    {true, 5, 3, 5, 3, "FBPN-LIDE--R"},
        {true, 5, 4, 5, 4, "FBP---IDE--R"},    {true, 3, 1, 3, 1, "F-PN-LIDE--R"},
        {true, 3, 10, 3, 2, "FBP---IDE--R"},   {true, 3, -5, 3, -5, "----J-I-E--R"},
    };
    for (const Case &c : cases) {
        TItemNavigator nav;
        nav.SetVisible(TButtonSet::FromBits(0xFFF));
        nav.SetDeleteAll(c.DeleteAll);
        WithItems(nav, c.Count, c.Index);
        EXPECT_EQ(nav.ItemsCount(), c.ExpectedCount) << "row " << &c - cases;
        EXPECT_EQ(nav.ItemIndex(), c.ExpectedIndex) << "row " << &c - cases;
        EXPECT_EQ(Enabled(nav), c.Buttons) << "row " << &c - cases;
        wn::test::Picture(nav,
                          QString("itemnavigator_%1_items_at_%2").arg(c.ExpectedCount).arg(c.ExpectedIndex));
    }
    // Shrinking below the index brings it to the new last item.
    TItemNavigator nav;
    WithItems(nav, 10, 9).SetItemsCount(9);
    EXPECT_EQ(nav.ItemIndex(), 8);
}

TEST(ItemNavigator, ButtonsMoveInsertAndDelete)
{
    // Modes: '-' plain, 'B' insert behind, 'A' only add (and behind), 'K' keep the last item.
    struct Case {
        char Mode;
        int Count, Index;
        TNavigateBtn Button;
        int ExpectedCount, ExpectedIndex;
    };
    // With a jump step of 3. Into an empty list only a mode that moves the index selects the
    // new item.
    const Case cases[] = {
        {'-', 10, 5, nbPrior, 10, 4},    {'-', 10, 4, nbJumpPrior, 10, 1}, {'-', 10, 1, nbJumpPrior, 10, 1},
        {'-', 10, 2, nbJumpNext, 10, 5}, {'-', 10, 7, nbJumpNext, 10, 7},  {'-', 10, 8, nbNext, 10, 9},
        {'-', 10, 9, nbNext, 10, 9},     {'-', 10, 5, nbFirst, 10, 0},     {'-', 10, 0, nbPrior, 10, 0},
        {'-', 10, 5, nbLast, 10, 9},     {'-', 10, 5, nbEdit, 10, 5},      {'-', 3, 1, nbInsert, 4, 1},
        {'B', 3, 1, nbInsert, 4, 2},     {'A', 3, 0, nbInsert, 4, 3},      {'-', 0, -1, nbInsert, 1, -1},
        {'B', 0, -1, nbInsert, 1, 0},    {'-', 5, 4, nbDelete, 4, 3},      {'-', 5, 2, nbDelete, 4, 2},
        {'-', 1, 0, nbDelete, 0, -1},    {'-', 0, -1, nbDelete, 0, -1},    {'K', 1, 0, nbDelete, 1, 0},
        {'K', 2, 1, nbDelete, 1, 0},
    };
    for (const Case &c : cases) {
        TItemNavigator nav;
        nav.SetJumpCount(3);
        nav.SetDeleteAll(c.Mode != 'K');
        nav.SetOnlyAdd(c.Mode == 'A');
        nav.SetInsertBehind(c.Mode == 'A' || c.Mode == 'B');
        WithItems(nav, c.Count, c.Index).BtnClick(c.Button);
        EXPECT_EQ(nav.ItemsCount(), c.ExpectedCount) << "row " << &c - cases;
        EXPECT_EQ(nav.ItemIndex(), c.ExpectedIndex) << "row " << &c - cases;
    }
}

TEST(ItemNavigator, OwnerSeesOldPositionBeforeAndNewAfter)
{
    THostedControl<TItemNavigator> host;
    TItemNavigator &nav = *host.Control;
    nav.SetVisible(TButtonSet::FromBits(0xFFF));
    WithItems(nav, 4, 2);
    QStringList log;
    const auto logAs = [&](const QString &when) {
        return [&, when](QObject *sender, TNavigateBtn b) {
            EXPECT_EQ(sender, &nav);
            log << QString("%1 %2 at %3 of %4").arg(when).arg(b).arg(nav.ItemIndex()).arg(nav.ItemsCount());
        };
    };
    nav.OnBeforeOnClick = logAs("before");
    nav.OnClick = logAs("after");
    // At the first item the move-back buttons are off and cannot be clicked.
    for (const TNavigateBtn b : {nbNext, nbDelete, nbFirst, nbPrior})
        QTest::mouseClick(nav.Buttons(b), Qt::LeftButton);
    EXPECT_EQ(log, (QStringList{"before 3 at 2 of 4", "after 3 at 3 of 4", "before 7 at 3 of 4",
                                "after 7 at 2 of 3", "before 0 at 2 of 3", "after 0 at 0 of 3"}));

    // While designing the owner hears nothing, but the navigator still moves.
    log.clear();
    nav.SetDesigning(true);
    nav.BtnClick(nbLast);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(nav.ItemIndex(), 2);
}

TEST(ItemNavigator, ChangedStateAndJumpStep)
{
    TItemNavigator nav;
    WithItems(nav, 3, 1).SetItemChanged(true);
    EXPECT_EQ(Enabled(nav), "F-PN-LIDESCR");
    bool changedInHandler = false;
    nav.OnClick = [&](QObject *, TNavigateBtn) { changedInHandler = nav.ItemChanged(); };
    nav.BtnClick(nbPost);
    EXPECT_TRUE(changedInHandler);
    EXPECT_EQ(Enabled(nav), "F-PN-LIDE--R");
    nav.SetItemChanged(true);
    nav.BtnClick(nbCancel);
    EXPECT_FALSE(nav.ItemChanged());

    nav.BtnClick(nbRefresh);
    EXPECT_EQ(Enabled(nav), "F-PN-LIDE---");
    nav.SetItemChanged(true);
    nav.BtnClick(nbRefresh);
    // Moving discards the changed state and brings refresh back.
    nav.BtnClick(nbNext);
    EXPECT_FALSE(nav.ItemChanged());
    EXPECT_EQ(Enabled(nav), "FBP---IDE--R");

    // The step is picked by an enabled navigator only.
    nav.SetEnabled(false);
    nav.SetJumpCount(0);
    nav.SetItemsCount(50);
    EXPECT_EQ(nav.JumpCount(), 0);
    nav.SetEnabled(true);
    EXPECT_EQ(nav.JumpCount(), 7);
    EXPECT_EQ(Enabled(nav), "F-PNJLIDE--R");

    // Otherwise a step below one is picked once, from the next count: two below seven items.
    const std::tuple<int, int, int> steps[] = {{0, 50, 7}, {-1, 100, 10}, {0, 6, 2}, {0, 7, 3}};
    for (const auto &[jump, count, chosen] : steps) {
        nav.SetJumpCount(jump);
        nav.SetItemsCount(count);
        EXPECT_EQ(nav.JumpCount(), chosen) << count;
    }
    nav.SetItemsCount(100);
    EXPECT_EQ(nav.JumpCount(), 3);
}

// However the control is switched, the buttons follow: disabled, the index is stored and nothing
// else changes; enabled again, count and index are applied anew and the change is dropped. Edit
// keeps its own state throughout.
TEST(ItemNavigator, ButtonsFollowEveryWayOfEnabling)
{
    using TSwitch = std::function<void(TItemNavigator &, bool)>;
    const std::pair<const char *, TSwitch> ways[] = {
        {"SetEnabled", [](TItemNavigator &n, bool on) { n.SetEnabled(on); }},
        {"Enabled property", [](TItemNavigator &n, bool on) { n.setProperty("Enabled", on); }},
        {"setEnabled", [](TItemNavigator &n, bool on) { n.setEnabled(on); }},
        {"setDisabled", [](TItemNavigator &n, bool on) { n.setDisabled(!on); }},
        {"enabled property", [](TItemNavigator &n, bool on) { n.setProperty("enabled", on); }},
    };
    for (const auto &[name, turn] : ways) {
        TItemNavigator nav;
        WithItems(nav, 5, 4).SetItemChanged(true);
        nav.Buttons(nbEdit)->SetEnabled(false);
        turn(nav, false);
        EXPECT_EQ(Enabled(nav), "---------SCR") << name;
        if (name == ways[0].first)
            wn::test::Picture(nav, "itemnavigator_disabled_changed");
        nav.SetItemIndex(4);
        nav.SetItemsCount(2);
        EXPECT_EQ(nav.ItemIndex(), 4) << name;
        EXPECT_EQ(Enabled(nav), "---------SCR") << name;
        turn(nav, true);
        EXPECT_EQ(nav.ItemIndex(), 1) << name;
        EXPECT_FALSE(nav.ItemChanged()) << name;
        EXPECT_EQ(Enabled(nav), "F-P---ID---R") << name;
    }
    // A parent's switch leaves the own flag, and with it the changed state, alone.
    QWidget parent;
    auto *nav = new TItemNavigator(&parent);
    WithItems(*nav, 5, 4).SetItemChanged(true);
    parent.setEnabled(false);
    parent.setEnabled(true);
    EXPECT_TRUE(nav->ItemChanged());
    EXPECT_EQ(Enabled(*nav), "FBP---IDESCR");
}
