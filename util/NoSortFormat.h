#pragma once
// Sort strings for free-text point numbers (B5.12, 7a, P10-3): a number is laid out on a sample
// format so that a plain text sort gives the natural order, optionally with its characters
// permuted by a sort string. Also proposes the next number and builds numbers for duplicates.
//
// TStringFormat never throws: every operation leaves its outcome in ErrorCode, which ErrorStr
// turns into a message. Positive codes are notices (the returned value is still usable).

#include "framework/Classes.h"
#include "wn_export.h"

#include <QChar>
#include <QString>
#include <QStringView>

#include <cstdint>
#include <vector>

namespace wn {

// One part of a format.
struct TrecStrPart {
    // 0 = a separator standing alone, 1 = a run of digits, 2 = a run of other characters
    std::uint8_t PartType = 0;
    // a number part containing the digit "1": the part that IncPointNo is meant to count
    bool IsCounter = false;
    std::uint8_t Len = 0;
    // the separator after the part ("," "." or ";"), or the null character
    QChar Sep;
    QString Str;
};

class WN_EXPORT TStringFormat : public TObject
{
public:
    // Parses the format; clears any sort string, so SetSortStr follows every initialisation.
    void InitPointNo(const QString &Format);
    // As InitPointNo, then adds the suffix parts for duplicates: a suffix beginning with a digit
    // counts in decimals, any other (an empty one stands for "a") in letters.
    void InitGlkNo(const QString &Format, const QString &Suffix1, const QString &Suffix2, QChar Sep1,
                   QChar Sep2);
    // With ReplaceSep the part before the new one takes its separator and the copy keeps none.
    void AddPart(const TrecStrPart &Part, bool ReplaceSep);
    // Accepts S when it is a permutation of the format's positions; otherwise none is kept.
    void SetSortStr(const QString &S);
    bool SortStringOK(const QString &Format, const QString &Sort);
    // Only "," "-" "." "0" "9" ";" "A" "_" "a" may appear in a format.
    bool FormatOK(const QString &Format);
    bool PointNoOK(const QString &Number);
    QString GetSortStr(const QString &Number);
    // Increments the first run of digits of Number.
    QString IncPointNo(const QString &Number);
    // Base with the suffix for the N1-th (and, with a second suffix part, the N2-th) duplicate.
    QString CreateGlkNo(const QString &Base, std::int32_t N1, std::int32_t N2);
    bool GetCounter() const;
    QString ErrorStr() const;

    std::vector<TrecStrPart> Parts;
    TrecStrPart GlkPart1;
    TrecStrPart GlkPart2;
    std::uint8_t FormatLen = 0;
    std::uint8_t SortLen = 0;
    QString SortStr;
    std::int32_t CounterIdx = 0;
    QString FormatStr;
    bool AlphaOnly = false;
    std::int32_t ErrorCode = 0;

protected:
    void SetNoStr(const QString &S);
    // Scans the part of NoStr starting at the 1-based Pos and moves Pos past it and the
    // separator that follows it. False when Pos is past the end.
    bool GetPart(std::int32_t &Pos, std::uint8_t &PartType, QChar &Sep, QString &Text, bool &HasOne);
    void InitFormatParts();
    QString GetNumber(std::size_t i, const QString &Text) const;
    QString GetChars(std::size_t i, const QString &Text) const;
    bool SortStrOK(const QString &Sort, std::int32_t N);

    // The text GetPart scans: the format while parsing, the number while formatting.
    QString NoStr;
    std::int32_t NoLen = 0;

private:
    // Append to the sort string under construction instead of building pieces.
    void AppendFiller(QString &Result, std::size_t i) const;
    void AppendNumber(QString &Result, std::size_t i, QStringView Text) const;
    void AppendChars(QString &Result, std::size_t i, QStringView Text) const;
    QString BuildSortStr(const QString &Number);
};

// Error codes; ErrorStr gives their messages.
namespace NoSortFormatErrors {
inline constexpr std::int32_t kInitFailed = -11;
inline constexpr std::int32_t kSeparatorInNumber = -10;
inline constexpr std::int32_t kBadFormatChar = -9;
inline constexpr std::int32_t kNumberLonger = -8;
inline constexpr std::int32_t kPartTooLong = -7;
inline constexpr std::int32_t kNothingToIncrement = -6;
inline constexpr std::int32_t kSortShorterThanNumber = -5;
inline constexpr std::int32_t kNotConvertible = -4;
inline constexpr std::int32_t kSortMissing = -3;
inline constexpr std::int32_t kSortRepeats = -2;
inline constexpr std::int32_t kSortShorter = -1;
inline constexpr std::int32_t kFormatEmpty = 1;
inline constexpr std::int32_t kNoNumberPart = 2;
inline constexpr std::int32_t kSecondCounter = 100;
inline constexpr std::int32_t kSortStrFailed = -100;
} // namespace NoSortFormatErrors

} // namespace wn
