// The item navigator: count, index, jump step, insert and delete in each mode, the enabled state
// of every button, and the disabled control.

#include "navigators/NavItem.h"

#include "NavTestSupport.h"

#include <vector>

using namespace wn;
using wn::test::THostedControl;

namespace {

TButtonSet EnabledButtons(const TItemNavigator &nav)
{
    TButtonSet set;
    for (int i = 0; i < NavButtonCount; ++i)
        if (nav.Buttons(TNavigateBtn(i))->Enabled())
            set += TNavigateBtn(i);
    return set;
}

// The buttons that the position decides, for `count` items at `index` with a step of 2.
TButtonSet PositionButtons(int count, int index, int jump = 2)
{
    TButtonSet set{nbInsert, nbEdit, nbRefresh};
    if (count >= 2 && index >= 0) {
        if (index > 0)
            set |= TButtonSet{nbFirst, nbPrior};
        if (index < count - 1)
            set |= TButtonSet{nbNext, nbLast};
    }
    if (count > 0 && index > -1)
        set += nbDelete;
    if (jump <= index)
        set += nbJumpPrior;
    if (count - jump > index)
        set += nbJumpNext;
    return set;
}

TItemNavigator &WithItems(TItemNavigator &nav, int count, int index)
{
    nav.SetItemsCount(count);
    nav.SetItemIndex(index);
    return nav;
}

} // namespace

TEST(ItemNavigator, NewNavigatorHasNoItems)
{
    TItemNavigator nav;
    EXPECT_TRUE(nav.DeleteAll());
    EXPECT_EQ(nav.ItemsCount(), 0);
    EXPECT_EQ(nav.ItemIndex(), -1);
    EXPECT_EQ(nav.JumpCount(), 2);
    EXPECT_FALSE(nav.ItemChanged());
    EXPECT_EQ(EnabledButtons(nav), (TButtonSet{nbInsert, nbEdit, nbRefresh}));

    const QMetaObject *meta = nav.metaObject();
    for (const char *name : {"DeleteAll", "ItemsCount", "ItemIndex", "ItemChanged", "JumpCount", "OnlyAdd",
                             "InsertBehind", "VisibleButtons", "ConfirmDelete"})
        EXPECT_GE(meta->indexOfProperty(name), 0) << name;
    EXPECT_TRUE(nav.setProperty("ItemsCount", 4));
    EXPECT_TRUE(nav.setProperty("ItemIndex", 3));
    EXPECT_EQ(nav.ItemIndex(), 3);
}

TEST(ItemNavigator, CountWithAndWithoutDeleteAll)
{
    TItemNavigator nav;
    nav.SetItemsCount(-3);
    EXPECT_EQ(nav.ItemsCount(), 0);
    EXPECT_EQ(nav.ItemIndex(), -1);

    nav.SetDeleteAll(false);
    EXPECT_EQ(nav.ItemsCount(), 1);
    EXPECT_EQ(nav.ItemIndex(), 0);
    nav.SetItemsCount(0);
    EXPECT_EQ(nav.ItemsCount(), 1);
    nav.SetItemsCount(-7);
    EXPECT_EQ(nav.ItemsCount(), 1);

    nav.SetDeleteAll(true);
    nav.SetItemsCount(0);
    EXPECT_EQ(nav.ItemsCount(), 0);
    EXPECT_EQ(nav.ItemIndex(), -1);

    // Shrinking below the index brings it to the new last item.
    WithItems(nav, 10, 9).SetItemsCount(5);
    EXPECT_EQ(nav.ItemIndex(), 4);
    WithItems(nav, 10, 9).SetItemsCount(9);
    EXPECT_EQ(nav.ItemIndex(), 8);
}

TEST(ItemNavigator, IndexIsClampedAtTheTopOnly)
{
    TItemNavigator nav;
    WithItems(nav, 3, 10);
    EXPECT_EQ(nav.ItemIndex(), 2);
    nav.SetItemIndex(-5);
    EXPECT_EQ(nav.ItemIndex(), -5);
    EXPECT_EQ(EnabledButtons(nav), (TButtonSet{nbInsert, nbEdit, nbRefresh, nbJumpNext}));
}

TEST(ItemNavigator, ButtonsFollowThePosition)
{
    TItemNavigator nav;
    struct Case {
        int Count, Index;
    };
    for (const Case c : {Case{0, -1}, Case{1, 0}, Case{2, 0}, Case{2, 1}, Case{5, -1}, Case{5, 0}, Case{5, 1},
                         Case{5, 2}, Case{5, 3}, Case{5, 4}, Case{3, 1}}) {
        WithItems(nav, c.Count, c.Index);
        EXPECT_EQ(EnabledButtons(nav).Bits(), PositionButtons(c.Count, c.Index).Bits())
            << c.Count << " items at " << c.Index;
    }
    // By hand for one case: 5 items at 1 with a step of 2.
    WithItems(nav, 5, 1);
    EXPECT_EQ(EnabledButtons(nav), (TButtonSet{nbFirst, nbPrior, nbNext, nbLast, nbJumpNext, nbInsert,
                                               nbDelete, nbEdit, nbRefresh}));
}

TEST(ItemNavigator, JumpStepIsChosenOnceFromTheCount)
{
    TItemNavigator nav;
    nav.SetJumpCount(0);
    nav.SetItemsCount(50);
    EXPECT_EQ(nav.JumpCount(), 7);
    nav.SetItemsCount(100);
    EXPECT_EQ(nav.JumpCount(), 7);
    nav.SetJumpCount(-1);
    nav.SetItemsCount(100);
    EXPECT_EQ(nav.JumpCount(), 10);
    nav.SetJumpCount(0);
    nav.SetItemsCount(6);
    EXPECT_EQ(nav.JumpCount(), 2);
    nav.SetJumpCount(0);
    nav.SetItemsCount(7);
    EXPECT_EQ(nav.JumpCount(), 3);

    nav.SetJumpCount(4);
    WithItems(nav, 10, 3);
    EXPECT_FALSE(nav.Buttons(nbJumpPrior)->Enabled());
    EXPECT_TRUE(nav.Buttons(nbJumpNext)->Enabled());
    nav.SetItemIndex(4);
    EXPECT_TRUE(nav.Buttons(nbJumpPrior)->Enabled());
    nav.SetItemIndex(6);
    EXPECT_FALSE(nav.Buttons(nbJumpNext)->Enabled());
}

TEST(ItemNavigator, MoveButtons)
{
    TItemNavigator nav;
    nav.SetJumpCount(3);
    WithItems(nav, 10, 5);
    nav.BtnClick(nbPrior);
    EXPECT_EQ(nav.ItemIndex(), 4);
    nav.BtnClick(nbJumpPrior);
    EXPECT_EQ(nav.ItemIndex(), 1);
    nav.BtnClick(nbJumpPrior);
    EXPECT_EQ(nav.ItemIndex(), 1);
    nav.BtnClick(nbNext);
    EXPECT_EQ(nav.ItemIndex(), 2);
    nav.BtnClick(nbJumpNext);
    EXPECT_EQ(nav.ItemIndex(), 5);
    nav.BtnClick(nbJumpNext);
    EXPECT_EQ(nav.ItemIndex(), 8);
    nav.BtnClick(nbJumpNext);
    EXPECT_EQ(nav.ItemIndex(), 8);
    nav.BtnClick(nbNext);
    nav.BtnClick(nbNext);
    EXPECT_EQ(nav.ItemIndex(), 9);
    nav.BtnClick(nbFirst);
    EXPECT_EQ(nav.ItemIndex(), 0);
    nav.BtnClick(nbPrior);
    EXPECT_EQ(nav.ItemIndex(), 0);
    nav.BtnClick(nbLast);
    EXPECT_EQ(nav.ItemIndex(), 9);
    // Edit and the other record buttons do not move.
    nav.BtnClick(nbEdit);
    EXPECT_EQ(nav.ItemIndex(), 9);
    EXPECT_EQ(nav.ItemsCount(), 10);
}

TEST(ItemNavigator, InsertInEachMode)
{
    TItemNavigator nav;
    WithItems(nav, 3, 1).BtnClick(nbInsert);
    EXPECT_EQ(nav.ItemsCount(), 4);
    EXPECT_EQ(nav.ItemIndex(), 1);

    nav.SetInsertBehind(true);
    WithItems(nav, 3, 1).BtnClick(nbInsert);
    EXPECT_EQ(nav.ItemsCount(), 4);
    EXPECT_EQ(nav.ItemIndex(), 2);

    nav.SetOnlyAdd(true);
    WithItems(nav, 3, 0).BtnClick(nbInsert);
    EXPECT_EQ(nav.ItemsCount(), 4);
    EXPECT_EQ(nav.ItemIndex(), 3);

    // Into an empty list: only a mode that moves the index selects the new item.
    nav.SetOnlyAdd(false);
    nav.SetInsertBehind(false);
    WithItems(nav, 0, -1).BtnClick(nbInsert);
    EXPECT_EQ(nav.ItemsCount(), 1);
    EXPECT_EQ(nav.ItemIndex(), -1);
    nav.SetInsertBehind(true);
    WithItems(nav, 0, -1).BtnClick(nbInsert);
    EXPECT_EQ(nav.ItemIndex(), 0);
    EXPECT_TRUE(nav.Buttons(nbDelete)->Enabled());
}

TEST(ItemNavigator, DeleteWithAndWithoutDeleteAll)
{
    TItemNavigator nav;
    WithItems(nav, 5, 4).BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 4);
    EXPECT_EQ(nav.ItemIndex(), 3);
    WithItems(nav, 5, 2).BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 4);
    EXPECT_EQ(nav.ItemIndex(), 2);

    WithItems(nav, 1, 0).BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 0);
    EXPECT_EQ(nav.ItemIndex(), -1);
    EXPECT_FALSE(nav.Buttons(nbDelete)->Enabled());
    nav.BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 0);

    nav.SetDeleteAll(false);
    WithItems(nav, 1, 0).BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 1);
    EXPECT_EQ(nav.ItemIndex(), 0);
    WithItems(nav, 2, 1).BtnClick(nbDelete);
    EXPECT_EQ(nav.ItemsCount(), 1);
    EXPECT_EQ(nav.ItemIndex(), 0);
}

TEST(ItemNavigator, OwnerSeesOldPositionBeforeAndNewAfter)
{
    THostedControl<TItemNavigator> host;
    TItemNavigator &nav = *host.Control;
    nav.SetVisible(TButtonSet::FromBits(0xFFF));
    WithItems(nav, 4, 2);
    QStringList log;
    nav.OnBeforeOnClick = [&](QObject *sender, TNavigateBtn b) {
        EXPECT_EQ(sender, &nav);
        log << QString("before %1 at %2 of %3").arg(int(b)).arg(nav.ItemIndex()).arg(nav.ItemsCount());
    };
    nav.OnClick = [&](QObject *, TNavigateBtn b) {
        log << QString("after %1 at %2 of %3").arg(int(b)).arg(nav.ItemIndex()).arg(nav.ItemsCount());
    };
    QTest::mouseClick(nav.Buttons(nbNext), Qt::LeftButton);
    QTest::mouseClick(nav.Buttons(nbDelete), Qt::LeftButton);
    QTest::mouseClick(nav.Buttons(nbFirst), Qt::LeftButton);
    EXPECT_EQ(log, (QStringList{"before 3 at 2 of 4", "after 3 at 3 of 4", "before 7 at 3 of 4",
                                "after 7 at 2 of 3", "before 0 at 2 of 3", "after 0 at 0 of 3"}));

    // At the first item the move-back buttons are off and cannot be clicked.
    log.clear();
    QTest::mouseClick(nav.Buttons(nbPrior), Qt::LeftButton);
    EXPECT_TRUE(log.empty());

    // While designing the owner hears nothing, but the navigator still moves.
    nav.SetDesigning(true);
    nav.BtnClick(nbLast);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(nav.ItemIndex(), 2);
}

TEST(ItemNavigator, ChangedStatePostCancelAndRefresh)
{
    TItemNavigator nav;
    WithItems(nav, 3, 1);
    nav.SetItemChanged(true);
    EXPECT_TRUE(nav.Buttons(nbPost)->Enabled());
    EXPECT_TRUE(nav.Buttons(nbCancel)->Enabled());
    bool changedInHandler = false;
    nav.OnClick = [&](QObject *, TNavigateBtn) { changedInHandler = nav.ItemChanged(); };
    nav.BtnClick(nbPost);
    EXPECT_TRUE(changedInHandler);
    EXPECT_FALSE(nav.ItemChanged());
    EXPECT_FALSE(nav.Buttons(nbPost)->Enabled());
    EXPECT_FALSE(nav.Buttons(nbCancel)->Enabled());

    nav.SetItemChanged(true);
    nav.BtnClick(nbCancel);
    EXPECT_FALSE(nav.ItemChanged());

    nav.BtnClick(nbRefresh);
    EXPECT_FALSE(nav.Buttons(nbRefresh)->Enabled());
    nav.SetItemChanged(true);
    EXPECT_TRUE(nav.Buttons(nbRefresh)->Enabled());
    nav.BtnClick(nbRefresh);
    // Moving discards the changed state and brings refresh back.
    nav.BtnClick(nbNext);
    EXPECT_FALSE(nav.ItemChanged());
    EXPECT_TRUE(nav.Buttons(nbRefresh)->Enabled());
}

TEST(ItemNavigator, DisabledControl)
{
    TItemNavigator nav;
    WithItems(nav, 5, 2);
    nav.SetItemChanged(true);
    nav.Buttons(nbEdit)->SetEnabled(false);
    // The form reader's way in reaches the item navigator's own handling.
    EXPECT_TRUE(nav.setProperty("Enabled", false));
    EXPECT_FALSE(nav.Enabled());
    EXPECT_EQ(EnabledButtons(nav), (TButtonSet{nbPost, nbCancel, nbRefresh}));

    // The index is stored, nothing else changes.
    nav.SetItemIndex(4);
    EXPECT_EQ(nav.ItemIndex(), 4);
    EXPECT_TRUE(nav.ItemChanged());
    EXPECT_EQ(EnabledButtons(nav), (TButtonSet{nbPost, nbCancel, nbRefresh}));
    nav.SetItemsCount(2);
    EXPECT_EQ(nav.ItemIndex(), 4);

    nav.SetEnabled(false);
    nav.SetEnabled(true);
    // Count 2: the index comes back to the last item; edit keeps its own state.
    EXPECT_EQ(nav.ItemIndex(), 1);
    EXPECT_FALSE(nav.ItemChanged());
    EXPECT_EQ(EnabledButtons(nav), PositionButtons(2, 1) - nbEdit);

    // The step is picked by an enabled navigator only: enabling re-applies the count.
    nav.SetEnabled(false);
    nav.SetJumpCount(0);
    nav.SetItemsCount(50);
    EXPECT_EQ(nav.JumpCount(), 0);
    EXPECT_FALSE(nav.Buttons(nbDelete)->Enabled());
    nav.SetEnabled(true);
    EXPECT_EQ(nav.JumpCount(), 7);
    EXPECT_EQ(nav.ItemIndex(), 1);
    EXPECT_EQ(EnabledButtons(nav), PositionButtons(50, 1, 7) - nbEdit);
}

TEST(ItemNavigatorPictures, PositionShowsInTheGlyphs)
{
    THostedControl<TItemNavigator> host;
    TItemNavigator &nav = *host.Control;
    nav.SetVisible(TButtonSet::FromBits(0xFFF));
    nav.resize(300, 25);
    WithItems(nav, 10, 0);
    const QImage first = wn::test::Picture(nav, "itemnavigator_first_of_ten");
    const QRect prior = nav.Buttons(nbPrior)->geometry();
    const QRect next = nav.Buttons(nbNext)->geometry();
    EXPECT_GT(wn::test::CountPixels(first, prior, qRgb(128, 128, 128)), 10);
    EXPECT_EQ(wn::test::CountPixels(first, prior, qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(first, next, qRgb(0, 0, 0)), 10);

    nav.SetItemIndex(9);
    nav.SetItemChanged(true);
    const QImage last = wn::test::Picture(nav, "itemnavigator_last_of_ten_changed");
    EXPECT_EQ(wn::test::CountPixels(last, next, qRgb(0, 0, 0)), 0);
    EXPECT_GT(wn::test::CountPixels(last, prior, qRgb(0, 0, 0)), 10);

    nav.SetEnabled(false);
    wn::test::Picture(nav, "itemnavigator_disabled");
}
