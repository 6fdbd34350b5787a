#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVarLengthArray>

#include <optional>
#include <vector>

namespace KVBase
{

/// A parameter of a card's line, the value with its quotation marks if it has any. What stands among the
/// parameters and is none has no name.
struct VCardParameter {
    QByteArray name;
    QByteArray value;
};

/// One line of a card as version 3.0 writes it, UTF-8, the value with its escapes. Names stay as they were
/// written.
struct VCardLine {
    QByteArray group;
    QByteArray name;
    QVarLengthArray<VCardParameter, 2> parameters;
    QByteArray value;

    /// Part of a card within the card.
    bool isNested = false;
};

/// The lines of one card between BEGIN and END, without its version. A value; one thread at a time.
class KV_EXPORT VCardDocument {
public:
    /// Every whole card that a `VCardReader` finds in `bytes`.
    static std::vector<VCardDocument> readAll(const QByteArray &bytes);

    /// The card in version 3.0, with the lines FN and N that it demands, folded at 75 bytes.
    QByteArray write() const;

    /// The text of the first line of that name; nil when there is none. Names are told apart without regard
    /// to case.
    QString text(QByteArrayView name) const;

    /// The texts of all lines of that name, in order.
    QStringList texts(QByteArrayView name) const;

    /// The components of the first line of that name, which a semicolon divides, and the first of them; nil
    /// when there is no such line.
    QString firstComponent(QByteArrayView name) const;
    QStringList components(QByteArrayView name) const;

    /// Whether there is a line of that name.
    bool contains(QByteArrayView name) const;

    /// Replaces all lines of that name by one for each text, at the place of the first.
    void setTexts(QByteArrayView name, const QStringList &texts);

    /// Removes all lines of that name; false when there was none.
    bool remove(QByteArrayView name);

    std::vector<VCardLine> lines;

    /// The text that the lines were read from: what needed no change in them lies there and not in copies.
    QByteArray source;

private:
    const VCardLine *first(QByteArrayView name) const;
};

/// A text with its escapes taken back, and with them.
QString vCardText(QByteArrayView value);
QByteArray vCardValue(const QString &text);

} // namespace KVBase
