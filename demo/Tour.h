#pragma once
// The scripted tour of the workbench that `./wn demo` runs without a display: calculate, look at
// another channel, recolour a band, query three points, stop a second calculation and save the
// log book, with a screenshot of the window after each step.
#include <QPointF>
#include <QString>
#include <QStringList>

#include <vector>

class QTextStream;

namespace wndemo {

class TWorkbench;

struct TTourPoint {
    QPointF At;        // where the map was clicked, in world coordinates
    QStringList Lines; // the value grid's lines, "tag<TAB>text"
};

struct TTourResult {
    bool Ok = false;
    QString Failure;
    QStringList Screenshots; // file names in the screenshot folder, in step order
    std::vector<TTourPoint> Points;
    int RecolouredBand = -1;
    int RecolouredTo = 0; // palette entry
    QString LogBook;      // the saved log book's path
};

// Runs the tour on a shown workbench; each step waits at most timeoutMs for the calculation.
// The point queries go to out as they would to a terminal.
TTourResult RunTour(TWorkbench &w, const QString &shotFolder, QTextStream &out, int timeoutMs = 120000);

} // namespace wndemo
