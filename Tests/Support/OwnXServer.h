#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QProcess>

namespace KVBase::Tests
{

/// An X server of the test's own, on a screen in memory.
class OwnXServer {
public:
    OwnXServer()
    {
        server.start(QStringLiteral("Xvfb"),
                     {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                      QStringLiteral("0"), QStringLiteral("640x480x24"), QStringLiteral("-nolisten"),
                      QStringLiteral("tcp")});
        if (server.waitForStarted() && server.waitForReadyRead(30000))
            number = server.readLine().trimmed();
    }
    ~OwnXServer()
    {
        server.terminate();
        server.waitForFinished();
    }
    OwnXServer(const OwnXServer &) = delete;
    OwnXServer &operator=(const OwnXServer &) = delete;

    /// ":99", or empty when none could be started.
    QByteArray display() const { return number.isEmpty() ? QByteArray() : ":" + number; }

private:
    QProcess server;
    QByteArray number;
};

} // namespace KVBase::Tests
