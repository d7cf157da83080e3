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
    std::thread::id Thread;
};

void Raise(const QString &text, TLogStatus art = clog_protok)
{
    KV_ELOG(text, art, 0, 0, nullptr);
}

// Leaks of undelivered or dropped events are left to the leak checker of `./wn check`.
class LogEventTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        if (FQueued)
            Log_Event_Obj->ReleaseThreadLogEvent();
        KV_ELOG = FSaved;
        rechenabbruch = UserBreaked = false;
    }

    // Records events from any thread (read once those are done); After runs inside the handler.
    TLog_Event Recorder(std::function<void(const QString &)> After = {})
    {
        return [this, After](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key,
                             TObject *) {
            {
                std::lock_guard<std::mutex> lock(FLock);
                Events.push_back({text, art, help, key, std::this_thread::get_id()});
                Texts << text;
            }
            if (After)
                After(text);
        };
    }

    void Queue(TLog_Event Handler)
    {
        KV_ELOG = std::move(Handler);
        Log_Event_Obj->InitThreadLogEvent();
        FQueued = true;
    }

    // Text, kind and help context of every box shown; every box has one OK button.
    auto Boxes() const
    {
        std::vector<std::tuple<QString, TMsgDlgType, int>> boxes;
        for (const auto &c : Ui.CallsOf(QStringLiteral("MessageDlg"))) {
            EXPECT_EQ(c.Buttons, TMsgDlgButtons{mbOK});
            boxes.emplace_back(c.Text, c.Kind, c.HelpContext);
        }
        return boxes;
    }

    TRecordingUiServices Ui;
    TUiServicesScope UiScope{Ui};
    std::mutex FLock;
    std::vector<TDelivered> Events;
    QStringList Texts;
    TLog_Event FSaved = KV_ELOG;
    bool FQueued = false;
};

TEST_F(LogEventTest, DefaultBoxesFlagsMyFormatAndTheCountedStartUp)
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
        const decltype(Boxes()) box = {{QString::number(art), kinds[std::min(i, 15)], 1000 + art}};
        EXPECT_EQ(Boxes(), art == clog_Progress ? decltype(box){} : box);
        EXPECT_EQ(rechenabbruch, art == clog_abbruch || art == clog_userbreak) << art;
    }

    // Log_Event_Ext hands the caller's flags to the handler and its changes back.
    KV_ELOG = Recorder([](const QString &) {
        EXPECT_EQ(std::pair(bool(rechenabbruch), bool(UserBreaked)), std::pair(false, true));
        rechenabbruch = true;
        UserBreaked = false;
    });
    bool abbruch = false, userBreak = true;
    Log_Event_Ext(QStringLiteral("Grid too large"), clog_Error, abbruch, userBreak);
    EXPECT_EQ(std::pair(abbruch, userBreak), std::pair(true, false));

    // A bad pattern comes back as it is, with the formatting error as one warning.
    KV_ELOG = Recorder();
    Events.clear();
    EXPECT_EQ(MyFormat(QStringLiteral("%d kB to \"%s\""), {2048, QStringLiteral("/tmp/a.log")}),
              QStringLiteral("2048 kB to \"/tmp/a.log\""));
    EXPECT_EQ(MyFormat(QStringLiteral("%s of %s"), {QStringLiteral("one")}), QStringLiteral("%s of %s"));
    ASSERT_EQ(Events.size(), 1u);
    EXPECT_EQ(Events[0].Art, clog_warning);

    // Nobody listening is no error.
    KV_ELOG = nullptr;
    Log_Event_Ext(QStringLiteral("nobody listens"), clog_abbruch, abbruch, userBreak);
    EXPECT_EQ(MyFormat(QStringLiteral("%d"), {QStringLiteral("abc")}), QStringLiteral("%d"));

    // Only the last clean-up frees the dispatcher (its queue undelivered) and empties the slot.
    TLog_Event_Obj *const loaded = Log_Event_Obj;
    LogEvent_Initialize();
    LogEvent_Finalize();
    ASSERT_EQ(Log_Event_Obj, loaded);
    Log_Event_Obj->InitThreadLogEvent();
    Raise(QStringLiteral("pending"), clog_warning);
    LogEvent_Finalize();
    EXPECT_EQ(Log_Event_Obj, nullptr);
    EXPECT_FALSE(KV_ELOG);
    EXPECT_EQ(Events.size(), 1u);
    LogEvent_Initialize();
    FSaved = KV_ELOG;
}

// Four workers raise numbered events of every kind while this thread keeps draining. Each arrives
// once with each worker's numbers rising; clog_CheckPause, clog_abbruch and clog_except at once in
// their worker, all others in the draining thread.
TEST_F(LogEventTest, WorkersInterleavedWithADrainingThreadKeepEachWorkersOrder)
{
    Queue(Recorder());
    constexpr int workers = 4, perWorker = 3000;
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
                        nullptr);
            ++finished;
        });
    while (finished < workers) {
        Log_Event_Obj->ProcessLogEvents();
        std::this_thread::yield();
    }
    for (std::thread &t : threads)
        t.join();
    Log_Event_Obj->ProcessLogEvents();

    ASSERT_EQ(Events.size(), std::size_t(workers * perWorker));
    std::vector<int> lastQueued(workers, -1), lastDirect(workers, -1);
    for (const TDelivered &e : Events) {
        const int w = e.ObjKey;
        ASSERT_TRUE(w >= 0 && w < workers && e.Text == QString::number(w));
        const bool direct = std::ranges::find(directKinds, e.Art) != std::end(directKinds);
        EXPECT_EQ(e.Thread, direct ? ids[w] : std::this_thread::get_id());
        int &last = direct ? lastDirect[w] : lastQueued[w];
        EXPECT_GT(e.HelpContext, last);
        last = e.HelpContext;
    }
}

// The queue lock is re-entrant: an event the handler raises goes out in the same drain. A
// throwing handler ends the drain and lets go of the lock; releasing drains what is left.
TEST_F(LogEventTest, NestedEventsAThrowingHandlerAndTheRelease)
{
    Queue(Recorder([](const QString &t) {
        if (t == QLatin1String("first"))
            Raise(t + QLatin1String(" nested"));
        else if (t == QLatin1String("first nested"))
            throw std::runtime_error("handler failed");
    }));
    for (const char *text : {"first", "second", "rest"})
        Raise(QString::fromLatin1(text), clog_Step);
    EXPECT_THROW(Log_Event_Obj->ProcessLogEvents(), std::runtime_error);
    EXPECT_EQ(Texts, (QStringList{"first", "second", "rest", "first nested"}));
    auto late = std::async(std::launch::async, [] { Raise(QStringLiteral("late"), clog_Step); });
    ASSERT_EQ(late.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    Raise(QStringLiteral("last"), clog_KVSResult);
    Log_Event_Obj->ReleaseThreadLogEvent();
    FQueued = false;
    Raise(QStringLiteral("direct"), clog_Hint);
    EXPECT_EQ(Texts.mid(4), (QStringList{"late", "last", "direct"}));
}

// The queue lock is held across the handler calls: a worker raising an event while the drain
// runs waits until the drain has ended, and its event stays queued for the next one.
TEST_F(LogEventTest, AWorkerRaisingDuringTheDrainWaitsForItsEnd)
{
    std::promise<void> raised;
    std::thread worker;
    bool raisedInsideTheDrain = true;
    Queue(Recorder([&](const QString &t) {
        if (t != QLatin1String("first"))
            return;
        worker = std::thread([&] {
            Raise(QStringLiteral("from the worker"), clog_Step);
            raised.set_value();
        });
        // Only a broken lock lets the worker through here; a correct one makes this wait run out.
        raisedInsideTheDrain =
            raised.get_future().wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
    }));
    Raise(QStringLiteral("first"));
    Raise(QStringLiteral("second"), clog_Hint);
    Log_Event_Obj->ProcessLogEvents();
    worker.join();
    EXPECT_FALSE(raisedInsideTheDrain);
    EXPECT_EQ(Texts, (QStringList{"first", "second"}));
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
    EXPECT_EQ(Boxes(), (decltype(Boxes()){{QStringLiteral("Calculation aborted"), mtError, 9},
                                          {QStringLiteral("queued"), mtInformation, 0}}));
}

} // namespace
