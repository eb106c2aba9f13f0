#pragma once

#include "services/FileSystemOperating.h"

/// The real file system, through POSIX calls (for the platform's own error reasons) and QSaveFile
/// (for atomic writes).
class LiveFileSystem final : public FileSystemOperating {
public:
    /// Where the well-known folders are, when not where the platform says (tests, a simulated
    /// Mac's root). Empty entries keep the platform's answer.
    struct Folders {
        QString home;
        QString temporary;
        QString caches;
        QString applicationSupport;
    };

    LiveFileSystem() = default;
    explicit LiveFileSystem(Folders folders) : m_folders(std::move(folders)) {}

    [[nodiscard]] QString homeDirectory() const override;
    [[nodiscard]] QString temporaryDirectory() const override;
    [[nodiscard]] QString cachesDirectory() const override;
    [[nodiscard]] QString applicationSupportDirectory() const override;

    [[nodiscard]] bool fileExists(const QString &path) const override;
    [[nodiscard]] FileExistence fileExistence(const QString &path) const override;
    [[nodiscard]] bool isExecutableFile(const QString &path) const override;

    [[nodiscard]] QStringList contentsOfDirectory(const QString &path) const override;
    void createDirectory(const QString &path, Parents parents) override;
    void removeItem(const QString &path) override;
    void moveItem(const QString &source, const QString &destination) override;
    [[nodiscard]] FileAttributes attributesOfItem(const QString &path) const override;
    [[nodiscard]] FileAttributes attributesOfDestination(const QString &path) const override;
    void setPosixPermissions(const QString &path, unsigned permissions) override;

    [[nodiscard]] QString sha256Hex(const QString &path) const override;
    [[nodiscard]] QString readString(const QString &path) const override;
    void writeString(const QString &path, const QString &text) override;
    [[nodiscard]] QByteArray readData(const QString &path) const override;
    void writeData(const QString &path, const QByteArray &bytes) override;
    void appendData(const QString &path, const QByteArray &bytes) override;
    [[nodiscard]] QString writeStagedFile(const QString &neighbour, const QByteArray &bytes, unsigned permissions) override;
    void replaceItem(const QString &source, const QString &destination) override;

private:
    Folders m_folders;
};
