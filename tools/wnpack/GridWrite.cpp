// New grid files from the wnpack program: written whole through an output file, so that an
// existing file is replaced only by a complete one; and `wnpack grid copy`.
#include "GridTool.h"

#include "Paths.h"
#include "Progress.h"

#include "framework/Exceptions.h"

#include <algorithm>
#include <vector>

namespace wnpack {

using namespace wn;

namespace {

const char *const cTooLargeText = "a data area of %1 x %2 cells of %3 bytes is too large (more than 8 GiB)";
const char *const cHeadChangedText = "the sections in front of the cells changed their size while writing";

constexpr std::int64_t cZeroPiece = 1 << 20;
constexpr std::int64_t cCopyPiece = 16 << 20;

// Tells which sections a file holds, so that a copy holds the same ones.
class TSourceGrid : public TRKFile
{
public:
    using TRKFile::TRKFile;
    bool Has(TKennung kennung)
    {
        TrecInfo info;
        return SeekKenn(kennung, info);
    }
};

} // namespace

TGridWriter::TGridWriter(TRKFile &grid, TOutputFile &out, const QByteArray &special)
    : FGrid(grid), FOut(out), FSpecial(special)
{
    const auto &s = grid.Struktur;
    const std::int64_t cell = grid.GetDataSize();
    if (qMulOverflow(cell, std::int64_t(s.Columns) * s.Rows, &FDataSize) || FDataSize > cMaxCreatedData)
        throw Exception(QString::fromLatin1(cTooLargeText).arg(s.Columns).arg(s.Rows).arg(cell));
    const QByteArray head =
        grid.HeadBytes(special.isEmpty() ? nullptr : special.constData(), std::int32_t(special.size()));
    FHeadSize = head.size();
    FOut.Write(head);
}

void TGridWriter::Write(const void *cells, std::int64_t size)
{
    FOut.Write(static_cast<const char *>(cells), size);
}

void TGridWriter::WriteZeros(TProgress &progress)
{
    static const QByteArray zeros(cZeroPiece, '\0');
    for (std::int64_t done = 0; done < FDataSize;) {
        const std::int64_t piece = std::min(cZeroPiece, FDataSize - done);
        FOut.Write(zeros.constData(), piece);
        done += piece;
        progress.Update(done, FDataSize);
    }
}

void TGridWriter::WriteAt(int col, int row, const QByteArray &cells)
{
    const std::int64_t index = std::int64_t(row - 1) * FGrid.Struktur.Columns + (col - 1);
    FOut.Seek(FHeadSize + index * FGrid.GetDataSize());
    FOut.Write(cells);
}

void TGridWriter::Finish()
{
    const QByteArray head =
        FGrid.HeadBytes(FSpecial.isEmpty() ? nullptr : FSpecial.constData(), std::int32_t(FSpecial.size()));
    if (head.size() != FHeadSize)
        throw Exception(QLatin1String(cHeadChangedText));
    FOut.Seek(0);
    FOut.Write(head);
    FOut.Commit();
}

void CopyGrid(const QString &fileName, TOutputFile &out, TProgress &progress)
{
    TSourceGrid f(fileName);
    double x0, y0, x1, y1;
    LoadGrid(f, x0, y0, x1, y1);
    const auto &s = f.Struktur;
    const bool hasCells = s.Columns > 0 && s.Rows > 0;
    if (hasCells)
        CheckDataArea(f);
    QByteArray special;
    f.ReadSpecialStructure(special);
    // The readers fill a list for every channel the structure counts; a list whose min/max
    // section the file lacks was empty when the file was written, and stays so.
    const std::pair<TKennung, TInfoList *> lists[] = {
        {kHMinMax, &f.HList}, {kW1MinMax, &f.W1List}, {kW2MinMax, &f.W2List}};
    for (const auto &[kennung, list] : lists)
        if (!f.Has(kennung))
            list->clear();

    TGridWriter writer(f, out, special);
    if (!hasCells) {
        writer.Finish();
        return;
    }
    const std::int64_t cell = f.GetDataSize();
    // Whole rows when they are small, else pieces of one row.
    const std::int64_t rowBytes = cell * s.Columns;
    const int rows = int(std::clamp<std::int64_t>(cCopyPiece / rowBytes, 1, s.Rows));
    const int cols = int(std::clamp<std::int64_t>(cCopyPiece / cell, 1, s.Columns));
    std::vector<std::uint8_t> buffer(std::size_t(rows > 1 ? rows * rowBytes : cols * cell));
    for (int r = 1; r <= s.Rows; r += rows) {
        const int n = std::min(rows, s.Rows - r + 1);
        for (int c = 1; c <= s.Columns; c += cols) {
            const int m = std::min(cols, s.Columns - c + 1);
            f.ReadDataBlock(c, r, m, n, buffer.data());
            writer.Write(buffer.data(), std::int64_t(n) * m * cell);
        }
        progress.Update(r + n - 1, s.Rows);
    }
    writer.Finish();
}

} // namespace wnpack
