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

TEST_F(SortKeyTool, PrintsSortStringAndCodePerNumber)
{
    const TToolRun run = RunSortKey({"A00.0000", "B5.12", "5.12", "B123.1", "5B"});
    EXPECT_EQ(run.Status, 0);
    const QStringList lines = run.Out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], "B5.12\tB05.0012\t0");
    EXPECT_EQ(lines[1], "5.12\t-05.0012\t0");
    EXPECT_TRUE(lines[2].startsWith("B123.1\t") && lines[2].endsWith("\t-7"));
    EXPECT_TRUE(lines[3].endsWith("\t-4"));

    EXPECT_EQ(RunSortKey({"--sort", "45123", "00.00", "1.2"}).Out, "1.2\t.0201\t0\n");
}

TEST_F(SortKeyTool, ReadsStdinAndSortsStably)
{
    const TToolRun run = RunSortKey({"A00", "--sorted"}, "B10\r\nB9\nA1\nB09\n7\n");
    EXPECT_EQ(run.Status, 0);
    // B9 and B09 have the same sort string and keep their input order.
    EXPECT_EQ(run.Out, "7\nA1\nB9\nB09\nB10\n");
}

TEST_F(SortKeyTool, ProposesNextNumbers)
{
    const TToolRun run = RunSortKey({"A00", "--next", "B09x", "A99", "abc", "--", "--7"});
    EXPECT_EQ(run.Status, 0);
    EXPECT_EQ(run.Out, "B09x\tB10x\t0\nA99\tA100\t-7\nabc\tabc\t-6\n--7\t--8\t0\n");
}

TEST_F(SortKeyTool, BadSortStringOrUsageFails)
{
    TToolRun run = RunSortKey({"A0.0", "--sort", "1123", "1"});
    EXPECT_EQ(run.Status, 1);
    EXPECT_TRUE(run.Out.isEmpty());
    EXPECT_TRUE(run.Err.contains("There are identical numbers or characters in the sort string"));

    // A format may hold only the sample characters; an empty one leaves the numbers as they are.
    run = RunSortKey({"B00", "B5"});
    EXPECT_EQ(run.Status, 1);
    EXPECT_TRUE(run.Out.isEmpty());
    EXPECT_TRUE(run.Err.contains("Format string includes a number or a character, which is not allowed"));
    EXPECT_EQ(RunSortKey({"01.10", "1.1"}).Status, 1);
    run = RunSortKey({"", "B10.x"});
    EXPECT_EQ(run.Status, 0);
    EXPECT_EQ(run.Out, "B10.x\tB10.x\t0\n");

    EXPECT_EQ(RunSortKey({}).Status, 1);
    EXPECT_EQ(RunSortKey({"A0", "--sort"}).Status, 1);
    EXPECT_EQ(RunSortKey({"A0", "--next", "--sorted", "1"}).Status, 1);
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
        if (IsDigit(s[p])) {
            t.Type = 1;
            while (p < s.size() && IsDigit(s[p]))
                ++p;
        } else if (!IsSep(s[p])) {
            t.Type = 2;
            while (p < s.size() && !IsDigit(s[p]) && !IsSep(s[p]))
                ++p;
        }
        t.Text = t.Type != 0 ? s.mid(start, p - start) : s.mid(p, 1);
        if (p < s.size() && IsSep(s[p]))
            t.Sep = s[p++];
        tokens.push_back(t);
    }
    return tokens;
}

QString Filler(const Token &part)
{
    QString text(part.Text.size(), part.Type == 1 ? u'0' : u'-');
    if (!part.Sep.isNull())
        text += part.Sep;
    return text;
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
        out += fillAtEnd ? token.Text + fill : fill + token.Text;
        if (!part.Sep.isNull())
            out += part.Sep;
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

Outcome Next(const QString &format, const QString &sort, const QString &number)
{
    if (number.isEmpty())
        return {QStringLiteral("1"), 0};
    const std::vector<Token> parts = Tokens(format);
    const bool numberPart =
        std::any_of(parts.begin(), parts.end(), [](const Token &t) { return t.Type == 1; });
    QString result;
    if (!format.isEmpty() && !numberPart) {
        if (!std::all_of(number.begin(), number.end(), IsDigit))
            return {number, 2};
        result = QString::number(number.toULongLong() + 1);
    } else {
        const qsizetype first = std::find_if(number.begin(), number.end(), IsDigit) - number.begin();
        if (first == number.size())
            return {number, -6};
        qsizetype end = first;
        while (end < number.size() && IsDigit(number[end]))
            ++end;
        result = number.left(first) + QString::number(number.mid(first, end - first).toULongLong() + 1) +
                 number.mid(end);
    }
    const int code =
        result.size() > number.size() && !format.isEmpty() ? SortKey(format, sort, result).Code : 0;
    return {result, code};
}

} // namespace model

// Formats of the sample characters, numbers that mostly follow them, and some that do not.
struct Generator {
    std::mt19937 Random{4711};

    int Pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(Random); }

    QChar OneOf(const char *chars) { return QLatin1Char(chars[Pick(0, int(std::strlen(chars)) - 1)]); }

    QString Format()
    {
        QString format;
        const int length = Pick(1, 12);
        while (format.size() < length)
            format += OneOf("0000999AAa_-.,;");
        return format;
    }

    QString Sort(qsizetype length)
    {
        QString positions;
        for (qsizetype k = 1; k <= length; ++k)
            positions += QChar(char16_t(k <= 9 ? u'0' + k : u'a' + (k - 10)));
        std::shuffle(positions.begin(), positions.end(), Random);
        return positions;
    }

    QString Fitting(const QString &format)
    {
        QString number;
        for (const model::Token &part : model::Tokens(format)) {
            if (Pick(0, 5) != 0) {
                const int length = Pick(1, int(part.Text.size()) + (Pick(0, 9) == 0 ? 1 : 0));
                for (int k = 0; k < length; ++k)
                    number += part.Type == 1   ? OneOf("0123456789")
                              : part.Type == 2 ? OneOf("ABxy-_")
                                               : part.Text[0];
            }
            if (!part.Sep.isNull() && part.Type != 0)
                number += Pick(0, 9) == 0 ? OneOf(".,;") : part.Sep;
        }
        return number;
    }

    QString Loose()
    {
        QString number;
        const int length = Pick(1, 10);
        while (number.size() < length)
            number += OneOf("0123456789ABxy-_.,;");
        return number;
    }
};

QStringList Lines(const QString &text)
{
    QStringList lines = text.split(u'\n');
    if (!lines.isEmpty() && lines.back().isEmpty())
        lines.removeLast();
    return lines;
}

} // namespace

TEST_F(SortKeyTool, AgreesWithASeparateModelOnManyFormatsAndNumbers)
{
    Generator gen;
    int compared = 0;
    for (int round = 0; round < 40; ++round) {
        const QString format = gen.Format();
        const QString sort = gen.Pick(0, 2) == 0 ? gen.Sort(format.size()) : QString();
        QStringList numbers{QString()};
        for (int k = 0; k < 150; ++k)
            numbers << (k % 3 == 2 ? gen.Loose() : gen.Fitting(format));
        numbers.removeAll(QString());
        numbers.prepend(QString());
        numbers << QStringLiteral("end");
        const QByteArray input = numbers.join(u'\n').toUtf8() + '\n';
        QStringList options;
        if (!sort.isEmpty())
            options << "--sort" << sort;

        for (const bool next : {false, true}) {
            const TToolRun run = RunSortKey(
                options + (next ? QStringList{"--next"} : QStringList()) + QStringList{"--", format}, input);
            ASSERT_EQ(run.Status, 0) << qPrintable(format) << " " << qPrintable(run.Err);
            const QStringList lines = Lines(run.Out);
            ASSERT_EQ(lines.size(), numbers.size()) << qPrintable(format);
            for (qsizetype k = 0; k < numbers.size(); ++k) {
                const model::Outcome expected =
                    next ? model::Next(format, sort, numbers[k]) : model::SortKey(format, sort, numbers[k]);
                const QStringList fields = lines[k].split(u'\t');
                ASSERT_EQ(fields.size(), 3) << qPrintable(lines[k]);
                const QString context = format + " / " + sort + " / " + numbers[k] + (next ? " next" : "");
                EXPECT_EQ(fields[0], numbers[k]) << qPrintable(context);
                EXPECT_EQ(fields[2].toInt(), expected.Code) << qPrintable(context);
                // After an error the text is not meaningful, except for an increment's unchanged number.
                if (expected.Code >= 0 || next) {
                    EXPECT_EQ(fields[1], expected.Text) << qPrintable(context);
                }
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 10000);
}
