#include "runners/FixSequence.h"

#include "diagnosis/Probes.h"
#include "diagnosis/SystemProfiler.h"
#include "profile_edit/ZprofileWriter.h"
#include "runners/BrewRunner.h"
#include "runners/HomebrewInstaller.h"
#include "runners/JEnvRunner.h"
#include "runners/MiseRunner.h"
#include "runners/PKGInstaller.h"
#include "runners/SDKMANRunner.h"
#include "runners/ZshrcHooks.h"
#include "telemetry/TelemetryEvents.h"

using Kind = Remediation::Kind;

FixSequence::Configuration FixSequence::defaultConfiguration()
{
    return {AdoptiumAPI::defaultBaseURL(), HomebrewInstaller::defaultScriptURL(),
            QUrl(QStringLiteral("https://ferrowood.com/java/unable-to-locate"))};
}

FixSequence::FixSequence(AppServices services, Configuration configuration, TelemetrySink *telemetry)
    : m_services(std::move(services)), m_configuration(std::move(configuration)), m_telemetry(telemetry)
{
}

// The state of one run: the exit code so far, and whether the user cancelled.
struct FixSequence::Run {
    const FixSequence &sequence;
    ProcessCancellation &cancellation;
    FrontEnd &frontEnd;
    std::optional<std::int32_t> exitCode;
    bool canceledByUser = false;
    bool installOutlivedCancel = false; // its outcome is the run's, cancel or not

    const AppServices &services() const { return sequence.m_services; }
    QString home() const { return services().fs->homeDirectory(); }
    ProgramRunner shell() const { return ProgramRunner(services().processRunner); }
    AdoptiumAPI adoptium() const { return AdoptiumAPI(services().http, sequence.m_configuration.adoptiumBaseURL); }
    // Asked as the profile asks it, so an Intel Mac gets an Intel build.
    Architecture architecture() const { return SystemProfiler::machineArchitecture(shell(), &cancellation); }
    bool succeeded() const { return !canceledByUser && !cancellation.isCanceled() && exitCode == 0; }

    void take(const StreamEvent &event)
    {
        if (event.kind == StreamEvent::Kind::output)
            frontEnd.line(event.text);
        else if (event.kind == StreamEvent::Kind::completed)
            exitCode = event.exitCode;
        else
            canceledByUser = true;
    }
    void fail(const QString &line, std::int32_t code)
    {
        frontEnd.line(line);
        exitCode = code;
    }

    void brewStep(const QString &cask, const QString &prompt)
    {
        const std::optional<QString> brew = SystemProfiler::findBrew(*services().fs);
        if (!brew)
            return fail(QStringLiteral("Homebrew not found in /opt/homebrew/bin or /usr/local/bin."), -1);
        const BrewRunner runner(*brew, services().processRunner, services().http, services().fs, adoptium(), architecture());
        const BrewRunner::Event end = runner.run(cask, prompt, cancellation, [this](const BrewRunner::Event &event) {
            if (event.kind == BrewRunner::Event::Kind::output)
                frontEnd.line(event.text);
            else if (event.kind == BrewRunner::Event::Kind::downloading)
                frontEnd.progress(downloadedText(event.bytesReceived, event.totalBytes));
        });
        if (end.kind == BrewRunner::Event::Kind::canceled)
            canceledByUser = true;
        else
            exitCode = end.exitCode;
    }

    void homebrewStep()
    {
        const QUrl &url = sequence.m_configuration.homebrewInstallScriptURL;
        frontEnd.line(QStringLiteral("Running: ") + HomebrewInstaller::commandLine(url).value_or(url.toString()));
        const HomebrewInstaller installer(services().processRunner, services().fs, url,
                                          [this](const FileAppendWriter::DiffPreview &preview) { return frontEnd.confirmShellenvAppend(preview); });
        take(installer.install(cancellation, [this](const StreamEvent &event) { take(event); }));
    }

    void packageStep(int version)
    {
        const PKGInstaller installer(services().processRunner, services().http, services().fs, adoptium(), architecture());
        using Event = PKGInstaller::Event;
        const Event end = installer.install(version, QString::fromLatin1(kPasswordPrompt), cancellation, [&](const Event &event) {
            switch (event.kind) {
            case Event::Kind::fetching:
                frontEnd.line(QStringLiteral("Looking up Temurin %1 on Adoptium…").arg(version));
                break;
            case Event::Kind::downloading: frontEnd.progress(downloadedText(event.bytesReceived, event.totalBytes)); break;
            case Event::Kind::slowResponse: frontEnd.line(QStringLiteral("Adoptium is responding slowly — still trying…")); break;
            case Event::Kind::verifying: frontEnd.line(QStringLiteral("Verifying SHA256 checksum…")); break;
            case Event::Kind::installing:
                frontEnd.line(QStringLiteral("Running /usr/sbin/installer (macOS will ask for your password)…"));
                break;
            case Event::Kind::finishing: frontEnd.installFinishing(); break;
            default: break;
            }
        });
        installOutlivedCancel = cancellation.isCanceled() && (end.kind == Event::Kind::completed || end.kind == Event::Kind::error);
        if (end.kind == Event::Kind::completed) {
            frontEnd.line(QStringLiteral("Installer completed."));
            exitCode = 0;
        } else if (end.kind == Event::Kind::error) {
            fail(QStringLiteral("Error: ") + end.message, 1);
        } else {
            canceledByUser = true;
        }
    }

    bool sdkmanReady()
    {
        if (services().fs->fileExists(home() + QStringLiteral("/.sdkman/bin/sdkman-init.sh")))
            return true;
        fail(QStringLiteral("SDKMAN init script not found at ~/.sdkman/bin/sdkman-init.sh."), -1);
        return false;
    }

    void jenvScript(const QString &jdkPath, int major)
    {
        const JEnvRunner jenv(home() + QStringLiteral("/.jenv"), shell(), services().fs);
        take(jenv.registerAndSelect(jdkPath, major, cancellation, [this](const StreamEvent &event) { take(event); }));
        if (succeeded())
            offerZshrc([&jenv] { return jenv.missingHookLines(); }, QStringLiteral("jEnv init"));
    }

    void jenvRegistrationAfterPackage(int major)
    {
        frontEnd.line(QStringLiteral("Locating installed Temurin…"));
        const QList<JDKInfo> jdks = Probes(shell(), services().fs).installedJDKs();
        for (const JDKInfo &jdk : jdks) {
            if (jdk.version.startsWith(QStringLiteral("%1.").arg(major)) || jdk.path.contains(QStringLiteral("temurin-%1").arg(major))) {
                frontEnd.line(QStringLiteral("Found ") + jdk.path);
                return jenvScript(jdk.path, major);
            }
        }
        fail(QStringLiteral("Installed Temurin but couldn't locate a Java installation to register with jEnv. You can run "
                            "`jenv add /path/to/java` manually."),
             1);
    }

    void offerZshrc(const std::function<QStringList()> &findMissingLines, const QString &title)
    {
        if (cancellation.isCanceled())
            return;
        const FileAppendWriter writer(ZshrcHooks::path(*services().fs), services().fs);
        FileAppendWriter::DiffPreview preview;
        try {
            const QStringList missingLines = findMissingLines();
            if (missingLines.isEmpty())
                return;
            preview = writer.preview(missingLines, title, [this, missingLines](const QString &) {
                return ZshrcHooks::missingLines(*services().fs, missingLines).isEmpty();
            });
        } catch (const FileSystemError &error) {
            frontEnd.line(QStringLiteral("Couldn't read ~/.zshrc: ") + error.reason()); // the fix itself still succeeded
            return;
        }
        if (preview.alreadySet)
            return;
        if (!frontEnd.confirmZshrcAppend(preview)) {
            frontEnd.line(QStringLiteral("Skipped ~/.zshrc edit. JAVA_HOME may stay unset in fresh shells until you add the line manually."));
            return;
        }
        try {
            writer.apply(preview);
            frontEnd.line(QStringLiteral("Updated ") + preview.path + QStringLiteral(". Backup at ") + preview.backupPath + QLatin1Char('.'));
        } catch (const FileAppendWriter::WriteError &error) {
            frontEnd.zshrcAppendFailed(error.message());
        }
    }

    Outcome writeZprofile()
    {
        const ZprofileWriter writer(services().fs);
        FileAppendWriter::DiffPreview preview;
        try {
            preview = writer.preview();
        } catch (const FileSystemError &error) {
            const QString message = QStringLiteral("Couldn't read ~/.zprofile: ") + error.reason();
            fail(message, 1);
            return Outcome::failure(message);
        }
        if (preview.alreadySet) {
            frontEnd.line(QStringLiteral("Your ~/.zprofile already sets JAVA_HOME via `$(/usr/libexec/java_home)` — no changes needed."));
            exitCode = 0;
            return Outcome::success(QStringLiteral("JAVA_HOME already set in ~/.zprofile."));
        }
        if (!frontEnd.confirmZprofileWrite(preview)) {
            canceledByUser = true;
            return Outcome::canceled();
        }
        try {
            writer.apply(preview);
        } catch (const FileAppendWriter::WriteError &error) {
            fail(error.message(), 1);
            return Outcome::failure(error.message());
        }
        frontEnd.line(QStringLiteral("Updated ") + preview.path + QStringLiteral(". Backup at ") + preview.backupPath + QLatin1Char('.'));
        exitCode = 0;
        return Outcome::success(QStringLiteral("JAVA_HOME set in ~/.zprofile."));
    }

    void steps(const Remediation &remediation)
    {
        const auto stream = [this](const StreamEvent &event) { take(event); };
        switch (remediation.kind()) {
        case Kind::installTemurinViaBrew: return brewStep(remediation.cask(), QString::fromLatin1(kPasswordPrompt));
        case Kind::installViaSDKMAN:
            if (!sdkmanReady())
                return;
            frontEnd.line(QStringLiteral("Running: sdk install java ") + remediation.candidate());
            return take(SDKMANRunner(home() + QStringLiteral("/.sdkman"), shell()).install(remediation.candidate(), cancellation, stream));
        case Kind::installViaMise:
        case Kind::setJavaHomeViaMise: {
            const QString &version = remediation.versionName();
            const MiseRunner mise(miseExecutable(), shell(), services().fs);
            if (remediation.kind() == Kind::installViaMise) {
                frontEnd.line(QStringLiteral("Running: mise install java@%1 && mise use -g java@%1").arg(version));
                take(mise.install(version, cancellation, stream));
            } else {
                frontEnd.line(QStringLiteral("Running: mise use -g java@") + version);
                take(mise.select(version, cancellation, stream));
            }
            if (succeeded())
                offerZshrc([&mise] { return mise.missingHookLines(); }, QStringLiteral("Mise activation"));
            return;
        }
        case Kind::installViaPKG: return packageStep(remediation.version());
        case Kind::installViaPKGThenJEnv:
            packageStep(remediation.version());
            if (succeeded())
                jenvRegistrationAfterPackage(remediation.version());
            return;
        case Kind::writeJavaHomeToZprofile: return; // handled by writeZprofile()
        case Kind::setJavaHomeViaSDKMAN:
            if (!sdkmanReady())
                return;
            frontEnd.line(QStringLiteral("Running: sdk default java ") + remediation.candidate());
            return take(SDKMANRunner(home() + QStringLiteral("/.sdkman"), shell()).makeDefault(remediation.candidate(), cancellation, stream));
        case Kind::setJavaHomeViaJenv:
            frontEnd.line(QStringLiteral("Registering %1 with jEnv (major %2)…").arg(remediation.jdkPath()).arg(remediation.majorVersion()));
            return jenvScript(remediation.jdkPath(), remediation.majorVersion());
        case Kind::installHomebrewThenTemurin:
            homebrewStep();
            if (!succeeded())
                return;
            frontEnd.line(QStringLiteral("Homebrew installed. Now installing Temurin via Homebrew…"));
            exitCode.reset();
            return brewStep(remediation.temurinCask(), QString::fromLatin1(kPasswordPrompt));
        case Kind::installWarpViaBrew: return brewStep(remediation.cask(), QString()); // Warp needs no password
        case Kind::installHomebrew: return homebrewStep();
        }
    }

    QString miseExecutable() const { return SystemProfiler::findMise(shell(), *services().fs).value_or(QString()); }
};

FixSequence::Outcome FixSequence::run(const Remediation &remediation, ProcessCancellation &cancellation, FrontEnd &frontEnd) const
{
    Run run {*this, cancellation, frontEnd, std::nullopt, false};
    Outcome outcome;
    if (remediation.kind() == Kind::writeJavaHomeToZprofile) {
        outcome = run.writeZprofile();
    } else {
        run.steps(remediation);
        if (run.canceledByUser || (cancellation.isCanceled() && !run.installOutlivedCancel))
            outcome = Outcome::canceled();
        else if (run.exitCode == 0)
            outcome = Outcome::success(successMessage(remediation));
        else
            outcome = Outcome::failure(failureMessage(run.exitCode.value_or(-1)));
    }
    if (m_telemetry) {
        namespace TE = TelemetryEvents;
        if (outcome.kind == Outcome::Kind::canceled)
            m_telemetry->track(TE::remediationCanceled(remediation));
        else if (!run.exitCode)
            m_telemetry->track(TE::remediationFailed(remediation, -1, QStringLiteral("process ended without exit code")));
        else if (*run.exitCode == 0)
            m_telemetry->track(TE::remediationCompleted(remediation, 0));
        else
            m_telemetry->track(TE::remediationFailed(remediation, *run.exitCode, QStringLiteral("exit code %1").arg(*run.exitCode)));
    }
    return outcome;
}

QString FixSequence::failureMessage(int exitCode) const
{
    return QStringLiteral("Install failed (exit code %1). The article at [Ferrowood](%2) may help.")
        .arg(exitCode)
        .arg(m_configuration.troubleshootingArticleURL.toString());
}

QString FixSequence::downloadedText(qint64 received, std::optional<qint64> total)
{
    constexpr double kMegabyte = 1048576.0;
    if (total && *total >= 1)
        return QStringLiteral("Downloaded %1 MB of %2 MB").arg(received / kMegabyte, 0, 'f', 1).arg(*total / kMegabyte, 0, 'f', 1);
    return QStringLiteral("Downloaded %1 MB").arg(received / kMegabyte, 0, 'f', 1);
}

QStringList FixSequence::zshrcOfferText(const FileAppendWriter::DiffPreview &preview)
{
    return {QStringLiteral("One more thing: we need to append to `") + preview.path + QStringLiteral("` so JAVA_HOME gets set in fresh shells."),
            QStringLiteral("Backup: `") + preview.backupPath + QLatin1Char('`')};
}

FixSequence::ZprofileOffer FixSequence::zprofileOfferText(const FileAppendWriter::DiffPreview &preview)
{
    return {QStringLiteral("Set `JAVA_HOME` in `~/.zprofile`"),
            QStringLiteral("Review the change before we write it. Your current file is backed up to `~/.zprofile.bak`."),
            preview.wasCreated ? QStringLiteral("Creating `~/.zprofile` (didn't exist before).") : QString(),
            QStringLiteral("Backup: `") + preview.backupPath + QLatin1Char('`')};
}

QString FixSequence::successMessage(const Remediation &remediation)
{
    switch (remediation.kind()) {
    case Kind::installTemurinViaBrew: return QStringLiteral("Temurin installed.");
    case Kind::installViaSDKMAN: return QStringLiteral("Installed Temurin via SDKMAN.");
    case Kind::installViaMise: return QStringLiteral("Installed Temurin via Mise.");
    case Kind::installViaPKG: return QStringLiteral("Temurin installed.");
    case Kind::installViaPKGThenJEnv: return QStringLiteral("Temurin installed.");
    case Kind::writeJavaHomeToZprofile: return QStringLiteral("JAVA_HOME set in ~/.zprofile.");
    case Kind::setJavaHomeViaSDKMAN: return QStringLiteral("Set the SDKMAN default Java.");
    case Kind::setJavaHomeViaMise: return QStringLiteral("Configured Mise to set JAVA_HOME.");
    case Kind::setJavaHomeViaJenv: return QStringLiteral("Configured jEnv to set JAVA_HOME.");
    case Kind::installHomebrewThenTemurin: return QStringLiteral("Homebrew + Temurin installed.");
    case Kind::installWarpViaBrew: return QStringLiteral("Warp installed.");
    case Kind::installHomebrew: return QStringLiteral("Homebrew installed.");
    }
    Q_UNREACHABLE();
}
