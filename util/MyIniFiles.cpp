#include "util/MyIniFiles.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>

namespace wn {

namespace {

// Lines end at CR LF, LF or a lone CR; a last line without an end still counts.
QStringList SplitLines(const QString &text)
{
    QStringList lines;
    qsizetype start = 0;
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = text[i];
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            lines.append(text.mid(start, i - start));
            if (c == QLatin1Char('\r') && i + 1 < n && text[i + 1] == QLatin1Char('\n'))
                ++i;
            start = ++i;
        } else {
            ++i;
        }
    }
    if (start < n)
        lines.append(text.mid(start));
    return lines;
}

QString SectionEntry(const QString &Section)
{
    return QLatin1Char('[') + UpperCase(Section) + QLatin1Char(']');
}

// Names are upper-cased in ASCII only; comparing without case also matches the other letters
// (a file's "Maß" and a caller's "MAß" or "maß").
qsizetype IndexOfName(const QStringList &lines, const QString &name)
{
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString &line = lines[i];
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq == name.size() && line.startsWith(name, Qt::CaseInsensitive))
            return i;
    }
    return -1;
}

} // namespace

TMyIniFile::TMyIniFile(const QString &FileName) : FFileName(FileName)
{
    if (!QFileInfo(FFileName).isFile())
        return;
    const QStringList lines = SplitLines(ReadTextFile(FFileName, FEncoding));
    TSection *current = nullptr;
    for (const QString &line : lines) {
        if (line.isEmpty())
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            Sections.push_back({UpperCase(line), {}});
            current = &Sections.back();
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (current && eq >= 0)
            current->Lines.append(UpperCase(line.left(eq)) + line.mid(eq));
    }
    FModified = false;
}

TMyIniFile::~TMyIniFile()
{
    try {
        UpdateFile();
    } catch (const std::exception &e) {
        // A destructor cannot pass the failure on; callers who must know call UpdateFile().
        qWarning("TMyIniFile: %s", e.what());
    }
}

void TMyIniFile::UpdateFile()
{
    if (!FModified)
        return;
    QString text;
    for (const TSection &section : Sections) {
        text += section.Entry;
        text += QLatin1String("\r\n");
        for (const QString &line : section.Lines) {
            text += line;
            text += QLatin1String("\r\n");
        }
    }
    const QByteArray bytes = EncodeText(text, FEncoding);
    QSaveFile file(FFileName);
    CheckFileOp(file, EIO, [&] {
        // Unbuffered, so that a full disk fails the write instead of a flush whose error is lost.
        return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(bytes) == bytes.size() &&
               file.commit();
    });
    FModified = false;
}

std::int32_t TMyIniFile::IndexOfSection(const QString &Section) const
{
    const QString entry = SectionEntry(Section);
    for (std::size_t i = 0; i < Sections.size(); ++i)
        if (Sections[i].Entry.compare(entry, Qt::CaseInsensitive) == 0)
            return std::int32_t(i);
    return -1;
}

QString TMyIniFile::ReadString(const QString &Section, const QString &Ident, const QString &Default)
{
    std::int32_t idx;
    if (Section == LastSection) {
        idx = LastSectionIdx;
    } else {
        idx = IndexOfSection(Section);
        if (idx >= 0) {
            LastSection = Section;
            LastSectionIdx = idx;
        }
    }
    // A stale index past the end (after an erase) finds nothing rather than failing.
    if (idx < 0 || std::size_t(idx) >= Sections.size())
        return Default;
    const QStringList &lines = Sections[std::size_t(idx)].Lines;
    const qsizetype line = IndexOfName(lines, UpperCase(Ident));
    if (line < 0)
        return Default;
    return lines[line].mid(lines[line].indexOf(QLatin1Char('=')) + 1);
}

void TMyIniFile::WriteString(const QString &Section, const QString &Ident, const QString &Value)
{
    const QString name = UpperCase(Ident);
    const QString line = name + QLatin1Char('=') + Value;
    const std::int32_t idx = IndexOfSection(Section);
    if (idx < 0) {
        Sections.push_back({SectionEntry(Section), {line}});
    } else {
        QStringList &lines = Sections[std::size_t(idx)].Lines;
        const qsizetype existing = IndexOfName(lines, name);
        if (existing >= 0)
            lines[existing] = line;
        else
            lines.append(line);
    }
    FModified = true;
}

std::int32_t TMyIniFile::ReadInteger(const QString &Section, const QString &Ident, std::int32_t Default)
{
    const QString text = ReadString(Section, Ident, QString());
    std::int32_t value = 0;
    bool ok;
    if (text.size() > 2 && (text.startsWith(QLatin1String("0x")) || text.startsWith(QLatin1String("0X"))))
        ok = TryStrToInt(QLatin1Char('$') + text.mid(2), value);
    else
        ok = TryStrToInt(text, value);
    return ok ? value : Default;
}

void TMyIniFile::WriteInteger(const QString &Section, const QString &Ident, std::int32_t Value)
{
    WriteString(Section, Ident, IntToStr(Value));
}

bool TMyIniFile::ReadBool(const QString &Section, const QString &Ident, bool Default)
{
    return ReadInteger(Section, Ident, Default ? 1 : 0) != 0;
}

void TMyIniFile::WriteBool(const QString &Section, const QString &Ident, bool Value)
{
    WriteString(Section, Ident, Value ? QStringLiteral("1") : QStringLiteral("0"));
}

double TMyIniFile::ReadDouble(const QString &Section, const QString &Ident, double Default)
{
    QString text = Trim(ReadString(Section, Ident, QString()));
    if (text.isEmpty())
        return Default;
    const qsizetype comma = text.indexOf(QLatin1Char(','));
    if (comma >= 0)
        text[comma] = QLatin1Char('.');
    // Files travel between machines, so the point is the separator whatever the locale says.
    TFormatSettings fs;
    fs.DecimalSeparator = QLatin1Char('.');
    double value = 0;
    return TryStrToFloat(text, value, fs) ? value : Default;
}

void TMyIniFile::WriteDouble(const QString &Section, const QString &Ident, double Value, std::int32_t Digits)
{
    WriteString(Section, Ident, FloatToStrF(Value, ffFixed, 14, Digits));
}

QString TMyIniFile::GetFirstSectionName() const
{
    for (const TSection &section : Sections) {
        const qsizetype dot = section.Entry.indexOf(QLatin1Char('.'));
        if (dot >= 0)
            return section.Entry.mid(1, dot - 1);
    }
    return QStringLiteral("-1");
}

bool TMyIniFile::SectionExists(const QString &Section) const
{
    return IndexOfSection(Section) >= 0;
}

void TMyIniFile::EraseSection(const QString &Section)
{
    const std::int32_t idx = IndexOfSection(Section);
    if (idx >= 0)
        Sections.erase(Sections.begin() + idx);
    FModified = true;
}

QString Make_BackUp_FileName(const QString &FileName)
{
    qsizetype i = FileName.size() - 1;
    while (i >= 0 && FileName[i] != QLatin1Char('.') && FileName[i] != QLatin1Char('/') &&
           FileName[i] != QLatin1Char('\\'))
        --i;
    if (i < 0 || FileName[i] != QLatin1Char('.'))
        return FileName + QLatin1String(".~");
    return FileName.left(i) + QLatin1String(".~") + FileName.mid(i + 1);
}

bool Existing_File_To_BackUp_File(const QString &FileName)
{
    if (!QFileInfo(FileName).isFile())
        return false;
    const QString backUp = Make_BackUp_FileName(FileName);
    if (QFileInfo::exists(backUp))
        QFile::remove(backUp);
    return QFile::rename(FileName, backUp);
}

} // namespace wn
