#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSError.h>

#include <QtCore/QByteArray>
#include <QtCore/QUrl>
#include <QtCore/QVariantMap>

#include <memory>
#include <optional>

namespace KVBase
{

/// Posts the fields of a form to an address and hands back the answer. One thread at a time.
class KV_EXPORT KVHTTPPost {
public:
    KVHTTPPost();
    ~KVHTTPPost();
    KVHTTPPost(const KVHTTPPost &) = delete;
    KVHTTPPost &operator=(const KVHTTPPost &) = delete;

    /// The fields: their names, and values of which the description is sent. nil at first.
    std::optional<QVariantMap> parameterDict() const;
    void setParameterDict(const std::optional<QVariantMap> &parameters);

    /// The address to post to, nil at first.
    QUrl getURL() const;
    void setURL(const QUrl &url);

    /// What went wrong at the last submission; nil when nothing did.
    NSError error() const;
    void setError(const NSError &error);

    /// Posts the fields, stores the error (nil on success) and answers the body; see `postFormData`, which
    /// also says how long this blocks. No fields at all are posted as an empty body.
    std::optional<QByteArray> submitForm();

    /// The fields as the body of a form, in the map's order: "name=value" joined by "&", an "&" in a value
    /// replaced by "+" (which a server reads as a blank), and then everything that may not stand in a URL
    /// escaped as the %XX of its UTF-8 bytes, "%", "#", "[" and "]" among it. Empty for an empty map.
    static QByteArray formDataForDictionary(const QVariantMap &dictionary);

    /// Posts `data` as "application/x-www-form-urlencoded" to `url` (http or https), following up to 20
    /// redirections, and answers the body of the answer, empty when it is empty. The status of the answer is
    /// not looked at: a server's error page is an answer.
    ///
    /// nil without a request when there is no data or no address. When the transport fails, the failure is
    /// logged and stored in `*error` (`NSURLErrorDomain`), and what had arrived is answered, nil when nothing
    /// had. Else `*error` is nil.
    ///
    /// Blocks until the answer is complete or no byte has moved for 60 seconds. Needs no run loop. Any
    /// thread.
    static std::optional<QByteArray> postFormData(const std::optional<QByteArray> &data, const QUrl &url,
                                                  NSError *error = nullptr);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
