#pragma once
// The package's exception hierarchy: one root carrying a QString message, and the runtime's
// standard kinds that the units raise.

#include "wn_export.h"

#include <QByteArray>
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

// Input/output failure of a file operation; ErrorCode is the OS error (errno) or a runtime code.
class WN_EXPORT EInOutError : public Exception
{
public:
    EInOutError(const QString &message, int errorCode);
    // Message built from the OS text of errorCode ("<strerror> (<file>)").
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

// Raises EAbort: the runtime's Abort.
[[noreturn]] WN_EXPORT void Abort();

} // namespace wn
