#include <KVBase/Platform/KVNil.h>

namespace KVBase
{

bool isNil(const QVariant &object)
{
    const int type = object.typeId();
    return type == QMetaType::UnknownType ||
           (type == QMetaType::QString && isNil(*static_cast<const QString *>(object.constData())));
}

bool isNil(const QUrl &url) { return url.isEmpty(); }

bool isNil(const QDateTime &date) { return date.isNull(); }

} // namespace KVBase
