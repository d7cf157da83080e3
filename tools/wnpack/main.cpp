// wnpack: the package's command-line program.
#include "Command.h"
#include "Paths.h"

#include <QApplication>
#include <QCoreApplication>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#ifndef WNPACK_VERSION
#define WNPACK_VERSION "unknown"
#endif

namespace wnpack {

namespace {

const char *const cProgramUsage = "usage: wnpack [--version] [help [COMMAND]] COMMAND [ARGS...]";
const char *const cHelpPointerText =
    "Run 'wnpack help COMMAND' or 'wnpack COMMAND --help' for a command's "
    "options and an example.\nExit status: 0 done, 1 failed, 2 wrong usage.\n";
const char *const cUnknownCommandText = "unknown command ";
const char *const cNoSubcommandText = "which one? ";

std::map<std::string, TCommand> &Commands()
{
    static std::map<std::string, TCommand> commands;
    return commands;
}

// The commands whose name starts with the group's ("grid" for "grid info").
std::vector<const TCommand *> GroupOf(const std::string &group)
{
    std::vector<const TCommand *> members;
    for (const auto &[name, command] : Commands())
        if (name.rfind(group + ' ', 0) == 0)
            members.push_back(&command);
    return members;
}

void PrintList(std::FILE *out, const std::vector<const TCommand *> &commands)
{
    for (const TCommand *c : commands)
        std::fprintf(out, "  %-16s %s\n", c->Name, c->Summary);
}

void PrintProgramHelp(std::FILE *out)
{
    std::vector<const TCommand *> all;
    for (const auto &[name, command] : Commands())
        all.push_back(&command);
    std::fprintf(out, "%s\n\ncommands:\n", cProgramUsage);
    PrintList(out, all);
    std::fprintf(out, "\n%s", cHelpPointerText);
}

void PrintGroupHelp(std::FILE *out, const std::string &group)
{
    std::fprintf(out, "usage: wnpack %s COMMAND [ARGS...]\n\ncommands:\n", group.c_str());
    PrintList(out, GroupOf(group));
    std::fprintf(out, "\n%s", cHelpPointerText);
}

void PrintCommandHelp(const TCommand &c)
{
    std::printf("usage: wnpack %s %s\n\n%s\n\noptions:\n%s", c.Name, c.Usage, c.Description, c.Options);
    if (c.Progress)
        std::printf("  -q, --quiet        no progress bar (shown on a terminal once a job takes a second)\n");
    std::printf("  -h, --help         this help\n\nexample:\n  %s\n", c.Example);
}

// The command named by the first one or two arguments, which are taken off.
const TCommand *FindCommand(QList<QByteArray> &args)
{
    for (int words = 2; words >= 1; --words) {
        if (args.size() < words)
            continue;
        std::string name = args[0].toStdString();
        if (words == 2)
            name += ' ' + args[1].toStdString();
        const auto it = Commands().find(name);
        if (it != Commands().end()) {
            args.remove(0, words);
            return &it->second;
        }
    }
    return nullptr;
}

bool AsksForHelp(const QList<QByteArray> &args)
{
    for (const QByteArray &a : args) {
        if (a == "--")
            return false;
        if (a == "-h" || a == "--help")
            return true;
    }
    return false;
}

// wnpack help [COMMAND [SUBCOMMAND]], wnpack GROUP [--help]: 0 when help was shown, 2 when the
// name is unknown.
int Help(QList<QByteArray> args, bool asked)
{
    args.removeAll("-h");
    args.removeAll("--help");
    if (args.isEmpty()) {
        PrintProgramHelp(stdout);
        return 0;
    }
    const QList<QByteArray> named = args;
    if (const TCommand *c = FindCommand(args); c && args.isEmpty()) {
        PrintCommandHelp(*c);
        return 0;
    }
    const std::string group = named[0].toStdString();
    if (GroupOf(group).empty() || named.size() > 1) {
        std::fprintf(stderr, "wnpack: %s\"%s\" (see 'wnpack help')\n", cUnknownCommandText,
                     WithOriginalNames(QString::fromUtf8(named.join(' '))).constData());
        return 2;
    }
    if (asked) {
        PrintGroupHelp(stdout, group);
        return 0;
    }
    std::fprintf(stderr, "wnpack %s: %s", group.c_str(), cNoSubcommandText);
    for (const TCommand *c : GroupOf(group))
        std::fprintf(stderr, "%s%s", c == GroupOf(group).front() ? "" : ", ", c->Name + group.size() + 1);
    std::fprintf(stderr, " (see 'wnpack help %s')\n", group.c_str());
    return 2;
}

// Drawing needs a GUI application, but never a window: the offscreen platform serves wherever
// the program runs, with or without a display.
std::unique_ptr<QCoreApplication> MakeApplication(bool draws, char *program)
{
    static int argc = 1;
    static char *argv[] = {program, nullptr};
    if (!draws)
        return std::make_unique<QCoreApplication>(argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Without a session Qt falls back to /tmp/runtime-<uid> and says so on stderr, which would
    // spoil the one-line error output; use that folder without the warning.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QByteArray runtimeDir = "/tmp/runtime-" + QByteArray::number(uint(::getuid()));
        ::mkdir(runtimeDir.constData(), 0700);
        qputenv("XDG_RUNTIME_DIR", runtimeDir);
    }
    // A widget application: the palette renders the editor form.
    return std::make_unique<QApplication>(argc, argv);
}

int Run(const TCommand &command, QList<QByteArray> rawArgs)
{
    try {
        TArgs args(std::move(rawArgs));
        return command.Run(args);
    } catch (const UsageError &e) {
        std::fprintf(stderr, "wnpack %s: %s (see 'wnpack %s --help')\n", command.Name,
                     WithOriginalNames(QString::fromUtf8(e.what())).constData(), command.Name);
        return 2;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "wnpack %s: %s\n", command.Name,
                     WithOriginalNames(QString::fromUtf8(e.what())).constData());
        return 1;
    }
}

} // namespace

TCommandRegistration::TCommandRegistration(TCommand command)
{
    Commands().emplace(command.Name, std::move(command));
}

void Print(const QString &text)
{
    const QByteArray bytes = WithOriginalNames(text);
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout);
}

void Warn(const QString &command, const QString &text)
{
    std::fprintf(stderr, "wnpack %s: warning: %s\n", qPrintable(command),
                 WithOriginalNames(text).constData());
}

} // namespace wnpack

int main(int argc, char **argv)
{
    using namespace wnpack;
    QList<QByteArray> args;
    for (int i = 1; i < argc; ++i)
        args.append(QByteArray(argv[i]));
    if (args.isEmpty()) {
        PrintProgramHelp(stderr);
        return 2;
    }
    if (args[0] == "--version") {
        std::printf("wnpack %s (Qt %s)\n", WNPACK_VERSION, qVersion());
        return 0;
    }
    if (args[0] == "help" || args[0] == "--help" || args[0] == "-h")
        return Help(args.mid(1), true);
    QList<QByteArray> rest = args;
    const TCommand *command = FindCommand(rest);
    if (!command)
        return Help(args, AsksForHelp(args));
    if (AsksForHelp(rest)) {
        PrintCommandHelp(*command);
        return 0;
    }
    const auto app = MakeApplication(command->Draws, argv[0]);
    return Run(*command, rest);
}
