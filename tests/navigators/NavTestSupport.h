#pragma once
// Shared helpers of the navigator tests: an active host window, pictures of a bar written to
// the build folder for a person to look at, synthetic mouse events and arrow-key walks.

#include <QApplication>
#include <QDir>
#include <QMouseEvent>
#include <QTest>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace wn::test {

// A form holding one control, shown and active so that the control can take the focus.
template <typename T> struct THostedControl {
    std::unique_ptr<QWidget> Form = std::make_unique<QWidget>();
    T *Control = new T(Form.get());

    THostedControl()
    {
        Form->resize(400, 80);
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
            n += image.pixel(x, y) == colour;
    return n;
}

// A mouse event with the left button: pressed, held while moving, or released.
inline void SendMouse(QWidget &w, QEvent::Type type, QPoint pos)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, QPointF(pos), QPointF(w.mapToGlobal(pos)), button, held, Qt::NoModifier);
    QApplication::sendEvent(&w, &event);
}

// Presses the keys of `keys` ('<' left, '>' right, '^' up) and checks the focused button after
// each.
template <typename TBar>
void ExpectFocusSteps(TBar &bar, const char *keys,
                      const std::vector<decltype(std::declval<TBar>().FocusedButton())> &focused)
{
    const std::map<char, Qt::Key> key{{'<', Qt::Key_Left}, {'>', Qt::Key_Right}, {'^', Qt::Key_Up}};
    for (std::size_t i = 0; i < focused.size(); ++i) {
        QTest::keyClick(&bar, key.at(keys[i]));
        EXPECT_EQ(bar.FocusedButton(), focused[i]) << "key " << i << " of " << keys;
    }
}

} // namespace wn::test
