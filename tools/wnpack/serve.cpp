// wnpack grid serve FILE and wnpack grid ask HOST:PORT X Y: point queries over TCP.
#include "Command.h"
#include "GridServer.h"

#include "framework/CodePages.h"
#include "framework/Exceptions.h"
#include "sockets/MyScktComp.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace wnpack {

using namespace wn;

namespace {

constexpr std::uint16_t cDefaultPort = 7171;
constexpr int cAskTimeoutMs = 10000;

std::uint16_t ParsePort(const QString &text)
{
    const int port = ParseWhole(text, "port");
    if (port < 0 || port > 65535)
        throw UsageError(QStringLiteral("port \"%1\" is not a number from 0 to 65535").arg(text));
    return std::uint16_t(port);
}

// SIGINT and SIGTERM end the event loop through a pipe, so the server closes in order.
int g_stopPipe[2] = {-1, -1};

void StopBySignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(g_stopPipe[1], &byte, 1);
}

void PrintLine(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int RunGridServe(TArgs &args)
{
    TServeOptions options;
    options.Threads = args.Flag("--threads");
    const auto port = args.Option("--port");
    const auto bind = args.Option("--bind");
    args.Expect(1, 1);
    options.FileName = args.Text(0);
    options.Port = port ? ParsePort(*port) : cDefaultPort;
    if (bind)
        options.Bind = *bind;

    if (::pipe(g_stopPipe) != 0)
        throw EInOutError::FromErrno(errno, QStringLiteral("pipe"));
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGINT, StopBySignal);
    std::signal(SIGTERM, StopBySignal);
    QSocketNotifier stop(g_stopPipe[0], QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);

    std::int64_t requests = 0, connections = 0;
    {
        TGridQueryServer server(options);
        PrintLine(
            QStringLiteral("Serving %1 on %2:%3 (%4 server); stop with Ctrl+C")
                .arg(options.FileName, options.Bind)
                .arg(server.Port())
                .arg(options.Threads ? QStringLiteral("thread-blocking") : QStringLiteral("non-blocking")));
        QCoreApplication::exec();
        requests = server.Requests();
        connections = server.Connections();
    }
    PrintLine(QStringLiteral("Stopped after %1 requests on %2 connections").arg(requests).arg(connections));
    return 0;
}

int RunGridAsk(TArgs &args)
{
    args.Expect(3, 3);
    const QString target = args.Text(0);
    const qsizetype colon = target.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        throw UsageError(QStringLiteral("\"%1\" is not HOST:PORT").arg(target));
    const QString host = target.left(colon);
    const std::uint16_t port = ParsePort(target.mid(colon + 1));
    args.Number(1, "X");
    args.Number(2, "Y");
    const QStringList coordinates{args.Text(1), args.Text(2)};

    TWNClientSocket client;
    client.SetClientType(ctBlocking);
    in_addr address{};
    if (::inet_pton(AF_INET, host.toLatin1().constData(), &address) == 1)
        client.SetAddress(host);
    else
        client.SetHost(host);
    client.SetPort(port);
    client.Open();
    TWinSocketStream stream(client.Socket(), cAskTimeoutMs);
    const QByteArray request = (coordinates.join(QLatin1Char(' ')) + QLatin1Char('\n')).toLatin1();
    if (stream.Write(request.constData(), std::int32_t(request.size())) != request.size())
        throw Exception(QStringLiteral("%1 does not take the request").arg(target));

    QByteArray answer;
    const QDeadlineTimer deadline(cAskTimeoutMs);
    const auto complete = [&answer] {
        return answer.startsWith("error: ") ? answer.contains('\n') : answer.contains("\n\n");
    };
    while (!complete()) {
        if (!stream.WaitForData(std::int32_t(deadline.remainingTime())))
            throw Exception(QStringLiteral("%1 did not answer in time").arg(target));
        char buffer[4096];
        const std::int32_t n = stream.Read(buffer, sizeof buffer);
        if (n <= 0)
            throw Exception(QStringLiteral("%1 closed the connection before answering").arg(target));
        answer.append(buffer, n);
    }
    client.Close();
    if (answer.startsWith("error: "))
        throw Exception(QStringLiteral("%1 answered: %2")
                            .arg(target, QString::fromLatin1(answer.mid(7, answer.indexOf('\n') - 7))));
    Print(FromWin1252(answer.left(answer.indexOf("\n\n") + 1)));
    return 0;
}

const TCommandRegistration registrations[] = {
    TCommandRegistration(
        {"grid serve", "FILE [--port N] [--bind ADDRESS] [--threads]", "answers point queries over TCP",
         "Answers point queries on FILE over TCP until SIGINT or SIGTERM. A request is one line \"X Y\"; "
         "the\n"
         "answer is the lines of `wnpack grid query` followed by an empty line. A request that is not two\n"
         "numbers gets one line starting with \"error: \" and the connection stays open.",
         "  --port N           the port (7171 when not given; 0 picks a free one, shown on the first line)\n"
         "  --bind ADDRESS     the IPv4 address to listen on (127.0.0.1 when not given)\n"
         "  --threads          the thread-blocking server, one cached worker thread per connection,\n"
         "                     instead of the non-blocking one in the main thread\n",
         "wnpack grid serve noise.rlk --port 7171 --threads", false, false, RunGridServe}),
    TCommandRegistration({"grid ask", "HOST:PORT X Y", "asks a query server for one point",
                          "Sends one point query to a `wnpack grid serve` and prints its answer without the\n"
                          "empty line. An error line from the server fails the command.",
                          "", "wnpack grid ask 127.0.0.1:7171 3500420 5800310", false, false, RunGridAsk}),
};

} // namespace
} // namespace wnpack
