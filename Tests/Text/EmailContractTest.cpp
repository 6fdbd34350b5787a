#include "Support/CapturedLog.h"
#include "Support/StubBundles.h"

#include <KVBase/Email.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

NSError diagnose(const QString &address)
{
    NSError error;
    EXPECT_FALSE(Email::isValidEmailAddressWithError(address, &error)) << qPrintable(address);
    return error;
}

QString unallowed(char16_t unit)
{
    return QStringLiteral("The e-mail address you provided contains the unallowed character \"") +
           QChar(unit) + QStringLiteral("\".\n\nPlease enter a valid e-mail address.");
}

QString unallowedInDomain(char16_t unit)
{
    return QStringLiteral("The e-mail addressy you provided contains the unallowed character \"") +
           QChar(unit) + QStringLiteral("\".\n\nPlease enter a valid e-mail address.");
}

TEST(EmailContractTest, ReasonsAreTestedInTheirOrder)
{
    const struct {
        const char *name;
        QString address;
        std::int32_t code;
    } rows[] = {
        {"only an at sign", QStringLiteral("@"), 1101},
        {"two at signs and nothing else", QStringLiteral("@@"), 1101},
        {"only blanks", QStringLiteral("   "), 1001},
        {"only a line break", QStringLiteral("\n"), 1001},
        {"only a dot", QStringLiteral("."), 1001},
        {"no at sign beats bad signs", QStringLiteral("a ä.b"), 1001},
        {"a blank before the at sign", QStringLiteral(" @b.de"), 1110},
        {"the text is not trimmed for the diagnosis", QStringLiteral(" a@b"), 1110},
        {"a tab", QStringLiteral("a\tb@c.de"), 1110},
        {"whitespace beats an earlier bad letter", QStringLiteral("ä b@c.de"), 1110},
        {"a line break is no whitespace", QStringLiteral("a\nb@c.de"), 1112},
        {"a carriage return is no whitespace", QStringLiteral("a\rb@c.de"), 1112},
        {"a no-break space is no whitespace", QStringLiteral("a\u00a0b@c.de"), 1112},
        {"an ideographic space is no whitespace", QStringLiteral("a\u3000b@c.de"), 1112},
        {"an emoji is in no set", QStringLiteral("😀@c.de"), 1112},
        {"a backslash is in no set", QStringLiteral("a\\b@c.de"), 1112},
        {"a colon is in no set", QStringLiteral("a:b@c.de"), 1112},
        {"a comma is fit for the yes/no test only", QStringLiteral("a,b@c"), 1112},
        {"a sign of the domain set only", QStringLiteral("a=b@c"), 1112},
        {"an exclamation mark is in the mailbox set", QStringLiteral("a!b@c"), 1111},
        {"the mailbox comes before the missing dot", QStringLiteral("ä@b"), 1111},
        {"the mailbox comes before the top-level domain", QStringLiteral("ä@b.c"), 1111},
        {"a missing dot", QStringLiteral("a@"), 1002},
        {"a missing dot in a bad domain", QStringLiteral("a@b c"), 1002},
        {"a dot before the at sign only", QStringLiteral(".@"), 1003},
        {"a dot right before the at sign", QStringLiteral("a.@b"), 1003},
        {"a dot at the end of all", QStringLiteral("a@."), 1301},
        {"a second dot at the end", QStringLiteral("a@b.de."), 1301},
        {"a dot and a blank at the end", QStringLiteral("a@b. "), 1305},
        {"one digit is one character", QStringLiteral("a@b.1"), 1305},
        {"a one-letter top level comes before the empty domain", QStringLiteral("a@.d"), 1305},
        {"seven digits are seven characters", QStringLiteral("a@b.1234567"), 1306},
        {"seven blanks are seven characters", QStringLiteral("a@b.d      e"), 1306},
        {"digits beat whitespace", QStringLiteral("a@b.1 e"), 1302},
        {"digits beat bad letters", QStringLiteral("a@b.ä1"), 1302},
        {"only digits", QStringLiteral("a@b.12"), 1302},
        {"a trailing blank counts once the address is wrong", QStringLiteral("a@b_c.de "), 1310},
        {"a trailing line break is in no set", QStringLiteral("a@b_c.de\n"), 1312},
        {"whitespace beats bad letters in the top level", QStringLiteral("a@b.ä e"), 1310},
        {"digits of another script are in no set", QStringLiteral("a@b.d\u0663"), 1312},
        {"an emoji is two units", QStringLiteral("a@b.😀"), 1312},
        {"three emojis are six units", QStringLiteral("a@b.😀😀😀"), 1312},
        {"three emojis and a letter are seven units", QStringLiteral("a@b.😀😀😀a"), 1306},
        {"the top level comes before the domain", QStringLiteral("a@b_c.d"), 1305},
        {"whitespace beats bad letters in the domain", QStringLiteral("a@ä b.de"), 1210},
        {"a tab in the domain", QStringLiteral("a@b\tc.de"), 1210},
        {"a line break in the domain", QStringLiteral("a@b\nc.de"), 1212},
        {"a comma in the domain", QStringLiteral("a@b,c.de"), 1212},
        {"a NUL in the mailbox", QStringLiteral("a") + QChar(0) + QStringLiteral("b@c.de"), 1112},
        {"a NUL in the domain", QStringLiteral("a@b") + QChar(0) + QStringLiteral("c.de"), 1212},
        {"a NUL in the top level", QStringLiteral("a@b.d") + QChar(0) + QStringLiteral("e"), 1312},
    };
    for (const auto &row : rows)
        EXPECT_EQ(diagnose(row.address).code(), row.code) << row.name;
}

TEST(EmailContractTest, UnitsOutsideTheSetsAreNotQuoted)
{
    // In the domain set, but not in that of the mailbox.
    for (const char16_t unit : std::u16string(u"+/={}*$&'#`^?~"))
        EXPECT_EQ(diagnose(QStringLiteral("x") + QChar(unit) + QStringLiteral("y@z")).code(), 1112)
            << int(unit);
    // Close relatives of the units in the sets.
    for (const char16_t unit : std::u16string(u"ãÃõëËïÏÿ£€•–…,;:\\\u03a3\u00a8")) {
        EXPECT_EQ(diagnose(QStringLiteral("x") + QChar(unit) + QStringLiteral("y@z")).code(), 1112)
            << int(unit);
        EXPECT_EQ(diagnose(QStringLiteral("a@x") + QChar(unit) + QStringLiteral("y.de")).code(), 1212)
            << int(unit);
        EXPECT_EQ(diagnose(QStringLiteral("a@x.y") + QChar(unit) + QStringLiteral("z")).code(), 1312)
            << int(unit);
    }
}

TEST(EmailContractTest, ParenthesesDoNotFoolThePartsTests)
{
    EXPECT_EQ(diagnose(QStringLiteral("a)(b@c")).localizedFailureReason(), unallowed(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b.de)")).localizedFailureReason(), unallowed(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b)(c.de")).localizedFailureReason(), unallowedInDomain(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("(a@b.de)")).code(), 1111);
    const QString cut = QStringLiteral("a@b.de)") + QChar(0);
    EXPECT_EQ(diagnose(cut).localizedFailureReason(), unallowed(u')'));
}

TEST(EmailContractTest, ThePartsAreLoggedInTheirOrder)
{
    const QString mailbox = QStringLiteral("mailbox name: a");
    const struct {
        QString address;
        QStringList lines;
    } rows[] = {
        {QStringLiteral("abc"), {}},
        {QStringLiteral("@b.de"), {}},
        {QStringLiteral("a%d%s b@c.de"), {QStringLiteral("mailbox name: a%d%s b")}},
        {QStringLiteral("ä@b.d"), {QStringLiteral("mailbox name: ä")}},
        {QStringLiteral("a@b"), {mailbox}},
        {QStringLiteral("a@b."), {mailbox}},
        {QStringLiteral("a@b.c"), {mailbox, QStringLiteral("toplevel name: c")}},
        {QStringLiteral("a@b.d@e"), {mailbox, QStringLiteral("toplevel name: d@e")}},
        {QStringLiteral("a@.de"), {mailbox, QStringLiteral("toplevel name: de")}},
        {QStringLiteral("a@x.b_c.de"),
         {mailbox, QStringLiteral("toplevel name: de"), QStringLiteral("domain name: x.b_c")}},
        {QStringLiteral("a@b@c.de"),
         {mailbox, QStringLiteral("toplevel name: de"), QStringLiteral("domain name: b@c")}},
        {QStringLiteral("a@%d%s .de"),
         {mailbox, QStringLiteral("toplevel name: de"), QStringLiteral("domain name: %d%s ")}},
    };
    CapturedLog log;
    for (const auto &row : rows) {
        log.clear();
        diagnose(row.address);
        EXPECT_EQ(log.lines(), row.lines) << qPrintable(row.address);
    }
    log.clear();
    NSError error;
    Email::isValidEmailAddressWithError(QStringLiteral("a@b.de"), &error);
    Email::isValidEmailAddressWithError(QStringLiteral("a@b.c"), nullptr);
    Email::isValidEmailAddress(QStringLiteral("a b@c"));
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(EmailContractTest, TheFrameworksTableIsAskedByKey)
{
    BundleFolder folder({{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.kelvo.KVBase")}});
    folder.addResource(QStringLiteral("KVBase.strings"),
                       "\"MAIL_ADDRESS_UNALLOWED_CHARACTER_MESSAGE\" = \"[%C]\";\n"
                       "\"DOMAIN_NAME_UNALLOWED_CHARACTER_TITLE\" = \"Domain!\";\n"
                       "\"UNKONWN_ERROR_TITLE\" = \"never\";\n"
                       "\"TOP_LEVEL_DOMAIN_TO_SHORT_TITLE\" = \"Short!\";\n"
                       "\"TOP_LEVEL_DOMAIN_TO_LONG_MESSAGE\" = \"Long %C %@ 100%!\";\n"
                       "\"NO_TOP_LEVEL_DOMAIN_MESSAGE\" = \"None!\";\n"
                       "\"MAIL_ADDRESS_WITH_WHITESPACE_MESSAGE\" = \"Blank!\";\n");
    StubBundles bundles;
    bundles.framework = folder.bundle();
    bundles.main = NSBundle::mainBundle();
    const ScopedService<Bundles> guard(&bundles);

    const struct {
        const char *address;
        const char *title;
        const char *message;
    } rows[] = {
        {"\xc3\xa4@b.de", "Mailbox name contains unallowed character.", "[\xc3\xa4]"},
        {"a@b_c.de", "Domain!", "[_]"},
        {"a@b@c.de", "Domain!",
         "The e-mail address you provided contains an unallowed character.\n\nPlease enter a valid e-mail "
         "address."},
        {"a@b.d-e", "Top level domain name contains unallowed character.", "[-]"},
        {"a@b.c", "Short!",
         "The top level domain name in the e-mail address you provided is only one character long. Top "
         "level domain names has to be two characters long at least.\n\nPlease enter a valid e-mail "
         "address."},
        {"a@b.abcdefg", "Top level domain name is more than six characters long.", "Long %C %@ 100%!"},
        {"a@b", "No top level domain given.", "None!"},
        {"a.b@c", "No top level domain given.", "None!"},
        {"a@b.", "No top level domain given.", "None!"},
        {"a b@c.de", "Mailbox name contains whitespace.", "Blank!"},
        {"a@b c.de", "Domain name contains whitespace.", "Blank!"},
        {"a@b.d e", "Top level domain name contains whitespace.", "Blank!"},
    };
    for (const auto &row : rows) {
        const NSError error = diagnose(QString::fromUtf8(row.address));
        EXPECT_EQ(error.localizedDescription().toStdString(), row.title) << row.address;
        EXPECT_EQ(error.localizedFailureReason().toStdString(), row.message) << row.address;
    }
}

TEST(EmailContractTest, HugeInputsAreDiagnosed)
{
    const QString huge(100000, u'x');
    EXPECT_EQ(diagnose(huge).code(), 1001);
    EXPECT_EQ(diagnose(huge + QStringLiteral("@b")).code(), 1002);
    EXPECT_EQ(diagnose(QStringLiteral("a@b.") + huge).code(), 1306);
    EXPECT_EQ(diagnose(QStringLiteral("a@") + huge + QStringLiteral("_.de")).code(), 1211);
    EXPECT_EQ(diagnose(QString(100000, u'@')).code(), 1101);
    EXPECT_EQ(diagnose(QStringLiteral("a") + QString(100000, u'.') + QStringLiteral("@")).code(), 1003);
    EXPECT_EQ(diagnose(QString(100000, u' ') + QStringLiteral("a@b")).code(), 1110);
}

struct AddressRow {
    const char *address;
    int code;
};

TEST(EmailContractTest, TheTopLevelHasTwoToSixLetters)
{
    const AddressRow rows[] = {
        {"a@b.d", 1305},
        {"a@b.de", 0},
        {"a@b.com", 0},
        {"a@b.info", 0},
        {"a@b.local", 0},
        {"a@b.museum", 0},
        {"a@b.abcdefg", 1306},
        {"a@b.DE", 0},
        {"a@b.d1", 1302},
        {"a@b.1", 1305},
        {"a@b.d-", 1311},
        {"a@b.d1-", 1302},
        {"a@b.12345678", 1306},
        {"a@b.d,e", 1312},
        {"a@b .de", 1210},
        {"\x0b"
         "a@b.de\x0c",
         0},
        {"a@b.de\xe2\x80\x8b", 1312},
    };
    for (const AddressRow &row : rows) {
        NSError error(QStringLiteral("before"), 0, {});
        const QString address = QString::fromUtf8(row.address);
        EXPECT_EQ(Email::isValidEmailAddressWithError(address, &error), row.code == 0) << row.address;
        EXPECT_EQ(error.code(), row.code) << row.address;
        EXPECT_EQ(error.domain() == QStringLiteral("before"), row.code == 0) << row.address;
    }
}

TEST(EmailContractTest, TheCharacterThatComesFirstInThePartIsQuoted)
{
    const auto messageFor = [](const char *address) {
        NSError error;
        EXPECT_FALSE(Email::isValidEmailAddressWithError(QString::fromUtf8(address), &error));
        return error.localizedFailureReason();
    };
    EXPECT_EQ(messageFor("a,!>(@b.de@"),
              QStringLiteral("The e-mail address you provided contains the unallowed character \"!\".\n\n"
                             "Please enter a valid e-mail address."));
    EXPECT_EQ(messageFor("a@b,~_.de"),
              QStringLiteral("The e-mail addressy you provided contains the unallowed character \"~\".\n\n"
                             "Please enter a valid e-mail address."));
    EXPECT_EQ(messageFor("a@b.d;%-"),
              QStringLiteral("The e-mail address you provided contains the unallowed character \"%\".\n\n"
                             "Please enter a valid e-mail address."));
}

} // namespace
} // namespace KVBase
