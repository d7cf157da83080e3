#include "Paths.h"

#include "framework/Exceptions.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace wnpack {

using namespace wn;

namespace {

const char *const cFolderText = " is a folder, not a file";
const char *const cSameFileText = ": source and destination are the same file";
const char *const cNoStandInText = "cannot reach a file name that is not UTF-8: ";

// A stand-in name and the bytes it stands for, as they appear in text.
struct TStandIn {
    QByteArray Text;
    QByteArray Raw;
};

std::vector<TStandIn> &StandIns()
{
    static std::vector<TStandIn> standIns;
    return standIns;
}

void AddStandIn(const QByteArray &text, const QByteArray &raw)
{
    auto &all = StandIns();
    all.push_back({text, raw});
    // Longer names first, so that a folder's name never replaces part of a file's in it.
    std::stable_sort(all.begin(), all.end(),
                     [](const TStandIn &a, const TStandIn &b) { return a.Text.size() > b.Text.size(); });
}

bool IsUtf8(const QByteArray &raw)
{
    return QFile::encodeName(QFile::decodeName(raw)) == raw;
}

// The links live as long as the program runs.
QTemporaryDir &StandInFolder()
{
    static QTemporaryDir folder(QDir::tempPath() + QLatin1String("/wnpack-names-XXXXXX"));
    return folder;
}

QByteArray Absolute(const QByteArray &raw)
{
    if (raw.startsWith('/'))
        return raw;
    QByteArray cwd(4096, '\0');
    if (!::getcwd(cwd.data(), std::size_t(cwd.size())))
        throw EInOutError::FromErrno(errno, Shown(raw));
    return cwd.left(cwd.indexOf('\0')) + '/' + raw;
}

// A symbolic link named name in a folder of its own, pointing at target.
QString StandInLink(const QByteArray &target, const QString &name)
{
    QTemporaryDir &folder = StandInFolder();
    const QString own = folder.filePath(QString::number(StandIns().size()));
    if (!folder.isValid() || !QDir().mkdir(own))
        throw Exception(QLatin1String(cNoStandInText) + Shown(target));
    const QString link = own + QLatin1Char('/') + name;
    if (::symlink(Absolute(target).constData(), QFile::encodeName(link).constData()) != 0)
        throw Exception(QLatin1String(cNoStandInText) + Shown(target));
    return link;
}

} // namespace

QString Shown(const QByteArray &raw)
{
    const QString text = QString::fromUtf8(raw);
    if (!IsUtf8(raw))
        AddStandIn(text.toUtf8(), raw);
    return text;
}

QByteArray WithOriginalNames(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    for (const TStandIn &s : StandIns())
        bytes.replace(s.Text, s.Raw);
    return bytes;
}

QString InputFile(const QByteArray &raw)
{
    struct stat st;
    if (::stat(raw.constData(), &st) != 0)
        throw EInOutError::FromErrno(errno, Shown(raw));
    if (S_ISDIR(st.st_mode))
        throw Exception(Shown(raw) + QLatin1String(cFolderText));
    if (IsUtf8(raw))
        return QFile::decodeName(raw);
    const QString link = StandInLink(raw, Shown(raw.mid(raw.lastIndexOf('/') + 1)));
    AddStandIn(link.toUtf8(), raw);
    return link;
}

TOutputPath::TOutputPath(const QByteArray &raw) : FRaw(raw)
{
    struct stat st;
    if (::stat(raw.constData(), &st) == 0 && S_ISDIR(st.st_mode))
        throw Exception(Shown(raw) + QLatin1String(cFolderText));
    if (IsUtf8(raw)) {
        FQt = QFile::decodeName(raw);
        return;
    }
    // The folder is reached through a link, and a name that is not UTF-8 is written under a
    // stand-in beside it and renamed at the end.
    const qsizetype slash = raw.lastIndexOf('/');
    const QByteArray folder = slash < 0 ? QByteArray() : raw.left(slash + 1);
    const QByteArray name = raw.mid(slash + 1);
    const QString link = StandInLink(folder.isEmpty() ? QByteArray(".") : folder, QStringLiteral("folder"));
    AddStandIn(link.toUtf8() + '/', folder);
    if (IsUtf8(name)) {
        FQt = link + QLatin1Char('/') + QFile::decodeName(name);
        return;
    }
    const QString standIn =
        QLatin1String(".wnpack-") + QString::number(::getpid()) + QLatin1Char('-') + Shown(name);
    FQt = link + QLatin1Char('/') + standIn;
    FStandIn = folder + QFile::encodeName(standIn);
    AddStandIn(FQt.toUtf8(), raw);
}

void TOutputPath::Finish()
{
    if (FStandIn.isEmpty())
        return;
    // A replaced file keeps its permissions, as QSaveFile keeps them for the names it reaches.
    struct stat st;
    if (::stat(FRaw.constData(), &st) == 0)
        ::chmod(FStandIn.constData(), st.st_mode & 07777);
    if (::rename(FStandIn.constData(), FRaw.constData()) != 0) {
        const int error = errno;
        ::unlink(FStandIn.constData());
        throw EInOutError::FromErrno(error, Shown(FRaw));
    }
}

TOutputFile::TOutputFile(const QByteArray &raw) : FPath(raw), FFile(FPath.Qt())
{
    // Unbuffered: a write that falls short (a full disk) must fail where it happens. A buffered
    // QSaveFile may lose the error of its last flush and put a cut file in place.
    ClearOsError();
    if (!FFile.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        Fail();
}

void TOutputFile::Write(const char *data, qint64 size)
{
    ClearOsError();
    if (FFile.write(data, size) != size)
        Fail();
}

void TOutputFile::Seek(qint64 pos)
{
    ClearOsError();
    if (!FFile.seek(pos))
        Fail();
}

void TOutputFile::Commit()
{
    ClearOsError();
    if (!FFile.commit())
        Fail();
    FPath.Finish();
}

void TOutputFile::Fail()
{
    RaiseFileError(FFile, EIO);
}

void RefuseSameFile(const QByteArray &in, const QByteArray &out)
{
    struct stat a, b;
    if (::stat(in.constData(), &a) == 0 && ::stat(out.constData(), &b) == 0 && a.st_dev == b.st_dev &&
        a.st_ino == b.st_ino)
        throw Exception(Shown(out) + QLatin1String(cSameFileText));
}

} // namespace wnpack
