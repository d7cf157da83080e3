#pragma once
// Single-byte code pages of the suite's files (Windows-1252 and the OEM code page IBM850) and
// the text-file encoding rule: UTF-8 when the bytes are valid UTF-8, Windows-1252 otherwise.

#include "wn_export.h"

#include <QByteArray>
#include <QString>

namespace wn {

enum class TCodePage { Windows1252, IBM850 };

// All conversions between single-byte text and QString go through these two; characters the
// code page cannot hold become "?".
WN_EXPORT QString DecodeCodePage(const QByteArray &bytes, TCodePage page);
WN_EXPORT QByteArray EncodeCodePage(const QString &text, TCodePage page);

WN_EXPORT QString FromWin1252(const QByteArray &bytes);
WN_EXPORT QByteArray ToWin1252(const QString &text);
WN_EXPORT QString FromOem(const QByteArray &bytes);
WN_EXPORT QByteArray ToOem(const QString &text);

// How a text file was stored, so that a rewrite keeps it. New files are Utf8.
enum class TTextEncoding { Utf8, Utf8Bom, Windows1252 };

WN_EXPORT QString DecodeText(const QByteArray &bytes, TTextEncoding &encoding);
WN_EXPORT QByteArray EncodeText(const QString &text, TTextEncoding encoding);
// Reads the whole file; EInOutError when it cannot be opened or read.
WN_EXPORT QString ReadTextFile(const QString &fileName, TTextEncoding &encoding);

} // namespace wn
