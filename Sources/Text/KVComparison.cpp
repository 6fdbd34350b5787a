#include <KVBase/KVComparison.h>

#include <QtCore/QByteArray>
#include <QtCore/QLocale>

#include <unicode/ucol.h>

#include <memory>

namespace KVBase::KVComparison
{

namespace
{

struct CloseCollator {
    void operator()(UCollator *collator) const { ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, CloseCollator>;

/// Numeric, and blind to case and width; null where the collation data is missing.
Collator openCollator(const QByteArray &locale)
{
    UErrorCode status = U_ZERO_ERROR;
    Collator collator(ucol_open(locale.constData(), &status));
    if (U_FAILURE(status))
        return nullptr;
    ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
    ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    return U_SUCCESS(status) ? std::move(collator) : nullptr;
}

/// The calling thread's collator for the current locale, opened again when the locale has changed.
const UCollator *currentCollator()
{
    thread_local QByteArray openedFor;
    thread_local Collator collator;
    const QByteArray locale = QLocale().name().toLatin1();
    if (collator == nullptr || locale != openedFor) {
        collator = openCollator(locale);
        openedFor = locale;
    }
    return collator.get();
}

std::int32_t sign(int order) { return order < 0 ? -1 : (order > 0 ? 1 : 0); }

std::int32_t collate(const QString &text, const QString &other)
{
    const UCollator *collator = currentCollator();
    if (collator == nullptr)
        return sign(text.compare(other, Qt::CaseInsensitive));
    const auto units = [](const QString &string) { return reinterpret_cast<const UChar *>(string.utf16()); };
    return sign(ucol_strcoll(collator, units(text), static_cast<std::int32_t>(text.size()), units(other),
                             static_cast<std::int32_t>(other.size())));
}

} // namespace

std::int32_t caseInsensitiveNumericCompare(const QString &text, const QString &other)
{
    if (text.isNull())
        return 0;
    if (other.isNull())
        return 1;
    const std::int32_t order = collate(text, other);
    return order != 0 ? order : sign(text.compare(other, Qt::CaseSensitive));
}

} // namespace KVBase::KVComparison
