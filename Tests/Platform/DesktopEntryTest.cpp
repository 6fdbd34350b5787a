#include "Platform/DesktopEntry.h"

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QString commandOf(const QByteArray &exec)
{
    return DesktopEntry("[Desktop Entry]\nExec=" + exec + "\n").command().join(u'|');
}

TEST(DesktopEntryTest, ReadsItsOwnGroupOnly)
{
    const DesktopEntry entry("# comment\nX-Before=no\n[Desktop Entry]\nName = The Name \nName[de]=Der Name\n"
                             "#Comment=none\nHidden=true\nName=second\nno equals sign\n=none\n"
                             "[Desktop Action x]\nName=Action\nX-After=no\n");
    EXPECT_EQ(entry.value(text("Name")), text("The Name"));
    EXPECT_EQ(entry.value(text("Name[de]")), text("Der Name"));
    EXPECT_TRUE(entry.isTrue(text("Hidden")));
    EXPECT_TRUE(entry.value(text("X-Before")).isNull());
    EXPECT_TRUE(entry.value(text("X-After")).isNull());
    EXPECT_TRUE(entry.value(text("Comment")).isNull());
    EXPECT_FALSE(entry.isTrue(text("Name")));
}

TEST(DesktopEntryTest, ResolvesEscapes)
{
    const DesktopEntry entry("[Desktop Entry]\r\nA=x\\sy\\nz\\tt\\\\n\\q\r\nB=end\\\n");
    EXPECT_EQ(entry.value(text("A")), text("x y\nz\tt\\n\\q"));
    EXPECT_EQ(entry.value(text("B")), text("end\\"));
}

TEST(DesktopEntryTest, CutsTheCommandIntoWords)
{
    EXPECT_EQ(commandOf("program"), text("program"));
    EXPECT_EQ(commandOf("program  -a \t b"), text("program|-a|b"));
    EXPECT_EQ(commandOf("\"/path with blank/p\" %U"), text("/path with blank/p"));
    EXPECT_EQ(commandOf("p \"a \\\\\"b\\\\\" \\\\$c\" \"\""), text("p|a \"b\" $c|"));
    EXPECT_EQ(commandOf("p 100%% %f --x=%u"), text("p|100%|--x=%u"));
    EXPECT_EQ(commandOf("p \"unclosed"), text(""));
    EXPECT_EQ(commandOf(""), text(""));
    EXPECT_TRUE(DesktopEntry("").command().isEmpty());
}

TEST(DesktopEntryTest, AnEmptyWordIsNotNil)
{
    const QStringList command = DesktopEntry("[Desktop Entry]\nExec=p \"\"\n").command();
    ASSERT_EQ(command.size(), 2);
    EXPECT_FALSE(command.at(1).isNull());
}

TEST(DesktopEntryTest, SurvivesBytesThatAreNoEntry)
{
    EXPECT_TRUE(DesktopEntry(QByteArray("\xff\xfe\0[", 4)).value(text("Name")).isNull());
    EXPECT_TRUE(DesktopEntry(QByteArray(1'000'000, '[')).command().isEmpty());
    EXPECT_EQ(DesktopEntry("[Desktop Entry]\nExec=" + QByteArray(1'000'000, 'x')).command().size(), 1);
}

} // namespace
} // namespace KVBase
