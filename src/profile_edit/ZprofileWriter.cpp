#include "profile_edit/ZprofileWriter.h"

#include <algorithm>

ZprofileWriter::ZprofileWriter(std::shared_ptr<FileSystemOperating> fs)
    : m_writer(fs->homeDirectory() + QStringLiteral("/.zprofile"), fs)
{
}

QStringList ZprofileWriter::lines()
{
    return {QStringLiteral("export JAVA_HOME=$(/usr/libexec/java_home)"), QStringLiteral("export PATH=\"$JAVA_HOME/bin:$PATH\"")};
}

bool ZprofileWriter::exportsJavaHome(const QString &text)
{
    const QStringList meaningful = FileAppendWriter::meaningfulLines(text);
    return std::any_of(meaningful.cbegin(), meaningful.cend(),
                       [](const QString &line) { return line.startsWith(QLatin1String("export JAVA_HOME=")); });
}

FileAppendWriter::DiffPreview ZprofileWriter::preview(QDate today) const
{
    return m_writer.preview(lines(), QString::fromLatin1(kTitle), &exportsJavaHome, today);
}
