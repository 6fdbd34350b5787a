#include <KVBase/VersionCheck.h>

#include <QtCore/QLatin1StringView>
#include <QtCore/QStringView>

#include <algorithm>
#include <limits>

namespace KVBase::VersionCheck
{

namespace
{

constexpr int kFinalRelease = 4;

std::int32_t order(std::int64_t a, std::int64_t b) { return a < b ? -1 : (a > b ? 1 : 0); }

bool isDigit(QChar character) { return character >= u'0' && character <= u'9'; }

/// `value` with `digit` appended, held within 64 bits; digits of a negative number are subtracted.
std::int64_t appendDigit(std::int64_t value, int digit, bool negative)
{
    std::int64_t scaled = 0;
    const std::int64_t addend = negative ? -digit : digit;
    if (__builtin_mul_overflow(value, std::int64_t{10}, &scaled) ||
        __builtin_add_overflow(scaled, addend, &scaled))
        return negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    return scaled;
}

/// Blanks, a sign and digits at the start of the text; 0 without digits.
std::int64_t leadingInteger(QStringView text)
{
    qsizetype at = 0;
    while (at < text.size() && (text[at] == u' ' || text[at] == u'\t'))
        ++at;
    const bool negative = at < text.size() && text[at] == u'-';
    if (negative || (at < text.size() && text[at] == u'+'))
        ++at;
    std::int64_t value = 0;
    for (; at < text.size() && isDigit(text[at]); ++at)
        value = appendDigit(value, text[at].unicode() - u'0', negative);
    return value;
}

/// The character in lower case where it can be part of a marker, which is ASCII only.
char16_t lowerCased(QChar character)
{
    const char16_t unit = character.unicode();
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

/// What the pre-release markers of one component say.
struct Markers {
    int rank = kFinalRelease;
    /// The number after the last letter of the marker set.
    std::int64_t number = 0;
};

Markers markersOf(QStringView component)
{
    Markers markers;
    qsizetype lastPiece = 0;
    char16_t previous = 0;
    for (qsizetype at = 0; at < component.size(); ++at) {
        const char16_t unit = lowerCased(component[at]);
        int rank = kFinalRelease;
        if (unit == u'd')
            rank = 0;
        else if (unit == u'a')
            rank = 1;
        else if (unit == u'b')
            rank = 2;
        else if (unit == u'c' && (previous == u'f' || previous == u'r'))
            rank = 3;
        markers.rank = std::min(markers.rank, rank);
        if (rank != kFinalRelease || unit == u'c' || unit == u'f' || unit == u'r')
            lastPiece = at + 1;
        previous = unit;
    }
    if (markers.rank != kFinalRelease)
        markers.number = leadingInteger(component.sliced(lastPiece));
    return markers;
}

std::int32_t compareComponents(QStringView a, QStringView b)
{
    if (const std::int32_t byNumber = order(leadingInteger(a), leadingInteger(b)); byNumber != 0)
        return byNumber;
    const Markers ofA = markersOf(a);
    const Markers ofB = markersOf(b);
    if (ofA.rank != ofB.rank)
        return order(ofA.rank, ofB.rank);
    return order(ofA.number, ofB.number);
}

/// Hands out the components between the dots, empty ones included, without copying.
class Components {
public:
    explicit Components(QStringView version) : rest(version) {}

    bool atEnd() const { return finished; }

    QStringView next()
    {
        const qsizetype dot = rest.indexOf(u'.');
        finished = dot < 0;
        const QStringView component = finished ? rest : rest.first(dot);
        if (!finished)
            rest = rest.sliced(dot + 1);
        return component;
    }

private:
    QStringView rest;
    bool finished = false;
};

} // namespace

std::int32_t compareVersion(const QString &first, const QString &second)
{
    if (first.isNull() || second.isNull())
        return order(first.isNull() ? 0 : 1, second.isNull() ? 0 : 1);
    Components ofFirst(first);
    Components ofSecond(second);
    while (!ofFirst.atEnd() && !ofSecond.atEnd()) {
        if (const std::int32_t byComponent = compareComponents(ofFirst.next(), ofSecond.next());
            byComponent != 0)
            return byComponent;
    }
    return order(ofFirst.atEnd() ? 0 : 1, ofSecond.atEnd() ? 0 : 1);
}

} // namespace KVBase::VersionCheck
