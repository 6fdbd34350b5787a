#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QStringList>

namespace KVBase::Tests
{

/// What a run of a program left behind.
struct ToolResult {
    /// -1 when the program did not start, did not end within two minutes, or crashed.
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    /// Standard output as text without its last line feed.
    QString text() const;

    /// Standard output split into lines.
    QStringList lines() const;

    /// Standard output as a JSON document; undefined when it is none.
    QJsonValue json() const;
};

/// Runs `program` to its end with `input` on its standard input.
ToolResult runProgram(const QString &program, const QStringList &arguments, const QByteArray &input = {},
                      const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment());

/// Runs `kvbase`.
ToolResult runTool(const QStringList &arguments, const QByteArray &input = {});

} // namespace KVBase::Tests
