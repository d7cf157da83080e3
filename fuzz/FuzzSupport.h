#pragma once
// Shared pieces of the fuzz targets: the readers take file names, so every input is written to a
// file of its own private folder first, and a small cursor cuts the input into the arguments of
// the routines that take text.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace wnfuzz {

// Writes the input to Name in a folder that lives as long as the process.
inline QString WriteInput(const std::uint8_t *data, std::size_t size,
                          const QString &name = QStringLiteral("input"))
{
    // In memory where the system has it: on ext4, truncating and rewriting one file makes
    // every close wait for the disk, which would cap the fuzzer at a few hundred runs a second.
    static QTemporaryDir dir(QFileInfo(QStringLiteral("/dev/shm")).isWritable()
                                 ? QStringLiteral("/dev/shm/wnfuzz-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/wnfuzz-XXXXXX"));
    if (!dir.isValid())
        std::abort();
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char *>(data), qint64(size)) != qint64(size))
        std::abort();
    return path;
}

// Takes the input apart from the front: single bytes and texts ending at a NUL byte.
class TInputCursor
{
public:
    TInputCursor(const std::uint8_t *data, std::size_t size) : FData(data), FSize(size) {}

    std::uint8_t Byte() { return FPos < FSize ? FData[FPos++] : 0; }
    // The bytes up to the next NUL (or the end) as UTF-8.
    QString Text()
    {
        const std::size_t start = FPos;
        while (FPos < FSize && FData[FPos] != 0)
            ++FPos;
        const QString text =
            QString::fromUtf8(reinterpret_cast<const char *>(FData + start), qsizetype(FPos - start));
        if (FPos < FSize)
            ++FPos;
        return text;
    }

private:
    const std::uint8_t *FData;
    std::size_t FSize;
    std::size_t FPos = 0;
};

} // namespace wnfuzz
