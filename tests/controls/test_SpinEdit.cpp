// The real-number spin edit and its spin button: range, typing, bound variables, stepping, look.

#include "controls/SpinEdit.h"

#include "NumberEditTestSupport.h"

#include <QElapsedTimer>

#include <cmath>
#include <tuple>

using namespace wn;
using TSpinFixture = wn::test::TEditFixture<TSpinEditReal>;

TEST(SpinEditReal, OutOfRangeIsReportedOrClampedTheTextStayingAsTyped)
{
    TSpinFixture f;
    f.Edit.SetMaxValue(10);
    for (const char separator : {'.', ','}) {
        wn::test::TSeparatorScope scope(separator);
        f.Edit.SetValue(4);
        f.Type("15");
        f.Messages();
        QTest::keyClick(&f.Edit, Qt::Key_Return);
        EXPECT_EQ(f.Messages(),
                  QStringList{separator == '.' ? "Out of range [0.0 - 10.0]" : "Out of range [0,0 - 10,0]"});
        EXPECT_EQ(f.Edit.text(), "15");
        EXPECT_EQ(f.Edit.GetValue(), 4);
    }
    f.Edit.SetDecimals(2);
    f.Edit.setText("-1");
    f.Messages();
    f.Edit.TextToValue();
    EXPECT_EQ(f.Messages(), QStringList{"Out of range [0.00 - 10.00]"});

    f.Edit.SetFehlerMeldung(false);
    for (const auto &[text, value] : {std::pair{"15", 10.0}, {"-3", 0.0}, {"10", 10.0}, {"9.5", 9.5}}) {
        f.Edit.setText(text);
        EXPECT_EQ(f.Edit.GetValue(), value) << text;
        EXPECT_EQ(f.Edit.text(), text);
    }
    EXPECT_TRUE(f.Messages().isEmpty());
}

TEST(SpinEditReal, TypingIsFilteredAndEnterOrLeavingChecksTheText)
{
    TSpinFixture f;
    {
        wn::test::TSeparatorScope comma(',');
        f.Type("-1.5,2E+1x");
        QTest::keyClick(&f.Edit, Qt::Key_Return);
        EXPECT_EQ(f.Edit.text(), "-15,2E+1");
        EXPECT_EQ(f.Edit.GetValue(), -152);
        EXPECT_EQ(f.Ui.Beeps, 3); // ".", "x", Enter
    }
    // Leaving with invalid text brings the focus back, with the text selected.
    f.Type("1.2.3");
    QTest::keyClick(&f.Edit, Qt::Key_Tab);
    EXPECT_EQ(f.Messages(), QStringList{"Invalid value!"});
    EXPECT_TRUE(f.Edit.hasFocus());
    EXPECT_EQ(f.Edit.selectedText(), "1.2.3");
    f.Type("8");
    QTest::keyClick(&f.Edit, Qt::Key_Tab);
    EXPECT_TRUE(f.Other->hasFocus());
    f.Edit.SetAutoSelect(false);
    QTest::keyClick(f.Other, Qt::Key_Tab);
    EXPECT_TRUE(f.Edit.hasFocus() && !f.Edit.hasSelectedText());

    // With the editor off only the arrows change the text.
    f.Edit.setFocus();
    f.Edit.SetEditorEnabled(false);
    for (const Qt::Key key : {Qt::Key_5, Qt::Key_Backspace, Qt::Key_Delete, Qt::Key_Minus, Qt::Key_Home,
                              Qt::Key_Delete, Qt::Key_Up})
        QTest::keyClick(&f.Edit, key);
    EXPECT_EQ(f.Edit.text(), "8.1");
    EXPECT_EQ(f.Ui.Beeps, 3 + 5);
}

TEST(SpinEditReal, BoundVariablesFollowEveryKeystrokeTheyCanHold)
{
    TSpinFixture f;
    double d = 99;
    float s = 99;
    // The last key makes a number no float can hold: refused for the float only.
    const struct {
        char Key;
        double Double;
        float Single;
    } keys[] = {{'-', 99, 99},      {'1', -1, -1},       {'.', -1, -1},        {'5', -1.5, -1.5f},
                {'e', -1.5, -1.5f}, {'3', -1500, -1500}, {'9', -1.5e39, -1500}};
    for (const bool single : {false, true}) {
        f.Edit.clear();
        d = s = 99;
        single ? f.Edit.SetAssignedVar(&s) : f.Edit.SetAssignedVar(&d);
        for (const auto &k : keys) {
            QTest::keyClick(&f.Edit, k.Key);
            EXPECT_EQ(single ? double(s) : d, single ? double(k.Single) : k.Double) << k.Key;
        }
        EXPECT_EQ(f.Messages().size(), single ? 1 : 0);
    }
    // Clamped numbers go to the variable; a size other than 4 or 8 unbinds it.
    f.Edit.SetAssignedVar(&d);
    f.Edit.SetFehlerMeldung(false);
    f.Edit.SetMaxValue(10);
    f.Type("15");
    EXPECT_EQ(d, 10);
    f.Edit.SetAssignedVar(&d, 2);
    EXPECT_EQ(f.Edit.AssignedVar(), nullptr);
    f.Type("3");
    EXPECT_EQ(d, 10);
}

TEST(SpinEditReal, StepsWithButtonsAndArrowsUpToTheBounds)
{
    TSpinFixture f;
    QString events;
    f.Edit.OnUpClick = [&](QObject *sender) { events += sender == &f.Edit ? "u" : "?"; };
    f.Edit.OnDownClick = [&](QObject *) { events += "d"; };
    f.Edit.SetMinValue(-1);
    f.Edit.SetMaxValue(1);
    TSpeedButton *up = f.Edit.Button()->UpButton();

    // 0.9 + 0.1f is a little above 1 and still lands on the bound.
    f.Edit.SetValue(0.9);
    QTest::mouseClick(up, Qt::LeftButton);
    QTest::keyClick(&f.Edit, Qt::Key_Up);
    EXPECT_EQ(f.Edit.text(), "1.0");
    // A press takes the focus in without selecting, as any mouse entry.
    f.Other->setFocus();
    QTest::mouseClick(up, Qt::LeftButton);
    EXPECT_TRUE(f.Edit.hasFocus() && f.Edit.isModified() && !f.Edit.hasSelectedText());
    // Steps start from the stored number, not from the text.
    f.Edit.SetValue(-0.8);
    f.Edit.setText("0.5");
    QTest::keyClick(&f.Edit, Qt::Key_Down);
    QTest::mouseClick(f.Edit.Button()->DownButton(), Qt::LeftButton);
    QTest::keyClick(&f.Edit, Qt::Key_Down);
    EXPECT_EQ(f.Edit.text(), "-1.0");

    // Read-only: the event, then a beep instead of the step. Without the button: nothing.
    f.Edit.setReadOnly(true);
    QTest::keyClick(&f.Edit, Qt::Key_Up);
    QTest::mouseClick(up, Qt::LeftButton);
    f.Edit.setReadOnly(false);
    f.Edit.SetSpinButtonEnabled(false);
    QTest::keyClick(&f.Edit, Qt::Key_Up);
    f.Edit.UpClick(nullptr);
    EXPECT_EQ(events, "uuuddduu");
    EXPECT_EQ(f.Edit.text(), "-1.0");
    EXPECT_EQ(f.Ui.Beeps, 2);

    // Without a range a step goes anywhere, by the float increment.
    f.Edit.SetSpinButtonEnabled(true);
    f.Edit.SetCheckMinMax(false);
    f.Edit.SetIncrement(2.5f);
    f.Edit.SetDecimals(3);
    QTest::keyClick(&f.Edit, Qt::Key_Down);
    EXPECT_EQ(f.Edit.text(), "-3.500");

    // Held down, the button repeats after a pause, up to the bound.
    f.Edit.SetValue(0.5);
    f.Edit.SetIncrement(0.1f);
    f.Edit.SetMaxValue(1);
    QTest::mousePress(up, Qt::LeftButton);
    QElapsedTimer held;
    held.start();
    while (f.Edit.text() != "1.000" && held.elapsed() < 5000)
        QTest::qWait(20);
    QTest::mouseRelease(up, Qt::LeftButton);
    EXPECT_EQ(f.Edit.text(), "1.000");
    EXPECT_GE(held.elapsed(), TSpinButton::InitRepeatPause);
}

TEST(SpinEditReal, BoundsAndDecimals)
{
    TSpinFixture f;
    EXPECT_EQ(f.Edit.property("Value"), 0.0);
    EXPECT_EQ(f.Edit.text(), ""); // read, not rewritten

    // A bound pulls the value in; MinValue 5 above MaxValue 3 leaves range checking off.
    f.Edit.SetMinValue(5);
    EXPECT_EQ(f.Edit.text(), "5.0");
    f.Edit.SetMaxValue(3);
    f.Edit.SetCheckMinMax(true);
    EXPECT_EQ(f.Edit.text(), "3.0");
    EXPECT_FALSE(f.Edit.CheckMinMax());
    EXPECT_TRUE(f.Edit.setProperty("Nachkomma", 20));
    EXPECT_EQ(f.Edit.text(), "3.000000000000000");
    f.Edit.SetDecimals(0);
    f.Edit.SetValue(NAN);
    f.Edit.SetValue(-INFINITY);
    EXPECT_EQ(f.Edit.text(), "3");
}

TEST(SpinEditReal, ButtonSitsInsideTheFrameAndTheTextStaysClearOfIt)
{
    TSpinFixture f;
    TSpinEditReal &edit = f.Edit;
    edit.resize(90, 24);
    // Qt's Fusion style draws a one-pixel frame.
    EXPECT_EQ(edit.Button()->geometry(), QRect(90 - 1 - 15, 1, 15, 22));
    edit.SetValue(12.5);
    f.Other->setFocus();
    // 7 x 4 arrows centred in the 15 x 11 halves, tips outward; none while disabled.
    const QImage value = wn::test::SavePicture(edit, "controls", "spinedit_value");
    const QRgb arrow = edit.palette().color(QPalette::ButtonText).rgb();
    for (const auto &[half, box, tip] : {std::tuple{QRect(74, 1, 15, 11), QRect(78, 4, 7, 4), QPoint(81, 4)},
                                         {QRect(74, 12, 15, 11), QRect(78, 15, 7, 4), QPoint(81, 18)}}) {
        EXPECT_EQ(wn::test::CountPixels(value, half, arrow), 16);
        EXPECT_EQ(wn::test::CountPixels(value, box, arrow), 16);
        EXPECT_EQ(value.pixel(tip), arrow);
    }
    EXPECT_EQ(SpinArrowSize({15, 12}), QSize(3, 2));
    EXPECT_EQ(SpinArrowSize({4, 4}), QSize(1, 1));
    edit.SetValue(123456789.5);
    edit.setFocus();
    edit.end(false);
    // The text runs up to, not under, the two pixels kept clear before the button.
    const QImage focused = wn::test::SavePicture(edit, "controls", "spinedit_focused_long");
    const QRgb text = edit.palette().color(QPalette::Text).rgb();
    EXPECT_GT(wn::test::CountPixels(focused, QRect(60, 2, 12, 20), text), 10);
    EXPECT_EQ(wn::test::CountPixels(focused, QRect(72, 2, 2, 20), text), 0);
    QTest::mousePress(edit.Button()->UpButton(), Qt::LeftButton);
    wn::test::SavePicture(edit, "controls", "spinedit_up_pressed");
    QTest::mouseRelease(edit.Button()->UpButton(), Qt::LeftButton);
    edit.SetValue(3);
    edit.setEnabled(false);
    const QImage disabled = wn::test::SavePicture(edit, "controls", "spinedit_disabled");
    EXPECT_EQ(wn::test::CountPixels(disabled, edit.Button()->geometry(), arrow), 0);
    edit.setEnabled(true);
    edit.SetSpinButtonEnabled(false);
    EXPECT_FALSE(edit.Button()->isVisible());
    EXPECT_EQ(edit.textMargins(), QMargins(0, 0, 2, 0));
    wn::test::SavePicture(edit, "controls", "spinedit_no_button");
}
