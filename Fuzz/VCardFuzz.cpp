#include <KVBase/Platform/AddressBook.h>

#include <cstdlib>

using namespace KVBase;

/// What is written of a card that was read reads as the same card.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const Ref<ABPerson> person =
        ABPerson::create(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    if (person == nullptr)
        return 0;
    const Ref<ABPerson> again = ABPerson::create(person->vCardRepresentation());
    if (again == nullptr)
        std::abort();
    for (const QLatin1StringView property :
         {kABPersonFlags, kABOrganizationProperty, kABEmailProperty, kABNoteProperty, kABUIDProperty}) {
        if (person->valueForProperty(QString(property)) != again->valueForProperty(QString(property)))
            std::abort();
    }
    if (again->vCardRepresentation() != ABPerson::create(again->vCardRepresentation())->vCardRepresentation())
        std::abort();
    return 0;
}
