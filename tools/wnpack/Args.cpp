#include "Command.h"

#include <cmath>

namespace wnpack {

namespace {

const char *const cNeedsValueText = "option %1 needs a value";
const char *const cUnknownOptionText = "unknown option ";
const char *const cTooFewText = "too few arguments";
const char *const cTooManyText = "too many arguments";
const char *const cNotANumberText = " is not a number: ";
const char *const cNotAWholeNumberText = " is not a whole number: ";

// "-x" and "--name" are options; "-5" and "-.5" are numbers.
bool LooksLikeOption(const QByteArray &arg)
{
    return arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9') && arg[1] != '.';
}

} // namespace

UsageError::UsageError(const QString &message) : std::runtime_error(message.toStdString()) {}

TArgs::TArgs(QList<QByteArray> args) : FArgs(std::move(args))
{
    FOptionsEnd = int(FArgs.indexOf(QByteArray("--")));
    if (FOptionsEnd < 0)
        FOptionsEnd = int(FArgs.size());
}

bool TArgs::Flag(const char *name, const char *alias)
{
    bool found = false;
    for (int i = FOptionsEnd - 1; i >= 0; --i) {
        if (FArgs[i] == name || (alias && FArgs[i] == alias)) {
            FArgs.remove(i);
            --FOptionsEnd;
            found = true;
        }
    }
    return found;
}

std::optional<QString> TArgs::Option(const char *name)
{
    const int i = int(FArgs.indexOf(QByteArray(name)));
    if (i < 0 || i >= FOptionsEnd)
        return std::nullopt;
    if (i + 1 >= FOptionsEnd)
        throw UsageError(QString::fromLatin1(cNeedsValueText).arg(QLatin1String(name)));
    const QString value = QString::fromUtf8(FArgs[i + 1]);
    FArgs.remove(i, 2);
    FOptionsEnd -= 2;
    return value;
}

void TArgs::Expect(int min, int max)
{
    for (int i = 0; i < FOptionsEnd; ++i)
        if (LooksLikeOption(FArgs[i]))
            throw UsageError(QLatin1String(cUnknownOptionText) + QString::fromUtf8(FArgs[i]));
    if (FOptionsEnd < int(FArgs.size())) {
        FArgs.remove(FOptionsEnd);
        FOptionsEnd = int(FArgs.size());
    }
    if (Count() < min)
        throw UsageError(QLatin1String(cTooFewText));
    if (max >= 0 && Count() > max)
        throw UsageError(QLatin1String(cTooManyText));
}

double TArgs::Number(int i, const char *what) const
{
    return ParseNumber(Text(i), what);
}

int TArgs::Whole(int i, const char *what) const
{
    return ParseWhole(Text(i), what);
}

double ParseNumber(const QString &text, const char *what)
{
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        throw UsageError(QLatin1String(what) + QLatin1String(cNotANumberText) + text);
    return v;
}

int ParseWhole(const QString &text, const char *what)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok)
        throw UsageError(QLatin1String(what) + QLatin1String(cNotAWholeNumberText) + text);
    return v;
}

} // namespace wnpack
