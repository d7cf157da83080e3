#pragma once
// Shared helpers of the navigator tests: an active host window, pictures of a bar written to
// the build folder for a person to look at, and synthetic mouse events.

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QMouseEvent>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>

namespace wn::test {

// A form holding one control, shown and active so that the control can take the focus.
template <typename T> struct THostedControl {
    std::unique_ptr<QWidget> Form = std::make_unique<QWidget>();
    T *Control = nullptr;

    THostedControl()
    {
        Form->resize(400, 80);
        Control = new T(Form.get());
        Control->move(10, 10);
        Form->show();
        Form->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(Form.get()));
    }
};

// The control as it is painted now; also written to <build>/test_pictures/navigators/<name>.png.
inline QImage Picture(QWidget &control, const QString &name)
{
    QApplication::processEvents();
    const QImage image = control.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QString dir = QStringLiteral(WN_BINARY_DIR "/test_pictures/navigators");
    QDir().mkpath(dir);
    EXPECT_TRUE(image.save(dir + "/" + name + ".png")) << name.toStdString();
    return image;
}

inline int CountPixels(const QImage &image, const QRect &area, QRgb colour)
{
    int n = 0;
    const QRect r = area.intersected(image.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            if ((image.pixel(x, y) & 0xFFFFFF) == (colour & 0xFFFFFF))
                ++n;
    return n;
}

inline void SendMouse(QWidget &w, QEvent::Type type, QPoint pos, Qt::MouseButton button,
                      Qt::MouseButtons held)
{
    QMouseEvent event(type, QPointF(pos), QPointF(w.mapToGlobal(pos)), button, held, Qt::NoModifier);
    QApplication::sendEvent(&w, &event);
}

inline void Press(QWidget &w, QPoint pos)
{
    SendMouse(w, QEvent::MouseButtonPress, pos, Qt::LeftButton, Qt::LeftButton);
}
inline void MoveHeld(QWidget &w, QPoint pos)
{
    SendMouse(w, QEvent::MouseMove, pos, Qt::NoButton, Qt::LeftButton);
}
inline void Release(QWidget &w, QPoint pos)
{
    SendMouse(w, QEvent::MouseButtonRelease, pos, Qt::LeftButton, Qt::NoButton);
}

} // namespace wn::test
