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

// Each form by example; a ',' row uses the comma settings. Fixed switches to the exponent form
// when the integer digits exceed the precision.
TEST(FloatToStrF, FormsByExample)
{
    const struct {
        double Value;
        TFloatFormat Format;
        int Precision, Digits;
        char Separator;
        const char *Want;
    } cases[] = {
        {1234.5678, ffFixed, 10, 2, '.', "1234.57"},
        {0, ffFixed, 10, 1, '.', "0.0"},
        {0.123456789012, ffFixed, 10, 15, '.', "0.123456789000000"},
        {-1234.5678, ffFixed, 10, 0, '.', "-1235"},
        {0.006, ffFixed, 15, 2, '.', "0.01"},
        {0.004, ffFixed, 15, 2, '.', "0.00"},
        {-0.004, ffFixed, 15, 2, '.', "0.00"}, // rounded to nothing: no "-0.00"
        {9.995, ffFixed, 15, 2, '.', "9.99"},  // stored just below 9.995
        {0.5, ffFixed, 15, 0, '.', "1"},
        {-2.5, ffFixed, 15, 0, '.', "-3"},
        {999.96, ffFixed, 15, 1, '.', "1000.0"},
        {1234.5678, ffFixed, 10, 2, ',', "1234,57"},
        {12345.0, ffFixed, 5, 1, '.', "12345.0"},
        {123456.0, ffFixed, 5, 1, '.', "1.2346E+5"},
        {99999.7, ffFixed, 5, 2, '.', "1.0000E+05"}, // rounding carries into a new digit
        {1e20, ffFixed, 15, 2, '.', "1.00000000000000E+20"},
        {1234567.891, ffNumber, 15, 2, '.', "1,234,567.89"},
        {1234567.891, ffNumber, 15, 2, ',', "1.234.567,89"},
        {-123.0, ffNumber, 15, 0, '.', "-123"},
        {-1000.0, ffNumber, 15, 1, '.', "-1,000.0"},
        {1.5e-20, ffGeneral, 15, 2, '.', "1.5E-20"},
        {1e20, ffGeneral, 15, 2, '.', "1E20"},
        {0.00001, ffGeneral, 15, 2, '.', "1E-05"},
        {0.0001, ffGeneral, 15, 2, '.', "0.0001"},
        {1234.5678, ffGeneral, 10, 3, '.', "1234.5678"},
        {0.00009999, ffGeneral, 15, 0, '.', "9.999E-5"},
        {999999999999999.0, ffGeneral, 15, 0, '.', "999999999999999"},
        {1000000000000000.0, ffGeneral, 15, 0, '.', "1E15"}, // sixteen integer digits
        {1234.5678, ffGeneral, 3, 0, '.', "1.23E3"},
        {-0.5, ffGeneral, 15, 0, ',', "-0,5"},
        {1.5e-20, ffGeneral, 15, 2, ',', "1,5E-20"},
        {1234.5678, ffExponent, 4, 2, '.', "1.235E+03"},
        {0.00012, ffExponent, 3, 0, '.', "1.20E-4"},
        {0, ffExponent, 3, 2, '.', "0.00E+00"},
        {-9.99, ffExponent, 2, 1, '.', "-1.0E+1"},
        {5, ffExponent, 1, 1, ',', "5E+0"},
        {1.5, ffExponent, 2, 1, ',', "1,5E+0"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(
            FloatToStrF(c.Value, c.Format, c.Precision, c.Digits, c.Separator == ',' ? Comma() : Point()),
            c.Want)
            << c.Value << " " << int(c.Format) << " " << c.Precision << " " << c.Digits;
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

// Placeholders, sections, literals and exponents by example; a ',' row uses the comma settings.
TEST(FormatFloat, PatternsByExample)
{
    const struct {
        const char *Format;
        double Value;
        char Separator;
        const char *Want;
    } cases[] = {
        {"-;YES", -1, '.', "YES"},
        {"-;YES", 0, '.', "-"},
        {"0.0", 2, '.', "2.0"},
        {"#,##0.00", 1234567.891, '.', "1,234,567.89"},
        {"0.00E+00", 12345, '.', "1.23E+04"},
        {"0.0", 0.25, '.', "0.3"},
        {"0.00", 2.675, '.', "2.67"},
        {"0.##", 1, '.', "1"},
        {"0.##", 1.5, '.', "1.5"},
        {"0.##", 1.005, '.', "1"}, // 1.005 is stored below the half
        {"#.##", 0.5, '.', ".5"},
        {"#.##", 0, '.', ""}, // no digit of zero is significant
        {"#.##E+00", 1234, '.', "1.23E+03"},
        {"##0.0E+0", 1234, '.', "123.4E+1"},
        {"000", 7, '.', "007"},
        {"0", 123456, '.', "123456"},
        {"#,##0", 5, '.', "5"},
        {"#,##0", 1000, '.', "1,000"},
        {"#,##0", 999.5, '.', "1,000"},
        {"0,000", 5, '.', "0,005"},
        {"#,##0.00", 0, '.', "0.00"},
        {"#,##0.00", -1234567.891, '.', "-1,234,567.89"},
        {"0.000", 1.0005, '.', "1.000"}, // below the half as stored
        {"0.000", 1.00051, '.', "1.001"},
        {"#,##0.00", 1234567.891, ',', "1.234.567,89"},
        {"0.0", 0.25, ',', "0,3"},
        {"0.0;(0.0)", -1.25, '.', "(1.3)"},
        {"0.0;(0.0);zero", 0, '.', "zero"},
        {"0.0;;zero", -2, '.', "-2.0"},
        {"0.0", -2, '.', "-2.0"},
        // A value that shows as zero takes the zero section, unsigned.
        {"0.0;(0.0);zero", -0.01, '.', "zero"},
        {"0.0", -0.01, '.', "0.0"},
        {"0.0;(0.0);zero;ignored", 1, '.', "1.0"},
        {"'a;b' 0;x", 1, '.', "a;b 1"},
        {"0.0 \"dB(A)\"", 55.25, '.', "55.3 dB(A)"},
        {"'#'0", 3, '.', "#3"},
        {"0 m", 3, '.', "3 m"},
        {"x", 3, '.', "x"},
        {"'unterminated 0", 3, '.', "unterminated 0"},
        {"0,", 3, '.', "3,"},
        {"0.00E+00", 0.00012345, '.', "1.23E-04"},
        {"0.00E-00", 12345, '.', "1.23E04"},
        {"0.00E-00", 0.012345, '.', "1.23E-02"},
        {"0.00e+000", 12345, '.', "1.23e+004"},
        {"00.0E+0", 12345, '.', "12.3E+3"},
        {"0.00E+00", 0, '.', "0.00E+00"},
        {"0.##E+00", 10, '.', "1E+01"},
        {"0.00E+00", 9.996, '.', "1.00E+01"},
        {"0.00E+00", -12345, ',', "-1,23E+04"},
        {"0E", 5, '.', "5E"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(FormatFloat(c.Format, c.Value, c.Separator == ',' ? Comma() : Point()), c.Want)
            << c.Format << " " << c.Value;
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

TEST(Format, ArgumentsByExample)
{
    const struct {
        QString Format;
        QVariantList Args;
        char Separator;
        QString Want;
    } cases[] = {
        {"%d", {42}, '.', "42"},
        {"%5d|%-5d|", {42, 42}, '.', "   42|42   |"},
        {"%.3d", {-5}, '.', "-005"},
        {"%d", {qint64(-9000000000)}, '.', "-9000000000"},
        {"%d", {std::numeric_limits<int>::min()}, '.', "-2147483648"},
        {"%u", {-1}, '.', "4294967295"},
        {"%u", {7u}, '.', "7"},
        {"%x", {255}, '.', "FF"},
        {"%x", {-1}, '.', "FFFFFFFF"},
        {"%x", {qint64(-1)}, '.', "FFFFFFFFFFFFFFFF"},
        {"%.4x", {255}, '.', "00FF"},
        {"%d", {quint64(18446744073709551615ull)}, '.', "18446744073709551615"},
        {"%s", {QStringLiteral("abc")}, '.', "abc"},
        {"[%6s][%-6s]", {QStringLiteral("ab"), QStringLiteral("ab")}, '.', "[    ab][ab    ]"},
        {"%.2s", {QStringLiteral("abc")}, '.', "ab"},
        {"100%%", {}, '.', "100%"},
        {"%s=%d%%", {QStringLiteral("x"), 5}, '.', "x=5%"},
        {"no args", {1, 2}, '.', "no args"},
        {QString::fromUtf8("ä%sö"), {QString::fromUtf8("ü")}, '.', QString::fromUtf8("äüö")},
        {"%D %S", {1, QStringLiteral("a")}, '.', "1 a"},
        {"%f", {1.005}, '.', "1.00"},
        {"%f", {2.5}, '.', "2.50"},
        {"%.3f", {3.14159}, '.', "3.142"},
        {"%.0f", {2.5}, '.', "3"},
        {"%8.2f|", {-1.5}, '.', "   -1.50|"},
        {"%-8.1f|", {1.25}, '.', "1.3     |"},
        {"%e", {1234.5}, '.', "1.23450000000000E+003"},
        {"%.3e", {-0.000123}, '.', "-1.23E-004"},
        {"%g", {1234.5}, '.', "1234.5"},
        {"%g", {1e20}, '.', "1E020"},
        {"%.3g", {1234.5}, '.', "1.23E003"},
        {"%f", {NaN}, '.', "NAN"},
        {"%.3f", {3.14159}, ',', "3,142"},
        {"%e", {1.5}, ',', "1,50000000000000E+000"},
        {"%g", {0.5f}, ',', "0,5"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Format(c.Format, c.Args, c.Separator == ',' ? Comma() : Point()), c.Want)
            << qPrintable(c.Format);
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
