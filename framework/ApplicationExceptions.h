#pragma once
// The application-wide exception handling that code running from the event loop or in worker
// threads reports to: a replaceable "handle" hook (an exception escaped an event handler) and
// a replaceable "show" hook (display an exception to the user), with the runtime's fallback
// ShowException through the UI services.

#include "framework/Classes.h"
#include "framework/Exceptions.h"
#include "wn_export.h"

#include <exception>
#include <functional>

namespace wn {

using TApplicationExceptionHandler = std::function<void(TObject *Sender, const std::exception &E)>;
using TShowExceptionHandler = std::function<void(const Exception &E)>;

// Each setter installs a hook (an empty function removes it) and returns the previous one.
WN_EXPORT TApplicationExceptionHandler SetApplicationHandleException(TApplicationExceptionHandler handler);
WN_EXPORT TShowExceptionHandler SetApplicationShowException(TShowExceptionHandler handler);

// Passes E to the installed handle hook; false when none is installed.
WN_EXPORT bool ApplicationHandleException(TObject *Sender, const std::exception &E);
// Passes E to the installed show hook; false when none is installed.
WN_EXPORT bool ApplicationShowException(const Exception &E);
// Shows the exception's text in an error message box through UiServices().
WN_EXPORT void ShowException(const std::exception &E);

} // namespace wn
