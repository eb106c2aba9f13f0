#include "diagnosis/VerifyVerdict.h"

VerifyVerdict VerifyVerdict::judge(const Remediation &remediation, const Verifier::Result &result)
{
    const bool homeSet = result.javaHomeValue && !result.javaHomeValue->isEmpty();
    const bool javaRuns = Verifier::javaRuns(result.javaVersionExitCode, result.javaVersionOutput);
    VerifyVerdict verdict;
    verdict.passed = javaRuns && (!remediation.setsJavaHome() || homeSet);
    if (!verdict.passed) {
        verdict.headline = remediation.setsJavaHome() ? QStringLiteral("Java configuration incomplete") : QStringLiteral("Java install incomplete");
        verdict.headlineIdentifier = QStringLiteral("verify-result-fail");
        verdict.detail = QStringLiteral("The remediation completed but Java still isn't running correctly. Read the article.");
        return verdict;
    }
    verdict.offersJavaHome = !remediation.setsJavaHome() && !homeSet;
    verdict.headline = remediation.setsJavaHome() ? QStringLiteral("Java configured") : QStringLiteral("Java installed");
    verdict.headlineIdentifier = QStringLiteral("verify-result-pass");
    verdict.detail = *verdict.offersJavaHome
        ? QStringLiteral("Java is installed, but your shell doesn't know where to find it yet. One more step.")
        : QString::fromUtf8(Verifier::kOutputCaption);
    return verdict;
}

QString VerifyVerdict::shownOutput(const QString &javaVersionOutput)
{
    return javaVersionOutput.isEmpty() ? QStringLiteral("(no output)") : javaVersionOutput;
}

QString VerifyVerdict::shownJavaHome(const std::optional<QString> &javaHome)
{
    return javaHome ? *javaHome : QStringLiteral("(unset)");
}
