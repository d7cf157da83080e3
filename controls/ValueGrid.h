#pragma once
// TValueGrid: a data-entry grid that stores no cell data. Its columns are described by column
// definitions (TColDef); every value is asked of the owner through OnGetColValue and handed back
// through OnSetColValue, keyed by the definition's ID and the grid row, so that hiding columns
// never touches the owner's code. It edits cells by field type, moves over cells that cannot be
// edited, fills by dragging, tells the owner to add and remove lines, and copies and pastes
// tab-separated text.

#include "framework/Align.h"
#include "framework/Classes.h"
#include "framework/CustomGrid.h"
#include "wn_export.h"

#include <QVariant>

#include <bitset>
#include <memory>
#include <vector>

class QComboBox;
class QImage;

namespace wn {

// The data-access library's field types; the grid tells ftInteger, ftBoolean, ftFloat and
// ftDateTime apart and treats every other type as text.
enum TFieldType : std::uint8_t {
    ftUnknown,
    ftString,
    ftSmallint,
    ftInteger,
    ftWord,
    ftBoolean,
    ftFloat,
    ftCurrency,
    ftBCD,
    ftDate,
    ftTime,
    ftDateTime,
    ftBytes,
    ftVarBytes,
    ftAutoInc,
    ftBlob,
    ftMemo,
    ftGraphic,
    ftFmtMemo,
    ftParadoxOle,
    ftDBaseOle,
    ftTypedBinary,
    ftCursor,
    ftFixedChar,
    ftWideString,
    ftLargeint
};

enum TCheckBoxState : std::uint8_t { cbUnchecked, cbChecked, cbGrayed };

// The grid's texts.
inline const QString SCopyErrorAt = QStringLiteral("\rError(2) in Col,Row=");
inline const QString SDefaultFloatFormat = QStringLiteral("0.0");
inline const QString SDefaultBooleanFormat = QStringLiteral("-;YES");

// One column as the owner describes it; made by TValueGrid::AddColDef, owned by the list.
class WN_EXPORT TColDef : public TObject
{
public:
    std::int32_t ID = 0;
    QString Title;
    // Shown while the mouse rests on the column's header cell.
    QString Hint;
    TFieldType FieldType = ftUnknown;
    // Only takes effect through OnGetExtCellHeaderAlignment; headers are left-justified otherwise.
    TAlignment TitleAlignment = taLeftJustify;
    TAlignment Alignment = taLeftJustify;
    // An ftBoolean column shows a check box instead of text.
    bool ShowCheckBox = false;
    bool Visible = true;
    bool Editable = true;
    // FormatFloat pattern of ftFloat and ftBoolean columns.
    QString FormatStr;
    // A lookup combo box laid over the cell to choose a value (SetComboBox).
    QComboBox *ComboBox = nullptr;
    // Gets the text of every value typed into the column.
    QComboBox *MirrorControl = nullptr;
    // When not empty, exactly the characters the editor accepts in this column.
    std::bitset<256> AllowedChars;
};

// The grid's column definitions in order; owns them.
class WN_EXPORT TColDefList
{
public:
    TColDefList() = default;
    TColDefList(const TColDefList &) = delete;
    TColDefList &operator=(const TColDefList &) = delete;
    ~TColDefList() { Clear(); }

    int Count() const { return int(FItems.size()); }
    TColDef *Items(int index) const
    {
        return index >= 0 && index < Count() ? FItems[std::size_t(index)].get() : nullptr;
    }
    TColDef *Add(std::unique_ptr<TColDef> item);
    // Frees every definition.
    void Clear() { FItems.clear(); }
    int GetVisibleCount() const;

private:
    std::vector<std::unique_ptr<TColDef>> FItems;
};

// Null (an invalid or null QVariant) means the cell has no value. ACanvas is the grid's painter
// while it paints, otherwise a painter with the grid's font on a scratch image.
using TGetColValueEvent =
    std::function<QVariant(QObject *Sender, std::int32_t ID, std::int32_t ARow, QPainter *ACanvas)>;
using TSetColValueEvent =
    std::function<void(QObject *Sender, std::int32_t ID, std::int32_t ARow, const QVariant &AValue)>;
using TLineEvent = std::function<void(QObject *Sender, std::int32_t ARow)>;
using TFixedClickedEvent = std::function<void(QObject *Sender, std::int32_t ACol, std::int32_t ARow,
                                              TMouseButton Button, TShiftState Shift)>;
using TGetExtHeaderCellAlignmentEvent =
    std::function<TAlignment(QObject *Sender, std::int32_t aCol, std::int32_t aRow, TAlignment aDefaultVal)>;

class WN_EXPORT TValueGrid : public TCustomGrid
{
    Q_OBJECT
    // Default true.
    Q_PROPERTY(bool AutoColWidth READ AutoColWidth WRITE SetAutoColWidth)
    // Default true.
    Q_PROPERTY(bool AutoTitleHeight READ AutoTitleHeight WRITE SetAutoTitleHeight)
    // Default clHighlight.
    Q_PROPERTY(wn::TColor SelectColor READ SelectColor WRITE SetSelectColor)
    // Default clHighlightText.
    Q_PROPERTY(wn::TColor SelectTextColor READ SelectTextColor WRITE SetSelectTextColor)
    // Default clWhite.
    Q_PROPERTY(wn::TColor UnSelectColor READ UnSelectColor WRITE SetUnSelectColor)
    // Default clMenu.
    Q_PROPERTY(wn::TColor NoEditColor READ NoEditColor WRITE SetNoEditColor)
    // Default false.
    Q_PROPERTY(bool ShowHint READ ShowHint WRITE SetShowHint)
    // Default empty.
    Q_PROPERTY(QString Hint READ Hint WRITE SetHint)

public:
    explicit TValueGrid(QWidget *parent = nullptr);
    ~TValueGrid() override;

    bool AutoColWidth() const { return FAutoColWidth; }
    void SetAutoColWidth(bool value) { FAutoColWidth = value; }
    bool AutoTitleHeight() const { return FAutoTitleHeight; }
    void SetAutoTitleHeight(bool value) { FAutoTitleHeight = value; }
    TColor SelectColor() const { return FSelectColor; }
    void SetSelectColor(TColor value) { SetPaintColor(FSelectColor, value); }
    TColor SelectTextColor() const { return FSelectTextColor; }
    void SetSelectTextColor(TColor value) { SetPaintColor(FSelectTextColor, value); }
    TColor UnSelectColor() const { return FUnSelectColor; }
    void SetUnSelectColor(TColor value) { SetPaintColor(FUnSelectColor, value); }
    TColor NoEditColor() const { return FNoEditColor; }
    void SetNoEditColor(TColor value) { SetPaintColor(FNoEditColor, value); }
    bool ShowHint() const { return FShowHint; }
    void SetShowHint(bool value);
    QString Hint() const { return FHint; }
    void SetHint(const QString &value);
    // Lookup combos open as their cell is selected; turning it on drops goAlwaysShowEditor.
    bool LookCombosOnSelect() const { return FLookCombosOnSelect; }
    void SetLookCombosOnSelect(bool value);
    // While set, the keyboard moves no cell (CanGoToNextCell answers false).
    bool NoKeyMoves() const { return FNoKeyMoves; }
    void SetNoKeyMoves(bool value) { FNoKeyMoves = value; }

    TColDefList &ColDefList() { return FColDefList; }
    const TColDefList &ColDefList() const { return FColDefList; }

    // Appends a definition, sets ColCount to the visible definitions and sizes the new last
    // column (to the title's width + 10 when AutoColWidth is on and the title needs Width - 5 or
    // more) and row 0 (to the title's height + 5 when AutoTitleHeight is on).
    TColDef *AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                       TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment,
                       const QString &FormatStr, bool Editable);
    // Editable, with "0.0" for ftFloat, "-;YES" for ftBoolean, no pattern otherwise.
    TColDef *AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                       TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment);
    TColDef *AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                       TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment,
                       const QString &FormatStr, bool Editable, QComboBox *MirrorControl);
    // Hides the combo box and makes it the lookup of the column with this ID.
    void SetComboBox(std::int32_t ID, QComboBox *ComboBox);

    // The definition shown in grid column ACol: the ACol-th visible one; nullptr if none.
    TColDef *GetColDef(std::int32_t ACol) const;
    // The first definition with this ID, visible or not.
    TColDef *GetColDefByID(std::int32_t ID) const;
    // The grid column of an ID. Compares ID with the list item at the position of the visible
    // count so far, not at the walking position: right as long as no hidden definition comes
    // before the wanted one. Callers rely on exactly this answer.
    std::int32_t GetColIndexByColID(std::int32_t ID) const;
    // The cell's display text (the title in row 0); owner failures give empty text.
    QString GetAsString(std::int32_t ACol, std::int32_t ARow);
    // The owner's raw value; throws when OnGetColValue is not assigned.
    QVariant GetValue(std::int32_t ACol, std::int32_t ARow);
    // Fits every column to its widest text (title and all rows).
    void CalcColWidths();
    // Sizes the control to its grid.
    void SetGridDimensions();
    // A check box of the style's indicator size centred in Rect.
    void DrawCheck(QPainter &Canvas, const QRect &Rect, TCheckBoxState State);
    // Shows the lookup combo of the column over the current row's cell; whether it did.
    bool PlaceCombo(std::int32_t ACol);
    // A target cell for a cursor key from the current one that is visible, editable and allowed.
    bool CanGoToNextCell(std::uint16_t Key, std::int32_t &ACol, std::int32_t &ARow);
    // Tab-separated text, chosen in TCopyToClipBoardForm, to the clipboard.
    void CopyToClipBoard();
    // Tab- and line-separated clipboard text into the cells from the current one on.
    void PasteFromClipBoard();

    // The check-box image size, from the style's indicator metrics.
    static QSize CheckBoxSize();

    TSelectCellEvent OnSelectCell;
    TSelectCellEvent OnCheckSelectCell;
    TGetColValueEvent OnGetColValue;
    TSetColValueEvent OnSetColValue;
    TNotifyEvent OnAfterSetColValues;
    TLineEvent OnRemoveLine;
    TLineEvent OnAddLine;
    TNotifyEvent OnCopyToClipBoard;
    TNotifyEvent OnPasteFromClipBoard;
    TFixedClickedEvent OnFixedClicked;
    TGetExtHeaderCellAlignmentEvent OnGetExtCellHeaderAlignment;
    TNotifyEvent OnTopLeftChanged;

protected:
    void DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                  TGridDrawState AState) override;
    bool SelectCell(std::int32_t ACol, std::int32_t ARow) override;
    QString GetEditText(std::int32_t ACol, std::int32_t ARow) override;
    void SetEditText(std::int32_t ACol, std::int32_t ARow, const QString &Value) override;
    bool CanEditAcceptKey(QChar Key) override;
    void TopLeftChanged() override;
    void KeyDown(std::uint16_t &Key, TShiftState Shift) override;
    void KeyPress(QChar &Key) override;
    void MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y) override;
    void MouseMove(TShiftState Shift, int X, int Y) override;
    void MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y) override;
    void DblClick() override;
    void DoEnter() override;

    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

    // Lookup combo handlers.
    void ComboBoxChange();
    bool ComboBoxKeyDown(QComboBox *Combo, std::uint16_t Key, TShiftState Shift);
    void ComboBoxExit(QComboBox *Combo);

private:
    QPainter *OwnerCanvas();
    QVariant CallGetColValue(std::int32_t ID, std::int32_t ARow);
    QSize MeasureText(const QString &text) const;
    bool MouseInDragCopyRegion(int X, int Y) const;
    bool SelectionIsLine() const;
    TGridRect DragRectFor(TGridCoord mouseCell) const;
    void FillByDrag();
    // Moves Col or Row with OnSetColValue detached.
    void MoveDetached(std::int32_t ACol, std::int32_t ARow);

    TColDefList FColDefList;
    TColor FSelectColor = clHighlight;
    TColor FSelectTextColor = clHighlightText;
    TColor FUnSelectColor = clWhite;
    TColor FNoEditColor = clMenu;
    bool FAutoColWidth = true;
    bool FAutoTitleHeight = true;
    bool FLookCombosOnSelect = false;
    bool FNoKeyMoves = false;
    bool FShowHint = false;
    QString FHint;
    std::int32_t FHintCol = -1;
    TGridCoord FMouseCell{-1, -1};
    bool FDragFill = false;
    TGridRect FDragRect{-1, -1, -1, -1};
    bool FComboExit = false;
    std::unique_ptr<QImage> FScratch;
    std::unique_ptr<QPainter> FScratchCanvas;
};

} // namespace wn
