#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <exception>
#include <memory>

namespace KVBase
{

inline constexpr QLatin1StringView NSRangeException{"NSRangeException"};
inline constexpr QLatin1StringView NSInvalidArgumentException{"NSInvalidArgumentException"};
inline constexpr QLatin1StringView NSGenericException{"NSGenericException"};
inline constexpr QLatin1StringView NSInternalInconsistencyException{"NSInternalInconsistencyException"};

/// The platform's exception: a name and a reason. Thrown by value and caught by reference; copying never
/// throws. `KVException` is not one of them.
class KV_EXPORT NSException : public std::exception {
public:
    NSException(const QString &name, const QString &reason);
    NSException(const NSException &) noexcept;
    NSException &operator=(const NSException &) noexcept;
    ~NSException() override;

    QString name() const;

    /// nil when none was given.
    QString reason() const;

    /// What `%@` prints: the reason, else the name.
    QString description() const;

    /// The description as UTF-8.
    const char *what() const noexcept override;

private:
    struct Private;
    std::shared_ptr<const Private> d;
};

} // namespace KVBase
