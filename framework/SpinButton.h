#pragma once
// TSpinButton: an up and a down arrow button stacked on top of each other, as numeric edits
// carry at their right edge. A click (and every repeat while a button is held down) raises
// OnUpClick or OnDownClick; pressing a button gives the keyboard focus to the focus control,
// since the buttons never take it themselves.

#include "framework/Classes.h"
#include "framework/SpeedButton.h"
#include "wn_export.h"

#include <QPointer>
#include <QSize>
#include <QWidget>

namespace wn {

// The size of the arrow drawn on one half of a spin button of `button` size: the widest odd
// width that keeps two pixels of bevel and two of air on either side and fits the half's height
// with its bevel; the height is half the width, rounded up. Never smaller than 1 x 1.
WN_EXPORT QSize SpinArrowSize(QSize button);

class WN_EXPORT TSpinButton : public QWidget
{
    Q_OBJECT
    // Default none.
    Q_PROPERTY(QWidget *FocusControl READ FocusControl WRITE SetFocusControl)

public:
    // Held down, a button repeats its click after this pause and then at this interval (ms).
    static constexpr int InitRepeatPause = 400;
    static constexpr int RepeatPause = 100;

    // A new spin button is 20 x 25 pixels.
    explicit TSpinButton(QWidget *parent = nullptr);

    QWidget *FocusControl() const { return FFocusControl; }
    void SetFocusControl(QWidget *value) { FFocusControl = value; }

    TSpeedButton *UpButton() const { return FUpButton; }
    TSpeedButton *DownButton() const { return FDownButton; }

    // Sender is the spin button.
    TNotifyEvent OnUpClick;
    TNotifyEvent OnDownClick;

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    TSpeedButton *CreateButton(bool up);
    void BtnMouseDown();
    void AdjustButtons();

    TSpeedButton *FUpButton;
    TSpeedButton *FDownButton;
    QPointer<QWidget> FFocusControl;
};

} // namespace wn
