#include "framework/CustomGrid.h"

#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <algorithm>
#include <limits>
#include <vector>

namespace wn {

// ---------------------------------------------------------------------------------------------
// TGridAxis

std::int32_t TGridAxis::Size(std::int32_t index) const
{
    const auto it = FSizes.find(index);
    return it == FSizes.end() ? DefaultSize : it->second;
}

void TGridAxis::SetSize(std::int32_t index, std::int32_t value)
{
    if (value == DefaultSize)
        FSizes.erase(index);
    else
        FSizes[index] = value;
}

void TGridAxis::Truncate(std::int32_t count)
{
    FSizes.erase(FSizes.lower_bound(count), FSizes.end());
}

void TGridAxis::Move(std::int32_t from, std::int32_t to)
{
    if (from == to)
        return;
    const std::int32_t moved = Size(from);
    const std::int32_t low = std::min(from, to);
    const std::int32_t high = std::max(from, to);
    const int shift = from < to ? -1 : 1;
    std::vector<std::pair<std::int32_t, std::int32_t>> between;
    for (auto it = FSizes.lower_bound(low); it != FSizes.end() && it->first <= high;) {
        if (it->first != from)
            between.emplace_back(it->first + shift, it->second);
        it = FSizes.erase(it);
    }
    for (const auto &[index, size] : between)
        FSizes[index] = size;
    SetSize(to, moved);
}

std::int64_t TGridAxis::FixedExtent() const
{
    std::int64_t extent = std::int64_t(Fixed) * (std::int64_t(DefaultSize) + LineWidth);
    for (auto it = FSizes.begin(); it != FSizes.end() && it->first < Fixed; ++it)
        extent += std::int64_t(it->second) - DefaultSize;
    return extent;
}

std::int64_t TGridAxis::CellStart(std::int32_t index, std::int32_t first, std::int64_t extent) const
{
    std::int64_t result = -1;
    if (index < 0 || index >= Count || (index >= Fixed && index < first))
        return result;
    Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t) {
        if (i == index)
            result = start;
        return i != index;
    });
    return result;
}

std::int32_t TGridAxis::CellAt(std::int64_t pos, std::int32_t first, std::int64_t extent) const
{
    std::int32_t result = -1;
    if (pos < 0 || pos >= extent)
        return result;
    Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
        if (pos < start + size + LineWidth)
            result = i;
        return result < 0;
    });
    return result;
}

std::int32_t TGridAxis::LastVisible(std::int32_t first, std::int64_t extent) const
{
    std::int32_t result = -1;
    Walk(first, extent, [&](std::int32_t i, std::int64_t, std::int32_t) {
        result = i;
        return true;
    });
    return result;
}

std::int32_t TGridAxis::FullVisibleCount(std::int32_t first, std::int64_t extent) const
{
    std::int32_t result = 0;
    Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
        if (i < Fixed)
            return true;
        if (start + size > extent)
            return false;
        ++result;
        return true;
    });
    return result;
}

std::int32_t TGridAxis::MaxFirst(std::int64_t extent) const
{
    const std::int64_t room = extent - FixedExtent();
    std::int64_t total = -LineWidth;
    std::int32_t result = Count - 1;
    auto it = FSizes.rbegin();
    for (std::int32_t i = Count - 1; i >= Fixed; --i) {
        while (it != FSizes.rend() && it->first > i)
            ++it;
        const std::int32_t size = it != FSizes.rend() && it->first == i ? it->second : DefaultSize;
        total += std::int64_t(size) + LineWidth;
        if (total > room)
            break;
        result = i;
    }
    return std::max(result, Fixed);
}

std::int32_t TGridAxis::FirstToShow(std::int32_t index, std::int32_t first, std::int64_t extent) const
{
    if (index < Fixed)
        return first;
    if (index < first)
        return index;
    bool whole = false;
    Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
        if (i == index)
            whole = start + size <= extent;
        return i < index;
    });
    if (whole)
        return first;
    const std::int64_t room = extent - FixedExtent();
    std::int64_t total = Size(index);
    std::int32_t result = index;
    while (result > Fixed) {
        const std::int64_t more = total + Size(result - 1) + LineWidth;
        if (more > room)
            break;
        total = more;
        --result;
    }
    return result;
}

std::int64_t TGridAxis::Boundary(std::int32_t first, std::int64_t extent) const
{
    std::int64_t end = 0;
    Walk(first, extent, [&](std::int32_t, std::int64_t start, std::int32_t size) {
        end = start + size + LineWidth;
        return true;
    });
    return std::min(end, extent);
}

std::int32_t TGridAxis::LineAt(std::int64_t pos, std::int32_t first, std::int64_t extent, int tolerance) const
{
    std::int32_t result = -1;
    Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
        const std::int64_t line = start + size;
        if (pos >= line - tolerance && pos < line + LineWidth + tolerance)
            result = i;
        return result < 0 && start <= pos;
    });
    return result;
}

// ---------------------------------------------------------------------------------------------
// The in-place editor

class TInplaceEdit : public QLineEdit
{
public:
    explicit TInplaceEdit(TCustomGrid *grid) : QLineEdit(grid->viewport()), FGrid(grid)
    {
        setFrame(false);
        hide();
        connect(this, &QLineEdit::textEdited, this, [this] { Modified = true; });
    }

    void Load(const QString &text)
    {
        setText(text);
        Original = text;
        Modified = false;
    }

    // A character typed while the grid had the focus, as if typed here.
    void TypeChar(QChar ch)
    {
        const QChar out = ProcessChar(ch);
        if (out.isNull())
            return;
        if (out == QLatin1Char('\b'))
            backspace();
        else
            insert(QString(out));
        Modified = true;
    }

    bool Modified = false;
    QString Original;

protected:
    bool event(QEvent *e) override
    {
        if (e->type() == QEvent::KeyPress) {
            auto *k = static_cast<QKeyEvent *>(e);
            if ((k->key() == Qt::Key_Tab || k->key() == Qt::Key_Backtab) &&
                FGrid->Options().contains(goTabs)) {
                keyPressEvent(k);
                return true;
            }
        }
        return QLineEdit::event(e);
    }

    void keyPressEvent(QKeyEvent *e) override
    {
        std::uint16_t key = VirtualKeyOf(*e);
        const TShiftState shift = ShiftStateOf(e->modifiers());
        bool toGrid = false;
        switch (key) {
        case VK_UP:
        case VK_DOWN:
        case VK_PRIOR:
        case VK_NEXT: toGrid = true; break;
        case VK_LEFT:
        case VK_RIGHT:
        case VK_HOME:
        case VK_END:
        case VK_INSERT:
        case VK_DELETE: toGrid = shift.contains(ssCtrl); break;
        case VK_TAB: toGrid = FGrid->Options().contains(goTabs); break;
        case VK_ESCAPE:
            // Put back what the cell showed; nothing is stored.
            Load(Original);
            if (!FGrid->Options().contains(goAlwaysShowEditor))
                FGrid->HideEditor();
            return;
        case VK_F2:
            deselect();
            setCursorPosition(int(text().size()));
            return;
        default: break;
        }
        if (toGrid) {
            FGrid->KeyDown(key, shift);
            return;
        }
        if (key != 0 && FGrid->OnKeyDown) {
            FGrid->OnKeyDown(FGrid, key, shift);
            if (key == 0)
                return;
        }
        const QString text = e->text();
        if (text.size() == 1) {
            const QChar ch = text[0];
            const bool typed = ch == QLatin1Char('\r') || ch == QLatin1Char('\b') ||
                               (ch >= QLatin1Char(' ') && ch != QChar(0x7f) && !shift.contains(ssCtrl));
            if (typed) {
                const QChar out = ProcessChar(ch);
                if (out.isNull())
                    return;
                if (out != ch) {
                    insert(QString(out));
                    Modified = true;
                    return;
                }
            }
        }
        QLineEdit::keyPressEvent(e);
    }

    void focusInEvent(QFocusEvent *e) override
    {
        QLineEdit::focusInEvent(e);
        FGrid->FocusChanged();
    }

    void focusOutEvent(QFocusEvent *e) override
    {
        QLineEdit::focusOutEvent(e);
        if (e->reason() != Qt::ActiveWindowFocusReason && e->reason() != Qt::PopupFocusReason)
            FGrid->FocusChanged();
    }

private:
    // The grid sees the character first; returns what is left to type, or null when used up.
    QChar ProcessChar(QChar ch)
    {
        QChar k = ch;
        FGrid->KeyPress(k);
        if (k.isNull())
            return k;
        if (k >= QLatin1Char(' ') && k != QChar(0x7f) && !FGrid->CanEditAcceptKey(k)) {
            UiServices().Beep();
            return {};
        }
        if (k == QLatin1Char('\r')) {
            FGrid->UpdateText(true);
            if (FGrid->Options().contains(goAlwaysShowEditor))
                selectAll();
            else
                FGrid->HideEditor();
            return {};
        }
        if (k < QLatin1Char(' ') && k != QLatin1Char('\b'))
            return {};
        if (!FGrid->CanEditModify())
            return {};
        return k;
    }

    TCustomGrid *FGrid;
};

// ---------------------------------------------------------------------------------------------
// TCustomGrid

namespace {

// Pixels either side of a grid line where a press starts resizing.
constexpr int SizingTolerance = 2;
// Rows scrolled by one notch of the mouse wheel.
constexpr int WheelRows = 3;

TGridRect Normalized(TGridCoord a, TGridCoord b)
{
    return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
}

std::int32_t Clamp(std::int32_t v, std::int32_t low, std::int32_t high)
{
    return std::max(low, std::min(v, high));
}

struct TSpan {
    std::int32_t Index;
    int Start;
    int Size;
};

std::vector<TSpan> VisibleSpans(const TGridAxis &axis, std::int32_t first, int extent)
{
    std::vector<TSpan> spans;
    axis.Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
        spans.push_back({i, int(start), size});
        return true;
    });
    return spans;
}

} // namespace

TCustomGrid::TCustomGrid(QWidget *parent) : QAbstractScrollArea(parent)
{
    FCols.DefaultSize = 64;
    FRows.DefaultSize = 24;
    SyncAxes();
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setMouseTracking(true);
    viewport()->setAutoFillBackground(false);
    SetBorderStyle(bsSingle);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int v) {
        if (!FSyncingScrollBars)
            SetTopRow(FRows.Fixed + v);
    });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, [this](int v) {
        if (!FSyncingScrollBars)
            SetLeftCol(FCols.Fixed + v);
    });
    resize(320, 120);
    UpdateScrollBars();
}

TCustomGrid::~TCustomGrid() = default;

std::int32_t TCustomGrid::VertLineWidth() const
{
    return FOptions.contains(goFixedVertLine) || FOptions.contains(goVertLine) ? FGridLineWidth : 0;
}

std::int32_t TCustomGrid::HorzLineWidth() const
{
    return FOptions.contains(goFixedHorzLine) || FOptions.contains(goHorzLine) ? FGridLineWidth : 0;
}

void TCustomGrid::SyncAxes()
{
    FCols.LineWidth = VertLineWidth();
    FRows.LineWidth = HorzLineWidth();
}

void TCustomGrid::SetColCount(std::int32_t value)
{
    value = std::max(value, 1);
    if (value == FCols.Count)
        return;
    const std::int32_t oldCols = FCols.Count;
    if (value <= FCols.Fixed)
        FCols.Fixed = value - 1;
    FCols.Count = value;
    FCols.Truncate(value);
    ClampState();
    SizeChanged(oldCols, FRows.Count);
}

void TCustomGrid::SetRowCount(std::int32_t value)
{
    value = std::max(value, 1);
    if (value == FRows.Count)
        return;
    const std::int32_t oldRows = FRows.Count;
    if (value <= FRows.Fixed)
        FRows.Fixed = value - 1;
    FRows.Count = value;
    FRows.Truncate(value);
    ClampState();
    SizeChanged(FCols.Count, oldRows);
}

void TCustomGrid::SetFixedCols(std::int32_t value)
{
    if (value < 0)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    if (value >= FCols.Count)
        throw EInvalidGridOperation(SFixedColTooBig);
    FCols.Fixed = value;
    ClampState();
}

void TCustomGrid::SetFixedRows(std::int32_t value)
{
    if (value < 0)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    if (value >= FRows.Count)
        throw EInvalidGridOperation(SFixedRowTooBig);
    FRows.Fixed = value;
    ClampState();
}

// After a change of counts or fixed counts every index the grid keeps lies in range again.
void TCustomGrid::ClampState()
{
    const auto clampCoord = [this](TGridCoord c) {
        return TGridCoord{Clamp(c.X, FCols.Fixed, FCols.Count - 1), Clamp(c.Y, FRows.Fixed, FRows.Count - 1)};
    };
    FCurrent = clampCoord(FCurrent);
    FAnchor = clampCoord(FAnchor);
    const TGridCoord a = clampCoord({FSelection.Left, FSelection.Top});
    const TGridCoord b = clampCoord({FSelection.Right, FSelection.Bottom});
    FSelection = Normalized(a, b);
    if (FInplaceCell.X >= FCols.Count || FInplaceCell.Y >= FRows.Count || FInplaceCell.X < FCols.Fixed ||
        FInplaceCell.Y < FRows.Fixed)
        FInplaceCell = {-1, -1}; // the cell is gone: its text has nowhere to go
    FTopLeft = clampCoord(FTopLeft);
    SetTopLeft(FTopLeft.X, FTopLeft.Y);
    UpdateScrollBars();
    if (FEditorMode)
        UpdateEdit();
    else
        HideEdit();
    viewport()->update();
}

void TCustomGrid::SetDefaultColWidth(std::int32_t value)
{
    FCols.DefaultSize = std::max(value, 0);
    FCols.ResetSizes();
    ColWidthsChanged();
    ClampState();
}

void TCustomGrid::SetDefaultRowHeight(std::int32_t value)
{
    FRows.DefaultSize = std::max(value, 0);
    FRows.ResetSizes();
    RowHeightsChanged();
    ClampState();
}

std::int32_t TCustomGrid::ColWidths(std::int32_t ACol) const
{
    if (ACol < 0 || ACol >= FCols.Count)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    return FCols.Size(ACol);
}

void TCustomGrid::SetColWidths(std::int32_t ACol, std::int32_t value)
{
    if (ColWidths(ACol) == std::max(value, 0))
        return;
    FCols.SetSize(ACol, std::max(value, 0));
    ColWidthsChanged();
    ClampState();
}

std::int32_t TCustomGrid::RowHeights(std::int32_t ARow) const
{
    if (ARow < 0 || ARow >= FRows.Count)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    return FRows.Size(ARow);
}

void TCustomGrid::SetRowHeights(std::int32_t ARow, std::int32_t value)
{
    if (RowHeights(ARow) == std::max(value, 0))
        return;
    FRows.SetSize(ARow, std::max(value, 0));
    RowHeightsChanged();
    ClampState();
}

void TCustomGrid::SetDefaultDrawing(bool value)
{
    FDefaultDrawing = value;
    viewport()->update();
}

void TCustomGrid::SetGridLineWidth(std::int32_t value)
{
    FGridLineWidth = std::max(value, 0);
    SyncAxes();
    ClampState();
}

void TCustomGrid::SetPaintColor(TColor &field, TColor value)
{
    field = value;
    viewport()->update();
}

void TCustomGrid::SetOptions(TGridOptions value)
{
    if (value.contains(goRowSelect))
        value -= goAlwaysShowEditor;
    FOptions = value;
    SyncAxes();
    if (!value.contains(goEditing) || value.contains(goRowSelect))
        FEditorMode = false;
    else if (value.contains(goAlwaysShowEditor))
        FEditorMode = true;
    ClampState();
}

void TCustomGrid::SetScrollBars(TScrollStyle value)
{
    FScrollBars = value;
    UpdateScrollBars();
}

void TCustomGrid::SetBorderStyle(TBorderStyle value)
{
    FBorderStyle = value;
    if (value == bsNone) {
        setFrameStyle(QFrame::NoFrame);
    } else if (FCtl3D) {
        setFrameStyle(QFrame::WinPanel | QFrame::Sunken);
    } else {
        setFrameStyle(QFrame::Box | QFrame::Plain);
        setLineWidth(1);
    }
}

void TCustomGrid::SetCtl3D(bool value)
{
    FCtl3D = value;
    SetBorderStyle(FBorderStyle);
    viewport()->update();
}

void TCustomGrid::SetCol(std::int32_t value)
{
    FocusCell(value, FCurrent.Y, true);
}

void TCustomGrid::SetRow(std::int32_t value)
{
    FocusCell(FCurrent.X, value, true);
}

TGridRect TCustomGrid::Selection() const
{
    if (FOptions.contains(goRowSelect))
        return {FCols.Fixed, FSelection.Top, FCols.Count - 1, FSelection.Bottom};
    return FSelection;
}

void TCustomGrid::SetSelection(const TGridRect &value)
{
    const TGridCoord a{Clamp(std::min(value.Left, value.Right), FCols.Fixed, FCols.Count - 1),
                       Clamp(std::min(value.Top, value.Bottom), FRows.Fixed, FRows.Count - 1)};
    const TGridCoord b{Clamp(std::max(value.Left, value.Right), FCols.Fixed, FCols.Count - 1),
                       Clamp(std::max(value.Top, value.Bottom), FRows.Fixed, FRows.Count - 1)};
    const TGridRect rect = Normalized(a, b);
    if (rect.Contains(FCurrent.X, FCurrent.Y)) {
        FAnchor = {FCurrent.X == rect.Left ? rect.Right : rect.Left,
                   FCurrent.Y == rect.Top ? rect.Bottom : rect.Top};
    } else {
        if (!MoveCurrent(rect.Left, rect.Top, true, true))
            return;
        FAnchor = {rect.Right, rect.Bottom};
    }
    FSelection = rect;
    viewport()->update();
}

bool TCustomGrid::FocusCell(std::int32_t ACol, std::int32_t ARow, bool MoveAnchor)
{
    return MoveCurrent(ACol, ARow, MoveAnchor, true);
}

bool TCustomGrid::MoveCurrent(std::int32_t ACol, std::int32_t ARow, bool MoveAnchor, bool Show)
{
    if (ACol < 0 || ARow < 0 || ACol >= FCols.Count || ARow >= FRows.Count)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    ACol = std::max(ACol, FCols.Fixed);
    ARow = std::max(ARow, FRows.Fixed);
    const bool moves = ACol != FCurrent.X || ARow != FCurrent.Y;
    if (moves && !SelectCell(ACol, ARow))
        return false;
    if (moves)
        UpdateText();
    FCurrent = {ACol, ARow};
    if (MoveAnchor) {
        FAnchor = FCurrent;
        FSelection = {ACol, ARow, ACol, ARow};
    } else {
        FSelection = Normalized(FAnchor, FCurrent);
    }
    if (Show)
        ScrollToCurrent();
    if (moves && FEditorMode)
        UpdateEdit();
    viewport()->update();
    if (moves)
        Click();
    return true;
}

void TCustomGrid::SetTopRow(std::int32_t value)
{
    SetTopLeft(FTopLeft.X, value);
}

void TCustomGrid::SetLeftCol(std::int32_t value)
{
    SetTopLeft(value, FTopLeft.Y);
}

void TCustomGrid::SetTopLeft(std::int32_t ACol, std::int32_t ARow)
{
    ACol = Clamp(ACol, FCols.Fixed, FCols.MaxFirst(ClientWidth()));
    ARow = Clamp(ARow, FRows.Fixed, FRows.MaxFirst(ClientHeight()));
    if (ACol == FTopLeft.X && ARow == FTopLeft.Y)
        return;
    FTopLeft = {ACol, ARow};
    UpdateScrollBars();
    PlaceEditor();
    viewport()->update();
    TopLeftChanged();
}

void TCustomGrid::ScrollToCurrent()
{
    SetTopLeft(FCols.FirstToShow(FCurrent.X, FTopLeft.X, ClientWidth()),
               FRows.FirstToShow(FCurrent.Y, FTopLeft.Y, ClientHeight()));
}

std::int32_t TCustomGrid::VisibleColCount() const
{
    return FCols.FullVisibleCount(FTopLeft.X, ClientWidth());
}

std::int32_t TCustomGrid::VisibleRowCount() const
{
    return FRows.FullVisibleCount(FTopLeft.Y, ClientHeight());
}

int TCustomGrid::GridWidth() const
{
    return int(FCols.Boundary(FTopLeft.X, ClientWidth()));
}

int TCustomGrid::GridHeight() const
{
    return int(FRows.Boundary(FTopLeft.Y, ClientHeight()));
}

// Before the grid is first shown its viewport is not laid out yet; the room inside the frame
// is the client area then.
int TCustomGrid::ClientWidth() const
{
    return isVisible() ? viewport()->width() : contentsRect().width();
}

int TCustomGrid::ClientHeight() const
{
    return isVisible() ? viewport()->height() : contentsRect().height();
}

void TCustomGrid::SetClientWidth(int value)
{
    resize(width() + value - ClientWidth(), height());
}

void TCustomGrid::SetClientHeight(int value)
{
    resize(width(), height() + value - ClientHeight());
}

QRect TCustomGrid::CellRect(std::int32_t ACol, std::int32_t ARow) const
{
    if (ACol < 0 || ARow < 0 || ACol >= FCols.Count || ARow >= FRows.Count)
        return {};
    const std::int64_t x = FCols.CellStart(ACol, FTopLeft.X, ClientWidth());
    const std::int64_t y = FRows.CellStart(ARow, FTopLeft.Y, ClientHeight());
    if (x < 0 || y < 0)
        return {};
    return {int(x), int(y), FCols.Size(ACol), FRows.Size(ARow)};
}

QRect TCustomGrid::BoxRect(const TGridRect &range) const
{
    const auto span = [](const TGridAxis &axis, std::int32_t first, int extent, std::int32_t low,
                         std::int32_t high) {
        std::int64_t from = -1;
        std::int64_t to = -1;
        axis.Walk(first, extent, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
            if (i >= low && i <= high) {
                if (from < 0)
                    from = start;
                to = start + size;
            }
            return true;
        });
        return std::make_pair(from, to);
    };
    const auto [left, right] = span(FCols, FTopLeft.X, ClientWidth(), range.Left, range.Right);
    const auto [top, bottom] = span(FRows, FTopLeft.Y, ClientHeight(), range.Top, range.Bottom);
    if (left < 0 || top < 0)
        return {};
    return QRect(QPoint(int(left), int(top)), QPoint(int(right) - 1, int(bottom) - 1));
}

TGridCoord TCustomGrid::MouseCoord(int X, int Y) const
{
    const std::int32_t c = FCols.CellAt(X, FTopLeft.X, ClientWidth());
    const std::int32_t r = FRows.CellAt(Y, FTopLeft.Y, ClientHeight());
    if (c < 0 || r < 0)
        return {-1, -1};
    return {c, r};
}

void TCustomGrid::MouseToCell(int X, int Y, std::int32_t &ACol, std::int32_t &ARow) const
{
    const TGridCoord c = MouseCoord(X, Y);
    ACol = c.X;
    ARow = c.Y;
}

void TCustomGrid::InvalidateCell(std::int32_t ACol, std::int32_t ARow)
{
    const QRect r = CellRect(ACol, ARow);
    if (!r.isEmpty())
        viewport()->update(r.adjusted(0, 0, FCols.LineWidth, FRows.LineWidth));
}

void TCustomGrid::InvalidateRow(std::int32_t ARow)
{
    const std::int64_t y = FRows.CellStart(ARow, FTopLeft.Y, ClientHeight());
    if (y >= 0)
        viewport()->update(0, int(y), ClientWidth(), FRows.Size(ARow) + FRows.LineWidth);
}

void TCustomGrid::InvalidateCol(std::int32_t ACol)
{
    const std::int64_t x = FCols.CellStart(ACol, FTopLeft.X, ClientWidth());
    if (x >= 0)
        viewport()->update(int(x), 0, FCols.Size(ACol) + FCols.LineWidth, ClientHeight());
}

void TCustomGrid::InvalidateGrid()
{
    viewport()->update();
}

void TCustomGrid::MoveColumn(std::int32_t FromIndex, std::int32_t ToIndex)
{
    if (FromIndex < 0 || ToIndex < 0 || FromIndex >= FCols.Count || ToIndex >= FCols.Count)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    if (FromIndex == ToIndex)
        return;
    UpdateText();
    FCols.Move(FromIndex, ToIndex);
    ColumnMoved(FromIndex, ToIndex);
    ClampState();
}

void TCustomGrid::MoveRow(std::int32_t FromIndex, std::int32_t ToIndex)
{
    if (FromIndex < 0 || ToIndex < 0 || FromIndex >= FRows.Count || ToIndex >= FRows.Count)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    if (FromIndex == ToIndex)
        return;
    UpdateText();
    FRows.Move(FromIndex, ToIndex);
    RowMoved(FromIndex, ToIndex);
    ClampState();
}

void TCustomGrid::SetCursor(TCursor value)
{
    FCursor = value;
    if (FShownCursor != crHSplit && FShownCursor != crVSplit)
        ApplyCursor(value);
}

void TCustomGrid::ApplyCursor(TCursor cursor)
{
    FShownCursor = cursor;
    if (cursor == crDefault)
        viewport()->unsetCursor();
    else
        viewport()->setCursor(CursorShape(cursor));
}

bool TCustomGrid::Focused() const
{
    return hasFocus() || (FInplaceEdit && FInplaceEdit->hasFocus());
}

void TCustomGrid::DrawFocusRect(QPainter &canvas, const QRect &rect, const QColor &color)
{
    canvas.save();
    canvas.setPen(Qt::NoPen);
    canvas.setBrush(Qt::NoBrush);
    const auto dot = [&](int x, int y) {
        if ((x + y) % 2 == 0)
            canvas.fillRect(x, y, 1, 1, color);
    };
    for (int x = rect.left(); x <= rect.right(); ++x) {
        dot(x, rect.top());
        dot(x, rect.bottom());
    }
    for (int y = rect.top() + 1; y < rect.bottom(); ++y) {
        dot(rect.left(), y);
        dot(rect.right(), y);
    }
    canvas.restore();
}

// ---------------------------------------------------------------------------------------------
// The editor

void TCustomGrid::SetEditorMode(bool value)
{
    if (value)
        ShowEditor();
    else
        HideEditor();
}

void TCustomGrid::ShowEditor()
{
    if (!FOptions.contains(goEditing) || FOptions.contains(goRowSelect))
        return;
    FEditorMode = true;
    UpdateEdit();
}

void TCustomGrid::HideEditor()
{
    if (!FOptions.contains(goAlwaysShowEditor))
        FEditorMode = false;
    HideEdit();
}

QLineEdit *TCustomGrid::InplaceEditor() const
{
    return FInplaceEdit;
}

bool TCustomGrid::CanEditShow()
{
    return FOptions.contains(goEditing) && !FOptions.contains(goRowSelect) && FEditorMode && !Designing() &&
           (FOptions.contains(goAlwaysShowEditor) || Focused());
}

void TCustomGrid::UpdateEdit()
{
    if (!CanEditShow())
        return;
    if (!FInplaceEdit)
        FInplaceEdit = new TInplaceEdit(this);
    if (FInplaceCell != FCurrent) {
        UpdateText();
        FInplaceCell = FCurrent;
        FInplaceEdit->Load(GetEditText(FCurrent.X, FCurrent.Y));
        FInplaceEdit->selectAll();
    }
    PlaceEditor();
}

// Keeps the editor over its cell while the grid scrolls; out of sight it hides, keeping its text.
void TCustomGrid::PlaceEditor()
{
    if (!FInplaceEdit || FInplaceCell.X < 0)
        return;
    const QRect r = CellRect(FInplaceCell.X, FInplaceCell.Y);
    if (r.isEmpty()) {
        if (FInplaceEdit->hasFocus())
            setFocus(Qt::OtherFocusReason);
        FInplaceEdit->hide();
        return;
    }
    FInplaceEdit->setGeometry(r);
    FInplaceEdit->setFont(font());
    const bool focus = hasFocus();
    FInplaceEdit->show();
    if (focus)
        FInplaceEdit->setFocus(Qt::OtherFocusReason);
}

void TCustomGrid::HideEdit()
{
    if (!FInplaceEdit)
        return;
    UpdateText();
    FInplaceCell = {-1, -1};
    if (FInplaceEdit->hasFocus())
        setFocus(Qt::OtherFocusReason);
    FInplaceEdit->hide();
    viewport()->update();
}

void TCustomGrid::UpdateText(bool force)
{
    if (!FInplaceEdit || FInplaceCell.X < 0 || !(force || FInplaceEdit->Modified))
        return;
    FInplaceEdit->Modified = false;
    SetEditText(FInplaceCell.X, FInplaceCell.Y, FInplaceEdit->text());
}

// ---------------------------------------------------------------------------------------------
// Virtual hooks

void TCustomGrid::DrawCell(QPainter &, std::int32_t, std::int32_t, const QRect &, TGridDrawState) {}

bool TCustomGrid::SelectCell(std::int32_t, std::int32_t)
{
    return true;
}

QString TCustomGrid::GetEditText(std::int32_t, std::int32_t)
{
    return {};
}

void TCustomGrid::SetEditText(std::int32_t, std::int32_t, const QString &) {}

bool TCustomGrid::CanEditAcceptKey(QChar)
{
    return true;
}

bool TCustomGrid::CanEditModify()
{
    return true;
}

void TCustomGrid::TopLeftChanged() {}
void TCustomGrid::SizeChanged(std::int32_t, std::int32_t) {}
void TCustomGrid::ColWidthsChanged() {}
void TCustomGrid::RowHeightsChanged() {}
void TCustomGrid::ColumnMoved(std::int32_t, std::int32_t) {}
void TCustomGrid::RowMoved(std::int32_t, std::int32_t) {}

void TCustomGrid::Click()
{
    if (OnClick)
        OnClick(this);
}

void TCustomGrid::DblClick()
{
    if (OnDblClick)
        OnDblClick(this);
}

void TCustomGrid::DoEnter()
{
    if (OnEnter)
        OnEnter(this);
}

void TCustomGrid::DoExit()
{
    if (OnExit)
        OnExit(this);
}

// ---------------------------------------------------------------------------------------------
// Keyboard

void TCustomGrid::KeyDown(std::uint16_t &Key, TShiftState Shift)
{
    if (OnKeyDown)
        OnKeyDown(this, Key, Shift);
    if (Key == 0)
        return;
    const bool rowSelect = FOptions.contains(goRowSelect);
    const bool ctrl = Shift.contains(ssCtrl);
    bool moveAnchor = !(Shift.contains(ssShift) && FOptions.contains(goRangeSelect));
    std::int32_t c = FCurrent.X;
    std::int32_t r = FCurrent.Y;
    const std::int32_t page = std::max(VisibleRowCount(), 1);
    switch (Key) {
    case VK_UP: r = std::max(r - 1, FRows.Fixed); break;
    case VK_DOWN: r = std::min(r + 1, FRows.Count - 1); break;
    case VK_LEFT:
        if (rowSelect) {
            SetLeftCol(FTopLeft.X - 1);
            return;
        }
        c = std::max(c - 1, FCols.Fixed);
        break;
    case VK_RIGHT:
        if (rowSelect) {
            SetLeftCol(FTopLeft.X + 1);
            return;
        }
        c = std::min(c + 1, FCols.Count - 1);
        break;
    case VK_PRIOR:
        r = std::max(r - page, FRows.Fixed);
        SetTopRow(FTopLeft.Y - page);
        break;
    case VK_NEXT:
        r = std::min(r + page, FRows.Count - 1);
        SetTopRow(FTopLeft.Y + page);
        break;
    case VK_HOME:
        if (ctrl || rowSelect)
            r = FRows.Fixed;
        if (!rowSelect)
            c = FCols.Fixed;
        break;
    case VK_END:
        if (ctrl || rowSelect)
            r = FRows.Count - 1;
        if (!rowSelect)
            c = FCols.Count - 1;
        break;
    case VK_TAB:
        if (!FOptions.contains(goTabs) || Shift.contains(ssAlt))
            return;
        moveAnchor = true;
        if (!Shift.contains(ssShift)) {
            if (c < FCols.Count - 1) {
                ++c;
            } else if (r < FRows.Count - 1) {
                c = FCols.Fixed;
                ++r;
            } else {
                focusNextPrevChild(true);
                return;
            }
        } else if (c > FCols.Fixed) {
            --c;
        } else if (r > FRows.Fixed) {
            c = FCols.Count - 1;
            --r;
        } else {
            focusNextPrevChild(false);
            return;
        }
        break;
    case VK_F2:
        ShowEditor();
        if (FInplaceEdit && FInplaceEdit->isVisible()) {
            FInplaceEdit->deselect();
            FInplaceEdit->setCursorPosition(int(FInplaceEdit->text().size()));
        }
        return;
    default: return;
    }
    MoveCurrent(c, r, moveAnchor, true);
}

void TCustomGrid::KeyUp(std::uint16_t &Key, TShiftState Shift)
{
    if (OnKeyUp)
        OnKeyUp(this, Key, Shift);
}

void TCustomGrid::KeyPress(QChar &Key)
{
    if (OnKeyPress)
        OnKeyPress(this, Key);
    if (Key == QLatin1Char('\r') && FOptions.contains(goEditing) && !FOptions.contains(goAlwaysShowEditor)) {
        if (FEditorMode) {
            UpdateText(true);
            HideEditor();
        } else {
            ShowEditor();
        }
        Key = QChar();
    }
}

void TCustomGrid::ShowEditorChar(QChar ch)
{
    ShowEditor();
    if (FInplaceEdit && FInplaceEdit->isVisible())
        FInplaceEdit->TypeChar(ch);
}

bool TCustomGrid::event(QEvent *e)
{
    if (e->type() == QEvent::KeyPress) {
        auto *k = static_cast<QKeyEvent *>(e);
        if ((k->key() == Qt::Key_Tab || k->key() == Qt::Key_Backtab) && FOptions.contains(goTabs) &&
            !(k->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
            keyPressEvent(k);
            return true;
        }
    }
    return QAbstractScrollArea::event(e);
}

void TCustomGrid::keyPressEvent(QKeyEvent *event)
{
    std::uint16_t key = VirtualKeyOf(*event);
    const Qt::KeyboardModifiers mods = event->modifiers();
    if (key != 0) {
        KeyDown(key, ShiftStateOf(mods));
        if (key == 0)
            return;
    }
    bool used = true;
    for (const QChar ch : event->text()) {
        if ((mods & Qt::ControlModifier) && !(mods & Qt::AltModifier) && ch >= QLatin1Char(' '))
            continue; // Ctrl with a printable key types nothing
        if (FOptions.contains(goEditing) && !FOptions.contains(goRowSelect) &&
            (ch == QLatin1Char('\b') || (ch >= QLatin1Char(' ') && ch != QChar(0x7f)))) {
            ShowEditorChar(ch);
            continue;
        }
        QChar k = ch;
        KeyPress(k);
        used = k.isNull() || (k != QLatin1Char('\r') && k != QChar(0x1b));
    }
    // Enter and Escape nobody used go on to the form (default and cancel buttons).
    if (!used)
        event->ignore();
}

void TCustomGrid::keyReleaseEvent(QKeyEvent *event)
{
    std::uint16_t key = VirtualKeyOf(*event);
    if (key != 0)
        KeyUp(key, ShiftStateOf(event->modifiers()));
}

// ---------------------------------------------------------------------------------------------
// Mouse

void TCustomGrid::MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y)
{
    if (Button == mbLeft && !Designing()) {
        const int cw = ClientWidth();
        const int ch = ClientHeight();
        std::int32_t line = -1;
        if (FOptions.contains(goColSizing) && Y < FRows.FixedExtent() &&
            (line = FCols.LineAt(X, FTopLeft.X, cw, SizingTolerance)) >= 0) {
            FGridState = gsColSizing;
            FSizingIndex = line;
            FSizingStart = FCols.CellStart(line, FTopLeft.X, cw);
        } else if (FOptions.contains(goRowSizing) && X < FCols.FixedExtent() &&
                   (line = FRows.LineAt(Y, FTopLeft.Y, ch, SizingTolerance)) >= 0) {
            FGridState = gsRowSizing;
            FSizingIndex = line;
            FSizingStart = FRows.CellStart(line, FTopLeft.Y, ch);
        } else {
            const TGridCoord cell = MouseCoord(X, Y);
            if (cell.X < 0) {
                // outside the cells
            } else if (cell.X < FCols.Fixed || cell.Y < FRows.Fixed) {
                if (FOptions.contains(goColMoving) && cell.Y < FRows.Fixed && cell.X >= FCols.Fixed) {
                    FGridState = gsColMoving;
                    FMoveIndex = cell.X;
                } else if (FOptions.contains(goRowMoving) && cell.X < FCols.Fixed && cell.Y >= FRows.Fixed) {
                    FGridState = gsRowMoving;
                    FMoveIndex = cell.Y;
                }
            } else if (cell == FCurrent && !Shift.contains(ssShift) && !Shift.contains(ssCtrl)) {
                MoveCurrent(cell.X, cell.Y, true, true);
                if (FOptions.contains(goRangeSelect))
                    FGridState = gsSelecting;
                Click();
                ShowEditor();
            } else {
                const bool extend = FOptions.contains(goRangeSelect) && Shift.contains(ssShift);
                MoveCurrent(cell.X, cell.Y, !extend, true);
                if (FOptions.contains(goRangeSelect))
                    FGridState = gsSelecting;
            }
        }
    }
    if (OnMouseDown)
        OnMouseDown(this, Button, Shift, X, Y);
}

// While the button is held past an edge the grid scrolls one cell per move.
void TCustomGrid::DragSelectTo(int X, int Y)
{
    const int cw = ClientWidth();
    const int ch = ClientHeight();
    const auto target = [](const TGridAxis &axis, std::int32_t first, int pos, int extent) {
        if (pos < axis.FixedExtent())
            return std::max(first - 1, axis.Fixed);
        if (pos >= extent)
            return std::min(first + axis.FullVisibleCount(first, extent), axis.Count - 1);
        const std::int32_t at = axis.CellAt(pos, first, extent);
        return at < 0 ? axis.Count - 1 : at;
    };
    MoveCurrent(target(FCols, FTopLeft.X, X, cw), target(FRows, FTopLeft.Y, Y, ch), false, true);
}

void TCustomGrid::MouseMove(TShiftState Shift, int X, int Y)
{
    switch (FGridState) {
    case gsSelecting: DragSelectTo(X, Y); break;
    case gsColSizing: SetColWidths(FSizingIndex, int(std::max<std::int64_t>(X - FSizingStart, 0))); break;
    case gsRowSizing: SetRowHeights(FSizingIndex, int(std::max<std::int64_t>(Y - FSizingStart, 0))); break;
    case gsNormal: UpdateHoverCursor(X, Y); break;
    default: break;
    }
    if (OnMouseMove)
        OnMouseMove(this, Shift, X, Y);
}

void TCustomGrid::UpdateHoverCursor(int X, int Y)
{
    TCursor cursor = FCursor;
    if (FOptions.contains(goColSizing) && Y < FRows.FixedExtent() &&
        FCols.LineAt(X, FTopLeft.X, ClientWidth(), SizingTolerance) >= 0)
        cursor = crHSplit;
    else if (FOptions.contains(goRowSizing) && X < FCols.FixedExtent() &&
             FRows.LineAt(Y, FTopLeft.Y, ClientHeight(), SizingTolerance) >= 0)
        cursor = crVSplit;
    if (cursor != FShownCursor)
        ApplyCursor(cursor);
}

void TCustomGrid::MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y)
{
    const TGridCoord cell = MouseCoord(X, Y);
    if (FGridState == gsColMoving && cell.X >= FCols.Fixed && cell.X != FMoveIndex)
        MoveColumn(FMoveIndex, cell.X);
    else if (FGridState == gsRowMoving && cell.Y >= FRows.Fixed && cell.Y != FMoveIndex)
        MoveRow(FMoveIndex, cell.Y);
    FGridState = gsNormal;
    if (OnMouseUp)
        OnMouseUp(this, Button, Shift, X, Y);
}

void TCustomGrid::mousePressEvent(QMouseEvent *event)
{
    if (!Focused() && focusPolicy() != Qt::NoFocus)
        setFocus(Qt::MouseFocusReason);
    const QPoint p = event->position().toPoint();
    MouseDown(MouseButtonOf(event->button()), ShiftStateOf(event->modifiers(), event->buttons()), p.x(),
              p.y());
}

void TCustomGrid::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QPoint p = event->position().toPoint();
    DblClick();
    MouseDown(MouseButtonOf(event->button()), ShiftStateOf(event->modifiers(), event->buttons(), true), p.x(),
              p.y());
}

void TCustomGrid::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint p = event->position().toPoint();
    MouseMove(ShiftStateOf(event->modifiers(), event->buttons()), p.x(), p.y());
}

void TCustomGrid::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint p = event->position().toPoint();
    MouseUp(MouseButtonOf(event->button()), ShiftStateOf(event->modifiers(), event->buttons()), p.x(), p.y());
}

void TCustomGrid::wheelEvent(QWheelEvent *event)
{
    const int notches = event->angleDelta().y() / 120;
    event->accept();
    if (notches == 0)
        return;
    bool handled = false;
    const TShiftState shift = ShiftStateOf(event->modifiers(), event->buttons());
    const QPoint pos = event->position().toPoint();
    if (notches < 0 && OnMouseWheelDown)
        OnMouseWheelDown(this, shift, pos, handled);
    else if (notches > 0 && OnMouseWheelUp)
        OnMouseWheelUp(this, shift, pos, handled);
    if (!handled)
        SetTopRow(FTopLeft.Y - notches * WheelRows);
}

// ---------------------------------------------------------------------------------------------
// Focus, size and scroll bars

void TCustomGrid::FocusChanged()
{
    const bool now = Focused();
    if (now != FHadFocus) {
        FHadFocus = now;
        if (now) {
            if (FOptions.contains(goAlwaysShowEditor) && FOptions.contains(goEditing))
                ShowEditor();
            DoEnter();
        } else {
            if (!FOptions.contains(goAlwaysShowEditor))
                FEditorMode = false;
            HideEdit();
            DoExit();
        }
    }
    viewport()->update();
}

void TCustomGrid::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    if (FInplaceEdit && FInplaceEdit->isVisible() && FEditorMode)
        FInplaceEdit->setFocus(Qt::OtherFocusReason);
    FocusChanged();
}

void TCustomGrid::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    if (event->reason() == Qt::ActiveWindowFocusReason || event->reason() == Qt::PopupFocusReason)
        viewport()->update();
    else
        FocusChanged();
}

void TCustomGrid::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange && FInplaceEdit)
        FInplaceEdit->setFont(font());
    viewport()->update();
}

void TCustomGrid::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    SetTopLeft(FTopLeft.X, FTopLeft.Y);
    UpdateScrollBars();
    PlaceEditor();
}

void TCustomGrid::scrollContentsBy(int, int)
{
    // The grid scrolls by whole cells through TopRow and LeftCol, not by pixels.
    viewport()->update();
}

void TCustomGrid::UpdateScrollBars()
{
    if (FSyncingScrollBars)
        return;
    FSyncingScrollBars = true;
    const auto sync = [this](QScrollBar *bar, const TGridAxis &axis, std::int32_t first, int extent,
                             bool wanted, Qt::Orientation orientation) {
        const std::int32_t maxFirst = axis.MaxFirst(extent);
        bar->setRange(0, std::max(maxFirst - axis.Fixed, 0));
        bar->setPageStep(std::max(axis.FullVisibleCount(first, extent), 1));
        bar->setSingleStep(1);
        bar->setValue(first - axis.Fixed);
        bar->setTracking(FOptions.contains(goThumbTracking));
        const Qt::ScrollBarPolicy policy = wanted ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff;
        if (orientation == Qt::Vertical && verticalScrollBarPolicy() != policy)
            setVerticalScrollBarPolicy(policy);
        if (orientation == Qt::Horizontal && horizontalScrollBarPolicy() != policy)
            setHorizontalScrollBarPolicy(policy);
    };
    sync(verticalScrollBar(), FRows, FTopLeft.Y, ClientHeight(),
         FScrollBars == ssVertical || FScrollBars == ssBoth, Qt::Vertical);
    sync(horizontalScrollBar(), FCols, FTopLeft.X, ClientWidth(),
         FScrollBars == ssHorizontal || FScrollBars == ssBoth, Qt::Horizontal);
    FSyncingScrollBars = false;
}

// ---------------------------------------------------------------------------------------------
// Painting

TGridDrawState TCustomGrid::CellState(std::int32_t ACol, std::int32_t ARow, bool focused) const
{
    if (ACol < FCols.Fixed || ARow < FRows.Fixed)
        return {gdFixed};
    TGridDrawState state;
    if (focused && ACol == FCurrent.X && ARow == FCurrent.Y)
        state += gdFocused;
    if (Selection().Contains(ACol, ARow))
        state += gdSelected;
    // The focused cell shows the focus frame instead of the highlight, unless asked otherwise.
    if (state.contains(gdFocused) && !FOptions.contains(goDrawFocusSelected) &&
        !FOptions.contains(goRowSelect))
        state -= gdSelected;
    return state;
}

void TCustomGrid::paintEvent(QPaintEvent *event)
{
    QPainter p(viewport());
    const QRect clip = event->rect();
    const QPalette &pal = palette();
    p.fillRect(clip, ColorToQColor(FColor, pal));
    const int cw = ClientWidth();
    const int ch = ClientHeight();
    const std::vector<TSpan> cols = VisibleSpans(FCols, FTopLeft.X, cw);
    const std::vector<TSpan> rows = VisibleSpans(FRows, FTopLeft.Y, ch);
    const bool focused = Focused();
    const QColor fixedFill = ColorToQColor(FFixedColor, pal);
    const QColor normalFill = ColorToQColor(FColor, pal);
    const QColor highlight = pal.color(QPalette::Highlight);
    const QColor highlightText = pal.color(QPalette::HighlightedText);
    const QColor text = pal.color(QPalette::Text);
    const QColor buttonText = pal.color(QPalette::ButtonText);
    const bool bevel =
        FDefaultDrawing && FCtl3D && FOptions.contains(goFixedVertLine) && FOptions.contains(goFixedHorzLine);
    FCanvas = &p;
    for (const TSpan &r : rows) {
        if (r.Start > clip.bottom() || r.Start + r.Size < clip.top())
            continue;
        for (const TSpan &c : cols) {
            if (c.Start > clip.right() || c.Start + c.Size < clip.left())
                continue;
            const QRect rect(c.Start, r.Start, c.Size, r.Size);
            const TGridDrawState state = CellState(c.Index, r.Index, focused);
            if (FDefaultDrawing) {
                if (state.contains(gdFixed)) {
                    p.fillRect(rect, fixedFill);
                    p.setPen(buttonText);
                } else if (state.contains(gdSelected)) {
                    p.fillRect(rect, highlight);
                    p.setPen(highlightText);
                } else {
                    p.fillRect(rect, normalFill);
                    p.setPen(text);
                }
            }
            p.save();
            DrawCell(p, c.Index, r.Index, rect, state);
            p.restore();
            if (bevel && state.contains(gdFixed) && rect.width() > 1 && rect.height() > 1) {
                const QColor light = pal.color(QPalette::Light);
                const QColor shadow = pal.color(QPalette::Dark);
                p.fillRect(rect.left(), rect.top(), rect.width() - 1, 1, light);
                p.fillRect(rect.left(), rect.top(), 1, rect.height() - 1, light);
                p.fillRect(rect.left(), rect.bottom(), rect.width(), 1, shadow);
                p.fillRect(rect.right(), rect.top(), 1, rect.height(), shadow);
            }
        }
    }
    DrawLines(p, clip);
    if (FDefaultDrawing && focused && !(FInplaceEdit && FInplaceEdit->isVisible())) {
        QRect focus;
        if (FOptions.contains(goRowSelect)) {
            for (const TSpan &c : cols)
                if (c.Index >= FCols.Fixed)
                    focus |= CellRect(c.Index, FCurrent.Y);
        } else {
            focus = CellRect(FCurrent.X, FCurrent.Y);
        }
        if (!focus.isEmpty()) {
            const bool selected = CellState(FCurrent.X, FCurrent.Y, true).contains(gdSelected);
            DrawFocusRect(p, focus, selected ? highlightText : text);
        }
    }
    FCanvas = nullptr;
}

void TCustomGrid::DrawLines(QPainter &p, const QRect &clip) const
{
    const int cw = ClientWidth();
    const int ch = ClientHeight();
    const QPalette &pal = palette();
    const QColor fixedLine = pal.color(QPalette::Shadow);
    const QColor gridLine = ColorToQColor(clSilver);
    const int fixedBottom = int(std::min<std::int64_t>(FRows.FixedExtent(), ch));
    const int fixedRight = int(std::min<std::int64_t>(FCols.FixedExtent(), cw));
    const int gridBottom = GridHeight();
    const int gridRight = GridWidth();
    const bool fixedV = FOptions.contains(goFixedVertLine);
    const bool fixedH = FOptions.contains(goFixedHorzLine);
    if (const int w = FCols.LineWidth) {
        FCols.Walk(FTopLeft.X, cw, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
            const int x = int(start + size);
            if (x > clip.right() + 1)
                return false;
            if (fixedV)
                p.fillRect(x, 0, w, fixedBottom, fixedLine);
            if (i < FCols.Fixed ? fixedV : FOptions.contains(goVertLine))
                p.fillRect(x, fixedBottom, w, gridBottom - fixedBottom,
                           i < FCols.Fixed ? fixedLine : gridLine);
            return true;
        });
    }
    if (const int h = FRows.LineWidth) {
        FRows.Walk(FTopLeft.Y, ch, [&](std::int32_t i, std::int64_t start, std::int32_t size) {
            const int y = int(start + size);
            if (y > clip.bottom() + 1)
                return false;
            if (fixedH)
                p.fillRect(0, y, fixedRight, h, fixedLine);
            if (i < FRows.Fixed ? fixedH : FOptions.contains(goHorzLine))
                p.fillRect(fixedRight, y, gridRight - fixedRight, h, i < FRows.Fixed ? fixedLine : gridLine);
            return true;
        });
    }
}

// ---------------------------------------------------------------------------------------------
// TDrawGrid

TDrawGrid::TDrawGrid(QWidget *parent) : TCustomGrid(parent) {}

void TDrawGrid::DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                         TGridDrawState AState)
{
    if (OnDrawCell)
        OnDrawCell(this, Canvas, ACol, ARow, ARect, AState);
}

bool TDrawGrid::SelectCell(std::int32_t ACol, std::int32_t ARow)
{
    bool canSelect = true;
    if (OnSelectCell)
        OnSelectCell(this, ACol, ARow, canSelect);
    return canSelect;
}

QString TDrawGrid::GetEditText(std::int32_t ACol, std::int32_t ARow)
{
    QString value;
    if (OnGetEditText)
        OnGetEditText(this, ACol, ARow, value);
    return value;
}

void TDrawGrid::SetEditText(std::int32_t ACol, std::int32_t ARow, const QString &Value)
{
    if (OnSetEditText)
        OnSetEditText(this, ACol, ARow, Value);
}

void TDrawGrid::TopLeftChanged()
{
    if (OnTopLeftChanged)
        OnTopLeftChanged(this);
}

void TDrawGrid::ColumnMoved(std::int32_t FromIndex, std::int32_t ToIndex)
{
    if (OnColumnMoved)
        OnColumnMoved(this, FromIndex, ToIndex);
}

void TDrawGrid::RowMoved(std::int32_t FromIndex, std::int32_t ToIndex)
{
    if (OnRowMoved)
        OnRowMoved(this, FromIndex, ToIndex);
}

} // namespace wn
