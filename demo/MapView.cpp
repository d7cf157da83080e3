// The workbench's map and legend.
#include "MapView.h"

#include "colours/FarbArr.h"
#include "colours/KFarbArr.h"
#include "framework/Exceptions.h"
#include "framework/Graphics.h"
#include "grid/KVRasterNeu.h"

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <functional>

namespace wndemo {

using namespace wn;

namespace {

constexpr int cFirstFarbNr = 201;
constexpr double cLowest = 35.0, cStep = 5.0;
constexpr int cBandCount = 11;
// Rows read at a time while drawing: a 2,000-column file needs about 2 MB for them.
constexpr int cReadRows = 64;
constexpr int cMargin = 8;
constexpr int cSwatch = 18;

const unsigned char cNoiseColours[cBandCount][3] = {
    {205, 232, 200}, {150, 205, 125}, {70, 165, 70},  {250, 235, 110}, {240, 195, 65}, {240, 140, 45},
    {225, 60, 45},   {185, 25, 65},   {135, 35, 115}, {80, 45, 150},   {40, 40, 110}};

QRgb BandColour(const TFarbArray &palette, int farbNr)
{
    return ColorToQColor(palette.GetRGBFarbe(farbNr)).rgb();
}

QString LevelText(double v)
{
    return QString::number(v, 'f', 0);
}

} // namespace

std::vector<TLevelBand> DefaultBands()
{
    std::vector<TLevelBand> bands;
    for (int i = 0; i < cBandCount; ++i)
        bands.push_back({i == 0 ? -1e30 : cLowest + (i - 1) * cStep, cFirstFarbNr + i});
    return bands;
}

void SetNoiseColours(TFarbArray &palette)
{
    for (int i = 0; i < cBandCount; ++i)
        palette.SetRGB(cFirstFarbNr + i, cNoiseColours[i][0], cNoiseColours[i][1], cNoiseColours[i][2]);
}

TMapView::TMapView(TFarbArray &palette, QWidget *parent)
    : QWidget(parent), FPalette(palette), FBands(DefaultBands())
{
    setMinimumSize(320, 240);
    setCursor(Qt::CrossCursor);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
}

void TMapView::SetGridFile(const QString &fileName)
{
    FChannels.clear();
    FZLevels.clear();
    FMarks.clear();
    FChannel = -1;
    FRaster = QImage();
    FFileName.clear();
    if (!fileName.isEmpty()) {
        TRKFile f(fileName);
        f.OpenGridFileReadOnly();
        if (!f.ReadGridStructure() || f.Struktur.Columns < 2 || f.Struktur.Rows < 2)
            throw Exception(QStringLiteral("%1 is not a grid file").arg(fileName));
        f.GetKoordMinMax(FX0, FY0, FX1, FY1);
        f.ReadAllNames();
        const auto unit = [](const TInfoItem &i) { return QStringLiteral(" [%1]").arg(i.Unit); };
        for (int k = 1; k <= int(f.HList.size()); ++k)
            FChannels.append({k, 0, 0, f.GetHInfo(k)->Name + unit(*f.GetHInfo(k))});
        for (int i = 1; i <= int(f.W1List.size()); ++i) {
            const TInfoItem &w1 = *f.GetW1Info(i);
            if (f.Struktur.TypeW1 != cwtNone)
                FChannels.append({0, i, 0, w1.Name + unit(w1)});
            for (int j = 1; j <= int(f.W2List.size()); ++j)
                FChannels.append(
                    {0, i, j, w1.Name + QStringLiteral(" / ") + f.GetW2Info(j)->Name + unit(w1)});
        }
        for (int z = 1; z <= int(f.ZList.size()); ++z)
            FZLevels.append(f.GetZInfo(z)->Name);
        FFileName = fileName;
    }
    SetChannel(FChannels.isEmpty() ? -1 : 0);
}

void TMapView::SetChannel(int index)
{
    FChannel = index >= 0 && index < FChannels.size() ? index : -1;
    ReadRaster();
    emit ChannelChanged(FChannel);
}

void TMapView::ReadRaster()
{
    FRaster = QImage();
    FScaled = QPixmap();
    if (FChannel >= 0) {
        const TChannel &ch = FChannels[FChannel];
        TRKFile f(FFileName);
        f.OpenGridFileReadOnly();
        f.ReadGridStructure();
        f.ReadAllNames();
        const auto &st = f.Struktur;
        const std::int64_t size = f.GetDataSize();
        std::uint8_t type;
        std::int64_t pos;
        const TInfoItem *item;
        if (ch.H) {
            type = st.TypeH;
            pos = 1 + std::int64_t(ch.H - 1) * WertSizeOf(st.TypeH);
            item = f.GetHInfo(ch.H);
        } else {
            type = ch.W2 ? st.TypeW2 : st.TypeW1;
            pos = f.GetDataPos(ch.W1, ch.W2);
            item = f.GetW1Info(ch.W1);
        }
        // W values carry the scaling of their W1 channel, under every W2 channel alike.
        const float offset = item->Offset, factor = item->Factor;
        const int cols = st.Columns, rows = st.Rows;
        FRaster = QImage(cols, rows, QImage::Format_Indexed8);
        std::vector<std::uint8_t> block(std::size_t(size * cols * cReadRows));
        std::vector<double> bounds;
        for (std::size_t b = 1; b < FBands.size(); ++b)
            bounds.push_back(FBands[b].From);
        for (int r0 = 1; r0 <= rows; r0 += cReadRows) {
            const int n = std::min(cReadRows, rows - r0 + 1);
            f.ReadDataBlock(1, r0, cols, n, block.data());
            const std::int64_t high = size * cols * n - 1;
            for (int r = 0; r < n; ++r) {
                // Row 1 lies in the south, at the image's bottom.
                uchar *line = FRaster.scanLine(rows - (r0 + r));
                for (int c = 0; c < cols; ++c) {
                    const float v = TRKFile::GetVal(
                        block.data(), high, (std::int64_t(r) * cols + c) * size + pos, type, offset, factor);
                    line[c] =
                        uchar(std::upper_bound(bounds.begin(), bounds.end(), double(v)) - bounds.begin());
                }
            }
        }
        UpdateColours();
    }
    update();
}

void TMapView::UpdateColours()
{
    if (FRaster.isNull())
        return;
    QList<QRgb> table;
    for (const TLevelBand &b : FBands)
        table.append(BandColour(FPalette, b.FarbNr));
    FRaster.setColorTable(table);
    FScaled = QPixmap();
    update();
}

void TMapView::SetBandColour(int band, int farbNr)
{
    if (band < 0 || band >= int(FBands.size()))
        return;
    FBands[std::size_t(band)].FarbNr = farbNr;
    UpdateColours();
}

void TMapView::PaletteChanged()
{
    UpdateColours();
}

QRect TMapView::MapRect() const
{
    if (FRaster.isNull())
        return QRect();
    const QRect area = rect().adjusted(cMargin, cMargin, -cMargin, -cMargin - 18);
    const QSize s = FRaster.size().scaled(area.size(), Qt::KeepAspectRatio);
    return QRect(
        QPoint(area.left() + (area.width() - s.width()) / 2, area.top() + (area.height() - s.height()) / 2),
        s);
}

bool TMapView::ToWorld(QPoint pos, double &x, double &y) const
{
    const QRect m = MapRect();
    if (!m.contains(pos))
        return false;
    x = FX0 + (pos.x() - m.left() + 0.5) / m.width() * (FX1 - FX0);
    y = FY1 - (pos.y() - m.top() + 0.5) / m.height() * (FY1 - FY0);
    return true;
}

QPoint TMapView::ToWidget(double x, double y) const
{
    const QRect m = MapRect();
    return QPoint(m.left() + int(std::lround((x - FX0) / (FX1 - FX0) * m.width())),
                  m.top() + int(std::lround((FY1 - y) / (FY1 - FY0) * m.height())));
}

void TMapView::AddMark(double x, double y)
{
    FMarks.append(QPointF(x, y));
    update();
}

void TMapView::ClearMarks()
{
    FMarks.clear();
    update();
}

void TMapView::resizeEvent(QResizeEvent *)
{
    FScaled = QPixmap();
}

void TMapView::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    if (FRaster.isNull()) {
        p.setPen(palette().color(QPalette::PlaceholderText));
        p.drawText(rect(), Qt::AlignCenter, tr("No grid file: start a calculation or open a grid file"));
        return;
    }
    const QRect m = MapRect();
    if (FScaled.size() != m.size())
        FScaled = QPixmap::fromImage(FRaster.scaled(m.size(), Qt::IgnoreAspectRatio, Qt::FastTransformation));
    p.drawPixmap(m.topLeft(), FScaled);
    p.setPen(palette().color(QPalette::WindowText));
    p.drawRect(m.adjusted(0, 0, -1, -1));

    // A scale bar of a round length near a fifth of the map's width.
    const double metres = (FX1 - FX0) / 5;
    const double step = std::pow(10.0, std::floor(std::log10(metres)));
    const double length = metres >= 5 * step ? 5 * step : metres >= 2 * step ? 2 * step : step;
    const int px = int(length / (FX1 - FX0) * m.width());
    const int y = m.bottom() + 12;
    p.drawLine(m.left(), y, m.left() + px, y);
    p.drawLine(m.left(), y - 3, m.left(), y + 3);
    p.drawLine(m.left() + px, y - 3, m.left() + px, y + 3);
    p.drawText(QRect(m.left() + px + 6, y - 8, 120, 16), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("%1 m").arg(length));
    p.drawText(QRect(m.right() - 300, y - 8, 300, 16), Qt::AlignRight | Qt::AlignVCenter,
               QStringLiteral("%1, %2").arg(FX0, 0, 'f', 0).arg(FY0, 0, 'f', 0));

    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < FMarks.size(); ++i) {
        const QPoint c = ToWidget(FMarks[i].x(), FMarks[i].y());
        p.setPen(QPen(Qt::black, 2));
        p.setBrush(Qt::white);
        p.drawEllipse(c, 5, 5);
        QFont f = font();
        f.setBold(true);
        p.setFont(f);
        const QRect label(c.x() + 7, c.y() - 18, 24, 16);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(255, 255, 255, 210));
        p.drawRoundedRect(label.adjusted(-1, 0, 0, 0), 3, 3);
        p.setPen(Qt::black);
        p.drawText(label, Qt::AlignCenter, QString::number(i + 1));
    }
}

void TMapView::mouseReleaseEvent(QMouseEvent *event)
{
    double x, y;
    if (event->button() == Qt::LeftButton && ToWorld(event->position().toPoint(), x, y))
        emit PointClicked(x, y);
}

namespace {

// A band's colour field: tells the legend when the user picked another colour, by mouse or key.
class TBandField : public TFarbFeld
{
public:
    TBandField(std::function<void(int)> picked, QWidget *parent)
        : TFarbFeld(parent), FPicked(std::move(picked))
    {
        setFixedSize(2 * cSwatch, cSwatch);
    }

protected:
    void Click() override
    {
        TFarbFeld::Click();
        Tell();
    }
    void KeyDown(std::uint16_t &Key, TShiftState Shift) override
    {
        TFarbFeld::KeyDown(Key, Shift);
        Tell();
    }

private:
    void Tell()
    {
        if (!Modified())
            return;
        SetModified(false);
        FPicked(Farbe());
    }

    std::function<void(int)> FPicked;
};

} // namespace

TLegend::TLegend(TFarbArray &palette, QWidget *parent) : QWidget(parent), FPalette(palette)
{
    auto *v = new QVBoxLayout(this);
    v->setContentsMargins(4, 0, 4, 0);
    FUnit = new QLabel;
    QFont bold = FUnit->font();
    bold.setBold(true);
    FUnit->setFont(bold);
    v->addWidget(FUnit);
    FGrid = new QGridLayout;
    FGrid->setHorizontalSpacing(8);
    FGrid->setVerticalSpacing(4);
    v->addLayout(FGrid);
}

void TLegend::SetBands(const std::vector<TLevelBand> &bands, const QString &unit)
{
    FUnit->setText(unit);
    const int n = int(bands.size());
    while (FFields.size() < n) {
        const int band = int(FFields.size());
        auto *field = new TBandField([this, band](int farbNr) { emit BandColourPicked(band, farbNr); }, this);
        field->SetFarbArray(&FPalette);
        field->setToolTip(tr("Click to pick another colour"));
        auto *text = new QLabel;
        FFields.append(field);
        FTexts.append(text);
    }
    while (FFields.size() > n) {
        delete FFields.takeLast();
        delete FTexts.takeLast();
    }
    for (int b = 0; b < n; ++b) {
        // The highest band on top.
        FGrid->addWidget(FFields[b], n - 1 - b, 0);
        FGrid->addWidget(FTexts[b], n - 1 - b, 1);
        FFields[b]->SetFarbe(bands[std::size_t(b)].FarbNr);
        QString text;
        if (b == 0)
            text = tr("below %1").arg(LevelText(bands[1].From));
        else if (b + 1 == n)
            text = tr("%1 and above").arg(LevelText(bands[std::size_t(b)].From));
        else
            text = QStringLiteral("%1 - %2").arg(LevelText(bands[std::size_t(b)].From),
                                                 LevelText(bands[std::size_t(b) + 1].From));
        FTexts[b]->setText(text);
    }
}

void TLegend::PaletteChanged()
{
    for (TFarbFeld *f : FFields)
        f->ShowFarbe();
}

} // namespace wndemo
