#include "LogEventSupport.h"

#include "framework/Threads.h"

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

using namespace wn;
using namespace wn::test;

namespace {

class QueuedModeTest : public LogEventFixture
{
protected:
    void SetUp() override
    {
        LogEventFixture::SetUp();
        KV_ELOG = Rec.Handler();
        Log_Event_Obj->InitThreadLogEvent();
    }

    void TearDown() override
    {
        Log_Event_Obj->ReleaseThreadLogEvent();
        LogEventFixture::TearDown();
    }

    TEventRecorder Rec;
};

bool PassesThrough(int art)
{
    return art == clog_CheckPause || art == clog_abbruch || art == clog_except;
}

TEST_F(QueuedModeTest, OnlyCheckPauseAbortAndExceptionGoStraightThrough)
{
    QStringList expectedNow;
    QStringList expectedLater;
    for (int art = clog_protok; art <= clog_Error; ++art) {
        const QString text = QString::number(art);
        KV_ELOG(text, static_cast<TLogStatus>(art), art, -art, nullptr);
        (PassesThrough(art) ? expectedNow : expectedLater) << text;
        EXPECT_EQ(Rec.Texts(), expectedNow);
    }
    EXPECT_EQ(Log_Event_Obj->QueueCount(), expectedLater.size());
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts(), expectedNow + expectedLater);
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 0);
    for (const TDelivered &e : Rec.Events()) {
        EXPECT_EQ(e.HelpContext, int(e.Art));
        EXPECT_EQ(e.ObjKey, -int(e.Art));
    }
}

// Three queued kinds and an abort raised between them by a worker: the abort arrives at once in
// the worker, the others in order, in the draining thread, with all five values intact.
TEST_F(QueuedModeTest, AWorkersAbortOvertakesItsQueuedEvents)
{
    TErrorHandler where(12.5, 7.25);
    std::thread::id workerId;
    std::thread worker([&] {
        workerId = std::this_thread::get_id();
        KV_ELOG(QStringLiteral("start"), clog_protok, 1, 10, nullptr);
        KV_ELOG(QStringLiteral("stop"), clog_abbruch, 2, 20, nullptr);
        KV_ELOG(QStringLiteral("hint"), clog_Hint, 3, 30, &where);
        KV_ELOG(QStringLiteral("careful"), clog_warning, 4, 40, nullptr);
    });
    worker.join();
    ASSERT_EQ(Rec.Texts(), QStringList{QStringLiteral("stop")});
    EXPECT_EQ(Rec.Events()[0].Thread, workerId);

    Log_Event_Obj->ProcessLogEvents();
    const auto events = Rec.Events();
    ASSERT_EQ(Rec.Texts(), (QStringList{QStringLiteral("stop"), QStringLiteral("start"),
                                        QStringLiteral("hint"), QStringLiteral("careful")}));
    const TLogStatus arts[] = {clog_abbruch, clog_protok, clog_Hint, clog_warning};
    const int help[] = {2, 1, 3, 4};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(events[i].Art, arts[i]);
        EXPECT_EQ(events[i].HelpContext, help[i]);
        EXPECT_EQ(events[i].ObjKey, help[i] * 10);
        if (i > 0) {
            EXPECT_EQ(events[i].Thread, std::this_thread::get_id());
        }
    }
    EXPECT_EQ(events[2].AObj, &where);
    EXPECT_EQ(events[0].AObj, nullptr);
}

// Four workers raise numbered events, every seventh a pass-through kind, while this thread keeps
// draining. Each event must arrive exactly once, queued ones in the draining thread and in each
// worker's order, pass-through ones in their worker.
TEST_F(QueuedModeTest, WorkersInterleavedWithADrainingThreadKeepEachWorkersOrder)
{
    constexpr int workers = 4;
    constexpr int perWorker = 3000;
    const TLogStatus queuedKinds[] = {clog_protok, clog_Hint, clog_warning, clog_Step, clog_Progress};
    const TLogStatus directKinds[] = {clog_CheckPause, clog_abbruch, clog_except};
    std::atomic<bool> go{false};
    std::atomic<int> finished{0};
    std::vector<std::thread> threads;
    std::vector<std::thread::id> ids(workers);
    for (int w = 0; w < workers; ++w)
        threads.emplace_back([&, w] {
            ids[w] = std::this_thread::get_id();
            while (!go)
                std::this_thread::yield();
            for (int i = 0; i < perWorker; ++i) {
                const TLogStatus art = i % 7 == 3 ? directKinds[i % 3] : queuedKinds[i % 5];
                KV_ELOG(QStringLiteral("w%1").arg(w), art, i, w, nullptr);
            }
            ++finished;
        });
    go = true;
    while (finished < workers) {
        Log_Event_Obj->ProcessLogEvents();
        std::this_thread::yield();
    }
    for (std::thread &t : threads)
        t.join();
    Log_Event_Obj->ProcessLogEvents();

    const auto events = Rec.Events();
    ASSERT_EQ(events.size(), std::size_t(workers * perWorker));
    std::vector<int> lastQueued(workers, -1);
    std::vector<int> lastDirect(workers, -1);
    std::vector<int> count(workers, 0);
    for (const TDelivered &e : events) {
        ASSERT_GE(e.ObjKey, 0);
        ASSERT_LT(e.ObjKey, workers);
        const int w = e.ObjKey;
        EXPECT_EQ(e.Text, QStringLiteral("w%1").arg(w));
        ++count[w];
        if (PassesThrough(e.Art)) {
            EXPECT_EQ(e.Thread, ids[w]);
            EXPECT_GT(e.HelpContext, lastDirect[w]);
            lastDirect[w] = e.HelpContext;
        } else {
            EXPECT_EQ(e.Thread, std::this_thread::get_id());
            EXPECT_GT(e.HelpContext, lastQueued[w]);
            lastQueued[w] = e.HelpContext;
        }
    }
    for (int w = 0; w < workers; ++w)
        EXPECT_EQ(count[w], perWorker);
}

// A handler that raises an event during the drain takes the queue lock again in the same
// thread; the event joins the end of the queue and goes out in the same drain.
TEST_F(QueuedModeTest, AHandlerRaisingEventsDuringTheDrainDoesNotDeadlock)
{
    Log_Event_Obj->ReleaseThreadLogEvent();
    KV_ELOG = [this](const QString &t, TLogStatus a, std::int32_t h, std::int32_t k, TObject *o) {
        Rec.Handler()(t, a, h, k, o);
        if (t == QLatin1String("first"))
            KV_ELOG(QStringLiteral("nested"), clog_protok, 0, 0, nullptr);
    };
    Log_Event_Obj->InitThreadLogEvent();
    KV_ELOG(QStringLiteral("first"), clog_protok, 0, 0, nullptr);
    KV_ELOG(QStringLiteral("second"), clog_Step, 0, 0, nullptr);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts(),
              (QStringList{QStringLiteral("first"), QStringLiteral("second"), QStringLiteral("nested")}));
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 0);
}

TEST_F(QueuedModeTest, AThrowingHandlerEndsTheDrainFreesItsEventAndReleasesTheLock)
{
    Log_Event_Obj->ReleaseThreadLogEvent();
    KV_ELOG = [this](const QString &t, TLogStatus a, std::int32_t h, std::int32_t k, TObject *o) {
        Rec.Handler()(t, a, h, k, o);
        if (t.startsWith(QLatin1String("bad")))
            throw std::runtime_error("handler failed");
    };
    Log_Event_Obj->InitThreadLogEvent();
    QString bad = OwnText("bad one");
    QString rest = OwnText("rest");
    KV_ELOG(QStringLiteral("good"), clog_protok, 0, 0, nullptr);
    KV_ELOG(bad, clog_warning, 0, 0, nullptr);
    KV_ELOG(rest, clog_Hint, 0, 0, nullptr);

    EXPECT_THROW(Log_Event_Obj->ProcessLogEvents(), std::runtime_error);
    EXPECT_EQ(Rec.Texts(), (QStringList{QStringLiteral("good"), QStringLiteral("bad one")}));
    EXPECT_TRUE(bad.isDetached());
    EXPECT_FALSE(rest.isDetached());
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 1);

    // Another thread can append again only if the drain let go of the lock.
    auto late =
        std::async(std::launch::async, [] { KV_ELOG(QStringLiteral("late"), clog_Step, 0, 0, nullptr); });
    ASSERT_EQ(late.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts(), (QStringList{QStringLiteral("good"), QStringLiteral("bad one"),
                                        QStringLiteral("rest"), QStringLiteral("late")}));
}

TEST_F(QueuedModeTest, ReleaseDeliversWhatIsLeftThenRestoresDirectDelivery)
{
    KV_ELOG(QStringLiteral("one"), clog_protok, 0, 0, nullptr);
    KV_ELOG(QStringLiteral("two"), clog_KVSResult, 0, 0, nullptr);
    EXPECT_TRUE(Rec.Events().empty());
    Log_Event_Obj->ReleaseThreadLogEvent();
    EXPECT_EQ(Rec.Texts(), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));

    KV_ELOG(QStringLiteral("three"), clog_Step, 0, 0, nullptr);
    EXPECT_EQ(Rec.Texts().size(), 3);
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 0);
    Log_Event_Obj->InitThreadLogEvent();
}

// The last drain runs before the saved handler is put back, so an event that the handler raises
// during it is still queued and goes out after the ones waiting before it.
TEST_F(QueuedModeTest, ReleaseDrainsBeforeItRestoresTheSavedHandler)
{
    Log_Event_Obj->ReleaseThreadLogEvent();
    KV_ELOG = [this](const QString &t, TLogStatus a, std::int32_t h, std::int32_t k, TObject *o) {
        Rec.Handler()(t, a, h, k, o);
        if (t == QLatin1String("first"))
            KV_ELOG(QStringLiteral("raised while releasing"), clog_protok, 0, 0, nullptr);
    };
    Log_Event_Obj->InitThreadLogEvent();
    KV_ELOG(QStringLiteral("first"), clog_protok, 0, 0, nullptr);
    KV_ELOG(QStringLiteral("second"), clog_Hint, 0, 0, nullptr);
    Log_Event_Obj->ReleaseThreadLogEvent();
    EXPECT_EQ(Rec.Texts(), (QStringList{QStringLiteral("first"), QStringLiteral("second"),
                                        QStringLiteral("raised while releasing")}));
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 0);
    Log_Event_Obj->InitThreadLogEvent();
}

// The queue lock is held across the handler calls: a worker raising an event while the drain
// runs waits until the drain has ended, and its event stays queued for the next one.
TEST_F(QueuedModeTest, AWorkerRaisingDuringTheDrainWaitsForItsEnd)
{
    std::promise<void> raised;
    std::future<void> raisedFuture = raised.get_future();
    std::thread worker;
    bool raisedInsideTheDrain = true;
    Log_Event_Obj->ReleaseThreadLogEvent();
    KV_ELOG = [&](const QString &t, TLogStatus a, std::int32_t h, std::int32_t k, TObject *o) {
        Rec.Handler()(t, a, h, k, o);
        if (t != QLatin1String("first"))
            return;
        worker = std::thread([&] {
            KV_ELOG(QStringLiteral("from the worker"), clog_Step, 0, 0, nullptr);
            raised.set_value();
        });
        // Only a broken lock lets the worker through here; a correct one makes this wait run out.
        raisedInsideTheDrain =
            raisedFuture.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
    };
    Log_Event_Obj->InitThreadLogEvent();
    KV_ELOG(QStringLiteral("first"), clog_protok, 0, 0, nullptr);
    KV_ELOG(QStringLiteral("second"), clog_Hint, 0, 0, nullptr);
    Log_Event_Obj->ProcessLogEvents();
    worker.join();
    EXPECT_FALSE(raisedInsideTheDrain);
    EXPECT_EQ(Rec.Texts(), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 1);
    Log_Event_Obj->ProcessLogEvents();
    EXPECT_EQ(Rec.Texts().last(), QStringLiteral("from the worker"));
}

// The drain reads the global dispatcher's queue but delivers to the handler saved in the object
// it is called on.
TEST_F(QueuedModeTest, ADrainThroughAnotherDispatcherUsesThatDispatchersHandler)
{
    TEventRecorder other;
    TLog_Event_Obj second;
    const TLog_Event queued = KV_ELOG;
    KV_ELOG = other.Handler();
    second.InitThreadLogEvent();
    KV_ELOG = queued;

    KV_ELOG(QStringLiteral("global"), clog_protok, 0, 0, nullptr);
    second.ProcessLogEvents();
    EXPECT_EQ(other.Texts(), QStringList{QStringLiteral("global")});
    EXPECT_TRUE(Rec.Events().empty());
    EXPECT_EQ(Log_Event_Obj->QueueCount(), 0);
}

// An abort from a worker in queued mode reaches the default handler at once: the worker waits
// while the GUI thread shows the box, and continues with the stop flag set.
TEST_F(QueuedModeTest, AWorkersAbortThroughTheDefaultHandlerSetsTheStopFlagBeforeItGoesOn)
{
    Log_Event_Obj->ReleaseThreadLogEvent();
    KV_ELOG = FSavedSlot;
    Log_Event_Obj->InitThreadLogEvent();

    std::atomic<bool> done{false};
    bool stopSeen = false;
    std::thread worker([&] {
        KV_ELOG(QStringLiteral("queued"), clog_protok, 0, 0, nullptr);
        KV_ELOG(QStringLiteral("Calculation aborted"), clog_abbruch, 9, 0, nullptr);
        stopSeen = rechenabbruch;
        done = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!done && std::chrono::steady_clock::now() < deadline) {
        TThread::CheckSynchronize();
        std::this_thread::yield();
    }
    worker.join();
    EXPECT_TRUE(stopSeen);
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0].Text, QStringLiteral("Calculation aborted"));
    EXPECT_EQ(Boxes()[0].Kind, mtError);
    EXPECT_EQ(Boxes()[0].HelpContext, 9);

    Log_Event_Obj->ProcessLogEvents();
    ASSERT_EQ(Boxes().size(), 2u);
    EXPECT_EQ(Boxes()[1].Text, QStringLiteral("queued"));
    EXPECT_EQ(Boxes()[1].Kind, mtInformation);
}

} // namespace
