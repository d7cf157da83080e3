#pragma once
// TSpinEditReal: a single-line edit for a real number with an up/down button pair at its right
// edge. It shows the number with a fixed number of decimals, steps it by Increment with the
// buttons and the arrow keys, optionally keeps it in a range, and can write every accepted
// number into a bound float or double of its owner.
//
// The button pair is a TSpinButton child (not a form child of its own) that sits inside the
// edit's frame at the right edge, over the frame's full inner height, 15 pixels wide; the text
// keeps the button's width plus 2 pixels clear on the right through the line edit's text margin.
// Hidden (SpinButtonEnabled off) it takes no width. The rest of the Qt mapping is TNumberEdit's.

#include "controls/NumberEdit.h"
#include "framework/SpinButton.h"
#include "wn_export.h"

#include <cstdint>

namespace wn {

class WN_EXPORT TSpinEditReal : public TNumberEdit
{
    Q_OBJECT
    // Show "Invalid value!" and the range message; off, refused text is left silently and an
    // out-of-range number is clamped. Default true.
    Q_PROPERTY(bool FehlerMeldung READ FehlerMeldung WRITE SetFehlerMeldung)
    // Step of the buttons and the arrow keys. Default 0.1. The property types are double and int
    // because Qt Designer's property editor has no editor for float and byte types.
    Q_PROPERTY(double Increment READ Increment WRITE SetIncrement)
    // Decimals shown, at most 15. Default 1.
    Q_PROPERTY(int Nachkomma READ Nachkomma WRITE SetDecimals)
    // Default true.
    Q_PROPERTY(bool SpinButtonEnabled READ SpinButtonEnabled WRITE SetSpinButtonEnabled)

public:
    static constexpr int ButtonWidth = 15;

    explicit TSpinEditReal(QWidget *parent = nullptr);

    // Stores v and shows it fixed with Nachkomma decimals.
    void SetValue(double v) override;
    void TextToValue() override;

    bool FehlerMeldung() const { return FFehlerMeldung; }
    void SetFehlerMeldung(bool value) { FFehlerMeldung = value; }
    float Increment() const { return FIncrement; }
    void SetIncrement(float value) { FIncrement = value; }
    std::uint8_t Nachkomma() const { return FNachkomma; }
    // Values above 15 become 15; the text is formatted anew.
    void SetDecimals(std::uint8_t n);
    bool SpinButtonEnabled() const { return FSpinButtonEnabled; }
    void SetSpinButtonEnabled(bool b);

    TSpinButton *Button() const { return FButton; }

    // One step up or down from the stored number (not the text): raise OnUpClick/OnDownClick,
    // beep when read-only, stop when the step would leave the range by more than 1e-6 (which
    // lets a float increment land on a bound despite its rounding). Nothing at all happens with
    // SpinButtonEnabled off.
    void UpClick(QObject *Sender);
    void DownClick(QObject *Sender);

    // Raised before each step; Sender is the edit.
    TNotifyEvent OnUpClick;
    TNotifyEvent OnDownClick;

protected:
    bool IsNumberChar(QChar Key) const override;
    // Up and Down arrows step.
    bool KeyDown(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void Step(bool up);
    QString FormatNumber(double v) const;
    void SetEditRect();

    TSpinButton *FButton;
    float FIncrement = 0.1f;
    std::uint8_t FNachkomma = 1;
    bool FFehlerMeldung = true;
    bool FSpinButtonEnabled = true;
};

} // namespace wn
