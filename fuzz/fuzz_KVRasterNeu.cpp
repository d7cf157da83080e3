// The grid result file from untrusted bytes: open, structure, comment, names, min/max, the
// special block, the coordinate range, the point query in plan and in section, and a small
// block of cells. Any wn::Exception is an answer; everything else is a finding.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "grid/KVRasterNeu.h"

#include <vector>

using namespace wn;

namespace {

// Cells larger than this are not worth reading block by block here.
constexpr std::int64_t kMaxCellBytes = 1 << 16;
// Every read of the names and min/max sections grows the lists to the structure's counts, up
// to 65535 items each; counts that large run the same code as small ones, only slower, and
// would keep the fuzzer at a few dozen runs a second (the point query alone lists W1 x W2
// lines).
constexpr std::uint16_t kMaxCount = 40;

void Query(TRKFile &grid, bool section, double x, double y)
{
    double z = 0;
    const double direction[2] = {0.6, 0.8};
    TTaggedLines lines;
    try {
        grid.GetValuesOfPt(section, section ? direction : nullptr, x, y, z, lines);
    } catch (const wn::Exception &) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    TRKFile grid(wnfuzz::WriteInput(data, size, QStringLiteral("input.rlk")));
    try {
        grid.OpenGridFileReadOnly();
        grid.ReadGridStructure();
        const TrecRlkStruktur &st = grid.Struktur;
        if (st.nH > kMaxCount || st.nW1 > kMaxCount || st.nW2 > kMaxCount || st.ZLevels > kMaxCount)
            return 0;
        grid.ReadComment();
        grid.ReadAllNames();
        grid.ReadAllMinMax();
        QByteArray special;
        grid.ReadSpecialStructure(special);
        const std::int64_t cell = grid.GetDataSize();
        if (cell > 0 && cell <= kMaxCellBytes) {
            const std::int32_t cols = std::min<std::int32_t>(grid.Struktur.Columns, 2);
            const std::int32_t rows = std::min<std::int32_t>(grid.Struktur.Rows, 2);
            std::vector<std::uint8_t> block(std::size_t(cell * cols * rows));
            try {
                grid.ReadDataBlock(1, 1, cols, rows, block.data());
            } catch (const wn::Exception &) {
            }
            try {
                grid.ReadDataBlock(grid.Struktur.Columns, grid.Struktur.Rows, 1, 1, block.data());
            } catch (const wn::Exception &) {
            }
        }
    } catch (const wn::Exception &) {
    }
    grid.CloseGridFile();

    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    try {
        grid.GetKoordMinMax(x0, y0, x1, y1);
    } catch (const wn::Exception &) {
    }
    // One query a run, picked by the last byte: each query reads every section again.
    switch (size ? data[size - 1] % 3 : 0) {
    case 0: Query(grid, false, (x0 + x1) / 2, (y0 + y1) / 2); break;
    case 1: Query(grid, false, x1, y0); break;
    default: Query(grid, true, (x1 - x0) / 3, y1); break;
    }
    return 0;
}
