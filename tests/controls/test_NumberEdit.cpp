// What both numeric edits share: reading text, clipboard and context menu gates, minimum height.

#include "controls/Floatedit.h"
#include "controls/SpinEdit.h"

#include "NumberEditTestSupport.h"

#include <QContextMenuEvent>
#include <QMenu>

#include <cmath>
#include <span>

using namespace wn;
using wn::test::TEditFixture;

namespace {

// Outcomes besides a number: refused with "Invalid value!", or left alone silently; 7 stays.
constexpr double Refused = 1e300, Left = -1e300;

// Puts text into an edit holding 7 and reads it back.
template <typename T> double ReadBack(TEditFixture<T> &f, char separator, const QString &text)
{
    wn::test::TSeparatorScope scope(separator);
    f.Edit.SetValue(7);
    f.Messages();
    f.Edit.setText(text);
    const double value = f.Edit.GetValue();
    const QStringList messages = f.Messages();
    EXPECT_EQ(f.Edit.text(), text);
    if (messages.isEmpty())
        return value == 7 ? Left : value;
    return messages == QStringList{"Invalid value!"} && value == 7 ? Refused : NAN;
}

} // namespace

// Both with MinValue 2 and no range; the float edit shows -1 as "none".
TEST(NumberEdit, ReadsTypedOrPastedText)
{
    const QString nines(10000, QLatin1Char('9'));
    const QString arabicDigits = QString(QChar(0x0661)) + QChar(0x0662);
    const QString fullWidthDigits = QString(QChar(0xFF11)) + QChar(0xFF12);
    struct TCase {
        QString Text;
        double Spin, Float;
    };
    const TCase point[] = {
        {"2.", 2, 2},         {" 3.25 ", 3.25, 3.25}, {"+4", 4, 4},           {".5", 0.5, 0.5},
        {"1e", 1, 1},         {"4E-1", 0.4, 0.4},     {"1e-999", 0, 0},       {"", 2, 2},
        {" - ", Left, 2},     {"+", Left, Refused},   {"--5", Left, Refused}, {nines, Left, Refused},
        {"none", Refused, -1}};
    const TCase comma[] = {
        {"2,", 2, 2},         {"1,5", 1.5, 1.5},           {"1.5", 1.5, 1.5},          {"-", Left, 2},
        {"-1,5e1", -15, -15}, {"1,5,3", Refused, Refused}, {"1,2.3", Refused, Refused}};
    // Refused by both: a second point, letters, a comma that is no separator, out of range,
    // NaN and infinity spellings, digits that are not ASCII.
    const QString refused[] = {"None",  "1.2.3",  "1..", "1e-",       "e",          "1,5",
                               "1e999", "-1e999", "nan", "-Infinity", arabicDigits, fullWidthDigits};
    const auto check = [&](auto &f, double TCase::*outcome) {
        f.Edit.SetMinValue(2);
        for (const auto &[separator, cases] : {std::pair{'.', std::span<const TCase>(point)}, {',', comma}})
            for (const TCase &c : cases)
                EXPECT_EQ(ReadBack(f, separator, c.Text), c.*outcome) << c.Text.left(12).toStdString();
        for (const QString &text : refused)
            EXPECT_EQ(ReadBack(f, '.', text), Refused) << text.toStdString();
    };
    TEditFixture<TSpinEditReal> spin;
    check(spin, &TCase::Spin);
    // Only the spin edit can keep refusals quiet.
    spin.Edit.SetFehlerMeldung(false);
    EXPECT_EQ(ReadBack(spin, '.', "1.2.3"), Left);

    TEditFixture<TFloatEdit> real;
    real.Edit.SetNoneValue(-1);
    real.Edit.SetNoneValueStr("none");
    check(real, &TCase::Float);
}

template <typename T> class NumberEditBoth : public ::testing::Test
{};
using EditTypes = ::testing::Types<TSpinEditReal, TFloatEdit>;
TYPED_TEST_SUITE(NumberEditBoth, EditTypes);

TYPED_TEST(NumberEditBoth, PasteAndCutOnlyWhereTheTextMayBeEdited)
{
    TEditFixture<TypeParam> f;
    TypeParam &edit = f.Edit;
    f.Ui.HasClipboardText = true;
    const auto select = [&](const char *text, const char *clipboard) {
        edit.setText(text);
        edit.selectAll();
        f.Ui.Clipboard = clipboard;
    };
    enum TMode { mEditable, mEditorOff, mReadOnly };
    for (const TMode mode : {mEditable, mEditorOff, mReadOnly}) {
        edit.SetEditorEnabled(mode != mEditorOff);
        edit.setReadOnly(mode == mReadOnly);
        const bool editable = mode == mEditable;
        select("12", "3");
        QTest::keyClick(&edit, Qt::Key_C, Qt::ControlModifier);
        EXPECT_EQ(f.Ui.Clipboard, "12");
        f.Ui.Clipboard = "3";
        QTest::keyClick(&edit, Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(edit.text(), editable ? "3" : "12") << mode;
        select("45", "3");
        QTest::keyClick(&edit, Qt::Key_Delete, Qt::ShiftModifier);
        EXPECT_EQ(edit.text() + f.Ui.Clipboard, editable ? "45" : "453") << mode;

        // The context menu offers, and does, the same; opening it is no leaving the edit.
        select("6..", "8");
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), edit.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&edit, &event);
        std::unique_ptr<QMenu> menu(edit.template findChild<QMenu *>("wn_edit_menu"));
        ASSERT_TRUE(menu);
        std::vector<bool> enabled; // Undo, Redo, Cut, Copy, Paste, Delete, Select All
        for (QAction *action : menu->actions())
            if (!action->isSeparator())
                enabled.push_back(action->isEnabled());
        EXPECT_EQ(enabled, (std::vector<bool>{false, false, editable, true, editable, editable, true}))
            << mode;
        menu->actions()[5]->trigger();
        EXPECT_EQ(edit.text(), editable ? "8" : "6..") << mode;
    }
    EXPECT_EQ(f.Ui.Beeps, 0);
    EXPECT_TRUE(f.Messages().isEmpty());
}

TYPED_TEST(NumberEditBoth, MinimumHeightFollowsTheFontAndFrame)
{
    TEditFixture<TypeParam> f;
    EXPECT_FALSE(f.Edit.acceptDrops());
    const int application = QFontMetrics(QApplication::font()).height();
    for (const int pixels : {40, 6}) {
        QFont font = f.Edit.font();
        font.setPixelSize(pixels);
        f.Edit.setFont(font);
        const int own = QFontMetrics(font).height();
        // A quarter of the smaller font's height, and four of Fusion's one-pixel frame widths.
        f.Edit.resize(80, 3);
        EXPECT_EQ(f.Edit.height(), own + std::min(own, application) / 4 + 4) << pixels;
    }
}
