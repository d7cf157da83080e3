#include "framework/SpinButton.h"

#include "framework/Graphics.h"

#include <QEvent>

#include <algorithm>

namespace wn {

namespace {

// The speed button treats the colour of a glyph's bottom-left pixel as transparent; the arrow
// glyph keeps a one-pixel border of this colour around the arrow so that the base row of an up
// arrow is not taken for it.
const QColor ArrowKeyColour(255, 0, 255);

QImage ArrowGlyph(QSize arrow, bool up, QColor colour)
{
    QImage glyph(arrow.width() + 2, arrow.height() + 2, QImage::Format_RGB32);
    glyph.fill(ArrowKeyColour);
    for (int row = 0; row < arrow.height(); ++row) {
        const int half = up ? row : arrow.height() - 1 - row;
        const int centre = arrow.width() / 2 + 1;
        for (int x = centre - half; x <= centre + half; ++x)
            glyph.setPixelColor(x, row + 1, colour);
    }
    return glyph;
}

} // namespace

QSize SpinArrowSize(QSize button)
{
    const int halfHeight = button.height() / 2;
    int width = std::min(button.width() - 8, 2 * (halfHeight - 4) - 1);
    if (width % 2 == 0)
        --width;
    width = std::max(width, 1);
    return {width, (width + 1) / 2};
}

TSpinButton::TSpinButton(QWidget *parent) : QWidget(parent)
{
    setFocusPolicy(Qt::NoFocus);
    // An edit's I-beam would otherwise be inherited by the buttons sitting on it.
    setCursor(Qt::ArrowCursor);
    FUpButton = CreateButton(true);
    FDownButton = CreateButton(false);
    resize(20, 25);
    AdjustButtons();
}

TSpeedButton *TSpinButton::CreateButton(bool up)
{
    auto *button = new TSpeedButton(this);
    button->setAutoRepeat(true);
    button->setAutoRepeatDelay(InitRepeatPause);
    button->setAutoRepeatInterval(RepeatPause);
    button->OnMouseDown = [this](TSpeedButton *, Qt::MouseButton, Qt::KeyboardModifiers, QPoint) {
        BtnMouseDown();
    };
    button->OnClick = [this, up](TSpeedButton *) {
        const TNotifyEvent &event = up ? OnUpClick : OnDownClick;
        if (event)
            event(this);
    };
    return button;
}

void TSpinButton::BtnMouseDown()
{
    QWidget *control = FFocusControl;
    if (control && control->isEnabled() && control->isVisible() && (control->focusPolicy() & Qt::TabFocus) &&
        !control->hasFocus())
        control->setFocus(Qt::MouseFocusReason);
}

void TSpinButton::AdjustButtons()
{
    const int upHeight = height() / 2;
    FUpButton->setGeometry(0, 0, width(), upHeight);
    FDownButton->setGeometry(0, upHeight, width(), height() - upHeight);
    const QSize arrow = SpinArrowSize(size());
    const QColor colour = ColorToQColor(clBtnText, palette());
    FUpButton->SetGlyph(ArrowGlyph(arrow, true, colour));
    FDownButton->SetGlyph(ArrowGlyph(arrow, false, colour));
}

void TSpinButton::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    AdjustButtons();
}

void TSpinButton::changeEvent(QEvent *event)
{
    // The buttons show a disabled state only when they are disabled themselves, so they follow
    // the spin button (and through it the control it sits on) explicitly.
    if (event->type() == QEvent::EnabledChange) {
        FUpButton->SetEnabled(isEnabled());
        FDownButton->SetEnabled(isEnabled());
    } else if (event->type() == QEvent::PaletteChange) {
        AdjustButtons();
    }
    QWidget::changeEvent(event);
}

} // namespace wn
