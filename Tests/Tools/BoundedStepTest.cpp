#include "report/BoundedStep.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <unistd.h>

namespace report
{
namespace
{

using namespace std::chrono_literals;

TEST(BoundedStepTest, HandsTheValuesOn)
{
    const StepResult result = runBounded(60s, [] {
        return QVariantMap{{QStringLiteral("text"), QStringLiteral("ü")}, {QStringLiteral("number"), 7}};
    });
    EXPECT_EQ(result.end, StepEnd::Done);
    EXPECT_EQ(result.values.value(QStringLiteral("text")).toString(), QStringLiteral("ü"));
    EXPECT_EQ(result.values.value(QStringLiteral("number")).toInt(), 7);
}

TEST(BoundedStepTest, HandsMuchOn)
{
    const StepResult result = runBounded(60s, [] {
        return QVariantMap{{QStringLiteral("data"), QByteArray(20'000'000, 'x')}};
    });
    EXPECT_EQ(result.values.value(QStringLiteral("data")).toByteArray().size(), 20'000'000);
}

TEST(BoundedStepTest, CutsAStepThatHangsWithItsTools)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("pid"));
    const StepResult result = runBounded(2s, [&path]() -> QVariantMap {
        const QByteArray command = "sleep 600 & echo $! > '" + path.toUtf8() + "'; wait";
        while (std::system(command.constData()) != 12345) {
        }
        return {};
    });
    EXPECT_EQ(result.end, StepEnd::Cut);
    EXPECT_EQ(result.reason, QStringLiteral("It was cut after 2 seconds."));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const pid_t tool = file.readAll().trimmed().toInt();
    ASSERT_GT(tool, 0);
    const QDeadlineTimer deadline(20000);
    const auto isRunning = [tool] {
        QFile state(QStringLiteral("/proc/%1/stat").arg(tool));
        return state.open(QIODevice::ReadOnly) && !state.readAll().contains(") Z ");
    };
    while (isRunning() && !deadline.hasExpired())
        QThread::msleep(10);
    EXPECT_FALSE(isRunning());
}

TEST(BoundedStepTest, HandsTheReasonOfAnExceptionOn)
{
    const StepResult result = runBounded(60s, []() -> QVariantMap { throw std::runtime_error("it broke"); });
    EXPECT_EQ(result.end, StepEnd::Failed);
    EXPECT_EQ(result.reason, QStringLiteral("it broke"));
}

TEST(BoundedStepTest, SurvivesAStepThatCrashes)
{
    const StepResult result = runBounded(60s, []() -> QVariantMap { _exit(3); });
    EXPECT_EQ(result.end, StepEnd::Failed);
    EXPECT_EQ(result.reason, QStringLiteral("The step ended without a result."));
}

} // namespace
} // namespace report
