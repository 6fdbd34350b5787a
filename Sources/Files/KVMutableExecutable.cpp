#include <KVBase/KVMutableExecutable.h>

#include "Platform/ByteSearch.h"
#include "Platform/Services/FileManager.h"

#include <QtCore/QByteArray>
#include <QtCore/QDir>

#include <algorithm>
#include <cstring>
#include <optional>

namespace KVBase
{

namespace
{

/// Absolute from the start, so that the file stays the same when the working folder changes.
QString executableIn(const QString &bundlePath, const QString &name)
{
    if (bundlePath.isNull() || name.isNull())
        return {};
    return QDir().absoluteFilePath(bundlePath + QStringLiteral("/Contents/MacOS/") + name);
}

QString pathOf(const QUrl &url) { return url.isEmpty() ? QString() : url.path(QUrl::FullyDecoded); }

} // namespace

struct KVMutableExecutable::Private {
    explicit Private(const QString &file) : path(file), data(Service<FileManager>::current()->read(file)) {}

    const QString path;
    std::optional<QByteArray> data;
};

Ref<KVMutableExecutable> KVMutableExecutable::mutableExecutableWithBundleAtPath(const QString &path,
                                                                                const QString &executableName)
{
    return std::make_shared<KVMutableExecutable>(path, executableName);
}

Ref<KVMutableExecutable> KVMutableExecutable::mutableExecutableWithBundleAtURL(const QUrl &url,
                                                                               const QString &executableName)
{
    return std::make_shared<KVMutableExecutable>(url, executableName);
}

Ref<KVMutableExecutable> KVMutableExecutable::mutableExecutableWithExecutableAtURL(const QUrl &url)
{
    return std::make_shared<KVMutableExecutable>(url);
}

KVMutableExecutable::KVMutableExecutable(const QString &bundlePath, const QString &executableName)
    : d(std::make_unique<Private>(executableIn(bundlePath, executableName)))
{}

KVMutableExecutable::KVMutableExecutable(const QUrl &bundleUrl, const QString &executableName)
    : KVMutableExecutable(pathOf(bundleUrl), executableName)
{}

KVMutableExecutable::KVMutableExecutable(const QUrl &executableUrl)
    : d(std::make_unique<Private>(pathOf(executableUrl)))
{}

KVMutableExecutable::~KVMutableExecutable() = default;

bool KVMutableExecutable::replaceString(const QString &search, const QString &replacement)
{
    // Characters are counted, bytes are compared: the strings are expected to be ASCII.
    const auto length = static_cast<std::size_t>(std::min(search.size(), replacement.size()));
    if (!d->data || length == 0)
        return false;
    const QByteArray wanted = search.toUtf8();
    const QByteArray instead = replacement.toUtf8();
    // The first look is over the shared bytes, so that nothing is copied when there is nothing to replace.
    const char *const first = findBytes(d->data->constData(), static_cast<std::size_t>(d->data->size()),
                                        wanted.constData(), length);
    if (first == nullptr)
        return false;
    const std::ptrdiff_t offset = first - d->data->constData();
    char *const bytes = d->data->data();
    const char *const end = bytes + d->data->size();
    for (char *match = bytes + offset; match != nullptr;) {
        std::memcpy(match, instead.constData(), length);
        match += length;
        const char *const next =
            findBytes(match, static_cast<std::size_t>(end - match), wanted.constData(), length);
        match = next != nullptr ? match + (next - match) : nullptr;
    }
    return true;
}

bool KVMutableExecutable::commit()
{
    return d->data && Service<FileManager>::current()->write(d->path, *d->data);
}

} // namespace KVBase
