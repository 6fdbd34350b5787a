#include "report/StepProcess.h"

#include "HangingTool.h"
#include "Support/LoopDriver.h"

#include <QtCore/QEventLoop>

namespace report
{
namespace
{

using namespace std::chrono_literals;
using KVBase::Tests::HangingTool;

class StepProcessTest : public testing::Test {
protected:
    StepResult run(const QStringList &command, std::chrono::milliseconds limit = 60s)
    {
        StepProcess step;
        StepResult found;
        QEventLoop loop;
        endings = 0;
        QObject::connect(&step, &StepProcess::ended, &loop, [&](const StepResult &result) {
            found = result;
            ++endings;
            loop.quit();
        });
        step.start(command, limit);
        if (endings == 0)
            loop.exec();
        return found;
    }

    StepResult runScript(const char *script)
    {
        return run({QStringLiteral("/bin/sh"), QStringLiteral("-c"), QString::fromUtf8(script)});
    }

    KVBase::Tests::LoopDriver<> driver{KVBase::Tests::LoopKind::GLib};
    int endings = 0;
};

TEST_F(StepProcessTest, HandsOnWhatTheProgramWrites)
{
    const StepResult result = runScript("printf 'gr\\303\\274n\\n'; echo noise >&2");
    EXPECT_EQ(result.end, StepEnd::Done);
    EXPECT_EQ(result.values.value(QStringLiteral("text")).toString(), QStringLiteral("grün\n"));
}

TEST_F(StepProcessTest, HandsMuchOn)
{
    const StepResult result = runScript("head -c 20000000 /dev/zero | tr '\\0' x");
    EXPECT_EQ(result.values.value(QStringLiteral("text")).toString().size(), 20'000'000);
}

TEST_F(StepProcessTest, GivesTheProgramNothingToRead)
{
    EXPECT_EQ(runScript("cat; echo end").values.value(QStringLiteral("text")).toString(),
              QStringLiteral("end\n"));
}

TEST_F(StepProcessTest, SaysWhyAProgramFailed)
{
    StepResult result = runScript("echo half; echo ' it broke ' >&2; exit 3");
    EXPECT_EQ(result.end, StepEnd::Failed);
    EXPECT_EQ(result.reason, QStringLiteral("it broke"));
    EXPECT_TRUE(result.values.isEmpty());
    result = runScript("exit 1");
    EXPECT_EQ(result.reason, QStringLiteral("The step ended without a result."));
    result = runScript("kill -SEGV $$");
    EXPECT_EQ(result.end, StepEnd::Failed);
    result = run({QStringLiteral("/no/such/program")});
    EXPECT_EQ(result.end, StepEnd::Failed);
    EXPECT_EQ(result.reason, QStringLiteral("No process could be started."));
}

TEST_F(StepProcessTest, CutsAProgramThatHangsWithItsTools)
{
    const HangingTool tool;
    const StepResult result = run({tool.program()}, 3s);
    EXPECT_EQ(result.end, StepEnd::Cut);
    EXPECT_EQ(result.reason, QStringLiteral("It was cut after 3 seconds."));
    EXPECT_TRUE(result.values.isEmpty());
    EXPECT_TRUE(tool.hasBegun());
    EXPECT_TRUE(tool.hasEnded());
    EXPECT_EQ(endings, 1);
}

TEST_F(StepProcessTest, EndsAProgramThatHangsWhenItGoes)
{
    const HangingTool tool;
    {
        StepProcess step;
        QObject::connect(&step, &StepProcess::ended, &step, [this] { ++endings; });
        step.start({tool.program()}, 1h);
        ASSERT_TRUE(KVBase::Tests::spinUntil([&tool] { return tool.hasBegun(); }));
        EXPECT_TRUE(tool.isRunning());
    }
    EXPECT_TRUE(tool.hasEnded());
    EXPECT_EQ(endings, 0);
}

} // namespace
} // namespace report
