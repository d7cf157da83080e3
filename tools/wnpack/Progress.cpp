#include "Progress.h"

#include <cstdio>

#include <unistd.h>

namespace wnpack {

namespace {

constexpr qint64 cDelayMs = 1000;
constexpr int cBarWidth = 40;

} // namespace

TProgress::TProgress(bool quiet) : FOn(!quiet && ::isatty(STDERR_FILENO))
{
    FClock.start();
}

TProgress::~TProgress()
{
    if (FShown)
        std::fputc('\n', stderr);
}

void TProgress::Update(std::int64_t done, std::int64_t total)
{
    if (!FOn || total <= 0 || FClock.elapsed() < cDelayMs)
        return;
    const int percent = int(done * 100 / total);
    if (percent == FPercent)
        return;
    FPercent = percent;
    FShown = true;
    const int filled = percent * cBarWidth / 100;
    char bar[cBarWidth + 1];
    for (int i = 0; i < cBarWidth; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[cBarWidth] = '\0';
    std::fprintf(stderr, "\r[%s] %3d%%", bar, percent);
    std::fflush(stderr);
}

} // namespace wnpack
