#include "Platform/Services/RelaunchCommand.h"

#include "Platform/ExecutablePath.h"
#include "Platform/FileDescriptor.h"
#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"

#include <QtCore/QFile>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

/// Field 22 of the kernel's line about a process, counted from the state, which follows the name.
constexpr qsizetype kStartTimeAfterState = 19;

QByteArray kernelFile(const char *path)
{
    const FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    QByteArray data;
    char block[4096];
    while (file.isValid()) {
        const auto got = readFully(file.get(), block, sizeof block);
        if (got <= 0)
            break;
        data.append(block, static_cast<qsizetype>(got));
    }
    return data;
}

bool isExecutableFile(const QString &path)
{
    const auto bytes = NSPathUtilities::fileSystemRepresentation(path);
    return bytes && !Service<FileManager>::current()->isFolder(path) &&
           ::access(bytes->constData(), X_OK) == 0;
}

/// An AppImage mounts itself and runs its program from there; the mount goes with the process.
QString imageFile(const QString &executable)
{
    const QString mount = qEnvironmentVariable("APPDIR");
    const QString image = qEnvironmentVariable("APPIMAGE");
    const QString inside = Service<FileManager>::current()->resolve(mount);
    const bool ours = !inside.isEmpty() && executable.startsWith(inside + u'/');
    return ours && image.startsWith(u'/') && isExecutableFile(image) ? image : QString();
}

/// The path under which the process was called, if it still leads to the executable.
QString calledPath(const QString &executable)
{
    const QByteArray called = kernelFile("/proc/self/cmdline");
    FileManager *const files = Service<FileManager>::current();
    const QString name = QString::fromUtf8(called.constData());
    QStringList candidates;
    if (name.startsWith(u'/'))
        candidates.append(name);
    else if (!name.isEmpty() && !name.contains(u'/')) {
        for (const QString &folder : qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts))
            candidates.append(folder + u'/' + name);
    }
    for (const QString &candidate : candidates) {
        if (candidate.startsWith(u'/') && files->resolve(candidate) == executable &&
            isExecutableFile(candidate))
            return candidate;
    }
    return {};
}

} // namespace

QByteArray relaunchCommand()
{
    // Beside the waiting, the block gives up the descriptors that the application left open to its children:
    // a socket held here would stay in use for as long as the new instance runs.
    return "/usr/bin/setsid /bin/bash -c 'alive() { s=$(</proc/${LAUNCH_PROCESS}/stat); set -- ${s##*) };"
           " [[ \"${1:-Z}\" != [ZX] && \"${20}\" == \"${LAUNCH_START}\" ]]; echo $((1 - $?)); };"
           " { for f in /proc/${BASHPID}/fd/*; do (( ${f##*/} < 3 )) || eval \"exec ${f##*/}>&-\"; done;"
           " for (( i = 0; i < 3000 && $(alive); i++ )); do\n"
           "    /bin/sleep .2;\n"
           "  done\n"
           "  if [[ $(alive) -ne 1 ]]; then\n"
           "    LANGUAGE=\"${LAUNCH_LANGUAGE}\" exec \"${LAUNCH_PROGRAM}\"\n"
           "  fi\n"
           "} </dev/null &>/dev/null &'";
}

QString ownProgram()
{
    const QString executable = executablePath();
    const QString image = imageFile(executable);
    if (!image.isEmpty())
        return image;
    const QString called = calledPath(executable);
    return called.isEmpty() ? executable : called;
}

QByteArray startTimeOfProcess(std::int64_t process)
{
    const QByteArray line =
        kernelFile(("/proc/" + QByteArray::number(static_cast<qlonglong>(process)) + "/stat").constData());
    // The name stands in parentheses and may hold some itself.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return fields.size() > kStartTimeAfterState ? fields.at(kStartTimeAfterState) : QByteArray();
}

QByteArray initialEnvironmentValue(const char *name)
{
    const QByteArray prefix = QByteArray(name) + '=';
    for (const QByteArray &entry : kernelFile("/proc/self/environ").split('\0')) {
        if (entry.startsWith(prefix))
            return entry.mid(prefix.size());
    }
    return {};
}

void startAfterExit(const QString &path, const QString &program, std::int64_t process)
{
    qputenv("LAUNCH_PATH", QFile::encodeName(path));
    qputenv("LAUNCH_PROGRAM", QFile::encodeName(program));
    qputenv("LAUNCH_PROCESS", QByteArray::number(static_cast<qlonglong>(process)));
    qputenv("LAUNCH_START", startTimeOfProcess(process));
    qputenv("LAUNCH_LANGUAGE", initialEnvironmentValue("LANGUAGE"));
    // Its answer says nothing: the shell returns as soon as the waiting one runs in the background.
    [[maybe_unused]] const int ignored = std::system(relaunchCommand().constData());
}

} // namespace KVBase
