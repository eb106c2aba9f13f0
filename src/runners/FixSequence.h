#pragma once

#include "diagnosis/Remediation.h"
#include "profile_edit/FileAppendWriter.h"
#include "services/AppServices.h"
#include "telemetry/TelemetrySink.h"

#include <QUrl>

/// Runs one chosen fix from start to end: which runners, in which order, with which lines and
/// exit codes, and when to offer a ~/.zshrc or ~/.zprofile change. Written once; the remediation
/// sheet and the doctor differ only in how they show lines and ask questions.
class FixSequence {
public:
    struct Outcome {
        enum class Kind { success, failure, canceled };
        Kind kind = Kind::failure;
        QString message;

        static Outcome success(QString message) { return {Kind::success, std::move(message)}; }
        static Outcome failure(QString message) { return {Kind::failure, std::move(message)}; }
        static Outcome canceled() { return {Kind::canceled, {}}; }
        friend bool operator==(const Outcome &, const Outcome &) = default;
    };

    /// What a front end does for the sequence. Calls come from the thread running the sequence,
    /// except during a package install: there a line ("Adoptium is responding slowly…") may come
    /// from the installer's watchdog thread. Calls never overlap (the installer reports one event
    /// at a time), but a front end must not assume which thread it is on. The confirm… calls
    /// block that thread until answered; a UI front end asks through UiQuestion so that a cancel
    /// wakes them.
    class FrontEnd {
    public:
        virtual ~FrontEnd() = default;
        /// One more line of output.
        virtual void line(const QString &text) = 0;
        /// A progress line that replaces the previous progress line ("Downloaded 12.0 MB of …").
        virtual void progress(const QString &text) = 0;
        /// Whether to append to ~/.zshrc what the preview shows (a version manager's hook).
        virtual bool confirmZshrcAppend(const FileAppendWriter::DiffPreview &preview) = 0;
        /// Whether to write ~/.zprofile as the preview shows.
        virtual bool confirmZprofileWrite(const FileAppendWriter::DiffPreview &preview) = 0;
        /// Whether to append Homebrew's shellenv line to ~/.zprofile after Homebrew's install.
        /// The app appends it unasked (its lines say so); the doctor asks, as for every profile.
        virtual bool confirmShellenvAppend(const FileAppendWriter::DiffPreview &preview) = 0;
        /// The accepted ~/.zshrc append could not be written (the fix itself still succeeded).
        /// A screen may show it beside the offer; by default it is one more line.
        virtual void zshrcAppendFailed(const QString &message) { line(message); }
        /// A cancel came after the privileged install began: it cannot be stopped safely, so the
        /// run waits for it and then reports how it ended. Called from the cancelling thread; by
        /// default one more line.
        virtual void installFinishing() { line(QString::fromUtf8(kFinishingInstallLine)); }
    };

    struct Configuration {
        QUrl adoptiumBaseURL;
        QUrl homebrewInstallScriptURL;
        QUrl troubleshootingArticleURL; // linked from the failure message
    };
    /// The environment's configuration, and the maker's troubleshooting article.
    [[nodiscard]] static Configuration defaultConfiguration();

    /// `telemetry` may be null (the doctor sends nothing).
    FixSequence(AppServices services, Configuration configuration, TelemetrySink *telemetry);

    Outcome run(const Remediation &remediation, ProcessCancellation &cancellation, FrontEnd &frontEnd) const;

    static constexpr const char *kFinishingInstallLine = "Finishing the install that has started; it can't be stopped safely.";
    static constexpr const char *kPasswordPrompt = "Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/";
    [[nodiscard]] static QString successMessage(const Remediation &remediation);
    [[nodiscard]] QString failureMessage(int exitCode) const;
    /// "Downloaded 12.3 MB of 190.0 MB", or "Downloaded 12.3 MB" when the total is unknown.
    [[nodiscard]] static QString downloadedText(qint64 received, std::optional<qint64> total);
    /// The explanation shown with a ~/.zshrc offer.
    [[nodiscard]] static QStringList zshrcOfferText(const FileAppendWriter::DiffPreview &preview);

    /// The texts around a proposed ~/.zprofile change, shown above its added lines.
    struct ZprofileOffer {
        QString title;       // heading of the JAVA_HOME question
        QString detail;      // what happens, under the heading
        QString createdNote; // only when the file is new; empty otherwise
        QString backupLine;  // where the current file goes
    };
    [[nodiscard]] static ZprofileOffer zprofileOfferText(const FileAppendWriter::DiffPreview &preview);

private:
    struct Run;

    AppServices m_services;
    Configuration m_configuration;
    TelemetrySink *m_telemetry;
};
