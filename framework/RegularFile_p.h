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

} // namespace wn
