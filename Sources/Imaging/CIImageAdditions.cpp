#include <KVBase/CIImageAdditions.h>

#include "Platform/Companion.h"

#include <KVBase/Platform/NSClass.h>
#include <KVBase/Platform/NSDrawingSession.h>
#include <KVBase/Platform/NSObject.h>

namespace KVBase
{

namespace
{

/// The class object in the registry; the companion library that brings one is loaded when there is none yet.
QObject *imageClass()
{
    const QString name = QStringLiteral("CIImage");
    QObject *found = NSClassFromString(name);
    if (found == nullptr && companionFunction("CoreImage", "kvbaseCoreImage") != nullptr)
        found = NSClassFromString(name);
    return found;
}

} // namespace

Ref<NSBitmapImageRep> CIImageAdditions::bitmap(const Ref<NSImage> &image)
{
    if (image == nullptr)
        return nullptr;
    const NSSize size = image->size();
    NSDrawingSession session(image);
    return session.bitmapInRect(NSMakeRect(0, 0, size.width, size.height));
}

Ref<CIImage> CIImageAdditions::CIImage(const Ref<NSImage> &image)
{
    QObject *classObject = imageClass();
    if (!respondsToSelector(classObject, "imageWithBitmapImageRep:"))
        return nullptr;
    const Ref<NSBitmapImageRep> rep = bitmap(image);
    if (rep == nullptr)
        return nullptr;
    return performSelector(classObject, "imageWithBitmapImageRep:", QVariant::fromValue(rep))
        .value<Ref<KVBase::CIImage>>();
}

} // namespace KVBase
