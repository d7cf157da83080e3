// The wnpack palette commands, run as a person runs them.
#include "ScaleFileBytes.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wn::test;

namespace {

struct TRun {
    int exitCode = -1;
    QString out;
    QString err;
};

class WnpackPaletteTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Program = QStringLiteral(WN_BINARY_DIR "/tools/wnpack");
        if (!QFile::exists(Program))
            GTEST_SKIP() << "wnpack is not built";
    }

    TRun Run(const QStringList &args) const
    {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), Dir.path());
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(Dir.path());
        process.start(Program, QStringList{QStringLiteral("palette")} + args);
        TRun run;
        if (!process.waitForFinished(30000)) {
            process.kill();
            process.waitForFinished(5000);
            return run;
        }
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        run.out = QString::fromUtf8(process.readAllStandardOutput());
        run.err = QString::fromUtf8(process.readAllStandardError());
        return run;
    }

    QString Path(const QString &name) const { return Dir.filePath(name); }

    QString Program;
    QTemporaryDir Dir;
};

} // namespace

TEST_F(WnpackPaletteTest, DefaultShowAndNearest)
{
    ASSERT_EQ(Run({"default", Path("d.SGC")}).exitCode, 0);
    QFile file(Path("d.SGC"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    ASSERT_EQ(bytes.size(), 742);
    EXPECT_EQ(bytes, ScaleFile(".SGC", DefaultRecord()));

    const TRun show = Run({"show", Path("d.SGC")});
    ASSERT_EQ(show.exitCode, 0);
    const QStringList lines = show.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 240);
    EXPECT_EQ(lines[0], QStringLiteral("1\t0\t0\t0"));
    EXPECT_EQ(lines[81], QStringLiteral("82\t51\t147\t0"));
    EXPECT_EQ(lines[239], QStringLiteral("240\t0\t0\t0"));

    // Yellow is entry 25 and again entry 86: the lower number wins.
    EXPECT_EQ(Run({"nearest", Path("d.SGC"), "250", "250", "10"}).out, QStringLiteral("25\n"));
    EXPECT_EQ(Run({"nearest", Path("d.SGC"), "130", "60", "5"}).out, QStringLiteral("38\n"));
}

TEST_F(WnpackPaletteTest, ShowListsEveryEntryOfAFileWrittenElsewhere)
{
    QByteArray record(720, '\0');
    for (int i = 0; i < record.size(); ++i)
        record[i] = char((i * 37 + 11) % 256);
    QFile file(Path("other.sgc"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(ScaleFile(".sgc", record));
    file.close();

    const TRun show = Run({"show", Path("other.sgc")});
    ASSERT_EQ(show.exitCode, 0) << qPrintable(show.err);
    QString expected;
    for (int nr = 1; nr <= 240; ++nr)
        expected += QStringLiteral("%1\t%2\t%3\t%4\n")
                        .arg(nr)
                        .arg(quint8(record[3 * nr - 3]))
                        .arg(quint8(record[3 * nr - 2]))
                        .arg(quint8(record[3 * nr - 1]));
    EXPECT_EQ(show.out, expected);
}

TEST_F(WnpackPaletteTest, ImportAndRender)
{
    QFile old(Path("PlotFarb.dat"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write(QByteArray("\0\0\0\x10\x20\x30\0\0\0\xF0\xE0\xD0\x01", 13));
    old.close();
    ASSERT_EQ(Run({"import", Path("PlotFarb.dat"), Path("i.SGC")}).exitCode, 0);
    const TRun show = Run({"show", Path("i.SGC")});
    EXPECT_TRUE(show.out.startsWith(QStringLiteral("1\t16\t32\t48\n2\t240\t224\t208\n3\t0\t0\t0\n")));

    ASSERT_EQ(Run({"render", Path("i.SGC"), Path("i.png")}).exitCode, 0);
    QImage image(Path("i.png"));
    ASSERT_FALSE(image.isNull());
    // 16 cells across, 15 down; the corner of each cell shows its raw colour.
    const int cw = (image.width() - 1) / 16, ch = (image.height() - 1) / 15;
    EXPECT_EQ(cw * 16 + 1, image.width());
    EXPECT_EQ(ch * 15 + 1, image.height());
    EXPECT_EQ(image.pixelColor(2, 2), QColor(16, 32, 48));
    EXPECT_EQ(image.pixelColor(cw + 2, 2), QColor(240, 224, 208));
    EXPECT_EQ(image.pixelColor(15 * cw + 2, 14 * ch + 2), QColor(0, 0, 0));
}

TEST_F(WnpackPaletteTest, ErrorsGiveOneLineAndStatusOne)
{
    QFile text(Path("notes.txt"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("just some notes\n");
    text.close();
    const QList<QStringList> bad = {
        {},
        {"show"},
        {"show", Path("missing.SGC")},
        {"show", Path("notes.txt")},
        {"nearest", Path("notes.txt"), "1", "2", "256"},
        {"nearest", Path("notes.txt"), "1", "x", "2"},
        {"import", Path("missing.dat"), Path("out.SGC")},
        {"default", Path("no/dir/out.SGC")},
        {"render", Path("missing.SGC"), Path("x.png")},
        {"frobnicate"},
    };
    for (const QStringList &args : bad) {
        const TRun run = Run(args);
        EXPECT_EQ(run.exitCode, 1) << qPrintable(args.join(' '));
        EXPECT_EQ(run.err.count(QLatin1Char('\n')), 1) << qPrintable(run.err);
        EXPECT_TRUE(run.err.startsWith(QStringLiteral("wnpack palette: "))) << qPrintable(run.err);
    }
}
