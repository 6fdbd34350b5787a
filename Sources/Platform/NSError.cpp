#include <KVBase/Platform/NSError.h>

#include <QtCore/QSharedData>

namespace KVBase
{

struct NSError::Private : QSharedData {
    QString domain;
    std::int32_t code = 0;
    QVariantMap userInfo;
};

NSError::NSError() = default;

NSError::NSError(const QString &domain, std::int32_t code, const QVariantMap &userInfo) : d(new Private)
{
    d->domain = domain;
    d->code = code;
    d->userInfo = userInfo;
}

NSError::NSError(const NSError &other) = default;
NSError::NSError(NSError &&other) noexcept = default;
NSError &NSError::operator=(const NSError &other) = default;
NSError &NSError::operator=(NSError &&other) noexcept = default;
NSError::~NSError() = default;

bool NSError::isNil() const { return d.constData() == nullptr; }

QString NSError::domain() const { return isNil() ? QString() : d->domain; }

std::int32_t NSError::code() const { return isNil() ? 0 : d->code; }

QVariantMap NSError::userInfo() const { return isNil() ? QVariantMap() : d->userInfo; }

QString NSError::localizedDescription() const
{
    if (isNil())
        return {};
    const QVariant text = d->userInfo.value(NSLocalizedDescriptionKey);
    if (text.isValid())
        return text.toString();
    return QStringLiteral("The operation could not be completed. (%1 error %2.)").arg(d->domain).arg(d->code);
}

QString NSError::localizedFailureReason() const
{
    return isNil() ? QString() : d->userInfo.value(NSLocalizedFailureReasonErrorKey).toString();
}

QString NSError::description() const
{
    if (isNil())
        return {};
    return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"")
        .arg(d->domain)
        .arg(d->code)
        .arg(localizedDescription());
}

} // namespace KVBase
