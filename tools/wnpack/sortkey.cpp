// wnpack sortkey: sort strings, sorted order and next numbers of point numbers.
#include "Command.h"

#include "util/NoSortFormat.h"

#include <QFile>

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace wnpack {
namespace {

const char *const kUsage = "usage: wnpack sortkey FORMAT [--sort S] [--next] [--sorted] [NUMBER...]";

QStringList ReadStdinLines()
{
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly))
        throw std::runtime_error("cannot read standard input");
    QString text = QString::fromUtf8(in.readAll());
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.back().isEmpty())
        lines.removeLast();
    return lines;
}

void Print(const QString &line)
{
    const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout);
}

int RunSortKey(const QStringList &args)
{
    QString format;
    bool haveFormat = false;
    QString sort;
    bool next = false;
    bool sorted = false;
    bool optionsDone = false;
    QStringList numbers;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        if (!optionsDone && a == QLatin1String("--sort")) {
            if (++i >= args.size())
                throw UsageError("--sort needs a sort string");
            sort = args[i];
        } else if (!optionsDone && a == QLatin1String("--next")) {
            next = true;
        } else if (!optionsDone && a == QLatin1String("--sorted")) {
            sorted = true;
        } else if (!optionsDone && a == QLatin1String("--")) {
            optionsDone = true;
        } else if (!optionsDone && a.startsWith(QLatin1String("--"))) {
            throw UsageError(kUsage);
        } else if (!haveFormat) {
            format = a;
            haveFormat = true;
        } else {
            numbers << a;
        }
    }
    if (!haveFormat)
        throw UsageError(kUsage);
    if (next && sorted)
        throw UsageError("--next and --sorted cannot be combined");

    wn::TStringFormat f;
    // An empty format is only a notice: the numbers are then printed as they are.
    if (!f.FormatOK(format) && f.ErrorCode < 0)
        throw UsageError(f.ErrorStr().toStdString());
    f.InitPointNo(format);
    if (f.ErrorCode < 0)
        throw UsageError(f.ErrorStr().toStdString());
    f.SetSortStr(sort);
    if (f.ErrorCode != 0)
        throw UsageError(f.ErrorStr().toStdString());

    if (numbers.isEmpty())
        numbers = ReadStdinLines();

    if (sorted) {
        QStringList keys;
        keys.reserve(numbers.size());
        for (const QString &n : numbers)
            keys << f.GetSortStr(n);
        std::vector<qsizetype> order(std::size_t(numbers.size()));
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(),
                         [&keys](qsizetype a, qsizetype b) { return keys[a] < keys[b]; });
        for (qsizetype i : order)
            Print(numbers[i]);
        return 0;
    }
    for (const QString &n : numbers) {
        const QString result = next ? f.IncPointNo(n) : f.GetSortStr(n);
        Print(n + QLatin1Char('\t') + result + QLatin1Char('\t') + QString::number(f.ErrorCode));
    }
    return 0;
}

const TCommandRegistration registration(
    {"sortkey", "sort strings (--sorted: order, --next: next numbers) of point numbers", RunSortKey});

} // namespace
} // namespace wnpack
