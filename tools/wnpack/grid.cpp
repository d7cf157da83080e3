// wnpack grid: write, inspect, query, build and export grid result files.
#include "Command.h"
#include "GridTool.h"

#include <QJsonDocument>

#include <cmath>
#include <cstdio>

namespace wnpack {
namespace {

const char *const cGridUsage =
    "usage: wnpack grid sample OUT [--cols N --rows N]\n"
    "       wnpack grid info FILE [--json]\n"
    "       wnpack grid query FILE X Y [--section --cos C --sin S]\n"
    "       wnpack grid create OUT DESCRIPTION.json\n"
    "       wnpack grid export FILE --channel H<k>|W1.<i>|W1.<i>.<j> --format asc OUT";

// Takes "--name value" out of args; empty when absent.
QString TakeOption(QStringList &args, const QString &name)
{
    const qsizetype i = args.indexOf(name);
    if (i < 0)
        return QString();
    if (i + 1 >= args.size())
        Bad(QStringLiteral("option %1 needs a value").arg(name));
    const QString value = args.at(i + 1);
    args.remove(i, 2);
    return value;
}

bool TakeFlag(QStringList &args, const QString &name)
{
    return args.removeAll(name) > 0;
}

double ParseNumber(const QString &text, const char *what)
{
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        Bad(QStringLiteral("%1 \"%2\" is not a number").arg(QLatin1String(what), text));
    return v;
}

int ParseCount(const QString &text, const char *what)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok)
        Bad(QStringLiteral("%1 \"%2\" is not a whole number").arg(QLatin1String(what), text));
    return v;
}

void ExpectArgs(const QStringList &args, qsizetype count, const char *usage)
{
    for (const QString &a : args)
        if (a.startsWith(QLatin1String("--")))
            Bad(QStringLiteral("unknown option %1").arg(a));
    if (args.size() != count)
        Bad(QStringLiteral("usage: wnpack grid %1").arg(QLatin1String(usage)));
}

void Print(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stdout);
}

int RunGrid(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        std::fprintf(stderr, "%s\n", cGridUsage);
        return 1;
    }
    QStringList args = arguments;
    const QString sub = args.takeFirst();
    if (sub == QLatin1String("sample")) {
        const QString cols = TakeOption(args, QStringLiteral("--cols"));
        const QString rows = TakeOption(args, QStringLiteral("--rows"));
        ExpectArgs(args, 1, "sample OUT [--cols N --rows N]");
        WriteSampleGrid(args[0], cols.isEmpty() ? 200 : ParseCount(cols, "--cols"),
                        rows.isEmpty() ? 160 : ParseCount(rows, "--rows"));
        return 0;
    }
    if (sub == QLatin1String("info")) {
        const bool json = TakeFlag(args, QStringLiteral("--json"));
        ExpectArgs(args, 1, "info FILE [--json]");
        if (json)
            Print(QString::fromUtf8(QJsonDocument(GridInfoJson(args[0])).toJson(QJsonDocument::Indented)));
        else
            Print(GridInfoText(args[0]));
        return 0;
    }
    if (sub == QLatin1String("query")) {
        const bool section = TakeFlag(args, QStringLiteral("--section"));
        const QString cosine = TakeOption(args, QStringLiteral("--cos"));
        const QString sine = TakeOption(args, QStringLiteral("--sin"));
        ExpectArgs(args, 3, "query FILE X Y [--section --cos C --sin S]");
        Print(GridQueryText(args[0], ParseNumber(args[1], "X"), ParseNumber(args[2], "Y"), section,
                            cosine.isEmpty() ? 1.0 : ParseNumber(cosine, "--cos"),
                            sine.isEmpty() ? 0.0 : ParseNumber(sine, "--sin")));
        return 0;
    }
    if (sub == QLatin1String("create")) {
        ExpectArgs(args, 2, "create OUT DESCRIPTION.json");
        CreateGrid(args[0], args[1]);
        return 0;
    }
    if (sub == QLatin1String("export")) {
        const QString channel = TakeOption(args, QStringLiteral("--channel"));
        const QString format = TakeOption(args, QStringLiteral("--format"));
        ExpectArgs(args, 2, "export FILE --channel H<k>|W1.<i>|W1.<i>.<j> --format asc OUT");
        if (channel.isEmpty())
            Bad(QStringLiteral("export needs --channel"));
        if (!format.isEmpty() && format != QLatin1String("asc"))
            Bad(QStringLiteral("unknown export format \"%1\" (only asc)").arg(format));
        ExportGrid(args[0], channel, args[1]);
        return 0;
    }
    Bad(QStringLiteral("unknown grid command \"%1\" (sample, info, query, create, export)").arg(sub));
}

const TCommandRegistration registration({"grid", "writes, inspects, queries, builds and exports grid files",
                                         RunGrid});

} // namespace
} // namespace wnpack
