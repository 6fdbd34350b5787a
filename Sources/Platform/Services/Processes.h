#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace KVBase
{

/// Starts other programs. Needs no application object and no run loop; any thread.
///
/// A command is a program, by path or looked up in PATH, followed by its arguments. Nothing but standard
/// input, output and error reaches a program that is started here.
class KV_EXPORT Processes {
public:
    virtual ~Processes();

    /// Runs `commands` as a pipe, the output of each being the input of the next, and stores in `*data` what
    /// the last one wrote, standard error left alone. Blocks until that output has ended and no longer; the
    /// exit codes do not count. False, with `*data` empty, when `commands` is empty or one of them cannot be
    /// started.
    virtual bool readOutput(const QList<QStringList> &commands, QByteArray *data) = 0;

    /// Starts the program `arguments[0]` in a session of its own, with nothing to read, as nobody's child: it
    /// outlives this process and leaves no zombie. `environment` is added to this process's environment.
    /// False when it cannot be started.
    virtual bool launchDetached(const QStringList &arguments, const QMap<QString, QString> &environment) = 0;

    static Processes *makeDefault();
};

extern template class KV_EXPORT Service<Processes>;

} // namespace KVBase
