// The JSON description of a grid file both ways: `wnpack grid info --json` writes it and
// `wnpack grid create` builds a file from it.
#include "GridTool.h"

#include "Paths.h"
#include "Progress.h"

#include "framework/Exceptions.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cMalformedText = "malformed JSON in ";
const char *const cNotAnObjectText = ": the description must be an object";
const char *const cNumberText = "description: \"%1\" must be a number";
const char *const cWholeText = "description: \"%1\" must be a whole number from %2 to %3";
const char *const cHexText = "description: %1 must be a string of pairs of hex digits";
const char *const cHexSizeText = "description: %1 must hold %2 bytes";
const char *const cListText = "description: \"%1\" must be a list of objects";
const char *const cTooManyItemsText = "description: \"%1\" lists more entries than the structure counts";
const char *const cSpecialSizeText = "description: the special block holds more than 65535 bytes";
const char *const cCellSizeText = "description: the hex of cell %1,%2 must hold a multiple of %3 bytes";
const char *const cCellsOffGridText = "description: cells from %1,%2 run off the grid";

[[noreturn]] void Bad(const QString &what)
{
    throw Exception(what);
}

QString Key(const char *key)
{
    return QLatin1String(key);
}

QJsonArray ItemsJson(const TInfoList &list)
{
    QJsonArray out;
    for (const auto &item : list)
        out.append(QJsonObject{{"name", item->Name},
                               {"unit", item->Unit},
                               {"min", double(item->Min)},
                               {"max", double(item->Max)},
                               {"offset", double(item->Offset)},
                               {"factor", double(item->Factor)}});
    return out;
}

QString Hex(const std::uint8_t *bytes, std::size_t size)
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(bytes), qsizetype(size)).toHex());
}

double NumberAt(const QJsonObject &o, const char *key, double fallback)
{
    const QJsonValue v = o.value(Key(key));
    if (v.isUndefined() || v.isNull())
        return fallback;
    if (!v.isDouble())
        Bad(QString::fromLatin1(cNumberText).arg(Key(key)));
    return v.toDouble();
}

int IntAt(const QJsonObject &o, const char *key, int low, int high)
{
    const double v = NumberAt(o, key, 0);
    if (v != std::floor(v) || v < low || v > high)
        Bad(QString::fromLatin1(cWholeText).arg(Key(key)).arg(low).arg(high));
    return int(v);
}

QByteArray HexAt(const QJsonValue &v, const QString &what)
{
    static const QRegularExpression hex(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    QString text = v.toString();
    text.remove(QLatin1Char(' '));
    if (!v.isString() || !hex.match(text).hasMatch())
        Bad(QString::fromLatin1(cHexText).arg(what));
    return QByteArray::fromHex(text.toLatin1());
}

// Reserved bytes of the structure, kept as they are when the description leaves them out.
template <std::size_t N>
void ReservedAt(const QJsonObject &o, const char *key, std::array<std::uint8_t, N> &bytes)
{
    if (!o.contains(Key(key)))
        return;
    const QByteArray b = HexAt(o.value(Key(key)), Key(key));
    if (std::size_t(b.size()) != N)
        Bad(QString::fromLatin1(cHexSizeText).arg(Key(key)).arg(N));
    std::copy(b.begin(), b.end(), bytes.begin());
}

QJsonArray ListAt(const QJsonObject &o, const char *key)
{
    const QJsonValue v = o.value(Key(key));
    if (v.isUndefined())
        return QJsonArray();
    const QJsonArray a = v.toArray();
    if (!v.isArray() || std::any_of(a.begin(), a.end(), [](const QJsonValue &e) { return !e.isObject(); }))
        Bad(QString::fromLatin1(cListText).arg(Key(key)));
    return a;
}

void FillItems(TInfoList &list, const QJsonObject &o, const char *key)
{
    const QJsonArray a = ListAt(o, key);
    if (a.size() > qsizetype(list.size()))
        Bad(QString::fromLatin1(cTooManyItemsText).arg(Key(key)));
    for (qsizetype i = 0; i < a.size(); ++i) {
        const QJsonObject e = a[i].toObject();
        TInfoItem &item = *list[std::size_t(i)];
        item.Name = e.value(QLatin1String("name")).toString();
        item.Unit = e.value(QLatin1String("unit")).toString();
        item.Min = float(NumberAt(e, "min", item.Min));
        item.Max = float(NumberAt(e, "max", item.Max));
        item.Offset = float(NumberAt(e, "offset", item.Offset));
        item.Factor = float(NumberAt(e, "factor", item.Factor));
    }
}

QJsonObject ReadDescription(const QString &fileName)
{
    QFile in(fileName);
    CheckFileOp(in, EIO, [&] { return in.open(QIODevice::ReadOnly); });
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(in.readAll(), &error);
    if (error.error != QJsonParseError::NoError)
        Bad(QLatin1String(cMalformedText) + fileName + QLatin1String(" at offset ") +
            QString::number(error.offset) + QLatin1String(": ") + error.errorString());
    if (!doc.isObject())
        Bad(QLatin1String(cMalformedText) + fileName + QLatin1String(cNotAnObjectText));
    return doc.object();
}

void ReadStructure(const QJsonObject &o, TRKFile &f)
{
    auto &s = f.Struktur;
    s.Columns = std::uint16_t(IntAt(o, "columns", 0, 65535));
    s.Rows = std::uint16_t(IntAt(o, "rows", 0, 65535));
    s.ZLevels = std::uint16_t(IntAt(o, "zLevels", 0, 65535));
    s.XOrigin = NumberAt(o, "xOrigin", 0);
    s.YOrigin = NumberAt(o, "yOrigin", 0);
    s.ZOrigin = NumberAt(o, "zOrigin", 0);
    ReservedAt(o, "reserved30", s.Reserved30);
    s.dx = float(NumberAt(o, "dx", 0));
    s.dy = float(NumberAt(o, "dy", 0));
    ReservedAt(o, "reserved54", s.Reserved54);
    s.nH = std::uint16_t(IntAt(o, "nH", 0, 65535));
    s.nW1 = std::uint16_t(IntAt(o, "nW1", 0, 65535));
    s.nW2 = std::uint16_t(IntAt(o, "nW2", 0, 65535));
    s.TypeH = std::uint8_t(IntAt(o, "typeH", 0, cwtSingle));
    s.TypeW1 = std::uint8_t(IntAt(o, "typeW1", 0, cwtSingle));
    s.TypeW2 = std::uint8_t(IntAt(o, "typeW2", 0, cwtSingle));
    f.Comment = o.value(QLatin1String("comment")).toString();
    f.CreateInfos(!ListAt(o, "H").isEmpty(), !ListAt(o, "Z").isEmpty(), !ListAt(o, "W1").isEmpty(),
                  !ListAt(o, "W2").isEmpty());
    FillItems(f.HList, o, "H");
    FillItems(f.ZList, o, "Z");
    FillItems(f.W1List, o, "W1");
    FillItems(f.W2List, o, "W2");
}

// The described cells by row: column and bytes of one or more cells side by side.
std::multimap<int, std::pair<int, QByteArray>> ReadCells(const QJsonObject &o, TRKFile &f)
{
    const auto &s = f.Struktur;
    const std::int64_t cell = f.GetDataSize();
    std::multimap<int, std::pair<int, QByteArray>> cells;
    for (const QJsonValue &v : ListAt(o, "cells")) {
        const QJsonObject c = v.toObject();
        const int col = IntAt(c, "col", 1, std::max<int>(1, s.Columns));
        const int row = IntAt(c, "row", 1, std::max<int>(1, s.Rows));
        const QByteArray bytes = HexAt(c.value(QLatin1String("hex")), QStringLiteral("the hex of a cell"));
        if (bytes.isEmpty() || bytes.size() % cell != 0)
            Bad(QString::fromLatin1(cCellSizeText).arg(col).arg(row).arg(cell));
        if (col - 1 + bytes.size() / cell > s.Columns || row > s.Rows)
            Bad(QString::fromLatin1(cCellsOffGridText).arg(col).arg(row));
        cells.emplace(row, std::pair(col, bytes));
    }
    return cells;
}

} // namespace

QJsonObject GridInfoJson(const QString &fileName)
{
    TRKFile f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    QByteArray special;
    f.ReadSpecialStructure(special);
    const auto &s = f.Struktur;
    QJsonObject o{{"columns", s.Columns},
                  {"rows", s.Rows},
                  {"zLevels", s.ZLevels},
                  {"xOrigin", s.XOrigin},
                  {"yOrigin", s.YOrigin},
                  {"zOrigin", s.ZOrigin},
                  {"reserved30", Hex(s.Reserved30.data(), s.Reserved30.size())},
                  {"dx", double(s.dx)},
                  {"dy", double(s.dy)},
                  {"reserved54", Hex(s.Reserved54.data(), s.Reserved54.size())},
                  {"nH", s.nH},
                  {"nW1", s.nW1},
                  {"nW2", s.nW2},
                  {"typeH", s.TypeH},
                  {"typeW1", s.TypeW1},
                  {"typeW2", s.TypeW2},
                  {"cellSize", double(f.GetDataSize())},
                  {"comment", f.Comment},
                  {"extent", QJsonArray{x0, y0, x1, y1}},
                  {"H", ItemsJson(f.HList)},
                  {"Z", ItemsJson(f.ZList)},
                  {"W1", ItemsJson(f.W1List)},
                  {"W2", ItemsJson(f.W2List)}};
    if (!special.isEmpty())
        o.insert("special", QString::fromLatin1(special.toHex()));
    return o;
}

void CreateGrid(const QString &descriptionFile, TOutputFile &out, TProgress &progress)
{
    const QJsonObject o = ReadDescription(descriptionFile);
    TRKFile f(out.Device().fileName());
    ReadStructure(o, f);
    const QByteArray special = o.contains(QLatin1String("special"))
                                   ? HexAt(o.value(QLatin1String("special")), QStringLiteral("\"special\""))
                                   : QByteArray();
    if (special.size() > 65535)
        Bad(QLatin1String(cSpecialSizeText));
    // Everything is checked before the first byte is written.
    const auto cells = ReadCells(o, f);
    TGridWriter writer(f, out, special);
    writer.WriteZeros(progress);
    for (const auto &[row, cellsOfRow] : cells)
        writer.WriteAt(cellsOfRow.first, row, cellsOfRow.second);
    writer.Finish();
}

} // namespace wnpack
