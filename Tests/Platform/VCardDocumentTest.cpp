#include "Platform/VCardDocument.h"

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

QByteArray card(const QByteArray &lines, const QByteArray &version = "3.0")
{
    return "BEGIN:VCARD\r\nVERSION:" + version + "\r\n" + lines + "END:VCARD\r\n";
}

VCardDocument only(const QByteArray &bytes)
{
    const std::vector<VCardDocument> all = VCardDocument::readAll(bytes);
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? VCardDocument() : all.front();
}

struct TextRow {
    const char *what;
    QByteArray bytes;
    const char *property;
    const char *expected;
};

TEST(VCardDocumentTest, ReadsATextOfEveryVersion)
{
    const TextRow rows[] = {
        {"plain", card("FN:Ann Example\r\n"), "FN", "Ann Example"},
        {"line feeds alone", "BEGIN:VCARD\nVERSION:3.0\nFN:Ann\nEND:VCARD\n", "FN", "Ann"},
        {"carriage returns alone", "BEGIN:VCARD\rVERSION:3.0\rFN:Ann\rEND:VCARD\r", "FN", "Ann"},
        {"no line end behind the last line", "BEGIN:VCARD\nFN:Ann\nEND:VCARD", "FN", "Ann"},
        {"names in any case", "begin:vcard\nversion:3.0\nfn:Ann\nend:vcard\n", "FN", "Ann"},
        {"escapes", card("NOTE:a\\nb\\Nc\\,d\\;e\\\\f\\:g\r\n"), "NOTE", "a\nb\nc,d;e\\f:g"},
        {"a backslash at the end", card("NOTE:a\\\r\n"), "NOTE", "a\\"},
        {"folded with a blank", card("NOTE:one tw\r\n o three\r\n"), "NOTE", "one two three"},
        {"folded with a tab", card("NOTE:one\r\n\t two\r\n"), "NOTE", "one two"},
        {"folded within a character", card("NOTE:x\xc3\r\n \xa4y\r\n"), "NOTE", "xäy"},
        {"a group", card("item1.EMAIL:a@b.de\r\n"), "EMAIL", "a@b.de"},
        {"parameters", card("EMAIL;TYPE=INTERNET,WORK;TYPE=pref:a@b.de\r\n"), "EMAIL", "a@b.de"},
        {"a colon in quotation marks", card("EMAIL;X-A=\"b:c;d\":a@b.de\r\n"), "EMAIL", "a@b.de"},
        {"a colon in the value", card("URL:http://a/b\r\n"), "URL", "http://a/b"},
        {"Latin-1 without a word", card("FN:J\xf6rg\r\n"), "FN", "Jörg"},
        {"UTF-8", card("FN:Jörg €\r\n"), "FN", "Jörg €"},
        {"a byte order mark", "\xef\xbb\xbf" + card("FN:Ann\r\n"), "FN", "Ann"},
        {"2.1 quoted-printable", card("FN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:J=C3=B6rg\r\n", "2.1"),
         "FN", "Jörg"},
        {"2.1 without the parameter's name", card("FN;QUOTED-PRINTABLE:a=3Db\r\n", "2.1"), "FN", "a=b"},
        {"2.1 in Latin-1", card("FN;CHARSET=ISO-8859-1;ENCODING=QUOTED-PRINTABLE:J=F6rg\r\n", "2.1"), "FN",
         "Jörg"},
        {"2.1 soft line breaks", card("NOTE;ENCODING=QUOTED-PRINTABLE:one=20=\r\ntwo=\r\n three\r\n", "2.1"),
         "NOTE", "one two three"},
        {"2.1 line breaks", card("NOTE;ENCODING=QUOTED-PRINTABLE:one=0D=0Atwo\r\n", "2.1"), "NOTE",
         "one\ntwo"},
        {"2.1 bad quoted-printable", card("NOTE;ENCODING=QUOTED-PRINTABLE:a=ZZb=4\r\n", "2.1"), "NOTE",
         "a=ZZb=4"},
        {"2.1 semicolon and comma in a text", card("NOTE:a;b,c\\;d\r\n", "2.1"), "NOTE", "a;b,c;d"},
        {"2.1 bare types", card("TEL;HOME;VOICE:+1 555\r\n", "2.1"), "TEL", "+1 555"},
        {"2.1 folding keeps the blank", card("NOTE:one\r\n two\r\n", "2.1"), "NOTE", "one two"},
        {"4.0", card("FN:Ann\r\n", "4.0"), "FN", "Ann"},
        {"4.0 with an address as value", card("TEL;VALUE=uri;TYPE=\"voice,home\":tel:+1-555\r\n", "4.0"),
         "TEL", "tel:+1-555"},
        {"an empty value", card("NOTE:\r\n"), "NOTE", ""},
        {"lines that make no sense around it",
         "\r\nhello\r\n" + card("nonsense\r\n:x\r\n;a:b\r\na b:c\r\nFN:Ann\r\n=\r\n") + "bye", "FN", "Ann"},
    };
    for (const TextRow &row : rows) {
        const QString text = only(row.bytes).text(row.property);
        EXPECT_EQ(text, QString::fromUtf8(row.expected)) << row.what;
        EXPECT_FALSE(text.isNull()) << row.what;
    }
    EXPECT_TRUE(only(card("FN:Ann\r\n")).text("NOTE").isNull());
}

TEST(VCardDocumentTest, ReadsUTF16WithAByteOrderMark)
{
    const QString text = QString::fromUtf8(card("FN:Jörg\r\n"));
    QByteArray little("\xff\xfe");
    QByteArray big("\xfe\xff");
    for (const QChar unit : text) {
        little.append(static_cast<char>(unit.unicode() & 0xff))
            .append(static_cast<char>(unit.unicode() >> 8));
        big.append(static_cast<char>(unit.unicode() >> 8)).append(static_cast<char>(unit.unicode() & 0xff));
    }
    EXPECT_EQ(only(little).text("FN"), QStringLiteral("Jörg"));
    EXPECT_EQ(only(big).text("FN"), QStringLiteral("Jörg"));
}

TEST(VCardDocumentTest, DividesStructuredValues)
{
    EXPECT_EQ(only(card("ORG:Kelvo\\; Software;Sales,North;\r\n")).components("ORG"),
              QStringList({"Kelvo; Software", "Sales,North", ""}));
    EXPECT_EQ(only(card("ORG:A\\;B;C\r\n", "2.1")).components("ORG"), QStringList({"A;B", "C"}));
    EXPECT_EQ(only(card("ORG;ENCODING=QUOTED-PRINTABLE:K=C3=B6ln;C\r\n", "2.1")).components("ORG"),
              QStringList({"Köln", "C"}));
    EXPECT_TRUE(only(card("")).components("ORG").isEmpty());
}

TEST(VCardDocumentTest, ReadsSeveralCardsAndSkipsBrokenOnes)
{
    const std::vector<VCardDocument> all = VCardDocument::readAll(
        card("FN:One\r\n") + "rubbish\r\n" + card("FN:Two\r\n") + "BEGIN:VCARD\r\nFN:Three\r\n");
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].text("FN"), QStringLiteral("One"));
    EXPECT_EQ(all[1].text("FN"), QStringLiteral("Two"));
    for (const QByteArray &bytes :
         {QByteArray(), QByteArray("BEGIN:VCARD"), QByteArray("FN:Ann\r\nEND:VCARD\r\n"),
          QByteArray("BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n"), QByteArray(1000, '\0'),
          QByteArray("\x7f"
                     "ELF\x01\x02\n\n\r\r"),
          card("FN:Ann\r\n").chopped(5)})
        EXPECT_TRUE(VCardDocument::readAll(bytes).empty()) << bytes.left(20).constData();
}

TEST(VCardDocumentTest, ACardWithinTheCardIsKeptButIsNotTheCard)
{
    const QByteArray inner = "BEGIN:VCARD\r\nFN:Agent\r\nEMAIL:agent@b.de\r\nEND:VCARD\r\n";
    const VCardDocument outer =
        only("BEGIN:VCARD\r\nVERSION:2.1\r\nAGENT:\r\n" + inner + "FN:Ann\r\nEND:VCARD\r\n");
    EXPECT_EQ(outer.text("FN"), QStringLiteral("Ann"));
    EXPECT_TRUE(outer.texts("EMAIL").isEmpty());
    EXPECT_TRUE(outer.write().contains(inner));
    EXPECT_EQ(only(outer.write()).text("FN"), QStringLiteral("Ann"));
}

TEST(VCardDocumentTest, WritesVersionThree)
{
    EXPECT_EQ(VCardDocument().write(),
              QByteArray("BEGIN:VCARD\r\nVERSION:3.0\r\nN:;;;;\r\nFN:\r\nEND:VCARD\r\n"));
    EXPECT_EQ(only(card("N:Example;Ann;;;\r\nFN:Ann Example\r\n", "2.1")).write(),
              card("N:Example;Ann;;;\r\nFN:Ann Example\r\n"));
    EXPECT_EQ(only(card("N:Example;Ann;;;\r\n")).write(), card("FN:Ann Example\r\nN:Example;Ann;;;\r\n"));
    EXPECT_EQ(only(card("N:;;;;\r\nORG:A\\, B;C\r\n")).write(),
              card("FN:A\\, B\r\nN:;;;;\r\nORG:A\\, B;C\r\n"));
    EXPECT_EQ(only(card("N:;;;;\r\nEMAIL:a@b.de\r\n")).write(),
              card("FN:a@b.de\r\nN:;;;;\r\nEMAIL:a@b.de\r\n"));
}

TEST(VCardDocumentTest, WhatItDoesNotKnowIsKept)
{
    const QByteArray lines =
        "N:;;;;\r\nFN:Ann\r\nitem1.URL;type=pref:http://a/b?c\\;d\r\nitem1.X-ABLabel:_$!<HomePage>!$_\r\n"
        "X-Foo-Bar;X-P=\"a;b:c\";LANGUAGE=de:v\\;w;x\\,y\r\nPHOTO;ENCODING=b;TYPE=JPEG:/9j/4AAQ\r\n"
        "IMPP;X-SERVICE-TYPE=Jabber:xmpp:ann@b.de\r\n";
    EXPECT_EQ(only(card(lines)).write(), card(lines));
}

struct RewrittenRow {
    const char *what;
    QByteArray bytes;
    QByteArray lines;
};

TEST(VCardDocumentTest, WhatIsWrittenOfACardReadsAsTheSameCard)
{
    const RewrittenRow rows[] = {
        {"two charsets", card("NOTE;CHARSET=UTF-8;CHARSET=UTF-16:J\xc3\xb6rg\r\n"), "NOTE:Jörg\r\n"},
        {"an unknown charset", card("NOTE;CHARSET=UTF-4:J\xc3\xb6rg\r\n"), "NOTE:Jörg\r\n"},
        {"two encodings", card("NOTE;QUOTED-PRINTABLE;ENCODING=8BIT:a=3Db\r\n", "2.1"), "NOTE:a=b\r\n"},
        {"line breaks of version 3.0", card("NOTE;ENCODING=QUOTED-PRINTABLE:a=0Ab=0D=0Ac=0Dd\r\n"),
         "NOTE:a\\nb\\nc\\nd\r\n"},
        {"line breaks out of a charset",
         card("NOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-16LE:a=00=0A=00b=00\r\n"), "NOTE:a\\nb\r\n"},
        {"an end in disguise", card("END;ENCODING=QUOTED-PRINTABLE:VCAR=45\r\nNOTE:x\r\n"),
         "END:VCARE\r\nNOTE:x\r\n"},
        {"a card in disguise", card("BEGIN;ENCODING=QUOTED-PRINTABLE:=56CARD\r\nNOTE:x\r\nEND:VCARD\r\n"),
         "BEGIN:VCARD\r\nNOTE:x\r\nEND:VCARD\r\n"},
        {"what is no parameter", card("NOTE;A&B=c;\"d;e\";;X=\"f;g\":x\r\n"),
         "NOTE;A&B=c;\"d;e\";X=\"f;g\":x\r\n"},
        {"bytes that are no UTF-8 in a parameter", card("NOTE;X=\xe7\xe7:x\r\n"), "NOTE;X=\xe7\xe7:x\r\n"},
        {"a soft line break before a blank", card("NOTE;QUOTED-PRINTABLE:one=\r\n two\r\n", "2.1"),
         "NOTE:one two\r\n"},
        {"a key as a text", card("KEY;VALUE=text:abc\r\n", "4.0"), "KEY;VALUE=text:abc\r\n"},
        {"data with carriage returns alone",
         card("PHOTO;BASE64:/9j/\r\n4AAQ\r\n\r\n", "2.1").replace('\n', ""), "PHOTO;ENCODING=b:/9j/4AAQ\r\n"},
    };
    for (const RewrittenRow &row : rows) {
        const QByteArray expected = card("N:;;;;\r\nFN:\r\n" + row.lines);
        EXPECT_EQ(only(row.bytes).write(), expected) << row.what;
        EXPECT_EQ(only(expected).write(), expected) << row.what;
    }
}

TEST(VCardDocumentTest, PhotosAreKept)
{
    const VCardDocument old = only("BEGIN:VCARD\r\nVERSION:2.1\r\nPHOTO;JPEG;ENCODING=BASE64:\r\n /9j/\r\n "
                                   "4AAQ\r\n\r\nFN:Ann\r\nEND:VCARD\r\n");
    EXPECT_TRUE(old.write().contains("PHOTO;TYPE=JPEG;ENCODING=b:/9j/4AAQ\r\n")) << old.write().constData();
    EXPECT_EQ(old.text("FN"), QStringLiteral("Ann"));
    const VCardDocument bare =
        only("BEGIN:VCARD\r\nVERSION:2.1\r\nPHOTO;BASE64:/9j/\r\n4AAQ\r\n\r\nFN:Ann\r\nEND:VCARD\r\n");
    EXPECT_TRUE(bare.write().contains("PHOTO;ENCODING=b:/9j/4AAQ\r\n")) << bare.write().constData();
    const VCardDocument recent = only(card("PHOTO:data:image/png;base64,iVBORw0K\r\n", "4.0"));
    EXPECT_TRUE(recent.write().contains("PHOTO;VALUE=uri:data:image/png;base64,iVBORw0K\r\n"));
}

TEST(VCardDocumentTest, FoldsAtSeventyFiveBytesAndNeverWithinACharacter)
{
    VCardDocument document;
    const QString text = QString(200, QLatin1Char('a')) + QString(200, QChar(u'€')) + QStringLiteral("😀");
    document.setTexts("NOTE", {text});
    const QByteArray written = document.write();
    for (const QByteArray &line : written.split('\n')) {
        EXPECT_LE(line.size(), 76);
        EXPECT_TRUE(line.isValidUtf8());
    }
    EXPECT_TRUE(written.contains("NOTE:" + QByteArray(70, 'a') + "\r\n " + QByteArray(74, 'a') + "\r\n "));
    EXPECT_EQ(only(written).text("NOTE"), text);
}

TEST(VCardDocumentTest, TextsCannotAddLines)
{
    VCardDocument document;
    const QString text = QStringLiteral("a\r\nEND:VCARD\nb\rc;d,e\\n") + QString(QChar(0xd800));
    document.setTexts("NOTE", {text});
    const VCardDocument again = only(document.write());
    EXPECT_EQ(again.text("NOTE"), QStringLiteral("a\nEND:VCARD\nb\nc;d,e\\n\ufffd"));
    EXPECT_EQ(again.lines.size(), 3U);
}

TEST(VCardDocumentTest, ReplacesAtThePlaceOfTheFirst)
{
    VCardDocument document = only(card("EMAIL:a@b.de\r\nNOTE:x\r\nemail:c@d.de\r\nFN:y\r\nN:z\r\n"));
    EXPECT_EQ(document.texts("EMAIL"), QStringList({"a@b.de", "c@d.de"}));
    document.setTexts("EMAIL", {QStringLiteral("1"), QStringLiteral("2")});
    EXPECT_EQ(document.write(), card("EMAIL:1\r\nEMAIL:2\r\nNOTE:x\r\nFN:y\r\nN:z\r\n"));
    EXPECT_TRUE(document.remove("email"));
    EXPECT_FALSE(document.remove("EMAIL"));
    EXPECT_EQ(document.write(), card("NOTE:x\r\nFN:y\r\nN:z\r\n"));
}

TEST(VCardDocumentTest, HugeCardsTakeProportionateTime)
{
    const QByteArray folds = QByteArray(" x\r\n").repeated(500000);
    EXPECT_EQ(only(card("NOTE:\r\n" + folds)).text("NOTE").size(), 500000);
    const QByteArray soft = QByteArray("x=\r\n").repeated(500000);
    EXPECT_EQ(only(card("NOTE;ENCODING=QUOTED-PRINTABLE:" + soft + "\r\n", "2.1")).text("NOTE").size(),
              500000);
    EXPECT_EQ(only(card(QByteArray("EMAIL:a@b.de\r\n").repeated(10000))).texts("EMAIL").size(), 10000);
    const QByteArray nested = QByteArray("BEGIN:VCARD\r\n").repeated(100000);
    EXPECT_TRUE(VCardDocument::readAll(nested).empty());
    EXPECT_EQ(VCardDocument::readAll(nested + QByteArray("END:VCARD\r\n").repeated(100000)).size(), 1U);
    EXPECT_EQ(only(card("PHOTO;ENCODING=b:" + QByteArray(8000000, 'A') + "\r\nFN:Ann\r\n")).text("FN"),
              QStringLiteral("Ann"));
    EXPECT_TRUE(VCardDocument::readAll(QByteArray(8000000, ';')).empty());
    const QByteArray returns =
        "BEGIN:VCARD\r" + QByteArray("EMAIL:a@b.de\r").repeated(100000) + "END:VCARD\r";
    EXPECT_EQ(only(returns).texts("EMAIL").size(), 100000);
}

} // namespace
} // namespace KVBase
