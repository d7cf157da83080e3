#pragma once
// The main() of a benchmark program that shows widgets: a widget application on the offscreen
// platform unless the caller chose one.

#include <QApplication>

#include <benchmark/benchmark.h>

#define WN_WIDGET_BENCHMARK_MAIN()                                                                           \
    int main(int argc, char **argv)                                                                          \
    {                                                                                                        \
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))                                                  \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                                         \
        benchmark::Initialize(&argc, argv);                                                                  \
        QApplication app(argc, argv);                                                                        \
        benchmark::RunSpecifiedBenchmarks();                                                                 \
        benchmark::Shutdown();                                                                               \
        return 0;                                                                                            \
    }
