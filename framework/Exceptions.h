#pragma once
// The package's exception hierarchy: one root carrying a QString message, and the runtime's
// standard kinds that the units raise.

#include "wn_export.h"

#include <QByteArray>
#include <QFileDevice>
#include <QString>

#include <exception>

namespace wn {

class WN_EXPORT Exception : public std::exception
{
public:
    explicit Exception(const QString &message);
    ~Exception() override;

    const QString &Message() const noexcept { return FMessage; }
    void SetMessage(const QString &message);
    // UTF-8 of the message.
    const char *what() const noexcept override { return FUtf8.constData(); }

private:
    QString FMessage;
    QByteArray FUtf8;
};

// The runtime's own input/output error numbers, for failures that have no OS error behind them.
inline constexpr int cInOutReadBeyondEnd = 100;
inline constexpr int cInOutDiskWriteError = 101;
inline constexpr int cInOutFileNotOpen = 103;

// Input/output failure of a file operation; ErrorCode is the OS error (errno) or a runtime code.
class WN_EXPORT EInOutError : public Exception
{
public:
    EInOutError(const QString &message, int errorCode);
    // Message built from the text of errorCode, an OS error or one of the runtime numbers above
    // ("<text> (<file>)").
    static EInOutError FromErrno(int errorCode, const QString &fileName = QString());

    int ErrorCode;
};

class WN_EXPORT EConvertError : public Exception
{
public:
    using Exception::Exception;
};

// Silent abort: handlers that show messages skip it.
class WN_EXPORT EAbort : public Exception
{
public:
    explicit EAbort(const QString &message = QStringLiteral("Operation aborted")) : Exception(message) {}
};

// A file stream could not be opened.
class WN_EXPORT EFOpenError : public Exception
{
public:
    using Exception::Exception;
};

// A caller handed an operation an argument it cannot work with.
class WN_EXPORT EArgumentError : public Exception
{
public:
    using Exception::Exception;
};

// File operations report their OS error through errno, which they set only when they fail:
// clear it first, so that a failure is never reported with an error left over from earlier calls.
WN_EXPORT void ClearOsError();
// Raises EInOutError for a failed operation on File: the OS error the operation left, else the
// device's own error text with Fallback as the code.
[[noreturn]] WN_EXPORT void RaiseFileError(const QFileDevice &File, int Fallback);
// Runs a file operation that answers false on failure and raises its error as RaiseFileError.
template <typename Operation> void CheckFileOp(const QFileDevice &File, int Fallback, Operation &&operation)
{
    ClearOsError();
    if (!operation())
        RaiseFileError(File, Fallback);
}

// Raises the runtime's Abort.
[[noreturn]] WN_EXPORT void Abort();

} // namespace wn
