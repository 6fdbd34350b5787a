#include "Support/TestPaths.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QStringList kSubsystems{QStringLiteral("Diagnostics"), QStringLiteral("Threads"),
                              QStringLiteral("Files"),       QStringLiteral("Imaging"),
                              QStringLiteral("Text"),        QStringLiteral("Network")};

QString readText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// Paths below the source tree of its C++ files in a folder.
QStringList codeIn(const QString &folder)
{
    const QDir root(sourceFolder());
    QStringList paths;
    QDirIterator walk(root.filePath(folder), {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                      QDirIterator::Subdirectories);
    while (walk.hasNext())
        paths.append(root.relativeFilePath(walk.next()));
    paths.sort();
    return paths;
}

/// What a file includes, without brackets and quotes.
QStringList includesOf(const QString &path)
{
    static const QRegularExpression line(QStringLiteral("^\\s*#\\s*include\\s*[<\"]([^>\"]+)[>\"]"),
                                         QRegularExpression::MultilineOption);
    QStringList includes;
    auto matches = line.globalMatch(readText(sourceFolder() + u'/' + path));
    while (matches.hasNext())
        includes.append(matches.next().captured(1));
    return includes;
}

/// The subsystem of each public header: that of the source file of its name; a few headers have none.
QMap<QString, QString> subsystemsOfHeaders()
{
    QMap<QString, QString> subsystems{{QStringLiteral("KVBuildStyle"), QStringLiteral("Diagnostics")}};
    for (const QString &subsystem : kSubsystems) {
        for (const QString &source : codeIn(QStringLiteral("Sources/") + subsystem))
            subsystems.insert(QFileInfo(source).baseName(), subsystem);
    }
    return subsystems;
}

/// Where an include leads: a subsystem, "Platform", "Tools" or nothing of ours.
QString targetOf(const QString &include, const QMap<QString, QString> &headers)
{
    const QString first = include.section(u'/', 0, 0);
    if (kSubsystems.contains(first) || first == u"Platform")
        return first;
    if (first == u"kvbase" || first == u"report" || first == u"support" || first == u"Support")
        return QStringLiteral("Tools");
    if (first != u"KVBase" || include == u"KVBase/KVExport.h")
        return {};
    if (include.startsWith(u"KVBase/Platform/"))
        return QStringLiteral("Platform");
    return headers.value(QFileInfo(include).baseName(), QStringLiteral("unknown"));
}

/// Which subsystems a layer may use beside itself and Platform. System versions and bundle information lie in
/// Files and are for all; Diagnostics is the lowest.
QStringList arrowsFrom(const QString &layer)
{
    if (layer == u"Platform" || layer == u"Diagnostics")
        return {};
    if (layer == u"Files")
        return {QStringLiteral("Diagnostics")};
    return {QStringLiteral("Diagnostics"), QStringLiteral("Files")};
}

/// What of Files the others may use.
const QSet<QString> kSharedHeaders{
    QStringLiteral("KVBase/UEnvironment.h"), QStringLiteral("KVBase/Runtime.h"),
    QStringLiteral("KVBase/InfoDictionary.h"), QStringLiteral("KVBase/PreRelease.h")};

bool mayInclude(const QString &layer, const QString &target, const QString &include)
{
    if (target.isEmpty() || target == layer || (target == u"Platform" && layer != u"Tools"))
        return true;
    if (!arrowsFrom(layer).contains(target))
        return false;
    return target != u"Files" || kSharedHeaders.contains(include);
}

void expectArrows(const QString &layer, const QStringList &files)
{
    const QMap<QString, QString> headers = subsystemsOfHeaders();
    EXPECT_FALSE(files.isEmpty()) << layer.toStdString();
    for (const QString &file : files) {
        for (const QString &include : includesOf(file))
            EXPECT_TRUE(mayInclude(layer, targetOf(include, headers), include))
                << file.toStdString() << " (" << layer.toStdString() << ") includes "
                << include.toStdString();
    }
}

QStringList publicHeaders() { return codeIn(QStringLiteral("Headers/KVBase")); }

TEST(HouseIncludesTest, PlatformKnowsNoSubsystem)
{
    expectArrows(QStringLiteral("Platform"), codeIn(QStringLiteral("Sources/Platform")));
    expectArrows(QStringLiteral("Platform"), codeIn(QStringLiteral("Headers/KVBase/Platform")));
}

TEST(HouseIncludesTest, SubsystemsUseOnlyWhatLiesBelow)
{
    for (const QString &subsystem : kSubsystems)
        expectArrows(subsystem, codeIn(QStringLiteral("Sources/") + subsystem));
}

TEST(HouseIncludesTest, PublicHeadersUseOnlyWhatLiesBelow)
{
    const QMap<QString, QString> headers = subsystemsOfHeaders();
    for (const QString &file : publicHeaders()) {
        if (file.startsWith(u"Headers/KVBase/Platform/"))
            continue;
        const QString layer = headers.value(QFileInfo(file).baseName());
        for (const QString &include : includesOf(file))
            EXPECT_TRUE(mayInclude(layer, targetOf(include, headers), include))
                << file.toStdString() << " includes " << include.toStdString();
    }
}

TEST(HouseIncludesTest, PublicHeadersIncludeNothingForeignButQt)
{
    for (const QString &file : publicHeaders()) {
        for (const QString &include : includesOf(file)) {
            const bool ours = include.startsWith(u"KVBase/");
            const bool ofQt = include.startsWith(u"QtCore/") || include.startsWith(u"QtGui/");
            const bool standard = !include.contains(u'/') && !include.startsWith(u'Q');
            EXPECT_TRUE(ours || ofQt || standard)
                << file.toStdString() << " includes " << include.toStdString();
        }
    }
}

TEST(HouseIncludesTest, OnlyCompanionsAndToolsUseWidgets)
{
    for (const QString &file : codeIn(QStringLiteral("Sources")) + publicHeaders()) {
        if (file.startsWith(u"Sources/Companions/"))
            continue;
        for (const QString &include : includesOf(file))
            EXPECT_FALSE(include.startsWith(u"QtWidgets/")) << file.toStdString();
    }
}

TEST(HouseIncludesTest, TheRulesSeeAWrongArrow)
{
    const QMap<QString, QString> headers = subsystemsOfHeaders();
    const auto allowed = [&](const char *layer, const char *include) {
        const QString text = QString::fromUtf8(include);
        return mayInclude(QString::fromUtf8(layer), targetOf(text, headers), text);
    };
    EXPECT_FALSE(allowed("Platform", "KVBase/KVLog.h"));
    EXPECT_FALSE(allowed("Platform", "Files/SizeTexts.h"));
    EXPECT_FALSE(allowed("Diagnostics", "KVBase/UPath.h"));
    EXPECT_FALSE(allowed("Text", "KVBase/KVPathUtils.h"));
    EXPECT_FALSE(allowed("Imaging", "KVBase/CSRegex.h"));
    EXPECT_FALSE(allowed("Files", "kvbase/Command.h"));
    EXPECT_TRUE(allowed("Threads", "KVBase/Runtime.h"));
    EXPECT_TRUE(allowed("Files", "KVBase/KVLog.h"));
    EXPECT_TRUE(allowed("Text", "vector"));
}

/// The stretches between blank lines.
QStringList paragraphsOf(const QString &path)
{
    return readText(sourceFolder() + u'/' + path).split(QRegularExpression(QStringLiteral("\\n[ \\t]*\\n")));
}

/// Functions of one kind may share the comment of their namespace; a class has one of its own.
TEST(HouseDocumentationTest, EveryHeaderAndEveryClassHasAComment)
{
    for (const QString &file : publicHeaders()) {
        const QString text = readText(sourceFolder() + u'/' + file);
        EXPECT_TRUE(file.endsWith(u"KVExport.h") || text.contains(u"///")) << file.toStdString();
        for (const QString &paragraph : paragraphsOf(file)) {
            static const QRegularExpression declaration(
                QStringLiteral("^(class|struct) (KV_EXPORT )?\\w+[^;]*\\{"),
                QRegularExpression::MultilineOption);
            EXPECT_TRUE(!paragraph.contains(declaration) || paragraph.contains(u"///"))
                << file.toStdString() << ":\n"
                << paragraph.toStdString();
        }
    }
}

TEST(HouseDocumentationTest, TheUmbrellaIncludesEveryPublicHeader)
{
    const QString umbrella = readText(programFolder() + QStringLiteral("/../include/KVBase/KVBase.h"));
    ASSERT_FALSE(umbrella.isEmpty());
    for (const QString &file : publicHeaders())
        EXPECT_TRUE(umbrella.contains(QStringLiteral("#include <") + file.mid(8) + u'>'))
            << file.toStdString();
}

TEST(HouseDocumentationTest, EveryPublicHeaderIsGuarded)
{
    for (const QString &file : publicHeaders())
        EXPECT_TRUE(readText(sourceFolder() + u'/' + file).contains(u"#pragma once")) << file.toStdString();
}

} // namespace
} // namespace KVBase
