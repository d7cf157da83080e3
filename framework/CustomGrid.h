#pragma once
// TCustomGrid: the cell grid the package's grids derive from. It keeps no cell data: a
// descendant paints cells in DrawCell and feeds the in-place editor through GetEditText and
// SetEditText. Fixed rows and columns stay in place while the rest scrolls cell by cell;
// painting and hit tests only visit the visible cells, and sizes are stored only for the rows
// and columns that differ from the default, so a grid of millions of rows costs what a small
// one costs. TDrawGrid is the same grid with callback slots for owner-drawn grids.

#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "framework/Exceptions.h"
#include "framework/Graphics.h"
#include "framework/Input.h"
#include "framework/UiServices.h"
#include "wn_export.h"

#include <QAbstractScrollArea>
#include <QRect>
#include <QString>

#include <cstdint>
#include <functional>
#include <map>

class QLineEdit;
class QPainter;

namespace wn {

enum TGridOption : std::uint8_t {
    goFixedVertLine,
    goFixedHorzLine,
    goVertLine,
    goHorzLine,
    goRangeSelect,
    goDrawFocusSelected,
    goRowSizing,
    goColSizing,
    goRowMoving,
    goColMoving,
    goEditing,
    goTabs,
    goRowSelect,
    goAlwaysShowEditor,
    goThumbTracking
};
using TGridOptions = TSet<TGridOption>;
constexpr TGridOptions GridDefaultOptions{goFixedVertLine, goFixedHorzLine, goVertLine, goHorzLine,
                                          goRangeSelect};

enum TGridDrawStateFlag : std::uint8_t { gdSelected, gdFocused, gdFixed };
using TGridDrawState = TSet<TGridDrawStateFlag>;

enum TScrollStyle : std::uint8_t { ssNone, ssHorizontal, ssVertical, ssBoth };
enum TBorderStyle : std::uint8_t { bsNone, bsSingle };

struct TGridCoord {
    std::int32_t X = 0;
    std::int32_t Y = 0;
    friend bool operator==(const TGridCoord &, const TGridCoord &) = default;
};

// Cell indices, both corners included.
struct TGridRect {
    std::int32_t Left = 0;
    std::int32_t Top = 0;
    std::int32_t Right = 0;
    std::int32_t Bottom = 0;
    bool Contains(std::int32_t ACol, std::int32_t ARow) const
    {
        return ACol >= Left && ACol <= Right && ARow >= Top && ARow <= Bottom;
    }
    friend bool operator==(const TGridRect &, const TGridRect &) = default;
};

// A grid operation that cannot be done: an index out of range or impossible fixed counts.
class WN_EXPORT EInvalidGridOperation : public Exception
{
public:
    using Exception::Exception;
};

// The grid's texts.
inline const QString SGridIndexOutOfRange = QStringLiteral("Grid index out of range");
inline const QString SFixedColTooBig = QStringLiteral("Fixed column count must be less than column count");
inline const QString SFixedRowTooBig = QStringLiteral("Fixed row count must be less than row count");

// One axis of a grid (the columns or the rows) and its geometry rules. Cell i is Size(i) pixels
// followed by a line of LineWidth pixels; the fixed cells come first, then the scrolled cells
// from First on, up to an Extent of visible pixels. A point on a line belongs to the cell
// before it. Every rule walks the visible cells only.
class WN_EXPORT TGridAxis
{
public:
    std::int32_t Count = 5;
    std::int32_t Fixed = 1;
    std::int32_t DefaultSize = 24;
    std::int32_t LineWidth = 1;

    std::int32_t Size(std::int32_t index) const;
    // Stores the size only when it differs from DefaultSize.
    void SetSize(std::int32_t index, std::int32_t value);
    void ResetSizes() { FSizes.clear(); }
    std::size_t StoredSizes() const { return FSizes.size(); }
    // Forgets the sizes of cells at or beyond count.
    void Truncate(std::int32_t count);
    // The cell at from moves to to, the cells between shift by one; sizes travel with them.
    void Move(std::int32_t from, std::int32_t to);

    std::int64_t FixedExtent() const;
    // Pixel where cell index starts, or -1 when it does not start inside the extent.
    std::int64_t CellStart(std::int32_t index, std::int32_t first, std::int64_t extent) const;
    // The cell under pixel pos, or -1.
    std::int32_t CellAt(std::int64_t pos, std::int32_t first, std::int64_t extent) const;
    // The last cell that starts inside the extent (fixed cells included); -1 for none.
    std::int32_t LastVisible(std::int32_t first, std::int64_t extent) const;
    // How many scrolled cells from first are visible whole (their line may be cut off).
    std::int32_t FullVisibleCount(std::int32_t first, std::int64_t extent) const;
    // The largest first cell that still leaves no room below the last cell.
    std::int32_t MaxFirst(std::int64_t extent) const;
    // The first cell to show so that index is visible whole, starting from first.
    std::int32_t FirstToShow(std::int32_t index, std::int32_t first, std::int64_t extent) const;
    // Pixel just after the last drawn cell and its line, at most extent.
    std::int64_t Boundary(std::int32_t first, std::int64_t extent) const;
    // The cell whose trailing line lies within tolerance pixels of pos, or -1.
    std::int32_t LineAt(std::int64_t pos, std::int32_t first, std::int64_t extent, int tolerance) const;

    // Calls visit(index, start, size) for the visible cells in order (the fixed ones, then the
    // scrolled ones from first) until a cell starts at or beyond extent or visit answers false.
    template <typename F> void Walk(std::int32_t first, std::int64_t extent, F visit) const
    {
        std::int64_t pos = 0;
        auto it = FSizes.begin();
        for (std::int32_t i = 0; i < Fixed && i < Count; ++i) {
            if (pos >= extent)
                return;
            const std::int32_t size = it != FSizes.end() && it->first == i ? (it++)->second : DefaultSize;
            if (!visit(i, pos, size))
                return;
            pos += std::int64_t(size) + LineWidth;
        }
        it = FSizes.lower_bound(first);
        for (std::int32_t i = first; i < Count; ++i) {
            if (pos >= extent)
                return;
            const std::int32_t size = it != FSizes.end() && it->first == i ? (it++)->second : DefaultSize;
            if (!visit(i, pos, size))
                return;
            pos += std::int64_t(size) + LineWidth;
        }
    }

private:
    std::map<std::int32_t, std::int32_t> FSizes;
};

class TInplaceEdit;

class WN_EXPORT TCustomGrid : public QAbstractScrollArea, public TComponentState
{
    Q_OBJECT
    // Default 5.
    Q_PROPERTY(std::int32_t ColCount READ ColCount WRITE SetColCount)
    // Default 5.
    Q_PROPERTY(std::int32_t RowCount READ RowCount WRITE SetRowCount)
    // Default 1.
    Q_PROPERTY(std::int32_t FixedCols READ FixedCols WRITE SetFixedCols)
    // Default 1.
    Q_PROPERTY(std::int32_t FixedRows READ FixedRows WRITE SetFixedRows)
    // Default 64.
    Q_PROPERTY(std::int32_t DefaultColWidth READ DefaultColWidth WRITE SetDefaultColWidth)
    // Default 24.
    Q_PROPERTY(std::int32_t DefaultRowHeight READ DefaultRowHeight WRITE SetDefaultRowHeight)
    // Default true.
    Q_PROPERTY(bool DefaultDrawing READ DefaultDrawing WRITE SetDefaultDrawing)
    // Default 1.
    Q_PROPERTY(std::int32_t GridLineWidth READ GridLineWidth WRITE SetGridLineWidth)
    // Default clBtnFace.
    Q_PROPERTY(wn::TColor FixedColor READ FixedColor WRITE SetFixedColor)
    // Default clWindow.
    Q_PROPERTY(wn::TColor Color READ Color WRITE SetColor)
    // Default GridDefaultOptions.
    Q_PROPERTY(wn::TGridOptions Options READ Options WRITE SetOptions)
    // Default ssBoth.
    Q_PROPERTY(wn::TScrollStyle ScrollBars READ ScrollBars WRITE SetScrollBars)
    // Default bsSingle.
    Q_PROPERTY(wn::TBorderStyle BorderStyle READ BorderStyle WRITE SetBorderStyle)
    // Default true.
    Q_PROPERTY(bool Ctl3D READ Ctl3D WRITE SetCtl3D)
    // Default true.
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    Q_PROPERTY(std::int32_t VisibleColCount READ VisibleColCount)
    Q_PROPERTY(std::int32_t VisibleRowCount READ VisibleRowCount)

public:
    explicit TCustomGrid(QWidget *parent = nullptr);
    ~TCustomGrid() override;

    // Counts below 1 become 1; fixed counts shrink to stay below them.
    std::int32_t ColCount() const { return FCols.Count; }
    void SetColCount(std::int32_t value);
    std::int32_t RowCount() const { return FRows.Count; }
    void SetRowCount(std::int32_t value);
    // A fixed count must lie in 0 .. count - 1 (EInvalidGridOperation otherwise).
    std::int32_t FixedCols() const { return FCols.Fixed; }
    void SetFixedCols(std::int32_t value);
    std::int32_t FixedRows() const { return FRows.Fixed; }
    void SetFixedRows(std::int32_t value);
    // Setting a default size gives every column (row) that size.
    std::int32_t DefaultColWidth() const { return FCols.DefaultSize; }
    void SetDefaultColWidth(std::int32_t value);
    std::int32_t DefaultRowHeight() const { return FRows.DefaultSize; }
    void SetDefaultRowHeight(std::int32_t value);
    // An index outside the counts raises EInvalidGridOperation; sizes below 0 become 0.
    std::int32_t ColWidths(std::int32_t ACol) const;
    void SetColWidths(std::int32_t ACol, std::int32_t value);
    std::int32_t RowHeights(std::int32_t ARow) const;
    void SetRowHeights(std::int32_t ARow, std::int32_t value);
    bool DefaultDrawing() const { return FDefaultDrawing; }
    void SetDefaultDrawing(bool value);
    std::int32_t GridLineWidth() const { return FGridLineWidth; }
    void SetGridLineWidth(std::int32_t value);
    TColor FixedColor() const { return FFixedColor; }
    void SetFixedColor(TColor value) { SetPaintColor(FFixedColor, value); }
    TColor Color() const { return FColor; }
    void SetColor(TColor value) { SetPaintColor(FColor, value); }
    TGridOptions Options() const { return FOptions; }
    void SetOptions(TGridOptions value);
    TScrollStyle ScrollBars() const { return FScrollBars; }
    void SetScrollBars(TScrollStyle value);
    TBorderStyle BorderStyle() const { return FBorderStyle; }
    void SetBorderStyle(TBorderStyle value);
    bool Ctl3D() const { return FCtl3D; }
    void SetCtl3D(bool value);
    bool Enabled() const { return isEnabled(); }
    void SetEnabled(bool value) { setEnabled(value); }

    // The current cell. Setting it asks SelectCell and collapses the selection to the cell; an
    // index outside the counts raises EInvalidGridOperation, one in the fixed area means the
    // first scrolled cell.
    std::int32_t Col() const { return FCurrent.X; }
    void SetCol(std::int32_t value);
    std::int32_t Row() const { return FCurrent.Y; }
    void SetRow(std::int32_t value);
    // The selected cells; with goRowSelect whole rows. Setting a rectangle that holds the
    // current cell keeps it; otherwise its top left becomes the current cell first.
    TGridRect Selection() const;
    void SetSelection(const TGridRect &value);

    // The first scrolled row and column shown; clamped so that no room is left after the last.
    std::int32_t TopRow() const { return FTopLeft.Y; }
    void SetTopRow(std::int32_t value);
    std::int32_t LeftCol() const { return FTopLeft.X; }
    void SetLeftCol(std::int32_t value);
    // Scrolled columns and rows visible whole.
    std::int32_t VisibleColCount() const;
    std::int32_t VisibleRowCount() const;
    // Width and height of the drawn grid, at most the client area.
    int GridWidth() const;
    int GridHeight() const;
    int ClientWidth() const;
    void SetClientWidth(int value);
    int ClientHeight() const;
    void SetClientHeight(int value);

    // The cell's rectangle in client coordinates; empty when the cell is not visible.
    QRect CellRect(std::int32_t ACol, std::int32_t ARow) const;
    // The visible part of a range of cells in client coordinates; empty when none of it shows.
    QRect BoxRect(const TGridRect &range) const;
    // The cell under a client point; -1, -1 outside the cells.
    TGridCoord MouseCoord(int X, int Y) const;
    void MouseToCell(int X, int Y, std::int32_t &ACol, std::int32_t &ARow) const;

    // The in-place editor is shown while EditorMode is on (and goEditing allows it).
    bool EditorMode() const { return FEditorMode; }
    void SetEditorMode(bool value);
    void ShowEditor();
    void HideEditor();
    // Created on first use; nullptr before.
    QLineEdit *InplaceEditor() const;

    void InvalidateCell(std::int32_t ACol, std::int32_t ARow);
    void InvalidateRow(std::int32_t ARow);
    void InvalidateCol(std::int32_t ACol);
    void InvalidateGrid();

    // Moves a column (row) with its size; ColumnMoved (RowMoved) tells the descendant.
    void MoveColumn(std::int32_t FromIndex, std::int32_t ToIndex);
    void MoveRow(std::int32_t FromIndex, std::int32_t ToIndex);

    // The control's own cursor, and the one shown now (the split cursors over sizing lines).
    TCursor Cursor() const { return FCursor; }
    void SetCursor(TCursor value);
    TCursor CurrentCursor() const { return FShownCursor; }

    // True while the grid or its in-place editor has the keyboard focus.
    bool Focused() const;
    // The painter of the paint in progress; nullptr outside painting.
    QPainter *Canvas() const { return FCanvas; }

    const TGridAxis &ColAxis() const { return FCols; }
    const TGridAxis &RowAxis() const { return FRows; }

    // A dotted frame one pixel wide, as the focus of a cell is drawn.
    static void DrawFocusRect(QPainter &canvas, const QRect &rect, const QColor &color);

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
    TMouseWheelUpDownEvent OnMouseWheelDown;
    TMouseWheelUpDownEvent OnMouseWheelUp;

protected:
    // Paints one cell. With DefaultDrawing the cell is already filled (fixed colour, highlight
    // or Color) and the painter's pen is the text colour.
    virtual void DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                          TGridDrawState AState);
    // May the cell become the current one?
    virtual bool SelectCell(std::int32_t ACol, std::int32_t ARow);
    virtual QString GetEditText(std::int32_t ACol, std::int32_t ARow);
    // Called with the editor's text when an edit is confirmed or left changed.
    virtual void SetEditText(std::int32_t ACol, std::int32_t ARow, const QString &Value);
    // May the editor take this printable character?
    virtual bool CanEditAcceptKey(QChar Key);
    virtual bool CanEditModify();
    virtual bool CanEditShow();
    virtual void TopLeftChanged();
    virtual void SizeChanged(std::int32_t OldColCount, std::int32_t OldRowCount);
    virtual void ColWidthsChanged();
    virtual void RowHeightsChanged();
    virtual void ColumnMoved(std::int32_t FromIndex, std::int32_t ToIndex);
    virtual void RowMoved(std::int32_t FromIndex, std::int32_t ToIndex);

    virtual void KeyDown(std::uint16_t &Key, TShiftState Shift);
    virtual void KeyUp(std::uint16_t &Key, TShiftState Shift);
    virtual void KeyPress(QChar &Key);
    virtual void MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y);
    virtual void MouseMove(TShiftState Shift, int X, int Y);
    virtual void MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y);
    // Raised after every move of the current cell and on a click on the current cell.
    virtual void Click();
    virtual void DblClick();
    virtual void DoEnter();
    virtual void DoExit();

    // Stores a colour the grid paints with and repaints.
    void SetPaintColor(TColor &field, TColor value);
    // Makes (ACol, ARow) current if SelectCell allows; MoveAnchor false extends the selection
    // from the anchor instead. Returns whether the cell is current now.
    bool FocusCell(std::int32_t ACol, std::int32_t ARow, bool MoveAnchor);
    // Hands the editor's text to SetEditText when it was changed, or always with force.
    void UpdateText(bool force = false);

    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    friend class TInplaceEdit;
    enum TGridState : std::uint8_t {
        gsNormal,
        gsSelecting,
        gsRowSizing,
        gsColSizing,
        gsRowMoving,
        gsColMoving
    };

    std::int32_t VertLineWidth() const;
    std::int32_t HorzLineWidth() const;
    void SyncAxes();
    bool MoveCurrent(std::int32_t ACol, std::int32_t ARow, bool MoveAnchor, bool Show);
    void SetTopLeft(std::int32_t ACol, std::int32_t ARow);
    void ScrollToCurrent();
    void ClampState();
    void UpdateScrollBars();
    void UpdateEdit();
    void PlaceEditor();
    void HideEdit();
    void FocusChanged();
    void KeyCharacter(QChar ch, Qt::KeyboardModifiers modifiers);
    void ShowEditorChar(QChar ch);
    void UpdateHoverCursor(int X, int Y);
    void ApplyCursor(TCursor cursor);
    void DragSelectTo(int X, int Y);
    TGridDrawState CellState(std::int32_t ACol, std::int32_t ARow, bool focused) const;
    void DrawLines(QPainter &p, const QRect &clip) const;

    TGridAxis FCols;
    TGridAxis FRows;
    TGridCoord FCurrent{1, 1};
    TGridCoord FAnchor{1, 1};
    TGridRect FSelection{1, 1, 1, 1};
    TGridCoord FTopLeft{1, 1};
    std::int32_t FGridLineWidth = 1;
    TColor FFixedColor = clBtnFace;
    TColor FColor = clWindow;
    TGridOptions FOptions = GridDefaultOptions;
    TScrollStyle FScrollBars = ssBoth;
    TBorderStyle FBorderStyle = bsSingle;
    bool FCtl3D = true;
    bool FDefaultDrawing = true;

    bool FEditorMode = false;
    TInplaceEdit *FInplaceEdit = nullptr;
    TGridCoord FInplaceCell{-1, -1};
    bool FHadFocus = false;

    TGridState FGridState = gsNormal;
    std::int32_t FSizingIndex = -1;
    std::int64_t FSizingStart = 0;
    std::int32_t FMoveIndex = -1;
    TCursor FCursor = crDefault;
    TCursor FShownCursor = crDefault;
    QPainter *FCanvas = nullptr;
    bool FSyncingScrollBars = false;
};

using TDrawCellEvent = std::function<void(QObject *Sender, QPainter &Canvas, std::int32_t ACol,
                                          std::int32_t ARow, const QRect &Rect, TGridDrawState State)>;
using TSelectCellEvent =
    std::function<void(QObject *Sender, std::int32_t ACol, std::int32_t ARow, bool &CanSelect)>;
using TGetEditEvent =
    std::function<void(QObject *Sender, std::int32_t ACol, std::int32_t ARow, QString &Value)>;
using TSetEditEvent =
    std::function<void(QObject *Sender, std::int32_t ACol, std::int32_t ARow, const QString &Value)>;
using TMovedEvent = std::function<void(QObject *Sender, std::int32_t FromIndex, std::int32_t ToIndex)>;

// The grid for owner-drawn cells: what it draws, allows and edits is the owner's callbacks'.
class WN_EXPORT TDrawGrid : public TCustomGrid
{
    Q_OBJECT

public:
    explicit TDrawGrid(QWidget *parent = nullptr);

    TDrawCellEvent OnDrawCell;
    TSelectCellEvent OnSelectCell;
    TGetEditEvent OnGetEditText;
    TSetEditEvent OnSetEditText;
    TNotifyEvent OnTopLeftChanged;
    TMovedEvent OnColumnMoved;
    TMovedEvent OnRowMoved;

protected:
    void DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                  TGridDrawState AState) override;
    bool SelectCell(std::int32_t ACol, std::int32_t ARow) override;
    QString GetEditText(std::int32_t ACol, std::int32_t ARow) override;
    void SetEditText(std::int32_t ACol, std::int32_t ARow, const QString &Value) override;
    void TopLeftChanged() override;
    void ColumnMoved(std::int32_t FromIndex, std::int32_t ToIndex) override;
    void RowMoved(std::int32_t FromIndex, std::int32_t ToIndex) override;
};

} // namespace wn
