// `wnpack grid export`: one channel of a grid file as an ESRI ASCII grid.
#include "GridTool.h"

#include "Command.h"
#include "Paths.h"
#include "Progress.h"

#include "framework/Exceptions.h"

#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cChannelSyntaxText = "channel %1: expected H<k>, W1.<i> or W1.<i>.<j>";
// The user's text goes in last, so that a "%1" in it stays as it is.
const char *const cOutOfRangeText = "channel %3 out of range: the file has %1 %2";
const char *const cNoValuesText = "channel %1 holds no values (its value type is None)";
const char *const cGeometryText = "origin and spacing cannot be written as an ASCII grid: ";

constexpr std::int64_t cExportBand = 16 << 20;

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
    const auto check = [&](int index, int count, const char *what, std::uint8_t type) {
        if (index < 1 || index > count)
            throw Exception(
                QString::fromLatin1(cOutOfRangeText).arg(count).arg(QLatin1String(what)).arg(channelText));
        if (type == cwtNone)
            throw Exception(QString::fromLatin1(cNoValuesText).arg(channelText));
    };
    const TCellLayout layout(s);
    if (const auto m = h.match(channelText); m.hasMatch()) {
        const int k = m.captured(1).toInt();
        check(k, s.nH, "H channels", s.TypeH);
        const auto [offset, factor] = scaling(f.GetHInfo(k));
        return {layout.HPos(k), s.TypeH, offset, factor};
    }
    const auto m = w.match(channelText);
    if (!m.hasMatch())
        throw UsageError(QString::fromLatin1(cChannelSyntaxText).arg(channelText));
    const int i = m.captured(1).toInt();
    // W2 values take the scaling of their W1 channel, as the point query shows them.
    const auto [offset, factor] = scaling(f.GetW1Info(i));
    if (!m.hasCaptured(2)) {
        check(i, s.nW1, "W1 channels", s.TypeW1);
        return {layout.W1Pos(i), s.TypeW1, offset, factor};
    }
    check(i, s.nW1, "W1 channels", s.TypeW2);
    const int j = m.captured(2).toInt();
    check(j, s.nW2, "W2 channels", s.TypeW2);
    return {layout.W2Pos(i, j), s.TypeW2, offset, factor};
}

QByteArray FloatText(float v)
{
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return QByteArray(buf, int(r.ptr - buf));
}

} // namespace

void ExportGrid(const QString &fileName, const QString &channel, TOutputFile &out, TProgress &progress)
{
    TRKFile f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    const TChannel ch = ParseChannel(f, channel);
    const auto &s = f.Struktur;
    if (!(s.dx > 0) || s.dy == 0 || !std::isfinite(s.dx) || !std::isfinite(s.dy) ||
        !std::isfinite(s.XOrigin) || !std::isfinite(s.YOrigin))
        throw Exception(QLatin1String(cGeometryText) + fileName);
    CheckDataArea(f);

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
    out.Write(head);

    const std::int64_t cell = f.GetDataSize();
    const std::int64_t rowBytes = cell * s.Columns;
    const int band = int(std::clamp<std::int64_t>(cExportBand / rowBytes, 1, s.Rows));
    std::vector<std::uint8_t> data(std::size_t(rowBytes * band));
    QByteArray lines;
    for (int done = 0; done < s.Rows; done += band) {
        const int n = std::min(band, s.Rows - done);
        // Bands in file order from the northern end.
        const int first = northUp ? s.Rows - done - n + 1 : done + 1;
        f.ReadDataBlock(1, first, s.Columns, n, data.data());
        lines.clear();
        for (int k = 0; k < n; ++k) {
            const int inBand = northUp ? n - 1 - k : k;
            const std::uint8_t *row = data.data() + std::int64_t(inBand) * rowBytes;
            for (int c = 0; c < s.Columns; ++c) {
                if (c)
                    lines += ' ';
                lines += FloatText(
                    TRKFile::GetVal(row + c * cell, cell - 1, ch.Pos, ch.Type, ch.Offset, ch.Factor));
            }
            lines += '\n';
        }
        out.Write(lines);
        progress.Update(done + n, s.Rows);
    }
    out.Commit();
}

} // namespace wnpack
