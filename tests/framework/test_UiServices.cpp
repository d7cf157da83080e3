#include "framework/UiServices.h"

#include <gtest/gtest.h>

#include <thread>

using namespace wn;

TEST(UiServicesTest, FakeAnswersScriptedRepliesInOrder)
{
    TRecordingUiServices fake;
    TUiServicesScope scope(fake);
    fake.MessageAnswers = {mrYes, mrCancel};
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("Overwrite?"), mtConfirmation, {mbYes, mbNo}, 12),
              mrYes);
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("Again?"), mtWarning, {mbOK, mbCancel}, 0), mrCancel);
    // Script used up: OK where there is an OK button, No for a yes/no question.
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("x"), mtError, {mbOK}, 0), mrOk);
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("y"), mtConfirmation, {mbYes, mbNo}, 0), mrNo);
    const auto boxes = fake.CallsOf(QStringLiteral("MessageDlg"));
    ASSERT_EQ(boxes.size(), 4u);
    EXPECT_EQ(boxes[0].Text, QStringLiteral("Overwrite?"));
    EXPECT_EQ(boxes[0].Kind, mtConfirmation);
    EXPECT_EQ(boxes[0].HelpContext, 12);
    EXPECT_EQ(boxes[0].Buttons, (TMsgDlgButtons{mbYes, mbNo}));
    EXPECT_EQ(boxes[3].Answer, mrNo);
}

TEST(UiServicesTest, ScopeRestoresThePreviousServices)
{
    TUiServices *before = &UiServices();
    {
        TRecordingUiServices fake;
        TUiServicesScope scope(fake);
        EXPECT_EQ(&UiServices(), &fake);
        TRecordingUiServices inner;
        {
            TUiServicesScope nested(inner);
            EXPECT_EQ(&UiServices(), &inner);
        }
        EXPECT_EQ(&UiServices(), &fake);
    }
    EXPECT_EQ(&UiServices(), before);
}

TEST(UiServicesTest, FileDialogsApplyTheDefaultExtensionAndCancelOnEmpty)
{
    TRecordingUiServices fake;
    TUiServicesScope scope(fake);
    fake.FileAnswers = {QStringLiteral("/tmp/colours"), QString(), QStringLiteral("/tmp/a.sgc")};
    TFileDialogOptions o;
    o.Filter = QStringLiteral("Farbdatei (*.SGC)|*.SGC");
    o.DefaultExt = QStringLiteral("COL");
    o.InitialDir = QStringLiteral("/data");
    EXPECT_TRUE(UiServices().SaveFileDialog(o));
    EXPECT_EQ(o.FileName, QStringLiteral("/tmp/colours.COL"));
    EXPECT_FALSE(UiServices().OpenFileDialog(o));
    EXPECT_TRUE(UiServices().OpenFileDialog(o));
    EXPECT_EQ(o.FileName, QStringLiteral("/tmp/a.sgc"));
    const auto saves = fake.CallsOf(QStringLiteral("SaveFileDialog"));
    ASSERT_EQ(saves.size(), 1u);
    EXPECT_EQ(saves[0].Dialog.InitialDir, QStringLiteral("/data"));
    EXPECT_EQ(saves[0].Dialog.Filter, o.Filter);
}

TEST(UiServicesTest, ClipboardCursorBeepHelpAndPrint)
{
    TRecordingUiServices fake;
    TUiServicesScope scope(fake);
    EXPECT_FALSE(UiServices().ClipboardHasText());
    UiServices().SetClipboardText(QStringLiteral("a\tb\r\n"));
    EXPECT_TRUE(UiServices().ClipboardHasText());
    EXPECT_EQ(UiServices().ClipboardText(), QStringLiteral("a\tb\r\n"));
    UiServices().SetScreenCursor(crHourGlass);
    EXPECT_EQ(UiServices().ScreenCursor(), crHourGlass);
    UiServices().Beep();
    UiServices().ShowHelp(100001);
    fake.PrintAnswers = {false};
    EXPECT_FALSE(UiServices().PrintDialog(UiServices().Printer()));
    EXPECT_TRUE(UiServices().PrintDialog(UiServices().Printer()));
    EXPECT_EQ(fake.Beeps, 1);
    ASSERT_EQ(fake.CallsOf(QStringLiteral("ShowHelp")).size(), 1u);
    EXPECT_EQ(fake.CallsOf(QStringLiteral("ShowHelp"))[0].HelpContext, 100001);
}

TEST(UiServicesTest, FakeTakesCallsFromSeveralThreads)
{
    TRecordingUiServices fake;
    TUiServicesScope scope(fake);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 250; ++i)
                UiServices().MessageDlg(QStringLiteral("m"), mtInformation, {mbOK}, 0);
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(fake.Calls.size(), 1000u);
}

TEST(UiServicesTest, QtDefaultIsHeadlessOnTheOffscreenPlatform)
{
    // No window can be seen here: the box goes to stderr and answers without blocking.
    testing::internal::CaptureStderr();
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("Disk full"), mtError, {mbOK}, 0), mrOk);
    EXPECT_EQ(UiServices().MessageDlg(QStringLiteral("Replace?"), mtConfirmation, {mbYes, mbNo}, 0), mrNo);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Error: Disk full"), std::string::npos);
    EXPECT_NE(err.find("Confirm: Replace?"), std::string::npos);
    TFileDialogOptions o;
    EXPECT_FALSE(UiServices().OpenFileDialog(o));
}

TEST(UiServicesTest, FilterConversion)
{
    EXPECT_EQ(FilterToNameFilters(QStringLiteral("Farbdatei (*.SGC)|*.SGC|Alle|*.a;*.b")),
              (QStringList{QStringLiteral("Farbdatei (*.SGC) (*.SGC)"), QStringLiteral("Alle (*.a *.b)")}));
    EXPECT_TRUE(FilterToNameFilters(QString()).isEmpty());
    EXPECT_EQ(ApplyDefaultExt(QStringLiteral("/x/y.txt"), QStringLiteral("COL")), QStringLiteral("/x/y.txt"));
}
