#include "LocalHTTPServer.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace {

// One request per connection: read it, answer from the route, close.
class Connection : public QObject {
public:
    Connection(QTcpSocket *socket, LocalHTTPServer &server) : QObject(socket), m_socket(socket), m_server(server)
    {
        connect(socket, &QTcpSocket::readyRead, this, [this] { readMore(); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    void readMore()
    {
        m_buffer += m_socket->readAll();
        const qsizetype headerEnd = m_buffer.indexOf("\r\n\r\n");
        if (m_answered || headerEnd < 0)
            return;
        const QList<QByteArray> lines = m_buffer.left(headerEnd).split('\n'), requestLine = lines.value(0).trimmed().split(' ');
        LocalHTTPServer::Request request {requestLine.value(0), requestLine.value(1), {}, {}};
        qsizetype length = 0;
        for (const QByteArray &line : lines.mid(1)) {
            if (const qsizetype colon = line.indexOf(':'); colon >= 0)
                request.headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
            if (!request.headers.isEmpty() && request.headers.last().first.compare("content-length", Qt::CaseInsensitive) == 0)
                length = request.headers.last().second.toLongLong();
        }
        if (m_buffer.size() < headerEnd + 4 + length)
            return;
        request.body = m_buffer.mid(headerEnd + 4, length);
        m_answered = true;
        m_server.record(request);
        const QByteArray path = request.target.split('?').value(0);
        const LocalHTTPServer::Handler handler = m_server.handlerFor(path);
        answer(handler ? handler(request) : LocalHTTPServer::Reply {404, {}, "no route for " + path});
    }

    void answer(LocalHTTPServer::Reply reply)
    {
        if (reply.hang)
            return;
        if (const int delay = std::exchange(reply.delayMilliseconds, 0); delay > 0)
            return QTimer::singleShot(delay, this, [this, reply] { answer(reply); });
        static const QMap<int, QByteArray> reasons {{200, "OK"}, {302, "Found"}, {404, "Not Found"}, {500, "Internal Server Error"}};
        QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) + ' ' + reasons.value(reply.status, "Status") + "\r\n";
        for (const auto &[name, value] : reply.headers)
            head += name + ": " + value + "\r\n";
        m_socket->write(head + "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n\r\n");
        m_reply = reply;
        m_reply.body = reply.stallAfter >= 0 ? reply.body.left(reply.stallAfter) : reply.body;
        m_reply.chunkSize = reply.chunkSize > 0 ? reply.chunkSize : m_reply.body.size();
        sendNextChunk();
    }

    void sendNextChunk()
    {
        m_socket->write(m_reply.body.left(m_reply.chunkSize));
        m_reply.body.remove(0, std::min(m_reply.chunkSize, m_reply.body.size()));
        if (!m_reply.body.isEmpty())
            QTimer::singleShot(m_reply.pauseMilliseconds, this, [this] { sendNextChunk(); });
        else if (m_reply.stallAfter < 0)
            m_socket->disconnectFromHost();
    }

    QTcpSocket *m_socket;
    LocalHTTPServer &m_server;
    QByteArray m_buffer;
    bool m_answered = false;
    LocalHTTPServer::Reply m_reply; // what is left to send
};

} // namespace

LocalHTTPServer::LocalHTTPServer()
{
    m_thread.start();
    auto *server = new QTcpServer;
    server->moveToThread(&m_thread);
    m_core = server;
    QMetaObject::invokeMethod(server, [this, server] {
        QObject::connect(server, &QTcpServer::newConnection, server, [this, server] {
            while (QTcpSocket *socket = server->nextPendingConnection())
                new Connection(socket, *this);
        });
        server->listen(QHostAddress::LocalHost, 0);
        m_port = server->serverPort();
    }, Qt::BlockingQueuedConnection);
}

LocalHTTPServer::~LocalHTTPServer()
{
    QMetaObject::invokeMethod(m_core, [this] { delete m_core; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}
