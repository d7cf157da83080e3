#include "logging/LogEvent.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"
#include "framework/Threads.h"
#include "framework/UiServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

using namespace wn;

// The ordinals are written to log-book files.
static_assert(sizeof(TLogStatus) == 1);
static_assert(clog_protok == 0 && clog_abbruch == 1 && clog_warning == 2 && clog_userbreak == 3 &&
              clog_except == 4 && clog_exProtok == 5 && clog_KVSResult == 6 && clog_Progress == 7 &&
              clog_refreshGraphic == 8 && clog_CheckPause == 9 && clog_SetPause == 10 && clog_Step == 11 &&
              clog_Hint == 12 && clog_TileProgress == 13 && clog_Error == 14);

namespace {

struct TDelivered {
    QString Text;
    TLogStatus Art;
    std::int32_t HelpContext, ObjKey;
    TObject *AObj;
    std::thread::id Thread;
};

// Records events from any thread (read once those are done); After then runs inside the handler.
struct TRecorder {
    TLog_Event Handler(std::function<void(const QString &)> After = {})
    {
        return [this, After](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key,
                             TObject *obj) {
            {
                // A deep copy, so that a test can still see whether the dispatcher let go of the text.
                const QString copy(text.constData(), text.size());
                std::lock_guard<std::mutex> lock(Lock);
                Events.push_back({copy, art, help, key, obj, std::this_thread::get_id()});
                Texts << copy;
            }
            if (After)
                After(text);
        };
    }

    std::mutex Lock;
    std::vector<TDelivered> Events;
    QStringList Texts;
};

void Raise(const QString &text, TLogStatus art = clog_protok)
{
    KV_ELOG(text, art, 0, 0, nullptr);
}

class LogEventTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        if (FQueued)
            Log_Event_Obj->ReleaseThreadLogEvent();
        KV_ELOG = FSaved;
        rechenabbruch = false;
        UserBreaked = false;
    }

    void Queue(TLog_Event Handler)
    {
        KV_ELOG = std::move(Handler);
        Log_Event_Obj->InitThreadLogEvent();
        FQueued = true;
    }

    // Text, kind, buttons and help context of every box shown.
    auto Boxes() const
    {
        std::vector<std::tuple<QString, TMsgDlgType, bool, int>> boxes;
        for (const auto &c : Ui.CallsOf(QStringLiteral("MessageDlg")))
            boxes.emplace_back(c.Text, c.Kind, c.Buttons == TMsgDlgButtons{mbOK}, c.HelpContext);
        return boxes;
    }

    TRecordingUiServices Ui;
    TUiServicesScope UiScope{Ui};
    TRecorder Rec;
    TLog_Event FSaved = KV_ELOG;
    bool FQueued = false;
};

// From the start KV_ELOG shows a box with one OK button; only aborts and user breaks stop.
TEST_F(LogEventTest, EveryKindShowsItsBoxAndNoErrorMsgSilencesThem)
{
    // The box kind by ordinal; 7 (clog_Progress) shows none, and ordinals above 15 as 15 does.
    const TMsgDlgType kinds[] = {mtInformation, mtError,       mtWarning,     mtError,
                                 mtWarning,     mtWarning,     mtInformation, mtInformation,
                                 mtInformation, mtInformation, mtInformation, mtInformation,
                                 mtInformation, mtInformation, mtWarning,     mtInformation};
    for (int i = 0; i <= 16; ++i) {
        const int art = i < 16 ? i : 255;
        Ui.Calls.clear();
        rechenabbruch = false;
        KV_ELOG(QString::number(art), TLogStatus(art), 1000 + art, 77, nullptr);
        const decltype(Boxes()) box = {{QString::number(art), kinds[std::min(i, 15)], true, 1000 + art}};
        EXPECT_EQ(Boxes(), art == clog_Progress ? decltype(box){} : box);
        EXPECT_EQ(rechenabbruch, art == clog_abbruch || art == clog_userbreak) << art;
    }
    Ui.Calls.clear();
    KV_ELOG = std::bind_front(&TLog_Event_Obj::NoErrorMsg, Log_Event_Obj);
    for (int art = clog_protok; art <= clog_Error; ++art)
        Raise(QStringLiteral("quiet"), TLogStatus(art));
    EXPECT_TRUE(Boxes().empty());
    EXPECT_FALSE(rechenabbruch);
}

TEST_F(LogEventTest, LogEventExtCarriesTheCallersFlagsBothWays)
{
    bool seenAbbruch = true, seenUserBreak = false;
    KV_ELOG = Rec.Handler([&](const QString &) {
        seenAbbruch = rechenabbruch;
        seenUserBreak = UserBreaked;
        rechenabbruch = true;
        UserBreaked = false;
    });
    bool abbruch = false, userBreak = true;
    Log_Event_Ext(QStringLiteral("Grid too large"), clog_Error, abbruch, userBreak);
    EXPECT_EQ(std::pair(seenAbbruch, seenUserBreak), std::pair(false, true));
    EXPECT_EQ(std::pair(abbruch, userBreak), std::pair(true, false));
    EXPECT_EQ(Rec.Texts, QStringList{"Grid too large"});
    EXPECT_EQ(Rec.Events[0].Art, clog_Error);

    // Nobody listening: the flags still go into the globals and come back unchanged.
    KV_ELOG = nullptr;
    rechenabbruch = false;
    Log_Event_Ext(QStringLiteral("nobody listens"), clog_abbruch, abbruch, userBreak);
    EXPECT_EQ(std::pair(abbruch, userBreak), std::pair(true, false));
    EXPECT_TRUE(rechenabbruch);
}

TEST_F(LogEventTest, MyFormatTurnsABadPatternIntoOneWarning)
{
    KV_ELOG = Rec.Handler();
    EXPECT_EQ(MyFormat(QStringLiteral("%d kB to \"%s\""), {2048, QStringLiteral("/tmp/LogBk0.log")}),
              QStringLiteral("2048 kB to \"/tmp/LogBk0.log\""));
    QString message;
    try {
        Format(QStringLiteral("%s of %s"), {QStringLiteral("one")});
    } catch (const Exception &e) {
        message = e.Message();
    }
    EXPECT_EQ(MyFormat(QStringLiteral("%s of %s"), {QStringLiteral("one")}), QStringLiteral("%s of %s"));
    ASSERT_EQ(Rec.Events.size(), 1u);
    const TDelivered &e = Rec.Events[0];
    EXPECT_EQ(std::tuple(e.Text, e.Art, e.HelpContext, e.ObjKey), std::tuple(message, clog_warning, 0, 0));
    KV_ELOG = nullptr;
    EXPECT_EQ(MyFormat(QStringLiteral("%d"), {QStringLiteral("abc")}), QStringLiteral("%d"));
}

// Start-up is counted: only the last clean-up frees the dispatcher, its undelivered events unsent.
TEST_F(LogEventTest, OnlyTheLastCleanUpFreesTheDispatcherAndEmptiesTheSlot)
{
    TLog_Event_Obj *const loaded = Log_Event_Obj;
    LogEvent_Initialize();
    LogEvent_Finalize();
    ASSERT_EQ(Log_Event_Obj, loaded);
    ASSERT_TRUE(KV_ELOG);

    KV_ELOG = Rec.Handler();
    Log_Event_Obj->InitThreadLogEvent();
    const QString pending = QString::fromLatin1("pending");
    Raise(pending, clog_warning);
    LogEvent_Finalize();
    EXPECT_EQ(Log_Event_Obj, nullptr);
    EXPECT_FALSE(KV_ELOG);
    EXPECT_TRUE(pending.isDetached());
    EXPECT_TRUE(Rec.Events.empty());

    LogEvent_Initialize();
    FSaved = KV_ELOG;
    KV_ELOG(QStringLiteral("back again"), clog_Hint, 5, 0, nullptr);
    EXPECT_EQ(Boxes().size(), 1u);
}

// Four workers raise numbered events of every kind while this thread keeps draining. Each arrives
// once (the total, with each worker's numbers rising) with its values intact; clog_CheckPause,
// clog_abbruch and clog_except at once in their worker, all others in the draining thread.
TEST_F(LogEventTest, WorkersInterleavedWithADrainingThreadKeepEachWorkersOrder)
{
    Queue(Rec.Handler());
    constexpr int workers = 4, perWorker = 3000;
    TErrorHandler where(12.5, 7.25);
    const TLogStatus queuedKinds[] = {clog_protok,    clog_warning,  clog_userbreak,      clog_exProtok,
                                      clog_KVSResult, clog_Progress, clog_refreshGraphic, clog_SetPause,
                                      clog_Step,      clog_Hint,     clog_TileProgress,   clog_Error};
    const TLogStatus directKinds[] = {clog_CheckPause, clog_abbruch, clog_except};
    std::atomic<int> finished{0};
    std::vector<std::thread> threads;
    std::vector<std::thread::id> ids(workers);
    for (int w = 0; w < workers; ++w)
        threads.emplace_back([&, w] {
            ids[w] = std::this_thread::get_id();
            for (int i = 0; i < perWorker; ++i)
                KV_ELOG(QString::number(w), i % 7 == 3 ? directKinds[i % 3] : queuedKinds[i % 12], i, w,
                        &where);
            ++finished;
        });
    while (finished < workers) {
        Log_Event_Obj->ProcessLogEvents();
        std::this_thread::yield();
    }
    for (std::thread &t : threads)
        t.join();
    Log_Event_Obj->ProcessLogEvents();

    ASSERT_EQ(Rec.Events.size(), std::size_t(workers * perWorker));
    std::vector<int> lastQueued(workers, -1), lastDirect(workers, -1);
    for (const TDelivered &e : Rec.Events) {
        const int w = e.ObjKey;
        ASSERT_TRUE(w >= 0 && w < workers && e.Text == QString::number(w) && e.AObj == &where);
        const bool direct = std::ranges::find(directKinds, e.Art) != std::end(directKinds);
        EXPECT_EQ(e.Thread, direct ? ids[w] : std::this_thread::get_id());
        int &last = direct ? lastDirect[w] : lastQueued[w];
        EXPECT_GT(e.HelpContext, last);
        last = e.HelpContext;
    }
}

// The queue lock is re-entrant: an event the handler raises during a drain goes out in the same
// drain. Releasing drains before it puts the saved handler back; then events go out at once.
TEST_F(LogEventTest, EventsRaisedDuringADrainOrTheReleaseGoOutInIt)
{
    Queue(Rec.Handler([](const QString &t) {
        if (t.startsWith(QLatin1String("first")) && !t.endsWith(QLatin1String("nested")))
            Raise(t + QLatin1String(" nested"));
    }));
    Raise(QStringLiteral("first"));
    Raise(QStringLiteral("second"), clog_Step);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts, (QStringList{"first", "second", "first nested"}));
    Raise(QStringLiteral("first again"));
    Raise(QStringLiteral("last"), clog_KVSResult);
    Log_Event_Obj->ReleaseThreadLogEvent();
    Raise(QStringLiteral("direct"), clog_Hint);
    EXPECT_EQ(Rec.Texts.mid(3), (QStringList{"first again", "last", "first again nested", "direct"}));
}

TEST_F(LogEventTest, AThrowingHandlerEndsTheDrainFreesItsEventAndReleasesTheLock)
{
    Queue(Rec.Handler([](const QString &t) {
        if (t.startsWith(QLatin1String("bad")))
            throw std::runtime_error("handler failed");
    }));
    const QString bad = QString::fromLatin1("bad one");
    Raise(QStringLiteral("good"));
    Raise(bad, clog_warning);
    Raise(QStringLiteral("rest"), clog_Hint);
    EXPECT_THROW(Log_Event_Obj->ProcessLogEvents(), std::runtime_error);
    EXPECT_EQ(Rec.Texts, (QStringList{"good", "bad one"}));
    EXPECT_TRUE(bad.isDetached());

    // Another thread can append again only if the drain let go of the lock.
    auto late = std::async(std::launch::async, [] { Raise(QStringLiteral("late"), clog_Step); });
    ASSERT_EQ(late.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts.mid(2), (QStringList{"rest", "late"}));
}

// The queue lock is held across the handler calls: a worker raising an event while the drain
// runs waits until the drain has ended, and its event stays queued for the next one.
TEST_F(LogEventTest, AWorkerRaisingDuringTheDrainWaitsForItsEnd)
{
    std::promise<void> raised;
    std::thread worker;
    bool raisedInsideTheDrain = true;
    Queue(Rec.Handler([&](const QString &t) {
        if (t != QLatin1String("first"))
            return;
        worker = std::thread([&] {
            Raise(QStringLiteral("from the worker"), clog_Step);
            raised.set_value();
        });
        // Only a broken lock lets the worker through here; a correct one makes this wait run out.
        const auto status = raised.get_future().wait_for(std::chrono::milliseconds(200));
        raisedInsideTheDrain = status == std::future_status::ready;
    }));
    Raise(QStringLiteral("first"));
    Raise(QStringLiteral("second"), clog_Hint);
    Log_Event_Obj->ProcessLogEvents();
    worker.join();
    EXPECT_FALSE(raisedInsideTheDrain);
    EXPECT_EQ(Rec.Texts, (QStringList{"first", "second"}));
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 1);
}

// An abort from a worker in queued mode reaches the default handler at once: the worker waits
// while the GUI thread shows the box, and continues with the stop flag set.
TEST_F(LogEventTest, AWorkersAbortThroughTheDefaultHandlerSetsTheStopFlagBeforeItGoesOn)
{
    Queue(FSaved);
    std::atomic<bool> done{false};
    bool stopSeen = false;
    std::thread worker([&] {
        Raise(QStringLiteral("queued"));
        KV_ELOG(QStringLiteral("Calculation aborted"), clog_abbruch, 9, 0, nullptr);
        stopSeen = rechenabbruch;
        done = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done && std::chrono::steady_clock::now() < deadline)
        TThread::CheckSynchronize();
    worker.join();
    EXPECT_TRUE(stopSeen);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Boxes(), (decltype(Boxes()){{QStringLiteral("Calculation aborted"), mtError, true, 9},
                                          {QStringLiteral("queued"), mtInformation, true, 0}}));
}

} // namespace
