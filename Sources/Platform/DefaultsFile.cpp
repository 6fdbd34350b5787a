#include "Platform/DefaultsFile.h"

#include "Platform/FileDescriptor.h"
#include "Platform/ResourceFile.h"
#include "Platform/Services/FileManager.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

constexpr std::uint32_t kPrivateFolderMode = 0700;

void apply(const QVariantMap &changes, QVariantMap &settings)
{
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        if (change.value().isValid())
            settings.insert(change.key(), change.value());
        else
            settings.remove(change.key());
    }
}

} // namespace

DefaultsFile::DefaultsFile(const QString &filePath) : path(filePath) {}

DefaultsFile::Content DefaultsFile::load() const
{
    FileManager *const files = Service<FileManager>::current();
    const std::optional<QByteArray> data = files->read(path);
    if (!data)
        return {files->exists(path) ? Condition::Closed : Condition::Missing, {}};
    const QVariant plist = NSPropertyListSerialization::propertyListFromData(*data, nullptr, nullptr);
    if (plist.typeId() == QMetaType::QVariantMap)
        return {Condition::Sound, plist.toMap()};
    // An empty file has nothing worth keeping.
    return {data->isEmpty() ? Condition::Missing : Condition::Damaged, {}};
}

std::optional<QVariantMap> DefaultsFile::read() const
{
    const Content content = load();
    if (content.condition == Condition::Closed)
        return std::nullopt;
    return content.settings;
}

bool DefaultsFile::makeFolder(Folders folders) const
{
    FileManager *const files = Service<FileManager>::current();
    const QString folder = QFileInfo(path).path();
    return files->isFolder(folder) ||
           files->createDirectory(folder, folders == Folders::AsNeeded, kPrivateFolderMode);
}

/// -1 when the lock file cannot be made. The lock ends with the descriptor, so no process leaves one behind.
int DefaultsFile::lock() const
{
    const QByteArray name = QFile::encodeName(path + QStringLiteral(".lock"));
    const int descriptor = ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    while (descriptor >= 0 && ::flock(descriptor, LOCK_EX) != 0) {
        if (errno == EINTR)
            continue;
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

bool DefaultsFile::keepAside() const
{
    FileManager *const files = Service<FileManager>::current();
    QString aside = path + QStringLiteral(".damaged");
    for (int number = 2; files->attributes(aside); ++number)
        aside = path + QStringLiteral(".damaged-%1").arg(number);
    return files->move(path, aside);
}

std::optional<QVariantMap> DefaultsFile::mergeLocked(const QVariantMap &changes) const
{
    Content content = load();
    if (content.condition == Condition::Closed)
        return std::nullopt;
    apply(changes, content.settings);
    if (content.condition == Condition::Damaged && !keepAside())
        return std::nullopt;
    // The binary form keeps fractions of a second in dates.
    const std::optional<QByteArray> data = NSPropertyListSerialization::dataFromPropertyList(
        content.settings, NSPropertyListFormat::Binary, nullptr);
    FileWriteOptions options;
    options.newFileMode = kPrivateFileMode;
    if (!data || !Service<FileManager>::current()->write(path, *data, options))
        return std::nullopt;
    return content.settings;
}

std::optional<QVariantMap> DefaultsFile::merge(const QVariantMap &changes, Folders folders) const
{
    if (changes.isEmpty())
        return read();
    if (!makeFolder(folders))
        return std::nullopt;
    const FileDescriptor held(lock());
    return held.get() >= 0 ? mergeLocked(changes) : std::nullopt;
}

} // namespace KVBase
