#include "Platform/Services/NetworkState.h"
#include "Platform/Services/Processes.h"
#include "Support/TestPaths.h"

#include <KVBase/Reachability.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStringList>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

class StubNetwork : public NetworkState {
public:
    bool flags(const QString &host, std::uint32_t *flags) override
    {
        hosts.append(host);
        if (knowsFlags)
            *flags = flagsOfHost;
        return knowsFlags;
    }
    bool canDiagnose(const QUrl &) override { return canCreate; }
    std::int32_t statusPassively(const QUrl &url) override
    {
        asked.append(url);
        return status;
    }
    std::int32_t diagnoseInteractively(const QUrl &url) override
    {
        shown.append(url);
        return diagnosis;
    }

    QStringList hosts;
    QList<QUrl> asked;
    QList<QUrl> shown;
    bool knowsFlags = true;
    std::uint32_t flagsOfHost = 2;
    bool canCreate = true;
    std::int32_t status = -66559;
    std::int32_t diagnosis = 0;
};

const QUrl &example()
{
    static const QUrl url(QStringLiteral("http://host.example/path"));
    return url;
}

struct FlagRow {
    const char *what;
    std::uint32_t flags;
    bool expected;
};

TEST(ReachabilityTest, OnlyAReachableHostThatNeedsNothingIsReachable)
{
    const FlagRow rows[] = {
        {"reachable", 2, true},
        {"nothing", 0, false},
        {"connection required", 2 | 4, false},
        {"connection automatic", 2 | 8, false},
        {"intervention required", 2 | 16, false},
        {"all three", 2 | 4 | 8 | 16, false},
        {"transient", 1 | 2, true},
        {"transient alone", 1, false},
        {"local address and direct", 2 | 0x10000 | 0x20000, true},
        {"only required", 4, false},
    };
    StubNetwork network;
    const ScopedService<NetworkState> scope(&network);
    for (const FlagRow &row : rows) {
        network.flagsOfHost = row.flags;
        EXPECT_EQ(Reachability::isHostReachable(example()), row.expected) << row.what;
    }
    EXPECT_EQ(network.hosts.first(), QStringLiteral("host.example"));
    network.flagsOfHost = 2;
    network.knowsFlags = false;
    EXPECT_FALSE(Reachability::isHostReachable(example()));
}

TEST(ReachabilityTest, WithoutAHostOnlyAFileIsReachable)
{
    StubNetwork network;
    const ScopedService<NetworkState> scope(&network);
    EXPECT_TRUE(Reachability::isHostReachable(QUrl(QStringLiteral("file:///etc/hosts"))));
    EXPECT_TRUE(Reachability::isHostReachable(QUrl::fromLocalFile(QStringLiteral("/nowhere/at all"))));
    for (const char *url :
         {"mailto:someone@host.example", "http:///x", "", "relative/path", "data:text/plain,x"})
        EXPECT_FALSE(Reachability::isHostReachable(QUrl(QLatin1String(url)))) << url;
    EXPECT_TRUE(network.hosts.isEmpty());
    network.flagsOfHost = 0;
    EXPECT_FALSE(Reachability::isHostReachable(QUrl(QStringLiteral("file://server/x"))));
    EXPECT_EQ(network.hosts, QStringList(QStringLiteral("server")));
}

TEST(ReachabilityTest, OnlyTheStatusUpIsUp)
{
    StubNetwork network;
    const ScopedService<NetworkState> scope(&network);
    for (const std::int32_t status : {-66559, -66558, -66557, -66560, 0, 1}) {
        network.status = status;
        EXPECT_EQ(Reachability::isNetworkConnectionUp(example()), status == -66559) << status;
        EXPECT_EQ(Reachability::checkNetwork(example()), status == -66559) << status;
    }
    EXPECT_EQ(network.asked.first(), example());
    network.status = -66559;
    network.canCreate = false;
    EXPECT_FALSE(Reachability::isNetworkConnectionUp(example()));
    EXPECT_FALSE(Reachability::checkNetwork(example()));
}

TEST(ReachabilityTest, TheDiagnosisEndedWithoutErrorOrCouldNotBeShown)
{
    StubNetwork network;
    const ScopedService<NetworkState> scope(&network);
    EXPECT_TRUE(Reachability::showNetworkDiagnostics(example()));
    network.diagnosis = -66560;
    EXPECT_FALSE(Reachability::showNetworkDiagnostics(example()));
    EXPECT_EQ(network.shown.size(), 2);
    network.canCreate = false;
    EXPECT_TRUE(Reachability::showNetworkDiagnostics(example()));
    EXPECT_EQ(network.shown.size(), 2);
}

TEST(ReachabilityLiveTest, ThisMachineIsReachable)
{
    for (const char *url : {"http://127.0.0.1:9/", "http://localhost/", "ftp://127.0.0.2/"}) {
        EXPECT_TRUE(Reachability::isHostReachable(QUrl(QLatin1String(url)))) << url;
        EXPECT_TRUE(Reachability::isNetworkConnectionUp(QUrl(QLatin1String(url)))) << url;
    }
    EXPECT_FALSE(Reachability::isHostReachable(
        QUrl(QStringLiteral("http://%1.invalid/").arg(QString(70, QLatin1Char('x'))))));
    EXPECT_FALSE(Reachability::isNetworkConnectionUp(QUrl()));
    EXPECT_FALSE(Reachability::isNetworkConnectionUp(QUrl(QStringLiteral("file:///etc/hosts"))));
}

TEST(ReachabilityLiveTest, AnAddressToWhichNoRouteCanLeadIsNotReachable)
{
    // The class E block and the unspecified multicast scope are refused by every routing table.
    EXPECT_FALSE(Reachability::isHostReachable(QUrl(QStringLiteral("http://255.255.255.255/"))));
    EXPECT_FALSE(Reachability::isNetworkConnectionUp(QUrl(QStringLiteral("http://255.255.255.255/"))));
}

class RecordingProcesses : public Processes {
public:
    bool readOutput(const QList<QStringList> &, QByteArray *) override { return false; }
    bool launchDetached(const QStringList &arguments, const QMap<QString, QString> &) override
    {
        launched.append(arguments);
        return succeeds;
    }
    QList<QStringList> launched;
    bool succeeds = true;
};

TEST(ReachabilityLiveTest, TheDesktopsNetworkSettingsAreTheAssistant)
{
    const QString folder = Tests::scratchFolder() + QStringLiteral("/desktop");
    QDir().mkpath(folder);
    const QByteArray path = qgetenv("PATH");
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("PATH", folder.toUtf8());
    qputenv("DISPLAY", ":99");
    RecordingProcesses processes;
    const ScopedService<Processes> scope(&processes);
    EXPECT_TRUE(Reachability::showNetworkDiagnostics(example())) << "nothing is installed";
    EXPECT_TRUE(processes.launched.isEmpty());

    QFile program(folder + QStringLiteral("/gnome-control-center"));
    ASSERT_TRUE(program.open(QIODevice::WriteOnly));
    program.close();
    program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_TRUE(Reachability::showNetworkDiagnostics(example()));
    EXPECT_EQ(processes.launched, QList<QStringList>({{program.fileName(), QStringLiteral("network")}}));
    processes.succeeds = false;
    EXPECT_FALSE(Reachability::showNetworkDiagnostics(example()));

    qunsetenv("DISPLAY");
    EXPECT_TRUE(Reachability::showNetworkDiagnostics(example())) << "there is no screen";
    EXPECT_EQ(processes.launched.size(), 2);
    qputenv("PATH", path);
    if (!display.isNull())
        qputenv("DISPLAY", display);
}

} // namespace
} // namespace KVBase
