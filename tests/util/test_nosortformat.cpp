#include "util/NoSortFormat.h"

#include <QStringList>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

using namespace wn;

namespace {

// Opens the scanner and formatting steps to the tests.
class TOpenFormat : public TStringFormat
{
public:
    using TStringFormat::GetChars;
    using TStringFormat::GetNumber;
    using TStringFormat::GetPart;
    using TStringFormat::SetNoStr;
};

struct ScannedPart {
    int Type;
    QString Text;
    QChar Sep;
    bool HasOne;
    bool operator==(const ScannedPart &) const = default;
};

std::vector<ScannedPart> Scan(const QString &text)
{
    TOpenFormat f;
    f.SetNoStr(text);
    std::vector<ScannedPart> parts;
    std::int32_t pos = 1;
    std::uint8_t type = 9;
    QChar sep = QLatin1Char('x');
    QString part;
    bool hasOne = true;
    while (f.GetPart(pos, type, sep, part, hasOne))
        parts.push_back({type, part, sep, hasOne});
    EXPECT_EQ(type, 0);
    EXPECT_TRUE(sep.isNull());
    EXPECT_FALSE(hasOne);
    return parts;
}

TStringFormat Format(const QString &format, const QString &sort = QString())
{
    TStringFormat f;
    f.InitPointNo(format);
    f.SetSortStr(sort);
    return f;
}

} // namespace

TEST(NoSortFormat, ScannerSplitsAtDigitsAndSeparators)
{
    const QChar none;
    const QChar dot = QLatin1Char('.');
    EXPECT_EQ(Scan("A00.0000"), (std::vector<ScannedPart>{
                                    {2, "A", none, false}, {1, "00", dot, false}, {1, "0000", none, false}}));
    EXPECT_EQ(Scan(".00"), (std::vector<ScannedPart>{{0, ".", dot, false}, {1, "00", none, false}}));
    EXPECT_EQ(Scan("P10-3;x,"), (std::vector<ScannedPart>{{2, "P", none, false},
                                                          {1, "10", none, true},
                                                          {2, "-", none, false},
                                                          {1, "3", QLatin1Char(';'), false},
                                                          {2, "x", QLatin1Char(','), false}}));
    // A lone separator is its own text and its own separator.
    EXPECT_EQ(Scan("..;"),
              (std::vector<ScannedPart>{
                  {0, ".", dot, false}, {0, ".", dot, false}, {0, ";", QLatin1Char(';'), false}}));
    EXPECT_TRUE(Scan("").empty());
}

TEST(NoSortFormat, PartsAreFilledToTheirLengthButNeverCut)
{
    TOpenFormat f;
    f.InitPointNo("90.000,100;abc");
    EXPECT_EQ(f.GetNumber(0, "7"), "70");
    EXPECT_EQ(f.GetNumber(1, "7"), "007");
    EXPECT_EQ(f.GetNumber(2, "7"), "700");
    EXPECT_EQ(f.GetNumber(1, "12345"), "12345");
    EXPECT_EQ(f.GetChars(3, "x"), "--x");
    EXPECT_EQ(f.GetChars(3, "wxyz"), "wxyz");
}

TEST(NoSortFormat, InitialisationFindsCounterAndAlphaOnly)
{
    TStringFormat f;
    f.InitPointNo("A00.0000");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.FormatStr, "A00.0000");
    EXPECT_EQ(f.FormatLen, 8);
    ASSERT_EQ(f.Parts.size(), 3u);
    EXPECT_EQ(f.Parts[1].Len, 2);
    EXPECT_EQ(f.Parts[1].Sep, QLatin1Char('.'));
    EXPECT_EQ(f.CounterIdx, 1); // no "1": the first number part
    EXPECT_TRUE(f.GetCounter());
    EXPECT_FALSE(f.AlphaOnly);

    f.InitPointNo("A0.91.10");
    EXPECT_EQ(f.ErrorCode, 100);
    EXPECT_EQ(f.CounterIdx, 2);
    EXPECT_TRUE(f.Parts[3].IsCounter);
    EXPECT_EQ(f.ErrorStr(), "Unexptected error by creating the sort string");

    f.InitPointNo("01.10");
    EXPECT_EQ(f.ErrorCode, 100);
    EXPECT_EQ(f.CounterIdx, 0);

    f.InitPointNo("abc");
    EXPECT_TRUE(f.AlphaOnly);
    EXPECT_FALSE(f.GetCounter());
    EXPECT_EQ(f.GetSortStr("B10x"), "B10x");

    f.InitPointNo("a.b");
    EXPECT_FALSE(f.AlphaOnly);
    EXPECT_EQ(f.CounterIdx, -1);

    f.InitPointNo("");
    EXPECT_EQ(f.FormatLen, 0);
    EXPECT_TRUE(f.Parts.empty());
    EXPECT_EQ(f.GetSortStr("B10.x"), "B10.x");
    EXPECT_EQ(f.ErrorCode, 0);
}

TEST(NoSortFormat, WorkedExamplesWithoutSortString)
{
    TStringFormat f = Format("A00.0000");
    const auto expect = [&f](const QString &number, const QString &sortStr) {
        EXPECT_EQ(f.GetSortStr(number), sortStr) << number.toStdString();
        EXPECT_EQ(f.ErrorCode, 0) << number.toStdString();
        EXPECT_TRUE(f.PointNoOK(number));
    };
    expect("B5.12", "B05.0012");
    expect("B5", "B05.0000");
    expect("5.12", "-05.0012");
    expect("", "-00.0000");
    expect("B", "B00.0000");
    expect("B.5", "B00.0005"); // the separator says the 5 belongs behind the point
    expect("B5.", "B05.0000");
    expect("B5.12.", "B05.0012");
    expect("B5.3;", "B05.0003"); // a separator after the last part is left to the leftover check

    const auto fails = [&f](const QString &number, int code) {
        f.GetSortStr(number);
        EXPECT_EQ(f.ErrorCode, code) << number.toStdString();
        EXPECT_FALSE(f.PointNoOK(number));
        EXPECT_EQ(f.ErrorCode, code);
    };
    fails("B123.1", -7);
    fails("B5.12345", -7);
    fails("xyz1", -7);
    fails("B5.12.3", -8);
    fails("B5.12x", -8);
    fails("5B", -4);
    fails("B5;3", -10);
    fails("B;5", -10);
}

TEST(NoSortFormat, LeadingOneOrNineFillsAtTheEnd)
{
    TStringFormat f = Format("90.100,000");
    EXPECT_EQ(f.GetSortStr("7.2,3"), "70.200,003");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.GetSortStr("12"), "12.000,000");
    EXPECT_EQ(f.GetSortStr("7,3"), "70.000,003");
}

TEST(NoSortFormat, SortStringPermutesPositions)
{
    TStringFormat f = Format("00.00", "45123");
    EXPECT_EQ(f.SortStr, "45123");
    EXPECT_EQ(f.SortLen, 5);
    EXPECT_EQ(f.GetSortStr("1.2"), ".0201");
    EXPECT_EQ(f.ErrorCode, 0);

    // Characters after the first N are allowed but unused.
    f.SetSortStr("21345xyz");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.GetSortStr("1.2"), "10.02");

    // A new format drops the sort string.
    f.InitPointNo("00.00");
    EXPECT_TRUE(f.SortStr.isEmpty());
    EXPECT_EQ(f.GetSortStr("1.2"), "01.02");

    // Sorting by the permuted strings puts the second part first.
    f.SetSortStr("45123");
    QStringList numbers = {"2.1", "1.2", "1.1", "10.1", "2.10"};
    std::stable_sort(numbers.begin(), numbers.end(),
                     [&f](const QString &a, const QString &b) { return f.GetSortStr(a) < f.GetSortStr(b); });
    EXPECT_EQ(numbers, QStringList({"1.1", "2.1", "10.1", "1.2", "2.10"}));
}

TEST(NoSortFormat, SortStringChecks)
{
    TStringFormat f = Format("A0.0");
    f.SetSortStr("1123");
    EXPECT_EQ(f.ErrorCode, -2);
    EXPECT_TRUE(f.SortStr.isEmpty());
    EXPECT_EQ(f.SortLen, 0);
    EXPECT_EQ(f.ErrorStr(), "There are identical numbers or characters in the sort string");
    f.SetSortStr("124");
    EXPECT_EQ(f.ErrorCode, -1);
    EXPECT_EQ(f.ErrorStr(), "Sort string is smaller than format string");
    f.SetSortStr("1235");
    EXPECT_EQ(f.ErrorCode, -3);
    EXPECT_EQ(f.ErrorStr(), "An expected number or character is missed in the sort string");
    f.SetSortStr("4321");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.SortStr, "4321");
    // A refused string also removes the one accepted before.
    f.SetSortStr("43");
    EXPECT_TRUE(f.SortStr.isEmpty());

    EXPECT_TRUE(f.SortStringOK("00.0", ""));
    EXPECT_TRUE(f.SortStringOK("00.0", "2143"));
    EXPECT_FALSE(f.SortStringOK("00.0", "2144"));
    EXPECT_EQ(f.ErrorCode, -2);
    EXPECT_FALSE(f.SortStringOK("00.00", "2143"));
    EXPECT_EQ(f.ErrorCode, -1);

    // Without a format no sort string is kept, and no error is given.
    f.InitPointNo("");
    f.SetSortStr("1");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_TRUE(f.SortStr.isEmpty());

    // A single character part takes any sort string.
    f.InitPointNo("abc");
    f.SetSortStr("zz");
    EXPECT_EQ(f.SortStr, "zz");
}

TEST(NoSortFormat, FormatsLongerThanNineCharacters)
{
    TStringFormat f;
    f.InitPointNo("A0000000.00");
    ASSERT_EQ(f.FormatLen, 11);
    f.SetSortStr("123456789a");
    EXPECT_EQ(f.ErrorCode, -1);
    f.SetSortStr("123456789ac");
    EXPECT_EQ(f.ErrorCode, -3);
    f.SetSortStr("123456789bb");
    EXPECT_EQ(f.ErrorCode, -2);
    f.SetSortStr("12345678a9b");
    EXPECT_EQ(f.ErrorCode, 0);
    f.SetSortStr("ba987654321");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.GetSortStr("K1234.5"), "50.4321000K");
    EXPECT_EQ(f.GetSortStr("K1234.5").size(), 11);
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.GetSortStr("K1234.56"), "65.4321000K");
}

TEST(NoSortFormat, NaturalOrderOfMixedNumbers)
{
    TStringFormat f = Format("A000.00");
    QStringList numbers;
    for (int n = 120; n >= 1; n -= 7)
        numbers << QStringLiteral("B%1").arg(n) << QStringLiteral("A%1.%2").arg(n).arg(n % 13)
                << QString::number(n);
    std::stable_sort(numbers.begin(), numbers.end(),
                     [&f](const QString &a, const QString &b) { return f.GetSortStr(a) < f.GetSortStr(b); });
    // Numbers without letter first, then A..., then B..., each by value.
    const auto key = [](const QString &s) {
        const int letter = s[0].isLetter() ? s[0].unicode() : 0;
        const QString digits = s[0].isLetter() ? s.mid(1) : s;
        return std::make_pair(letter,
                              digits.section('.', 0, 0).toInt() * 100 + digits.section('.', 1).toInt());
    };
    for (qsizetype i = 1; i < numbers.size(); ++i)
        EXPECT_LT(key(numbers[i - 1]), key(numbers[i])) << numbers[i].toStdString();
}

TEST(NoSortFormat, FormatCharacters)
{
    TStringFormat f;
    EXPECT_TRUE(f.FormatOK("A00.0000"));
    EXPECT_TRUE(f.FormatOK(",-.09;A_a"));
    EXPECT_FALSE(f.FormatOK(""));
    EXPECT_EQ(f.ErrorCode, 1);
    EXPECT_EQ(f.ErrorStr(), "Format string is empty, your original number will be sorted alpha numerically");
    for (const char *bad : {"B00", "01", "A0 0", "a/0"}) {
        EXPECT_FALSE(f.FormatOK(bad)) << bad;
        EXPECT_EQ(f.ErrorCode, -9);
    }
    EXPECT_EQ(f.ErrorStr(), "Format string includes a number or a character, which is not allowed");
}

TEST(NoSortFormat, IncrementingNumbers)
{
    TStringFormat f = Format("A00");
    EXPECT_EQ(f.IncPointNo(""), "1");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.IncPointNo("abc"), "abc");
    EXPECT_EQ(f.ErrorCode, -6);
    EXPECT_EQ(f.ErrorStr(), "There is no number which could be incremented");
    EXPECT_EQ(f.IncPointNo("B09x"), "B10x");
    EXPECT_EQ(f.IncPointNo("A9"), "A10");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.IncPointNo("A99"), "A100");
    EXPECT_EQ(f.ErrorCode, -7);
    EXPECT_EQ(f.IncPointNo("A007.3"), "A8.3"); // shorter: not checked against the format
    EXPECT_EQ(f.ErrorCode, 0);

    // The first digit run counts, not the counter part.
    f.InitPointNo("A0.01");
    EXPECT_EQ(f.CounterIdx, 2);
    EXPECT_EQ(f.IncPointNo("B3.07"), "B4.07");

    // No number part in the format: only all-digit numbers can be incremented.
    f.InitPointNo("A.a");
    EXPECT_EQ(f.IncPointNo("007"), "8");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.IncPointNo("12a"), "12a");
    EXPECT_EQ(f.ErrorCode, 2);
    EXPECT_EQ(f.ErrorStr(),
              "Format string does not include a numerical part, so the number can not be incremented");
    EXPECT_EQ(f.IncPointNo("99"), "100");
    EXPECT_EQ(f.ErrorCode, -4); // the longer result is checked and has no place in the format

    // Without a format any first digit run counts, of any length.
    f.InitPointNo("");
    EXPECT_EQ(f.IncPointNo("x99999999999999999999y9"), "x100000000000000000000y9");
    EXPECT_EQ(f.ErrorCode, 0);
}

TEST(NoSortFormat, DuplicateSuffixes)
{
    TStringFormat f;
    f.InitGlkNo("A00", "a", "", QLatin1Char('-'), QChar());
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.FormatLen, 3);
    ASSERT_EQ(f.Parts.size(), 3u);
    EXPECT_EQ(f.Parts[1].Sep, QLatin1Char('-'));
    EXPECT_TRUE(f.Parts[2].Sep.isNull());
    EXPECT_EQ(f.GlkPart1.Sep, QLatin1Char('-'));
    EXPECT_EQ(f.GlkPart2.PartType, 0);
    EXPECT_TRUE(f.FormatStr.isEmpty());

    const std::pair<int, const char *> letters[] = {
        {1, "P7-a"},    {3, "P7-c"},   {26, "P7-z"}, {27, "P7-aa"}, {28, "P7-ab"},     {53, "P7-ba"},
        {702, "P7-zz"}, {703, "P7-a"}, {0, "P7-"},   {-4, "P7-"},   {INT32_MIN, "P7-"}};
    for (const auto &[n, expected] : letters)
        EXPECT_EQ(f.CreateGlkNo("P7", n, 5), expected) << n;

    // An empty first suffix counts in letters from "a"; the last letter of a suffix is the base.
    f.InitGlkNo("A00", "", "xc", QChar(), QLatin1Char('.'));
    EXPECT_EQ(f.GlkPart1.Str, "a");
    EXPECT_EQ(f.CreateGlkNo("P7", 2, 3), "P7b.e");
    EXPECT_EQ(f.CreateGlkNo("P7", 2, 0), "P7b");

    f.InitGlkNo("A00", "1", "a", QLatin1Char('.'), QLatin1Char(';'));
    EXPECT_EQ(f.GlkPart1.PartType, 1);
    EXPECT_EQ(f.CreateGlkNo("P7", 12, 28), "P7.12;ab");
    EXPECT_EQ(f.CreateGlkNo("P7", 0, 0), "P7.0");
}

TEST(NoSortFormat, DuplicatesSortBehindTheirBase)
{
    TStringFormat f;
    f.InitGlkNo("A00", "a", "", QLatin1Char('.'), QChar());
    EXPECT_EQ(f.GetSortStr("B5"), "B05.-");
    EXPECT_EQ(f.GetSortStr(f.CreateGlkNo("B5", 3, 0)), "B05.c");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_LT(f.GetSortStr("B5"), f.GetSortStr(f.CreateGlkNo("B5", 1, 0)));
    EXPECT_LT(f.GetSortStr(f.CreateGlkNo("B5", 26, 0)), f.GetSortStr("B6"));
}

TEST(NoSortFormat, EveryCodeHasItsMessage)
{
    const std::pair<int, const char *> table[] = {
        {-11, "Unexptected error by initialization of the sort string"},
        {-10, "The number includes a seperator, which is not allowed"},
        {-9, "Format string includes a number or a character, which is not allowed"},
        {-8, "Format string is smaller than the number"},
        {-7, "A number part is larger than the equal part in the format string"},
        {-6, "There is no number which could be incremented"},
        {-5, "Sort string is smaller than the formated number"},
        {-4, "Number can not be converted into the format string"},
        {-3, "An expected number or character is missed in the sort string"},
        {-2, "There are identical numbers or characters in the sort string"},
        {-1, "Sort string is smaller than format string"},
        {1, "Format string is empty, your original number will be sorted alpha numerically"},
        {2, "Format string does not include a numerical part, so the number can not be incremented"},
        {0, "Unexptected error by creating the sort string"},
        {100, "Unexptected error by creating the sort string"},
        {-100, "Unexptected error by creating the sort string"},
        {3, "Unexptected error by creating the sort string"},
    };
    TStringFormat f;
    for (const auto &[code, message] : table) {
        f.ErrorCode = code;
        EXPECT_EQ(f.ErrorStr(), message) << code;
    }
}

TEST(NoSortFormat, SeparatorOnlyFormatPartsAreFilledAtTheEnd)
{
    TStringFormat f = Format(".00");
    EXPECT_EQ(f.GetSortStr(".5"), "..05");
    EXPECT_EQ(f.ErrorCode, 0);
    EXPECT_EQ(f.GetSortStr(""), "-.00");
    EXPECT_EQ(f.ErrorCode, 0);
}
