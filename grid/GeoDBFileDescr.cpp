#include "grid/GeoDBFileDescr.h"

#include "framework/CodePages.h"
#include "framework/RegularFile_p.h"

#include <QFile>
#include <QtEndian>

#include <cstdint>

namespace wn {

namespace {

// Longest description shown; longer texts are cut.
constexpr std::int32_t kMaxDescription = 80;
// The older header block keeps its description as a short string of at most 99 characters
// at block offset 4, so only its first 104 bytes matter.
constexpr std::int32_t kOldHeaderBytes = 104;
constexpr int kOldTextOffset = 4;
constexpr int kOldTextCapacity = 99;
// The first four bytes of a current header block, read little-endian, are at least this.
constexpr std::uint32_t kCurrentHeaderMin = 0x0A303030;

// Reads a little-endian 32-bit number; bytes the file does not deliver count as zero.
std::uint32_t ReadUInt32(QFile &file)
{
    const QByteArray bytes = file.read(4).leftJustified(4, '\0');
    return qFromLittleEndian<quint32>(bytes.constData());
}

std::int32_t ReadInt32(QFile &file)
{
    return std::int32_t(ReadUInt32(file));
}

// Opens the file and reads the file word and the header block's length. False when there is no
// such regular file.
bool OpenDescribedFile(const QString &fileName, QFile &file, std::int32_t &headerLength)
{
    if (!OpenRegularFile(file, fileName))
        return false;
    file.read(2);
    headerLength = ReadInt32(file);
    return true;
}

// The marker block, the description's length and the description itself, from the current
// position on.
QString ReadMarkedDescription(QFile &file)
{
    const QByteArray marker = file.read(6);
    if (marker.size() < 2 || marker[1] != '1')
        return QString();
    std::int32_t length = ReadInt32(file);
    if (length > kMaxDescription)
        length = kMaxDescription;
    if (length <= 0)
        return QString();
    QString text = FromWin1252(file.read(length));
    text.replace(QLatin1String("\r\n"), QLatin1String("; "), Qt::CaseInsensitive);
    return text;
}

bool IsCurrentGeoHeader(const QByteArray &block)
{
    if (block.size() < 12)
        return false;
    return block[0] == 10 && block[11] == 10 &&
           qFromLittleEndian<quint32>(block.constData()) >= kCurrentHeaderMin;
}

QString OldGeoDescription(const QByteArray &block)
{
    if (block.size() <= kOldTextOffset)
        return QString();
    int length = std::uint8_t(block[kOldTextOffset]);
    const int available = int(block.size()) - kOldTextOffset - 1;
    length = qMin(length, qMin(kOldTextCapacity, available));
    return FromWin1252(block.mid(kOldTextOffset + 1, length));
}

} // namespace

QString SituationfileDescr(const QString &FileName)
{
    QFile file;
    std::int32_t headerLength = 0;
    if (!OpenDescribedFile(FileName, file, headerLength) || headerLength <= 4)
        return QString();
    // Seeking past the end is harmless: the reads after it deliver nothing.
    file.seek(file.pos() + headerLength);
    return ReadMarkedDescription(file);
}

QString GeofileDescr(const QString &FileName)
{
    QFile file;
    std::int32_t headerLength = 0;
    if (!OpenDescribedFile(FileName, file, headerLength) || headerLength <= 4)
        return QString();
    const qint64 blockStart = file.pos();
    const QByteArray block = file.read(qMin(headerLength, kOldHeaderBytes));
    if (!IsCurrentGeoHeader(block))
        return OldGeoDescription(block);
    file.seek(blockStart + headerLength);
    return ReadMarkedDescription(file);
}

} // namespace wn
