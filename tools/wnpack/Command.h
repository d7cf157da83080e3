#pragma once
// The wnpack program's subcommands. Each source file of the program registers its commands
// with a static TCommandRegistration; main() dispatches on the first argument.

#include <QStringList>

#include <functional>
#include <stdexcept>

namespace wnpack {

// Thrown by a command for a wrong invocation or bad input: main() prints the message as one
// line on stderr and exits with status 1.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct TCommand {
    const char *Name;    // first argument, e.g. "grid"
    const char *Summary; // one line for the help text
    // Receives the arguments after the name; returns the exit status.
    std::function<int(const QStringList &args)> Run;
};

struct TCommandRegistration {
    explicit TCommandRegistration(TCommand command);
};

} // namespace wnpack
