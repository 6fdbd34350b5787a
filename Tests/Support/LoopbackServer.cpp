#include "Support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace KVBase::Tests
{

namespace
{

sockaddr_in loopbackAddress(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int boundSocket(quint16 *port)
{
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopbackAddress(0);
    socklen_t size = sizeof address;
    bind(made, reinterpret_cast<sockaddr *>(&address), size);
    getsockname(made, reinterpret_cast<sockaddr *>(&address), &size);
    *port = ntohs(address.sin_port);
    return made;
}

LoopbackRequest parsedHead(const QByteArray &head)
{
    LoopbackRequest request;
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    request.method = words.value(0);
    request.path = words.value(1);
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    return request;
}

} // namespace

LoopbackServer::LoopbackServer(Handler given) : handler(std::move(given))
{
    // A proxy of the machine that runs the tests must not come between.
    qputenv("no_proxy", "127.0.0.1");
    listener = boundSocket(&port);
    listen(listener, 64);
    stopper = eventfd(0, EFD_CLOEXEC);
    thread = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer()
{
    eventfd_write(stopper, 1);
    thread.join();
    close(listener);
    close(stopper);
}

QUrl LoopbackServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port).arg(path));
}

QList<LoopbackRequest> LoopbackServer::requests() const
{
    const std::lock_guard lock(guard);
    return received;
}

/// False when the server is to stop, or when nothing came in time.
bool LoopbackServer::waitFor(int descriptor, short events, int milliseconds) const
{
    std::array<pollfd, 2> polled{{{descriptor, events, 0}, {stopper, POLLIN, 0}}};
    return poll(polled.data(), polled.size(), milliseconds) > 0 && polled[1].revents == 0;
}

void LoopbackServer::serve()
{
    while (waitFor(listener, POLLIN, -1)) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        answer(connection);
        close(connection);
    }
}

void LoopbackServer::answer(int connection)
{
    LoopbackRequest request;
    if (!readRequest(connection, &request))
        return;
    {
        const std::lock_guard lock(guard);
        received.append(request);
    }
    const LoopbackReply reply = handler(request);
    if (reply.closesAtOnce)
        return;
    sendReply(connection, reply);
    if (reply.stalls) {
        char byte = 0;
        while (waitFor(connection, POLLIN, -1) && recv(connection, &byte, 1, 0) > 0) {
        }
    }
}

bool LoopbackServer::readRequest(int connection, LoopbackRequest *request) const
{
    QByteArray bytes;
    qsizetype head = -1;
    qsizetype expected = 0;
    while (head < 0 || bytes.size() - head - 4 < expected) {
        std::array<char, 65536> block;
        if (!waitFor(connection, POLLIN, 30000))
            return false;
        const ssize_t count = recv(connection, block.data(), block.size(), 0);
        if (count <= 0)
            return false;
        bytes.append(block.data(), count);
        if (head < 0 && (head = bytes.indexOf("\r\n\r\n")) >= 0) {
            *request = parsedHead(bytes.left(head));
            expected = request->headers.value("content-length").toLongLong();
        }
    }
    request->body = bytes.mid(head + 4, expected);
    return true;
}

bool LoopbackServer::sendAll(int connection, const QByteArray &bytes) const
{
    for (qsizetype sent = 0; sent < bytes.size();) {
        if (!waitFor(connection, POLLOUT, 30000))
            return false;
        const ssize_t count =
            send(connection, bytes.constData() + sent, static_cast<std::size_t>(bytes.size() - sent),
                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0)
            return false;
        sent += count;
    }
    return true;
}

void LoopbackServer::sendReply(int connection, const LoopbackReply &reply) const
{
    if (!reply.rawInstead.isEmpty()) {
        sendAll(connection, reply.rawInstead);
        return;
    }
    const QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) + " Status\r\nContent-Length: " +
                            QByteArray::number(reply.body.size() + reply.missingBytes) +
                            "\r\nConnection: close\r\n" + reply.extraHeaders + "\r\n";
    if (reply.pauseMilliseconds == 0) {
        sendAll(connection, head + reply.body);
        return;
    }
    sendAll(connection, head);
    for (const char byte : reply.body) {
        poll(nullptr, 0, reply.pauseMilliseconds);
        if (!sendAll(connection, QByteArray(1, byte)))
            return;
    }
}

quint16 closedLoopbackPort()
{
    quint16 port = 0;
    close(boundSocket(&port));
    return port;
}

} // namespace KVBase::Tests
