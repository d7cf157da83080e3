#include "framework/Bitmaps.h"

#include <QPainter>
#include <QPalette>
#include <QRect>
#include <QWidget>

namespace wn {

QImage LoadBitmap(const QString &name)
{
    return QImage(QStringLiteral(":/bitmaps/") + name.toUpper() + QStringLiteral(".png"));
}

QImage WithTransparentColor(const QImage &image, QColor transparent)
{
    QImage result = image.convertToFormat(QImage::Format_ARGB32);
    const QRgb key = transparent.rgb() & 0xFFFFFF;
    for (int y = 0; y < result.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x)
            if ((line[x] & 0xFFFFFF) == key)
                line[x] = 0;
    }
    return result;
}

QImage EngravedGlyph(const QImage &glyph, QColor shadow, QColor highlight)
{
    const QImage source = glyph.convertToFormat(QImage::Format_ARGB32);
    QImage result(source.size(), QImage::Format_ARGB32);
    result.fill(Qt::transparent);
    auto dark = [&](int x, int y) {
        const QRgb c = source.pixel(x, y);
        return qAlpha(c) > 127 && qGray(c) < 192;
    };
    for (int y = 0; y + 1 < source.height(); ++y)
        for (int x = 0; x + 1 < source.width(); ++x)
            if (dark(x, y))
                result.setPixel(x + 1, y + 1, highlight.rgba());
    for (int y = 0; y < source.height(); ++y)
        for (int x = 0; x < source.width(); ++x)
            if (dark(x, y))
                result.setPixel(x, y, shadow.rgba());
    return result;
}

void DrawFocusRect(QPainter &painter, const QRect &rect, QColor colour)
{
    if (rect.width() <= 0 || rect.height() <= 0)
        return;
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    auto dot = [&](int x, int y) {
        if (((x - rect.left()) + (y - rect.top())) % 2 == 0)
            painter.drawRect(x, y, 1, 1);
    };
    for (int x = rect.left(); x <= rect.right(); ++x) {
        dot(x, rect.top());
        dot(x, rect.bottom());
    }
    for (int y = rect.top() + 1; y < rect.bottom(); ++y) {
        dot(rect.left(), y);
        dot(rect.right(), y);
    }
    painter.restore();
}

QPalette FacePalette(const QWidget &widget)
{
    QPalette palette = widget.palette();
    palette.setCurrentColorGroup(widget.isActiveWindow() ? QPalette::Active : QPalette::Inactive);
    return palette;
}

} // namespace wn
