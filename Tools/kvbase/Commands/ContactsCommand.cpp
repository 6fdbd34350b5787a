#include "kvbase/Command.h"

#include <KVBase/KV_VCard.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

struct ContactsOptions {
    std::vector<std::string> files;
    std::optional<std::string> prefix;
    bool kelvo = false;
    bool kagi = false;

    std::optional<std::string> organization;
    std::vector<std::string> emails;
    bool companies = false;
};

ABSearchElement element(QLatin1StringView property, const QVariant &value, ABSearchComparison comparison)
{
    return ABPerson::searchElementForProperty(QString(property), QString(), QString(), value, comparison);
}

std::vector<Ref<ABPerson>> search(const std::vector<ABSearchElement> &elements)
{
    return ABAddressBook::sharedAddressBook()->recordsMatchingSearchElement(
        ABSearchElement::searchElementForConjunction(ABSearchConjunction::kABSearchAnd, elements));
}

/// The card of a file, with the organisation as prefix unless another is asked for; nil when it holds none.
Ref<KV_VCard> cardOf(const QString &path, const ContactsOptions &options)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    const Ref<ABPerson> person = ABPerson::create(file.readAll());
    if (isNil(person))
        return nullptr;
    Ref<KV_VCard> card = std::make_shared<KV_VCard>(person);
    card->setSearchPrefix(options.prefix
                              ? QString::fromStdString(*options.prefix)
                              : person->valueForProperty(QString(kABOrganizationProperty)).toString());
    return card;
}

/// Adds one card and says what became of it.
bool add(const QString &name, const Ref<KV_VCard> &card, QJsonArray *answers, const kvbase::Context &context)
{
    if (isNil(card) || isNil(card->person())) {
        kvbase::complain(name + QStringLiteral(": there is no card in it"));
        return false;
    }
    const std::size_t before = search({}).size();
    const bool isDone = card->addToAddressBook();
    const bool isAdded = isDone && search({}).size() > before;
    if (context.json)
        answers->append(QJsonObject{{QStringLiteral("card"), name},
                                    {QStringLiteral("done"), isDone},
                                    {QStringLiteral("added"), isAdded}});
    else if (isDone)
        kvbase::printLine(name +
                          (isAdded ? QStringLiteral(": added") : QStringLiteral(": present or handed over")));
    if (!isDone)
        kvbase::complain(name + QStringLiteral(": could not be added"));
    return isDone;
}

int runAdd(const ContactsOptions &options, const kvbase::Context &context)
{
    QJsonArray answers;
    bool areAllDone = true;
    if (options.kelvo)
        areAllDone = add(QString(VCARD_KELVO), KV_VCard::kelvoVCard(), &answers, context) && areAllDone;
    if (options.kagi)
        areAllDone = add(QString(VCARD_KAGI), KV_VCard::kagiVCard(), &answers, context) && areAllDone;
    if (!options.kelvo && !options.kagi) {
        for (const QString &path : kvbase::inputsOrStandardInput(options.files))
            areAllDone = add(path, cardOf(path, options), &answers, context) && areAllDone;
    }
    if (context.json)
        kvbase::printJson(answers);
    return areAllDone ? kvbase::kSuccess : kvbase::kFailure;
}

QJsonObject asJson(const ABPerson &person)
{
    const auto value = [&person](QLatin1StringView property) {
        return QJsonValue::fromVariant(person.valueForProperty(QString(property)));
    };
    return {{QStringLiteral("identifier"), value(kABUIDProperty)},
            {QStringLiteral("organization"), value(kABOrganizationProperty)},
            {QStringLiteral("flags"), value(kABPersonFlags)},
            {QStringLiteral("emails"), value(kABEmailProperty)},
            {QStringLiteral("note"), value(kABNoteProperty)}};
}

int runFind(const ContactsOptions &options, const kvbase::Context &context)
{
    std::vector<ABSearchElement> elements;
    if (options.companies)
        elements.push_back(element(kABPersonFlags, 1, ABSearchComparison::kABEqual));
    if (options.organization)
        elements.push_back(element(kABOrganizationProperty, QString::fromStdString(*options.organization),
                                   ABSearchComparison::kABPrefixMatchCaseInsensitive));
    for (const std::string &email : options.emails)
        elements.push_back(element(kABEmailProperty, QString::fromStdString(email),
                                   ABSearchComparison::kABEqualCaseInsensitive));
    const std::vector<Ref<ABPerson>> found = search(elements);
    QJsonArray answers;
    for (const Ref<ABPerson> &person : found) {
        if (context.json)
            answers.append(asJson(*person));
        else
            kvbase::printLine(person->valueForProperty(QString(kABOrganizationProperty)).toString() +
                              QLatin1Char('\t') +
                              person->valueForProperty(QString(kABEmailProperty)).toStringList().join(u", "));
    }
    if (context.json)
        kvbase::printJson(answers);
    return found.empty() ? kvbase::kNegative : kvbase::kSuccess;
}

const kvbase::CommandRegistration registration(
    "contacts", "Add contact cards to the address book and find contacts in it",
    [](CLI::App &app, const kvbase::Context &context) -> std::function<int()> {
        const auto options = std::make_shared<ContactsOptions>();
        app.require_subcommand(1);
        CLI::App *const adding = app.add_subcommand("add", "Add cards unless they are there");
        adding->fallthrough();
        adding->add_option("file", options->files,
                           "Card files; the lines of standard input when there are none");
        adding->add_option("--prefix", options->prefix,
                           "Prefix of the organisation in place of the card's own");
        adding->add_flag("--kelvo", options->kelvo, "The maker's card");
        adding->add_flag("--kagi", options->kagi, "The reseller's card");
        CLI::App *const finding = app.add_subcommand("find", "Find contacts for which all conditions hold");
        finding->fallthrough();
        finding->add_option("--organization", options->organization,
                            "Prefix of the organisation, in any case");
        finding->add_option("--email", options->emails, "E-mail address, in any case; may be given again");
        finding->add_flag("--companies", options->companies, "Companies alone");
        app.footer("Example: kvbase contacts find --organization kelvo --json");
        return [options, adding, &context] {
            return adding->parsed() ? runAdd(*options, context) : runFind(*options, context);
        };
    });

} // namespace
