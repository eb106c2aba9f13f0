#pragma once

#include "ui/common/ScreenContext.h"

#include <QObject>
#include <QStringList>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

/// The one-time consent screen: what the app does, what it records, and the Continue that
/// remembers the answer under `ferrowood.tarnwick.consented`.
class ConsentViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the app's root model")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString whatHeading READ whatHeading CONSTANT FINAL)
    Q_PROPERTY(QStringList whatLines READ whatLines CONSTANT FINAL)
    Q_PROPERTY(QString privacyHeading READ privacyHeading CONSTANT FINAL)
    Q_PROPERTY(QStringList privacyLines READ privacyLines CONSTANT FINAL)
    Q_PROPERTY(QString privacyFootnote READ privacyFootnote CONSTANT FINAL)
    Q_PROPERTY(QString privacyLinkText READ privacyLinkText CONSTANT FINAL)
    Q_PROPERTY(QUrl privacyURL READ privacyURL CONSTANT FINAL)
    Q_PROPERTY(QString continueText READ continueText CONSTANT FINAL)
public:
    static constexpr auto kConsentedKey = "ferrowood.tarnwick.consented";

    ConsentViewModel(const ScreenContext &context, QObject *parent = nullptr);

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString whatHeading() const;
    [[nodiscard]] QStringList whatLines() const;
    [[nodiscard]] QString privacyHeading() const;
    [[nodiscard]] QStringList privacyLines() const;
    [[nodiscard]] QString privacyFootnote() const;
    [[nodiscard]] QString privacyLinkText() const;
    [[nodiscard]] QUrl privacyURL() const;
    [[nodiscard]] QString continueText() const;

    /// Continue: records consent_given, stores the answer, then emits `accepted`.
    Q_INVOKABLE void accept();
    Q_INVOKABLE void openPrivacyLink() const;

signals:
    void accepted();

private:
    const ScreenContext &m_context;
};
