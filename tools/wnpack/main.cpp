// wnpack: the package's command-line program.
#include "Command.h"

#include "framework/Exceptions.h"

#include <QApplication>
#include <QCoreApplication>

#include <cstdio>
#include <map>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace wnpack {

namespace {

std::map<std::string, TCommand> &Commands()
{
    static std::map<std::string, TCommand> commands;
    return commands;
}

void PrintUsage(std::FILE *out)
{
    std::fprintf(out, "usage: wnpack COMMAND [ARGS...]\n\ncommands:\n");
    for (const auto &[name, command] : Commands())
        std::fprintf(out, "  %-10s %s\n", name.c_str(), command.Summary);
}

} // namespace

TCommandRegistration::TCommandRegistration(TCommand command)
{
    Commands().emplace(command.Name, std::move(command));
}

} // namespace wnpack

int main(int argc, char **argv)
{
    using namespace wnpack;
    // Some commands draw (palette pictures); give them a widget application without a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Without a session Qt falls back to /tmp/runtime-<uid> and says so on stderr, which would
    // spoil the one-line error output of the commands; use that folder without the warning.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QByteArray runtimeDir = "/tmp/runtime-" + QByteArray::number(uint(::getuid()));
        ::mkdir(runtimeDir.constData(), 0700);
        qputenv("XDG_RUNTIME_DIR", runtimeDir);
    }
    QApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty() || args.first() == QLatin1String("--help") || args.first() == QLatin1String("help")) {
        PrintUsage(args.isEmpty() ? stderr : stdout);
        return args.isEmpty() ? 1 : 0;
    }
    const std::string name = args.takeFirst().toStdString();
    const auto it = Commands().find(name);
    if (it == Commands().end()) {
        std::fprintf(stderr, "wnpack: unknown command \"%s\" (try wnpack --help)\n", name.c_str());
        return 1;
    }
    try {
        return it->second.Run(args);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "wnpack %s: %s\n", name.c_str(), e.what());
        return 1;
    }
}
