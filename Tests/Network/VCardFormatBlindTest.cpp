#include <KVBase/Platform/AddressBook.h>
#include <KVBase/Platform/KVNil.h>

#include <gtest/gtest.h>

#include <QtCore/QStringDecoder>

using namespace KVBase;

namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QByteArray card(const QByteArray &lines, const QByteArray &version = "3.0")
{
    return "BEGIN:VCARD\r\nVERSION:" + version + "\r\nFN:Some One\r\nN:One;Some;;;\r\n" + lines +
           "END:VCARD\r\n";
}

/// Logical lines of a card: unfolded, without line ends.
QList<QByteArray> unfolded(QByteArray written)
{
    written.replace("\r\n ", "");
    written.replace("\r\n\t", "");
    return written.split('\n');
}

bool hasLine(const ABPerson &person, const QByteArray &line)
{
    for (QByteArray candidate : unfolded(person.vCardRepresentation())) {
        if (candidate.endsWith('\r'))
            candidate.chop(1);
        if (candidate == line)
            return true;
    }
    return false;
}

struct ReadRow {
    const char *name;
    QByteArray data;
    QString property;
    QVariant expected;
};

QVariant emails(const QStringList &list) { return list; }

TEST(ABPersonBlindTest, readsProperties)
{
    const QString note(kABNoteProperty);
    const QString organisation(kABOrganizationProperty);
    const QString email(kABEmailProperty);
    const std::vector<ReadRow> rows = {
        {"organisation", card("ORG:Kelvo Software\r\n"), organisation, text("Kelvo Software")},
        {"organisation without its units", card("ORG:Kelvo Software;Sales;North\r\n"), organisation,
         text("Kelvo Software")},
        {"escaped organisation", card("ORG:A\\;B\\, C\\\\D;Unit\r\n"), organisation, text("A;B, C\\D")},
        {"note with line breaks", card("NOTE:one\\ntwo\\Nthree\r\n"), note, text("one\ntwo\nthree")},
        {"note with an escaped backslash before n", card("NOTE:a\\\\nb\r\n"), note, text("a\\nb")},
        {"folded with a blank", card("NOTE:one \r\n two\r\n"), note, text("one two")},
        {"folded with a tab", card("NOTE:one\r\n\ttwo\r\n"), note, text("onetwo")},
        {"folded inside a character",
         card("NOTE:Gr\xC3\r\n \xBC\xC3\x9F"
              "e\r\n"),
         note, text("Gr\u00FC\u00DFe")},
        {"folded twice", card("NOTE:a\r\n b\r\n c\r\n"), note, text("abc")},
        {"folded name", card("NO\r\n TE:a\r\n"), note, text("a")},
        {"UID", card("UID:1234-abc\r\n"), QString(kABUIDProperty), text("1234-abc")},
        {"e-mails in order", card("EMAIL:b@x.example\r\nEMAIL;TYPE=WORK:a@x.example\r\n"), email,
         emails({text("b@x.example"), text("a@x.example")})},
        {"e-mails in groups", card("item1.EMAIL;type=INTERNET:a@x.example\r\nitem1.X-ABLabel:work\r\n"),
         email, emails({text("a@x.example")})},
        {"lower-case names", card("email:a@x.example\r\n"), email, emails({text("a@x.example")})},
        {"a colon in a quoted parameter", card("EMAIL;X-A=\"b:c;d\":a@x.example\r\n"), email,
         emails({text("a@x.example")})},
        {"a colon in the value", card("NOTE:see http://x.example:80/\r\n"), note,
         text("see http://x.example:80/")},
        {"4.0", card("EMAIL;PREF=1:a@x.example\r\n", "4.0"), email, emails({text("a@x.example")})},
        {"2.1 quoted-printable",
         card("NOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:Gr=C3=BC=C3=9Fe=0D=0Aan alle\r\n", "2.1"), note,
         text("Gr\u00FC\u00DFe\nan alle")},
        {"2.1 quoted-printable with soft breaks",
         card("NOTE;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:eins=\r\nzwei=\r\n=3Ddrei\r\n", "2.1"), note,
         text("einszwei=drei")},
        {"2.1 bare parameters", card("NOTE;QUOTED-PRINTABLE:a=3Db\r\n", "2.1"), note, text("a=b")},
        {"2.1 Latin-1", card("NOTE;CHARSET=ISO-8859-1;ENCODING=QUOTED-PRINTABLE:Gr=FC=DFe\r\n", "2.1"), note,
         text("Gr\u00FC\u00DFe")},
        {"2.1 bare e-mail type", card("EMAIL;INTERNET;PREF:a@x.example\r\n", "2.1"), email,
         emails({text("a@x.example")})},
        {"the company flag", card("X-ABShowAs:COMPANY\r\n"), QString(kABPersonFlags), 1},
        {"the company flag in capitals", card("X-ABSHOWAS:COMPANY\r\n"), QString(kABPersonFlags), 1},
    };
    for (const ReadRow &row : rows) {
        const Ref<ABPerson> person = ABPerson::create(row.data);
        ASSERT_NE(person, nullptr) << row.name;
        const QVariant got = person->valueForProperty(row.property);
        if (row.expected.typeId() == QMetaType::Int)
            EXPECT_EQ(got.toInt(), row.expected.toInt()) << row.name;
        else if (row.expected.typeId() == QMetaType::QStringList)
            EXPECT_EQ(got.toStringList(), row.expected.toStringList()) << row.name;
        else
            EXPECT_EQ(got.toString(), row.expected.toString())
                << row.name << ": " << qPrintable(got.toString());
    }
}

TEST(ABPersonBlindTest, readsBareLineFeeds)
{
    const Ref<ABPerson> person = ABPerson::create(QByteArray(
        "begin:vcard\nversion:3.0\nfn:x\nn:x\norg:Kelvo\nemail:a@x.example\nnote:a\n b\nend:vcard\n"));
    ASSERT_NE(person, nullptr);
    EXPECT_EQ(person->valueForProperty(kABOrganizationProperty).toString(), text("Kelvo"));
    EXPECT_EQ(person->valueForProperty(kABEmailProperty).toStringList(), QStringList{text("a@x.example")});
    EXPECT_EQ(person->valueForProperty(kABNoteProperty).toString(), text("ab"));
}

TEST(ABPersonBlindTest, readsACardBehindAByteOrderMark)
{
    const Ref<ABPerson> person = ABPerson::create("\xEF\xBB\xBF" + card("ORG:Kelvo\r\n"));
    ASSERT_NE(person, nullptr);
    EXPECT_EQ(person->valueForProperty(kABOrganizationProperty).toString(), text("Kelvo"));
}

TEST(ABPersonBlindTest, answersNilForWhatIsNoCard)
{
    const std::vector<QByteArray> rows = {
        QByteArray(),
        QByteArray(""),
        QByteArray("hello"),
        QByteArray("\0\1\2\3\xFF\xFE", 6),
        QByteArray("END:VCARD\r\n"),
        QByteArray("BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n"),
        QByteArray(100000, '\0'),
        QByteArray(100000, ':'),
    };
    for (const QByteArray &row : rows)
        EXPECT_EQ(ABPerson::create(row), nullptr) << row.left(30).constData();
}

TEST(ABPersonBlindTest, knowsNothingAtFirst)
{
    const Ref<ABPerson> person = ABPerson::create();
    for (const QLatin1StringView property :
         {kABPersonFlags, kABOrganizationProperty, kABEmailProperty, kABNoteProperty, kABUIDProperty})
        EXPECT_TRUE(person->valueForProperty(property).toStringList().isEmpty() ||
                    person->valueForProperty(property).toString().isEmpty())
            << property.data();
    EXPECT_TRUE(isNil(person->valueForProperty(kABOrganizationProperty)));
    EXPECT_TRUE(isNil(person->valueForProperty(kABNoteProperty)));
    EXPECT_TRUE(isNil(person->valueForProperty(text("No such property"))));
}

TEST(ABPersonBlindTest, readsBackWhatItWrites)
{
    const QStringList texts = {
        text("plain"),
        text("a;b,c\\d"),
        text("one\ntwo"),
        text("\\n is no break"),
        text("ends in \\"),
        text(" blanks around "),
        text("Gr\u00FC\u00DFe \U0001F600"),
        text("x").repeated(1000),
        text("\U0001F600").repeated(200),
        text("\"quoted\""),
        text("a:b=c"),
    };
    for (const QString &value : texts) {
        const Ref<ABPerson> person = ABPerson::create();
        EXPECT_TRUE(person->setValue(value, kABOrganizationProperty));
        EXPECT_TRUE(person->setValue(value, kABNoteProperty));
        EXPECT_TRUE(person->setValue(QStringList({value, text("a@x.example")}), kABEmailProperty));
        EXPECT_TRUE(person->setValue(1, kABPersonFlags));
        const Ref<ABPerson> again = ABPerson::create(person->vCardRepresentation());
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again->valueForProperty(kABOrganizationProperty).toString(), value);
        EXPECT_EQ(again->valueForProperty(kABNoteProperty).toString(), value);
        EXPECT_EQ(again->valueForProperty(kABEmailProperty).toStringList(),
                  QStringList({value, text("a@x.example")}));
        EXPECT_EQ(again->valueForProperty(kABPersonFlags).toInt(), 1);
    }
}

TEST(ABPersonBlindTest, writesVersion3)
{
    const Ref<ABPerson> person = ABPerson::create(card("EMAIL;PREF=1:a@x.example\r\n", "4.0"));
    const QByteArray written = person->vCardRepresentation();
    EXPECT_TRUE(written.startsWith("BEGIN:VCARD\r\nVERSION:3.0\r\n")) << written.constData();
    EXPECT_TRUE(written.endsWith("END:VCARD\r\n"));
    EXPECT_EQ(written.count("VERSION:"), 1);
    EXPECT_TRUE(hasLine(*person, "FN:Some One"));
}

TEST(ABPersonBlindTest, foldsLongLinesBetweenCharacters)
{
    const Ref<ABPerson> person = ABPerson::create();
    person->setValue(text("\u00FC\U0001F600\u20ACx").repeated(100), kABNoteProperty);
    const QByteArray written = person->vCardRepresentation();
    EXPECT_EQ(written.count('\n'), written.count("\r\n"));
    for (const QByteArray &line : written.split('\n')) {
        EXPECT_LE(line.size(), 76) << line.constData();
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString decoded = decoder.decode(line);
        EXPECT_FALSE(decoder.hasError() || decoded.contains(QChar(0xFFFD))) << line.constData();
    }
}

TEST(ABPersonBlindTest, keepsWhatItDoesNotKnow)
{
    const QByteArray photo = "PHOTO;ENCODING=b;TYPE=JPEG:" + QByteArray(300, 'A') + "/+==";
    const QList<QByteArray> lines = {
        photo,
        "X-KELVO;A=\"b:c;d\":one\\;two,three;four",
        "item1.URL;type=pref:http\\://x.example/",
        "item1.X-ABLabel:_$!<HomePage>!$_",
        "ADR;TYPE=WORK:;;Street 1;Town;;12345;Land",
        "TEL;TYPE=WORK,VOICE:+49 1",
        "BDAY:1970-01-01",
        "CATEGORIES:a,b",
    };
    const Ref<ABPerson> person = ABPerson::create(card(lines.join("\r\n") + "\r\nORG:Old;Unit\r\n"));
    ASSERT_NE(person, nullptr);
    person->setValue(text("New note"), kABNoteProperty);
    person->setValue(QStringList{text("new@x.example")}, kABEmailProperty);
    for (const QByteArray &line : lines)
        EXPECT_TRUE(hasLine(*person, line)) << line.constData() << "\n"
                                            << person->vCardRepresentation().constData();
    EXPECT_TRUE(hasLine(*person, "NOTE:New note"));
    const Ref<ABPerson> again = ABPerson::create(person->vCardRepresentation());
    for (const QByteArray &line : lines)
        EXPECT_TRUE(hasLine(*again, line)) << line.constData();
}

TEST(ABPersonBlindTest, replacesAndRemovesValues)
{
    const Ref<ABPerson> person =
        ABPerson::create(card("UID:1\r\nNOTE:old\r\nEMAIL:a@x.example\r\nEMAIL:b@x.example\r\n"));
    EXPECT_TRUE(person->setValue(text("new"), kABNoteProperty));
    EXPECT_EQ(person->valueForProperty(kABNoteProperty).toString(), text("new"));
    EXPECT_EQ(person->vCardRepresentation().count("NOTE"), 1);
    EXPECT_TRUE(person->removeValueForProperty(kABUIDProperty));
    EXPECT_TRUE(isNil(person->valueForProperty(kABUIDProperty)));
    EXPECT_EQ(person->vCardRepresentation().count("UID"), 0);
    EXPECT_TRUE(person->setValue(QStringList{text("c@x.example")}, kABEmailProperty));
    EXPECT_EQ(person->valueForProperty(kABEmailProperty).toStringList(), QStringList{text("c@x.example")});
    EXPECT_EQ(person->vCardRepresentation().count("EMAIL"), 1);
    EXPECT_TRUE(person->removeValueForProperty(kABEmailProperty));
    EXPECT_TRUE(person->valueForProperty(kABEmailProperty).toStringList().isEmpty());
}

bool matches(const Ref<ABPerson> &person, QLatin1StringView property, const QVariant &value,
             ABSearchComparison comparison)
{
    return ABPerson::searchElementForProperty(property, QString(), QString(), value, comparison)
        .matchesRecord(*person);
}

TEST(ABSearchElementBlindTest, comparesValues)
{
    const Ref<ABPerson> person = ABPerson::create();
    person->setValue(text("\u00C4rzte GmbH"), kABOrganizationProperty);
    person->setValue(QStringList{text("First@X.example"), text("second@x.example")}, kABEmailProperty);
    person->setValue(1, kABPersonFlags);
    using enum ABSearchComparison;
    EXPECT_TRUE(matches(person, kABPersonFlags, 1, kABEqual));
    EXPECT_FALSE(matches(person, kABPersonFlags, 9, kABEqual));
    EXPECT_FALSE(matches(person, kABPersonFlags, 0, kABEqual));
    EXPECT_TRUE(matches(person, kABOrganizationProperty, text("\u00E4RZTE"), kABPrefixMatchCaseInsensitive));
    EXPECT_TRUE(matches(person, kABOrganizationProperty, text(""), kABPrefixMatchCaseInsensitive));
    EXPECT_FALSE(matches(person, kABOrganizationProperty, text("rzte"), kABPrefixMatchCaseInsensitive));
    EXPECT_FALSE(
        matches(person, kABOrganizationProperty, text("\u00E4rzte gmbh x"), kABPrefixMatchCaseInsensitive));
    EXPECT_TRUE(matches(person, kABOrganizationProperty, text("\u00E4RZTE gmbh"), kABEqualCaseInsensitive));
    EXPECT_FALSE(matches(person, kABOrganizationProperty, text("\u00E4rzte"), kABEqualCaseInsensitive));
    EXPECT_FALSE(matches(person, kABOrganizationProperty, text("\u00E4rzte gmbh"), kABEqual));
    EXPECT_TRUE(matches(person, kABOrganizationProperty, text("\u00C4rzte GmbH"), kABEqual));
    EXPECT_TRUE(matches(person, kABEmailProperty, text("SECOND@x.example"), kABEqualCaseInsensitive));
    EXPECT_TRUE(matches(person, kABEmailProperty, text("first@x.example"), kABEqualCaseInsensitive));
    EXPECT_FALSE(matches(person, kABEmailProperty, text("third@x.example"), kABEqualCaseInsensitive));
    EXPECT_FALSE(matches(person, kABEmailProperty, text(""), kABEqualCaseInsensitive));
}

TEST(ABSearchElementBlindTest, joinsElements)
{
    const Ref<ABPerson> person = ABPerson::create();
    person->setValue(text("Kelvo"), kABOrganizationProperty);
    const auto element = [](const char *value) {
        return ABPerson::searchElementForProperty(kABOrganizationProperty, QString(), QString(), text(value),
                                                  ABSearchComparison::kABEqualCaseInsensitive);
    };
    const ABSearchElement yes = element("kelvo");
    const ABSearchElement no = element("else");
    const auto join = ABSearchElement::searchElementForConjunction;
    EXPECT_TRUE(join(ABSearchConjunction::kABSearchAnd, {yes, yes}).matchesRecord(*person));
    EXPECT_FALSE(join(ABSearchConjunction::kABSearchAnd, {yes, no}).matchesRecord(*person));
    EXPECT_TRUE(join(ABSearchConjunction::kABSearchOr, {no, yes}).matchesRecord(*person));
    EXPECT_FALSE(join(ABSearchConjunction::kABSearchOr, {no, no}).matchesRecord(*person));
    EXPECT_TRUE(
        join(ABSearchConjunction::kABSearchAnd, {yes, join(ABSearchConjunction::kABSearchOr, {no, yes})})
            .matchesRecord(*person));
}

TEST(ABPersonBlindTest, endsOnHugeAndTruncatedCards)
{
    const QByteArray whole =
        card("ORG:Kelvo\r\nNOTE;ENCODING=QUOTED-PRINTABLE:a=\r\n=3Db\r\nEMAIL:a@x.example\r\n");
    for (qsizetype size = 0; size < whole.size(); ++size) {
        const Ref<ABPerson> person = ABPerson::create(whole.left(size));
        EXPECT_TRUE(person == nullptr || ABPerson::create(person->vCardRepresentation()) != nullptr) << size;
    }

    ABPerson::create(card("NOTE:" + QByteArray("\r\n x").repeated(5000000) + "\r\n"));
    ABPerson::create(card("NOTE:" + QByteArray(50000000, 'x') + "\r\n"));
    ABPerson::create(card(QByteArray("EMAIL:a@x.example\r\n").repeated(1000000)));
    ABPerson::create(card("NOTE;ENCODING=QUOTED-PRINTABLE:" + QByteArray("=\r\n").repeated(5000000)));
    ABPerson::create(QByteArray("BEGIN:VCARD\r\n").repeated(1000000));
}

} // namespace
