#pragma once
// The package itself: the table of the units it contains with their start-up and clean-up
// entries, run once when the library is loaded and unloaded, and the palette registration of the
// components the units offer.
//
// Loading the library runs Initialize (every start-up in table order) before anything else in the
// package is used; unloading it runs Finalize (every clean-up in reverse order). A host may call
// both again: Initialize on an initialised package and Finalize on a finalised one do nothing, so
// Finalize followed by Initialize restarts every unit once.

#include "wn_export.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <vector>

struct QMetaObject;

namespace wn {

// One contained unit: its start-up (Init) and clean-up (FInit) entry.
struct TUnitInitEntry {
    const char *UnitName;
    void (*Init)();
    void (*FInit)();
};

// The unit table in start-up order.
struct PackageInfoTable {
    std::int32_t UnitCount;
    const TUnitInitEntry *UnitInfo;
};

WN_EXPORT const PackageInfoTable &GetPackageInfoTable();

// Runs every start-up in table order. A start-up that throws has the units already started
// cleaned up again (in reverse) before the exception leaves; the package then counts as not
// initialised.
WN_EXPORT void Initialize();
// Runs every clean-up in reverse table order. Clean-ups do not throw.
WN_EXPORT void Finalize();
WN_EXPORT bool PackageInitialized();

// The counter each unit keeps for the runtime: its start-up decrements it and its clean-up
// increments it, so it is -1 while the unit is started and 0 otherwise. 0 for names that are
// not in the table.
WN_EXPORT std::int32_t UnitInitCount(const QString &UnitName);

// Watches the unit entries: called before each start-up (StartUp true) and clean-up runs, in the
// thread that runs it. Meant for hosts that log their start-up; an exception thrown from a
// start-up call counts as that unit's start-up failing. Initialize and Finalize must not be
// called from inside it. Returns the watcher installed before.
using TUnitWatch = std::function<void(const QString &UnitName, bool StartUp)>;
WN_EXPORT TUnitWatch SetUnitWatch(TUnitWatch Watch);

// ---- palette registration ----------------------------------------------------------------------

// The one palette page all components go on.
inline constexpr char PalettePage[] = "W+N";

// A unit's Register procedure: registers the unit's components with RegisterComponents.
struct TUnitRegistration {
    const char *UnitName;
    void (*Register)();
};
// One entry per unit that offers components, in the package's order.
WN_EXPORT std::span<const TUnitRegistration> GetRegistrationTable();

// Called from a Register procedure while RegisteredComponents runs it; anywhere else it raises
// wn::Exception.
WN_EXPORT void RegisterComponents(const QString &Page,
                                  std::initializer_list<const QMetaObject *> ComponentClasses);

struct TRegisteredComponent {
    QString Page;
    // Without the namespace: "TValueGrid".
    QString ClassName;
    QString UnitName;
    const QMetaObject *MetaObject;
};
// Runs every unit's Register procedure and collects what they register, in order.
WN_EXPORT std::vector<TRegisteredComponent> RegisteredComponents();

} // namespace wn
