#include "framework/SysUtils.h"

#include "framework/Exceptions.h"

#include <QLocale>

namespace wn {

// Placeholder bodies; the real routines replace them.
TFormatSettings TFormatSettings::FromLocale(const QLocale &) { return {}; }
TFormatSettings &FormatSettings() { static TFormatSettings fs; return fs; }
QString FloatToStrF(double v, TFloatFormat, int, int) { return QString::number(v); }
QString FloatToStrF(double v, TFloatFormat, int, int, const TFormatSettings &) { return QString::number(v); }
QString FloatToStr(double v) { return QString::number(v); }
QString FloatToStr(double v, const TFormatSettings &) { return QString::number(v); }
QString FormatFloat(const QString &, double v) { return QString::number(v); }
QString FormatFloat(const QString &, double v, const TFormatSettings &) { return QString::number(v); }
QString Format(const QString &f, const QVariantList &) { return f; }
QString Format(const QString &f, const QVariantList &, const TFormatSettings &) { return f; }
bool TryStrToInt(const QString &t, std::int32_t &v) { bool ok; v = t.toInt(&ok); return ok; }
std::int32_t StrToInt(const QString &t) { return t.toInt(); }
bool TryStrToFloat(const QString &t, double &v) { bool ok; v = t.toDouble(&ok); return ok; }
bool TryStrToFloat(const QString &t, double &v, const TFormatSettings &) { bool ok; v = t.toDouble(&ok); return ok; }
double StrToFloat(const QString &t) { return t.toDouble(); }
double StrToFloat(const QString &t, const TFormatSettings &) { return t.toDouble(); }
QString IntToStr(std::int64_t v) { return QString::number(v); }
QString Trim(const QString &t) { return t.trimmed(); }
QString UpperCase(const QString &t) { return t.toUpper(); }
int CompareText(const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive); }
QString DateTimeToStr(const QDateTime &d) { return d.toString(); }
QString DateTimeToStr(const QDateTime &d, const TFormatSettings &) { return d.toString(); }

} // namespace wn
