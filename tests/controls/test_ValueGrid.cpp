// The value grid driven as a user drives it: typing by field type, moving over cells that cannot
// be edited, Boolean toggles, multi-row edits, drag-fill, copy and paste, hints, hidden columns,
// owner failures, colours and pictures; and the copy dialog.

#include "controls/CopyToClipBrdFrm.h"
#include "controls/ValueGrid.h"

#include "WidgetTestSupport.h"
#include "framework/SysUtils.h"

#include <QClipboard>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include <map>

using namespace wn;

namespace {

// Columns: 0 "Nr" (fixed), 1 Count (integer), 2 Level (float), 3 On (Boolean), 4 Date, 5 Name,
// 6 Note (not editable); rows 1 to 5 hold data. The owner keeps the values in a map.
struct ValueGridTest : ::testing::Test {
    TFormatSettings SavedSettings = FormatSettings();
    TRecordingUiServices Ui;
    TUiServicesScope UiScope{Ui};
    QWidget Form;
    TValueGrid *Grid = new TValueGrid(&Form);
    std::map<std::pair<int, int>, QVariant> Data;
    std::vector<std::tuple<int, int, QVariant>> Stored;
    int AfterSets = 0;

    ValueGridTest()
    {
        FormatSettings() = TFormatSettings();
        Form.resize(640, 220);
        Grid->setGeometry(0, 0, 630, 210);
        Grid->AddColDef(1, 40, "Nr", "", ftInteger, taLeftJustify, taRightJustify, "", false);
        Grid->AddColDef(10, 70, "Count", "How many", ftInteger, taCenter, taRightJustify);
        Grid->AddColDef(11, 70, "Level", "dB(A)", ftFloat, taLeftJustify, taRightJustify);
        Grid->AddColDef(12, 50, "On", "", ftBoolean, taLeftJustify, taCenter);
        Grid->AddColDef(13, 90, "Date", "", ftDateTime, taLeftJustify, taLeftJustify);
        Grid->AddColDef(14, 90, "Name", "", ftString, taLeftJustify, taLeftJustify);
        Grid->AddColDef(15, 90, "Note", "", ftString, taLeftJustify, taLeftJustify, "", false);
        Grid->SetFixedCols(1);
        Grid->SetRowCount(6);
        for (int r = 1; r <= 5; ++r) {
            Data[{1, r}] = r;
            Data[{10, r}] = r * 10;
            Data[{11, r}] = r + 0.25;
            Data[{12, r}] = r % 2 == 1;
            Data[{14, r}] = QStringLiteral("n%1").arg(r);
            Data[{15, r}] = QStringLiteral("fixed");
        }
        Grid->OnGetColValue = [this](QObject *, int id, int row, QPainter *) {
            const auto it = Data.find({id, row});
            return it == Data.end() ? QVariant() : it->second;
        };
        Grid->OnSetColValue = [this](QObject *, int id, int row, const QVariant &v) {
            Stored.emplace_back(id, row, v);
            Data[{id, row}] = v;
        };
        Grid->OnAfterSetColValues = [this](QObject *) { ++AfterSets; };
        Form.show();
        Form.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&Form));
        Grid->setFocus();
    }
    ~ValueGridTest() override { FormatSettings() = SavedSettings; }

    void EnableEditing() { Grid->SetOptions(Grid->Options() | goEditing); }
    static void Key(int key, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key), mods);
    }
    static void Type(const QString &text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    QPoint Centre(int c, int r) const { return Grid->CellRect(c, r).center(); }
    void Press(QPoint at, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, at, mods);
        test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, at, mods);
    }
    void Click(int c, int r, Qt::KeyboardModifiers mods = Qt::NoModifier) { Press(Centre(c, r), mods); }
    QString Editor() const { return Grid->InplaceEditor() ? Grid->InplaceEditor()->text() : QString(); }
    bool EditorShown() const { return Grid->InplaceEditor() && Grid->InplaceEditor()->isVisible(); }
    QString CopyInMode(int mode)
    {
        Ui.ModalAnswer = [mode](QDialog &form) {
            static_cast<TCopyToClipBoardForm &>(form).SetItemIndex(mode);
            return mrOk;
        };
        Ui.Clipboard.clear();
        Grid->CopyToClipBoard();
        return Ui.Clipboard;
    }
};

} // namespace

TEST_F(ValueGridTest, ColumnDefinitionsTextsAndTheWidthRule)
{
    EXPECT_EQ(Grid->ColCount(), 7);
    EXPECT_EQ(Grid->property("NoEditColor").value<TColor>(), clMenu);
    EXPECT_EQ(Grid->GetColDef(3)->FormatStr, "-;YES");
    EXPECT_EQ(Grid->GetColDef(2)->FormatStr, "0.0");
    const std::vector<std::pair<QPoint, QString>> texts{{{0, 0}, "Nr"},  {{2, 1}, "1.3"}, {{2, 2}, "2.3"},
                                                        {{3, 1}, "YES"}, {{3, 2}, "-"},   {{1, 4}, "40"},
                                                        {{4, 1}, ""},    {{5, 3}, "n3"},  {{6, 9}, ""}};
    for (const auto &[cell, text] : texts)
        EXPECT_EQ(Grid->GetAsString(cell.x(), cell.y()), text) << cell.x() << "," << cell.y();

    // Width W + 5 at the requested width gives W + 10; one pixel more and the request holds.
    const int w = QFontMetrics(Grid->font()).boundingRect(QRect(), 0, "A long title").width();
    Grid->AddColDef(20, w + 5, "A long title", "", ftString, taLeftJustify, taLeftJustify);
    EXPECT_EQ(Grid->ColWidths(7), w + 10);
    Grid->AddColDef(21, w + 6, "A long title", "", ftString, taLeftJustify, taLeftJustify);
    EXPECT_EQ(Grid->ColWidths(8), w + 6);
    EXPECT_EQ(Grid->RowHeights(0), 24); // one line fits the default height
    Grid->AddColDef(22, 40, "Two\rlines", "", ftString, taLeftJustify, taLeftJustify);
    EXPECT_EQ(Grid->RowHeights(0),
              QFontMetrics(Grid->font()).boundingRect(QRect(), 0, "Two\nlines").height() + 5);

    // Hiding the first scrolled column shifts grid columns; the ID lookup keeps its counter rule.
    Grid->ColDefList().Items(1)->Visible = false;
    Grid->SetColCount(Grid->ColDefList().GetVisibleCount());
    EXPECT_EQ(Grid->GetColDef(1)->ID, 11);
    EXPECT_EQ(Grid->GetColIndexByColID(1), 0);
    EXPECT_EQ(Grid->GetColIndexByColID(11), 2); // really shown in column 1
    EXPECT_EQ(Grid->GetColIndexByColID(10), 1); // the hidden one
    EXPECT_EQ(Grid->GetColIndexByColID(12), 3);
    EXPECT_EQ(Grid->GetColIndexByColID(99), -1);
    Grid->ColDefList().Clear();
    Grid->SetColCount(3);
    EXPECT_EQ(Grid->GetColDef(0), nullptr);
    EXPECT_EQ(Grid->ColCount(), 3);
    Grid->grab(); // nothing to paint, nothing to fail
}

TEST_F(ValueGridTest, TypingAcceptsTheKeysOfTheFieldType)
{
    EnableEditing();
    struct Case {
        int Col;
        QString Typed;
        QString Shown;
    };
    const std::vector<Case> cases{
        {1, "-1a2.5", "-125"}, {2, "+3.5e", "+3.5"}, {4, "1/2.x3", "1/23"}, {5, "a=b c", "ab c"}};
    for (const Case &c : cases) {
        Grid->SetCol(c.Col);
        Type(c.Typed);
        EXPECT_EQ(Editor(), c.Shown) << c.Col;
        Key(Qt::Key_Escape);
    }
    EXPECT_EQ(Ui.Beeps, 5);
    EXPECT_TRUE(Stored.empty());
    Grid->GetColDef(5)->AllowedChars.set('x');
    Grid->SetCol(5);
    Type("axb");
    EXPECT_EQ(Editor(), "x");
}

TEST_F(ValueGridTest, EnterAndArrowsMoveOverCellsThatCannotBeEdited)
{
    EnableEditing();
    // Column 2 refuses row 2 through OnSelectCell; column 6 never takes the cursor.
    Grid->OnSelectCell = [](QObject *, int c, int r, bool &can) { can = can && !(c == 2 && r == 2); };
    Grid->SetCol(5);
    Type("x");
    Key(Qt::Key_Return); // stored, no editable cell to the right: next row, leftmost editable
    EXPECT_EQ(Stored.back(), std::make_tuple(14, 1, QVariant("x")));
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(1, 2));
    EXPECT_FALSE(EditorShown());
    Key(Qt::Key_Right); // over the refused (2, 2)
    EXPECT_EQ(Grid->Col(), 3);
    Grid->SetCol(2);
    EXPECT_EQ(Grid->Col(), 3);
    Key(Qt::Key_Up);
    Key(Qt::Key_Left);
    Key(Qt::Key_Down);
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(2, 3)); // Down skipped row 2
    Grid->SetRow(5);
    Grid->SetCol(5);
    Key(Qt::Key_Right); // column 6 is not editable
    EXPECT_EQ(Grid->Col(), 5);
    Key(Qt::Key_F2);
    Key(Qt::Key_Return); // last editable cell of the last row: leave the editor, stay
    EXPECT_FALSE(EditorShown());
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(5, 5));
    EXPECT_EQ(Stored.size(), 1u); // the text was not changed
    Key(Qt::Key_Equal);           // "=" is swallowed in every column
    EXPECT_EQ(Editor(), "n5");
    Key(Qt::Key_Escape);
    // Without the skipping walk, Down meets the refused cell and stays.
    Grid->SetCol(2);
    Grid->SetRow(1);
    Grid->SetNoKeyMoves(true);
    Key(Qt::Key_Down);
    EXPECT_EQ(Grid->Row(), 1);
}

TEST_F(ValueGridTest, BooleansToggleByClickSpaceAndEnterWhateverTheText)
{
    Grid->SetCol(3);
    Click(3, 1); // no goEditing yet: nothing toggles
    EXPECT_TRUE(Stored.empty());
    EnableEditing();
    Click(3, 1);
    EXPECT_EQ(Data[std::make_pair(12, 1)], QVariant(false));
    Key(Qt::Key_Space);
    EXPECT_EQ(Data[std::make_pair(12, 1)], QVariant(true));
    Key(Qt::Key_Q); // any printable key
    EXPECT_EQ(Data[std::make_pair(12, 1)], QVariant(false));
    Key(Qt::Key_F2);
    Key(Qt::Key_Return);
    EXPECT_EQ(Data[std::make_pair(12, 1)], QVariant(true));
    EXPECT_FALSE(EditorShown());
    Key(Qt::Key_Return); // Enter alone on the grid is ignored in a Boolean column
    EXPECT_EQ(Stored.size(), 4u);
    // A cell without a value becomes true; a text that is no Boolean stores nothing.
    Data.erase({12, 2});
    Grid->SetRow(2);
    Key(Qt::Key_Space);
    EXPECT_EQ(Data[std::make_pair(12, 2)], QVariant(true));
    Data[{12, 3}] = "maybe";
    Grid->SetRow(3);
    Key(Qt::Key_Space);
    EXPECT_EQ(Data[std::make_pair(12, 3)], QVariant("maybe"));
    EXPECT_EQ(Stored.size(), 5u);
}

TEST_F(ValueGridTest, EditsConvertByTypeAndReachEverySelectedRow)
{
    EnableEditing();
    Grid->SetCol(2);
    Grid->SetSelection({2, 1, 2, 3});
    Type("7.5");
    Key(Qt::Key_Down);
    EXPECT_EQ(Stored.size(), 3u);
    for (int r = 1; r <= 3; ++r)
        EXPECT_EQ(Data[std::make_pair(11, r)], QVariant(7.5)) << r;
    EXPECT_EQ(AfterSets, 1);

    // Each text is pasted into the editor (so no key is refused) and confirmed with Enter.
    const auto enter = [this](int col, const QString &text) {
        Stored.clear();
        Grid->SetCol(col);
        Key(Qt::Key_F2);
        Key(Qt::Key_A, Qt::ControlModifier);
        if (text.isEmpty()) {
            Key(Qt::Key_Backspace);
        } else {
            QApplication::clipboard()->setText(text);
            Key(Qt::Key_V, Qt::ControlModifier);
        }
        Key(Qt::Key_Return);
        return Stored.empty() ? QVariant() : std::get<2>(Stored.front());
    };
    const std::vector<std::tuple<int, QString, QVariant>> cases{
        {2, "-", QVariant(0)}, {2, "", QVariant(0)},     {2, " 1.5", QVariant(1.5)},
        {1, "", QVariant(0)},  {1, " 42", QVariant(42)}, {5, " a ", QVariant(" a ")},
        {2, "1x", QVariant()}, {1, "2.5", QVariant()}};
    for (const auto &[col, text, stored] : cases)
        EXPECT_EQ(enter(col, text), stored) << col << " '" << text.toStdString() << "'";
    EXPECT_EQ(AfterSets, 1 + 6);
    // Letters pasted into a float cell store nothing and say nothing.
    EXPECT_EQ(enter(2, "ab"), QVariant());
    EXPECT_TRUE(Ui.CallsOf("MessageDlg").empty());
}

TEST_F(ValueGridTest, DragFillCopiesAlongTheDraggedAxis)
{
    EnableEditing();
    Grid->SetCol(1);
    const QRect cell = Grid->CellRect(1, 1);
    const QPoint handle(cell.x() + cell.width() - 1, cell.y() + cell.height() - 1);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, handle);
    EXPECT_EQ(Grid->CurrentCursor(), crCross);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(1, 1));
    EXPECT_EQ(Grid->CurrentCursor(), crArrow);
    // Down from (1, 1) to row 3: the value 10 goes to rows 2 and 3 of column 1 only.
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, handle);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(1, 3));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, Centre(1, 3));
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{{10, 2, 10}, {10, 3, 10}}));
    EXPECT_EQ(AfterSets, 0);

    // A row selection dragged down fills each column from the current row, by type.
    Stored.clear();
    Grid->SetSelection({1, 4, 2, 4});
    const QRect c2 = Grid->CellRect(1, 4);
    const QPoint handle2(c2.x() + c2.width() - 1, c2.y() + c2.height() - 1);
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, handle2);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(1, 5));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, Centre(1, 5));
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{{10, 5, 40}, {11, 5, 4.25}}));

    // A column selection dragged right fills each row from the current column; only columns of
    // the same field type take the values, so dragging left over Date stores nothing.
    Stored.clear();
    Grid->GetColDef(6)->Editable = true;
    Grid->SetCol(5);
    Grid->SetRow(1);
    Grid->SetSelection({5, 1, 5, 2});
    const QPoint handle3 = Grid->CellRect(5, 1).bottomRight();
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, handle3);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(6, 1));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, Centre(6, 1));
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{{15, 1, "n1"}, {15, 2, "n2"}}));
    Stored.clear();
    Grid->SetSelection({5, 1, 5, 2});
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, handle3);
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(4, 1));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, Centre(4, 1));
    EXPECT_TRUE(Stored.empty());

    // A cell 10 pixels wide or narrower has no fill handle.
    Grid->SetColWidths(5, 10);
    const QRect narrow = Grid->CellRect(5, 1);
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonPress, narrow.bottomRight());
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(5, 3));
    test::SendMouse(*Grid->viewport(), QEvent::MouseButtonRelease, Centre(5, 3));
    EXPECT_TRUE(Stored.empty());
}

TEST_F(ValueGridTest, ShiftClickSelectsARangeOnlyWhenEveryRowAllowsIt)
{
    Grid->SetCol(1);
    Click(2, 3, Qt::ShiftModifier);
    EXPECT_EQ(Grid->Selection(), (TGridRect{1, 1, 2, 3}));
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(1, 1));
    Click(2, 2);
    EXPECT_EQ(Grid->Selection(), (TGridRect{2, 2, 2, 2}));
    // Column 6 cannot be selected: the range ending there is refused and the click goes on.
    Click(6, 4, Qt::ShiftModifier);
    EXPECT_EQ(Grid->Selection(), (TGridRect{2, 2, 2, 2}));
    std::vector<std::pair<int, int>> fixedClicks;
    Grid->OnFixedClicked = [&](QObject *, int c, int r, TMouseButton, TShiftState) {
        fixedClicks.emplace_back(c, r);
    };
    Click(0, 3);
    Click(4, 0);
    EXPECT_EQ(fixedClicks, (std::vector<std::pair<int, int>>{{0, 3}, {4, 0}}));
}

TEST_F(ValueGridTest, CopyModesGiveTheClipboardTextByteForByte)
{
    Grid->SetColCount(4);
    Grid->SetRowCount(3);
    Grid->GetColDef(2)->Title = "Level\rdB";
    Grid->SetCol(2);
    Grid->SetRow(2);
    const std::vector<QString> expected{
        "Nr\tCount\tLevel dB\tOn\r\n1\t10\t1.25\tTrue\r\n2\t20\t2.25\tFalse\r\n",
        "10\t1.25\tTrue\r\n20\t2.25\tFalse\r\n",
        "20\t2.25\tFalse\r\n",
        "1.25\r\n2.25\r\n",
        "2.25\r\n",
    };
    for (int mode = 0; mode < 5; ++mode)
        EXPECT_EQ(CopyInMode(mode), expected[std::size_t(mode)]) << mode;
    EXPECT_EQ(Ui.CallsOf("ShowModal").front().Text, "Copy To ClipBoard");

    // Cancel leaves the clipboard alone; a failing cell is empty and reported once.
    Ui.ModalAnswer = nullptr;
    Ui.Clipboard = "kept";
    Grid->CopyToClipBoard();
    EXPECT_EQ(Ui.Clipboard, "kept");
    auto get = Grid->OnGetColValue;
    Grid->OnGetColValue = [get](QObject *s, int id, int row, QPainter *c) {
        if (id == 11 && row == 1)
            throw EConvertError("bad value");
        return get(s, id, row, c);
    };
    EXPECT_EQ(CopyInMode(3), "\r\n2.25\r\n");
    ASSERT_EQ(Ui.CallsOf("MessageDlg").size(), 1u);
    EXPECT_EQ(Ui.CallsOf("MessageDlg")[0].Text, "bad value\rError(2) in Col,Row=2;1");

    // The keys: Ctrl+C and Ctrl+Numpad 3 copy; the owner's handler replaces the dialog.
    int copies = 0;
    Grid->OnCopyToClipBoard = [&](QObject *) { ++copies; };
    Key(Qt::Key_C, Qt::ControlModifier);
    Key(Qt::Key_3, Qt::ControlModifier | Qt::KeypadModifier);
    Key(Qt::Key_3, Qt::ControlModifier);
    EXPECT_EQ(copies, 2);
}

TEST_F(ValueGridTest, PasteStoresTokensFollowedByTabOrCr)
{
    Grid->SetCol(2);
    Grid->SetRow(4);
    Ui.HasClipboardText = true;
    Ui.Clipboard = "1\t2\r\n3\tabc\t7\t8\r\n5\t6\r\n9";
    Key(Qt::Key_V, Qt::ControlModifier);
    // Row 4 takes 1 and 2, row 5 takes 3, "abc" (text is the owner's to judge), 7 and 8; the
    // last row ends the paste.
    const std::vector<std::tuple<int, int, QVariant>> expected{{11, 4, "1"},   {12, 4, "2"}, {11, 5, "3"},
                                                               {12, 5, "abc"}, {13, 5, "7"}, {14, 5, "8"}};
    EXPECT_EQ(Stored, expected);
    EXPECT_EQ(AfterSets, 1);

    Stored.clear();
    Ui.Clipboard = "1\t2";
    Key(Qt::Key_F7, Qt::ControlModifier);
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{{11, 4, "1"}}));
    Stored.clear();
    Grid->OnCheckSelectCell = [](QObject *, int c, int, bool &can) { can = c != 3; };
    Ui.Clipboard = "a\tb\tc\td\te\tf\t";
    Grid->PasteFromClipBoard();
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{
                          {11, 4, "a"}, {13, 4, "c"}, {14, 4, "d"}, {15, 4, "e"}}));
}

TEST_F(ValueGridTest, LineKeysHintsAndHeaderAlignment)
{
    std::vector<std::pair<char, int>> lines;
    Grid->OnAddLine = [&](QObject *, int r) { lines.emplace_back('+', r); };
    Grid->OnRemoveLine = [&](QObject *, int r) { lines.emplace_back('-', r); };
    Grid->SetRow(3);
    Key(Qt::Key_Plus, Qt::ControlModifier | Qt::KeypadModifier);
    Key(Qt::Key_Equal, Qt::ControlModifier);
    Key(Qt::Key_Minus, Qt::ControlModifier | Qt::KeypadModifier);
    Key(Qt::Key_Minus, Qt::ControlModifier);
    Key(Qt::Key_Plus);
    EXPECT_EQ(lines, (std::vector<std::pair<char, int>>{{'+', 3}, {'+', 3}, {'-', 3}, {'-', 3}}));

    // A header hint shows once the mouse rests in the column's header; it ends elsewhere.
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(2, 0));
    EXPECT_FALSE(Grid->ShowHint()); // just entered the column
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(2, 0) + QPoint(1, 0));
    EXPECT_TRUE(Grid->ShowHint());
    EXPECT_EQ(Grid->viewport()->toolTip(), "dB(A)");
    test::SendMouse(*Grid->viewport(), QEvent::MouseMove, Centre(2, 2));
    EXPECT_FALSE(Grid->ShowHint());
    EXPECT_TRUE(Grid->viewport()->toolTip().isEmpty());

    // Header titles are left-justified unless the event decides: the Count title is centred.
    const auto titleLeft = [this] {
        const QImage image = Grid->grab().toImage();
        const QRect r = Grid->CellRect(1, 0).translated(Grid->viewport()->pos());
        for (int x = r.left() + 2; x < r.right(); ++x)
            for (int y = r.top() + 2; y < r.bottom() - 1; ++y)
                if (qGray(image.pixel(x, y)) < 100)
                    return x - r.left();
        return -1;
    };
    EXPECT_LT(titleLeft(), 8);
    Grid->OnGetExtCellHeaderAlignment = [](QObject *, int, int, TAlignment def) { return def; };
    EXPECT_GT(titleLeft(), 12);
}

TEST_F(ValueGridTest, LookupComboChoosesMirrorsAndMovesBetweenRows)
{
    EnableEditing();
    QComboBox combo(&Form);
    combo.addItems({"n1", "n2", "other"});
    QComboBox mirror(&Form);
    mirror.setEditable(true);
    QLineEdit other(&Form);
    other.move(0, 212);
    other.show();
    Grid->SetComboBox(14, &combo);
    Grid->GetColDef(5)->MirrorControl = &mirror;
    other.setFocus();
    Grid->setFocus(); // entering binds the combo's handlers
    Grid->SetCol(5);
    Key(Qt::Key_F2); // the combo takes the editor's place, on the owner's value
    ASSERT_TRUE(combo.isVisible());
    EXPECT_EQ(combo.geometry(), Grid->CellRect(5, 1).translated(Grid->viewport()->pos()));
    EXPECT_EQ(combo.currentText(), "n1");
    Key(Qt::Key_Down);
    EXPECT_EQ(Stored, (std::vector<std::tuple<int, int, QVariant>>{{14, 1, "n2"}}));
    EXPECT_EQ(mirror.currentText(), "n2");
    Key(Qt::Key_Return); // back to the grid; the combo goes
    EXPECT_TRUE(Grid->hasFocus());
    EXPECT_FALSE(combo.isVisible());

    // Looking up on select: Enter opens, Up has no row above and stays, Down moves a row.
    Grid->SetLookCombosOnSelect(true);
    Key(Qt::Key_Return);
    ASSERT_TRUE(combo.hasFocus());
    Key(Qt::Key_Up);
    EXPECT_TRUE(combo.hasFocus());
    Key(Qt::Key_Down);
    EXPECT_EQ(std::make_pair(Grid->Col(), Grid->Row()), std::make_pair(5, 2));
    EXPECT_FALSE(combo.isVisible());
    // Leaving the combo for another control sends the grid to the first column without a combo.
    Key(Qt::Key_Return);
    other.setFocus();
    EXPECT_FALSE(combo.isVisible());
    EXPECT_EQ(Grid->Col(), 1);
    EXPECT_EQ(Stored.size(), 1u);
}

TEST_F(ValueGridTest, OwnerFailuresNeverCrashNorLoseStoredValues)
{
    EnableEditing();
    Data[{11, 2}] = "not a number";
    Data[{12, 3}] = QVariant::fromValue(QRect(1, 2, 3, 4));
    EXPECT_EQ(Grid->GetAsString(2, 2), "");
    EXPECT_EQ(Grid->GetAsString(3, 3), "");
    Grid->OnGetColValue = [](QObject *, int, int, QPainter *) -> QVariant {
        throw std::runtime_error("owner");
    };
    EXPECT_EQ(Grid->GetAsString(2, 1), "");
    Grid->grab();
    Grid->SetCol(1);
    Type("5");
    Key(Qt::Key_Return);
    EXPECT_EQ(Data[std::make_pair(10, 1)], QVariant(5));
    Grid->OnSetColValue = [](QObject *, int, int, const QVariant &) { throw std::runtime_error("full"); };
    Type("6");
    Key(Qt::Key_Return);
    EXPECT_EQ(AfterSets, 1);
    Grid->OnGetColValue = nullptr;
    EXPECT_THROW(Grid->GetValue(1, 1), Exception);
    Grid->SetFixedRows(2);
    Grid->grab(); // a second header row asks the missing handler: painted empty
    EXPECT_THROW(Grid->SetFixedCols(7), EInvalidGridOperation);
}

TEST_F(ValueGridTest, ColoursOfSelectedUnfocusedNotEditableAndRefusedCells)
{
    Grid->SetCol(1);
    Grid->SetSelection({1, 1, 1, 2});
    Grid->OnCheckSelectCell = [](QObject *, int c, int r, bool &can) { can = !(c == 5 && r == 3); };
    Grid->GetColDef(3)->ShowCheckBox = true;
    const auto colourAt = [this](const QImage &image, int c, int r) {
        return QColor(image.pixel(Grid->CellRect(c, r).topLeft() + Grid->viewport()->pos() + QPoint(2, 2)));
    };
    const QPalette pal = Grid->palette();
    QImage image = test::SavePicture(*Grid, "controls", "ValueGrid_focused");
    EXPECT_EQ(colourAt(image, 1, 1), QColor(Qt::white)); // the current cell shows the focus frame
    EXPECT_EQ(colourAt(image, 1, 2), pal.color(QPalette::Highlight));
    EXPECT_EQ(colourAt(image, 5, 2), QColor(Qt::white));
    EXPECT_EQ(colourAt(image, 5, 3), ColorToQColor(clMenu)); // refused by OnCheckSelectCell
    EXPECT_EQ(colourAt(image, 6, 1), ColorToQColor(clMenu)); // not editable
    EXPECT_EQ(colourAt(image, 0, 1), pal.color(QPalette::Button));
    // Check boxes from the style: the checked one has its mark.
    const auto dark = [&](int r) {
        const QRect cell = Grid->CellRect(3, r).translated(Grid->viewport()->pos());
        int n = 0;
        for (int y = cell.top(); y <= cell.bottom(); ++y)
            for (int x = cell.left(); x <= cell.right(); ++x)
                n += qGray(image.pixel(x, y)) < 200;
        return n;
    };
    EXPECT_GT(dark(2), 0);
    EXPECT_GT(dark(1), dark(2));

    QLineEdit other(&Form);
    other.move(0, 212);
    other.show();
    other.setFocus();
    image = test::SavePicture(*Grid, "controls", "ValueGrid_unfocused");
    EXPECT_EQ(colourAt(image, 1, 2), QColor(Qt::white)); // UnSelectColor
    // The focus frame of the current cell: black dots on its border.
    const QRect current = Grid->CellRect(1, 1).translated(Grid->viewport()->pos());
    EXPECT_GT(test::CountPixels(image, QRect(current.topLeft(), QSize(current.width(), 1)), qRgb(0, 0, 0)),
              10);

    Grid->setFocus();
    EnableEditing();
    Grid->SetCol(2);
    Key(Qt::Key_F2);
    test::SavePicture(*Grid, "controls", "ValueGrid_editor");
    Grid->SetEnabled(false);
    image = test::SavePicture(*Grid, "controls", "ValueGrid_disabled");
    EXPECT_NE(colourAt(image, 5, 2), QColor(Qt::white));
}

TEST(CopyToClipBoardForm, LayoutCaptionsAndButtons)
{
    TCopyToClipBoardForm form;
    EXPECT_EQ(form.windowTitle(), "Copy To ClipBoard");
    EXPECT_EQ(form.size(), QSize(189, 150));
    const QStringList items{"Whole grid with header", "Whole grid without header", "Current row",
                            "Current column", "Current grid cell"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(form.Items[i]->text(), items[i]);
    EXPECT_EQ(form.ItemIndex(), 0);
    EXPECT_EQ(form.Panel1->geometry(), QRect(0, 109, 189, 41));
    EXPECT_EQ(form.OKButton->geometry(), QRect(8, 8, 75, 25));
    EXPECT_EQ(form.CancelButton->geometry(), QRect(104, 8, 75, 25));
    EXPECT_EQ(form.OKButton->text(), "&OK");
    EXPECT_EQ(form.CancelButton->text(), "&Cancel");
    EXPECT_TRUE(form.OKButton->isDefault());

    // Played through the recording services: a choice and OK, then Cancel by the button.
    TRecordingUiServices ui;
    TUiServicesScope scope(ui);
    ui.ModalAnswer = [](QDialog &f) {
        auto &copy = static_cast<TCopyToClipBoardForm &>(f);
        copy.show();
        QTest::mouseClick(copy.Items[3], Qt::LeftButton);
        QTest::mouseClick(copy.OKButton, Qt::LeftButton);
        return copy.result();
    };
    EXPECT_EQ(UiServices().ShowModal(form), mrOk);
    EXPECT_EQ(form.ItemIndex(), 3);
    test::SavePicture(form, "controls", "CopyToClipBrdFrm");
    ui.ModalAnswer = [](QDialog &f) {
        f.show();
        QTest::mouseClick(static_cast<TCopyToClipBoardForm &>(f).CancelButton, Qt::LeftButton);
        return f.result() == QDialog::Rejected ? mrCancel : f.result();
    };
    EXPECT_EQ(UiServices().ShowModal(form), mrCancel);
}
