// Grid files as people and scripts read them: the structure and channels, the point query.
#include "GridTool.h"

#include "Command.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QFile>
#include <QFileInfo>

namespace wnpack {

using namespace wn;

[[noreturn]] void Bad(const QString &what)
{
    throw UsageError(what.toStdString());
}

QString Num(double v)
{
    return FloatToStr(v);
}

void CheckGridFile(const QString &fileName)
{
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly))
        throw EInOutError::FromErrno(QFileInfo::exists(fileName) ? EACCES : ENOENT, fileName);
    if (!TRKFile::IsGridFile(fileName))
        throw UsageError(QStringLiteral("%1 is not a grid file").arg(fileName).toStdString());
}

// The extent has to come first: reading the structure again empties the channel lists.
void LoadGrid(TRKFile &f, double &x0, double &y0, double &x1, double &y1)
{
    CheckGridFile(f.FileName());
    f.OpenGridFileReadOnly();
    f.GetKoordMinMax(x0, y0, x1, y1);
    f.ReadComment();
    f.ReadAllNames();
    f.ReadAllMinMax();
}

void CheckDataArea(TRKFile &f)
{
    const auto &s = f.Struktur;
    if (s.Columns == 0 || s.Rows == 0)
        throw UsageError(QStringLiteral("%1 holds no cells").arg(f.FileName()).toStdString());
    const std::int64_t cell = f.GetDataSize();
    std::int64_t data = 0;
    if (qMulOverflow(cell, std::int64_t(s.Columns) * s.Rows, &data) || data > QFileInfo(f.FileName()).size())
        throw EInOutError(QStringLiteral("Data area of %1 is shorter than its grid").arg(f.FileName()),
                          cInOutReadBeyondEnd);
    std::vector<std::uint8_t> last(std::size_t(cell), 0);
    f.ReadDataBlock(s.Columns, s.Rows, 1, 1, last.data());
}

namespace {

const char *TypeName(std::uint8_t t)
{
    static const char *const names[] = {"None", "Byte", "SmallInt", "Single"};
    return t <= cwtSingle ? names[t] : "?";
}

QString ItemLine(int index, const TInfoItem &item)
{
    return QStringLiteral("  %1  %2 [%3]  min %4  max %5  offset %6  factor %7\n")
        .arg(index)
        .arg(item.Name, item.Unit, Num(item.Min), Num(item.Max), Num(item.Offset), Num(item.Factor));
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

} // namespace wnpack
