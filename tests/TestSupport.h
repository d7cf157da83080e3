#pragma once
// Small helpers shared by the test programs: byte files in and out, and the wnpack program run
// as a child process.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <mutex>
#include <thread>

#include <sys/resource.h>

namespace wntest {

inline QByteArray Bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
}

// The whole file, or nothing when it cannot be read.
inline QByteArray ReadAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Replaces the file (making missing folders) and returns its path.
inline QString WriteAll(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate)) << qPrintable(path);
    EXPECT_EQ(f.write(bytes), bytes.size()) << qPrintable(path);
    return path;
}

// A test with a temporary folder of its own.
class TTempDirTest : public ::testing::Test
{
protected:
    QString Path(const QString &name) const { return dir.filePath(name); }
    QString Write(const QString &name, const QByteArray &bytes) const { return WriteAll(Path(name), bytes); }

    QTemporaryDir dir;
};

// Lets no file of this process grow beyond Bytes while it lives: writers see a full disk.
class TFileSizeLimit
{
public:
    explicit TFileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &FOld);
        FOldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = FOld;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~TFileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &FOld);
        std::signal(SIGXFSZ, FOldHandler);
    }
    TFileSizeLimit(const TFileSizeLimit &) = delete;
    TFileSizeLimit &operator=(const TFileSizeLimit &) = delete;

private:
    rlimit FOld;
    void (*FOldHandler)(int);
};

inline QString WnpackProgram()
{
    return QStringLiteral(WN_BINARY_DIR "/tools/wnpack");
}

inline bool WnpackBuilt()
{
    return QFileInfo(WnpackProgram()).isExecutable();
}

struct TToolRun {
    int Status = -1; // -1: did not finish normally
    QString Out;
    QString Err;
};

struct TRunOptions {
    QByteArray Input;       // standard input
    QString WorkDir;        // working folder and runtime folder
    rlim_t FileSizeLimit{}; // when not 0: no file of the child grows beyond it (a full disk)
    QStringList Unset;      // environment variables taken away
    QStringList Set;        // "NAME=value" put into the environment
};

// Runs a program headless (offscreen unless Options say otherwise).
inline TToolRun RunProgram(const QString &program, const QStringList &args, const TRunOptions &options = {})
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    for (const QString &name : options.Unset)
        env.remove(name);
    for (const QString &entry : options.Set)
        env.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    if (!options.WorkDir.isEmpty()) {
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), options.WorkDir);
        p.setWorkingDirectory(options.WorkDir);
    }
    p.setProcessEnvironment(env);
    if (options.FileSizeLimit != 0)
        p.setChildProcessModifier([limit = options.FileSizeLimit] {
            std::signal(SIGXFSZ, SIG_IGN);
            rlimit r;
            ::getrlimit(RLIMIT_FSIZE, &r);
            r.rlim_cur = limit;
            ::setrlimit(RLIMIT_FSIZE, &r);
        });
    p.start(program, args);
    TToolRun run;
    if (!p.waitForStarted(10000))
        return run;
    p.write(options.Input);
    p.closeWriteChannel();
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished(5000);
        return run;
    }
    run.Status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    run.Out = QString::fromUtf8(p.readAllStandardOutput());
    run.Err = QString::fromUtf8(p.readAllStandardError());
    return run;
}

inline TToolRun RunWnpack(const QStringList &args, const TRunOptions &options = {})
{
    return RunProgram(WnpackProgram(), args, options);
}

// Ends the test program when a scope is still running after the time-out: a call that blocks
// forever (on a pipe, say) then fails the test instead of hanging it.
class TWatchdog
{
public:
    TWatchdog(std::chrono::seconds timeout, const char *what)
        : FThread([this, timeout, what] {
              std::unique_lock<std::mutex> lock(FLock);
              if (!FDone.wait_for(lock, timeout, [this] { return FFinished; })) {
                  std::fprintf(stderr, "still blocked after %lld s: %s\n", (long long)timeout.count(), what);
                  std::_Exit(3);
              }
          })
    {}
    ~TWatchdog()
    {
        {
            std::lock_guard<std::mutex> lock(FLock);
            FFinished = true;
        }
        FDone.notify_all();
        FThread.join();
    }
    TWatchdog(const TWatchdog &) = delete;
    TWatchdog &operator=(const TWatchdog &) = delete;

private:
    std::mutex FLock;
    std::condition_variable FDone;
    bool FFinished = false;
    std::thread FThread;
};

} // namespace wntest
