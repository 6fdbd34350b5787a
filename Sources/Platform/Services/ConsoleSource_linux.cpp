#include "Platform/Services/ConsoleSource.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <algorithm>

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

/// A journal is kept in a folder for each machine; without one the tool has nothing to print.
bool isJournalKept()
{
    const QStringList places = {QStringLiteral("/run/log/journal"), QStringLiteral("/var/log/journal")};
    return std::any_of(places.begin(), places.end(), [](const QString &place) {
        return !QDir(place).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty();
    });
}

/// The first journal or log file that this machine has. The journal says "-- No entries --" unless told to be
/// quiet.
class LinuxConsoleSource final : public ConsoleSource {
public:
    QStringList command() override
    {
        const QString journal = QStringLiteral("/usr/bin/journalctl");
        if (isJournalKept() && QFileInfo(journal).isExecutable())
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
