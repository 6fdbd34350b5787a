#include "Platform/Services/CurlLibrary_linux.h"
#include "Platform/Services/HTTPTransport.h"
#include "Platform/Services/TransportError.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <new>

#include <sys/socket.h>

namespace KVBase
{

namespace
{

using SteadyClock = std::chrono::steady_clock;

constexpr long kMaximumRedirects = 20;

/// Keeps SIGPIPE from ending the process while the TLS library writes to a connection that the server has
/// closed. A signal that came meanwhile is taken away, unless one was waiting before.
class PipeSignalGuard {
public:
    PipeSignalGuard()
    {
        sigset_t waiting;
        sigpending(&waiting);
        wasWaiting = sigismember(&waiting, SIGPIPE) == 1;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, &previous);
    }

    ~PipeSignalGuard()
    {
        const timespec none{};
        if (!wasWaiting)
            sigtimedwait(&pipe, nullptr, &none);
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }

    PipeSignalGuard(const PipeSignalGuard &) = delete;
    PipeSignalGuard &operator=(const PipeSignalGuard &) = delete;

private:
    sigset_t pipe{};
    sigset_t previous{};
    bool wasWaiting = false;
};

TransportFailure failureOf(CURLcode code)
{
    switch (code) {
    case CURLE_URL_MALFORMAT:
        return TransportFailure::BadURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
        return TransportFailure::UnsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return TransportFailure::CannotFindHost;
    case CURLE_COULDNT_CONNECT:
        return TransportFailure::CannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
        return TransportFailure::TimedOut;
    case CURLE_TOO_MANY_REDIRECTS:
        return TransportFailure::TooManyRedirects;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return TransportFailure::ConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
        return TransportFailure::BadServerResponse;
    case CURLE_SSL_CONNECT_ERROR:
        return TransportFailure::SecureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
        return TransportFailure::CertificateUntrusted;
    default:
        return TransportFailure::Unknown;
    }
}

/// One request while it runs.
class Transfer {
public:
    explicit Transfer(const HTTPRequest &given)
        : curl(CurlLibrary::shared()), request(given), easy(curl.easyInit()), multi(curl.multiInit())
    {}

    ~Transfer()
    {
        if (isAdded)
            curl.multiRemove(multi, easy);
        if (easy != nullptr)
            curl.easyCleanup(easy);
        if (multi != nullptr)
            curl.multiCleanup(multi);
        curl.listFree(headers);
    }

    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    std::optional<QByteArray> run(NSError *error)
    {
        if (easy == nullptr || multi == nullptr) {
            *error = transportError(TransportFailure::Unknown, request.url, QString());
            return std::nullopt;
        }
        setOptions();
        isAdded = curl.multiAdd(multi, easy) == CURLM_OK;
        const CURLcode result = isAdded ? waitForEnd() : CURLE_FAILED_INIT;
        if (result != CURLE_OK)
            *error = transportError(failureOf(result), request.url, QString::fromUtf8(message.data()));
        if (result == CURLE_OK && !body)
            body = QByteArray("");
        return body;
    }

private:
    template <class Value>
    void set(CURLoption option, Value value)
    {
        curl.easySetopt(easy, option, value);
    }

    void setOptions()
    {
        set(CURLOPT_URL, request.url.toEncoded(QUrl::RemoveFragment).constData());
        set(CURLOPT_ERRORBUFFER, message.data());
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_MAXREDIRS, kMaximumRedirects);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.idleTimeout.count()));
        set(CURLOPT_WRITEFUNCTION, &Transfer::receiveBody);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Transfer::receiveHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_NOPROGRESS, 0L);
        set(CURLOPT_XFERINFOFUNCTION, &Transfer::noteProgress);
        set(CURLOPT_XFERINFODATA, this);
        set(CURLOPT_PREREQFUNCTION, &Transfer::noteConnection);
        set(CURLOPT_PREREQDATA, this);
        set(CURLOPT_OPENSOCKETFUNCTION, &Transfer::openSocket);
        setMethod();
        setHeaders();
    }

    void setMethod()
    {
        if (request.method == "POST") {
            set(CURLOPT_POST, 1L);
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
            set(CURLOPT_POSTFIELDS, request.body.constData());
        } else if (request.method != "GET") {
            set(CURLOPT_CUSTOMREQUEST, request.method.constData());
        }
    }

    void setHeaders()
    {
        // Without this a large body would wait for a "100 Continue" that many servers never send.
        headers = curl.listAppend(headers, "Expect:");
        for (const auto &[name, value] : request.headers)
            headers = curl.listAppend(headers, QByteArray(name + ": " + value).constData());
        set(CURLOPT_HTTPHEADER, headers);
    }

    CURLcode waitForEnd()
    {
        lastMove = SteadyClock::now();
        for (;;) {
            int running = 0;
            if (curl.multiPerform(multi, &running) != CURLM_OK)
                return CURLE_RECV_ERROR;
            if (running == 0)
                return resultOfEnd();
            const auto idle = std::chrono::ceil<std::chrono::milliseconds>(SteadyClock::now() - lastMove);
            if (idle >= request.idleTimeout)
                return CURLE_OPERATION_TIMEDOUT;
            const auto left =
                std::min<std::chrono::milliseconds>(request.idleTimeout - idle, std::chrono::seconds(1));
            curl.multiPoll(multi, nullptr, 0, static_cast<int>(left.count()), nullptr);
        }
    }

    CURLcode resultOfEnd()
    {
        int left = 0;
        const CURLMsg *const done = curl.multiInfo(multi, &left);
        return done != nullptr && done->msg == CURLMSG_DONE ? done->data.result : CURLE_RECV_ERROR;
    }

    void moved() { lastMove = SteadyClock::now(); }

    static std::size_t receiveBody(char *bytes, std::size_t, std::size_t count, void *context)
    {
        auto *self = static_cast<Transfer *>(context);
        self->moved();
        try {
            if (!self->body)
                self->body = QByteArray("");
            self->body->append(bytes, static_cast<qsizetype>(count));
            return count;
        } catch (const std::bad_alloc &) {
            return 0; // ends the transfer with an error
        }
    }

    static std::size_t receiveHeader(char *, std::size_t, std::size_t count, void *context)
    {
        static_cast<Transfer *>(context)->moved();
        return count;
    }

    static int noteProgress(void *context, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent)
    {
        auto *self = static_cast<Transfer *>(context);
        if (std::exchange(self->bytesMoved, received + sent) != received + sent)
            self->moved();
        return 0;
    }

    static int noteConnection(void *context, char *, char *, int, int)
    {
        static_cast<Transfer *>(context)->moved();
        return CURL_PREREQFUNC_OK;
    }

    static curl_socket_t openSocket(void *, curlsocktype, curl_sockaddr *address)
    {
        return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    }

    const CurlLibrary &curl;
    const HTTPRequest &request;
    CURL *easy;
    CURLM *multi;
    curl_slist *headers = nullptr;
    bool isAdded = false;
    SteadyClock::time_point lastMove;
    curl_off_t bytesMoved = 0;
    std::array<char, CURL_ERROR_SIZE> message{};
    std::optional<QByteArray> body;
};

class CurlTransport final : public HTTPTransport {
public:
    std::optional<QByteArray> send(const HTTPRequest &request, NSError *error) override
    {
        *error = NSError();
        const QString scheme = request.url.scheme();
        if (!request.url.isValid() || scheme.isEmpty())
            *error = transportError(TransportFailure::BadURL, request.url, request.url.errorString());
        else if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
            *error = transportError(TransportFailure::UnsupportedURL, request.url, scheme);
        else if (request.url.host().isEmpty())
            *error = transportError(TransportFailure::BadURL, request.url, QString());
        else if (!CurlLibrary::shared().failure.isNull())
            *error = transportError(TransportFailure::Unknown, request.url, CurlLibrary::shared().failure);
        if (!error->isNil())
            return std::nullopt;
        const PipeSignalGuard guard;
        return Transfer(request).run(error);
    }
};

} // namespace

HTTPTransport::~HTTPTransport() = default;

HTTPTransport *HTTPTransport::makeDefault() { return new CurlTransport; }

template class Service<HTTPTransport>;

} // namespace KVBase
