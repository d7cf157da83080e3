// The wnpack palette commands, run as a person runs them.
#include "TestSupport.h"

#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wntest;

namespace {

class WnpackPaletteTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
    }

    TToolRun Run(const QStringList &args) const
    {
        return RunWnpack(QStringList{QStringLiteral("palette")} + args, {}, Dir.path());
    }

    QString Path(const QString &name) const { return Dir.filePath(name); }

    QTemporaryDir Dir;
};

} // namespace

TEST_F(WnpackPaletteTest, DefaultShowAndNearest)
{
    ASSERT_EQ(Run({"default", Path("d.SGC")}).Status, 0);
    const QByteArray bytes = ReadAll(Path("d.SGC"));
    ASSERT_EQ(bytes.size(), 742);
    EXPECT_EQ(bytes.left(22),
              QByteArray("\x21\x00\x0A\x00KV.SGC\x55\xBB\x30\x01\x22\x00\x00\x00\x46\x00\xD0\x02", 22));

    const TToolRun show = Run({"show", Path("d.SGC")});
    ASSERT_EQ(show.Status, 0);
    const QStringList lines = show.Out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 240);
    EXPECT_EQ(lines[0], QStringLiteral("1\t0\t0\t0"));
    EXPECT_EQ(lines[81], QStringLiteral("82\t51\t147\t0"));
    EXPECT_EQ(lines[239], QStringLiteral("240\t0\t0\t0"));

    // Yellow is entry 25 and again entry 86: the lower number wins.
    EXPECT_EQ(Run({"nearest", Path("d.SGC"), "250", "250", "10"}).Out, QStringLiteral("25\n"));
    EXPECT_EQ(Run({"nearest", Path("d.SGC"), "130", "60", "5"}).Out, QStringLiteral("38\n"));
}

TEST_F(WnpackPaletteTest, ImportAndRender)
{
    WriteAll(Path("PlotFarb.dat"), QByteArray("\0\0\0\x10\x20\x30\0\0\0\xF0\xE0\xD0\x01", 13));
    ASSERT_EQ(Run({"import", Path("PlotFarb.dat"), Path("i.SGC")}).Status, 0);
    const TToolRun show = Run({"show", Path("i.SGC")});
    EXPECT_TRUE(show.Out.startsWith(QStringLiteral("1\t16\t32\t48\n2\t240\t224\t208\n3\t0\t0\t0\n")));

    ASSERT_EQ(Run({"render", Path("i.SGC"), Path("i.png")}).Status, 0);
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
    WriteAll(Path("notes.txt"), "just some notes\n");
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
        const TToolRun run = Run(args);
        EXPECT_EQ(run.Status, 1) << qPrintable(args.join(' '));
        EXPECT_EQ(run.Err.count(QLatin1Char('\n')), 1) << qPrintable(run.Err);
        EXPECT_TRUE(run.Err.startsWith(QStringLiteral("wnpack palette: "))) << qPrintable(run.Err);
    }
}
