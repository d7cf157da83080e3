// The point-query service of `wnpack grid serve`.
#include "GridServer.h"

#include "Command.h"

#include "framework/CodePages.h"
#include "framework/Exceptions.h"
#include "framework/SysUtils.h"
#include "sockets/MyScktComp.h"

#include <QFileInfo>
#include <QList>

#include <arpa/inet.h>

#include <cmath>
#include <map>

namespace wnpack {

using namespace wn;

namespace {

const char *const cBadRequest = "error: expected a line \"X Y\" with two numbers, got \"%1\"\n";
const char *const cOverlongRequest = "error: a request line holds at most %1 bytes\n";

// Requests are read with this much waiting at a time, so a stopping server is noticed soon.
constexpr std::int32_t cPollMs = 200;
// A client that takes longer than this to accept an answer is dropped.
constexpr std::int32_t cWriteTimeoutMs = 5000;

bool ParseCoordinate(const QByteArray &text, double &value)
{
    bool ok = false;
    value = text.toDouble(&ok);
    return ok && std::isfinite(value);
}

} // namespace

QString QueryLines(TRKFile &grid, double x, double y)
{
    const double direction[2] = {1.0, 0.0};
    double z = 0;
    TTaggedLines lines;
    grid.GetValuesOfPt(false, direction, x, y, z, lines);
    QString t = FloatToStr(x) + QLatin1Char('\t') + FloatToStr(y) + QLatin1Char('\t') + FloatToStr(z) +
                QLatin1Char('\n');
    for (const TTaggedLine &l : lines)
        t += QString::number(l.Tag) + QLatin1Char('\t') + l.Text + QLatin1Char('\n');
    return t;
}

QByteArray AnswerRequest(TRKFile &grid, QByteArrayView line)
{
    const QList<QByteArray> words = line.toByteArray().simplified().split(' ');
    double x = 0, y = 0;
    if (words.size() != 2 || !ParseCoordinate(words[0], x) || !ParseCoordinate(words[1], y)) {
        // The request is echoed as printable ASCII, so the error stays one line.
        QByteArray shown = line.toByteArray();
        for (char &c : shown)
            if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E)
                c = '?';
        return QString::fromLatin1(cBadRequest).arg(QString::fromLatin1(shown)).toLatin1();
    }
    return ToWin1252(QueryLines(grid, x, y)) + '\n';
}

QByteArray TRequestReader::Feed(TRKFile &grid, QByteArrayView bytes)
{
    QByteArray answers;
    for (qsizetype start = 0; start < bytes.size();) {
        const qsizetype end = bytes.indexOf('\n', start);
        const QByteArrayView piece = bytes.sliced(start, (end < 0 ? bytes.size() : end) - start);
        start = end < 0 ? bytes.size() : end + 1;
        if (!FOverlong) {
            FLine += piece;
            if (FLine.size() > cMaxRequestLine) {
                FOverlong = true;
                FLine.clear();
                answers += QString::fromLatin1(cOverlongRequest).arg(cMaxRequestLine).toLatin1();
            }
        }
        if (end < 0)
            break;
        if (!FOverlong) {
            if (FLine.endsWith('\r'))
                FLine.chop(1);
            answers += AnswerRequest(grid, FLine);
            ++Requests;
        }
        FLine.clear();
        FOverlong = false;
    }
    return answers;
}

namespace {

// Opens the file for queries; raises for anything that is not a grid file.
void OpenForQueries(TRKFile &grid)
{
    if (!QFileInfo(grid.FileName()).isFile())
        throw EInOutError::FromErrno(ENOENT, grid.FileName());
    grid.OpenGridFileReadOnly();
    const TrecRlkStruktur &s = grid.Struktur;
    if (!grid.ReadGridStructure() || s.Columns == 0 || s.Rows == 0 || s.TypeH > cwtSingle ||
        s.TypeW1 > cwtSingle || s.TypeW2 > cwtSingle)
        throw UsageError(QStringLiteral("%1 is not a grid file").arg(grid.FileName()));
}

// A server core that listens on the given address in its non-blocking set-up too.
class TBoundServerWinSocket : public TServerWinSocket
{
public:
    explicit TBoundServerWinSocket(std::uint32_t address)
        : TServerWinSocket(INVALID_SOCKET), FAddress(address)
    {}

protected:
    std::uint32_t AsyncListenAddress() const override { return FAddress; }

private:
    std::uint32_t FAddress;
};

class TQueryServerSocket : public TCustomServerSocket
{
public:
    explicit TQueryServerSocket(std::uint32_t address)
    {
        FServerSocket = std::make_unique<TBoundServerWinSocket>(address);
        InitSocket(FServerSocket.get());
        FServerSocket->SetThreadCacheSize(10);
    }
};

// A worker of the thread-blocking server: its own view of the file, requests read through a
// socket stream.
class TQueryThread : public TServerClientThread
{
public:
    TQueryThread(TServerClientWinSocket *socket, const QString &fileName, std::atomic<std::int64_t> &requests,
                 std::atomic<std::int64_t> &connections)
        : TServerClientThread(true, socket), FGrid(fileName), FRequests(requests), FConnections(connections)
    {}

protected:
    // Runs once per connection, also when the thread comes back from the cache.
    void ClientExecute() override
    {
        ++FConnections;
        TRequestReader reader;
        try {
            if (!FGrid.IsOpen())
                OpenForQueries(FGrid);
            TWinSocketStream stream(ClientSocket(), cWriteTimeoutMs);
            char buffer[4096];
            while (!Terminated() && ClientSocket()->Connected()) {
                if (!stream.WaitForData(cPollMs))
                    continue;
                const std::int32_t n = stream.Read(buffer, sizeof buffer);
                if (n <= 0)
                    return; // the client closed
                const std::int64_t before = reader.Requests;
                const QByteArray answers = reader.Feed(FGrid, QByteArrayView(buffer, n));
                FRequests += reader.Requests - before;
                if (stream.Write(answers.constData(), std::int32_t(answers.size())) < answers.size())
                    return; // the client stopped reading
            }
        } catch (const ESocketError &) {
            // The client vanished; the next one gets a clean thread.
        }
    }

private:
    TRKFile FGrid;
    std::atomic<std::int64_t> &FRequests;
    std::atomic<std::int64_t> &FConnections;
};

} // namespace

class TGridQueryServer::TImpl
{
public:
    TImpl(const TServeOptions &options, std::atomic<std::int64_t> &requests,
          std::atomic<std::int64_t> &connections)
        : FGrid(options.FileName), FRequests(requests), FConnections(connections)
    {
        OpenForQueries(FGrid);
        in_addr address{};
        if (::inet_pton(AF_INET, options.Bind.toLatin1().constData(), &address) != 1)
            throw UsageError(QStringLiteral("--bind \"%1\" is not an IPv4 address").arg(options.Bind));
        FSocket = std::make_unique<TQueryServerSocket>(address.s_addr);
        FSocket->SetAddress(options.Bind);
        FSocket->SetPort(options.Port);
        const QString fileName = options.FileName;
        if (options.Threads) {
            FSocket->SetServerType(stThreadBlocking);
            FSocket->SetGetThreadEvent(
                [this, fileName](TObject *, TServerClientWinSocket *client, TServerClientThread *&thread) {
                    auto *t = new TQueryThread(client, fileName, FRequests, FConnections);
                    t->Resume();
                    thread = t;
                });
        } else {
            FSocket->SetOnClientEvent(0, [this](TObject *, TCustomWinSocket *s) { Read(s); });
            FSocket->SetOnClientEvent(1, [this](TObject *, TCustomWinSocket *s) { Flush(s); });
            FSocket->SetOnClientEvent(2, [this](TObject *, TCustomWinSocket *s) {
                ++FConnections;
                FClients[s];
            });
            FSocket->SetOnClientEvent(3, [this](TObject *, TCustomWinSocket *s) { FClients.erase(s); });
            // A client that resets its connection only loses its connection.
            FSocket->SetOnClientError(
                [](TObject *, TCustomWinSocket *, TErrorEvent, std::int32_t &code) { code = 0; });
        }
        FSocket->Open();
    }

    ~TImpl() { FSocket->Close(); }

    std::uint16_t Port() const { return std::uint16_t(FSocket->Socket()->LocalPort()); }

private:
    struct TClient {
        TRequestReader Reader;
        QByteArray Pending;
    };

    // Each receive or send may end the connection, and with it the client's entry.
    TClient *Client(TCustomWinSocket *s)
    {
        const auto it = FClients.find(s);
        return it == FClients.end() || !s->Connected() ? nullptr : &it->second;
    }

    void Read(TCustomWinSocket *s)
    {
        char buffer[4096];
        for (;;) {
            const std::int32_t n = s->ReceiveBuf(buffer, sizeof buffer);
            TClient *c = Client(s);
            if (!c || n <= 0)
                break;
            const std::int64_t before = c->Reader.Requests;
            c->Pending += c->Reader.Feed(FGrid, QByteArrayView(buffer, n));
            FRequests += c->Reader.Requests - before;
            if (c->Pending.size() > cMaxPendingAnswers) {
                s->Close();
                return;
            }
        }
        Flush(s);
    }

    void Flush(TCustomWinSocket *s)
    {
        for (TClient *c = Client(s); c && !c->Pending.isEmpty(); c = Client(s)) {
            const std::int32_t n = s->SendBuf(c->Pending.constData(), std::int32_t(c->Pending.size()));
            c = Client(s);
            if (!c || n <= 0)
                return; // gone, or the socket is full and a write notification follows
            c->Pending.remove(0, n);
        }
    }

    TRKFile FGrid;
    std::atomic<std::int64_t> &FRequests;
    std::atomic<std::int64_t> &FConnections;
    std::unique_ptr<TQueryServerSocket> FSocket;
    std::map<TCustomWinSocket *, TClient> FClients;
};

TGridQueryServer::TGridQueryServer(const TServeOptions &options)
    : FImpl(std::make_unique<TImpl>(options, FRequests, FConnections))
{}

TGridQueryServer::~TGridQueryServer() = default;

std::uint16_t TGridQueryServer::Port() const
{
    return FImpl->Port();
}

} // namespace wnpack
