#pragma once
// Grid result file jobs of the wnpack program, shared by `wnpack grid` and `wnpack demo`.

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace wnpack {

// Writes a synthetic noise map (road, rail line, factory and a barrier) of cols x rows nodes.
void WriteSampleGrid(const QString &fileName, int cols, int rows);

// Structure, comment and channels of a grid file, as text for people or as the JSON
// description that `wnpack grid create` accepts. Raise for files that are not grid files.
QString GridInfoText(const QString &fileName);
QJsonObject GridInfoJson(const QString &fileName);

// The point query: first line the snapped X, Y and Z, then one "tag<TAB>text" line per value.
QString GridQueryText(const QString &fileName, double x, double y, bool section, double cosine, double sine);

// `grid serve` and `grid ask`: point queries over TCP (serve.cpp).
int RunGridServe(const QStringList &args);
int RunGridAsk(const QStringList &args);

} // namespace wnpack
