// wnpack-demo: the noise-map workbench. With a display it opens the window and starts a
// calculation of the default scenario; on the offscreen platform (or with --tour) it runs the
// scripted tour and names the folder of its screenshots on its last line.
#include "Tour.h"
#include "Workbench.h"

#include "logging/KVLogBook.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDateTime>
#include <QDir>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("wnpack-demo"));
    QApplication::setOrganizationName(QStringLiteral("WNPack"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The WNPack noise-map workbench"));
    parser.addHelpOption();
    const QCommandLineOption tourOption(QStringLiteral("tour"),
                                        QStringLiteral("Run the scripted tour, screenshots into <folder>"),
                                        QStringLiteral("folder"));
    const QCommandLineOption folderOption(QStringLiteral("folder"), QStringLiteral("Working folder"),
                                          QStringLiteral("folder"));
    parser.addOption(tourOption);
    parser.addOption(folderOption);
    parser.process(app);

    const bool tour =
        parser.isSet(tourOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    if (tour) {
        // The tour keeps to a folder of its own, so it never touches the user's settings or files.
        const QString shots = parser.isSet(tourOption)
                                  ? parser.value(tourOption)
                                  : QDir::temp().filePath(QStringLiteral("wnpack-demo-") +
                                                          QDateTime::currentDateTime().toString(
                                                              QStringLiteral("yyyyMMdd-HHmmss")));
        const QString work = parser.isSet(folderOption) ? parser.value(folderOption)
                                                        : QDir(shots).filePath(QStringLiteral("work"));
        QDir().mkpath(work);
        QTextStream out(stdout);
        wndemo::TTourResult result;
        {
            wndemo::TWorkbench w(work, QDir(work).filePath(QStringLiteral("wnpack-demo.ini")));
            w.resize(1280, 800);
            w.show();
            result = wndemo::RunTour(w, shots, out);
            if (!result.Ok)
                for (std::int32_t i = 0; i < w.LogBook()->Lines().Count(); ++i)
                    std::fprintf(stderr, "  %s\n", qPrintable(w.LogBook()->Lines()[i].InfoToStr()));
        }
        if (!result.Ok) {
            std::fprintf(stderr, "wnpack-demo: the tour failed: %s\n", qPrintable(result.Failure));
            return 1;
        }
        out << "Screenshots of the tour: " << QDir::toNativeSeparators(QDir(shots).absolutePath()) << '\n';
        return 0;
    }

    const QString config = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(config);
    const QString work = parser.isSet(folderOption)
                             ? parser.value(folderOption)
                             : QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
                                   .filePath(QStringLiteral("work"));
    wndemo::TWorkbench w(work, QDir(config).filePath(QStringLiteral("wnpack-demo.ini")));
    w.show();
    QTimer::singleShot(0, &w, &wndemo::TWorkbench::StartCalculation);
    return QApplication::exec();
}
