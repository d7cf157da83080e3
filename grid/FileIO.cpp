#include "grid/FileIO.h"

#include "framework/CodePages.h"
#include "framework/Exceptions.h"

#include <QDir>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace wn {

namespace {

constexpr std::int64_t cSkipPiece = 1000;
constexpr std::uint16_t cLongHeadLen = 6;
constexpr int cHeaderDataLen = 10;

// The extension with its dot, from the last dot after the last path separator; empty without.
QString ExtensionOf(const QString &fileName)
{
    const qsizetype slash = fileName.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > slash ? fileName.mid(dot) : QString();
}

} // namespace

TFileIO::TFileIO() = default;

TFileIO::~TFileIO()
{
    Close();
}

void TFileIO::StartFile(const QString &FileName)
{
    Close();
    FFileName = FileName;
    FID = 0;
    FLen = 0;
    FError = false;
    FErrorCode = 0;
    FHeadPending = 0;
}

bool TFileIO::Open(const QString &FileName)
{
    StartFile(FileName);
    FFile.setFileName(FileName);
    CheckFileOp(FFile, EIO, [&] { return FFile.open(QIODevice::ReadOnly); });
    return true;
}

bool TFileIO::Make(const QString &FileName)
{
    StartFile(FileName);
    FNewFile.setFileName(FileName);
    // Unbuffered, so that a write that falls short is seen by the record that made it.
    CheckFileOp(FNewFile, EIO, [&] { return FNewFile.open(QIODevice::WriteOnly | QIODevice::Unbuffered); });
    return true;
}

bool TFileIO::OpenHeader(const QString &FileName, QString &Comment, std::int32_t &Version)
{
    Open(FileName);
    read_datainfo();
    if (FID != cFileIOHeaderID) {
        Comment.clear();
        Version = -1;
        FFile.seek(0);
        return !FError;
    }
    char header[cHeaderDataLen] = {};
    read_data(cHeaderDataLen, header);
    Version = qFromLittleEndian<qint32>(header + 6);
    read_IDtext(cFileIOCommentID, Comment);
    return !FError;
}

bool TFileIO::MakeHeader(const QString &FileName, const QString &Comment, std::int32_t Version)
{
    Make(FileName);
    char header[cHeaderDataLen];
    header[0] = 'K';
    header[1] = 'V';
    const QByteArray ext = ToWin1252(ExtensionOf(FileName).left(4)).leftJustified(4, ' ', true);
    std::copy(ext.begin(), ext.end(), header + 2);
    qToLittleEndian(Version, header + 6);
    write_data(cFileIOHeaderID, cHeaderDataLen, header);
    write_text(cFileIOCommentID, Comment);
    return !FError;
}

void TFileIO::Close()
{
    if (FFile.isOpen())
        FFile.close();
    if (!FNewFile.isOpen())
        return;
    // After an error the file would be incomplete: drop it and keep what was there before.
    if (FError)
        FNewFile.cancelWriting();
    if (!FNewFile.commit())
        set_error(cFileIOWriteShort);
}

bool TFileIO::ReadExactly(char *buffer, std::int64_t count)
{
    if (count <= 0)
        return true;
    if (FFile.read(buffer, count) != count) {
        set_error(cFileIOReadShort);
        return false;
    }
    return true;
}

bool TFileIO::WriteExactly(const char *buffer, std::int64_t count)
{
    if (count <= 0)
        return true;
    if (FNewFile.write(buffer, count) != count) {
        set_error(cFileIOWriteShort);
        return false;
    }
    return true;
}

bool TFileIO::WriteHead(std::uint16_t ID, std::uint16_t Len)
{
    char head[4];
    qToLittleEndian(ID, head);
    qToLittleEndian(Len, head + 2);
    return WriteExactly(head, 4);
}

void TFileIO::SkipBytes(std::int64_t count)
{
    char scratch[cSkipPiece];
    while (count > 0) {
        const std::int64_t piece = std::min(count, cSkipPiece);
        if (!ReadExactly(scratch, piece))
            return;
        count -= piece;
    }
}

void TFileIO::read_datainfo()
{
    if (FError || FHeadPending == 1) {
        FHeadPending = 0;
        return;
    }
    char head[4];
    if (!ReadExactly(head, 4))
        return;
    FID = qFromLittleEndian<quint16>(head);
    FLen = qFromLittleEndian<quint16>(head + 2);
    if (FID == cFileIOLongID) {
        char inner[cLongHeadLen];
        if (!ReadExactly(inner, cLongHeadLen))
            return;
        FID = qFromLittleEndian<quint16>(inner);
        FLen = qFromLittleEndian<quint32>(inner + 2);
    }
}

std::int64_t TFileIO::ReadRecordData(std::int32_t MaxLen, char *Buffer, std::int64_t Capacity)
{
    const std::int64_t length = FLen;
    FHeadPending = MaxLen > length ? -1 : 0;
    // A negative MaxLen reads nothing, and nothing is not the count asked for: a short read.
    const std::int64_t n = std::min<std::int64_t>(MaxLen, length);
    const std::int64_t got = n > 0 ? std::max<std::int64_t>(FFile.read(Buffer, std::min(n, Capacity)), 0) : 0;
    if (got != n)
        set_error(cFileIOReadShort);
    else
        SkipBytes(length - n);
    FID = 0;
    return got;
}

void TFileIO::read_data(std::int32_t MaxLen, void *Buffer)
{
    if (FError)
        return;
    ReadRecordData(MaxLen, static_cast<char *>(Buffer), MaxLen);
}

bool TFileIO::ReadHeadOf(std::uint16_t ID)
{
    if (FError)
        return false;
    read_datainfo();
    if (FError)
        return false;
    if (FID != ID) {
        FError = true;
        return false;
    }
    return true;
}

void TFileIO::read_IDdata(std::uint16_t ID, std::int32_t MaxLen, void *Buffer)
{
    if (ReadHeadOf(ID))
        read_data(MaxLen, Buffer);
}

void TFileIO::read_text(std::int32_t Len, QString &Text)
{
    if (FError)
        return;
    // Nothing asked for reads nothing: the record stays for the next read.
    if (Len <= 0) {
        Text.clear();
        return;
    }
    // A damaged length must not become a giant allocation: the buffer never exceeds what the
    // file still holds, and a record longer than that reads short anyway.
    const std::int64_t available = std::max<std::int64_t>(FFile.size() - FFile.pos(), 0);
    QByteArray bytes(qsizetype(std::min({std::int64_t(Len), std::int64_t(FLen), available})), '\0');
    bytes.truncate(qsizetype(ReadRecordData(Len, bytes.data(), bytes.size())));
    // Len characters in every case: a record shorter than that leaves NULs behind its text.
    if (!FError)
        bytes.append(qsizetype(Len) - bytes.size(), '\0');
    Text = FromWin1252(bytes);
}

void TFileIO::read_IDtext(std::uint16_t ID, QString &Text)
{
    Text.clear();
    if (ReadHeadOf(ID))
        read_text(std::int32_t(std::min<std::uint32_t>(FLen, std::numeric_limits<std::int32_t>::max())),
                  Text);
}

void TFileIO::read_not()
{
    char scratch[cSkipPiece];
    read_data(std::int32_t(cSkipPiece), scratch);
}

void TFileIO::read_longdata(void *Buffer)
{
    if (FError)
        return;
    ReadExactly(static_cast<char *>(Buffer), FLen);
}

void TFileIO::write_data(std::uint16_t ID, std::uint32_t Len, const void *Data)
{
    if (FError)
        return;
    const std::uint16_t len16 = std::uint16_t(Len & 0xFFFF);
    if (WriteHead(ID, len16))
        WriteExactly(static_cast<const char *>(Data), len16);
}

void TFileIO::write_longdata(std::uint16_t ID, std::uint32_t Len, const void *Data)
{
    if (FError)
        return;
    char head[10];
    qToLittleEndian(cFileIOLongID, head);
    qToLittleEndian(cLongHeadLen, head + 2);
    qToLittleEndian(ID, head + 4);
    qToLittleEndian(Len, head + 6);
    if (WriteExactly(head, sizeof head))
        WriteExactly(static_cast<const char *>(Data), Len);
}

void TFileIO::write_text(std::uint16_t ID, const QString &Text)
{
    if (FError)
        return;
    if (Text.isEmpty()) {
        write_ID(ID);
        return;
    }
    const QByteArray bytes = ToWin1252(Text);
    if (WriteHead(ID, std::uint16_t(bytes.size() & 0xFFFF)))
        WriteExactly(bytes.constData(), bytes.size());
}

void TFileIO::write_ID(std::uint16_t ID)
{
    if (FError)
        return;
    WriteHead(ID, 0);
}

void TFileIO::write_begin()
{
    write_ID(cFileIOBeginID);
}

void TFileIO::write_end()
{
    write_ID(cFileIOEndID);
}

void TFileIO::set_error(std::int32_t Code)
{
    if (FError)
        return;
    FError = true;
    FErrorCode = Code;
}

void TextFileToStrings(const QString &FileName, std::int32_t MaxLines, QStringList &Strings)
{
    TTextEncoding encoding;
    const QString text = ReadTextFile(FileName, encoding);
    qsizetype start = 0;
    while (start < text.size()) {
        if (MaxLines != 0 && Strings.size() >= MaxLines)
            return;
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        const qsizetype next = end < 0 ? text.size() : end + 1;
        if (end < 0)
            end = text.size();
        if (end > start && text.at(end - 1) == QLatin1Char('\r'))
            --end;
        Strings.append(text.mid(start, end - start));
        start = next;
    }
}

bool GetTextFilesize(const QString &FileName, std::int64_t &Size)
{
    Size = 0;
    if (FileName.isEmpty())
        return false;
    QFileInfo info(FileName);
    if (FileName.contains(QLatin1Char('*')) || FileName.contains(QLatin1Char('?'))) {
        const QFileInfoList matches = info.dir().entryInfoList(
            {info.fileName()}, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
            QDir::Name);
        if (matches.isEmpty())
            return false;
        info = matches.first();
    }
    if (info.exists() && info.isFile())
        Size = info.size();
    return Size > 0;
}

} // namespace wn
