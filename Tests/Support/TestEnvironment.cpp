#include "Support/TestEnvironment.h"

#include "Support/TestPaths.h"

#include <QtCore/QDir>

#include <cstdlib>
#include <ctime>

namespace KVBase::Tests
{

namespace
{

QString scratch;

void setFolder(const char *variable, const QString &path)
{
    QDir().mkpath(path);
    qputenv(variable, QFile::encodeName(path));
}

} // namespace

PrivateEnvironment::PrivateEnvironment()
{
    scratch = folder.path();
    setFolder("HOME", scratch + QStringLiteral("/home"));
    setFolder("XDG_CONFIG_HOME", scratch + QStringLiteral("/home/.config"));
    setFolder("XDG_DATA_HOME", scratch + QStringLiteral("/home/.local/share"));
    setFolder("XDG_CACHE_HOME", scratch + QStringLiteral("/home/.cache"));
    setFolder("XDG_STATE_HOME", scratch + QStringLiteral("/home/.local/state"));
    setFolder("XDG_RUNTIME_DIR", scratch + QStringLiteral("/run"));
    QFile::setPermissions(scratch + QStringLiteral("/run"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    setFolder("TMPDIR", scratch + QStringLiteral("/tmp"));
    qputenv("TZ", "Asia/Kolkata");
    qputenv("LANG", "C.UTF-8");
    qunsetenv("LC_ALL");
    qunsetenv("LANGUAGE");
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    tzset();
}

QString scratchFolder() { return scratch; }

} // namespace KVBase::Tests
