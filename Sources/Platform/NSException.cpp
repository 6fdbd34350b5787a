#include <KVBase/Platform/NSException.h>

#include <QtCore/QByteArray>

namespace KVBase
{

struct NSException::Private {
    QString name;
    QString reason;
    QByteArray text;
};

NSException::NSException(const QString &name, const QString &reason)
    : d(std::make_shared<const Private>(Private{name, reason, (reason.isNull() ? name : reason).toUtf8()}))
{}

NSException::NSException(const NSException &) noexcept = default;
NSException &NSException::operator=(const NSException &) noexcept = default;
NSException::~NSException() = default;

QString NSException::name() const { return d->name; }

QString NSException::reason() const { return d->reason; }

QString NSException::description() const { return d->reason.isNull() ? d->name : d->reason; }

const char *NSException::what() const noexcept { return d->text.constData(); }

} // namespace KVBase
