#pragma once
// File names from the command line as the system gives them. Qt reads every file name as UTF-8
// and loses the bytes of names that are not (Windows-1252 names copied from older archives), so
// such a name is reached through a stand-in: a symbolic link in a private folder whose own name
// is UTF-8. Messages and output show the original bytes again (see Print).

#include <QByteArray>
#include <QSaveFile>
#include <QString>

namespace wnpack {

// An existing file to read; raises for a missing file or a folder.
QString InputFile(const QByteArray &raw);

// A file to write. Qt() is the name to write it under through QSaveFile or the library's
// writers; Finish() then gives it its own name where that needed a stand-in.
class TOutputPath
{
public:
    // Raises for a folder.
    explicit TOutputPath(const QByteArray &raw);
    const QString &Qt() const { return FQt; }
    const QByteArray &Raw() const { return FRaw; }
    void Finish();

private:
    QByteArray FRaw;
    QString FQt;
    QByteArray FStandIn; // the bytes of the file written under a stand-in name, when there is one
};

// A file written through QSaveFile: an existing file of that name stays as it was until Commit,
// and no partial file is left behind by a failure. Writes go to the system at once, so write
// large pieces.
class TOutputFile
{
public:
    explicit TOutputFile(const QByteArray &raw);
    void Write(const char *data, qint64 size);
    void Write(const QByteArray &bytes) { Write(bytes.constData(), bytes.size()); }
    void Seek(qint64 pos);
    QSaveFile &Device() { return FFile; }
    void Commit();

private:
    [[noreturn]] void Fail();

    TOutputPath FPath;
    QSaveFile FFile;
};

// Raises when the file to write is the file read: replacing it would destroy the input.
void RefuseSameFile(const QByteArray &in, const QByteArray &out);

// How a file name from the command line appears in messages.
QString Shown(const QByteArray &raw);
// UTF-8 of text with every stand-in name replaced by the bytes it stands in for.
QByteArray WithOriginalNames(const QString &text);

} // namespace wnpack
