#include <KVBase/KVMutableInfoPlist.h>

#include "Platform/ResourceFile.h"
#include "Platform/Services/FileManager.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDir>

namespace KVBase
{

struct KVMutableInfoPlist::Private {
    QString path;
    std::optional<QVariantMap> plist;
    NSPropertyListFormat format = NSPropertyListFormat::XML;

    void read();
};

void KVMutableInfoPlist::Private::read()
{
    const std::optional<QByteArray> data = contentsOfFile(path);
    if (!data)
        return;
    const QVariant value = NSPropertyListSerialization::propertyListFromData(*data, &format, nullptr);
    if (value.typeId() == QMetaType::QVariantMap)
        plist = value.toMap();
}

Ref<KVMutableInfoPlist> KVMutableInfoPlist::mutableInfoPlistWithBundleAtPath(const QString &path)
{
    return std::make_shared<KVMutableInfoPlist>(path);
}

Ref<KVMutableInfoPlist> KVMutableInfoPlist::mutableInfoPlistWithBundleAtURL(const QUrl &url)
{
    return std::make_shared<KVMutableInfoPlist>(url);
}

KVMutableInfoPlist::KVMutableInfoPlist(const QString &bundlePath) : d(std::make_unique<Private>())
{
    if (bundlePath.isNull())
        return;
    // Absolute from the start, so that the file stays the same when the working folder changes.
    d->path = QDir().absoluteFilePath(bundlePath + QStringLiteral("/Contents/Info.plist"));
    d->read();
}

KVMutableInfoPlist::KVMutableInfoPlist(const QUrl &bundleUrl)
    : KVMutableInfoPlist(bundleUrl.isEmpty() ? QString() : bundleUrl.path(QUrl::FullyDecoded))
{}

KVMutableInfoPlist::~KVMutableInfoPlist() = default;

QVariant KVMutableInfoPlist::valueForKey(const QString &key) const
{
    return d->plist && !key.isNull() ? d->plist->value(key) : QVariant();
}

void KVMutableInfoPlist::setValue(const QVariant &value, const QString &key)
{
    if (!d->plist || key.isNull())
        return;
    if (isNil(value))
        d->plist->remove(key);
    else
        d->plist->insert(key, value);
}

bool KVMutableInfoPlist::commit()
{
    if (!d->plist)
        return false;
    const NSPropertyListFormat format =
        d->format == NSPropertyListFormat::Binary ? NSPropertyListFormat::Binary : NSPropertyListFormat::XML;
    const auto data = NSPropertyListSerialization::dataFromPropertyList(*d->plist, format, nullptr);
    return data && Service<FileManager>::current()->write(d->path, *data);
}

} // namespace KVBase
