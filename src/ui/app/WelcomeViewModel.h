#pragma once

#include "ui/common/ScreenContext.h"

#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

/// The home screen after consent: what the app is for, and the way into the Java diagnosis.
class WelcomeViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the app's root model")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString tagline READ tagline CONSTANT FINAL)
    Q_PROPERTY(QString diagnoseText READ diagnoseText CONSTANT FINAL)
    Q_PROPERTY(QString articleLinkText READ articleLinkText CONSTANT FINAL)
    Q_PROPERTY(QUrl articleURL READ articleURL CONSTANT FINAL)
public:
    WelcomeViewModel(const ScreenContext &context, QObject *parent = nullptr);

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString tagline() const;
    [[nodiscard]] QString diagnoseText() const;
    [[nodiscard]] QString articleLinkText() const;
    [[nodiscard]] QUrl articleURL() const;

    /// "Diagnose Java": asks the root to show the diagnose flow.
    Q_INVOKABLE void diagnose();
    Q_INVOKABLE void openArticle() const;

signals:
    void diagnoseRequested();

private:
    const ScreenContext &m_context;
};
