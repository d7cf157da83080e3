#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <ostream>

using namespace wn;

// Readable failure output for QString comparisons.
static void PrintTo(const QString &s, std::ostream *os)
{
    *os << '"' << s.toStdString() << '"';
}

namespace {

const double NaN = std::numeric_limits<double>::quiet_NaN();
const double Inf = std::numeric_limits<double>::infinity();

TFormatSettings Point()
{
    TFormatSettings fs;
    fs.DecimalSeparator = QLatin1Char('.');
    fs.ThousandSeparator = QLatin1Char(',');
    return fs;
}

TFormatSettings Comma()
{
    TFormatSettings fs;
    fs.DecimalSeparator = QLatin1Char(',');
    fs.ThousandSeparator = QLatin1Char('.');
    fs.DateSeparator = QLatin1Char('.');
    fs.ShortDateFormat = QStringLiteral("dd/mm/yyyy");
    return fs;
}

// Sets the process-wide settings for one test and puts the old ones back.
class TSettingsScope
{
public:
    explicit TSettingsScope(const TFormatSettings &fs) : FSaved(FormatSettings()) { FormatSettings() = fs; }
    ~TSettingsScope() { FormatSettings() = FSaved; }

private:
    TFormatSettings FSaved;
};

QString ConvertMessage(const std::function<void()> &call)
{
    try {
        call();
    } catch (const EConvertError &e) {
        return e.Message();
    }
    return QStringLiteral("<no exception>");
}

} // namespace

TEST(FloatToStrF, FixedExamples)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FloatToStrF(1234.5678, ffFixed, 10, 2, fs), "1234.57");
    EXPECT_EQ(FloatToStrF(0, ffFixed, 10, 1, fs), "0.0");
    EXPECT_EQ(FloatToStrF(0.123456789012, ffFixed, 10, 15, fs), "0.123456789000000");
    EXPECT_EQ(FloatToStrF(-1234.5678, ffFixed, 10, 0, fs), "-1235");
    EXPECT_EQ(FloatToStrF(0.006, ffFixed, 15, 2, fs), "0.01");
    EXPECT_EQ(FloatToStrF(0.004, ffFixed, 15, 2, fs), "0.00");
    // Rounded to nothing: no "-0.00".
    EXPECT_EQ(FloatToStrF(-0.004, ffFixed, 15, 2, fs), "0.00");
    EXPECT_EQ(FloatToStrF(9.995, ffFixed, 15, 2, fs), "9.99"); // stored just below 9.995
    EXPECT_EQ(FloatToStrF(0.5, ffFixed, 15, 0, fs), "1");
    EXPECT_EQ(FloatToStrF(-2.5, ffFixed, 15, 0, fs), "-3");
    EXPECT_EQ(FloatToStrF(999.96, ffFixed, 15, 1, fs), "1000.0");
    EXPECT_EQ(FloatToStrF(1234.5678, ffFixed, 10, 2, Comma()), "1234,57");
}

TEST(FloatToStrF, FixedSwitchesToExponentWhenIntegerDigitsExceedPrecision)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FloatToStrF(12345.0, ffFixed, 5, 1, fs), "12345.0");
    EXPECT_EQ(FloatToStrF(123456.0, ffFixed, 5, 1, fs), "1.2346E+5");
    // Rounding to the precision carries into a new integer digit.
    EXPECT_EQ(FloatToStrF(99999.7, ffFixed, 5, 2, fs), "1.0000E+05");
    EXPECT_EQ(FloatToStrF(1e20, ffFixed, 15, 2, fs), "1.00000000000000E+20");
}

TEST(FloatToStrF, NumberGroupsThousands)
{
    EXPECT_EQ(FloatToStrF(1234567.891, ffNumber, 15, 2, Point()), "1,234,567.89");
    EXPECT_EQ(FloatToStrF(1234567.891, ffNumber, 15, 2, Comma()), "1.234.567,89");
    EXPECT_EQ(FloatToStrF(-123.0, ffNumber, 15, 0, Point()), "-123");
    EXPECT_EQ(FloatToStrF(-1000.0, ffNumber, 15, 1, Point()), "-1,000.0");
}

TEST(FloatToStrF, GeneralExamplesAndThresholds)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FloatToStrF(1.5e-20, ffGeneral, 15, 2, fs), "1.5E-20");
    EXPECT_EQ(FloatToStrF(1e20, ffGeneral, 15, 2, fs), "1E20");
    EXPECT_EQ(FloatToStrF(0.00001, ffGeneral, 15, 2, fs), "1E-05");
    EXPECT_EQ(FloatToStrF(0.0001, ffGeneral, 15, 2, fs), "0.0001");
    EXPECT_EQ(FloatToStrF(1234.5678, ffGeneral, 10, 3, fs), "1234.5678");
    EXPECT_EQ(FloatToStrF(0.00009999, ffGeneral, 15, 0, fs), "9.999E-5");
    // Fifteen integer digits stay fixed; sixteen do not.
    EXPECT_EQ(FloatToStrF(999999999999999.0, ffGeneral, 15, 0, fs), "999999999999999");
    EXPECT_EQ(FloatToStrF(1000000000000000.0, ffGeneral, 15, 0, fs), "1E15");
    EXPECT_EQ(FloatToStrF(1234.5678, ffGeneral, 3, 0, fs), "1.23E3");
    EXPECT_EQ(FloatToStrF(-0.5, ffGeneral, 15, 0, Comma()), "-0,5");
    EXPECT_EQ(FloatToStrF(1.5e-20, ffGeneral, 15, 2, Comma()), "1,5E-20");
}

TEST(FloatToStrF, ExponentForm)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FloatToStrF(1234.5678, ffExponent, 4, 2, fs), "1.235E+03");
    EXPECT_EQ(FloatToStrF(0.00012, ffExponent, 3, 0, fs), "1.20E-4");
    EXPECT_EQ(FloatToStrF(0, ffExponent, 3, 2, fs), "0.00E+00");
    EXPECT_EQ(FloatToStrF(-9.99, ffExponent, 2, 1, fs), "-1.0E+1");
    EXPECT_EQ(FloatToStrF(5, ffExponent, 1, 1, Comma()), "5E+0");
    EXPECT_EQ(FloatToStrF(1.5, ffExponent, 2, 1, Comma()), "1,5E+0");
}

TEST(FloatToStr, FifteenSignificantDigits)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FloatToStr(0.1, fs), "0.1");
    EXPECT_EQ(FloatToStr(1.0 / 3.0, fs), "0.333333333333333");
    EXPECT_EQ(FloatToStr(2.0 / 3.0, fs), "0.666666666666667");
    EXPECT_EQ(FloatToStr(100, fs), "100");
    EXPECT_EQ(FloatToStr(0.00001, fs), "1E-5");
    EXPECT_EQ(FloatToStr(-0.0, fs), "0");
    EXPECT_EQ(FloatToStr(1.7976931348623157e308, fs), "1.79769313486232E308");
    EXPECT_EQ(FloatToStr(4.9406564584124654e-324, fs), "4.94065645841247E-324");
    EXPECT_EQ(FloatToStr(3.25, Comma()), "3,25");
    TSettingsScope scope(Comma());
    EXPECT_EQ(FloatToStr(3.25), "3,25");
    EXPECT_EQ(FloatToStrF(3.25, ffFixed, 15, 1), "3,3");
}

TEST(FloatToStrF, NonFiniteAndOutOfRangeArguments)
{
    const TFormatSettings fs = Point();
    for (TFloatFormat f : {ffGeneral, ffExponent, ffFixed, ffNumber, ffCurrency}) {
        EXPECT_EQ(FloatToStrF(NaN, f, 15, 2, fs), "NAN");
        EXPECT_EQ(FloatToStrF(Inf, f, 15, 2, fs), "INF");
        EXPECT_EQ(FloatToStrF(-Inf, f, 15, 2, fs), "-INF");
    }
    EXPECT_EQ(FloatToStr(NaN), "NAN");
    // Precision is clamped to 18 digits, digits to 18 decimals or 4 exponent digits.
    EXPECT_EQ(FloatToStrF(0.1, ffGeneral, 1000, 0, fs), "0.100000000000000006");
    EXPECT_EQ(FloatToStrF(0.1, ffFixed, 1000, 1000, fs), "0.100000000000000006");
    EXPECT_EQ(FloatToStrF(0.1, ffExponent, 1000, 1000, fs), "1.00000000000000006E-0001");
    EXPECT_EQ(FloatToStrF(0.1, ffFixed, -5, -5, fs), "0");
    EXPECT_EQ(FloatToStrF(1e308, ffFixed, 15, 2, fs), "1.00000000000000E+308");
    EXPECT_EQ(FloatToStrF(1e-300, ffFixed, 15, 2, fs), "0.00");
}

TEST(FormatFloat, IssueExamples)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("-;YES", -1, fs), "YES");
    EXPECT_EQ(FormatFloat("-;YES", 0, fs), "-");
    EXPECT_EQ(FormatFloat("0.0", 2, fs), "2.0");
    EXPECT_EQ(FormatFloat("#,##0.00", 1234567.891, fs), "1,234,567.89");
    EXPECT_EQ(FormatFloat("0.00E+00", 12345, fs), "1.23E+04");
    EXPECT_EQ(FormatFloat("0.0", 0.25, fs), "0.3");
    EXPECT_EQ(FormatFloat("0.00", 2.675, fs), "2.67");
}

TEST(FormatFloat, DigitPlaceholders)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("0.##", 1, fs), "1");
    EXPECT_EQ(FormatFloat("0.##", 1.5, fs), "1.5");
    EXPECT_EQ(FormatFloat("0.##", 1.005, fs), "1"); // 1.005 is stored below the half
    EXPECT_EQ(FormatFloat("#.##", 0.5, fs), ".5");
    EXPECT_EQ(FormatFloat("#.##", 0, fs), ""); // no digit of zero is significant
    EXPECT_EQ(FormatFloat("#.##E+00", 1234, fs), "1.23E+03");
    EXPECT_EQ(FormatFloat("##0.0E+0", 1234, fs), "123.4E+1");
    EXPECT_EQ(FormatFloat("000", 7, fs), "007");
    EXPECT_EQ(FormatFloat("0", 123456, fs), "123456");
    EXPECT_EQ(FormatFloat("#,##0", 5, fs), "5");
    EXPECT_EQ(FormatFloat("#,##0", 1000, fs), "1,000");
    EXPECT_EQ(FormatFloat("#,##0", 999.5, fs), "1,000");
    EXPECT_EQ(FormatFloat("0,000", 5, fs), "0,005");
    EXPECT_EQ(FormatFloat("#,##0.00", 0, fs), "0.00");
    EXPECT_EQ(FormatFloat("#,##0.00", -1234567.891, fs), "-1,234,567.89");
    EXPECT_EQ(FormatFloat("0.000", 1.0005, fs), "1.000"); // below the half as stored
    EXPECT_EQ(FormatFloat("0.000", 1.00051, fs), "1.001");
    EXPECT_EQ(FormatFloat("#,##0.00", 1234567.891, Comma()), "1.234.567,89");
    EXPECT_EQ(FormatFloat("0.0", 0.25, Comma()), "0,3");
}

TEST(FormatFloat, SectionsAndSigns)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("0.0;(0.0)", -1.25, fs), "(1.3)");
    EXPECT_EQ(FormatFloat("0.0;(0.0);zero", 0, fs), "zero");
    EXPECT_EQ(FormatFloat("0.0;;zero", -2, fs), "-2.0");
    EXPECT_EQ(FormatFloat("0.0", -2, fs), "-2.0");
    // A value that shows as zero takes the zero section, unsigned.
    EXPECT_EQ(FormatFloat("0.0;(0.0);zero", -0.01, fs), "zero");
    EXPECT_EQ(FormatFloat("0.0", -0.01, fs), "0.0");
    EXPECT_EQ(FormatFloat("0.0;(0.0);zero;ignored", 1, fs), "1.0");
    EXPECT_EQ(FormatFloat("'a;b' 0;x", 1, fs), "a;b 1");
}

TEST(FormatFloat, LiteralsAndQuotes)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("0.0 \"dB(A)\"", 55.25, fs), "55.3 dB(A)");
    EXPECT_EQ(FormatFloat("'#'0", 3, fs), "#3");
    EXPECT_EQ(FormatFloat("0 m", 3, fs), "3 m");
    EXPECT_EQ(FormatFloat("x", 3, fs), "x");
    EXPECT_EQ(FormatFloat("'unterminated 0", 3, fs), "unterminated 0");
    EXPECT_EQ(FormatFloat("0,", 3, fs), "3,");
}

TEST(FormatFloat, Scientific)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("0.00E+00", 0.00012345, fs), "1.23E-04");
    EXPECT_EQ(FormatFloat("0.00E-00", 12345, fs), "1.23E04");
    EXPECT_EQ(FormatFloat("0.00E-00", 0.012345, fs), "1.23E-02");
    EXPECT_EQ(FormatFloat("0.00e+000", 12345, fs), "1.23e+004");
    EXPECT_EQ(FormatFloat("00.0E+0", 12345, fs), "12.3E+3");
    EXPECT_EQ(FormatFloat("0.00E+00", 0, fs), "0.00E+00");
    EXPECT_EQ(FormatFloat("0.##E+00", 10, fs), "1E+01");
    EXPECT_EQ(FormatFloat("0.00E+00", 9.996, fs), "1.00E+01");
    EXPECT_EQ(FormatFloat("0.00E+00", -12345, Comma()), "-1,23E+04");
    EXPECT_EQ(FormatFloat("0E", 5, fs), "5E");
}

TEST(FormatFloat, FallbacksAndBadInput)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(FormatFloat("", 1.5, fs), "1.5");
    EXPECT_EQ(FormatFloat(";x", 1.5, fs), "1.5");
    EXPECT_EQ(FormatFloat("0.00", NaN, fs), "NAN");
    EXPECT_EQ(FormatFloat("0.00", Inf, fs), "INF");
    EXPECT_EQ(FormatFloat("0.00", -Inf, fs), "-INF");
    // More than 18 integer digits: general form.
    EXPECT_EQ(FormatFloat("0.00", 1e20, fs), "1E20");
    EXPECT_EQ(FormatFloat("0.00", 1e300, fs), "1E300");
    const QString manyDecimals = QStringLiteral("0.") + QString(400, QLatin1Char('0'));
    const QString text = FormatFloat(manyDecimals, 1.0 / 3.0, fs);
    EXPECT_EQ(text.size(), 402);
    EXPECT_TRUE(text.startsWith("0.333333333333333315000"));
    EXPECT_EQ(FormatFloat("0.000", 5e-324, fs), "0.000");
    EXPECT_EQ(FormatFloat(QString::fromUtf8("0.0 €ü"), 1, fs), QString::fromUtf8("1.0 €ü"));
    EXPECT_EQ(FormatFloat(";;;;", 1, fs), "1");
    EXPECT_EQ(FormatFloat("E+00", 1, fs), "E+01"); // no placeholder before it: a literal "E+"
    EXPECT_EQ(FormatFloat("0.0E+00 0#", 1, fs), "1.0E+00 0#");
}

TEST(Format, Integers)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(Format("%d", {42}, fs), "42");
    EXPECT_EQ(Format("%5d|%-5d|", {42, 42}, fs), "   42|42   |");
    EXPECT_EQ(Format("%.3d", {-5}, fs), "-005");
    EXPECT_EQ(Format("%d", {qint64(-9000000000)}, fs), "-9000000000");
    EXPECT_EQ(Format("%d", {std::numeric_limits<int>::min()}, fs), "-2147483648");
    EXPECT_EQ(Format("%u", {-1}, fs), "4294967295");
    EXPECT_EQ(Format("%u", {7u}, fs), "7");
    EXPECT_EQ(Format("%x", {255}, fs), "FF");
    EXPECT_EQ(Format("%x", {-1}, fs), "FFFFFFFF");
    EXPECT_EQ(Format("%x", {qint64(-1)}, fs), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(Format("%.4x", {255}, fs), "00FF");
    EXPECT_EQ(Format("%d", {quint64(18446744073709551615ull)}, fs), "18446744073709551615");
}

TEST(Format, TextAndPercent)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(Format("%s", {QStringLiteral("abc")}, fs), "abc");
    EXPECT_EQ(Format("[%6s][%-6s]", {QStringLiteral("ab"), QStringLiteral("ab")}, fs), "[    ab][ab    ]");
    EXPECT_EQ(Format("%.2s", {QStringLiteral("abc")}, fs), "ab");
    EXPECT_EQ(Format("100%%", {}, fs), "100%");
    EXPECT_EQ(Format("%s=%d%%", {QStringLiteral("x"), 5}, fs), "x=5%");
    EXPECT_EQ(Format("no args", {1, 2}, fs), "no args");
    EXPECT_EQ(Format(QString::fromUtf8("ä%sö"), {QString::fromUtf8("ü")}, fs), QString::fromUtf8("äüö"));
    EXPECT_EQ(Format("%D %S", {1, QStringLiteral("a")}, fs), "1 a");
}

TEST(Format, Floats)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(Format("%f", {1.005}, fs), "1.00");
    EXPECT_EQ(Format("%f", {2.5}, fs), "2.50");
    EXPECT_EQ(Format("%.3f", {3.14159}, fs), "3.142");
    EXPECT_EQ(Format("%.0f", {2.5}, fs), "3");
    EXPECT_EQ(Format("%8.2f|", {-1.5}, fs), "   -1.50|");
    EXPECT_EQ(Format("%-8.1f|", {1.25}, fs), "1.3     |");
    EXPECT_EQ(Format("%e", {1234.5}, fs), "1.23450000000000E+003");
    EXPECT_EQ(Format("%.3e", {-0.000123}, fs), "-1.23E-004");
    EXPECT_EQ(Format("%g", {1234.5}, fs), "1234.5");
    EXPECT_EQ(Format("%g", {1e20}, fs), "1E020");
    EXPECT_EQ(Format("%.3g", {1234.5}, fs), "1.23E003");
    EXPECT_EQ(Format("%f", {NaN}, fs), "NAN");
    EXPECT_EQ(Format("%.3f", {3.14159}, Comma()), "3,142");
    EXPECT_EQ(Format("%e", {1.5}, Comma()), "1,50000000000000E+000");
    EXPECT_EQ(Format("%g", {0.5f}, Comma()), "0,5");
}

TEST(Format, MismatchesThrowNamingTheFormat)
{
    const TFormatSettings fs = Point();
    EXPECT_EQ(ConvertMessage([&] { Format("%d", {QStringLiteral("x")}, fs); }),
              "Format '%d' invalid or incompatible with argument");
    EXPECT_EQ(ConvertMessage([&] { Format("a=%d b=%d", {1}, fs); }),
              "Format 'a=%d b=%d' invalid or incompatible with argument");
    const QStringList bad = {"%d", "%s", "%f", "%q", "%", "%5", "%-", "%.", "%999999999d"};
    const QVariantList mismatched = {QVariant(1.5), QVariant(1), QVariant(1), QVariant(1), QVariant(1),
                                     QVariant(1),   QVariant(1), QVariant(1), QVariant(1)};
    for (qsizetype i = 0; i < bad.size(); ++i)
        EXPECT_THROW(Format(bad[i], {mismatched[i]}, fs), EConvertError) << bad[i].toStdString();
    // A Boolean is neither a number nor a text.
    EXPECT_THROW(Format("%d", {true}, fs), EConvertError);
    EXPECT_THROW(Format("%s", {true}, fs), EConvertError);
    EXPECT_THROW(Format("%f", {5}, fs), EConvertError);
    EXPECT_THROW(Format("%x", {QVariant()}, fs), EConvertError);
    EXPECT_THROW(Format("%s", {}, fs), EConvertError);
}

TEST(StrToInt, AcceptedForms)
{
    std::int32_t v = 0;
    const std::pair<const char *, std::int32_t> cases[] = {
        {"0", 0},
        {"42", 42},
        {"-42", -42},
        {"+7", 7},
        {"   12", 12},
        {"$FF", 255},
        {"$ff", 255},
        {"0x1A", 26},
        {"0X1a", 26},
        {"-$10", -16},
        {"2147483647", 2147483647},
        {"-2147483648", std::numeric_limits<std::int32_t>::min()},
        {"$7FFFFFFF", 2147483647},
        {"$FFFFFFFF", -1},
        {"00000000000000000000042", 42}};
    for (const auto &[text, expected] : cases) {
        EXPECT_TRUE(TryStrToInt(QString::fromLatin1(text), v)) << text;
        EXPECT_EQ(v, expected) << text;
        EXPECT_EQ(StrToInt(QString::fromLatin1(text)), expected) << text;
    }
}

TEST(StrToInt, RejectedForms)
{
    const char *bad[] = {
        "",    " ",   "-",    "+",          "$",           "0x",         "12abc",
        "12 ", "1 2", "1.0",  "2147483648", "-2147483649", "$100000000", "99999999999999999999",
        "--1", "\t1", "0x-1", "x1",         "$G"};
    for (const char *text : bad) {
        std::int32_t v = 77;
        EXPECT_FALSE(TryStrToInt(QString::fromLatin1(text), v)) << text;
        EXPECT_THROW(StrToInt(QString::fromLatin1(text)), EConvertError) << text;
    }
    EXPECT_FALSE([] {
        std::int32_t v;
        return TryStrToInt(QString::fromUtf8("١٢"), v);
    }());
    EXPECT_EQ(ConvertMessage([] { StrToInt("12abc"); }), "'12abc' is not a valid integer value");
    EXPECT_EQ(ConvertMessage([] { StrToInt(""); }), "'' is not a valid integer value");
}

TEST(StrToFloat, PointSeparator)
{
    const TFormatSettings fs = Point();
    double v = 0;
    const std::pair<const char *, double> cases[] = {
        {"1.5", 1.5},
        {" -2.25 ", -2.25},
        {"+3", 3},
        {".5", 0.5},
        {"5.", 5},
        {"1e3", 1000},
        {"1.5E-2", 0.015},
        {"-1e+2", -100},
        {"0", 0},
        {"1e-400", 0},
        {"123456789012345678901234567890", 1.2345678901234568e29}};
    for (const auto &[text, expected] : cases) {
        EXPECT_TRUE(TryStrToFloat(QString::fromLatin1(text), v, fs)) << text;
        EXPECT_DOUBLE_EQ(v, expected) << text;
    }
    EXPECT_EQ(StrToFloat("0.1", fs), 0.1);
}

TEST(StrToFloat, CommaSeparator)
{
    const TFormatSettings fs = Comma();
    double v = 0;
    EXPECT_TRUE(TryStrToFloat("1,5", v, fs));
    EXPECT_EQ(v, 1.5);
    EXPECT_TRUE(TryStrToFloat("-0,25e1", v, fs));
    EXPECT_EQ(v, -2.5);
    EXPECT_FALSE(TryStrToFloat("1.5", v, fs));
    EXPECT_FALSE(TryStrToFloat("1.000,5", v, fs));
    TSettingsScope scope(fs);
    EXPECT_EQ(StrToFloat("2,75"), 2.75);
    EXPECT_THROW(StrToFloat("2.75"), EConvertError);
}

TEST(StrToFloat, RejectedForms)
{
    const TFormatSettings fs = Point();
    const char *bad[] = {"",    " ",   ".",   "-",    "1e",       "1e+",   "e5",   "1.2.3", "1,5", "1 5",
                         "NaN", "nan", "INF", "-Inf", "infinity", "1e400", "0x10", "1d",    "--1", "\t1"};
    for (const char *text : bad) {
        double v = 77;
        EXPECT_FALSE(TryStrToFloat(QString::fromLatin1(text), v, fs)) << text;
        EXPECT_EQ(v, 77) << text;
        EXPECT_THROW(StrToFloat(QString::fromLatin1(text), fs), EConvertError) << text;
    }
    EXPECT_EQ(ConvertMessage([&] { StrToFloat("x", fs); }), "'x' is not a valid floating point value");
    double v = 0;
    EXPECT_FALSE(TryStrToFloat(QString::fromUtf8("１.５"), v, fs));
}

TEST(SysUtils, FloatTextRoundTrips)
{
    for (const TFormatSettings &fs : {Point(), Comma()}) {
        for (double x : {0.1, -1234.5678, 1e-300, 6.02214076e23, 123456789.0, 2.0 / 3.0}) {
            const QString text = FloatToStrF(x, ffGeneral, 17, 0, fs);
            EXPECT_EQ(StrToFloat(text, fs), x) << text.toStdString();
        }
    }
}

TEST(SysUtils, SmallTextHelpers)
{
    EXPECT_EQ(IntToStr(0), "0");
    EXPECT_EQ(IntToStr(-9223372036854775807LL - 1), "-9223372036854775808");
    EXPECT_EQ(Trim(QString::fromLatin1(" \t\r\n ab c\x01 ")), "ab c");
    EXPECT_EQ(Trim(QStringLiteral("   ")), "");
    EXPECT_EQ(Trim(QString::fromUtf8("\u00a0x\u00a0")), QString::fromUtf8("\u00a0x\u00a0"));
    EXPECT_EQ(UpperCase(QString::fromUtf8("abz äöü {}")), QString::fromUtf8("ABZ äöü {}"));
    EXPECT_EQ(CompareText("abc", "ABC"), 0);
    EXPECT_LT(CompareText("abc", "abd"), 0);
    EXPECT_GT(CompareText("b", "A"), 0);
    EXPECT_LT(CompareText("ab", "abc"), 0);
    EXPECT_GT(CompareText("_", "a"), 0); // compared upper-cased: '_' > 'A'
    EXPECT_NE(CompareText(QString::fromUtf8("ä"), QString::fromUtf8("Ä")), 0);
    EXPECT_EQ(CompareText("", ""), 0);
}

TEST(DateTimeToStr, UsesSettingsAndOmitsMidnight)
{
    TFormatSettings fs = Point();
    const QDateTime t(QDate(2024, 3, 5), QTime(7, 8, 9));
    EXPECT_EQ(DateTimeToStr(t, fs), "05/03/2024 07:08:09");
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(0, 0)), fs), "05/03/2024");
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(0, 0, 0, 1)), fs), "05/03/2024 00:00:00");
    fs.DateSeparator = QLatin1Char('.');
    fs.TimeSeparator = QLatin1Char('-');
    fs.ShortDateFormat = QStringLiteral("d/m/yy");
    fs.LongTimeFormat = QStringLiteral("h:nn:s");
    EXPECT_EQ(DateTimeToStr(t, fs), "5.3.24 7-08-9");
    fs.ShortDateFormat = QStringLiteral("yyyy'/'mm\"x\"dd ddd mmm");
    fs.LongTimeFormat = QStringLiteral("hh:mm am/pm zzz");
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(19, 8, 9, 7)), fs),
              "2024/03x05 Tue Mar 07-08 pm 007");
    EXPECT_EQ(DateTimeToStr(QDateTime(), Point()), "30/12/1899");
    TSettingsScope scope(Comma());
    EXPECT_EQ(DateTimeToStr(t), "05.03.2024 07:08:09");
}

TEST(FormatSettings, FromLocale)
{
    const TFormatSettings de = TFormatSettings::FromLocale(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(de.DecimalSeparator, QLatin1Char(','));
    EXPECT_EQ(de.ThousandSeparator, QLatin1Char('.'));
    EXPECT_EQ(de.DateSeparator, QLatin1Char('.'));
    EXPECT_EQ(de.TimeSeparator, QLatin1Char(':'));
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9)), de), "05.03.24 07:08:09");
    EXPECT_EQ(FloatToStrF(1234.5, ffNumber, 15, 1, de), "1.234,5");

    const TFormatSettings us = TFormatSettings::FromLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(us.DecimalSeparator, QLatin1Char('.'));
    EXPECT_EQ(us.DateSeparator, QLatin1Char('/'));
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(19, 8, 9)), us), "3/5/24 7:08:09 PM");

    const TFormatSettings iso = TFormatSettings::FromLocale(QLocale(QLocale::Swedish, QLocale::Sweden));
    EXPECT_EQ(iso.DateSeparator, QLatin1Char('-'));
    EXPECT_EQ(DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9)), iso), "2024-03-05 07:08:09");
}

TEST(FormatSettings, TimeZoneTokensAreDropped)
{
    for (const QLocale &locale :
         {QLocale(QLocale::Spanish, QLocale::Spain), QLocale(QLocale::Chinese, QLocale::China),
          QLocale(QLocale::English, QLocale::UnitedStates), QLocale::c()}) {
        const TFormatSettings fs = TFormatSettings::FromLocale(locale);
        const QString time = DateTimeToStr(QDateTime(QDate(2024, 3, 5), QTime(19, 8, 9)), fs);
        EXPECT_FALSE(time.contains(QLatin1Char('(')) || time.contains(QLatin1String("  ")) ||
                     time.endsWith(' '))
            << locale.name().toStdString() << ": " << time.toStdString();
        EXPECT_TRUE(time.contains(QLatin1String("08"))) << time.toStdString();
    }
    EXPECT_EQ(FormatSettings().DecimalSeparator,
              TFormatSettings::FromLocale(QLocale::system()).DecimalSeparator);
}
