#include "services/LiveHTTPFetcher.h"

#include "services/BlockingCallGuard.h"
#include "services/FileSystemOperating.h"
#include "services/Sha256.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QTimer>

#include <memory>

namespace {

// What an error response may keep of its body; a download's error page is never the payload.
constexpr qsizetype kErrorBodyLimit = 64 * 1024;
// How much of a body Qt may buffer before it stops reading the socket.
constexpr qint64 kDownloadBufferSize = 256 * 1024;

enum class TimeLimit { wholeExchange, betweenBytes };

// Qt reports our own abort() as OperationCanceledError whether a limit or a cancel caused it,
// so we note the reason before aborting.
enum class StopReason { none, timeLimit, overallLimit, tooLarge, cancellation };

struct Exchange {
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> reply;
    StopReason stopReason = StopReason::none;

    // The first reason wins: the abort that follows may trigger another.
    void stop(StopReason reason)
    {
        if (stopReason == StopReason::none)
            stopReason = reason;
        reply->abort();
    }
};

void send(Exchange &exchange, const HTTPRequest &request)
{
    QNetworkRequest networkRequest(request.url);
    for (const auto &[name, value] : request.headers)
        networkRequest.setRawHeader(name, value);
    // Plain GETs go through get(): only it serves every scheme (a file: URL answers, without HTTP).
    if (request.method == "GET" && !request.body)
        exchange.reply.reset(exchange.manager.get(networkRequest));
    else if (request.body)
        exchange.reply.reset(exchange.manager.sendCustomRequest(networkRequest, request.method, *request.body));
    else
        exchange.reply.reset(exchange.manager.sendCustomRequest(networkRequest, request.method));
}

// Runs a local event loop until the reply has finished, aborting it when the time limit passes or
// the cancellation is cancelled (which may happen on any thread).
void awaitReply(Exchange &exchange, const HTTPRequest &request, TimeLimit kind, ProcessCancellation *cancellation)
{
    QNetworkReply *reply = exchange.reply.get();
    StopReason &reason = exchange.stopReason;
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);

    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    timer.setInterval(request.timeLimit);
    QObject::connect(&timer, &QTimer::timeout, reply, [&exchange] { exchange.stop(StopReason::timeLimit); });
    if (kind == TimeLimit::betweenBytes)
        QObject::connect(reply, &QNetworkReply::downloadProgress, &timer, qOverload<>(&QTimer::start));
    timer.start();

    // A server that keeps sending a byte now and then never trips the limit between bytes.
    QTimer overall;
    if (kind == TimeLimit::betweenBytes && request.overallLimit) {
        overall.setSingleShot(true);
        overall.setInterval(*request.overallLimit);
        QObject::connect(&overall, &QTimer::timeout, reply, [&exchange] { exchange.stop(StopReason::overallLimit); });
        overall.start();
    }

    if (cancellation) {
        const bool armed = cancellation->arm([reply, &reason] {
            // Called on the cancelling thread; the reply lives on ours.
            QMetaObject::invokeMethod(
                reply,
                [reply, &reason] {
                    if (reason == StopReason::none)
                        reason = StopReason::cancellation;
                    reply->abort();
                },
                Qt::QueuedConnection);
        });
        if (!armed) {
            reason = StopReason::cancellation;
            reply->abort();
        }
    }
    if (!reply->isFinished())
        loop.exec();
    if (cancellation)
        cancellation->disarm();
    // A queued abort still pending goes away with the reply, before `reason` does.
}

QString seconds(std::chrono::milliseconds limit)
{
    const double value = std::chrono::duration<double>(limit).count();
    return QString::number(value, 'g', 3);
}

QString byteCount(qint64 bytes)
{
    if (bytes < 1024 * 1024)
        return bytes == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(bytes);
    return QStringLiteral("%1 MB").arg(QString::number(double(bytes) / (1024 * 1024), 'f', 1));
}

QString hostOf(const HTTPRequest &request)
{
    return request.url.host().isEmpty() ? request.url.toString() : request.url.host();
}

// Errors that stop an exchange below HTTP: connection, TLS, proxy, redirect loops, a broken
// transfer. Qt's other error codes stand for an HTTP status, which comes back as a response.
bool isTransportError(QNetworkReply::NetworkError error)
{
    return (error > QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied)
        || error == QNetworkReply::ProtocolUnknownError || error == QNetworkReply::ProtocolFailure;
}

// Throws when the exchange produced no HTTP response; otherwise returns the status line's
// status and the headers.
HTTPResponse responseOrThrow(const Exchange &exchange, const HTTPRequest &request,
                             TimeLimit kind)
{
    QNetworkReply *reply = exchange.reply.get();
    const QString host = hostOf(request);
    if (exchange.stopReason == StopReason::tooLarge)
        throw HTTPError(HTTPError::Kind::tooLarge, QStringLiteral("%1 sent more than the %2 expected; the transfer was stopped there.")
                                                       .arg(host, byteCount(*request.bodyLimit)));
    if (exchange.stopReason == StopReason::overallLimit)
        throw HTTPError(HTTPError::Kind::tooSlow, QStringLiteral("The transfer from %1 was still going after %2 seconds; it was stopped.")
                                                      .arg(host, seconds(*request.overallLimit)));
    if (exchange.stopReason == StopReason::timeLimit || reply->error() == QNetworkReply::TimeoutError) {
        throw HTTPError(HTTPError::Kind::timedOut,
                        kind == TimeLimit::wholeExchange
                            ? QStringLiteral("%1 didn't answer within %2 seconds.").arg(host, seconds(request.timeLimit))
                            : QStringLiteral("%1 sent nothing for %2 seconds.").arg(host, seconds(request.timeLimit)));
    }
    if (exchange.stopReason == StopReason::cancellation)
        throw HTTPError(HTTPError::Kind::cancelled, QStringLiteral("The request was cancelled."));

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (isTransportError(reply->error()) || (!status.isValid() && reply->error() != QNetworkReply::NoError))
        throw HTTPError(HTTPError::Kind::transport, reply->errorString());
    // Qt gives a file: reply that has been read as it arrived a status of 200: go by the scheme.
    const QString scheme = reply->url().scheme().toLower();
    if (!status.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        throw HTTPError(HTTPError::Kind::notHTTPResponse,
                        QStringLiteral("The answer from %1 is not an HTTP response.").arg(request.url.toString()));

    HTTPResponse response;
    response.status = status.toInt();
    for (const auto &[name, value] : reply->rawHeaderPairs())
        response.headers.append({name, value});
    return response;
}

bool isSuccess(int status)
{
    return status >= 200 && status < 300;
}

} // namespace

HTTPResponse LiveHTTPFetcher::fetch(const HTTPRequest &fetchRequest, ProcessCancellation *cancellation) const
{
    assertMayBlock("LiveHTTPFetcher::fetch");
    HTTPRequest request = fetchRequest;
    request.bodyLimit = request.bodyLimit.value_or(HTTPRequest::kFetchBodyLimit);
    Exchange exchange;
    send(exchange, request);
    QNetworkReply *reply = exchange.reply.get();
    // Read as it arrives, so Qt never holds more than a buffer's worth past the limit.
    reply->setReadBufferSize(kDownloadBufferSize);
    QByteArray body;
    const auto takeAvailable = [&] {
        if (!reply->isOpen() || exchange.stopReason != StopReason::none)
            return;
        const QByteArray chunk = reply->readAll();
        if (body.size() + chunk.size() > *request.bodyLimit)
            exchange.stop(StopReason::tooLarge);
        else
            body.append(chunk);
    };
    QObject::connect(reply, &QNetworkReply::readyRead, reply, takeAvailable);
    awaitReply(exchange, request, TimeLimit::wholeExchange, cancellation);
    takeAvailable();
    HTTPResponse response = responseOrThrow(exchange, request, TimeLimit::wholeExchange);
    response.body = body;
    return response;
}

HTTPResponse LiveHTTPFetcher::download(const HTTPRequest &request, const QString &destination,
                                       const ProgressHandler &onProgress,
                                       ProcessCancellation *cancellation) const
{
    assertMayBlock("LiveHTTPFetcher::download");
    // Written to a temporary file beside the destination (an unnamed one where Linux allows) and
    // renamed over it at the end; dropped unless committed.
    QSaveFile file(destination);
    if (!file.open(QIODevice::WriteOnly))
        throw FileSystemError::withReason(QStringLiteral("write"), destination, file.errorString());

    Exchange exchange;
    send(exchange, request);
    QNetworkReply *reply = exchange.reply.get();
    reply->setReadBufferSize(kDownloadBufferSize);

    QByteArray errorBody;
    QString writeError;
    qint64 written = 0;
    Sha256 digest;
    const auto takeAvailable = [&] {
        if (!reply->isOpen() || exchange.stopReason != StopReason::none) // aborted
            return;
        const QByteArray chunk = reply->readAll();
        if (!isSuccess(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt())) {
            errorBody.append(chunk.left(kErrorBodyLimit - errorBody.size()));
            return;
        }
        if (!writeError.isEmpty())
            return;
        if (request.bodyLimit && written + chunk.size() > *request.bodyLimit) {
            exchange.stop(StopReason::tooLarge);
            return;
        }
        if (file.write(chunk) != chunk.size()) {
            writeError = file.errorString();
            reply->abort();
            return;
        }
        digest.add(chunk);
        written += chunk.size();
    };
    QObject::connect(reply, &QNetworkReply::readyRead, reply, takeAvailable);
    if (onProgress) {
        QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [&](qint64 received, qint64 total) {
            onProgress(received, total >= 0 ? std::optional<qint64>(total) : std::nullopt);
        });
    }
    awaitReply(exchange, request, TimeLimit::betweenBytes, cancellation);
    takeAvailable();
    if (!writeError.isEmpty())
        throw FileSystemError::withReason(QStringLiteral("write"), destination, writeError);

    HTTPResponse response = responseOrThrow(exchange, request, TimeLimit::betweenBytes);
    if (!isSuccess(response.status)) {
        file.cancelWriting();
        response.body = errorBody;
        return response;
    }
    if (!file.commit())
        throw FileSystemError::withReason(QStringLiteral("write"), destination, file.errorString());
    response.bodySHA256 = digest.hexDigest();
    return response;
}
