#include <KVBase/KVException.h>

#include <KVBase/KVLog.h>

#include <QtCore/QByteArray>

namespace KVBase
{

struct KVException::Private {
    QString name;
    QString message;
    QByteArray text;
};

KVException::KVException(const char *name, const char *message)
    : d(std::make_shared<const Private>(Private{QString::fromUtf8(name), QString::fromUtf8(message),
                                                QByteArray(message != nullptr ? message : name)}))
{}

KVException::KVException(const KVException &) noexcept = default;
KVException &KVException::operator=(const KVException &) noexcept = default;
KVException::~KVException() = default;

void KVException::throwException(const char *name, const char *message) { throw KVException(name, message); }

void KVException::log() const { KVLog("KVException:  name='%@'  message='%@'", d->name, d->message); }

QString KVException::name() const { return d->name; }

QString KVException::message() const { return d->message; }

const char *KVException::what() const noexcept { return d->text.constData(); }

} // namespace KVBase
