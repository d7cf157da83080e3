// wnpack grid serve FILE and wnpack grid ask HOST:PORT X Y: point queries over TCP.
#include "Command.h"
#include "GridServer.h"
#include "GridTool.h"

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

const char *const cServeUsage = "usage: wnpack grid serve FILE [--port N] [--bind ADDRESS] [--threads]";
const char *const cAskUsage = "usage: wnpack grid ask HOST:PORT X Y";
constexpr std::uint16_t cDefaultPort = 7171;
constexpr int cAskTimeoutMs = 10000;

// Takes "--name value" out of args; empty when absent.
QString TakeValue(QStringList &args, const char *name)
{
    const qsizetype i = args.indexOf(QLatin1String(name));
    if (i < 0)
        return QString();
    if (i + 1 >= args.size())
        throw UsageError(QStringLiteral("option %1 needs a value").arg(QLatin1String(name)).toStdString());
    const QString value = args.at(i + 1);
    args.remove(i, 2);
    return value;
}

std::uint16_t ParsePort(const QString &text)
{
    bool ok = false;
    const uint port = text.toUInt(&ok);
    if (!ok || port > 65535)
        throw UsageError(
            QStringLiteral("port \"%1\" is not a number from 0 to 65535").arg(text).toStdString());
    return std::uint16_t(port);
}

void CheckPositional(const QStringList &args, qsizetype count, const char *usage)
{
    for (const QString &a : args)
        if (a.startsWith(QLatin1String("--")))
            throw UsageError(QStringLiteral("unknown option %1").arg(a).toStdString());
    if (args.size() != count)
        throw UsageError(usage);
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

} // namespace

int RunGridServe(const QStringList &arguments)
{
    QStringList args = arguments;
    TServeOptions options;
    options.Threads = args.removeAll(QStringLiteral("--threads")) > 0;
    const QString port = TakeValue(args, "--port");
    const QString bind = TakeValue(args, "--bind");
    CheckPositional(args, 1, cServeUsage);
    options.FileName = args[0];
    options.Port = port.isEmpty() ? cDefaultPort : ParsePort(port);
    if (!bind.isEmpty())
        options.Bind = bind;

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

int RunGridAsk(const QStringList &arguments)
{
    QStringList args = arguments;
    CheckPositional(args, 3, cAskUsage);
    const qsizetype colon = args[0].lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        throw UsageError(QStringLiteral("\"%1\" is not HOST:PORT").arg(args[0]).toStdString());
    const QString host = args[0].left(colon);
    const std::uint16_t port = ParsePort(args[0].mid(colon + 1));
    for (const QString &coordinate : {args[1], args[2]}) {
        bool ok = false;
        coordinate.toDouble(&ok);
        if (!ok)
            throw UsageError(QStringLiteral("\"%1\" is not a number").arg(coordinate).toStdString());
    }

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
    const QByteArray request = (args[1] + QLatin1Char(' ') + args[2] + QLatin1Char('\n')).toLatin1();
    if (stream.Write(request.constData(), std::int32_t(request.size())) != request.size())
        throw Exception(QStringLiteral("%1 does not take the request").arg(args[0]));

    QByteArray answer;
    const QDeadlineTimer deadline(cAskTimeoutMs);
    const auto complete = [&answer] {
        return answer.startsWith("error: ") ? answer.contains('\n') : answer.contains("\n\n");
    };
    while (!complete()) {
        if (!stream.WaitForData(std::int32_t(deadline.remainingTime())))
            throw Exception(QStringLiteral("%1 did not answer in time").arg(args[0]));
        char buffer[4096];
        const std::int32_t n = stream.Read(buffer, sizeof buffer);
        if (n <= 0)
            throw Exception(QStringLiteral("%1 closed the connection before answering").arg(args[0]));
        answer.append(buffer, n);
    }
    client.Close();
    if (answer.startsWith("error: "))
        throw Exception(QStringLiteral("%1 answered: %2")
                            .arg(args[0], QString::fromLatin1(answer.mid(7, answer.indexOf('\n') - 7))));
    std::fputs(FromWin1252(answer.left(answer.indexOf("\n\n") + 1)).toUtf8().constData(), stdout);
    return 0;
}

} // namespace wnpack
