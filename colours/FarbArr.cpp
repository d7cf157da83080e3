#include "colours/FarbArr.h"

#include "framework/Exceptions.h"
#include "grid/FileIO.h"

#include <QBrush>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QPen>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace wn {

namespace {

constexpr int cOldRecordSize = 6;
const QString cOldPaletteName = QStringLiteral("PlotFarb.dat");

struct TDefaultEntry {
    int Nr;
    std::uint8_t R, G, B;
};

// Grey ramp 1-7; six hues dark to light 8-37; browns and oranges 38-43 (43 repeats 40 on
// purpose); the sixteen-step level scale 81-96.
constexpr TDefaultEntry cDefaultPalette[] = {
    {1, 0, 0, 0},        {2, 50, 50, 50},     {3, 100, 100, 100}, {4, 150, 150, 150}, {5, 180, 180, 180},
    {6, 220, 220, 220},  {7, 255, 255, 255},  {8, 120, 0, 0},     {9, 200, 0, 0},     {10, 255, 0, 0},
    {11, 255, 120, 120}, {12, 255, 200, 200}, {13, 0, 120, 0},    {14, 0, 200, 0},    {15, 0, 255, 0},
    {16, 120, 255, 120}, {17, 200, 255, 200}, {18, 0, 0, 120},    {19, 0, 0, 200},    {20, 0, 0, 255},
    {21, 120, 120, 255}, {22, 200, 200, 255}, {23, 120, 120, 0},  {24, 200, 200, 0},  {25, 255, 255, 0},
    {26, 255, 255, 120}, {27, 255, 255, 200}, {28, 120, 0, 120},  {29, 200, 0, 200},  {30, 255, 0, 255},
    {31, 255, 120, 255}, {32, 255, 200, 255}, {33, 0, 120, 120},  {34, 0, 200, 200},  {35, 0, 255, 255},
    {36, 120, 255, 255}, {37, 200, 255, 255}, {38, 120, 60, 0},   {39, 160, 80, 0},   {40, 200, 100, 0},
    {41, 255, 150, 0},   {42, 255, 200, 120}, {43, 200, 100, 0},  {81, 0, 120, 0},    {82, 51, 147, 0},
    {83, 102, 174, 0},   {84, 153, 201, 0},   {85, 204, 228, 0},  {86, 255, 255, 0},  {87, 246, 212, 0},
    {88, 237, 170, 0},   {89, 227, 128, 0},   {90, 218, 85, 0},   {91, 209, 42, 0},   {92, 200, 0, 0},
    {93, 150, 0, 30},    {94, 100, 0, 60},    {95, 50, 0, 90},    {96, 0, 0, 120},
};

bool ValidNr(int Nr)
{
    return Nr >= 1 && Nr <= cFarbCount;
}

// Where entry Nr's red byte lies in the record; green and blue follow it.
std::size_t Offset(int Nr)
{
    return std::size_t(3 * (Nr - 1));
}

// Half-way cases go to the even neighbour (the default rounding mode).
int RoundEven(double value)
{
    return int(std::nearbyint(value));
}

std::uint8_t IntensWith(std::uint8_t C, float Intensity)
{
    // Compared in double: 1 % is stored as a float just below 0.01 and must count as no change.
    if (std::fabs(double(Intensity)) < 0.01)
        return C;
    // A float times a byte is exact in double, so the half-way cases round as they should.
    if (Intensity >= 0)
        return std::uint8_t(std::clamp(RoundEven(C + (255.0 - C) * double(Intensity)), 0, 255));
    return std::uint8_t(std::clamp(RoundEven(C + C * double(Intensity)), 0, 255));
}

// Percent / 100 as the single-precision fraction the palette keeps; the quotient is formed in
// extended precision first, as the old program did.
float Fraction(double Percent)
{
    return float(static_cast<long double>(Percent) / 100.0L);
}

// The intensity that SetColorIntens takes from Percent.
float IntensityOf(double Percent)
{
    return Percent >= -100.001 && Percent <= 100.001 ? Fraction(Percent) : 0.0f;
}

} // namespace

TFarbArray::TFarbArray(QObject *Owner) : QObject(Owner)
{
    UpdateAllDisplay();
}

TFarbArray::~TFarbArray() = default;

bool TFarbArray::IsGap(int Nr) const
{
    const std::size_t i = Offset(Nr);
    return FColors[i] == 0 && FColors[i + 1] == 0 && FColors[i + 2] == 0;
}

TColor TFarbArray::ColorAt(std::uint8_t R, std::uint8_t G, std::uint8_t B, float Intensity) const
{
    int c[3] = {IntensWith(R, Intensity), IntensWith(G, Intensity), IntensWith(B, Intensity)};
    if (double(FGrayed) > 0.001) {
        const int m = RoundEven((c[0] + c[1] + c[2]) / 3.0);
        for (int &v : c) {
            if (v <= m)
                v += RoundEven((m - v) * double(FGrayed));
            else
                v -= RoundEven((v - m) * double(FGrayed));
        }
    }
    return TColor(c[0]) + TColor(c[1]) * 256u + TColor(c[2]) * 65536u;
}

TColor TFarbArray::DisplayOf(int Nr) const
{
    if (IsGap(Nr))
        return GetBlack();
    const std::size_t i = Offset(Nr);
    return ColorAt(FColors[i], FColors[i + 1], FColors[i + 2], FIntens);
}

void TFarbArray::UpdateDisplay(int Nr)
{
    FDisplay[std::size_t(Nr)] = DisplayOf(Nr);
    const std::size_t i = Offset(Nr);
    FRed[std::size_t(Nr - 1)] = FColors[i];
    FGreen[std::size_t(Nr - 1)] = FColors[i + 1];
    FBlue[std::size_t(Nr - 1)] = FColors[i + 2];
}

void TFarbArray::UpdateAllDisplay()
{
    for (std::size_t n = 0; n < FDisplay.size(); ++n)
        FDisplay[n] = TColor(n);
    for (int nr = 1; nr <= cFarbCount; ++nr)
        UpdateDisplay(nr);
}

void TFarbArray::SetRGB(int Nr, std::uint8_t R, std::uint8_t G, std::uint8_t B)
{
    if (!ValidNr(Nr))
        return;
    const std::size_t i = Offset(Nr);
    FColors[i] = R;
    FColors[i + 1] = G;
    FColors[i + 2] = B;
    FModified = true;
    UpdateDisplay(Nr);
}

void TFarbArray::GetRGB(int Nr, std::uint8_t &R, std::uint8_t &G, std::uint8_t &B) const
{
    if (!ValidNr(Nr))
        return;
    const std::size_t i = Offset(Nr);
    R = FColors[i];
    G = FColors[i + 1];
    B = FColors[i + 2];
}

TColor TFarbArray::GetColor(std::uint8_t R, std::uint8_t G, std::uint8_t B) const
{
    return ColorAt(R, G, B, FIntens);
}

std::uint8_t TFarbArray::Intens(std::uint8_t C) const
{
    return IntensWith(C, FIntens);
}

void TFarbArray::SetColorIntens(double Percent)
{
    FIntens = IntensityOf(Percent);
    UpdateAllDisplay();
}

void TFarbArray::SetBlack(double Percent)
{
    // 2.55 * 50 is 127.5 only when formed in extended precision; in double it falls just short
    // and would round the other way.
    FBlack = Percent >= 1 && Percent <= 100.001 ? int(std::nearbyintl(2.55L * Percent)) : 0;
    UpdateAllDisplay();
}

void TFarbArray::SetGrayed(double Percent)
{
    FGrayed = Percent >= 1 && Percent <= 100.001 ? Fraction(Percent) : 0.0f;
    UpdateAllDisplay();
}

TColor TFarbArray::GetIntensRGB(int Nr, double Percent) const
{
    if (Percent < 0.01 || !ValidNr(Nr))
        return GetRGBFarbe(Nr);
    std::uint8_t r = std::uint8_t(FBlack), g = r, b = r;
    if (!IsGap(Nr)) {
        const std::size_t i = Offset(Nr);
        r = Intens(FColors[i]);
        g = Intens(FColors[i + 1]);
        b = Intens(FColors[i + 2]);
    }
    return ColorAt(r, g, b, IntensityOf(Percent));
}

void TFarbArray::CalcRGB(int Nr)
{
    if (!ValidNr(Nr))
        return;
    int k = 0;
    while (Nr - 1 - k >= 1 && IsGap(Nr - 1 - k))
        ++k;
    if (k == 0)
        return;
    const int base = Nr - 1 - k;
    for (int channel = 0; channel < 3; ++channel) {
        const int top = FColors[Offset(Nr) + std::size_t(channel)];
        const int bottom = base >= 1 ? FColors[Offset(base) + std::size_t(channel)] : 0;
        for (int m = 1; m <= k; ++m) {
            const int v = RoundEven(double(m * (top - bottom)) / (k + 1) + bottom);
            FColors[Offset(base + m) + std::size_t(channel)] = std::uint8_t(v);
        }
    }
    for (int m = 1; m <= k; ++m)
        UpdateDisplay(base + m);
    FModified = true;
}

int TFarbArray::GetNearestFarbNr(int R, int G, int B) const
{
    // The smallest tolerance at which an entry matches is that entry's largest channel
    // difference. Ranking the entries by (difference, number) therefore finds what the search
    // over rising tolerances finds; both go into one key, so a single minimum over the entries
    // does it, without branches.
    if (R >= 0 && R <= 255 && G >= 0 && G <= 255 && B >= 0 && B <= 255) {
        std::int32_t best = std::numeric_limits<std::int32_t>::max();
        for (std::size_t i = 0; i < std::size_t(cFarbCount); ++i) {
            const std::int32_t d =
                std::max({std::abs(R - FRed[i]), std::abs(G - FGreen[i]), std::abs(B - FBlue[i])});
            best = std::min(best, (d << 8) | std::int32_t(i + 1));
        }
        return best & 0xFF;
    }
    // Colours off the byte range may have no entry within the largest tolerance.
    std::int64_t best = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < std::size_t(cFarbCount); ++i) {
        const std::int64_t d =
            std::max({std::llabs(std::int64_t(R) - FRed[i]), std::llabs(std::int64_t(G) - FGreen[i]),
                      std::llabs(std::int64_t(B) - FBlue[i])});
        best = std::min(best, d * 256 + std::int64_t(i + 1));
    }
    return best / 256 <= 255 ? int(best % 256) : 0;
}

QColor TFarbArray::RawColor(int Nr) const
{
    const std::size_t i = Offset(Nr);
    return QColor(FColors[i], FColors[i + 1], FColors[i + 2]);
}

void TFarbArray::SetPenColor(int Nr)
{
    if (!FCanvas || !ValidNr(Nr))
        return;
    QPen pen = FCanvas->pen();
    pen.setColor(RawColor(Nr));
    FCanvas->setPen(pen);
}

void TFarbArray::SetBrushColor(int Nr)
{
    if (!FCanvas || !ValidNr(Nr))
        return;
    QBrush brush = FCanvas->brush();
    // A colour on a clear brush means the caller wants to fill with it.
    if (brush.style() == Qt::NoBrush)
        brush.setStyle(Qt::SolidPattern);
    brush.setColor(RawColor(Nr));
    FCanvas->setBrush(brush);
}

void TFarbArray::InitFarben()
{
    for (const TDefaultEntry &e : cDefaultPalette)
        SetRGB(e.Nr, e.R, e.G, e.B);
}

void TFarbArray::LoadColors(const QString &FileName)
{
    if (FileName.isEmpty() || !QFileInfo(FileName).isFile())
        return;
    TFileIO io;
    QString comment;
    std::int32_t version = 0;
    io.OpenHeader(FileName, comment, version);
    LoadCol(io);
    io.Close();
    FModified = false;
}

void TFarbArray::SaveColors(const QString &FileName)
{
    if (FileName.isEmpty())
        return;
    TFileIO io;
    io.MakeHeader(FileName, QString(), cFarbFileVersion);
    SaveCol(io);
    io.Close();
    if (io.Error())
        throw EInOutError::FromErrno(cInOutDiskWriteError, FileName);
    FModified = false;
    FDateiname = FileName;
}

void TFarbArray::LoadCol(TFileIO &FileIO)
{
    FileIO.read_IDdata(cFarbRecordID, std::int32_t(FColors.size()), FColors.data());
    UpdateAllDisplay();
}

void TFarbArray::SaveCol(TFileIO &FileIO)
{
    FileIO.write_data(cFarbRecordID, std::uint32_t(FColors.size()), FColors.data());
}

void TFarbArray::ImportOldColors(const QString &FileName)
{
    QFile file(FileName);
    CheckFileOp(file, EIO, [&] { return file.open(QIODevice::ReadOnly); });
    // Only the first 240 records count, so never read more than they need.
    const QByteArray bytes = file.read(qint64(cOldRecordSize) * cFarbCount);
    const int records = int(bytes.size() / cOldRecordSize);
    for (int k = 1; k <= records; ++k) {
        const char *record = bytes.constData() + (k - 1) * cOldRecordSize;
        const std::size_t i = Offset(k);
        FColors[i] = std::uint8_t(record[3]);
        FColors[i + 1] = std::uint8_t(record[4]);
        FColors[i + 2] = std::uint8_t(record[5]);
    }
    FModified = true;
    UpdateAllDisplay();
}

void TFarbArray::SetDateiname(const QString &Name)
{
    FDateiname = Name;
    if (Name.isEmpty())
        return;
    if (!QFileInfo(Name).isFile()) {
        InitFarben();
    } else if (Name.right(cOldPaletteName.size()).compare(cOldPaletteName, Qt::CaseInsensitive) == 0) {
        ImportOldColors(Name);
        FDateiname.clear();
    } else {
        LoadColors(Name);
    }
}

void TFarbArray::Assign(const TFarbArray &Source)
{
    if (&Source == this)
        return;
    FColors = Source.FColors;
    FDateiname = Source.FDateiname;
    FCanvas = Source.FCanvas;
    FModified = Source.FModified;
    FIntens = Source.FIntens;
    FBlack = Source.FBlack;
    UpdateAllDisplay();
}

std::unique_ptr<TFarbArray> TFarbArray::Copy() const
{
    auto copy = std::make_unique<TFarbArray>();
    copy->Assign(*this);
    return copy;
}

} // namespace wn
