#pragma once
// TNumberEdit: the line edit both real-number edits (TSpinEditReal, TFloatEdit) are built on. It
// holds the number, its range and an owner variable bound to it, and makes Qt's line edit behave
// as the package's edits always have. How that maps onto Qt, decided once for both:
//  - Characters: a key event carrying printable text, Backspace (8) or Enter (13) is a typed
//    character and must pass the edit's key filter, or it is dropped with a beep. Other keys
//    (arrows, Home, Escape, Tab, shortcuts) are not characters and go to Qt's line edit.
//  - Enter first goes to Qt's line edit (returnPressed, and a dialog's default button still sees
//    it), then the text is checked, then the filter refuses it, which beeps.
//  - With EditorEnabled off or ReadOnly on, paste and cut are refused, from the keyboard and from
//    the context menu alike. With EditorEnabled off every other way of editing the text goes too
//    (typing, Backspace, Delete, undo, redo, the middle button's selection paste), so only stepping
//    changes it; copying always works.
//  - The clipboard, beeps and warning boxes go through UiServices. Text cannot be dropped in.
//  - Focus entry (CMEnter): with AutoSelect on and the left mouse button up, the whole text is
//    selected. Focus exit (DoExit) checks the text. Window activation and popup menus take the
//    focus away and give it back without leaving or entering the edit.
//  - The decimal separator is FormatSettings().DecimalSeparator at the moment of each call.
//  - Minimum height (GetMinHeight): the font's height, a quarter of the smaller of the font's and
//    the application font's height, and four times the style's line-edit frame width (where the
//    system had four border widths). It is the widget's minimum height, so resizing or a layout
//    can never make the edit lower.
//  - OnChange is Qt's textChanged signal; with a variable bound, the text is checked before any
//    connection made by the host runs. OnEnter/OnExit, OnKeyDown and the mouse events are Qt's
//    own events; Enabled, Font, MaxLength, ReadOnly, Visible and the rest of the base edit's
//    properties are Qt's.
// The number never becomes NaN or infinite: such a number is neither accepted from the text nor
// stored by SetValue.

#include "framework/ComponentState.h"
#include "wn_export.h"

#include <QLineEdit>
#include <QString>

#include <cstddef>

class QMenu;

namespace wn {

// The messages of the numeric edits.
inline constexpr char rsInvalidVal[] = "Invalid value!";
inline constexpr char rsOutOfRange[] = "Out of range";

class WN_EXPORT TNumberEdit : public QLineEdit, public TComponentState
{
    Q_OBJECT
    // Reading checks the text first (TextToValue). Default 0.
    Q_PROPERTY(double Value READ GetValue WRITE SetValue)
    // Default 0.
    Q_PROPERTY(double MinValue READ MinValue WRITE SetMinValue)
    // Default 0.
    Q_PROPERTY(double MaxValue READ MaxValue WRITE SetMaxValue)
    // Default false.
    Q_PROPERTY(bool CheckMinMax READ CheckMinMax WRITE SetCheckMinMax)
    // Default true.
    Q_PROPERTY(bool EditorEnabled READ EditorEnabled WRITE SetEditorEnabled)
    // Default true.
    Q_PROPERTY(bool AutoSelect READ AutoSelect WRITE SetAutoSelect)

public:
    // Checks the text (TextToValue), then returns the number.
    double GetValue();
    // Stores the number and shows it; a NaN or infinite number is ignored.
    virtual void SetValue(double v) = 0;

    double MinValue() const { return FMinValue; }
    // Pulls the number up to the new bound first, then switches range checking on.
    void SetMinValue(double v);
    double MaxValue() const { return FMaxValue; }
    void SetMaxValue(double v);
    bool CheckMinMax() const { return FCheckMinMax; }
    // Range checking stays off while MinValue is not below MaxValue.
    void SetCheckMinMax(bool b) { FCheckMinMax = b && FMinValue < FMaxValue; }
    bool EditorEnabled() const { return FEditorEnabled; }
    void SetEditorEnabled(bool value) { FEditorEnabled = value; }
    bool AutoSelect() const { return FAutoSelect; }
    void SetAutoSelect(bool value) { FAutoSelect = value; }

    // Binds an owner variable that receives every number accepted from the text: Size 4 is a
    // float, 8 a double; any other size removes the binding. A float receives only numbers a
    // float can hold: a larger number does not convert. The typed forms keep the size right.
    void SetAssignedVar(void *Address, int Size);
    void SetAssignedVar(float *Address) { SetAssignedVar(Address, int(sizeof(float))); }
    void SetAssignedVar(double *Address) { SetAssignedVar(Address, int(sizeof(double))); }
    void SetAssignedVar(std::nullptr_t) { SetAssignedVar(nullptr, 0); }
    void *AssignedVar() const { return FVarAddress; }
    int AssignedVarSize() const { return FVarSize; }

    // Reads the text into the number: accepts it, leaves it alone, or refuses it with a message.
    virtual void TextToValue() = 0;
    int GetMinHeight() const;

protected:
    explicit TNumberEdit(QWidget *parent);

    // The key filter: Enter is refused, control characters pass, and with EditorEnabled off so
    // do printable characters and Backspace; the rest is up to IsNumberChar.
    bool IsValidChar(QChar Key) const;
    virtual bool IsNumberChar(QChar Key) const = 0;
    // A typed character: false drops it (with a beep).
    virtual bool KeyPress(QChar Key) { return IsValidChar(Key); }
    // Sees every key first; true when the key is done with.
    virtual bool KeyDown(QKeyEvent *) { return false; }
    virtual void DoExit() { TextToValue(); }
    void WMPaste();
    void WMCut();

    // Steps of TextToValue both edits share. NormalisedNumber turns the first decimal separator
    // into "." and completes a text ending in its first ".", "e" or "E" with "0".
    static QString NormalisedNumber(QString s);
    // The standard conversion of a normalised text: signed digits with at most one ".", and an
    // optional exponent; false for anything else and for numbers out of range.
    bool ConvertNumber(const QString &s, double &value) const;
    // Shows the message when asked to and puts the focus back on the edit.
    void Refuse(const QString &message, bool show);
    // Stores an accepted number and hands it to the bound variable.
    void Accept(double x);
    void SetDisplayText(const QString &value);

    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;

    double FValue = 0;
    double FMinValue = 0;
    double FMaxValue = 0;
    bool FCheckMinMax = false;

private:
    bool Editable() const { return FEditorEnabled && !isReadOnly(); }
    void CopyToClipboard();
    QMenu *CreateEditMenu();

    bool FEditorEnabled = true;
    bool FAutoSelect = true;
    void *FVarAddress = nullptr;
    int FVarSize = 0;
};

} // namespace wn
