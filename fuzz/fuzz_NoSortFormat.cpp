// The sort-string formatter with format, sort string, number and duplicate suffixes from the
// input. It never throws; a key it accepts has the format's width.
#include "FuzzSupport.h"

#include "util/NoSortFormat.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    wnfuzz::TInputCursor in(data, size);
    const std::uint8_t mode = in.Byte();
    const QString format = in.Text();
    const QString sort = in.Text();
    const QString number = in.Text();
    TStringFormat f;
    (void)f.FormatOK(format);
    (void)f.SortStringOK(format, sort);
    if (mode & 1) {
        const QString suffix1 = in.Text();
        const QString suffix2 = in.Text();
        f.InitGlkNo(format, suffix1, suffix2, QChar(in.Byte()), QChar(in.Byte()));
        const std::int32_t n1 = std::int8_t(in.Byte()) * 37;
        const std::int32_t n2 = std::int8_t(in.Byte()) * 37;
        (void)f.GetSortStr(f.CreateGlkNo(number, n1, n2));
    } else {
        f.InitPointNo(format);
    }
    f.SetSortStr(sort);
    const QString key = f.GetSortStr(number);
    // Lengths live in single bytes, so only formats below 256 characters keep their width.
    if (!(mode & 1) && f.ErrorCode == 0 && !f.AlphaOnly && f.FormatLen > 0 && format.size() < 256 &&
        key.size() != format.size())
        __builtin_trap();
    (void)f.PointNoOK(number);
    (void)f.IncPointNo(number);
    (void)f.ErrorStr();
    return 0;
}
