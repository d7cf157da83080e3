// The `wnpack grid` commands, run as a program on files built byte by byte here.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <gtest/gtest.h>

#include <cstring>

namespace {

struct TRun {
    int Status;
    QString Out;
    QString Err;
};

class WnpackGrid : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFile::exists(Program()))
            GTEST_SKIP() << "wnpack is not built";
    }

    static QString Program() { return QStringLiteral(WN_BINARY_DIR "/tools/wnpack"); }

    TRun Run(const QStringList &args)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        p.setProcessEnvironment(env);
        p.start(Program(), QStringList{QStringLiteral("grid")} + args);
        EXPECT_TRUE(p.waitForFinished(60000));
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    // The error line of a failed run (the platform may add its own warnings before it).
    static QString ErrorLine(const TRun &r)
    {
        const QStringList lines = r.Err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        return lines.isEmpty() ? QString() : lines.last();
    }

    QString Path(const char *name) const { return dir.filePath(QLatin1String(name)); }

    QTemporaryDir dir;
};

QByteArray U16(quint16 v)
{
    QByteArray b(2, '\0');
    qToLittleEndian(v, b.data());
    return b;
}

QByteArray F32(float v)
{
    quint32 bits;
    std::memcpy(&bits, &v, 4);
    QByteArray b(4, '\0');
    qToLittleEndian(bits, b.data());
    return b;
}

QByteArray F64(double v)
{
    quint64 bits;
    std::memcpy(&bits, &v, 8);
    QByteArray b(8, '\0');
    qToLittleEndian(bits, b.data());
    return b;
}

QByteArray Section(quint8 id, const QByteArray &payload)
{
    return U16(quint16(payload.size())) + char(id) + payload;
}

// 3 x 2 nodes from (10, 20), spacing 2; one H channel of singles "Lden|dB" scaled by 2, plus 1;
// stored values 1..6 in row order.
QByteArray HandMadeGrid()
{
    QByteArray s;
    s += U16(3) + U16(2) + U16(1) + F64(10) + F64(20) + F64(0) + QByteArray(16, '\0');
    s += F32(2) + F32(2) + QByteArray(4, '\0');
    s += U16(0) + U16(0) + U16(1) + QByteArray::fromHex("030000");
    QByteArray comment(81, '\0');
    comment[0] = 4;
    comment.replace(1, 4, "Test");
    QByteArray name(256, '\0');
    name[0] = 7;
    name.replace(1, 7, "Lden|dB");
    QByteArray file = Section(2, s) + Section(1, comment) + Section(4, F32(3) + F32(13) + F32(1) + F32(2)) +
                      Section(7, name) + Section(11, QByteArray());
    for (int v = 1; v <= 6; ++v)
        file += char(0) + F32(float(v));
    return file;
}

void Write(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

QByteArray Read(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

TEST_F(WnpackGrid, QueryAndExportOfAHandMadeFile)
{
    const QString grid = Path("hand.rlk");
    Write(grid, HandMadeGrid());

    const TRun q = Run({QStringLiteral("query"), grid, QStringLiteral("12.9"), QStringLiteral("21.2")});
    ASSERT_EQ(q.Status, 0) << q.Err.toStdString();
    EXPECT_EQ(q.Out, QStringLiteral("12\t22\t0\n65536\tLden [dB] \t11\n0\t-\n"));

    const QString asc = Path("hand.asc");
    const TRun e = Run({QStringLiteral("export"), grid, QStringLiteral("--channel"), QStringLiteral("H1"),
                        QStringLiteral("--format"), QStringLiteral("asc"), asc});
    ASSERT_EQ(e.Status, 0) << e.Err.toStdString();
    EXPECT_EQ(Read(asc), QByteArray("ncols 3\nnrows 2\nxllcenter 10\nyllcenter 20\ncellsize 2\n"
                                    "9 11 13\n3 5 7\n"));

    const TRun i = Run({QStringLiteral("info"), grid, QStringLiteral("--json")});
    ASSERT_EQ(i.Status, 0) << i.Err.toStdString();
    const QJsonObject o = QJsonDocument::fromJson(i.Out.toUtf8()).object();
    EXPECT_EQ(o.value("columns").toInt(), 3);
    EXPECT_EQ(o.value("typeH").toInt(), 3);
    EXPECT_EQ(o.value("cellSize").toInt(), 5);
    EXPECT_EQ(o.value("comment").toString(), QStringLiteral("Test"));
    EXPECT_EQ(o.value("extent").toArray(), QJsonArray({8, 18, 14, 22}));
    const QJsonObject h = o.value("H").toArray().at(0).toObject();
    EXPECT_EQ(h.value("name").toString(), QStringLiteral("Lden"));
    EXPECT_EQ(h.value("unit").toString(), QStringLiteral("dB"));
    EXPECT_EQ(h.value("factor").toDouble(), 2.0);
    EXPECT_EQ(h.value("max").toDouble(), 13.0);
}

TEST_F(WnpackGrid, CreateWritesTheDescribedBytes)
{
    const QString json = Path("d.json");
    Write(json, R"({"columns": 3, "rows": 2, "zLevels": 1, "xOrigin": 10, "yOrigin": 20, "zOrigin": 0,
                    "dx": 2, "dy": 2, "nH": 1, "nW1": 0, "nW2": 0, "typeH": 3, "typeW1": 0, "typeW2": 0,
                    "comment": "Test",
                    "H": [{"name": "Lden", "unit": "dB", "min": 3, "max": 13, "offset": 1, "factor": 2}],
                    "cells": [{"col": 1, "row": 1, "hex": "000000803f00000000400000004040"},
                              {"col": 1, "row": 2, "hex": "0000008040000000a040000000c040"}]})");
    const QString grid = Path("made.rlk");
    const TRun c = Run({QStringLiteral("create"), grid, json});
    ASSERT_EQ(c.Status, 0) << c.Err.toStdString();
    EXPECT_EQ(Read(grid).toHex(), HandMadeGrid().toHex());

    // The description comes back from info.
    const TRun i = Run({QStringLiteral("info"), grid, QStringLiteral("--json")});
    const QJsonObject o = QJsonDocument::fromJson(i.Out.toUtf8()).object();
    const QJsonObject in = QJsonDocument::fromJson(Read(json)).object();
    for (const char *key :
         {"columns", "rows", "zLevels", "xOrigin", "yOrigin", "dx", "dy", "nH", "typeH", "comment", "H"})
        EXPECT_EQ(o.value(key), in.value(key)) << key;
}

TEST_F(WnpackGrid, SampleDescribesItself)
{
    const QString grid = Path("sample.rlk");
    const TRun s = Run({QStringLiteral("sample"), grid, QStringLiteral("--cols"), QStringLiteral("30"),
                        QStringLiteral("--rows"), QStringLiteral("20")});
    ASSERT_EQ(s.Status, 0) << s.Err.toStdString();
    const TRun i = Run({QStringLiteral("info"), grid, QStringLiteral("--json")});
    const QJsonObject o = QJsonDocument::fromJson(i.Out.toUtf8()).object();
    EXPECT_EQ(o.value("columns").toInt(), 30);
    EXPECT_EQ(o.value("rows").toInt(), 20);
    EXPECT_EQ(o.value("cellSize").toInt(), 31);
    const QByteArray bytes = Read(grid);
    EXPECT_EQ(bytes.mid(bytes.size() - 30 * 20 * 31 - 3, 3), QByteArray::fromHex("00000b"));
    for (const QJsonValue &h : o.value("H").toArray()) {
        EXPECT_LE(h.toObject().value("min").toDouble(), h.toObject().value("max").toDouble());
        EXPECT_EQ(h.toObject().value("unit").toString(), QStringLiteral("dB(A)"));
    }
    EXPECT_EQ(o.value("W1").toArray().size(), 3);
    EXPECT_NE(o.value("W1").toArray().at(0).toObject().value("factor").toDouble(), 1.0);

    // Every value of the export lies within the channel's min and max.
    const QString asc = Path("s.asc");
    ASSERT_EQ(
        Run({QStringLiteral("export"), grid, QStringLiteral("--channel"), QStringLiteral("W1.2.3"), asc})
            .Status,
        0);
    const QJsonObject w1 = o.value("W1").toArray().at(1).toObject();
    const QList<QByteArray> lines = Read(asc).split('\n');
    ASSERT_GE(lines.size(), 6 + 20);
    for (int r = 5; r < 5 + 20; ++r) {
        const QList<QByteArray> values = lines[r].split(' ');
        ASSERT_EQ(values.size(), 30);
        for (const QByteArray &v : values) {
            EXPECT_GE(v.toDouble(), float(w1.value("min").toDouble()) - 1e-3);
            EXPECT_LE(v.toDouble(), float(w1.value("max").toDouble()) + 1e-3);
        }
    }
}

TEST_F(WnpackGrid, ErrorsGiveOneLineAndStatusOne)
{
    const QString grid = Path("hand.rlk");
    Write(grid, HandMadeGrid());
    const QString notGrid = Path("text.rlk");
    Write(notGrid, "hello world, not a grid");
    const QString badJson = Path("bad.json");
    Write(badJson, "{\"columns\": 3,");
    const QString truncated = Path("cut.rlk");
    Write(truncated, HandMadeGrid().left(HandMadeGrid().size() - 3));

    const struct {
        QStringList Args;
        const char *Says;
    } cases[] = {
        {{QStringLiteral("info"), Path("missing.rlk")}, "No such file"},
        {{QStringLiteral("info"), notGrid}, "is not a grid file"},
        {{QStringLiteral("query"), notGrid, QStringLiteral("0"), QStringLiteral("0")}, "is not a grid file"},
        {{QStringLiteral("export"), grid, QStringLiteral("--channel"), QStringLiteral("H2"), Path("x.asc")},
         "out of range"},
        {{QStringLiteral("export"), grid, QStringLiteral("--channel"), QStringLiteral("W1.1"), Path("x.asc")},
         "out of range"},
        {{QStringLiteral("export"), truncated, QStringLiteral("--channel"), QStringLiteral("H1"),
          Path("x.asc")},
         "Read beyond end of file"},
        {{QStringLiteral("query"), truncated, QStringLiteral("14"), QStringLiteral("22")},
         "Read beyond end of file"},
        {{QStringLiteral("create"), Path("new.rlk"), badJson}, "malformed JSON"},
        {{QStringLiteral("create"), Path("new.rlk"), Path("none.json")}, "No such file"},
        {{QStringLiteral("query"), grid, QStringLiteral("x"), QStringLiteral("0")}, "not a number"},
    };
    for (const auto &c : cases) {
        const TRun r = Run(c.Args);
        EXPECT_EQ(r.Status, 1) << c.Args.join(' ').toStdString();
        EXPECT_TRUE(ErrorLine(r).startsWith(QLatin1String("wnpack grid: "))) << r.Err.toStdString();
        EXPECT_TRUE(ErrorLine(r).contains(QLatin1String(c.Says))) << r.Err.toStdString();
        EXPECT_TRUE(r.Out.isEmpty());
    }
    EXPECT_FALSE(QFile::exists(Path("x.asc")));
    EXPECT_FALSE(QFile::exists(Path("new.rlk")));
}

} // namespace
