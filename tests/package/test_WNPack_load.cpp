// The package loaded and unloaded twice by a host that opens the library itself: loading starts
// every unit, calling Initialize and Finalize again behaves, and unloading cleans every unit up in
// reverse order and really lets the library go. Prints what went wrong and exits non-zero.

#include "package/WNPack.h"

#include <QStringList>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace {

int Failures = 0;

void Check(bool ok, int round, const char *what)
{
    if (!ok) {
        ++Failures;
        std::fprintf(stderr, "load %d: %s\n", round, what);
    }
}

template <typename T> T Symbol(void *library, const char *name)
{
    void *address = dlsym(library, name);
    if (!address) {
        std::fprintf(stderr, "missing %s\n", name);
        std::exit(2);
    }
    return reinterpret_cast<T>(address);
}

struct TPackage {
    explicit TPackage(void *library)
        : Table(Symbol<const wn::PackageInfoTable &(*)()>(library, "_ZN2wn19GetPackageInfoTableEv")()),
          Initialize(Symbol<void (*)()>(library, "_ZN2wn10InitializeEv")),
          Finalize(Symbol<void (*)()>(library, "_ZN2wn8FinalizeEv")),
          Initialized(Symbol<bool (*)()>(library, "_ZN2wn18PackageInitializedEv")),
          Count(Symbol<std::int32_t (*)(const QString &)>(library, "_ZN2wn13UnitInitCountERK7QString")),
          SetWatch(Symbol<wn::TUnitWatch (*)(wn::TUnitWatch)>(
              library, "_ZN2wn12SetUnitWatchESt8functionIFvRK7QStringbEE")),
          Dispatcher(Symbol<void **>(library, "_ZN2wn13Log_Event_ObjE"))
    {}

    // Every unit's counter equals `value`.
    bool Counts(std::int32_t value) const
    {
        for (int i = 0; i < Table.UnitCount; ++i)
            if (Count(QString::fromLatin1(Table.UnitInfo[i].UnitName)) != value)
                return false;
        return true;
    }
    QStringList Units() const
    {
        QStringList names;
        for (int i = 0; i < Table.UnitCount; ++i)
            names << QString::fromLatin1(Table.UnitInfo[i].UnitName);
        return names;
    }

    const wn::PackageInfoTable &Table;
    void (*Initialize)();
    void (*Finalize)();
    bool (*Initialized)();
    std::int32_t (*Count)(const QString &);
    wn::TUnitWatch (*SetWatch)(wn::TUnitWatch);
    void **Dispatcher;
};

} // namespace

int main()
{
    for (int round = 1; round <= 2; ++round) {
        void *library = dlopen(WN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            std::fprintf(stderr, "load %d: %s\n", round, dlerror());
            return 2;
        }
        const TPackage package(library);
        Check(package.Initialized() && package.Counts(-1) && *package.Dispatcher, round,
              "loading starts every unit");
        package.Initialize();
        Check(package.Counts(-1), round, "a second Initialize starts nothing");
        package.Finalize();
        package.Finalize();
        Check(!package.Initialized() && package.Counts(0) && !*package.Dispatcher, round,
              "Finalize cleans every unit up once");
        package.Initialize();
        Check(package.Initialized() && package.Counts(-1) && *package.Dispatcher, round,
              "Initialize after Finalize starts every unit again");

        QStringList cleaned;
        package.SetWatch([&cleaned](const QString &unit, bool startUp) {
            if (!startUp)
                cleaned.prepend(unit);
        });
        const QStringList units = package.Units();
        dlclose(library);
        Check(cleaned == units, round, "unloading cleans every unit up in reverse order");
        Check(!dlopen(WN_LIBRARY, RTLD_NOW | RTLD_NOLOAD), round, "the library is gone after unloading");
    }
    return Failures == 0 ? 0 : 1;
}
