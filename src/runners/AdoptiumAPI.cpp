#include "runners/AdoptiumAPI.h"

#include "services/JSONDecoding.h"

#include <QRegularExpression>
#include <QUrlQuery>

using namespace std::chrono_literals;

namespace {

// The installer's name and the release name end up in a file name and in a command run with
// administrator rights: nothing but plain characters, and nothing that reads as an option or a
// hidden or parent folder.
void requirePlainName(const QString &name, const char *what)
{
    // Anchored at both ends of the whole text: `$` alone would let a trailing newline through.
    static const QRegularExpression plain(QRegularExpression::anchoredPattern(QStringLiteral("[A-Za-z0-9_+][A-Za-z0-9._+-]*")));
    if (plain.match(name).hasMatch())
        return;
    const QString shown = name.size() > 80 ? name.left(80) + QStringLiteral("…") : name;
    throw AdoptiumError(AdoptiumError::unsafeName,
                        QStringLiteral("Unexpected %1 from Adoptium (“%2”)").arg(QLatin1String(what), shown));
}

} // namespace

QUrl AdoptiumAPI::defaultBaseURL()
{
    const QString configured = qEnvironmentVariable("TARNWICK_ADOPTIUM_URL");
    return QUrl(configured.isEmpty() ? QStringLiteral("https://api.adoptium.net") : configured);
}

AdoptiumAPI::AdoptiumAPI(std::shared_ptr<const HTTPFetching> http, QUrl baseURL)
    : m_http(std::move(http)), m_baseURL(std::move(baseURL))
{
}

QByteArray AdoptiumAPI::get(const QUrl &url, std::chrono::milliseconds timeLimit, ProcessCancellation *cancellation) const
{
    HTTPRequest request = HTTPRequest::get(url, timeLimit);
    request.headers = {{"Accept", "application/json"}};
    const HTTPResponse response = m_http->fetch(request, cancellation);
    if (response.status != 200)
        throw HTTPError(HTTPError::Kind::badServerResponse,
                        QStringLiteral("Adoptium answered with HTTP status %1.").arg(response.status));
    return response.body;
}

int AdoptiumAPI::latestLTSMajor(ProcessCancellation *cancellation) const
{
    QUrl url = m_baseURL;
    url.setPath(url.path() + QStringLiteral("/v3/info/available_releases"));
    const QByteArray body = get(url, 10s, cancellation);
    const qint64 lts = json::integer(json::object(json::parse(body).object(), QStringLiteral("available releases")),
                                     QStringLiteral("most_recent_lts"));
    // Outages have answered with zeros; no Java LTS is below 8 or above 99.
    if (lts < 8 || lts > 99)
        throw AdoptiumError(AdoptiumError::unexpectedLTS, QStringLiteral("Unexpected LTS version from Adoptium (%1)").arg(lts));
    return static_cast<int>(lts);
}

AdoptiumAPI::AssetMetadata AdoptiumAPI::latestAsset(int major, const QString &architecture,
                                                    ProcessCancellation *cancellation) const
{
    QUrl url = m_baseURL;
    url.setPath(url.path() + QStringLiteral("/v3/assets/latest/%1/hotspot").arg(major));
    QUrlQuery query;
    query.setQueryItems({{QStringLiteral("architecture"), architecture},
                         {QStringLiteral("image_type"), QStringLiteral("jdk")},
                         {QStringLiteral("os"), QStringLiteral("mac")}});
    url.setQuery(query);
    if (!url.isValid())
        throw HTTPError(HTTPError::Kind::transport, QStringLiteral("Invalid Adoptium address: %1").arg(url.toString()));

    const QByteArray body = get(url, 20s, cancellation);
    const QJsonDocument document = json::parse(body);
    if (!document.isArray())
        throw DecodingError(QStringLiteral("The data couldn't be read because the assets aren't an array."));

    // Decode every asset, as a strict decoder would, but use only the first.
    struct Installer {
        QString link, checksum, name;
        std::optional<qint64> size;
    };
    struct Asset {
        std::optional<Installer> installer;
        QString releaseName;
    };
    QList<Asset> assets;
    for (const QJsonValue &element : document.array()) {
        const QJsonObject asset = json::object(element, QStringLiteral("asset"));
        const QJsonObject binary = json::object(asset.value(QStringLiteral("binary")), QStringLiteral("binary"));
        const QJsonValue installerValue = binary.value(QStringLiteral("installer"));
        std::optional<Installer> installer;
        if (!installerValue.isNull() && !installerValue.isUndefined()) {
            const QJsonObject fields = json::object(installerValue, QStringLiteral("installer"));
            installer = Installer {json::string(fields, QStringLiteral("link")), json::string(fields, QStringLiteral("checksum")),
                                   json::string(fields, QStringLiteral("name")), {}};
            if (fields.contains(QStringLiteral("size")) && !fields.value(QStringLiteral("size")).isNull())
                installer->size = json::integer(fields, QStringLiteral("size"));
        }
        assets.append({installer, json::string(asset, QStringLiteral("release_name"))});
    }

    if (assets.isEmpty() || !assets.first().installer)
        throw AdoptiumError(AdoptiumError::noInstaller,
                            QStringLiteral("No installer asset for Java %1 on %2").arg(major).arg(architecture));
    const Installer &installer = *assets.first().installer;
    // The package is fetched from this link and then installed as root: only a web address will
    // do (plain http only while the API itself is configured as plain http, as tests do).
    const QUrl link(installer.link, QUrl::StrictMode);
    const QString scheme = link.scheme().toLower();
    const bool webScheme = scheme == QLatin1String("https")
        || (scheme == QLatin1String("http") && m_baseURL.scheme().compare(QLatin1String("http"), Qt::CaseInsensitive) == 0);
    if (!link.isValid() || link.isRelative() || link.host().isEmpty() || !webScheme)
        throw AdoptiumError(AdoptiumError::invalidLink, QStringLiteral("Invalid installer URL from Adoptium"));
    const QString checksum = installer.checksum.toLower();
    if (checksum.size() != 64)
        throw AdoptiumError(AdoptiumError::badChecksum,
                            QStringLiteral("Unexpected checksum format from Adoptium (%1 chars)").arg(checksum.size()));
    requirePlainName(installer.name, "installer name");
    requirePlainName(assets.first().releaseName, "release name");
    if (installer.size && *installer.size < 0)
        throw DecodingError(QStringLiteral("The data couldn't be read because the installer's size is negative."));
    return AssetMetadata {link, checksum, installer.name, assets.first().releaseName, installer.size};
}
