#include <KVBase/Relaunch.h>

#include "Platform/Services/Applications.h"

#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QFile>
#include <QtGui/QAction>

namespace KVBase::Relaunch
{

namespace
{

constexpr QLatin1StringView kLanguagesKey{"AppleLanguages"};
constexpr QLatin1StringView kLocaleKey{"AppleLocale"};

/// The title as the user sees it: without a key combination after a tab, a mnemonic in parentheses ("(&D)")
/// or the mark of one in the text, where two marks stand for the sign itself.
QString titleOf(const QAction &item)
{
    const QString text = item.text().section(u'\t', 0, 0);
    QString title;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool inParentheses = text.mid(i, 2) == u"(&" && text.mid(i + 3, 1) == u")";
        if (inParentheses) {
            i += 3;
            title = title.trimmed();
        } else if (text.at(i) != u'&')
            title.append(text.at(i));
        else if (text.mid(i + 1, 1) == u"&")
            title.append(text.at(++i));
    }
    return title;
}

bool storeAndRelaunch(QObject *sender, QLatin1StringView key, QVariant (*valueOf)(const QString &title))
{
    const auto *item = qobject_cast<QAction *>(sender);
    if (item == nullptr)
        return false;
    NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
    defaults.setObject(valueOf(titleOf(*item)), key);
    // The new process reads the file, which may be before this one has ended in order.
    defaults.synchronize();
    relaunch();
    return true;
}

void removePreference(QLatin1StringView key)
{
    NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
    defaults.removeObjectForKey(key);
    defaults.synchronize();
}

} // namespace

void relaunch()
{
    const QString path = NSBundle::mainBundle()->bundlePath();
    qputenv("LAUNCH_PATH", QFile::encodeName(path));
    Service<Applications>::current()->relaunchAfterExit(path);
    if (NSApplication *const application = NSApplication::sharedApplication())
        application->terminate(nullptr);
}

bool relaunchUsingLocalization(QObject *sender)
{
    return storeAndRelaunch(sender, kLanguagesKey,
                            [](const QString &title) { return QVariant(QVariantList{title}); });
}

bool relaunchUsingLocale(QObject *sender)
{
    return storeAndRelaunch(sender, kLocaleKey, [](const QString &title) { return QVariant(title); });
}

void removeLocalizationPreference(QObject *) { removePreference(kLanguagesKey); }

void removeLocalePreference(QObject *) { removePreference(kLocaleKey); }

} // namespace KVBase::Relaunch
