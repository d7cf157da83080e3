#include "logging/LogEvent.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"
#include "framework/Threads.h"
#include "framework/UiServices.h"

#include <mutex>

namespace wn {

// KV_ELOG carries an init priority so that it is ready before the package's start-up (priority
// 210) and any ordinary static initialiser of the library or its host runs; without it a start-up
// made from another file's initialiser could be wiped out by KV_ELOG's own construction.
TLog_Event KV_ELOG __attribute__((init_priority(200)));
constinit TLog_Event_Obj *Log_Event_Obj = nullptr;

constinit std::atomic<bool> rechenabbruch{false};
constinit std::atomic<bool> UserBreaked{false};
constinit std::atomic<bool> SuppressWarnings{false};

namespace {

// Guards every queue; re-entrant because a handler running inside the drain may raise events
// in the draining thread. It lives for the whole process (outliving the unit's clean-up at exit)
// so that a late event never finds it gone.
std::recursive_mutex GQueueLock __attribute__((init_priority(200)));

constinit std::mutex GLifecycleLock;
constinit int GInitCount = 0;

TMsgDlgType BoxKind(TLogStatus art)
{
    switch (art) {
    case clog_abbruch:
    case clog_userbreak: return mtError;
    // A caught exception and an error are deliberately shown as warnings.
    case clog_warning:
    case clog_except:
    case clog_exProtok:
    case clog_Error: return mtWarning;
    default: return mtInformation;
    }
}

bool PassesThrough(TLogStatus art)
{
    return art == clog_CheckPause || art == clog_abbruch || art == clog_except;
}

} // namespace

TLog_Event_Obj::TLog_Event_Obj() = default;

TLog_Event_Obj::~TLog_Event_Obj()
{
    std::lock_guard<std::recursive_mutex> lock(GQueueLock);
    FQueue.clear();
}

void TLog_Event_Obj::ErrorMsg(const QString &FText, TLogStatus FArt, std::int32_t HelpContext, std::int32_t,
                              TObject *)
{
    if (FArt == clog_Progress)
        return;
    const TMsgDlgType kind = BoxKind(FArt);
    TThread::Synchronize([&] { UiServices().MessageDlg(FText, kind, TMsgDlgButtons{mbOK}, HelpContext); });
    if (FArt == clog_abbruch || FArt == clog_userbreak)
        rechenabbruch = true;
}

void TLog_Event_Obj::NoErrorMsg(const QString &, TLogStatus, std::int32_t, std::int32_t, TObject *) {}

void TLog_Event_Obj::InitThreadLogEvent()
{
    FSavedLogEvent = KV_ELOG;
    KV_ELOG = std::bind_front(&TLog_Event_Obj::ThreadLogEvent, this);
}

void TLog_Event_Obj::ThreadLogEvent(const QString &FText, TLogStatus FArt, std::int32_t HelpContext,
                                    std::int32_t ObjKey, TObject *AObj)
{
    if (PassesThrough(FArt)) {
        if (FSavedLogEvent)
            FSavedLogEvent(FText, FArt, HelpContext, ObjKey, AObj);
        return;
    }
    auto item = std::make_unique<TLogEventData>(FText, FArt, HelpContext, ObjKey, AObj);
    std::lock_guard<std::recursive_mutex> lock(GQueueLock);
    FQueue.push_back(std::move(item));
}

void TLog_Event_Obj::ProcessLogEvents()
{
    std::lock_guard<std::recursive_mutex> lock(GQueueLock);
    TLog_Event_Obj *source = Log_Event_Obj;
    if (!source)
        return;
    while (!source->FQueue.empty()) {
        const std::unique_ptr<TLogEventData> item = std::move(source->FQueue.front());
        source->FQueue.pop_front();
        if (FSavedLogEvent)
            FSavedLogEvent(item->FText, item->FArt, item->HelpContext, item->ObjKey, item->AObj);
    }
}

void TLog_Event_Obj::ReleaseThreadLogEvent()
{
    ProcessLogEvents();
    KV_ELOG = FSavedLogEvent;
}

int TLog_Event_Obj::QueueCount() const
{
    std::lock_guard<std::recursive_mutex> lock(GQueueLock);
    return static_cast<int>(FQueue.size());
}

void Log_Event_Ext(const QString &Text, TLogStatus Art, bool &Abbruch, bool &UserBreak)
{
    rechenabbruch = Abbruch;
    UserBreaked = UserBreak;
    if (KV_ELOG)
        KV_ELOG(Text, Art, 0, 0, nullptr);
    Abbruch = rechenabbruch;
    UserBreak = UserBreaked;
}

QString MyFormat(const QString &Fmt, const QVariantList &Args)
{
    QString message;
    try {
        return Format(Fmt, Args);
    } catch (const Exception &e) {
        message = e.Message();
    } catch (const std::exception &e) {
        message = QString::fromUtf8(e.what());
    }
    if (KV_ELOG)
        KV_ELOG(message, clog_warning, 0, 0, nullptr);
    return Fmt;
}

void LogEvent_Initialize()
{
    std::lock_guard<std::mutex> lock(GLifecycleLock);
    if (GInitCount++ > 0)
        return;
    Log_Event_Obj = new TLog_Event_Obj;
    KV_ELOG = std::bind_front(&TLog_Event_Obj::ErrorMsg, Log_Event_Obj);
}

void LogEvent_Finalize()
{
    std::lock_guard<std::mutex> lock(GLifecycleLock);
    if (GInitCount == 0 || --GInitCount > 0)
        return;
    delete Log_Event_Obj;
    Log_Event_Obj = nullptr;
    KV_ELOG = nullptr;
}

} // namespace wn
