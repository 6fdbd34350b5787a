#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <cstdint>
#include <functional>

namespace kvbase
{

/// A small HTTP server on the loopback interface, which takes posted forms one after the other. A client that
/// stalls, or that sends more than it may, is turned away.
class FormReceiver {
public:
    /// Gets the fields of a form and answers the text that is sent back.
    using Handler = std::function<QString(const QJsonObject &fields)>;

    FormReceiver() = default;
    ~FormReceiver();
    FormReceiver(const FormReceiver &) = delete;
    FormReceiver &operator=(const FormReceiver &) = delete;

    /// Port 0 takes a free one. False when the port is taken.
    bool listen(std::uint16_t wanted);
    std::uint16_t port() const { return boundPort; }

    /// Serves one client. False when the process was told to end, with an interrupt or a termination signal.
    bool serve(const Handler &handler);

private:
    int socket = -1;
    std::uint16_t boundPort = 0;
};

/// The fields of a body of the type "application/x-www-form-urlencoded"; several values of one name become an
/// array.
QJsonObject formFields(const QByteArray &body);

} // namespace kvbase
