#include <KVBase/MovieAndImagePaths.h>

#include <KVBase/Platform/NSClass.h>

#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <QtCore/QFile>
#include <QtCore/QLibrary>
#include <QtCore/QObject>
#include <QtCore/QUrl>
#include <QtGui/QImage>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;

/// Counts what it is asked, and calls every path with "movie" in it a movie.
class FakeMovieClass : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE bool isMovieFile(const QString &path)
    {
        asked.append(path);
        return path.contains(QStringLiteral("movie"));
    }

    QStringList asked;
};

class ClassWithoutTheMethod : public QObject {
    Q_OBJECT
};

struct Samples {
    Samples()
    {
        image = Tests::scratchFolder() + QStringLiteral("/sample.png");
        QImage picture(2, 2, QImage::Format_RGB32);
        picture.fill(Qt::red);
        picture.save(image);
        text = Tests::scratchFolder() + QStringLiteral("/sample.txt");
        QFile textFile(text);
        textFile.open(QIODevice::WriteOnly);
        textFile.write("text");
        movie = Tests::scratchFolder() + QStringLiteral("/movie.bin");
        QFile movieFile(movie);
        movieFile.open(QIODevice::WriteOnly);
        movieFile.write(QByteArray("\0\0\0\x14"
                                   "ftypqt  ",
                                   12));
    }

    QString image, text, movie;
};

TEST(MovieAndImagePathsTest, AnswersNilForNoMatch)
{
    const Samples samples;
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({}), std::nullopt);
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({samples.text, QString(), QStringLiteral("/nowhere.png")}),
              std::nullopt);
}

TEST(MovieAndImagePathsTest, KeepsOrderAndForm)
{
    const Samples samples;
    const QUrl url = QUrl::fromLocalFile(samples.image);
    const QVariantList found =
        MovieAndImagePaths::imageFilePaths({url, samples.text, samples.image, url}).value_or(QVariantList());
    EXPECT_EQ(found, (QVariantList{url, samples.image, url}));
}

TEST(MovieAndImagePathsTest, TestsThePathOfAnyAddress)
{
    const Samples samples;
    const QUrl remote(QStringLiteral("http://host") + samples.image);
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({remote}), (QVariantList{remote}));
}

TEST(MovieAndImagePathsTest, NamesWhatIsNoFileAndGoesOn)
{
    const Samples samples;
    FakeMovieClass movies;
    const NSClassRegistration registration("KVUQuickTimeMovie", &movies);
    CapturedLog log;
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({42, samples.image}), (QVariantList{samples.image}));
    EXPECT_EQ(log.lines(),
              QStringList("-[NSArray(MovieAndImagePaths) imageFilePaths]: Not a filepath or url - 42"));
    log.clear();
    EXPECT_EQ(MovieAndImagePaths::movieFilePaths({QVariant(), samples.movie}), (QVariantList{samples.movie}));
    EXPECT_EQ(log.lines(),
              QStringList("-[NSArray(MovieAndImagePaths) movieFilePaths]: Not a filepath or url - (null)"));
    log.clear();
    EXPECT_EQ(MovieAndImagePaths::movieAndImageFilePaths({QVariant(QVariantList{samples.image})}),
              std::nullopt);
    EXPECT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().value(0).startsWith(
        QStringLiteral("-[NSArray(MovieAndImagePaths) movieAndImageFilePaths]: Not a filepath or url - ")));
}

TEST(MovieAndImagePathsTest, SaysOnceThatTheMovieClassIsMissing)
{
    const Samples samples;
    CapturedLog log;
    EXPECT_EQ(MovieAndImagePaths::movieFilePaths({samples.movie, samples.image}), std::nullopt);
    EXPECT_EQ(MovieAndImagePaths::movieAndImageFilePaths({samples.movie, samples.image}), std::nullopt);
    EXPECT_EQ(
        log.lines(),
        QStringList(
            {"-[NSArray(MovieAndImagePaths) movieFilePaths]: Link against KVQuicktime.framework to use "
             "this method",
             "-[NSArray(MovieAndImagePaths) movieAndImageFilePaths]: Link against KVQuicktime.framework "
             "to use this method"}));
    EXPECT_EQ(MovieAndImagePaths::imageFilePaths({samples.image}), (QVariantList{samples.image}));
}

TEST(MovieAndImagePathsTest, CountsAClassWithoutTheMethodAsMissing)
{
    ClassWithoutTheMethod other;
    const NSClassRegistration registration("KVUQuickTimeMovie", &other);
    CapturedLog log;
    EXPECT_EQ(MovieAndImagePaths::movieFilePaths({}), std::nullopt);
    EXPECT_EQ(log.lines().size(), 1);
}

TEST(MovieAndImagePathsTest, AsksTheMovieTestOnlyForWhatIsNoImage)
{
    const Samples samples;
    FakeMovieClass movies;
    const NSClassRegistration registration("KVUQuickTimeMovie", &movies);
    EXPECT_EQ(MovieAndImagePaths::movieAndImageFilePaths({samples.image, samples.text, samples.movie}),
              (QVariantList{samples.image, samples.movie}));
    EXPECT_EQ(movies.asked, (QStringList{samples.text, samples.movie}));
    movies.asked.clear();
    EXPECT_EQ(MovieAndImagePaths::movieFilePaths({samples.image, samples.movie}),
              (QVariantList{samples.movie}));
    EXPECT_EQ(movies.asked, (QStringList{samples.image, samples.movie}));
}

TEST(MovieAndImagePathsTest, FindsTheClassOfAPlugin)
{
    const Samples samples;
    QLibrary plugin(Tests::pluginFolder() + QStringLiteral("/libMoviePlugin.so"));
    ASSERT_TRUE(plugin.load()) << plugin.errorString().toStdString();
    EXPECT_EQ(MovieAndImagePaths::movieFilePaths({samples.text, samples.image, samples.movie}),
              (QVariantList{samples.movie}));
}

} // namespace
} // namespace KVBase

#include "MovieAndImagePathsTest.moc"
