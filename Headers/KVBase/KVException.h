#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <exception>
#include <memory>

namespace KVBase
{

/// What the library and its clients throw when a step cannot go on: a name and a message. It is no
/// `NSException`. An immutable value, thrown by value and caught by `const &`; copying never throws. Safe on
/// any thread.
class KV_EXPORT KVException : public std::exception {
public:
    /// Both texts are UTF-8; a null one leaves its field nil.
    KVException(const char *name, const char *message);
    KVException(const KVException &) noexcept;
    KVException &operator=(const KVException &) noexcept;
    ~KVException() override;

    /// Always throws a `KVException`.
    [[noreturn]] static void throwException(const char *name, const char *message);

    /// Writes the exception to the log on one line.
    virtual void log() const;

    /// nil when none was given.
    QString name() const;

    /// nil when none was given.
    QString message() const;

    /// The message as UTF-8, else the name, else an empty text.
    const char *what() const noexcept override;

private:
    struct Private;
    std::shared_ptr<const Private> d;
};

} // namespace KVBase
