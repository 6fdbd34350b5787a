#include "Text/WhirlpoolBlock.h"

#include <KVBase/MD5Extensions.h>
#include <KVBase/Whirlpool.h>

#include <QtCore/QByteArray>

#include <benchmark/benchmark.h>

#include <array>

#if KVBASE_HAS_CRYPTOPP
#include <cryptopp/whrlpool.h>
#endif
#if KVBASE_HAS_OPENSSL
#include <openssl/evp.h>
#endif

using namespace KVBase;

namespace
{

constexpr std::int64_t kLarge = 1 << 20;
constexpr std::int64_t kSmall = 64;

QByteArray message(const benchmark::State &state)
{
    QByteArray bytes(static_cast<qsizetype>(state.range(0)), Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 31 + i / 251);
    return bytes;
}

const std::uint8_t *unsignedBytes(const QByteArray &bytes)
{
    return reinterpret_cast<const std::uint8_t *>(bytes.constData());
}

void whirlpoolKVBase(benchmark::State &state)
{
    const QByteArray bytes = message(state);
    std::array<std::uint8_t, 64> digest;
    for (auto _ : state) {
        WhirlpoolState whirlpool;
        NESSIEinit(&whirlpool);
        NESSIEadd(unsignedBytes(bytes), static_cast<std::uint32_t>(bytes.size() * 8), &whirlpool);
        NESSIEfinalize(&whirlpool, digest.data());
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// One message with its padding, a block of one bit and the length, by one form of the block function.
template <void (*Blocks)(std::uint64_t *, const std::uint8_t *, std::size_t) noexcept>
void whirlpoolBlocksOf(benchmark::State &state)
{
    if (Blocks == whirlpoolBlocksByVectors && !hasWhirlpoolVectors()) {
        state.SkipWithError("the processor has not got the instructions");
        return;
    }
    const QByteArray bytes = message(state);
    std::array<std::uint8_t, 64> padding{};
    padding[0] = 0x80;
    for (auto _ : state) {
        std::array<std::uint64_t, 8> hash{};
        Blocks(hash.data(), unsignedBytes(bytes), static_cast<std::size_t>(bytes.size()) / 64);
        Blocks(hash.data(), padding.data(), 1);
        benchmark::DoNotOptimize(hash);
    }
}

#if KVBASE_HAS_CRYPTOPP
void whirlpoolCryptoPP(benchmark::State &state)
{
    const QByteArray bytes = message(state);
    std::array<std::uint8_t, 64> digest;
    CryptoPP::Whirlpool whirlpool;
    for (auto _ : state) {
        whirlpool.Update(unsignedBytes(bytes), static_cast<std::size_t>(bytes.size()));
        whirlpool.Final(digest.data());
        benchmark::DoNotOptimize(digest);
    }
}
BENCHMARK(whirlpoolCryptoPP)->Name("Whirlpool/CryptoPP")->Arg(kLarge)->Arg(kSmall);
BENCHMARK(whirlpoolCryptoPP)->Name("WhirlpoolTables/CryptoPP")->Arg(kLarge)->Arg(kSmall);
#endif

BENCHMARK(whirlpoolKVBase)->Name("Whirlpool/KVBase")->Arg(kLarge)->Arg(kSmall);
BENCHMARK(whirlpoolBlocksOf<whirlpoolBlocksByTables>)
    ->Name("WhirlpoolTables/KVBase")
    ->Arg(kLarge)
    ->Arg(kSmall);
BENCHMARK(whirlpoolBlocksOf<whirlpoolBlocksByVectors>)
    ->Name("WhirlpoolTables/Vectors")
    ->Arg(kLarge)
    ->Arg(kSmall);

void md5KVBase(benchmark::State &state)
{
    const QByteArray bytes = message(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(MD5Extensions::stringWithMD5OfData(bytes));
}
BENCHMARK(md5KVBase)->Name("MD5/KVBase")->Arg(kLarge);

#if KVBASE_HAS_OPENSSL
void md5OpenSSL(benchmark::State &state)
{
    const QByteArray bytes = message(state);
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
    for (auto _ : state) {
        unsigned size = 0;
        EVP_Digest(bytes.constData(), static_cast<std::size_t>(bytes.size()), digest.data(), &size, EVP_md5(),
                   nullptr);
        benchmark::DoNotOptimize(digest);
    }
}
BENCHMARK(md5OpenSSL)->Name("MD5/OpenSSL")->Arg(kLarge);
#endif

} // namespace
