#include "controls/ValueGrid.h"

#include "controls/CopyToClipBrdFrm.h"
#include "framework/SysUtils.h"
#include "framework/UiServices.h"

#include <QApplication>
#include <QComboBox>
#include <QFocusEvent>
#include <QImage>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>

#include <cmath>
#include <exception>

namespace wn {

namespace {

bool IsNull(const QVariant &v)
{
    return !v.isValid() || v.isNull();
}

[[noreturn]] void CannotConvert(const QVariant &v, const char *to)
{
    throw EConvertError(QStringLiteral("Could not convert variant of type (%1) into type (%2)")
                            .arg(QString::fromLatin1(v.typeName()), QLatin1String(to)));
}

// Days since 30 December 1899, the runtime's date-time number.
double DateTimeNumber(const QDateTime &dt)
{
    static const QDate zero(1899, 12, 30);
    return double(zero.daysTo(dt.date())) + dt.time().msecsSinceStartOfDay() / 86400000.0;
}

// The runtime's Variant conversions: True is -1 as a number, text converts through the
// package's number and date settings, anything else that does not fit throws EConvertError.
QString VarToStr(const QVariant &v)
{
    if (IsNull(v))
        return {};
    switch (v.typeId()) {
    case QMetaType::Bool: return v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Double:
    case QMetaType::Float: return FloatToStr(v.toDouble());
    case QMetaType::QDateTime: return DateTimeToStr(v.toDateTime());
    case QMetaType::QDate: return DateTimeToStr(QDateTime(v.toDate(), QTime(0, 0)));
    default: return VarIsOrdinal(v) ? QString::number(v.toLongLong()) : v.toString();
    }
}

double VarToDouble(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Bool: return v.toBool() ? -1.0 : 0.0;
    case QMetaType::Double:
    case QMetaType::Float: return v.toDouble();
    case QMetaType::QString: return StrToFloat(v.toString());
    case QMetaType::QDateTime: return DateTimeNumber(v.toDateTime());
    case QMetaType::QDate: return DateTimeNumber(QDateTime(v.toDate(), QTime(0, 0)));
    default:
        if (VarIsOrdinal(v))
            return double(v.toLongLong());
        CannotConvert(v, "Double");
    }
}

bool VarToBool(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().trimmed();
        if (s.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        if (s.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return false;
        double d = 0;
        if (!TryStrToFloat(s, d))
            CannotConvert(v, "Boolean");
        return d != 0;
    }
    return VarToDouble(v) != 0;
}

// The message of whatever an owner's handler threw.
QString ExceptionText(std::exception_ptr error)
{
    try {
        std::rethrow_exception(error);
    } catch (const Exception &e) {
        return e.Message();
    } catch (const std::exception &e) {
        return QString::fromUtf8(e.what());
    } catch (...) {
        return {};
    }
}

// Title text measured and drawn by the host broke lines at CR as well as at LF.
QString LineBreaksOf(const QString &text)
{
    QString s = text;
    s.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    s.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return s;
}

// Swaps a slot out for the lifetime of a scope.
template <typename F> class TDetached
{
public:
    explicit TDetached(F &slot) : FSlot(slot), FSaved(std::move(slot)) { slot = nullptr; }
    ~TDetached() { FSlot = std::move(FSaved); }
    TDetached(const TDetached &) = delete;
    TDetached &operator=(const TDetached &) = delete;

private:
    F &FSlot;
    F FSaved;
};

} // namespace

TColDef *TColDefList::Add(std::unique_ptr<TColDef> item)
{
    FItems.push_back(std::move(item));
    return FItems.back().get();
}

int TColDefList::GetVisibleCount() const
{
    int n = 0;
    for (const auto &d : FItems)
        n += d->Visible;
    return n;
}

TValueGrid::TValueGrid(QWidget *parent) : TCustomGrid(parent) {}

TValueGrid::~TValueGrid() = default;

void TValueGrid::SetShowHint(bool value)
{
    FShowHint = value;
    viewport()->setToolTip(FShowHint ? FHint : QString());
}

void TValueGrid::SetHint(const QString &value)
{
    FHint = value;
    viewport()->setToolTip(FShowHint ? FHint : QString());
}

void TValueGrid::SetLookCombosOnSelect(bool value)
{
    FLookCombosOnSelect = value;
    if (value && Options().contains(goAlwaysShowEditor))
        SetOptions(Options() - goAlwaysShowEditor);
}

QPainter *TValueGrid::OwnerCanvas()
{
    if (Canvas())
        return Canvas();
    if (!FScratchCanvas) {
        FScratch = std::make_unique<QImage>(1, 1, QImage::Format_RGB32);
        FScratchCanvas = std::make_unique<QPainter>(FScratch.get());
    }
    FScratchCanvas->setFont(font());
    return FScratchCanvas.get();
}

QVariant TValueGrid::CallGetColValue(std::int32_t ID, std::int32_t ARow)
{
    if (!OnGetColValue)
        throw Exception(QStringLiteral("TValueGrid: OnGetColValue is not assigned"));
    return OnGetColValue(this, ID, ARow, OwnerCanvas());
}

QSize TValueGrid::MeasureText(const QString &text) const
{
    return fontMetrics().boundingRect(QRect(), 0, LineBreaksOf(text)).size();
}

// ---------------------------------------------------------------------------------------------
// Column definitions

TColDef *TValueGrid::AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                               TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment,
                               const QString &FormatStr, bool Editable)
{
    QSize measured;
    if (FAutoColWidth || FAutoTitleHeight) {
        measured = MeasureText(Title);
        if (FAutoTitleHeight && RowHeights(0) < measured.height() + 5)
            SetRowHeights(0, measured.height() + 5);
    }
    auto def = std::make_unique<TColDef>();
    def->ID = ID;
    def->Title = Title;
    def->Hint = Hint;
    def->FieldType = FieldType;
    def->TitleAlignment = TitleAlignment;
    def->Alignment = Alignment;
    def->FormatStr = FormatStr;
    def->Editable = Editable;
    TColDef *result = FColDefList.Add(std::move(def));
    SetColCount(FColDefList.GetVisibleCount());
    // The threshold and the width given differ on purpose.
    SetColWidths(ColCount() - 1,
                 FAutoColWidth && measured.width() + 5 >= Width ? measured.width() + 10 : Width);
    return result;
}

TColDef *TValueGrid::AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                               TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment)
{
    const QString format = FieldType == ftFloat     ? SDefaultFloatFormat
                           : FieldType == ftBoolean ? SDefaultBooleanFormat
                                                    : QString();
    return AddColDef(ID, Width, Title, Hint, FieldType, TitleAlignment, Alignment, format, true);
}

TColDef *TValueGrid::AddColDef(std::int32_t ID, std::int32_t Width, const QString &Title, const QString &Hint,
                               TFieldType FieldType, TAlignment TitleAlignment, TAlignment Alignment,
                               const QString &FormatStr, bool Editable, QComboBox *MirrorControl)
{
    TColDef *def =
        AddColDef(ID, Width, Title, Hint, FieldType, TitleAlignment, Alignment, FormatStr, Editable);
    def->MirrorControl = MirrorControl;
    return def;
}

void TValueGrid::SetComboBox(std::int32_t ID, QComboBox *ComboBox)
{
    if (ComboBox)
        ComboBox->hide();
    if (TColDef *def = GetColDefByID(ID))
        def->ComboBox = ComboBox;
}

TColDef *TValueGrid::GetColDef(std::int32_t ACol) const
{
    if (ACol < 0)
        return nullptr;
    std::int32_t rank = -1;
    for (int i = 0; i < FColDefList.Count(); ++i) {
        TColDef *def = FColDefList.Items(i);
        if (def->Visible && ++rank == ACol)
            return def;
    }
    return nullptr;
}

TColDef *TValueGrid::GetColDefByID(std::int32_t ID) const
{
    for (int i = 0; i < FColDefList.Count(); ++i)
        if (FColDefList.Items(i)->ID == ID)
            return FColDefList.Items(i);
    return nullptr;
}

std::int32_t TValueGrid::GetColIndexByColID(std::int32_t ID) const
{
    std::int32_t counter = -1;
    for (int i = 0; i < FColDefList.Count(); ++i) {
        if (!FColDefList.Items(i)->Visible)
            continue;
        ++counter;
        if (const TColDef *atCounter = FColDefList.Items(counter); atCounter && atCounter->ID == ID)
            return counter;
    }
    return -1;
}

QString TValueGrid::GetAsString(std::int32_t ACol, std::int32_t ARow)
{
    const TColDef *def = GetColDef(ACol);
    if (!def)
        return {};
    if (ARow == 0 && FixedRows() >= 1 && !def->Title.isEmpty())
        return def->Title;
    QString text;
    try {
        const QVariant v = CallGetColValue(def->ID, ARow);
        if (!IsNull(v))
            text = def->FieldType == ftBoolean || def->FieldType == ftFloat
                       ? FormatFloat(def->FormatStr, VarToDouble(v))
                       : VarToStr(v);
    } catch (...) {
        // the owner's failure shows as an empty cell
    }
    return text;
}

QVariant TValueGrid::GetValue(std::int32_t ACol, std::int32_t ARow)
{
    const TColDef *def = GetColDef(ACol);
    if (!def)
        throw EInvalidGridOperation(SGridIndexOutOfRange);
    return CallGetColValue(def->ID, ARow);
}

void TValueGrid::CalcColWidths()
{
    const int comboExtra = style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, this);
    for (std::int32_t c = 0; c < ColCount(); ++c) {
        SetColWidths(c, 0);
        const TColDef *def = GetColDef(c);
        for (std::int32_t r = 0; r < RowCount(); ++r) {
            const QString text = r == 0 ? (def ? def->Title : QString()) : GetAsString(c, r);
            int w = MeasureText(text).width() + 10;
            if (def && def->ComboBox)
                w += comboExtra;
            if (w > ColWidths(c))
                SetColWidths(c, w);
        }
    }
    InvalidateGrid();
}

void TValueGrid::SetGridDimensions()
{
    const int frame = Ctl3D() ? 4 : 0;
    // The client is first enlarged so that the grid can show all it has; kept as it always was.
    if (GridWidth() >= ClientWidth())
        SetClientWidth(ClientWidth() + GridWidth());
    resize(GridWidth() + 1 + frame, height());
    if (GridHeight() >= ClientHeight())
        SetClientHeight(ClientHeight() + GridHeight());
    resize(width(), GridHeight() + 1 + frame);
}

QSize TValueGrid::CheckBoxSize()
{
    static const QSize size = [] {
        const QStyle *s = QApplication::style();
        return QSize(s->pixelMetric(QStyle::PM_IndicatorWidth), s->pixelMetric(QStyle::PM_IndicatorHeight));
    }();
    return size;
}

void TValueGrid::DrawCheck(QPainter &Canvas, const QRect &Rect, TCheckBoxState State)
{
    const QSize box = CheckBoxSize();
    QStyleOptionButton option;
    option.initFrom(this);
    option.rect = QRect(Rect.left() + (Rect.width() - box.width()) / 2,
                        Rect.top() + (Rect.height() - box.height()) / 2, box.width(), box.height());
    option.state = QStyle::State_Enabled | (State == cbChecked  ? QStyle::State_On
                                            : State == cbGrayed ? QStyle::State_NoChange
                                                                : QStyle::State_Off);
    style()->drawPrimitive(QStyle::PE_IndicatorCheckBox, &option, &Canvas, this);
}

// ---------------------------------------------------------------------------------------------
// Painting

void TValueGrid::DrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow, const QRect &ARect,
                          TGridDrawState AState)
{
    const TColDef *def = GetColDef(ACol);
    if (!def)
        return;
    const QPalette &pal = palette();
    const QColor black(Qt::black);
    QVariant value;
    TAlignment alignment = def->Alignment;
    QColor brush = ColorToQColor(FixedColor(), pal);
    QColor pen = black;
    bool check = false;
    const bool dataCell = ARow >= FixedRows();
    const bool checkBox = dataCell && def->FieldType == ftBoolean && def->ShowCheckBox;
    try {
        if (!dataCell) {
            alignment = taLeftJustify;
            value = ARow == 0 ? QVariant(def->Title) : CallGetColValue(def->ID, ARow);
            if (OnGetExtCellHeaderAlignment)
                alignment = OnGetExtCellHeaderAlignment(this, ACol, ARow, def->TitleAlignment);
        } else {
            if (!isEnabled() || AState.contains(gdFixed)) {
                // fixed colours as preset
            } else if (AState.contains(gdSelected)) {
                const bool active = Focused() || Options().contains(goRowSelect);
                brush = ColorToQColor(active ? FSelectColor : FUnSelectColor, pal);
                pen = active ? ColorToQColor(FSelectTextColor, pal) : black;
            } else if (def->Editable) {
                bool canSelect = true;
                if (OnCheckSelectCell)
                    OnCheckSelectCell(this, ACol, ARow, canSelect);
                brush = ColorToQColor(canSelect ? FUnSelectColor : FNoEditColor, pal);
            } else {
                brush = ColorToQColor(FNoEditColor, pal);
            }
            if (OnGetColValue) {
                const QVariant v = OnGetColValue(this, def->ID, ARow, &Canvas);
                if (checkBox)
                    check = !IsNull(v) && VarToBool(v);
                else if ((def->FieldType == ftBoolean || def->FieldType == ftFloat) && !IsNull(v))
                    value = FormatFloat(def->FormatStr, VarToDouble(v));
                else
                    value = v;
            }
        }
    } catch (...) {
        value = QVariant(); // an owner's failure paints an empty cell
    }
    Canvas.fillRect(ARect, brush);
    if (checkBox) {
        DrawCheck(Canvas, ARect, check ? cbChecked : cbUnchecked);
    } else if (!IsNull(value)) {
        Canvas.setPen(pen);
        QRect r = ARect;
        int flags = Qt::TextSingleLine | Qt::AlignTop;
        r.setTop(r.top() + 3);
        switch (alignment) {
        case taLeftJustify:
            r.setLeft(r.left() + 4);
            flags |= Qt::AlignLeft;
            break;
        case taRightJustify:
            r.setRight(r.right() - (Canvas.font().italic() ? 6 : 4));
            flags |= Qt::AlignRight;
            break;
        case taCenter: flags |= Qt::AlignHCenter; break;
        }
        Canvas.drawText(r, flags, VarToStr(value));
    }
    if (isEnabled() && AState.contains(gdSelected) && !Focused() && !Options().contains(goRowSelect))
        DrawFocusRect(Canvas, CellRect(Col(), Row()), black);
}

void TValueGrid::paintEvent(QPaintEvent *event)
{
    TCustomGrid::paintEvent(event);
    if (!FDragFill)
        return;
    const QRect box = BoxRect(FDragRect);
    if (box.isEmpty())
        return;
    QPainter p(viewport());
    QPen pen(palette().color(QPalette::Text), 2, Qt::DotLine);
    p.setPen(pen);
    p.drawRect(box.adjusted(1, 1, -1, -1));
}

// ---------------------------------------------------------------------------------------------
// Editing

bool TValueGrid::SelectCell(std::int32_t ACol, std::int32_t ARow)
{
    const TColDef *def = GetColDef(ACol);
    bool answer = isEnabled() && def && def->Editable;
    if (OnSelectCell)
        OnSelectCell(this, ACol, ARow, answer);
    if (answer && Options().contains(goAlwaysShowEditor))
        answer = PlaceCombo(ACol);
    return answer;
}

bool TValueGrid::CanEditAcceptKey(QChar Key)
{
    const TColDef *def = GetColDef(Col());
    if (!def)
        return true;
    if (def->AllowedChars.any())
        return Key.unicode() < 256 && def->AllowedChars[Key.unicode()];
    const bool digit = Key >= QLatin1Char('0') && Key <= QLatin1Char('9');
    const bool sign = Key == QLatin1Char('+') || Key == QLatin1Char('-');
    switch (def->FieldType) {
    case ftInteger: return sign || digit;
    case ftBoolean: return Key == QLatin1Char(' ');
    case ftFloat: return sign || digit || Key == FormatSettings().DecimalSeparator;
    case ftDateTime: return digit || Key == FormatSettings().DateSeparator;
    default: return true;
    }
}

QString TValueGrid::GetEditText(std::int32_t ACol, std::int32_t ARow)
{
    if (ARow < FixedRows())
        return {};
    const TColDef *def = GetColDef(ACol);
    if (def && def->ComboBox) {
        if (!Options().contains(goAlwaysShowEditor))
            PlaceCombo(ACol);
        return {};
    }
    if (!OnGetColValue || !def)
        return {};
    return GetAsString(ACol, ARow);
}

void TValueGrid::SetEditText(std::int32_t ACol, std::int32_t ARow, const QString &Value)
{
    if (!OnSetColValue)
        return;
    const TColDef *def = GetColDef(ACol);
    if (!def)
        return;
    try {
        QVariant toggled;
        if (def->FieldType == ftBoolean && OnGetColValue) {
            // A Boolean cell flips whatever the text says; a cell without a value becomes true.
            const QVariant old = OnGetColValue(this, def->ID, ARow, OwnerCanvas());
            toggled = IsNull(old) ? true : !VarToBool(old);
        }
        if (QComboBox *mirror = def->MirrorControl) {
            const QString text =
                def->FieldType == ftFloat && (Value == QLatin1String("-") || Value.isEmpty()) ? "0" : Value;
            if (mirror->isEditable())
                mirror->setEditText(text);
            else
                mirror->setCurrentText(text);
        }
        const TGridRect sel = Selection();
        for (std::int32_t r = sel.Top; r <= sel.Bottom; ++r) {
            if (r < 0)
                continue;
            const bool empty = Value == QLatin1String("-") || Value.isEmpty();
            switch (def->FieldType) {
            case ftFloat:
                OnSetColValue(this, def->ID, r, empty ? QVariant(0) : QVariant(StrToFloat(Trim(Value))));
                break;
            case ftInteger:
                OnSetColValue(this, def->ID, r, empty ? QVariant(0) : QVariant(StrToInt(Trim(Value))));
                break;
            case ftBoolean:
                if (OnGetColValue)
                    OnSetColValue(this, def->ID, r, toggled);
                break;
            default: OnSetColValue(this, def->ID, r, QVariant(Value)); break;
            }
            InvalidateCell(ACol, r);
        }
        if (OnAfterSetColValues)
            OnAfterSetColValues(this);
    } catch (...) {
        // Conversion and owner failures end the edit silently; the cell repaints from the owner.
        InvalidateCell(ACol, ARow);
    }
}

void TValueGrid::MoveDetached(std::int32_t ACol, std::int32_t ARow)
{
    TDetached<TSetColValueEvent> detached(OnSetColValue);
    if (ACol != Col())
        SetCol(ACol);
    if (ARow != Row())
        SetRow(ARow);
}

void TValueGrid::KeyPress(QChar &Key)
{
    const TColDef *def = GetColDef(Col());
    if (def && def->FieldType == ftBoolean) {
        if (Key < QLatin1Char(' '))
            return;
        Key = QLatin1Char('\r');
        TCustomGrid::KeyPress(Key);
        return;
    }
    if (Key == QLatin1Char('\r') && !Options().contains(goTabs)) {
        Key = QChar();
        std::int32_t c = 0;
        std::int32_t r = 0;
        if (CanGoToNextCell(VK_RIGHT, c, r)) {
            HideEditor();
            MoveDetached(c, Row());
        } else if (Row() == RowCount() - 1) {
            HideEditor();
            return;
        } else {
            HideEditor();
            TDetached<TSetColValueEvent> detached(OnSetColValue);
            SetRow(Row() + 1);
            // A cell the walk finds but SelectCell refuses ends the walk.
            while (CanGoToNextCell(VK_LEFT, c, r) && c != Col()) {
                const std::int32_t before = Col();
                SetCol(c);
                if (Col() == before)
                    break;
            }
        }
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        return;
    }
    if (Key == QLatin1Char('=')) {
        Key = QChar();
        return;
    }
    TCustomGrid::KeyPress(Key);
}

void TValueGrid::DblClick()
{
    const TColDef *def = GetColDef(Col());
    if (def && def->FieldType == ftBoolean) {
        QChar enter = QLatin1Char('\r');
        TCustomGrid::KeyPress(enter);
        return;
    }
    TCustomGrid::DblClick();
}

void TValueGrid::KeyDown(std::uint16_t &Key, TShiftState Shift)
{
    std::int32_t c = 0;
    std::int32_t r = 0;
    if (Key == VK_LEFT || Key == VK_RIGHT) {
        if (CanGoToNextCell(Key, c, r)) {
            SetCol(c);
            Key = 0;
            return;
        }
    } else if ((Key == VK_UP || Key == VK_DOWN) && !Shift.contains(ssShift)) {
        if (EditorMode())
            HideEditor();
        if (CanGoToNextCell(Key, c, r)) {
            SetRow(r);
            Key = 0;
            return;
        }
    } else if (Key == VK_RETURN && FLookCombosOnSelect && PlaceCombo(Col())) {
        Key = 0;
        return;
    }
    const bool ctrl = Shift.contains(ssCtrl);
    // 99 and 118 are the codes of lower-case "c" and "v": as key codes they are Numpad 3 and F7,
    // which have always copied and pasted too.
    if (ctrl && (Key == 67 || Key == 99))
        CopyToClipBoard();
    else if (ctrl && (Key == 86 || Key == 118))
        PasteFromClipBoard();
    TCustomGrid::KeyDown(Key, Shift);
    if (ctrl && (Key == VK_ADD || Key == VK_OEM_PLUS) && OnAddLine)
        OnAddLine(this, Row());
    else if (ctrl && (Key == VK_SUBTRACT || Key == VK_OEM_MINUS) && OnRemoveLine)
        OnRemoveLine(this, Row());
}

bool TValueGrid::CanGoToNextCell(std::uint16_t Key, std::int32_t &ACol, std::int32_t &ARow)
{
    ACol = Col();
    ARow = Row();
    if (Row() < 0 || Col() < 0 || FNoKeyMoves)
        return false;
    const auto allowed = [this](const TColDef *def, std::int32_t c, std::int32_t r) {
        bool answer = def->Editable;
        if (OnSelectCell)
            OnSelectCell(this, c, r, answer);
        return answer;
    };
    switch (Key) {
    case VK_LEFT:
    case VK_RIGHT: {
        // Columns are walked by list position, not by visible rank.
        const int step = Key == VK_LEFT ? -1 : 1;
        const int end = Key == VK_LEFT ? FixedCols() - 1 : FColDefList.Count();
        for (int i = Col() + step; i != end && i >= 0 && i <= FColDefList.Count(); i += step) {
            const TColDef *def = FColDefList.Items(i);
            if (def && def->Visible && allowed(def, i, Row())) {
                ACol = i;
                return true;
            }
        }
        return false;
    }
    case VK_UP:
    case VK_DOWN: {
        const TColDef *def = FColDefList.Items(Col());
        if (!def)
            return false;
        const int step = Key == VK_UP ? -1 : 1;
        const std::int32_t end = Key == VK_UP ? FixedRows() - 1 : RowCount();
        for (std::int32_t r = Row() + step; r != end; r += step) {
            if (allowed(def, Col(), r)) {
                ARow = r;
                return true;
            }
        }
        return false;
    }
    default: return false;
    }
}

// ---------------------------------------------------------------------------------------------
// Mouse and drag-fill

bool TValueGrid::MouseInDragCopyRegion(int X, int Y) const
{
    const QRect r = CellRect(Col(), Row());
    if (r.width() <= 10)
        return false;
    return std::abs(X - (r.x() + r.width())) < 5 && std::abs(Y - (r.y() + r.height())) < 5;
}

bool TValueGrid::SelectionIsLine() const
{
    const TGridRect s = Selection();
    return s.Left == s.Right || s.Top == s.Bottom;
}

TGridRect TValueGrid::DragRectFor(TGridCoord mouseCell) const
{
    const TGridRect sel = Selection();
    const std::int32_t mc = std::max(mouseCell.X, FixedCols());
    const std::int32_t mr = std::max(mouseCell.Y, FixedRows());
    TGridRect rect = sel;
    if (sel.Left == sel.Right) {
        rect.Left = std::min(Col(), mc);
        rect.Right = std::max(Col(), mc);
    }
    if (sel.Top == sel.Bottom) {
        rect.Top = std::min(Row(), mr);
        rect.Bottom = std::max(Row(), mr);
    }
    return rect;
}

void TValueGrid::MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y)
{
    FMouseCell = MouseCoord(X, Y);
    if (MouseInDragCopyRegion(X, Y) && FMouseCell.X == Col() && Options().contains(goEditing) &&
        SelectionIsLine()) {
        FDragFill = true;
        FDragRect = DragRectFor(FMouseCell);
        viewport()->update();
    }
    if (!Shift.contains(ssShift) && !FDragFill)
        SetSelection({Col(), Row(), Col(), Row()});
    const bool inFixed = FMouseCell.X >= 0 && (FMouseCell.X < FixedCols() || FMouseCell.Y < FixedRows());
    if (OnFixedClicked && inFixed && CurrentCursor() != crHSplit)
        OnFixedClicked(this, FMouseCell.X, FMouseCell.Y, Button, Shift);
    if (FDragFill)
        return;
    if (Options().contains(goRangeSelect) && Shift.contains(ssShift) && FMouseCell.X >= 0) {
        const TGridRect rect{std::min(Col(), FMouseCell.X), std::min(Row(), FMouseCell.Y),
                             std::max(Col(), FMouseCell.X), std::max(Row(), FMouseCell.Y)};
        bool answer = false;
        for (std::int32_t r = rect.Top; r <= rect.Bottom; ++r)
            for (std::int32_t c = rect.Left; c <= rect.Right; ++c)
                if (!(answer = SelectCell(c, r)))
                    break;
        if (answer) {
            SetSelection(rect);
            return;
        }
    }
    const bool onCurrent = FMouseCell == TGridCoord{Col(), Row()};
    if (!onCurrent)
        HideEditor();
    const TColDef *def = GetColDef(Col());
    if (onCurrent && def && def->FieldType == ftBoolean && Options().contains(goEditing)) {
        SetEditText(Col(), Row(), QStringLiteral(" "));
        InvalidateCell(Col(), Row());
        return;
    }
    TCustomGrid::MouseDown(Button, Shift, X, Y);
}

void TValueGrid::MouseMove(TShiftState Shift, int X, int Y)
{
    const TGridCoord cell = MouseCoord(X, Y);
    if (cell.X != FHintCol) {
        SetShowHint(false);
        FHintCol = cell.X;
    } else if (const TColDef *def = GetColDef(cell.X); cell.Y == 0 && def && !def->Hint.isEmpty()) {
        SetHint(def->Hint);
        SetShowHint(true);
    } else {
        SetShowHint(false);
    }
    if (FDragFill && cell.X >= 0) {
        const TGridRect rect = DragRectFor(cell);
        if (!(rect == FDragRect)) {
            FDragRect = rect;
            viewport()->update();
        }
    }
    const bool fill =
        (FDragFill || MouseInDragCopyRegion(X, Y)) && Options().contains(goEditing) && SelectionIsLine();
    SetCursor(fill ? crCross : crArrow);
    TCustomGrid::MouseMove(Shift, X, Y);
}

void TValueGrid::FillByDrag()
{
    const TGridRect sel = Selection();
    const TColDef *current = GetColDef(Col());
    for (std::int32_t c = FDragRect.Left; c <= FDragRect.Right; ++c) {
        for (std::int32_t r = FDragRect.Top; r <= FDragRect.Bottom; ++r) {
            if (c == Col() && r == Row())
                continue;
            QVariant source;
            TFieldType type;
            if (sel.Left != sel.Right) {
                if (r == sel.Top)
                    continue;
                const TColDef *def = GetColDef(c);
                if (!def)
                    continue;
                source = OnGetColValue(this, def->ID, Row(), OwnerCanvas());
                type = def->FieldType;
            } else if (sel.Top != sel.Bottom) {
                if (c == sel.Left)
                    continue;
                source = OnGetColValue(this, current->ID, r, OwnerCanvas());
                type = current->FieldType;
            } else {
                source = OnGetColValue(this, current->ID, Row(), OwnerCanvas());
                type = current->FieldType;
            }
            const TColDef *target = GetColDef(c);
            if (target && target->FieldType == type && SelectCell(c, r))
                OnSetColValue(this, target->ID, r, source);
            InvalidateCell(c, r);
        }
    }
    if (OnSelectCell) {
        bool ignored = true;
        OnSelectCell(this, Col(), Row(), ignored);
    }
}

void TValueGrid::MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y)
{
    if (FDragFill) {
        viewport()->update();
        if (GetColDef(Col()) && OnGetColValue && OnSetColValue) {
            try {
                FillByDrag();
            } catch (...) {
                // an owner's failure ends the fill; what was stored stays
            }
        }
    }
    FDragFill = false;
    FDragRect = {-1, -1, -1, -1};
    TCustomGrid::MouseUp(Button, Shift, X, Y);
}

// ---------------------------------------------------------------------------------------------
// Lookup combo boxes

bool TValueGrid::PlaceCombo(std::int32_t ACol)
{
    if (Designing())
        return false;
    bool canSelect = true;
    if (OnSelectCell)
        OnSelectCell(this, ACol, Row(), canSelect);
    const TColDef *def = GetColDef(ACol);
    if (!canSelect || !def || !def->Visible || !def->ComboBox)
        return false;
    QComboBox *combo = def->ComboBox;
    const QRect cell = CellRect(ACol, Row());
    const QPoint global = viewport()->mapToGlobal(cell.topLeft());
    const QPoint at = combo->parentWidget() ? combo->parentWidget()->mapFromGlobal(global) : global;
    connect(combo, &QComboBox::activated, this, &TValueGrid::ComboBoxChange, Qt::UniqueConnection);
    combo->setGeometry(at.x(), at.y(), ColWidths(ACol), RowHeights(Row()));
    combo->show();
    combo->raise();
    int index = 0;
    if (OnGetColValue) {
        try {
            const QVariant v = OnGetColValue(this, def->ID, Row(), OwnerCanvas());
            index = IsNull(v) ? -1 : combo->findText(VarToStr(v));
        } catch (...) {
            index = -1;
        }
    }
    combo->setCurrentIndex(index);
    combo->setFocus(Qt::OtherFocusReason);
    return true;
}

void TValueGrid::DoEnter()
{
    TCustomGrid::DoEnter();
    for (int i = 0; i < FColDefList.Count(); ++i) {
        if (QComboBox *combo = FColDefList.Items(i)->ComboBox) {
            connect(combo, &QComboBox::activated, this, &TValueGrid::ComboBoxChange, Qt::UniqueConnection);
            combo->installEventFilter(this);
            if (combo->lineEdit())
                combo->lineEdit()->installEventFilter(this);
        }
    }
}

bool TValueGrid::eventFilter(QObject *watched, QEvent *event)
{
    QComboBox *combo = qobject_cast<QComboBox *>(watched);
    if (!combo && watched->parent())
        combo = qobject_cast<QComboBox *>(watched->parent());
    bool ours = false;
    for (int i = 0; combo && i < FColDefList.Count(); ++i)
        ours = ours || FColDefList.Items(i)->ComboBox == combo;
    if (ours && event->type() == QEvent::KeyPress) {
        const auto *k = static_cast<QKeyEvent *>(event);
        if (ComboBoxKeyDown(combo, VirtualKeyOf(*k), ShiftStateOf(k->modifiers())))
            return true;
    } else if (ours && event->type() == QEvent::FocusOut) {
        const auto reason = static_cast<QFocusEvent *>(event)->reason();
        if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason)
            ComboBoxExit(combo);
    }
    return TCustomGrid::eventFilter(watched, event);
}

void TValueGrid::ComboBoxChange()
{
    auto *combo = qobject_cast<QComboBox *>(sender());
    const TColDef *def = GetColDef(Col());
    if (!combo || !def)
        return;
    SetEditText(Col(), Row(),
                def->FieldType == ftInteger ? IntToStr(combo->currentIndex()) : combo->currentText());
}

bool TValueGrid::ComboBoxKeyDown(QComboBox *Combo, std::uint16_t Key, TShiftState Shift)
{
    (void)Combo;
    if (Key == VK_RETURN) {
        if (!Options().contains(goAlwaysShowEditor))
            setFocus(Qt::OtherFocusReason);
        return true;
    }
    if (!FLookCombosOnSelect || (Key != VK_UP && Key != VK_DOWN && Key != VK_LEFT && Key != VK_RIGHT))
        return false;
    const bool vertical = Key == VK_UP || Key == VK_DOWN;
    if (vertical && (Shift.contains(ssShift) || Shift.contains(ssCtrl) || Shift.contains(ssAlt)))
        return false;
    std::int32_t c = 0;
    std::int32_t r = 0;
    if (CanGoToNextCell(Key, c, r)) {
        FComboExit = true;
        setFocus(Qt::OtherFocusReason);
        if (vertical)
            SetRow(r);
        else
            SetCol(c);
    }
    return true;
}

void TValueGrid::ComboBoxExit(QComboBox *Combo)
{
    Combo->hide();
    if (FLookCombosOnSelect && !FComboExit) {
        for (int i = FixedCols(); i < FColDefList.Count(); ++i) {
            const TColDef *def = FColDefList.Items(i);
            if (def->Visible && !def->ComboBox) {
                SetCol(i);
                break;
            }
        }
    }
    FComboExit = false;
}

void TValueGrid::TopLeftChanged()
{
    TCustomGrid::TopLeftChanged();
    if (Options().contains(goAlwaysShowEditor))
        PlaceCombo(Col());
    if (OnTopLeftChanged)
        OnTopLeftChanged(this);
}

// ---------------------------------------------------------------------------------------------
// Clipboard

void TValueGrid::CopyToClipBoard()
{
    if (OnCopyToClipBoard) {
        OnCopyToClipBoard(this);
        return;
    }
    TCopyToClipBoardForm form(this);
    if (UiServices().ShowModal(form) != mrOk)
        return;
    const int mode = form.ItemIndex();
    QString text;
    if (!OnGetColValue) {
        UiServices().SetClipboardText(text);
        return;
    }
    const QString tab = QStringLiteral("\t");
    const QString lineEnd = QStringLiteral("\r\n");
    if (mode == 0) {
        QStringList titles;
        for (std::int32_t c = 0; c < ColCount(); ++c) {
            const TColDef *def = GetColDef(c);
            titles << (def ? QString(def->Title).replace(QLatin1Char('\r'), QLatin1Char(' ')) : QString());
        }
        text += titles.join(tab) + lineEnd;
    }
    const bool currentRow = mode == 2 || mode == 4;
    const std::int32_t firstRow = currentRow ? Row() : 1;
    const std::int32_t lastRow = currentRow ? Row() : RowCount() - 1;
    const std::int32_t firstCol = mode == 0 ? 0 : mode <= 2 ? FixedCols() : Col();
    const std::int32_t lastCol = mode <= 2 ? ColCount() - 1 : Col();
    for (std::int32_t r = firstRow; r <= lastRow; ++r) {
        for (std::int32_t c = firstCol; c <= lastCol; ++c) {
            if (c > firstCol)
                text += tab;
            const TColDef *def = GetColDef(c);
            if (!def)
                continue;
            try {
                text += VarToStr(OnGetColValue(this, def->ID, r, OwnerCanvas()));
            } catch (...) {
                UiServices().MessageDlg(ExceptionText(std::current_exception()) + SCopyErrorAt + IntToStr(c) +
                                            QLatin1Char(';') + IntToStr(r),
                                        mtError, {mbOK}, 0);
            }
        }
        text += lineEnd;
    }
    UiServices().SetClipboardText(text);
}

void TValueGrid::PasteFromClipBoard()
{
    if (OnPasteFromClipBoard) {
        OnPasteFromClipBoard(this);
        return;
    }
    if (!UiServices().ClipboardHasText())
        return;
    HideEditor();
    QString text = UiServices().ClipboardText();
    const std::int32_t startCol = Col();
    std::int32_t c = startCol;
    std::int32_t r = Row();
    if (OnSetColValue) {
        try {
            qsizetype pos = 0;
            while (pos < text.size()) {
                qsizetype end = pos;
                while (end < text.size() && text[end] >= QLatin1Char(' '))
                    ++end;
                if (end == text.size())
                    break; // a value without a delimiter after it is dropped
                const QString token = text.mid(pos, end - pos);
                const QChar delimiter = text[end];
                pos = end + 1;
                if (delimiter == QLatin1Char('\t') || delimiter == QLatin1Char('\r')) {
                    if (c <= ColCount() - 1) {
                        bool canSelect = true;
                        if (OnCheckSelectCell)
                            OnCheckSelectCell(this, c, r, canSelect);
                        else if (OnSelectCell)
                            OnSelectCell(this, c, r, canSelect);
                        const TColDef *def = GetColDef(c);
                        if (canSelect && def) {
                            ShowEditor();
                            OnSetColValue(this, def->ID, r, QVariant(token));
                            InvalidateCell(c, r);
                        }
                    }
                    ++c;
                } else if (delimiter == QLatin1Char('\n')) {
                    if (r >= RowCount() - 1)
                        break; // rows are never added
                    ++r;
                    c = startCol;
                }
            }
            if (OnAfterSetColValues)
                OnAfterSetColValues(this);
        } catch (...) {
            // an owner's failure ends the paste; what was stored stays
        }
    }
    if (OnGetColValue && InplaceEditor()) {
        try {
            if (const TColDef *def = GetColDef(Col()))
                InplaceEditor()->setText(VarToStr(OnGetColValue(this, def->ID, Row(), OwnerCanvas())));
        } catch (...) {
        }
    }
    HideEditor();
}

} // namespace wn
