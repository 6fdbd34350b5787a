#include "Platform/Profile/DeviceNames.h"

#include <cstdint>

/// A list of device names of any content; the first four bytes choose the numbers to look up.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 4)
        return 0;
    const int vendor = data[0] << 8 | data[1];
    const int product = data[2] << 8 | data[3];
    // On the heap and exactly as long as it is, so that a step past its end shows.
    const QByteArray list(reinterpret_cast<const char *>(data) + 4, static_cast<qsizetype>(size - 4));
    KVBase::Profile::nameInDeviceList(list, vendor, -1);
    KVBase::Profile::nameInDeviceList(list, vendor, product);
    return 0;
}
