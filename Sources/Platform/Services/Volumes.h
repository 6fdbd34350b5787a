#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// Volumes, numbered 1, 2, 3, ... in the order in which the process meets their devices; a number stays with
/// its device until the process ends, and 0 is no volume. Any thread.
struct KV_EXPORT Volumes {
    virtual ~Volumes();
    static Volumes *makeDefault();

    /// The volume of an existing item, a final link followed; 0 when there is none.
    virtual std::int16_t volumeOf(const QString &path) = 0;

    /// The volume that holds the item itself, which may be a link; unless overridden the same as above.
    virtual std::int16_t volumeOfLink(const QString &path);

    /// A folder on that volume which only the user may enter, made when missing; nil when there can be none.
    virtual QString temporaryFolder(std::int16_t volume) = 0;

    /// The label of the volume whose root is at `path`; nil when `path` is no root or the volume has no
    /// label, and unless overridden.
    virtual QString nameAt(const QString &path);
};

extern template class KV_EXPORT Service<Volumes>;

} // namespace KVBase
