#include "grid/GeoDBFileDescr.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdint>

using namespace wn;

namespace {

QByteArray Le32(std::int32_t value)
{
    QByteArray bytes;
    for (int i = 0; i < 4; ++i)
        bytes.append(char((std::uint32_t(value) >> (8 * i)) & 0xFF));
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

class GeoDescrTest : public ::testing::Test
{
protected:
    QTemporaryDir dir;

    QString Write(const QString &name, const QByteArray &bytes)
    {
        return wntest::WriteAll(dir.filePath(name), bytes);
    }
};

} // namespace

TEST_F(GeoDescrTest, SituationDescriptionJoinsLinesAndIsCutTo80Characters)
{
    const QByteArray block(9, 'h');
    EXPECT_EQ(SituationfileDescr(Write("a.sit", DescribedFile(block, "first\r\nsecond\r\nthird"))),
              QStringLiteral("first; second; third"));

    const QByteArray longText(120, 'x');
    const QByteArray text = QByteArray(78, 'a') + "\r\n" + longText;
    // The cut comes before the line ends are replaced, so a line end split by it stays.
    EXPECT_EQ(SituationfileDescr(Write("b.sit", DescribedFile(block, text))),
              QString(78, QLatin1Char('a')) + QStringLiteral("; "));
    EXPECT_EQ(SituationfileDescr(Write("c.sit", DescribedFile(block, longText))),
              QString(80, QLatin1Char('x')));
    const QByteArray split = QByteArray(79, 'a') + "\r\nb";
    EXPECT_EQ(SituationfileDescr(Write("d.sit", DescribedFile(block, split))),
              QString(79, QLatin1Char('a')) + QLatin1Char('\r'));
    // Windows-1252 text.
    EXPECT_EQ(SituationfileDescr(Write("e.sit", DescribedFile(block, "L\xe4rm \x80"))),
              QStringLiteral("Lärm €"));
}

TEST_F(GeoDescrTest, SituationWithoutDescription)
{
    const QByteArray block(9, 'h');
    QByteArray negative = DescribedFile(QByteArray(8, 'h'), "text");
    negative.replace(2, 4, Le32(-8));
    const QByteArray files[] = {DescribedFile(block, '0', "text", 4), DescribedFile(block, '1', "text", 0),
                                DescribedFile(block, '1', "text", -3),
                                // A header block of 4 bytes or less means no description even if one follows.
                                DescribedFile(QByteArray(4, 'h'), "text"), negative};
    for (const QByteArray &bytes : files)
        EXPECT_EQ(SituationfileDescr(Write("none.sit", bytes)), QString()) << bytes.toHex().constData();
    EXPECT_EQ(SituationfileDescr(dir.filePath("missing.sit")), QString());
    EXPECT_EQ(SituationfileDescr(dir.path()), QString());
    EXPECT_EQ(SituationfileDescr(QString()), QString());
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
    EXPECT_EQ(GeofileDescr(Write("a.geo", DescribedFile(CurrentGeoBlock(), "Streets\r\nRail"))),
              QStringLiteral("Streets; Rail"));
    EXPECT_EQ(GeofileDescr(Write("b.geo", DescribedFile(CurrentGeoBlock(300), QByteArray(120, 'g')))),
              QString(80, QLatin1Char('g')));
    EXPECT_EQ(GeofileDescr(Write("c.geo", DescribedFile(CurrentGeoBlock(), '2', "text", 4))), QString());

    // Smallest first word of a current block: 0x0A30310A; one less in the second byte is older.
    QByteArray block = CurrentGeoBlock();
    block[1] = '1';
    block[2] = '0';
    block[3] = 10;
    EXPECT_EQ(GeofileDescr(Write("d.geo", DescribedFile(block, "new"))), QStringLiteral("new"));
    block[1] = '0';
    block[4] = 3;
    block[5] = 'o';
    block[6] = 'l';
    block[7] = 'd';
    EXPECT_EQ(GeofileDescr(Write("e.geo", DescribedFile(block, "new"))), QStringLiteral("old"));

    QByteArray noTen = CurrentGeoBlock();
    noTen[11] = 11;
    noTen[4] = 2;
    EXPECT_EQ(GeofileDescr(Write("f.geo", DescribedFile(noTen, "new"))), QStringLiteral("UU"));
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

TEST_F(GeoDescrTest, TruncatedFilesYieldWhatWasRead)
{
    const QByteArray text = "first\r\nsecond";
    const auto check = [&](const QByteArray &bytes, QString (*reader)(const QString &), int silentFrom) {
        const int textStart = int(bytes.size() - text.size());
        for (int cut = silentFrom; cut <= bytes.size(); ++cut) {
            QString want;
            if (cut > textStart)
                want = QString::fromLatin1(text.left(cut - textStart)).replace(QLatin1String("\r\n"), "; ");
            EXPECT_EQ(reader(Write("cut", bytes.left(cut))), want) << "cut at " << cut;
        }
    };
    check(DescribedFile(QByteArray(9, 'h'), text), SituationfileDescr, 0);
    // A geo file cut inside its header block may still show the older form's text.
    check(DescribedFile(CurrentGeoBlock(), text), GeofileDescr, 6 + 12);
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
