// A one-response HTTP server on the loopback interface, for tests of update checks: every
// request gets the same status and body and the connection is closed; status 0 never answers. Runs
// on the calling thread's event loop; the port is picked by the system.
#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <string>

namespace scrawlet::testing {

class FeedServer : public QObject {
  public:
    FeedServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    received_ += socket->readAll();
                    if (!received_.contains("\r\n\r\n")) {
                        return;
                    }
                    received_.clear();
                    ++requests_;
                    if (status_ == 0) {
                        return;
                    }
                    socket->write("HTTP/1.1 " + QByteArray::number(status_) +
                                  " Answer\r\nContent-Type: application/rss+xml\r\n"
                                  "Content-Length: " +
                                  QByteArray::number(body_.size()) +
                                  "\r\nConnection: close\r\n\r\n" + body_);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    bool listening() const { return server_.isListening(); }
    std::string url(const std::string& path = "/products/appcast.xml") const {
        return "http://127.0.0.1:" + std::to_string(server_.serverPort()) + path;
    }
    void respond(int status, QByteArray body) {
        status_ = status;
        body_ = std::move(body);
    }
    int requests() const { return requests_; }

  private:
    QTcpServer server_;
    QByteArray received_;
    QByteArray body_;
    int status_ = 200;
    int requests_ = 0;
};

// A feed whose one release is `version`.
inline QByteArray feedWithRelease(const std::string& version) {
    return QByteArray::fromStdString(
        "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:ac=\"urn:example:appcast\"><channel>"
        "<item><title>Scrawlet " +
        version + "</title><link>https://scrawlet.org/releases/" + version +
        "</link><enclosure url=\"https://scrawlet.org/scrawlet.tar.gz\" ac:version=\"" + version +
        "\"/></item></channel></rss>");
}

}  // namespace scrawlet::testing
