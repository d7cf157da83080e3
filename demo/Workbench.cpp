// The workbench window.
#include "Workbench.h"

#include "MapView.h"

#include "colours/FarbArr.h"
#include "colours/KFarbArr.h"
#include "controls/FLView.h"
#include "controls/Floatedit.h"
#include "controls/SpinEdit.h"
#include "controls/ValueGrid.h"
#include "framework/Exceptions.h"
#include "framework/Graphics.h"
#include "framework/UiServices.h"
#include "grid/KVRasterNeu.h"
#include "logging/KVLogBook.h"
#include "logging/LogEvent.h"
#include "navigators/NavItem.h"
#include "navigators/PlayNavi.h"
#include "util/MyIniFiles.h"

#include <QCloseEvent>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPrinter>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>
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
// The files the working folder's list shows.
const char *const cFileFilter = "*.rlk;*.sgc;*.log;*.pdf";
const char *const cPdfFilter = "PDF documents (*.pdf)|*.pdf";
const char *const cQueryTitle = "Point %1: node at %2, %3";
// The drain interval of queued log events while a calculation runs.
constexpr int cDrainMs = 40;
// A log book larger than this (in kB) is moved aside instead of loaded.
constexpr std::int32_t cMaxLogBookKB = 4096;

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
    FFiles = new TFileListView;
    FFiles->SetSubItems(TSubItems{siDescription, siSize});
    // What the file itself says (a grid file's title), else what kind of file it is.
    FFiles->OnGetFileDescription = [](QObject *, const QString &name, QString &value) {
        if (value.trimmed().isEmpty())
            value = FileDescription(QFileInfo(name));
    };
    FFiles->setToolTip(tr("Double-click a grid file or a colour scale to open it"));
    FFiles->SetFilter(QLatin1String(cFileFilter));
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
    connect(FLegend, &TLegend::BandColourPicked, this, &TWorkbench::SetBandColour);
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
    FLog = new TKVLogBook;
    FLog->SetDefaultColWidth(900);
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
    button(lb, tr("Copy"), [this] {
        const TGridRect sel = FLog->Selection();
        FLog->CopyToClipBoard(sel.Top, sel.Bottom);
    });
    button(lb, tr("Clear"), [this] { FLog->Clear(); });
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
    AddLogLine(tr("Calculation started at %1").arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss"))),
               clog_protok);
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
    if (!TThread::InGuiThread()) {
        // Aborts and exceptions skip the queue; the log book is the window's.
        QMetaObject::invokeMethod(
            this, [this, text, kind] { AddLogLine(text, kind); }, Qt::QueuedConnection);
        return;
    }
    if (kind == clog_Progress)
        FProgress->setValue(context);
    AddLogLine(text, kind);
}

void TWorkbench::AddLogLine(const QString &text, TLogStatus kind)
{
    FLog->AddLine(text, kind, 0, 0);
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

bool TWorkbench::EditPalette()
{
    TFarbDialog dialog(this);
    dialog.SetFarbArray(FPalette.get());
    dialog.SetIniPfadName(FWorkFolder);
    dialog.SetCaption(tr("Palette of the map"));
    // The scale buttons beside the legend save; OK only takes the colours.
    dialog.SetSaveWithOK(false);
    if (!dialog.Execute())
        return false;
    FMap->PaletteChanged();
    FLegend->PaletteChanged();
    RefreshFiles();
    return true;
}

void TWorkbench::SetBandColour(int band, int farbNr)
{
    FMap->SetBandColour(band, farbNr);
    FLegend->SetBands(FMap->Bands(), QStringLiteral("dB(A)"));
}

void TWorkbench::SaveLogBook(const QString &fileName)
{
    try {
        FLog->SaveToFile(fileName);
        RefreshFiles();
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
}

void TWorkbench::LoadLogBook(const QString &fileName)
{
    try {
        FLog->LoadFromFile(fileName, cMaxLogBookKB);
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
    RefreshFiles();
}

void TWorkbench::PrintLogBook(const QString &pdfFileName)
{
    QPrinter &printer = UiServices().Printer();
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(pdfFileName);
    try {
        FLog->Print(tr("Log book of %1").arg(QLatin1String(cTitle)));
    } catch (const std::exception &e) {
        ShowError(QString::fromUtf8(e.what()));
    }
    RefreshFiles();
}

void TWorkbench::RefreshFiles()
{
    if (FFiles->Path().isEmpty())
        FFiles->SetPath(FWorkFolder); // reads the files
    else
        FFiles->ReadFiles();
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
    AddLogLine(text, clog_Error);
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
