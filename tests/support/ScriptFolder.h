#pragma once

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

/// A throw-away folder of small shell scripts standing in for real programs.
class ScriptFolder {
public:
    /// Writes an executable `name` whose body runs under /bin/sh; returns its absolute path.
    QString write(const QString &name, const QByteArray &body, const QByteArray &shebang = "#!/bin/sh")
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write(shebang + "\n" + body + "\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    [[nodiscard]] QString path(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
};
