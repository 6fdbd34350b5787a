#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase::PropertyLists
{

/// The text of a file whose encoding is not written down: by its byte order mark, else UTF-16 when the zero
/// bytes say so, else UTF-8, else Latin-1. Never nil.
QString decodedText(const QByteArray &data);

} // namespace KVBase::PropertyLists
