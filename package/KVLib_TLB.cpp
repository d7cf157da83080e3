#include "package/KVLib_TLB.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QXmlStreamReader>

#include <atomic>

namespace wn {

namespace {

const char *const IntrospectableInterface = "org.freedesktop.DBus.Introspectable";
const char *const PropertiesInterface = "org.freedesktop.DBus.Properties";
const char *const UnknownInterfaceError = "org.freedesktop.DBus.Error.UnknownInterface";
const char *const NoInterfaceText = "No such interface '%1' at object path '%2'";

QString Hex(const QUuid &id)
{
    return id.toString(QUuid::Id128).toUpper();
}

[[noreturn]] void Raise(const QDBusError &error)
{
    throw EOleSysError(error.name(), error.message());
}

QDBusMessage Checked(const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        throw EOleSysError(reply.errorName(), reply.errorMessage());
    return reply;
}

bool OffersInterface(const QString &introspection, const QString &interface)
{
    QXmlStreamReader xml(introspection);
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("node"))
            continue;
        if (xml.name() == QLatin1String("interface") &&
            xml.attributes().value(QLatin1String("name")) == interface)
            return true;
        xml.skipCurrentElement();
    }
    return false;
}

} // namespace

QString AutomationServiceName(const QUuid &ClassId)
{
    return QStringLiteral("com.kalvero.CLSID_") + Hex(ClassId);
}

QString AutomationObjectPath(const QUuid &ClassId)
{
    return QStringLiteral("/com/kalvero/CLSID_") + Hex(ClassId);
}

QString AutomationInterfaceName(const QUuid &InterfaceId)
{
    return QStringLiteral("com.kalvero.IID_") + Hex(InterfaceId);
}

EOleSysError::EOleSysError(const QString &errorName, const QString &message)
    : Exception(message), FErrorName(errorName)
{}

// The connection and the names one IBibApp talks to. A connection of its own (CreateRemote) is
// closed when the last reference goes.
class TBibAppLink
{
public:
    TBibAppLink(const QDBusConnection &connection, bool ownConnection)
        : Connection(connection), OwnConnection(ownConnection)
    {}
    ~TBibAppLink()
    {
        if (OwnConnection)
            QDBusConnection::disconnectFromBus(Connection.name());
    }
    TBibAppLink(const TBibAppLink &) = delete;
    TBibAppLink &operator=(const TBibAppLink &) = delete;

    QDBusMessage Call(const QString &interface, const QString &method, const QVariantList &args) const
    {
        QDBusMessage message = QDBusMessage::createMethodCall(Service, Path, interface, method);
        message.setArguments(args);
        return Checked(Connection.call(message));
    }

    QDBusConnection Connection;
    bool OwnConnection;
    QString Service = AutomationServiceName(CLASS_BibApp);
    QString Path = AutomationObjectPath(CLASS_BibApp);
    QString Interface = AutomationInterfaceName(IID_IBibApp);
};

IBibApp::IBibApp(std::shared_ptr<const TBibAppLink> link) : FLink(std::move(link)) {}

QVariant IBibApp::Invoke(const QString &Name, const QVariantList &Args) const
{
    const QVariantList results = FLink->Call(FLink->Interface, Name, Args).arguments();
    return results.isEmpty() ? QVariant() : results.first();
}

QVariant IBibApp::GetProperty(const QString &Name) const
{
    const QVariantList results =
        FLink->Call(QLatin1String(PropertiesInterface), QStringLiteral("Get"), {FLink->Interface, Name})
            .arguments();
    return results.isEmpty() ? QVariant() : results.first().value<QDBusVariant>().variant();
}

void IBibApp::SetProperty(const QString &Name, const QVariant &Value) const
{
    FLink->Call(QLatin1String(PropertiesInterface), QStringLiteral("Set"),
                {FLink->Interface, Name, QVariant::fromValue(QDBusVariant(Value))});
}

// Asks the object for IBibApp: the call reaches (or starts) the server, and its description
// must list the interface.
IBibApp CoBibApp::Query(std::shared_ptr<const TBibAppLink> link)
{
    const QDBusMessage reply =
        link->Call(QLatin1String(IntrospectableInterface), QStringLiteral("Introspect"), {});
    if (reply.arguments().isEmpty() ||
        !OffersInterface(reply.arguments().first().toString(), link->Interface))
        throw EOleSysError(QLatin1String(UnknownInterfaceError),
                           QString::fromLatin1(NoInterfaceText).arg(link->Interface, link->Path));
    return IBibApp(std::move(link));
}

IBibApp CoBibApp::Create()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        Raise(bus.lastError());
    return Query(std::make_shared<const TBibAppLink>(bus, false));
}

IBibApp CoBibApp::CreateRemote(const QString &MachineName)
{
    static std::atomic<int> connections{0};
    const QString name = QStringLiteral("wn-bibapp-%1").arg(++connections);
    const QDBusConnection bus = QDBusConnection::connectToBus(MachineName, name);
    // The link owns the connection from here, so that every way out closes it.
    auto link = std::make_shared<const TBibAppLink>(bus, true);
    if (!bus.isConnected())
        Raise(bus.lastError());
    return Query(std::move(link));
}

} // namespace wn
