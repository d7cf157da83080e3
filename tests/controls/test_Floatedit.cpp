// The float edit: formats, the none value, range handling, key filter and its look.

#include "controls/Floatedit.h"

#include "NumberEditTestSupport.h"

#include <QSignalSpy>

using namespace wn;
using TFloatFixture = wn::test::TEditFixture<TFloatEdit>;

TEST(FloatEdit, FormatsFixedOrGeneralAndOnlyChangesTextThatDiffers)
{
    TFloatFixture f;
    // Declared -1, but a new edit holds 0 decimals.
    EXPECT_EQ(f.Edit.property("Decimals"), 0);
    const struct {
        char Separator;
        int Decimals;
        double Value;
        const char *Text;
    } cases[] = {{'.', 0, 1234.5678, "1235"},
                 {'.', 2, 1234.5678, "1234.57"},
                 {'.', -1, 1234.5678, "1234.5678"},
                 {',', 2, 1234.5678, "1234,57"},
                 {',', -1, 0.5, "0,5"},
                 {'.', -1, 12345678901.0, "1.23456789E010"},
                 {'.', -20, 1.25, "1.250000000000000"}};
    for (const auto &c : cases) {
        wn::test::TSeparatorScope separator(c.Separator);
        f.Edit.SetDecimals(std::int8_t(c.Decimals));
        f.Edit.SetValue(c.Value);
        EXPECT_EQ(f.Edit.text(), c.Text) << c.Decimals;
    }
    EXPECT_EQ(f.Edit.Decimals(), 15);
    EXPECT_TRUE(f.Edit.setProperty("Decimals", -1));
    EXPECT_EQ(f.Edit.text(), "1.25");

    QSignalSpy changes(&f.Edit, &QLineEdit::textChanged);
    f.Edit.SetValue(1.25);
    f.Edit.SetDecimals(-1);
    EXPECT_EQ(changes.count(), 0);
    f.Edit.SetValue(2);
    EXPECT_EQ(changes.count(), 1);
}

TEST(FloatEdit, NoneValueIsShownReadAndTypedOver)
{
    TFloatFixture f;
    f.Edit.SetDecimals(-1);
    f.Edit.SetNoneValue(-1);
    f.Edit.SetNoneValueStr("-");
    double d = 99;
    f.Edit.SetAssignedVar(&d);
    f.Edit.SetValue(-1 + 5e-11);
    EXPECT_EQ(f.Edit.text(), "-");
    EXPECT_EQ(f.Edit.GetValue(), -1);
    EXPECT_EQ(d, 99); // the none text is not handed on
    f.Edit.SetValue(-1.001);
    EXPECT_EQ(f.Edit.text(), "-1.001");

    // A refused key leaves the none text; an accepted one, Backspace too, starts afresh.
    f.Edit.SetValue(-1);
    f.Edit.end(false);
    QTest::keyClick(&f.Edit, Qt::Key_X);
    EXPECT_EQ(f.Edit.text(), "-");
    QTest::keyClick(&f.Edit, Qt::Key_5);
    EXPECT_EQ(f.Edit.text(), "5");
    EXPECT_EQ(d, 5);
    f.Edit.SetValue(-1);
    QTest::keyClick(&f.Edit, Qt::Key_Backspace);
    EXPECT_EQ(f.Edit.text(), "");
    EXPECT_EQ(f.Ui.Beeps, 1);
    wn::test::SavePicture(f.Edit, "controls", "floatedit_empty_focused");

    // Out of range without the message: no value; with it: the message, bounds in general format.
    f.Edit.SetMaxValue(10.25);
    f.Type("15");
    EXPECT_EQ(f.Edit.text(), "-");
    EXPECT_EQ(f.Edit.GetValue(), -1);
    EXPECT_EQ(d, -1);
    f.Other->setFocus();
    wn::test::SavePicture(f.Edit, "controls", "floatedit_none");
    f.Edit.SetShowErrorMsg(true);
    f.Edit.SetMinValue(0.5);
    f.Edit.setFocus();
    f.Type("15");
    EXPECT_EQ(f.Messages(), QStringList{"Out of range [0.5 - 10.25]"});
    EXPECT_EQ(d, 1);
    EXPECT_EQ(f.Edit.text(), "15");
}

TEST(FloatEdit, ClampedOrInvalidEntryIsShownAnewOnLeaving)
{
    TFloatFixture f;
    f.Edit.SetMaxValue(10);
    f.Type("15");
    QTest::keyClick(&f.Edit, Qt::Key_Return);
    EXPECT_EQ(f.Edit.text(), "15");
    EXPECT_EQ(f.Edit.GetValue(), 10);
    QTest::keyClick(&f.Edit, Qt::Key_Tab);
    EXPECT_TRUE(f.Other->hasFocus());
    EXPECT_EQ(f.Edit.text(), "10");

    // "Invalid value!" whatever ShowErrorMsg says, the focus back, and the old number shown.
    f.Edit.setFocus();
    f.Type("1e+");
    QTest::keyClick(&f.Edit, Qt::Key_Tab);
    EXPECT_EQ(f.Messages(), QStringList{"Invalid value!"});
    EXPECT_TRUE(f.Edit.hasFocus());
    EXPECT_EQ(f.Edit.text(), "10");
}

TEST(FloatEdit, KeyFilterFollowsDecimalsSignAndEditor)
{
    TFloatFixture f;
    const struct {
        int Decimals;
        bool Negative, Editor;
        const char *Keys, *Text;
        int Beeps;
    } cases[] = {{0, true, true, "-1.5e3", "-15e3", 1},
                 {-1, true, true, "-1.5e3", "-1.5e3", 0},
                 {2, false, true, "-1.5E3", "1.5E3", 1},
                 {2, true, false, "12", "", 2},
                 {2, true, true, "1a+b", "1+", 2}};
    for (const auto &c : cases) {
        f.Edit.SetDecimals(std::int8_t(c.Decimals));
        f.Edit.SetAllowNegativeValue(c.Negative);
        f.Edit.SetEditorEnabled(c.Editor);
        f.Edit.clear();
        f.Ui.Beeps = 0;
        QTest::keyClicks(&f.Edit, c.Keys);
        EXPECT_EQ(f.Edit.text(), c.Text) << c.Keys;
        EXPECT_EQ(f.Ui.Beeps, c.Beeps) << c.Keys;
    }
    // Refusing the minus key refuses no negative number.
    f.Edit.SetAllowNegativeValue(false);
    f.Edit.clear();
    f.Ui.Clipboard = "-5";
    f.Ui.HasClipboardText = true;
    QTest::keyClick(&f.Edit, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(f.Edit.GetValue(), -5);

    f.Edit.SetValue(12.5);
    f.Other->setFocus();
    wn::test::SavePicture(f.Edit, "controls", "floatedit_value");
    f.Edit.setEnabled(false);
    wn::test::SavePicture(f.Edit, "controls", "floatedit_disabled");
}
