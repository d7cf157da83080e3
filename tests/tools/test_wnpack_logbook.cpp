// The `wnpack logbook` commands, run as a program on log books written by hand.
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace wntest;

namespace {

class WnpackLogBook : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
        WriteAll(Path("calc.log"), "\\W Grid too coarse$\\H120$\\O7\r\n"
                                   "\\F Receiver 12$\\E3\t2\t1.500\t-2.250\t\n"
                                   "\\P two$\\Nlines\r\n"
                                   "\\U \r\n");
    }
    QString Path(const char *name) const { return Dir.filePath(QLatin1String(name)); }
    QTemporaryDir Dir;
};

} // namespace

TEST_F(WnpackLogBook, ShowsLinesAsTextAndJsonAndPrintsThePlainText)
{
    const TToolRun show = RunWnpack({"logbook", "show", Path("calc.log")});
    ASSERT_EQ(show.Status, 0) << qPrintable(show.Err);
    EXPECT_EQ(show.Out, "clog_warning\t120\t7\t-\tGrid too coarse\n"
                        "clog_Error\t0\t0\t3 2 1.500 -2.250\tReceiver 12\n"
                        "clog_protok\t0\t0\t-\ttwo\n\t\t\t\tlines\n"
                        "clog_userbreak\t0\t0\t-\t\n");

    const TToolRun json = RunWnpack({"logbook", "show", Path("calc.log"), "--json"});
    ASSERT_EQ(json.Status, 0);
    const QJsonArray lines = QJsonDocument::fromJson(json.Out.toUtf8()).array();
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0].toObject(), (QJsonObject{{"kind", "clog_warning"},
                                                {"text", "Grid too coarse"},
                                                {"helpContext", 120},
                                                {"objKey", 7},
                                                {"errObj", QJsonValue::Null}}));
    EXPECT_EQ(lines[1]["errObj"].toObject(),
              (QJsonObject{{"objNr", 3}, {"subKind", 2}, {"x", 1.5}, {"y", -2.25}}));
    EXPECT_EQ(lines[2]["text"].toString(), "two\r\nlines");

    EXPECT_EQ(RunWnpack({"logbook", "text", Path("calc.log")}).Out,
              "Grid too coarse\r\nReceiver 12\r\ntwo\r\nlines\r\n\r\n");

    const TToolRun pdf = RunWnpack({"logbook", "pdf", Path("calc.log"), Path("out.pdf"), "--title", "Run 7"});
    EXPECT_EQ(pdf.Status, 0) << qPrintable(pdf.Err);
    const TToolRun pages = RunProgram("pdftotext", {Path("out.pdf"), "-"});
    EXPECT_TRUE(pages.Out.contains("Run 7") && pages.Out.contains("Page 1") &&
                pages.Out.contains("Error: Receiver 12"))
        << qPrintable(pages.Out);
}

TEST_F(WnpackLogBook, BadInputFailsWithOneLine)
{
    WriteAll(Path("bad.log"), "\\P fine\r\n\\P x$\\Habc\r\n");
    ASSERT_EQ(mkfifo(QFile::encodeName(Path("fifo")).constData(), 0600), 0);
    // Failures of the work exit with 1, wrong usage with 2; one line on stderr either way.
    const std::tuple<QStringList, int, QString> failures[] = {
        {{"show", Path("missing.log")}, 1, "No such file or directory"},
        {{"show", Dir.path()}, 1, "is a folder, not a file"},
        {{"text", Path("fifo")}, 1, "is not a regular file"},
        {{"text", Path("bad.log")}, 1, "'abc' is not a valid integer value"},
        {{"pdf", Path("missing.log"), Path("out.pdf")}, 1, "No such file or directory"},
        {{"pdf", Path("calc.log"), Path("calc.log")}, 1, "calc.log"},
        {{"show"}, 2, "too few arguments"},
        {{"show", Path("calc.log"), "--xml"}, 2, "--xml"},
    };
    for (const auto &[args, status, message] : failures) {
        const TToolRun run = RunWnpack(QStringList{"logbook"} + args);
        EXPECT_EQ(run.Status, status) << qPrintable(args.join(' '));
        EXPECT_TRUE(run.Err.contains(message)) << qPrintable(run.Err);
        EXPECT_EQ(run.Err.count('\n'), 1) << qPrintable(run.Err);
    }
    EXPECT_EQ(ReadAll(Path("calc.log")).left(4), "\\W G");
    EXPECT_FALSE(QFile::exists(Path("out.pdf")));
}
