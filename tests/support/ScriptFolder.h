#pragma once

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

/// What the file at `path` holds; empty when it cannot be read.
inline QByteArray fileContents(const QString &path) { QFile file(path); return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(); }

/// A throw-away folder of small shell scripts standing in for real programs.
class ScriptFolder {
public:
    /// Writes an executable `name` whose body runs under /bin/sh; returns its absolute path.
    QString write(const QString &name, const QByteArray &body, const QByteArray &shebang = "#!/bin/sh")
    {
        QFile file(m_dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(shebang + "\n" + body + "\n") > 0) << file.fileName().toStdString();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return file.fileName();
    }
    [[nodiscard]] QString path(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
};
