#include "framework/Threads.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <vector>

using namespace wn;

namespace {

class TCountingThread : public TThread
{
public:
    ~TCountingThread() override { TerminateAndWait(); }

    std::atomic<int> Loops{0};

protected:
    void Execute() override
    {
        while (!Terminated()) {
            ++Loops;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        ReturnValue = 42;
    }
};

class TFunctionThread : public TThread
{
public:
    explicit TFunctionThread(std::function<void(TFunctionThread &)> body) : FBody(std::move(body)) {}
    ~TFunctionThread() override { TerminateAndWait(); }

protected:
    void Execute() override { FBody(*this); }

private:
    std::function<void(TFunctionThread &)> FBody;
};

// Runs the GUI event loop until done() or a generous limit.
void PumpUntil(const std::function<bool()> &done)
{
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

} // namespace

TEST(TThreadTest, SuspendedUntilResumedAndTheRunHelper)
{
    TCountingThread never;
    EXPECT_EQ(never.WaitFor(), 0); // never started: returns at once
    TCountingThread t;
    t.SetPriority(tpLower);
    EXPECT_EQ(t.Priority(), tpLower);
    EXPECT_TRUE(t.Suspended());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(t.Loops.load(), 0);
    t.Resume();
    t.Resume(); // a second call does nothing
    while (t.Loops.load() == 0)
        std::this_thread::yield();
    EXPECT_FALSE(t.Suspended());
    t.Terminate();
    EXPECT_TRUE(t.Terminated());
    EXPECT_EQ(t.WaitFor(), 42);
    EXPECT_TRUE(t.Finished());
    // Started at once; the destructor terminates and waits.
    std::unique_ptr<TCountingThread> u(TThread::Run<TCountingThread>());
    while (u->Loops.load() == 0)
        std::this_thread::yield();
}

TEST(TThreadTest, FreeOnTerminateDeletesTheObjectAfterOnTerminate)
{
    static std::atomic<int> destroyed{0};
    struct TSelfFreeing : TThread {
        ~TSelfFreeing() override { ++destroyed; }
        void Execute() override {}
    };
    destroyed = 0;
    bool terminatedInGui = false;
    auto *t = new TSelfFreeing;
    t->FreeOnTerminate = true;
    t->OnTerminate = [&](TThread *) { terminatedInGui = TThread::InGuiThread(); };
    t->Resume();
    PumpUntil([] { return destroyed.load() == 1; });
    EXPECT_EQ(destroyed.load(), 1);
    EXPECT_TRUE(terminatedInGui);
}

TEST(TThreadTest, SynchronizeRunsInTheGuiThreadWhileItsLoopRuns)
{
    std::vector<int> order;
    std::atomic<bool> finished{false};
    QThread *gui = QThread::currentThread();
    bool allInGui = true;
    TFunctionThread worker([&](TFunctionThread &) {
        for (int i = 0; i < 50; ++i)
            TThread::Synchronize([&, i] {
                allInGui = allInGui && QThread::currentThread() == gui;
                order.push_back(i);
            });
        finished = true;
    });
    worker.Resume();
    PumpUntil([&] { return finished.load(); });
    ASSERT_TRUE(finished.load());
    EXPECT_TRUE(allInGui);
    std::vector<int> expected(50);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    // From the GUI thread itself it is a direct call.
    int calls = 0;
    TThread::Synchronize([&] { ++calls; });
    EXPECT_EQ(calls, 1);
}

// The GUI thread blocks in WaitFor while the worker needs it: no deadlock; an exception thrown in
// the GUI thread goes back to the worker.
TEST(TThreadTest, WaitForInTheGuiThreadServesSynchronizeAndItsExceptions)
{
    int value = 0;
    bool caught = false;
    TFunctionThread worker([&](TFunctionThread &self) {
        TThread::Synchronize([&] { value = 7; });
        try {
            TThread::Synchronize([] { throw std::runtime_error("in gui"); });
        } catch (const std::runtime_error &) {
            caught = true;
        }
        self.ReturnValue = 3;
    });
    worker.Resume();
    EXPECT_EQ(worker.WaitFor(), 3);
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(caught);
}

TEST(TThreadTest, ManyWorkersSynchronizingAtOnce)
{
    std::atomic<int> total{0};
    int guiTotal = 0;
    std::vector<std::unique_ptr<TFunctionThread>> workers;
    for (int w = 0; w < 8; ++w)
        workers.push_back(std::make_unique<TFunctionThread>([&](TFunctionThread &) {
            for (int i = 0; i < 100; ++i) {
                TThread::Synchronize([&] { ++guiTotal; });
                ++total;
            }
        }));
    for (auto &w : workers)
        w->Resume();
    for (auto &w : workers)
        w->WaitFor();
    EXPECT_EQ(total.load(), 800);
    EXPECT_EQ(guiTotal, 800);
}

TEST(TSimpleEventTest, SetResetAndTimeOut)
{
    TSimpleEvent e;
    EXPECT_EQ(e.WaitFor(1), wrTimeout);
    e.SetEvent();
    EXPECT_EQ(e.WaitFor(0), wrSignaled);
    EXPECT_EQ(e.WaitFor(0), wrSignaled); // manual reset: stays set
    e.ResetEvent();
    EXPECT_FALSE(e.IsSet());
    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        e.SetEvent();
    });
    EXPECT_EQ(e.WaitFor(-1), wrSignaled);
    setter.join();
}
