#pragma once

#include "services/HTTPFetching.h"

#include <QUrl>

#include <memory>

/// What the Adoptium API said that we cannot use. Domain "AdoptiumAPI"; the message is what the
/// user sees.
class AdoptiumError : public Error {
public:
    enum Code {
        noInstaller = 1,   // no asset, or the first asset has no installer
        invalidLink = 2,   // the installer link is not an https (or, for tests, http) URL
        badChecksum = 3,   // the checksum is not 64 characters
        unsafeName = 4,    // a name that would end up in a file name or a command is not plain
        unexpectedLTS = 5, // an LTS version no release ever had
    };

    AdoptiumError(Code code, const QString &message) : Error(message), m_code(code) {}
    static QString domain() { return QStringLiteral("AdoptiumAPI"); }
    [[nodiscard]] Code code() const { return m_code; }

private:
    Code m_code;
};

/// Asks the Adoptium API which Java is the latest LTS, and where the latest Temurin installer
/// package for a major version lives. It never downloads the package.
///
/// Errors: AdoptiumError; HTTPError for transport failures (callers tell a time-out from a
/// cancel by its kind) and, of kind badServerResponse, for any status but 200; DecodingError for a
/// body that is not the JSON expected.
class AdoptiumAPI {
public:
    struct AssetMetadata {
        QUrl downloadURL;
        QString checksum;    // SHA-256, lower case, 64 characters
        QString filename;    // the installer's name: letters, digits and ._+- only
        QString releaseName; // e.g. "jdk-21.0.5+11": letters, digits and ._+- only
        std::optional<qint64> size; // the package's size in bytes, when Adoptium lists it

        friend bool operator==(const AssetMetadata &, const AssetMetadata &) = default;
    };

    /// https://api.adoptium.net, or TARNWICK_ADOPTIUM_URL when set.
    [[nodiscard]] static QUrl defaultBaseURL();

    explicit AdoptiumAPI(std::shared_ptr<const HTTPFetching> http, QUrl baseURL = defaultBaseURL());

    /// `most_recent_lts` of /v3/info/available_releases (10 s limit).
    [[nodiscard]] int latestLTSMajor(ProcessCancellation *cancellation = nullptr) const;
    /// The first asset of /v3/assets/latest/<major>/hotspot (20 s limit).
    [[nodiscard]] AssetMetadata latestAsset(int major, const QString &architecture,
                                            ProcessCancellation *cancellation = nullptr) const;

private:
    [[nodiscard]] QByteArray get(const QUrl &url, std::chrono::milliseconds timeLimit, ProcessCancellation *cancellation) const;

    std::shared_ptr<const HTTPFetching> m_http;
    QUrl m_baseURL;
};
