#include <KVBase/Platform/NSApplication.h>

#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtCore/QPointer>
#include <QtCore/QThread>

namespace KVBase
{

namespace
{

QPointer<QObject> &delegatePointer()
{
    static QPointer<QObject> *const only = new QPointer<QObject>;
    return *only;
}

/// A delegate that has no say agrees.
bool delegateAgrees(QObject *delegate)
{
    if (delegate == nullptr || delegate->metaObject()->indexOfMethod("applicationShouldTerminate()") < 0)
        return true;
    bool agrees = true;
    QMetaObject::invokeMethod(delegate, "applicationShouldTerminate", Qt::DirectConnection,
                              Q_RETURN_ARG(bool, agrees));
    return agrees;
}

/// The form that message catalogues expect: "de_AT:de".
QByteArray languageList(const QVariantList &languages)
{
    QStringList names;
    for (const QVariant &language : languages) {
        if (language.typeId() == QMetaType::QString && !language.toString().isEmpty())
            names.append(language.toString().replace(u'-', u'_'));
    }
    return names.join(u':').toUtf8();
}

} // namespace

NSApplication *NSApplication::sharedApplication()
{
    static NSApplication *const only = new NSApplication;
    return QCoreApplication::instance() != nullptr ? only : nullptr;
}

void NSApplication::applyLanguagePreferences()
{
    const NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
    const auto languages = defaults.arrayForKey(QStringLiteral("AppleLanguages"));
    const QByteArray list = languageList(languages.value_or(QVariantList()));
    if (!list.isEmpty())
        qputenv("LANGUAGE", list);
    const QString locale = defaults.stringForKey(QStringLiteral("AppleLocale"));
    if (!locale.isEmpty())
        QLocale::setDefault(QLocale(locale));
    else if (!list.isEmpty())
        QLocale::setDefault(QLocale(QString::fromUtf8(list).section(u':', 0, 0)));
}

QObject *NSApplication::delegate() const { return delegatePointer(); }

void NSApplication::setDelegate(QObject *delegate) { delegatePointer() = delegate; }

void NSApplication::terminate(QObject *)
{
    QCoreApplication *const application = QCoreApplication::instance();
    if (application == nullptr || !delegateAgrees(delegate()))
        return;
    // Qt forgets a request to quit that comes before its loop runs.
    if (QThread::currentThread()->loopLevel() == 0)
        QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
    else
        QCoreApplication::quit();
}

} // namespace KVBase
