#include "Text/EmailReasons.h"

#include <KVBase/Email.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/NSBundle.h>

#include <algorithm>
#include <iterator>

namespace KVBase
{

namespace
{

/// A text of the string table "KVBase": its key, and the English text for a table that lacks it.
struct Text {
    QLatin1StringView key;
    QLatin1StringView english;
};

struct Reason {
    std::int32_t code;
    Text title;
    Text message;
};

constexpr Text kNoTopLevelTitle{QLatin1StringView("NO_TOP_LEVEL_DOMAIN_TITLE"),
                                QLatin1StringView("No top level domain given.")};
constexpr Text kNoTopLevelMessage{
    QLatin1StringView("NO_TOP_LEVEL_DOMAIN_MESSAGE"),
    QLatin1StringView(
        "The e-mail address you provided doesn't contain a top level domain like .com or .de.\n\n"
        "Please enter the top level domain of the e-mail address.")};
constexpr Text kWhitespaceMessage{
    QLatin1StringView("MAIL_ADDRESS_WITH_WHITESPACE_MESSAGE"),
    QLatin1StringView("The e-mail address you provided contains unallowed characters like \"space\".\n\n"
                      "Please enter a valid e-mail address.")};
constexpr Text kCharacterMessage{
    QLatin1StringView("MAIL_ADDRESS_UNALLOWED_CHARACTER_MESSAGE"),
    QLatin1StringView("The e-mail address you provided contains the unallowed character \"%C\".\n\n"
                      "Please enter a valid e-mail address.")};
// The same key with another text: the shipped English table leaves the key out, so that each default shows.
constexpr Text kDomainCharacterMessage{
    kCharacterMessage.key,
    QLatin1StringView("The e-mail addressy you provided contains the unallowed character \"%C\".\n\n"
                      "Please enter a valid e-mail address.")};
constexpr Text kUndefinedMessage{
    QLatin1StringView("MAIL_ADDRESS_UNALLOWED_CHARACTER_UNDEFINED_MESSAGE"),
    QLatin1StringView("The e-mail address you provided contains an unallowed character.\n\n"
                      "Please enter a valid e-mail address.")};
constexpr Text kMailboxCharacterTitle{QLatin1StringView("MAILBOX_NAME_UNALLOWED_CHARACTER_TITLE"),
                                      QLatin1StringView("Mailbox name contains unallowed character.")};
constexpr Text kDomainCharacterTitle{QLatin1StringView("DOMAIN_NAME_UNALLOWED_CHARACTER_TITLE"),
                                     QLatin1StringView("Domain name contains unallowed character.")};
constexpr Text kTopLevelCharacterTitle{
    QLatin1StringView("TOP_LEVEL_DOMAIN_UNALLOWED_CHARACTER_TITLE"),
    QLatin1StringView("Top level domain name contains unallowed character.")};

constexpr Reason kReasons[] = {
    {1000,
     {QLatin1StringView("UNKONWN_ERROR_TITLE"), QLatin1StringView("An unknown error occured.")},
     {QLatin1StringView("UNKONWN_ERROR_MESSAGE"),
      QLatin1StringView(
          "The e-mail address you provided could not be validated because of an unknown error.\n\n"
          "Please retype the e-mail address completly and try again.")}},
    {1001,
     {QLatin1StringView("NO_AT_FOUND_TITLE"), QLatin1StringView("No \"@\" character found.")},
     {QLatin1StringView("NO_AT_FOUND_MESSAGE"),
      QLatin1StringView("There is no @ character in the e-mail address you provided.\n\n"
                        "Please enter the e-mail address with an @ dividing mailbox name from domain.")}},
    {1002, kNoTopLevelTitle, kNoTopLevelMessage},
    {1003, kNoTopLevelTitle, kNoTopLevelMessage},
    {1101,
     {QLatin1StringView("NO_MAILBOX_NAME_TITLE"), QLatin1StringView("No mailbox name given.")},
     {QLatin1StringView("NO_MAILBOX_NAME_MESSAGE"),
      QLatin1StringView("You did not enter a mailbox name.\n\n"
                        "Please enter a mailbox name (name before @ sign) to the e-mail address.")}},
    {1110,
     {QLatin1StringView("MAILBOX_NAME_WITH_WHITESPACE_TITLE"),
      QLatin1StringView("Mailbox name contains whitespace.")},
     kWhitespaceMessage},
    {1111, kMailboxCharacterTitle, kCharacterMessage},
    {1112, kMailboxCharacterTitle, kUndefinedMessage},
    {1201,
     {QLatin1StringView("NO_DOMAIN_TITLE"), QLatin1StringView("No domain name given.")},
     {QLatin1StringView("NO_DOMAIN_MESSAGE"),
      QLatin1StringView("The e-mail address you provided doesn't contain a domain name.\n\n"
                        "Please enter the domain name of the mail provider.")}},
    {1210,
     {QLatin1StringView("DOMAIN_NAME_WITH_WHITESPACE_TITLE"),
      QLatin1StringView("Domain name contains whitespace.")},
     kWhitespaceMessage},
    {1211, kDomainCharacterTitle, kDomainCharacterMessage},
    {1212, kDomainCharacterTitle, kUndefinedMessage},
    {1301, kNoTopLevelTitle, kNoTopLevelMessage},
    {1302,
     {QLatin1StringView("TOP_LEVEL_DOMAIN_WITH_NUMBER_TITLE"),
      QLatin1StringView("Top level domain contains numbers.")},
     {QLatin1StringView("TOP_LEVEL_DOMAIN_WITH_NUMBER_MESSAGE"),
      QLatin1StringView(
          "You've entered a number after the last dot. Top level domain never contain numbers.\n\n"
          "Please enter the top level domain of the e-mail address correctly.")}},
    {1305,
     {QLatin1StringView("TOP_LEVEL_DOMAIN_TO_SHORT_TITLE"),
      QLatin1StringView("Top level domain name is only one character long.")},
     {QLatin1StringView("TOP_LEVEL_DOMAIN_TO_SHORT_MESSAGE"),
      QLatin1StringView(
          "The top level domain name in the e-mail address you provided is only one character long. Top "
          "level domain names has to be two characters long at least.\n\n"
          "Please enter a valid e-mail address.")}},
    {1306,
     {QLatin1StringView("TOP_LEVEL_DOMAIN_TO_LONG_TITLE"),
      QLatin1StringView("Top level domain name is more than six characters long.")},
     {QLatin1StringView("TOP_LEVEL_DOMAIN_TO_LONG_MESSAGE"),
      QLatin1StringView(
          "The top level domain name in the e-mail address you provided is at least seven characters "
          "long. Top level domain names can not be longer than six characters.\n\n"
          "Please enter a valid e-mail address.")}},
    {1310,
     {QLatin1StringView("TOP_LEVEL_DOMAIN_WITH_WHITESPACE_TITLE"),
      QLatin1StringView("Top level domain name contains whitespace.")},
     kWhitespaceMessage},
    {1311, kTopLevelCharacterTitle, kCharacterMessage},
    {1312, kTopLevelCharacterTitle, kUndefinedMessage},
};

QString localized(const Text &text)
{
    const QString english(text.english);
    const Ref<NSBundle> bundle = NSBundle::bundleWithIdentifier(QString(kKVBaseBundleIdentifier));
    return bundle == nullptr
               ? english
               : bundle->localizedStringForKey(QString(text.key), english, QStringLiteral("KVBase"));
}

const Reason &reasonFor(std::int32_t code)
{
    const auto *found = std::find_if(std::begin(kReasons), std::end(kReasons),
                                     [code](const Reason &reason) { return reason.code == code; });
    return found == std::end(kReasons) ? kReasons[0] : *found;
}

QString messageOf(const Reason &reason, QChar character)
{
    const QString message = localized(reason.message);
    if (reason.message.key != kCharacterMessage.key)
        return message;
    return stringWithFormat(KVFormatString<>{message}, character);
}

} // namespace

NSError emailValidationError(std::int32_t code, QChar character)
{
    const Reason &reason = reasonFor(code);
    return {QString(KVEmailValidationErrorDomain),
            reason.code,
            {{QString(NSLocalizedDescriptionKey), localized(reason.title)},
             {QString(NSLocalizedFailureReasonErrorKey), messageOf(reason, character)}}};
}

} // namespace KVBase
