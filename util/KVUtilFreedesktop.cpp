// The shell platform of freedesktop.org desktops: associations as shared-mime-info packages,
// desktop entries and mimeapps.list defaults of the current user; icons from the desktop
// theme; the XDG trash.
#include "util/KVUtilPlatform_p.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPixmap>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStyle>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <iterator>
#include <utility>

namespace wn {

namespace {

const QLatin1String kDesktopGroup("[Desktop Entry]");
const QLatin1String kDefaultsGroup("[Default Applications]");
const QLatin1String kAddedGroup("[Added Associations]");
// Our files carry this prefix so that they are recognisable among the user's own.
const QLatin1String kFilePrefix("wnpack-");
// How long a database refresh may take before it is left to finish on its own.
constexpr int kRefreshTimeoutMs = 60000;

QString AbsoluteEnvPath(const char *name, const QString &fallback)
{
    const QString value = qEnvironmentVariable(name);
    return QDir::isAbsolutePath(value) ? value : fallback;
}

QStringList EnvPathList(const char *name, const QStringList &fallback)
{
    QStringList result;
    const QStringList parts = qEnvironmentVariable(name).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString &part : parts)
        if (QDir::isAbsolutePath(part))
            result.append(part);
    return result.isEmpty() ? fallback : result;
}

QString DataHome()
{
    return AbsoluteEnvPath("XDG_DATA_HOME", QDir::homePath() + QLatin1String("/.local/share"));
}

QString ConfigHome()
{
    return AbsoluteEnvPath("XDG_CONFIG_HOME", QDir::homePath() + QLatin1String("/.config"));
}

QStringList DataDirs()
{
    return EnvPathList("XDG_DATA_DIRS", {QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")});
}

QStringList ConfigDirs()
{
    return EnvPathList("XDG_CONFIG_DIRS", {QStringLiteral("/etc/xdg")});
}

// The extension in the form of a glob's tail, lower-cased and with its point.
QString NormalisedExt(const QString &ext)
{
    const QString lower = ext.trimmed().toLower();
    return lower.startsWith(QLatin1Char('.')) ? lower : QLatin1Char('.') + lower;
}

// Letters, digits and a few marks are kept; anything else becomes "-", so that the name can
// serve as a MIME subtype and as a file name.
QString SafeName(const QString &text)
{
    QString result;
    for (const QChar c : text.toLower()) {
        const bool plain = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                           (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('.') ||
                           c == QLatin1Char('+') || c == QLatin1Char('_');
        result += plain ? c : QLatin1Char('-');
    }
    return result.isEmpty() ? QStringLiteral("-") : result;
}

// The user's trash folder, with its two subfolders made when missing (only the owner may enter).
bool HomeTrashUsable()
{
    const QString trash =
        AbsoluteEnvPath("XDG_DATA_HOME", QDir::homePath() + QLatin1String("/.local/share")) +
        QLatin1String("/Trash");
    const bool existed = QFileInfo(trash).isDir();
    if (!QDir().mkpath(trash + QLatin1String("/files")) || !QDir().mkpath(trash + QLatin1String("/info")))
        return false;
    if (!existed)
        QFile::setPermissions(trash,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return true;
}

QString MimeTypeName(const QString &fileType)
{
    return QLatin1String("application/x-") + SafeName(fileType);
}

QString PackageFile(const QString &ext)
{
    return DataHome() + QLatin1String("/mime/packages/") + kFilePrefix + SafeName(NormalisedExt(ext).mid(1)) +
           QLatin1String(".xml");
}

QString DesktopId(const QString &fileType)
{
    return kFilePrefix + SafeName(fileType) + QLatin1String(".desktop");
}

// String values of desktop entries write these characters as a backslash and a letter.
const std::pair<QChar, QChar> kDesktopEscapes[] = {
    {QLatin1Char('\\'), QLatin1Char('\\')},
    {QLatin1Char('\n'), QLatin1Char('n')},
    {QLatin1Char('\r'), QLatin1Char('r')},
    {QLatin1Char('\t'), QLatin1Char('t')},
};

QString EscapeDesktopValue(const QString &value)
{
    QString result;
    for (const QChar c : value) {
        const auto *e = std::find_if(std::begin(kDesktopEscapes), std::end(kDesktopEscapes),
                                     [c](const auto &pair) { return pair.first == c; });
        if (e != std::end(kDesktopEscapes))
            result += QLatin1Char('\\') + e->second;
        else
            result += c;
    }
    return result;
}

// Reading also takes "\s" for a blank, which this package never writes.
QString UnescapeDesktopValue(const QString &value)
{
    QString result;
    for (int i = 0; i < value.size(); ++i) {
        if (value[i] != QLatin1Char('\\') || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        const QChar next = value[++i];
        const auto *e = std::find_if(std::begin(kDesktopEscapes), std::end(kDesktopEscapes),
                                     [next](const auto &pair) { return pair.second == next; });
        if (e != std::end(kDesktopEscapes))
            result += e->first;
        else
            result += next == QLatin1Char('s') ? QLatin1Char(' ') : next;
    }
    return result;
}

QStringList ReadLines(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

bool WriteFile(const QString &fileName, const QByteArray &bytes)
{
    if (!QDir().mkpath(QFileInfo(fileName).absolutePath()))
        return false;
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(bytes);
    return file.commit();
}

// The value of Key in Group of a key file ("" when missing).
QString KeyFileValue(const QStringList &lines, const QString &group, const QString &key)
{
    bool inGroup = false;
    for (const QString &raw : lines) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inGroup = line == group;
            continue;
        }
        const int equals = line.indexOf(QLatin1Char('='));
        if (inGroup && equals > 0 && line.left(equals).trimmed() == key)
            return line.mid(equals + 1).trimmed();
    }
    return QString();
}

// Sets Key in Group of a key file, adding the group at the end when it is missing.
void SetKeyFileValue(QStringList &lines, const QString &group, const QString &key, const QString &value)
{
    const QString entry = key + QLatin1Char('=') + value;
    int groupStart = -1;
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            if (groupStart >= 0) {
                int insertAt = i;
                while (insertAt > groupStart + 1 && lines[insertAt - 1].trimmed().isEmpty())
                    --insertAt;
                lines.insert(insertAt, entry);
                return;
            }
            if (line == group)
                groupStart = i;
            continue;
        }
        const int equals = line.indexOf(QLatin1Char('='));
        if (groupStart >= 0 && equals > 0 && line.left(equals).trimmed() == key) {
            lines[i] = entry;
            return;
        }
    }
    if (groupStart >= 0) {
        int insertAt = int(lines.size());
        while (insertAt > groupStart + 1 && lines[insertAt - 1].trimmed().isEmpty())
            --insertAt;
        lines.insert(insertAt, entry);
        return;
    }
    while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
        lines.removeLast();
    if (!lines.isEmpty())
        lines.append(QString());
    lines.append(group);
    lines.append(entry);
}

QString DesktopEntryFile(const QString &desktopId)
{
    QStringList dirs{DataHome()};
    dirs += DataDirs();
    for (const QString &dir : dirs) {
        const QString candidate = dir + QLatin1String("/applications/") + desktopId;
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    return QString();
}

// The desktop entry file that opens mimeType by default, searched the way the mimeapps.list
// files take precedence: user configuration, system configuration, user data, system data.
QString DefaultApplication(const QString &mimeType)
{
    QStringList lists{ConfigHome() + QLatin1String("/mimeapps.list")};
    for (const QString &dir : ConfigDirs())
        lists.append(dir + QLatin1String("/mimeapps.list"));
    lists.append(DataHome() + QLatin1String("/applications/mimeapps.list"));
    for (const QString &dir : DataDirs())
        lists.append(dir + QLatin1String("/applications/mimeapps.list"));
    for (const QString &list : lists) {
        const QStringList ids = KeyFileValue(ReadLines(list), kDefaultsGroup, mimeType)
                                    .split(QLatin1Char(';'), Qt::SkipEmptyParts);
        for (const QString &id : ids) {
            const QString file = DesktopEntryFile(id.trimmed());
            if (!file.isEmpty())
                return file;
        }
    }
    return QString();
}

// The MIME type that a package file gives to files with the extension, if any.
QString PackageMimeType(const QString &packageFile, const QString &glob)
{
    QFile file(packageFile);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QXmlStreamReader xml(&file);
    QString current;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("mime-type"))
            current = xml.attributes().value(QLatin1String("type")).toString();
        else if (xml.name() == QLatin1String("glob") &&
                 xml.attributes().value(QLatin1String("pattern")).compare(glob, Qt::CaseInsensitive) == 0)
            return current;
    }
    return QString();
}

// The MIME type files with the extension have: the user's own packages first (read directly,
// so that a link made a moment ago counts), then the desktop's database.
QString MimeTypeOfExtension(const QString &ext)
{
    const QString glob = QLatin1Char('*') + NormalisedExt(ext);
    const QString ours = PackageFile(ext);
    QStringList packages{ours};
    const QDir packageDir(DataHome() + QLatin1String("/mime/packages"));
    for (const QString &name : packageDir.entryList({QStringLiteral("*.xml")}, QDir::Files, QDir::Name))
        if (packageDir.filePath(name) != ours)
            packages.append(packageDir.filePath(name));
    for (const QString &package : packages) {
        const QString type = PackageMimeType(package, glob);
        if (!type.isEmpty())
            return type;
    }
    const QList<QMimeType> types =
        QMimeDatabase().mimeTypesForFileName(QLatin1String("file") + NormalisedExt(ext));
    return types.isEmpty() ? QString() : types.first().name();
}

QString DefaultApplicationKey(const QString &ext, const QString &key)
{
    const QString type = MimeTypeOfExtension(ext);
    if (type.isEmpty())
        return QString();
    const QString desktopFile = DefaultApplication(type);
    if (desktopFile.isEmpty())
        return QString();
    return UnescapeDesktopValue(KeyFileValue(ReadLines(desktopFile), kDesktopGroup, key));
}

// An icon given as "file,index", as a file, or as a name of the desktop's icon theme. A
// malformed index gives no icon.
QIcon IconFromLocation(const QString &location)
{
    if (location.isEmpty())
        return QIcon();
    QString file = location;
    int index = 0;
    const int comma = location.lastIndexOf(QLatin1Char(','));
    if (comma >= 0) {
        bool ok = false;
        index = location.mid(comma + 1).trimmed().toInt(&ok);
        if (!ok || index < 0)
            return QIcon();
        file = location.left(comma).trimmed();
    }
    if (!QDir::isAbsolutePath(file))
        return comma >= 0 ? QIcon() : QIcon::fromTheme(file);
    QImageReader reader(file);
    if (index > 0 && !reader.jumpToImage(index))
        return QIcon();
    const QImage image = reader.read();
    return image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image));
}

void RunIfInstalled(const QString &program, const QStringList &arguments)
{
    const QString path = QStandardPaths::findExecutable(program);
    if (path.isEmpty())
        return;
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(path, arguments);
    if (process.waitForStarted())
        process.waitForFinished(kRefreshTimeoutMs);
}

QByteArray MimePackage(const QString &mimeType, const QString &description, const QString &glob)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("mime-info"));
    xml.writeDefaultNamespace(QStringLiteral("http://www.freedesktop.org/standards/shared-mime-info"));
    xml.writeStartElement(QStringLiteral("mime-type"));
    xml.writeAttribute(QStringLiteral("type"), mimeType);
    xml.writeTextElement(QStringLiteral("comment"), description);
    xml.writeEmptyElement(QStringLiteral("glob"));
    xml.writeAttribute(QStringLiteral("pattern"), glob);
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

QByteArray DesktopEntry(const QString &name, const QString &mimeType, const QString &command,
                        const QString &icon)
{
    QStringList lines{kDesktopGroup, QStringLiteral("Type=Application"),
                      QLatin1String("Name=") + EscapeDesktopValue(name),
                      QLatin1String("Exec=") + EscapeDesktopValue(command)};
    if (!icon.isEmpty())
        lines.append(QLatin1String("Icon=") + EscapeDesktopValue(icon));
    lines += {QLatin1String("MimeType=") + mimeType + QLatin1Char(';'), QStringLiteral("NoDisplay=true"),
              QStringLiteral("Terminal=false"), QString()};
    return lines.join(QLatin1Char('\n')).toUtf8();
}

class TFreedesktopShell : public TShellPlatform
{
public:
    QString LinkedCommand(const QString &Ext) override
    {
        return DefaultApplicationKey(Ext, QStringLiteral("Exec"));
    }

    void WriteLink(const QString &Ext, const QString &FileType, const QString &Description,
                   const QString &Command, const QString &Icon) override
    {
        const QString mimeType = MimeTypeName(FileType);
        const QString desktopId = DesktopId(FileType);
        const QString glob = QLatin1Char('*') + NormalisedExt(Ext);
        WriteFile(PackageFile(Ext), MimePackage(mimeType, Description, glob));
        WriteFile(DataHome() + QLatin1String("/applications/") + desktopId,
                  DesktopEntry(Description.isEmpty() ? FileType : Description, mimeType, Command, Icon));

        const QString listFile = ConfigHome() + QLatin1String("/mimeapps.list");
        QStringList lines = ReadLines(listFile);
        if (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast();
        SetKeyFileValue(lines, kDefaultsGroup, mimeType, desktopId + QLatin1Char(';'));
        QStringList added =
            KeyFileValue(lines, kAddedGroup, mimeType).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        added.removeAll(desktopId);
        added.prepend(desktopId);
        SetKeyFileValue(lines, kAddedGroup, mimeType, added.join(QLatin1Char(';')) + QLatin1Char(';'));
        lines.append(QString());
        WriteFile(listFile, lines.join(QLatin1Char('\n')).toUtf8());

        RunIfInstalled(QStringLiteral("update-mime-database"), {DataHome() + QLatin1String("/mime")});
        RunIfInstalled(QStringLiteral("update-desktop-database"),
                       {DataHome() + QLatin1String("/applications")});
    }

    QIcon LinkedIcon(const QString &Ext, bool Folder) override
    {
        if (Folder)
            return QIcon();
        return IconFromLocation(DefaultApplicationKey(Ext, QStringLiteral("Icon")));
    }

    QIcon OwnIcon(const QString &FileName) override
    {
        QImageReader reader(FileName);
        const QImage image = reader.read();
        return image.isNull() ? QIcon() : QIcon(QPixmap::fromImage(image));
    }

    QIcon TypeIcon(const QString &FileName, bool Folder) override
    {
        if (Folder)
            return QIcon::fromTheme(QStringLiteral("folder"));
        const QMimeType type = QMimeDatabase().mimeTypeForFile(FileName);
        QIcon icon = QIcon::fromTheme(type.iconName());
        if (icon.isNull())
            icon = QIcon::fromTheme(type.genericIconName());
        return icon;
    }

    QIcon GenericIcon(bool Folder) override
    {
        if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
            return QIcon();
        return QApplication::style()->standardIcon(Folder ? QStyle::SP_DirIcon : QStyle::SP_FileIcon);
    }

    bool Recycle(const QStringList &Files) override
    {
        // Without a usable home trash, Qt falls back to a trash below the working folder;
        // refusing keeps the files where the user left them.
        if (!Files.isEmpty() && !HomeTrashUsable())
            return false;
        bool all = true;
        for (const QString &file : Files)
            all = QFile::moveToTrash(file) && all;
        return all;
    }
};

} // namespace

TShellPlatform &DefaultShellPlatform()
{
    static TFreedesktopShell platform;
    return platform;
}

} // namespace wn
