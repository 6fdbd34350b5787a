#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>

namespace KVBase::PropertyLists
{

/// Seconds from 1970 to the moment that property lists count from, the start of 2001 in UTC.
inline constexpr qint64 kReferenceSeconds = 978307200;

/// A date in the form "2026-11-22T00:26:22Z", any year but 0; an invalid one for any other text.
QDateTime dateFromText(const QString &text);

/// `date` in that form; fractions of a second are lost.
QString textFromDate(const QDateTime &date);

} // namespace KVBase::PropertyLists
