#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "framework/Exceptions.h"
#include "framework/Graphics.h"

#include <QApplication>
#include <gtest/gtest.h>

using namespace wn;

namespace {
enum TStyle : std::uint8_t { asRead, asWrite, asOOB, asAccept, asConnect, asClose };
}

TEST(TSetTest, BitsFollowTheOrdinals)
{
    TSet<TStyle> s{asRead, asWrite, asClose};
    EXPECT_EQ(s.Bits(), 0b100011u);
    EXPECT_TRUE(s.contains(asClose));
    EXPECT_FALSE(s.contains(asAccept));
    s -= asWrite;
    s += asAccept;
    EXPECT_EQ(s, (TSet<TStyle>{asRead, asAccept, asClose}));
    EXPECT_EQ((s - TSet<TStyle>{asRead}).Bits(), 0b101000u);
    EXPECT_EQ((s & TSet<TStyle>{asRead, asConnect}), TSet<TStyle>{asRead});
    EXPECT_EQ(TSet<TStyle>::FromBits(0x3F),
              (TSet<TStyle>{asRead, asWrite, asOOB, asAccept, asConnect, asClose}));
    EXPECT_TRUE(TSet<TStyle>().empty());
}

TEST(TColorTest, PackedAndSystemColours)
{
    EXPECT_EQ(RGB(0x12, 0x34, 0x56), 0x563412u);
    EXPECT_EQ(GetBValue(clOlive), 0);
    EXPECT_EQ(GetGValue(clOlive), 0x80);
    EXPECT_EQ(QColorToColor(QColor(255, 0, 0)), clRed);
    EXPECT_EQ(ColorToQColor(clBlue), QColor(0, 0, 255));
    QPalette p;
    p.setColor(QPalette::Button, QColor(1, 2, 3));
    p.setColor(QPalette::Highlight, QColor(200, 100, 50));
    EXPECT_EQ(ColorToRGB(clBtnFace, p), RGB(1, 2, 3));
    EXPECT_EQ(ColorToQColor(clHighlight, p), QColor(200, 100, 50));
    // A plain colour passes through whatever the palette is.
    EXPECT_EQ(ColorToRGB(0x00ABCDEF, p), 0x00ABCDEFu);
    EXPECT_EQ(ColorToRGB(clBtnFace), QColorToColor(QApplication::palette().color(QPalette::Button)));
}

namespace {
class TLoadingProbe : public TComponentState
{
public:
    int LoadedCalls = 0;
    bool WasLoadingInLoaded = true;

protected:
    void Loaded() override
    {
        ++LoadedCalls;
        WasLoadingInLoaded = LoadingState();
    }
};
} // namespace

TEST(ComponentStateTest, EndLoadingCallsLoadedAfterClearingTheFlag)
{
    TLoadingProbe c;
    EXPECT_FALSE(c.Designing());
    c.BeginLoading();
    EXPECT_TRUE(c.LoadingState());
    EXPECT_EQ(c.LoadedCalls, 0);
    c.EndLoading();
    EXPECT_EQ(c.LoadedCalls, 1);
    EXPECT_FALSE(c.WasLoadingInLoaded);
    c.SetDesigning(true);
    EXPECT_TRUE(c.Designing());
}

TEST(ExceptionTest, MessagesAndCodes)
{
    try {
        throw EInOutError::FromErrno(ENOENT, QStringLiteral("ä.grd"));
    } catch (const Exception &e) {
        EXPECT_TRUE(QString::fromUtf8(e.what()).endsWith(QStringLiteral("(ä.grd)")));
        EXPECT_EQ(dynamic_cast<const EInOutError &>(e).ErrorCode, ENOENT);
    }
    EXPECT_THROW(Abort(), EAbort);
    EConvertError c(QStringLiteral("x"));
    c.SetMessage(QStringLiteral("yü"));
    EXPECT_STREQ(c.what(), "y\xC3\xBC");
}
