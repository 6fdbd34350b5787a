#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QUrl>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace KVBase::Tests
{

/// What a client asked for. Header names are in lower case.
struct LoopbackRequest {
    QByteArray method;
    QByteArray path;
    QMap<QByteArray, QByteArray> headers;
    QByteArray body;
};

/// What the server does with a request.
struct LoopbackReply {
    int status = 200;
    QByteArray body;
    QByteArray extraHeaders;

    /// Bytes that are announced on top of those sent, before the connection is closed.
    qsizetype missingBytes = 0;

    /// Sends this and nothing of the above.
    QByteArray rawInstead;

    /// Keeps the connection open without a word after what was sent, until the client or the server ends.
    bool stalls = false;

    /// Sends the body byte by byte with a pause before each.
    int pauseMilliseconds = 0;

    /// Closes the connection without a word.
    bool closesAtOnce = false;
};

/// A real HTTP server on 127.0.0.1, in a thread of its own, that serves one connection after the other and
/// closes each behind its answer. Ends with the object.
class LoopbackServer {
public:
    using Handler = std::function<LoopbackReply(const LoopbackRequest &)>;

    explicit LoopbackServer(Handler handler);
    ~LoopbackServer();

    QUrl url(const QString &path) const;
    QList<LoopbackRequest> requests() const;

private:
    void serve();
    void answer(int connection);
    bool waitFor(int descriptor, short events, int milliseconds) const;
    bool readRequest(int connection, LoopbackRequest *request) const;
    bool sendAll(int connection, const QByteArray &bytes) const;
    void sendReply(int connection, const LoopbackReply &reply) const;

    Handler handler;
    int listener = -1;
    int stopper = -1;
    quint16 port = 0;
    mutable std::mutex guard;
    QList<LoopbackRequest> received;
    std::thread thread;
};

/// A port of 127.0.0.1 on which nobody listens.
quint16 closedLoopbackPort();

} // namespace KVBase::Tests
