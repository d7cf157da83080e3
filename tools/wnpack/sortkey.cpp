// wnpack sortkey: sort strings, sorted order and next numbers of point numbers.
#include "Command.h"

#include "framework/Exceptions.h"
#include "util/NoSortFormat.h"

#include <QFile>

#include <algorithm>
#include <numeric>

namespace wnpack {
namespace {

const char *const cStdinText = "cannot read standard input";
const char *const cBothText = "--next and --sorted cannot be combined";
const char *const cFormatText = "the format %1 is refused";
const char *const cSortText = "the sort string %1 is refused";
const char *const cMisfitText = "%1 does not fit the format";

QStringList ReadStdinLines()
{
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly))
        throw wn::Exception(QLatin1String(cStdinText));
    QString text = QString::fromUtf8(in.readAll());
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.back().isEmpty())
        lines.removeLast();
    return lines;
}

// What was refused (one user text into a pattern of one place), with the unit's code and message.
QString Outcome(const char *pattern, const QString &text, const wn::TStringFormat &f)
{
    return QString::fromLatin1(pattern).arg(text) + QLatin1String(": error ") + QString::number(f.ErrorCode) +
           QLatin1String(": ") + f.ErrorStr();
}

int RunSortKey(TArgs &args)
{
    const auto sort = args.Option("--sort");
    const bool next = args.Flag("--next");
    const bool sorted = args.Flag("--sorted");
    args.Expect(1, -1);
    if (next && sorted)
        throw UsageError(QLatin1String(cBothText));
    const QString format = args.Text(0);
    QStringList numbers;
    for (int i = 1; i < args.Count(); ++i)
        numbers << args.Text(i);

    // Only what the unit itself reports as an error is refused: formats with a counter part
    // ("1", "A00.1") are the ones --next needs, and an empty format sorts numbers as they are.
    wn::TStringFormat f;
    f.InitPointNo(format);
    if (f.ErrorCode < 0)
        throw wn::Exception(Outcome(cFormatText, format, f));
    f.SetSortStr(sort.value_or(QString()));
    if (f.ErrorCode != 0)
        throw wn::Exception(Outcome(cSortText, *sort, f));

    if (numbers.isEmpty())
        numbers = ReadStdinLines();

    QString out;
    if (sorted) {
        QStringList keys;
        for (const QString &n : numbers) {
            keys << f.GetSortStr(n);
            if (f.ErrorCode != 0)
                Warn(QStringLiteral("sortkey"), Outcome(cMisfitText, n, f));
        }
        std::vector<qsizetype> order(std::size_t(numbers.size()));
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(),
                         [&keys](qsizetype a, qsizetype b) { return keys[a] < keys[b]; });
        for (qsizetype i : order)
            out += numbers[i] + QLatin1Char('\n');
    } else {
        for (const QString &n : numbers) {
            const QString result = next ? f.IncPointNo(n) : f.GetSortStr(n);
            out += n + QLatin1Char('\t') + result + QLatin1Char('\t') + QString::number(f.ErrorCode) +
                   QLatin1Char('\n');
        }
    }
    Print(out);
    return 0;
}

const TCommandRegistration registration(
    {"sortkey", "FORMAT [--sort S] [--next | --sorted] [--] [NUMBER...]",
     "sort strings, order and next numbers of point numbers",
     "Lays point numbers (B5.12, 7a) out on the sample FORMAT so that a plain text sort gives their\n"
     "natural order. FORMAT is made of digit parts (0 or 9; a part with a 1 is the counter), letter\n"
     "parts (A, a, _, -) and separators (. , ;). The numbers come from the arguments or, when none are\n"
     "given, from standard input, one per line. Prints per number: the number, its sort string and\n"
     "the unit's code (0 when the number fits; negative codes are errors).",
     "  --sort S           a permutation of the format's positions (1-9, a-c) to sort by\n"
     "  --next             the next number instead of the sort string\n"
     "  --sorted           the numbers in sorted order, one per line; numbers that do not fit the\n"
     "                     format are warned about on stderr\n"
     "  --                 numbers follow, even ones that start with -\n",
     "printf 'B10\\nB9\\nA1\\n' | wnpack sortkey A00 --sorted", false, false, RunSortKey});

} // namespace
} // namespace wnpack
