#pragma once
// KFarbArr: the components that put the colour-scale editor (gFarbDia) in front of a user.
// TFarbDialog edits a whole palette; TFarbFeld is a small control that shows one colour, a
// palette number or a direct RGB colour, and opens the editor to pick another one.

#include "colours/FarbArr.h"
#include "framework/ComponentState.h"
#include "framework/CustomGrid.h"
#include "framework/Graphics.h"
#include "framework/Input.h"
#include "wn_export.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <cstdint>

namespace wn {

// The non-visual dialog component: Execute shows the editor in edit mode for FarbArray.
class WN_EXPORT TFarbDialog : public QObject, public TComponentState
{
    Q_OBJECT
    // The palette to edit; Execute needs it. Default none.
    Q_PROPERTY(wn::TFarbArray *FarbArray READ FarbArray WRITE SetFarbArray)
    // Handed to the editor's file dialogs. Default empty.
    Q_PROPERTY(QString IniDateiName READ IniDateiName WRITE SetIniDateiName)
    Q_PROPERTY(QString IniPfadName READ IniPfadName WRITE SetIniPfadName)
    // Kept for the host. Default 0.
    Q_PROPERTY(std::int32_t Language READ Language WRITE SetLanguage)
    // OK in the editor saves the palette first. Default true.
    Q_PROPERTY(bool SaveWithOK READ SaveWithOK WRITE SetSaveWithOK)
    // The editor's title when not empty. Default empty.
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)
    // Whether the editor offers its open, save and save-as buttons. Default true.
    Q_PROPERTY(bool EnableLoadSave READ EnableLoadSave WRITE SetEnableLoadSave)

public:
    explicit TFarbDialog(QObject *Owner = nullptr);
    ~TFarbDialog() override;

    // Shows the editor modally; true when the user closed it with OK. False at once without a
    // palette.
    bool Execute();

    TFarbArray *FarbArray() const { return FFarbArray; }
    void SetFarbArray(TFarbArray *Value) { FFarbArray = Value; }
    QString IniDateiName() const { return FIniDateiName; }
    void SetIniDateiName(const QString &Value) { FIniDateiName = Value; }
    QString IniPfadName() const { return FIniPfadName; }
    void SetIniPfadName(const QString &Value) { FIniPfadName = Value; }
    std::int32_t Language() const { return FLanguage; }
    void SetLanguage(std::int32_t Value) { FLanguage = Value; }
    bool SaveWithOK() const { return FSaveWithOK; }
    void SetSaveWithOK(bool Value) { FSaveWithOK = Value; }
    QString Caption() const { return FCaption; }
    void SetCaption(const QString &Value) { FCaption = Value; }
    bool EnableLoadSave() const { return FEnableLoadSave; }
    void SetEnableLoadSave(bool Value) { FEnableLoadSave = Value; }

private:
    QPointer<TFarbArray> FFarbArray;
    QString FIniDateiName;
    QString FIniPfadName;
    std::int32_t FLanguage = 0;
    bool FSaveWithOK = true;
    QString FCaption;
    bool FEnableLoadSave = true;
};

// The colour field: shows one colour and opens the editor (choose mode) when clicked or when
// Enter or Space is pressed. In palette mode the value is a palette number (with MitTransparent,
// 0 or below is "transparent", drawn as a white box with a black cross); in RGB mode it is a
// packed colour, drawn through the palette, so that a value in 1..240 (a dark red) shows that
// palette entry.
class WN_EXPORT TFarbFeld : public QWidget, public TComponentState
{
    Q_OBJECT
    // Enabled, and the colour shown. Default true.
    Q_PROPERTY(bool Erlaubt READ Erlaubt WRITE SetErlaubt)
    // Default bsSingle.
    Q_PROPERTY(wn::TBorderStyle BorderStyle READ BorderStyle WRITE SetBorderStyle)
    // The palette drawn from and edited; not owned. Default none.
    Q_PROPERTY(wn::TFarbArray *FarbArray READ FarbArray WRITE SetFarbArray)
    // Set when the user picked another colour. Default false.
    Q_PROPERTY(bool Modified READ Modified WRITE SetModified)
    // Kept for the host. Default 0.
    Q_PROPERTY(std::int32_t Language READ Language WRITE SetLanguage)
    // A value of 0 or below means transparent. Default false.
    Q_PROPERTY(bool MitTransparent READ MitTransparent WRITE SetMitTransparent)
    // A sunken edge instead of a flat single border. Default true.
    Q_PROPERTY(bool Ctl3D READ Ctl3D WRITE SetCtl3D)
    // Default true.
    Q_PROPERTY(bool TabStop READ TabStop WRITE SetTabStop)
    // The colour value; not stored with the form. Initially 1.
    Q_PROPERTY(std::int32_t Farbe READ Farbe WRITE SetFarbe STORED false)

public:
    explicit TFarbFeld(QWidget *Owner = nullptr);
    ~TFarbFeld() override;

    std::int32_t Farbe() const { return FFarbe; }
    void SetFarbe(std::int32_t Value);
    // Switches to RGB mode for good, then sets the value.
    void SetRGBFarbe(std::int32_t Value);
    bool RGBMode() const { return FRGBMode; }
    bool HasFocus() const { return FHasFocus; }
    // The background colour that ShowFarbe chose; shown where no palette paints.
    TColor Color() const { return FColor; }

    bool Erlaubt() const { return FErlaubt; }
    void SetErlaubt(bool Value);
    TBorderStyle BorderStyle() const { return FBorderStyle; }
    void SetBorderStyle(TBorderStyle Value);
    TFarbArray *FarbArray() const { return FFarbArray; }
    void SetFarbArray(TFarbArray *Value);
    bool Modified() const { return FModified; }
    void SetModified(bool Value) { FModified = Value; }
    std::int32_t Language() const { return FLanguage; }
    void SetLanguage(std::int32_t Value) { FLanguage = Value; }
    bool MitTransparent() const { return FMitTransparent; }
    void SetMitTransparent(bool Value);
    bool Ctl3D() const { return FCtl3D; }
    void SetCtl3D(bool Value);
    bool TabStop() const { return focusPolicy() == Qt::StrongFocus; }
    void SetTabStop(bool Value) { setFocusPolicy(Value ? Qt::StrongFocus : Qt::ClickFocus); }

    // Sets the background colour from the value and repaints.
    void ShowFarbe();
    // Opens the editor beside the field and takes the colour picked there.
    void Farbauswahl();

    QSize sizeHint() const override { return {50, 25}; }

    TNotifyEvent OnClick;
    TNotifyEvent OnDblClick;
    TNotifyEvent OnEnter;
    TNotifyEvent OnExit;
    TKeyEvent OnKeyDown;
    TKeyEvent OnKeyUp;
    TKeyPressEvent OnKeyPress;
    TMouseEvent OnMouseDown;
    TMouseMoveEvent OnMouseMove;
    TMouseEvent OnMouseUp;

protected:
    virtual void Click();
    virtual void KeyDown(std::uint16_t &Key, TShiftState Shift);

    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    int BorderWidth() const;
    bool Transparent() const;
    QColor FocusFrameColor() const;

    std::int32_t FFarbe = 1;
    bool FRGBMode = false;
    bool FHasFocus = false;
    TColor FColor = clBtnFace;
    bool FErlaubt = true;
    TBorderStyle FBorderStyle = bsSingle;
    QPointer<TFarbArray> FFarbArray;
    bool FModified = false;
    std::int32_t FLanguage = 0;
    bool FMitTransparent = false;
    bool FCtl3D = true;
    bool FPressed = false;
};

} // namespace wn
