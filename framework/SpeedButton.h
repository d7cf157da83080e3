#pragma once
// TSpeedButton: a small button that shows a glyph (or a short caption, its text()) and never
// takes the keyboard focus (the control it sits on does). The glyph image may hold several
// pictures of equal width side by side: up, disabled, down; the colour of its bottom-left pixel
// is transparent. Buttons of one parent that share a GroupIndex work as toggles: a click holds
// the button down and releases the others of its group.

#include "wn_export.h"

#include <QImage>
#include <QToolButton>

#include <cstdint>
#include <functional>

namespace wn {

class WN_EXPORT TSpeedButton : public QToolButton
{
    Q_OBJECT
    // The glyph image; default none.
    Q_PROPERTY(QImage Glyph READ Glyph WRITE SetGlyph)
    // How many pictures the glyph image holds (1 to 4); default 1.
    Q_PROPERTY(int NumGlyphs READ NumGlyphs WRITE SetNumGlyphs)
    // A flat button shows its border only while pressed or under the mouse; default false.
    Q_PROPERTY(bool Flat READ Flat WRITE SetFlat)
    // The button's own enabled state (a disabled parent leaves it untouched); default true.
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    // 0: a plain button; above 0: a toggle in the group of that number among its siblings;
    // default 0.
    Q_PROPERTY(int GroupIndex READ GroupIndex WRITE SetGroupIndex)
    // A toggle held down; default false.
    Q_PROPERTY(bool Down READ Down WRITE SetDown)
    // Whether a click on a held toggle releases it (else one of the group stays down); default
    // false.
    Q_PROPERTY(bool AllowAllUp READ AllowAllUp WRITE SetAllowAllUp)

public:
    // Which picture of the glyph image is drawn.
    enum TButtonState : std::uint8_t { bsUp, bsDisabled, bsDown };

    explicit TSpeedButton(QWidget *parent = nullptr);

    QImage Glyph() const { return FGlyph; }
    void SetGlyph(const QImage &value);
    int NumGlyphs() const { return FNumGlyphs; }
    void SetNumGlyphs(int value);
    bool Flat() const { return FFlat; }
    void SetFlat(bool value);
    bool Enabled() const { return !testAttribute(Qt::WA_ForceDisabled); }
    void SetEnabled(bool value) { setEnabled(value); }
    int GroupIndex() const { return FGroupIndex; }
    void SetGroupIndex(int value);
    bool Down() const { return FDown; }
    // Holding a toggle down releases the others of its group; a plain button stays up.
    void SetDown(bool value);
    bool AllowAllUp() const { return FAllowAllUp; }
    void SetAllowAllUp(bool value) { FAllowAllUp = value; }

    TButtonState State() const;
    // The picture drawn for a state, with its transparent pixels cleared. A state the image has
    // no picture for uses the up picture (engraved when disabled).
    QImage StateGlyph(TButtonState state) const;

    // Toggles a grouped button, then raises OnClick; a release of the left button over the
    // pressed button calls it.
    virtual void Click();

    std::function<void(TSpeedButton *Sender)> OnClick;
    std::function<void(TSpeedButton *Sender, Qt::MouseButton Button, Qt::KeyboardModifiers Shift, QPoint Pos)>
        OnMouseDown;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    void SplitGlyph();

    QImage FGlyph;
    QImage FPictures[3];
    int FNumGlyphs = 1;
    bool FFlat = false;
    bool FMouseInControl = false;
    int FGroupIndex = 0;
    bool FDown = false;
    bool FAllowAllUp = false;
};

} // namespace wn
