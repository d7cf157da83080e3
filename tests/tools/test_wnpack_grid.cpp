// The `wnpack grid` commands, run as a program on files built byte by byte here.
#include "TestSupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtEndian>
#include <gtest/gtest.h>

#include <cmath>

#include <unistd.h>

using namespace wntest;

namespace {

class WnpackGrid : public TTempDirTest
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
    }

    static TToolRun Run(const QStringList &args)
    {
        return RunWnpack(QStringList{QStringLiteral("grid")} + args);
    }

    static void ExpectOut(const TToolRun &r, const QString &out)
    {
        ASSERT_EQ(r.Status, 0) << r.Err.toStdString();
        EXPECT_EQ(r.Out, out);
    }

    static QJsonObject Json(const TToolRun &r)
    {
        EXPECT_EQ(r.Status, 0) << r.Err.toStdString();
        return QJsonDocument::fromJson(r.Out.toUtf8()).object();
    }
};

// Little-endian bytes of an integer or an IEEE number.
template <typename T> QByteArray Le(T v)
{
    QByteArray b(sizeof(T), '\0');
    qToLittleEndian(v, b.data());
    return b;
}

QByteArray U16(quint16 v)
{
    return Le(v);
}

QByteArray Section(quint8 id, const QByteArray &payload)
{
    return U16(quint16(payload.size())) + char(id) + payload;
}

QByteArray Padded(const QByteArray &text, int size)
{
    return char(text.size()) + text + QByteArray(size - 1 - int(text.size()), '\0');
}

QByteArray MinMax(float min, float max, float offset, float factor)
{
    return Le<float>(min) + Le<float>(max) + Le<float>(offset) + Le<float>(factor);
}

// 2 x 3 nodes from (100, 50), dx 5, dy 0.5, z origin 2. H: one byte channel "Leq|dB" (x 0.5
// + 0.5); W1: two singles "Src|Pa" (x 0.5) and "|W" (x 1000), each followed by room for two small
// ints "D" and "N"; a Z name and a special block. Cell of 1 + 1 + 2 * (4 + 2 * 2) = 18 bytes.
// In the suite's order the sections are those a new file gets; otherwise they come in another
// order, with a version section and bytes in the reserved parts, as other writers may leave them.
QByteArray ChannelGrid(bool suiteOrder)
{
    QByteArray s = U16(2) + U16(3) + U16(1) + Le<double>(100) + Le<double>(50) + Le<double>(2);
    s += suiteOrder ? QByteArray(16, '\0') : QByteArray(16, '\x5A');
    s += Le<float>(5) + Le<float>(0.5f);
    s += suiteOrder ? QByteArray(4, '\0') : QByteArray("\x01\x02\x03\x04");
    s += U16(2) + U16(2) + U16(1) + QByteArray::fromHex("010302");

    const QByteArray structure = Section(2, s);
    const QByteArray comment = Section(1, Padded("Hand", 81));
    const QByteArray hMinMax = Section(4, MinMax(5.5f, 50.5f, 0.5f, 0.5f));
    const QByteArray w1MinMax = Section(5, MinMax(0, 1, 0, 0.5f) + MinMax(0, 1000, 0, 1000));
    const QByteArray w2MinMax = Section(6, MinMax(1e35f, -1e35f, 0, 1) + MinMax(1e35f, -1e35f, 0, 1));
    const QByteArray hNames = Section(7, Padded("Leq|dB", 256));
    const QByteArray zNames = Section(8, Padded("4 m|height", 256));
    const QByteArray w1Names = Section(9, Padded("Src|Pa", 256) + Padded("|W", 256));
    const QByteArray w2Names = Section(10, Padded("D|", 256) + Padded("N|", 256));
    const QByteArray special = Section(3, QByteArray::fromHex("010203ff"));

    QByteArray cells(6 * 18, '\0');
    for (int n = 0; n < 6; ++n)
        cells[n * 18 + 1] = char(10 * (n + 1)); // H bytes 10 .. 60
    // Node (2, 3): H 100; W1 1 = 0.01171875 (bytes 00 00 40 3c) with its W2 room 77 00 55 00
    // behind it, which the W2 addressing never reaches; W1 2 = 0.25 (00 00 80 3e).
    cells.replace(5 * 18, 18,
                  QByteArray::fromHex("0164"
                                      "0000403c"
                                      "77005500"
                                      "0000803e"
                                      "09000b00"));

    const QByteArray data = Section(11, QByteArray()) + cells;
    if (suiteOrder)
        return structure + comment + hMinMax + w1MinMax + w2MinMax + hNames + zNames + w1Names + w2Names +
               special + data;
    return structure + Section(0, "v1.0!") + w2Names + special + hNames + comment + w1MinMax + zNames +
           hMinMax + w1Names + w2MinMax + data;
}

// The description of ChannelGrid for `wnpack grid create`.
const char *const cChannelGridJson = R"({
    "columns": 2, "rows": 3, "zLevels": 1, "xOrigin": 100, "yOrigin": 50, "zOrigin": 2,
    "dx": 5, "dy": 0.5, "nH": 1, "nW1": 2, "nW2": 2, "typeH": 1, "typeW1": 3, "typeW2": 2,
    "comment": "Hand", "special": "010203ff",
    "H": [{"name": "Leq", "unit": "dB", "min": 5.5, "max": 50.5, "offset": 0.5, "factor": 0.5}],
    "Z": [{"name": "4 m", "unit": "height"}],
    "W1": [{"name": "Src", "unit": "Pa", "min": 0, "max": 1, "offset": 0, "factor": 0.5},
           {"name": "", "unit": "W", "min": 0, "max": 1000, "offset": 0, "factor": 1000}],
    "W2": [{"name": "D", "unit": ""}, {"name": "N", "unit": ""}],
    "cells": [{"col": 1, "row": 1, "hex": "000a00000000000000000000000000000000"},
              {"col": 2, "row": 1, "hex": "001400000000000000000000000000000000"},
              {"col": 1, "row": 2, "hex": "001e00000000000000000000000000000000"},
              {"col": 2, "row": 2, "hex": "002800000000000000000000000000000000"},
              {"col": 1, "row": 3, "hex": "003200000000000000000000000000000000"},
              {"col": 2, "row": 3, "hex": "0164 0000403c 77005500 0000803e 09000b00"}]
})";

// The point query at node (2, 3) of ChannelGrid, after the first line: H scaled, the W1 single
// with a milli prefix, W2 values read from the start of their W1 group (one byte of each slot),
// the unnamed W1 channel without a line of its own but with its W2 lines.
const char *const cChannelGridLines = "65536\tLeq [dB] \t50.5\n"
                                      "0\t-\n"
                                      "256\tSrc [mPa] \t5.859375\n"
                                      "257\tSrc-D [Pa] \t0\n"
                                      "258\tSrc-N [Pa] \t32\n"
                                      "513\t-D [W] \t0\n"
                                      "514\t-N [kW] \t128\n";

// The same lines for scripts, the separator left out.
const char *const cChannelGridJsonLines = R"([
    {"tag":65536,"kind":"H","index":[1],"channel":"H1","name":"Leq","unit":"dB","value":50.5},
    {"tag":256,"kind":"W1","index":[1],"channel":"W1.1","name":"Src","unit":"mPa","value":5.859375},
    {"tag":257,"kind":"W2","index":[1,1],"channel":"W1.1.1","name":"Src-D","unit":"Pa","value":0},
    {"tag":258,"kind":"W2","index":[1,2],"channel":"W1.1.2","name":"Src-N","unit":"Pa","value":32},
    {"tag":513,"kind":"W2","index":[2,1],"channel":"W1.2.1","name":"-D","unit":"W","value":0},
    {"tag":514,"kind":"W2","index":[2,2],"channel":"W1.2.2","name":"-N","unit":"kW","value":128}])";

TEST_F(WnpackGrid, ChannelsOfAFileFromAnotherWriter)
{
    const QString grid = WriteAll(Path("other.rlk"), ChannelGrid(false));
    const QString lines = QLatin1String(cChannelGridLines);
    const TToolRun query = Run({"query", grid, "104", "51.2"});
    ExpectOut(query, "105\t51\t0\n" + lines);
    EXPECT_TRUE(query.Err.isEmpty());
    // Distance 7.4 along the line (column 2), height 3.1 (row 3): the node lies 5 m along the
    // direction (0.6, 0.8) from the origin.
    ExpectOut(Run({"query", grid, "7.4", "3.1", "--section", "--cos", "0.6", "--sin", "0.8"}),
              "103\t54\t3\n" + lines);
    const QJsonObject json = Json(Run({"query", grid, "104", "51.2", "--json"}));
    EXPECT_EQ(QList<double>({json["x"].toDouble(), json["y"].toDouble(), json["z"].toDouble()}),
              QList<double>({105, 51, 0}));
    EXPECT_EQ(json["lines"].toArray(), QJsonDocument::fromJson(cChannelGridJsonLines).array());

    const QJsonObject info = Json(Run({"info", grid, "--json"}));
    const QJsonObject want = QJsonDocument::fromJson(cChannelGridJson).object();
    for (const char *key : {"columns", "rows", "zLevels", "xOrigin", "yOrigin", "zOrigin", "dx", "dy", "nH",
                            "nW1", "nW2", "typeH", "typeW1", "typeW2", "comment", "special", "H", "W1"})
        EXPECT_EQ(info.value(key), want.value(key)) << key;
    EXPECT_EQ(info["reserved30"].toString(), QStringLiteral("5a").repeated(16));
    EXPECT_EQ(info["reserved54"].toString(), QStringLiteral("01020304"));
    EXPECT_EQ(info["cellSize"].toInt(), 18);
    EXPECT_EQ(info["extent"].toArray(), QJsonArray({95, 49.5, 105, 51}));
    const auto item = [&](const char *list, int i) { return info[list].toArray().at(i).toObject(); };
    EXPECT_EQ(item("Z", 0)["unit"].toString(), QStringLiteral("height"));
    EXPECT_EQ(item("W2", 1)["name"].toString(), QStringLiteral("N"));
    EXPECT_EQ(float(item("W2", 1)["min"].toDouble()), 1e35f);

    // Shortest numbers that read back the same; min and max never set show as "none".
    const TToolRun text = Run({"info", grid});
    for (const char *line : {"Comment:     Hand\n", "Spacing:     dx 5  dy 0.5\n", "Cell size:   18 bytes\n",
                             "  1  Leq [dB]  min 5.5  max 50.5  offset 0.5  factor 0.5\n",
                             "  2  N []  min none  max none  offset 0  factor 1\n"})
        EXPECT_TRUE(text.Out.contains(QLatin1String(line))) << line << qPrintable(text.Out);

    // W2 values take their W1 channel's scaling, as the point query shows them.
    const QString asc = Path("w.asc");
    ASSERT_EQ(Run({"export", grid, "--channel", "W1.2.2", "--format", "asc", asc}).Status, 0);
    EXPECT_EQ(ReadAll(asc), QByteArray("ncols 2\nnrows 3\nxllcenter 100\nyllcenter 50\ndx 5\ndy 0.5\n"
                                       "0 128000\n0 0\n0 0\n"));
    ASSERT_EQ(Run({"export", grid, "--channel", "H1", asc}).Status, 0);
    EXPECT_TRUE(ReadAll(asc).endsWith("dy 0.5\n25.5 50.5\n15.5 20.5\n5.5 10.5\n"));
    ASSERT_EQ(Run({"export", grid, "--channel", "W1.1", asc}).Status, 0);
    EXPECT_TRUE(ReadAll(asc).endsWith("0 0.005859375\n0 0\n0 0\n"));
}

TEST_F(WnpackGrid, CreateAndCopyWriteEveryByteThroughThePackage)
{
    const QString channels = Path("channels.rlk");
    ASSERT_EQ(Run({"create", channels, WriteAll(Path("channels.json"), cChannelGridJson)}).Status, 0);
    EXPECT_EQ(ReadAll(channels).toHex(), ChannelGrid(true).toHex());
    const QString copy = Path("copy.rlk");
    ASSERT_EQ(Run({"copy", channels, copy}).Status, 0);
    EXPECT_EQ(ReadAll(copy).toHex(), ChannelGrid(true).toHex());

    // Another writer's file: the reserved bytes go through the description and back, and a copy
    // holds the same description and cells.
    const QString other = WriteAll(Path("other.rlk"), ChannelGrid(false));
    const TToolRun info = Run({"info", other, "--json"});
    const QString rebuilt = Path("rebuilt.rlk");
    ASSERT_EQ(Run({"create", rebuilt, WriteAll(Path("other.json"), info.Out.toUtf8())}).Status, 0);
    EXPECT_EQ(ReadAll(rebuilt).mid(3, 67).toHex(), ChannelGrid(false).mid(3, 67).toHex());
    ASSERT_EQ(Run({"copy", other, copy}).Status, 0);
    EXPECT_EQ(Run({"info", copy, "--json"}).Out, info.Out);
    EXPECT_EQ(ReadAll(copy).right(6 * 18).toHex(), ChannelGrid(false).right(6 * 18).toHex());
}

TEST_F(WnpackGrid, InspectsAFileTheUserMayNotWrite)
{
    const QString grid = WriteAll(Path("ro/grid.rlk"), ChannelGrid(false));
    const QString out = Path("out");
    ASSERT_TRUE(QDir().mkpath(out));
    QFile::setPermissions(grid, QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    const auto open = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                      QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther |
                      QFileDevice::ExeOther;
    QFile::setPermissions(dir.path(), open);
    QFile::setPermissions(Path("ro"), open);
    QFile::setPermissions(out, open | QFileDevice::WriteGroup | QFileDevice::WriteOther);

    // The superuser may write any file; the commands then run as nobody.
    const auto run = [&](const QStringList &args) {
        if (::geteuid() != 0)
            return Run(args);
        return RunProgram(
            "setpriv",
            QStringList{"--reuid=65534", "--regid=65534", "--clear-groups", WnpackProgram(), "grid"} + args);
    };
    // Another user may not reach the build folder (a checkout under /root, say): then there is
    // nothing to learn here.
    if (::geteuid() == 0 && !run({}).Err.contains(QStringLiteral("wnpack grid")))
        GTEST_SKIP() << "cannot run wnpack as another user";
    EXPECT_NE(run({"sample", grid}).Status, 0);
    ExpectOut(run({"query", grid, "104", "51.2"}),
              QStringLiteral("105\t51\t0\n") + QLatin1String(cChannelGridLines));
    const QString asc = out + "/h.asc";
    ASSERT_EQ(run({"export", grid, "--channel", "H1", asc}).Status, 0);
    EXPECT_TRUE(ReadAll(asc).endsWith("25.5 50.5\n15.5 20.5\n5.5 10.5\n"));
    EXPECT_EQ(ReadAll(grid), ChannelGrid(false));
}

TEST_F(WnpackGrid, SampleDescribesItself)
{
    const QString grid = Path("sample.rlk");
    ASSERT_EQ(Run({"sample", grid, "--cols", "30", "--rows", "20"}).Status, 0);
    const QJsonObject o = Json(Run({"info", grid, "--json"}));
    EXPECT_EQ(QList<int>({o["columns"].toInt(), o["rows"].toInt(), o["cellSize"].toInt()}),
              QList<int>({30, 20, 31}));
    const QByteArray bytes = ReadAll(grid);
    EXPECT_EQ(bytes.mid(bytes.size() - 30 * 20 * 31 - 3, 3), QByteArray::fromHex("00000b"));
    for (const QJsonValue &h : o["H"].toArray())
        EXPECT_EQ(h.toObject()["unit"].toString(), QStringLiteral("dB(A)"));
    EXPECT_EQ(o["W1"].toArray().size(), 3);

    // Every value of the export lies within the channel's min and max, and the levels differ.
    const QString asc = Path("s.asc");
    ASSERT_EQ(Run({"export", grid, "--channel", "W1.2.3", asc}).Status, 0);
    const QJsonObject w1 = o["W1"].toArray().at(1).toObject();
    const QList<QByteArray> lines = ReadAll(asc).split('\n');
    ASSERT_EQ(lines.size(), 5 + 20 + 1);
    EXPECT_TRUE(lines[4].startsWith("cellsize ")); // equal spacings
    QSet<QByteArray> levels;
    for (int r = 5; r < 5 + 20; ++r) {
        const QList<QByteArray> values = lines[r].split(' ');
        ASSERT_EQ(values.size(), 30);
        for (const QByteArray &v : values) {
            EXPECT_GE(v.toDouble(), float(w1["min"].toDouble()) - 1e-3);
            EXPECT_LE(v.toDouble(), float(w1["max"].toDouble()) + 1e-3);
            levels.insert(v);
        }
    }
    EXPECT_GT(levels.size(), 10);
}

TEST_F(WnpackGrid, ErrorsGiveOneLineAndTheirStatus)
{
    const QString grid = WriteAll(Path("grid.rlk"), ChannelGrid(true));
    const QString notGrid = WriteAll(Path("text.rlk"), "hello world, not a grid");
    const QString badJson = WriteAll(Path("bad.json"), "{\"columns\": 3,");
    const QString cut = WriteAll(Path("cut.rlk"), ChannelGrid(true).chopped(3));
    QByteArray nan = ChannelGrid(true);
    nan.replace(3 + 6, 8, Le<double>(std::nan("")));
    const QString noOrigin = WriteAll(Path("nan.rlk"), nan);
    const QString sample = Path("sample.rlk");
    ASSERT_EQ(Run({"sample", sample, "--cols", "2", "--rows", "2"}).Status, 0);
    const QString asc = Path("x.asc");
    const struct {
        QStringList Args;
        int Status;
        const char *Says;
    } cases[] = {
        {{"info", Path("missing %1 %2.rlk")}, 1, "No such file or directory ("},
        {{"info", notGrid}, 1, "is not a grid file"},
        {{"info", dir.path()}, 1, "is a folder, not a file"},
        {{"query", notGrid, "0", "0"}, 1, "is not a grid file"},
        {{"query", cut, "105", "51"}, 1, "Read beyond end of file"},
        {{"export", cut, "--channel", "H1", asc}, 1, "Read beyond end of file"},
        {{"export", grid, "--channel", "H2", asc}, 1, "out of range"},
        {{"export", grid, "--channel", "W1.1.3", asc}, 1, "out of range"},
        {{"export", sample, "--channel", "W1.1", asc}, 1, "holds no values"},
        {{"export", noOrigin, "--channel", "H1", asc}, 1, "cannot be written as an ASCII grid"},
        {{"export", grid, "--channel", "H1", grid}, 1, "same file"},
        {{"create", Path("new.rlk"), badJson}, 1, "malformed JSON"},
        {{"create", Path("new.rlk"), Path("none.json")}, 1, "No such file"},
        {{"create", badJson, badJson}, 1, "same file"},
        {{"sample", Path("new.rlk"), "--cols", "65535", "--rows", "65535"}, 1, "too large"},
        {{"sample", Path("new.rlk"), "--cols", "1"}, 2, "between 2 and 65535"},
        {{"export", grid, "--channel", "X9", asc}, 2, "expected H<k>"},
        {{"export", grid, asc}, 2, "needs --channel"},
        {{"query", grid, "x", "0"}, 2, "not a number"},
        {{"info", grid, "--bogus"}, 2, "unknown option --bogus"},
        {{"info"}, 2, "too few arguments"},
    };
    for (const auto &c : cases) {
        const TToolRun r = Run(c.Args);
        const QString command = QLatin1String("wnpack grid ") + c.Args[0];
        EXPECT_EQ(r.Status, c.Status) << qPrintable(c.Args.join(' '));
        EXPECT_TRUE(r.Err.startsWith(command + QLatin1String(": ")) && r.Err.count('\n') == 1)
            << qPrintable(r.Err);
        EXPECT_TRUE(r.Err.contains(QLatin1String(c.Says))) << qPrintable(r.Err);
        EXPECT_EQ(r.Err.contains(QLatin1String("(see '") + command + QLatin1String(" --help')")),
                  c.Status == 2);
        EXPECT_TRUE(r.Out.isEmpty());
    }
    EXPECT_FALSE(QFile::exists(asc));
    EXPECT_FALSE(QFile::exists(Path("new.rlk")));
    EXPECT_EQ(ReadAll(grid), ChannelGrid(true));

    // Outside the grid the border node answers, with a warning.
    const TToolRun outside = Run({"query", grid, "1000", "51"});
    EXPECT_TRUE(outside.Out.startsWith("105\t51\t0\n"));
    EXPECT_EQ(outside.Err,
              "wnpack grid query: warning: point 1000 51 lies outside the grid; the nearest border "
              "node answers\n");
}

} // namespace
