#include "kvbase/Command.h"

#include "Platform/Services/FileManager.h"

#include <KVBase/KVPathUtils.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace kvbase
{

namespace
{

using namespace KVBase;

/// One line on the terminal that is written over while a long walk goes on, and taken away at its end.
class Progress {
public:
    Progress() : shown(::isatty(STDERR_FILENO) != 0) { timer.start(); }

    ~Progress()
    {
        if (written)
            std::fputs("\r\033[K", stderr);
    }

    void count(std::uint64_t bytes)
    {
        ++items;
        sum += bytes;
        // Looking at the clock for every item would cost as much as the item.
        if (!shown || items % 256 != 0 || !timer.hasExpired(kInterval))
            return;
        const QString size = KVPathUtils::sizeStringFromBytes(static_cast<double>(sum));
        std::fprintf(stderr, "\r%llu items, %s\033[K", static_cast<unsigned long long>(items),
                     qUtf8Printable(size));
        written = true;
        timer.restart();
    }

    std::uint64_t bytes() const { return sum; }
    std::uint64_t itemCount() const { return items; }

private:
    static constexpr qint64 kInterval = 200;
    const bool shown;
    bool written = false;
    std::uint64_t items = 0;
    std::uint64_t sum = 0;
    QElapsedTimer timer;
};

struct Measured {
    std::uint64_t bytes = 0;
    std::uint64_t items = 0;
};

Measured measure(const QString &path)
{
    FileManager *const files = Service<FileManager>::current();
    if (!files->isFolder(path))
        return {KVPathUtils::fileSizeAtPath(path).toULongLong(), 1};
    Progress progress;
    files->forEachEntryBelow(path, [&progress](const FolderEntry &entry) {
        progress.count(entry.attributes != nullptr ? entry.attributes->size : 0);
        return WalkStep::GoOn;
    });
    return {progress.bytes(), progress.itemCount()};
}

int run(const std::vector<std::string> &given, bool json)
{
    QJsonArray rows;
    int code = kSuccess;
    for (const QString &path : inputsOrStandardInput(given)) {
        if (!Service<FileManager>::current()->attributes(path)) {
            complain(QStringLiteral("there is nothing at %1").arg(path));
            code = kFailure;
            continue;
        }
        const Measured measured = measure(path);
        const QString text = KVPathUtils::sizeStringFromBytes(static_cast<double>(measured.bytes));
        if (json)
            rows.append(QJsonObject{{"path", path},
                                    {"bytes", static_cast<qint64>(measured.bytes)},
                                    {"items", static_cast<qint64>(measured.items)},
                                    {"text", text}});
        else
            printLine(QStringLiteral("%1\t%2\t%3").arg(measured.bytes).arg(text, path));
    }
    if (json)
        printJson(rows);
    return code;
}

const CommandRegistration
    registration("size", "Measure files and folders", [](CLI::App &app, const Context &context) {
        const auto paths = std::make_shared<std::vector<std::string>>();
        app.add_option("path", *paths, "What to measure; the lines of standard input without any");
        return [paths, &context] { return run(*paths, context.json); };
    });

} // namespace

} // namespace kvbase
