// The automation binding against a small BibApp server on a private bus that the tests start:
// the names the identifiers give, creating locally and through a bus address, late-bound calls
// and properties, and every failure with the bus's own error.

#include "package/KVLib_TLB.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

using namespace wn;

namespace {

const QString Service = QStringLiteral("com.kalvero.CLSID_39B519CF9261478C85C9C9BAED5D6DDD");
const QString Path = QStringLiteral("/com/kalvero/CLSID_39B519CF9261478C85C9C9BAED5D6DDD");

} // namespace

class TBibAppServer : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kalvero.IID_33EC9EF1FF8048968620E3D08F0EF230")
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)

public:
    QString Caption() const { return FCaption; }
    void SetCaption(const QString &value) { FCaption = value; }

public slots:
    int Add(int a, int b) { return a + b; }
    void Fail()
    {
        sendErrorReply(QStringLiteral("com.kalvero.Error.Busy"),
                       QStringLiteral("Der Server ist beschäftigt"));
    }

private:
    QString FCaption = QStringLiteral("Bibliothek");
};

// Serves the class's object, but under another interface.
class TOtherServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kalvero.Other")

public slots:
    int Add(int a, int b) { return a + b; }
};

namespace {

// A server object on its own connection and thread, so that the test thread may block in a call.
class TServerThread : public QThread
{
public:
    TServerThread(const QString &address, std::function<std::unique_ptr<QObject>()> make)
        : FAddress(address), FMake(std::move(make))
    {
        start();
        Registered = Ready.tryAcquire(1, 10000) && FRegistered;
    }
    ~TServerThread() override
    {
        quit();
        wait(10000);
    }

    bool Registered = false;

protected:
    void run() override
    {
        const QString name = QStringLiteral("bibapp-server");
        {
            QDBusConnection bus = QDBusConnection::connectToBus(FAddress, name);
            const std::unique_ptr<QObject> server = FMake();
            FRegistered =
                bus.registerObject(Path, server.get(),
                                   QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties) &&
                bus.registerService(Service);
            Ready.release();
            exec();
            bus.unregisterObject(Path);
        }
        QDBusConnection::disconnectFromBus(name);
    }

private:
    QString FAddress;
    std::function<std::unique_ptr<QObject>()> FMake;
    QSemaphore Ready;
    bool FRegistered = false;
};

// A private bus for this test program, used as its session bus too.
class AutomationTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        Dir = new QTemporaryDir;
        const QString config = Dir->filePath("bus.conf");
        QFile file(config);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(
            QStringLiteral("<busconfig><type>session</type><listen>unix:dir=%1</listen>"
                           "<auth>EXTERNAL</auth><policy context=\"default\">"
                           "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                           "<allow own=\"*\"/></policy></busconfig>")
                .arg(Dir->path())
                .toUtf8());
        file.close();
        Daemon = new QProcess;
        Daemon->start(QStringLiteral("dbus-daemon"),
                      {"--config-file=" + config, "--nofork", "--nopidfile", "--print-address=1"});
        const QDeadlineTimer deadline(10000);
        while (!Daemon->canReadLine() && !deadline.hasExpired() && Daemon->state() != QProcess::NotRunning)
            Daemon->waitForReadyRead(100);
        Address = QString::fromUtf8(Daemon->readLine()).trimmed();
        ASSERT_FALSE(Address.isEmpty()) << qPrintable(Daemon->readAllStandardError());
        qputenv("DBUS_SESSION_BUS_ADDRESS", Address.toUtf8());
    }
    static void TearDownTestSuite()
    {
        Daemon->terminate();
        if (!Daemon->waitForFinished(5000))
            Daemon->kill();
        delete Daemon;
        delete Dir;
    }

    // The names the bus knows now, our own connections included.
    static QStringList BusNames()
    {
        return QDBusConnection::sessionBus().interface()->registeredServiceNames().value();
    }

    static inline QTemporaryDir *Dir = nullptr;
    static inline QProcess *Daemon = nullptr;
    static inline QString Address;
};

std::optional<EOleSysError> Failure(const std::function<void()> &call)
{
    try {
        call();
    } catch (const EOleSysError &e) {
        return e;
    }
    return std::nullopt;
}

} // namespace

TEST(AutomationNames, TheIdentifiersGiveTheServiceThePathAndTheInterface)
{
    EXPECT_EQ(IID_IBibApp, QUuid(QStringLiteral("{33EC9EF1-FF80-4896-8620-E3D08F0EF230}")));
    EXPECT_EQ(DIID_IBibAppDisp, IID_IBibApp);
    EXPECT_EQ(CLASS_BibApp, QUuid(QStringLiteral("{39B519CF-9261-478C-85C9-C9BAED5D6DDD}")));
    EXPECT_EQ(AutomationServiceName(CLASS_BibApp), Service);
    EXPECT_EQ(AutomationObjectPath(CLASS_BibApp), Path);
    EXPECT_EQ(AutomationInterfaceName(IID_IBibApp),
              QStringLiteral("com.kalvero.IID_33EC9EF1FF8048968620E3D08F0EF230"));
}

TEST_F(AutomationTest, CreateReachesTheServerWithLateBoundCallsAndProperties)
{
    TServerThread server(Address, [] { return std::make_unique<TBibAppServer>(); });
    ASSERT_TRUE(server.Registered);
    const IBibApp app = CoBibApp::Create();
    EXPECT_EQ(app.Invoke("Add", {2, 40}), QVariant(42));
    EXPECT_EQ(app.GetProperty("Caption"), QVariant(QStringLiteral("Bibliothek")));
    app.SetProperty("Caption", QStringLiteral("Lärmkarte"));
    EXPECT_EQ(app.GetProperty("Caption"), QVariant(QStringLiteral("Lärmkarte")));

    const std::optional<EOleSysError> busy = Failure([&] { app.Invoke("Fail"); });
    ASSERT_TRUE(busy);
    EXPECT_EQ(busy->ErrorName(), QStringLiteral("com.kalvero.Error.Busy"));
    EXPECT_EQ(busy->Message(), QStringLiteral("Der Server ist beschäftigt"));
    const std::optional<EOleSysError> unknown = Failure([&] { app.Invoke("Quit"); });
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->ErrorName(), QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
}

TEST_F(AutomationTest, CreateRemoteUsesTheAddressAndClosesItsConnectionWithTheLastReference)
{
    TServerThread server(Address, [] { return std::make_unique<TBibAppServer>(); });
    ASSERT_TRUE(server.Registered);
    const qsizetype before = BusNames().size();
    {
        const IBibApp app = CoBibApp::CreateRemote(Address);
        const IBibApp copy = app;
        EXPECT_EQ(copy.Invoke("Add", {-1, 1}), QVariant(0));
        EXPECT_EQ(BusNames().size(), before + 1);
    }
    const QDeadlineTimer deadline(5000);
    while (BusNames().size() != before && !deadline.hasExpired())
        QThread::msleep(20);
    EXPECT_EQ(BusNames().size(), before);
}

TEST_F(AutomationTest, EveryFailureRaisesTheBusError)
{
    struct Case {
        const char *What;
        std::function<void()> Call;
        QString ErrorName;
        QString InMessage;
    };
    const QString nowhere = Dir->filePath("nobody");
    const std::vector<Case> noServer = {
        {"no server on the session bus", [] { CoBibApp::Create(); },
         "org.freedesktop.DBus.Error.ServiceUnknown", Service},
        {"no server at the address", [] { CoBibApp::CreateRemote(Address); },
         "org.freedesktop.DBus.Error.ServiceUnknown", Service},
        {"a machine name is no address", [] { CoBibApp::CreateRemote("server01"); },
         "org.freedesktop.DBus.Error.BadAddress", ""},
        {"no bus at the address", [&] { CoBibApp::CreateRemote("unix:path=" + nowhere); },
         "org.freedesktop.DBus.Error.FileNotFound", nowhere},
    };
    for (const Case &c : noServer) {
        const std::optional<EOleSysError> e = Failure(c.Call);
        ASSERT_TRUE(e) << c.What;
        EXPECT_EQ(e->ErrorName(), c.ErrorName) << c.What << ": " << qPrintable(e->ErrorName());
        EXPECT_TRUE(e->Message().contains(c.InMessage)) << c.What << ": " << e->what();
    }

    TServerThread other(Address, [] { return std::make_unique<TOtherServer>(); });
    ASSERT_TRUE(other.Registered);
    const std::optional<EOleSysError> e = Failure([] { CoBibApp::Create(); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->ErrorName(), QStringLiteral("org.freedesktop.DBus.Error.UnknownInterface"));
    EXPECT_EQ(e->Message(),
              QStringLiteral("No such interface 'com.kalvero.IID_33EC9EF1FF8048968620E3D08F0EF230' at "
                             "object path '/com/kalvero/CLSID_39B519CF9261478C85C9C9BAED5D6DDD'"));
}

#include "test_KVLib_TLB.moc"
