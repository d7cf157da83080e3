// The JSON description of a grid file both ways: `wnpack grid info --json` writes it and
// `wnpack grid create` builds a file from it.
#include "GridTool.h"

#include "Command.h"

#include "framework/Exceptions.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

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

double NumberAt(const QJsonObject &o, const char *key, double fallback)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined() || v.isNull())
        return fallback;
    if (!v.isDouble())
        Bad(QStringLiteral("description: \"%1\" must be a number").arg(QLatin1String(key)));
    return v.toDouble();
}

int IntAt(const QJsonObject &o, const char *key, int low, int high)
{
    const double v = NumberAt(o, key, 0);
    if (v != std::floor(v) || v < low || v > high)
        Bad(QStringLiteral("description: \"%1\" must be a whole number from %2 to %3")
                .arg(QLatin1String(key))
                .arg(low)
                .arg(high));
    return int(v);
}

QByteArray HexAt(const QJsonValue &v, const QString &what)
{
    static const QRegularExpression hex(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    if (!v.isString())
        Bad(QStringLiteral("description: %1 must be a string of hex digits").arg(what));
    QString text = v.toString();
    text.remove(QLatin1Char(' '));
    if (!hex.match(text).hasMatch())
        Bad(QStringLiteral("description: %1 must be pairs of hex digits").arg(what));
    return QByteArray::fromHex(text.toLatin1());
}

void FillItems(TInfoList &list, const QJsonObject &o, const char *key)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined())
        return;
    if (!v.isArray())
        Bad(QStringLiteral("description: \"%1\" must be a list").arg(QLatin1String(key)));
    const QJsonArray a = v.toArray();
    if (a.size() > qsizetype(list.size()))
        Bad(QStringLiteral("description: \"%1\" lists more entries than the structure counts")
                .arg(QLatin1String(key)));
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!a[i].isObject())
            Bad(QStringLiteral("description: entries of \"%1\" must be objects").arg(QLatin1String(key)));
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

bool HasItems(const QJsonObject &o, const char *key)
{
    return !o.value(QLatin1String(key)).toArray().isEmpty();
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
                  {"dx", double(s.dx)},
                  {"dy", double(s.dy)},
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

void CreateGrid(const QString &out, const QString &descriptionFile)
{
    QFile in(descriptionFile);
    if (!in.open(QIODevice::ReadOnly))
        throw EInOutError::FromErrno(QFileInfo::exists(descriptionFile) ? EACCES : ENOENT, descriptionFile);
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(in.readAll(), &error);
    if (error.error != QJsonParseError::NoError)
        Bad(QStringLiteral("malformed JSON in %1 at offset %2: %3")
                .arg(descriptionFile)
                .arg(error.offset)
                .arg(error.errorString()));
    if (!doc.isObject())
        Bad(QStringLiteral("malformed JSON in %1: the description must be an object").arg(descriptionFile));
    const QJsonObject o = doc.object();

    TRKFile f(out);
    auto &s = f.Struktur;
    s.Columns = std::uint16_t(IntAt(o, "columns", 0, 65535));
    s.Rows = std::uint16_t(IntAt(o, "rows", 0, 65535));
    s.ZLevels = std::uint16_t(IntAt(o, "zLevels", 0, 65535));
    s.XOrigin = NumberAt(o, "xOrigin", 0);
    s.YOrigin = NumberAt(o, "yOrigin", 0);
    s.ZOrigin = NumberAt(o, "zOrigin", 0);
    s.dx = float(NumberAt(o, "dx", 0));
    s.dy = float(NumberAt(o, "dy", 0));
    s.nH = std::uint16_t(IntAt(o, "nH", 0, 65535));
    s.nW1 = std::uint16_t(IntAt(o, "nW1", 0, 65535));
    s.nW2 = std::uint16_t(IntAt(o, "nW2", 0, 65535));
    s.TypeH = std::uint8_t(IntAt(o, "typeH", 0, cwtSingle));
    s.TypeW1 = std::uint8_t(IntAt(o, "typeW1", 0, cwtSingle));
    s.TypeW2 = std::uint8_t(IntAt(o, "typeW2", 0, cwtSingle));
    f.Comment = o.value(QLatin1String("comment")).toString();
    f.CreateInfos(HasItems(o, "H"), HasItems(o, "Z"), HasItems(o, "W1"), HasItems(o, "W2"));
    FillItems(f.HList, o, "H");
    FillItems(f.ZList, o, "Z");
    FillItems(f.W1List, o, "W1");
    FillItems(f.W2List, o, "W2");
    QByteArray special;
    if (o.contains(QLatin1String("special")))
        special = HexAt(o.value(QLatin1String("special")), QStringLiteral("\"special\""));
    if (special.size() > 65535)
        Bad(QStringLiteral("description: the special block holds more than 65535 bytes"));

    const std::int64_t cell = f.GetDataSize();
    std::int64_t data = 0;
    if (qMulOverflow(cell, std::int64_t(s.Columns) * s.Rows, &data) || data > cMaxCreatedData)
        Bad(QStringLiteral("description: a data area of %1 x %2 cells of %3 bytes is too large")
                .arg(s.Columns)
                .arg(s.Rows)
                .arg(cell));

    // Check the cells before anything is written.
    struct TCellData {
        int Col, Row;
        QByteArray Bytes;
    };
    std::vector<TCellData> cells;
    const QJsonValue cellsValue = o.value(QLatin1String("cells"));
    if (!cellsValue.isUndefined() && !cellsValue.isArray())
        Bad(QStringLiteral("description: \"cells\" must be a list"));
    for (const QJsonValue &v : cellsValue.toArray()) {
        if (!v.isObject())
            Bad(QStringLiteral("description: entries of \"cells\" must be objects"));
        const QJsonObject c = v.toObject();
        TCellData d{IntAt(c, "col", 1, std::max<int>(1, s.Columns)),
                    IntAt(c, "row", 1, std::max<int>(1, s.Rows)),
                    HexAt(c.value(QLatin1String("hex")), QStringLiteral("the hex of a cell"))};
        if (d.Bytes.isEmpty() || d.Bytes.size() % cell != 0)
            Bad(QStringLiteral("description: the hex of cell %1,%2 must hold a multiple of %3 bytes")
                    .arg(d.Col)
                    .arg(d.Row)
                    .arg(cell));
        if (d.Col - 1 + d.Bytes.size() / cell > s.Columns || d.Row > s.Rows)
            Bad(QStringLiteral("description: cells from %1,%2 run off the grid").arg(d.Col).arg(d.Row));
        cells.push_back(std::move(d));
    }

    if (!f.CreateEmptyGrid(special.isEmpty() ? nullptr : special.constData(), std::int32_t(special.size())))
        throw EInOutError::FromErrno(cInOutDiskWriteError, out);
    f.OpenGridFile();
    for (const auto &c : cells)
        f.WriteDataBlock(c.Col, c.Row, std::int32_t(c.Bytes.size() / cell), 1, c.Bytes.constData());
    f.WriteMinMax(kHMinMax);
    f.WriteMinMax(kW1MinMax);
    f.WriteMinMax(kW2MinMax);
    f.CloseGridFile();
}

} // namespace wnpack
