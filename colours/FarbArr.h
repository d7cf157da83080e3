#pragma once
// FarbArr: the 240-entry colour palette (colour scale) with which the suite draws its maps, its
// colour-scale file (*.SGC) and the import of the older "PlotFarb.dat" palette file.
//
// Reading a colour-scale file never throws once the file is open: errors inside the tagged
// record file end the load quietly with whatever was read. Opening a file that exists but cannot
// be read, importing a "PlotFarb.dat" that cannot be opened, and a save that cannot be completed
// raise EInOutError.

#include "framework/ComponentState.h"
#include "framework/Graphics.h"
#include "wn_export.h"

#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <memory>

class QColor;
class QPainter;

namespace wn {

class TFileIO;

// Version stored in the header of a colour-scale file.
constexpr std::int32_t cFarbFileVersion = 19970901;
// Identifier of the palette record in a tagged record file.
constexpr std::uint16_t cFarbRecordID = 70;
constexpr int cFarbCount = 240;

class WN_EXPORT TFarbArray : public QObject, public TComponentState
{
    Q_OBJECT
    // The palette's file; assigning it loads the file (see SetDateiname). No default.
    Q_PROPERTY(QString Dateiname READ Dateiname WRITE SetDateiname)

public:
    explicit TFarbArray(QObject *Owner = nullptr);
    ~TFarbArray() override;

    // Entries are numbered 1..240; other numbers are ignored (GetRGB leaves its outputs alone).
    void SetRGB(int Nr, std::uint8_t R, std::uint8_t G, std::uint8_t B);
    void GetRGB(int Nr, std::uint8_t &R, std::uint8_t &G, std::uint8_t &B) const;

    // Display colour of entry Nr with intensity, greying and the black level applied; a number
    // outside 1..240 is returned as the colour value itself. Hosts call this once per map cell,
    // so it reads a table kept up to date by every change.
    TColor GetRGBFarbe(int Nr) const
    {
        // Written without a branch: a map of Integers costs a mask, not a jump per cell.
        const TColor outside = TColor(0) - TColor(unsigned(Nr) >= FDisplay.size());
        return (FDisplay[std::size_t(Nr) & 0xFF] & ~outside) | (TColor(Nr) & outside);
    }
    TColor GetFarbe(int Nr) const { return GetRGBFarbe(Nr); }
    // Display colour of a triple under the current intensity and greying.
    TColor GetColor(std::uint8_t R, std::uint8_t G, std::uint8_t B) const;
    // The grey (black, black, black) shown for entries (0, 0, 0).
    TColor GetBlack() const { return TColor(FBlack) * 65793u; }
    // One channel under the current intensity.
    std::uint8_t Intens(std::uint8_t C) const;

    // Intensity = Percent / 100 for -100.001 <= Percent <= 100.001, else 0.
    void SetColorIntens(double Percent);
    // Black level = round(2.55 * Percent) for 1 <= Percent <= 100.001, else 0.
    void SetBlack(double Percent);
    // Grey fraction = Percent / 100 for 1 <= Percent <= 100.001, else 0.
    void SetGrayed(double Percent);
    // Entry Nr as drawn at intensity Percent: the current intensity is applied to the entry and
    // then Percent on top of it (the old editors show their intensity preview this way).
    TColor GetIntensRGB(int Nr, double Percent) const;

    // Fills the run of (0, 0, 0) entries just below Nr by linear interpolation up to entry Nr.
    void CalcRGB(int Nr);
    // The entry whose largest channel difference to (R, G, B) is smallest, the lowest number
    // among equals; 0 when no entry lies within 255 on every channel.
    int GetNearestFarbNr(int R, int G, int B) const;

    // Pen or brush colour of the target canvas := the raw bytes of entry Nr (no intensity,
    // greying or black level). Nothing happens without a canvas or for Nr outside 1..240.
    void SetPenColor(int Nr);
    void SetBrushColor(int Nr);

    // Sets the entries of the default palette; the others keep their values.
    void InitFarben();
    // The colour-scale file. Empty names do nothing; LoadColors also ignores a missing file.
    void LoadColors(const QString &FileName);
    void SaveColors(const QString &FileName);
    // Only the palette record, in a tagged record file the caller has open.
    void LoadCol(TFileIO &FileIO);
    void SaveCol(TFileIO &FileIO);
    // Reads an old "PlotFarb.dat" palette: 6-byte records, red, green, blue in bytes 3..5.
    void ImportOldColors(const QString &FileName);

    QString Dateiname() const { return FDateiname; }
    // Stores Name and loads it: a missing file gives the default palette (the name stays), a name
    // ending in "PlotFarb.dat" (any letter case) is imported and the name cleared again so that a
    // later save must choose a new file, any other file is loaded as a colour-scale file.
    void SetDateiname(const QString &Name);

    // Copies the colours, file name, target canvas, modified flag, intensity and black level;
    // the grey fraction stays as it is.
    void Assign(const TFarbArray &Source);
    // A new palette without owner, assigned from this one.
    std::unique_ptr<TFarbArray> Copy() const;

    QPainter *Canvas() const { return FCanvas; }
    void SetCanvas(QPainter *Canvas) { FCanvas = Canvas; }
    bool Modified() const { return FModified; }
    void SetModified(bool Value) { FModified = Value; }
    float ColorIntens() const { return FIntens; }
    float Grayed() const { return FGrayed; }
    std::int32_t Black() const { return FBlack; }

private:
    TColor ColorAt(std::uint8_t R, std::uint8_t G, std::uint8_t B, float Intensity) const;
    QColor RawColor(int Nr) const;
    TColor DisplayOf(int Nr) const;
    void UpdateDisplay(int Nr);
    void UpdateAllDisplay();
    bool IsGap(int Nr) const;

    QString FDateiname;
    QPainter *FCanvas = nullptr;
    bool FModified = false;
    float FIntens = 0;
    float FGrayed = 0;
    std::int32_t FBlack = 0;
    // Entry n (1..240) at bytes 3(n-1)..3(n-1)+2: red, green, blue; the file's record 70 as is.
    std::array<std::uint8_t, 3 * cFarbCount> FColors{};
    // Display colours of entries 1..240, and for 0 and 241..255 the number itself, so that a
    // map of byte-sized numbers needs no bounds check at all.
    std::array<TColor, 256> FDisplay{};
    // The entries' channels side by side, for the nearest-entry search.
    std::array<std::int32_t, cFarbCount> FRed{}, FGreen{}, FBlue{};
};

} // namespace wn
