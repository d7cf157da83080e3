#include "util/KVUtil.h"

#include "framework/CodePages.h"
#include "framework/RegularFile_p.h"
#include "framework/SysUtils.h"
#include "framework/UiServices.h"
#include "grid/GeoDBFileDescr.h"
#include "util/KVUtilPlatform_p.h"
#include "util/MyIniFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>
#include <QRegularExpression>
#include <QWidget>
#include <QtEndian>

#include <vector>

namespace wn {

const char *const SLinkOverwriteQuestion =
    "The file extension \"%s\" is already linked with command %s. Overwrite?";

namespace {

TShellPlatform *InstalledPlatform = nullptr;

// Longest text description of a text file.
constexpr int kMaxTextDescription = 80;
// A text line longer than this contributes only its start; the rest is skipped unread.
constexpr qint64 kMaxTextLine = 64 * 1024;
// Record limits of the GM and V4 files.
constexpr int kMaxRecords = 25;
constexpr int kGMRecordBuffer = 1024;
constexpr int kV4RecordBuffer = 1024;
// The header record of a list file holds 10 bytes; anything up to this size is read whole.
constexpr int kListHeaderBuffer = 256;

// A data file opened for a description. Open() is false for a missing file and for anything
// but a regular file; a file that exists but cannot be opened raises EFOpenError. Short reads
// deliver what there is.
class TDescriptionFile
{
public:
    bool Open(const QString &fileName) { return OpenRegularFile(FFile, fileName); }

    QByteArray Read(qint64 count) { return count > 0 ? FFile.read(count) : QByteArray(); }
    bool Seek(qint64 position) { return FFile.seek(position); }
    bool Skip(qint64 count) { return count <= 0 || FFile.seek(FFile.pos() + count); }

    // A little-endian 16-bit value; false when it cannot be read whole.
    bool ReadWord(std::uint16_t &value)
    {
        const QByteArray bytes = FFile.read(2);
        if (bytes.size() != 2)
            return false;
        value = qFromLittleEndian<quint16>(bytes.constData());
        return true;
    }

    // A tagged record head: identifier and length.
    bool ReadHead(std::uint16_t &tag, std::uint16_t &length) { return ReadWord(tag) && ReadWord(length); }

    QFile &File() { return FFile; }

private:
    QFile FFile;
};

QString FileNamePart(const QString &fileName)
{
    return fileName.mid(fileName.lastIndexOf(QLatin1Char('/')) + 1);
}

QString FolderPart(const QString &fileName)
{
    return fileName.left(fileName.lastIndexOf(QLatin1Char('/')) + 1);
}

// The extension with its point, taken from the name part only; "" when there is none.
QString ExtractFileExt(const QString &fileName)
{
    const QString name = FileNamePart(fileName);
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot);
}

QString ChangeFileExt(const QString &fileName, const QString &ext)
{
    return fileName.left(fileName.size() - ExtractFileExt(fileName).size()) + ext;
}

// The suite's files come from case-insensitive file systems: a companion file named with
// another letter case is the same file.
QString ExistingNameIgnoringCase(const QString &fileName)
{
    if (QFileInfo::exists(fileName))
        return fileName;
    const QString folder = FolderPart(fileName);
    const QString name = FileNamePart(fileName);
    const QDir dir(folder.isEmpty() ? QStringLiteral(".") : folder);
    const QStringList entries =
        dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name | QDir::IgnoreCase);
    for (const QString &entry : entries)
        if (entry.compare(name, Qt::CaseInsensitive) == 0)
            return folder + entry;
    return fileName;
}

// A text without the NUL padding of fixed-size records and without trailing blanks.
QString RecordText(const QByteArray &bytes, TCodePage page)
{
    QByteArray text = bytes;
    const int nul = int(text.indexOf('\0'));
    if (nul >= 0)
        text.truncate(nul);
    while (!text.isEmpty() && text.back() == ' ')
        text.chop(1);
    return DecodeCodePage(text, page);
}

// A length-prefixed text in a slot of bytes: length byte, then the characters.
QString ShortStringText(const QByteArray &slot, TCodePage page)
{
    if (slot.isEmpty())
        return QString();
    const int length = qMin(int(std::uint8_t(slot[0])), int(slot.size()) - 1);
    return DecodeCodePage(slot.mid(1, length), page);
}

// Reads one line (without its line end) of at most kMaxTextLine bytes, skipping the rest of a
// longer line.
QByteArray ReadTextLine(QFile &file)
{
    // Read in small pieces: a buffer of the longest line for every line would cost a large
    // allocation and release per line, which dominates on folders of many small text files.
    QByteArray line;
    char piece[512];
    while (line.size() < kMaxTextLine && !line.endsWith('\n')) {
        const qint64 read = file.readLine(piece, qMin<qint64>(sizeof piece, kMaxTextLine - line.size() + 1));
        if (read <= 0)
            break;
        line.append(piece, read);
    }
    if (!line.endsWith('\n') && !file.atEnd()) {
        char c = 0;
        while (file.getChar(&c) && c != '\n') {
        }
    }
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return line;
}

QString JoinDescriptionLines(const QStringList &lines)
{
    QString joined;
    for (const QString &line : lines) {
        if (!joined.isEmpty())
            joined += QLatin1String("; ");
        joined += line;
    }
    return joined;
}

QPixmap SquarePixmap(const QIcon &icon, int size)
{
    QPixmap pixmap = icon.pixmap(QSize(size, size));
    if (pixmap.isNull() || (pixmap.width() == size && pixmap.height() == size))
        return pixmap;
    const QPixmap scaled = pixmap.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QPixmap square(size, size);
    square.fill(Qt::transparent);
    QPainter painter(&square);
    painter.drawPixmap((size - scaled.width()) / 2, (size - scaled.height()) / 2, scaled);
    return square;
}

} // namespace

TShellPlatform::~TShellPlatform() = default;

TShellPlatform &ShellPlatform()
{
    return InstalledPlatform ? *InstalledPlatform : DefaultShellPlatform();
}

TShellPlatform *SetShellPlatform(TShellPlatform *platform)
{
    TShellPlatform *previous = InstalledPlatform;
    InstalledPlatform = platform;
    return previous;
}

void RegisterLink(const QString &Ext, const QString &FileType, const QString &Description,
                  const QString &Command, const QString &Icon)
{
    TShellPlatform &platform = ShellPlatform();
    const QString existing = platform.LinkedCommand(Ext);
    if (!existing.isEmpty() && existing.compare(Command, Qt::CaseInsensitive) != 0) {
        const QString question = Format(QString::fromLatin1(SLinkOverwriteQuestion), {Ext, existing});
        if (UiServices().MessageDlg(question, mtConfirmation, TMsgDlgButtons{mbYes, mbNo}, 0) != mrYes)
            return;
    }
    platform.WriteLink(Ext, FileType, Description, Command, Icon);
}

void GetFileIcons(const QString &FileName, const QString &Ext, std::int32_t Attr, QIcon &LargeIcon,
                  QIcon &SmallIcon)
{
    LargeIcon = QIcon();
    SmallIcon = QIcon();
    // Pixmaps need a GUI application; without one there is nothing to show icons on.
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return;
    TShellPlatform &platform = ShellPlatform();
    const bool folder = (Attr & faDirectory) != 0;
    QIcon icon;
    if (Ext == QLatin1String(".exe") || Ext == QLatin1String(".ico")) {
        // A pipe or device under such a name would hold the reader forever.
        if (QFileInfo(FileName).isFile())
            icon = platform.OwnIcon(FileName);
    } else {
        icon = platform.LinkedIcon(Ext, folder);
        if (icon.isNull())
            icon = platform.TypeIcon(FileName, folder);
    }
    if (icon.isNull())
        icon = platform.GenericIcon(folder);
    if (icon.isNull())
        return;
    const QPixmap large = SquarePixmap(icon, 32);
    const QPixmap small = SquarePixmap(icon, 16);
    if (!large.isNull())
        LargeIcon = QIcon(large);
    if (!small.isNull())
        SmallIcon = QIcon(small);
}

bool RecycleFiles(const QStringList &List)
{
    return ShellPlatform().Recycle(List);
}

void SwitchOffParentBackGround(QObject *Owner)
{
    if (!Owner)
        return;
    const QList<QWidget *> widgets = Owner->findChildren<QWidget *>();
    for (QWidget *widget : widgets)
        widget->setAutoFillBackground(true);
}

QString GetFileType(const QString &FileName)
{
    const QString name = FileNamePart(FileName).toLower();
    const QString ext = ExtractFileExt(name);
    if (name.startsWith(QLatin1String("rpdg")))
        return QStringLiteral("rpdg");
    const QString number = ext.mid(1);
    std::int32_t value = 0;
    if ((number.size() == 2 || number.size() == 3) && TryStrToInt(number, value) && value >= 0)
        return name.left(name.indexOf(QLatin1Char('.')));
    return ext;
}

QString GetCorrespondingResFile(const QString &FileName)
{
    const QString folder = FolderPart(FileName);
    const QString name = FileNamePart(FileName);
    const QString middle = name.left(name.size() - ExtractFileExt(name).size()).mid(4);
    const QRegularExpression pattern(
        QStringLiteral("^R.{3}%1\\.RES$").arg(QRegularExpression::escape(middle)),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    const QDir dir(folder.isEmpty() ? QStringLiteral(".") : folder);
    const QStringList entries =
        dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name | QDir::IgnoreCase);
    for (const QString &entry : entries)
        if (pattern.match(entry).hasMatch())
            return folder + entry;
    return QString();
}

const QStringList &ListFileExtensions()
{
    // The suite's list files: a header record and the list's comment as its description.
    static const QStringList extensions = {
        QStringLiteral(".FML"),
        QStringLiteral(".NTD"),
        QStringLiteral(".BRK"),
    };
    return extensions;
}

void GetFileDescription(const QString &FileName, const QString &Ext, QString &Description)
{
    Description.clear();
    QString ext = UpperCase(Ext);
    while (ext.size() < 4)
        ext += QLatin1Char(' ');
    const auto is = [&ext](std::initializer_list<const char *> names) {
        for (const char *name : names)
            if (ext == QLatin1String(name))
                return true;
        return false;
    };
    if (ext.startsWith(QLatin1Char('.'))) {
        if (is({".SGF", ".SGS", ".SGT"}))
            GetSGFFileDescription(FileName, Description);
        else if (is({".RES"}))
            GetRESFileDescription(FileName, Description);
        else if (is({".GEO"}))
            Description = GeofileDescr(FileName);
        else if (is({".SIT"}))
            Description = SituationfileDescr(FileName);
        else if (is({".TXT", ".SDR", ".RDR"}))
            GetTXTFileDescription(FileName, Description);
        else if (is({".SFL"}))
            GetTXTFileDescription(ExistingNameIgnoringCase(ChangeFileExt(FileName, QStringLiteral(".SDR"))),
                                  Description);
        else if (is({".RUN", ".RUNX"}))
            GetTXTFileDescription(ExistingNameIgnoringCase(ChangeFileExt(FileName, QStringLiteral(".RDR"))),
                                  Description);
        else if (ListFileExtensions().contains(ext))
            GetListDescription(FileName, Description);
        else if (is({".DGM", ".GM "}))
            GetGMFileDescription(FileName, Description);
        return;
    }
    const QString prefix = ext.left(4);
    if (prefix == QLatin1String("RLK_") || prefix == QLatin1String("RMK_") ||
        prefix == QLatin1String("TLK_") || prefix == QLatin1String("GRID")) {
        GetRLKFileDescription(FileName, prefix, Description);
    } else if (prefix == QLatin1String("RPDG")) {
        const QString resFile = GetCorrespondingResFile(FileName);
        if (!resFile.isEmpty())
            GetRESFileDescription(resFile, Description);
    } else if (ext.startsWith(QLatin1String("MISKAM"))) {
        GetV4FileDescription(FileName, Description, false);
    } else if (ext.at(0).isLetter()) {
        GetV4FileDescription(FileName, Description, true);
    }
}

void GetRESFileDescription(const QString &FileName, QString &Description)
{
    Description.clear();
    const QFileInfo info(FileName);
    if (FileName.isEmpty() || !info.exists() || info.isDir())
        return;
    TMyIniFile ini(FileName);
    Description = ini.ReadString(QStringLiteral("General"), QStringLiteral("RunName"), QString());
}

void GetTXTFileDescription(const QString &FileName, QString &Description)
{
    Description.clear();
    TDescriptionFile file;
    if (!file.Open(FileName))
        return;
    // Lines are gathered until even the shorter UTF-8 reading of them reaches the limit, so
    // there are enough of them whichever encoding the bytes turn out to be in.
    QByteArrayList raw;
    QStringList utf8Lines;
    bool firstLine = true;
    while (!file.File().atEnd() && JoinDescriptionLines(utf8Lines).size() < kMaxTextDescription) {
        QByteArray line = ReadTextLine(file.File());
        if (firstLine && line.startsWith("\xEF\xBB\xBF"))
            line.remove(0, 3);
        firstLine = false;
        const QString text = Trim(QString::fromUtf8(line));
        // Blank lines before the first text add nothing to the description.
        if (text.isEmpty() && utf8Lines.isEmpty())
            continue;
        raw.push_back(line);
        utf8Lines.append(text);
    }
    // The lines read are UTF-8 unless their bytes say otherwise, as for any text file.
    TTextEncoding encoding;
    DecodeText(raw.join('\n'), encoding);
    QStringList lines = utf8Lines;
    if (encoding == TTextEncoding::Windows1252) {
        lines.clear();
        for (const QByteArray &line : raw)
            lines.append(Trim(FromWin1252(line)));
    }
    Description = JoinDescriptionLines(lines).left(kMaxTextDescription);
}

void GetRLKFileDescription(const QString &FileName, const QString &Prefix, QString &Description)
{
    Description.clear();
    qint64 offset = -1;
    if (Prefix == QLatin1String("RLK_"))
        offset = 86;
    else if (Prefix == QLatin1String("RMK_") || Prefix == QLatin1String("TLK_"))
        offset = 287;
    else if (Prefix == QLatin1String("GRID"))
        offset = 38;
    TDescriptionFile file;
    if (offset < 0 || !file.Open(FileName) || !file.Seek(offset))
        return;
    const TCodePage page = Prefix == QLatin1String("RLK_") ? TCodePage::Windows1252 : TCodePage::IBM850;
    Description = ShortStringText(file.Read(80), page);
}

void GetSGFFileDescription(const QString &FileName, QString &Description)
{
    Description.clear();
    TDescriptionFile file;
    if (!file.Open(FileName))
        return;
    std::uint16_t tag = 0;
    std::uint16_t length = 0;
    if (!file.ReadHead(tag, length))
        return;
    if (tag == 26) {
        if (!file.Skip(length) || !file.ReadHead(tag, length) || tag != 66)
            return;
    } else if (tag == 201) {
        if (file.Read(4).size() != 4 || !file.ReadHead(tag, length) || tag != 40)
            return;
        if (!file.Skip(length) || !file.ReadHead(tag, length) || tag != 202)
            return;
    } else {
        return;
    }
    Description = FromWin1252(file.Read(length));
}

bool GetListDescription(const QString &FileName, QString &Description)
{
    Description.clear();
    TDescriptionFile file;
    if (!file.Open(FileName))
        return false;
    std::uint16_t tag = 0;
    std::uint16_t length = 0;
    if (!file.ReadHead(tag, length) || tag != 33)
        return false;
    if (length > kListHeaderBuffer || file.Read(length).size() != length)
        return false;
    if (!file.ReadHead(tag, length) || tag != 34)
        return false;
    Description = FromWin1252(file.Read(length));
    return true;
}

void GetGMFileDescription(const QString &FileName, QString &Description)
{
    Description.clear();
    TDescriptionFile file;
    if (!file.Open(FileName))
        return;
    for (int record = 0; record < kMaxRecords; ++record) {
        std::uint16_t length = 0;
        const QByteArray typeByte = file.ReadWord(length) ? file.Read(1) : QByteArray();
        if (typeByte.size() != 1)
            return;
        const int type = std::uint8_t(typeByte[0]);
        if (length < 2 || length > kGMRecordBuffer || type > 10)
            return;
        const QByteArray data = file.Read(length);
        if (type == 1) {
            Description = RecordText(data, TCodePage::Windows1252);
            return;
        }
        if (data.size() != length)
            return;
    }
}

void GetV4FileDescription(const QString &FileName, QString &Description, bool Convert)
{
    Description.clear();
    TDescriptionFile file;
    if (!file.Open(FileName))
        return;
    for (int record = 0; record < kMaxRecords; ++record) {
        std::uint16_t length = 0;
        if (!file.ReadWord(length) || length < 1 || length > kV4RecordBuffer)
            return;
        const QByteArray data = file.Read(length);
        if (data.isEmpty())
            return;
        const char first = data[0];
        if (first == 'K' || first == 'k') {
            Description = RecordText(data.mid(1), Convert ? TCodePage::IBM850 : TCodePage::Windows1252);
            return;
        }
        if (first == 'D' || first == 'T' || data.size() != length)
            return;
    }
}

} // namespace wn
