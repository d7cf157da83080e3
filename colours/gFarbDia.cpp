#include "colours/gFarbDia.h"

#include "framework/Exceptions.h"
#include "framework/SpeedButton.h"
#include "grid/FileIO.h"

#include <QFileInfo>
#include <QFrame>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPrinter>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>

#include <algorithm>
#include <functional>
#include <utility>

namespace wn {

namespace {

// Form geometry. The grid of 16 x 15 cells and their one-pixel lines sits in a sunken frame;
// the edit panel beside it holds the mixer on the left and the buttons on the right.
constexpr int cGridFrame = 2;
constexpr int cGridMargin = 8;
constexpr int cGridWidth = cFarbCols * (cFarbCellSize + 1) + 2 * cGridFrame;
constexpr int cGridHeight = cFarbRows * (cFarbCellSize + 1) + 2 * cGridFrame;
constexpr int cGridPanelWidth = cGridWidth + 2 * cGridMargin;
constexpr int cFormHeight = cGridHeight + 2 * cGridMargin;
constexpr int cEditPanelWidth = 272;
constexpr int cButtonWidth = 92;
constexpr int cButtonHeight = 25;
constexpr int cButtonLeft = cEditPanelWidth - cGridMargin - cButtonWidth;

// The picture on the interpolation button: a ramp of blues, light to dark, between two fixed
// end colours. The bottom-left pixel carries the colour a glyph treats as transparent.
QImage CalcGlyph()
{
    QImage glyph(16, 16, QImage::Format_RGB32);
    const QColor key(128, 128, 0);
    glyph.fill(key);
    QPainter p(&glyph);
    p.fillRect(1, 4, 3, 8, QColor(0, 0, 120));
    for (int i = 0; i < 3; ++i)
        p.fillRect(4 + 3 * i, 5, 3, 6, QColor(60 + 55 * i, 60 + 55 * i, 255));
    p.fillRect(13, 4, 3, 8, QColor(230, 230, 255));
    p.setPen(Qt::black);
    p.drawRect(1, 4, 14, 7);
    return glyph;
}

QPushButton *MakeButton(QWidget *parent, const QString &caption, int x, int y, int w = cButtonWidth)
{
    auto *button = new QPushButton(caption, parent);
    button->setAutoDefault(false);
    button->setGeometry(x, y, w, cButtonHeight);
    return button;
}

// Why a file chosen in the open dialog cannot be read as a palette; empty when it can.
QString LoadProblem(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (info.isDir())
        return SFarbenFileIsFolder.arg(fileName);
    if (!info.exists())
        return SFarbenFileMissing.arg(fileName);
    if (info.fileName().endsWith(QStringLiteral("PlotFarb.dat"), Qt::CaseInsensitive))
        return {};
    try {
        TFileIO io;
        QString comment;
        std::int32_t version = 0;
        io.OpenHeader(fileName, comment, version);
        TFarbArray probe;
        probe.LoadCol(io);
        if (!io.Error())
            return {};
    } catch (const Exception &) {
        // unreadable: reported below like a damaged file
    }
    return SFarbenFileDamaged.arg(fileName);
}

void ReportError(const QString &text)
{
    UiServices().MessageDlg(text, mtError, {mbOK}, 0);
}

// Runs a file operation of the palette; a failure becomes a message box. True on success.
bool Reported(const std::function<void()> &operation)
{
    try {
        operation();
        return true;
    } catch (const Exception &e) {
        ReportError(e.Message());
    }
    return false;
}

bool IsLight(QColor c)
{
    return 299 * c.red() + 587 * c.green() + 114 * c.blue() > 128000;
}

} // namespace

void PrintFarbTafel(QPrinter &printer, const TFarbArray &palette)
{
    printer.setPageOrientation(QPageLayout::Portrait);
    QPainter p;
    if (!p.begin(&printer))
        throw EInOutError(QStringLiteral("Cannot print to %1").arg(printer.printerName()), 0);
    // The painter's origin is the top left of the printable area.
    const QRect page(QPoint(0, 0), printer.pageLayout().paintRectPixels(printer.resolution()).size());
    // Square cells as wide as a sixteenth of the page; a cell's three numbers take three lines,
    // so the font is a fifth of a cell high.
    const int titleHeight = page.height() / 12;
    const int cell = std::min(page.width() / cFarbCols, (page.height() - titleHeight) / cFarbRows);
    const int left = (page.width() - cFarbCols * cell) / 2;
    QFont title(QStringLiteral("Arial"));
    title.setPixelSize(std::max(titleHeight / 3, 1));
    title.setBold(true);
    p.setFont(title);
    p.setPen(Qt::black);
    p.drawText(QRect(left, 0, cFarbCols * cell, titleHeight), Qt::AlignLeft | Qt::AlignVCenter,
               SFarbenPrintTitle);
    QFont label(QStringLiteral("Arial"));
    label.setPixelSize(std::max(cell / 5, 1));
    p.setFont(label);
    const QPen frame(QColor(128, 128, 128), std::max(cell / 40, 1));
    for (int nr = 1; nr <= cFarbCount; ++nr) {
        const TGridCoord at = CellOfFarbNr(nr);
        const QRect r(left + at.X * cell, titleHeight + at.Y * cell, cell, cell);
        const QColor fill = ColorToQColor(palette.GetRGBFarbe(nr));
        p.fillRect(r, fill);
        p.setPen(frame);
        p.drawRect(r);
        std::uint8_t red = 0, green = 0, blue = 0;
        palette.GetRGB(nr, red, green, blue);
        p.setPen(IsLight(fill) ? Qt::black : Qt::white);
        // One value to a line, so that every cell reads alike whatever its numbers' widths.
        const QString values = QStringLiteral("%1, %2, %3").arg(red).arg(green).arg(blue);
        p.drawText(r, Qt::AlignCenter, QString(values).replace(QStringLiteral(", "), QStringLiteral(",\n")));
    }
}

TFarbenDialog::TFarbenDialog(QWidget *Owner)
    : QDialog(Owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                         Qt::WindowCloseButtonHint)
{
    CreateControls();
    FormCreate();
}

TFarbenDialog::~TFarbenDialog() = default;

void TFarbenDialog::CreateControls()
{
    setWindowTitle(SFarbenCaption);
    PanelGrid = new QFrame(this);
    PanelGrid->setGeometry(0, 0, cGridPanelWidth, cFormHeight);
    DGFarben = new TDrawGrid(PanelGrid);
    DGFarben->setGeometry(cGridMargin, cGridMargin, cGridWidth, cGridHeight);
    DGFarben->SetColCount(cFarbCols);
    DGFarben->SetRowCount(cFarbRows);
    DGFarben->SetFixedCols(0);
    DGFarben->SetFixedRows(0);
    DGFarben->SetDefaultColWidth(cFarbCellSize);
    DGFarben->SetDefaultRowHeight(cFarbCellSize);
    DGFarben->SetScrollBars(ssNone);
    DGFarben->SetDefaultDrawing(false);
    DGFarben->OnDrawCell = [this](QObject *, QPainter &Canvas, std::int32_t ACol, std::int32_t ARow,
                                  const QRect &Rect,
                                  TGridDrawState) { DGFarbenDrawCell(Canvas, ACol, ARow, Rect); };
    DGFarben->OnSelectCell = [this](QObject *, std::int32_t ACol, std::int32_t ARow, bool &) {
        DGFarbenSelectCell(ACol, ARow);
    };
    DGFarben->OnKeyDown = [this](QObject *, std::uint16_t &Key, TShiftState Shift) {
        DGFarbenKeyDown(Key, Shift);
    };
    DGFarben->OnClick = [this](QObject *) { DGFarbenClick(); };
    DGFarben->OnDblClick = [this](QObject *) { DGFarbenDblClick(); };

    PanelFarbDef = new QFrame(this);
    PanelFarbDef->setGeometry(cGridPanelWidth, 0, cEditPanelWidth, cFormHeight);
    QWidget *p = PanelFarbDef;
    LMisch = new QLabel(SFarbenMisch, p);
    LMisch->setGeometry(8, 8, 44, 20);
    LabFNr = new QLabel(p);
    LabFNr->setGeometry(52, 8, 60, 20);

    PanelFarbe = new QFrame(p);
    PanelFarbe->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    PanelFarbe->setLineWidth(2);
    PanelFarbe->setGeometry(8, 32, 112, 52);
    PaintBox = new QWidget(PanelFarbe);
    PaintBox->setGeometry(PanelFarbe->contentsRect());
    PaintBox->installEventFilter(this);
    ButtonInit = MakeButton(p, SFarbenInit, 126, 32, 34);
    ButtonDefOK = MakeButton(p, SFarbenDefOK, 126, 59, 34);

    const auto channel = [p, this](QLabel *&label, QSpinBox *&spin, const QString &caption, int y,
                                   char letter) {
        label = new QLabel(caption, p);
        label->setGeometry(8, y, 48, 24);
        spin = new QSpinBox(p);
        spin->setGeometry(60, y, 100, 24);
        spin->setRange(0, 255);
        spin->setSingleStep(5);
        spin->setValue(0);
        label->setBuddy(spin);
        connect(spin, &QSpinBox::textChanged, this,
                [this, letter](const QString &text) { Farbanteil_aendern(QLatin1Char(letter), text); });
    };
    channel(LRot, SpEdRot, SFarbenRot, 96, 'r');
    channel(LGruen, SpEdGruen, SFarbenGruen, 126, 'g');
    channel(LBlau, SpEdBlau, SFarbenBlau, 156, 'b');

    SB0 = new TSpeedButton(p);
    SB0->setText(SFarbenNull);
    SB0->setGeometry(8, 200, 32, cButtonHeight);
    SB0->SetGroupIndex(1);
    SB0->SetAllowAllUp(true);
    SB0->OnClick = [this](TSpeedButton *) { SB0Click(); };
    SBCalc = new TSpeedButton(p);
    SBCalc->SetGlyph(CalcGlyph());
    SBCalc->setGeometry(44, 200, 32, cButtonHeight);
    SBCalc->SetGroupIndex(1);
    SBCalc->SetAllowAllUp(true);
    SBCalc->OnClick = [this](TSpeedButton *) { SBCalcClick(); };

    ButtonOK = MakeButton(p, SFarbenOK, cButtonLeft, 8);
    ButtonOK->setToolTip(SFarbenOKHint);
    ButtonCancel = MakeButton(p, SFarbenCancel, cButtonLeft, 38);
    ButtonHelp = MakeButton(p, SFarbenHelp, cButtonLeft, 68);
    ButtonLaden = MakeButton(p, SFarbenLaden, cButtonLeft, 110);
    ButtonSpeichern = MakeButton(p, SFarbenSpeichern, cButtonLeft, 140);
    ButtonSpAls = MakeButton(p, SFarbenSpAls, cButtonLeft, 170);
    ButtonPlott = MakeButton(p, SFarbenPlott, cButtonLeft, 200);
    connect(ButtonInit, &QPushButton::clicked, this, [this] { ButtonInitClick(); });
    connect(ButtonDefOK, &QPushButton::clicked, this, [this] { ButtonDefOKClick(); });
    connect(ButtonOK, &QPushButton::clicked, this, [this] { ButtonOKClick(); });
    connect(ButtonCancel, &QPushButton::clicked, this, [this] { reject(); });
    connect(ButtonHelp, &QPushButton::clicked, this, [this] { ButtonHelpClick(); });
    connect(ButtonLaden, &QPushButton::clicked, this, [this] { ButtonLadenClick(); });
    connect(ButtonSpeichern, &QPushButton::clicked, this, [this] { ButtonSpeichernClick(); });
    connect(ButtonSpAls, &QPushButton::clicked, this, [this] { ButtonSpAlsClick(); });
    connect(ButtonPlott, &QPushButton::clicked, this, [this] { ButtonPlottClick(); });

    OpenDialog.Filter = SFarbenOpenFilter;
    OpenDialog.DefaultExt = SFarbenDefaultExt;
    SaveDialog.Filter = SFarbenSaveFilter;
    SaveDialog.DefaultExt = SFarbenDefaultExt;

    // The form looks at every key first (Enter and Escape mean the same wherever the focus is).
    for (QWidget *w : findChildren<QWidget *>())
        w->installEventFilter(this);
    DGFarben->setFocus();
}

void TFarbenDialog::FormCreate()
{
    FHelpContext = cFarbDiaHelpContext;
    PanelFarbDef->hide();
    setFixedSize(cGridPanelWidth, cFormHeight);
    SetFarbe(1);
    FAendern = false;
    FSaveWithOK = true;
}

void TFarbenDialog::SetFarbArray(TFarbArray *Value)
{
    FFarbArray = Value;
    if (Value)
        for (int nr = 1; nr <= cFarbCount; ++nr)
            Value->GetRGB(nr, FBackup[3 * (nr - 1)], FBackup[3 * (nr - 1) + 1], FBackup[3 * (nr - 1) + 2]);
    UpdateSaveButton();
    DGFarben->InvalidateGrid();
}

int TFarbenDialog::Farbe() const
{
    return FEnableTransparent && FSelected == cFarbTransparent ? 0 : FSelected;
}

void TFarbenDialog::SetFarbe(int Nr)
{
    if (FEnableTransparent && Nr < 1)
        Nr = cFarbTransparent;
    if (Nr < 1 || Nr > cFarbCount)
        return;
    FSelected = Nr;
    MoveGridTo(Nr);
}

// The grid follows the selection without running the form's select and click callbacks: a
// preset must neither clear a range nor close the form.
void TFarbenDialog::MoveGridTo(int Nr)
{
    const TGridCoord cell = CellOfFarbNr(Nr);
    const TSelectCellEvent select = std::exchange(DGFarben->OnSelectCell, nullptr);
    const TNotifyEvent click = std::exchange(DGFarben->OnClick, nullptr);
    DGFarben->SetSelection({cell.X, cell.Y, cell.X, cell.Y});
    DGFarben->OnSelectCell = select;
    DGFarben->OnClick = click;
    LabFNr->setText(QStringLiteral("(%1)").arg(Nr));
    DGFarben->InvalidateGrid();
}

int TFarbenDialog::RGBFarbe() const
{
    if (!FFarbArray)
        return FSelected;
    if (FEnableTransparent && FSelected == cFarbTransparent)
        return -1;
    return int(FFarbArray->GetRGBFarbe(FSelected));
}

void TFarbenDialog::SetRGBFarbe(int Value)
{
    if (!FFarbArray)
        return;
    if (Value < 0) {
        SetFarbe(cFarbTransparent);
        return;
    }
    FMisch = {GetRValue(TColor(Value)), GetGValue(TColor(Value)), GetBValue(TColor(Value))};
    SetFarbe(FFarbArray->GetNearestFarbNr(FMisch[0], FMisch[1], FMisch[2]));
    PaintBox->update();
}

void TFarbenDialog::SetAendern(bool Value)
{
    if (Value == FAendern)
        return;
    FAendern = Value;
    PanelFarbDef->setVisible(Value);
    if (Value) {
        InitFarbDef();
        setFixedSize(width() + PanelFarbDef->width(), height());
    } else {
        setFixedSize(width() - PanelFarbDef->width(), height());
    }
    UpdateSaveButton();
}

void TFarbenDialog::SetEnableTransparent(bool Value)
{
    FEnableTransparent = Value;
    DGFarben->InvalidateGrid();
}

void TFarbenDialog::UpdateSaveButton()
{
    if (FFarbArray && !FFarbArray->Dateiname().isEmpty() && FAendern) {
        ButtonSpeichern->setEnabled(true);
        ButtonSpeichern->setToolTip(SFarbenSaveAsHint + QStringLiteral(": ") + FFarbArray->Dateiname());
    } else {
        ButtonSpeichern->setEnabled(false);
    }
}

void TFarbenDialog::showEvent(QShowEvent *event)
{
    // Centred on the screen unless whoever shows the form placed it.
    if (!testAttribute(Qt::WA_Moved)) {
        if (const QScreen *shownOn = screen()) {
            QRect r = frameGeometry();
            r.moveCenter(shownOn->availableGeometry().center());
            move(r.topLeft());
            setAttribute(Qt::WA_Moved, false);
        }
    }
    QDialog::showEvent(event);
    UpdateSaveButton();
    DGFarben->setFocus();
}

void TFarbenDialog::MarkSelected()
{
    const TGridCoord cell = CellOfFarbNr(FSelected);
    DGFarben->InvalidateCell(cell.X, cell.Y);
}

void TFarbenDialog::DGFarbenDrawCell(QPainter &Canvas, std::int32_t ACol, std::int32_t ARow,
                                     const QRect &Rect)
{
    const int nr = FarbNrOfCell(ACol, ARow);
    if (nr > cFarbCount)
        return;
    Canvas.setBrush(Qt::SolidPattern);
    bool white = false;
    if (FFarbArray) {
        if (FEnableTransparent && nr == cFarbTransparent) {
            white = true;
            Canvas.fillRect(Rect, Qt::white);
            Canvas.setPen(QPen(Qt::black, 2));
            const QRect x = Rect.adjusted(2, 2, -2, -2);
            Canvas.drawLine(x.topLeft(), x.bottomRight() + QPoint(1, 1));
            Canvas.drawLine(x.topRight() + QPoint(1, 0), x.bottomLeft() + QPoint(0, 1));
        } else {
            // The raw entry, as the palette sets a brush: no intensity, greying or black level.
            QPainter *previous = FFarbArray->Canvas();
            FFarbArray->SetCanvas(&Canvas);
            FFarbArray->SetBrushColor(nr);
            FFarbArray->SetCanvas(previous);
            Canvas.fillRect(Rect, Canvas.brush());
            white = Canvas.brush().color() == QColor(Qt::white);
        }
    }
    if (nr == FSelected) {
        // A double bevel: light top and left (yellow on a white cell), black bottom and right.
        const QColor light = white ? QColor(Qt::yellow) : QColor(Qt::white);
        for (int i = 0; i < 2; ++i) {
            const QRect b = Rect.adjusted(i, i, -i, -i);
            Canvas.fillRect(b.left(), b.top(), b.width(), 1, light);
            Canvas.fillRect(b.left(), b.top(), 1, b.height(), light);
            Canvas.fillRect(b.left(), b.bottom(), b.width(), 1, Qt::black);
            Canvas.fillRect(b.right(), b.top(), 1, b.height(), Qt::black);
        }
        FSelRect = Rect;
    } else {
        Canvas.setBrush(Qt::NoBrush);
        Canvas.setPen(ColorToQColor(clBtnFace, palette()));
        Canvas.drawRect(Rect.adjusted(0, 0, -1, -1));
    }
}

void TFarbenDialog::DGFarbenSelectCell(std::int32_t ACol, std::int32_t ARow)
{
    FSelected = FarbNrOfCell(ACol, ARow);
    LabFNr->setText(QStringLiteral("(%1)").arg(FSelected));
    if (!FClearPending)
        return;
    if (FFarbArray && FSelected >= FClearStart)
        for (int nr = FClearStart; nr <= FSelected; ++nr)
            FFarbArray->SetRGB(nr, 0, 0, 0);
    FClearPending = false;
    SB0->SetDown(false);
    DGFarben->InvalidateGrid();
}

void TFarbenDialog::DGFarbenKeyDown(std::uint16_t &Key, TShiftState Shift)
{
    if (Key == VK_ESCAPE || (Key == VK_F1 + 3 && Shift.contains(ssAlt))) {
        Key = 0;
        reject();
        return;
    }
    if (Key == VK_RETURN) {
        Key = 0;
        if (FAendern) {
            ButtonInitClick();
            SpEdRot->setFocus();
            SpEdRot->selectAll();
        } else {
            done(mrOk);
        }
        return;
    }
    if (FAendern || (Key != VK_LEFT && Key != VK_RIGHT && Key != VK_UP && Key != VK_DOWN))
        return;
    // In choose mode a click closes the form; moving by key must not.
    TGridCoord cell{DGFarben->Col(), DGFarben->Row()};
    switch (Key) {
    case VK_LEFT: cell.X = std::max(cell.X - 1, 0); break;
    case VK_RIGHT: cell.X = std::min(cell.X + 1, cFarbCols - 1); break;
    case VK_UP: cell.Y = std::max(cell.Y - 1, 0); break;
    default: cell.Y = std::min(cell.Y + 1, cFarbRows - 1); break;
    }
    Key = 0;
    const TNotifyEvent click = std::exchange(DGFarben->OnClick, nullptr);
    DGFarben->SetSelection({cell.X, cell.Y, cell.X, cell.Y});
    DGFarben->OnClick = click;
}

void TFarbenDialog::DGFarbenClick()
{
    if (!FAendern)
        done(mrOk);
}

void TFarbenDialog::DGFarbenDblClick()
{
    if (FAendern)
        ButtonInitClick();
    else
        done(mrOk);
}

bool TFarbenDialog::FormKeyDown(std::uint16_t Key, TShiftState Shift)
{
    if (Key == VK_ESCAPE) {
        reject();
        return true;
    }
    if (Key == VK_F1) {
        ButtonHelpClick();
        return true;
    }
    if (Key != VK_RETURN)
        return false;
    if (FAendern && !Shift.contains(ssCtrl)) {
        if (DGFarben->Focused())
            return false; // the grid's own Enter loads the mixer
        ButtonDefOKClick();
        DGFarben->setFocus();
        return true;
    }
    // Ctrl+Enter in edit mode is the OK button, saving as it does; in choose mode Enter picks.
    if (FAendern)
        ButtonOKClick();
    else
        done(mrOk);
    return true;
}

bool TFarbenDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == PaintBox && event->type() == QEvent::Paint) {
        PaintBoxPaint();
        return true;
    }
    if (event->type() == QEvent::KeyPress && isVisible()) {
        const auto *key = static_cast<QKeyEvent *>(event);
        return FormKeyDown(VirtualKeyOf(*key), ShiftStateOf(key->modifiers()));
    }
    return QDialog::eventFilter(watched, event);
}

void TFarbenDialog::PaintBoxPaint()
{
    QPainter p(PaintBox);
    p.setPen(Qt::NoPen);
    p.setBrush(ColorToQColor(MischFarbe()));
    p.drawRect(PaintBox->rect());
}

void TFarbenDialog::Farbanteil_aendern(QChar Anteil, const QString &Text)
{
    bool ok = false;
    const int value = Text.trimmed().toInt(&ok, 10);
    if (!ok || value >= 256)
        return;
    // Below 0 is not refused here: the spin edits never give it.
    const auto byte = std::uint8_t(value);
    if (Anteil == QLatin1Char('r'))
        FMisch[0] = byte;
    else if (Anteil == QLatin1Char('g'))
        FMisch[1] = byte;
    else if (Anteil == QLatin1Char('b'))
        FMisch[2] = byte;
    else
        return;
    PaintBox->update();
}

void TFarbenDialog::InitFarbDef()
{
    if (FFarbArray)
        FFarbArray->GetRGB(FSelected, FMisch[0], FMisch[1], FMisch[2]);
    // Each edit hands its text back through Farbanteil_aendern, so read all three first.
    const std::array<std::uint8_t, 3> mixed = FMisch;
    SpEdRot->setValue(mixed[0]);
    SpEdGruen->setValue(mixed[1]);
    SpEdBlau->setValue(mixed[2]);
    PaintBox->update();
}

void TFarbenDialog::SB0Click()
{
    FClearStart = FSelected;
    FClearPending = true;
    SB0->SetDown(true);
}

void TFarbenDialog::SBCalcClick()
{
    // The group released "0": a pending range clear ends with it.
    FClearPending = false;
    SBCalc->SetDown(false);
    if (!FFarbArray)
        return;
    FFarbArray->CalcRGB(FSelected);
    DGFarben->InvalidateGrid();
}

void TFarbenDialog::ButtonInitClick()
{
    if (PanelFarbDef->isHidden())
        return;
    InitFarbDef();
}

void TFarbenDialog::ButtonDefOKClick()
{
    if (!FFarbArray)
        return;
    FFarbArray->SetRGB(FSelected, FMisch[0], FMisch[1], FMisch[2]);
    MarkSelected();
}

void TFarbenDialog::ButtonOKClick()
{
    if (FSaveWithOK)
        ButtonSpeichernClick();
    done(mrOk);
}

void TFarbenDialog::reject()
{
    if (FFarbArray) {
        const bool modified = FFarbArray->Modified();
        for (int nr = 1; nr <= cFarbCount; ++nr)
            FFarbArray->SetRGB(nr, FBackup[3 * (nr - 1)], FBackup[3 * (nr - 1) + 1],
                               FBackup[3 * (nr - 1) + 2]);
        FFarbArray->SetModified(modified);
    }
    done(mrCancel);
}

void TFarbenDialog::ButtonHelpClick()
{
    UiServices().ShowHelp(FHelpContext);
}

void TFarbenDialog::ButtonLadenClick()
{
    OpenDialog.FileName = FIniDateiName;
    if (!FIniPfadName.isEmpty())
        OpenDialog.InitialDir = FIniPfadName;
    if (!UiServices().OpenFileDialog(OpenDialog))
        return;
    if (FFarbArray) {
        const QString name = OpenDialog.FileName;
        const QString problem = LoadProblem(name);
        // The palette's own rules decide what a bad file leaves behind; the user hears why.
        if (Reported([&] { FFarbArray->SetDateiname(name); }) && !problem.isEmpty())
            ReportError(problem);
    }
    UpdateSaveButton();
    DGFarben->InvalidateGrid();
}

bool TFarbenDialog::SaveUnder(const QString &Name)
{
    return Reported([&] { FFarbArray->SaveColors(Name); });
}

void TFarbenDialog::ButtonSpeichernClick()
{
    if (!FIniPfadName.isEmpty())
        SaveDialog.InitialDir = FIniPfadName;
    if (FFarbArray) {
        QString name = FFarbArray->Dateiname();
        if (name.isEmpty() && UiServices().SaveFileDialog(SaveDialog))
            name = SaveDialog.FileName;
        if (!name.isEmpty())
            SaveUnder(name);
    }
    UpdateSaveButton();
}

void TFarbenDialog::ButtonSpAlsClick()
{
    if (FFarbArray) {
        SaveDialog.FileName = FIniDateiName;
        if (!FIniPfadName.isEmpty())
            SaveDialog.InitialDir = FIniPfadName;
        if (UiServices().SaveFileDialog(SaveDialog))
            SaveUnder(SaveDialog.FileName);
    }
    UpdateSaveButton();
}

void TFarbenDialog::ButtonPlottClick()
{
    if (!FFarbArray)
        return;
    QPrinter &printer = UiServices().Printer();
    if (!UiServices().PrintDialog(printer))
        return;
    Reported([&] { PrintFarbTafel(printer, *FFarbArray); });
}

} // namespace wn
