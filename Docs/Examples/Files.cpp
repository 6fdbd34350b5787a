// Before a large file is written: is there room, and if not, what is the user told?
#include <KVBase/KVBase.h>

#include <QtCore/QDir>

#include <cstdio>
#include <limits>

using namespace KVBase;

int main()
{
    const QString folder = QDir::tempPath();
    const QString name = UPath::ReplaceIllegalCharactersInFilename(QStringLiteral("Holidays: a/b.mov"));
    std::printf("%s\n", qPrintable(name));

    const double needed = 4.5 * 1024 * 1024 * 1024;
    std::printf("%s are needed\n", qPrintable(KVPathUtils::sizeStringFromBytes(needed)));

    NSError error;
    const QVariant everything = std::numeric_limits<qint64>::max();
    if (!KVPathUtils::canWriteToPath(folder, everything, &error))
        std::printf("code %lld\n%s\n", static_cast<long long>(error.code()),
                    qPrintable(error.localizedFailureReason()));
}
