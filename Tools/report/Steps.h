#pragma once

#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariantMap>

#include <cstdint>

/// What a support report is made of: each function asks one service of the library and may block on it. The
/// values are plain, so that they can be handed from a child process or a worker thread.
namespace report
{

/// "application", "identifier", "version"; "firstStart" with the sentences that say what changed since the
/// last start.
QVariantMap describeApplication();

/// "isNew"; with a new report, or with any when `seenToo`: "path", "text" (missing when it cannot be read)
/// and "date", to be handed to `markCrashAsSeen` once the report has been sent. Until then it stays new.
QVariantMap findCrash(bool seenToo);

/// Stores that everything up to `date` has been dealt with.
void markCrashAsSeen(const QVariant &date);

/// "text".
QVariantMap readConsole(std::int32_t lines);

/// "text".
QVariantMap describeMachine();

/// "isValid"; when it is not: "code", "title" and "reason".
QVariantMap checkAddress(const QString &address);

/// "isReachable".
QVariantMap testReachability(const QUrl &url);

/// "answer" as text, missing when there is none; "error" when the transport failed.
QVariantMap postForm(const QVariantMap &fields, const QUrl &url);

} // namespace report
