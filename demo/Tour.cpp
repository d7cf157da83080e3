// The scripted tour of the workbench.
#include "Tour.h"

#include "MapView.h"
#include "Workbench.h"

#include "colours/KFarbArr.h"
#include "colours/gFarbDia.h"
#include "framework/UiServices.h"
#include "navigators/NavItem.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QMouseEvent>
#include <QTabWidget>
#include <QTextStream>

#include <functional>

namespace wndemo {

namespace {

// Keeps the event loop turning until done() or the deadline.
bool WaitFor(const std::function<bool()> &done, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents();
    }
    return true;
}

void Settle(int ms)
{
    WaitFor([] { return false; }, ms);
}

void Click(QWidget *w, QPoint pos)
{
    const QPointF local(pos), global(w->mapToGlobal(pos));
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(w, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QCoreApplication::sendEvent(w, &release);
}

} // namespace

TTourResult RunTour(TWorkbench &w, const QString &shotFolder, QTextStream &out, int timeoutMs)
{
    TTourResult r;
    QDir().mkpath(shotFolder);
    const auto shot = [&](const char *name) {
        Settle(100);
        const QString file = QStringLiteral("%1.png").arg(QLatin1String(name));
        w.grab().save(QDir(shotFolder).filePath(file));
        r.Screenshots.append(file);
    };
    const auto fail = [&](const QString &why) {
        r.Failure = why;
        return r;
    };
    const auto showLog = [&] {
        if (auto *tabs = w.findChild<QTabWidget *>(QStringLiteral("bottomTabs")))
            tabs->setCurrentIndex(0);
    };
    const auto calculate = [&](bool stop) {
        w.StartCalculation();
        if (!w.Calculating())
            return false;
        if (stop) {
            w.PauseCalculation();
            showLog();
            Settle(300);
            shot("5-paused");
            w.StopCalculation();
        }
        return WaitFor([&] { return !w.Calculating(); }, timeoutMs);
    };

    // 1. The default scenario, calculated into the working folder and drawn.
    if (!calculate(false) || w.LastResult() != 0)
        return fail(QStringLiteral("the calculation did not finish"));
    shot("1-calculated");

    // 2. The next channel through the navigator, then back.
    w.ChannelNavigator()->BtnClick(wn::nbNext);
    shot("2-night");
    w.ChannelNavigator()->BtnClick(wn::nbFirst);

    // 3. The band of 60 to 65 dB(A) in another palette colour: a click on its colour field opens
    // the palette, where the tour plays the user and picks entry 34.
    r.RecolouredBand = 6;
    r.RecolouredTo = 34;
    {
        wn::TRecordingUiServices user;
        user.ModalAnswer = [&](QDialog &form) {
            auto *picker = qobject_cast<wn::TFarbenDialog *>(&form);
            if (!picker)
                return int(wn::mrCancel);
            picker->SetFarbe(r.RecolouredTo);
            const QString file = QStringLiteral("3-palette.png");
            picker->grab().save(QDir(shotFolder).filePath(file));
            r.Screenshots.append(file);
            return int(wn::mrOk);
        };
        wn::TUiServicesScope scope(user);
        wn::TFarbFeld *field = w.Legend()->Field(r.RecolouredBand);
        Click(field, field->rect().center());
    }
    if (w.Map()->Bands()[std::size_t(r.RecolouredBand)].FarbNr != r.RecolouredTo)
        return fail(QStringLiteral("the band kept its colour"));
    shot("3-recoloured");

    // 4. Three points clicked on the map: north of the road behind the barrier, beside the
    // factory, and in the quiet south-west.
    const QPointF fractions[3] = {{0.45, 0.55}, {0.72, 0.8}, {0.1, 0.1}};
    TMapView *map = w.Map();
    const QRect m = map->MapRect();
    if (m.isEmpty())
        return fail(QStringLiteral("no map"));
    for (int i = 0; i < 3; ++i) {
        const QPoint pos(m.left() + int(fractions[i].x() * m.width()),
                         m.bottom() - int(fractions[i].y() * m.height()));
        double x, y;
        map->ToWorld(pos, x, y);
        Click(map, pos);
        if (w.QueryLines().isEmpty())
            return fail(QStringLiteral("the map click gave no values"));
        r.Points.push_back({QPointF(x, y), w.QueryLines()});
        out << QStringLiteral("Point %1 at %2, %3:\n").arg(i + 1).arg(x, 0, 'f', 1).arg(y, 0, 'f', 1);
        for (const QString &line : w.QueryLines())
            out << "  " << line << '\n';
        out.flush();
        shot(QStringLiteral("4-point-%1").arg(i + 1).toLatin1().constData());
    }

    // 5. A second calculation without the barrier, paused and stopped by the user.
    w.SetScenario([&] {
        TScenario s = w.Scenario();
        s.BarrierHeight = cNoBarrier;
        return s;
    }());
    if (!calculate(true) || w.LastResult() != 1)
        return fail(QStringLiteral("the second calculation did not stop"));

    // 6. The log book saved into the working folder, which the file list shows.
    r.LogBook = QDir(w.WorkFolder()).filePath(QStringLiteral("workbench.log"));
    w.SaveLogBook(r.LogBook);
    showLog();
    shot("6-logbook");
    r.Ok = true;
    return r;
}

} // namespace wndemo
