#include "framework/Threads.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <chrono>
#include <deque>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace wn {

void TSimpleEvent::SetEvent()
{
    {
        std::lock_guard<std::mutex> lock(FLock);
        FSignaled = true;
    }
    FCond.notify_all();
}

void TSimpleEvent::ResetEvent()
{
    std::lock_guard<std::mutex> lock(FLock);
    FSignaled = false;
}

bool TSimpleEvent::IsSet() const
{
    std::lock_guard<std::mutex> lock(FLock);
    return FSignaled;
}

TWaitResult TSimpleEvent::WaitFor(int timeoutMs)
{
    std::unique_lock<std::mutex> lock(FLock);
    if (timeoutMs < 0) {
        FCond.wait(lock, [this] { return FSignaled; });
        return wrSignaled;
    }
    return FCond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return FSignaled; })
               ? wrSignaled
               : wrTimeout;
}

namespace {

// Synchronize calls waiting for the GUI thread. The GUI thread runs them from its event loop
// (a queued call posted for each) and while it waits in TThread::WaitFor.
struct SyncRequest {
    std::function<void()> Method;
    std::exception_ptr Error;
    bool Done = false;
};

struct SyncQueue {
    std::mutex Lock;
    std::condition_variable Changed; // a request was queued or finished
    std::deque<SyncRequest *> Pending;
    std::mutex DirectLock; // serialises direct calls when there is no application
};

SyncQueue &Queue()
{
    static SyncQueue q;
    return q;
}

} // namespace

bool TThread::InGuiThread()
{
    QCoreApplication *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void TThread::Synchronize(const std::function<void()> &method)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app) {
        std::lock_guard<std::mutex> lock(Queue().DirectLock);
        method();
        return;
    }
    if (InGuiThread()) {
        method();
        return;
    }
    SyncRequest request;
    request.Method = method;
    SyncQueue &q = Queue();
    {
        std::lock_guard<std::mutex> lock(q.Lock);
        q.Pending.push_back(&request);
    }
    q.Changed.notify_all();
    QMetaObject::invokeMethod(
        app, [] { CheckSynchronize(); }, Qt::QueuedConnection);
    std::unique_lock<std::mutex> lock(q.Lock);
    q.Changed.wait(lock, [&request] { return request.Done; });
    if (request.Error)
        std::rethrow_exception(request.Error);
}

bool TThread::CheckSynchronize()
{
    SyncQueue &q = Queue();
    bool ran = false;
    for (;;) {
        SyncRequest *request;
        {
            std::lock_guard<std::mutex> lock(q.Lock);
            if (q.Pending.empty())
                return ran;
            request = q.Pending.front();
            q.Pending.pop_front();
        }
        try {
            request->Method();
        } catch (...) {
            request->Error = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> lock(q.Lock);
            request->Done = true;
        }
        q.Changed.notify_all();
        ran = true;
    }
}

TThread::TThread() = default;

TThread::~TThread()
{
    std::unique_lock<std::mutex> lock(FLock);
    if (FThread.joinable()) {
        if (FThread.get_id() == std::this_thread::get_id()) {
            FThread.detach(); // freeing itself on terminate
        } else {
            lock.unlock();
            TerminateAndWait();
        }
    }
}

void TThread::Resume()
{
    std::lock_guard<std::mutex> lock(FLock);
    if (FStarted.exchange(true))
        return;
    FThread = std::thread([this] { ThreadMain(); });
    FThreadId = FThread.get_id();
}

void TThread::ThreadMain()
{
    ApplyPriority();
    try {
        Execute();
    } catch (...) {
        // An exception leaving Execute ends the thread; the runtime keeps it as FatalException,
        // which nobody here reads.
    }
    if (OnTerminate) {
        try {
            Synchronize([this] { OnTerminate(this); });
        } catch (...) {
        }
    }
    const bool freeIt = FreeOnTerminate;
    FFinished.store(true);
    FDone.SetEvent();
    if (freeIt)
        delete this;
}

std::int32_t TThread::WaitFor()
{
    if (!FStarted.load())
        return ReturnValue;
    if (InGuiThread()) {
        // Serve Synchronize calls of this (or any) worker while waiting, or both would block.
        SyncQueue &q = Queue();
        while (!FDone.IsSet()) {
            CheckSynchronize();
            std::unique_lock<std::mutex> lock(q.Lock);
            q.Changed.wait_for(lock, std::chrono::milliseconds(5), [&q] { return !q.Pending.empty(); });
        }
    } else {
        FDone.WaitFor();
    }
    std::lock_guard<std::mutex> lock(FLock);
    if (FThread.joinable())
        FThread.join();
    return ReturnValue;
}

void TThread::TerminateAndWait()
{
    Terminate();
    WaitFor();
}

void TThread::SetPriority(TThreadPriority value)
{
    FPriority = value;
    if (FStarted.load() && !FFinished.load() && std::this_thread::get_id() == FThreadId)
        ApplyPriority();
}

void TThread::ApplyPriority()
{
    static const int niceness[] = {19, 10, 5, 0, 0, 0, 0};
    if (FPriority < tpNormal)
        setpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)), niceness[FPriority]);
}

} // namespace wn
