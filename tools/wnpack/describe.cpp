// wnpack describe FILE...: the type key and the one-line description of each file, as a file
// list shows them.
#include "Command.h"

#include "framework/Exceptions.h"
#include "util/KVUtil.h"

#include <QFileInfo>

#include <cstdio>

namespace wnpack {
namespace {

// One line per file: control characters inside a description would break it.
QString OneLine(QString text)
{
    for (QChar &c : text)
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            c = QLatin1Char(' ');
    return text;
}

int RunDescribe(const QStringList &args)
{
    if (args.isEmpty())
        throw UsageError("usage: wnpack describe FILE...");
    for (const QString &file : args)
        if (!QFileInfo(file).isFile())
            throw wn::Exception(QStringLiteral("no such file: %1").arg(file));
    for (const QString &file : args) {
        const QString type = wn::GetFileType(file);
        QString description;
        wn::GetFileDescription(file, type, description);
        std::printf("%s\t%s\t%s\n", qPrintable(file), qPrintable(type), qPrintable(OneLine(description)));
    }
    return 0;
}

const TCommandRegistration registration({"describe", "prints file, type key and description of each file",
                                         RunDescribe});

} // namespace
} // namespace wnpack
