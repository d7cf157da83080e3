#pragma once
// The log-event channel: every calculation reports progress, hints, warnings, errors and
// cancellation through the one process-wide slot KV_ELOG instead of showing messages itself.
// Worker threads switch the slot to a queue that the GUI thread drains, and long computations
// poll the process-wide stop flags rechenabbruch and UserBreaked.
//
// Nothing in this unit throws on its own: MyFormat turns formatting errors into a warning event,
// and only an exception raised by a handler comes back out of ProcessLogEvents.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QString>
#include <QVariantList>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

namespace wn {

// The kind of a log event. The ordinals are written to log-book files.
enum TLogStatus : std::uint8_t {
    clog_protok,
    clog_abbruch,
    clog_warning,
    clog_userbreak,
    clog_except,
    clog_exProtok,
    clog_KVSResult,
    clog_Progress,
    clog_refreshGraphic,
    clog_CheckPause,
    clog_SetPause,
    clog_Step,
    clog_Hint,
    clog_TileProgress,
    clog_Error
};

// The log callback. An empty slot means nobody listens. The receiver does not own AObj.
using TLog_Event = std::function<void(const QString &FText, TLogStatus FArt, std::int32_t HelpContext,
                                      std::int32_t ObjKey, TObject *AObj)>;

// Where an error lies, attached to an event as AObj. The meaning of the two integer fields is
// the caller's (an object number and a sub-kind, say); the log book writes the location only
// when ObjNr >= 0.
class WN_EXPORT TErrorHandler : public TObject
{
public:
    TErrorHandler(double A, double B) : X(A), Y(B) {}

    std::int32_t ObjNr = 0;
    std::uint8_t SubKind = 0;
    double X;
    double Y;
};

// One queued event; owns its text, not AObj.
class WN_EXPORT TLogEventData : public TObject
{
public:
    TLogEventData(const QString &AText, TLogStatus AArt, std::int32_t AHelpContext, std::int32_t AObjKey,
                  TObject *AAObj)
        : FText(AText), FArt(AArt), HelpContext(AHelpContext), ObjKey(AObjKey), AObj(AAObj)
    {}

    QString FText;
    TLogStatus FArt;
    std::int32_t HelpContext;
    std::int32_t ObjKey;
    TObject *AObj;
};

// The dispatcher: the default message-box handler, and the queue that carries events from
// worker threads to the GUI thread.
//
// Queued mode is switched on and off in the GUI thread while no worker raises events:
//   Log_Event_Obj->InitThreadLogEvent();  start workers ... drain with ProcessLogEvents() on a
//   timer ... workers done;  Log_Event_Obj->ReleaseThreadLogEvent();
// The calls do not nest: a second InitThreadLogEvent without a release saves the queued handler
// itself.
class WN_EXPORT TLog_Event_Obj : public TObject
{
public:
    TLog_Event_Obj();
    // Frees the events still queued without delivering them.
    ~TLog_Event_Obj() override;
    TLog_Event_Obj(const TLog_Event_Obj &) = delete;
    TLog_Event_Obj &operator=(const TLog_Event_Obj &) = delete;

    // The default handler: a modal box with one OK button and HelpContext, of kind error for
    // clog_abbruch and clog_userbreak (which then set rechenabbruch), warning for clog_warning,
    // clog_except, clog_exProtok and clog_Error, nothing for clog_Progress and information for
    // everything else. The box is always shown in the GUI thread (a worker raising an abort
    // waits for it there), so a thread that waits for such a worker must keep serving
    // TThread::Synchronize, as TThread::WaitFor does.
    void ErrorMsg(const QString &FText, TLogStatus FArt, std::int32_t HelpContext, std::int32_t ObjKey,
                  TObject *AObj);
    // Ignores every event: KV_ELOG = std::bind_front(&TLog_Event_Obj::NoErrorMsg, Log_Event_Obj)
    // silences all messages.
    void NoErrorMsg(const QString &FText, TLogStatus FArt, std::int32_t HelpContext, std::int32_t ObjKey,
                    TObject *AObj);

    // Saves KV_ELOG and points it at ThreadLogEvent.
    void InitThreadLogEvent();
    // The queued handler, callable from any thread. clog_CheckPause, clog_abbruch and
    // clog_except go straight to the saved handler in the calling thread, because the
    // calculation needs their answer or consequence before it goes on; every other kind is
    // appended to the queue.
    void ThreadLogEvent(const QString &FText, TLogStatus FArt, std::int32_t HelpContext, std::int32_t ObjKey,
                        TObject *AObj);
    // Delivers the events queued in Log_Event_Obj, first in first out, to this object's saved
    // handler. The queue lock is held for the whole drain, so workers raising events meanwhile
    // wait; a handler may itself raise events (they are delivered in the same drain). An
    // exception from the handler ends the drain and propagates; the event it was handling is
    // freed and the rest stay queued.
    void ProcessLogEvents();
    // Delivers what is still queued, then puts the saved handler back into KV_ELOG.
    void ReleaseThreadLogEvent();

    // The number of events waiting in this object's queue.
    int QueueCount() const;

private:
    std::deque<std::unique_ptr<TLogEventData>> FQueue;
    TLog_Event FSavedLogEvent;
};

// The slot every event goes through. It points at Log_Event_Obj->ErrorMsg as soon as the
// library is loaded and is empty after the final LogEvent_Finalize. Assign it only while no other
// thread raises events.
extern WN_EXPORT TLog_Event KV_ELOG;
// The one dispatcher; null after the final LogEvent_Finalize.
extern WN_EXPORT TLog_Event_Obj *Log_Event_Obj;

// Process-wide stop flags that long computations poll, set from any thread. They read and
// assign like plain Booleans (`if (rechenabbruch)`, `rechenabbruch = true;`) but every access is
// atomic, so a worker polling a flag sees the GUI thread's write without any lock. To hand a
// flag to code that wants a bool&, copy it (Log_Event_Ext does that for the caller's flags).
extern WN_EXPORT std::atomic<bool> rechenabbruch;
extern WN_EXPORT std::atomic<bool> UserBreaked;
// A switch that callers may consult to skip warnings; this unit never reads it.
extern WN_EXPORT std::atomic<bool> SuppressWarnings;

// Raises KV_ELOG(Text, Art, 0, 0, nullptr) carrying the caller's stop flags: Abbruch and
// UserBreak are copied into rechenabbruch and UserBreaked before the call and back after it, so a
// handler that sets the globals reaches the caller's own flags.
WN_EXPORT void Log_Event_Ext(const QString &Text, TLogStatus Art, bool &Abbruch, bool &UserBreak);

// Format(Fmt, Args) that never throws: when formatting fails, the exception's message goes out
// as one clog_warning event and Fmt comes back unformatted.
WN_EXPORT QString MyFormat(const QString &Fmt, const QVariantList &Args);

// The unit's start-up and clean-up, reference counted: only the first start-up creates
// Log_Event_Obj and points KV_ELOG at its ErrorMsg, only the matching last clean-up frees it
// (with any undelivered events) and empties KV_ELOG. Loading the library performs one start-up
// and unloading it the matching clean-up (the package's unit table, package/WNPack).
WN_EXPORT void LogEvent_Initialize();
WN_EXPORT void LogEvent_Finalize();

} // namespace wn
