// wnpack grid: write, inspect, query, build and export grid result files.
#include "Command.h"
#include "GridTool.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"
#include "grid/KVRasterNeu.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cGridUsage =
    "usage: wnpack grid sample OUT [--cols N --rows N]\n"
    "       wnpack grid info FILE [--json]\n"
    "       wnpack grid query FILE X Y [--section --cos C --sin S]\n"
    "       wnpack grid create OUT DESCRIPTION.json\n"
    "       wnpack grid export FILE --channel H<k>|W1.<i>|W1.<i>.<j> --format asc OUT\n"
    "       wnpack grid serve FILE [--port N] [--bind ADDRESS] [--threads]\n"
    "       wnpack grid ask HOST:PORT X Y";

// Larger descriptions would fill a disk rather than describe a result grid.
constexpr std::int64_t cMaxCreatedData = std::int64_t(8) << 30;
constexpr std::int64_t cExportBand = 16 << 20;

QString Num(double v)
{
    return FloatToStr(v);
}

// ---------------------------------------------------------------------------------------------
// Opening and checking

// Every grid file the suite writes starts with the 67-byte structure section.
void CheckGridFile(const QString &fileName)
{
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly))
        throw EInOutError::FromErrno(QFileInfo::exists(fileName) ? EACCES : ENOENT, fileName);
    const QByteArray head = f.read(3);
    if (head != QByteArray::fromHex("430002"))
        throw UsageError(QStringLiteral("%1 is not a grid file").arg(fileName).toStdString());
}

// Opens the file for reading only (inspecting needs no write access) and reads everything but
// the cells, and the extent, which has to come first: reading the structure again empties the
// channel lists.
void LoadGrid(TRKFile &f, double &x0, double &y0, double &x1, double &y1)
{
    CheckGridFile(f.FileName());
    f.OpenGridFileReadOnly();
    f.GetKoordMinMax(x0, y0, x1, y1);
    const auto &s = f.Struktur;
    for (std::uint8_t t : {s.TypeH, s.TypeW1, s.TypeW2})
        if (t > cwtSingle)
            throw UsageError(QStringLiteral("%1 is not a grid file (value type %2)")
                                 .arg(f.FileName())
                                 .arg(t)
                                 .toStdString());
    f.ReadComment();
    f.ReadAllNames();
    f.ReadAllMinMax();
}

// Makes sure a whole data area is on disk before a caller allocates room for parts of it.
void CheckDataArea(TRKFile &f)
{
    const auto &s = f.Struktur;
    if (s.Columns == 0 || s.Rows == 0)
        throw UsageError(QStringLiteral("%1 holds no cells").arg(f.FileName()).toStdString());
    const std::int64_t cell = f.GetDataSize();
    if (__int128(cell) * s.Columns * s.Rows > QFileInfo(f.FileName()).size())
        throw EInOutError(QStringLiteral("Data area of %1 is shorter than its grid").arg(f.FileName()), 100);
    std::vector<std::uint8_t> last(std::size_t(cell), 0);
    f.ReadDataBlock(s.Columns, s.Rows, 1, 1, last.data());
}

const char *TypeName(std::uint8_t t)
{
    static const char *const names[] = {"None", "Byte", "SmallInt", "Single"};
    return t <= cwtSingle ? names[t] : "?";
}

// ---------------------------------------------------------------------------------------------
// The sample noise map

struct TPoint {
    double X, Y;
};

// A source with its sound power per period (day, evening, night): a point, or a line whose
// levels are per metre and which is split into short pieces.
struct TSource {
    const char *Name;
    std::vector<TPoint> Points;
    double Power[3];
};

bool Crosses(TPoint a, TPoint b, TPoint c, TPoint d)
{
    const auto side = [](TPoint p, TPoint q, TPoint r) {
        return (q.X - p.X) * (r.Y - p.Y) - (q.Y - p.Y) * (r.X - p.X);
    };
    return side(a, b, c) * side(a, b, d) < 0 && side(c, d, a) * side(c, d, b) < 0;
}

struct TEmitter {
    TPoint At;
    double Power[3];
};

std::vector<TEmitter> Emitters(const TSource &source)
{
    std::vector<TEmitter> out;
    if (source.Points.size() == 1) {
        out.push_back({source.Points[0], {source.Power[0], source.Power[1], source.Power[2]}});
        return out;
    }
    constexpr double piece = 20.0;
    for (std::size_t i = 0; i + 1 < source.Points.size(); ++i) {
        const TPoint a = source.Points[i], b = source.Points[i + 1];
        const double len = std::hypot(b.X - a.X, b.Y - a.Y);
        const int n = std::max(1, int(std::ceil(len / piece)));
        const double add = 10.0 * std::log10(len / n);
        for (int k = 0; k < n; ++k) {
            const double t = (k + 0.5) / n;
            out.push_back({{a.X + t * (b.X - a.X), a.Y + t * (b.Y - a.Y)},
                           {source.Power[0] + add, source.Power[1] + add, source.Power[2] + add}});
        }
    }
    return out;
}

std::uint8_t Quantize(double level, float offset, float factor)
{
    return std::uint8_t(std::clamp(std::nearbyint((level - offset) / factor), 0.0, 255.0));
}

} // namespace

void WriteSampleGrid(const QString &fileName, int cols, int rows)
{
    if (cols < 2 || rows < 2 || cols > 65535 || rows > 65535)
        throw UsageError("columns and rows must lie between 2 and 65535");
    constexpr double spacing = 5.0;
    constexpr double x0 = 3500000.0, y0 = 5800000.0;
    const double width = (cols - 1) * spacing, height = (rows - 1) * spacing;

    // Local coordinates in metres from the south-west corner, scaled to the map's size.
    const auto at = [&](double fx, double fy) { return TPoint{fx * width, fy * height}; };
    const std::vector<TSource> sources = {
        {"A7 motorway", {at(0, 0.35), at(0.45, 0.42), at(1, 0.5)}, {84, 81, 77}},
        {"Rail line", {at(0.15, 1), at(0.4, 0.6), at(0.7, 0)}, {79, 79, 82}},
        {"Factory", {at(0.78, 0.78)}, {106, 103, 95}},
    };
    const TPoint barrierA = at(0.3, 0.44), barrierB = at(0.65, 0.5);
    const TPoint factory = sources[2].Points[0];
    std::vector<std::vector<TEmitter>> emitters;
    for (const auto &s : sources)
        emitters.push_back(Emitters(s));

    TRKFile f(fileName);
    auto &st = f.Struktur;
    st.dx = float(spacing);
    st.dy = float(spacing);
    st.ZLevels = 1;
    st.nH = 3;
    st.TypeH = cwtSingle;
    st.nW1 = std::uint16_t(sources.size());
    st.TypeW1 = cwtNone;
    st.nW2 = 3;
    st.TypeW2 = cwtSmallInt;
    f.CalcDimension(x0, y0, x0 + width, y0 + height);
    f.Comment = QStringLiteral("Synthetic noise map: motorway, rail line, factory, barrier");
    f.CreateInfos(true, true, true, true);
    const char *const periods[3][2] = {{"Lday", "6-18 h"}, {"Levening", "18-22 h"}, {"Lnight", "22-6 h"}};
    constexpr float offset = 10.0f, factor = 0.4f;
    for (int p = 0; p < 3; ++p) {
        f.GetHInfo(p + 1)->Name = QString::fromLatin1(periods[p][0]);
        f.GetHInfo(p + 1)->Unit = QStringLiteral("dB(A)");
        f.GetW2Info(p + 1)->Name = QString::fromLatin1(periods[p][0]).mid(1);
        f.GetW2Info(p + 1)->Unit = QString::fromLatin1(periods[p][1]);
        f.GetW2Info(p + 1)->Offset = offset;
        f.GetW2Info(p + 1)->Factor = factor;
    }
    for (std::size_t s = 0; s < sources.size(); ++s) {
        TInfoItem &w1 = *f.GetW1Info(int(s) + 1);
        w1.Name = QString::fromLatin1(sources[s].Name);
        w1.Unit = QStringLiteral("dB(A)");
        w1.Offset = offset;
        w1.Factor = factor;
    }
    f.GetZInfo(1)->Name = QStringLiteral("4 m");
    f.GetZInfo(1)->Unit = QStringLiteral("receiver height above ground");
    if (!f.CreateEmptyGrid(nullptr, 0))
        throw EInOutError(QStringLiteral("Could not write the whole of %1").arg(fileName), 101);

    f.OpenGridFile();
    const std::int64_t cellSize = f.GetDataSize();
    std::vector<std::uint8_t> row(std::size_t(cols * cellSize));
    for (int r = 1; r <= rows; ++r) {
        std::fill(row.begin(), row.end(), 0);
        for (int c = 1; c <= cols; ++c) {
            const TPoint here{(c - 1) * spacing, (r - 1) * spacing};
            std::uint8_t *cell = &row[std::size_t((c - 1) * cellSize)];
            // The flag marks nodes on the factory's premises.
            cell[0] = std::abs(here.X - factory.X) < 20 && std::abs(here.Y - factory.Y) < 20 ? 1 : 0;
            double total[3] = {0, 0, 0};
            for (std::size_t s = 0; s < sources.size(); ++s) {
                double energy[3] = {0, 0, 0};
                for (const TEmitter &e : emitters[s]) {
                    const double d = std::max(1.0, std::hypot(here.X - e.At.X, here.Y - e.At.Y));
                    double a = 20.0 * std::log10(d) + 11.0 + 0.005 * d;
                    if (Crosses(e.At, here, barrierA, barrierB))
                        a += 12.0;
                    for (int p = 0; p < 3; ++p)
                        energy[p] += std::pow(10.0, (e.Power[p] - a) / 10.0);
                }
                const std::int64_t group = 1 + 3 * 4 + std::int64_t(s) * 3 * 2;
                for (int p = 0; p < 3; ++p) {
                    const double level = 10.0 * std::log10(energy[p] + 1e-3);
                    const std::uint8_t stored = Quantize(level, offset, factor);
                    cell[group + p * 2] = stored; // small int, high byte 0
                    const float physical = float(stored) * factor + offset;
                    for (TInfoItem *item : {f.GetW1Info(int(s) + 1), f.GetW2Info(p + 1)}) {
                        item->Min = std::min(item->Min, physical);
                        item->Max = std::max(item->Max, physical);
                    }
                    total[p] += energy[p];
                }
            }
            for (int p = 0; p < 3; ++p) {
                // A quiet background of 30 dB(A) everywhere.
                const float level = float(10.0 * std::log10(total[p] + 1000.0));
                std::memcpy(cell + 1 + p * 4, &level, 4);
                TInfoItem &h = *f.GetHInfo(p + 1);
                h.Min = std::min(h.Min, level);
                h.Max = std::max(h.Max, level);
            }
        }
        f.WriteDataBlock(1, r, cols, 1, row.data());
    }
    f.WriteHMinMax();
    f.WriteW1MinMax();
    f.WriteW2MinMax();
    f.CloseGridFile();
}

namespace {

QString ItemLine(int index, const TInfoItem &item)
{
    return QStringLiteral("  %1  %2 [%3]  min %4  max %5  offset %6  factor %7\n")
        .arg(index)
        .arg(item.Name, item.Unit, Num(item.Min), Num(item.Max), Num(item.Offset), Num(item.Factor));
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

} // namespace

QString GridInfoText(const QString &fileName)
{
    TRKFile f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    const auto &s = f.Struktur;
    QString t;
    t += QStringLiteral("File:        %1\n").arg(fileName);
    t += QStringLiteral("Comment:     %1\n").arg(f.Comment);
    t += QStringLiteral("Nodes:       %1 columns x %2 rows; Z levels: %3\n")
             .arg(s.Columns)
             .arg(s.Rows)
             .arg(s.ZLevels);
    t +=
        QStringLiteral("Origin:      x %1  y %2  z %3\n").arg(Num(s.XOrigin), Num(s.YOrigin), Num(s.ZOrigin));
    t += QStringLiteral("Spacing:     dx %1  dy %2\n").arg(Num(s.dx), Num(s.dy));
    t += QStringLiteral("Extent:      %1 %2 .. %3 %4\n").arg(Num(x0), Num(y0), Num(x1), Num(y1));
    t += QStringLiteral("Cell size:   %1 bytes\n").arg(f.GetDataSize());
    t += QStringLiteral("Value types: H %1, W1 %2, W2 %3\n")
             .arg(QLatin1String(TypeName(s.TypeH)), QLatin1String(TypeName(s.TypeW1)),
                  QLatin1String(TypeName(s.TypeW2)));
    const std::pair<const char *, const TInfoList *> lists[] = {{"H channels", &f.HList},
                                                                {"Z levels", &f.ZList},
                                                                {"W1 channels", &f.W1List},
                                                                {"W2 channels", &f.W2List}};
    const int counts[] = {s.nH, s.ZLevels, s.nW1, s.nW2};
    for (int l = 0; l < 4; ++l) {
        t += QStringLiteral("%1: %2\n").arg(QLatin1String(lists[l].first)).arg(counts[l]);
        for (std::size_t i = 0; i < lists[l].second->size(); ++i)
            t += ItemLine(int(i) + 1, *(*lists[l].second)[i]);
    }
    return t;
}

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

QString GridQueryText(const QString &fileName, double x, double y, bool section, double cosine, double sine)
{
    CheckGridFile(fileName);
    TRKFile f(fileName);
    // Open already, the file stays open through the query, which would otherwise open it for
    // writing as well.
    f.OpenGridFileReadOnly();
    const double direction[2] = {cosine, sine};
    double z = 0;
    TTaggedLines lines;
    f.GetValuesOfPt(section, direction, x, y, z, lines);
    QString t = Num(x) + QLatin1Char('\t') + Num(y) + QLatin1Char('\t') + Num(z) + QLatin1Char('\n');
    for (const auto &l : lines)
        t += QString::number(l.Tag) + QLatin1Char('\t') + l.Text + QLatin1Char('\n');
    return t;
}

namespace {

// ---------------------------------------------------------------------------------------------
// Building a file from its description

[[noreturn]] void Bad(const QString &what)
{
    throw UsageError(what.toStdString());
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
    if (__int128(cell) * s.Columns * s.Rows > cMaxCreatedData)
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
        throw EInOutError(QStringLiteral("Could not write the whole of %1").arg(out), 101);
    f.OpenGridFile();
    for (const auto &c : cells)
        f.WriteDataBlock(c.Col, c.Row, std::int32_t(c.Bytes.size() / cell), 1, c.Bytes.constData());
    f.WriteMinMax(kHMinMax);
    f.WriteMinMax(kW1MinMax);
    f.WriteMinMax(kW2MinMax);
    f.CloseGridFile();
}

// ---------------------------------------------------------------------------------------------
// ESRI ASCII export

struct TChannel {
    std::int64_t Pos;
    std::uint8_t Type;
    float Offset, Factor;
};

TChannel ParseChannel(TRKFile &f, const QString &channelText)
{
    static const QRegularExpression h(QStringLiteral("^H(\\d+)$"));
    static const QRegularExpression w(QStringLiteral("^W1\\.(\\d+)(?:\\.(\\d+))?$"));
    const auto &s = f.Struktur;
    const auto scaling = [](const TInfoItem *item) {
        return item ? std::pair(item->Offset, item->Factor) : std::pair(0.0f, 1.0f);
    };
    const auto outOfRange = [&](const QString &what, int count) {
        Bad(QStringLiteral("channel %1 out of range: %2 has %3 %4")
                .arg(channelText, f.FileName())
                .arg(count)
                .arg(what));
    };
    if (const auto m = h.match(channelText); m.hasMatch()) {
        const int k = m.captured(1).toInt();
        if (k < 1 || k > s.nH)
            outOfRange(QStringLiteral("H channels"), s.nH);
        const auto [offset, factor] = scaling(f.GetHInfo(k));
        return {1 + std::int64_t(k - 1) * WertSizeOf(s.TypeH), s.TypeH, offset, factor};
    }
    if (const auto m = w.match(channelText); m.hasMatch()) {
        const int i = m.captured(1).toInt();
        if (i < 1 || i > s.nW1)
            outOfRange(QStringLiteral("W1 channels"), s.nW1);
        const std::int64_t group =
            1 + std::int64_t(s.nH) * WertSizeOf(s.TypeH) +
            std::int64_t(i - 1) * (std::int64_t(s.nW2) * WertSizeOf(s.TypeW2) + WertSizeOf(s.TypeW1));
        // W2 values take the scaling of their W1 channel, as the point query shows them.
        const auto [offset, factor] = scaling(f.GetW1Info(i));
        if (!m.hasCaptured(2))
            return {group, s.TypeW1, offset, factor};
        const int j = m.captured(2).toInt();
        if (j < 1 || j > s.nW2)
            outOfRange(QStringLiteral("W2 channels"), s.nW2);
        return {group + std::int64_t(j - 1) * WertSizeOf(s.TypeW2), s.TypeW2, offset, factor};
    }
    Bad(QStringLiteral("channel %1: expected H<k>, W1.<i> or W1.<i>.<j>").arg(channelText));
}

QByteArray FloatText(float v)
{
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return QByteArray(buf, int(r.ptr - buf));
}

void ExportGrid(const QString &fileName, const QString &channel, const QString &out)
{
    TRKFile f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    const TChannel ch = ParseChannel(f, channel);
    const auto &s = f.Struktur;
    if (!(s.dx > 0) || s.dy == 0 || !std::isfinite(s.dx) || !std::isfinite(s.dy))
        Bad(QStringLiteral("%1: the spacing cannot be written as an ASCII grid").arg(fileName));
    CheckDataArea(f);

    QSaveFile asc(out);
    if (!asc.open(QIODevice::WriteOnly))
        throw EInOutError(QStringLiteral("%1 (%2)").arg(asc.errorString(), out), EIO);
    const auto put = [&](const QByteArray &bytes) {
        if (asc.write(bytes) != bytes.size())
            throw EInOutError(QStringLiteral("%1 (%2)").arg(asc.errorString(), out), EIO);
    };
    // Nodes are the centres of the cells; the format runs from north to south.
    const bool northUp = s.dy > 0;
    const double south = northUp ? s.YOrigin : s.YOrigin + (s.Rows - 1) * double(s.dy);
    QByteArray head;
    head += "ncols " + QByteArray::number(s.Columns) + "\n";
    head += "nrows " + QByteArray::number(s.Rows) + "\n";
    head += "xllcenter " + QByteArray::number(s.XOrigin, 'g', 17) + "\n";
    head += "yllcenter " + QByteArray::number(south, 'g', 17) + "\n";
    if (std::abs(s.dx) == std::abs(s.dy)) {
        head += "cellsize " + FloatText(s.dx) + "\n";
    } else {
        head += "dx " + FloatText(s.dx) + "\n";
        head += "dy " + FloatText(std::abs(s.dy)) + "\n";
    }
    put(head);

    const std::int64_t cell = f.GetDataSize();
    const std::int64_t rowBytes = cell * s.Columns;
    const int band = int(std::clamp<std::int64_t>(cExportBand / rowBytes, 1, s.Rows));
    std::vector<std::uint8_t> data(std::size_t(rowBytes * band));
    for (int done = 0; done < s.Rows; done += band) {
        const int n = std::min(band, s.Rows - done);
        // Bands in file order from the northern end.
        const int first = northUp ? s.Rows - done - n + 1 : done + 1;
        f.ReadDataBlock(1, first, s.Columns, n, data.data());
        for (int k = 0; k < n; ++k) {
            const int inBand = northUp ? n - 1 - k : k;
            const std::uint8_t *row = data.data() + std::int64_t(inBand) * rowBytes;
            QByteArray line;
            for (int c = 0; c < s.Columns; ++c) {
                if (c)
                    line += ' ';
                line += FloatText(
                    TRKFile::GetVal(row + c * cell, cell - 1, ch.Pos, ch.Type, ch.Offset, ch.Factor));
            }
            line += '\n';
            put(line);
        }
    }
    if (!asc.commit())
        throw EInOutError(QStringLiteral("%1 (%2)").arg(asc.errorString(), out), EIO);
}

// ---------------------------------------------------------------------------------------------
// Command line

// Takes "--name value" out of args; empty when absent.
QString TakeOption(QStringList &args, const QString &name)
{
    const qsizetype i = args.indexOf(name);
    if (i < 0)
        return QString();
    if (i + 1 >= args.size())
        Bad(QStringLiteral("option %1 needs a value").arg(name));
    const QString value = args.at(i + 1);
    args.remove(i, 2);
    return value;
}

bool TakeFlag(QStringList &args, const QString &name)
{
    return args.removeAll(name) > 0;
}

double ParseNumber(const QString &text, const char *what)
{
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        Bad(QStringLiteral("%1 \"%2\" is not a number").arg(QLatin1String(what), text));
    return v;
}

int ParseCount(const QString &text, const char *what)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok)
        Bad(QStringLiteral("%1 \"%2\" is not a whole number").arg(QLatin1String(what), text));
    return v;
}

void ExpectArgs(const QStringList &args, qsizetype count, const char *usage)
{
    for (const QString &a : args)
        if (a.startsWith(QLatin1String("--")))
            Bad(QStringLiteral("unknown option %1").arg(a));
    if (args.size() != count)
        Bad(QStringLiteral("usage: wnpack grid %1").arg(QLatin1String(usage)));
}

void Print(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stdout);
}

int RunGrid(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        std::fprintf(stderr, "%s\n", cGridUsage);
        return 1;
    }
    QStringList args = arguments;
    const QString sub = args.takeFirst();
    if (sub == QLatin1String("sample")) {
        const QString cols = TakeOption(args, QStringLiteral("--cols"));
        const QString rows = TakeOption(args, QStringLiteral("--rows"));
        ExpectArgs(args, 1, "sample OUT [--cols N --rows N]");
        WriteSampleGrid(args[0], cols.isEmpty() ? 200 : ParseCount(cols, "--cols"),
                        rows.isEmpty() ? 160 : ParseCount(rows, "--rows"));
        return 0;
    }
    if (sub == QLatin1String("info")) {
        const bool json = TakeFlag(args, QStringLiteral("--json"));
        ExpectArgs(args, 1, "info FILE [--json]");
        if (json)
            Print(QString::fromUtf8(QJsonDocument(GridInfoJson(args[0])).toJson(QJsonDocument::Indented)));
        else
            Print(GridInfoText(args[0]));
        return 0;
    }
    if (sub == QLatin1String("query")) {
        const bool section = TakeFlag(args, QStringLiteral("--section"));
        const QString cosine = TakeOption(args, QStringLiteral("--cos"));
        const QString sine = TakeOption(args, QStringLiteral("--sin"));
        ExpectArgs(args, 3, "query FILE X Y [--section --cos C --sin S]");
        Print(GridQueryText(args[0], ParseNumber(args[1], "X"), ParseNumber(args[2], "Y"), section,
                            cosine.isEmpty() ? 1.0 : ParseNumber(cosine, "--cos"),
                            sine.isEmpty() ? 0.0 : ParseNumber(sine, "--sin")));
        return 0;
    }
    if (sub == QLatin1String("create")) {
        ExpectArgs(args, 2, "create OUT DESCRIPTION.json");
        CreateGrid(args[0], args[1]);
        return 0;
    }
    if (sub == QLatin1String("export")) {
        const QString channel = TakeOption(args, QStringLiteral("--channel"));
        const QString format = TakeOption(args, QStringLiteral("--format"));
        ExpectArgs(args, 2, "export FILE --channel H<k>|W1.<i>|W1.<i>.<j> --format asc OUT");
        if (channel.isEmpty())
            Bad(QStringLiteral("export needs --channel"));
        if (!format.isEmpty() && format != QLatin1String("asc"))
            Bad(QStringLiteral("unknown export format \"%1\" (only asc)").arg(format));
        ExportGrid(args[0], channel, args[1]);
        return 0;
    }
    if (sub == QLatin1String("serve"))
        return RunGridServe(args);
    if (sub == QLatin1String("ask"))
        return RunGridAsk(args);
    Bad(QStringLiteral("unknown grid command \"%1\" (sample, info, query, create, export, serve, ask)")
            .arg(sub));
}

const TCommandRegistration
    registration({"grid", "writes, inspects, queries, builds, exports and serves grid files", RunGrid});

} // namespace
} // namespace wnpack
