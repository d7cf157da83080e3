#include "framework/CodePages.h"

#include <gtest/gtest.h>

using namespace wn;

TEST(CodePages, Windows1252RoundTripsEveryByte)
{
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(char(b));
    EXPECT_EQ(ToWin1252(FromWin1252(all)), all);
    EXPECT_EQ(ToOem(FromOem(all)), all);
}
