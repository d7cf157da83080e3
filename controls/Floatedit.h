#pragma once
// TFloatEdit: a single-line edit for a real number without spin buttons. Beside the range and the
// bound owner variable it knows a none value: a number that stands for "no value set", shown as
// its own text (a dash, say) and read back from it. It can refuse the minus key and shows a fixed
// number of decimals or a general format. The Qt mapping is TNumberEdit's; the text keeps Qt's
// own inner margin, which stands for the 2 pixels the edit rectangle always kept clear.

#include "controls/NumberEdit.h"
#include "wn_export.h"

#include <cstdint>

namespace wn {

class WN_EXPORT TFloatEdit : public TNumberEdit
{
    Q_OBJECT
    // Report an out-of-range number with a message; off, it becomes the none value (when there
    // is a none text) or is clamped. "Invalid value!" is shown either way. Default false.
    Q_PROPERTY(bool ShowErrorMsg READ ShowErrorMsg WRITE SetShowErrorMsg)
    // Decimals shown; negative means the general format with 10 significant digits. Declared
    // default -1, but a new edit holds 0, so a form always keeps the value. An int property, as
    // Qt Designer's property editor has no editor for byte types.
    Q_PROPERTY(int Decimals READ Decimals WRITE SetDecimals)
    // The "-" key is accepted. Default true.
    Q_PROPERTY(bool AllowNegativeValue READ AllowNegativeValue WRITE SetAllowNegativeValue)
    // The number meaning "no value". Default 0.
    Q_PROPERTY(double NoneValue READ NoneValue WRITE SetNoneValue)
    // The text shown for NoneValue; empty switches the none value off. Default empty.
    Q_PROPERTY(QString NoneValueStr READ NoneValueStr WRITE SetNoneValueStr)

public:
    explicit TFloatEdit(QWidget *parent = nullptr);

    // Stores v and shows NoneValueStr for the none value (within 1e-10), else the number in the
    // Decimals format; the text is only assigned when it changes.
    void SetValue(double v) override;
    void TextToValue() override;

    bool ShowErrorMsg() const { return FShowErrorMsg; }
    void SetShowErrorMsg(bool value) { FShowErrorMsg = value; }
    std::int8_t Decimals() const { return FDecimals; }
    // Ignored when n is the current value; beyond 15 either way n becomes 15 (so -20 is 15);
    // the text is formatted anew.
    void SetDecimals(std::int8_t n);
    bool AllowNegativeValue() const { return FAllowNegativeValue; }
    void SetAllowNegativeValue(bool value) { FAllowNegativeValue = value; }
    double NoneValue() const { return FNoneValue; }
    // A NaN or infinite none value is ignored.
    void SetNoneValue(double value);
    QString NoneValueStr() const { return FNoneValueStr; }
    void SetNoneValueStr(const QString &value) { FNoneValueStr = value; }

protected:
    bool IsNumberChar(QChar Key) const override;
    // A valid key typed over the none text starts a fresh number.
    bool KeyPress(QChar Key) override;
    // Leaving the edit formats the text anew, so a clamped number now shows its bound.
    void DoExit() override;

private:
    QString FormatNumber(double v) const;
    bool ShowsNone() const { return !FNoneValueStr.isEmpty() && text() == FNoneValueStr; }

    bool FShowErrorMsg = false;
    std::int8_t FDecimals = 0;
    bool FAllowNegativeValue = true;
    double FNoneValue = 0;
    QString FNoneValueStr;
};

} // namespace wn
