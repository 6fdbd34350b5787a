#pragma once

#include <CLI/App.hpp>

#include <QtCore/QJsonValue>
#include <QtCore/QString>

#include <functional>
#include <string>

namespace kvbase
{

/// Exit codes that a script can rely on.
inline constexpr int kSuccess = 0;
inline constexpr int kNegative = 1; // the question was answered with no
inline constexpr int kFailure = 2;  // something did not work
inline constexpr int kUsage = 64;   // the command line makes no sense

/// What every subcommand is given: whether --json was asked for, and the application's arguments.
struct Context {
    bool json = false;
    int argc = 0;
    char **argv = nullptr;
};

/// Adds a subcommand's options to `app`; the function it answers runs the command and answers the exit code.
using CommandBuilder = std::function<std::function<int()>(CLI::App &app, const Context &context)>;

/// A subcommand makes itself known by an object of this class at file scope, so that adding one touches no
/// list. Every subcommand has --json.
class CommandRegistration {
public:
    CommandRegistration(const char *name, const char *description, CommandBuilder builder);
};

/// Writes one line of UTF-8 text to standard output.
void printLine(const QString &text);

/// Writes one JSON document, indented, to standard output.
void printJson(const QJsonValue &value);

/// Writes one line "kvbase: ..." to standard error.
void complain(const QString &text);

/// The inputs to work on: `given`, or the lines of standard input when there are none.
QStringList inputsOrStandardInput(const std::vector<std::string> &given);

} // namespace kvbase
