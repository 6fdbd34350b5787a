#include <KVBase/UException.h>

#include <KVBase/KVLog.h>

#include "Platform/Services/AlertPresenter.h"

#include <atomic>
#include <mutex>

namespace KVBase
{

namespace
{

struct Section {
    std::mutex mutex;
    QString name;
};

/// Never destroyed, so that exceptions thrown while the process ends still find it.
Section &section()
{
    static Section *const made = new Section;
    return *made;
}

constinit std::atomic<signed char> sDisplaysAlert{0};

/// The panel takes the composed text as a format without arguments: "%%" reads as a percent sign and
/// everything else as it stands. Nothing that goes wrong here may take the place of the failure that is being
/// reported.
void showAlert(const QString &title, const char *message, const char *file, std::int32_t line) noexcept
{
    try {
        const QString text = stringWithFormat("Message: %s\nFile: %s\nSection: %@\nLine %d", message, file,
                                              UException::GetSectionName(), line);
        Service<AlertPresenter>::current()->criticalAlert(title, stringWithFormat(KVFormatString<>{text}),
                                                          QStringLiteral("OK"));
    } catch (...) {
        KVLog("The alert \"%@\" could not be shown.", title);
    }
}

} // namespace

void UException::SetSectionName(const QString &name)
{
    // The old name is released outside the lock, by the copy that takes it along.
    QString exchanged = name;
    const std::lock_guard lock(section().mutex);
    section().name.swap(exchanged);
}

void UException::SetSectionName(const char *name) { SetSectionName(QString::fromUtf8(name)); }

void UException::SetSectionName(std::nullptr_t) { SetSectionName(QString()); }

QString UException::GetSectionName()
{
    const std::lock_guard lock(section().mutex);
    return section().name;
}

void UException::SetDisplaysAlert(signed char flag) { sDisplaysAlert.store(flag, std::memory_order_relaxed); }

signed char UException::GetDisplaysAlert() { return sDisplaysAlert.load(std::memory_order_relaxed); }

void UException::Throw(const char *name, const char *message, const char *file, std::int32_t line)
{
    KVLog("KVException '%s' was thrown", name);
    KVLog("Message: %s", message);
    KVLog("Section: %@", GetSectionName());
    KVLog("File: %s", file);
    KVLog("Line: %d", line);
    KVLog("");
    if (GetDisplaysAlert() != 0)
        showAlert(stringWithFormat("KVException (%@)", QString::fromUtf8(name)), message, file, line);
    KVException::throwException(name, message);
}

void UException::ThrowErr(std::int32_t err, const char *message, const char *file, std::int32_t line)
{
    if (err == 0)
        return;
    KVLog("KVErrException was thrown");
    KVLog("Error: %d", err);
    KVLog("Message: %s", message);
    KVLog("File: %s", file);
    KVLog("Section: %@", GetSectionName());
    KVLog("Line: %d", line);
    KVLog("");
    if (GetDisplaysAlert() != 0)
        showAlert(stringWithFormat("KVErrException (%d)", err), message, file, line);
    KVErrException::throwErr(err, message);
}

} // namespace KVBase
