#pragma once
// Number and text helpers with the behaviour of the host runtime the package was written for:
// Format, FormatFloat, FloatToStrF, StrToInt/StrToFloat and friends. Separators and date
// formats come from one FormatSettings object. Decimal rounding is half away from zero on the
// double's exact decimal expansion, keeping at most 18 significant digits. None of these routines
// throws anything but EConvertError, whatever the input.

#include "wn_export.h"

#include <QChar>
#include <QDateTime>
#include <QString>
#include <QVariant>
#include <QVariantList>

#include <cstdint>

class QLocale;

namespace wn {

enum TFloatFormat : std::uint8_t { ffGeneral, ffExponent, ffFixed, ffNumber, ffCurrency };

struct WN_EXPORT TFormatSettings {
    QChar DecimalSeparator = QLatin1Char('.');
    QChar ThousandSeparator = QLatin1Char(',');
    QChar DateSeparator = QLatin1Char('/');
    QChar TimeSeparator = QLatin1Char(':');
    // Date and time patterns in the runtime's tokens: d dd ddd dddd m mm mmm mmmm yy yyyy h hh
    // n nn s ss z zzz am/pm a/p (m right after an hour means minutes); "/" and ":" stand for
    // DateSeparator and TimeSeparator; text in quotes is copied.
    QString ShortDateFormat = QStringLiteral("dd/mm/yyyy");
    QString LongTimeFormat = QStringLiteral("hh:nn:ss");

    // Separators and the short date and long time patterns of a Qt locale, translated into the
    // runtime's tokens (the runtime has no time-zone token, so it is left out).
    static TFormatSettings FromLocale(const QLocale &locale);
};

// The process-wide settings, initialised from QLocale::system() on first use.
WN_EXPORT TFormatSettings &FormatSettings();

// Floating point to text. NaN and the infinities give "NAN", "INF" and "-INF"; ffCurrency is
// written like ffNumber, since the settings carry no currency symbol.
WN_EXPORT QString FloatToStrF(double value, TFloatFormat format, int precision, int digits);
WN_EXPORT QString FloatToStrF(double value, TFloatFormat format, int precision, int digits,
                              const TFormatSettings &fs);
WN_EXPORT QString FloatToStr(double value);
WN_EXPORT QString FloatToStr(double value, const TFormatSettings &fs);
WN_EXPORT QString FormatFloat(const QString &format, double value);
WN_EXPORT QString FormatFloat(const QString &format, double value, const TFormatSettings &fs);

// printf-like formatting of %d %u %x %s %f %e %g %% with "-", width and precision.
// A missing or unfitting argument throws EConvertError.
WN_EXPORT QString Format(const QString &format, const QVariantList &args);
WN_EXPORT QString Format(const QString &format, const QVariantList &args, const TFormatSettings &fs);

// Text to numbers. The throwing forms raise EConvertError naming the text.
WN_EXPORT bool TryStrToInt(const QString &text, std::int32_t &value);
WN_EXPORT std::int32_t StrToInt(const QString &text);
WN_EXPORT bool TryStrToFloat(const QString &text, double &value);
WN_EXPORT bool TryStrToFloat(const QString &text, double &value, const TFormatSettings &fs);
WN_EXPORT double StrToFloat(const QString &text);
WN_EXPORT double StrToFloat(const QString &text, const TFormatSettings &fs);

// Does the variant hold an integer of any width?
WN_EXPORT bool VarIsOrdinal(const QVariant &v);

WN_EXPORT QString IntToStr(std::int64_t value);
// Removes leading and trailing characters up to and including the blank (controls too).
WN_EXPORT QString Trim(const QString &text);
// Upper-cases the ASCII letters a..z only.
WN_EXPORT QString UpperCase(const QString &text);
// ASCII case-insensitive comparison: < 0, 0 or > 0.
WN_EXPORT int CompareText(const QString &a, const QString &b);
// ShortDateFormat + " " + LongTimeFormat, without the time when it is midnight. An invalid
// value stands for the runtime's day zero, 30 December 1899.
WN_EXPORT QString DateTimeToStr(const QDateTime &dateTime);
WN_EXPORT QString DateTimeToStr(const QDateTime &dateTime, const TFormatSettings &fs);

} // namespace wn
