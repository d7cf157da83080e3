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
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <mutex>
#include <thread>

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

// Runs a program headless with Input on its standard input; WorkDir, when given, is its working
// folder and its runtime folder.
inline TToolRun RunProgram(const QString &program, const QStringList &args, const QByteArray &input = {},
                           const QString &workDir = {})
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    if (!workDir.isEmpty()) {
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), workDir);
        p.setWorkingDirectory(workDir);
    }
    p.setProcessEnvironment(env);
    p.start(program, args);
    TToolRun run;
    if (!p.waitForStarted(10000))
        return run;
    p.write(input);
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

inline TToolRun RunWnpack(const QStringList &args, const QByteArray &input = {}, const QString &workDir = {})
{
    return RunProgram(WnpackProgram(), args, input, workDir);
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
