#include "grid/FileIO.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>


using namespace wn;
using namespace wntest;

namespace {

class FileIOTest : public ::testing::Test
{
protected:
    QString Path(const QString &name) const { return Dir.filePath(name); }
    QTemporaryDir Dir;
};

} // namespace

TEST_F(FileIOTest, HeaderCommentAndRecordsGiveTheBytesWorkedOutByHandAndReadBack)
{
    const QString name = Path("scale.SGC");
    TFileIO io;
    ASSERT_TRUE(io.MakeHeader(name, QStringLiteral("Hi"), 19970901));
    io.write_data(70, 3, "abc");
    io.write_ID(5);
    io.write_begin();
    io.write_text(7, QStringLiteral("Gr\u00f6\u00dfe"));
    io.write_end();
    io.Close();
    EXPECT_FALSE(io.Error());
    const QByteArray expected = Bytes({0x21, 0x00, 0x0A, 0x00, 'K',  'V',  '.',  'S',  'G', 'C',
                                       0x55, 0xBB, 0x30, 0x01, 0x22, 0x00, 0x02, 0x00, 'H', 'i', //
                                       0x46, 0x00, 0x03, 0x00, 'a',  'b',  'c',                  //
                                       0x05, 0x00, 0x00, 0x00,                                   //
                                       0x28, 0x00, 0x00, 0x00,                                   //
                                       0x07, 0x00, 0x05, 0x00, 'G',  'r',  0xF6, 0xDF, 'e',      //
                                       0x29, 0x00, 0x00, 0x00});
    EXPECT_EQ(ReadAll(name), expected);

    QString comment;
    std::int32_t version = 0;
    ASSERT_TRUE(io.OpenHeader(name, comment, version));
    EXPECT_EQ(comment, QStringLiteral("Hi"));
    EXPECT_EQ(version, 19970901);
    char buf[3] = {};
    io.read_IDdata(70, 3, buf);
    EXPECT_FALSE(io.Error());
    EXPECT_EQ(QByteArray(buf, 3), QByteArray("abc"));

    // A file that starts with an ordinary record is read from its first byte.
    WriteAll(name, Bytes({0x46, 0x00, 0x02, 0x00, 'p', 'q'}));
    comment = QStringLiteral("old");
    ASSERT_TRUE(io.OpenHeader(name, comment, version));
    EXPECT_TRUE(comment.isEmpty());
    EXPECT_EQ(version, -1);
    io.read_IDdata(70, 2, buf);
    EXPECT_FALSE(io.Error());
    EXPECT_EQ(QByteArray(buf, 2), QByteArray("pq"));
}

TEST_F(FileIOTest, HeaderExtensionIsPaddedOrCutToFourCharacters)
{
    struct Case {
        const char *name;
        QByteArray ext;
    };
    const Case cases[] = {
        {"a.ab", ".ab "}, {"noext", "    "}, {"photo.jpeg", ".jpe"}, {"x.tar.gz", ".gz "}, {"a.", ".   "}};
    for (const Case &c : cases) {
        const QString name = Path(QString::fromLatin1(c.name));
        TFileIO io;
        ASSERT_TRUE(io.MakeHeader(name, QString(), -5));
        io.Close();
        EXPECT_EQ(ReadAll(name),
                  Bytes({0x21, 0, 0x0A, 0}) + "KV" + c.ext + Bytes({0xFB, 0xFF, 0xFF, 0xFF, 0x22, 0, 0, 0}))
            << c.name;
    }
    QDir(Dir.path()).mkdir("dir.d");
    TFileIO io;
    io.MakeHeader(Path("dir.d/file"), QString(), 1);
    io.Close();
    EXPECT_EQ(ReadAll(Path("dir.d/file")).mid(6, 4), QByteArray("    "));
}

TEST_F(FileIOTest, OpenHeaderFailures)
{
    TFileIO io;
    QString comment;
    std::int32_t version = 0;
    for (const QByteArray &bytes : {QByteArray(), Bytes({0x21}), Bytes({0x21, 0x00, 0x0A})}) {
        WriteAll(Path("short"), bytes);
        EXPECT_FALSE(io.OpenHeader(Path("short"), comment, version)) << bytes.size();
        EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
        EXPECT_EQ(version, -1);
    }
    // A header followed by something other than a comment: the flag is set, the code is not.
    WriteAll(Path("nocomment"),
             Bytes({0x21, 0, 10, 0, 'K', 'V', ' ', ' ', ' ', ' ', 1, 0, 0, 0, 0x23, 0, 0, 0}));
    EXPECT_FALSE(io.OpenHeader(Path("nocomment"), comment, version));
    EXPECT_TRUE(io.Error());
    EXPECT_EQ(io.ErrorCode(), 0);
    EXPECT_EQ(version, 1);
    // A header record of 4 bytes fills only the front of the header; the version reads as 0.
    WriteAll(Path("tinyheader"), Bytes({0x21, 0, 4, 0, 'K', 'V', '.', 'x', 0x22, 0, 1, 0, 'c'}));
    EXPECT_TRUE(io.OpenHeader(Path("tinyheader"), comment, version));
    EXPECT_EQ(version, 0);
    EXPECT_EQ(comment, QStringLiteral("c"));
}

TEST_F(FileIOTest, OpeningAMissingFileThrowsAndReopeningClearsTheError)
{
    TFileIO io;
    EXPECT_THROW(io.Open(Path("missing")), EInOutError);
    EXPECT_THROW(io.Make(Path("no/such/dir/file")), EInOutError);
    EXPECT_THROW(io.Open(Dir.path()), EInOutError);
    QString comment;
    std::int32_t version;
    EXPECT_THROW(io.OpenHeader(Path("missing"), comment, version), EInOutError);

    WriteAll(Path("one"), Bytes({1, 0, 0, 0}));
    io.Open(Path("one"));
    io.read_IDdata(2, 0, nullptr);
    EXPECT_TRUE(io.Error());
    io.Open(Path("one"));
    EXPECT_FALSE(io.Error());
    io.read_IDdata(1, 0, nullptr);
    EXPECT_FALSE(io.Error());
}

TEST_F(FileIOTest, LongRecordBytesAndReadBack)
{
    const QString name = Path("long.dat");
    QByteArray data(70000, '\0');
    for (int i = 0; i < data.size(); ++i)
        data[i] = char(i * 7 + 3);
    {
        TFileIO io;
        io.Make(name);
        io.write_longdata(77, std::uint32_t(data.size()), data.constData());
        io.write_ID(3);
        EXPECT_FALSE(io.Error());
    }
    const QByteArray bytes = ReadAll(name);
    ASSERT_EQ(bytes.size(), 10 + 70000 + 4);
    EXPECT_EQ(bytes.left(10), Bytes({0x2A, 0x00, 0x06, 0x00, 0x4D, 0x00, 0x70, 0x11, 0x01, 0x00}));
    EXPECT_EQ(bytes.mid(10, 70000), data);

    TFileIO io;
    io.Open(name);
    io.read_datainfo();
    EXPECT_EQ(io.ID(), 77);
    EXPECT_EQ(io.Len(), 70000u);
    QByteArray back(70000, '\0');
    io.read_longdata(back.data());
    EXPECT_EQ(back, data);
    io.read_datainfo();
    EXPECT_EQ(io.ID(), 3);
    EXPECT_FALSE(io.Error());

    // A reader that wants only the front of a long record skips the rest.
    io.Open(name);
    char front[16];
    io.read_IDdata(77, 16, front);
    EXPECT_EQ(QByteArray(front, 16), data.left(16));
    EXPECT_EQ(io.HeadPending(), 0);
    io.read_IDdata(3, 0, nullptr);
    EXPECT_FALSE(io.Error());
}

TEST_F(FileIOTest, SixteenBitLengthWraps)
{
    const QString name = Path("wrap.dat");
    const QString text(70000, QLatin1Char('a'));
    {
        TFileIO io;
        io.Make(name);
        io.write_text(9, text);
    }
    QByteArray bytes = ReadAll(name);
    ASSERT_EQ(bytes.size(), 4 + 70000);
    EXPECT_EQ(bytes.left(4), Bytes({0x09, 0x00, 0x70, 0x11}));

    TFileIO io;
    io.Open(name);
    QString back;
    io.read_IDtext(9, back);
    EXPECT_EQ(back.size(), 4464);
    // The reader is now inside the text: the next head is made of the letters.
    io.read_datainfo();
    EXPECT_EQ(io.ID(), 0x6161);
    EXPECT_EQ(io.Len(), 0x6161u);
    io.Close();

    // write_data stores only as many bytes as its length field says.
    {
        TFileIO w;
        w.Make(name);
        const QByteArray data(70000, 'b');
        w.write_data(9, 70000, data.constData());
    }
    EXPECT_EQ(ReadAll(name).size(), 4 + 4464);
}

TEST_F(FileIOTest, ReadIntoAFixedBufferFromShorterAndLongerRecords)
{
    const QString name = Path("fixed.dat");
    {
        TFileIO io;
        io.Make(name);
        const QByteArray small(100, 's');
        const QByteArray big(1000, 'b');
        io.write_data(70, 100, small.constData());
        io.write_data(70, 1000, big.constData());
        io.write_ID(99);
    }
    TFileIO io;
    io.Open(name);
    QByteArray buf(720, '-');
    io.read_IDdata(70, 720, buf.data());
    EXPECT_EQ(io.HeadPending(), -1);
    EXPECT_EQ(buf, QByteArray(100, 's') + QByteArray(620, '-'));
    EXPECT_EQ(io.ID(), 0);

    buf.fill('-');
    io.read_IDdata(70, 720, buf.data());
    EXPECT_EQ(io.HeadPending(), 0);
    EXPECT_EQ(buf, QByteArray(720, 'b'));
    io.read_datainfo();
    EXPECT_EQ(io.ID(), 99);
    EXPECT_FALSE(io.Error());

    // Asking for fewer than no bytes reads none, which is not the count asked for.
    io.read_data(-1, buf.data());
    EXPECT_TRUE(io.Error());
    EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
    EXPECT_EQ(io.HeadPending(), 0);
    EXPECT_EQ(io.ID(), 0);
}

TEST_F(FileIOTest, TextsAndSkipping)
{
    const QString name = Path("texts.dat");
    {
        TFileIO io;
        io.Make(name);
        io.write_text(1, QStringLiteral("abcdef"));
        io.write_text(2, QString());
        io.write_text(3, QStringLiteral("ghi"));
        io.write_text(4, QStringLiteral("jk"));
        io.write_ID(5);
    }
    EXPECT_EQ(ReadAll(name).mid(10, 4), Bytes({0x02, 0x00, 0x00, 0x00}));
    TFileIO io;
    io.Open(name);
    QString text;
    io.read_datainfo();
    io.read_text(3, text);
    EXPECT_EQ(text, QStringLiteral("abc"));
    EXPECT_EQ(io.HeadPending(), 0);
    io.read_IDtext(2, text);
    EXPECT_TRUE(text.isEmpty());
    io.read_datainfo();
    io.read_not();
    EXPECT_EQ(io.HeadPending(), -1);
    io.read_datainfo();
    io.read_text(0, text);
    EXPECT_TRUE(text.isEmpty());
    io.read_IDtext(5, text);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_FALSE(io.Error());
}

TEST_F(FileIOTest, HeadPendingPushesBackAHead)
{
    const QString name = Path("pending.dat");
    {
        TFileIO io;
        io.Make(name);
        io.write_data(8, 2, "zz");
        io.write_ID(9);
    }
    TFileIO io;
    io.Open(name);
    io.read_datainfo();
    ASSERT_EQ(io.ID(), 8);
    // Not ours: hand the head back to the next reader.
    io.SetHeadPending(1);
    char buf[2] = {};
    io.read_IDdata(8, 2, buf);
    EXPECT_FALSE(io.Error());
    EXPECT_EQ(QByteArray(buf, 2), QByteArray("zz"));
    EXPECT_EQ(io.HeadPending(), 0);
    io.read_datainfo();
    EXPECT_EQ(io.ID(), 9);

    // With the error flag set the head read only clears the pending flag.
    io.set_error(-9);
    io.SetHeadPending(1);
    io.read_datainfo();
    EXPECT_EQ(io.HeadPending(), 0);
    EXPECT_EQ(io.ID(), 9);
}

TEST_F(FileIOTest, FirstErrorSticksAndStopsEverything)
{
    const QString name = Path("sticky.dat");
    {
        TFileIO io;
        io.Make(name);
        io.write_data(1, 2, "ab");
        io.write_data(2, 2, "cd");
        io.write_data(3, 2, "ef");
    }
    TFileIO io;
    io.Open(name);
    char buf[2] = {'-', '-'};
    io.read_IDdata(2, 2, buf);
    EXPECT_TRUE(io.Error());
    EXPECT_EQ(io.ErrorCode(), 0);
    EXPECT_EQ(io.ID(), 1);
    io.read_data(2, buf);
    io.read_longdata(buf);
    io.read_datainfo();
    EXPECT_EQ(QByteArray(buf, 2), QByteArray("--"));
    EXPECT_EQ(io.ID(), 1);
    QString text = QStringLiteral("kept");
    io.read_text(2, text);
    EXPECT_EQ(text, QStringLiteral("kept"));
    io.set_error(cFileIOWriteShort);
    EXPECT_EQ(io.ErrorCode(), 0);

    // A short read records -2, and a later error does not replace it.
    io.Open(name);
    for (int i = 0; i < 4; ++i) {
        io.read_datainfo();
        io.read_data(2, buf);
    }
    EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
    io.set_error(cFileIOWriteShort);
    EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);

    // Writes after an error leave the file as it was.
    TFileIO w;
    w.Make(name);
    w.write_ID(1);
    w.set_error(-42);
    w.write_data(2, 2, "xx");
    w.write_longdata(3, 2, "yy");
    w.write_text(4, QStringLiteral("zz"));
    w.write_begin();
    w.Close();
    EXPECT_EQ(ReadAll(name), Bytes({1, 0, 0, 0}));
    EXPECT_EQ(w.ErrorCode(), -42);
}

TEST_F(FileIOTest, AWriteThatFallsShortIsRecorded)
{
    if (!QFile::exists(QStringLiteral("/dev/full")))
        GTEST_SKIP() << "no /dev/full";
    TFileIO io;
    io.Make(QStringLiteral("/dev/full"));
    io.write_data(1, 2, "ab");
    EXPECT_TRUE(io.Error());
    EXPECT_EQ(io.ErrorCode(), cFileIOWriteShort);
    TFileIO header;
    EXPECT_FALSE(header.MakeHeader(QStringLiteral("/dev/full"), QStringLiteral("c"), 1));
    EXPECT_EQ(header.ErrorCode(), cFileIOWriteShort);
}

TEST_F(FileIOTest, TruncatedFilesReadShortAtEveryCut)
{
    const QString full = Path("full.dat");
    {
        TFileIO io;
        io.MakeHeader(full, QStringLiteral("comment"), 3);
        io.write_data(70, 5, "12345");
        io.write_longdata(71, 3, "678");
        io.write_ID(72);
    }
    const QByteArray bytes = ReadAll(full);
    for (qsizetype cut = 0; cut <= bytes.size(); ++cut) {
        const QString name = Path(QStringLiteral("cut%1").arg(cut));
        WriteAll(name, bytes.left(cut));
        TFileIO io;
        QString comment;
        std::int32_t version = 0;
        io.OpenHeader(name, comment, version);
        char buf[5];
        io.read_IDdata(70, 5, buf);
        io.read_datainfo();
        if (io.ID() == 71 && !io.Error()) {
            char three[3];
            io.read_longdata(three);
        }
        io.read_IDdata(72, 0, nullptr);
        if (cut == bytes.size()) {
            EXPECT_FALSE(io.Error());
        } else {
            EXPECT_TRUE(io.Error()) << cut;
            EXPECT_EQ(io.ErrorCode(), cFileIOReadShort) << cut;
        }
    }
}

TEST_F(FileIOTest, HeadsPromisingMoreThanTheFileHoldsReadShort)
{
    // Heads that promise far more than the file holds.
    const QByteArray liars[] = {
        Bytes({0x2A, 0, 6, 0, 7, 0, 0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'}),
        Bytes({0x2A, 0, 6, 0, 7, 0, 0xFF, 0xFF, 0xFF, 0x7F}),
        Bytes({0x07, 0, 0xFF, 0xFF, 'x'}),
        Bytes({0x2A, 0, 6, 0, 7}),
    };
    for (const QByteArray &bytes : liars) {
        WriteAll(Path("liar"), bytes);
        TFileIO io;
        io.Open(Path("liar"));
        QString text;
        io.read_IDtext(7, text);
        EXPECT_LE(text.size(), 3);
        EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
        io.Open(Path("liar"));
        char buf[4];
        io.read_IDdata(7, 4, buf);
        EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
    }
}

TEST_F(FileIOTest, TextFileToStringsLinesAndLimits)
{
    const QString name = Path("lines.txt");
    WriteAll(name, QByteArray("one\r\ntwo\n\nfour\r\nfive"));
    QStringList all;
    TextFileToStrings(name, 0, all);
    EXPECT_EQ(all, QStringList({"one", "two", "", "four", "five"}));

    QStringList some{QStringLiteral("kept")};
    TextFileToStrings(name, 3, some);
    EXPECT_EQ(some, QStringList({"kept", "one", "two"}));

    QStringList full{QStringLiteral("a"), QStringLiteral("b")};
    TextFileToStrings(name, 2, full);
    EXPECT_EQ(full.size(), 2);

    QStringList none;
    TextFileToStrings(name, -1, none);
    TextFileToStrings(WriteAll(Path("empty.txt"), QByteArray()), 0, none);
    EXPECT_TRUE(none.isEmpty());

    WriteAll(name, QByteArray("M\xE4rz\r\n"));
    TextFileToStrings(name, 0, none);
    EXPECT_EQ(none, QStringList({QStringLiteral("M\u00e4rz")}));
    EXPECT_THROW(TextFileToStrings(Path("missing.txt"), 0, none), EInOutError);
}

TEST_F(FileIOTest, GetTextFilesize)
{
    WriteAll(Path("five.txt"), QByteArray("12345"));
    WriteAll(Path("empty.txt"), QByteArray());
    std::int64_t size = -1;
    EXPECT_TRUE(GetTextFilesize(Path("five.txt"), size));
    EXPECT_EQ(size, 5);
    EXPECT_FALSE(GetTextFilesize(Path("empty.txt"), size));
    EXPECT_EQ(size, 0);
    size = -1;
    EXPECT_FALSE(GetTextFilesize(Path("missing.txt"), size));
    EXPECT_EQ(size, 0);
    EXPECT_FALSE(GetTextFilesize(Dir.path(), size));
    EXPECT_TRUE(GetTextFilesize(Path("fi*.t?t"), size));
    EXPECT_EQ(size, 5);
    EXPECT_FALSE(GetTextFilesize(Path("*.none"), size));
    EXPECT_FALSE(GetTextFilesize(QString(), size));
}
