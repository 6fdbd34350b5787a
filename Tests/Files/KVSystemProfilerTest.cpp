#include <KVBase/KVSystemProfiler.h>

#include "Platform/Services/HardwareProfile.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

struct FixedProfile : HardwareProfile {
    bool sections(QVariantList *profile) override
    {
        *profile = answer;
        return starts;
    }
    QString text(const QVariantList &) override { return asText; }
    QVariantList answer;
    QString asText;
    bool starts = true;
};

struct FixedMediaVersion : SystemVersions {
    explicit FixedMediaVersion(std::uint32_t given) : value(given) {}
    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        if (selector != 0x7174696d || isMissing)
            return -5551;
        *response = static_cast<std::int32_t>(value);
        return 0;
    }
    QString productVersion() override { return {}; }
    QString productBuildVersion() override { return {}; }
    double foundationVersionNumber() override { return 1000; }
    double appKitVersionNumber() override { return 1000; }
    std::uint32_t value;
    bool isMissing = false;
};

QString mediaVersion(std::uint32_t value)
{
    FixedMediaVersion versions(value);
    const ScopedService<SystemVersions> guard(&versions);
    return KVSystemProfiler::quickTimeVersionString();
}

QString typeOf(const QVariant &section)
{
    return section.toMap().value(QStringLiteral("_dataType")).toString();
}

TEST(KVSystemProfilerTest, DescribesThisMachineInSevenSectionsAsText)
{
    const QString text = KVSystemProfiler::generateSystemProfileAsXML(false);
    QStringList headings;
    const QStringList lines = text.split(u'\n');
    for (const QString &line : lines) {
        if (!line.isEmpty() && !line.startsWith(u' '))
            headings.append(line);
    }
    EXPECT_EQ(headings,
              (QStringList{QStringLiteral("Hardware:"), QStringLiteral("Software:"),
                           QStringLiteral("Displays:"), QStringLiteral("Serial ATA:"), QStringLiteral("PCI:"),
                           QStringLiteral("FireWire:"), QStringLiteral("USB:")}));
}

TEST(KVSystemProfilerTest, DescribesThisMachineInSevenSectionsAsAnArray)
{
    const std::optional<QVariantList> sections = KVSystemProfiler::generateSystemProfileArray();
    ASSERT_TRUE(sections.has_value());
    ASSERT_EQ(sections->size(), 7);
    EXPECT_EQ(typeOf(sections->at(0)), QStringLiteral("SPHardwareDataType"));
    EXPECT_EQ(typeOf(sections->at(1)), QStringLiteral("SPSoftwareDataType"));
    EXPECT_EQ(typeOf(sections->at(2)), QStringLiteral("SPDisplaysDataType"));
    EXPECT_EQ(typeOf(sections->at(3)), QStringLiteral("SPSerialATADataType"));
    EXPECT_EQ(typeOf(sections->at(4)), QStringLiteral("SPPCIDataType"));
    EXPECT_EQ(typeOf(sections->at(5)), QStringLiteral("SPFireWireDataType"));
    EXPECT_EQ(typeOf(sections->at(6)), QStringLiteral("SPUSBDataType"));
    for (const QVariant &section : *sections)
        EXPECT_EQ(section.toMap().value(QStringLiteral("_items")).typeId(),
                  static_cast<int>(QMetaType::QVariantList));
}

TEST(KVSystemProfilerTest, AnswersAPropertyListInXml)
{
    const std::optional<QByteArray> data = KVSystemProfiler::createSystemProfileDataAsXML(true);
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->startsWith("<?xml"));
    EXPECT_TRUE(data->contains("<array>"));
    EXPECT_TRUE(KVSystemProfiler::generateSystemProfileAsXML(true).contains(QStringLiteral("SPUSBDataType")));
}

TEST(KVSystemProfilerTest, DecodesTheTextAsAscii)
{
    FixedProfile profile;
    profile.asText = QStringLiteral("Größe");
    const ScopedService<HardwareProfile> guard(&profile);
    EXPECT_EQ(KVSystemProfiler::createSystemProfileDataAsXML(false), QByteArray("Gr\xc3\xb6\xc3\x9f\x65"));
    EXPECT_EQ(KVSystemProfiler::generateSystemProfileAsXML(false),
              QStringLiteral("Gr\uFFFD\uFFFD\uFFFD\uFFFDe"));
}

TEST(KVSystemProfilerTest, SaysThatThereIsNoData)
{
    FixedProfile profile;
    const ScopedService<HardwareProfile> guard(&profile);
    EXPECT_EQ(KVSystemProfiler::generateSystemProfileAsXML(false),
              QStringLiteral("No data provided by system profiler."));
    profile.answer = {QVariant()};
    EXPECT_EQ(KVSystemProfiler::generateSystemProfileAsXML(true),
              QStringLiteral("No data provided by system profiler."));
}

TEST(KVSystemProfilerTest, ThrowsWhenTheCollectorCannotStart)
{
    FixedProfile profile;
    profile.starts = false;
    const ScopedService<HardwareProfile> guard(&profile);
    EXPECT_THROW(KVSystemProfiler::createSystemProfileDataAsXML(true), NSException);
    EXPECT_THROW(KVSystemProfiler::generateSystemProfileAsXML(false), NSException);
    EXPECT_THROW(KVSystemProfiler::generateSystemProfileArray(), NSException);
}

TEST(KVSystemProfilerTest, LogsAProfileThatCannotBeParsed)
{
    FixedProfile profile;
    profile.answer = {QVariant()};
    const ScopedService<HardwareProfile> guard(&profile);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("test.log"));
    KVLogSetDestination(1);
    KVLogOpen(path);
    EXPECT_TRUE(isNil(KVSystemProfiler::generateSystemProfileArray()));
    KVLogClose();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("\nError creating dict from system profile XML: "));
}

TEST(KVSystemProfilerTest, FormatsTheMediaVersion)
{
    EXPECT_EQ(mediaVersion(0x07648000), QStringLiteral("7.6.4"));
    EXPECT_EQ(mediaVersion(0x00000000), QStringLiteral("0.0.0"));
    EXPECT_EQ(mediaVersion(0x0000ffff), QStringLiteral("0.0.0"));
    EXPECT_EQ(mediaVersion(0x06a90000), QStringLiteral("6.10.9"));
    EXPECT_EQ(mediaVersion(0x10010000), QStringLiteral("16.0.1"));
    EXPECT_EQ(mediaVersion(0xfffe8000), QStringLiteral("255.15.14"));
}

TEST(KVSystemProfilerTest, SaysWhenThereIsNoMediaFramework)
{
    FixedMediaVersion versions(0x07648000);
    versions.isMissing = true;
    const ScopedService<SystemVersions> guard(&versions);
    EXPECT_EQ(KVSystemProfiler::quickTimeVersionString(), QStringLiteral("QuickTime not found."));
}

TEST(KVSystemProfilerTest, FindsNoMediaFrameworkHere)
{
    EXPECT_EQ(KVSystemProfiler::quickTimeVersionString(), QStringLiteral("QuickTime not found."));
}

} // namespace
} // namespace KVBase
