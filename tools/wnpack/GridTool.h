#pragma once
// Grid result file jobs of the wnpack program, shared by `wnpack grid` and `wnpack demo`, and
// the checks they share.

#include "grid/KVRasterNeu.h"

#include <QJsonObject>
#include <QString>

#include <cstdint>

namespace wnpack {

// Larger grids would fill a disk rather than describe a result grid.
inline constexpr std::int64_t cMaxCreatedData = std::int64_t(8) << 30;

// Raises UsageError with the text.
[[noreturn]] void Bad(const QString &what);
// A number as the runtime writes it (15 digits).
QString Num(double v);
// Raises unless the file is a grid file.
void CheckGridFile(const QString &fileName);
// Opens the file for reading only (inspecting needs no write access) and reads everything but
// the cells; x0 .. y1 receive the extent.
void LoadGrid(wn::TRKFile &f, double &x0, double &y0, double &x1, double &y1);
// Makes sure a whole data area is on disk before a caller allocates room for parts of it.
void CheckDataArea(wn::TRKFile &f);

// Writes a synthetic noise map (road, rail line, factory and a barrier) of cols x rows nodes.
void WriteSampleGrid(const QString &fileName, int cols, int rows);

// Structure, comment and channels of a grid file, as text for people or as the JSON
// description that `wnpack grid create` accepts. Raise for files that are not grid files.
QString GridInfoText(const QString &fileName);
QJsonObject GridInfoJson(const QString &fileName);
// Builds a grid file from such a description.
void CreateGrid(const QString &out, const QString &descriptionFile);

// The point query: first line the snapped X, Y and Z, then one "tag<TAB>text" line per value.
QString GridQueryText(const QString &fileName, double x, double y, bool section, double cosine, double sine);

// One channel (H<k>, W1.<i> or W1.<i>.<j>) as an ESRI ASCII grid.
void ExportGrid(const QString &fileName, const QString &channel, const QString &out);

} // namespace wnpack
