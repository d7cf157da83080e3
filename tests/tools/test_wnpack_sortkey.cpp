// The sortkey command of the wnpack program, run as a separate process.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

using namespace wntest;

namespace {

TToolRun RunSortKey(const QStringList &args, const QByteArray &input = QByteArray())
{
    return RunWnpack(QStringList{QStringLiteral("sortkey")} + args, input);
}

class SortKeyTool : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!WnpackBuilt())
            GTEST_SKIP() << "wnpack is not built";
    }
};

} // namespace

TEST_F(SortKeyTool, NumbersFromStdinSortedStablyOrIncremented)
{
    const TToolRun run = RunSortKey({"A00", "--sorted"}, "B10\r\nB9\nA1\nB09\n7\n");
    EXPECT_EQ(run.Status, 0);
    // B9 and B09 have the same sort string and keep their input order.
    EXPECT_EQ(run.Out, "7\nA1\nB9\nB09\nB10\n");
    // A separator standing alone keeps the width: ".3" and "5" are laid out alike.
    EXPECT_EQ(RunSortKey({".00", "--sorted", ".3", "5", ".9", "1"}).Out, "1\n.3\n5\n.9\n");
    // Numbers may look like options after "--".
    EXPECT_EQ(RunSortKey({"A00", "--next", "B09x", "A99", "abc", "--", "--7"}).Out,
              "B09x\tB10x\t0\nA99\tA100\t-7\nabc\tabc\t-6\n--7\t--8\t0\n");
}

TEST_F(SortKeyTool, BadFormatSortStringOrUsageFails)
{
    const std::pair<QStringList, const char *> failures[] = {
        {{"A0.0", "--sort", "1123", "1"}, "There are identical numbers or characters in the sort string"},
        {{"B00", "B5"}, "Format string includes a number or a character, which is not allowed"},
        {{"01.10", "1.1"}, ""},
        {{}, ""},
        {{"A0", "--sort"}, ""},
        {{"A0", "--next", "--sorted", "1"}, ""},
    };
    for (const auto &[args, message] : failures) {
        const TToolRun run = RunSortKey(args);
        EXPECT_EQ(run.Status, 1) << qPrintable(args.join(' '));
        EXPECT_TRUE(run.Out.isEmpty());
        EXPECT_TRUE(run.Err.contains(message)) << qPrintable(run.Err);
    }
    // An empty format is no error: the numbers stay as they are.
    EXPECT_EQ(RunSortKey({"", "B10.x"}).Out, "B10.x\tB10.x\t0\n");
}

namespace {

// A second, separately written model of the sort-string rules, for checking the command against.
namespace model {

bool IsSep(QChar c)
{
    return c == u',' || c == u'.' || c == u';';
}

bool IsDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

// A run of digits (1), a run of other characters (2) or a lone separator (0), with the
// separator that follows it.
struct Token {
    int Type = 0;
    QString Text;
    QChar Sep;
};

std::vector<Token> Tokens(const QString &s)
{
    std::vector<Token> tokens;
    qsizetype p = 0;
    while (p < s.size()) {
        Token t;
        const qsizetype start = p;
        t.Type = IsDigit(s[p]) ? 1 : IsSep(s[p]) ? 0 : 2;
        while (t.Type != 0 && p < s.size() && IsDigit(s[p]) == (t.Type == 1) && !IsSep(s[p]))
            ++p;
        t.Text = t.Type != 0 ? s.mid(start, p - start) : s.mid(p, 1);
        if (p < s.size() && IsSep(s[p]))
            t.Sep = s[p++];
        tokens.push_back(t);
    }
    return tokens;
}

// A lone separator is its separator alone, filled or not.
QString Filler(const Token &part)
{
    return QString(part.Type == 0 ? 0 : part.Text.size(), part.Type == 1 ? u'0' : u'-') +
           (part.Sep.isNull() ? QString() : part.Sep);
}

struct Outcome {
    QString Text;
    int Code = 0;
};

Outcome SortKey(const QString &format, const QString &sort, const QString &number)
{
    const std::vector<Token> parts = Tokens(format);
    const std::size_t n = parts.size();
    if (n == 0 || (n == 1 && parts[0].Type == 2))
        return {number, 0};
    const std::vector<Token> tokens = Tokens(number);
    std::size_t next = 0;
    std::size_t i = 0;
    QString out;
    while (i < n) {
        const bool got = next < tokens.size();
        const Token token = got ? tokens[next++] : Token();
        if (token.Type != 0) {
            while (i < n && parts[i].Type != token.Type)
                out += Filler(parts[i++]);
        } else if (!got || parts[i].Type != 0) {
            out += Filler(parts[i++]);
        }
        if (!got)
            continue;
        if (i == n) {
            if (token.Type != 0)
                return {out, -4};
            continue;
        }
        const Token &part = parts[i];
        const qsizetype pad = part.Text.size() - token.Text.size();
        if (pad < 0)
            return {out, -7};
        const QString fill(pad, part.Type == 1 ? u'0' : u'-');
        const bool fillAtEnd = part.Type == 1 && (part.Text[0] == u'1' || part.Text[0] == u'9');
        if (part.Type == 0)
            out += Filler(part);
        else
            out += (fillAtEnd ? token.Text + fill : fill + token.Text) +
                   (part.Sep.isNull() ? QString() : part.Sep);
        // A separator behind the last part is left to the check for a number longer than the format.
        if (!token.Sep.isNull() && token.Sep != part.Sep && i + 1 < n) {
            do {
                if (++i == n)
                    return {out, -10};
                out += Filler(parts[i]);
            } while (parts[i].Sep != token.Sep);
        }
        ++i;
    }
    if (next < tokens.size())
        return {out, -8};
    QString moved = out;
    for (qsizetype k = 0; k < std::min(out.size(), sort.size()); ++k) {
        const int target = IsDigit(sort[k]) ? sort[k].unicode() - u'0' : sort[k].unicode() - u'a' + 10;
        if (target < 1 || target > out.size())
            return {out, -100};
        moved[target - 1] = out[k];
    }
    return {moved, 0};
}

} // namespace model

// Formats of the sample characters, numbers that mostly follow them, and some that do not.
struct Generator {
    std::mt19937 Random{4711};

    int Pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(Random); }

    QChar OneOf(const char *chars) { return QLatin1Char(chars[Pick(0, int(std::strlen(chars)) - 1)]); }

    QString Text(int length, const char *chars)
    {
        QString text;
        while (text.size() < length)
            text += OneOf(chars);
        return text;
    }

    QString Sort(qsizetype length)
    {
        QString positions = QStringLiteral("123456789abc").left(length);
        std::shuffle(positions.begin(), positions.end(), Random);
        return positions;
    }

    QString Fitting(const QString &format)
    {
        QString number;
        for (const model::Token &part : model::Tokens(format)) {
            if (Pick(0, 5) != 0) {
                const int length = Pick(1, int(part.Text.size()) + (Pick(0, 9) == 0 ? 1 : 0));
                number += part.Type == 1   ? Text(length, "0123456789")
                          : part.Type == 2 ? Text(length, "ABxy-_")
                                           : QString(length, part.Text[0]);
            }
            if (!part.Sep.isNull() && part.Type != 0)
                number += Pick(0, 9) == 0 ? OneOf(".,;") : part.Sep;
        }
        return number;
    }
};

} // namespace

TEST_F(SortKeyTool, AgreesWithASeparateModelOnManyFormatsAndNumbers)
{
    Generator gen;
    int compared = 0;
    for (int round = 0; round < 80; ++round) {
        const QString format = gen.Text(gen.Pick(1, 12), "0000999AAa_-.,;");
        const QString sort = gen.Pick(0, 2) == 0 ? gen.Sort(format.size()) : QString();
        QStringList numbers{QString()};
        for (int k = 0; k < 150; ++k) {
            const QString number =
                k % 3 == 2 ? gen.Text(gen.Pick(1, 10), "0123456789ABxy-_.,;") : gen.Fitting(format);
            if (!number.isEmpty())
                numbers << number;
        }
        numbers << QStringLiteral("end");
        const QByteArray input = numbers.join(u'\n').toUtf8() + '\n';
        const QStringList options = sort.isEmpty() ? QStringList() : QStringList{"--sort", sort};

        const TToolRun run = RunSortKey(options + QStringList{"--", format}, input);
        ASSERT_EQ(run.Status, 0) << qPrintable(format) << " " << qPrintable(run.Err);
        const QStringList lines = run.Out.split(u'\n');
        ASSERT_EQ(lines.size(), numbers.size() + 1) << qPrintable(format);
        for (qsizetype k = 0; k < numbers.size(); ++k) {
            const model::Outcome expected = model::SortKey(format, sort, numbers[k]);
            // After an error the text is not meaningful.
            const QString text = expected.Code >= 0 ? expected.Text : lines[k].section(u'\t', 1, 1);
            EXPECT_EQ(lines[k], numbers[k] + '\t' + text + '\t' + QString::number(expected.Code))
                << qPrintable(format + " / " + sort);
            ++compared;
        }
    }
    EXPECT_GT(compared, 8000);
}
