#include <KVBase/KVErrException.h>

#include <KVBase/KVLog.h>

namespace KVBase
{

KVErrException::KVErrException(std::int32_t err, const char *message)
    : KVException("KVErrException", message), code(err)
{}

KVErrException::KVErrException(const KVErrException &) noexcept = default;
KVErrException &KVErrException::operator=(const KVErrException &) noexcept = default;
KVErrException::~KVErrException() = default;

void KVErrException::throwErr(std::int32_t err, const char *message)
{
    if (err != 0)
        throw KVErrException(err, message);
}

void KVErrException::log() const { KVLog("KVErrException:  err=%d  message='%@'", code, message()); }

std::int32_t KVErrException::err() const noexcept { return code; }

} // namespace KVBase
