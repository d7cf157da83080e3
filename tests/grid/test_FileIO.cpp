#include "grid/FileIO.h"

#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>

using namespace wn;
using namespace wntest;

namespace {

class FileIOTest : public TTempDirTest
{
protected:
    // A file of records written through TFileIO.
    QString Records(const QString &name, const std::function<void(TFileIO &)> &write)
    {
        TFileIO io;
        io.Make(Path(name));
        write(io);
        io.Close();
        EXPECT_FALSE(io.Error());
        return Path(name);
    }
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
    EXPECT_EQ(QByteArray(buf, 2), QByteArray("pq"));

    // The extension of the name is padded or cut to four characters.
    QDir(dir.path()).mkdir("dir.d");
    const std::pair<const char *, QByteArray> extensions[] = {{"a.ab", ".ab "},       {"noext", "    "},
                                                              {"photo.jpeg", ".jpe"}, {"x.tar.gz", ".gz "},
                                                              {"a.", ".   "},         {"dir.d/file", "    "}};
    for (const auto &[file, ext] : extensions) {
        ASSERT_TRUE(io.MakeHeader(Path(file), QString(), -5));
        io.Close();
        EXPECT_EQ(ReadAll(Path(file)),
                  Bytes({0x21, 0, 0x0A, 0}) + "KV" + ext + Bytes({0xFB, 0xFF, 0xFF, 0xFF, 0x22, 0, 0, 0}))
            << file;
    }
}

TEST_F(FileIOTest, OpeningFailuresAndHeadersThatDoNotFit)
{
    TFileIO io;
    QString comment;
    std::int32_t version = 0;
    EXPECT_THROW(io.Open(Path("missing")), EInOutError);
    EXPECT_THROW(io.Make(Path("no/such/dir/file")), EInOutError);
    EXPECT_THROW(io.Open(dir.path()), EInOutError);
    EXPECT_THROW(io.OpenHeader(Path("missing"), comment, version), EInOutError);
    for (const QByteArray &bytes : {QByteArray(), Bytes({0x21}), Bytes({0x21, 0x00, 0x0A})}) {
        EXPECT_FALSE(io.OpenHeader(WriteAll(Path("short"), bytes), comment, version)) << bytes.size();
        EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
        EXPECT_EQ(version, -1);
    }
    // A header followed by something other than a comment: the flag is set, the code is not.
    WriteAll(Path("nocomment"),
             Bytes({0x21, 0, 10, 0, 'K', 'V', ' ', ' ', ' ', ' ', 1, 0, 0, 0, 0x23, 0, 0, 0}));
    EXPECT_FALSE(io.OpenHeader(Path("nocomment"), comment, version));
    EXPECT_EQ(io.ErrorCode(), 0);
    EXPECT_EQ(version, 1);
    // Opening again clears the error. A header record of 4 bytes fills only the front of the
    // header; the version reads as 0.
    WriteAll(Path("tinyheader"), Bytes({0x21, 0, 4, 0, 'K', 'V', '.', 'x', 0x22, 0, 1, 0, 'c'}));
    EXPECT_TRUE(io.OpenHeader(Path("tinyheader"), comment, version));
    EXPECT_EQ(version, 0);
    EXPECT_EQ(comment, QStringLiteral("c"));
}

TEST_F(FileIOTest, LongRecordsAndSixteenBitLengthsThatWrap)
{
    QByteArray data(70000, '\0');
    for (int i = 0; i < data.size(); ++i)
        data[i] = char(i * 7 + 3);
    const QString name = Records("long.dat", [&](TFileIO &io) {
        io.write_longdata(77, std::uint32_t(data.size()), data.constData());
        io.write_ID(3);
    });
    const QByteArray bytes = ReadAll(name);
    ASSERT_EQ(bytes.size(), 10 + 70000 + 4);
    EXPECT_EQ(bytes.left(10), Bytes({0x2A, 0x00, 0x06, 0x00, 0x4D, 0x00, 0x70, 0x11, 0x01, 0x00}));
    EXPECT_EQ(bytes.mid(10, 70000), data);

    TFileIO io;
    io.Open(name);
    io.read_datainfo();
    EXPECT_EQ(QList<std::uint32_t>({io.ID(), io.Len()}), QList<std::uint32_t>({77, 70000}));
    QByteArray back(70000, '\0');
    io.read_longdata(back.data());
    EXPECT_EQ(back, data);
    // A reader that wants only the front of a long record skips the rest.
    io.Open(name);
    char front[16];
    io.read_IDdata(77, 16, front);
    EXPECT_EQ(QByteArray(front, 16), data.left(16));
    io.read_IDdata(3, 0, nullptr);
    EXPECT_FALSE(io.Error());

    // 70,000 characters keep only 4,464 in the length field but are all written, so the reader
    // loses step; write_data writes only as many bytes as its length field says.
    Records("wrap.dat", [](TFileIO &w) { w.write_text(9, QString(70000, QLatin1Char('a'))); });
    EXPECT_EQ(ReadAll(Path("wrap.dat")).left(4), Bytes({0x09, 0x00, 0x70, 0x11}));
    io.Open(Path("wrap.dat"));
    QString text;
    io.read_IDtext(9, text);
    EXPECT_EQ(text.size(), 4464);
    io.read_datainfo();
    EXPECT_EQ(QList<std::uint32_t>({io.ID(), io.Len()}), QList<std::uint32_t>({0x6161, 0x6161}));
    Records("wrap.dat", [&](TFileIO &w) { w.write_data(9, 70000, data.constData()); });
    EXPECT_EQ(ReadAll(Path("wrap.dat")).size(), 4 + 4464);
}

TEST_F(FileIOTest, FixedBuffersTextsSkippingAndPushedBackHeads)
{
    const QString name = Records("texts.dat", [](TFileIO &io) {
        io.write_data(70, 100, QByteArray(100, 's').constData());
        io.write_data(70, 1000, QByteArray(1000, 'b').constData());
        io.write_text(1, QStringLiteral("abcdef"));
        io.write_text(2, QString());
        io.write_text(3, QStringLiteral("ghi"));
        io.write_text(4, QStringLiteral("jk"));
        io.write_ID(5);
    });
    TFileIO io;
    io.Open(name);
    // A record shorter than the buffer fills its front; a longer one is cut and skipped.
    QByteArray buf(720, '-');
    io.read_IDdata(70, 720, buf.data());
    EXPECT_EQ(buf, QByteArray(100, 's') + QByteArray(620, '-'));
    EXPECT_EQ(QList<int>({io.HeadPending(), io.ID()}), QList<int>({-1, 0}));
    io.read_IDdata(70, 720, buf.data());
    EXPECT_EQ(buf, QByteArray(720, 'b'));
    EXPECT_EQ(io.HeadPending(), 0);

    QString text;
    io.read_datainfo();
    io.read_text(3, text);
    EXPECT_EQ(text, QStringLiteral("abc"));
    io.read_IDtext(2, text);
    EXPECT_TRUE(text.isEmpty());
    io.read_datainfo();
    io.read_not();
    EXPECT_EQ(io.HeadPending(), -1);
    // No characters asked for: the record stays for the next read, which pads past its end.
    io.read_datainfo();
    text = QStringLiteral("old");
    io.read_text(0, text);
    EXPECT_TRUE(text.isEmpty());
    io.read_text(4, text);
    EXPECT_EQ(text, QStringLiteral("jk") + QChar(0) + QChar(0));
    EXPECT_EQ(io.HeadPending(), -1);
    // A head that is not ours is handed back to the next reader.
    io.read_datainfo();
    ASSERT_EQ(io.ID(), 5);
    io.SetHeadPending(1);
    io.read_IDdata(5, 0, nullptr);
    EXPECT_FALSE(io.Error());
    EXPECT_EQ(io.HeadPending(), 0);

    // Asking for fewer than no bytes reads none, which is not the count asked for. With the
    // error flag set a head read only clears the pending flag.
    io.read_data(-1, buf.data());
    EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);
    io.SetHeadPending(1);
    io.read_datainfo();
    EXPECT_EQ(QList<int>({io.HeadPending(), io.ID()}), QList<int>({0, 0}));
}

TEST_F(FileIOTest, FirstErrorSticksAndStopsEverything)
{
    const QString name = Records("sticky.dat", [](TFileIO &io) {
        io.write_data(1, 2, "ab");
        io.write_data(2, 2, "cd");
        io.write_data(3, 2, "ef");
    });
    TFileIO io;
    io.Open(name);
    char buf[2] = {'-', '-'};
    io.read_IDdata(2, 2, buf);
    EXPECT_TRUE(io.Error());
    EXPECT_EQ(QList<int>({io.ErrorCode(), io.ID()}), QList<int>({0, 1}));
    io.read_data(2, buf);
    io.read_longdata(buf);
    io.read_datainfo();
    QString text = QStringLiteral("kept");
    io.read_text(2, text);
    EXPECT_EQ(QByteArray(buf, 2), QByteArray("--"));
    EXPECT_EQ(io.ID(), 1);
    EXPECT_EQ(text, QStringLiteral("kept"));
    io.set_error(cFileIOWriteShort);
    EXPECT_EQ(io.ErrorCode(), 0);

    // A short read records -2, and a later error does not replace it.
    io.Open(name);
    for (int i = 0; i < 4; ++i) {
        io.read_datainfo();
        io.read_data(2, buf);
    }
    io.set_error(cFileIOWriteShort);
    EXPECT_EQ(io.ErrorCode(), cFileIOReadShort);

    // A file made after an error does not replace the old one.
    const QByteArray before = ReadAll(name);
    TFileIO w;
    w.Make(name);
    w.write_ID(1);
    w.set_error(-42);
    w.write_text(4, QStringLiteral("zz"));
    w.Close();
    EXPECT_EQ(ReadAll(name), before);
    EXPECT_EQ(w.ErrorCode(), -42);
}

TEST_F(FileIOTest, AWriteThatFallsShortIsRecordedAndLeavesTheOldFile)
{
    const QString name = WriteAll(Path("old.dat"), "old");
    for (int headerToo = 0; headerToo < 2; ++headerToo) {
        TFileIO io;
        {
            const TFileSizeLimit limit(10);
            if (headerToo)
                EXPECT_FALSE(io.MakeHeader(name, QStringLiteral("a comment"), 1));
            else
                io.Make(name);
            io.write_data(1, 20, "abcdefghijabcdefghij");
            io.Close();
        }
        EXPECT_EQ(io.ErrorCode(), cFileIOWriteShort);
        EXPECT_EQ(ReadAll(name), QByteArray("old"));
    }
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{"old.dat"});
}

TEST_F(FileIOTest, CutFilesAndHeadsPromisingMoreReadShort)
{
    const QString full = Path("full.dat");
    {
        TFileIO io;
        io.MakeHeader(full, QStringLiteral("comment"), 3);
        io.write_data(7, 5, "12345");
        io.write_longdata(71, 3, "678");
        io.write_ID(72);
    }
    const QByteArray bytes = ReadAll(full);
    // Heads that promise far more than the file holds, and every cut of a good file.
    QList<QByteArray> files = {Bytes({0x2A, 0, 6, 0, 7, 0, 0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'}),
                               Bytes({0x2A, 0, 6, 0, 7, 0, 0xFF, 0xFF, 0xFF, 0x7F}),
                               Bytes({0x07, 0, 0xFF, 0xFF, 'x'}), Bytes({0x2A, 0, 6, 0, 7})};
    for (qsizetype cut = 0; cut <= bytes.size(); ++cut)
        files.append(bytes.left(cut));
    for (const QByteArray &file : files) {
        TFileIO io;
        QString comment;
        std::int32_t version = 0;
        io.OpenHeader(WriteAll(Path("cut"), file), comment, version);
        char buf[5];
        io.read_IDdata(7, 5, buf);
        io.read_datainfo();
        if (io.ID() == 71 && !io.Error()) {
            char three[3];
            io.read_longdata(three);
        }
        io.read_IDdata(72, 0, nullptr);
        EXPECT_EQ(io.ErrorCode(), file == bytes ? 0 : cFileIOReadShort) << file.toHex().constData();
        EXPECT_EQ(io.Error(), file != bytes) << file.toHex().constData();
    }
}

TEST_F(FileIOTest, TextFileLinesAndSizes)
{
    const QString name = WriteAll(Path("lines.txt"), QByteArray("one\r\ntwo\n\nfour\r\nfive"));
    const struct {
        QStringList Before;
        int MaxLines;
        QStringList After;
    } cases[] = {{{}, 0, {"one", "two", "", "four", "five"}},
                 {{"kept"}, 3, {"kept", "one", "two"}},
                 {{"a", "b"}, 2, {"a", "b"}},
                 {{}, -1, {}}};
    for (const auto &c : cases) {
        QStringList lines = c.Before;
        TextFileToStrings(name, c.MaxLines, lines);
        EXPECT_EQ(lines, c.After) << c.MaxLines;
    }
    QStringList lines;
    TextFileToStrings(WriteAll(Path("empty.txt"), QByteArray()), 0, lines);
    TextFileToStrings(WriteAll(Path("1252.txt"), QByteArray("M\xE4rz\r\n")), 0, lines);
    EXPECT_EQ(lines, QStringList({QStringLiteral("M\u00e4rz")}));
    EXPECT_THROW(TextFileToStrings(Path("missing.txt"), 0, lines), EInOutError);

    WriteAll(Path("five.txt"), QByteArray("12345"));
    const std::pair<QString, std::int64_t> sizes[] = {
        {Path("five.txt"), 5}, {Path("fi*.t?t"), 5}, {Path("empty.txt"), 0}, {Path("missing.txt"), 0},
        {dir.path(), 0},       {Path("*.none"), 0},  {QString(), 0}};
    for (const auto &[file, size] : sizes) {
        std::int64_t got = -1;
        EXPECT_EQ(GetTextFilesize(file, got), size > 0) << qPrintable(file);
        EXPECT_EQ(got, size) << qPrintable(file);
    }
}
