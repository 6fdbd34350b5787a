#include "Platform/Services/TypeIdentifiers.h"

#include "Support/FileFixtures.h"

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

using namespace Tests;

TypeIdentifiers &types() { return *Service<TypeIdentifiers>::current(); }

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

TEST(TypeIdentifiersTest, KnowsTheUsualExtensions)
{
    struct Row {
        const char *extension, *type;
    };
    const Row rows[] = {{"txt", "public.plain-text"},
                        {"html", "public.html"},
                        {"xml", "public.xml"},
                        {"rtf", "public.rtf"},
                        {"jpg", "public.jpeg"},
                        {"jpeg", "public.jpeg"},
                        {"JPG", "public.jpeg"},
                        {"png", "public.png"},
                        {"gif", "com.compuserve.gif"},
                        {"tif", "public.tiff"},
                        {"tiff", "public.tiff"},
                        {"bmp", "com.microsoft.bmp"},
                        {"pdf", "com.adobe.pdf"},
                        {"mov", "com.apple.quicktime-movie"},
                        {"mp4", "public.mpeg-4"},
                        {"avi", "public.avi"},
                        {"mp3", "public.mp3"},
                        {"wav", "com.microsoft.waveform-audio"},
                        {"zip", "public.zip-archive"},
                        {"tar", "public.tar-archive"},
                        {"gz", "org.gnu.gnu-zip-archive"},
                        {"tar.gz", "org.gnu.gnu-zip-tar-archive"},
                        {"c", "public.c-source"},
                        {"cpp", "public.c-plus-plus-source"},
                        {"h", "public.c-header"},
                        {"vcf", "public.vcard"},
                        {"app", "com.apple.application-bundle"}};
    for (const Row &row : rows)
        EXPECT_EQ(types().preferredIdentifier(text(row.extension)), text(row.type)) << row.extension;
}

TEST(TypeIdentifiersTest, UnknownExtensionsAreDynamicAndComeBack)
{
    const QString type = types().preferredIdentifier(text("KvNobodyKnows"));
    EXPECT_EQ(type, text("dyn.extension.kvnobodyknows"));
    EXPECT_EQ(types().preferredExtension(type), text("kvnobodyknows"));
    EXPECT_TRUE(types().mimeType(type).isNull());
    EXPECT_TRUE(types().conformsTo(type, text("public.data")));
    EXPECT_FALSE(types().conformsTo(type, text("public.image")));
}

TEST(TypeIdentifiersTest, TypesWithoutAWellKnownNameCarryTheirMimeName)
{
    const QString type = types().preferredIdentifier(text("epub"));
    EXPECT_EQ(type, text("dyn.application/epub+zip"));
    EXPECT_EQ(types().preferredExtension(type), text("epub"));
    EXPECT_EQ(types().mimeType(type), text("application/epub+zip"));
    EXPECT_TRUE(types().conformsTo(type, text("public.data")));
    EXPECT_TRUE(types().conformsTo(types().preferredIdentifier(text("pcx")), text("public.image")));
}

TEST(TypeIdentifiersTest, NoExtensionHasNoType)
{
    EXPECT_TRUE(types().preferredIdentifier(QString()).isNull());
    EXPECT_TRUE(types().preferredIdentifier(text("")).isNull());
}

TEST(TypeIdentifiersTest, KindsConformToWhatTheyAreKindsOf)
{
    struct Row {
        const char *type, *other;
        bool conforms;
    };
    const Row rows[] = {{"public.jpeg", "public.jpeg", true},
                        {"public.jpeg", "public.image", true},
                        {"public.jpeg", "public.data", true},
                        {"public.jpeg", "public.content", true},
                        {"public.jpeg", "public.item", true},
                        {"public.jpeg", "public.png", false},
                        {"public.image", "public.jpeg", false},
                        {"public.svg-image", "public.image", true},
                        {"public.svg-image", "public.text", true},
                        {"public.c-source", "public.plain-text", true},
                        {"com.apple.quicktime-movie", "public.movie", true},
                        {"com.apple.quicktime-movie", "public.image", false},
                        {"public.folder", "public.directory", true},
                        {"public.folder", "public.data", false},
                        {"com.apple.application-bundle", "public.directory", true},
                        {"PUBLIC.JPEG", "public.Image", true},
                        {"no.such.type", "no.such.type", true},
                        {"no.such.type", "public.data", false},
                        {"", "public.data", false},
                        {"public.jpeg", "", false}};
    for (const Row &row : rows)
        EXPECT_EQ(types().conformsTo(text(row.type), text(row.other)), row.conforms)
            << row.type << " " << row.other;
}

TEST(TypeIdentifiersTest, GoesBackToMimeNamesAndExtensions)
{
    EXPECT_EQ(types().preferredExtension(text("public.jpeg")), text("jpg"));
    EXPECT_EQ(types().mimeType(text("public.png")), text("image/png"));
    EXPECT_TRUE(types().preferredExtension(text("public.data")).isNull());
    EXPECT_TRUE(types().preferredExtension(text("no.such.type")).isNull());
    EXPECT_TRUE(types().mimeType(QString()).isNull());
}

TEST(TypeIdentifiersTest, TellsAnItemByItsKindAndName)
{
    const QString folder = freshFolder();
    const QString file = folder + QStringLiteral("/picture.png");
    putFile(file, "no picture at all");
    putFile(folder + QStringLiteral("/plain"), "\x89PNG\r\n\x1a\n");
    putFile(folder + QStringLiteral("/odd.kvnobodyknows"), "");
    putFile(folder + QStringLiteral("/program"), "");
    ASSERT_EQ(::chmod(QFile::encodeName(folder + QStringLiteral("/program")).constData(), 0755), 0);
    putFolder(folder + QStringLiteral("/Some.app"));
    putFolder(folder + QStringLiteral("/folder.png"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + QStringLiteral("/fifo.png")).constData(), 0600), 0);
    putLink(folder + QStringLiteral("/link"), QStringLiteral("picture.png"));
    putLink(folder + QStringLiteral("/dangling.png"), QStringLiteral("nowhere"));

    EXPECT_EQ(types().contentType(file), text("public.png"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/plain")), text("public.data"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/odd.kvnobodyknows")),
              text("dyn.extension.kvnobodyknows"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/program")), text("public.unix-executable"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/Some.app")),
              text("com.apple.application-bundle"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/folder.png")), text("public.folder"));
    EXPECT_EQ(types().contentType(folder), text("public.folder"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/fifo.png")), text("public.item"));
    EXPECT_TRUE(types().contentType(folder + QStringLiteral("/dangling.png")).isNull());
    EXPECT_TRUE(types().contentType(folder + QStringLiteral("/missing.png")).isNull());
    EXPECT_TRUE(types().contentType(QString()).isNull());
    EXPECT_EQ(types().contentType(QStringLiteral("/")), text("public.volume"));
}

TEST(TypeIdentifiersTest, AFinalLinkIsFollowedButItsOwnNameIsNot)
{
    const QString folder = freshFolder();
    putFile(folder + QStringLiteral("/picture.png"), "");
    putLink(folder + QStringLiteral("/link.txt"), QStringLiteral("picture.png"));
    EXPECT_EQ(types().contentType(folder + QStringLiteral("/link.txt")), text("public.png"));
}

TEST(TypeIdentifiersTest, ReadableImagesAreImages)
{
    const QStringList readable = types().readableImageTypes();
    EXPECT_TRUE(readable.contains(text("public.png")));
    EXPECT_TRUE(readable.contains(text("public.jpeg")));
    EXPECT_EQ(readable.count(text("public.png")), 1);
    EXPECT_FALSE(readable.contains(text("public.plain-text")));
}

} // namespace
} // namespace KVBase
