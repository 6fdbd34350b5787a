#include "Platform/Services/DesktopAddressBook.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSLog.h>

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>

#include <algorithm>
#include <optional>

namespace
{

using KVBase::ABPerson;
using KVBase::Ref;

const QString &serviceName()
{
    static const QString name = QStringLiteral("org.gnome.evolution.dataserver.AddressBook");
    return name;
}

/// The user's own address book, which every desktop with this service has.
QString sourceName() { return QStringLiteral("system-address-book"); }

/// A service that does not answer for that long is as good as none.
constexpr int kMilliseconds = 20000;

/// One address book of the service, open as long as the connection is.
class DesktopBook {
public:
    /// false, and nothing is open, when the service is missing or refuses.
    bool open()
    {
        const QString service = newestService();
        if (service.isEmpty())
            return false;
        const QVariantList opened = call(
            service, QStringLiteral("/org/gnome/evolution/dataserver/AddressBookFactory"),
            serviceName() + QStringLiteral("Factory"), QStringLiteral("OpenAddressBook"), {sourceName()});
        if (opened.size() != 2)
            return false;
        path = opened.at(0).toString();
        owner = opened.at(1).toString();
        return ask(QStringLiteral("Open"), {}).has_value();
    }

    bool isOpen() const { return !owner.isEmpty(); }

    /// What the method answers first, invalid when that is nothing; a method that fails closes the book.
    std::optional<QVariant> ask(const QString &method, const QVariantList &arguments)
    {
        wasRefused = false;
        const QVariantList answer = call(owner, path, serviceName(), method, arguments);
        if (wasRefused) {
            owner.clear();
            return std::nullopt;
        }
        return answer.value(0);
    }

private:
    /// The name of the service carries the number of its interface.
    QString newestService()
    {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            return {};
        QStringList found = bus.interface()->activatableServiceNames().value().filter(serviceName());
        std::sort(found.begin(), found.end(), [](const QString &one, const QString &other) {
            return one.mid(serviceName().size()).toInt() < other.mid(serviceName().size()).toInt();
        });
        return found.isEmpty() ? QString() : found.last();
    }

    QVariantList call(const QString &service, const QString &object, const QString &interface,
                      const QString &method, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, object, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, kMilliseconds);
        wasRefused = reply.type() != QDBusMessage::ReplyMessage;
        if (wasRefused)
            KVBase::NSLog("The desktop's address book answered %@ to %@", reply.errorMessage(), method);
        return wasRefused ? QVariantList() : reply.arguments();
    }

    QString owner;
    QString path;
    bool wasRefused = false;
};

/// The contacts of the desktop's address book, asked for at every search.
class DesktopStore final : public KVBase::AddressBookStore {
public:
    bool open() { return book.open(); }

    std::vector<Ref<ABPerson>> persons() override
    {
        std::vector<Ref<ABPerson>> all;
        const QString everyone = QStringLiteral("(contains \"x-evolution-any-field\" \"\")");
        if (const auto cards = ask(QStringLiteral("GetContactList"), {everyone})) {
            for (const QString &card : cards->toStringList()) {
                if (Ref<ABPerson> person = ABPerson::create(card.toUtf8()))
                    all.push_back(std::move(person));
            }
        }
        all.insert(all.end(), additions.begin(), additions.end());
        return all;
    }

    bool add(const Ref<ABPerson> &person) override
    {
        additions.push_back(person);
        return true;
    }

    bool save() override
    {
        std::erase_if(additions, [this](const Ref<ABPerson> &person) { return create(person); });
        return additions.empty();
    }

private:
    /// A book that failed is opened again by the next call.
    std::optional<QVariant> ask(const QString &method, const QVariantList &arguments)
    {
        if (!book.isOpen() && !book.open())
            return std::nullopt;
        return book.ask(method, arguments);
    }

    /// The service gives each contact an identifier of its own.
    bool create(const Ref<ABPerson> &person)
    {
        const QStringList cards{QString::fromUtf8(person->vCardRepresentation())};
        const auto identifiers = ask(QStringLiteral("CreateContacts"), {cards, 0U});
        if (!identifiers)
            return false;
        person->setValue(identifiers->toStringList().value(0), QString(KVBase::kABUIDProperty));
        return true;
    }

    DesktopBook book;
    std::vector<Ref<ABPerson>> additions;
};

} // namespace

/// What the framework looks for to use the desktop's address book.
extern "C" KV_EXPORT KVBase::AddressBookStore *kvbaseDesktopAddressBook()
{
    auto store = std::make_unique<DesktopStore>();
    return store->open() ? store.release() : nullptr;
}
