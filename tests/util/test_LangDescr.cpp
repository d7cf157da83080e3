#include "util/LangDescr.h"

#include <gtest/gtest.h>

using namespace wn;

TEST(LangDescr, TableHoldsTheSuitesCodesInOrder)
{
    struct Row {
        const char *Code;
        int LCID;
        const char *Name;
    };
    const Row rows[] = {
        {"cs", 5, "Czech"},
        {"ch", 0x804, "Chinese (China)"},
        {"chs", 0x804, "Chinese (China)"},
        {"de", 7, "German"},
        {"de_AT", 3079, "German (Austria)"},
        {"de_CH", 0x807, "German (Switzerland)"},
        {"dk", 6, "Danish"},
        {"nl_BE", 0x813, "Dutch (Belgium)"},
        {"el", 8, "Greek"},
        {"en", 9, "English"},
        {"en_UK", 0x809, "English (United Kingdom)"},
        {"es", 10, "Spanish"},
        {"fi", 11, "Finnish"},
        {"fr", 12, "French"},
        {"fr_BE", 0x80C, "French (Belgium)"},
        {"fr_CH", 0x100C, "French (Switzerland)"},
        {"hu", 14, "Hungarian"},
        {"il", 13, "Hebrew"},
        {"it", 16, "Italian"},
        {"it_CH", 0x810, "Italian (Switzerland)"},
        {"jp", 17, "Japanese"},
        {"no", 20, "Norwegian Bokmal"},
        {"pl", 21, "Polish"},
        {"ptg", 0x816, "Portuguese (Portugal)"},
        {"sv", 29, "Swedish"},
        {"ro", 24, "Romanian"},
        {"ru", 25, "Russian"},
        {"tr", 31, "Turkish"},
    };
    const TLangDescrList list;
    ASSERT_EQ(list.Count(), 28);
    for (int i = 0; i < list.Count(); ++i) {
        const TLangDescr &d = list.Items(i);
        const Row &r = rows[i];
        EXPECT_EQ(d.Code, r.Code) << i;
        EXPECT_EQ(d.LCID, r.LCID) << r.Code;
        EXPECT_EQ(d.PrimaryLang, r.LCID & 0x3FF) << r.Code;
        EXPECT_EQ(d.SubLang, r.LCID >> 10) << r.Code;
        EXPECT_EQ(d.Name, r.Name) << r.Code;
    }
    EXPECT_THROW(list.Items(28), std::out_of_range);
}

TEST(LangDescr, UnknownLanguagesGetQuestionMarks)
{
    EXPECT_EQ(TLangDescr("xx", 0x7E, 0).Name, "<\?\?\?>");
    EXPECT_EQ(TLangDescr("xx", 0, 0).Name, "<\?\?\?>");
    // A known language with a sub-language that names no region known here.
    EXPECT_EQ(TLangDescr("de_xx", 7, 30).Name, "<\?\?\?>");
    const TLangDescr us("en_US", 9, 1);
    EXPECT_EQ(us.Name, "English (United States)");
    EXPECT_EQ(us.LCID, 0x409);
}
