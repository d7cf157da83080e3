#include "framework/Graphics.h"

#include <QApplication>

namespace wn {

namespace {

QColor SystemColor(unsigned index, const QPalette &p)
{
    switch (index) {
    case 0: return p.color(QPalette::Button);                               // clScrollBar
    case 1: return p.color(QPalette::Window);                               // clBackground
    case 2: return p.color(QPalette::Active, QPalette::Highlight);          // clActiveCaption
    case 3: return p.color(QPalette::Inactive, QPalette::Window);           // clInactiveCaption
    case 4: return p.color(QPalette::Window);                               // clMenu
    case 5: return p.color(QPalette::Base);                                 // clWindow
    case 6: return p.color(QPalette::Shadow);                               // clWindowFrame
    case 7: return p.color(QPalette::WindowText);                           // clMenuText
    case 8: return p.color(QPalette::Text);                                 // clWindowText
    case 9: return p.color(QPalette::Active, QPalette::HighlightedText);    // clCaptionText
    case 10: return p.color(QPalette::Window);                              // clActiveBorder
    case 11: return p.color(QPalette::Window);                              // clInactiveBorder
    case 12: return p.color(QPalette::Dark);                                // clAppWorkSpace
    case 13: return p.color(QPalette::Highlight);                           // clHighlight
    case 14: return p.color(QPalette::HighlightedText);                     // clHighlightText
    case 15: return p.color(QPalette::Button);                              // clBtnFace
    case 16: return p.color(QPalette::Dark);                                // clBtnShadow
    case 17: return p.color(QPalette::Disabled, QPalette::Text);            // clGrayText
    case 18: return p.color(QPalette::ButtonText);                          // clBtnText
    case 19: return p.color(QPalette::Inactive, QPalette::HighlightedText); // clInactiveCaptionText
    case 20: return p.color(QPalette::Light);                               // clBtnHighlight
    case 21: return p.color(QPalette::Shadow);                              // cl3DDkShadow
    case 22: return p.color(QPalette::Midlight);                            // cl3DLight
    case 23: return p.color(QPalette::ToolTipText);                         // clInfoText
    case 24: return p.color(QPalette::ToolTipBase);                         // clInfoBk
    default: return p.color(QPalette::Window);
    }
}

QPalette ApplicationPalette()
{
    return qobject_cast<QApplication *>(QCoreApplication::instance()) ? QApplication::palette() : QPalette();
}

} // namespace

TColor ColorToRGB(TColor color, const QPalette &palette)
{
    if ((color & clSystemColor) == 0)
        return color;
    return QColorToColor(SystemColor(color & 0xFF, palette));
}

TColor ColorToRGB(TColor color)
{
    if ((color & clSystemColor) == 0)
        return color;
    return ColorToRGB(color, ApplicationPalette());
}

QColor ColorToQColor(TColor color, const QPalette &palette)
{
    const TColor c = ColorToRGB(color, palette);
    return QColor(GetRValue(c), GetGValue(c), GetBValue(c));
}

QColor ColorToQColor(TColor color)
{
    const TColor c = ColorToRGB(color);
    return QColor(GetRValue(c), GetGValue(c), GetBValue(c));
}

TColor QColorToColor(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return RGB(std::uint8_t(rgb.red()), std::uint8_t(rgb.green()), std::uint8_t(rgb.blue()));
}

} // namespace wn
