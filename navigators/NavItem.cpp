#include "navigators/NavItem.h"

#include <QEvent>

#include <algorithm>
#include <cmath>

namespace wn {

TItemNavigator::TItemNavigator(QWidget *parent) : TNavigator(parent)
{
    SetDeleteAll(true);
    SetItemsCount(0);
    SetItemIndex(-1);
}

void TItemNavigator::SetDeleteAll(bool Value)
{
    FDeleteAll = Value;
    if (!FDeleteAll && FItemsCount < 1) {
        SetItemsCount(1);
        SetItemIndex(0);
    }
}

void TItemNavigator::SetItemsCount(std::int32_t Value)
{
    if (!FDeleteAll) {
        Value = std::max(Value, 1);
    } else if (Value < 1) {
        Value = 0;
        SetItemIndex(-1);
    }
    FItemsCount = Value;
    if (!FButtonsEnabled)
        return;
    EnableButton(nbDelete, FItemsCount >= 1);
    // The step is chosen once: a step of 1 or more stays even when the count grows later.
    if (FJumpCount < 1)
        FJumpCount = FItemsCount >= 7 ? std::int32_t(std::nearbyint(std::sqrt(double(FItemsCount)))) : 2;
    if (FItemsCount - 1 < FItemIndex)
        SetItemIndex(FItemIndex - 1);
}

void TItemNavigator::SetItemIndex(std::int32_t Value)
{
    FItemIndex = std::min(Value, FItemsCount - 1);
    if (!FButtonsEnabled)
        return;
    bool backward = true, forward = true;
    if (FItemsCount < 2 || FItemIndex < 0) {
        backward = forward = false;
    } else if (FItemIndex == 0) {
        backward = false;
    } else if (FItemIndex == FItemsCount - 1) {
        forward = false;
    }
    EnableButton(nbFirst, backward);
    EnableButton(nbPrior, backward);
    EnableButton(nbNext, forward);
    EnableButton(nbLast, forward);
    EnableButton(nbDelete, FItemsCount > 0 && FItemIndex > -1);
    EnableButton(nbJumpPrior, FJumpCount > 0 && FJumpCount <= FItemIndex);
    EnableButton(nbJumpNext, FJumpCount > 0 && FItemsCount - FJumpCount > FItemIndex);
    SetItemChanged(false);
}

void TItemNavigator::SetItemChanged(bool Value)
{
    FItemChanged = Value;
    EnableButton(nbPost, Value);
    EnableButton(nbCancel, Value);
    EnableButton(nbRefresh, true);
}

void TItemNavigator::changeEvent(QEvent *event)
{
    TNavigator::changeEvent(event);
    if (event->type() == QEvent::EnabledChange && Enabled() != FButtonsEnabled)
        ApplyEnabled(Enabled());
}

void TItemNavigator::ApplyEnabled(bool Value)
{
    FButtonsEnabled = Value;
    if (Value) {
        EnableButton(nbInsert, true);
        SetItemsCount(FItemsCount);
        SetItemIndex(FItemIndex);
    } else {
        for (TNavigateBtn b : {nbFirst, nbPrior, nbNext, nbLast, nbDelete, nbInsert, nbJumpPrior, nbJumpNext})
            EnableButton(b, false);
    }
}

void TItemNavigator::BtnClick(TNavigateBtn Index)
{
    if (!Designing() && OnBeforeOnClick)
        OnBeforeOnClick(this, Index);
    switch (Index) {
    case nbFirst: SetItemIndex(0); break;
    case nbJumpPrior:
        if (FJumpCount >= 1 && FJumpCount <= FItemIndex)
            SetItemIndex(FItemIndex - FJumpCount);
        break;
    case nbPrior:
        if (FItemIndex > 0)
            SetItemIndex(FItemIndex - 1);
        break;
    case nbNext:
        if (FItemsCount - 1 > FItemIndex)
            SetItemIndex(FItemIndex + 1);
        break;
    case nbJumpNext:
        if (FJumpCount > 0 && FItemsCount - FJumpCount > FItemIndex)
            SetItemIndex(FItemIndex + FJumpCount);
        break;
    case nbLast: SetItemIndex(FItemsCount - 1); break;
    case nbInsert: {
        SetItemsCount(FItemsCount + 1);
        const std::int32_t index = FOnlyAdd ? FItemsCount - 1 : FItemIndex + (FInsertBehind ? 1 : 0);
        SetItemIndex(index);
        break;
    }
    case nbDelete:
        if ((FDeleteAll || FItemsCount >= 2) && FItemsCount > 0) {
            SetItemsCount(FItemsCount - 1);
            SetItemIndex(FItemIndex);
        }
        break;
    case nbEdit:
    case nbPost:
    case nbCancel:
    case nbRefresh: break;
    }
    TNavigator::BtnClick(Index);
    if (Index == nbPost || Index == nbCancel)
        SetItemChanged(false);
    else if (Index == nbRefresh)
        EnableButton(nbRefresh, false);
}

} // namespace wn
