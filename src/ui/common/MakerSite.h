#pragma once

#include <QString>
#include <QUrl>

/// The maker's web site, where the privacy page and the help articles live. One base address for
/// every link, so a test or a staging build can point them all elsewhere.
class MakerSite {
public:
    explicit MakerSite(QUrl base);

    /// TARNWICK_ARTICLES_URL when set and a valid http(s) address, else https://ferrowood.com.
    [[nodiscard]] static MakerSite fromEnvironment();

    /// The page at `path` ("/java/unable-to-locate") under the base address.
    [[nodiscard]] QUrl page(const QString &path) const;
    /// How a page's address reads in running text: "ferrowood.com/tarnwick/privacy".
    [[nodiscard]] QString displayText(const QString &path) const;

private:
    QUrl m_base;
};
