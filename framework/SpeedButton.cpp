#include "framework/SpeedButton.h"

#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

#include <QMouseEvent>
#include <QPainter>

namespace wn {

TSpeedButton::TSpeedButton(QWidget *parent) : QToolButton(parent)
{
    setFocusPolicy(Qt::NoFocus);
    setAutoRaise(false);
    connect(this, &QAbstractButton::clicked, this, [this] { Click(); });
}

void TSpeedButton::SetGlyph(const QImage &value)
{
    FGlyph = value;
    SplitGlyph();
    update();
}

void TSpeedButton::SetNumGlyphs(int value)
{
    FNumGlyphs = qBound(1, value, 4);
    SplitGlyph();
    update();
}

void TSpeedButton::SetFlat(bool value)
{
    FFlat = value;
    update();
}

void TSpeedButton::SplitGlyph()
{
    for (QImage &picture : FPictures)
        picture = QImage();
    if (FGlyph.isNull())
        return;
    const QImage glyph = WithTransparentColor(FGlyph, FGlyph.pixelColor(0, FGlyph.height() - 1));
    const int width = glyph.width() / FNumGlyphs;
    for (int i = 0; i < qMin(FNumGlyphs, 3); ++i)
        FPictures[i] = glyph.copy(i * width, 0, width, glyph.height());
    if (FNumGlyphs < 2)
        FPictures[bsDisabled] =
            EngravedGlyph(FPictures[bsUp], ColorToQColor(clBtnShadow), ColorToQColor(clBtnHighlight));
}

void TSpeedButton::SetGroupIndex(int value)
{
    FGroupIndex = qMax(value, 0);
    if (FGroupIndex == 0)
        SetDown(false);
}

void TSpeedButton::SetDown(bool value)
{
    value = value && FGroupIndex > 0;
    if (value == FDown)
        return;
    FDown = value;
    if (value && parentWidget()) {
        const auto siblings = parentWidget()->findChildren<TSpeedButton *>(Qt::FindDirectChildrenOnly);
        for (TSpeedButton *other : siblings)
            if (other != this && other->FGroupIndex == FGroupIndex)
                other->SetDown(false);
    }
    update();
}

TSpeedButton::TButtonState TSpeedButton::State() const
{
    if (!Enabled())
        return bsDisabled;
    return isDown() || FDown ? bsDown : bsUp;
}

QImage TSpeedButton::StateGlyph(TButtonState state) const
{
    return FPictures[state].isNull() ? FPictures[bsUp] : FPictures[state];
}

void TSpeedButton::Click()
{
    if (FGroupIndex > 0)
        SetDown(!(FDown && FAllowAllUp));
    if (OnClick)
        OnClick(this);
}

void TSpeedButton::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    const QPalette pal = FacePalette(*this);
    const int w = width(), h = height();
    const bool down = isDown() || FDown;
    p.fillRect(rect(), ColorToQColor(clBtnFace, pal));

    auto frame = [&](const QRect &r, QColor topLeft, QColor bottomRight) {
        p.setPen(topLeft);
        p.drawLine(r.left(), r.bottom(), r.left(), r.top());
        p.drawLine(r.left(), r.top(), r.right(), r.top());
        p.setPen(bottomRight);
        p.drawLine(r.right(), r.top(), r.right(), r.bottom());
        p.drawLine(r.left(), r.bottom(), r.right(), r.bottom());
    };
    const QColor highlight = ColorToQColor(clBtnHighlight, pal);
    const QColor shadow = ColorToQColor(clBtnShadow, pal);
    const QColor dark = ColorToQColor(cl3DDkShadow, pal);
    if (FFlat) {
        if (down)
            frame(rect(), shadow, highlight);
        else if (FMouseInControl && Enabled())
            frame(rect(), highlight, shadow);
    } else if (down) {
        frame(rect(), dark, highlight);
        frame(rect().adjusted(1, 1, -1, -1), shadow, ColorToQColor(clBtnFace, pal));
    } else {
        frame(rect(), highlight, dark);
        frame(rect().adjusted(1, 1, -1, -1), ColorToQColor(clBtnFace, pal), shadow);
    }

    // Glyph and caption side by side, centred together; a pressed button shows them shifted.
    const QImage glyph = StateGlyph(State());
    const QString caption = text();
    const int spacing = !glyph.isNull() && !caption.isEmpty() ? 4 : 0;
    const int textWidth = caption.isEmpty() ? 0 : fontMetrics().horizontalAdvance(caption);
    const int offset = down ? 1 : 0;
    int x = (w - glyph.width() - spacing - textWidth) / 2 + offset;
    if (!glyph.isNull()) {
        p.drawImage(x, (h - glyph.height()) / 2 + offset, glyph);
        x += glyph.width() + spacing;
    }
    if (!caption.isEmpty()) {
        p.setPen(Enabled() ? ColorToQColor(clBtnText, pal) : ColorToQColor(clGrayText, pal));
        p.drawText(QRect(x, offset, textWidth, h), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextHideMnemonic,
                   caption);
    }
}

void TSpeedButton::mousePressEvent(QMouseEvent *event)
{
    if (OnMouseDown)
        OnMouseDown(this, event->button(), event->modifiers(), event->position().toPoint());
    QToolButton::mousePressEvent(event);
}

void TSpeedButton::enterEvent(QEnterEvent *event)
{
    FMouseInControl = true;
    if (FFlat)
        update();
    QToolButton::enterEvent(event);
}

void TSpeedButton::leaveEvent(QEvent *event)
{
    FMouseInControl = false;
    if (FFlat)
        update();
    QToolButton::leaveEvent(event);
}

} // namespace wn
