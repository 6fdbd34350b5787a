#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

namespace KVBase
{

/// Shows the user what went wrong.
struct KV_EXPORT AlertPresenter {
    virtual ~AlertPresenter();

    /// A critical panel with plain texts and one button. On the application's thread it blocks until the user
    /// dismisses it; from another thread it is queued there and the call returns. Without a `QApplication`
    /// nothing is shown. Any thread.
    virtual void criticalAlert(const QString &title, const QString &message, const QString &button) = 0;

    static AlertPresenter *makeDefault();
};

extern template class KV_EXPORT Service<AlertPresenter>;

} // namespace KVBase
