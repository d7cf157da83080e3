// The value grid against QTableView over a table model, both 1000 x 600 pixels and both serving
// the same values from arrays: a 1,000,000-row grid of a number column and 19 data columns
// painted whole at the top, the middle and the end, and paged down 1,000 times (each page
// painted). A last pair paints the cells of 100 rows and of 10,000,000 rows, which must cost
// the same.
#include "WidgetBenchMain.h"
#include "controls/ValueGrid.h"

#include <QAbstractTableModel>
#include <QApplication>
#include <QHeaderView>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QTableView>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace wn;

namespace {

constexpr int cRows = 1'000'000;
constexpr int cDataCols = 19;
const QSize cSize(1000, 600);

// The owner's arrays: one level per row, one factor per column; even columns are levels with
// one decimal, odd ones counts.
struct TData {
    std::vector<double> Levels;
    std::vector<double> Factors;
    explicit TData(int rows) : Levels(std::size_t(rows) + 1), Factors(cDataCols)
    {
        for (std::size_t r = 0; r < Levels.size(); ++r)
            Levels[r] = 30.0 + double(r % 100) / 10.0;
        for (int c = 0; c < cDataCols; ++c)
            Factors[std::size_t(c)] = 1.0 + c / 10.0;
    }
    bool IsLevel(int col) const { return col % 2 == 0; }
    double Level(int row, int col) const { return Levels[std::size_t(row)] * Factors[std::size_t(col)]; }
    int Count(int row, int col) const { return ((row % 100) * 7 + col) % 1000; }
    // Every value repeats each 100 rows, so that a row far down shows the same text as one near
    // the top.
    int Number(int row) const { return row % 100; }
};

struct TGridSetup {
    TData Data;
    TValueGrid Grid;
    explicit TGridSetup(int rows) : Data(rows)
    {
        Grid.resize(cSize);
        Grid.AddColDef(-1, 64, "Nr", "", ftInteger, taLeftJustify, taRightJustify, "", false);
        for (int c = 0; c < cDataCols; ++c)
            Grid.AddColDef(c, 64, QStringLiteral("Col %1").arg(c), "", Data.IsLevel(c) ? ftFloat : ftInteger,
                           taLeftJustify, taRightJustify);
        Grid.SetFixedCols(1);
        Grid.SetRowCount(rows + 1);
        Grid.OnGetColValue = [this](QObject *, int id, int row, QPainter *) -> QVariant {
            if (id < 0)
                return Data.Number(row);
            return Data.IsLevel(id) ? QVariant(Data.Level(row, id)) : QVariant(Data.Count(row, id));
        };
        Grid.show();
        QApplication::processEvents();
    }
};

class TModel : public QAbstractTableModel
{
public:
    explicit TModel(const TData &data, int rows) : FData(data), FRows(rows) {}
    int rowCount(const QModelIndex &parent) const override { return parent.isValid() ? 0 : FRows; }
    int columnCount(const QModelIndex &parent) const override { return parent.isValid() ? 0 : cDataCols; }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const int row = index.row() + 1;
        const int col = index.column();
        if (role == Qt::DisplayRole)
            return FData.IsLevel(col) ? QString::number(FData.Level(row, col), 'f', 1)
                                      : QString::number(FData.Count(row, col));
        if (role == Qt::TextAlignmentRole)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (role != Qt::DisplayRole)
            return {};
        return orientation == Qt::Horizontal ? QVariant(QStringLiteral("Col %1").arg(section))
                                             : QVariant(FData.Number(section + 1));
    }

private:
    const TData &FData;
    int FRows;
};

struct TTableSetup {
    TData Data;
    TModel Model;
    QTableView View;
    explicit TTableSetup(int rows) : Data(rows), Model(Data, rows)
    {
        View.resize(cSize);
        View.setModel(&Model);
        View.horizontalHeader()->setDefaultSectionSize(64);
        View.verticalHeader()->setDefaultSectionSize(24);
        View.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        View.verticalHeader()->setFixedWidth(64);
        View.show();
        QApplication::processEvents();
    }
};

// One of each for the million-row runs; never freed, so they outlive the application harmlessly.
TGridSetup &SharedGrid()
{
    static auto *setup = new TGridSetup(cRows);
    return *setup;
}

TTableSetup &SharedTable()
{
    static auto *setup = new TTableSetup(cRows);
    return *setup;
}

// Renders the whole widget as a repaint would.
void Paint(QWidget &w, QImage &image)
{
    QPainter p(&image);
    w.render(&p);
}

void BM_ValueGrid_Paint(benchmark::State &state)
{
    TValueGrid &g = SharedGrid().Grid;
    const int targets[] = {1, cRows / 2, cRows};
    g.SetTopRow(targets[state.range(0)]);
    QImage image(cSize, QImage::Format_RGB32);
    for (auto _ : state)
        Paint(g, image);
}

void BM_QTableView_Paint_Baseline(benchmark::State &state)
{
    TTableSetup *setup = &SharedTable();
    const int targets[] = {0, cRows / 2 - 1, cRows - 1};
    setup->View.scrollTo(setup->Model.index(targets[state.range(0)], 0), QAbstractItemView::PositionAtTop);
    QImage image(cSize, QImage::Format_RGB32);
    for (auto _ : state)
        Paint(setup->View, image);
}

void BM_ValueGrid_PageDown1000(benchmark::State &state)
{
    TValueGrid &g = SharedGrid().Grid;
    QImage image(cSize, QImage::Format_RGB32);
    for (auto _ : state) {
        g.SetTopRow(1);
        for (int i = 0; i < 1000; ++i) {
            g.SetTopRow(g.TopRow() + g.VisibleRowCount());
            Paint(g, image);
        }
    }
}

void BM_QTableView_PageDown1000_Baseline(benchmark::State &state)
{
    TTableSetup *setup = &SharedTable();
    QScrollBar *bar = setup->View.verticalScrollBar();
    QImage image(cSize, QImage::Format_RGB32);
    for (auto _ : state) {
        bar->setValue(0);
        for (int i = 0; i < 1000; ++i) {
            bar->setValue(bar->value() + bar->pageStep());
            Paint(setup->View, image);
        }
    }
}

void BM_ValueGrid_PaintRows(benchmark::State &state)
{
    TGridSetup setup(int(state.range(0)));
    setup.Grid.SetTopRow(int(state.range(0))); // the last page: the same rows modulo 100
    // The cells only: a scroll bar's thumb is long for 100 rows and short for ten million.
    QImage image(cSize, QImage::Format_RGB32);
    for (auto _ : state)
        Paint(*setup.Grid.viewport(), image);
}

} // namespace

// Argument: 0 top, 1 middle, 2 end.
BENCHMARK(BM_ValueGrid_Paint)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_QTableView_Paint_Baseline)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ValueGrid_PageDown1000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_QTableView_PageDown1000_Baseline)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ValueGrid_PaintRows)->Arg(100)->Arg(10'000'000)->Unit(benchmark::kMicrosecond);

WN_WIDGET_BENCHMARK_MAIN()
