#include "grid/GeoDBFileDescr.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cstdint>

using namespace wn;

namespace {

QByteArray Le32(std::int32_t value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

// File word, header length, header block, marker block, description length and text.
QByteArray DescribedFile(const QByteArray &block, char flag, const QByteArray &text, std::int32_t length)
{
    QByteArray bytes("\x07\x00", 2);
    bytes += Le32(std::int32_t(block.size()));
    bytes += block;
    bytes += QByteArray("M") + flag + QByteArray("\0\0\0\0", 4);
    bytes += Le32(length);
    bytes += text;
    return bytes;
}

QByteArray DescribedFile(const QByteArray &block, const QByteArray &text)
{
    return DescribedFile(block, '1', text, std::int32_t(text.size()));
}

// A file of file word, header length and header block only.
QByteArray HeaderOnlyFile(const QByteArray &block)
{
    return QByteArray("\x07\x00", 2) + Le32(std::int32_t(block.size())) + block;
}

// A header block that the geo reader takes for the current form.
QByteArray CurrentGeoBlock(int size = 16)
{
    QByteArray block(size, '\x55');
    block[0] = 10;
    block[1] = '0';
    block[2] = '0';
    block[3] = '0';
    block[11] = 10;
    return block;
}

// An older geo header block with a length-prefixed text at offset 4.
QByteArray OldGeoBlock(int size, int declaredLength, const QByteArray &text)
{
    QByteArray block(size, '\0');
    if (size > 4)
        block[4] = char(declaredLength);
    for (int i = 0; i < text.size() && 5 + i < size; ++i)
        block[5 + i] = text[i];
    return block;
}

using GeoDescrTest = wntest::TTempDirTest;

} // namespace

TEST_F(GeoDescrTest, SituationDescriptionJoinsLinesAndIsCutTo80Characters)
{
    const QByteArray block(9, 'h');
    const QByteArray longText(120, 'x');
    QByteArray negative = DescribedFile(QByteArray(8, 'h'), "text");
    negative.replace(2, 4, Le32(-8));
    // The cut comes before the line ends are replaced, so a line end split by it stays; the
    // text is Windows-1252; a flag other than '1', a length of 0 or less, or a header block of
    // 4 bytes or less mean no description.
    const std::pair<QByteArray, QString> cases[] = {
        {DescribedFile(block, "first\r\nsecond\r\nthird"), QStringLiteral("first; second; third")},
        {DescribedFile(block, QByteArray(78, 'a') + "\r\n" + longText), QString(78, QLatin1Char('a')) + "; "},
        {DescribedFile(block, longText), QString(80, QLatin1Char('x'))},
        {DescribedFile(block, QByteArray(79, 'a') + "\r\nb"), QString(79, QLatin1Char('a')) + '\r'},
        {DescribedFile(block, "L\xe4rm \x80"), QStringLiteral("Lärm €")},
        {DescribedFile(block, '0', "text", 4), QString()},
        {DescribedFile(block, '1', "text", 0), QString()},
        {DescribedFile(block, '1', "text", -3), QString()},
        {DescribedFile(QByteArray(4, 'h'), "text"), QString()},
        {negative, QString()},
        // Cut short: what was read, with its line ends joined.
        {DescribedFile(block, "first\r\nsecond").chopped(4), QStringLiteral("first; se")},
        {DescribedFile(block, "first\r\nsecond").chopped(13), QString()},
    };
    for (const auto &[bytes, want] : cases)
        EXPECT_EQ(SituationfileDescr(Write("a.sit", bytes)), want) << bytes.toHex().constData();
    for (const QString &none : {dir.filePath("missing.sit"), dir.path(), QString()})
        EXPECT_EQ(SituationfileDescr(none), QString());
}

TEST_F(GeoDescrTest, UnreadableFileRaisesOpenError)
{
    const QString path = Write("locked.sit", DescribedFile(QByteArray(9, 'h'), "text"));
    QFile::setPermissions(path, QFileDevice::Permissions());
    QFile probe(path);
    if (probe.open(QIODevice::ReadOnly))
        GTEST_SKIP() << "the file system lets this user read any file";
    EXPECT_THROW(SituationfileDescr(path), EFOpenError);
    EXPECT_THROW(GeofileDescr(path), EFOpenError);
}

TEST_F(GeoDescrTest, CurrentGeoFormReadsTheMarkedDescription)
{
    // Smallest first word of a current block: 0x0A30310A; one less in the second byte is the
    // older form, whose text lies inside the block; without the 10 at byte 11 as well.
    QByteArray smallest = CurrentGeoBlock(), older, noTen = CurrentGeoBlock();
    smallest.replace(1, 3, "10\n");
    older = smallest;
    older.replace(1, 7, QByteArray("0\x30\n\x03old", 7));
    noTen[11] = 11;
    noTen[4] = 2;
    const std::pair<QByteArray, QString> cases[] = {
        {DescribedFile(CurrentGeoBlock(), "Streets\r\nRail"), QStringLiteral("Streets; Rail")},
        {DescribedFile(CurrentGeoBlock(300), QByteArray(120, 'g')), QString(80, QLatin1Char('g'))},
        {DescribedFile(CurrentGeoBlock(), '2', "text", 4), QString()},
        {DescribedFile(smallest, "new"), QStringLiteral("new")},
        {DescribedFile(older, "new"), QStringLiteral("old")},
        {DescribedFile(noTen, "new"), QStringLiteral("UU")},
        {DescribedFile(CurrentGeoBlock(), "ab\r\ncd").chopped(1), QStringLiteral("ab; c")},
        {DescribedFile(CurrentGeoBlock(), "ab").left(6 + 12), QString()},
    };
    for (const auto &[bytes, want] : cases)
        EXPECT_EQ(GeofileDescr(Write("a.geo", bytes)), want) << bytes.toHex().constData();
}

TEST_F(GeoDescrTest, OlderGeoFormReadsTheTextInsideTheHeader)
{
    // No "\r\n" replacement and no 80-character limit in the older form; 99 characters fit.
    // A length running past a short block is cut at the block, not read from what follows.
    const struct {
        QByteArray File;
        QString Want;
    } cases[] = {
        {DescribedFile(OldGeoBlock(200, 9, "Old plant"), "ignored"), QStringLiteral("Old plant")},
        {HeaderOnlyFile(OldGeoBlock(200, 255, QByteArray(150, 'z'))), QString(99, QLatin1Char('z'))},
        {HeaderOnlyFile(OldGeoBlock(104, 90, QByteArray(90, 'q'))), QString(90, QLatin1Char('q'))},
        {HeaderOnlyFile(OldGeoBlock(200, 4, "a\r\nb")), QStringLiteral("a\r\nb")},
        {DescribedFile(OldGeoBlock(12, 50, "abcdefghijkl"), "after"), QStringLiteral("abcdefg")},
        {HeaderOnlyFile(OldGeoBlock(5, 3, "")), QString()},
        {HeaderOnlyFile(OldGeoBlock(4, 3, "")), QString()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(GeofileDescr(Write("old.geo", c.File)), c.Want) << c.File.toHex().constData();
    EXPECT_EQ(GeofileDescr(dir.filePath("missing.geo")), QString());
}

TEST_F(GeoDescrTest, HugeLengthsReadOnlyWhatIsThere)
{
    // Huge lengths in every field.
    QByteArray huge("\xff\xff", 2);
    huge += Le32(0x7FFFFFFF);
    huge += QByteArray(64, '\x01');
    EXPECT_EQ(SituationfileDescr(Write("huge.sit", huge)), QString());
    EXPECT_EQ(GeofileDescr(Write("huge.geo", huge)), QString(1, QChar(1)));
    const QByteArray hugeText = DescribedFile(QByteArray(9, 'h'), '1', QByteArray(200, 't'), 0x7FFFFFFF);
    EXPECT_EQ(SituationfileDescr(Write("hugetext.sit", hugeText)), QString(80, QLatin1Char('t')));
}
