#include "util/NoSortFormat.h"

#include <algorithm>
#include <iterator>

namespace wn {

using namespace NoSortFormatErrors;

namespace {

struct TErrorMessage {
    std::int32_t Code;
    const char *Text;
};

const TErrorMessage kMessages[] = {
    {kInitFailed, "Unexptected error by initialization of the sort string"},
    {kSeparatorInNumber, "The number includes a seperator, which is not allowed"},
    {kBadFormatChar, "Format string includes a number or a character, which is not allowed"},
    {kNumberLonger, "Format string is smaller than the number"},
    {kPartTooLong, "A number part is larger than the equal part in the format string"},
    {kNothingToIncrement, "There is no number which could be incremented"},
    {kSortShorterThanNumber, "Sort string is smaller than the formated number"},
    {kNotConvertible, "Number can not be converted into the format string"},
    {kSortMissing, "An expected number or character is missed in the sort string"},
    {kSortRepeats, "There are identical numbers or characters in the sort string"},
    {kSortShorter, "Sort string is smaller than format string"},
    {kFormatEmpty, "Format string is empty, your original number will be sorted alpha numerically"},
    {kNoNumberPart, "Format string does not include a numerical part, so the number can not be incremented"},
};
const char *const kMsgUnexpected = "Unexptected error by creating the sort string";

bool IsDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool IsSeparator(QChar c)
{
    return c == QLatin1Char(',') || c == QLatin1Char('.') || c == QLatin1Char(';');
}

void AppendRun(QString &text, qsizetype count, QChar c)
{
    if (count > 0)
        text.resize(text.size() + count, c);
}

// Adds one to a run of decimal digits of any length; leading zeros do not survive.
QString IncrementDigits(const QString &digits)
{
    QString result = digits;
    qsizetype i = result.size() - 1;
    while (i >= 0 && result[i] == QLatin1Char('9'))
        result[i--] = QLatin1Char('0');
    if (i < 0)
        result.prepend(QLatin1Char('1'));
    else
        result[i] = QChar(result[i].unicode() + 1);
    qsizetype lead = 0;
    while (lead < result.size() - 1 && result[lead] == QLatin1Char('0'))
        ++lead;
    return result.mid(lead);
}

// The letter at Offset from Base, or nothing when the offset leaves the 26 letters.
QString Letter(QChar base, std::int64_t offset)
{
    if (offset < 0 || offset > 25)
        return QString();
    return QString(QChar(base.unicode() + int(offset)));
}

QString SuffixText(const TrecStrPart &part, std::int32_t n)
{
    QString text;
    if (part.PartType == 2 && !part.Str.isEmpty()) {
        const QChar last = part.Str.back();
        if (n < 27) {
            text = Letter(last, std::int64_t(n) - 1);
        } else {
            const std::int32_t m = n - 1;
            text = Letter(last, m / 26 - 1) + Letter(last, m % 26);
        }
    } else if (part.PartType == 1) {
        text = QString::number(n);
    }
    if (!part.Sep.isNull())
        text.prepend(part.Sep);
    return text;
}

} // namespace

void TStringFormat::SetNoStr(const QString &S)
{
    NoStr = S;
    NoLen = std::int32_t(S.size());
}

bool TStringFormat::GetPart(std::int32_t &Pos, std::uint8_t &PartType, QChar &Sep, QString &Text,
                            bool &HasOne)
{
    const bool result = Pos <= NoLen;
    PartType = 0;
    HasOne = false;
    if (!result) {
        Sep = QChar();
        return false;
    }
    const auto at = [this](std::int32_t pos) { return NoStr[pos - 1]; };
    const std::int32_t start = Pos;
    const QChar first = at(Pos);
    if (IsDigit(first)) {
        PartType = 1;
        do {
            HasOne = HasOne || at(Pos) == QLatin1Char('1');
            ++Pos;
        } while (Pos <= NoLen && IsDigit(at(Pos)));
    } else if (!IsSeparator(first)) {
        PartType = 2;
        do
            ++Pos;
        while (Pos <= NoLen && !IsDigit(at(Pos)) && !IsSeparator(at(Pos)));
    }
    // A lone separator is its own text; Pos stays on it so that it is taken as the separator too.
    Text = NoStr.mid(start - 1, std::max(1, Pos - start));
    if (Pos <= NoLen && IsSeparator(at(Pos))) {
        Sep = at(Pos);
        ++Pos;
    } else {
        Sep = QChar();
    }
    return result;
}

void TStringFormat::InitFormatParts()
{
    Parts.clear();
    CounterIdx = -1;
    SortStr.clear();
    SortLen = 0;
    // The length lives in one byte, so a format of 256 characters counts as none.
    FormatLen = std::uint8_t(NoLen);
    if (FormatLen == 0)
        return;

    std::int32_t pos = 1;
    std::uint8_t type;
    QChar sep;
    QString text;
    bool hasOne;
    std::size_t count = 0;
    while (GetPart(pos, type, sep, text, hasOne))
        ++count;
    Parts.resize(count);

    pos = 1;
    for (std::size_t i = 0; i < count; ++i) {
        GetPart(pos, type, sep, text, hasOne);
        TrecStrPart &part = Parts[i];
        part.PartType = type;
        part.IsCounter = hasOne;
        part.Len = std::uint8_t(text.size());
        part.Sep = sep;
        part.Str = text;
        if (hasOne) {
            if (CounterIdx < 0)
                CounterIdx = std::int32_t(i);
            else
                ErrorCode = kSecondCounter;
        }
    }
    if (CounterIdx < 0) {
        const auto number =
            std::find_if(Parts.begin(), Parts.end(), [](const TrecStrPart &p) { return p.PartType == 1; });
        if (number != Parts.end())
            CounterIdx = std::int32_t(number - Parts.begin());
    }
    AlphaOnly = Parts.size() == 1 && Parts[0].PartType == 2;
}

void TStringFormat::InitPointNo(const QString &Format)
{
    ErrorCode = 0;
    try {
        FormatStr = Format;
        SetNoStr(Format);
        InitFormatParts();
    } catch (...) {
        ErrorCode = kInitFailed;
    }
}

void TStringFormat::InitGlkNo(const QString &Format, const QString &Suffix1, const QString &Suffix2,
                              QChar Sep1, QChar Sep2)
{
    ErrorCode = 0;
    try {
        SetNoStr(Format);
        InitFormatParts();
        const auto setUp = [](TrecStrPart &part, const QString &suffix, QChar sep) {
            part.PartType = !suffix.isEmpty() && IsDigit(suffix[0]) ? 1 : 2;
            part.IsCounter = false;
            part.Str = suffix.isEmpty() ? QStringLiteral("a") : suffix;
            part.Len = std::uint8_t(part.Str.size());
            part.Sep = sep;
        };
        setUp(GlkPart1, Suffix1, Sep1);
        AddPart(GlkPart1, true);
        if (!Suffix2.isEmpty()) {
            setUp(GlkPart2, Suffix2, Sep2);
            AddPart(GlkPart2, true);
        } else {
            GlkPart2 = TrecStrPart();
        }
    } catch (...) {
        ErrorCode = kInitFailed;
    }
}

void TStringFormat::AddPart(const TrecStrPart &Part, bool ReplaceSep)
{
    TrecStrPart copy = Part;
    if (ReplaceSep) {
        // Without an earlier part there is nobody to hand the separator to.
        if (!Parts.empty())
            Parts.back().Sep = Part.Sep;
        copy.Sep = QChar();
    }
    Parts.push_back(copy);
}

bool TStringFormat::SortStrOK(const QString &Sort, std::int32_t N)
{
    if (AlphaOnly)
        return true;
    if (Sort.size() < N) {
        ErrorCode = kSortShorter;
        return false;
    }
    const QString head = Sort.left(N);
    for (qsizetype k = 1; k < head.size(); ++k) {
        if (head.left(k).contains(head[k])) {
            ErrorCode = kSortRepeats;
            return false;
        }
    }
    for (std::int32_t d = 1; d <= std::min(N, 9); ++d) {
        if (!head.contains(QChar(u'0' + d))) {
            ErrorCode = kSortMissing;
            return false;
        }
    }
    for (std::int32_t l = 0; l <= N - 10; ++l) {
        if (!head.contains(QChar(u'a' + l))) {
            ErrorCode = kSortMissing;
            return false;
        }
    }
    return true;
}

void TStringFormat::SetSortStr(const QString &S)
{
    ErrorCode = 0;
    SortStr.clear();
    SortLen = 0;
    if (!S.isEmpty() && FormatLen > 0 && SortStrOK(S, FormatLen)) {
        SortStr = S;
        SortLen = std::uint8_t(S.size());
    }
}

bool TStringFormat::SortStringOK(const QString &Format, const QString &Sort)
{
    ErrorCode = 0;
    if (Sort.isEmpty())
        return true;
    return SortStrOK(Sort, std::int32_t(Format.size()));
}

bool TStringFormat::FormatOK(const QString &Format)
{
    static const QString allowed = QStringLiteral(",-.09;A_a");
    ErrorCode = 0;
    if (Format.isEmpty())
        ErrorCode = kFormatEmpty;
    else if (std::any_of(Format.begin(), Format.end(), [](QChar c) { return !allowed.contains(c); }))
        ErrorCode = kBadFormatChar;
    return ErrorCode == 0;
}

bool TStringFormat::PointNoOK(const QString &Number)
{
    GetSortStr(Number);
    return ErrorCode == 0;
}

QString TStringFormat::GetNumber(std::size_t i, const QString &Text) const
{
    QString result;
    AppendNumber(result, i, Text);
    return result;
}

QString TStringFormat::GetChars(std::size_t i, const QString &Text) const
{
    QString result;
    AppendChars(result, i, Text);
    return result;
}

void TStringFormat::AppendNumber(QString &Result, std::size_t i, QStringView Text) const
{
    const TrecStrPart &part = Parts[i];
    const qsizetype fill = part.Len - Text.size();
    if (part.Str.startsWith(QLatin1Char('1')) || part.Str.startsWith(QLatin1Char('9'))) {
        Result += Text;
        AppendRun(Result, fill, QLatin1Char('0'));
    } else {
        AppendRun(Result, fill, QLatin1Char('0'));
        Result += Text;
    }
}

void TStringFormat::AppendChars(QString &Result, std::size_t i, QStringView Text) const
{
    AppendRun(Result, Parts[i].Len - Text.size(), QLatin1Char('-'));
    Result += Text;
}

void TStringFormat::AppendFiller(QString &Result, std::size_t i) const
{
    const TrecStrPart &part = Parts[i];
    // A separator standing alone is its separator only; filling its text as well would make
    // every key one character wider than the format and split equal numbers.
    if (part.PartType != 0)
        AppendRun(Result, part.Len, part.PartType == 1 ? QLatin1Char('0') : QLatin1Char('-'));
    if (!part.Sep.isNull())
        Result += part.Sep;
}

QString TStringFormat::GetSortStr(const QString &Number)
{
    ErrorCode = 0;
    try {
        return BuildSortStr(Number);
    } catch (...) {
        ErrorCode = kSortStrFailed;
        return QString();
    }
}

QString TStringFormat::BuildSortStr(const QString &Number)
{
    if (AlphaOnly || FormatLen == 0)
        return Number;
    QString result;
    result.reserve(FormatLen);
    SetNoStr(Number);
    const std::size_t n = Parts.size();
    std::size_t i = 0;
    std::int32_t pos = 1;
    std::uint8_t type;
    QChar sep;
    QString text;
    bool hasOne;
    while (i < n) {
        const bool scanned = GetPart(pos, type, sep, text, hasOne);
        if (type != 0) {
            while (i < n && Parts[i].PartType != type)
                AppendFiller(result, i++);
        } else if (Parts[i].PartType != 0 || !scanned) {
            // A lone separator or the end of the number passes over one part only. At the end
            // a separator part of the format is filled as well, so the loop always moves on.
            AppendFiller(result, i++);
        }
        if (scanned && i < n) {
            const TrecStrPart &part = Parts[i];
            // Formatting never cuts, so a text longer than the part cannot fit.
            if (text.size() > part.Len) {
                ErrorCode = kPartTooLong;
                return result;
            }
            if (part.PartType == 1)
                AppendNumber(result, i, text);
            else if (part.PartType == 2)
                AppendChars(result, i, text);
            if (!part.Sep.isNull())
                result += part.Sep;
            // After the last part nothing is left to skip to; whatever follows the separator
            // is reported as a number longer than the format.
            if (!sep.isNull() && sep != part.Sep && i + 1 < n) {
                do {
                    if (++i >= n) {
                        ErrorCode = kSeparatorInNumber;
                        return result;
                    }
                    AppendFiller(result, i);
                } while (Parts[i].Sep != sep);
            }
            ++i;
        } else if (scanned && type != 0) {
            ErrorCode = kNotConvertible;
            return result;
        }
    }
    if (GetPart(pos, type, sep, text, hasOne)) {
        ErrorCode = kNumberLonger;
        return result;
    }
    if (SortLen > 0) {
        const QString copy = result;
        const qsizetype count = std::min<qsizetype>(result.size(), SortLen);
        for (qsizetype k = 0; k < count; ++k) {
            const QChar c = SortStr[k];
            const int p = IsDigit(c) ? c.unicode() - u'0' : c.unicode() - 87;
            // A short result (a lone separator in the number) may not reach every target position.
            if (p < 1 || p > result.size()) {
                ErrorCode = kSortStrFailed;
                return result;
            }
            result[p - 1] = copy[k];
        }
    }
    return result;
}

QString TStringFormat::IncPointNo(const QString &Number)
{
    ErrorCode = 0;
    if (Number.isEmpty())
        return QStringLiteral("1");
    QString result = Number;
    if (CounterIdx < 0 && FormatLen > 0) {
        if (!std::all_of(Number.begin(), Number.end(), IsDigit)) {
            ErrorCode = kNoNumberPart;
            return Number;
        }
        result = IncrementDigits(Number);
    } else {
        const auto first = std::find_if(Number.begin(), Number.end(), IsDigit);
        if (first == Number.end()) {
            ErrorCode = kNothingToIncrement;
            return Number;
        }
        const qsizetype start = first - Number.begin();
        qsizetype end = start;
        while (end < Number.size() && IsDigit(Number[end]))
            ++end;
        result = Number.left(start) + IncrementDigits(Number.mid(start, end - start)) + Number.mid(end);
    }
    if (result.size() > Number.size() && FormatLen != 0)
        GetSortStr(result);
    return result;
}

QString TStringFormat::CreateGlkNo(const QString &Base, std::int32_t N1, std::int32_t N2)
{
    ErrorCode = 0;
    QString result = Base + SuffixText(GlkPart1, N1);
    if (N2 > 0 && GlkPart2.PartType != 0)
        result += SuffixText(GlkPart2, N2);
    return result;
}

bool TStringFormat::GetCounter() const
{
    return CounterIdx >= 0;
}

QString TStringFormat::ErrorStr() const
{
    const auto *found = std::find_if(std::begin(kMessages), std::end(kMessages),
                                     [this](const TErrorMessage &m) { return m.Code == ErrorCode; });
    return QString::fromLatin1(found != std::end(kMessages) ? found->Text : kMsgUnexpected);
}

} // namespace wn
