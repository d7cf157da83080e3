#pragma once
// The wnpack program's commands. Each source file registers its commands with a static
// TCommandRegistration; main() picks the command from the first one or two arguments, runs it
// and turns what it throws into one line on stderr and the exit status.

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <stdexcept>

namespace wnpack {

// A wrong invocation: main() prints the message with a pointer to the command's help and exits
// with status 2. Failures of the work itself throw wn::Exception (or any std::exception) and
// exit with status 1.
class UsageError : public std::runtime_error
{
public:
    explicit UsageError(const QString &message);
};

// The arguments after the command's name: options first taken out by name, then the positional
// arguments checked against the usage. Options may stand anywhere before "--"; "-5" is a number.
class TArgs
{
public:
    explicit TArgs(QList<QByteArray> args);

    // Takes out a flag given as name (or alias); true when it was there.
    bool Flag(const char *name, const char *alias = nullptr);
    // Takes out "name VALUE".
    std::optional<QString> Option(const char *name);
    // Checks that no unknown option is left and that min..max positional arguments remain
    // (max -1: any number).
    void Expect(int min, int max);

    int Count() const { return int(FArgs.size()); }
    const QByteArray &Raw(int i) const { return FArgs.at(i); }
    QString Text(int i) const { return QString::fromUtf8(FArgs.at(i)); }
    double Number(int i, const char *what) const;
    int Whole(int i, const char *what) const;

private:
    QList<QByteArray> FArgs;
    int FOptionsEnd; // index of "--" or the end; options stand before it
};

// Numbers given as arguments; anything else is a usage error naming what.
double ParseNumber(const QString &text, const char *what);
int ParseWhole(const QString &text, const char *what);

struct TCommand {
    const char *Name;        // "sortkey", or a group and a subcommand: "grid info"
    const char *Usage;       // the arguments after the name: "FILE [--json]"
    const char *Summary;     // one line for the list of commands
    const char *Description; // what it does, in lines of at most 96 characters
    const char *Options;     // one line per option, indented by two; may be empty
    const char *Example;     // one command line
    bool Progress;           // shows a progress bar, which -q silences
    bool Draws;              // needs a GUI application (offscreen) to draw pictures
    std::function<int(TArgs &args)> Run;
};

struct TCommandRegistration {
    explicit TCommandRegistration(TCommand command);
};

// Text for stdout and stderr, with the stand-in names of files given in bytes that are not
// UTF-8 turned back into those bytes.
void Print(const QString &text);
void Warn(const QString &command, const QString &text);

} // namespace wnpack
