#include <KVBase/Platform/KVNil.h>

namespace KVBase
{

bool isNil(const QVariant &object)
{
    if (!object.isValid())
        return true;
    if (object.metaType() == QMetaType::fromType<QString>())
        return object.toString().isNull();
    return false;
}

bool isNil(const QUrl &url) { return url.isEmpty(); }

bool isNil(const QDateTime &date) { return date.isNull(); }

} // namespace KVBase
