// wnpack describe FILE...: the type key and the one-line description of each file, as a file
// list shows them.
#include "Command.h"
#include "Paths.h"

#include "util/KVUtil.h"

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

int RunDescribe(TArgs &args)
{
    args.Expect(1, -1);
    int status = 0;
    // A file that cannot be described is reported, and the others still are.
    for (int i = 0; i < args.Count(); ++i) {
        try {
            const QString file = InputFile(args.Raw(i));
            const QString type = wn::GetFileType(file);
            QString description;
            wn::GetFileDescription(file, type, description);
            Print(Shown(args.Raw(i)) + QLatin1Char('\t') + type + QLatin1Char('\t') + OneLine(description) +
                  QLatin1Char('\n'));
        } catch (const std::exception &e) {
            std::fflush(stdout);
            std::fprintf(stderr, "wnpack describe: %s\n",
                         WithOriginalNames(QString::fromUtf8(e.what())).constData());
            status = 1;
        }
    }
    return status;
}

const TCommandRegistration registration(
    {"describe", "FILE...", "type key and one-line description of files",
     "Prints per file its name, the type key a file list files it under and the one-line description\n"
     "a file list shows, separated by tabs. A file that cannot be read is reported on stderr, the\n"
     "others are still described, and the exit status is then 1.",
     "", "wnpack describe *.rlk *.SGC", false, false, RunDescribe});

} // namespace
} // namespace wnpack
