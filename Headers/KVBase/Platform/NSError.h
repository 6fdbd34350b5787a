#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>

namespace KVBase
{

/// Keys of an error's user information.
inline constexpr QLatin1StringView NSLocalizedDescriptionKey{"NSLocalizedDescription"};
inline constexpr QLatin1StringView NSLocalizedFailureReasonErrorKey{"NSLocalizedFailureReason"};

/// Domain of the foundation's own codes, among them POSIX statuses passed through.
inline constexpr QLatin1StringView NSCocoaErrorDomain{"NSCocoaErrorDomain"};

/// Domain of transport failures: -1000 bad URL, -1001 time-out, -1003 unknown host, -1004 cannot connect,
/// -1005 connection lost, -1007 too many redirects.
inline constexpr QLatin1StringView NSURLErrorDomain{"NSURLErrorDomain"};

/// A domain, a code and user information. An immutable value; a default-constructed error is nil. Safe on any
/// thread.
class KV_EXPORT NSError {
public:
    NSError();
    NSError(const QString &domain, std::int32_t code, const QVariantMap &userInfo);
    NSError(const NSError &other);
    NSError(NSError &&other) noexcept;
    NSError &operator=(const NSError &other);
    NSError &operator=(NSError &&other) noexcept;
    ~NSError();

    bool isNil() const;

    /// nil for a nil error.
    QString domain() const;

    /// 0 for a nil error.
    std::int32_t code() const;
    QVariantMap userInfo() const;

    /// The text under `NSLocalizedDescriptionKey`; without one, a sentence that names the domain and the
    /// code. nil for a nil error.
    QString localizedDescription() const;

    /// The text under `NSLocalizedFailureReasonErrorKey`, else nil.
    QString localizedFailureReason() const;

    /// What `%@` prints: domain, code and text on one line; nil for a nil error.
    QString description() const;

private:
    struct Private;
    QSharedDataPointer<Private> d;
};

} // namespace KVBase

Q_DECLARE_METATYPE(KVBase::NSError)
