#include "package/WNPack.h"

#include "colours/FarbArr.h"
#include "colours/KFarbArr.h"
#include "controls/FLView.h"
#include "controls/Floatedit.h"
#include "controls/SpinEdit.h"
#include "controls/ValueGrid.h"
#include "framework/Exceptions.h"
#include "logging/KVLogBook.h"
#include "logging/LogEvent.h"
#include "navigators/NavItem.h"
#include "navigators/PlayNavi.h"
#include "navigators/navUnit.h"
#include "sockets/MyScktComp.h"

#include <QMetaObject>

#include <array>
#include <mutex>
#include <utility>

namespace wn {

namespace {

// The work a unit does at start-up and clean-up beside its counter.
struct TUnitWork {
    const char *Name;
    void (*StartUp)();
    void (*CleanUp)();
};

void NoWork() {}

// The units in the package's order. The socket unit has nothing to do here: every socket object
// makes its own start-up and clean-up call.
constexpr std::array<TUnitWork, 24> Units{{
    {"WNPack", &NoWork, &NoWork},           {"KVUtil", &NoWork, &NoWork},
    {"GeoDBFileDescr", &NoWork, &NoWork},   {"SysInit", &NoWork, &NoWork},
    {"KVRasterNeu", &NoWork, &NoWork},      {"LogEvent", &LogEvent_Initialize, &LogEvent_Finalize},
    {"MyScktComp", &NoWork, &NoWork},       {"LangDescr", &NoWork, &NoWork},
    {"KVLogBook", &NoWork, &NoWork},        {"MyIniFiles", &NoWork, &NoWork},
    {"NoSortFormat", &NoWork, &NoWork},     {"KVLib_TLB", &NoWork, &NoWork},
    {"FileIO", &NoWork, &NoWork},           {"NavItem", &NoWork, &NoWork},
    {"navUnit", &NoWork, &NoWork},          {"PlayNavi", &NoWork, &NoWork},
    {"CopyToClipBrdFrm", &NoWork, &NoWork}, {"ValueGrid", &NoWork, &NoWork},
    {"FarbArr", &NoWork, &NoWork},          {"FLView", &NoWork, &NoWork},
    {"Floatedit", &NoWork, &NoWork},        {"KFarbArr", &NoWork, &NoWork},
    {"gFarbDia", &NoWork, &NoWork},         {"SpinEdit", &NoWork, &NoWork},
}};

// Guards the counters, the initialised flag and the watcher. Recursive so that a unit's own
// start-up may ask PackageInitialized or UnitInitCount.
std::recursive_mutex &Lock()
{
    static std::recursive_mutex lock;
    return lock;
}

std::array<std::int32_t, Units.size()> InitCounts{};
bool Initialized = false;
TUnitWatch Watch;

void Notify(std::size_t unit, bool startUp)
{
    if (Watch)
        Watch(QString::fromLatin1(Units[unit].Name), startUp);
}

template <std::size_t I> void UnitStartUp()
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    Notify(I, true);
    --InitCounts[I];
    Units[I].StartUp();
}

template <std::size_t I> void UnitCleanUp()
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    // A watcher that throws must not stop the clean-ups behind this one.
    try {
        Notify(I, false);
    } catch (...) {
    }
    ++InitCounts[I];
    Units[I].CleanUp();
}

template <std::size_t... I> constexpr auto MakeEntries(std::index_sequence<I...>)
{
    return std::array<TUnitInitEntry, Units.size()>{
        TUnitInitEntry{Units[I].Name, &UnitStartUp<I>, &UnitCleanUp<I>}...};
}

constexpr auto Entries = MakeEntries(std::make_index_sequence<Units.size()>());
constexpr PackageInfoTable InfoTable{std::int32_t(Entries.size()), Entries.data()};

// Loading and unloading the library. The priority puts this after the log-event unit's own
// globals (200), which its start-up uses, and before every object of default priority.
struct TLibraryLoad {
    TLibraryLoad() { Initialize(); }
    ~TLibraryLoad() { Finalize(); }
};

TLibraryLoad LibraryLoad __attribute__((init_priority(210)));

} // namespace

const PackageInfoTable &GetPackageInfoTable()
{
    return InfoTable;
}

void Initialize()
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    if (Initialized)
        return;
    std::size_t started = 0;
    try {
        for (; started < Entries.size(); ++started)
            Entries[started].Init();
    } catch (...) {
        while (started-- > 0)
            Entries[started].FInit();
        throw;
    }
    Initialized = true;
}

void Finalize()
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    if (!Initialized)
        return;
    Initialized = false;
    for (std::size_t i = Entries.size(); i-- > 0;)
        Entries[i].FInit();
}

bool PackageInitialized()
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    return Initialized;
}

std::int32_t UnitInitCount(const QString &UnitName)
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    for (std::size_t i = 0; i < Units.size(); ++i)
        if (UnitName == QLatin1String(Units[i].Name))
            return InitCounts[i];
    return 0;
}

TUnitWatch SetUnitWatch(TUnitWatch NewWatch)
{
    std::lock_guard<std::recursive_mutex> guard(Lock());
    return std::exchange(Watch, std::move(NewWatch));
}

// ---- palette registration ----------------------------------------------------------------------

namespace {

const char *const NoRegistrationRun = "Components are registered only from a unit's Register procedure";

// What RegisteredComponents is collecting into in this thread, and for which unit; null outside
// a run.
struct TRegistrationRun {
    std::vector<TRegisteredComponent> *Target = nullptr;
    const char *UnitName = nullptr;
};

thread_local TRegistrationRun Run;

// A unit's Register procedure: its components on the one page, in order.
template <const QMetaObject *...Components> void Register()
{
    RegisterComponents(PalettePage, {Components...});
}

constexpr TUnitRegistration Registrations[] = {
    {"SpinEdit", &Register<&TSpinEditReal::staticMetaObject>},
    {"FarbArr", &Register<&TFarbArray::staticMetaObject>},
    {"KFarbArr", &Register<&TFarbDialog::staticMetaObject, &TFarbFeld::staticMetaObject>},
    {"Floatedit", &Register<&TFloatEdit::staticMetaObject>},
    {"FLView", &Register<&TFileListView::staticMetaObject>},
    {"navUnit", &Register<&TNavigator::staticMetaObject>},
    {"ValueGrid", &Register<&TValueGrid::staticMetaObject>},
    {"PlayNavi", &Register<&TPlayButtons::staticMetaObject>},
    {"NavItem", &Register<&TItemNavigator::staticMetaObject>},
    {"KVLogBook", &Register<&TKVLogBook::staticMetaObject>},
    {"MyScktComp", &Register<&TWNClientSocket::staticMetaObject, &TWNServerSocket::staticMetaObject>},
};

QString WithoutNamespace(const char *className)
{
    const QString name = QString::fromLatin1(className);
    return name.mid(name.lastIndexOf(QLatin1Char(':')) + 1);
}

} // namespace

std::span<const TUnitRegistration> GetRegistrationTable()
{
    return Registrations;
}

void RegisterComponents(const QString &Page, std::initializer_list<const QMetaObject *> ComponentClasses)
{
    if (!Run.Target)
        throw Exception(QString::fromLatin1(NoRegistrationRun));
    for (const QMetaObject *meta : ComponentClasses)
        Run.Target->push_back(
            {Page, WithoutNamespace(meta->className()), QString::fromLatin1(Run.UnitName), meta});
}

std::vector<TRegisteredComponent> RegisteredComponents()
{
    std::vector<TRegisteredComponent> result;
    struct TRunScope {
        explicit TRunScope(std::vector<TRegisteredComponent> *target) { Run.Target = target; }
        ~TRunScope() { Run = {}; }
    } scope(&result);
    for (const TUnitRegistration &unit : Registrations) {
        Run.UnitName = unit.UnitName;
        unit.Register();
    }
    return result;
}

} // namespace wn
