#include "controls/SpinEdit.h"

#include "framework/SysUtils.h"
#include "framework/UiServices.h"

#include <QKeyEvent>
#include <QStyle>
#include <QStyleOptionFrame>

#include <algorithm>
#include <cmath>

namespace wn {

namespace {

// Lets a step land on a bound although the float increment is not exactly what was typed.
constexpr double StepTolerance = 0.000001;

// A text the user may still be typing a number into: signs, digits and at most one ".".
bool IsUnfinishedNumber(const QString &s)
{
    const bool numberChars = std::all_of(s.begin(), s.end(), [](QChar c) {
        return c == QLatin1Char('+') || c == QLatin1Char('-') || c == QLatin1Char('.') ||
               (c >= QLatin1Char('0') && c <= QLatin1Char('9'));
    });
    return numberChars && s.count(QLatin1Char('.')) <= 1;
}

} // namespace

TSpinEditReal::TSpinEditReal(QWidget *parent) : TNumberEdit(parent)
{
    FButton = new TSpinButton(this);
    FButton->resize(ButtonWidth, 16);
    FButton->SetFocusControl(this);
    FButton->OnUpClick = [this](QObject *Sender) { UpClick(Sender); };
    FButton->OnDownClick = [this](QObject *Sender) { DownClick(Sender); };
    setText(QString());
    SetEditRect();
}

QString TSpinEditReal::FormatNumber(double v) const
{
    return FloatToStrF(v, ffFixed, 10, FNachkomma);
}

void TSpinEditReal::SetValue(double v)
{
    if (!std::isfinite(v))
        return;
    FValue = v;
    SetDisplayText(FormatNumber(v));
}

void TSpinEditReal::TextToValue()
{
    QString s = Trim(text());
    if (s.isEmpty())
        s = FormatNumber(FMinValue);
    s = NormalisedNumber(s);
    double x = 0;
    if (!ConvertNumber(s, x)) {
        if (!IsUnfinishedNumber(s))
            Refuse(QLatin1String(rsInvalidVal), FFehlerMeldung);
        return;
    }
    if (FCheckMinMax && (x < FMinValue || x > FMaxValue)) {
        if (FFehlerMeldung) {
            // The text stays as typed, in range or not: the user corrects it.
            Refuse(QStringLiteral("%1 [%2 - %3]")
                       .arg(QLatin1String(rsOutOfRange), FormatNumber(FMinValue), FormatNumber(FMaxValue)),
                   true);
            return;
        }
        x = x < FMinValue ? FMinValue : FMaxValue;
    }
    Accept(x);
}

void TSpinEditReal::SetDecimals(std::uint8_t n)
{
    FNachkomma = std::min<std::uint8_t>(n, 15);
    SetValue(FValue);
}

void TSpinEditReal::SetSpinButtonEnabled(bool b)
{
    FSpinButtonEnabled = b;
    FButton->setVisible(b);
    SetEditRect();
}

void TSpinEditReal::UpClick(QObject *)
{
    Step(true);
}

void TSpinEditReal::DownClick(QObject *)
{
    Step(false);
}

void TSpinEditReal::Step(bool up)
{
    if (!FSpinButtonEnabled)
        return;
    const TNotifyEvent &event = up ? OnUpClick : OnDownClick;
    if (event)
        event(this);
    if (isReadOnly()) {
        UiServices().Beep();
        return;
    }
    const double next = up ? FValue + FIncrement : FValue - FIncrement;
    if (FCheckMinMax && (up ? next > FMaxValue + StepTolerance : next < FMinValue - StepTolerance))
        return;
    SetValue(next);
    setModified(true);
}

bool TSpinEditReal::IsNumberChar(QChar Key) const
{
    const char16_t c = Key.unicode();
    return c == '+' || c == '-' || (c >= '0' && c <= '9') || c == 'E' || c == 'e' ||
           Key == FormatSettings().DecimalSeparator;
}

bool TSpinEditReal::KeyDown(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Up)
        UpClick(this);
    else if (event->key() == Qt::Key_Down)
        DownClick(this);
    else
        return false;
    return true;
}

void TSpinEditReal::SetEditRect()
{
    QStyleOptionFrame option;
    initStyleOption(&option);
    const QRect inner = style()->subElementRect(QStyle::SE_LineEditContents, &option, this);
    const int width = FSpinButtonEnabled ? ButtonWidth : 0;
    FButton->setGeometry(inner.right() + 1 - width, inner.top(), width, inner.height());
    const QMargins margins(0, 0, width + 2, 0);
    if (textMargins() != margins)
        setTextMargins(margins);
}

void TSpinEditReal::resizeEvent(QResizeEvent *event)
{
    TNumberEdit::resizeEvent(event);
    SetEditRect();
}

void TSpinEditReal::changeEvent(QEvent *event)
{
    TNumberEdit::changeEvent(event);
    if (event->type() == QEvent::StyleChange)
        SetEditRect();
}

} // namespace wn
