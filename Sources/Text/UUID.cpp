#include <KVBase/UUID.h>

#include <QtCore/QUuid>

namespace KVBase::UUID
{

QString UUIDString() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

} // namespace KVBase::UUID
