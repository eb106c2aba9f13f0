#include "runners/HomebrewInstaller.h"

#include "diagnosis/SystemProfiler.h"
#include "profile_edit/FileAppendWriter.h"
#include "runners/OutputPhrases.h"

#include <QRegularExpression>

QUrl HomebrewInstaller::defaultScriptURL()
{
    const QString configured = qEnvironmentVariable("TARNWICK_HOMEBREW_INSTALL_URL");
    return QUrl(configured.isEmpty() ? QStringLiteral("https://raw.githubusercontent.com/Homebrew/install/HEAD/install.sh") : configured);
}

HomebrewInstaller::HomebrewInstaller(std::shared_ptr<const ProcessRunning> process, std::shared_ptr<FileSystemOperating> fs,
                                     QUrl scriptURL, ShellenvConsent shellenvConsent)
    : m_process(std::move(process))
    , m_fs(fs)
    , m_executor(std::move(fs))
    , m_scriptURL(std::move(scriptURL))
    , m_shellenvConsent(std::move(shellenvConsent))
{
}

std::optional<QString> HomebrewInstaller::commandLine(const QUrl &scriptURL)
{
    // The address is configuration, and it lands unquoted inside a shell command.
    static const QRegularExpression plainURL(QStringLiteral(R"(^https?://[A-Za-z0-9.:\-]+(/[A-Za-z0-9._~%/+\-]*)?$)"));
    const QString url = scriptURL.toString(QUrl::FullyEncoded);
    if (!plainURL.match(url).hasMatch())
        return std::nullopt;
    return QStringLiteral("/bin/bash -c \"$(curl -fsSL ") + url + QStringLiteral(")\"");
}

StreamEvent HomebrewInstaller::install(ProcessCancellation &cancellation, const OutputHandler &onOutput) const
{
    const auto output = [&onOutput](const QString &line) { onOutput(StreamEvent::output(line)); };
    const std::optional<QString> command = commandLine(m_scriptURL);
    if (!command) {
        output(QStringLiteral("Failed to start Homebrew installer: unusable install script address ") + m_scriptURL.toString());
        return StreamEvent::completed(-1);
    }
    PrivilegedExecutor::Prepared executor;
    try {
        executor = m_executor.prepare(QString::fromLatin1(kPrompt));
    } catch (const FileSystemError &error) {
        output(QStringLiteral("Failed to set up privileged executor: ") + error.message());
        return StreamEvent::completed(-1);
    }
    Environment environment = appEnvironmentWith(executor.environment);
    environment.insert(QStringLiteral("NONINTERACTIVE"), QStringLiteral("1"));

    OutputPhrases said;
    std::int32_t status = -1;
    const ProcessStreamEvent end = m_process->stream(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), *command}, environment,
                                                     cancellation, [&](const QString &line) {
                                                         output(line);
                                                         said.note(line);
                                                     });
    if (end.kind == ProcessStreamEvent::Kind::failedToStart)
        output(QStringLiteral("Failed to start Homebrew installer: ") + end.text);
    else
        status = end.code;
    executor.folder.remove(); // the scripts are of no use to the shellenv step that follows

    if (cancellation.isCanceled())
        return StreamEvent::canceled();
    if (status == 0) {
        appendShellenv(onOutput);
        return StreamEvent::completed(0);
    }
    return said.saysPasswordRefused() ? StreamEvent::canceled() : StreamEvent::completed(status);
}

void HomebrewInstaller::appendShellenv(const OutputHandler &onOutput) const
{
    const auto output = [&onOutput](const QString &line) { onOutput(StreamEvent::output(line)); };
    const QString brew = SystemProfiler::findBrew(*m_fs).value_or(QString());
    if (brew.isEmpty()) {
        output(QStringLiteral("Note: brew not found in expected locations after install; skipping ~/.zprofile shellenv append."));
        return;
    }
    const FileAppendWriter writer(m_fs->homeDirectory() + QStringLiteral("/.zprofile"), m_fs);
    const QString line = QStringLiteral("eval \"$(") + brew + QStringLiteral(" shellenv)\"");
    try {
        const FileAppendWriter::DiffPreview preview = writer.preview({line}, QStringLiteral("Homebrew shellenv"), QStringLiteral("brew shellenv"));
        if (preview.alreadySet) {
            output(QStringLiteral("brew shellenv already in ~/.zprofile — skipping."));
            return;
        }
        if (m_shellenvConsent && !m_shellenvConsent(preview)) {
            // Homebrew itself is installed; only new shells won't find brew by name.
            output(QStringLiteral("Skipped the brew shellenv append; ~/.zprofile is unchanged. For brew in new shells, add this line to ~/.zprofile: ")
                   + line);
            return;
        }
        output(QStringLiteral("Appending brew shellenv to ~/.zprofile (so brew is fully integrated in new shells)."));
        writer.apply(preview);
        output(QStringLiteral("Appended. Backup at ") + preview.backupPath + QLatin1Char('.'));
    } catch (const Error &error) { // reading the profile or writing it
        output(QStringLiteral("Couldn't append brew shellenv to ~/.zprofile: ") + error.message());
    }
}
