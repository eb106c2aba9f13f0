#include "ui/app/WelcomeViewModel.h"

WelcomeViewModel::WelcomeViewModel(const ScreenContext &context, QObject *parent)
    : QObject(parent), m_context(context)
{
}

QString WelcomeViewModel::title() const { return QStringLiteral("Tarnwick"); }
QString WelcomeViewModel::tagline() const { return QStringLiteral("Diagnose and fix common Mac setup errors."); }
QString WelcomeViewModel::diagnoseText() const { return QStringLiteral("Diagnose Java"); }
QString WelcomeViewModel::articleLinkText() const { return QStringLiteral("Read the article on Ferrowood"); }
QUrl WelcomeViewModel::articleURL() const { return m_context.site.page(QStringLiteral("/java/unable-to-locate")); }

void WelcomeViewModel::diagnose() { emit diagnoseRequested(); }
void WelcomeViewModel::openArticle() const { m_context.openLink(articleURL()); }
