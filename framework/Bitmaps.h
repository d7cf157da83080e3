#pragma once
// Glyph bitmaps: the package's bitmap resources by name, the transparent-colour convention of
// glyphs, the engraved look of a disabled glyph, the dotted focus rectangle and the colours a
// button face is painted in.

#include "wn_export.h"

#include <QColor>
#include <QImage>
#include <QString>

class QPainter;
class QPalette;
class QRect;
class QWidget;

namespace wn {

// The bitmap resource `name` of the package (":/bitmaps/<NAME>.png"); resource names are not
// case-sensitive. A null image when there is none.
WN_EXPORT QImage LoadBitmap(const QString &name);

// An ARGB copy of `image` in which every pixel of colour `transparent` is fully transparent.
WN_EXPORT QImage WithTransparentColor(const QImage &image, QColor transparent);

// The disabled look of a glyph that has no disabled picture of its own: its dark pixels in the
// shadow colour over a copy in the highlight colour one pixel down and to the right.
WN_EXPORT QImage EngravedGlyph(const QImage &glyph, QColor shadow, QColor highlight);

// A dotted rectangle along the inside of `rect` (every other pixel, starting at the top-left
// corner), as the system draws a keyboard focus mark.
WN_EXPORT void DrawFocusRect(QPainter &painter, const QRect &rect, QColor colour);

// The palette a button face and its frame are painted from. The system colours do not change
// with the enabled state (only the glyph shows it), so a disabled control, or one on a disabled
// parent, gets the colours of an enabled one.
WN_EXPORT QPalette FacePalette(const QWidget &widget);

} // namespace wn
