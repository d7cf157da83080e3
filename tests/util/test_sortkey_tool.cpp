// The sortkey command of the wnpack program, run as a separate process.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace wntest;

namespace {

TToolRun RunSortKey(const QStringList &args, const QByteArray &input = QByteArray())
{
    return RunWnpack(QStringList{QStringLiteral("sortkey")} + args, input);
}

class SortKeyTool : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
    }
};

} // namespace

TEST_F(SortKeyTool, PrintsSortStringAndCodePerNumber)
{
    const TToolRun run = RunSortKey({"A00.0000", "B5.12", "5.12", "B123.1", "5B"});
    EXPECT_EQ(run.Status, 0);
    const QStringList lines = run.Out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "B5.12\tB05.0012\t0");
    EXPECT_EQ(lines[1], "5.12\t-05.0012\t0");
    EXPECT_TRUE(lines[2].startsWith("B123.1\t") && lines[2].endsWith("\t-7"));
    EXPECT_TRUE(lines[3].endsWith("\t-4"));

    EXPECT_EQ(RunSortKey({"--sort", "45123", "00.00", "1.2"}).Out, "1.2\t.0201\t0\n");
}

TEST_F(SortKeyTool, ReadsStdinAndSortsStably)
{
    const TToolRun run = RunSortKey({"A00", "--sorted"}, "B10\r\nB9\nA1\nB09\n7\n");
    EXPECT_EQ(run.Status, 0);
    // B9 and B09 have the same sort string and keep their input order.
    EXPECT_EQ(run.Out, "7\nA1\nB9\nB09\nB10\n");
}

TEST_F(SortKeyTool, ProposesNextNumbers)
{
    const TToolRun run = RunSortKey({"A00", "--next", "B09x", "A99", "abc", "--", "--7"});
    EXPECT_EQ(run.Status, 0);
    EXPECT_EQ(run.Out, "B09x\tB10x\t0\nA99\tA100\t-7\nabc\tabc\t-6\n--7\t--8\t0\n");
}

TEST_F(SortKeyTool, BadSortStringOrUsageFails)
{
    TToolRun run = RunSortKey({"A0.0", "--sort", "1123", "1"});
    EXPECT_EQ(run.Status, 1);
    EXPECT_TRUE(run.Out.isEmpty());
    EXPECT_TRUE(run.Err.contains("There are identical numbers or characters in the sort string"));

    EXPECT_EQ(RunSortKey({}).Status, 1);
    EXPECT_EQ(RunSortKey({"A0", "--sort"}).Status, 1);
    EXPECT_EQ(RunSortKey({"A0", "--next", "--sorted", "1"}).Status, 1);
}
