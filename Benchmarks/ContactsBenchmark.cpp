#include <KVBase/Platform/AddressBook.h>

#include <benchmark/benchmark.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <array>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

using namespace KVBase;

namespace
{

constexpr int kContacts = 10000;

/// A data folder with ten thousand cards, in memory where that is possible.
const QString &dataFolder()
{
    static const QTemporaryDir made(QDir(QStringLiteral("/dev/shm")).exists()
                                        ? QStringLiteral("/dev/shm/contacts-XXXXXX")
                                        : QDir::tempPath() + QStringLiteral("/contacts-XXXXXX"));
    static const QString path = [] {
        QDir().mkpath(made.path() + QStringLiteral("/contacts"));
        for (int i = 0; i < kContacts; ++i) {
            QFile file(made.path() + QStringLiteral("/contacts/%1.vcf").arg(i));
            if (!file.open(QIODevice::WriteOnly))
                std::abort();
            const QByteArray number = QByteArray::number(i);
            file.write("BEGIN:VCARD\r\nVERSION:3.0\r\nN:Example" + number + ";Ann;;;\r\nFN:Ann Example" +
                       number + "\r\nORG:Organisation " + number + ";Sales\r\nEMAIL;TYPE=INTERNET,WORK:ann" +
                       number + "@host.example\r\nTEL;TYPE=WORK,VOICE:+49 30 5550" + number +
                       "\r\nADR;TYPE=WORK:;;Street 1;Berlin;;10115;Germany\r\nUID:urn:" + number +
                       "\r\nREV:2026-01-15T09:00:00Z\r\nEND:VCARD\r\n");
        }
        qputenv("XDG_DATA_HOME", made.path().toUtf8());
        return made.path();
    }();
    return path;
}

std::size_t search(const ABAddressBook &book)
{
    return book
        .recordsMatchingSearchElement(ABPerson::searchElementForProperty(
            QString(kABOrganizationProperty), QString(), QString(), QStringLiteral("organisation 99"),
            ABSearchComparison::kABPrefixMatchCaseInsensitive))
        .size();
}

/// The address book moves away and back before each search, so that every file is read.
void searchAfresh(benchmark::State &state)
{
    const QByteArray data = dataFolder().toUtf8();
    const Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
    for (auto _ : state) {
        state.PauseTiming();
        qputenv("XDG_DATA_HOME", data + "/elsewhere");
        search(*book);
        qputenv("XDG_DATA_HOME", data);
        state.ResumeTiming();
        if (search(*book) != 111)
            state.SkipWithError("wrong number of contacts");
    }
}

void searchAgain(benchmark::State &state)
{
    dataFolder();
    const Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
    search(*book);
    for (auto _ : state) {
        if (search(*book) != 111)
            state.SkipWithError("wrong number of contacts");
    }
}

/// What reading the same files takes without a look at them.
void readFiles(benchmark::State &state)
{
    const QByteArray path = (dataFolder() + QStringLiteral("/contacts")).toUtf8();
    for (auto _ : state) {
        DIR *const folder = opendir(path.constData());
        std::array<char, 4096> block;
        ssize_t total = 0;
        while (const dirent *entry = readdir(folder)) {
            const int file = openat(dirfd(folder), entry->d_name, O_RDONLY | O_CLOEXEC);
            for (ssize_t count = 0; (count = read(file, block.data(), block.size())) > 0;)
                total += count;
            close(file);
        }
        closedir(folder);
        benchmark::DoNotOptimize(total);
    }
}

BENCHMARK(searchAfresh)->Name("Search/KVBase")->Unit(benchmark::kMillisecond);
BENCHMARK(searchAgain)->Name("Search again/KVBase")->Unit(benchmark::kMillisecond);
BENCHMARK(readFiles)->Name("Search/reading")->Unit(benchmark::kMillisecond);
BENCHMARK(readFiles)->Name("Search again/reading")->Unit(benchmark::kMillisecond);

} // namespace
