#pragma once
// TItemNavigator: the navigator bar bound to a list of items that it only counts. It keeps the
// item count and the current index, moves the index with the move buttons, grows and shrinks the
// count on insert and delete, and keeps every button's enabled state in line with the position.
// The owner hears of a click through OnBeforeOnClick (old position) and OnClick (new position).

#include "navigators/navUnit.h"
#include "wn_export.h"

#include <cstdint>

namespace wn {

class WN_EXPORT TItemNavigator : public TNavigator
{
    Q_OBJECT
    // None of these has a default: all are always written.
    Q_PROPERTY(bool DeleteAll READ DeleteAll WRITE SetDeleteAll)
    Q_PROPERTY(std::int32_t ItemsCount READ ItemsCount WRITE SetItemsCount)
    Q_PROPERTY(std::int32_t ItemIndex READ ItemIndex WRITE SetItemIndex)
    Q_PROPERTY(bool ItemChanged READ ItemChanged WRITE SetItemChanged)
    Q_PROPERTY(std::int32_t JumpCount READ JumpCount WRITE SetJumpCount)
    Q_PROPERTY(bool OnlyAdd READ OnlyAdd WRITE SetOnlyAdd)
    Q_PROPERTY(bool InsertBehind READ InsertBehind WRITE SetInsertBehind)

public:
    explicit TItemNavigator(QWidget *parent = nullptr);

    bool DeleteAll() const { return FDeleteAll; }
    void SetDeleteAll(bool Value);
    std::int32_t ItemsCount() const { return FItemsCount; }
    void SetItemsCount(std::int32_t Value);
    std::int32_t ItemIndex() const { return FItemIndex; }
    void SetItemIndex(std::int32_t Value);
    bool ItemChanged() const { return FItemChanged; }
    void SetItemChanged(bool Value);
    // Below 1, the next count change picks a step from the count.
    std::int32_t JumpCount() const { return FJumpCount; }
    void SetJumpCount(std::int32_t Value) { FJumpCount = Value; }
    bool OnlyAdd() const { return FOnlyAdd; }
    void SetOnlyAdd(bool Value) { FOnlyAdd = Value; }
    bool InsertBehind() const { return FInsertBehind; }
    void SetInsertBehind(bool Value) { FInsertBehind = Value; }

    void BtnClick(TNavigateBtn Index) override;

    ENavClick OnBeforeOnClick;

protected:
    // Qt's setEnabled, setDisabled and the enabled property pass by SetEnabled, so the buttons
    // follow the control's own enabled flag from here.
    void changeEvent(QEvent *event) override;

private:
    void ApplyEnabled(bool Value);
    void EnableButton(TNavigateBtn button, bool value) { Buttons(button)->SetEnabled(value); }

    bool FDeleteAll = false;
    std::int32_t FItemsCount = 0;
    std::int32_t FItemIndex = -1;
    std::int32_t FJumpCount = 0;
    bool FItemChanged = false;
    bool FOnlyAdd = false;
    bool FInsertBehind = false;
    // The enabled flag the buttons were last laid out for. A parent's enabling reaches
    // changeEvent as well, but leaves the control's own flag, and so the buttons, alone.
    bool FButtonsEnabled = true;
};

} // namespace wn
