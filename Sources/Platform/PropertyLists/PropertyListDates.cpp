#include "Platform/PropertyLists/PropertyListDates.h"

#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>

namespace KVBase::PropertyLists
{

QDateTime dateFromText(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(
        "\\A(-?[0-9]{1,6})-([0-9]{1,2})-([0-9]{1,2})T([0-9]{1,2}):([0-9]{1,2}):([0-9]{1,2})Z\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return {};
    const auto part = [&match](int index) { return match.capturedView(index).toInt(); };
    const QDate day(part(1), part(2), part(3));
    const QTime time(part(4), part(5), part(6));
    return day.isValid() && time.isValid() ? QDateTime(day, time, Qt::UTC) : QDateTime();
}

QString textFromDate(const QDateTime &date)
{
    const QDateTime moment = date.toUTC();
    const QDate day = moment.date();
    const QString year = QString::number(qAbs(day.year())).rightJustified(4, u'0');
    return (day.year() < 0 ? QStringLiteral("-") : QString()) + year +
           QLocale::c().toString(day, QStringLiteral("-MM-dd")) +
           QLocale::c().toString(moment.time(), QStringLiteral("'T'HH:mm:ss'Z'"));
}

} // namespace KVBase::PropertyLists
