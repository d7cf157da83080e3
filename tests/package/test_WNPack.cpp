// The package frame in this process: the unit table, start-up and clean-up order with the real
// work of the log-event unit, calling them again, a start-up that fails, and the palette.

#include "package/WNPack.h"

#include "framework/Bitmaps.h"
#include "framework/Exceptions.h"
#include "logging/LogEvent.h"

#include <QImage>
#include <QMetaObject>
#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

using namespace wn;

namespace {

const QStringList ListedUnits = {
    "WNPack",     "KVUtil",    "GeoDBFileDescr", "SysInit",    "KVRasterNeu",      "LogEvent",
    "MyScktComp", "LangDescr", "KVLogBook",      "MyIniFiles", "NoSortFormat",     "KVLib_TLB",
    "FileIO",     "NavItem",   "navUnit",        "PlayNavi",   "CopyToClipBrdFrm", "ValueGrid",
    "FarbArr",    "FLView",    "Floatedit",      "KFarbArr",   "gFarbDia",         "SpinEdit"};

QStringList Reversed(QStringList list)
{
    std::reverse(list.begin(), list.end());
    return list;
}

// Records the entries as they run; leaves the package started, whatever the test did.
class PackageTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SetUnitWatch([this](const QString &unit, bool startUp) {
            (startUp ? Started : Cleaned) << unit;
            if (startUp && unit == FailAt)
                throw std::runtime_error("start-up failed");
        });
    }
    void TearDown() override
    {
        FailAt.clear();
        SetUnitWatch(nullptr);
        Initialize();
    }
    void Forget()
    {
        Started.clear();
        Cleaned.clear();
    }

    QStringList Started;
    QStringList Cleaned;
    QString FailAt;
};

QStringList Counts(std::int32_t expected)
{
    QStringList off;
    for (const QString &unit : ListedUnits)
        if (UnitInitCount(unit) != expected)
            off << unit;
    return off;
}

} // namespace

TEST_F(PackageTest, TheTableListsTheUnitsInOrderAndLoadingStartedThemAll)
{
    const PackageInfoTable &table = GetPackageInfoTable();
    QStringList names;
    for (int i = 0; i < table.UnitCount; ++i)
        names << QString::fromLatin1(table.UnitInfo[i].UnitName);
    EXPECT_EQ(names, ListedUnits);
    // Loading the library ran every start-up once.
    EXPECT_TRUE(PackageInitialized());
    EXPECT_EQ(Counts(-1), QStringList());
    EXPECT_NE(Log_Event_Obj, nullptr);
    EXPECT_TRUE(KV_ELOG);
}

TEST_F(PackageTest, CleanUpRunsInReverseAndStartUpInOrderOnceEach)
{
    Finalize();
    EXPECT_EQ(Cleaned, Reversed(ListedUnits));
    EXPECT_TRUE(Started.isEmpty());
    EXPECT_EQ(Counts(0), QStringList());
    EXPECT_EQ(Log_Event_Obj, nullptr);
    EXPECT_FALSE(KV_ELOG);
    Forget();
    Finalize();
    EXPECT_TRUE(Cleaned.isEmpty());
    EXPECT_EQ(Counts(0), QStringList());

    Initialize();
    EXPECT_EQ(Started, ListedUnits);
    EXPECT_TRUE(Cleaned.isEmpty());
    EXPECT_EQ(Counts(-1), QStringList());
    EXPECT_NE(Log_Event_Obj, nullptr);
    EXPECT_TRUE(KV_ELOG);
    Forget();
    Initialize();
    EXPECT_TRUE(Started.isEmpty());
    EXPECT_EQ(Counts(-1), QStringList());
}

TEST_F(PackageTest, AFailedStartUpCleansUpTheStartedUnitsAndLeavesThePackageStopped)
{
    Finalize();
    Forget();
    FailAt = "NavItem";
    EXPECT_THROW(Initialize(), std::runtime_error);
    const qsizetype failed = ListedUnits.indexOf("NavItem");
    EXPECT_EQ(Started, ListedUnits.mid(0, failed + 1));
    EXPECT_EQ(Cleaned, Reversed(ListedUnits.mid(0, failed)));
    EXPECT_FALSE(PackageInitialized());
    EXPECT_EQ(Counts(0), QStringList());
    EXPECT_EQ(Log_Event_Obj, nullptr);

    FailAt.clear();
    Initialize();
    EXPECT_TRUE(PackageInitialized());
    EXPECT_EQ(Counts(-1), QStringList());
}

TEST(PackageRegistration, EveryUnitRegistersItsComponentsOnTheOnePage)
{
    using Row = std::pair<QString, QString>; // unit, class
    const std::vector<Row> listed = {
        {"SpinEdit", "TSpinEditReal"},     {"FarbArr", "TFarbArray"},   {"KFarbArr", "TFarbDialog"},
        {"KFarbArr", "TFarbFeld"},         {"Floatedit", "TFloatEdit"}, {"FLView", "TFileListView"},
        {"navUnit", "TNavigator"},         {"ValueGrid", "TValueGrid"}, {"PlayNavi", "TPlayButtons"},
        {"NavItem", "TItemNavigator"},     {"KVLogBook", "TKVLogBook"}, {"MyScktComp", "TWNClientSocket"},
        {"MyScktComp", "TWNServerSocket"},
    };
    std::vector<Row> registered;
    for (const TRegisteredComponent &c : RegisteredComponents()) {
        EXPECT_EQ(c.Page, QStringLiteral("W+N")) << qPrintable(c.ClassName);
        EXPECT_EQ(QString::fromLatin1(c.MetaObject->className()), "wn::" + c.ClassName);
        registered.emplace_back(c.UnitName, c.ClassName);
    }
    EXPECT_EQ(registered, listed);

    QStringList units;
    for (const TUnitRegistration &r : GetRegistrationTable())
        units << QString::fromLatin1(r.UnitName);
    EXPECT_EQ(units, QStringList({"SpinEdit", "FarbArr", "KFarbArr", "Floatedit", "FLView", "navUnit",
                                  "ValueGrid", "PlayNavi", "NavItem", "KVLogBook", "MyScktComp"}));
    // A Register procedure called outside the designer's run has nowhere to register.
    EXPECT_THROW(GetRegistrationTable().front().Register(), Exception);
}

TEST(PackageRegistration, ThePaletteComponentsHaveTheirPictures)
{
    const struct {
        const char *Name;
        bool Has;
    } pictures[] = {
        {"TWNCLIENTSOCKET", true}, {"TWNSERVERSOCKET", true}, {"TFARBARRAY", true},
        {"TFARBDIALOG", true},     {"TFARBFELD", true},       {"TFILELISTVIEW", true},
        {"TFLOATEDIT", true},      {"TNAVIGATOR", true},      {"TSPINEDITREAL", true},
        {"TVALUEGRID", true},      {"TKVFILEOPENDLG", true},  {"TPLAYBUTTONS", false},
        {"TITEMNAVIGATOR", false}, {"TKVLOGBOOK", false},
    };
    for (const auto &p : pictures) {
        EXPECT_EQ(LoadBitmap(QLatin1String(p.Name)).size(), p.Has ? QSize(24, 24) : QSize(0, 0)) << p.Name;
    }
}
