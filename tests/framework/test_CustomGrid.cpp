// The cell grid: its axis geometry, counts, keys, the in-place editor, mouse selection and
// resizing, a grid of ten million rows, and how it paints.

#include "framework/CustomGrid.h"

#include "WidgetTestSupport.h"

#include <QLineEdit>
#include <QPainter>
#include <QScrollBar>

using namespace wn;

namespace {

// A shown, focused draw grid of 10 x 1000 cells of 64 x 24 pixels with one-pixel lines, so a
// cell (c, r) of the unscrolled grid starts at (65c, 25r). It draws "c,r" in each cell.
struct GridTest : ::testing::Test {
    QWidget Form;
    TDrawGrid *Grid = new TDrawGrid(&Form);
    std::vector<std::tuple<int, int, QString>> Stored;
    int Clicks = 0;
    int Drawn = 0;

    GridTest()
    {
        Form.resize(420, 300);
        Grid->setGeometry(0, 0, 400, 280);
        Grid->SetColCount(10);
        Grid->SetRowCount(1000);
        Grid->OnClick = [this](QObject *) { ++Clicks; };
        Grid->OnDrawCell = [this](QObject *, QPainter &p, int c, int r, const QRect &rect, TGridDrawState) {
            ++Drawn;
            p.drawText(rect.adjusted(3, 0, 0, 0), Qt::AlignVCenter, QStringLiteral("%1,%2").arg(c).arg(r));
        };
        Grid->OnGetEditText = [](QObject *, int c, int r, QString &v) {
            v = QStringLiteral("old%1%2").arg(c).arg(r);
        };
        Grid->OnSetEditText = [this](QObject *, int c, int r, const QString &v) {
            Stored.emplace_back(c, r, v);
        };
        Form.show();
        Form.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&Form));
        Grid->setFocus();
    }

    static QPoint At(int c, int r) { return {65 * c + 30, 25 * r + 12}; }
    static void Key(int key, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key), mods);
    }
    void Click(int c, int r, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, At(c, r), mods);
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, At(c, r), mods);
    }
    void Drag(QPoint from, QPoint to)
    {
        test::SendMouse(*Grid->viewport(), QEvent::MouseMove, from);
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, from);
        test::SendMouse(*Grid->viewport(), QEvent::MouseMove, to);
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, to);
    }
    QLineEdit *Editor() const { return Grid->InplaceEditor(); }
    bool EditorShown() const { return Editor() && Editor()->isVisible(); }
};

} // namespace

TEST(GridAxis, PositionsHitsAndScrollLimits)
{
    // Cell 0 is fixed and 30 wide, cell 3 is 40 wide, the rest 20; every line is 1 pixel.
    TGridAxis a;
    a.Count = 10;
    a.DefaultSize = 20;
    a.SetSize(0, 30);
    a.SetSize(3, 40);
    EXPECT_EQ(a.FixedExtent(), 31);
    const std::vector<std::pair<int, std::int64_t>> starts{{0, 0}, {1, 31}, {3, 73}, {4, 114}, {5, -1}};
    for (const auto &[cell, start] : starts)
        EXPECT_EQ(a.CellStart(cell, 1, 120), start) << cell;
    EXPECT_EQ(a.CellStart(2, 3, 120), -1);
    const std::vector<std::pair<std::int64_t, int>> hits{{-1, -1}, {30, 0},  {51, 1},
                                                         {52, 2},  {119, 4}, {120, -1}};
    for (const auto &[pos, cell] : hits)
        EXPECT_EQ(a.CellAt(pos, 1, 120), cell) << pos;
    EXPECT_EQ(a.FullVisibleCount(1, 120), 3);
    EXPECT_EQ(a.LastVisible(1, 120), 4);
    EXPECT_EQ(a.Boundary(1, 120), 120);
    // Cells 6..9 take 31 + 4 * 21 - 1 = 114 pixels: 6 is the last top that leaves no gap.
    EXPECT_EQ(a.MaxFirst(120), 6);
    EXPECT_EQ(a.FullVisibleCount(6, 120), 4);
    EXPECT_EQ(a.Boundary(6, 200), 115);
    EXPECT_EQ(a.FirstToShow(3, 1, 120), 1);
    EXPECT_EQ(a.FirstToShow(4, 1, 120), 2);
    EXPECT_EQ(a.FirstToShow(9, 1, 120), 6);
    EXPECT_EQ(a.FirstToShow(1, 5, 120), 1);
    const std::vector<std::pair<std::int64_t, int>> lines{{30, 0}, {49, 1}, {53, 1}, {45, -1}, {54, -1}};
    for (const auto &[pos, cell] : lines)
        EXPECT_EQ(a.LineAt(pos, 1, 120, 2), cell) << pos;

    // Sizes travel with moved cells.
    a.Move(3, 7);
    EXPECT_EQ(std::make_pair(a.Size(3), a.Size(7)), std::make_pair(20, 40));
    a.Move(7, 1);
    EXPECT_EQ(std::make_pair(a.Size(1), a.Size(7)), std::make_pair(40, 20));
    EXPECT_EQ(a.StoredSizes(), 2u);

    // Ten million cells: only the two odd sizes are stored, the limits come from the end.
    a.Count = 10'000'000;
    a.ResetSizes();
    a.SetSize(9'999'999, 50);
    EXPECT_EQ(a.MaxFirst(120), 9'999'998 - 1);
    EXPECT_EQ(a.FirstToShow(9'999'999, 1, 120), 9'999'997);
    a.Truncate(9'999'999);
    EXPECT_EQ(a.StoredSizes(), 0u);
}

TEST(CustomGrid, CountsClampAndImpossibleFixedCountsThrow)
{
    TDrawGrid g;
    EXPECT_EQ(g.property("ColCount").toInt(), 5);
    EXPECT_EQ(g.property("Options").value<TGridOptions>(), GridDefaultOptions);
    EXPECT_EQ(g.property("FixedColor").value<TColor>(), clBtnFace);
    g.SetColCount(0);
    EXPECT_EQ(std::make_pair(g.ColCount(), g.FixedCols()), std::make_pair(1, 0));
    EXPECT_THROW(g.SetFixedCols(1), EInvalidGridOperation);
    EXPECT_THROW(g.SetFixedRows(-1), EInvalidGridOperation);
    try {
        g.SetFixedRows(5);
        ADD_FAILURE();
    } catch (const EInvalidGridOperation &e) {
        EXPECT_EQ(e.Message(), "Fixed row count must be less than row count");
    }
    EXPECT_THROW(g.SetRow(5), EInvalidGridOperation);
    EXPECT_THROW(g.ColWidths(1), EInvalidGridOperation);
    g.SetRow(4);
    g.SetRowCount(3);
    EXPECT_EQ(g.Row(), 2);
    g.SetRowHeights(1, -7);
    EXPECT_EQ(g.RowHeights(1), 0);
    g.SetDefaultRowHeight(30);
    EXPECT_EQ(g.RowHeights(1), 30);
    EXPECT_EQ(g.RowAxis().StoredSizes(), 0u);
}

TEST_F(GridTest, KeysMoveTheCellAndShiftExtendsTheSelection)
{
    const int page = Grid->VisibleRowCount();
    EXPECT_GT(page, 5);
    struct Step {
        int Key;
        Qt::KeyboardModifiers Mods;
        TGridRect Selection;
        int TopRow;
    };
    const std::vector<Step> steps{
        {Qt::Key_Right, Qt::NoModifier, {2, 1, 2, 1}, 1},
        {Qt::Key_Down, Qt::ShiftModifier, {2, 1, 2, 2}, 1},
        {Qt::Key_Right, Qt::ShiftModifier, {2, 1, 3, 2}, 1},
        {Qt::Key_Down, Qt::NoModifier, {3, 3, 3, 3}, 1},
        {Qt::Key_PageDown, Qt::NoModifier, {3, 3 + page, 3, 3 + page}, 1 + page},
        {Qt::Key_PageUp, Qt::NoModifier, {3, 3, 3, 3}, 1},
        {Qt::Key_End, Qt::NoModifier, {9, 3, 9, 3}, 1},
        {Qt::Key_End, Qt::ControlModifier, {9, 999, 9, 999}, 999 - page + 1},
        {Qt::Key_Home, Qt::NoModifier, {1, 999, 1, 999}, 999 - page + 1},
        {Qt::Key_Home, Qt::ControlModifier, {1, 1, 1, 1}, 1},
        {Qt::Key_Up, Qt::NoModifier, {1, 1, 1, 1}, 1},
    };
    for (std::size_t i = 0; i < steps.size(); ++i) {
        Key(steps[i].Key, steps[i].Mods);
        EXPECT_EQ(Grid->Selection(), steps[i].Selection) << i;
        EXPECT_EQ(Grid->TopRow(), steps[i].TopRow) << i;
    }
    EXPECT_EQ(Clicks, 10); // every move but the last, which went nowhere

    // A refused cell stops the move; Tab walks cells only with goTabs and wraps at the row end.
    Grid->OnSelectCell = [](QObject *, int c, int, bool &can) { can = c != 2; };
    Key(Qt::Key_Right);
    EXPECT_EQ(Grid->Col(), 1);
    Grid->SetOptions(Grid->Options() | goTabs);
    Grid->SetCol(9);
    Key(Qt::Key_Tab);
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(1, 2));
    Key(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(9, 1));
}

TEST_F(GridTest, EditorTakesTypingAndStoresOnEnterNotOnEscape)
{
    Key(Qt::Key_A);
    EXPECT_FALSE(EditorShown()); // no goEditing
    Grid->SetOptions(Grid->Options() | goEditing);

    // Typing replaces the cell's text; Enter stores it and closes the editor.
    QTest::keyClicks(Grid, "7");
    ASSERT_TRUE(EditorShown());
    EXPECT_EQ(Editor()->text(), "7");
    EXPECT_EQ(Editor()->geometry(), Grid->CellRect(1, 1));
    Key(Qt::Key_8);
    Key(Qt::Key_Return);
    EXPECT_FALSE(EditorShown());
    ASSERT_EQ(Stored.size(), 1u);
    EXPECT_EQ(Stored[0], std::make_tuple(1, 1, QString("78")));

    // F2 keeps the text with the caret at its end; Escape stores nothing.
    Key(Qt::Key_F2);
    EXPECT_EQ(Editor()->text(), "old11");
    Key(Qt::Key_X);
    EXPECT_EQ(Editor()->text(), "old11x");
    Key(Qt::Key_Escape);
    EXPECT_FALSE(EditorShown());
    EXPECT_EQ(Stored.size(), 1u);

    // Moving on stores a changed text only, and the editor follows to the new cell.
    Key(Qt::Key_F2);
    Key(Qt::Key_Down);
    EXPECT_EQ(Stored.size(), 1u);
    EXPECT_EQ(Editor()->text(), "old12");
    Key(Qt::Key_Z); // the new cell's text was selected
    Key(Qt::Key_Down);
    EXPECT_EQ(Stored.back(), std::make_tuple(1, 2, QString("z")));
    EXPECT_TRUE(EditorShown());
    EXPECT_EQ(Editor()->geometry(), Grid->CellRect(1, 3));

    // Leaving the grid stores the change and closes the editor.
    Key(Qt::Key_Q);
    QLineEdit other(&Form);
    other.show();
    other.setFocus();
    EXPECT_EQ(Stored.back(), std::make_tuple(1, 3, QString("q")));
    EXPECT_FALSE(EditorShown());
}

TEST_F(GridTest, MouseSelectsExtendsDragsAndResizes)
{
    Click(2, 3);
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(2, 3));
    Click(4, 5, Qt::ShiftModifier);
    EXPECT_EQ(Grid->Selection(), (TGridRect{2, 3, 4, 5}));
    Drag(At(1, 1), At(3, 2));
    EXPECT_EQ(Grid->Selection(), (TGridRect{1, 1, 3, 2}));
    Click(0, 2); // fixed cells are not selected
    EXPECT_EQ(Grid->Selection(), (TGridRect{1, 1, 3, 2}));

    // Dragging below the grid scrolls a row per move.
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, At(1, 1));
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, QPoint(40, 400));
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, QPoint(40, 400));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, QPoint(40, 400));
    const int page = Grid->VisibleRowCount();
    EXPECT_EQ(Grid->Selection(), (TGridRect{1, 1, 1, 2 + page}));
    EXPECT_EQ(Grid->TopRow(), 3);

    // The line right of column 1 in the header row (x = 129) sizes the column.
    const QPoint line(129, 10);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, line);
    EXPECT_EQ(Grid->CurrentCursor(), crDefault); // no goColSizing yet
    Grid->SetOptions(Grid->Options() | goColSizing | goRowSizing | goColMoving);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, line);
    EXPECT_EQ(Grid->CurrentCursor(), crHSplit);
    Drag(line, line + QPoint(20, 0));
    EXPECT_EQ(Grid->ColWidths(1), 84);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, At(2, 0));
    EXPECT_EQ(Grid->CurrentCursor(), crDefault);
    // Row 3 is the first row shown: its bottom line in the fixed column is at y = 49.
    Drag(QPoint(20, 49), QPoint(20, 39));
    EXPECT_EQ(Grid->RowHeights(3), 14);

    // Dragging column 1's header onto column 3 moves it, with its width.
    std::pair<int, int> moved;
    Grid->OnColumnMoved = [&](QObject *, int from, int to) { moved = {from, to}; };
    Drag(At(1, 0), QPoint(65 * 3 + 20 + 30, 12));
    EXPECT_EQ(moved, std::make_pair(1, 3));
    EXPECT_EQ(Grid->ColWidths(3), 84);
}

TEST_F(GridTest, TenMillionRowsScrollToTheEndAndPaintOnlyWhatShows)
{
    Grid->SetRowCount(10'000'000);
    Grid->SetRowHeights(5'000'000, 60);
    Key(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(Grid->Row(), 9'999'999);
    EXPECT_EQ(Grid->TopRow(), 10'000'000 - Grid->VisibleRowCount());
    EXPECT_EQ(Grid->verticalScrollBar()->maximum(), Grid->TopRow() - 1);
    const QRect last = Grid->CellRect(9, 9'999'999);
    EXPECT_LE(last.bottom(), Grid->ClientHeight());
    EXPECT_EQ(Grid->MouseCoord(last.center().x(), last.center().y()), (TGridCoord{9, 9'999'999}));

    Grid->verticalScrollBar()->setValue(5'000'000 - 1);
    EXPECT_EQ(Grid->TopRow(), 5'000'000);
    EXPECT_EQ(Grid->CellRect(9, 5'000'000).height(), 60);
    Drawn = 0;
    Grid->grab();
    const int cols = Grid->ColAxis().LastVisible(Grid->LeftCol(), Grid->ClientWidth()) - Grid->LeftCol() + 2;
    const int rows = Grid->RowAxis().LastVisible(Grid->TopRow(), Grid->ClientHeight()) - 5'000'000 + 2;
    EXPECT_EQ(Drawn, cols * rows);
}

TEST_F(GridTest, PaintsFixedCellsSelectionAndFocus)
{
    Grid->SetSelection({2, 2, 3, 4});
    Grid->SetColWidths(4, 30);
    Grid->SetRowHeights(6, 40);
    QImage image = test::SavePicture(*Grid, "framework", "CustomGrid_selection");
    const QPoint origin = Grid->viewport()->mapTo(Grid, QPoint(0, 0));
    const auto pixel = [&](int x, int y) { return image.pixel(origin + QPoint(x, y)); };
    const QPalette pal = Grid->palette();
    EXPECT_EQ(pixel(40, 20), pal.color(QPalette::Button).rgb()); // fixed cell
    EXPECT_EQ(pixel(20, 0), pal.color(QPalette::Light).rgb());   // its bevel
    EXPECT_EQ(pixel(64, 10), pal.color(QPalette::Shadow).rgb()); // fixed line
    EXPECT_EQ(pixel(129, 40), QColor(192, 192, 192).rgb());      // grid line
    EXPECT_EQ(pixel(245, 78), pal.color(QPalette::Highlight).rgb());
    EXPECT_EQ(pixel(180, 53), QColor(Qt::white).rgb()); // the current cell shows the focus frame
    // Without the focus the current cell is highlighted like the rest of the selection.
    QLineEdit other(&Form);
    other.show();
    other.setFocus();
    image = test::SavePicture(*Grid, "framework", "CustomGrid_unfocused");
    EXPECT_EQ(pixel(180, 53), pal.color(QPalette::Highlight).rgb());

    Grid->setFocus();
    Grid->SetOptions(Grid->Options() | goEditing);
    Key(Qt::Key_F2);
    test::SavePicture(*Grid, "framework", "CustomGrid_editor");
}
