#include "Platform/LanguageChoice.h"

#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QLocale>

namespace KVBase
{

namespace
{

/// A tag in lower case with hyphens; an English language name becomes its code.
QString normalizedLanguage(const QString &name)
{
    const QString tag = QString(name).replace(u'_', u'-').toLower();
    if (tag.size() <= 3 || tag.contains(u'-'))
        return tag;
    for (const QLocale &locale :
         QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyCountry)) {
        if (QLocale::languageToString(locale.language()).compare(name, Qt::CaseInsensitive) == 0)
            return QLocale::languageToCode(locale.language());
    }
    return tag;
}

/// "zh-hans-cn", "zh-hans", "zh".
QStringList fromExactToGeneral(const QString &language)
{
    QStringList forms{language};
    while (forms.constLast().contains(u'-'))
        forms.append(forms.constLast().section(u'-', 0, -2));
    return forms;
}

QStringList localizationsFor(const QString &language, const QStringList &available)
{
    QStringList found;
    const QStringList forms = fromExactToGeneral(normalizedLanguage(language));
    for (const QString &form : forms) {
        for (const QString &name : available) {
            if (normalizedLanguage(name) == form)
                found.append(name);
        }
    }
    if (!found.isEmpty())
        return found;
    // Another region's form of the language is better than another language.
    for (const QString &name : available) {
        if (normalizedLanguage(name).section(u'-', 0, 0) == forms.constLast())
            return {name};
    }
    return {};
}

} // namespace

QStringList preferredLanguages()
{
    const auto chosen = NSUserDefaults::standardUserDefaults().arrayForKey(QStringLiteral("AppleLanguages"));
    QStringList languages;
    for (const QVariant &language : chosen.value_or(QVariantList())) {
        if (language.typeId() == QMetaType::QString && !language.toString().isEmpty())
            languages.append(language.toString());
    }
    return languages.isEmpty() ? QLocale::system().uiLanguages() : languages;
}

QStringList chosenLocalizations(const QStringList &available, const QStringList &preferred,
                                const QString &developmentRegion)
{
    QStringList chosen;
    for (const QString &language : preferred) {
        chosen = localizationsFor(language, available);
        if (!chosen.isEmpty())
            break;
    }
    for (const QString &language : {developmentRegion, QStringLiteral("en")}) {
        if (!language.isEmpty())
            chosen.append(localizationsFor(language, available));
    }
    chosen.removeDuplicates();
    return chosen;
}

} // namespace KVBase
