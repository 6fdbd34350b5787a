#include "Support/LoopDriver.h"
#include "Support/Together.h"
#include "Threads/WorkerSupport.h"

#include <KVBase/KVBackgroundThread.h>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

/// A running worker with its target and two delegates.
struct Subject {
    Ref<KVBackgroundThread> worker = KVBackgroundThread::backgroundThreadWithName(QStringLiteral("Pairs"));
    AddingTarget target;
    CountingDelegate delegates[2];
};

const SharedOperation<Subject> kOperations[] = {
    {"PerformQueued",
     [](Subject &subject, int) {
         subject.worker->perform([&subject] { subject.target.add(1); }, KVFlushMode::Queue);
     }},
    {"PerformFlushed",
     [](Subject &subject, int) { subject.worker->perform([&subject] { subject.target.add(1); }); }},
    {"PerformCoalesced",
     [](Subject &subject, int round) {
         subject.worker->perform([&subject] { subject.target.add(1); }, KVFlushMode::Coalesced);
         if (round % 20 == 19)
             spin(std::chrono::milliseconds(0));
     }},
    {"PerformSelector",
     [](Subject &subject, int) { subject.worker->performSelector("add:", &subject.target, 1); }},
    {"Raise", [](Subject &subject, int) { subject.worker->performSelector("raise", &subject.target); }},
    {"Flush", [](Subject &subject, int) { subject.worker->flush(); }},
    {"Cancel", [](Subject &subject, int) { subject.worker->cancel(); }},
    {"Start", [](Subject &subject, int) { subject.worker->start(true); }},
    {"SetDelegate",
     [](Subject &subject, int round) {
         subject.worker->setDelegate(round % 3 == 2 ? nullptr : &subject.delegates[round % 3]);
     }},
    {"Delegate",
     [](Subject &subject, int) {
         const QObject *const delegate = subject.worker->delegate();
         EXPECT_TRUE(delegate == nullptr || delegate == &subject.delegates[0] ||
                     delegate == &subject.delegates[1]);
     }},
    {"SetName", [](Subject &subject, int round) { subject.worker->setName(QString(round % 7 + 1, u'n')); }},
    {"Name",
     [](Subject &subject, int) {
         const QString name = subject.worker->name();
         EXPECT_FALSE(name.isEmpty());
     }},
};

class KVBackgroundThreadPairsThreads
    : public testing::TestWithParam<std::tuple<LoopKind, SharedOperation<Subject>>> {};

TEST_P(KVBackgroundThreadPairsThreads, MayMeetEachOther)
{
    const LoopDriver<> driver(std::get<0>(GetParam()));
    SilentConsole console;
    const ScopedService<ConsoleSink> guard(&console);
    runAgainstEach(
        std::get<1>(GetParam()), kOperations, 40, [] { return std::make_unique<Subject>(); },
        [](Subject &subject) {
            const int before = subject.target.sum;
            subject.worker->perform([&] { subject.target.add(1000); });
            subject.worker->stop(true);
            EXPECT_GE(subject.target.sum, before + 1000);
            EXPECT_THROW(subject.worker->flush(), NSException);
        });
}

std::string nameOfPair(const testing::TestParamInfo<std::tuple<LoopKind, SharedOperation<Subject>>> &pair)
{
    return nameOfLoop({std::get<0>(pair.param), 0}) + std::get<1>(pair.param).name;
}

INSTANTIATE_TEST_SUITE_P(Loops, KVBackgroundThreadPairsThreads,
                         testing::Combine(testing::Values(LoopKind::NoApplication, LoopKind::Plain),
                                          testing::ValuesIn(kOperations)),
                         nameOfPair);

} // namespace
} // namespace KVBase::Tests
