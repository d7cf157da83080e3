#pragma once
// Grid result files ("RLK"): one fixed-size binary cell of result values for every node of a
// regular raster, framed by sections that describe the grid and its value channels. TRKFile
// creates such files, reads and rewrites their sections, moves blocks of cells in and out and
// answers the point query. File errors raise EInOutError carrying the OS error.
//
// Bytes on disk (little-endian; Single and Double are IEEE floats):
//
//   section    3-byte header: payload length (u16), identifier (u8, TKennung); then the payload.
//              Sections follow one another without gaps; kGridStruct comes first, kData last.
//              The data header has length 0: the cells run to the end of the file.
//   kComment   81 bytes: length byte + up to 80 Windows-1252 characters
//   kGridStruct 67 bytes (TrecRlkStruktur):
//                0 columns u16    2 rows u16     4 Z levels u16
//                6 x origin f64  14 y origin f64 22 z origin f64   30 reserved, 16 bytes
//               46 dx f32        50 dy f32       54 reserved, 4 bytes
//               58 nW1 u16       60 nW2 u16      62 nH u16
//               64 type H u8     65 type W1 u8   66 type W2 u8     (TWertType)
//   kSpecial   the caller's block, stored as given
//   k*MinMax   16 bytes per channel: min, max, offset, factor (f32); physical = stored * factor
//              + offset; a fresh entry holds 1e35, -1e35, 0, 1
//   k*Names    256 bytes per channel: length byte + "name|unit", zero-filled
//   kData      cells in row order from the origin row; cell (c, r) from 1 starts at
//              data + ((r - 1) * columns + c - 1) * S
//
// A cell (TCellLayout) of S = nZ * nW1 * (nW2 * size W2 + size W1) + nH * size H + 1 bytes:
// a flag byte, nH values of type H, then for each W1 channel its value followed by room for
// nW2 values of type W2. W2 values are addressed from the start of their W1 group, so a file
// that has both W1 and W2 values overlays the first W2 value on the W1 value; only the first
// of the nZ repetitions is ever addressed.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QFile>
#include <QList>
#include <QString>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace wn {

// Section identifiers; the ordinals are the identifier bytes on disk.
enum TKennung : std::uint8_t {
    kVersInfo,
    kComment,
    kGridStruct,
    kSpecial,
    kHMinMax,
    kW1MinMax,
    kW2MinMax,
    kHNames,
    kZNames,
    kW1Names,
    kW2Names,
    kData
};

// Value types of the channels in a cell; the ordinals are stored in the structure record.
enum TWertType : std::uint8_t { cwtNone, cwtByte, cwtSmallInt, cwtSingle };

// Bytes a value of each type occupies in a cell.
inline constexpr std::array<std::int32_t, 4> cWertSize = {0, 1, 2, 4};

// Size of a value type as found in a file; a type byte outside the known types occupies nothing.
WN_EXPORT std::int32_t WertSizeOf(std::uint8_t wertType);

// Section frame: the 3 bytes in front of every section.
struct TrecInfo {
    std::uint16_t Len = 0; // payload bytes behind the header
    std::uint8_t Kennung = 0;
};

// The grid structure record, payload of kGridStruct (67 bytes on disk). The two reserved areas
// belong to the programs that write the files and are carried byte for byte.
struct WN_EXPORT TrecRlkStruktur {
    static constexpr int cSize = 67;

    std::uint16_t Columns = 0;
    std::uint16_t Rows = 0;
    std::uint16_t ZLevels = 0;
    double XOrigin = 0.0;
    double YOrigin = 0.0;
    double ZOrigin = 0.0;
    std::array<std::uint8_t, 16> Reserved30{};
    float dx = 0.0f;
    float dy = 0.0f;
    std::array<std::uint8_t, 4> Reserved54{};
    std::uint16_t nW1 = 0;
    std::uint16_t nW2 = 0;
    std::uint16_t nH = 0;
    // Type bytes as stored; a damaged file may hold values outside TWertType.
    std::uint8_t TypeH = cwtNone;
    std::uint8_t TypeW1 = cwtNone;
    std::uint8_t TypeW2 = cwtNone;

    std::array<std::uint8_t, cSize> ToBytes() const;
    static TrecRlkStruktur FromBytes(const std::uint8_t *bytes);
};

// Description of one channel or Z level: name, unit and the scaling of its stored values.
class WN_EXPORT TInfoItem : public TObject
{
public:
    QString Name;
    QString Unit;
    float Min = 1e35f;
    float Max = -1e35f;
    float Offset = 0.0f;
    float Factor = 1.0f;

    void assign(const TInfoItem &Source);
};

// Owns its items.
using TInfoList = std::vector<std::unique_ptr<TInfoItem>>;

// Where the values of a structure lie in a cell, as byte offsets from its start; channels from 1.
struct TCellLayout {
    explicit TCellLayout(const TrecRlkStruktur &s)
        : SizeH(WertSizeOf(s.TypeH)), SizeW1(WertSizeOf(s.TypeW1)), SizeW2(WertSizeOf(s.TypeW2)),
          W1Start(1 + std::int64_t(s.nH) * SizeH), GroupSize(std::int64_t(s.nW2) * SizeW2 + SizeW1),
          CellSize(std::int64_t(s.ZLevels) * s.nW1 * GroupSize + W1Start)
    {}

    std::int64_t HPos(std::int64_t k) const { return 1 + (k - 1) * SizeH; }
    // The W1 value of group i; the group's W2 values count from the same place.
    std::int64_t W1Pos(std::int64_t i) const { return W1Start + (i - 1) * GroupSize; }
    std::int64_t W2Pos(std::int64_t i, std::int64_t j) const { return W1Pos(i) + (j - 1) * SizeW2; }

    std::int64_t SizeH, SizeW1, SizeW2;
    std::int64_t W1Start;   // behind the flag byte and the H values
    std::int64_t GroupSize; // one W1 value and the room for its W2 values
    std::int64_t CellSize;
};

// One line of the point query with the tag of the channel it shows (see GetSelTag).
struct TTaggedLine {
    QString Text;
    std::int32_t Tag = 0;
};
using TTaggedLines = QList<TTaggedLine>;

// Reader and writer of one grid result file. Channels, columns and rows count from 1.
// The cell size is computed once per object, so one object serves one grid layout.
class WN_EXPORT TRKFile : public TObject
{
public:
    explicit TRKFile(const QString &FileName);
    ~TRKFile() override;
    TRKFile(const TRKFile &) = delete;
    TRKFile &operator=(const TRKFile &) = delete;

    // Whether the file starts as every grid file does: a whole structure section whose value
    // types are known. Never throws; a file that cannot be read is no grid file.
    static bool IsGridFile(const QString &FileName);

    const QString &FileName() const { return FFileName; }
    bool IsOpen() const { return FOpen; }

    // Closes any open file, then opens the existing file for reading and writing.
    void OpenGridFile();
    // The same for reading only, so that a file the user may not write can still be inspected;
    // every write then raises. GetValuesOfPt and GetKoordMinMax keep a file open this way open.
    void OpenGridFileReadOnly();
    void CloseGridFile();

    void AssignStructure(const TRKFile &Other);
    void CalcDimension(double XMin, double YMin, double XMax, double YMax);
    void CreateInfos(bool WithH, bool WithZ, bool WithW1, bool WithW2);
    // Writes a complete new file and closes it; false when a write came out short. The new file
    // replaces one of the same name only once it is complete, so a full disk leaves the old one.
    bool CreateEmptyGrid(const void *Special, std::int32_t SpecialSize);
    // The bytes CreateEmptyGrid writes in front of the cells: every section of the structure,
    // comment, lists and special block, and the data header. For writers that put the cells
    // behind it themselves.
    QByteArray HeadBytes(const void *Special, std::int32_t SpecialSize) const;

    // Returns whether the structure section was there; the four lists are emptied either way.
    bool ReadGridStructure();
    void WriteGridStructure();
    void ReadComment();
    // Buffer receives the block (resized to the length in the section header).
    void ReadSpecialStructure(QByteArray &Buffer);
    // Rewrites as many bytes as the section header gives; a Buffer holding fewer raises
    // EArgumentError.
    void WriteSpecialStructure(const QByteArray &Buffer);

    void ReadMinMax(TKennung Kennung);
    void ReadAllMinMax();
    void WriteMinMax(TKennung Kennung);
    void WriteHMinMax();
    void WriteW1MinMax();
    void WriteW2MinMax();

    void ReadNames(TKennung Kennung);
    void ReadAllNames();
    // Writes name entries over the min/max section of kHMinMax, kW1MinMax or kW2MinMax; every
    // other identifier is ignored, so the four list-named writers below change nothing. Names
    // reach a file through CreateEmptyGrid.
    void WriteNames(TKennung Kennung);
    void WriteHNames();
    void WriteZNames();
    void WriteW1Names();
    void WriteW2Names();

    TInfoItem *GetHInfo(std::int32_t i) const;
    TInfoItem *GetZInfo(std::int32_t i) const;
    TInfoItem *GetW1Info(std::int32_t i) const;
    TInfoItem *GetW2Info(std::int32_t i) const;

    std::int64_t GetDataSize();
    std::int64_t GetDataPos(std::int32_t W1, std::int32_t W2) const;

    // Data holds NRows rows of NCols cells, GetDataSize() bytes a cell, without gaps.
    void ReadDataBlock(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                       void *Data);
    void WriteDataBlock(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                        const void *Data);
    // Mask holds one flag per requested cell; cells with a false flag keep what the file holds.
    void WriteDataBlockEx(std::int32_t Col, std::int32_t Row, std::int32_t NCols, std::int32_t NRows,
                          const void *Data, const bool *Mask);

    // Physical value of the stored value at Data[Pos]. High is the last index of Data; a value
    // that would reach past it reads as 0.
    static float GetVal(const void *Data, std::int64_t High, std::int64_t Pos, std::uint8_t WertType,
                        float Offset, float Factor);

    // The point query. Direction (vertical sections only) holds the cosine and sine of the
    // section line as two doubles. X, Y, Z come back snapped to the node that answered.
    void GetValuesOfPt(bool Section, const void *Direction, double &X, double &Y, double &Z,
                       TTaggedLines &List);
    void GetKoordMinMax(double &XMin, double &YMin, double &XMax, double &YMax);

    // The comment (at most 80 Windows-1252 characters reach the file) and the structure record.
    QString Comment;
    TrecRlkStruktur Struktur;

    TInfoList HList;
    TInfoList ZList;
    TInfoList W1List;
    TInfoList W2List;

protected:
    // Positions the file at the payload of the section and returns its header when found.
    bool SeekKenn(TKennung Kennung, TrecInfo &Info);

private:
    class TCacheScope;

    void Open(QIODevice::OpenMode Mode);
    void CheckOpen() const;
    void SeekTo(std::int64_t Pos);
    void SeekFile();
    std::int64_t ReadFile(void *Buffer, std::int64_t Count);
    std::int64_t ReadSome(void *Buffer, std::int64_t Count);
    void ReadExact(void *Buffer, std::int64_t Count);
    void ReadCells(void *Buffer, std::int64_t Count);
    void WriteExact(const void *Buffer, std::int64_t Count);
    std::int64_t FileSize() const;
    std::int64_t CellPos(std::int64_t DataStart, std::int64_t Col, std::int64_t Row);
    // The node (from 1) nearest to a point of the query; X, Y, Z become the node's coordinates.
    void SnapToNode(bool Section, const void *Direction, double &X, double &Y, double &Z, std::int64_t &Col,
                    std::int64_t &Row) const;
    // Room for the cell of the point query, after checks that a damaged structure cannot get past.
    std::vector<std::uint8_t> QueryCellBuffer();
    void AddHLines(const std::vector<std::uint8_t> &Cell, TTaggedLines &List) const;
    void AddWLines(const std::vector<std::uint8_t> &Cell, TTaggedLines &List) const;
    TInfoList *ListOf(TKennung Kennung);
    // Writes one entry per item of the list of a min/max identifier over that section's payload;
    // other identifiers and an absent section change nothing.
    void WriteListEntries(TKennung Kennung, QByteArray (*Entry)(const TInfoItem &));
    std::uint16_t CountOf(TKennung Kennung) const;
    // Grows the identifier's list to the structure's count, reads the section's payload and
    // answers how many whole entries of EntrySize bytes it holds for the list (0 when absent).
    std::int64_t ReadListSection(TKennung Kennung, std::int64_t EntrySize, QByteArray &Payload);

    QString FFileName;
    QFile FFile;
    bool FOpen = false;
    std::array<std::int64_t, 12> FPositions{};
    std::int64_t FDataSize = 0;
    std::int64_t FPos = 0;
    // A piece of the file read ahead for the small section reads; emptied by every write.
    QByteArray FCache;
    std::int64_t FCachePos = 0;
    bool FCaching = false;
};

// Packs three channel numbers into the tag of a point-query line: H * 65536 + W1 * 256 + W2.
WN_EXPORT std::int32_t GetSelTag(std::uint8_t H, std::uint8_t W1, std::uint8_t W2);
// Unpacks a tag. W1 is not masked to one byte: the tag of an H line yields W1 = H * 256, so a
// caller tests H first.
WN_EXPORT void GetSelected(std::int32_t Tag, std::int32_t &H, std::int32_t &W1, std::int32_t &W2);

// Scales Value into 1..1000 by steps of 1000 and puts the matching SI prefix (f .. T) in front
// of Unit; values of 0 or below are left alone.
WN_EXPORT void PrefixUnit(double &Value, QString &Unit);

} // namespace wn
