#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QStringList>

namespace KVBase
{

/// The languages that the user reads, best first: the default "AppleLanguages" of the application when it
/// holds any, else the system's.
KV_EXPORT QStringList preferredLanguages();

/// Those of the `available` localisations in which texts are looked up, best first: of the first preferred
/// language that is there its most exact form and its general form, then the same for `developmentRegion` and
/// for English. Names may be tags ("de", "de-AT", "de_AT") or English names ("German").
KV_EXPORT QStringList chosenLocalizations(const QStringList &available, const QStringList &preferred,
                                          const QString &developmentRegion);

} // namespace KVBase
