#pragma once
// Helpers of the widget tests: an active host window, pictures of a widget written to the build
// folder for a person to look at, pixel counts and synthetic mouse events.

#include "framework/UiServices.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QMouseEvent>
#include <QTest>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>

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

// The widget as it is painted now; also written to <build>/test_pictures/<folder>/<name>.png.
inline QImage SavePicture(QWidget &widget, const char *folder, const QString &name)
{
    QApplication::processEvents();
    const QImage image = widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QString dir = QStringLiteral(WN_BINARY_DIR "/test_pictures/") + QLatin1String(folder);
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
inline void SendMouse(QWidget &w, QEvent::Type type, QPoint pos,
                      Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, QPointF(pos), QPointF(w.mapToGlobal(pos)), button, held, modifiers);
    QApplication::sendEvent(&w, &event);
}

// People working the package's modal forms, one form each in order, through recorded UI
// services: each gets its form shown (not modal) and works it with mouse and keys; a form still
// open afterwards is closed by its close box. With nobody left a form is cancelled unseen.
struct TModalUsers {
    std::deque<std::function<void(QDialog &form)>> Users;

    explicit TModalUsers(TRecordingUiServices &ui)
    {
        ui.ModalAnswer = [this](QDialog &form) {
            if (Users.empty())
                return int(mrCancel);
            const auto user = std::move(Users.front());
            Users.pop_front();
            form.setResult(mrNone);
            form.show();
            user(form);
            if (form.isVisible())
                form.reject();
            return form.result() == QDialog::Rejected ? int(mrCancel) : form.result();
        };
    }
};

} // namespace wn::test
