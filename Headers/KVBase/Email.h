#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSError.h>

#include <QtCore/QString>

namespace KVBase
{

/// Domain of the reasons why an address is none. 10xx concern the address as a whole, 11xx the mailbox name,
/// 12xx the domain, 13xx the top-level domain: 1000 unknown, 1001 no "@", 1002 no dot, 1003 no dot behind the
/// "@", 1101 no mailbox name, 1110 blank in the mailbox name, 1111 and 1112 unallowed character in it, 1201
/// no domain, 1210 blank in the domain, 1211 and 1212 unallowed character in it, 1301 nothing behind the last
/// dot, 1302 digit in the top-level domain, 1305 too short, 1306 too long, 1310 blank in it, 1311 and 1312
/// unallowed character in it. Where there are two, the first names the character.
inline constexpr QLatin1StringView KVEmailValidationErrorDomain{"KVEmailValidationErrorDomain"};

namespace Email
{

/// Whether `text`, blanks and line breaks at both ends aside, is a plausible address: one "@" behind a
/// mailbox name, a domain, a dot and a top-level domain of two to six ASCII letters. Nothing is logged. Any
/// thread.
KV_EXPORT bool isValidEmailAddress(const QString &text);

/// The same answer, and for a text that is none the reason in `*error`, unless `error` is null: an error of
/// `KVEmailValidationErrorDomain` with a title (`NSLocalizedDescriptionKey`) and an explanation
/// (`NSLocalizedFailureReasonErrorKey`) for the user, in his language. A valid address leaves `*error` as it
/// is.
///
/// The reason is looked for in the text as given, blanks at its ends included, the mailbox name first. The
/// parts that are looked at are logged. Any thread.
KV_EXPORT bool isValidEmailAddressWithError(const QString &text, NSError *error);

inline bool isValidEmailAddress(const QString &text, NSError *error)
{
    return isValidEmailAddressWithError(text, error);
}

} // namespace Email
} // namespace KVBase
