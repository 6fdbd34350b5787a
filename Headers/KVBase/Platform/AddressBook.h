#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <memory>
#include <vector>

namespace KVBase
{

/// Properties of a contact. The flags are a number, 1 for one that is shown as a company; the e-mail
/// addresses are a `QStringList` in the card's order; the others are texts.
inline constexpr QLatin1StringView kABPersonFlags{"ABPersonFlags"};
inline constexpr QLatin1StringView kABOrganizationProperty{"Organization"};
inline constexpr QLatin1StringView kABEmailProperty{"Email"};
inline constexpr QLatin1StringView kABNoteProperty{"Note"};
inline constexpr QLatin1StringView kABUIDProperty{"UID"};

/// The user default that chooses the user's address book, looked at when it is first used: "Desktop" for the
/// desktop's address-book service, where there is one; with any other value it is the folder.
inline constexpr QLatin1StringView kKVAddressBookKey{"KVAddressBook"};

/// How a property is compared with a value. Of several values one has to match.
enum class ABSearchComparison : std::int32_t {
    kABEqual,
    kABEqualCaseInsensitive,
    kABPrefixMatchCaseInsensitive
};

enum class ABSearchConjunction : std::int32_t { kABSearchAnd, kABSearchOr };

class ABSearchElement;
class VCardDocument;
class VCardReader;

/// A contact. It keeps every line of the card that it was made from, also those that have no property here.
/// Main thread.
class KV_EXPORT ABPerson {
public:
    /// An empty contact.
    static Ref<ABPerson> create();

    /// The contact of the first card in `vCard`, of version 2.1, 3.0 or 4.0; nil when there is no whole card.
    static Ref<ABPerson> create(const QByteArray &vCard);

    /// The value of one of the properties above; nil when the contact has none.
    QVariant valueForProperty(const QString &property) const;

    /// Replaces a property; a nil value removes it. false, and nothing is changed, for a property that is not
    /// one of those above and for a value of another kind.
    bool setValue(const QVariant &value, const QString &property);

    /// false when the contact has no such property.
    bool removeValueForProperty(const QString &property);

    /// The contact as a card of version 3.0, UTF-8, lines folded at 75 bytes.
    QByteArray vCardRepresentation() const;

    /// A test of one property against `value`. No property here has labels or keys: both are ignored.
    static ABSearchElement searchElementForProperty(const QString &property, const QString &label,
                                                    const QString &key, const QVariant &value,
                                                    ABSearchComparison comparison);

    explicit ABPerson(VCardDocument &&document);
    /// The contact of the card that was read last.
    explicit ABPerson(const VCardReader &reader);
    ~ABPerson();
    ABPerson(const ABPerson &) = delete;
    ABPerson &operator=(const ABPerson &) = delete;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

/// A test of contacts. An immutable value.
class KV_EXPORT ABSearchElement {
public:
    /// A test that holds when all of `children` do, or when one of them does. Without children "and" holds
    /// always, "or" never.
    static ABSearchElement searchElementForConjunction(ABSearchConjunction conjunction,
                                                       const std::vector<ABSearchElement> &children);

    bool matchesRecord(const ABPerson &person) const;

private:
    friend class ABPerson;
    struct Test;
    explicit ABSearchElement(std::shared_ptr<const Test> given);
    std::shared_ptr<const Test> test;
};

/// The user's address book: a folder of cards, "contacts" in the user's data folder, that other programs
/// share, or the desktop's service. Main thread. Blocks on the file system, or on the service for at most 20
/// s a call.
class KV_EXPORT ABAddressBook {
public:
    static Ref<ABAddressBook> sharedAddressBook();

    /// The contacts that `element` holds for, those added and not yet saved included.
    std::vector<Ref<ABPerson>> recordsMatchingSearchElement(const ABSearchElement &element) const;

    /// Adds a contact, which `save` will write; false for nil.
    bool addRecord(const Ref<ABPerson> &person);

    /// Writes what was added, each contact whole or not at all. false when one could not be written; it stays
    /// added.
    bool save();
};

} // namespace KVBase
