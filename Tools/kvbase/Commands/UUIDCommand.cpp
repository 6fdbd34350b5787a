#include "kvbase/Command.h"

#include <KVBase/UUID.h>

#include <QtCore/QJsonArray>

#include <cstdint>
#include <memory>

namespace kvbase
{

namespace
{

int run(std::uint32_t count, const Context &context)
{
    QJsonArray uuids;
    for (std::uint32_t i = 0; i < count; ++i) {
        const QString uuid = KVBase::UUID::UUIDString();
        if (context.json)
            uuids.append(uuid);
        else
            printLine(uuid);
    }
    if (context.json)
        printJson(uuids);
    return kSuccess;
}

const CommandRegistration
    registration("uuid", "Print fresh UUIDs", [](CLI::App &app, const Context &context) {
        const auto count = std::make_shared<std::uint32_t>(1);
        app.add_option("--count", *count, "How many")->capture_default_str()->check(CLI::Range(1u, 1000000u));
        app.footer("Example:\n  kvbase uuid --count 3");
        return [count, &context] { return run(*count, context); };
    });

} // namespace

} // namespace kvbase
