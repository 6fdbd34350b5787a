#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/AddressBook.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>

#include <memory>

namespace KVBase
{

/// Resource names of the shipped cards, and their extension.
inline constexpr QLatin1StringView VCARD_KELVO{"Kelvo_Software"};
inline constexpr QLatin1StringView VCARD_KAGI{"Kagi"};
inline constexpr QLatin1StringView VCARD_EXTENSION{"vcf"};

/// A contact, and the prefix of the organisation's name by which it is found among others. Puts it into the
/// user's address book without making duplicates. Main thread.
class KV_EXPORT KV_VCard {
public:
    /// A card without a person, of a class derived from this one where that is asked for.
    template <class Card = KV_VCard>
    static Ref<Card> vCard()
    {
        return std::make_shared<Card>();
    }

    /// The maker's card, with the application's full product name as its note and the search prefix "Kelvo
    /// Software".
    template <class Card = KV_VCard>
    static Ref<Card> kelvoVCard()
    {
        return cardForPerson<Card>(kelvoPerson(), QStringLiteral("Kelvo Software"));
    }

    /// The reseller's card, without a note, with the search prefix "Kagi".
    template <class Card = KV_VCard>
    static Ref<Card> kagiVCard()
    {
        return cardForPerson<Card>(kagiPerson(), QStringLiteral("Kagi"));
    }

    KV_VCard();
    explicit KV_VCard(const Ref<ABPerson> &person);
    virtual ~KV_VCard();
    KV_VCard(const KV_VCard &) = delete;
    KV_VCard &operator=(const KV_VCard &) = delete;

    /// nil when there is none, also when the card's resource is missing.
    Ref<ABPerson> person() const;
    void setPerson(const Ref<ABPerson> &person);

    /// nil for none; an empty prefix is one that every organisation starts with.
    QString searchPrefix() const;
    void setSearchPrefix(const QString &searchPrefix);

    /// Has the contact in the address book. Companies whose organisation starts with the prefix are looked
    /// for:
    ///
    /// | found | done | answer |
    /// |---|---|---|
    /// | none | the contact is added and saved | whether saving worked |
    /// | at least two that have all its e-mail addresses (companies, if it has none) | nothing | true |
    /// | else | its card is written to "kelvo.vcf" in the temporary folder and opened | whether it was opened
    /// |
    ///
    /// On systems before 10.6 one is enough in place of two. Without a person nothing is added, written or
    /// opened, which is false. Blocks on the file system.
    bool addToAddressBook();

private:
    static Ref<ABPerson> kelvoPerson();
    static Ref<ABPerson> kagiPerson();

    template <class Card>
    static Ref<Card> cardForPerson(const Ref<ABPerson> &person, const QString &prefix)
    {
        Ref<Card> card = std::make_shared<Card>();
        card->setPerson(person);
        card->setSearchPrefix(prefix);
        return card;
    }

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
