#include "diagnosis/Diagnosis.h"

#include "diagnosis/LoginShell.h"

Diagnosis diagnose(const ProbeBundle &bundle)
{
    if (!bundle.installedJDKs.isEmpty()) {
        if (bundle.javaHomeInActiveShell)
            return Diagnosis::noErrorsFound();
        // Unread is not unset: writing JAVA_HOME into a profile that hangs would prove nothing.
        if (bundle.loginShellTimedOut)
            return Diagnosis::unknown(LoginShell::noAnswerText());
        return Diagnosis::D2_HomeUnset(bundle.installedJDKs.first());
    }
    if (bundle.jvmDirContents.isEmpty())
        return Diagnosis::D1_NoJDK();
    return Diagnosis::unknown(QStringLiteral("JavaVirtualMachines directory has entries (")
                              + bundle.jvmDirContents.join(QStringLiteral(", "))
                              + QStringLiteral(") but /usr/libexec/java_home couldn't parse any JDKs — possible malformed install."));
}

QString Diagnosis::headline() const
{
    switch (m_kind) {
    case Kind::D1_NoJDK: return QStringLiteral("Java is not installed");
    case Kind::D2_HomeUnset: return QStringLiteral("JAVA_HOME isn't set");
    case Kind::noErrorsFound: return QStringLiteral("Java is installed");
    case Kind::unknown: return QStringLiteral("Couldn't auto-diagnose");
    }
    Q_UNREACHABLE();
}

QString Diagnosis::explanation() const
{
    switch (m_kind) {
    case Kind::D2_HomeUnset:
        return QStringLiteral("Java ") + m_detectedJDK.version + QStringLiteral(" (") + m_detectedJDK.vendor
            + QStringLiteral(", ") + m_detectedJDK.architecture + QStringLiteral(") is installed at ") + m_detectedJDK.path
            + QStringLiteral(", but JAVA_HOME isn't set in your shell. Many build tools (Maven, Gradle, some IDE plugins) depend on JAVA_HOME pointing at the Java installation.");
    case Kind::unknown:
        return m_reason;
    case Kind::D1_NoJDK:
        return QStringLiteral("Java is not installed on this Mac. Install Eclipse Temurin (a free, well-maintained Java distribution) to get a working `java` command.");
    case Kind::noErrorsFound:
        return QStringLiteral("Java is installed and JAVA_HOME is set. Let us know if we should do more.");
    }
    Q_UNREACHABLE();
}

QString Diagnosis::code() const
{
    switch (m_kind) {
    case Kind::D1_NoJDK: return QStringLiteral("D1_NoJDK");
    case Kind::D2_HomeUnset: return QStringLiteral("D2_HomeUnset");
    case Kind::noErrorsFound: return QStringLiteral("no_errors_found");
    case Kind::unknown: return QStringLiteral("unknown");
    }
    Q_UNREACHABLE();
}
