#include "kvbase/DigestRun.h"

#include <KVBase/MD5Extensions.h>

#include <QtCore/QFileDevice>

#include <memory>

namespace kvbase
{

namespace
{

QString digestOfDevice(QIODevice &device)
{
    const QByteArray data = device.readAll();
    const auto *file = qobject_cast<QFileDevice *>(&device);
    if (file != nullptr && file->error() != QFileDevice::NoError)
        return {};
    return KVBase::MD5Extensions::stringWithMD5OfData(data);
}

const CommandRegistration
    registration("md5", "Print the MD5 digest of files or texts", [](CLI::App &app, const Context &context) {
        const auto inputs = std::make_shared<DigestInputs>();
        addDigestOptions(app, *inputs);
        app.footer("Example:\n  kvbase md5 --text abc");
        return [inputs, &context] {
            return runDigests(*inputs, {KVBase::MD5Extensions::md5, digestOfDevice}, context);
        };
    });

} // namespace

} // namespace kvbase
