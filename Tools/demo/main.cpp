#include <KVBase/KVBase.h>

#include <iostream>

using namespace KVBase;

namespace
{

[[gnu::noinline]] int divide(int dividend, int divisor) { return dividend / divisor; }

/// Not known to be 0 when this is compiled.
volatile int numberOfFriends = 0;

} // namespace

/// The application of `./kv demo`: it logs, says whether it crashed last time, and crashes when it is told
/// to.
int main(int argc, char **argv)
{
    KVCrashReporter::install();
    KVLogSetDefaultDestination();
    KVLogOpen(qEnvironmentVariable("DEMO_LOG"));
    std::cout << InfoDictionary::fullProductName().toStdString() << ", "
              << InfoDictionary::versionString().toStdString() << std::endl;
    if (argc > 1 && std::string_view(argv[1]) == "crash") {
        NSLog("%@ divides a cake among %d friends.", InfoDictionary::bundleName(), numberOfFriends);
        KVLog("A piece for each: %d", divide(12, numberOfFriends));
    }
    std::cout << (CrashReport::newCrashLogExists() ? "It crashed last time."
                                                   : "It did not crash since the last look.")
              << std::endl;
    return 0;
}
