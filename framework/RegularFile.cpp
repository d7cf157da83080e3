#include "framework/RegularFile_p.h"

#include "framework/Exceptions.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wn {

namespace {

thread_local const QString *SeenRegularFile = nullptr;

[[noreturn]] void CannotOpen(const QString &fileName, const QString &reason)
{
    throw EFOpenError(QStringLiteral("Cannot open file \"%1\". %2").arg(fileName, reason));
}

} // namespace

TSeenRegularFile::TSeenRegularFile(const QString &FileName) : FPrevious(SeenRegularFile)
{
    SeenRegularFile = &FileName;
}

TSeenRegularFile::~TSeenRegularFile()
{
    SeenRegularFile = FPrevious;
}

bool OpenRegularFile(QFile &file, const QString &fileName)
{
    if (fileName.isEmpty())
        return false;
    const QByteArray path = QFile::encodeName(fileName);
    struct stat info {};
    // Looked at before opening: opening a device can have effects of its own (a tape rewinds).
    const bool seen = SeenRegularFile && *SeenRegularFile == fileName;
    if (!seen && (::stat(path.constData(), &info) != 0 || !S_ISREG(info.st_mode)))
        return false;
    // Without blocking, in case a FIFO took the name after the check; a FIFO opened so would
    // otherwise wait for a writer that may never come. Regular files ignore the flag, so it stays.
    const int fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENXIO)
            return false;
        CannotOpen(fileName, qt_error_string(error));
    }
    // A pipe or device that took the name after the check is left alone unread.
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return false;
    }
    file.setFileName(fileName);
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        CannotOpen(fileName, file.errorString());
    }
    return true;
}

} // namespace wn
