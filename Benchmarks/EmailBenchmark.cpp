#include <KVBase/Email.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <regex.h>

using namespace KVBase;

namespace
{

constexpr int kAddresses = 100000;
constexpr char kPattern[] =
    "\\({1}[A-Za-z0-9.!#$%&'*+-/=?^_`{|}~]{1,}@[A-Za-z0-9.-]{1,}\\.{1}[A-Za-z]{2,6}\\){1}";

/// Addresses of the usual kinds, one in ten of them wrong.
std::string address(int number)
{
    const std::string text = std::to_string(number);
    switch (number % 10) {
    case 0:
        return "user " + text + "@host.example";
    case 1:
        return "first.last" + text + "@mail.department.example.org";
    case 2:
        return "u" + text + "@a.de";
    default:
        return "someone" + text + "@host" + text + ".com";
    }
}

void validateKVBase(benchmark::State &state)
{
    std::vector<QString> addresses;
    for (int i = 0; i < kAddresses; ++i)
        addresses.push_back(QString::fromStdString(address(i)));
    for (auto _ : state) {
        int valid = 0;
        for (const QString &text : addresses)
            valid += Email::isValidEmailAddress(text) ? 1 : 0;
        benchmark::DoNotOptimize(valid);
    }
}

/// What the C library alone needs for the same pattern, compiled once, on texts that are wrapped beforehand.
void validateRegexec(benchmark::State &state)
{
    std::vector<std::string> addresses;
    for (int i = 0; i < kAddresses; ++i)
        addresses.push_back("(" + address(i) + ")");
    regex_t expression{};
    if (regcomp(&expression, kPattern, REG_EXTENDED) != 0)
        std::abort();
    for (auto _ : state) {
        int valid = 0;
        for (const std::string &text : addresses) {
            regmatch_t match{};
            valid += regexec(&expression, text.c_str(), 1, &match, 0) == 0 ? 1 : 0;
        }
        benchmark::DoNotOptimize(valid);
    }
    regfree(&expression);
}

BENCHMARK(validateKVBase)->Name("Validate/KVBase")->Unit(benchmark::kMillisecond);
BENCHMARK(validateRegexec)->Name("Validate/regexec")->Unit(benchmark::kMillisecond);

} // namespace
