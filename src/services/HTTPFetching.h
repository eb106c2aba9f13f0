#pragma once

#include "services/Error.h"
#include "services/ProcessCancellation.h"

#include <QByteArray>
#include <QList>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

using HTTPHeader = std::pair<QByteArray, QByteArray>;

struct HTTPRequest {
    QUrl url;
    QByteArray method = "GET";
    QList<HTTPHeader> headers;
    std::optional<QByteArray> body;
    /// For `fetch`, the longest the whole exchange may take. For `download`, the longest the
    /// transfer may go without receiving anything (a large body may take far longer in all).
    std::chrono::milliseconds timeLimit = std::chrono::seconds(60);
    /// The most body bytes accepted; past it the exchange stops (HTTPError::Kind::tooLarge) and
    /// nothing more is read. Unset: `fetch` keeps at most kFetchBodyLimit, `download` has no cap.
    std::optional<qint64> bodyLimit;
    /// For `download`: the longest the whole transfer may take, however steadily bytes arrive
    /// (HTTPError::Kind::tooSlow). Unset: no overall limit.
    std::optional<std::chrono::milliseconds> overallLimit;

    /// What `fetch` keeps of a body unless told otherwise: answers held in memory are small.
    static constexpr qint64 kFetchBodyLimit = 4 * 1024 * 1024;

    [[nodiscard]] static HTTPRequest get(QUrl url, std::chrono::milliseconds timeLimit = std::chrono::seconds(60))
    {
        HTTPRequest request;
        request.url = std::move(url);
        request.timeLimit = timeLimit;
        return request;
    }
};

struct HTTPResponse {
    HTTPResponse() = default;
    HTTPResponse(int status, QList<HTTPHeader> headers, QByteArray body)
        : status(status), headers(std::move(headers)), body(std::move(body))
    {
    }

    int status = 0;
    QList<HTTPHeader> headers;
    QByteArray body;
    /// For a completed `download`: the SHA-256 of the bytes written, 64 lower-case hex digits,
    /// taken as they arrived (reading the file again would cost a second pass).
    QString bodySHA256;

    /// The first header of that name, compared without regard to case; empty when absent.
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
};

/// Why a request produced no HTTP response. An HTTP error status is not one of these: it comes
/// back as a response, and callers check the status.
class HTTPError : public Error {
public:
    enum class Kind {
        timedOut,        // the time limit passed
        cancelled,       // the cancellation handle was cancelled
        notHTTPResponse, // the answer was not HTTP (a file: or data: URL, say)
        transport,       // anything else: no connection, TLS, unknown scheme; message says which
        badServerResponse, // raised by clients: an answer they cannot use (an unexpected status)
        tooLarge,        // the body went past the request's body limit
        tooSlow,         // a download went past the request's overall limit
    };

    HTTPError(Kind kind, const QString &message) : Error(message), m_kind(kind) {}
    [[nodiscard]] Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

/// HTTP requests, synchronous and safe to call from any thread. Redirects are followed.
class HTTPFetching {
public:
    /// Bytes received so far, and the total when the server announced one.
    using ProgressHandler = std::function<void(qint64 received, std::optional<qint64> total)>;

    virtual ~HTTPFetching() = default;

    /// Sends the request and returns the response with its whole body. Throws HTTPError.
    /// `cancellation` may be null.
    [[nodiscard]] virtual HTTPResponse fetch(const HTTPRequest &request,
                                             ProcessCancellation *cancellation) const = 0;

    /// Streams a response body into the file `destination` without holding it in memory, calling
    /// `onProgress` (on the calling thread) as bytes arrive. The file appears only when a 2xx body
    /// has arrived completely; it replaces any file already there. Any other status comes back as
    /// a response with its (small) body and writes nothing. On an error or a cancel nothing is left
    /// behind. Throws HTTPError, or FileSystemError when the file cannot be written.
    [[nodiscard]] virtual HTTPResponse download(const HTTPRequest &request, const QString &destination,
                                                const ProgressHandler &onProgress,
                                                ProcessCancellation *cancellation) const = 0;
};
