#pragma once

#include "Platform/VCardDocument.h"
#include "Platform/VCardNormalization.h"

namespace KVBase
{

/// Reads the cards of a text one after the other. One thread at a time.
class KV_EXPORT VCardReader {
public:
    /// Begins with a text of version 2.1, 3.0 or 4.0, in UTF-8, UTF-16 with a byte order mark or, where a
    /// line is not valid as UTF-8 and names no charset, Latin-1.
    void setText(QByteArray bytes);

    /// Reads the next whole card. false at the end. What lies between cards, lines that make no sense and a
    /// card that breaks off are left out. Time and memory grow in proportion to the text.
    bool next();

    /// The card that was read last. Its lines lie in the text and are valid until the next call.
    const VCardDocument &card() const { return document; }

    /// The same card to be kept; the text goes with it.
    VCardDocument takeCard();

    /// The bytes that the card was read from: reading them again gives the same card.
    QByteArray source() const { return text; }
    qsizetype start() const { return begin; }
    qsizetype length() const { return text.size() - rest.size() - begin; }

private:
    bool findCard();
    bool readCard();
    bool readLine(VCardLine *line);
    bool readFolded(QByteArrayView first, VCardLine *line);
    void readSoftBreaks(VCardLine *line);
    QByteArrayView takePhysicalLine();
    bool isFolded() const;
    void readData(VCardLine *line);
    qsizetype nextLineFeed();

    QByteArray text;
    QByteArrayView rest;
    qsizetype begin = 0;
    qsizetype lineFeed = -1;
    bool isUtf8 = false;
    VCardVersion version = VCardVersion::Three;
    VCardDocument document;
};

} // namespace KVBase
