#include "ui/app/ConsentViewModel.h"

#include "telemetry/TelemetryEvents.h"

namespace {
const auto kPrivacyPath = QStringLiteral("/tarnwick/privacy");
}

ConsentViewModel::ConsentViewModel(const ScreenContext &context, QObject *parent)
    : QObject(parent), m_context(context)
{
}

QString ConsentViewModel::title() const { return QStringLiteral("Welcome to Tarnwick"); }
QString ConsentViewModel::whatHeading() const { return QStringLiteral("What this tool does"); }

QStringList ConsentViewModel::whatLines() const
{
    return {QStringLiteral("Checks for Java, shell configuration, and related tools."),
            QStringLiteral("Suggests fixes for common Mac setup problems."),
            QStringLiteral("Asks for your password before installing or modifying anything.")};
}

QString ConsentViewModel::privacyHeading() const
{
    return QStringLiteral("Your privacy and system integrity is respected");
}

QStringList ConsentViewModel::privacyLines() const
{
    return {QStringLiteral("A session UUID is created for anonymous usage reporting."),
            QStringLiteral("Some usage events (fixes and exits) are tracked anonymously."),
            QStringLiteral("The app doesn't identify the user or collect an IP address."),
            QStringLiteral("No passwords or file contents are recorded or reported."),
            QStringLiteral("The \u201CHow did we do?\u201D score is reported anonymously.")};
}

QString ConsentViewModel::privacyFootnote() const { return QStringLiteral("Read the privacy details:"); }
QString ConsentViewModel::privacyLinkText() const { return m_context.site.displayText(kPrivacyPath); }
QUrl ConsentViewModel::privacyURL() const { return m_context.site.page(kPrivacyPath); }
QString ConsentViewModel::continueText() const { return QStringLiteral("Continue"); }

void ConsentViewModel::accept()
{
    m_context.telemetry->track(TelemetryEvents::consentGiven());
    m_context.services.store->setBool(QString::fromLatin1(kConsentedKey), true);
    emit accepted();
}

void ConsentViewModel::openPrivacyLink() const { m_context.openLink(privacyURL()); }
