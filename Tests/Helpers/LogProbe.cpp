#include <KVBase/KVLog.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <cstdio>
#include <cstring>
#include <string>

using namespace KVBase;

namespace
{

void print(const QString &text) { std::printf("%s\n", qUtf8Printable(text)); }

/// "set 1": the text behind `word`, null when the step is another one.
const char *argumentOf(const char *step, const char *word)
{
    const std::size_t length = std::strlen(word);
    return std::strncmp(step, word, length) == 0 && step[length] == ' ' ? step + length + 1 : nullptr;
}

void run(const char *step)
{
    if (std::strcmp(step, "get") == 0)
        print(QString::number(KVLogDestination()));
    else if (std::strcmp(step, "default") == 0)
        KVLogSetDefaultDestination();
    else if (std::strcmp(step, "close") == 0)
        KVLogClose();
    else if (std::strcmp(step, "path") == 0)
        print(stringWithFormat("%@", KVLogPath()));
    else if (const char *number = argumentOf(step, "set"))
        KVLogSetDestination(std::stoi(number));
    else if (const char *stored = argumentOf(step, "store"))
        NSUserDefaults::standardUserDefaults().setInteger(std::stoll(stored), kKVLogDestinationKey);
    else if (const char *path = argumentOf(step, "open"))
        print(KVLogOpen(QString::fromUtf8(path)) ? QStringLiteral("YES") : QStringLiteral("NO"));
    else if (const char *text = argumentOf(step, "log"))
        KVLog("%s", text);
}

} // namespace

/// Runs the steps given as arguments in a process that has not used the log before, and prints what they
/// answer.
int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        run(argv[i]);
    NSUserDefaults::standardUserDefaults().synchronize();
    return 0;
}
