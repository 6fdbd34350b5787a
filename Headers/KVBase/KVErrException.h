#pragma once

#include <KVBase/KVException.h>

#include <cstdint>

namespace KVBase
{

/// A `KVException` of the name "KVErrException" that carries an error code of the platform.
class KV_EXPORT KVErrException : public KVException {
public:
    /// `message` is UTF-8; a null one leaves the message nil.
    KVErrException(std::int32_t err, const char *message);
    KVErrException(const KVErrException &) noexcept;
    KVErrException &operator=(const KVErrException &) noexcept;
    ~KVErrException() override;

    /// Throws a `KVErrException` unless `err` is 0, so that any status may be passed through.
    static void throwErr(std::int32_t err, const char *message);

    void log() const override;

    std::int32_t err() const noexcept;

private:
    std::int32_t code;
};

} // namespace KVBase
