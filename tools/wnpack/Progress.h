#pragma once
// A progress bar on stderr for jobs that take a while. It shows only when stderr is a terminal,
// only once the job has run for about a second, and never when the user asked for quiet (-q).

#include <QElapsedTimer>

#include <cstdint>

namespace wnpack {

class TProgress
{
public:
    explicit TProgress(bool quiet);
    ~TProgress();
    TProgress(const TProgress &) = delete;
    TProgress &operator=(const TProgress &) = delete;

    void Update(std::int64_t done, std::int64_t total);

private:
    bool FOn;
    bool FShown = false;
    int FPercent = -1;
    QElapsedTimer FClock;
};

} // namespace wnpack
