#pragma once
// Grid result file jobs of the wnpack program, shared by `wnpack grid` and `wnpack demo`.
// File names are the names Qt reaches the files under (see Paths.h).

#include "grid/KVRasterNeu.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace wnpack {

class TOutputFile;
class TProgress;

// Larger grids would fill a disk rather than describe a result grid.
inline constexpr std::int64_t cMaxCreatedData = std::int64_t(8) << 30;

// Opens a grid file for reading only (inspecting needs no write access) and reads everything
// but the cells; x0 .. y1 receive the extent. Raises for files that are not grid files.
void LoadGrid(wn::TRKFile &f, double &x0, double &y0, double &x1, double &y1);
// Makes sure the whole data area is on disk before a caller allocates room for parts of it.
void CheckDataArea(wn::TRKFile &f);

// Writes a new grid file through an output file: the library's head, then the cells, and the
// head once more at the end for the min/max found on the way.
class TGridWriter
{
public:
    // Raises when the data area would exceed cMaxCreatedData.
    TGridWriter(wn::TRKFile &grid, TOutputFile &out, const QByteArray &special);
    // Cells in file order, behind those written before.
    void Write(const void *cells, std::int64_t size);
    // Every cell as zeros; then WriteAt may put cells in their places.
    void WriteZeros(TProgress &progress);
    void WriteAt(int col, int row, const QByteArray &cells);
    void Finish();

private:
    wn::TRKFile &FGrid;
    TOutputFile &FOut;
    QByteArray FSpecial;
    qsizetype FHeadSize;
    std::int64_t FDataSize;
};

// A synthetic noise map (road, rail line, factory and a barrier) of cols x rows nodes.
void WriteSampleGrid(TOutputFile &out, int cols, int rows, TProgress &progress);
// An exact copy through the library: structure with its reserved bytes, comment, channels,
// special block and every cell.
void CopyGrid(const QString &fileName, TOutputFile &out, TProgress &progress);

// Structure, comment and channels of a grid file, as text for people (shortest round-trip
// numbers, "none" for min/max never set) or as the JSON description that CreateGrid reads.
QString GridInfoText(const QString &fileName, const QString &shownName);
QJsonObject GridInfoJson(const QString &fileName);
void CreateGrid(const QString &descriptionFile, TOutputFile &out, TProgress &progress);

struct TQueryPoint {
    double X, Y;
    bool Section;
    double Cos, Sin;
};
// The point query: the node's coordinates, whether the point lay outside the grid (the border
// node answers then), and the labelled values as text lines and as JSON.
struct TQueryAnswer {
    double X, Y, Z;
    bool Outside;
    QString Text;
    QJsonObject Json;
};
TQueryAnswer QueryGrid(const QString &fileName, const TQueryPoint &point);

// One channel (H<k>, W1.<i> or W1.<i>.<j>) as an ESRI ASCII grid.
void ExportGrid(const QString &fileName, const QString &channel, TOutputFile &out, TProgress &progress);

} // namespace wnpack
