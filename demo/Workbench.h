#pragma once
// The workbench window: parameters and the calculation on the left with the working folder's
// files, the map with its channel and Z-level navigators and its legend in the middle, the live
// log and the point query below.
#include "NoiseCalculation.h"

#include "logging/LogEvent.h"

#include <QMainWindow>
#include <QStringList>

#include <atomic>
#include <memory>

class QLabel;
class QProgressBar;
class QTimer;

namespace wn {
class TFarbArray;
class TFileListView;
class TFloatEdit;
class TItemNavigator;
class TKVLogBook;
class TValueGrid;
class TMyIniFile;
class TPlayButtons;
class TSpinEditReal;
} // namespace wn

namespace wndemo {

class TLegend;
class TMapView;

// The names the workbench gives its files in the working folder.
inline constexpr char cResultName[] = "noise-map.rlk";

class TWorkbench : public QMainWindow
{
    Q_OBJECT
public:
    // Works in workFolder (made when missing); settings come from and go to iniFile.
    TWorkbench(const QString &workFolder, const QString &iniFile, QWidget *parent = nullptr);
    ~TWorkbench() override;

    TScenario Scenario();
    void SetScenario(const TScenario &s);

    // The player's buttons: a calculation of the scenario into the working folder's result file.
    void StartCalculation();
    void PauseCalculation();
    void StopCalculation();
    bool Calculating() const { return bool(FWorker); }
    // 0 done, 1 stopped, 2 failed; -1 before the first calculation ended.
    int LastResult() const { return FLastResult; }

    // The point query at world coordinates, as a click on the map makes it.
    void QueryPoint(double x, double y);
    // The query's lines as "tag<TAB>text".
    const QStringList &QueryLines() const { return FQueryLines; }
    void CopyQuery();

    void OpenGridFile(const QString &fileName);
    void OpenColourScale(const QString &fileName);
    void SaveColourScale(const QString &fileName);
    // The palette editor; true when the user closed it with OK.
    bool EditPalette();
    void SetBandColour(int band, int farbNr);

    void SaveLogBook(const QString &fileName);
    void LoadLogBook(const QString &fileName);
    void PrintLogBook(const QString &pdfFileName);

    void RefreshFiles();
    QString WorkFolder() const { return FWorkFolder; }

    TMapView *Map() const { return FMap; }
    TLegend *Legend() const { return FLegend; }
    wn::TFarbArray &Palette() const { return *FPalette; }
    wn::TFileListView *Files() const { return FFiles; }
    wn::TValueGrid *Values() const { return FValues; }
    wn::TKVLogBook *LogBook() const { return FLog; }
    wn::TItemNavigator *ChannelNavigator() const { return FChannelNav; }
    wn::TPlayButtons *Player() const { return FPlayer; }

signals:
    void CalculationFinished(int result);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    QWidget *MakeParameters();
    QWidget *MakeMapArea();
    QWidget *MakeBottom();
    void LogEvent(const QString &text, wn::TLogStatus kind, std::int32_t context);
    void AddLogLine(const QString &text, wn::TLogStatus kind);
    void DrainLog();
    void ChannelShown();
    void LoadSettings();
    void SaveSettings();
    void ShowError(const QString &text);
    QString AskFile(bool save, const QString &title, const QString &filter, const QString &ext);

    QString FWorkFolder;
    std::unique_ptr<wn::TMyIniFile> FIni;
    std::unique_ptr<wn::TFarbArray> FPalette;
    std::unique_ptr<TNoiseCalculation> FWorker;
    wn::TLog_Event FPreviousLog;
    std::atomic<bool> FPaused{false};
    int FLastResult = -1;
    QStringList FQueryLines;
    int FQueryCount = 0;

    wn::TSpinEditReal *FSpacing, *FWidth, *FHeight;
    wn::TFloatEdit *FRoadPower, *FFactoryPower, *FBarrier;
    wn::TPlayButtons *FPlayer;
    QProgressBar *FProgress;
    wn::TFileListView *FFiles;
    TMapView *FMap;
    TLegend *FLegend;
    wn::TItemNavigator *FChannelNav, *FZNav;
    QLabel *FChannelLabel, *FZLabel, *FQueryTitle;
    wn::TKVLogBook *FLog;
    wn::TValueGrid *FValues;
    QTimer *FDrain;
};

} // namespace wndemo
