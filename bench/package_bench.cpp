// Times the package download with its checksum against `curl -o` of the same file followed by
// `sha256sum`, side by side in one run, from a server on 127.0.0.1 that sends a 190 MB file with
// sendfile(2). Also reports what the check costs after the last byte has arrived. Run by hand:
// build/default/bench/package_bench [rounds]
#include "services/LiveHTTPFetcher.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 kPackageSize = 190LL * 1000 * 1000;

// Answers every connection with the whole file; one connection at a time is all the bench needs.
class FileServer {
public:
    explicit FileServer(const QString &path) : m_path(QFile::encodeName(path))
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address);
        ::listen(m_listener, 4);
        socklen_t length = sizeof address;
        ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~FileServer()
    {
        m_stopping = true;
        ::shutdown(m_listener, SHUT_RDWR);
        ::close(m_listener);
        m_thread.join();
    }
    [[nodiscard]] QString url() const { return QStringLiteral("http://127.0.0.1:%1/temurin.pkg").arg(m_port); }

private:
    void serve()
    {
        while (!m_stopping) {
            const int connection = ::accept(m_listener, nullptr, nullptr);
            if (connection < 0)
                return;
            char request[4096];
            (void)::recv(connection, request, sizeof request, 0); // one small GET
            const int file = ::open(m_path.constData(), O_RDONLY);
            struct stat info {};
            ::fstat(file, &info);
            const QByteArray header = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: "
                + QByteArray::number(qint64(info.st_size)) + "\r\nConnection: close\r\n\r\n";
            (void)::send(connection, header.constData(), header.size(), 0);
            off_t offset = 0;
            while (offset < info.st_size && ::sendfile(connection, file, &offset, info.st_size - offset) > 0) {
            }
            ::close(file);
            ::close(connection);
        }
    }

    QByteArray m_path;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return QString::fromLatin1(process.readAllStandardOutput());
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("served.pkg"));
    {
        QFile file(source);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        QByteArray block(1024 * 1024, '\0');
        quint32 state = 2463534242u;
        for (qint64 written = 0; written < kPackageSize; written += block.size()) {
            for (char &byte : block) { // xorshift: bytes no layer can compress
                state ^= state << 13;
                state ^= state >> 17;
                state ^= state << 5;
                byte = char(state);
            }
            file.write(block.constData(), std::min<qint64>(block.size(), kPackageSize - written));
        }
    }
    const QString expected = run(QStringLiteral("sha256sum"), {source}).section(QLatin1Char(' '), 0, 0);
    FileServer server(source);
    const LiveHTTPFetcher http;

    std::vector<double> ours, reference, afterLastByte;
    for (int round = 0; round < rounds; ++round) {
        const QString oursPath = dir.filePath(QStringLiteral("ours.pkg"));
        const QString curlPath = dir.filePath(QStringLiteral("curl.pkg"));

        QElapsedTimer timer;
        timer.start();
        qint64 lastByteAt = 0;
        HTTPRequest request = HTTPRequest::get(QUrl(server.url()));
        request.bodyLimit = kPackageSize + kPackageSize / 100;
        const HTTPResponse response = http.download(request, oursPath,
                                                    [&](qint64 received, std::optional<qint64>) {
                                                        if (received == kPackageSize)
                                                            lastByteAt = timer.nsecsElapsed();
                                                    },
                                                    nullptr);
        const bool matches = response.bodySHA256 == expected;
        const qint64 oursDone = timer.nsecsElapsed();
        ours.push_back(oursDone / 1e9);
        afterLastByte.push_back((oursDone - lastByteAt) / 1e9);

        timer.restart();
        run(QStringLiteral("curl"), {QStringLiteral("-s"), QStringLiteral("-o"), curlPath, server.url()});
        const bool curlMatches = run(QStringLiteral("sha256sum"), {curlPath}).startsWith(expected);
        reference.push_back(timer.nsecsElapsed() / 1e9);

        std::printf("round %d: ours %.3f s (checksum %s, %.3f s after the last byte), curl + sha256sum %.3f s (%s)\n", round + 1,
                    ours.back(), matches ? "matches" : "DIFFERS", afterLastByte.back(), reference.back(), curlMatches ? "matches" : "DIFFERS");
        QFile::remove(oursPath);
        QFile::remove(curlPath);
    }
    std::printf("median of %d rounds, 190 MB: ours %.3f s, curl -o + sha256sum %.3f s, ratio %.2f; checksum after the last byte %.3f s\n",
                rounds, median(ours), median(reference), median(ours) / median(reference), median(afterLastByte));
    return 0;
}
