#pragma once

#include "profile_edit/FileAppendWriter.h"

/// Sets JAVA_HOME in ~/.zprofile, where every login shell reads it.
class ZprofileWriter {
public:
    static constexpr const char *kTitle = "Java configuration";

    explicit ZprofileWriter(std::shared_ptr<FileSystemOperating> fs);

    /// The two export lines; already set when any line that is not a comment starts with
    /// "export JAVA_HOME=", whatever value follows.
    [[nodiscard]] FileAppendWriter::DiffPreview preview(QDate today = QDate::currentDate()) const;
    void apply(const FileAppendWriter::DiffPreview &preview) const { m_writer.apply(preview); }

    [[nodiscard]] static QStringList lines();
    [[nodiscard]] static bool exportsJavaHome(const QString &text);

private:
    FileAppendWriter m_writer;
};
