// The runtime's formatting and parsing routines with patterns and texts from the input: each
// call returns, or throws EConvertError where a pattern and its arguments do not match.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "framework/SysUtils.h"

#include <cmath>
#include <limits>

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    wnfuzz::TInputCursor in(data, size);
    static const double values[] = {0,
                                    -0.0,
                                    1,
                                    -1,
                                    0.5,
                                    1e-320,
                                    -1e308,
                                    123456789.987654321,
                                    std::numeric_limits<double>::quiet_NaN(),
                                    std::numeric_limits<double>::infinity(),
                                    9.995,
                                    1e15};
    const double value = values[in.Byte() % std::size(values)];
    TFormatSettings fs;
    if (in.Byte() & 1) {
        fs.DecimalSeparator = QLatin1Char(',');
        fs.ThousandSeparator = QLatin1Char('.');
    }
    const QString pattern = in.Text();
    (void)FormatFloat(pattern, value, fs);
    const int precision = int(in.Byte()) - 20;
    const int digits = int(in.Byte()) - 20;
    (void)FloatToStrF(value, TFloatFormat(in.Byte() % 5), precision, digits, fs);
    const QVariantList args = {1, -2.5, QStringLiteral("x"), true, qint64(-1), QVariant()};
    try {
        (void)Format(pattern, args, fs);
    } catch (const EConvertError &) {
    }
    std::int32_t i = 0;
    double d = 0;
    (void)TryStrToInt(pattern, i);
    (void)TryStrToFloat(pattern, d, fs);
    fs.ShortDateFormat = pattern;
    fs.LongTimeFormat = in.Text();
    (void)DateTimeToStr(QDateTime(QDate(1, 1, 1), QTime(23, 59, 59, 999)), fs);
    return 0;
}
