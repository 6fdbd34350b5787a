#include "Platform/Services/ThreadCapabilities.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>

namespace KVBase
{

namespace
{

/// The application object knows its thread; without one nobody does.
struct ApplicationThread final : ThreadCapabilities {
    bool respondsToMainThread() override { return QCoreApplication::instance() != nullptr; }
    bool respondsToIsMainThread() override { return QCoreApplication::instance() != nullptr; }

    QThread *mainThread() override
    {
        const QCoreApplication *application = QCoreApplication::instance();
        return application != nullptr ? application->thread() : nullptr;
    }

    bool isMainThread() override { return mainThread() == QThread::currentThread(); }
};

} // namespace

template class Service<ThreadCapabilities>;

ThreadCapabilities::~ThreadCapabilities() = default;

ThreadCapabilities *ThreadCapabilities::makeDefault() { return new ApplicationThread; }

} // namespace KVBase
