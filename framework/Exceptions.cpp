#include "framework/Exceptions.h"

#include <cstring>

namespace wn {

Exception::Exception(const QString &message) : FMessage(message), FUtf8(message.toUtf8()) {}

Exception::~Exception() = default;

void Exception::SetMessage(const QString &message)
{
    FMessage = message;
    FUtf8 = message.toUtf8();
}

EInOutError::EInOutError(const QString &message, int errorCode) : Exception(message), ErrorCode(errorCode) {}

EInOutError EInOutError::FromErrno(int errorCode, const QString &fileName)
{
    QString text = QString::fromLocal8Bit(std::strerror(errorCode));
    if (!fileName.isEmpty())
        text += QStringLiteral(" (%1)").arg(fileName);
    return EInOutError(text, errorCode);
}

void Abort()
{
    throw EAbort();
}

} // namespace wn
