// `wnpack grid serve` and `ask`: the query server against Qt's own sockets as clients, in-process
// for both server kinds and as the program, with descriptors and threads counted around it.
#include "GridServer.h"

#include "TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QPointF>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

using namespace wntest;

namespace {

int OpenDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

int Threads()
{
    const QList<QByteArray> lines = ReadAll(QStringLiteral("/proc/self/status")).split('\n');
    for (const QByteArray &l : lines)
        if (l.startsWith("Threads:"))
            return l.mid(8).trimmed().toInt();
    return -1;
}

bool Await(const std::function<bool()> &done, int ms = 10000)
{
    const QDeadlineTimer deadline(ms);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

class GridServe : public ::testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
        file = dir.filePath(QStringLiteral("map.rlk"));
        ASSERT_EQ(RunWnpack({"grid", "sample", file, "--cols", "60", "--rows", "40"}).Status, 0);
    }

    // The answer the server owes for "x y": the lines of `wnpack grid query` and an empty line.
    QByteArray Expected(double x, double y) const
    {
        const TToolRun q =
            RunWnpack({"grid", "query", file, QString::number(x, 'f', 1), QString::number(y, 'f', 1)});
        EXPECT_EQ(q.Status, 0) << q.Err.toStdString();
        return q.Out.toLatin1() + '\n';
    }

    QTemporaryDir dir;
    QString file;
};

TEST_P(GridServe, ConcurrentClientsBadRequestsAndVanishingClients)
{
    constexpr int clients = 20;
    const double x0 = 3500000, y0 = 5800000;
    // Each client asks the same three points, starting at a different one.
    const QPointF points[3] = {{x0 + 20, y0 + 30}, {x0 + 150, y0 + 90}, {x0 + 290, y0 + 190}};
    const QByteArray answers[3] = {Expected(points[0].x(), points[0].y()),
                                   Expected(points[1].x(), points[1].y()),
                                   Expected(points[2].x(), points[2].y())};
    const auto point = [&](int c, int k) { return points[(c + k) % 3]; };
    std::vector<QByteArray> expected(clients);
    for (int c = 0; c < clients; ++c)
        for (int k = 0; k < 3; ++k)
            expected[std::size_t(c)] += answers[(c + k) % 3];
    const QByteArray firstAnswer = Expected(x0, y0);
    const int fds = OpenDescriptors(), threads = Threads();
    {
        wnpack::TServeOptions o;
        o.FileName = file;
        o.Threads = GetParam();
        wnpack::TGridQueryServer server(o);
        std::vector<std::unique_ptr<QTcpSocket>> sockets;
        for (int c = 0; c < clients; ++c) {
            sockets.push_back(std::make_unique<QTcpSocket>());
            sockets.back()->connectToHost(QStringLiteral("127.0.0.1"), server.Port());
            QByteArray requests;
            for (int k = 0; k < 3; ++k)
                requests += QByteArray::number(point(c, k).x(), 'f', 1) + ' ' +
                            QByteArray::number(point(c, k).y(), 'f', 1) + (k == 1 ? "\r\n" : "\n");
            sockets.back()->write(requests);
        }
        std::vector<QByteArray> got(clients);
        EXPECT_TRUE(Await([&] {
            bool all = true;
            for (int c = 0; c < clients; ++c) {
                got[std::size_t(c)] += sockets[std::size_t(c)]->readAll();
                all = all && got[std::size_t(c)].size() >= expected[std::size_t(c)].size();
            }
            return all;
        }));
        for (int c = 0; c < clients; ++c)
            EXPECT_EQ(got[std::size_t(c)], expected[std::size_t(c)]) << "client " << c;
        EXPECT_EQ(server.Requests(), 3 * clients);

        // Bad requests get one error line each, and the connection goes on answering.
        const struct {
            QByteArray Request, Answer;
        } bad[] = {
            {"1 2 3\n", "error: expected a line \"X Y\" with two numbers, got \"1 2 3\"\n"},
            {"x\ty\x01\n", "error: expected a line \"X Y\" with two numbers, got \"x?y?\"\n"},
            {"nan 5\n", "error: expected a line \"X Y\" with two numbers, got \"nan 5\"\n"},
            {QByteArray(300, '7') + "\n", "error: a request line holds at most 256 bytes\n"},
        };
        QTcpSocket &s = *sockets[0];
        for (const auto &b : bad) {
            s.write(b.Request + "3500000 5800000\n");
            const QByteArray want = b.Answer + firstAnswer;
            QByteArray answer;
            EXPECT_TRUE(Await([&] { return (answer += s.readAll()).size() >= want.size(); }));
            EXPECT_EQ(answer, want);
        }

        // A client that sends a heap of requests and vanishes harms nobody.
        for (int round = 0; round < 3; ++round) {
            QTcpSocket vanishing;
            vanishing.connectToHost(QStringLiteral("127.0.0.1"), server.Port());
            ASSERT_TRUE(vanishing.waitForConnected(5000));
            QByteArray heap;
            for (int i = 0; i < 3000; ++i)
                heap += "3500010 5800010\n";
            vanishing.write(heap);
            vanishing.waitForBytesWritten(5000);
            vanishing.abort();
        }
        s.write("3500000 5800000\n");
        QByteArray answer;
        EXPECT_TRUE(Await([&] { return (answer += s.readAll()).size() >= firstAnswer.size(); }));
        EXPECT_EQ(answer, firstAnswer);
        sockets.clear();
        EXPECT_TRUE(Await([&] { return server.Connections() >= clients + 3; }));
    }
    EXPECT_TRUE(Await([&] { return OpenDescriptors() == fds && Threads() == threads; }))
        << "descriptors " << OpenDescriptors() << " (" << fds << "), threads " << Threads() << " (" << threads
        << ")";
}

INSTANTIATE_TEST_SUITE_P(Kinds, GridServe, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "ThreadBlocking" : "NonBlocking"; });

// The program pair: serve on a free port, ask it, stop it with SIGTERM.
TEST_P(GridServe, ServeAndAskAsPrograms)
{
    QProcess serve;
    QStringList args{"grid", "serve", file, "--port", "0"};
    if (GetParam())
        args << "--threads";
    serve.start(WnpackProgram(), args);
    ASSERT_TRUE(serve.waitForReadyRead(10000));
    const QString banner = QString::fromUtf8(serve.readLine());
    const qsizetype at = banner.indexOf(QLatin1String("127.0.0.1:"));
    ASSERT_GE(at, 0) << banner.toStdString();
    const QString address = banner.mid(at).section(QLatin1Char(' '), 0, 0);

    const struct {
        QStringList Args;
        int Status;
        QString Out; // compared when Status is 0, else a piece of the error text
    } cases[] = {
        {{address, "3500000", "5800000"}, 0, QString::fromLatin1(Expected(3500000, 5800000)).chopped(1)},
        {{address, "3500100.0", "5800050"}, 0, QString::fromLatin1(Expected(3500100, 5800050)).chopped(1)},
        {{address, "east", "5800050"}, 2, "X is not a number: east"},
        {{"127.0.0.1", "1", "2"}, 2, "\"127.0.0.1\" is not HOST:PORT"},
        {{address, "1"}, 2, "too few arguments"},
    };
    for (const auto &c : cases) {
        const TToolRun r = RunWnpack(QStringList{"grid", "ask"} + c.Args);
        EXPECT_EQ(r.Status, c.Status) << c.Args.join(' ').toStdString() << r.Err.toStdString();
        if (c.Status == 0)
            EXPECT_EQ(r.Out, c.Out);
        else
            EXPECT_TRUE(r.Err.contains(c.Out)) << r.Err.toStdString();
    }
    serve.terminate();
    ASSERT_TRUE(serve.waitForFinished(10000));
    EXPECT_EQ(serve.exitCode(), 0);
    EXPECT_EQ(QString::fromUtf8(serve.readAll()).trimmed(),
              QStringLiteral("Stopped after 2 requests on 2 connections"));
}

} // namespace
