#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace KVBase
{

/// A name, the object it is about, and user information. An immutable value; the object is not retained. A
/// slot takes it as `const KVBase::NSNotification &`.
class KV_EXPORT NSNotification {
public:
    NSNotification();
    NSNotification(const QString &name, QObject *object, const QVariantMap &userInfo);
    NSNotification(const NSNotification &);
    NSNotification &operator=(const NSNotification &);
    ~NSNotification();

    QString name() const;

    /// nil when none was given and once it was destroyed.
    QObject *object() const;
    QVariantMap userInfo() const;

    /// The object's address as it was given; only to be compared.
    const void *objectIdentity() const;

private:
    QString givenName;
    QPointer<QObject> sender;
    const void *senderAddress = nullptr;
    QVariantMap information;
};

} // namespace KVBase

Q_DECLARE_METATYPE(KVBase::NSNotification)
