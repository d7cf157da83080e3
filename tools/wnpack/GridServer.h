#pragma once
// The point-query service behind `wnpack grid serve`: a request is one line "X Y", the answer
// the lines of `wnpack grid query` at that point followed by an empty line, or one line starting
// with "error: " for a request that is not two numbers. Served by the package's server socket,
// non-blocking in the GUI thread's event loop or thread-blocking with a worker per connection.

#include "grid/KVRasterNeu.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>

namespace wnpack {

// Longest request line taken; a longer one is answered with an error and skipped.
inline constexpr qsizetype cMaxRequestLine = 256;
// Answers a client has not read yet; a client that lets more pile up is dropped.
inline constexpr qsizetype cMaxPendingAnswers = qsizetype(1) << 20;

// The lines of the point query at (x, y) of an open grid file: the node's X, Y and Z, then one
// "tag<TAB>text" line per value, each ended by "\n".
QString QueryLines(wn::TRKFile &grid, double x, double y);

// The answer to one request line (without its line end), in the file's single-byte encoding.
QByteArray AnswerRequest(wn::TRKFile &grid, QByteArrayView line);

// Cuts one connection's incoming bytes into request lines and answers the complete ones.
class TRequestReader
{
public:
    // The answers to the lines completed by these bytes, in order.
    QByteArray Feed(wn::TRKFile &grid, QByteArrayView bytes);

    // Requests answered so far, errors not counted.
    std::int64_t Requests = 0;

private:
    QByteArray FLine;
    bool FOverlong = false;
};

struct TServeOptions {
    QString FileName;
    QString Bind = QStringLiteral("127.0.0.1");
    std::uint16_t Port = 0; // 0: any free port
    bool Threads = false;   // thread-blocking server instead of the non-blocking one
};

// The server; listening from construction to destruction. The non-blocking kind lives in the
// thread that constructs it, whose event loop must run.
class TGridQueryServer
{
public:
    // Raises for a file that is not a grid file and for a port that cannot be had.
    explicit TGridQueryServer(const TServeOptions &options);
    ~TGridQueryServer();
    TGridQueryServer(const TGridQueryServer &) = delete;
    TGridQueryServer &operator=(const TGridQueryServer &) = delete;

    std::uint16_t Port() const;
    std::int64_t Requests() const { return FRequests.load(); }
    std::int64_t Connections() const { return FConnections.load(); }

private:
    class TImpl;
    std::unique_ptr<TImpl> FImpl;
    std::atomic<std::int64_t> FRequests{0};
    std::atomic<std::int64_t> FConnections{0};
};

} // namespace wnpack
