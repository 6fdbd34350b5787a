#include "Support/CapturedLog.h"
#include "Support/StubBundles.h"

#include <KVBase/Email.h>

#include <gtest/gtest.h>

#include <vector>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

struct Reason {
    const char *name;
    QString address;
    std::int32_t code;
    QString title;
    QString message;
};

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

const QString whitespaceMessage = QStringLiteral(
    "The e-mail address you provided contains unallowed characters like \"space\".\n\nPlease enter a valid "
    "e-mail address.");
const QString undefinedMessage = QStringLiteral(
    "The e-mail address you provided contains an unallowed character.\n\nPlease enter a valid e-mail "
    "address.");
const QString noTopLevelTitle = QStringLiteral("No top level domain given.");
const QString noTopLevelMessage =
    QStringLiteral("The e-mail address you provided doesn't contain a top level domain like .com or "
                   ".de.\n\nPlease enter the top level domain of the e-mail address.");

const std::u16string letters = u"äöüßÄÖÜáàâéèêíìîóòôúùûÁÀÂÉÈÊÍÌÎÓÒÔÚÙÛñÑåÅøØçÇıŒÆæœ";
const std::u16string mailboxSet = u"\u00b1()<>[]\u2211\u2202" + letters + u"!\"§|\u00b4°¡¿\u2260¶¢";
const std::u16string domainSet =
    u"+_%\u00b1()/=<>[]{}*\u2211\u2202" + letters + u"!\"§$&'|#\u00b4`^°!?¡¿\u2260¶¢~";

std::vector<Reason> everyReason()
{
    return {
        {"nothing at all", QStringLiteral(""), 1001, QStringLiteral("No \"@\" character found."),
         QStringLiteral("There is no @ character in the e-mail address you provided.\n\nPlease enter the "
                        "e-mail address with an @ dividing mailbox name from domain.")},
        {"no mailbox", QStringLiteral("@kelvo.com"), 1101, QStringLiteral("No mailbox name given."),
         QStringLiteral("You did not enter a mailbox name.\n\nPlease enter a mailbox name (name before @ "
                        "sign) to the e-mail address.")},
        {"blank in the mailbox", QStringLiteral("a b@kelvo.com"), 1110,
         QStringLiteral("Mailbox name contains whitespace."), whitespaceMessage},
        {"letter in the mailbox", QStringLiteral("xäö@kelvo.com"), 1111,
         QStringLiteral("Mailbox name contains unallowed character."), unallowed(u'ä')},
        {"other sign in the mailbox", QStringLiteral("a+b@c"), 1112,
         QStringLiteral("Mailbox name contains unallowed character."), undefinedMessage},
        {"no dot", QStringLiteral("a@b"), 1002, noTopLevelTitle, noTopLevelMessage},
        {"dot in the mailbox only", QStringLiteral("a.b@c"), 1003, noTopLevelTitle, noTopLevelMessage},
        {"dot at the end", QStringLiteral("a@b."), 1301, noTopLevelTitle, noTopLevelMessage},
        {"no domain", QStringLiteral("a@.de"), 1201, QStringLiteral("No domain name given."),
         QStringLiteral("The e-mail address you provided doesn't contain a domain name.\n\nPlease enter the "
                        "domain name of the mail provider.")},
        {"blank in the domain", QStringLiteral("a@b c.de"), 1210,
         QStringLiteral("Domain name contains whitespace."), whitespaceMessage},
        {"underscore in the domain", QStringLiteral("a@b_c.de"), 1211,
         QStringLiteral("Domain name contains unallowed character."), unallowedInDomain(u'_')},
        {"two at signs", QStringLiteral("a@b@c.de"), 1212,
         QStringLiteral("Domain name contains unallowed character."), undefinedMessage},
        {"digit in the top-level domain", QStringLiteral("a@b.d1e"), 1302,
         QStringLiteral("Top level domain contains numbers."),
         QStringLiteral("You've entered a number after the last dot. Top level domain never contain "
                        "numbers.\n\nPlease enter the top level domain of the e-mail address correctly.")},
        {"one letter", QStringLiteral("a@b.c"), 1305,
         QStringLiteral("Top level domain name is only one character long."),
         QStringLiteral("The top level domain name in the e-mail address you provided is only one character "
                        "long. Top level domain names has to be two characters long at least.\n\nPlease "
                        "enter a valid e-mail address.")},
        {"seven letters", QStringLiteral("a@b.abcdefg"), 1306,
         QStringLiteral("Top level domain name is more than six characters long."),
         QStringLiteral("The top level domain name in the e-mail address you provided is at least seven "
                        "characters long. Top level domain names can not be longer than six "
                        "characters.\n\nPlease enter a valid e-mail address.")},
        {"blank in the top-level domain", QStringLiteral("a@b.d e"), 1310,
         QStringLiteral("Top level domain name contains whitespace."), whitespaceMessage},
        {"hyphen in the top-level domain", QStringLiteral("a@b.d-e"), 1311,
         QStringLiteral("Top level domain name contains unallowed character."), unallowed(u'-')},
        {"at sign in the top-level domain", QStringLiteral("a@b.d@e"), 1312,
         QStringLiteral("Top level domain name contains unallowed character."), undefinedMessage},
    };
}

} // namespace

TEST(KVEmailBlindTest, EveryReasonHasItsCodeTitleAndMessage)
{
    for (const Reason &row : everyReason()) {
        const NSError error = diagnose(row.address);
        EXPECT_EQ(error.code(), row.code) << row.name;
        EXPECT_EQ(error.domain(), QStringLiteral("KVEmailValidationErrorDomain")) << row.name;
        const QVariantMap expected{{QStringLiteral("NSLocalizedDescription"), row.title},
                                   {QStringLiteral("NSLocalizedFailureReason"), row.message}};
        EXPECT_EQ(error.userInfo(), expected)
            << row.name << qPrintable(error.localizedDescription() + error.localizedFailureReason());
        EXPECT_EQ(error.localizedDescription(), row.title) << row.name;
        EXPECT_EQ(error.localizedFailureReason(), row.message) << row.name;
    }
    EXPECT_EQ(QString(KVEmailValidationErrorDomain), QStringLiteral("KVEmailValidationErrorDomain"));
}

TEST(KVEmailBlindTest, ReasonsAreTestedInTheirOrder)
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

TEST(KVEmailBlindTest, EveryUnitOfTheSetsIsQuoted)
{
    ASSERT_EQ(mailboxSet.size(), 70u);
    ASSERT_EQ(domainSet.size(), 87u);
    for (const char16_t unit : mailboxSet) {
        const NSError error = diagnose(QStringLiteral("x") + QChar(unit) + QStringLiteral("y@z"));
        EXPECT_EQ(error.code(), 1111) << unit;
        EXPECT_EQ(error.localizedFailureReason(), unallowed(unit)) << unit;
    }
    for (const char16_t unit : domainSet) {
        const NSError error = diagnose(QStringLiteral("a@x") + QChar(unit) + QStringLiteral("y.de"));
        EXPECT_EQ(error.code(), 1211) << unit;
        EXPECT_EQ(error.localizedFailureReason(), unallowedInDomain(unit)) << unit;
    }
    for (const char16_t unit : u"-" + domainSet) {
        const NSError error = diagnose(QStringLiteral("a@x.y") + QChar(unit) + QStringLiteral("z"));
        EXPECT_EQ(error.code(), 1311) << unit;
        EXPECT_EQ(error.localizedFailureReason(), unallowed(unit)) << unit;
    }
}

TEST(KVEmailBlindTest, UnitsOutsideTheSetsAreNotQuoted)
{
    // In the domain set, but not in that of the mailbox.
    for (const char16_t unit : std::u16string(u"+/={}*$&'#`^?~"))
        EXPECT_EQ(diagnose(QStringLiteral("x") + QChar(unit) + QStringLiteral("y@z")).code(), 1112) << unit;
    // Close relatives of the units in the sets.
    for (const char16_t unit : std::u16string(u"ãÃõëËïÏÿ£€•–…,;:\\\u03a3\u00a8")) {
        EXPECT_EQ(diagnose(QStringLiteral("x") + QChar(unit) + QStringLiteral("y@z")).code(), 1112) << unit;
        EXPECT_EQ(diagnose(QStringLiteral("a@x") + QChar(unit) + QStringLiteral("y.de")).code(), 1212)
            << unit;
        EXPECT_EQ(diagnose(QStringLiteral("a@x.y") + QChar(unit) + QStringLiteral("z")).code(), 1312) << unit;
    }
}

TEST(KVEmailBlindTest, TheFirstUnitInThePartIsQuoted)
{
    EXPECT_EQ(diagnose(QStringLiteral("a+öä@b.d")).localizedFailureReason(), unallowed(u'ö'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b,~_c.de")).localizedFailureReason(), unallowedInDomain(u'~'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b.c,%-")).localizedFailureReason(), unallowed(u'%'));
}

TEST(KVEmailBlindTest, ValidAddresses)
{
    const QString valid[] = {
        QStringLiteral("a@b.de"),
        QStringLiteral("a,b@c.de"),
        QStringLiteral("  a@b.de\t"),
        QStringLiteral("\r\n a@b.de \n"),
        QStringLiteral("A.B-c_d%e@F-1.g.CO"),
        QStringLiteral("a+b@c.de"),
        QStringLiteral("!#$%&'*+-/=?^_`{|}~@b.de"),
        QStringLiteral("a@..de"),
        QStringLiteral("a@-.de"),
        QStringLiteral(".@b.de"),
        QStringLiteral("a@1.abcdef"),
        QStringLiteral("0@9.zz"),
        QStringLiteral("\u00a0a@b.de\u3000"),
        QStringLiteral("\u2028a@b.de\u0085"),
        QString(100000, u'x') + QStringLiteral("@b.de"),
        QStringLiteral("a@") + QString(100000, u'x') + QStringLiteral(".de"),
    };
    for (const QString &address : valid) {
        EXPECT_TRUE(Email::isValidEmailAddress(address)) << qPrintable(address.left(60));
        NSError error(QStringLiteral("kept"), 7, {});
        EXPECT_TRUE(Email::isValidEmailAddressWithError(address, &error)) << qPrintable(address.left(60));
        EXPECT_EQ(error.domain(), QStringLiteral("kept"));
        EXPECT_EQ(error.code(), 7);
        EXPECT_TRUE(Email::isValidEmailAddressWithError(address, nullptr));
        EXPECT_TRUE(Email::isValidEmailAddress(address, &error));
    }
}

TEST(KVEmailBlindTest, InvalidAddresses)
{
    const QString invalid[] = {
        QString(),
        QStringLiteral(""),
        QStringLiteral("a@b.d"),
        QStringLiteral("a@b.abcdefg"),
        QStringLiteral("a@b.d1"),
        QStringLiteral("a@b.d-e"),
        QStringLiteral("a b@c.de"),
        QStringLiteral("(a@b.de)"),
        QStringLiteral("a@b.de)(c@d.de"),
        QStringLiteral("a@b.de)"),
        QStringLiteral("a\"b@c.de"),
        QStringLiteral("a(b)@c.de"),
        QStringLiteral("<a@b.de>"),
        QStringLiteral("a@b.de c@d.de"),
        QStringLiteral("a@b.de\nc@d.de"),
        QStringLiteral("a@b,c.de"),
        QStringLiteral("a@b/c.de"),
        QStringLiteral("a;b@c.de"),
        QStringLiteral("a:b@c.de"),
        QStringLiteral("a@b.dé"),
        QStringLiteral("é@b.de"),
        QStringLiteral("a@é.de"),
        QStringLiteral("a@b.de") + QChar(0),
        QStringLiteral("a@b.de)") + QChar(0),
        QStringLiteral("a\u200b@b.de"),
    };
    for (const QString &address : invalid) {
        EXPECT_FALSE(Email::isValidEmailAddress(address)) << qPrintable(address);
        EXPECT_FALSE(Email::isValidEmailAddressWithError(address, nullptr)) << qPrintable(address);
    }
}

TEST(KVEmailBlindTest, ParenthesesDoNotFoolThePartsTests)
{
    EXPECT_EQ(diagnose(QStringLiteral("a)(b@c")).localizedFailureReason(), unallowed(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b.de)")).localizedFailureReason(), unallowed(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("a@b)(c.de")).localizedFailureReason(), unallowedInDomain(u')'));
    EXPECT_EQ(diagnose(QStringLiteral("(a@b.de)")).code(), 1111);
    const QString cut = QStringLiteral("a@b.de)") + QChar(0);
    EXPECT_EQ(diagnose(cut).localizedFailureReason(), unallowed(u')'));
}

TEST(KVEmailBlindTest, ThePartsAreLoggedInTheirOrder)
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

TEST(KVEmailBlindTest, TheFrameworksTableIsAskedByKey)
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

TEST(KVEmailBlindTest, HugeInputsAreDiagnosed)
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
