// A log-book file from untrusted bytes: read its lines, write them back in the encoding they came
// in, read them again and write them once more. After one pass a line's file form is settled, so
// the second writing must give the same bytes, and when the bytes are read in the same encoding
// the same lines.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "logging/KVLogBook.h"

#include <QStringList>

using namespace wn;

namespace {

QStringList FileForms(const TLines &lines)
{
    QStringList forms;
    for (std::int32_t i = 0; i < lines.Count(); ++i)
        forms << lines[i].InfoToStr();
    return forms;
}

QByteArray ReadBytes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        std::abort();
    return file.readAll();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString path = wnfuzz::WriteInput(data, size, QStringLiteral("input.log"));
    TLines lines;
    TTextEncoding encoding = TTextEncoding::Utf8;
    try {
        lines.LoadFromFile(path, encoding);
    } catch (const EConvertError &) {
        // The lines before the malformed one stay and go on below.
    } catch (const EInOutError &) {
        return 0;
    }
    const QStringList written = FileForms(lines);
    lines.SaveToFile(path, encoding);
    const QByteArray bytes = ReadBytes(path);
    // Rewriting may drop the only bytes that were no UTF-8, and then the file reads as UTF-8.
    TLines again;
    TTextEncoding encodingAgain = TTextEncoding::Utf8;
    again.LoadFromFile(path, encodingAgain);
    if (encodingAgain == encoding && FileForms(again) != written)
        __builtin_trap();
    again.SaveToFile(path, encodingAgain);
    if (ReadBytes(path) != bytes)
        __builtin_trap();
    return 0;
}
