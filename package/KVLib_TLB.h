#pragma once
// The binding to the product's automation server: the identifiers of its interface IBibApp (and
// the dispatch-only IBibAppDisp) and of its class, and CoBibApp, which connects to the server and
// hands back an IBibApp. The server's methods and properties are its own business; IBibApp calls
// them late-bound, by name.
//
// The server is reached over D-Bus. Its names follow one rule from the identifiers, where HEX is
// the identifier's 32 hexadecimal digits in upper case without braces or dashes:
//   service name      "com.kalvero.CLSID_" + HEX of the class identifier
//   object path       "/com/kalvero/CLSID_" + HEX of the class identifier
//   interface name    "com.kalvero.IID_" + HEX of the interface identifier
// so CLASS_BibApp is served as com.kalvero.CLSID_39B519CF9261478C85C9C9BAED5D6DDD at
// /com/kalvero/CLSID_39B519CF9261478C85C9C9BAED5D6DDD with the interface
// com.kalvero.IID_33EC9EF1FF8048968620E3D08F0EF230. A server that the bus can activate is started
// by the first call.
//
// Every call needs a QCoreApplication and blocks until the server answers (or the bus's time-out
// of 25 seconds passes). Every failure raises EOleSysError with the D-Bus error.

#include "framework/Exceptions.h"
#include "wn_export.h"

#include <QString>
#include <QUuid>
#include <QVariant>
#include <QVariantList>

#include <memory>

namespace wn {

inline constexpr QUuid IID_IBibApp{0x33EC9EF1, 0xFF80, 0x4896, 0x86, 0x20, 0xE3,
                                   0xD0,       0x8F,   0x0E,   0xF2, 0x30};
inline constexpr QUuid DIID_IBibAppDisp = IID_IBibApp;
inline constexpr QUuid CLASS_BibApp{0x39B519CF, 0x9261, 0x478C, 0x85, 0xC9, 0xC9,
                                    0xBA,       0xED,   0x5D,   0x6D, 0xDD};

WN_EXPORT QString AutomationServiceName(const QUuid &ClassId);
WN_EXPORT QString AutomationObjectPath(const QUuid &ClassId);
WN_EXPORT QString AutomationInterfaceName(const QUuid &InterfaceId);

// A failed automation call: the D-Bus error's name ("org.freedesktop.DBus.Error.ServiceUnknown")
// and its text as the message.
class WN_EXPORT EOleSysError : public Exception
{
public:
    EOleSysError(const QString &errorName, const QString &message);

    const QString &ErrorName() const noexcept { return FErrorName; }

private:
    QString FErrorName;
};

class TBibAppLink;

// A reference to the server's object. Copies refer to the same object; a connection opened by
// CreateRemote closes with the last reference.
class WN_EXPORT IBibApp
{
public:
    // Calls the method Name with Args and returns its first result (an invalid QVariant for
    // none).
    QVariant Invoke(const QString &Name, const QVariantList &Args = {}) const;
    QVariant GetProperty(const QString &Name) const;
    void SetProperty(const QString &Name, const QVariant &Value) const;

private:
    friend class CoBibApp;
    explicit IBibApp(std::shared_ptr<const TBibAppLink> link);

    std::shared_ptr<const TBibAppLink> FLink;
};

// Dispatch-only: every call is late-bound already.
using IBibAppDisp = IBibApp;

class WN_EXPORT CoBibApp
{
public:
    CoBibApp() = delete;

    // The server on the session bus; raises when the bus, the service or the object's IBibApp
    // interface is not there.
    static IBibApp Create();
    // The server on the bus at MachineName, which must be a D-Bus address
    // ("tcp:host=server01,port=5555", "unix:path=/run/kalvero/bus"); a bare machine name raises.
    static IBibApp CreateRemote(const QString &MachineName);

private:
    static IBibApp Query(std::shared_ptr<const TBibAppLink> link);
};

} // namespace wn
