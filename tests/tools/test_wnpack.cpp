// The wnpack program as a user runs it: help and exit codes, no display, file names that are not
// UTF-8, a full disk, and the palette and sortkey commands.
#include "TestSupport.h"

#include <QDir>
#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace wntest;

namespace {

class Wnpack : public TTempDirTest
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
    }

    TToolRun Run(const QStringList &args, TRunOptions options = {}) const
    {
        options.WorkDir = dir.path();
        return RunWnpack(args, options);
    }
};

// The default palette: record 70 of 720 bytes behind the header and an empty comment.
QByteArray DefaultPaletteHead(const char *ext)
{
    return Bytes({0x21, 0, 0x0A, 0, 'K', 'V'}) + ext +
           Bytes({0x55, 0xBB, 0x30, 0x01, 0x22, 0, 0, 0, 0x46, 0, 0xD0, 2});
}

TEST_F(Wnpack, HelpVersionAndExitStatus)
{
    const TToolRun version = Run({"--version"});
    EXPECT_EQ(version.Status, 0);
    EXPECT_TRUE(version.Out.startsWith("wnpack 0.")) << qPrintable(version.Out);

    const TToolRun help = Run({"help"});
    ASSERT_EQ(help.Status, 0);
    QStringList names;
    for (const QString &line : help.Out.split('\n'))
        if (line.startsWith("  ") && line.size() > 19)
            names << line.mid(2, 16).trimmed();
    EXPECT_EQ(names.size(), 19) << qPrintable(help.Out);
    for (const QString &name : names) {
        const QStringList words = name.split(' ');
        for (const QStringList &args :
             {QStringList{"help"} + words, words + QStringList{"--help"}, words + QStringList{"-h"}}) {
            const TToolRun r = Run(args);
            EXPECT_EQ(r.Status, 0) << qPrintable(args.join(' '));
            EXPECT_TRUE(r.Out.startsWith("usage: wnpack " + name) && r.Out.contains("\n\noptions:\n") &&
                        r.Out.contains("\n\nexample:\n  "))
                << qPrintable(r.Out);
        }
    }
    EXPECT_TRUE(Run({"grid", "--help"}).Out.contains("  grid query       the labelled values at a point\n"));

    // Usage errors: one line, status 2; the program list goes to stderr when nothing was asked.
    const std::pair<QStringList, const char *> usage[] = {
        {{}, "usage: wnpack"},
        {{"frob"}, "wnpack: unknown command \"frob\" (see 'wnpack help')\n"},
        {{"grid"},
         "wnpack grid: which one? ask, copy, create, export, info, query, sample, serve (see 'wnpack help "
         "grid')\n"},
        {{"palette", "show"}, "wnpack palette show: too few arguments (see 'wnpack palette show --help')\n"},
        {{"sortkey", "A0", "--next", "--sorted"}, "--next and --sorted cannot be combined"},
    };
    for (const auto &[args, says] : usage) {
        const TToolRun r = Run(args);
        EXPECT_EQ(r.Status, 2) << qPrintable(args.join(' '));
        EXPECT_TRUE(r.Err.contains(QLatin1String(says)) && r.Out.isEmpty()) << qPrintable(r.Err);
    }
}

TEST_F(Wnpack, RunsWithoutADisplay)
{
    TRunOptions noDisplay;
    noDisplay.Unset = QStringList{"DISPLAY", "WAYLAND_DISPLAY"};
    noDisplay.Set = QStringList{"QT_QPA_PLATFORM=xcb"};
    EXPECT_EQ(Run({"sortkey", "A00", "B9"}, noDisplay).Out, "B9\tB09\t0\n");
    EXPECT_EQ(Run({"palette", "default", "d.SGC"}, noDisplay).Status, 0);
    // Drawing falls back to the offscreen platform.
    EXPECT_EQ(Run({"palette", "render", "d.SGC", "d.png"}, noDisplay).Status, 0);
    EXPECT_EQ(QImage(Path("d.png")).size(), QSize(16 * 48 + 1, 15 * 32 + 1));
}

TEST_F(Wnpack, AFullDiskLeavesEveryFileAsItWas)
{
    ASSERT_EQ(Run({"grid", "sample", "in.rlk", "--cols", "10", "--rows", "10"}).Status, 0);
    ASSERT_EQ(Run({"palette", "default", "in.SGC"}).Status, 0);
    WriteAll(Path("in.json"), Run({"grid", "info", "in.rlk", "--json"}).Out.toUtf8());
    WriteAll(Path("PlotFarb.dat"), QByteArray(6 * 240, '\x40'));
    const QStringList writers[] = {
        {"grid", "sample", "out"},
        {"grid", "create", "out", "in.json"},
        {"grid", "copy", "in.rlk", "out"},
        {"grid", "export", "in.rlk", "--channel", "H1", "out"},
        {"palette", "default", "out"},
        {"palette", "import", "PlotFarb.dat", "out"},
        {"palette", "render", "in.SGC", "out"},
    };
    const QStringList before = QDir(dir.path()).entryList(QDir::Files, QDir::Name) + QStringList{"out"};
    for (const QStringList &args : writers) {
        const QByteArray old(200, 'o');
        WriteAll(Path("out"), old);
        TRunOptions full;
        full.FileSizeLimit = 100;
        const TToolRun r = Run(args, full);
        EXPECT_EQ(r.Status, 1) << qPrintable(args.join(' '));
        EXPECT_TRUE(r.Err.endsWith(" (out)\n") && r.Err.count('\n') == 1) << qPrintable(r.Err);
        EXPECT_EQ(ReadAll(Path("out")), old) << qPrintable(args.join(' '));
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files, QDir::Name), before);
        // Without the limit the same command writes the file.
        EXPECT_EQ(Run(args).Status, 0) << qPrintable(args.join(' '));
        EXPECT_NE(ReadAll(Path("out")), old);
    }
    // The same file as source and destination is refused before anything is written.
    for (const QStringList &args : {QStringList{"grid", "copy", "in.rlk", "./in.rlk"},
                                    QStringList{"palette", "render", "in.SGC", "in.SGC"},
                                    QStringList{"palette", "import", "PlotFarb.dat", "PlotFarb.dat"}}) {
        const QByteArray old = ReadAll(Path(args[3].toLatin1().constData()));
        const TToolRun r = Run(args);
        EXPECT_EQ(r.Status, 1);
        EXPECT_TRUE(r.Err.contains("source and destination are the same file")) << qPrintable(r.Err);
        EXPECT_EQ(ReadAll(Path(args[3].toLatin1().constData())), old);
    }
}

// Names in bytes that are not UTF-8 (Windows-1252 "nächtlich", "Lärm", "für") pass from the
// command line to the files and back to the output.
TEST_F(Wnpack, FileNamesThatAreNotUtf8)
{
    ASSERT_EQ(::mkdir(QFile::encodeName(dir.path()) + "/L\xe4rm", 0755), 0);
    const auto run = [&](const QList<QByteArray> &args) {
        QString script = QStringLiteral("cd \"$1\" && exec \"$0\"");
        for (const QByteArray &a : args) {
            script += QStringLiteral(" \"$(printf '");
            for (char c : a)
                script += QLatin1Char('\\') + QString::number(std::uint8_t(c), 8).rightJustified(3, '0');
            script += QStringLiteral("')\"");
        }
        QProcess p;
        p.start(QStringLiteral("/bin/sh"), {"-c", script, WnpackProgram(), dir.path()});
        p.waitForFinished(60000);
        EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().constData();
        return p.readAllStandardOutput();
    };
    const QByteArray grid = "L\xe4rm/n\xe4"
                            "chtlich.rlk";
    run({"grid", "sample", grid, "--cols", "4", "--rows", "3"});
    EXPECT_TRUE(run({"grid", "info", grid}).startsWith("File:        " + grid + "\n"));
    run({"grid", "copy", grid, "L\xe4rm/f\xfcr.rlk"});
    run({"grid", "export", "L\xe4rm/f\xfcr.rlk", "--channel", "H1", "f\xfcr.asc"});
    run({"palette", "default", "f\xfcr.SGC"});
    EXPECT_EQ(run({"describe", "f\xfcr.SGC"}).left(8), "f\xfcr.SGC\t");

    const auto bytesOf = [&](const QByteArray &name) {
        QFile f;
        const int fd = ::open(QFile::encodeName(dir.path()) + '/' + name, O_RDONLY);
        f.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
        return f.readAll();
    };
    EXPECT_EQ(bytesOf("L\xe4rm/f\xfcr.rlk"), bytesOf(grid));
    EXPECT_TRUE(bytesOf("f\xfcr.asc").startsWith("ncols 4\nnrows 3\n"));
    EXPECT_TRUE(bytesOf("f\xfcr.SGC").startsWith(DefaultPaletteHead(".SGC")));
    // Nothing else was left behind (Qt cannot list these names either).
    const auto entries = [&](const QByteArray &folder) {
        QList<QByteArray> names;
        DIR *d = ::opendir(QFile::encodeName(dir.path()) + folder);
        while (const dirent *e = d ? ::readdir(d) : nullptr)
            if (e->d_name[0] != '.')
                names << QByteArray(e->d_name);
        if (d)
            ::closedir(d);
        std::sort(names.begin(), names.end());
        return names;
    };
    EXPECT_EQ(entries(""), QList<QByteArray>({"L\xe4rm", "f\xfcr.SGC", "f\xfcr.asc"}));
    const QByteArray night = QByteArray("n\xe4") + "chtlich.rlk";
    EXPECT_EQ(entries("/L\xe4rm"), QList<QByteArray>({"f\xfcr.rlk", night}));
    // QTemporaryDir cannot reach these names to remove them.
    for (const QByteArray &name :
         QList<QByteArray>{"L\xe4rm/f\xfcr.rlk", "L\xe4rm/" + night, "f\xfcr.SGC", "f\xfcr.asc"})
        ::unlink(QFile::encodeName(dir.path()) + '/' + name);
    ::rmdir(QFile::encodeName(dir.path()) + "/L\xe4rm");
}

TEST_F(Wnpack, PaletteCommands)
{
    ASSERT_EQ(Run({"palette", "default", "d.SGC"}).Status, 0);
    EXPECT_TRUE(ReadAll(Path("d.SGC")).startsWith(DefaultPaletteHead(".SGC")));
    // Yellow is entry 25 and again entry 86: the lower number wins.
    EXPECT_EQ(Run({"palette", "nearest", "d.SGC", "250", "250", "10"}).Out, QStringLiteral("25\n"));
    const QStringList shown = Run({"palette", "show", "d.SGC"}).Out.split(QLatin1Char('\n'));
    EXPECT_EQ(shown.mid(80, 3).join(' '), QStringLiteral("81\t0\t120\t0 82\t51\t147\t0 83\t102\t174\t0"));

    WriteAll(Path("PlotFarb.dat"), Bytes({0, 0, 0, 16, 32, 48, 0, 0, 0, 240, 224, 208, 1}));
    ASSERT_EQ(Run({"palette", "import", "PlotFarb.dat", "i.SGC"}).Status, 0);
    ASSERT_EQ(Run({"palette", "render", "i.SGC", "i.png"}).Status, 0);
    const QImage image(Path("i.png"));
    // 16 cells across, 15 down; the corner of each cell shows its raw colour.
    const int cw = (image.width() - 1) / 16, ch = (image.height() - 1) / 15;
    ASSERT_EQ(QSize(cw * 16 + 1, ch * 15 + 1), image.size());
    EXPECT_EQ(image.pixelColor(2, 2), QColor(16, 32, 48));
    EXPECT_EQ(image.pixelColor(cw + 2, 2), QColor(240, 224, 208));

    const std::pair<QStringList, int> errors[] = {{{"palette", "show", "i.png"}, 1},
                                                  {{"palette", "show", "."}, 1},
                                                  {{"palette", "nearest", "i.SGC", "1", "2", "256"}, 2},
                                                  {{"palette", "import", "missing.dat", "out.SGC"}, 1},
                                                  {{"palette", "default", "no/dir/out.SGC"}, 1}};
    for (const auto &[args, status] : errors) {
        const TToolRun run = Run(args);
        EXPECT_EQ(run.Status, status) << qPrintable(args.join(' '));
        EXPECT_TRUE(run.Err.startsWith("wnpack " + args.mid(0, 2).join(' ') + ": ") &&
                    run.Err.count('\n') == 1)
            << qPrintable(run.Err);
    }
}

TEST_F(Wnpack, SortKeyReadsNumbersAndRefusesOnlyWhatTheFormatterRefuses)
{
    // B9 and B09 have the same sort string and keep their input order.
    TRunOptions input;
    input.Input = "B10\r\nB9\nA1\nB09\n7\n";
    const TToolRun sorted = Run({"sortkey", "A00", "--sorted"}, input);
    EXPECT_EQ(sorted.Out, "7\nA1\nB9\nB09\nB10\n");
    EXPECT_TRUE(sorted.Err.isEmpty());
    // A separator standing alone keeps the width: ".3" and "5" are laid out alike.
    EXPECT_EQ(Run({"sortkey", ".00", "--sorted", ".3", "5", ".9", "1"}).Out, "1\n.3\n5\n.9\n");
    // Numbers may look like options after "--"; formats with a counter part are what --next is for.
    EXPECT_EQ(Run({"sortkey", "A00", "--next", "B09x", "A99", "abc", "--", "--7"}).Out,
              "B09x\tB10x\t0\nA99\tA100\t-7\nabc\tabc\t-6\n--7\t--8\t0\n");
    EXPECT_EQ(Run({"sortkey", "A00.1", "--next", "B12.7"}).Out, "B12.7\tB13.7\t0\n");
    EXPECT_EQ(Run({"sortkey", "1", "5"}).Out, "5\t5\t0\n");
    EXPECT_EQ(Run({"sortkey", "", "B10.x"}).Out, "B10.x\tB10.x\t0\n");

    const TToolRun refused = Run({"sortkey", "A0.0", "--sort", "1123", "1"});
    EXPECT_EQ(refused.Status, 1);
    EXPECT_EQ(refused.Err,
              "wnpack sortkey: the sort string 1123 is refused: error -2: There are identical numbers "
              "or characters in the sort string\n");
    // Numbers that do not fit are sorted all the same, with a warning.
    const TToolRun misfit = Run({"sortkey", "A0", "--sorted", "B123", "A1"});
    EXPECT_EQ(misfit.Out, "A1\nB123\n");
    EXPECT_EQ(misfit.Err,
              "wnpack sortkey: warning: B123 does not fit the format: error -7: A number part is larger "
              "than the equal part in the format string\n");
}

} // namespace
