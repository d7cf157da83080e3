#include "framework/Exceptions.h"

#include <cerrno>
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

namespace {

// Texts of the runtime's own error numbers.
const char *const cReadBeyondEndText = "Read beyond end of file";
const char *const cDiskWriteErrorText = "Disk write error";
const char *const cFileNotOpenText = "File not open";

QString ErrorText(int errorCode)
{
    switch (errorCode) {
    case cInOutReadBeyondEnd: return QString::fromLatin1(cReadBeyondEndText);
    case cInOutDiskWriteError: return QString::fromLatin1(cDiskWriteErrorText);
    case cInOutFileNotOpen: return QString::fromLatin1(cFileNotOpenText);
    default: return QString::fromLocal8Bit(std::strerror(errorCode));
    }
}

EInOutError WithFileName(const QString &text, int errorCode, const QString &fileName)
{
    return EInOutError(fileName.isEmpty() ? text : text + QLatin1String(" (") + fileName + QLatin1Char(')'),
                       errorCode);
}

} // namespace

EInOutError EInOutError::FromErrno(int errorCode, const QString &fileName)
{
    return WithFileName(ErrorText(errorCode), errorCode, fileName);
}

void ClearOsError()
{
    errno = 0;
}

void RaiseFileError(const QFileDevice &File, int Fallback)
{
    const int osError = errno;
    if (osError != 0)
        throw EInOutError::FromErrno(osError, File.fileName());
    // Qt refuses some operations itself (a folder opened as a file), without an OS error.
    if (File.error() != QFileDevice::NoError)
        throw WithFileName(File.errorString(), Fallback, File.fileName());
    throw EInOutError::FromErrno(Fallback, File.fileName());
}

void Abort()
{
    throw EAbort();
}

} // namespace wn
