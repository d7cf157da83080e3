// The ini file from untrusted bytes: read it, look up what it holds, then change one key,
// write it back and read it again. The changed key must come back as written.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "util/MyIniFiles.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString path = wnfuzz::WriteInput(data, size, QStringLiteral("input.ini"));
    try {
        {
            TMyIniFile ini(path);
            const QString first = ini.GetFirstSectionName();
            (void)ini.SectionExists(first);
            (void)ini.ReadString(first, QStringLiteral("Name"), QString());
            (void)ini.ReadInteger(QStringLiteral("General"), QStringLiteral("Count"), 0);
            (void)ini.ReadDouble(QStringLiteral("General"), QStringLiteral("Value"), 0.5);
            (void)ini.ReadBool(QStringLiteral("General"), QStringLiteral("On"), false);
            ini.WriteString(QStringLiteral("Fuzz"), QStringLiteral("Key"), QStringLiteral("v\u00e4lue"));
            ini.EraseSection(QStringLiteral("Other"));
            ini.UpdateFile();
        }
        TMyIniFile again(path);
        if (again.ReadString(QStringLiteral("FUZZ"), QStringLiteral("key"), QString()) !=
            QStringLiteral("v\u00e4lue"))
            __builtin_trap();
    } catch (const wn::Exception &) {
    }
    return 0;
}
