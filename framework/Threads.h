#pragma once
// TThread: a worker thread object with the runtime's life cycle (created suspended, Resume,
// Terminate/Terminated, WaitFor, FreeOnTerminate, OnTerminate) and Synchronize into the GUI
// thread; TSimpleEvent: a manual-reset event.

#include "framework/Classes.h"
#include "wn_export.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace wn {

enum TThreadPriority : std::uint8_t {
    tpIdle,
    tpLowest,
    tpLower,
    tpNormal,
    tpHigher,
    tpHighest,
    tpTimeCritical
};

enum TWaitResult : std::uint8_t { wrSignaled, wrTimeout, wrAbandoned, wrError };

class WN_EXPORT TSimpleEvent
{
public:
    explicit TSimpleEvent(bool initialState = false) : FSignaled(initialState) {}
    void SetEvent();
    void ResetEvent();
    // timeoutMs < 0 waits for ever.
    TWaitResult WaitFor(int timeoutMs = -1);
    bool IsSet() const;

private:
    mutable std::mutex FLock;
    std::condition_variable FCond;
    bool FSignaled;
};

// Subclasses override Execute. A thread object is always constructed suspended; a subclass that
// wants to run at once calls Resume() at the end of its own constructor (so Execute never sees a
// half-built object), or the creator uses TThread::Run<T>(...).
//
// A subclass whose Execute uses its own members must make sure the thread has ended before
// those members go: its destructor calls TerminateAndWait() first.
class WN_EXPORT TThread : public TObject
{
public:
    TThread();
    ~TThread() override;
    TThread(const TThread &) = delete;
    TThread &operator=(const TThread &) = delete;

    template <typename T, typename... Args> static T *Run(Args &&...args)
    {
        T *t = new T(std::forward<Args>(args)...);
        t->Resume();
        return t;
    }

    // Starts a suspended thread; further calls do nothing.
    void Resume();
    void Terminate() { FTerminated.store(true); }
    bool Terminated() const { return FTerminated.load(); }
    bool Suspended() const { return !FStarted.load(); }
    bool Finished() const { return FFinished.load(); }
    // Waits for Execute and OnTerminate to end and returns ReturnValue. Called in the GUI thread
    // it keeps serving Synchronize calls while it waits. Must not be called for a thread with
    // FreeOnTerminate, nor from the thread itself.
    std::int32_t WaitFor();
    void TerminateAndWait();

    bool FreeOnTerminate = false;
    std::int32_t ReturnValue = 0;
    // Called in the GUI thread (through Synchronize) after Execute has returned.
    std::function<void(TThread *)> OnTerminate;

    TThreadPriority Priority() const { return FPriority; }
    // Recorded; applied as a lower scheduling weight (nice) for priorities below normal.
    void SetPriority(TThreadPriority value);
    std::thread::id ThreadID() const { return FThreadId; }

    // Runs method in the GUI thread and waits for it; a direct call when already there (or when
    // no application object exists).
    static void Synchronize(const std::function<void()> &method);
    // Runs the Synchronize calls that are waiting; the GUI thread calls it (also from its event
    // loop). Returns whether any ran.
    static bool CheckSynchronize();
    static bool InGuiThread();

protected:
    virtual void Execute() = 0;

private:
    void ThreadMain();
    void ApplyPriority();

    std::thread FThread;
    std::thread::id FThreadId;
    std::atomic<bool> FStarted{false};
    std::atomic<bool> FTerminated{false};
    std::atomic<bool> FFinished{false};
    TThreadPriority FPriority = tpNormal;
    std::mutex FLock; // FThread, FStarted transitions
    TSimpleEvent FDone;
};

} // namespace wn
