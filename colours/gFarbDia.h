#pragma once
// gFarbDia: the colour-scale editor form. It shows the 240 entries of a palette as a 16 x 15 grid
// of small cells. In choose mode only the grid is shown and a pick closes the form; in edit mode
// a side panel mixes a colour from red, green and blue, stores it into an entry, clears or
// interpolates runs of entries, and loads, saves and prints the palette. Cancel puts back the
// colours the palette had when it was handed to the form.
//
// The form is shown through UiServices().ShowModal; it closes with mrOk or mrCancel. Errors of
// loading and saving reach the user as message boxes through UiServices, never as exceptions.

#include "colours/FarbArr.h"
#include "framework/CustomGrid.h"
#include "framework/UiServices.h"
#include "wn_export.h"

#include <QDialog>
#include <QPointer>
#include <QRect>
#include <QString>

#include <array>
#include <cstdint>

class QFrame;
class QLabel;
class QPainter;
class QPrinter;
class QPushButton;
class QSpinBox;
class QWidget;

namespace wn {

class TSpeedButton;

// The form's texts.
inline const QString SFarbenCaption = QStringLiteral("Colors");
inline const QString SFarbenMisch = QStringLiteral("Color:");
inline const QString SFarbenRot = QStringLiteral("&Red");
inline const QString SFarbenGruen = QStringLiteral("&Green");
inline const QString SFarbenBlau = QStringLiteral("&Blue");
inline const QString SFarbenInit = QStringLiteral("->");
inline const QString SFarbenDefOK = QStringLiteral("<-");
inline const QString SFarbenNull = QStringLiteral("0");
inline const QString SFarbenOK = QStringLiteral("&OK");
inline const QString SFarbenOKHint = QStringLiteral("Save colors only in current sheet.");
inline const QString SFarbenCancel = QStringLiteral("&Cancel");
inline const QString SFarbenHelp = QStringLiteral("&Help");
inline const QString SFarbenLaden = QStringLiteral("&Open...");
inline const QString SFarbenSpeichern = QStringLiteral("&Save");
inline const QString SFarbenSpAls = QStringLiteral("Save &as...");
inline const QString SFarbenPlott = QStringLiteral("&Print");
inline const QString SFarbenSaveAsHint = QStringLiteral("Save as");
inline const QString SFarbenOpenFilter =
    QStringLiteral("Farbdatei (*.SGC)|*.SGC|Farben \u00e4lter Version 5.0|PlotFarb.dat");
inline const QString SFarbenSaveFilter = QStringLiteral("Kalvero Farben (*.SGC)|*.SGC");
// A name typed without extension gets COL, though the filters offer SGC: older installations
// look for both.
inline const QString SFarbenDefaultExt = QStringLiteral("COL");
inline const QString SFarbenPrintTitle = QStringLiteral("Your Kalvero Colors");
// Why a chosen palette file could not be read as one.
inline const QString SFarbenFileMissing = QStringLiteral("The color file %1 does not exist.");
inline const QString SFarbenFileIsFolder = QStringLiteral("%1 is a folder, not a color file.");
inline const QString SFarbenFileDamaged = QStringLiteral("%1 is not a readable color file.");

constexpr int cFarbDiaHelpContext = 100001;
// The grid: 16 entries to a row, 15 rows, cells of 14 x 14 pixels.
constexpr int cFarbCols = 16;
constexpr int cFarbRows = 15;
constexpr int cFarbCellSize = 14;
// With transparency allowed, the last entry stands for "no colour".
constexpr int cFarbTransparent = 240;

// Entry number of grid cell (ACol, ARow), both from 0: row by row from 1.
constexpr int FarbNrOfCell(int ACol, int ARow)
{
    return ARow * cFarbCols + ACol + 1;
}
constexpr TGridCoord CellOfFarbNr(int Nr)
{
    return {(Nr - 1) % cFarbCols, (Nr - 1) / cFarbCols};
}

// Draws the palette as a colour chart on one page of the printer, which must be set up
// already: a title, then the 240 entries in the grid's order, each filled with its display
// colour and labelled with its red, green and blue values.
WN_EXPORT void PrintFarbTafel(QPrinter &printer, const TFarbArray &palette);

class WN_EXPORT TFarbenDialog : public QDialog
{
    Q_OBJECT
    // The palette shown and edited; not owned. Default none.
    Q_PROPERTY(wn::TFarbArray *FarbArray READ FarbArray WRITE SetFarbArray)
    // The selected entry (0 for transparent when EnableTransparent is set). Default 1.
    Q_PROPERTY(int Farbe READ Farbe WRITE SetFarbe)
    // The selected entry's display colour (-1 for transparent). Default: that of entry 1.
    Q_PROPERTY(int RGBFarbe READ RGBFarbe WRITE SetRGBFarbe)
    // Edit mode: the side panel is shown. Default false.
    Q_PROPERTY(bool Aendern READ Aendern WRITE SetAendern)
    // OK saves the palette first. Default true.
    Q_PROPERTY(bool SaveWithOK READ SaveWithOK WRITE SetSaveWithOK)
    // File name and folder the file dialogs start at. Default empty.
    Q_PROPERTY(QString IniDateiName READ IniDateiName WRITE SetIniDateiName)
    Q_PROPERTY(QString IniPfadName READ IniPfadName WRITE SetIniPfadName)
    // Entry 240 stands for transparent. Default false.
    Q_PROPERTY(bool EnableTransparent READ EnableTransparent WRITE SetEnableTransparent)
    // The help topic of Help and F1. Default 100001.
    Q_PROPERTY(int HelpContext READ HelpContext WRITE SetHelpContext)

public:
    explicit TFarbenDialog(QWidget *Owner = nullptr);
    ~TFarbenDialog() override;

    TFarbArray *FarbArray() const { return FFarbArray; }
    // Takes a copy of the palette's colours for Cancel.
    void SetFarbArray(TFarbArray *Value);
    int Farbe() const;
    // Selects entry Nr; with EnableTransparent a number below 1 selects entry 240.
    void SetFarbe(int Nr);
    int RGBFarbe() const;
    // With a palette: a colour >= 0 goes into the mixer and selects the nearest entry; a
    // negative one selects entry 240.
    void SetRGBFarbe(int Value);
    bool Aendern() const { return FAendern; }
    // Shows or hides the edit panel; the form widens or narrows by the panel's width.
    void SetAendern(bool Value);
    bool SaveWithOK() const { return FSaveWithOK; }
    void SetSaveWithOK(bool Value) { FSaveWithOK = Value; }
    QString IniDateiName() const { return FIniDateiName; }
    void SetIniDateiName(const QString &Value) { FIniDateiName = Value; }
    QString IniPfadName() const { return FIniPfadName; }
    void SetIniPfadName(const QString &Value) { FIniPfadName = Value; }
    bool EnableTransparent() const { return FEnableTransparent; }
    void SetEnableTransparent(bool Value);
    int HelpContext() const { return FHelpContext; }
    void SetHelpContext(int Value) { FHelpContext = Value; }

    // The entry selected in the grid (1..240).
    int Selected() const { return FSelected; }
    // The colour in the mixer, packed.
    TColor MischFarbe() const { return RGB(FMisch[0], FMisch[1], FMisch[2]); }
    // A mixer channel ('r', 'g' or 'b') takes the decimal number in Text when it is one below
    // 256; anything else leaves the mixer as it is.
    void Farbanteil_aendern(QChar Anteil, const QString &Text);
    // Loads the mixer and its spin edits from the selected entry.
    void InitFarbDef();
    // Where the selected cell was drawn last.
    QRect SelectedCellRect() const { return FSelRect; }

    // Cancel: the palette gets back its colours, the form closes with mrCancel. The close box,
    // Escape and Alt+F4 end here too.
    void reject() override;

    TDrawGrid *DGFarben;
    QFrame *PanelGrid;
    QFrame *PanelFarbDef;
    QLabel *LMisch;
    QLabel *LRot;
    QLabel *LGruen;
    QLabel *LBlau;
    QSpinBox *SpEdRot;
    QSpinBox *SpEdGruen;
    QSpinBox *SpEdBlau;
    QFrame *PanelFarbe;
    QWidget *PaintBox;
    QPushButton *ButtonInit;
    QPushButton *ButtonDefOK;
    TSpeedButton *SB0;
    TSpeedButton *SBCalc;
    QLabel *LabFNr;
    QPushButton *ButtonOK;
    QPushButton *ButtonCancel;
    QPushButton *ButtonHelp;
    QPushButton *ButtonLaden;
    QPushButton *ButtonSpeichern;
    QPushButton *ButtonSpAls;
    QPushButton *ButtonPlott;
    // The file dialogs' set-ups; after a confirmed dialog FileName holds the choice.
    TFileDialogOptions OpenDialog;
    TFileDialogOptions SaveDialog;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void CreateControls();
    void FormCreate();
    void UpdateSaveButton();
    void MoveGridTo(int Nr);
    void MarkSelected();
    void DGFarbenDrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &Rect);
    void DGFarbenSelectCell(std::int32_t ACol, std::int32_t ARow);
    void DGFarbenKeyDown(std::uint16_t &Key, TShiftState Shift);
    void DGFarbenClick();
    void DGFarbenDblClick();
    bool FormKeyDown(std::uint16_t Key, TShiftState Shift);
    void PaintBoxPaint();
    void SB0Click();
    void SBCalcClick();
    void ButtonInitClick();
    void ButtonDefOKClick();
    void ButtonOKClick();
    void ButtonHelpClick();
    void ButtonLadenClick();
    void ButtonSpeichernClick();
    void ButtonSpAlsClick();
    void ButtonPlottClick();
    // Saves under Name and reports a failure to the user; true when saved.
    bool SaveUnder(const QString &Name);

    QPointer<TFarbArray> FFarbArray;
    std::array<std::uint8_t, 3 * cFarbCount> FBackup{};
    int FSelected = 1;
    QRect FSelRect;
    std::array<std::uint8_t, 3> FMisch{};
    bool FAendern = false;
    bool FSaveWithOK = true;
    QString FIniDateiName;
    QString FIniPfadName;
    bool FEnableTransparent = false;
    int FHelpContext = cFarbDiaHelpContext;
    bool FClearPending = false;
    int FClearStart = 1;
};

} // namespace wn
