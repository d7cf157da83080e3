#pragma once
// The workbench's calculation: sound levels of a road and a factory behind an optional barrier on
// a regular raster, written band by band into a grid result file by a worker thread. Progress,
// hints, warnings and the user's break travel through KV_ELOG; the worker polls rechenabbruch
// between bands and asks for a pause through clog_CheckPause.
#include "framework/Threads.h"

#include <QString>

#include <cstdint>

namespace wndemo {

// The parameters the Calculate panel edits.
struct TScenario {
    double Spacing = 5.0;        // m between grid nodes
    double Width = 1000.0;       // m, west to east
    double Height = 800.0;       // m, south to north
    double RoadPower = 85.0;     // dB(A), sound power per metre of the road by day
    double FactoryPower = 105.0; // dB(A), sound power of the factory by day
    double BarrierHeight = 4.0;  // m; cNoBarrier when there is none
    double XOrigin = 3500000.0;
    double YOrigin = 5800000.0;
};

// The barrier height that stands for "no barrier".
inline constexpr double cNoBarrier = 0.0;
// Rows computed and written at a time.
inline constexpr int cBandRows = 16;

// The Z level the receivers stand at.
inline constexpr double cReceiverHeight = 4.0;

// Raises when the scenario cannot make a grid (too few or too many nodes).
void CheckScenario(const TScenario &s);

// The worker. ReturnValue: 0 done, 1 stopped by the user, 2 failed (reported as clog_Error).
class TNoiseCalculation : public wn::TThread
{
public:
    TNoiseCalculation(const TScenario &scenario, const QString &fileName);
    ~TNoiseCalculation() override;

    const QString &FileName() const { return FFileName; }

protected:
    void Execute() override;

private:
    void Calculate();

    TScenario FScenario;
    QString FFileName;
};

} // namespace wndemo
