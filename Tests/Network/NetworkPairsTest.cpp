#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"
#include "Support/Together.h"

#include <KVBase/KVHTTPPost.h>
#include <KVBase/MacAddress.h>
#include <KVBase/Reachability.h>

#include <gtest/gtest.h>

#include <atomic>

namespace KVBase::Tests
{
namespace
{

TEST(KVHTTPPostThreads, TheFirstPostsMayComeTogether)
{
    LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.body = "got " + request.body;
        return reply;
    });
    std::atomic<int> answered{0};
    const auto post = [&](int round) {
        const QByteArray form = "n=" + QByteArray::number(round);
        NSError error;
        const auto body = KVHTTPPost::postFormData(form, server.url(QStringLiteral("/form")), &error);
        answered += body == "got " + form && error.isNil() ? 1 : 0;
    };
    together({post, post, post, post}, 5);
    EXPECT_EQ(answered, 20);
    EXPECT_EQ(server.requests().size(), 20);
}

TEST(KVHTTPPostThreads, RefusedPostsMayMeetOthers)
{
    LoopbackServer server([](const LoopbackRequest &) { return LoopbackReply(); });
    const QUrl nobody(QStringLiteral("http://127.0.0.1:%1/").arg(closedLoopbackPort()));
    std::atomic<int> refused{0};
    std::atomic<int> served{0};
    together({[&](int) {
                  NSError error;
                  refused += !KVHTTPPost::postFormData(QByteArray("a=b"), nobody, &error) ? 1 : 0;
                  EXPECT_EQ(error.code(), -1004);
              },
              [&](int) {
                  const QUrl form = server.url(QStringLiteral("/"));
                  served += KVHTTPPost::postFormData(QByteArray("a=b"), form).has_value() ? 1 : 0;
              }},
             8);
    EXPECT_EQ(refused, 8);
    EXPECT_EQ(served, 8);
}

TEST(ReachabilityThreads, QuestionsAboutHostsAndTheHardwareMayMeet)
{
    CapturedLog log;
    std::atomic<int> wrong{0};
    const auto ask = [&](int) {
        wrong += Reachability::isHostReachable(QUrl(QStringLiteral("http://127.0.0.1/"))) ? 0 : 1;
    };
    const auto address = [&](int) {
        wrong += MacAddress::primaryMacAddress() == MacAddress::primaryMacAddress() ? 0 : 1;
    };
    together({ask, ask, address, address}, 10);
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace KVBase::Tests
