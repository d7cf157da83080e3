#include "util/MyIniFiles.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include "TestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <memory>

using namespace wn;

namespace {

class IniFile : public ::testing::Test
{
protected:
    QString Path(const QString &name) const { return dir.filePath(name); }

    QString Write(const QString &name, const QByteArray &bytes) const
    {
        return wntest::WriteAll(Path(name), bytes);
    }

    QTemporaryDir dir;
};

const QByteArray kIrregular = "junk before any section=1\r\n"
                              "[Main]\r\n"
                              "\r\n"
                              "; a comment without equals\r\n"
                              "Size = 5\r\n"
                              "name=first=second\r\n"
                              " [not a section]=x\r\n"
                              "[Odd] ; trailing]\r\n"
                              "k=odd\r\n"
                              "[raster.1]\n"
                              "Width=0x1F\n"
                              "\n"
                              "[Other]\r"
                              "Comma=3,25\r"
                              "last=no line end";

} // namespace

TEST_F(IniFile, IrregularLayoutIsReadWithoutTrimming)
{
    TMyIniFile ini(Write("a.ini", kIrregular));
    EXPECT_TRUE(ini.SectionExists("main"));
    EXPECT_TRUE(ini.SectionExists("RASTER.1"));
    EXPECT_TRUE(ini.SectionExists("other"));
    // The section line is kept whole, text after "]" included, so only a name that rebuilds
    // it exactly finds it.
    EXPECT_FALSE(ini.SectionExists("odd"));
    EXPECT_TRUE(ini.SectionExists("odd] ; trailing"));
    EXPECT_EQ(ini.ReadString("Odd] ; Trailing", "K", "d"), "odd");

    const QString main = "Main";
    EXPECT_EQ(ini.ReadString(main, " [NOT A SECTION]", "d"), "x");
    EXPECT_EQ(ini.ReadString(main, "SIZE ", "d"), " 5");
    EXPECT_EQ(ini.ReadString(main, "size", "d"), "d");
    EXPECT_EQ(ini.ReadString(main, "Name", "d"), "first=second");
    EXPECT_EQ(ini.ReadString(main, "; a comment without equals", "d"), "d");
    EXPECT_EQ(ini.ReadString("Other", "LAST", "d"), "no line end");
    EXPECT_EQ(ini.ReadString("Other", "comma", "d"), "3,25");
    EXPECT_EQ(ini.ReadString("raster.1", "width", "d"), "0x1F");
    EXPECT_EQ(ini.ReadString("nowhere", "width", "d"), "d");
    EXPECT_EQ(ini.GetFirstSectionName(), "RASTER");
    EXPECT_FALSE(ini.Modified());
}

TEST_F(IniFile, OnlyReadFileKeepsBytesAndTimestamp)
{
    const QString path = Write("a.ini", kIrregular);
    const QDateTime old = QDateTime::currentDateTimeUtc().addDays(-3);
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::ReadWrite));
        ASSERT_TRUE(f.setFileTime(old, QFileDevice::FileModificationTime));
    }
    {
        TMyIniFile ini(path);
        ini.ReadString("Other", "Comma", "");
        ini.ReadDouble("Other", "Comma", 0);
        ini.SectionExists("x");
    }
    EXPECT_EQ(wntest::ReadAll(path), kIrregular);
    EXPECT_EQ(QFileInfo(path).lastModified().toUTC().toSecsSinceEpoch(), old.toSecsSinceEpoch());

    // Reading a file that does not exist does not create it.
    {
        TMyIniFile missing(Path("none.ini"));
        missing.ReadInteger("A", "B", 3);
    }
    EXPECT_FALSE(QFileInfo::exists(Path("none.ini")));
}

TEST_F(IniFile, ModifiedFileIsRewrittenUpperCasedWithCrLf)
{
    const QString path = Write("a.ini", kIrregular);
    {
        TMyIniFile ini(path);
        ini.WriteString("other", "comma", "7");
        ini.WriteString("New Section", "Key With Blank ", " v ");
        ini.WriteInteger("other", "count", -12);
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[MAIN]\r\n"
                                                "SIZE = 5\r\n"
                                                "NAME=first=second\r\n"
                                                " [NOT A SECTION]=x\r\n"
                                                "[ODD] ; TRAILING]\r\n"
                                                "K=odd\r\n"
                                                "[RASTER.1]\r\n"
                                                "WIDTH=0x1F\r\n"
                                                "[OTHER]\r\n"
                                                "COMMA=7\r\n"
                                                "LAST=no line end\r\n"
                                                "COUNT=-12\r\n"
                                                "[NEW SECTION]\r\n"
                                                "KEY WITH BLANK = v \r\n"));
}

TEST_F(IniFile, NewFileIsCreatedOnlyWhenWritten)
{
    const QString path = Path("new.ini");
    {
        TMyIniFile ini(path);
        ini.WriteBool("Flags", "On", true);
        ini.WriteBool("Flags", "Off", false);
        ini.WriteString("flags", "ON", "2");
        EXPECT_TRUE(ini.ReadBool("FLAGS", "on", false));
        EXPECT_FALSE(ini.ReadBool("FLAGS", "off", true));
        EXPECT_TRUE(ini.ReadBool("FLAGS", "missing", true));
        EXPECT_FALSE(ini.ReadBool("FLAGS", "missing", false));
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[FLAGS]\r\nON=2\r\nOFF=0\r\n"));
    {
        TMyIniFile ini(path);
        ini.WriteBool("Flags", "Off", true);
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[FLAGS]\r\nON=2\r\nOFF=1\r\n"));
}

TEST_F(IniFile, IntegersInDecimalAndHexadecimal)
{
    TMyIniFile ini(Write("a.ini", "[N]\nhex=0x1F\nHEX2=0X10\ndollar=$ff\nneg=-7\nbad=12abc\n"
                                  "prefix=0x\nempty=\nbadhex=0xG1\n"));
    EXPECT_EQ(ini.ReadInteger("n", "hex", 0), 31);
    EXPECT_EQ(ini.ReadInteger("n", "hex2", 0), 16);
    EXPECT_EQ(ini.ReadInteger("n", "dollar", 0), 255);
    EXPECT_EQ(ini.ReadInteger("n", "neg", 0), -7);
    EXPECT_EQ(ini.ReadInteger("n", "bad", 42), 42);
    EXPECT_EQ(ini.ReadInteger("n", "prefix", 42), 42);
    EXPECT_EQ(ini.ReadInteger("n", "empty", 42), 42);
    EXPECT_EQ(ini.ReadInteger("n", "badhex", 42), 42);
    EXPECT_EQ(ini.ReadInteger("n", "missing", 42), 42);
}

TEST_F(IniFile, DoublesWithPointOrCommaWhateverTheLocale)
{
    const TFormatSettings saved = FormatSettings();
    FormatSettings().DecimalSeparator = QLatin1Char(',');
    FormatSettings().ThousandSeparator = QLatin1Char('.');
    TMyIniFile ini(Write("a.ini", "[D]\ncomma=3,25\npoint= 2.5 \nexp=1e3\nx=x\nblank=   \n"
                                  "twocommas=1,2,3\n"));
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "comma", -1), 3.25);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "point", -1), 2.5);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "exp", -1), 1000);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "x", -1), -1);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "blank", -1), -1);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "twocommas", -1), -1);
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "missing", -1), -1);

    // Written in the user's separator, read back through the comma rule.
    ini.WriteDouble("d", "w", 3.14159, 3);
    EXPECT_EQ(ini.ReadString("d", "w", ""), "3,142");
    EXPECT_DOUBLE_EQ(ini.ReadDouble("d", "w", -1), 3.142);
    FormatSettings() = saved;
}

TEST_F(IniFile, EraseLeavesTheReadCacheStale)
{
    const QString path = Write("a.ini", "[A]\nk=a\n[B]\nk=b\n[C]\nk=c\n");
    {
        TMyIniFile ini(path);
        EXPECT_EQ(ini.ReadString("B", "k", "-"), "b");
        ini.EraseSection("B");
        EXPECT_FALSE(ini.SectionExists("b"));
        // The cached index 1 now names C.
        EXPECT_EQ(ini.ReadString("B", "k", "-"), "c");
        // Another spelling is looked up afresh and misses.
        EXPECT_EQ(ini.ReadString("b", "k", "-"), "-");
        // The miss did not replace the cache.
        EXPECT_EQ(ini.ReadString("B", "k", "-"), "c");

        EXPECT_EQ(ini.ReadString("C", "k", "-"), "c");
        ini.EraseSection("A");
        // Index 1 is now past the end.
        EXPECT_EQ(ini.ReadString("C", "k", "-"), "-");
        EXPECT_EQ(ini.ReadString("c", "k", "-"), "c");
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[C]\r\nK=c\r\n"));
}

TEST_F(IniFile, TheCacheStartsOnTheFirstSectionUnderAnEmptyName)
{
    TMyIniFile ini(Write("a.ini", "[First]\nk=1\n[Second]\nk=2\n"));
    EXPECT_FALSE(ini.SectionExists(""));
    EXPECT_EQ(ini.ReadString("", "k", "-"), "1");
    EXPECT_EQ(ini.ReadInteger("Second", "k", 0), 2);
    // Once another section was read, the empty name is looked up and found nowhere.
    EXPECT_EQ(ini.ReadString("", "k", "-"), "-");

    TMyIniFile empty(Path("none.ini"));
    EXPECT_EQ(empty.ReadString("", "k", "-"), "-");
}

TEST_F(IniFile, EraseOfAMissingSectionStillRewrites)
{
    const QString path = Write("a.ini", "[a]\nx=1\n");
    {
        TMyIniFile ini(path);
        ini.EraseSection("nothing");
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[A]\r\nX=1\r\n"));
}

TEST_F(IniFile, RewriteKeepsTheEncodingItWasReadIn)
{
    const QString cp = Write("cp.ini", "[Gr\xF6\xDF"
                                       "e]\nMa\xDF=\xE4\n");
    {
        TMyIniFile ini(cp);
        EXPECT_EQ(ini.ReadString(QString::fromUtf8("Gr\xC3\xB6\xC3\x9F"
                                                   "e"),
                                 QString::fromUtf8("ma\xC3\x9F"), ""),
                  QString::fromUtf8("\xC3\xA4"));
        // Letters beyond ASCII keep their case on disk but are found in any case.
        EXPECT_EQ(ini.ReadString(QString::fromUtf8("GR\xC3\x96\xC3\x9F"
                                                   "E"),
                                 QString::fromUtf8("MA\xC3\x9F"), ""),
                  QString::fromUtf8("\xC3\xA4"));
        ini.WriteString("x", "euro", QString::fromUtf8("\xE2\x82\xAC"));
    }
    EXPECT_EQ(wntest::ReadAll(cp), QByteArray("[GR\xF6\xDF"
                                              "E]\r\nMA\xDF=\xE4\r\n[X]\r\nEURO=\x80\r\n"));

    const QString utf = Write("utf.ini", "\xEF\xBB\xBF[a]\nk=\xC3\xA4\n");
    {
        TMyIniFile ini(utf);
        ini.WriteString("a", "k2", QString::fromUtf8("\xE2\x82\xAC"));
    }
    EXPECT_EQ(wntest::ReadAll(utf), QByteArray("\xEF\xBB\xBF[A]\r\nK=\xC3\xA4\r\nK2=\xE2\x82\xAC\r\n"));

    {
        TMyIniFile ini(Path("fresh.ini"));
        ini.WriteString("a", "k", QString::fromUtf8("\xC3\xA4"));
    }
    EXPECT_EQ(wntest::ReadAll(Path("fresh.ini")), QByteArray("[A]\r\nK=\xC3\xA4\r\n"));
}

TEST_F(IniFile, FirstSectionNameNeedsADot)
{
    TMyIniFile a(Write("a.ini", "[plain]\n[grid.2.b]\n[raster.1]\n"));
    EXPECT_EQ(a.GetFirstSectionName(), "GRID");
    TMyIniFile b(Write("b.ini", "[plain]\nx=1\n"));
    EXPECT_EQ(b.GetFirstSectionName(), "-1");
    TMyIniFile c(Path("none.ini"));
    EXPECT_EQ(c.GetFirstSectionName(), "-1");
    c.WriteString(".lead", "k", "v");
    EXPECT_EQ(c.GetFirstSectionName(), "");
}

TEST_F(IniFile, FailedWriteThrowsAndLeavesNoFile)
{
    auto ini = std::make_unique<TMyIniFile>(Path("no/such/dir/a.ini"));
    ini->WriteString("a", "b", "c");
    EXPECT_THROW(ini->UpdateFile(), EInOutError);
    EXPECT_TRUE(ini->Modified());
    EXPECT_FALSE(QFileInfo::exists(Path("no")));
}

TEST_F(IniFile, UpdateFileWritesOnceAndClearsModified)
{
    const QString path = Path("u.ini");
    {
        TMyIniFile ini(path);
        ini.WriteInteger("s", "n", 1);
        ini.UpdateFile();
        EXPECT_FALSE(ini.Modified());
        EXPECT_EQ(wntest::ReadAll(path), QByteArray("[S]\r\nN=1\r\n"));
        // A change made by someone else after our write survives our destruction.
        Write("u.ini", "[S]\r\nN=2\r\n");
    }
    EXPECT_EQ(wntest::ReadAll(path), QByteArray("[S]\r\nN=2\r\n"));
}

TEST(IniBackUp, BackUpNames)
{
    EXPECT_EQ(Make_BackUp_FileName("C:\\data\\plot.ini"), "C:\\data\\plot.~ini");
    EXPECT_EQ(Make_BackUp_FileName("/data/plot.ini"), "/data/plot.~ini");
    EXPECT_EQ(Make_BackUp_FileName("/data/plot.tar.gz"), "/data/plot.tar.~gz");
    EXPECT_EQ(Make_BackUp_FileName("/data/plot"), "/data/plot.~");
    EXPECT_EQ(Make_BackUp_FileName("/da.ta/plot"), "/da.ta/plot.~");
    EXPECT_EQ(Make_BackUp_FileName("C:\\da.ta\\plot"), "C:\\da.ta\\plot.~");
    EXPECT_EQ(Make_BackUp_FileName("plot."), "plot.~");
    EXPECT_EQ(Make_BackUp_FileName(""), ".~");
}

TEST_F(IniFile, ExistingFileMovesToItsBackUp)
{
    EXPECT_FALSE(Existing_File_To_BackUp_File(Path("missing.ini")));
    // A folder is no file: it is neither read as settings nor moved away.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.ini"));
    EXPECT_FALSE(Existing_File_To_BackUp_File(Path("folder.ini")));
    EXPECT_TRUE(QFileInfo(Path("folder.ini")).isDir());
    EXPECT_FALSE(QFileInfo::exists(Path("folder.~ini")));
    EXPECT_EQ(TMyIniFile(Path("folder.ini")).ReadString("a", "b", "d"), "d");
    const QString path = Write("plot.ini", "new");
    Write("plot.~ini", "older backup");
    EXPECT_TRUE(Existing_File_To_BackUp_File(path));
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_EQ(wntest::ReadAll(Path("plot.~ini")), QByteArray("new"));
}
