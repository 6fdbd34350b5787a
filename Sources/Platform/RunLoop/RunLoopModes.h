#pragma once

#include <QtCore/QStringList>

namespace KVBase::RunLoopModes
{

/// The names of the modes, made once.
const QString &defaultMode();
const QString &modalPanel();
const QString &eventTracking();

/// Default, modal panel and event tracking, in this order.
const QStringList &common();

} // namespace KVBase::RunLoopModes
