#include "framework/CodePages.h"
#include "framework/Exceptions.h"

#include <QFile>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace wn;

namespace {

QByteArray AllBytes()
{
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(char(b));
    return all;
}

} // namespace

TEST(CodePages, EveryByteSurvivesARoundTrip)
{
    const QByteArray all = AllBytes();
    EXPECT_EQ(ToWin1252(FromWin1252(all)), all);
    EXPECT_EQ(ToOem(FromOem(all)), all);
    EXPECT_EQ(FromWin1252(all).size(), 256);
}

TEST(CodePages, UpperHalfAgreesWithQtsConverters)
{
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

TEST(CodePages, KnownCharacters)
{
    EXPECT_EQ(FromWin1252("\x80\xE4\xDF"), QStringLiteral("€äß"));
    EXPECT_EQ(ToWin1252(QStringLiteral("€äß")), QByteArray("\x80\xE4\xDF"));
    // In the OEM code page ä is 0x84 and the box drawing characters live in the upper half.
    EXPECT_EQ(ToOem(QStringLiteral("äÄ╬")), QByteArray("\x84\x8E\xCE"));
    EXPECT_EQ(FromOem("\x81\x94"), QStringLiteral("üö"));
}

TEST(CodePages, UnmappableCharactersBecomeQuestionMarks)
{
    EXPECT_EQ(ToWin1252(QStringLiteral("a\u0416b")), QByteArray("a?b")); // Cyrillic
    EXPECT_EQ(ToOem(QStringLiteral("€")), QByteArray("?"));              // not in 850
    // A character outside the BMP is one character, so one "?".
    EXPECT_EQ(ToWin1252(QString::fromUcs4(U"x\U0001F600y")), QByteArray("x?y"));
    // A lone surrogate is unmappable too.
    EXPECT_EQ(ToWin1252(QString(QChar(0xD800))), QByteArray("?"));
    EXPECT_TRUE(ToWin1252(QString()).isEmpty());
}

TEST(CodePages, TextDetectionPrefersValidUtf8)
{
    TTextEncoding enc;
    EXPECT_EQ(DecodeText("Gr\xC3\xBC\xC3\x9F"
                         "e",
                         enc),
              QStringLiteral("Grüße"));
    EXPECT_EQ(enc, TTextEncoding::Utf8);
    EXPECT_EQ(DecodeText("Gr\xFC\xDF"
                         "e",
                         enc),
              QStringLiteral("Grüße"));
    EXPECT_EQ(enc, TTextEncoding::Windows1252);
    EXPECT_EQ(DecodeText("\xEF\xBB\xBFplain", enc), QStringLiteral("plain"));
    EXPECT_EQ(enc, TTextEncoding::Utf8Bom);
    EXPECT_EQ(DecodeText("plain ascii", enc), QStringLiteral("plain ascii"));
    EXPECT_EQ(enc, TTextEncoding::Utf8);
    // A truncated UTF-8 sequence at the end makes the whole text Windows-1252.
    DecodeText("ok\xC3", enc);
    EXPECT_EQ(enc, TTextEncoding::Windows1252);
}

TEST(CodePages, RewriteKeepsTheEncodingItWasReadIn)
{
    for (const QByteArray &original : {QByteArray("L\xE4rm\r\n"), QByteArray("L\xC3\xA4rm\r\n"),
                                       QByteArray("\xEF\xBB\xBFL\xC3\xA4rm\r\n")}) {
        TTextEncoding enc;
        const QString text = DecodeText(original, enc);
        EXPECT_EQ(EncodeText(text, enc), original);
    }
}

TEST(CodePages, ReadTextFile)
{
    QTemporaryDir dir;
    const QString name = dir.filePath(QStringLiteral("a.txt"));
    QFile f(name);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("Stra\xDF"
            "e");
    f.close();
    TTextEncoding enc;
    EXPECT_EQ(ReadTextFile(name, enc), QStringLiteral("Straße"));
    EXPECT_EQ(enc, TTextEncoding::Windows1252);
    try {
        ReadTextFile(dir.filePath(QStringLiteral("missing.txt")), enc);
        FAIL() << "no exception";
    } catch (const EInOutError &e) {
        EXPECT_EQ(e.ErrorCode, ENOENT);
        EXPECT_TRUE(e.Message().contains(QStringLiteral("missing.txt")));
    }
}
