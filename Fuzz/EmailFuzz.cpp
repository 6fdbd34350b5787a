#include <KVBase/Email.h>

#include <cstdlib>

using namespace KVBase;

/// Every text is valid or has a reason with both of its texts.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    NSError error;
    const bool isValid = Email::isValidEmailAddressWithError(text, &error);
    if (isValid != Email::isValidEmailAddress(text) || isValid != error.isNil())
        std::abort();
    if (!isValid && (error.code() < 1001 || error.code() > 1312 || error.localizedDescription().isEmpty() ||
                     error.localizedFailureReason().isEmpty()))
        std::abort();
    return 0;
}
