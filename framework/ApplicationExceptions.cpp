#include "framework/ApplicationExceptions.h"

#include "framework/UiServices.h"

#include <mutex>

namespace wn {

namespace {

struct Hooks {
    std::mutex Lock;
    TApplicationExceptionHandler Handle;
    TShowExceptionHandler Show;
};

Hooks &TheHooks()
{
    static Hooks hooks;
    return hooks;
}

} // namespace

TApplicationExceptionHandler SetApplicationHandleException(TApplicationExceptionHandler handler)
{
    std::lock_guard<std::mutex> lock(TheHooks().Lock);
    std::swap(TheHooks().Handle, handler);
    return handler;
}

TShowExceptionHandler SetApplicationShowException(TShowExceptionHandler handler)
{
    std::lock_guard<std::mutex> lock(TheHooks().Lock);
    std::swap(TheHooks().Show, handler);
    return handler;
}

bool ApplicationHandleException(TObject *Sender, const std::exception &E)
{
    TApplicationExceptionHandler handler;
    {
        std::lock_guard<std::mutex> lock(TheHooks().Lock);
        handler = TheHooks().Handle;
    }
    if (!handler)
        return false;
    handler(Sender, E);
    return true;
}

bool ApplicationShowException(const Exception &E)
{
    TShowExceptionHandler handler;
    {
        std::lock_guard<std::mutex> lock(TheHooks().Lock);
        handler = TheHooks().Show;
    }
    if (!handler)
        return false;
    handler(E);
    return true;
}

void ShowException(const std::exception &E)
{
    UiServices().MessageDlg(QString::fromUtf8(E.what()), mtError, TMsgDlgButtons{mbOK}, 0);
}

} // namespace wn
