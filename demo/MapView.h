#pragma once
// The map of the workbench: one channel of a grid result file drawn as a raster of level bands,
// each band a palette number coloured through the palette, and the legend beside it.
#include <QImage>
#include <QList>
#include <QPixmap>
#include <QPointF>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <vector>

class QGridLayout;
class QLabel;

namespace wn {
class TFarbArray;
class TFarbFeld;
} // namespace wn

namespace wndemo {

// A level band: from its lower bound (the first band takes everything below the second) up to
// the next band's, drawn in palette entry FarbNr.
struct TLevelBand {
    double From;
    int FarbNr;
};

// The workbench's bands: below 35, then 5 dB steps up to 80 and above, in palette entries
// 201..211, which SetNoiseColours fills with the usual noise-map colours.
std::vector<TLevelBand> DefaultBands();
void SetNoiseColours(wn::TFarbArray &palette);

// A channel of a grid file: H k (W1 = 0), W1 i alone (W2 = 0), or W1 i under W2 j.
struct TChannel {
    int H = 0, W1 = 0, W2 = 0;
    QString Name; // "Lday [dB(A)]", "Road / night [dB(A)]"
};

class TMapView : public QWidget
{
    Q_OBJECT
public:
    TMapView(wn::TFarbArray &palette, QWidget *parent = nullptr);

    // Opens the file's structure and draws its first channel; an empty name clears the map.
    // Raises for a file that is not a grid file.
    void SetGridFile(const QString &fileName);
    const QString &GridFile() const { return FFileName; }
    const QList<TChannel> &Channels() const { return FChannels; }
    int Channel() const { return FChannel; }
    void SetChannel(int index);
    QStringList ZLevels() const { return FZLevels; }

    const std::vector<TLevelBand> &Bands() const { return FBands; }
    void SetBandColour(int band, int farbNr);
    // After the palette itself changed.
    void PaletteChanged();

    // Where the raster is drawn; empty without one.
    QRect MapRect() const;
    // World coordinates of a widget position and back; false off the map.
    bool ToWorld(QPoint pos, double &x, double &y) const;
    QPoint ToWidget(double x, double y) const;
    // Numbered marks of the queried points.
    void AddMark(double x, double y);
    void ClearMarks();

    // The raster as read, one band index per node (row 0 north); for checks.
    const QImage &Raster() const { return FRaster; }

signals:
    void PointClicked(double x, double y);
    void ChannelChanged(int index);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void ReadRaster();
    void UpdateColours();

    wn::TFarbArray &FPalette;
    QString FFileName;
    QList<TChannel> FChannels;
    QStringList FZLevels;
    int FChannel = -1;
    std::vector<TLevelBand> FBands;
    QImage FRaster; // Indexed8: the colour table is the bands' colours
    QPixmap FScaled;
    double FX0 = 0, FY0 = 0, FX1 = 0, FY1 = 0;
    QList<QPointF> FMarks;
};

// The legend: a colour field and the level range of every band, the highest band on top. A
// click on a field (or Enter or Space on it) opens the palette to pick another colour for the band.
class TLegend : public QWidget
{
    Q_OBJECT
public:
    TLegend(wn::TFarbArray &palette, QWidget *parent = nullptr);
    void SetBands(const std::vector<TLevelBand> &bands, const QString &unit);
    // After the palette itself changed.
    void PaletteChanged();
    // The colour field of a band.
    wn::TFarbFeld *Field(int band) const { return FFields.value(band); }

signals:
    void BandColourPicked(int band, int farbNr);

private:
    wn::TFarbArray &FPalette;
    QLabel *FUnit;
    QGridLayout *FGrid;
    QList<wn::TFarbFeld *> FFields;
    QList<QLabel *> FTexts;
};

} // namespace wndemo
