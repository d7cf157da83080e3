#include "LogEventSupport.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <thread>
#include <type_traits>

using namespace wn;
using namespace wn::test;

// The ordinals are written to log-book files.
static_assert(sizeof(TLogStatus) == 1);
static_assert(clog_protok == 0 && clog_abbruch == 1 && clog_warning == 2 && clog_userbreak == 3 &&
              clog_except == 4 && clog_exProtok == 5 && clog_KVSResult == 6 && clog_Progress == 7 &&
              clog_refreshGraphic == 8 && clog_CheckPause == 9 && clog_SetPause == 10 && clog_Step == 11 &&
              clog_Hint == 12 && clog_TileProgress == 13 && clog_Error == 14);

namespace {

using ErrorMsgTest = LogEventFixture;

TEST_F(ErrorMsgTest, EveryKindShowsItsBoxWithHelpContextAndOnlyAbortsStop)
{
    struct Expectation {
        int Art;
        bool Shown;
        TMsgDlgType Kind;
        bool Stops;
    };
    const Expectation table[] = {
        {clog_protok, true, mtInformation, false},
        {clog_abbruch, true, mtError, true},
        {clog_warning, true, mtWarning, false},
        {clog_userbreak, true, mtError, true},
        {clog_except, true, mtWarning, false},
        {clog_exProtok, true, mtWarning, false},
        {clog_KVSResult, true, mtInformation, false},
        {clog_Progress, false, mtInformation, false},
        {clog_refreshGraphic, true, mtInformation, false},
        {clog_CheckPause, true, mtInformation, false},
        {clog_SetPause, true, mtInformation, false},
        {clog_Step, true, mtInformation, false},
        {clog_Hint, true, mtInformation, false},
        {clog_TileProgress, true, mtInformation, false},
        {clog_Error, true, mtWarning, false},
        {15, true, mtInformation, false},
        {255, true, mtInformation, false},
    };
    for (const Expectation &e : table) {
        SCOPED_TRACE(e.Art);
        Ui.Calls.clear();
        rechenabbruch = false;
        const QString text = QStringLiteral("Message %1").arg(e.Art);
        Log_Event_Obj->ErrorMsg(text, static_cast<TLogStatus>(e.Art), 1000 + e.Art, 77, nullptr);
        const auto boxes = Boxes();
        ASSERT_EQ(boxes.size(), e.Shown ? 1u : 0u);
        if (e.Shown) {
            EXPECT_EQ(boxes[0].Text, text);
            EXPECT_EQ(boxes[0].Kind, e.Kind);
            EXPECT_EQ(boxes[0].Buttons, TMsgDlgButtons{mbOK});
            EXPECT_EQ(boxes[0].HelpContext, 1000 + e.Art);
        }
        EXPECT_EQ(rechenabbruch, e.Stops);
        EXPECT_FALSE(UserBreaked);
    }
}

TEST_F(ErrorMsgTest, KV_ELOGShowsBoxesFromTheStartAndNoErrorMsgSilencesIt)
{
    KV_ELOG(QStringLiteral("Disk nearly full"), clog_warning, 12, 3, nullptr);
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0].Kind, mtWarning);
    EXPECT_EQ(Boxes()[0].HelpContext, 12);

    KV_ELOG = std::bind_front(&TLog_Event_Obj::NoErrorMsg, Log_Event_Obj);
    for (int art = clog_protok; art <= clog_Error; ++art)
        KV_ELOG(QStringLiteral("quiet"), static_cast<TLogStatus>(art), 1, 1, nullptr);
    EXPECT_EQ(Boxes().size(), 1u);
    EXPECT_FALSE(rechenabbruch);
}

// The stop flags are written by one thread and polled by another without any lock.
TEST_F(ErrorMsgTest, StopFlagsReachAPollingWorker)
{
    std::thread worker([] {
        while (!rechenabbruch)
            std::this_thread::yield();
        UserBreaked = true;
    });
    Log_Event_Obj->ErrorMsg(QStringLiteral("Cancelled"), clog_userbreak, 0, 0, nullptr);
    worker.join();
    EXPECT_TRUE(UserBreaked);
}

using LogEventExtTest = LogEventFixture;

TEST_F(LogEventExtTest, AHandlerSettingTheGlobalReachesTheCallersFlag)
{
    TEventRecorder rec;
    KV_ELOG = [&rec](const QString &t, TLogStatus a, std::int32_t h, std::int32_t k, TObject *o) {
        rec.Handler()(t, a, h, k, o);
        rechenabbruch = true;
    };
    bool abbruch = false;
    bool userBreak = false;
    Log_Event_Ext(QStringLiteral("Grid too large"), clog_Error, abbruch, userBreak);
    EXPECT_TRUE(abbruch);
    EXPECT_FALSE(userBreak);
    const auto events = rec.Events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].Text, QStringLiteral("Grid too large"));
    EXPECT_EQ(events[0].Art, clog_Error);
    EXPECT_EQ(events[0].HelpContext, 0);
    EXPECT_EQ(events[0].ObjKey, 0);
    EXPECT_EQ(events[0].AObj, nullptr);
}

TEST_F(LogEventExtTest, TheHandlerSeesTheCallersFlagsAndMayClearThem)
{
    bool seenAbbruch = false;
    bool seenUserBreak = false;
    KV_ELOG = [&](const QString &, TLogStatus, std::int32_t, std::int32_t, TObject *) {
        seenAbbruch = rechenabbruch;
        seenUserBreak = UserBreaked;
        UserBreaked = false;
    };
    bool abbruch = true;
    bool userBreak = true;
    Log_Event_Ext(QStringLiteral("Resume?"), clog_CheckPause, abbruch, userBreak);
    EXPECT_TRUE(seenAbbruch);
    EXPECT_TRUE(seenUserBreak);
    EXPECT_TRUE(abbruch);
    EXPECT_FALSE(userBreak);
}

TEST_F(LogEventExtTest, TheDefaultHandlerStopsTheCallerOnAUserBreak)
{
    bool abbruch = false;
    bool userBreak = false;
    Log_Event_Ext(QStringLiteral("Cancelled by user"), clog_userbreak, abbruch, userBreak);
    EXPECT_TRUE(abbruch);
    EXPECT_FALSE(userBreak);
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0].Kind, mtError);
    EXPECT_EQ(Boxes()[0].HelpContext, 0);
}

TEST_F(LogEventExtTest, AnEmptySlotCarriesTheFlagsThroughUnchanged)
{
    KV_ELOG = nullptr;
    bool abbruch = true;
    bool userBreak = false;
    Log_Event_Ext(QStringLiteral("nobody listens"), clog_abbruch, abbruch, userBreak);
    EXPECT_TRUE(abbruch);
    EXPECT_FALSE(userBreak);
    EXPECT_TRUE(rechenabbruch);
}

using MyFormatTest = LogEventFixture;

QString ConvertErrorOf(const QString &fmt, const QVariantList &args)
{
    try {
        Format(fmt, args);
    } catch (const Exception &e) {
        return e.Message();
    }
    ADD_FAILURE() << "Format accepted " << qPrintable(fmt);
    return QString();
}

TEST_F(MyFormatTest, AGoodPatternIsFormattedWithoutEvents)
{
    TEventRecorder rec;
    KV_ELOG = rec.Handler();
    EXPECT_EQ(MyFormat(QStringLiteral("%d kB to \"%s\""), {2048, QStringLiteral("/tmp/LogBk0.log")}),
              QStringLiteral("2048 kB to \"/tmp/LogBk0.log\""));
    EXPECT_EQ(MyFormat(QStringLiteral("%.3f%%"), {12.5}), QStringLiteral("12.500%"));
    EXPECT_EQ(MyFormat(QStringLiteral("no fields"), {}), QStringLiteral("no fields"));
    EXPECT_TRUE(rec.Events().empty());
}

TEST_F(MyFormatTest, ABadPatternBecomesOneWarningAndComesBackUnformatted)
{
    struct Case {
        QString Fmt;
        QVariantList Args;
    };
    const Case cases[] = {
        {QStringLiteral("%d"), {QStringLiteral("abc")}},
        {QStringLiteral("%s of %s"), {QStringLiteral("one")}},
        {QStringLiteral("%.2f m"), {QStringLiteral("x")}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(qPrintable(c.Fmt));
        TEventRecorder rec;
        KV_ELOG = rec.Handler();
        EXPECT_EQ(MyFormat(c.Fmt, c.Args), c.Fmt);
        const auto events = rec.Events();
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0].Text, ConvertErrorOf(c.Fmt, c.Args));
        EXPECT_FALSE(events[0].Text.isEmpty());
        EXPECT_EQ(events[0].Art, clog_warning);
        EXPECT_EQ(events[0].HelpContext, 0);
        EXPECT_EQ(events[0].ObjKey, 0);
        EXPECT_EQ(events[0].AObj, nullptr);
    }
}

TEST_F(MyFormatTest, ABadPatternShowsAWarningBoxByDefaultAndSurvivesAnEmptySlot)
{
    EXPECT_EQ(MyFormat(QStringLiteral("%d"), {QStringLiteral("abc")}), QStringLiteral("%d"));
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0].Kind, mtWarning);

    KV_ELOG = nullptr;
    EXPECT_EQ(MyFormat(QStringLiteral("%d"), {QStringLiteral("abc")}), QStringLiteral("%d"));
}

// The location object travels as AObj: the first argument is the first coordinate and the two
// integer fields start at 0.
TEST(ErrorHandlerTest, CarriesTwoCoordinatesAndTwoFieldsOfTheCallers)
{
    static_assert(std::is_same_v<decltype(TErrorHandler::ObjNr), std::int32_t>);
    static_assert(std::is_same_v<decltype(TErrorHandler::SubKind), std::uint8_t>);
    TErrorHandler where(-12.5, 3e7);
    EXPECT_EQ(where.X, -12.5);
    EXPECT_EQ(where.Y, 3e7);
    EXPECT_EQ(where.ObjNr, 0);
    EXPECT_EQ(where.SubKind, 0);
    TObject *asObject = &where;
    EXPECT_EQ(dynamic_cast<TErrorHandler *>(asObject), &where);
}

using LifecycleTest = LogEventFixture;

TEST_F(LifecycleTest, ADispatcherFreesUndeliveredEventsWithoutDeliveringThem)
{
    TEventRecorder rec;
    KV_ELOG = rec.Handler();
    QString first = OwnText("first");
    QString second = OwnText("second");
    {
        TLog_Event_Obj local;
        local.InitThreadLogEvent();
        KV_ELOG(first, clog_protok, 0, 0, nullptr);
        KV_ELOG(second, clog_Hint, 0, 0, nullptr);
        EXPECT_EQ(local.QueueCount(), 2);
        EXPECT_FALSE(first.isDetached());
        KV_ELOG = rec.Handler();
    }
    EXPECT_TRUE(first.isDetached());
    EXPECT_TRUE(second.isDetached());
    EXPECT_TRUE(rec.Events().empty());
}

// Start-up and clean-up are counted: only the clean-up matching the first start-up (the one the
// library made when it was loaded) frees the dispatcher and its undelivered events.
TEST_F(LifecycleTest, OnlyTheLastCleanUpFreesTheDispatcherAndEmptiesTheSlot)
{
    TLog_Event_Obj *const loaded = Log_Event_Obj;
    LogEvent_Initialize();
    EXPECT_EQ(Log_Event_Obj, loaded);
    LogEvent_Finalize();
    ASSERT_EQ(Log_Event_Obj, loaded);
    ASSERT_TRUE(KV_ELOG);

    TEventRecorder rec;
    KV_ELOG = rec.Handler();
    Log_Event_Obj->InitThreadLogEvent();
    QString pending = OwnText("pending");
    KV_ELOG(pending, clog_warning, 0, 0, nullptr);
    ASSERT_EQ(Log_Event_Obj->QueueCount(), 1);

    LogEvent_Finalize();
    EXPECT_EQ(Log_Event_Obj, nullptr);
    EXPECT_FALSE(KV_ELOG);
    EXPECT_TRUE(pending.isDetached());
    EXPECT_TRUE(rec.Events().empty());

    LogEvent_Initialize();
    ASSERT_NE(Log_Event_Obj, nullptr);
    FSavedSlot = KV_ELOG;
    KV_ELOG(QStringLiteral("back again"), clog_Hint, 5, 0, nullptr);
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0].Kind, mtInformation);
    EXPECT_EQ(Boxes()[0].HelpContext, 5);
}

} // namespace
