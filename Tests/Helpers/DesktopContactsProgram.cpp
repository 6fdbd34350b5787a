#include <KVBase/Platform/AddressBook.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <cstdio>

using namespace KVBase;

namespace
{

std::vector<Ref<ABPerson>> companiesOf(const QString &prefix)
{
    const auto element = [](QLatin1StringView property, const QVariant &value,
                            ABSearchComparison comparison) {
        return ABPerson::searchElementForProperty(QString(property), QString(), QString(), value, comparison);
    };
    return ABAddressBook::sharedAddressBook()->recordsMatchingSearchElement(
        ABSearchElement::searchElementForConjunction(
            ABSearchConjunction::kABSearchAnd,
            {element(kABPersonFlags, 1, ABSearchComparison::kABEqual),
             element(kABOrganizationProperty, prefix, ABSearchComparison::kABPrefixMatchCaseInsensitive)}));
}

} // namespace

/// Uses the desktop's address book: "add ORGANISATION EMAIL" adds a company, "find PREFIX" prints one line
/// for each that is found.
int main(int count, char **arguments)
{
    NSUserDefaults::standardUserDefaults().setObject(QStringLiteral("Desktop"), QString(kKVAddressBookKey));
    const QString command = QString::fromUtf8(count > 1 ? arguments[1] : "");
    const QString organization = QString::fromUtf8(count > 2 ? arguments[2] : "");
    if (command == QLatin1StringView("add") && count > 3) {
        const Ref<ABPerson> person = ABPerson::create();
        person->setValue(1, QString(kABPersonFlags));
        person->setValue(organization, QString(kABOrganizationProperty));
        person->setValue(QString::fromUtf8(arguments[3]), QString(kABEmailProperty));
        const Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
        return book->addRecord(person) && book->save() ? 0 : 1;
    }
    for (const Ref<ABPerson> &person : companiesOf(organization)) {
        const QString emails =
            person->valueForProperty(QString(kABEmailProperty)).toStringList().join(QLatin1Char(' '));
        std::printf("%s <%s>\n",
                    qPrintable(person->valueForProperty(QString(kABOrganizationProperty)).toString()),
                    qPrintable(emails));
    }
    return 0;
}
