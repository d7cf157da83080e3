#include "navigators/PlayNavi.h"
#include "navigators/NavFocus_p.h"

#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace wn {

namespace {

const char *const GlyphPrefixes[3] = {"EN", "DI", "CL"};
const char *const ButtonNames[MPButtonCount] = {"MPPLAY", "MPPAUSE", "MPSTOP",   "MPNEXT", "MPPREV",
                                                "MPSTEP", "MPBACK",  "MPRECORD", "MPEJECT"};

} // namespace

int PlayButtonWidth(int width, int count)
{
    return (width - 1) / count + 1;
}

QSize PlayAdjustedSize(QSize size, int count, int minButtonWidth, int minHeight)
{
    const int buttonWidth = PlayButtonWidth(size.width(), count);
    const int width = std::max((buttonWidth - 1) * count + 1, (minButtonWidth - 1) * count + 1);
    return QSize(width, std::max(size.height(), minHeight));
}

int PlayButtonAt(int x, const std::array<bool, MPButtonCount> &visible, int buttonWidth)
{
    int left = 0;
    for (int i = 0; i < MPButtonCount; ++i) {
        if (!visible[i])
            continue;
        if (x >= left && x <= left + buttonWidth)
            return i;
        left += buttonWidth - 1;
    }
    return -1;
}

TPlayButtons::TPlayButtons(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    LoadBitmaps();
    SetTabStop(true);
    Resize(QSize(240, 24));
}

void TPlayButtons::LoadBitmaps()
{
    int maxWidth = 0, maxHeight = 0;
    for (int b = 0; b < MPButtonCount; ++b)
        for (int g = 0; g < 3; ++g) {
            const QImage bitmap = LoadBitmap(
                QStringLiteral("%1_%2").arg(QLatin1String(GlyphPrefixes[g]), QLatin1String(ButtonNames[b])));
            FButtons[b].Bitmaps[g] = WithTransparentColor(bitmap, ColorToQColor(clOlive));
            maxWidth = std::max(maxWidth, bitmap.width());
            maxHeight = std::max(maxHeight, bitmap.height());
        }
    FMinBtnWidth = maxWidth + 8;
    FMinHeight = maxHeight + 4;
}

void TPlayButtons::SetColored(TButtonSet Value)
{
    FColoredButtons = Value;
    for (int b = 0; b < MPButtonCount; ++b)
        FButtons[b].Colored = Value.contains(TMPBtnType(b));
    update();
}

void TPlayButtons::SetEnabledButtons(TButtonSet Value)
{
    FEnabledButtons = Value;
    for (int b = 0; b < MPButtonCount; ++b)
        FButtons[b].Enabled = Value.contains(TMPBtnType(b));
    update();
}

void TPlayButtons::SetVisible(TButtonSet Value)
{
    FVisibleButtons = Value;
    for (int b = 0; b < MPButtonCount; ++b)
        FButtons[b].Visible = Value.contains(TMPBtnType(b));
    if (!LoadingState())
        Adjust();
    else
        FButtonWidth = PlayButtonWidth(width(), VisibleButtonCount());
    update();
}

void TPlayButtons::SetTabStop(bool Value)
{
    FTabStop = Value;
    setFocusPolicy(Value ? Qt::TabFocus : Qt::NoFocus);
}

int TPlayButtons::VisibleButtonCount() const
{
    const auto visible = VisibleFlags();
    return std::max(int(std::count(visible.begin(), visible.end(), true)), 1);
}

std::array<bool, MPButtonCount> TPlayButtons::VisibleFlags() const
{
    std::array<bool, MPButtonCount> visible{};
    for (int b = 0; b < MPButtonCount; ++b)
        visible[b] = FButtons[b].Visible;
    return visible;
}

void TPlayButtons::Adjust()
{
    Resize(QSize((FButtonWidth - 1) * VisibleButtonCount() + 1, height()));
    update();
}

// A hidden widget gets its size event only when it is shown; the size rule applies at once all
// the same, so that a new or hidden bar already has the size it will show with.
void TPlayButtons::Resize(QSize size)
{
    resize(size);
    if (!isVisible())
        ApplySizeRule();
}

void TPlayButtons::Click(TMPBtnType Button)
{
    if (OnClick)
        OnClick(this, Button);
}

TMPGlyph TPlayButtons::GlyphKind(TMPBtnType Button) const
{
    if ((!isEnabled() && !Designing()) || !FButtons[Button].Enabled)
        return mgDisabled;
    return FButtons[Button].Colored ? mgColored : mgEnabled;
}

QRect TPlayButtons::ButtonRect(TMPBtnType Button) const
{
    int x = 0;
    for (int b = 0; b < MPButtonCount; ++b) {
        if (!FButtons[b].Visible)
            continue;
        if (b == Button)
            return QRect(x, 0, FButtonWidth, height());
        x += FButtonWidth - 1;
    }
    return QRect();
}

void TPlayButtons::ApplySizeRule()
{
    if (LoadingState())
        return;
    const int count = VisibleButtonCount();
    FButtonWidth = PlayButtonWidth(width(), count);
    const QSize wanted = PlayAdjustedSize(size(), count, FMinBtnWidth, FMinHeight);
    if (wanted != size()) {
        resize(wanted);
        // The size event of a widget that is about to be shown is not delivered again.
        FButtonWidth = PlayButtonWidth(width(), count);
    }
}

// Sizes set while loading were taken as they came; the bar snaps to whole buttons once loaded.
void TPlayButtons::Loaded()
{
    ApplySizeRule();
    update();
}

void TPlayButtons::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    ApplySizeRule();
}

void TPlayButtons::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    const QPalette pal = FacePalette(*this);
    p.setPen(ColorToQColor(clWindowFrame, pal));
    p.setBrush(ColorToQColor(clBtnFace, pal));
    p.drawRect(0, 0, width() - 1, height() - 1);
    int x = 0;
    for (int b = 0; b < MPButtonCount; ++b) {
        if (!FButtons[b].Visible)
            continue;
        DrawButton(p, TMPBtnType(b), x);
        x += FButtonWidth - 1;
    }
}

void TPlayButtons::DrawButton(QPainter &p, TMPBtnType Button, int x)
{
    const QPalette pal = FacePalette(*this);
    const int bw = FButtonWidth, h = height();
    const bool pressed = FPressedIn && FPressedButton == Button;

    p.setPen(ColorToQColor(clWindowFrame, pal));
    p.setBrush(ColorToQColor(clBtnFace, pal));
    p.drawRect(x, 0, bw - 1, h - 1);

    // The lines leave out their end points, as the system's line drawing does.
    p.setPen(ColorToQColor(pressed ? clBtnShadow : clBtnHighlight, pal));
    p.drawLine(x + 1, h - 2, x + 1, 2);
    p.drawLine(x + 1, 1, x + bw - 2, 1);
    if (!pressed) {
        p.setPen(ColorToQColor(clBtnShadow, pal));
        p.drawLine(x + 2, h - 2, x + bw - 3, h - 2);
        p.drawLine(x + bw - 2, h - 2, x + bw - 2, 2);
    }

    const QImage &glyph = FButtons[Button].Bitmaps[GlyphKind(Button)];
    const int shift = pressed ? 1 : 0;
    p.drawImage(x + bw / 2 - glyph.width() / 2 + shift, h / 2 - glyph.height() / 2 + shift, glyph);

    if (hasFocus() && FFocusedButton == Button) {
        QRect r = QRect(x, 0, bw, h).adjusted(3, 3, -3, -3);
        if (pressed)
            r.translate(1, 1);
        DrawFocusRect(p, r, ColorToQColor(clBtnText, pal));
    }
}

void TPlayButtons::LeftButtonDown(QPoint pos)
{
    const int hit = PlayButtonAt(pos.x(), VisibleFlags(), FButtonWidth);
    if (hit < 0 || !FButtons[hit].Enabled)
        return;
    FPressedButton = TMPBtnType(hit);
    if (FPressedButton != FFocusedButton) {
        FFocusedButton = FPressedButton;
        repaint();
    }
    FPressedRect = ButtonRect(FPressedButton);
    FTracking = true;
    FPressedIn = true;
    repaint(FPressedRect);
}

void TPlayButtons::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        LeftButtonDown(event->position().toPoint());
    QWidget::mousePressEvent(event);
}

void TPlayButtons::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        LeftButtonDown(event->position().toPoint());
    QWidget::mouseDoubleClickEvent(event);
}

void TPlayButtons::mouseMoveEvent(QMouseEvent *event)
{
    if (FTracking) {
        const bool inside = FPressedRect.contains(event->position().toPoint());
        if (inside != FPressedIn) {
            FPressedIn = inside;
            repaint(FPressedRect);
        }
    }
    QWidget::mouseMoveEvent(event);
}

void TPlayButtons::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        const bool click = FTracking && FPressedIn;
        FTracking = false;
        if (click) {
            FPressedIn = false;
            repaint(FPressedRect);
            Click(FPressedButton);
        }
    }
    QWidget::mouseReleaseEvent(event);
}

void TPlayButtons::keyPressEvent(QKeyEvent *event)
{
    const TMPBtnType old = FFocusedButton;
    int focused = FFocusedButton;
    switch (event->key()) {
    case Qt::Key_Space:
        if (FButtons[FFocusedButton].Enabled) {
            FPressedButton = FFocusedButton;
            Click(FPressedButton);
        }
        break;
    case Qt::Key_Left:
    case Qt::Key_Right:
        focused = NextFocusedButton(focused, event->key() == Qt::Key_Right ? 1 : -1, pnEject,
                                    [this](int b) { return FButtons[b].Visible; });
        break;
    default: QWidget::keyPressEvent(event); return;
    }
    FFocusedButton = TMPBtnType(focused);
    if (FFocusedButton != old)
        update();
    event->accept();
}

void TPlayButtons::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    update();
}

void TPlayButtons::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    update();
}

} // namespace wn
