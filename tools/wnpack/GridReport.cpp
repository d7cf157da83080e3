// Grid files as people and scripts read them: the structure and channels, the point query.
#include "GridTool.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QFileInfo>
#include <QJsonArray>

#include <charconv>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cNotAGridFileText = " is not a grid file";
const char *const cNoCellsText = " holds no cells";
const char *const cShortDataText = "Data area is shorter than its grid (";
const char *const cNoneText = "none";

// Shortest text that reads back as the same value: 0.4 for the Single 0.4, not 0.400000005960464.
template <typename T> QString Shortest(T v)
{
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return QString::fromLatin1(buf, int(r.ptr - buf));
}

const char *TypeName(std::uint8_t t)
{
    static const char *const names[] = {"None", "Byte", "SmallInt", "Single"};
    return t <= cwtSingle ? names[t] : "?";
}

QString ItemLine(std::size_t index, const TInfoItem &item)
{
    // A fresh entry's placeholders mean the writer never set min and max.
    const QString min = item.Min == 1e35f ? QLatin1String(cNoneText) : Shortest(item.Min);
    const QString max = item.Max == -1e35f ? QLatin1String(cNoneText) : Shortest(item.Max);
    return QLatin1String("  ") + QString::number(index) + QLatin1String("  ") + item.Name +
           QLatin1String(" [") + item.Unit + QLatin1String("]  min ") + min + QLatin1String("  max ") + max +
           QLatin1String("  offset ") + Shortest(item.Offset) + QLatin1String("  factor ") +
           Shortest(item.Factor) + QLatin1Char('\n');
}

// Grid indices reach from -0.5 to count - 0.5 over the cells around the nodes.
bool Outside(const TrecRlkStruktur &s, const TQueryPoint &p)
{
    const double col = (p.Section ? p.X : p.X - s.XOrigin) / s.dx;
    const double row = (p.Section ? p.Y - s.ZOrigin : p.Y - s.YOrigin) / s.dy;
    const auto off = [](double t, int count) { return !(t >= -0.5 && t <= count - 0.5); };
    return off(col, s.Columns) || off(row, s.Rows);
}

// The JSON of one labelled line: the channel it shows and the parts of its text.
QJsonObject LineJson(const TRKFile &f, const TTaggedLine &line)
{
    std::int32_t h, w1, w2;
    GetSelected(line.Tag, h, w1, w2);
    QString kind, channel, name;
    QJsonArray index;
    if (h != 0) {
        kind = QStringLiteral("H");
        index = {h};
        name = f.GetHInfo(h)->Name;
    } else if (w2 == 0) {
        kind = QStringLiteral("W1");
        index = {w1};
        name = f.GetW1Info(w1)->Name;
    } else {
        kind = QStringLiteral("W2");
        index = {w1, w2};
        name = f.GetW1Info(w1)->Name + QLatin1Char('-') + f.GetW2Info(w2)->Name;
    }
    channel = (kind == QLatin1String("H") ? QStringLiteral("H") : QStringLiteral("W1.")) +
              QString::number(kind == QLatin1String("H") ? h : w1) +
              (kind == QLatin1String("W2") ? QLatin1Char('.') + QString::number(w2) : QString());
    // "name [unit] \tvalue": the unit carries the prefix the value was scaled by.
    const qsizetype tab = line.Text.lastIndexOf(QLatin1Char('\t'));
    const qsizetype unitStart = name.size() + 2;
    const QString unit = line.Text.mid(unitStart, tab - 2 - unitStart);
    return QJsonObject{{"tag", line.Tag},
                       {"kind", kind},
                       {"index", index},
                       {"channel", channel},
                       {"name", name},
                       {"unit", unit},
                       {"value", line.Text.mid(tab + 1).toDouble()}};
}

void CheckGridFile(const QString &fileName)
{
    if (!TRKFile::IsGridFile(fileName))
        throw Exception(fileName + QLatin1String(cNotAGridFileText));
}

} // namespace

void LoadGrid(TRKFile &f, double &x0, double &y0, double &x1, double &y1)
{
    CheckGridFile(f.FileName());
    f.OpenGridFileReadOnly();
    // The extent has to come first: reading the structure again empties the channel lists.
    f.GetKoordMinMax(x0, y0, x1, y1);
    f.ReadComment();
    f.ReadAllNames();
    f.ReadAllMinMax();
}

void CheckDataArea(TRKFile &f)
{
    const auto &s = f.Struktur;
    if (s.Columns == 0 || s.Rows == 0)
        throw Exception(f.FileName() + QLatin1String(cNoCellsText));
    const std::int64_t cell = f.GetDataSize();
    std::int64_t data = 0;
    if (qMulOverflow(cell, std::int64_t(s.Columns) * s.Rows, &data) || data > QFileInfo(f.FileName()).size())
        throw EInOutError(QLatin1String(cShortDataText) + f.FileName() + QLatin1Char(')'),
                          cInOutReadBeyondEnd);
    std::vector<std::uint8_t> last(std::size_t(cell), 0);
    f.ReadDataBlock(s.Columns, s.Rows, 1, 1, last.data());
}

QString GridInfoText(const QString &fileName, const QString &shownName)
{
    TRKFile f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    const auto &s = f.Struktur;
    const auto line = [](const char *label, const QString &text) {
        return QLatin1String(label) + text + '\n';
    };
    QString t = line("File:        ", shownName) + line("Comment:     ", f.Comment);
    t += line("Nodes:       ", QString::number(s.Columns) + QLatin1String(" columns x ") +
                                   QString::number(s.Rows) + QLatin1String(" rows; Z levels: ") +
                                   QString::number(s.ZLevels));
    t += line("Origin:      ", QLatin1String("x ") + Shortest(s.XOrigin) + QLatin1String("  y ") +
                                   Shortest(s.YOrigin) + QLatin1String("  z ") + Shortest(s.ZOrigin));
    t += line("Spacing:     ",
              QLatin1String("dx ") + Shortest(s.dx) + QLatin1String("  dy ") + Shortest(s.dy));
    t += line("Extent:      ",
              Shortest(x0) + ' ' + Shortest(y0) + QLatin1String(" .. ") + Shortest(x1) + ' ' + Shortest(y1));
    t += line("Cell size:   ", QString::number(f.GetDataSize()) + QLatin1String(" bytes"));
    t += line("Value types: ", QLatin1String("H ") + QLatin1String(TypeName(s.TypeH)) +
                                   QLatin1String(", W1 ") + QLatin1String(TypeName(s.TypeW1)) +
                                   QLatin1String(", W2 ") + QLatin1String(TypeName(s.TypeW2)));
    const std::tuple<const char *, const TInfoList *, int> lists[] = {{"H channels: ", &f.HList, s.nH},
                                                                      {"Z levels: ", &f.ZList, s.ZLevels},
                                                                      {"W1 channels: ", &f.W1List, s.nW1},
                                                                      {"W2 channels: ", &f.W2List, s.nW2}};
    for (const auto &[label, list, count] : lists) {
        t += line(label, QString::number(count));
        for (std::size_t i = 0; i < list->size(); ++i)
            t += ItemLine(i + 1, *(*list)[i]);
    }
    return t;
}

TQueryAnswer QueryGrid(const QString &fileName, const TQueryPoint &point)
{
    CheckGridFile(fileName);
    TRKFile f(fileName);
    // Open already, the file stays open through the query, which would otherwise open it for
    // writing as well.
    f.OpenGridFileReadOnly();
    const double direction[2] = {point.Cos, point.Sin};
    TQueryAnswer a{point.X, point.Y, 0.0, false, QString(), QJsonObject()};
    TTaggedLines lines;
    f.GetValuesOfPt(point.Section, direction, a.X, a.Y, a.Z, lines);
    a.Outside = Outside(f.Struktur, point);
    a.Text = FloatToStr(a.X) + QLatin1Char('\t') + FloatToStr(a.Y) + QLatin1Char('\t') + FloatToStr(a.Z) +
             QLatin1Char('\n');
    QJsonArray json;
    for (const TTaggedLine &l : lines) {
        a.Text += QString::number(l.Tag) + QLatin1Char('\t') + l.Text + QLatin1Char('\n');
        if (l.Tag != 0)
            json.append(LineJson(f, l));
    }
    a.Json = QJsonObject{{"x", a.X}, {"y", a.Y}, {"z", a.Z}, {"outside", a.Outside}, {"lines", json}};
    return a;
}

} // namespace wnpack
