#pragma once

#include <QMap>
#include <QThread>
#include <QUrl>

#include <functional>
#include <mutex>

/// A small HTTP/1.1 server on 127.0.0.1 for tests, running on a thread of its own so that a
/// client may block the test's thread while waiting for it. Each connection carries one
/// request; the answer comes from the handler routed at the request's path.
class LocalHTTPServer {
public:
    struct Request {
        QByteArray method, target; // target: path and query, as sent
        QList<std::pair<QByteArray, QByteArray>> headers;
        QByteArray body;
    };
    struct Reply {
        int status = 200;
        QList<std::pair<QByteArray, QByteArray>> headers;
        QByteArray body;
        bool hang = false;         // never answer: keep the connection open and silent
        qsizetype chunkSize = 0;   // send the body in pieces of this size (0: at once),
        int pauseMilliseconds = 0; // with this pause between them
        qsizetype stallAfter = -1; // send the headers and this many body bytes, then fall silent
        int delayMilliseconds = 0; // wait this long before answering at all
    };
    using Handler = std::function<Reply(const Request &)>;

    LocalHTTPServer();
    ~LocalHTTPServer();
    void route(const QByteArray &path, Handler handler) { std::lock_guard lock(m_mutex); m_routes.insert(path, std::move(handler)); }
    [[nodiscard]] QUrl url(const QString &pathAndQuery) const { return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(pathAndQuery)); }
    [[nodiscard]] QList<Request> requests() const { std::lock_guard lock(m_mutex); return m_requests; }

    // Used by the server's own thread.
    Handler handlerFor(const QByteArray &path) const { std::lock_guard lock(m_mutex); return m_routes.value(path); }
    void record(const Request &request) { std::lock_guard lock(m_mutex); m_requests.append(request); }

private:
    QThread m_thread;
    QObject *m_core = nullptr; // lives on m_thread
    quint16 m_port = 0;
    mutable std::mutex m_mutex;
    QMap<QByteArray, Handler> m_routes;
    QList<Request> m_requests;
};
