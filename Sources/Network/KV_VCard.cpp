#include <KVBase/InfoDictionary.h>
#include <KVBase/KVLog.h>
#include <KVBase/KV_VCard.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Runtime.h>

#include "Platform/Services/Applications.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/Folders.h"

namespace KVBase
{

namespace
{

using Records = std::vector<Ref<ABPerson>>;

/// The person of a shipped card, without its identifier, so that the address book gives it a new one.
Ref<ABPerson> shippedPerson(QLatin1StringView name)
{
    const std::optional<QByteArray> card =
        NSBundle::frameworkBundle()->dataForResource(QString(name), QString(VCARD_EXTENSION));
    if (isNil(card))
        return nullptr;
    Ref<ABPerson> person = ABPerson::create(*card);
    if (!isNil(person))
        person->removeValueForProperty(QString(kABUIDProperty));
    return person;
}

ABSearchElement companyElement()
{
    return ABPerson::searchElementForProperty(QString(kABPersonFlags), QString(), QString(), 1,
                                              ABSearchComparison::kABEqual);
}

ABSearchElement organizationElement(const QString &prefix)
{
    return ABPerson::searchElementForProperty(QString(kABOrganizationProperty), QString(), QString(), prefix,
                                              ABSearchComparison::kABPrefixMatchCaseInsensitive);
}

ABSearchElement emailElement(const QString &email)
{
    return ABPerson::searchElementForProperty(QString(kABEmailProperty), QString(), QString(), email,
                                              ABSearchComparison::kABEqualCaseInsensitive);
}

Records companies(const ABAddressBook &book, const QString &prefix)
{
    std::vector<ABSearchElement> elements{companyElement()};
    if (!isNil(prefix))
        elements.push_back(organizationElement(prefix));
    return book.recordsMatchingSearchElement(
        ABSearchElement::searchElementForConjunction(ABSearchConjunction::kABSearchAnd, elements));
}

/// The records of the organisation that have every one of the addresses, companies or not.
Records recordsWithEmails(const ABAddressBook &book, const QString &prefix, const QStringList &emails)
{
    std::vector<ABSearchElement> elements;
    if (!isNil(prefix))
        elements.push_back(organizationElement(prefix));
    for (const QString &email : emails)
        elements.push_back(emailElement(email));
    return book.recordsMatchingSearchElement(
        ABSearchElement::searchElementForConjunction(ABSearchConjunction::kABSearchAnd, elements));
}

QStringList emailsOf(const Ref<ABPerson> &person)
{
    return isNil(person) ? QStringList() : person->valueForProperty(QString(kABEmailProperty)).toStringList();
}

bool addAndSave(ABAddressBook &book, const Ref<ABPerson> &person)
{
    if (isNil(person)) {
        KVLog("There is no person to add to the address book");
        return false;
    }
    // The answer is that of saving alone.
    book.addRecord(person);
    return book.save();
}

/// Hands the card to the program that the desktop has for cards.
bool openCard(const Ref<ABPerson> &person)
{
    if (isNil(person)) {
        KVLog("There is no person to show");
        return false;
    }
    const QString path = Service<Folders>::current()->temporaryFolder() + QStringLiteral("/kelvo.vcf");
    // A link that someone put there is replaced, not followed.
    return Service<FileManager>::current()->write(path, person->vCardRepresentation(),
                                                  {kPrivateFileMode, false}) &&
           Service<Applications>::current()->openFile(path);
}

} // namespace

struct KV_VCard::Private {
    Ref<ABPerson> person;
    QString searchPrefix;
};

KV_VCard::KV_VCard() : KV_VCard(nullptr) {}

KV_VCard::KV_VCard(const Ref<ABPerson> &person) : d(std::make_unique<Private>()) { d->person = person; }

KV_VCard::~KV_VCard() = default;

Ref<ABPerson> KV_VCard::person() const { return d->person; }

void KV_VCard::setPerson(const Ref<ABPerson> &person) { d->person = person; }

QString KV_VCard::searchPrefix() const { return d->searchPrefix; }

void KV_VCard::setSearchPrefix(const QString &searchPrefix) { d->searchPrefix = searchPrefix; }

Ref<ABPerson> KV_VCard::kelvoPerson()
{
    const Ref<ABPerson> person = shippedPerson(VCARD_KELVO);
    if (!isNil(person))
        person->setValue(InfoDictionary::fullProductName(), QString(kABNoteProperty));
    return person;
}

Ref<ABPerson> KV_VCard::kagiPerson() { return shippedPerson(VCARD_KAGI); }

bool KV_VCard::addToAddressBook()
{
    KVLog("ussing sharedAddressBook");
    const Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
    Records found = companies(*book, d->searchPrefix);
    if (found.empty())
        return addAndSave(*book, d->person);
    if (const QStringList emails = emailsOf(d->person); !emails.isEmpty())
        found = recordsWithEmails(*book, d->searchPrefix, emails);
    const std::size_t threshold = Runtime::runningOnSnowLeopardOrHigher() ? 2 : 1;
    return found.size() >= threshold || openCard(d->person);
}

} // namespace KVBase
