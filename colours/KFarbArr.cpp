#include "colours/KFarbArr.h"

#include "colours/gFarbDia.h"
#include "framework/UiServices.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <qdrawutil.h>

namespace wn {

namespace {

// While the editor is open its cells set the palette's target canvas to their own painter for
// each cell they draw; whatever target the host had is put back when the editor is gone.
class TCanvasKeeper
{
public:
    explicit TCanvasKeeper(TFarbArray &palette) : FPalette(palette), FSaved(palette.Canvas()) {}
    ~TCanvasKeeper() { FPalette.SetCanvas(FSaved); }
    TCanvasKeeper(const TCanvasKeeper &) = delete;
    TCanvasKeeper &operator=(const TCanvasKeeper &) = delete;

private:
    TFarbArray &FPalette;
    QPainter *FSaved;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// TFarbDialog

TFarbDialog::TFarbDialog(QObject *Owner) : QObject(Owner) {}

TFarbDialog::~TFarbDialog() = default;

bool TFarbDialog::Execute()
{
    if (!FFarbArray)
        return false;
    TCanvasKeeper keeper(*FFarbArray);
    TFarbenDialog form(qobject_cast<QWidget *>(parent()));
    form.SetFarbArray(FFarbArray);
    form.SetIniDateiName(FIniDateiName);
    form.SetIniPfadName(FIniPfadName);
    form.ButtonLaden->setVisible(FEnableLoadSave);
    form.ButtonSpeichern->setVisible(FEnableLoadSave);
    form.ButtonSpAls->setVisible(FEnableLoadSave);
    if (!FCaption.isEmpty())
        form.setWindowTitle(FCaption);
    form.SetAendern(true);
    form.SetSaveWithOK(FSaveWithOK);
    return UiServices().ShowModal(form) == mrOk;
}

// ---------------------------------------------------------------------------------------------
// TFarbFeld

TFarbFeld::TFarbFeld(QWidget *Owner) : QWidget(Owner)
{
    setFocusPolicy(Qt::StrongFocus);
    resize(50, 25);
}

TFarbFeld::~TFarbFeld() = default;

void TFarbFeld::SetFarbe(std::int32_t Value)
{
    FFarbe = Value;
    ShowFarbe();
}

void TFarbFeld::SetRGBFarbe(std::int32_t Value)
{
    FRGBMode = true;
    SetFarbe(Value);
}

void TFarbFeld::SetFarbArray(TFarbArray *Value)
{
    FFarbArray = Value;
    ShowFarbe();
}

void TFarbFeld::SetErlaubt(bool Value)
{
    setEnabled(Value);
    FErlaubt = Value;
    ShowFarbe();
}

void TFarbFeld::SetBorderStyle(TBorderStyle Value)
{
    if (Value == FBorderStyle)
        return;
    FBorderStyle = Value;
    update();
}

void TFarbFeld::SetMitTransparent(bool Value)
{
    FMitTransparent = Value;
    update();
}

void TFarbFeld::SetCtl3D(bool Value)
{
    FCtl3D = Value;
    update();
}

void TFarbFeld::ShowFarbe()
{
    if (FRGBMode) {
        if (FFarbe >= 0)
            FColor = TColor(FFarbe) & 0xFFFFFF;
    } else if (FFarbe < 1 && FMitTransparent) {
        // only repainted: the cross shows
    } else if (FFarbe == 0 && !FErlaubt) {
        const QWidget *parent = parentWidget();
        FColor = QColorToColor((parent ? parent : this)->palette().color(QPalette::Window));
    } else if (FFarbe >= 1 && FFarbe <= cFarbCount && FFarbArray) {
        FColor = FFarbArray->GetRGBFarbe(FFarbe);
    }
    update();
}

void TFarbFeld::Farbauswahl()
{
    if (!FFarbArray)
        return;
    TCanvasKeeper keeper(*FFarbArray);
    TFarbenDialog form(parentWidget());
    form.SetEnableTransparent(FMitTransparent);
    // Just right of the field, 26 pixels above its top: the grid opens beside the field.
    form.move(mapToGlobal(QPoint(width() - 2, -26)));
    form.SetFarbArray(FFarbArray);
    form.SetSaveWithOK(false);
    if (FRGBMode)
        form.SetRGBFarbe(FFarbe);
    else if ((FMitTransparent && FFarbe < 1) || (FFarbe >= 1 && FFarbe <= cFarbCount))
        form.SetFarbe(FFarbe);
    if (UiServices().ShowModal(form) != mrOk)
        return;
    const std::int32_t picked = FRGBMode ? form.RGBFarbe() : form.Farbe();
    if (picked != FFarbe) {
        FFarbe = picked;
        FModified = true;
    }
    ShowFarbe();
}

void TFarbFeld::Click()
{
    setFocus(Qt::MouseFocusReason);
    Farbauswahl();
    update();
    if (OnClick)
        OnClick(this);
}

void TFarbFeld::KeyDown(std::uint16_t &Key, TShiftState Shift)
{
    if (OnKeyDown)
        OnKeyDown(this, Key, Shift);
    if (Key == VK_RETURN || Key == VK_SPACE) {
        Farbauswahl();
        update();
    }
}

int TFarbFeld::BorderWidth() const
{
    if (FBorderStyle == bsNone)
        return 0;
    return FCtl3D ? 2 : 1;
}

bool TFarbFeld::Transparent() const
{
    return FMitTransparent && (FFarbe < 0 || (FFarbe == 0 && !FRGBMode));
}

// Yellow where black would vanish: on "no colour" and on dark entries.
QColor TFarbFeld::FocusFrameColor() const
{
    int sum = 0;
    if (FFarbe >= 1 && FFarbe <= cFarbCount && FFarbArray) {
        std::uint8_t r = 0, g = 0, b = 0;
        FFarbArray->GetRGB(FFarbe, r, g, b);
        sum = r + g + b;
    } else if (FRGBMode && FFarbe > 0) {
        const auto c = TColor(FFarbe);
        sum = GetRValue(c) + GetGValue(c) + GetBValue(c);
    }
    return FFarbe < 1 || sum < 255 ? QColor(Qt::yellow) : QColor(Qt::black);
}

void TFarbFeld::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    const int border = BorderWidth();
    if (border == 2)
        qDrawWinPanel(&p, rect(), palette(), true);
    else if (border == 1)
        qDrawPlainRect(&p, rect(), Qt::black, 1);
    const QRect client = rect().adjusted(border, border, -border, -border);
    p.fillRect(client, ColorToQColor(FColor, palette()));
    if (!FFarbArray)
        return;
    // The picture is laid out on the whole control's size and clipped to the inside of the border.
    p.setClipRect(client);
    p.translate(client.topLeft());
    const int w = width();
    const int h = height();
    const QRect area(0, 0, w - 2, h - 2);
    if (Transparent()) {
        p.fillRect(area, Qt::white);
        p.setPen(QPen(Qt::black, 2));
        p.drawLine(0, 0, w - 2, h - 4);
        p.drawLine(w - 2, 0, 0, h - 4);
    } else if (FFarbe >= 0) {
        p.fillRect(area, ColorToQColor(FFarbArray->GetRGBFarbe(FFarbe) & 0xFFFFFF));
    }
    if (FHasFocus) {
        p.setPen(QPen(FocusFrameColor(), 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRect(QPoint(3, 3), QPoint(w - 7, h - 7)), 1.5, 1);
    }
}

void TFarbFeld::keyPressEvent(QKeyEvent *event)
{
    std::uint16_t key = VirtualKeyOf(*event);
    if (key != 0)
        KeyDown(key, ShiftStateOf(event->modifiers()));
    if (key == 0)
        return;
    const QString text = event->text();
    if (OnKeyPress && text.size() == 1) {
        QChar ch = text[0];
        OnKeyPress(this, ch);
    }
    // The field claims no keys but its own two: arrows, Escape and the rest go on to the form.
    if (key != VK_RETURN && key != VK_SPACE)
        event->ignore();
}

void TFarbFeld::keyReleaseEvent(QKeyEvent *event)
{
    std::uint16_t key = VirtualKeyOf(*event);
    if (key != 0 && OnKeyUp)
        OnKeyUp(this, key, ShiftStateOf(event->modifiers()));
}

void TFarbFeld::mousePressEvent(QMouseEvent *event)
{
    FPressed = event->button() == Qt::LeftButton;
    if (OnMouseDown) {
        const QPoint pos = event->position().toPoint();
        OnMouseDown(this, MouseButtonOf(event->button()), ShiftStateOf(event->modifiers(), event->buttons()),
                    pos.x(), pos.y());
    }
}

void TFarbFeld::mouseMoveEvent(QMouseEvent *event)
{
    if (OnMouseMove) {
        const QPoint pos = event->position().toPoint();
        OnMouseMove(this, ShiftStateOf(event->modifiers(), event->buttons()), pos.x(), pos.y());
    }
}

void TFarbFeld::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint pos = event->position().toPoint();
    const bool click = FPressed && event->button() == Qt::LeftButton && rect().contains(pos);
    FPressed = false;
    if (OnMouseUp)
        OnMouseUp(this, MouseButtonOf(event->button()), ShiftStateOf(event->modifiers(), event->buttons()),
                  pos.x(), pos.y());
    if (click)
        Click();
}

void TFarbFeld::mouseDoubleClickEvent(QMouseEvent *event)
{
    FPressed = event->button() == Qt::LeftButton;
    if (OnDblClick)
        OnDblClick(this);
}

void TFarbFeld::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    FHasFocus = true;
    update();
    if (OnEnter)
        OnEnter(this);
}

void TFarbFeld::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    FHasFocus = false;
    update();
    if (OnExit)
        OnExit(this);
}

} // namespace wn
