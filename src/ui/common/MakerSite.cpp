#include "ui/common/MakerSite.h"

namespace {
const auto kDefaultBase = QStringLiteral("https://ferrowood.com");
}

MakerSite::MakerSite(QUrl base) : m_base(std::move(base)) {}

MakerSite MakerSite::fromEnvironment()
{
    const QUrl configured(qEnvironmentVariable("TARNWICK_ARTICLES_URL"), QUrl::StrictMode);
    const bool usable = configured.isValid() && !configured.host().isEmpty()
                        && (configured.scheme() == QLatin1String("https") || configured.scheme() == QLatin1String("http"));
    return MakerSite(usable ? configured : QUrl(kDefaultBase));
}

QUrl MakerSite::page(const QString &path) const
{
    // A base with a path of its own ("https://example.com/help") keeps it: pages go beneath it.
    QUrl url = m_base;
    QString basePath = url.path();
    while (basePath.endsWith(QLatin1Char('/')))
        basePath.chop(1);
    url.setPath(basePath + path);
    return url;
}

QString MakerSite::displayText(const QString &path) const
{
    const QUrl url = page(path);
    const QString port = url.port() == -1 ? QString() : QStringLiteral(":%1").arg(url.port());
    return url.host() + port + url.path();
}
