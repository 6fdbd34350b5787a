#include "Platform/Services/ConsoleSource.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace KVBase
{

template class Service<ConsoleSource>;

ConsoleSource::~ConsoleSource() = default;

namespace
{

bool isReadableFile(const QString &path)
{
    const QFileInfo information(path);
    return information.isFile() && information.isReadable();
}

/// Whether there is a journal to read, and a tool to read it with.
bool hasJournal(const QString &tool)
{
    const bool isKept = QFileInfo::exists(QStringLiteral("/run/log/journal")) ||
                        QFileInfo::exists(QStringLiteral("/var/log/journal"));
    return isKept && QFileInfo(tool).isExecutable();
}

/// The first journal or log file that this machine has. The journal says "-- No entries --" unless told to be
/// quiet.
class LinuxConsoleSource final : public ConsoleSource {
public:
    QStringList command() override
    {
        const QString journal = QStringLiteral("/usr/bin/journalctl");
        if (hasJournal(journal))
            return {journal, QStringLiteral("-q"), QStringLiteral("--no-pager")};
        const QStringList files = {QStringLiteral("/var/log/syslog"), QStringLiteral("/var/log/messages"),
                                   QDir::homePath() + QStringLiteral("/.xsession-errors")};
        for (const QString &file : files) {
            if (isReadableFile(file))
                return {QStringLiteral("/bin/cat"), file};
        }
        return {journal, QStringLiteral("-q"), QStringLiteral("--no-pager")};
    }
};

} // namespace

ConsoleSource *ConsoleSource::makeDefault() { return new LinuxConsoleSource; }

} // namespace KVBase
