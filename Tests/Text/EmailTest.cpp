#include "Platform/Services/Bundles.h"
#include "Support/CapturedLog.h"

#include <KVBase/Email.h>
#include <KVBase/Platform/NSBundle.h>

#include <gtest/gtest.h>

#include <thread>

namespace KVBase
{
namespace
{

NSError reasonFor(const QString &address)
{
    NSError error;
    EXPECT_FALSE(Email::isValidEmailAddressWithError(address, &error)) << qPrintable(address);
    return error;
}

TEST(EmailTest, PlausibleAddressesAreValid)
{
    const char *const addresses[] = {
        "someone@host.com", "a@b.de",       " a@b.de ",     "\n\ta@b.de\r\n",   "\u00a0a@b.de\xe2\x80\xa8",
        "a,b@host.com",     "a+b@host.com", "a/b@host.com", "{a|b}~@host.com",  "a?b=c@host.com",
        "!#$%&'*@host.com", "^_`@host.com", "-.@host.com",  "a@b.c.d-e.museum", "a@b.travel",
        "a@1.2.3.de",       "a@-.de",       "a@..de",       ".@b.de",           "A@B.DE",
        "0@0.aa",
    };
    for (const char *address : addresses) {
        EXPECT_TRUE(Email::isValidEmailAddress(QString::fromUtf8(address))) << address;
        NSError error(QStringLiteral("before"), 1, {});
        EXPECT_TRUE(Email::isValidEmailAddressWithError(QString::fromUtf8(address), &error)) << address;
        EXPECT_EQ(error.domain(), QStringLiteral("before"));
    }
}

struct Row {
    const char *address;
    int code;
};

TEST(EmailTest, TheReasonSaysWhichPartIsWrong)
{
    const Row rows[] = {
        {"", 1001},
        {" ", 1001},
        {"nobody", 1001},
        {"a.b.c", 1001},
        {"@", 1101},
        {"@host.com", 1101},
        {" @host.com", 1110},
        {"a b@host.com", 1110},
        {"a\tb@host.com", 1110},
        {" a@b", 1110},
        {" ä@b.de", 1110},
        {"ä @b.de", 1110},
        {"a\nb@host.com", 1112},
        {"a\u00a0b@host.com", 1112},
        {"ä@host.com", 1111},
        {"a(b@host.com", 1111},
        {"a\"b@host.com", 1111},
        {"a+b@c", 1112},
        {"a,b@host", 1112},
        {"\xe4\xb8\xad@host.com", 1112},
        {"\xf0\x9f\x98\x80@host.com", 1112},
        {"a@host", 1002},
        {"a%_-@host", 1002},
        {"a.b@host", 1003},
        {"a.b.@host", 1003},
        {"a@host.", 1301},
        {"a@host.com.", 1301},
        {"a@.", 1301},
        {"a@.de", 1201},
        {"a@host.c", 1305},
        {"a@host. ", 1305},
        {"a@host.\xc3\xa4", 1305},
        {"a@host.company", 1306},
        {"a@host.1234567", 1306},
        {"a@host.a1b", 1302},
        {"a@host.a 1", 1302},
        {"a@host.a b", 1310},
        {"a@host.com ä", 1310},
        {"a@host.c\tm", 1310},
        {"a@host.c-m", 1311},
        {"a@host.c_m", 1311},
        {"a@host.c\xc3\xa4m", 1311},
        {"a@host.\xf0\x9f\x98\x80", 1312},
        {"a@host.c@m", 1312},
        {"a@host.c\nm", 1312},
        {"a@ho st.com", 1210},
        {"a@ho\tst_.com", 1210},
        {"a@ho_st.com", 1211},
        {"a@h\xc3\xb6st.com", 1211},
        {"a@b@host.com", 1212},
        {"a@@host.com", 1212},
        {"a@h,st.com", 1212},
        {"a@h\xe4\xb8\xad.com", 1212},
        {"a@\n.com", 1212},
    };
    for (const Row &row : rows) {
        const QString address = QString::fromUtf8(row.address);
        EXPECT_FALSE(Email::isValidEmailAddress(address)) << row.address;
        EXPECT_EQ(reasonFor(address).code(), row.code) << row.address;
        EXPECT_EQ(reasonFor(address).domain(), QStringLiteral("KVEmailValidationErrorDomain"));
        EXPECT_FALSE(Email::isValidEmailAddressWithError(address, nullptr)) << row.address;
        NSError error;
        EXPECT_FALSE(Email::isValidEmailAddress(address, &error)) << row.address;
        EXPECT_EQ(error.code(), row.code) << row.address;
    }
    EXPECT_FALSE(Email::isValidEmailAddress(QString()));
    EXPECT_EQ(reasonFor(QString()).code(), 1001);
}

TEST(EmailTest, ANulEndsNothing)
{
    const QString nul(1, QChar(0));
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("a@b.de)") + nul));
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("a@b.de") + nul));
    EXPECT_EQ(reasonFor(QStringLiteral("a") + nul + QStringLiteral("@b.de")).code(), 1112);
    EXPECT_EQ(reasonFor(QStringLiteral("a@b.de") + nul).code(), 1312);
    EXPECT_EQ(reasonFor(QStringLiteral("a@b") + nul + QStringLiteral(".de")).code(), 1212);
}

TEST(EmailTest, ParenthesesInTheAddressAreNotTheWrappedOnes)
{
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("(a@b.de)")));
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("a@b.de)")));
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("x(a@b.de)")));
    EXPECT_EQ(reasonFor(QStringLiteral("(a@b.de)")).code(), 1111);
}

struct TextRow {
    const char *address;
    int code;
    const char *title;
    const char *message;
};

constexpr char kWhitespace[] =
    "The e-mail address you provided contains unallowed characters like \"space\".\n\n"
    "Please enter a valid e-mail address.";
constexpr char kUndefined[] = "The e-mail address you provided contains an unallowed character.\n\n"
                              "Please enter a valid e-mail address.";
constexpr char kNoTopLevel[] =
    "The e-mail address you provided doesn't contain a top level domain like .com or .de.\n\n"
    "Please enter the top level domain of the e-mail address.";

TEST(EmailTest, TheTextsAreThoseOfTheContract)
{
    const TextRow rows[] = {
        {"nobody", 1001, "No \"@\" character found.",
         "There is no @ character in the e-mail address you provided.\n\n"
         "Please enter the e-mail address with an @ dividing mailbox name from domain."},
        {"a@host", 1002, "No top level domain given.", kNoTopLevel},
        {"a.b@host", 1003, "No top level domain given.", kNoTopLevel},
        {"a@host.", 1301, "No top level domain given.", kNoTopLevel},
        {"@host.com", 1101, "No mailbox name given.",
         "You did not enter a mailbox name.\n\nPlease enter a mailbox name (name before @ sign) to the "
         "e-mail address."},
        {"a b@host.com", 1110, "Mailbox name contains whitespace.", kWhitespace},
        {"x\xc3\xa4\xc3\xb6@host.com", 1111, "Mailbox name contains unallowed character.",
         "The e-mail address you provided contains the unallowed character \"\xc3\xa4\".\n\n"
         "Please enter a valid e-mail address."},
        {"a+b@c", 1112, "Mailbox name contains unallowed character.", kUndefined},
        {"a@.de", 1201, "No domain name given.",
         "The e-mail address you provided doesn't contain a domain name.\n\n"
         "Please enter the domain name of the mail provider."},
        {"a@ho st.com", 1210, "Domain name contains whitespace.", kWhitespace},
        {"a@ho_st.com", 1211, "Domain name contains unallowed character.",
         "The e-mail addressy you provided contains the unallowed character \"_\".\n\n"
         "Please enter a valid e-mail address."},
        {"a@ho%st.com", 1211, "Domain name contains unallowed character.",
         "The e-mail addressy you provided contains the unallowed character \"%\".\n\n"
         "Please enter a valid e-mail address."},
        {"a@b@host.com", 1212, "Domain name contains unallowed character.", kUndefined},
        {"a@host.a1b", 1302, "Top level domain contains numbers.",
         "You've entered a number after the last dot. Top level domain never contain numbers.\n\n"
         "Please enter the top level domain of the e-mail address correctly."},
        {"a@host.c", 1305, "Top level domain name is only one character long.",
         "The top level domain name in the e-mail address you provided is only one character long. Top level "
         "domain "
         "names has to be two characters long at least.\n\nPlease enter a valid e-mail address."},
        {"a@host.company", 1306, "Top level domain name is more than six characters long.",
         "The top level domain name in the e-mail address you provided is at least seven characters long. "
         "Top level "
         "domain names can not be longer than six characters.\n\nPlease enter a valid e-mail address."},
        {"a@host.a b", 1310, "Top level domain name contains whitespace.", kWhitespace},
        {"a@host.c-m", 1311, "Top level domain name contains unallowed character.",
         "The e-mail address you provided contains the unallowed character \"-\".\n\n"
         "Please enter a valid e-mail address."},
        {"a@host.c@m", 1312, "Top level domain name contains unallowed character.", kUndefined},
    };
    for (const TextRow &row : rows) {
        const NSError error = reasonFor(QString::fromUtf8(row.address));
        EXPECT_EQ(error.code(), row.code) << row.address;
        EXPECT_EQ(error.userInfo().value(QStringLiteral("NSLocalizedDescription")).toString(),
                  QString::fromUtf8(row.title))
            << row.address;
        EXPECT_EQ(error.userInfo().value(QStringLiteral("NSLocalizedFailureReason")).toString(),
                  QString::fromUtf8(row.message))
            << row.address;
        EXPECT_EQ(error.userInfo().size(), 2) << row.address;
    }
}

TEST(EmailTest, EveryUnallowedCharacterIsNamed)
{
    const QString letters = QStringLiteral("äöüßÄÖÜáàâéèêíìîóòôúùûÁÀÂÉÈÊÍÌÎÓÒÔÚÙÛñÑåÅøØçÇıŒÆæœ");
    ASSERT_EQ(letters.size(), 50);
    const QString core = QStringLiteral("±()<>[]∑∂") + letters + QStringLiteral("!\"§|´°¡¿≠¶¢");
    ASSERT_EQ(core.size(), 70);
    const QString domain = core + QStringLiteral("+_%/={}*$&'#`^?~");
    const auto quoted = [](QChar unit) {
        return QStringLiteral("character \"") + unit + QStringLiteral("\".\n");
    };
    for (const QChar unit : core)
        EXPECT_TRUE(reasonFor(QLatin1Char('a') + unit + QStringLiteral("@b.c"))
                        .localizedFailureReason()
                        .contains(quoted(unit)))
            << int{unit.unicode()};
    for (const QChar unit : domain) {
        const NSError error = reasonFor(QStringLiteral("a@b") + unit + QStringLiteral(".de"));
        EXPECT_EQ(error.code(), 1211) << int{unit.unicode()};
        EXPECT_TRUE(error.localizedFailureReason().contains(quoted(unit))) << int{unit.unicode()};
        EXPECT_EQ(reasonFor(QStringLiteral("a@b.d") + unit + QStringLiteral("e")).code(), 1311)
            << int{unit.unicode()};
    }
    for (const QChar unit : QStringLiteral("+/={}*$&'#`^?~,;:\\"))
        EXPECT_EQ(reasonFor(QLatin1Char('a') + unit + QStringLiteral("@b")).code(), 1112)
            << int{unit.unicode()};
    for (const QChar unit : QStringLiteral(",;:\\€½"))
        EXPECT_EQ(reasonFor(QStringLiteral("a@b") + unit + QStringLiteral(".de")).code(), 1212)
            << int{unit.unicode()};
}

TEST(EmailTest, ThePartsAreLogged)
{
    Tests::CapturedLog log;
    const auto linesFor = [&log](const char *address) {
        log.clear();
        NSError error;
        Email::isValidEmailAddressWithError(QString::fromUtf8(address), &error);
        return log.lines();
    };
    EXPECT_EQ(linesFor("a@b.de"), QStringList());
    EXPECT_EQ(linesFor("nobody"), QStringList());
    EXPECT_EQ(linesFor("@b.de"), QStringList());
    EXPECT_EQ(linesFor("a b@c.d"), QStringList("mailbox name: a b"));
    EXPECT_EQ(linesFor("a@b"), QStringList("mailbox name: a"));
    EXPECT_EQ(linesFor("a@b.c"), QStringList({"mailbox name: a", "toplevel name: c"}));
    EXPECT_EQ(linesFor("a@.de"), QStringList({"mailbox name: a", "toplevel name: de"}));
    EXPECT_EQ(linesFor("a%d@b_%s.c.de"),
              QStringList({"mailbox name: a%d", "toplevel name: de", "domain name: b_%s.c"}));
    log.clear();
    EXPECT_FALSE(Email::isValidEmailAddressWithError(QStringLiteral("a b@c.d"), nullptr));
    EXPECT_FALSE(Email::isValidEmailAddress(QStringLiteral("a b@c.d")));
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(EmailTest, LongAndForeignTextsAreAnswered)
{
    const QString many(100000, QLatin1Char('a'));
    EXPECT_TRUE(Email::isValidEmailAddress(many + QStringLiteral("@") + many + QStringLiteral(".de")));
    EXPECT_EQ(reasonFor(many).code(), 1001);
    EXPECT_EQ(reasonFor(many + QStringLiteral("ä@b.de")).code(), 1111);
    EXPECT_EQ(
        reasonFor(QStringLiteral("a@") + QString(100000, QLatin1Char('@')) + QStringLiteral(".de")).code(),
        1212);
    EXPECT_EQ(reasonFor(QString(100000, QLatin1Char('('))).code(), 1001);
    EXPECT_EQ(reasonFor(QStringLiteral("\u05d0\u202e@b.de")).code(), 1112);
    EXPECT_EQ(reasonFor(QString(QChar(0xd800)) + QStringLiteral("@b.de")).code(), 1112);
}

TEST(EmailTest, TheEnglishTableLeavesTheSharedKeyOut)
{
    const QString missing = QStringLiteral("MAIL_ADDRESS_UNALLOWED_CHARACTER_MESSAGE");
    const Ref<NSBundle> bundle = NSBundle::frameworkBundle();
    EXPECT_EQ(bundle->localizedStringForKey(missing, QStringLiteral("default"), QStringLiteral("KVBase")),
              QStringLiteral("default"));
    for (const char *key : {"UNKONWN_ERROR_TITLE", "UNKONWN_ERROR_MESSAGE", "TOP_LEVEL_DOMAIN_TO_SHORT_TITLE",
                            "MAIL_ADDRESS_UNALLOWED_CHARACTER_UNDEFINED_MESSAGE"})
        EXPECT_NE(bundle->localizedStringForKey(QLatin1String(key), QStringLiteral("default"),
                                                QStringLiteral("KVBase")),
                  QStringLiteral("default"))
            << key;
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("UNKONWN_ERROR_TITLE"), QString(),
                                            QStringLiteral("KVBase")),
              QStringLiteral("An unknown error occured."));
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("UNKONWN_ERROR_MESSAGE"), QString(),
                                            QStringLiteral("KVBase")),
              QStringLiteral(
                  "The e-mail address you provided could not be validated because of an unknown error.\n\n"
                  "Please retype the e-mail address completly and try again."));
}

TEST(EmailThreads, ManyThreadsMayAsk)
{
    std::vector<std::thread> threads;
    std::vector<int> right(4);
    for (std::size_t i = 0; i < right.size(); ++i) {
        threads.emplace_back([&right, i] {
            for (int round = 0; round < 100; ++round) {
                NSError error;
                if (Email::isValidEmailAddress(QStringLiteral("a@b.de")) &&
                    !Email::isValidEmailAddressWithError(QStringLiteral("a@b.c"), &error) &&
                    error.code() == 1305)
                    ++right[i];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right, std::vector<int>(4, 100));
}

} // namespace
} // namespace KVBase
