#pragma once

#include <QtCore/QString>
#include <QtCore/QVariantList>

namespace KVBase::Profile
{

/// The sections as text to read; see `HardwareProfile::text`.
QString profileText(const QVariantList &sections);

} // namespace KVBase::Profile
