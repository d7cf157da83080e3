#pragma once
// TPlayButtons: a bar of nine media-player buttons (play, pause, stop, next, previous, step,
// back, record, eject) for driving an animation or a replay. One control paints all buttons side
// by side, tracks the mouse itself and keeps a focused button for the keyboard; each button can
// be hidden, disabled or drawn with its coloured glyph on its own.

#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "wn_export.h"

#include <QImage>
#include <QRect>
#include <QSize>
#include <QWidget>

#include <array>
#include <cstdint>
#include <functional>

namespace wn {

enum TMPBtnType : std::uint8_t { pnPlay, pnPause, pnStop, pnNext, pnPrev, pnStep, pnBack, pnRecord, pnEject };
constexpr int MPButtonCount = 9;

enum TMPGlyph : std::uint8_t { mgEnabled, mgDisabled, mgColored };

using EMPNotify = std::function<void(QObject *Sender, TMPBtnType Button)>;

// Width of one button, borders included, when `count` buttons share `width` pixels with their
// neighbours' 1-pixel borders overlapping.
WN_EXPORT int PlayButtonWidth(int width, int count);
// The size the bar takes for `size`: the width snapped to whole buttons but not below the
// minimum button width, the height not below the minimum height.
WN_EXPORT QSize PlayAdjustedSize(QSize size, int count, int minButtonWidth, int minHeight);
// The visible button under x (a shared border belongs to the left button), or -1.
WN_EXPORT int PlayButtonAt(int x, const std::array<bool, MPButtonCount> &visible, int buttonWidth);

class WN_EXPORT TPlayButtons : public QWidget, public TComponentState
{
    Q_OBJECT

public:
    // The player's own button set (the record navigator has another of the same name).
    using TButtonSet = TSet<TMPBtnType>;
    static constexpr TButtonSet AllButtons = TButtonSet::FromBits(0x1FF);

    // Default AllButtons for all three.
    Q_PROPERTY(wn::TPlayButtons::TButtonSet ColoredButtons READ ColoredButtons WRITE SetColored)
    Q_PROPERTY(wn::TPlayButtons::TButtonSet EnabledButtons READ EnabledButtons WRITE SetEnabledButtons)
    Q_PROPERTY(wn::TPlayButtons::TButtonSet VisibleButtons READ VisibleButtons WRITE SetVisible)
    // Default true.
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    // Default true.
    Q_PROPERTY(bool TabStop READ TabStop WRITE SetTabStop)

    explicit TPlayButtons(QWidget *parent = nullptr);

    TButtonSet ColoredButtons() const { return FColoredButtons; }
    void SetColored(TButtonSet Value);
    TButtonSet EnabledButtons() const { return FEnabledButtons; }
    void SetEnabledButtons(TButtonSet Value);
    TButtonSet VisibleButtons() const { return FVisibleButtons; }
    void SetVisible(TButtonSet Value);
    bool Enabled() const { return !testAttribute(Qt::WA_ForceDisabled); }
    void SetEnabled(bool Value) { setEnabled(Value); }
    bool TabStop() const { return FTabStop; }
    void SetTabStop(bool Value);

    int VisibleButtonCount() const;
    // Snaps the width to whole buttons of the current button width.
    void Adjust();
    virtual void Click(TMPBtnType Button);

    int ButtonWidth() const { return FButtonWidth; }
    int MinButtonWidth() const { return FMinBtnWidth; }
    int MinHeight() const { return FMinHeight; }
    TMPBtnType FocusedButton() const { return FFocusedButton; }
    // The picture a button shows now.
    TMPGlyph GlyphKind(TMPBtnType Button) const;
    // A button's rectangle (borders included); empty for a hidden button.
    QRect ButtonRect(TMPBtnType Button) const;

    EMPNotify OnClick;

protected:
    void Loaded() override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    struct TButton {
        bool Visible = true;
        bool Enabled = true;
        bool Colored = true;
        std::array<QImage, 3> Bitmaps;
    };

    void LoadBitmaps();
    void ApplySizeRule();
    void Resize(QSize size);
    void DrawButton(QPainter &p, TMPBtnType Button, int x);
    void LeftButtonDown(QPoint pos);
    std::array<bool, MPButtonCount> VisibleFlags() const;

    std::array<TButton, MPButtonCount> FButtons;
    TButtonSet FVisibleButtons = AllButtons;
    TButtonSet FEnabledButtons = AllButtons;
    TButtonSet FColoredButtons = AllButtons;
    int FButtonWidth = 0;
    int FMinBtnWidth = 0;
    int FMinHeight = 0;
    TMPBtnType FFocusedButton = pnPlay;
    TMPBtnType FPressedButton = pnPlay;
    bool FTracking = false;
    bool FPressedIn = false;
    QRect FPressedRect;
    bool FTabStop = true;
};

} // namespace wn
