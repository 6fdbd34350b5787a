#include <KVBase/Platform/KVFormatArgument.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/NSError.h>

#include <QtCore/QLocale>
#include <QtCore/QMetaObject>

namespace KVBase::KVFormatDetail
{

namespace
{

QString orNil(const QString &text) { return text.isNull() ? QStringLiteral("(null)") : text; }

QString describeList(const QVariantList &list)
{
    QStringList elements;
    for (const QVariant &element : list)
        elements.append(orNil(describe(element)));
    return QStringLiteral("(") + elements.join(QStringLiteral(", ")) + QStringLiteral(")");
}

QString describeMap(const QVariantMap &map)
{
    QStringList pairs;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        pairs.append(entry.key() + QStringLiteral(" = ") + orNil(describe(entry.value())));
    return QStringLiteral("{") + pairs.join(QStringLiteral("; ")) + QStringLiteral("}");
}

/// Whatever else a variant holds: its text, else its type.
QString describeOther(const QVariant &object)
{
    if (object.canConvert<QObject *>())
        return describe(object.value<QObject *>());
    const QString text = object.toString();
    if (!text.isNull())
        return text;
    return QStringLiteral("<%1>").arg(QLatin1StringView(object.typeName()));
}

} // namespace

QString describe(const QVariant &object)
{
    if (isNil(object))
        return {};
    switch (object.typeId()) {
    case QMetaType::QString:
        return object.toString();
    case QMetaType::Bool:
        return object.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::QUrl:
        return describe(object.toUrl());
    case QMetaType::QDateTime:
        return describe(object.toDateTime());
    case QMetaType::QByteArray:
        return describe(object.toByteArray());
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return describeList(object.toList());
    case QMetaType::QVariantMap:
        return describeMap(object.toMap());
    default:
        break;
    }
    if (object.metaType() == QMetaType::fromType<NSError>())
        return object.value<NSError>().description();
    if (object.metaType() == QMetaType::fromType<KVSelector>())
        return object.value<KVSelector>().name();
    return describeOther(object);
}

QString describe(const QObject *object)
{
    if (object == nullptr)
        return {};
    return QStringLiteral("<%1: 0x%2>")
        .arg(QLatin1StringView(object->metaObject()->className()))
        .arg(reinterpret_cast<std::uintptr_t>(object), 0, 16);
}

QString describe(const QUrl &url) { return isNil(url) ? QString() : QString::fromLatin1(url.toEncoded()); }

QString describe(const QDateTime &date)
{
    if (isNil(date))
        return {};
    const QDateTime local = date.toLocalTime();
    const int offset = local.offsetFromUtc() / 60;
    const int minutes = offset < 0 ? -offset : offset;
    return local.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss ")) +
           QStringLiteral("%1%2%3")
               .arg(QLatin1Char(offset < 0 ? '-' : '+'))
               .arg(minutes / 60, 2, 10, QLatin1Char('0'))
               .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QString describe(const QByteArray &data)
{
    QByteArray text;
    for (qsizetype at = 0; at < data.size(); at += 4) {
        if (at > 0)
            text += ' ';
        text += data.mid(at, 4).toHex();
    }
    return QStringLiteral("<") + QString::fromLatin1(text) + QStringLiteral(">");
}

QString describe(const std::exception &exception) { return QString::fromUtf8(exception.what()); }

} // namespace KVBase::KVFormatDetail
