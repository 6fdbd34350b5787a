#pragma once

#include "Platform/Services/ConsoleSink.h"

#include <KVBase/Platform/NSException.h>

#include <QtCore/QObject>

#include <atomic>

namespace KVBase::Tests
{

/// A console that nobody reads.
struct SilentConsole final : ConsoleSink {
    void write(const QString &) override {}
};

/// Adds up what a worker hands it.
class AddingTarget : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void add(int value) { sum += value; }
    Q_INVOKABLE void raise() { throw NSException(QStringLiteral("N"), QStringLiteral("R")); }
    std::atomic<int> sum{0};
};

/// Counts the exceptions that a worker tells of.
class CountingDelegate : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE void handleBackgroundThreadException(const KVBase::NSException &) { ++calls; }
    std::atomic<int> calls{0};
};

} // namespace KVBase::Tests
