#include "util/NoSortFormat.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace wn;

TEST(NoSortFormat, InitialisationFindsCounterAndAlphaOnly)
{
    struct Case {
        const char *Format;
        int Code, CounterIdx;
        bool AlphaOnly;
    };
    // Without a "1" the first number part counts; a second counter is an error.
    const Case cases[] = {{"A00.0000", 0, 1, false}, {"A0.91.10", 100, 2, false}, {"01.10", 100, 0, false},
                          {"abc", 0, -1, true},      {"a.b", 0, -1, false},       {"", 0, -1, false}};
    TStringFormat f;
    for (const Case &c : cases) {
        f.InitPointNo(c.Format);
        EXPECT_EQ(f.ErrorCode, c.Code) << c.Format;
        EXPECT_EQ(f.CounterIdx, c.CounterIdx) << c.Format;
        EXPECT_EQ(f.GetCounter(), c.CounterIdx >= 0) << c.Format;
        EXPECT_EQ(f.AlphaOnly, c.AlphaOnly) << c.Format;
    }
    EXPECT_TRUE(f.Parts.empty());
}

TEST(NoSortFormat, SortStringsOfWorkedExamplesAndMisfits)
{
    struct Case {
        const char *Format, *Sort, *Number, *Expected;
        int Code;
    };
    // A separator in the number says which part a digit run belongs to; one after the last part
    // is left to the check for leftovers; sort string characters after the first N are unused.
    const Case cases[] = {{"A00.0000", "", "B5.12", "B05.0012", 0},
                          {"A00.0000", "", "5.12", "-05.0012", 0},
                          {"A00.0000", "", "", "-00.0000", 0},
                          {"A00.0000", "", "B.5", "B00.0005", 0},
                          {"A00.0000", "", "B5.3;", "B05.0003", 0},
                          {"90.100,000", "", "7.2,3", "70.200,003", 0},
                          {".00", "", ".5", ".05", 0},
                          {".00", "", "5", ".05", 0},
                          {".00", "", ".", ".00", 0},
                          {"00..00", "", "1..2", "01..02", 0},
                          {"00..00", "", "1.2", "01..02", 0},
                          {"00..00", "", "", "00..00", 0},
                          {"00.00", "45123", "1.2", ".0201", 0},
                          {"00.00", "21345xyz", "1.2", "10.02", 0},
                          {"A0000000.00", "ba987654321", "K1234.56", "65.4321000K", 0},
                          {"abc", "", "B10x", "B10x", 0},
                          {"", "", "B10.x", "B10.x", 0},
                          {"A00.0000", "", "B123.1", "", -7},
                          {"A00.0000", "", "B5.12.3", "", -8},
                          {"A00.0000", "", "5B", "", -4},
                          {"A00.0000", "", "B;5", "", -10}};
    for (const Case &c : cases) {
        TStringFormat f;
        f.InitPointNo(c.Format);
        f.SetSortStr(c.Sort);
        const QString sortStr = f.GetSortStr(c.Number);
        EXPECT_EQ(f.ErrorCode, c.Code) << c.Format << " " << c.Number;
        if (c.Code == 0) {
            EXPECT_EQ(sortStr, c.Expected) << c.Format << " " << c.Number;
        }
        EXPECT_EQ(f.PointNoOK(c.Number), c.Code == 0) << c.Format << " " << c.Number;
        EXPECT_EQ(f.ErrorCode, c.Code) << c.Format << " " << c.Number;
    }
}

TEST(NoSortFormat, SortStringChecks)
{
    struct Case {
        const char *Format, *Sort;
        int Code;
        const char *Kept;
    };
    // Without a format no sort string is kept; a single character part takes any.
    const Case cases[] = {{"A0.0", "1123", -2, ""},
                          {"A0.0", "124", -1, ""},
                          {"A0.0", "1235", -3, ""},
                          {"A0.0", "4321", 0, "4321"},
                          {"A0000000.00", "123456789a", -1, ""},
                          {"A0000000.00", "123456789ac", -3, ""},
                          {"A0000000.00", "12345678a9b", 0, "12345678a9b"},
                          {"", "1", 0, ""},
                          {"abc", "zz", 0, "zz"}};
    TStringFormat f;
    for (const Case &c : cases) {
        f.InitPointNo(c.Format);
        f.SetSortStr(c.Sort);
        EXPECT_EQ(f.ErrorCode, c.Code) << c.Format << " " << c.Sort;
        EXPECT_EQ(f.SortStr, c.Kept) << c.Format << " " << c.Sort;
    }
    // A refused string also removes the one accepted before; a new format drops it too.
    f.InitPointNo("A0.0");
    f.SetSortStr("4321");
    f.SetSortStr("43");
    EXPECT_TRUE(f.SortStr.isEmpty());
    f.SetSortStr("4321");
    f.InitPointNo("A0.0");
    EXPECT_TRUE(f.SortStr.isEmpty());

    EXPECT_TRUE(f.SortStringOK("00.0", "2143"));
    EXPECT_FALSE(f.SortStringOK("00.0", "2144"));
    EXPECT_EQ(f.ErrorCode, -2);
}

TEST(NoSortFormat, FormatCharacters)
{
    TStringFormat f;
    EXPECT_TRUE(f.FormatOK("A00.0000"));
    EXPECT_TRUE(f.FormatOK(",-.09;A_a"));
    EXPECT_FALSE(f.FormatOK(""));
    EXPECT_EQ(f.ErrorCode, 1);
    for (const char *bad : {"B00", "01", "A0 0", "a/0"}) {
        EXPECT_FALSE(f.FormatOK(bad)) << bad;
        EXPECT_EQ(f.ErrorCode, -9);
    }
}

TEST(NoSortFormat, IncrementingNumbers)
{
    struct Case {
        const char *Format, *Number, *Expected;
        int Code;
    };
    // The first digit run counts, not the counter part; a longer result is checked against the
    // format, a shorter one is not. Without a number part only all-digit numbers are incremented;
    // without a format, a digit run of any length.
    const Case cases[] = {
        {"A00", "", "1", 0},          {"A00", "abc", "abc", -6},
        {"A00", "B09x", "B10x", 0},   {"A00", "A99", "A100", -7},
        {"A00", "A007.3", "A8.3", 0}, {"A0.01", "B3.07", "B4.07", 0},
        {"A.a", "007", "8", 0},       {"A.a", "12a", "12a", 2},
        {"A.a", "99", "100", -4},     {"", "x99999999999999999999y9", "x100000000000000000000y9", 0}};
    TStringFormat f;
    for (const Case &c : cases) {
        f.InitPointNo(c.Format);
        EXPECT_EQ(f.IncPointNo(c.Number), c.Expected) << c.Format << " " << c.Number;
        EXPECT_EQ(f.ErrorCode, c.Code) << c.Format << " " << c.Number;
    }
}

TEST(NoSortFormat, DuplicateSuffixes)
{
    TStringFormat f;
    f.InitGlkNo("A00", "a", "", QLatin1Char('-'), QChar());
    EXPECT_EQ(f.ErrorCode, 0);
    const std::pair<int, const char *> letters[] = {
        {1, "P7-a"},    {3, "P7-c"},   {26, "P7-z"}, {27, "P7-aa"}, {28, "P7-ab"},     {53, "P7-ba"},
        {702, "P7-zz"}, {703, "P7-a"}, {0, "P7-"},   {-4, "P7-"},   {INT32_MIN, "P7-"}};
    for (const auto &[n, expected] : letters)
        EXPECT_EQ(f.CreateGlkNo("P7", n, 5), expected) << n;

    // An empty first suffix counts in letters from "a"; the last letter of a suffix is the base.
    f.InitGlkNo("A00", "", "xc", QChar(), QLatin1Char('.'));
    EXPECT_EQ(f.CreateGlkNo("P7", 2, 3), "P7b.e");
    EXPECT_EQ(f.CreateGlkNo("P7", 2, 0), "P7b");

    f.InitGlkNo("A00", "1", "a", QLatin1Char('.'), QLatin1Char(';'));
    EXPECT_EQ(f.CreateGlkNo("P7", 12, 28), "P7.12;ab");
    EXPECT_EQ(f.CreateGlkNo("P7", 0, 0), "P7.0");

    // Duplicates sort right behind their base number.
    f.InitGlkNo("A00", "a", "", QLatin1Char('.'), QChar());
    EXPECT_EQ(f.GetSortStr("B5"), "B05.-");
    EXPECT_EQ(f.GetSortStr(f.CreateGlkNo("B5", 3, 0)), "B05.c");
    EXPECT_EQ(f.ErrorCode, 0);
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
