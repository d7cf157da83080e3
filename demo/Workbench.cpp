// The workbench window.
#include "Workbench.h"

#include "MapView.h"

#include "colours/FarbArr.h"
#include "controls/Floatedit.h"
#include "controls/SpinEdit.h"
#include "controls/ValueGrid.h"
#include "framework/Exceptions.h"
#include "framework/Graphics.h"
#include "framework/UiServices.h"
#include "grid/KVRasterNeu.h"
#include "logging/LogEvent.h"
#include "navigators/NavItem.h"
#include "navigators/PlayNavi.h"
#include "util/MyIniFiles.h"

#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QProgressBar>
#include <QPushButton>
#include <QSaveFile>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTextStream>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>
#include <thread>

namespace wndemo {

using namespace wn;

namespace {

const char *const cTitle = "WNPack noise-map workbench";
const char *const cSection = "WORKBENCH";
const char *const cGridFilter = "Grid result files (*.rlk)|*.rlk|All files (*)|*";
const char *const cScaleFilter = "Colour scales (*.sgc)|*.sgc|All files (*)|*";
const char *const cLogFilter = "Log books (*.log)|*.log|All files (*)|*";
const char *const cPdfFilter = "PDF documents (*.pdf)|*.pdf";
const char *const cQueryTitle = "Point %1: node at %2, %3";
// The drain interval of queued log events while a calculation runs.
constexpr int cDrainMs = 40;
// A log book larger than this is not loaded: it would be no log of this workbench.
constexpr qint64 cMaxLogBook = qint64(16) << 20;

QString KindName(TLogStatus kind)
{
    switch (kind) {
    case clog_protok: return QStringLiteral("Protocol");
    case clog_abbruch: return QStringLiteral("Abort");
    case clog_warning: return QStringLiteral("Warning");
    case clog_userbreak: return QStringLiteral("User break");
    case clog_except: return QStringLiteral("Exception");
    case clog_Progress: return QStringLiteral("Progress");
    case clog_Hint: return QStringLiteral("Hint");
    case clog_Error: return QStringLiteral("Error");
    default: return QStringLiteral("Event %1").arg(int(kind));
    }
}

QColor KindColour(const QString &kind)
{
    if (kind == QLatin1String("Warning"))
        return QColor(150, 95, 0);
    if (kind == QLatin1String("Error") || kind == QLatin1String("Abort") ||
        kind == QLatin1String("Exception") || kind == QLatin1String("User break"))
        return QColor(180, 20, 20);
    if (kind == QLatin1String("Progress"))
        return QColor(90, 90, 90);
    return QColor(0, 0, 0);
}

QString FileDescription(const QFileInfo &fi)
{
    const QString ext = fi.suffix().toLower();
    if (ext == QLatin1String("rlk"))
        return QStringLiteral("Grid result file");
    if (ext == QLatin1String("sgc"))
        return QStringLiteral("Colour scale");
    if (ext == QLatin1String("log"))
        return QStringLiteral("Log book");
    if (ext == QLatin1String("pdf"))
        return QStringLiteral("Printed log book");
    if (ext == QLatin1String("png"))
        return QStringLiteral("Picture");
    return QStringLiteral("File");
}

template <typename E> E *Edit(double value, double min, double max, int decimals)
{
    auto *e = new E;
    e->SetMinValue(min);
    e->SetMaxValue(max);
    e->SetCheckMinMax(true);
    e->SetDecimals(decimals);
    e->SetValue(value);
    return e;
}

// A field with its unit behind it.
QWidget *WithUnit(QWidget *field, const QString &unit)
{
    auto *w = new QWidget;
    auto *l = new QHBoxLayout(w);
    l->setContentsMargins(0, 0, 0, 0);
    l->addWidget(field, 1);
    auto *u = new QLabel(unit);
    u->setMinimumWidth(44);
    l->addWidget(u);
    return w;
}

} // namespace

TWorkbench::TWorkbench(const QString &workFolder, const QString &iniFile, QWidget *parent)
    : QMainWindow(parent), FWorkFolder(QDir(workFolder).absolutePath()),
      FIni(std::make_unique<TMyIniFile>(iniFile)), FPalette(std::make_unique<TFarbArray>())
{
    QDir().mkpath(FWorkFolder);
    setWindowTitle(QLatin1String(cTitle));
    FPalette->InitFarben();
    SetNoiseColours(*FPalette);

    auto *split = new QSplitter(Qt::Horizontal);
    split->addWidget(MakeParameters());
    auto *right = new QSplitter(Qt::Vertical);
    right->addWidget(MakeMapArea());
    right->addWidget(MakeBottom());
    right->setSizes({520, 260});
    split->addWidget(right);
    split->setStretchFactor(1, 1);
    setCentralWidget(split);
    statusBar()->showMessage(QDir::toNativeSeparators(FWorkFolder));

    // Every event of this window's calculations comes here; queued while a worker runs.
    FPreviousLog = KV_ELOG;
    KV_ELOG = [this](const QString &text, TLogStatus kind, std::int32_t context, std::int32_t, TObject *) {
        LogEvent(text, kind, context);
    };
    FDrain = new QTimer(this);
    FDrain->setInterval(cDrainMs);
    connect(FDrain, &QTimer::timeout, this, &TWorkbench::DrainLog);

    LoadSettings();
    RefreshFiles();
    const QString result = QDir(FWorkFolder).filePath(QLatin1String(cResultName));
    if (QFileInfo::exists(result))
        OpenGridFile(result);
}

TWorkbench::~TWorkbench()
{
    if (FWorker) {
        rechenabbruch = true;
        FWorker->TerminateAndWait();
        Log_Event_Obj->ReleaseThreadLogEvent();
    }
    SaveSettings();
    KV_ELOG = FPreviousLog;
}

QWidget *TWorkbench::MakeParameters()
{
    auto *panel = new QWidget;
    auto *v = new QVBoxLayout(panel);
    auto *params = new QGroupBox(tr("Calculation"));
    auto *form = new QFormLayout(params);
    FSpacing = Edit<TSpinEditReal>(5, 1, 100, 1);
    FSpacing->SetIncrement(1);
    FWidth = Edit<TSpinEditReal>(1000, 50, 20000, 0);
    FWidth->SetIncrement(50);
    FHeight = Edit<TSpinEditReal>(800, 50, 20000, 0);
    FHeight->SetIncrement(50);
    FRoadPower = Edit<TFloatEdit>(85, 40, 130, 1);
    FFactoryPower = Edit<TFloatEdit>(105, 40, 150, 1);
    FBarrier = Edit<TFloatEdit>(4, 0, 20, 1);
    FBarrier->SetNoneValue(cNoBarrier);
    FBarrier->SetNoneValueStr(QStringLiteral("none"));
    FBarrier->SetAllowNegativeValue(false);
    FBarrier->setToolTip(tr("Height of the barrier beside the road; \"none\" calculates without it"));
    form->addRow(tr("Grid spacing"), WithUnit(FSpacing, QStringLiteral("m")));
    form->addRow(tr("Extent west-east"), WithUnit(FWidth, QStringLiteral("m")));
    form->addRow(tr("Extent south-north"), WithUnit(FHeight, QStringLiteral("m")));
    form->addRow(tr("Road sound power"), WithUnit(FRoadPower, QStringLiteral("dB(A)/m")));
    form->addRow(tr("Factory sound power"), WithUnit(FFactoryPower, QStringLiteral("dB(A)")));
    form->addRow(tr("Barrier height"), WithUnit(FBarrier, QStringLiteral("m")));

    FPlayer = new TPlayButtons;
    FPlayer->SetVisible(TPlayButtons::TButtonSet{pnPlay, pnPause, pnStop});
    FPlayer->SetEnabledButtons(TPlayButtons::TButtonSet{pnPlay});
    FPlayer->setToolTip(tr("Start, pause and stop the calculation"));
    FPlayer->setFixedSize(3 * 27, 25);
    FPlayer->OnClick = [this](QObject *, TMPBtnType b) {
        if (b == pnPlay)
            StartCalculation();
        else if (b == pnPause)
            PauseCalculation();
        else if (b == pnStop)
            StopCalculation();
    };
    FProgress = new QProgressBar;
    FProgress->setRange(0, 100);
    FProgress->setValue(0);
    auto *run = new QHBoxLayout;
    run->addWidget(FPlayer);
    run->addWidget(FProgress, 1);
    form->addRow(run);
    v->addWidget(params);

    auto *files = new QGroupBox(tr("Working folder"));
    auto *fl = new QVBoxLayout(files);
    FFiles = new QTreeWidget;
    FFiles->setHeaderLabels({tr("Name"), tr("Description"), tr("Size")});
    FFiles->setRootIsDecorated(false);
    FFiles->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    FFiles->header()->setStretchLastSection(false);
    FFiles->setToolTip(tr("Double-click a grid file or a colour scale to open it"));
    connect(FFiles, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem *item) {
        const QString file = QDir(FWorkFolder).filePath(item->text(0));
        const QString ext = QFileInfo(file).suffix().toLower();
        if (ext == QLatin1String("rlk"))
            OpenGridFile(file);
        else if (ext == QLatin1String("sgc"))
            OpenColourScale(file);
    });
    fl->addWidget(FFiles);
    v->addWidget(files, 1);
    panel->setMinimumWidth(330);
    return panel;
}

QWidget *TWorkbench::MakeMapArea()
{
    auto *area = new QWidget;
    auto *v = new QVBoxLayout(area);
    v->setContentsMargins(0, 0, 0, 0);
    auto *bar = new QHBoxLayout;
    const TButtonSet moves{nbFirst, nbPrior, nbNext, nbLast};
    FChannelNav = new TItemNavigator;
    FChannelNav->SetVisible(moves);
    FChannelNav->setFixedSize(100, 25);
    FChannelNav->OnClick = [this](QObject *, TNavigateBtn) { FMap->SetChannel(FChannelNav->ItemIndex()); };
    FChannelLabel = new QLabel;
    QFont bold = FChannelLabel->font();
    bold.setBold(true);
    FChannelLabel->setFont(bold);
    FZNav = new TItemNavigator;
    FZNav->SetVisible(moves);
    FZNav->setFixedSize(100, 25);
    FZNav->OnClick = [this](QObject *, TNavigateBtn) { ChannelShown(); };
    FZLabel = new QLabel;
    bar->addWidget(new QLabel(tr("Channel")));
    bar->addWidget(FChannelNav);
    bar->addWidget(FChannelLabel, 1);
    bar->addWidget(new QLabel(tr("Z level")));
    bar->addWidget(FZNav);
    bar->addWidget(FZLabel);
    bar->addSpacing(8);
    v->addLayout(bar);

    auto *h = new QHBoxLayout;
    FMap = new TMapView(*FPalette);
    connect(FMap, &TMapView::PointClicked, this, &TWorkbench::QueryPoint);
    connect(FMap, &TMapView::ChannelChanged, this, &TWorkbench::ChannelShown);
    h->addWidget(FMap, 1);
    auto *side = new QVBoxLayout;
    FLegend = new TLegend(*FPalette);
    FLegend->SetBands(FMap->Bands(), QStringLiteral("dB(A)"));
    connect(FLegend, &TLegend::BandClicked, this, &TWorkbench::PickBandColour);
    side->addWidget(FLegend);
    const auto button = [&](const QString &text, auto slot) {
        auto *b = new QPushButton(text);
        connect(b, &QPushButton::clicked, this, slot);
        side->addWidget(b);
    };
    button(tr("Palette..."), [this] { EditPalette(); });
    button(tr("Load scale..."), [this] {
        const QString f =
            AskFile(false, tr("Load colour scale"), QLatin1String(cScaleFilter), QStringLiteral("sgc"));
        if (!f.isEmpty())
            OpenColourScale(f);
    });
    button(tr("Save scale..."), [this] {
        const QString f =
            AskFile(true, tr("Save colour scale"), QLatin1String(cScaleFilter), QStringLiteral("sgc"));
        if (!f.isEmpty())
            SaveColourScale(f);
    });
    button(tr("Open grid..."), [this] {
        const QString f =
            AskFile(false, tr("Open grid file"), QLatin1String(cGridFilter), QStringLiteral("rlk"));
        if (!f.isEmpty())
            OpenGridFile(f);
    });
    side->addStretch(1);
    h->addLayout(side);
    v->addLayout(h, 1);
    return area;
}

QWidget *TWorkbench::MakeBottom()
{
    auto *tabs = new QTabWidget;
    auto *logPage = new QWidget;
    auto *lv = new QVBoxLayout(logPage);
    FLog = new QTreeWidget;
    FLog->setHeaderLabels({tr("Time"), tr("Kind"), tr("Message")});
    FLog->setRootIsDecorated(false);
    FLog->setColumnWidth(0, 70);
    FLog->setColumnWidth(1, 80);
    lv->addWidget(FLog, 1);
    auto *lb = new QHBoxLayout;
    const auto button = [&](QHBoxLayout *row, const QString &text, auto slot) {
        auto *b = new QPushButton(text);
        connect(b, &QPushButton::clicked, this, slot);
        row->addWidget(b);
    };
    button(lb, tr("Save..."), [this] {
        const QString f =
            AskFile(true, tr("Save log book"), QLatin1String(cLogFilter), QStringLiteral("log"));
        if (!f.isEmpty())
            SaveLogBook(f);
    });
    button(lb, tr("Load..."), [this] {
        const QString f =
            AskFile(false, tr("Load log book"), QLatin1String(cLogFilter), QStringLiteral("log"));
        if (!f.isEmpty())
            LoadLogBook(f);
    });
    button(lb, tr("Print to PDF..."), [this] {
        const QString f =
            AskFile(true, tr("Print log book"), QLatin1String(cPdfFilter), QStringLiteral("pdf"));
        if (!f.isEmpty())
            PrintLogBook(f);
    });
    button(lb, tr("Clear"), [this] { FLog->clear(); });
    lb->addStretch(1);
    lv->addLayout(lb);
    tabs->addTab(logPage, tr("Log"));

    auto *queryPage = new QWidget;
    auto *qv = new QVBoxLayout(queryPage);
    FQueryTitle = new QLabel(tr("Click the map to query a point"));
    qv->addWidget(FQueryTitle);
    // The grid stores nothing: it asks for the query's lines by column and row.
    FValues = new TValueGrid;
    FValues->SetFixedCols(0);
    FValues->SetFixedRows(1);
    FValues->AddColDef(0, 70, tr("Tag"), QString(), ftInteger, taLeftJustify, taRightJustify, QString(),
                       false);
    FValues->AddColDef(1, 260, tr("Channel"), QString(), ftString, taLeftJustify, taLeftJustify, QString(),
                       false);
    FValues->AddColDef(2, 160, tr("Value"), QString(), ftString, taLeftJustify, taRightJustify, QString(),
                       false);
    FValues->SetRowCount(2);
    FValues->OnGetColValue = [this](QObject *, std::int32_t id, std::int32_t row, QPainter *) -> QVariant {
        if (row < 1 || row > FQueryLines.size())
            return QVariant();
        const QString &line = FQueryLines[row - 1];
        return id == 0   ? QVariant(line.section(QLatin1Char('\t'), 0, 0).toInt())
               : id == 1 ? QVariant(line.section(QLatin1Char('\t'), 1, 1).trimmed())
                         : QVariant(line.section(QLatin1Char('\t'), 2));
    };
    qv->addWidget(FValues, 1);
    auto *qb = new QHBoxLayout;
    button(qb, tr("Copy"), [this] { CopyQuery(); });
    qb->addStretch(1);
    qv->addLayout(qb);
    tabs->addTab(queryPage, tr("Point query"));
    tabs->setObjectName(QStringLiteral("bottomTabs"));
    return tabs;
}

TScenario TWorkbench::Scenario()
{
    TScenario s;
    s.Spacing = FSpacing->GetValue();
    s.Width = FWidth->GetValue();
    s.Height = FHeight->GetValue();
    s.RoadPower = FRoadPower->GetValue();
    s.FactoryPower = FFactoryPower->GetValue();
    s.BarrierHeight = FBarrier->GetValue();
    return s;
}

void TWorkbench::SetScenario(const TScenario &s)
{
    FSpacing->SetValue(s.Spacing);
    FWidth->SetValue(s.Width);
    FHeight->SetValue(s.Height);
    FRoadPower->SetValue(s.RoadPower);
    FFactoryPower->SetValue(s.FactoryPower);
    FBarrier->SetValue(s.BarrierHeight);
}

void TWorkbench::StartCalculation()
{
    if (FWorker) {
        // Play on a paused calculation goes on with it.
        FPaused = false;
        FPlayer->SetEnabledButtons(TPlayButtons::TButtonSet{pnPause, pnStop});
        return;
    }
    const TScenario s = Scenario();
    try {
        CheckScenario(s);
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
        return;
    }
    rechenabbruch = false;
    UserBreaked = false;
    FPaused = false;
    FProgress->setValue(0);
    AddLogLine(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")), KindName(clog_protok),
               tr("Calculation started"));
    Log_Event_Obj->InitThreadLogEvent();
    FWorker = std::make_unique<TNoiseCalculation>(s, QDir(FWorkFolder).filePath(QLatin1String(cResultName)));
    FWorker->Resume();
    FPlayer->SetEnabledButtons(TPlayButtons::TButtonSet{pnPause, pnStop});
    FDrain->start();
}

void TWorkbench::PauseCalculation()
{
    if (!FWorker)
        return;
    FPaused = true;
    FPlayer->SetEnabledButtons(TPlayButtons::TButtonSet{pnPlay, pnStop});
}

void TWorkbench::StopCalculation()
{
    if (!FWorker)
        return;
    UserBreaked = true;
    rechenabbruch = true;
    FPaused = false;
}

void TWorkbench::LogEvent(const QString &text, TLogStatus kind, std::int32_t context)
{
    if (kind == clog_CheckPause) {
        // Asked by the worker in its own thread: hold it here while the user pauses.
        while (FPaused && !rechenabbruch)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return;
    }
    const QString time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
    if (!TThread::InGuiThread()) {
        QMetaObject::invokeMethod(
            this, [this, time, text, kind] { AddLogLine(time, KindName(kind), text); }, Qt::QueuedConnection);
        return;
    }
    if (kind == clog_Progress)
        FProgress->setValue(context);
    AddLogLine(time, KindName(kind), text);
}

void TWorkbench::AddLogLine(const QString &time, const QString &kind, const QString &text)
{
    auto *item = new QTreeWidgetItem(FLog, {time, kind, text});
    item->setForeground(1, KindColour(kind));
    item->setForeground(2, KindColour(kind));
    FLog->scrollToItem(item);
}

void TWorkbench::DrainLog()
{
    Log_Event_Obj->ProcessLogEvents();
    if (!FWorker || !FWorker->Finished())
        return;
    FLastResult = FWorker->WaitFor();
    const QString file = FWorker->FileName();
    FWorker.reset();
    FDrain->stop();
    Log_Event_Obj->ReleaseThreadLogEvent();
    FPlayer->SetEnabledButtons(TPlayButtons::TButtonSet{pnPlay});
    if (FLastResult == 0) {
        FProgress->setValue(100);
        OpenGridFile(file);
    }
    RefreshFiles();
    emit CalculationFinished(FLastResult);
}

void TWorkbench::ChannelShown()
{
    const int channel = FMap->Channel();
    FChannelNav->SetItemsCount(int(FMap->Channels().size()));
    FChannelNav->SetItemIndex(channel);
    FChannelLabel->setText(channel >= 0 ? FMap->Channels()[channel].Name : QString());
    FZNav->SetItemsCount(int(FMap->ZLevels().size()));
    if (FZNav->ItemIndex() < 0 && !FMap->ZLevels().isEmpty())
        FZNav->SetItemIndex(0);
    FZLabel->setText(FZNav->ItemIndex() >= 0 ? FMap->ZLevels().value(FZNav->ItemIndex()) : QString());
}

void TWorkbench::QueryPoint(double x, double y)
{
    if (FMap->GridFile().isEmpty())
        return;
    try {
        TRKFile f(FMap->GridFile());
        const double direction[2] = {1.0, 0.0};
        double z = 0;
        TTaggedLines lines;
        f.GetValuesOfPt(false, direction, x, y, z, lines);
        FQueryLines.clear();
        for (const TTaggedLine &l : lines)
            FQueryLines.append(QString::number(l.Tag) + QLatin1Char('\t') + l.Text);
        FValues->SetRowCount(std::max(2, int(lines.size()) + 1));
        FValues->update();
        FMap->AddMark(x, y);
        FQueryTitle->setText(
            QString::fromLatin1(cQueryTitle).arg(++FQueryCount).arg(x, 0, 'f', 1).arg(y, 0, 'f', 1));
        if (auto *tabs = findChild<QTabWidget *>(QStringLiteral("bottomTabs")))
            tabs->setCurrentIndex(1);
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
}

void TWorkbench::CopyQuery()
{
    UiServices().SetClipboardText(FQueryTitle->text() + QLatin1Char('\n') +
                                  FQueryLines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

void TWorkbench::OpenGridFile(const QString &fileName)
{
    try {
        FMap->SetGridFile(fileName);
        FZNav->SetItemIndex(FMap->ZLevels().isEmpty() ? -1 : 0);
        ChannelShown();
        FQueryCount = 0;
    } catch (const std::exception &e) {
        FMap->SetGridFile(QString());
        ShowError(QString::fromUtf8(e.what()));
    }
}

void TWorkbench::OpenColourScale(const QString &fileName)
{
    try {
        FPalette->SetDateiname(fileName);
        FMap->PaletteChanged();
        FLegend->update();
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
}

void TWorkbench::SaveColourScale(const QString &fileName)
{
    try {
        FPalette->SaveColors(fileName);
        FPalette->SetDateiname(fileName);
        RefreshFiles();
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
}

void TWorkbench::EditPalette()
{
    // The palette dialog of the package takes this place; until then the band colours are
    // picked from the palette through the legend.
    UiServices().MessageDlg(tr("Click a colour in the legend to pick another palette colour for its band."),
                            mtInformation, TMsgDlgButtons{mbOK}, 0);
}

void TWorkbench::PickBandColour(int band)
{
    // The palette's coloured entries as a grid of swatches under the band's legend entry.
    auto *popup = new QFrame(this, Qt::Popup);
    popup->setAttribute(Qt::WA_DeleteOnClose);
    popup->setFrameShape(QFrame::StyledPanel);
    auto *grid = new QGridLayout(popup);
    grid->setSpacing(2);
    int n = 0;
    for (int nr = 1; nr <= cFarbCount; ++nr) {
        std::uint8_t r, g, b;
        FPalette->GetRGB(nr, r, g, b);
        if (r == 0 && g == 0 && b == 0 && nr != 1)
            continue;
        auto *button = new QToolButton;
        QPixmap swatch(16, 16);
        swatch.fill(ColorToQColor(FPalette->GetRGBFarbe(nr)));
        button->setIcon(QIcon(swatch));
        button->setAutoRaise(true);
        button->setToolTip(tr("Palette colour %1").arg(nr));
        connect(button, &QToolButton::clicked, popup, [this, popup, band, nr] {
            SetBandColour(band, nr);
            popup->close();
        });
        grid->addWidget(button, n / 12, n % 12);
        ++n;
    }
    popup->move(FLegend->mapToGlobal(FLegend->SwatchRect(band).bottomLeft()));
    popup->show();
}

void TWorkbench::SetBandColour(int band, int farbNr)
{
    FMap->SetBandColour(band, farbNr);
    FLegend->SetBands(FMap->Bands(), QStringLiteral("dB(A)"));
}

QStringList TWorkbench::LogLines() const
{
    QStringList lines;
    for (int i = 0; i < FLog->topLevelItemCount(); ++i)
        lines.append(FLog->topLevelItem(i)->text(1) + QLatin1Char('\t') + FLog->topLevelItem(i)->text(2));
    return lines;
}

void TWorkbench::SaveLogBook(const QString &fileName)
{
    QSaveFile f(fileName);
    if (f.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream out(&f);
        for (int i = 0; i < FLog->topLevelItemCount(); ++i) {
            const QTreeWidgetItem *it = FLog->topLevelItem(i);
            out << it->text(0) << '\t' << it->text(1) << '\t' << it->text(2) << '\n';
        }
        out.flush();
        if (f.commit()) {
            RefreshFiles();
            return;
        }
    }
    ShowError(tr("Could not write %1: %2").arg(fileName, f.errorString()));
}

void TWorkbench::LoadLogBook(const QString &fileName)
{
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text)) {
        ShowError(tr("Could not read %1: %2").arg(fileName, f.errorString()));
        return;
    }
    if (f.size() > cMaxLogBook) {
        ShowError(tr("%1 is too large for a log book").arg(fileName));
        return;
    }
    FLog->clear();
    QTextStream in(&f);
    for (QString line; in.readLineInto(&line);) {
        const QStringList parts = line.split(QLatin1Char('\t'));
        if (parts.size() >= 3)
            AddLogLine(parts[0], parts[1], parts.mid(2).join(QLatin1Char('\t')));
    }
}

void TWorkbench::PrintLogBook(const QString &pdfFileName)
{
    QPdfWriter pdf(pdfFileName);
    pdf.setPageSize(QPageSize(QPageSize::A4));
    pdf.setTitle(tr("Log book"));
    QPainter p(&pdf);
    if (!p.isActive()) {
        ShowError(tr("Could not write %1").arg(pdfFileName));
        return;
    }
    QFont font(QStringLiteral("DejaVu Sans"), 9);
    p.setFont(font);
    const int line = p.fontMetrics().height() * 12 / 10;
    const QRect page = p.viewport();
    int y = line;
    const auto newLine = [&] {
        y += line;
        if (y > page.height() - line) {
            pdf.newPage();
            y = line;
        }
    };
    QFont bold = font;
    bold.setBold(true);
    p.setFont(bold);
    p.drawText(0, y, tr("Log book of %1").arg(QLatin1String(cTitle)));
    p.setFont(font);
    newLine();
    newLine();
    for (int i = 0; i < FLog->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *it = FLog->topLevelItem(i);
        p.setPen(KindColour(it->text(1)));
        p.drawText(0, y, it->text(0));
        p.drawText(page.width() / 8, y, it->text(1));
        p.drawText(page.width() / 4, y, it->text(2));
        newLine();
    }
    p.end();
    RefreshFiles();
}

void TWorkbench::RefreshFiles()
{
    FFiles->clear();
    const QFileInfoList entries =
        QDir(FWorkFolder).entryInfoList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase);
    for (const QFileInfo &fi : entries) {
        if (fi.suffix() == QLatin1String("part"))
            continue;
        auto *item = new QTreeWidgetItem(
            FFiles, {fi.fileName(), FileDescription(fi), QLocale().formattedDataSize(fi.size())});
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        item->setIcon(0, style()->standardIcon(fi.suffix().toLower() == QLatin1String("rlk")
                                                   ? QStyle::SP_FileDialogDetailedView
                                                   : QStyle::SP_FileIcon));
    }
    FFiles->resizeColumnToContents(1);
}

void TWorkbench::LoadSettings()
{
    const QString s = QLatin1String(cSection);
    TScenario d;
    d.Spacing = FIni->ReadDouble(s, QStringLiteral("Spacing"), d.Spacing);
    d.Width = FIni->ReadDouble(s, QStringLiteral("Width"), d.Width);
    d.Height = FIni->ReadDouble(s, QStringLiteral("Height"), d.Height);
    d.RoadPower = FIni->ReadDouble(s, QStringLiteral("RoadPower"), d.RoadPower);
    d.FactoryPower = FIni->ReadDouble(s, QStringLiteral("FactoryPower"), d.FactoryPower);
    d.BarrierHeight = FIni->ReadDouble(s, QStringLiteral("BarrierHeight"), d.BarrierHeight);
    SetScenario(d);
    const QString scale = FIni->ReadString(s, QStringLiteral("Palette"), QString());
    if (!scale.isEmpty() && QFileInfo::exists(scale))
        OpenColourScale(scale);
    const QByteArray geometry =
        QByteArray::fromBase64(FIni->ReadString(s, QStringLiteral("Geometry"), QString()).toLatin1());
    if (geometry.isEmpty() || !restoreGeometry(geometry))
        resize(1280, 800);
}

void TWorkbench::SaveSettings()
{
    const QString s = QLatin1String(cSection);
    try {
        const TScenario d = Scenario();
        FIni->WriteString(s, QStringLiteral("LastFolder"), FWorkFolder);
        FIni->WriteDouble(s, QStringLiteral("Spacing"), d.Spacing, 2);
        FIni->WriteDouble(s, QStringLiteral("Width"), d.Width, 1);
        FIni->WriteDouble(s, QStringLiteral("Height"), d.Height, 1);
        FIni->WriteDouble(s, QStringLiteral("RoadPower"), d.RoadPower, 1);
        FIni->WriteDouble(s, QStringLiteral("FactoryPower"), d.FactoryPower, 1);
        FIni->WriteDouble(s, QStringLiteral("BarrierHeight"), d.BarrierHeight, 1);
        FIni->WriteString(s, QStringLiteral("Palette"), FPalette->Dateiname());
        FIni->WriteString(s, QStringLiteral("Geometry"), QString::fromLatin1(saveGeometry().toBase64()));
        FIni->UpdateFile();
    } catch (const std::exception &) {
        // Settings that cannot be written are not worth a message on the way out.
    }
}

void TWorkbench::ShowError(const QString &text)
{
    AddLogLine(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")), KindName(clog_Error), text);
    UiServices().MessageDlg(text, mtError, TMsgDlgButtons{mbOK}, 0);
}

QString TWorkbench::AskFile(bool save, const QString &title, const QString &filter, const QString &ext)
{
    TFileDialogOptions o;
    o.Title = title;
    o.Filter = filter;
    o.DefaultExt = ext;
    o.InitialDir = FWorkFolder;
    const bool ok = save ? UiServices().SaveFileDialog(o) : UiServices().OpenFileDialog(o);
    return ok ? o.FileName : QString();
}

void TWorkbench::closeEvent(QCloseEvent *event)
{
    StopCalculation();
    QMainWindow::closeEvent(event);
}

} // namespace wndemo
