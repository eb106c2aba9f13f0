#pragma once

#include "ui/common/NpsCardModel.h"
#include "ui/common/ScreenContext.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>

/// The short ending for a Mac that does not look like a developer's: Java works, the satisfaction
/// card once per visit, and home.
class SimplifiedCompletionModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the screen that ends with it")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString explainer READ explainer CONSTANT FINAL)
    Q_PROPERTY(QString articleLinkText READ articleLinkText CONSTANT FINAL)
    Q_PROPERTY(QString doneText READ doneText CONSTANT FINAL)
    Q_PROPERTY(bool showsNpsCard READ showsNpsCard NOTIFY changed FINAL)
    Q_PROPERTY(NpsCardModel *npsCard READ npsCard CONSTANT FINAL)
public:
    /// `onDone` returns to the home screen.
    SimplifiedCompletionModel(const ScreenContext &context, std::function<void()> onDone, QObject *parent = nullptr);

    /// When the screen appears: the card, if it is wanted, counts as shown.
    Q_INVOKABLE void start() { m_npsCard->appeared(); }
    Q_INVOKABLE void done();
    Q_INVOKABLE void openArticle() const;

    [[nodiscard]] QString title() const { return QStringLiteral("Java is working"); }
    [[nodiscard]] QString explainer() const { return QStringLiteral("You're all set."); }
    [[nodiscard]] QString articleLinkText() const { return QStringLiteral("Read the article on Ferrowood"); }
    [[nodiscard]] QString doneText() const { return QStringLiteral("Done — back to home"); }
    [[nodiscard]] bool showsNpsCard() const { return m_npsCard->shown(); }
    [[nodiscard]] NpsCardModel *npsCard() const { return m_npsCard; }

signals:
    void changed();

private:
    ScreenContext m_context;
    std::function<void()> m_onDone;
    NpsCardModel *m_npsCard;
};
