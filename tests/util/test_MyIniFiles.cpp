#include "util/MyIniFiles.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include "TestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wn;
using wntest::ReadAll;

namespace {

using IniFile = wntest::TTempDirTest;

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

TEST_F(IniFile, IrregularLayoutIsReadUntrimmedAndRewrittenOnlyWhenModified)
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
        // The section line is kept whole, text after "]" included, so only a name that
        // rebuilds it exactly finds it.
        EXPECT_FALSE(ini.SectionExists("odd"));
        EXPECT_EQ(ini.ReadString("Odd] ; Trailing", "K", "d"), "odd");
        const std::pair<const char *, const char *> main[] = {{" [NOT A SECTION]", "x"},
                                                              {"SIZE ", " 5"},
                                                              {"size", "d"},
                                                              {"Name", "first=second"},
                                                              {"; a comment without equals", "d"}};
        for (const auto &[key, value] : main)
            EXPECT_EQ(ini.ReadString("Main", key, "d"), value) << key;
        EXPECT_EQ(ini.ReadString("Other", "LAST", "d"), "no line end");
        EXPECT_EQ(ini.GetFirstSectionName(), "RASTER");
        EXPECT_FALSE(ini.Modified());
    }
    EXPECT_EQ(ReadAll(path), kIrregular);
    EXPECT_EQ(QFileInfo(path).lastModified().toUTC().toSecsSinceEpoch(), old.toSecsSinceEpoch());
    // Reading a file that does not exist does not create it.
    TMyIniFile(Path("none.ini")).ReadInteger("A", "B", 3);
    EXPECT_FALSE(QFileInfo::exists(Path("none.ini")));

    {
        TMyIniFile ini(path);
        ini.WriteString("other", "comma", "7");
        ini.WriteString("New Section", "Key With Blank ", " v ");
        ini.WriteInteger("other", "count", -12);
        ini.WriteBool("Flags", "On", true);
        ini.WriteBool("Flags", "Off", false);
        EXPECT_FALSE(ini.ReadBool("FLAGS", "off", true));
    }
    EXPECT_EQ(ReadAll(path), QByteArray("[MAIN]\r\n"
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
                                        "KEY WITH BLANK = v \r\n"
                                        "[FLAGS]\r\n"
                                        "ON=1\r\n"
                                        "OFF=0\r\n"));
}

// Integers in decimal or hexadecimal; doubles with a point or a comma whatever the user's
// separator, and written in the user's.
TEST_F(IniFile, NumbersInEveryAcceptedForm)
{
    const TFormatSettings saved = FormatSettings();
    FormatSettings().DecimalSeparator = QLatin1Char(',');
    FormatSettings().ThousandSeparator = QLatin1Char('.');
    TMyIniFile ini(Write("a.ini", "[N]\nhex=0x1F\nHEX2=0X10\ndollar=$ff\nneg=-7\nbad=12abc\nprefix=0x\n"
                                  "empty=\nbadhex=0xG1\ncomma=3,25\npoint= 2.5 \nexp=1e3\nblank=   \n"
                                  "twocommas=1,2,3\n"));
    const std::pair<const char *, int> integers[] = {{"hex", 31},   {"hex2", 16},   {"dollar", 255},
                                                     {"neg", -7},   {"bad", 42},    {"prefix", 42},
                                                     {"empty", 42}, {"badhex", 42}, {"missing", 42}};
    for (const auto &[key, value] : integers)
        EXPECT_EQ(ini.ReadInteger("n", key, 42), value) << key;
    const std::pair<const char *, double> doubles[] = {{"comma", 3.25}, {"point", 2.5}, {"exp", 1000},
                                                       {"bad", -1},     {"blank", -1},  {"twocommas", -1},
                                                       {"missing", -1}};
    for (const auto &[key, value] : doubles)
        EXPECT_DOUBLE_EQ(ini.ReadDouble("n", key, -1), value) << key;
    ini.WriteDouble("n", "w", 3.14159, 3);
    EXPECT_EQ(ini.ReadString("n", "w", ""), "3,142");
    EXPECT_DOUBLE_EQ(ini.ReadDouble("n", "w", -1), 3.142);
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
        // Another spelling is looked up afresh and misses, without replacing the cache.
        EXPECT_EQ(ini.ReadString("b", "k", "-"), "-");
        EXPECT_EQ(ini.ReadString("B", "k", "-"), "c");

        EXPECT_EQ(ini.ReadString("C", "k", "-"), "c");
        ini.EraseSection("A");
        // Index 1 is now past the end.
        EXPECT_EQ(ini.ReadString("C", "k", "-"), "-");
        EXPECT_EQ(ini.ReadString("c", "k", "-"), "c");
    }
    EXPECT_EQ(ReadAll(path), QByteArray("[C]\r\nK=c\r\n"));

    // Erasing a section that is not there still counts as a change.
    const QString other = Write("b.ini", "[a]\nx=1\n");
    TMyIniFile(other).EraseSection("nothing");
    EXPECT_EQ(ReadAll(other), QByteArray("[A]\r\nX=1\r\n"));
}

TEST_F(IniFile, RewriteKeepsTheEncodingItWasReadIn)
{
    const QString cp = Write("cp.ini", "[Gr\xF6\xDF"
                                       "e]\nMa\xDF=\xE4\n");
    {
        TMyIniFile ini(cp);
        // Letters beyond ASCII keep their case on disk but are found in any case.
        EXPECT_EQ(ini.ReadString("GRÖße", "MAß", ""), "ä");
        ini.WriteString("x", "euro", "€");
    }
    EXPECT_EQ(ReadAll(cp), QByteArray("[GR\xF6\xDF"
                                      "E]\r\nMA\xDF=\xE4\r\n[X]\r\nEURO=\x80\r\n"));

    const QString utf = Write("utf.ini", "\xEF\xBB\xBF[a]\nk=\xC3\xA4\n");
    TMyIniFile(utf).WriteString("a", "k2", "€");
    EXPECT_EQ(ReadAll(utf), QByteArray("\xEF\xBB\xBF[A]\r\nK=\xC3\xA4\r\nK2=\xE2\x82\xAC\r\n"));

    TMyIniFile(Path("fresh.ini")).WriteString("a", "k", "ä");
    EXPECT_EQ(ReadAll(Path("fresh.ini")), QByteArray("[A]\r\nK=\xC3\xA4\r\n"));
}

// The read cache starts on the first section under an empty name; the first section name is the
// part before the dot of the first section that has one.
TEST_F(IniFile, FirstSectionCacheAndName)
{
    TMyIniFile ini(Write("a.ini", "[First]\nk=1\n[Second]\nk=2\n[grid.2.b]\n[raster.1]\n"));
    EXPECT_FALSE(ini.SectionExists(""));
    EXPECT_EQ(ini.ReadString("", "k", "-"), "1");
    EXPECT_EQ(ini.ReadInteger("Second", "k", 0), 2);
    // Once another section was read, the empty name is looked up and found nowhere.
    EXPECT_EQ(ini.ReadString("", "k", "-"), "-");
    EXPECT_EQ(ini.GetFirstSectionName(), "GRID");
    EXPECT_EQ(TMyIniFile(Write("b.ini", "[plain]\nx=1\n")).GetFirstSectionName(), "-1");
    TMyIniFile c(Path("none.ini"));
    EXPECT_EQ(c.ReadString("", "k", "-"), "-");
    EXPECT_EQ(c.GetFirstSectionName(), "-1");
    c.WriteString(".lead", "k", "v");
    EXPECT_EQ(c.GetFirstSectionName(), "");
}

TEST_F(IniFile, UpdateFileWritesOnceAndFailsLoudly)
{
    const QString path = Path("u.ini");
    {
        TMyIniFile ini(path);
        ini.WriteInteger("s", "n", 1);
        ini.UpdateFile();
        EXPECT_FALSE(ini.Modified());
        EXPECT_EQ(ReadAll(path), QByteArray("[S]\r\nN=1\r\n"));
        // A change made by someone else after our write survives our destruction.
        Write("u.ini", "[S]\r\nN=2\r\n");
    }
    EXPECT_EQ(ReadAll(path), QByteArray("[S]\r\nN=2\r\n"));

    TMyIniFile failing(Path("no/such/dir/a.ini"));
    failing.WriteString("a", "b", "c");
    EXPECT_THROW(failing.UpdateFile(), EInOutError);
    EXPECT_TRUE(failing.Modified());
    EXPECT_FALSE(QFileInfo::exists(Path("no")));
}

TEST(IniBackUp, BackUpNames)
{
    const std::pair<const char *, const char *> cases[] = {{"C:\\data\\plot.ini", "C:\\data\\plot.~ini"},
                                                           {"/data/plot.tar.gz", "/data/plot.tar.~gz"},
                                                           {"/da.ta/plot", "/da.ta/plot.~"},
                                                           {"C:\\da.ta\\plot", "C:\\da.ta\\plot.~"},
                                                           {"plot.", "plot.~"},
                                                           {"", ".~"}};
    for (const auto &[name, backUp] : cases)
        EXPECT_EQ(Make_BackUp_FileName(name), backUp) << name;
}

TEST_F(IniFile, ExistingFileMovesToItsBackUp)
{
    EXPECT_FALSE(Existing_File_To_BackUp_File(Path("missing.ini")));
    // A folder is no file: it is neither read as settings nor moved away.
    ASSERT_TRUE(QDir(dir.path()).mkdir("folder.ini"));
    EXPECT_FALSE(Existing_File_To_BackUp_File(Path("folder.ini")));
    EXPECT_FALSE(QFileInfo::exists(Path("folder.~ini")));
    EXPECT_EQ(TMyIniFile(Path("folder.ini")).ReadString("a", "b", "d"), "d");
    const QString path = Write("plot.ini", "new");
    Write("plot.~ini", "older backup");
    EXPECT_TRUE(Existing_File_To_BackUp_File(path));
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_EQ(ReadAll(Path("plot.~ini")), QByteArray("new"));
}
