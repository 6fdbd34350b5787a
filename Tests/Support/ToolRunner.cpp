#include "Support/ToolRunner.h"

#include "Support/TestPaths.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

namespace KVBase::Tests
{

QString ToolResult::text() const
{
    QString whole = QString::fromUtf8(out);
    if (whole.endsWith(u'\n'))
        whole.chop(1);
    return whole;
}

QStringList ToolResult::lines() const { return out.isEmpty() ? QStringList() : text().split(u'\n'); }

QJsonValue ToolResult::json() const
{
    // A plain value is no document of its own.
    const QJsonDocument document = QJsonDocument::fromJson("[" + out + "]");
    return document.isArray() ? document.array().at(0) : QJsonValue(QJsonValue::Undefined);
}

ToolResult runProgram(const QString &program, const QStringList &arguments, const QByteArray &input,
                      const QProcessEnvironment &environment)
{
    constexpr int kLimit = 120'000;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    ToolResult result;
    if (!process.waitForStarted(kLimit))
        return result;
    process.write(input);
    process.closeWriteChannel();
    const bool ended = process.waitForFinished(kLimit);
    if (ended && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

ToolResult runTool(const QStringList &arguments, const QByteArray &input)
{
    return runProgram(programFolder() + QStringLiteral("/kvbase"), arguments, input);
}

} // namespace KVBase::Tests
