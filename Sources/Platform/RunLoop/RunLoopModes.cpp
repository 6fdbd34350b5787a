#include "Platform/RunLoop/RunLoopModes.h"

#include <KVBase/Platform/NSRunLoop.h>

namespace KVBase::RunLoopModes
{

// Never destroyed: threads may run until the process has ended.

const QString &defaultMode()
{
    static const auto *const mode = new QString(NSDefaultRunLoopMode);
    return *mode;
}

const QString &modalPanel()
{
    static const auto *const mode = new QString(NSModalPanelRunLoopMode);
    return *mode;
}

const QString &eventTracking()
{
    static const auto *const mode = new QString(NSEventTrackingRunLoopMode);
    return *mode;
}

const QStringList &common()
{
    static const auto *const modes = new QStringList{defaultMode(), modalPanel(), eventTracking()};
    return *modes;
}

} // namespace KVBase::RunLoopModes
