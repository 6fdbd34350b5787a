// Validation with a reason for the user, ranges of a regular expression, versions in order, digests.
#include <KVBase/KVBase.h>

#include <cstdio>

using namespace KVBase;

int main()
{
    NSError error;
    if (!Email::isValidEmailAddress(QStringLiteral("jane@example"), &error))
        std::printf("%s\n", qPrintable(error.localizedFailureReason()));

    const QString text = QStringLiteral("Version 2.1 (Rev. 12345)");
    const Ref<CSRegex> revision = CSRegex::regexWithPattern(QStringLiteral("Rev\\. ([0-9]+)"));
    std::printf("%s\n", qPrintable(revision->matchedSubstringOfString(text)));

    const bool older = VersionCheck::compareVersion(QStringLiteral("10.4.9"), QStringLiteral("10.4.10")) < 0;
    std::printf("%s\n", older ? "10.4.9 is older" : "10.4.9 is not older");
    std::printf("%s\n", qPrintable(MD5Extensions::md5(QStringLiteral("abc"))));
}
