#include "Platform/Services/Displays.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <KVBase/KVQuartzExtreme.h>
#include <KVBase/MovieAndImagePaths.h>
#include <KVBase/Platform/NSClass.h>

#include <QtCore/QFile>
#include <QtCore/QUrl>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;

/// Displays as a table, and a note of every question.
class TableOfDisplays final : public Displays {
public:
    struct Display {
        bool accelerated;
        std::uint32_t vendor, serial, mask;
        std::int32_t status;
        std::vector<std::map<std::int32_t, std::int32_t>> renderers;
    };

    std::vector<Display> table;
    std::int32_t countStatus = 0;
    std::int32_t listStatus = 0;
    std::optional<std::uint32_t> secondCount;
    std::vector<std::uint32_t> visited;
    std::vector<std::uint32_t> capacities;
    int released = 0;

    std::int32_t activeDisplays(std::uint32_t capacity, std::uint32_t *displays,
                                std::uint32_t *count) override
    {
        capacities.push_back(capacity);
        const auto size = static_cast<std::uint32_t>(table.size());
        if (displays == nullptr) {
            *count = size;
            return countStatus;
        }
        for (std::uint32_t i = 0; i < capacity && i < size; ++i)
            displays[i] = 100 + i;
        *count = secondCount.value_or(size);
        return listStatus;
    }
    bool usesOpenGLAcceleration(std::uint32_t display) override
    {
        visited.push_back(display);
        return at(display).accelerated;
    }
    std::uint32_t vendorNumber(std::uint32_t display) override { return at(display).vendor; }
    std::uint32_t serialNumber(std::uint32_t display) override { return at(display).serial; }
    std::uint32_t openGLMask(std::uint32_t display) override { return at(display).mask; }

    std::int32_t rendererInfo(std::uint32_t mask, std::shared_ptr<void> *info) override
    {
        for (std::uint32_t i = 0; i < table.size(); ++i) {
            if (table[i].mask != mask)
                continue;
            if (table[i].status == 0) {
                *info = std::shared_ptr<void>(new std::uint32_t(i), [this](void *p) {
                    delete static_cast<std::uint32_t *>(p);
                    ++released;
                });
            }
            return table[i].status;
        }
        return 10000;
    }
    std::int32_t describeRenderer(const std::shared_ptr<void> &info, std::int32_t index,
                                  std::int32_t property, std::int32_t *value) override
    {
        const Display &display = table.at(*static_cast<std::uint32_t *>(info.get()));
        if (property == 128) {
            *value = static_cast<std::int32_t>(display.renderers.size());
            return 0;
        }
        *value = display.renderers.at(static_cast<std::size_t>(index)).at(property);
        return 0;
    }

private:
    const Display &at(std::uint32_t display) const { return table.at(display - 100); }
};

QStringList asked(TableOfDisplays &displays, bool expected)
{
    const CapturedLog log;
    const ScopedService<Displays> guard(&displays);
    EXPECT_EQ(KVQuartzExtreme::isQuartzExtremeSupported(), expected);
    return log.lines();
}

TEST(KVQuartzExtremeContractTest, DescribesEveryDisplayThatIsNotAccelerated)
{
    TableOfDisplays displays;
    displays.table = {
        {true, 1, 2, 1, 0, {}},
        {false,
         0xffffffffu,
         77,
         2,
         0,
         {{{70, 1}, {54, 1}, {120, 256}, {121, 128}}, {{70, -5}, {54, 0}, {120, 0}, {121, -1}}}},
        {false, 5, 6, 0, 0, {}},
        {false, 7, 8, 4, -3, {}},
        {false, 9, 10, 8, 0, {}},
        {true, 11, 12, 16, 0, {}}};
    const QStringList expected{QStringLiteral("CGDisplay VendorNumber -1"),
                               QStringLiteral("CGDisplay SerialNumber 77"),
                               QStringLiteral("Describing Renderer 0"),
                               QStringLiteral("RendererID 1"),
                               QStringLiteral("FullScreen 1"),
                               QStringLiteral("Video Memory 256"),
                               QStringLiteral("Texture Memory 128"),
                               QStringLiteral("Describing Renderer 1"),
                               QStringLiteral("RendererID -5"),
                               QStringLiteral("FullScreen 0"),
                               QStringLiteral("Video Memory 0"),
                               QStringLiteral("Texture Memory -1"),
                               QStringLiteral("CGDisplay VendorNumber 5"),
                               QStringLiteral("CGDisplay SerialNumber 6"),
                               QStringLiteral("CGDisplay VendorNumber 7"),
                               QStringLiteral("CGDisplay SerialNumber 8"),
                               QStringLiteral("CGDisplay VendorNumber 9"),
                               QStringLiteral("CGDisplay SerialNumber 10")};
    EXPECT_EQ(asked(displays, false), expected);
    EXPECT_EQ(displays.visited, (std::vector<std::uint32_t>{100, 101, 102, 103, 104, 105}));
    EXPECT_EQ(displays.released, 2);
}

TEST(KVQuartzExtremeContractTest, VisitsNoMoreThanItHasRoomFor)
{
    TableOfDisplays displays;
    displays.table = {{true, 1, 1, 1, 0, {}}, {true, 1, 1, 1, 0, {}}};
    displays.secondCount = 50;
    EXPECT_EQ(asked(displays, true), QStringList());
    EXPECT_EQ(displays.visited, (std::vector<std::uint32_t>{100, 101}));
    displays.visited.clear();
    displays.secondCount = 1;
    EXPECT_EQ(asked(displays, true), QStringList());
    EXPECT_EQ(displays.visited, (std::vector<std::uint32_t>{100}));
}

class MovieClass : public QObject {
    Q_OBJECT

public:
    QStringList seen;

    Q_INVOKABLE bool isMovieFile(const QString &path)
    {
        seen.append(path);
        return path.endsWith(QLatin1StringView(".mov")) || path.endsWith(QLatin1StringView(".both.png"));
    }
};

QString made(const char *name)
{
    const QString path = Tests::scratchFolder() + QLatin1Char('/') + QString::fromUtf8(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    return path;
}

struct Media {
    QString image = made("media.png");
    QString both = made("media.both.png");
    QString movie = made("media \u00fc.mov");
    QString text = made("media.txt");
    QUrl imageURL = QUrl::fromLocalFile(made("url %41.png"));
    QUrl movieURL = QUrl::fromLocalFile(movie);
    QVariantList all{
        text, movie, imageURL, image, QVariant(42), both, movieURL, QVariant(), QUrl::fromLocalFile(text)};
};

QString stray(const char *method, const char *element)
{
    return QStringLiteral("-[NSArray(MovieAndImagePaths) %1]: Not a filepath or url - %2")
        .arg(QString::fromLatin1(method), QString::fromLatin1(element));
}

TEST(MovieAndImagePathsTypesContractTest, KeepsImagesInOrderAndForm)
{
    const Media media;
    const CapturedLog log;
    const std::optional<QVariantList> images = MovieAndImagePaths::imageFilePaths(media.all);
    ASSERT_TRUE(images.has_value());
    EXPECT_EQ(*images, (QVariantList{media.imageURL, media.image, media.both}));
    EXPECT_EQ(images->at(0).metaType(), QMetaType::fromType<QUrl>());
    EXPECT_EQ(images->at(1).metaType(), QMetaType::fromType<QString>());
    EXPECT_EQ(log.lines(), (QStringList{stray("imageFilePaths", "42"), stray("imageFilePaths", "(null)")}));
}

TEST(MovieAndImagePathsTypesContractTest, KeepsMoviesByTheClassOfThatName)
{
    const Media media;
    MovieClass movies;
    const NSClassRegistration registration("KVUQuickTimeMovie", &movies);
    CapturedLog log;
    const std::optional<QVariantList> found = MovieAndImagePaths::movieFilePaths(media.all);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(*found, (QVariantList{media.movie, media.both, media.movieURL}));
    EXPECT_EQ(movies.seen, (QStringList{media.text, media.movie, media.imageURL.path(), media.image,
                                        media.both, media.movie, media.text}));
    EXPECT_EQ(log.lines(), (QStringList{stray("movieFilePaths", "42"), stray("movieFilePaths", "(null)")}));
}

class OtherClass : public QObject {
    Q_OBJECT
};

TEST(MovieAndImagePathsTypesContractTest, LogsOnceWithoutTheMovieClass)
{
    const Media media;
    OtherClass other;
    for (const bool registered : {false, true}) {
        std::optional<NSClassRegistration> registration;
        if (registered)
            registration.emplace("KVUQuickTimeMovie", &other);
        for (const QVariantList &paths : {media.all, QVariantList()}) {
            CapturedLog log;
            EXPECT_EQ(MovieAndImagePaths::movieFilePaths(paths), std::nullopt);
            EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                                       "-[NSArray(MovieAndImagePaths) movieFilePaths]: Link against "
                                       "KVQuicktime.framework to use this method")});
            log.clear();
            EXPECT_EQ(MovieAndImagePaths::movieAndImageFilePaths(paths), std::nullopt);
            EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                                       "-[NSArray(MovieAndImagePaths) movieAndImageFilePaths]: Link against "
                                       "KVQuicktime.framework to use this method")});
        }
        EXPECT_TRUE(MovieAndImagePaths::imageFilePaths({media.image}).has_value());
    }
}

TEST(MovieAndImagePathsTypesContractTest, AnswersNilInsteadOfAnEmptyArray)
{
    const Media media;
    MovieClass movies;
    const NSClassRegistration registration("KVUQuickTimeMovie", &movies);
    CapturedLog log;
    for (const QVariantList &paths : {QVariantList(), QVariantList{media.text}}) {
        EXPECT_EQ(MovieAndImagePaths::imageFilePaths(paths), std::nullopt);
        EXPECT_EQ(MovieAndImagePaths::movieFilePaths(paths), std::nullopt);
        EXPECT_EQ(MovieAndImagePaths::movieAndImageFilePaths(paths), std::nullopt);
    }
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({QVariantList{media.image}, 1.5, true}), std::nullopt);
    EXPECT_EQ(log.lines().size(), 3);
    EXPECT_TRUE(log.lines().at(0).startsWith(
        QStringLiteral("-[NSArray(MovieAndImagePaths) imageFilePaths]: Not a filepath or url - ")));
    EXPECT_EQ(log.lines().at(1), stray("imageFilePaths", "1.5"));
}

TEST(MovieAndImagePathsTypesContractTest, TestsThePathOfAnyURL)
{
    const Media media;
    QUrl remote = QUrl(QStringLiteral("http://example.com/"));
    remote.setPath(media.image);
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({remote}), QVariantList{remote});
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({QUrl(), QUrl(QStringLiteral("http://example.com/no.png"))}),
              std::nullopt);
}

} // namespace
} // namespace KVBase

#include "DisplaysAndMediaContractTest.moc"
