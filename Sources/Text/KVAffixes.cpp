#include <KVBase/KVAffixes.h>

namespace KVBase::KVAffixes
{

QString stringByRemovingFirstSuffixFromArray(const QString &text, const QStringList &suffixes)
{
    for (const QString &suffix : suffixes) {
        if (text.endsWith(suffix))
            return text.isNull() ? text : text.first(text.size() - suffix.size());
    }
    return text;
}

} // namespace KVBase::KVAffixes
