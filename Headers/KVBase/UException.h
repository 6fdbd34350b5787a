#pragma once

#include <KVBase/KVErrException.h>
#include <KVBase/KVException.h>
#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// Logs a failure, shows it in an alert when asked to, and throws it. The section name says which phase of
/// the application is running; it and the alert flag are shared by the whole process. Meant to be set on the
/// application's thread, safe on any.
///
/// With the alert flag set `Throw` and `ThrowErr` block on a panel on the application's thread. From another
/// thread the panel is queued there and the throw goes on; without a `QApplication` there is no panel. Where
/// the log is off, the exception is the only trace.
class KV_EXPORT UException {
public:
    UException() = delete;

    /// nil, or a null pointer, leaves no section name. C strings are UTF-8.
    static void SetSectionName(const QString &name);
    static void SetSectionName(const char *name);
    static void SetSectionName(std::nullptr_t);

    /// nil when there is none, as at the start.
    static QString GetSectionName();

    /// Every value but 0 asks for alerts; 0 at the start. The value is handed out as it was given.
    static void SetDisplaysAlert(signed char flag);
    static signed char GetDisplaysAlert();

    /// Always throws a `KVException`. Texts are UTF-8 and may be null.
    [[noreturn]] static void Throw(const char *name, const char *message, const char *file,
                                   std::int32_t line);

    /// Throws a `KVErrException` unless `err` is 0, which does nothing at all.
    static void ThrowErr(std::int32_t err, const char *message, const char *file, std::int32_t line);
};

} // namespace KVBase
