#include "framework/SysUtils.h"

#include "framework/Exceptions.h"

#include <QLocale>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale.h>
#include <string>
#include <string_view>

namespace wn {

namespace {

// The runtime never works with more significant digits than its extended type holds.
constexpr int MaxPrecision = 18;
// Exponent digits of the general and exponent forms are limited the same way.
constexpr int MaxExponentDigits = 4;
// Widths and precisions in Format beyond this are treated as a broken format rather than
// letting a typo allocate gigabytes.
constexpr int MaxFormatWidth = 1 << 20;

// A decimal number: value = 0.Digits x 10^Exponent. Digits has no leading or trailing zeros;
// empty Digits means zero.
struct TDecimal {
    bool Negative = false;
    std::string Digits;
    int Exponent = 0;

    bool IsZero() const { return Digits.empty(); }
    // The digit at `index` in the 0.Digits form; zeros beyond both ends.
    char DigitAt(int index) const
    {
        return index >= 0 && index < int(Digits.size()) ? Digits[std::size_t(index)] : '0';
    }
};

void StripTrailingZeros(TDecimal &d)
{
    while (!d.Digits.empty() && d.Digits.back() == '0')
        d.Digits.pop_back();
    if (d.Digits.empty())
        d.Exponent = 0;
}

// Writes the first `precision` + 1 significant digits of magnitude into digits (rounded to
// nearest by to_chars) and returns the decimal exponent of the first one.
int ScientificDigits(double magnitude, int precision, std::string &digits)
{
    char buffer[800];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, magnitude, std::chars_format::scientific, precision);
    const char *end = result.ptr;
    const char *e = std::find(static_cast<const char *>(buffer), end, 'e');
    digits.clear();
    for (const char *p = buffer; p != e; ++p)
        if (*p != '.')
            digits.push_back(*p);
    int exponent = 0;
    std::from_chars(e[1] == '+' ? e + 2 : e + 1, end, exponent);
    return exponent;
}

// The leading digits of the exact decimal expansion of a finite double, cut off (not rounded)
// after MaxPrecision + 1 digits: every rounding here keeps at most MaxPrecision digits and
// decides on the one after them, so that is all it needs.
TDecimal ExactDecimal(double value)
{
    TDecimal d;
    d.Negative = std::signbit(value);
    const double magnitude = std::fabs(value);
    if (magnitude == 0)
        return d;

    // A double is a binary fraction and so has a finite decimal expansion: a value whose lowest
    // set bit is 2^-k has exactly k decimals, an integer at most 309 digits.
    const auto bits = std::bit_cast<std::uint64_t>(magnitude);
    const int biasedExponent = int(bits >> 52);
    const std::uint64_t mantissa =
        (bits & ((std::uint64_t(1) << 52) - 1)) | (biasedExponent != 0 ? std::uint64_t(1) << 52 : 0);
    const int lowestBit = std::max(biasedExponent, 1) - 1075 + std::countr_zero(mantissa);
    const int decimalExponent = int(std::floor(std::log10(magnitude)));
    const int exactPrecision = std::clamp(decimalExponent + std::max(-lowestBit, 0) + 2, 1, 780);

    // Forty digits decide the first nineteen unless the digits after them are all 0s or all 9s,
    // where to_chars' own rounding may have carried into them; then take the whole expansion.
    constexpr int Kept = MaxPrecision + 1;
    constexpr int Probe = 40;
    int exponent = ScientificDigits(magnitude, std::min(exactPrecision, Probe), d.Digits);
    if (exactPrecision > Probe) {
        const auto tail = std::string_view(d.Digits).substr(Kept);
        if (tail.find_first_not_of('0') == std::string_view::npos ||
            tail.find_first_not_of('9') == std::string_view::npos)
            exponent = ScientificDigits(magnitude, exactPrecision, d.Digits);
    }
    if (d.Digits.size() > std::size_t(Kept))
        d.Digits.resize(Kept);
    d.Exponent = exponent + 1;
    StripTrailingZeros(d);
    return d;
}

// Keeps `count` significant digits, rounding halves away from zero. Because the digits are the
// exact expansion, a first dropped digit of 5 or more means "at least half".
void RoundToDigits(TDecimal &d, int count)
{
    if (int(d.Digits.size()) <= count)
        return;
    if (count < 0) {
        d.Digits.clear();
        d.Exponent = 0;
        return;
    }
    const bool up = d.Digits[std::size_t(count)] >= '5';
    d.Digits.resize(std::size_t(count));
    if (up) {
        while (!d.Digits.empty() && d.Digits.back() == '9')
            d.Digits.pop_back();
        if (d.Digits.empty()) {
            d.Digits.assign(1, '1');
            d.Exponent += 1;
            return;
        }
        ++d.Digits.back();
    }
    StripTrailingZeros(d);
}

// Rounds to `decimals` places after the point, but never keeps more than MaxPrecision
// significant digits; one rounding step on the exact digits.
void RoundToDecimals(TDecimal &d, int decimals)
{
    if (d.IsZero())
        return;
    const long long count = std::min<long long>(MaxPrecision, (long long)d.Exponent + decimals);
    RoundToDigits(d, int(std::max<long long>(count, -1)));
}

QString NonFiniteText(double value)
{
    if (std::isnan(value))
        return QStringLiteral("NAN");
    return value < 0 ? QStringLiteral("-INF") : QStringLiteral("INF");
}

void AppendExponent(QString &out, int exponent, bool alwaysSign, int minDigits)
{
    if (exponent < 0)
        out += QLatin1Char('-');
    else if (alwaysSign)
        out += QLatin1Char('+');
    const QString digits = QString::number(std::abs(exponent));
    for (int i = int(digits.size()); i < minDigits; ++i)
        out += QLatin1Char('0');
    out += digits;
}

// Integer digits of d (at least "0"), grouped by thousands when a separator is given.
QString IntegerPart(const TDecimal &d, QChar thousands)
{
    QString out;
    const int count = std::max(d.Exponent, 0);
    if (count == 0)
        return QStringLiteral("0");
    for (int i = 0; i < count; ++i) {
        if (!thousands.isNull() && i > 0 && (count - i) % 3 == 0)
            out += thousands;
        out += QLatin1Char(d.DigitAt(i));
    }
    return out;
}

QString ExponentForm(const TDecimal &exact, int precision, int digits, const TFormatSettings &fs)
{
    TDecimal d = exact;
    RoundToDigits(d, precision);
    QString out;
    if (d.Negative && !d.IsZero())
        out += QLatin1Char('-');
    out += QLatin1Char(d.DigitAt(0));
    if (precision > 1) {
        out += fs.DecimalSeparator;
        for (int i = 1; i < precision; ++i)
            out += QLatin1Char(d.DigitAt(i));
    }
    out += QLatin1Char('E');
    AppendExponent(out, d.IsZero() ? 0 : d.Exponent - 1, true, std::clamp(digits, 0, MaxExponentDigits));
    return out;
}

QString GeneralForm(const TDecimal &exact, int precision, int digits, const TFormatSettings &fs)
{
    TDecimal d = exact;
    RoundToDigits(d, precision);
    if (d.IsZero())
        return QStringLiteral("0");
    QString out;
    if (d.Negative)
        out += QLatin1Char('-');
    const int size = int(d.Digits.size());
    if (d.Exponent <= precision && d.Exponent >= -3) {
        out += IntegerPart(d, QChar());
        if (size > d.Exponent) {
            out += fs.DecimalSeparator;
            for (int i = std::min(d.Exponent, 0); i < 0; ++i)
                out += QLatin1Char('0');
            for (int i = std::max(d.Exponent, 0); i < size; ++i)
                out += QLatin1Char(d.Digits[std::size_t(i)]);
        }
        return out;
    }
    out += QLatin1Char(d.Digits[0]);
    if (size > 1) {
        out += fs.DecimalSeparator;
        out += QLatin1String(d.Digits.data() + 1, size - 1);
    }
    out += QLatin1Char('E');
    AppendExponent(out, d.Exponent - 1, false, std::clamp(digits, 0, MaxExponentDigits));
    return out;
}

QString FixedForm(const TDecimal &exact, int precision, int digits, QChar thousands,
                  const TFormatSettings &fs)
{
    TDecimal probe = exact;
    RoundToDigits(probe, precision);
    if (probe.Exponent > precision)
        return ExponentForm(exact, precision, digits, fs);

    const int decimals = std::clamp(digits, 0, MaxPrecision);
    TDecimal d = exact;
    RoundToDigits(d, int(std::clamp<long long>((long long)d.Exponent + decimals, -1, precision)));
    QString out;
    if (d.Negative && !d.IsZero())
        out += QLatin1Char('-');
    out += IntegerPart(d, thousands);
    if (decimals > 0) {
        out += fs.DecimalSeparator;
        for (int i = 0; i < decimals; ++i)
            out += QLatin1Char(d.DigitAt(d.Exponent + i));
    }
    return out;
}

// ---- FormatFloat ----------------------------------------------------------------------------

bool IsPlaceholder(QChar c)
{
    return c == QLatin1Char('0') || c == QLatin1Char('#');
}

bool IsQuote(QChar c)
{
    return c == QLatin1Char('"') || c == QLatin1Char('\'');
}

// Index just past the quoted text that starts at `start` (an unterminated quote runs to the end).
qsizetype SkipQuoted(const QString &s, qsizetype start)
{
    const qsizetype close = s.indexOf(s[start], start + 1);
    return close < 0 ? s.size() : close + 1;
}

// The pattern sections "positive;negative;zero"; a ";" inside quotes does not count.
QStringList SplitSections(const QString &format)
{
    QStringList sections;
    qsizetype start = 0;
    for (qsizetype i = 0; i < format.size() && sections.size() < 2;) {
        if (IsQuote(format[i])) {
            i = SkipQuoted(format, i);
        } else if (format[i] == QLatin1Char(';')) {
            sections << format.mid(start, i - start);
            start = ++i;
        } else {
            ++i;
        }
    }
    qsizetype end = format.size();
    for (qsizetype i = start; i < format.size();) {
        if (IsQuote(format[i])) {
            i = SkipQuoted(format, i);
        } else if (format[i] == QLatin1Char(';')) {
            end = i;
            break;
        } else {
            ++i;
        }
    }
    sections << format.mid(start, end - start);
    return sections;
}

// What one section asks for, gathered before any output is written.
struct TSectionLayout {
    int IntegerPlaces = 0;
    int FractionPlaces = 0;
    qsizetype PointAt = -1;
    qsizetype ExponentAt = -1; // index of the "E" of "E+00"
    int ExponentDigits = 0;
    bool Grouping = false;
    QList<qsizetype> GroupCommas; // commas consumed as the grouping switch
};

// Whether an exponent marker ("E+", "E-", "e+" or "e-" followed by zeros) starts at i.
bool IsExponentMarker(const QString &s, qsizetype i, int &zeros)
{
    if (i + 2 >= s.size() || (s[i] != QLatin1Char('E') && s[i] != QLatin1Char('e')) ||
        (s[i + 1] != QLatin1Char('+') && s[i + 1] != QLatin1Char('-')) || s[i + 2] != QLatin1Char('0'))
        return false;
    zeros = 0;
    while (i + 2 + zeros < s.size() && s[i + 2 + zeros] == QLatin1Char('0'))
        ++zeros;
    return true;
}

TSectionLayout ScanSection(const QString &s)
{
    TSectionLayout layout;
    QList<qsizetype> commas;
    bool placeholderSeen = false;
    for (qsizetype i = 0; i < s.size();) {
        const QChar c = s[i];
        if (IsQuote(c)) {
            i = SkipQuoted(s, i);
            continue;
        }
        int zeros = 0;
        if (IsPlaceholder(c)) {
            if (layout.PointAt < 0) {
                ++layout.IntegerPlaces;
                layout.GroupCommas << commas;
            } else {
                ++layout.FractionPlaces;
            }
            commas.clear();
            placeholderSeen = true;
        } else if (c == QLatin1Char('.') && layout.PointAt < 0) {
            layout.PointAt = i;
            commas.clear();
        } else if (c == QLatin1Char(',') && placeholderSeen && layout.PointAt < 0) {
            commas << i;
        } else if (placeholderSeen && IsExponentMarker(s, i, zeros)) {
            layout.ExponentAt = i;
            layout.ExponentDigits = zeros;
            break;
        }
        ++i;
    }
    layout.Grouping = !layout.GroupCommas.isEmpty();
    return layout;
}

QString LiteralText(const QString &s)
{
    QString out;
    for (qsizetype i = 0; i < s.size();) {
        if (IsQuote(s[i])) {
            const qsizetype next = SkipQuoted(s, i);
            const qsizetype textEnd =
                next <= s.size() && s[next - 1] == s[i] && next - 1 > i ? next - 1 : next;
            out += s.mid(i + 1, textEnd - i - 1);
            i = next;
        } else {
            out += s[i++];
        }
    }
    return out;
}

// Writes `section` for the rounded number d (sign already decided by the caller).
QString ApplySection(const QString &s, const TSectionLayout &layout, const TDecimal &d, bool minus,
                     const TFormatSettings &fs)
{
    const bool scientific = layout.ExponentAt >= 0;
    // The decimal point falls before this index of d.Digits: in scientific form the integer
    // placeholders take the leading digits, otherwise the number's own exponent decides.
    const int pointIndex = scientific ? layout.IntegerPlaces : d.Exponent;
    // Integer digits that are significant and so written even for a "#".
    const int integerDigits = d.IsZero() ? 0 : std::max(pointIndex, 0);
    const int significantFraction = int(d.Digits.size()) - pointIndex;

    QString out;
    if (minus)
        out += QLatin1Char('-');
    int integerSeen = 0;
    int fractionSeen = 0;
    bool pointPending = false;
    bool afterExponent = false;
    auto writeIntegerDigit = [&](int power) {
        out += QLatin1Char(d.DigitAt(pointIndex - 1 - power));
        if (layout.Grouping && !scientific && power > 0 && power % 3 == 0)
            out += fs.ThousandSeparator;
    };

    for (qsizetype i = 0; i < s.size();) {
        const QChar c = s[i];
        if (scientific && i == layout.ExponentAt) {
            out += c;
            const int exponent = d.IsZero() ? 0 : d.Exponent - layout.IntegerPlaces;
            AppendExponent(out, exponent, s[i + 1] == QLatin1Char('+'), layout.ExponentDigits);
            i += 2 + layout.ExponentDigits;
            afterExponent = true;
            continue;
        }
        if (IsQuote(c)) {
            const qsizetype next = SkipQuoted(s, i);
            out += LiteralText(s.mid(i, next - i));
            i = next;
            continue;
        }
        if (afterExponent) {
            out += c;
        } else if (IsPlaceholder(c) && (layout.PointAt < 0 || i < layout.PointAt)) {
            const int power = layout.IntegerPlaces - 1 - integerSeen;
            if (integerSeen == 0)
                for (int p = integerDigits - 1; p > power; --p)
                    writeIntegerDigit(p);
            if (power < integerDigits || c == QLatin1Char('0'))
                writeIntegerDigit(power);
            ++integerSeen;
        } else if (IsPlaceholder(c)) {
            ++fractionSeen;
            if (c == QLatin1Char('0') || fractionSeen <= significantFraction) {
                if (pointPending)
                    out += fs.DecimalSeparator;
                pointPending = false;
                out += QLatin1Char(d.DigitAt(pointIndex + fractionSeen - 1));
            }
        } else if (i == layout.PointAt) {
            pointPending = true;
        } else if (!layout.GroupCommas.contains(i)) {
            out += c;
        }
        ++i;
    }
    return out;
}

// Rounds v for the section, as the output will show it.
TDecimal RoundForSection(double value, const TSectionLayout &layout)
{
    TDecimal d = ExactDecimal(value);
    if (layout.ExponentAt >= 0)
        RoundToDigits(d, std::min(MaxPrecision, layout.IntegerPlaces + layout.FractionPlaces));
    else
        RoundToDecimals(d, layout.FractionPlaces);
    return d;
}

// ---- Format ---------------------------------------------------------------------------------

[[noreturn]] void InvalidFormat(const QString &format)
{
    throw EConvertError(QStringLiteral("Format '%1' invalid or incompatible with argument").arg(format));
}

bool IsUnsignedArg(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar: return true;
    default: return false;
    }
}

bool Is64BitArg(const QVariant &v)
{
    return v.typeId() == QMetaType::LongLong || v.typeId() == QMetaType::ULongLong ||
           ((v.typeId() == QMetaType::Long || v.typeId() == QMetaType::ULong) && sizeof(long) == 8);
}

bool IsFloatArg(const QVariant &v)
{
    return v.typeId() == QMetaType::Double || v.typeId() == QMetaType::Float;
}

bool IsTextArg(const QVariant &v)
{
    return v.typeId() == QMetaType::QString || v.typeId() == QMetaType::QChar ||
           v.typeId() == QMetaType::QByteArray || v.typeId() == QMetaType::Char;
}

// %d, %u or %x of an integer argument; precision is the minimum number of digits. The runtime
// prints %u and %x of a negative integer as its two's complement in the argument's own width.
QString IntegerText(const QVariant &arg, char16_t type, int precision)
{
    const bool isUnsigned = IsUnsignedArg(arg);
    const qint64 signedValue = arg.toLongLong();
    const bool negative = type == 'd' && !isUnsigned && signedValue < 0;
    std::uint64_t magnitude = 0;
    if (isUnsigned)
        magnitude = arg.toULongLong();
    else if (negative)
        magnitude = 0 - std::uint64_t(signedValue);
    else if (type == 'd' || Is64BitArg(arg))
        magnitude = std::uint64_t(signedValue);
    else
        magnitude = std::uint32_t(signedValue);
    QString text = QString::number(magnitude, type == 'x' ? 16 : 10).toUpper();
    if (precision > text.size())
        text.prepend(QString(precision - text.size(), QLatin1Char('0')));
    return negative ? QLatin1Char('-') + text : text;
}

// ---- Text to numbers ------------------------------------------------------------------------

bool IsAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

int HexValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

double CLocaleStrtod(const std::string &text)
{
    // The process locale may use a decimal comma; the text here is already normalised to ".".
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    return strtod_l(text.c_str(), nullptr, cLocale);
}

// ---- Dates ----------------------------------------------------------------------------------

QString TwoDigits(int n)
{
    return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
}

int RunLength(const QString &s, qsizetype i)
{
    const QChar c = s[i].toLower();
    int n = 1;
    while (i + n < s.size() && s[i + n].toLower() == c)
        ++n;
    return n;
}

bool StartsWithNoCase(const QString &s, qsizetype i, QLatin1String what)
{
    return QStringView(s).mid(i, what.size()).compare(what, Qt::CaseInsensitive) == 0;
}

// Writes one date/time pattern in the runtime's tokens.
QString FormatDateTimeText(const QString &pattern, const QDate &date, const QTime &time,
                           const TFormatSettings &fs)
{
    const bool twelveHour = pattern.contains(QLatin1String("am/pm"), Qt::CaseInsensitive) ||
                            pattern.contains(QLatin1String("a/p"), Qt::CaseInsensitive);
    const QLocale names = QLocale::c();
    QString out;
    bool afterHour = false;
    for (qsizetype i = 0; i < pattern.size();) {
        const QChar c = pattern[i];
        const char16_t lower = c.toLower().unicode();
        const int run = RunLength(pattern, i);
        bool wasHour = false;
        if (IsQuote(c)) {
            const qsizetype next = SkipQuoted(pattern, i);
            out += LiteralText(pattern.mid(i, next - i));
            i = next;
            continue;
        }
        if (StartsWithNoCase(pattern, i, QLatin1String("am/pm"))) {
            const QString text = time.hour() < 12 ? QStringLiteral("am") : QStringLiteral("pm");
            out += c.isUpper() ? text.toUpper() : text;
            i += 5;
            continue;
        }
        if (StartsWithNoCase(pattern, i, QLatin1String("a/p"))) {
            const QString text = time.hour() < 12 ? QStringLiteral("a") : QStringLiteral("p");
            out += c.isUpper() ? text.toUpper() : text;
            i += 3;
            continue;
        }
        int used = run;
        switch (lower) {
        case 'd':
            used = std::min(run, 4);
            out += used == 1   ? QString::number(date.day())
                   : used == 2 ? TwoDigits(date.day())
                   : used == 3 ? names.dayName(date.dayOfWeek(), QLocale::ShortFormat)
                               : names.dayName(date.dayOfWeek(), QLocale::LongFormat);
            break;
        case 'm':
            used = std::min(run, 4);
            if (afterHour && used <= 2)
                out += used == 1 ? QString::number(time.minute()) : TwoDigits(time.minute());
            else
                out += used == 1   ? QString::number(date.month())
                       : used == 2 ? TwoDigits(date.month())
                       : used == 3 ? names.monthName(date.month(), QLocale::ShortFormat)
                                   : names.monthName(date.month(), QLocale::LongFormat);
            break;
        case 'y':
            used = std::min(run, 4);
            out += used <= 2 ? TwoDigits(((date.year() % 100) + 100) % 100)
                             : QStringLiteral("%1").arg(date.year(), 4, 10, QLatin1Char('0'));
            break;
        case 'h': {
            used = std::min(run, 2);
            int hour = time.hour();
            if (twelveHour)
                hour = hour % 12 == 0 ? 12 : hour % 12;
            out += used == 1 ? QString::number(hour) : TwoDigits(hour);
            wasHour = true;
            break;
        }
        case 'n':
            used = std::min(run, 2);
            out += used == 1 ? QString::number(time.minute()) : TwoDigits(time.minute());
            break;
        case 's':
            used = std::min(run, 2);
            out += used == 1 ? QString::number(time.second()) : TwoDigits(time.second());
            break;
        case 'z':
            used = run >= 3 ? 3 : 1;
            out += used == 1 ? QString::number(time.msec())
                             : QStringLiteral("%1").arg(time.msec(), 3, 10, QLatin1Char('0'));
            break;
        case '/':
            used = 1;
            out += fs.DateSeparator;
            break;
        case ':':
            used = 1;
            out += fs.TimeSeparator;
            break;
        default:
            used = 1;
            out += c;
            break;
        }
        // A minute token may be separated from its hour by separators and blanks.
        if (wasHour)
            afterHour = true;
        else if (c.isLetter())
            afterHour = false;
        i += used;
    }
    return out;
}

// Translates a Qt date/time pattern into the runtime's tokens and finds its separator.
QString FromQtPattern(const QString &qt, bool time, QChar &separator)
{
    QString out;
    bool separatorFound = false;
    for (qsizetype i = 0; i < qt.size();) {
        const QChar c = qt[i];
        const int run = RunLength(qt, i);
        if (c == QLatin1Char('\'')) {
            // Qt writes a quote inside quoted text as two quotes.
            QString literal;
            qsizetype j = i + 1;
            while (j < qt.size()) {
                if (qt[j] == QLatin1Char('\'')) {
                    if (j + 1 < qt.size() && qt[j + 1] == QLatin1Char('\'')) {
                        literal += QLatin1Char('\'');
                        j += 2;
                        continue;
                    }
                    ++j;
                    break;
                }
                literal += qt[j++];
            }
            if (j == i + 2 && literal.isEmpty())
                literal = QStringLiteral("'");
            if (!literal.isEmpty())
                out += QLatin1Char('"') + literal + QLatin1Char('"');
            i = j;
            continue;
        }
        const char16_t u = c.unicode();
        QString token;
        if (!time && (u == 'd' || u == 'y')) {
            token = QString(u == 'y' ? (run <= 2 ? 2 : 4) : std::min(run, 4), c);
        } else if (!time && u == 'M') {
            token = QString(std::min(run, 4), QLatin1Char('m'));
        } else if (time && (u == 'h' || u == 'H')) {
            token = QString(std::min(run, 2), QLatin1Char('h'));
        } else if (time && u == 'm') {
            token = QString(std::min(run, 2), QLatin1Char('n'));
        } else if (time && u == 's') {
            token = QString(std::min(run, 2), QLatin1Char('s'));
        } else if (time && u == 'z') {
            token = run >= 3 ? QStringLiteral("zzz") : QStringLiteral("z");
        } else if (time && (u == 'A' || u == 'a')) {
            const bool two = i + 1 < qt.size() && qt[i + 1].toLower() == QLatin1Char('p');
            out += u == 'A' ? QStringLiteral("AM/PM") : QStringLiteral("am/pm");
            i += two ? 2 : 1;
            continue;
        } else if (time && u == 't') {
            // The runtime has no time-zone token: drop it with its brackets and blanks.
            i += run;
            if (out.endsWith(QLatin1Char('(')) && i < qt.size() && qt[i] == QLatin1Char(')')) {
                out.chop(1);
                ++i;
            }
            while (out.endsWith(QLatin1Char(' ')))
                out.chop(1);
            if (out.isEmpty())
                while (i < qt.size() && qt[i] == QLatin1Char(' '))
                    ++i;
            continue;
        } else if (c.isLetter()) {
            out += QLatin1Char('"') + QString(run, c) + QLatin1Char('"');
            i += run;
            continue;
        } else {
            const bool isSeparator = !c.isSpace() && (!separatorFound || c == separator);
            if (isSeparator) {
                separator = c;
                separatorFound = true;
                out += time ? QLatin1Char(':') : QLatin1Char('/');
            } else if (c == QLatin1Char('/') || c == QLatin1Char(':') || c == QLatin1Char('"')) {
                out +=
                    c == QLatin1Char('"') ? QStringLiteral("'\"'") : QLatin1Char('"') + c + QLatin1Char('"');
            } else {
                out += c;
            }
            ++i;
            continue;
        }
        out += token;
        i += run;
    }
    return out;
}

QChar SingleChar(const QString &s, QChar fallback)
{
    return s.size() == 1 ? s[0] : fallback;
}

} // namespace

bool VarIsOrdinal(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar: return true;
    default: return false;
    }
}

TFormatSettings TFormatSettings::FromLocale(const QLocale &locale)
{
    TFormatSettings fs;
    fs.DecimalSeparator = SingleChar(locale.decimalPoint(), QLatin1Char('.'));
    fs.ThousandSeparator = SingleChar(locale.groupSeparator(), QLatin1Char(','));
    QChar dateSeparator = fs.DateSeparator;
    QChar timeSeparator = fs.TimeSeparator;
    fs.ShortDateFormat = FromQtPattern(locale.dateFormat(QLocale::ShortFormat), false, dateSeparator);
    fs.LongTimeFormat = FromQtPattern(locale.timeFormat(QLocale::LongFormat), true, timeSeparator);
    fs.DateSeparator = dateSeparator;
    fs.TimeSeparator = timeSeparator;
    return fs;
}

TFormatSettings &FormatSettings()
{
    static TFormatSettings settings = TFormatSettings::FromLocale(QLocale::system());
    return settings;
}

QString FloatToStrF(double value, TFloatFormat format, int precision, int digits)
{
    return FloatToStrF(value, format, precision, digits, FormatSettings());
}

QString FloatToStrF(double value, TFloatFormat format, int precision, int digits, const TFormatSettings &fs)
{
    if (!std::isfinite(value))
        return NonFiniteText(value);
    precision = std::clamp(precision, 1, MaxPrecision);
    const TDecimal exact = ExactDecimal(value);
    switch (format) {
    case ffExponent: return ExponentForm(exact, precision, digits, fs);
    case ffFixed: return FixedForm(exact, precision, digits, QChar(), fs);
    case ffNumber:
    case ffCurrency: return FixedForm(exact, precision, digits, fs.ThousandSeparator, fs);
    case ffGeneral:
    default: return GeneralForm(exact, precision, digits, fs);
    }
}

QString FloatToStr(double value)
{
    return FloatToStr(value, FormatSettings());
}

QString FloatToStr(double value, const TFormatSettings &fs)
{
    return FloatToStrF(value, ffGeneral, 15, 0, fs);
}

QString FormatFloat(const QString &format, double value)
{
    return FormatFloat(format, value, FormatSettings());
}

QString FormatFloat(const QString &format, double value, const TFormatSettings &fs)
{
    if (!std::isfinite(value))
        return NonFiniteText(value);
    const QStringList sections = SplitSections(format);
    auto sectionAt = [&](int index) {
        return index < sections.size() && !sections[index].isEmpty() ? sections[index] : QString();
    };
    const QString zeroSection = sectionAt(2).isEmpty() ? sections[0] : sectionAt(2);

    QString section = sections[0];
    bool minus = false;
    if (value < 0) {
        if (!sectionAt(1).isEmpty())
            section = sectionAt(1);
        else
            minus = true;
    } else if (value == 0) {
        section = zeroSection;
    }
    if (section.isEmpty())
        return FloatToStr(value, fs);

    TSectionLayout layout = ScanSection(section);
    if (layout.IntegerPlaces + layout.FractionPlaces == 0)
        return LiteralText(section);
    TDecimal d = RoundForSection(value, layout);
    if (d.IsZero() && value != 0) {
        // A value that shows as zero is written with the zero section, unsigned.
        section = zeroSection;
        if (section.isEmpty())
            return FloatToStr(0, fs);
        layout = ScanSection(section);
        if (layout.IntegerPlaces + layout.FractionPlaces == 0)
            return LiteralText(section);
        d = TDecimal();
        minus = false;
    }
    if (layout.ExponentAt < 0 && d.Exponent > MaxPrecision)
        return FloatToStr(value, fs);
    return ApplySection(section, layout, d, minus, fs);
}

QString Format(const QString &format, const QVariantList &args)
{
    return Format(format, args, FormatSettings());
}

QString Format(const QString &format, const QVariantList &args, const TFormatSettings &fs)
{
    QString out;
    qsizetype argIndex = 0;
    for (qsizetype i = 0; i < format.size();) {
        if (format[i] != QLatin1Char('%')) {
            out += format[i++];
            continue;
        }
        ++i;
        if (i < format.size() && format[i] == QLatin1Char('%')) {
            out += QLatin1Char('%');
            ++i;
            continue;
        }
        bool leftAlign = false;
        if (i < format.size() && format[i] == QLatin1Char('-')) {
            leftAlign = true;
            ++i;
        }
        auto readNumber = [&]() {
            int n = -1;
            while (i < format.size() && IsAsciiDigit(format[i])) {
                n = std::max(n, 0) * 10 + (format[i].unicode() - '0');
                if (n > MaxFormatWidth)
                    InvalidFormat(format);
                ++i;
            }
            return n;
        };
        const int width = readNumber();
        int precision = -1;
        if (i < format.size() && format[i] == QLatin1Char('.')) {
            ++i;
            precision = std::max(readNumber(), 0);
        }
        if (i >= format.size() || argIndex >= args.size())
            InvalidFormat(format);
        const QVariant &arg = args[argIndex++];
        const char16_t type = format[i++].toLower().unicode();
        QString text;
        switch (type) {
        case 'd':
        case 'u':
        case 'x': {
            if (!VarIsOrdinal(arg))
                InvalidFormat(format);
            text = IntegerText(arg, type, precision);
            break;
        }
        case 's':
            if (!IsTextArg(arg))
                InvalidFormat(format);
            text = arg.toString();
            if (precision >= 0 && precision < text.size())
                text.truncate(precision);
            break;
        case 'f':
        case 'e':
        case 'g': {
            if (!IsFloatArg(arg))
                InvalidFormat(format);
            const double v = arg.toDouble();
            if (type == 'f')
                text = FloatToStrF(v, ffFixed, MaxPrecision, precision < 0 ? 2 : precision, fs);
            else
                text = FloatToStrF(v, type == 'e' ? ffExponent : ffGeneral, precision < 0 ? 15 : precision, 3,
                                   fs);
            break;
        }
        default: InvalidFormat(format);
        }
        if (width > text.size()) {
            const QString pad(width - text.size(), QLatin1Char(' '));
            text = leftAlign ? text + pad : pad + text;
        }
        out += text;
    }
    return out;
}

bool TryStrToInt(const QString &text, std::int32_t &value)
{
    qsizetype i = 0;
    while (i < text.size() && text[i] == QLatin1Char(' '))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        negative = text[i++] == QLatin1Char('-');
    int base = 10;
    if (i < text.size() && text[i] == QLatin1Char('$')) {
        base = 16;
        ++i;
    } else if (i + 1 < text.size() && text[i] == QLatin1Char('0') &&
               (text[i + 1] == QLatin1Char('x') || text[i + 1] == QLatin1Char('X'))) {
        base = 16;
        i += 2;
    }
    if (i >= text.size())
        return false;
    // Decimal must stay within the signed range; hexadecimal may use all 32 bits, as the runtime
    // reads "$FFFFFFFF" as -1.
    const std::uint64_t limit = base == 16 ? 0xFFFFFFFFu : negative ? 0x80000000u : 0x7FFFFFFFu;
    std::uint64_t magnitude = 0;
    for (; i < text.size(); ++i) {
        const int digit = base == 16              ? HexValue(text[i])
                          : IsAsciiDigit(text[i]) ? text[i].unicode() - '0'
                                                  : -1;
        if (digit < 0)
            return false;
        magnitude = magnitude * std::uint64_t(base) + std::uint64_t(digit);
        if (magnitude > limit)
            return false;
    }
    const auto bits = std::uint32_t(magnitude);
    value = std::int32_t(negative ? 0u - bits : bits);
    return true;
}

std::int32_t StrToInt(const QString &text)
{
    std::int32_t value = 0;
    if (!TryStrToInt(text, value))
        throw EConvertError(QStringLiteral("'%1' is not a valid integer value").arg(text));
    return value;
}

bool TryStrToFloat(const QString &text, double &value)
{
    return TryStrToFloat(text, value, FormatSettings());
}

bool TryStrToFloat(const QString &text, double &value, const TFormatSettings &fs)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text[begin] == QLatin1Char(' '))
        ++begin;
    while (end > begin && text[end - 1] == QLatin1Char(' '))
        --end;
    std::string normalised;
    qsizetype i = begin;
    if (i < end && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        normalised += char(text[i++].unicode());
    int mantissaDigits = 0;
    bool pointSeen = false;
    for (; i < end; ++i) {
        if (IsAsciiDigit(text[i])) {
            normalised += char(text[i].unicode());
            ++mantissaDigits;
        } else if (text[i] == fs.DecimalSeparator && !pointSeen) {
            normalised += '.';
            pointSeen = true;
        } else {
            break;
        }
    }
    if (mantissaDigits == 0)
        return false;
    if (i < end && (text[i] == QLatin1Char('e') || text[i] == QLatin1Char('E'))) {
        normalised += 'e';
        ++i;
        if (i < end && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
            normalised += char(text[i++].unicode());
        int exponentDigits = 0;
        for (; i < end && IsAsciiDigit(text[i]); ++i, ++exponentDigits)
            normalised += char(text[i].unicode());
        if (exponentDigits == 0)
            return false;
    }
    if (i != end)
        return false;
    const double parsed = CLocaleStrtod(normalised);
    if (!std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

double StrToFloat(const QString &text)
{
    return StrToFloat(text, FormatSettings());
}

double StrToFloat(const QString &text, const TFormatSettings &fs)
{
    double value = 0;
    if (!TryStrToFloat(text, value, fs))
        throw EConvertError(QStringLiteral("'%1' is not a valid floating point value").arg(text));
    return value;
}

QString IntToStr(std::int64_t value)
{
    return QString::number(value);
}

QString Trim(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && text[begin].unicode() <= ' ')
        ++begin;
    while (end > begin && text[end - 1].unicode() <= ' ')
        --end;
    return text.mid(begin, end - begin);
}

QString UpperCase(const QString &text)
{
    QString out = text;
    for (QChar &c : out)
        if (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
            c = QChar(c.unicode() - ('a' - 'A'));
    return out;
}

int CompareText(const QString &a, const QString &b)
{
    const qsizetype common = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < common; ++i) {
        auto upper = [](QChar c) {
            const int u = c.unicode();
            return u >= 'a' && u <= 'z' ? u - ('a' - 'A') : u;
        };
        const int difference = upper(a[i]) - upper(b[i]);
        if (difference != 0)
            return difference;
    }
    return int(std::clamp<qsizetype>(a.size() - b.size(), std::numeric_limits<int>::min(),
                                     std::numeric_limits<int>::max()));
}

QString DateTimeToStr(const QDateTime &dateTime)
{
    return DateTimeToStr(dateTime, FormatSettings());
}

QString DateTimeToStr(const QDateTime &dateTime, const TFormatSettings &fs)
{
    // An invalid value stands for the runtime's day zero, 30 December 1899 at midnight.
    const QDate date = dateTime.isValid() ? dateTime.date() : QDate(1899, 12, 30);
    const QTime time = dateTime.isValid() ? dateTime.time() : QTime(0, 0);
    QString out = FormatDateTimeText(fs.ShortDateFormat, date, time, fs);
    if (time != QTime(0, 0))
        out += QLatin1Char(' ') + FormatDateTimeText(fs.LongTimeFormat, date, time, fs);
    return out;
}

} // namespace wn
