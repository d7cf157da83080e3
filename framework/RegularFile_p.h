#pragma once
// Opening a data file by a name found in a folder, where the name may stand for anything: a
// pipe, a socket, a device, a link to nowhere. Only regular files are opened, and never in a way
// that can wait for another process.

#include <QFile>
#include <QString>

namespace wn {

// Opens FileName read-only when it names a regular file (symbolic links followed). Anything else
// (missing, a folder, a FIFO, a socket, a device, a dangling or looping link, or a file that
// vanishes meanwhile) is left unopened and gives false. A regular file that exists but cannot be
// opened raises EFOpenError.
bool OpenRegularFile(QFile &file, const QString &fileName);

// Held by a caller that has just seen FileName to be a regular file (a folder scan): while it
// lives, OpenRegularFile on this thread opens that name without looking it up first, which
// saves a third of the cost of opening on big folders. What is opened is checked either way.
class TSeenRegularFile
{
public:
    explicit TSeenRegularFile(const QString &FileName);
    ~TSeenRegularFile();
    TSeenRegularFile(const TSeenRegularFile &) = delete;
    TSeenRegularFile &operator=(const TSeenRegularFile &) = delete;

private:
    const QString *FPrevious;
};

} // namespace wn
