#include <KVBase/KVMutableExecutable.h>
#include <KVBase/KVPlistLocalizer.h>
#include <KVBase/UPath.h>

#include <benchmark/benchmark.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace KVBase;

namespace
{

constexpr int kFolders = 1000;
constexpr int kFilesInEach = 100;

constexpr std::size_t kExecutableSize = std::size_t(256) << 20;
constexpr std::size_t kHits = 1000;
constexpr char kOld[] = "com.kelvo.sample.preset.library";
constexpr char kNew[] = "moc.ovlek.elpmas.teserp.yrarbil";

/// In memory where the system has a file system for that, so that no disk is measured.
QString workPlace()
{
    const QString memory = QStringLiteral("/dev/shm");
    return QFile::exists(memory) ? memory + QStringLiteral("/kvbase-XXXXXX")
                                 : QStringLiteral("/tmp/kvbase-XXXXXX");
}

/// 100,000 files in 1,000 folders, gone with the program.
class Tree {
public:
    static const std::string &path()
    {
        static const Tree tree;
        return tree.root;
    }

private:
    Tree() : folder(workPlace()), root(folder.path().toStdString())
    {
        for (int i = 0; i < kFolders; ++i) {
            const std::string inner = root + "/folder" + std::to_string(i);
            ::mkdir(inner.c_str(), 0700);
            for (int j = 0; j < kFilesInEach; ++j) {
                const std::string file = inner + "/a file with an ordinary name " + std::to_string(j);
                const int descriptor = ::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
                if (descriptor < 0 || ::ftruncate(descriptor, j * 10) != 0)
                    std::abort();
                ::close(descriptor);
            }
        }
    }

    QTemporaryDir folder;
    std::string root;
};

void sizeOfTreeKVBase(benchmark::State &state)
{
    const QString path = QString::fromStdString(Tree::path());
    for (auto _ : state)
        benchmark::DoNotOptimize(UPath::GetFileSize(path));
}

struct RawEntry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
    char name[1];
};

bool isDotOrDotDot(const char *name) { return !std::strcmp(name, ".") || !std::strcmp(name, ".."); }

/// The least that the kernel must be asked: the entries of every folder and the status of each of them.
std::uint64_t sizeBelow(int folder)
{
    constexpr std::size_t kBuffer = 32 * 1024;
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBuffer);
    std::uint64_t sum = 0;
    long got = 0;
    while ((got = ::syscall(SYS_getdents64, folder, buffer.get(), kBuffer)) > 0) {
        for (long position = 0; position < got;) {
            const char *const raw = buffer.get() + position;
            const char *const name = raw + offsetof(RawEntry, name);
            position += reinterpret_cast<const RawEntry *>(raw)->length;
            struct stat status;
            if (isDotOrDotDot(name) || ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            sum += static_cast<std::uint64_t>(status.st_size);
            if (S_ISDIR(status.st_mode))
                sum += sizeBelow(::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        }
    }
    ::close(folder);
    return sum;
}

void sizeOfTreeGetdents(benchmark::State &state)
{
    const std::string &path = Tree::path();
    for (auto _ : state)
        benchmark::DoNotOptimize(sizeBelow(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

void sizeOfTreeIterator(benchmark::State &state)
{
    const std::string &path = Tree::path();
    for (auto _ : state) {
        std::uint64_t sum = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(path)) {
            struct stat status;
            if (::lstat(entry.path().c_str(), &status) == 0)
                sum += static_cast<std::uint64_t>(status.st_size);
        }
        benchmark::DoNotOptimize(sum);
    }
}

/// Bytes as machine code has them, half of them zero, with the first bytes of the old text in a
/// thousand places.
QByteArray executable(std::size_t length)
{
    QByteArray content(static_cast<qsizetype>(kExecutableSize), '\0');
    std::mt19937_64 random(1);
    auto *const words = reinterpret_cast<std::uint64_t *>(content.data());
    for (std::size_t i = 0; i < kExecutableSize / 16; ++i)
        words[2 * i] = random();
    for (std::size_t hit = 0; hit < kHits; ++hit)
        std::memcpy(content.data() + hit * (kExecutableSize / kHits) + 77, kOld, length);
    return content;
}

void replaceKVBase(benchmark::State &state)
{
    const auto length = static_cast<std::size_t>(state.range(0));
    const QString old = QString::fromLatin1(kOld).left(state.range(0));
    const QString wanted = QString::fromLatin1(kNew).left(state.range(0));
    const QTemporaryDir folder(workPlace());
    const QString path = folder.filePath(QStringLiteral("executable"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(executable(length)) < 0)
        std::abort();
    file.close();
    KVMutableExecutable program(QUrl::fromLocalFile(path));
    QFile::remove(path);
    bool forth = true;
    for (auto _ : state) {
        if (!program.replaceString(forth ? old : wanted, forth ? wanted : old))
            std::abort();
        forth = !forth;
    }
}

void replaceMemmem(benchmark::State &state)
{
    const auto length = static_cast<std::size_t>(state.range(0));
    QByteArray content = executable(length);
    char *const bytes = content.data();
    const char *const end = bytes + content.size();
    bool forth = true;
    for (auto _ : state) {
        const char *const search = forth ? kOld : kNew;
        const char *const replacement = forth ? kNew : kOld;
        std::size_t found = 0;
        for (char *at = bytes;; at += length, ++found) {
            at = static_cast<char *>(::memmem(at, static_cast<std::size_t>(end - at), search, length));
            if (at == nullptr)
                break;
            std::memcpy(at, replacement, length);
        }
        if (found != kHits)
            std::abort();
        forth = !forth;
    }
}

/// 100,000 texts in 10,000 dictionaries in 100 arrays; the table has every other text.
QVariantList presets()
{
    QVariantList groups;
    int number = 0;
    for (int group = 0; group < 100; ++group) {
        QVariantList presets;
        for (int preset = 0; preset < 100; ++preset) {
            QVariantMap texts;
            for (int key = 0; key < 10; ++key)
                texts.insert(QStringLiteral("Key%1").arg(key),
                             QStringLiteral("Text number %1").arg(number++ % 2000));
            presets.append(texts);
        }
        groups.append(QVariant(presets));
    }
    return groups;
}

/// 100,000 texts in one array.
QVariantList words()
{
    QVariantList texts;
    for (int number = 0; number < 100'000; ++number)
        texts.append(QStringLiteral("Text number %1").arg(number % 2000));
    return texts;
}

void writeTable(const QString &bundle)
{
    QByteArray table;
    for (int number = 0; number < 2000; number += 2)
        table += "\"Text number " + QByteArray::number(number) + "\" = \"Translation of number " +
                 QByteArray::number(number) + "\";\n";
    QDir().mkpath(bundle + QStringLiteral("/Contents/Resources"));
    QFile file(bundle + QStringLiteral("/Contents/Resources/Presets.strings"));
    if (!file.open(QIODevice::WriteOnly) || file.write(table) != table.size())
        std::abort();
}

void localizeKVBase(benchmark::State &state, QVariantList (*makeTree)())
{
    const QTemporaryDir bundle(workPlace());
    writeTable(bundle.path());
    const Ref<NSBundle> presetsBundle = NSBundle::bundleWithPath(bundle.path());
    const QVariantList tree = makeTree();
    const QString table = QStringLiteral("Presets");
    for (auto _ : state)
        benchmark::DoNotOptimize(KVPlistLocalizer::localizeArray(tree, table, presetsBundle));
}

/// New containers, shared leaves.
QVariant copied(const QVariant &value)
{
    if (value.typeId() == QMetaType::QVariantList) {
        const auto &source = *static_cast<const QVariantList *>(value.constData());
        QVariantList list;
        list.reserve(source.size());
        for (const QVariant &element : source)
            list.append(copied(element));
        return list;
    }
    if (value.typeId() == QMetaType::QVariantMap) {
        const auto &source = *static_cast<const QVariantMap *>(value.constData());
        QVariantMap map;
        for (auto entry = source.cbegin(); entry != source.cend(); ++entry)
            map.insert(map.cend(), entry.key(), copied(entry.value()));
        return map;
    }
    return value;
}

void localizeCopy(benchmark::State &state, QVariantList (*makeTree)())
{
    const QVariant tree = makeTree();
    for (auto _ : state)
        benchmark::DoNotOptimize(copied(tree));
}

BENCHMARK(sizeOfTreeKVBase)->Name("TreeSize/KVBase")->Unit(benchmark::kMillisecond);
BENCHMARK(sizeOfTreeGetdents)->Name("TreeSize/getdents64")->Unit(benchmark::kMillisecond);
BENCHMARK(sizeOfTreeIterator)->Name("TreeSize/recursive_directory_iterator")->Unit(benchmark::kMillisecond);
BENCHMARK(replaceKVBase)
    ->Name("ReplaceString/KVBase")
    ->Arg(4)
    ->Arg(8)
    ->Arg(16)
    ->Arg(31)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(localizeKVBase, nested, presets)
    ->Name("Localize/KVBase/nested")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(localizeKVBase, flat, words)->Name("Localize/KVBase/flat")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(localizeCopy, nested, presets)->Name("Localize/copy/nested")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(localizeCopy, flat, words)->Name("Localize/copy/flat")->Unit(benchmark::kMillisecond);
BENCHMARK(replaceMemmem)
    ->Name("ReplaceString/memmem")
    ->Arg(4)
    ->Arg(8)
    ->Arg(16)
    ->Arg(31)
    ->Unit(benchmark::kMillisecond);

} // namespace
