#include <KVBase/Platform/AddressBook.h>
#include <KVBase/Platform/KVNil.h>

#include "Platform/Services/AddressBookStore.h"
#include "Platform/VCardReader.h"

#include <algorithm>
#include <iterator>

namespace KVBase
{

namespace
{

/// The lines that stand for the flags: a mark for a company, which other programs know, and any other number.
constexpr QByteArrayView kShowAs("X-ABSHOWAS");
constexpr QByteArrayView kFlags("X-KVBASE-FLAGS");

QVariant flagsOf(const VCardDocument &card)
{
    if (card.contains(kFlags))
        return card.text(kFlags).toInt();
    if (card.contains(kShowAs))
        return card.text(kShowAs).compare(QLatin1String("COMPANY"), Qt::CaseInsensitive) == 0 ? 1 : 0;
    // Version 4.0 says it in words of its own.
    if (card.text("KIND").compare(QLatin1String("org"), Qt::CaseInsensitive) == 0)
        return 1;
    return {};
}

void removeFlags(VCardDocument *card)
{
    card->remove(kFlags);
    card->remove(kShowAs);
    if (card->text("KIND").compare(QLatin1String("org"), Qt::CaseInsensitive) == 0)
        card->remove("KIND");
}

void setFlags(VCardDocument *card, std::int32_t flags)
{
    removeFlags(card);
    if (flags == 1)
        card->setTexts("X-ABShowAs", {QStringLiteral("COMPANY")});
    else
        card->setTexts(kFlags, {QString::number(flags)});
}

QVariant textOrNil(const QString &text) { return text.isNull() ? QVariant() : QVariant(text); }

QVariant organizationOf(const VCardDocument &card)
{
    const QString organization = card.firstComponent("ORG");
    return organization.isNull() ? QVariant() : QVariant(organization);
}

QVariant emailsOf(const VCardDocument &card)
{
    const QStringList emails = card.texts("EMAIL");
    return emails.isEmpty() ? QVariant() : QVariant(emails);
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
        return true;
    default:
        return false;
    }
}

/// Lists are texts only if all of their elements are.
bool isTextList(const QVariant &value)
{
    if (value.typeId() == QMetaType::QStringList)
        return true;
    const QVariantList list =
        value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList{QVariant()};
    return std::all_of(list.begin(), list.end(),
                       [](const QVariant &element) { return element.typeId() == QMetaType::QString; });
}

bool matchesText(const QString &text, const QString &value, ABSearchComparison comparison)
{
    switch (comparison) {
    case ABSearchComparison::kABEqual:
        return text == value;
    case ABSearchComparison::kABEqualCaseInsensitive:
        return text.compare(value, Qt::CaseInsensitive) == 0;
    case ABSearchComparison::kABPrefixMatchCaseInsensitive:
        return text.startsWith(value, Qt::CaseInsensitive);
    }
    return false;
}

bool matches(const QVariant &property, const QVariant &value, ABSearchComparison comparison)
{
    if (isNumber(property))
        return isNumber(value) && comparison != ABSearchComparison::kABPrefixMatchCaseInsensitive &&
               property.toDouble() == value.toDouble();
    if (value.typeId() != QMetaType::QString)
        return false;
    const QString wanted = value.toString();
    if (property.typeId() != QMetaType::QStringList)
        return !isNil(property) && matchesText(property.toString(), wanted, comparison);
    const QStringList texts = property.toStringList();
    return std::any_of(texts.begin(), texts.end(), [&wanted, comparison](const QString &text) {
        return matchesText(text, wanted, comparison);
    });
}

} // namespace

/// A contact's card, which lies in the text that it was read from until someone asks for more than the
/// properties of searches: most contacts of an address book are only ever searched.
struct ABPerson::Private {
    explicit Private(VCardDocument &&given) : document(std::make_unique<VCardDocument>(std::move(given)))
    {
        readProperties(*document);
    }

    explicit Private(const VCardReader &reader)
        : text(reader.source()), start(reader.start()), length(reader.length())
    {
        readProperties(reader.card());
    }

    VCardDocument &card()
    {
        if (document == nullptr) {
            VCardReader reader;
            reader.setText(text.sliced(start, length));
            reader.next();
            document = std::make_unique<VCardDocument>(reader.takeCard());
            text.clear();
        }
        return *document;
    }

    void readProperties(const VCardDocument &source)
    {
        flags = flagsOf(source);
        organization = organizationOf(source);
        emails = emailsOf(source);
    }

    QVariant flags;
    QVariant organization;
    QVariant emails;

private:
    std::unique_ptr<VCardDocument> document;
    QByteArray text;
    qsizetype start = 0;
    qsizetype length = 0;
};

ABPerson::ABPerson(VCardDocument &&document) : d(std::make_unique<Private>(std::move(document))) {}

ABPerson::ABPerson(const VCardReader &reader) : d(std::make_unique<Private>(reader)) {}

ABPerson::~ABPerson() = default;

Ref<ABPerson> ABPerson::create() { return std::make_shared<ABPerson>(VCardDocument()); }

Ref<ABPerson> ABPerson::create(const QByteArray &vCard)
{
    VCardReader reader;
    reader.setText(vCard);
    return reader.next() ? std::make_shared<ABPerson>(reader) : nullptr;
}

QVariant ABPerson::valueForProperty(const QString &property) const
{
    if (property == kABPersonFlags)
        return d->flags;
    if (property == kABOrganizationProperty)
        return d->organization;
    if (property == kABEmailProperty)
        return d->emails;
    if (property == kABNoteProperty)
        return textOrNil(d->card().text("NOTE"));
    if (property == kABUIDProperty)
        return textOrNil(d->card().text("UID"));
    return {};
}

bool ABPerson::setValue(const QVariant &value, const QString &property)
{
    if (KVBase::isNil(value))
        return removeValueForProperty(property);
    const bool isText = value.typeId() == QMetaType::QString;
    if (property == kABPersonFlags && isNumber(value))
        setFlags(&d->card(), static_cast<std::int32_t>(value.toLongLong()));
    else if (property == kABEmailProperty && (isText || isTextList(value)))
        d->card().setTexts("EMAIL", value.toStringList());
    else if (property == kABOrganizationProperty && isText)
        d->card().setTexts("ORG", {value.toString()});
    else if (property == kABNoteProperty && isText)
        d->card().setTexts("NOTE", {value.toString()});
    else if (property == kABUIDProperty && isText)
        d->card().setTexts("UID", {value.toString()});
    else
        return false;
    d->readProperties(d->card());
    return true;
}

bool ABPerson::removeValueForProperty(const QString &property)
{
    if (KVBase::isNil(valueForProperty(property)))
        return false;
    if (property == kABPersonFlags)
        removeFlags(&d->card());
    else if (property == kABEmailProperty)
        d->card().remove("EMAIL");
    else if (property == kABOrganizationProperty)
        d->card().remove("ORG");
    else
        d->card().remove(property == kABNoteProperty ? "NOTE" : "UID");
    d->readProperties(d->card());
    return true;
}

QByteArray ABPerson::vCardRepresentation() const { return d->card().write(); }

struct ABSearchElement::Test {
    // A test of one property, or of others together.
    QString property;
    QVariant value;
    ABSearchComparison comparison = ABSearchComparison::kABEqual;
    bool isConjunction = false;
    ABSearchConjunction conjunction = ABSearchConjunction::kABSearchAnd;
    std::vector<ABSearchElement> children;
};

ABSearchElement::ABSearchElement(std::shared_ptr<const Test> given) : test(std::move(given)) {}

ABSearchElement ABPerson::searchElementForProperty(const QString &property, const QString &, const QString &,
                                                   const QVariant &value, ABSearchComparison comparison)
{
    ABSearchElement::Test test;
    test.property = property;
    test.value = value;
    test.comparison = comparison;
    return ABSearchElement(std::make_shared<const ABSearchElement::Test>(std::move(test)));
}

ABSearchElement ABSearchElement::searchElementForConjunction(ABSearchConjunction conjunction,
                                                             const std::vector<ABSearchElement> &children)
{
    Test test;
    test.isConjunction = true;
    test.conjunction = conjunction;
    test.children = children;
    return ABSearchElement(std::make_shared<const Test>(std::move(test)));
}

bool ABSearchElement::matchesRecord(const ABPerson &person) const
{
    if (!test->isConjunction)
        return matches(person.valueForProperty(test->property), test->value, test->comparison);
    const auto holds = [&person](const ABSearchElement &child) { return child.matchesRecord(person); };
    if (test->conjunction == ABSearchConjunction::kABSearchAnd)
        return std::all_of(test->children.begin(), test->children.end(), holds);
    return std::any_of(test->children.begin(), test->children.end(), holds);
}

Ref<ABAddressBook> ABAddressBook::sharedAddressBook()
{
    static const Ref<ABAddressBook> &shared = *new Ref<ABAddressBook>(std::make_shared<ABAddressBook>());
    return shared;
}

std::vector<Ref<ABPerson>> ABAddressBook::recordsMatchingSearchElement(const ABSearchElement &element) const
{
    const std::vector<Ref<ABPerson>> all = Service<AddressBookStore>::current()->persons();
    std::vector<Ref<ABPerson>> found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&element](const Ref<ABPerson> &person) { return element.matchesRecord(*person); });
    return found;
}

bool ABAddressBook::addRecord(const Ref<ABPerson> &person)
{
    return person != nullptr && Service<AddressBookStore>::current()->add(person);
}

bool ABAddressBook::save() { return Service<AddressBookStore>::current()->save(); }

} // namespace KVBase
