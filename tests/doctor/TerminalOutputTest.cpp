#include "diagnosis/Remediation.h"
#include "doctor/DoctorReport.h"
#include "doctor/TerminalFrontEnd.h"
#include "doctor/TerminalText.h"

#include <gtest/gtest.h>

namespace {

// What a terminal would obey rather than show: any C0 control but tab and line feed, DEL, C1.
bool hasRawControl(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) {
        const char16_t code = c.unicode();
        return (code < 0x20 && code != u'\t' && code != u'\n') || (code >= 0x7f && code <= 0x9f);
    });
}

// A title change, a screen clear, a carriage return that hides what came before, a C1 CSI.
const QString kHostile = QStringLiteral("temurin\x1b]0;owned\x07-21\x1b[2J\rfine\u009b31m\x7f\tend");

} // namespace

TEST(TerminalOutput, ControlCharactersAreShownNotObeyed)
{
    const std::pair<QString, QString> cases[] = {
        {QStringLiteral("plain – “text” ✓"), QStringLiteral("plain – “text” ✓")},
        {kHostile, QStringLiteral("temurin^[]0;owned^G-21^[[2J^Mfine\\x9b31m^?\tend")},
        {QStringLiteral("a\nb"), QStringLiteral("a^Jb")},
        {QString(QChar(0)) + QChar(0x1f) + QChar(0x80) + QChar(0x9f) + QChar(0xa0), QStringLiteral("^@^_\\x80\\x9f\u00a0")},
    };
    for (const auto &[text, shown] : cases)
        EXPECT_EQ(visibleText(text), shown) << text.toStdString();

    // Every way the doctor prints outside text: a fix's lines, its preview, the findings, the check.
    QString printed;
    QTextStream out(&printed);
    TerminalFrontEnd frontEnd(out, false, [](const QString &) { return false; }); // our own line redraw aside
    frontEnd.line(kHostile);
    frontEnd.progress(kHostile);
    FileAppendWriter::DiffPreview preview;
    preview.backupPath = kHostile;
    preview.linesAdded = {kHostile};
    EXPECT_FALSE(frontEnd.confirmZprofileWrite(preview));
    EXPECT_EQ(frontEnd.lines(), (QStringList {kHostile, kHostile})); // the report keeps them as they were

    const JDKInfo jdk {kHostile, kHostile, kHostile, QStringLiteral("/Library/Java/JavaVirtualMachines/") + kHostile};
    DoctorFindings findings;
    findings.profile.javaState.installedJDKs = {jdk};
    findings.profile.javaState.javaHomeInActiveShell = kHostile;
    findings.profile.brewExecutable = kHostile;
    findings.diagnosis = Diagnosis::D2_HomeUnset(jdk);
    findings.remediation = remediationForUnsetHome(jdk, findings.profile);
    DoctorReport::printFindings(out, findings, false);
    const Verifier::Result checked {kHostile + QStringLiteral("\nsecond line ") + kHostile, 1, kHostile};
    DoctorReport::printVerdict(out, checked, VerifyVerdict::judge(*findings.remediation, checked), false);
    out.flush();
    EXPECT_FALSE(hasRawControl(printed)) << printed.toStdString();
    EXPECT_GE(printed.count(QStringLiteral("temurin^[]0;owned^G-21")), 8) << printed.toStdString();
}

TEST(TerminalOutput, EndlessOutputIsPrintedWholeButKeptToItsEnds)
{
    const struct {
        int lines, progressUpdates; // redraws of the last line, which replace it
    } cases[] = {{1, 0}, {1000, 3}, {1001, 0}, {5000, 2}};
    for (const auto &c : cases) {
        QString printed;
        QTextStream out(&printed);
        TerminalFrontEnd frontEnd(out, false, [](const QString &) { return false; });
        for (int i = 0; i < c.lines; ++i)
            frontEnd.line(QStringLiteral("line %1").arg(i));
        for (int i = 0; i < c.progressUpdates; ++i)
            frontEnd.progress(QStringLiteral("progress %1").arg(i));
        out.flush();
        EXPECT_EQ(printed.count(u'\n'), c.lines + c.progressUpdates) << c.lines; // streamed, every one
        const qsizetype total = c.lines + (c.progressUpdates > 0 ? 1 : 0);
        const qsizetype kept = TerminalFrontEnd::kKeptFirst + TerminalFrontEnd::kKeptLast;
        const QStringList lines = frontEnd.lines();
        ASSERT_EQ(lines.size(), total > kept ? kept + 1 : total) << c.lines;
        EXPECT_EQ(lines.first(), QStringLiteral("line 0"));
        EXPECT_EQ(lines.last(), c.progressUpdates > 0 ? QStringLiteral("progress %1").arg(c.progressUpdates - 1)
                                                      : QStringLiteral("line %1").arg(c.lines - 1));
        if (total > kept) {
            EXPECT_EQ(lines[TerminalFrontEnd::kKeptFirst], QStringLiteral("… %1 lines not shown").arg(total - kept));
            EXPECT_EQ(lines[TerminalFrontEnd::kKeptFirst + 1], QStringLiteral("line %1").arg(total - TerminalFrontEnd::kKeptLast));
        }
    }
}
