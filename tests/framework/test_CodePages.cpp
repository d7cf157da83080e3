#include "framework/CodePages.h"
#include "framework/Exceptions.h"

#include "TestSupport.h"

#include <QStringDecoder>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wn;

TEST(CodePages, EveryByteSurvivesARoundTripAndAgreesWithQtsConverters)
{
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(char(b));
    EXPECT_EQ(ToWin1252(FromWin1252(all)), all);
    EXPECT_EQ(ToOem(FromOem(all)), all);
    EXPECT_EQ(FromWin1252(all).size(), 256);
    for (const auto &[name, page] :
         {std::pair{"windows-1252", TCodePage::Windows1252}, std::pair{"IBM850", TCodePage::IBM850}}) {
        QStringDecoder icu(name);
        if (!icu.isValid())
            GTEST_SKIP() << "Qt was built without ICU";
        for (int b = 0x80; b < 0x100; ++b) {
            const QByteArray one(1, char(b));
            EXPECT_EQ(DecodeCodePage(one, page), icu(one)) << name << " byte " << b;
        }
    }
}

TEST(CodePages, KnownAndUnmappableCharacters)
{
    EXPECT_EQ(FromWin1252("\x80\xE4\xDF"), QStringLiteral("€äß"));
    EXPECT_EQ(ToWin1252(QStringLiteral("€äß")), QByteArray("\x80\xE4\xDF"));
    // In the OEM code page ä is 0x84 and the box drawing characters live in the upper half.
    EXPECT_EQ(ToOem(QStringLiteral("äÄ╬")), QByteArray("\x84\x8E\xCE"));
    EXPECT_EQ(FromOem("\x81\x94"), QStringLiteral("üö"));
    // Unmappable characters become one "?" each: Cyrillic, the euro in 850, a character outside
    // the BMP, a lone surrogate.
    EXPECT_EQ(ToWin1252(QStringLiteral("a\u0416b")), QByteArray("a?b"));
    EXPECT_EQ(ToOem(QStringLiteral("€")), QByteArray("?"));
    EXPECT_EQ(ToWin1252(QString::fromUcs4(U"x\U0001F600y")), QByteArray("x?y"));
    EXPECT_EQ(ToWin1252(QString(QChar(0xD800))), QByteArray("?"));
    EXPECT_TRUE(ToWin1252(QString()).isEmpty());
}

// Valid UTF-8 wins; a truncated sequence at the end makes the whole text Windows-1252. Written
// back, every text gives its bytes again.
TEST(CodePages, TextDetectionPrefersValidUtf8AndRewritesTheSameBytes)
{
    const struct {
        QByteArray Bytes;
        QString Text;
        TTextEncoding Encoding;
    } cases[] = {
        {"Gr\xC3\xBC\xC3\x9F"
         "e",
         QStringLiteral("Grüße"), TTextEncoding::Utf8},
        {"Gr\xFC\xDF"
         "e",
         QStringLiteral("Grüße"), TTextEncoding::Windows1252},
        {"\xEF\xBB\xBF"
         "L\xC3\xA4rm\r\n",
         QStringLiteral("Lärm\r\n"), TTextEncoding::Utf8Bom},
        {"plain ascii", QStringLiteral("plain ascii"), TTextEncoding::Utf8},
        {"ok\xC3", QStringLiteral("ok\u00c3"), TTextEncoding::Windows1252},
    };
    for (const auto &c : cases) {
        TTextEncoding enc;
        EXPECT_EQ(DecodeText(c.Bytes, enc), c.Text) << c.Bytes.toHex().constData();
        EXPECT_EQ(enc, c.Encoding) << c.Bytes.toHex().constData();
        EXPECT_EQ(EncodeText(c.Text, enc), c.Bytes) << c.Bytes.toHex().constData();
    }
}

TEST(CodePages, ReadTextFile)
{
    QTemporaryDir dir;
    TTextEncoding enc;
    EXPECT_EQ(ReadTextFile(wntest::WriteAll(dir.filePath("a.txt"), "Stra\xDF"
                                                                   "e"),
                           enc),
              QStringLiteral("Straße"));
    EXPECT_EQ(enc, TTextEncoding::Windows1252);
    try {
        ReadTextFile(dir.filePath(QStringLiteral("missing.txt")), enc);
        FAIL() << "no exception";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, ENOENT);
        EXPECT_TRUE(e.Message().contains(QStringLiteral("missing.txt")));
    }
}
