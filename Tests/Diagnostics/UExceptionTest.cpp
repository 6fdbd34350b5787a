#include <KVBase/Platform/KVNil.h>
#include <KVBase/StExceptionDisplaysAlert.h>
#include <KVBase/StExceptionSectionName.h>
#include <KVBase/UException.h>

#include "Platform/Services/AlertPresenter.h"
#include "Support/CapturedLog.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

/// Collects the alerts instead of showing them.
struct CollectingPresenter : AlertPresenter {
    void criticalAlert(const QString &title, const QString &message, const QString &button) override
    {
        titles.append(title);
        messages.append(message);
        buttons.append(button);
    }
    QStringList titles;
    QStringList messages;
    QStringList buttons;
};

struct ThrowingPresenter : AlertPresenter {
    void criticalAlert(const QString &, const QString &, const QString &) override { throw 1; }
};

class UExceptionTest : public testing::Test {
protected:
    UExceptionTest()
    {
        UException::SetSectionName(nullptr);
        UException::SetDisplaysAlert(0);
    }
    ~UExceptionTest() override
    {
        UException::SetSectionName(nullptr);
        UException::SetDisplaysAlert(0);
    }

    CollectingPresenter alerts;
    const ScopedService<AlertPresenter> guard{&alerts};
    Tests::CapturedLog log;
};

TEST_F(UExceptionTest, HasNoSectionAndNoAlertAtTheStart)
{
    EXPECT_TRUE(isNil(UException::GetSectionName()));
    EXPECT_EQ(UException::GetDisplaysAlert(), 0);
}

TEST_F(UExceptionTest, KeepsTheSectionNameOfEveryKindOfText)
{
    UException::SetSectionName(QStringLiteral("Import"));
    EXPECT_EQ(UException::GetSectionName(), "Import");
    UException::SetSectionName("Z\xc3\xbcrich");
    EXPECT_EQ(UException::GetSectionName(), QStringLiteral("Zürich"));
    UException::SetSectionName("");
    EXPECT_FALSE(isNil(UException::GetSectionName()));
    EXPECT_EQ(UException::GetSectionName(), "");
    UException::SetSectionName(QStringLiteral("Import"));
    UException::SetSectionName(QString());
    EXPECT_TRUE(isNil(UException::GetSectionName()));
    UException::SetSectionName(QStringLiteral("Import"));
    UException::SetSectionName(static_cast<const char *>(nullptr));
    EXPECT_TRUE(isNil(UException::GetSectionName()));
    UException::SetSectionName(QStringLiteral("Import"));
    UException::SetSectionName(nullptr);
    EXPECT_TRUE(isNil(UException::GetSectionName()));
}

TEST_F(UExceptionTest, HandsOutTheAlertFlagAsItWasSet)
{
    for (const int flag : {1, 2, -1, 127, -128, 0}) {
        UException::SetDisplaysAlert(static_cast<signed char>(flag));
        EXPECT_EQ(UException::GetDisplaysAlert(), flag);
    }
}

TEST_F(UExceptionTest, ThrowLogsSixLinesInItsOrder)
{
    UException::SetSectionName("Import");
    try {
        UException::Throw("Name", "The message", "/src/Thing.src", 12);
    } catch (const KVException &caught) {
        EXPECT_EQ(caught.name(), "Name");
        EXPECT_EQ(caught.message(), "The message");
        EXPECT_EQ(dynamic_cast<const KVErrException *>(&caught), nullptr);
    }
    EXPECT_EQ(
        log.lines(),
        QStringList({QStringLiteral("KVException 'Name' was thrown"), QStringLiteral("Message: The message"),
                     QStringLiteral("Section: Import"), QStringLiteral("File: /src/Thing.src"),
                     QStringLiteral("Line: 12"), QStringLiteral("")}));
    EXPECT_EQ(alerts.titles, QStringList());
}

TEST_F(UExceptionTest, ThrowErrLogsSevenLinesInItsOrder)
{
    UException::SetSectionName("Import");
    try {
        UException::ThrowErr(-36, "The message", "/src/Thing.src", 12);
        FAIL() << "did not throw";
    } catch (const KVErrException &caught) {
        EXPECT_EQ(caught.name(), "KVErrException");
        EXPECT_EQ(caught.err(), -36);
        EXPECT_EQ(caught.message(), "The message");
    }
    EXPECT_EQ(
        log.lines(),
        QStringList({QStringLiteral("KVErrException was thrown"), QStringLiteral("Error: -36"),
                     QStringLiteral("Message: The message"), QStringLiteral("File: /src/Thing.src"),
                     QStringLiteral("Section: Import"), QStringLiteral("Line: 12"), QStringLiteral("")}));
    EXPECT_EQ(alerts.titles, QStringList());
}

TEST_F(UExceptionTest, ThrowErrOfZeroDoesNothing)
{
    UException::SetDisplaysAlert(1);
    EXPECT_NO_THROW(UException::ThrowErr(0, "message", "file", 1));
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_EQ(alerts.titles, QStringList());
}

TEST_F(UExceptionTest, PrintsNilAsNull)
{
    UException::SetDisplaysAlert(1);
    EXPECT_THROW(UException::Throw(nullptr, nullptr, nullptr, -1), KVException);
    EXPECT_THROW(UException::ThrowErr(1, nullptr, nullptr, 0), KVErrException);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVException '(null)' was thrown"),
                                        QStringLiteral("Message: (null)"), QStringLiteral("Section: (null)"),
                                        QStringLiteral("File: (null)"), QStringLiteral("Line: -1"),
                                        QStringLiteral(""), QStringLiteral("KVErrException was thrown"),
                                        QStringLiteral("Error: 1"), QStringLiteral("Message: (null)"),
                                        QStringLiteral("File: (null)"), QStringLiteral("Section: (null)"),
                                        QStringLiteral("Line: 0"), QStringLiteral("")}));
    EXPECT_EQ(alerts.titles,
              QStringList({QStringLiteral("KVException ((null))"), QStringLiteral("KVErrException (1)")}));
    EXPECT_EQ(alerts.messages.first(), "Message: (null)\nFile: (null)\nSection: (null)\nLine -1");
}

TEST_F(UExceptionTest, ShowsAnAlertWithItsTexts)
{
    UException::SetDisplaysAlert(1);
    UException::SetSectionName("Import");
    EXPECT_THROW(UException::Throw("Name", "The message", "Thing.src", 12), KVException);
    EXPECT_THROW(UException::ThrowErr(-2147483647 - 1, "The message", "Thing.src", 12), KVErrException);
    EXPECT_EQ(alerts.titles, QStringList({QStringLiteral("KVException (Name)"),
                                          QStringLiteral("KVErrException (-2147483648)")}));
    const QString message = QStringLiteral("Message: The message\nFile: Thing.src\nSection: Import\nLine 12");
    EXPECT_EQ(alerts.messages, QStringList({message, message}));
    EXPECT_EQ(alerts.buttons, QStringList({QStringLiteral("OK"), QStringLiteral("OK")}));
}

TEST_F(UExceptionTest, TakesEveryFlagButZeroForYes)
{
    for (const int flag : {2, -1, -128}) {
        UException::SetDisplaysAlert(static_cast<signed char>(flag));
        EXPECT_THROW(UException::ThrowErr(1, "m", "f", 1), KVErrException);
    }
    EXPECT_EQ(alerts.titles.size(), 3);
}

TEST_F(UExceptionTest, TakesTheAlertsTextForAFormatWithoutArguments)
{
    UException::SetDisplaysAlert(1);
    UException::SetSectionName("%d of 7%");
    EXPECT_THROW(UException::Throw("100%%", "50%% <b>%@</b>\n%s", "%n.src", 3), KVException);
    EXPECT_EQ(alerts.messages.first(), "Message: 50% <b>%@</b>\n%s\nFile: %n.src\nSection: %d of 7%\nLine 3");
    EXPECT_EQ(alerts.titles.first(), "KVException (100%%)");
    // The log prints them as they are.
    EXPECT_EQ(log.lines().at(1), "Message: 50%% <b>%@</b>\n%s");
}

TEST_F(UExceptionTest, ThrowsAlsoWhenTheAlertFails)
{
    ThrowingPresenter broken;
    const ScopedService<AlertPresenter> replaced(&broken);
    UException::SetDisplaysAlert(1);
    EXPECT_THROW(UException::Throw("Name", "message", "file", 1), KVException);
    EXPECT_THROW(UException::ThrowErr(5, "message", "file", 1), KVErrException);
}

TEST_F(UExceptionTest, LeavesNoTraceButTheExceptionWhenTheLogIsOff)
{
    KVLogSetDestination(0);
    EXPECT_THROW(UException::Throw("Name", "message", "file", 1), KVException);
    EXPECT_THROW(UException::ThrowErr(5, "message", "file", 1), KVErrException);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(UExceptionTest, SectionGuardsRestoreWhatTheyFound)
{
    {
        const StExceptionSectionName outer("Import");
        EXPECT_EQ(UException::GetSectionName(), "Import");
        {
            const StExceptionSectionName inner(QStringLiteral("Export"));
            EXPECT_EQ(UException::GetSectionName(), "Export");
            {
                const StExceptionSectionName none(nullptr);
                EXPECT_TRUE(isNil(UException::GetSectionName()));
                const StExceptionSectionName null(static_cast<const char *>(nullptr));
                EXPECT_TRUE(isNil(UException::GetSectionName()));
            }
            EXPECT_EQ(UException::GetSectionName(), "Export");
        }
        EXPECT_EQ(UException::GetSectionName(), "Import");
    }
    EXPECT_TRUE(isNil(UException::GetSectionName()));
}

TEST_F(UExceptionTest, GuardsRestoreWhenAnExceptionLeavesTheirBlock)
{
    UException::SetSectionName("Before");
    UException::SetDisplaysAlert(2);
    try {
        const StExceptionSectionName section("Import");
        const StExceptionDisplaysAlert quiet(0);
        UException::ThrowErr(-36, "message", "file", 1);
        FAIL() << "did not throw";
    } catch (const KVErrException &) {
        EXPECT_EQ(UException::GetSectionName(), "Before");
        EXPECT_EQ(UException::GetDisplaysAlert(), 2);
    }
    EXPECT_EQ(log.lines().at(4), "Section: Import");
    EXPECT_EQ(alerts.titles, QStringList());
}

TEST_F(UExceptionTest, AlertGuardsNest)
{
    const StExceptionDisplaysAlert outer(1);
    {
        const StExceptionDisplaysAlert inner(-3);
        EXPECT_EQ(UException::GetDisplaysAlert(), -3);
    }
    EXPECT_EQ(UException::GetDisplaysAlert(), 1);
}

TEST(UExceptionThreads, MayThrowWhileTheSectionChanges)
{
    const Tests::CapturedLog log;
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([] {
            for (int i = 0; i < 50; ++i)
                EXPECT_THROW(UException::ThrowErr(1, "message", "file", i), KVErrException);
        });
    for (int i = 0; i < 200; ++i) {
        const StExceptionSectionName section("Import");
        const StExceptionDisplaysAlert alert(0);
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(log.lines().size(), 3 * 50 * 7);
}

} // namespace
} // namespace KVBase
