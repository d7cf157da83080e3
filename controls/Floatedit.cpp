#include "controls/Floatedit.h"

#include "framework/SysUtils.h"

#include <cmath>
#include <cstdlib>

namespace wn {

TFloatEdit::TFloatEdit(QWidget *parent) : TNumberEdit(parent)
{
    setText(QString());
}

QString TFloatEdit::FormatNumber(double v) const
{
    return FDecimals >= 0 ? FloatToStrF(v, ffFixed, 10, FDecimals) : FloatToStrF(v, ffGeneral, 10, 3);
}

void TFloatEdit::SetValue(double v)
{
    if (!std::isfinite(v))
        return;
    FValue = v;
    const bool none = !FNoneValueStr.isEmpty() && std::fabs(v - FNoneValue) < 1e-10;
    SetDisplayText(none ? FNoneValueStr : FormatNumber(v));
}

void TFloatEdit::SetNoneValue(double value)
{
    if (std::isfinite(value))
        FNoneValue = value;
}

void TFloatEdit::TextToValue()
{
    // The none text is no number to check or to hand to the bound variable.
    if (ShowsNone()) {
        FValue = FNoneValue;
        return;
    }
    QString s = Trim(text());
    if (s.isEmpty() || s == QLatin1String("-"))
        s = FormatNumber(FMinValue);
    s = NormalisedNumber(s);
    double x = 0;
    if (!ConvertNumber(s, x)) {
        Refuse(QLatin1String(rsInvalidVal), true);
        return;
    }
    if (FCheckMinMax && (x < FMinValue || x > FMaxValue)) {
        if (FShowErrorMsg) {
            Refuse(QStringLiteral("%1 [%2 - %3]")
                       .arg(QLatin1String(rsOutOfRange), FloatToStrF(FMinValue, ffGeneral, 10, 3),
                            FloatToStrF(FMaxValue, ffGeneral, 10, 3)),
                   true);
            return;
        }
        if (!FNoneValueStr.isEmpty()) {
            // An entry out of range means that there is no value.
            x = FNoneValue;
            SetDisplayText(FNoneValueStr);
        } else {
            x = x < FMinValue ? FMinValue : FMaxValue;
        }
    }
    Accept(x);
}

void TFloatEdit::SetDecimals(std::int8_t n)
{
    if (n == FDecimals)
        return;
    FDecimals = std::int8_t(std::abs(int(n)) > 15 ? 15 : n);
    SetValue(FValue);
}

bool TFloatEdit::IsNumberChar(QChar Key) const
{
    const char16_t c = Key.unicode();
    return c == '+' || (c >= '0' && c <= '9') || c == 'E' || c == 'e' ||
           (Key == FormatSettings().DecimalSeparator && FDecimals != 0) || (c == '-' && FAllowNegativeValue);
}

bool TFloatEdit::KeyPress(QChar Key)
{
    if (!IsValidChar(Key))
        return false;
    if (ShowsNone())
        setText(QString());
    return true;
}

void TFloatEdit::DoExit()
{
    TextToValue();
    SetValue(FValue);
}

} // namespace wn
