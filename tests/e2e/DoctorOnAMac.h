#pragma once

// What the end-to-end cases share: the Mac root, the local servers standing in for Adoptium and
// the tools' downloads, and the checks every run must pass.

#include "LocalHTTPServer.h"
#include "MacRoot.h"

#include <QCryptographicHash>
#include <QJsonArray>

#include <gtest/gtest.h>

inline const QString kHome = QString::fromLatin1(MacRoot::kHome);
inline const QString kJVMs = QStringLiteral("/Library/Java/JavaVirtualMachines");
inline const QString kTemurin21Home = kJVMs + QStringLiteral("/temurin-21.jdk/Contents/Home");
inline const QString kPackageCache = kHome + QStringLiteral("/Library/Caches/Tarnwick");
inline const QByteArray kUserCanceled = "0:75: execution error: User canceled. (-128)";

inline QStringList linesOf(const QJsonObject &fix)
{
    QStringList lines;
    for (const QJsonValue &line : fix.value(QStringLiteral("lines")).toArray())
        lines.append(line.toString());
    return lines;
}

// The last step of a fix: the JAVA_HOME step after an install, when there was one.
inline QJsonObject lastStep(const QJsonObject &fix)
{
    return fix.value(QStringLiteral("followUp")).isObject() ? lastStep(fix.value(QStringLiteral("followUp")).toObject()) : fix;
}

inline std::string show(const MacRoot::Run &run)
{
    return "exit " + std::to_string(run.exitCode) + "\n--- stdout\n" + run.out.toStdString() + "\n--- stderr\n" + run.err.toStdString();
}

class DoctorOnAMac : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const std::optional<QString> reason = MacRoot::unavailableReason())
            GTEST_SKIP() << reason->toStdString();
    }

    // Adoptium says 21 is the latest LTS and offers `jdk`'s package (its published checksum is
    // the package's own unless `checksumOf` says otherwise).
    void serveAdoptium(MacRoot &mac, const MacRoot::JDK &jdk, const QByteArray &checksumOf = {})
    {
        adoptium.route("/v3/info/available_releases", [](const LocalHTTPServer::Request &) {
            return LocalHTTPServer::Reply {200, {}, R"({"available_lts_releases":[8,11,17,21],"available_releases":[8,11,17,21,22,23],)"
                                                   R"("most_recent_feature_release":23,"most_recent_lts":21})"};
        });
        const QByteArray package = MacRoot::temurinPackage(jdk);
        const QByteArray name = "OpenJDK21U-jdk_aarch64_mac_hotspot_" + jdk.version.toUtf8() + "_" + jdk.build.toUtf8() + ".pkg";
        const QByteArray checksum = QCryptographicHash::hash(checksumOf.isNull() ? package : checksumOf, QCryptographicHash::Sha256).toHex();
        const QByteArray asset = R"([{"binary":{"architecture":"aarch64","image_type":"jdk","installer":{"checksum":")" + checksum
            + R"(","link":")" + adoptium.url(QStringLiteral("/binaries/") + QString::fromLatin1(name)).toEncoded() + R"(","name":")" + name
            + R"(","size":)" + QByteArray::number(package.size()) + R"(},"os":"mac"},"release_name":"jdk-)" + jdk.version.toUtf8() + "+"
            + jdk.build.toUtf8() + R"(","vendor":"eclipse"}])";
        adoptium.route("/v3/assets/latest/21/hotspot", [asset](const LocalHTTPServer::Request &) { return LocalHTTPServer::Reply {200, {}, asset}; });
        adoptium.route("/binaries/" + name, [package](const LocalHTTPServer::Request &) { return LocalHTTPServer::Reply {200, {}, package}; });
        mac.setEnvironment(QStringLiteral("TARNWICK_ADOPTIUM_URL"), adoptium.url(QString()).toString());
    }

    void serveDownload(MacRoot &mac, const QByteArray &path, const QByteArray &body)
    {
        downloads.route(path, [body](const LocalHTTPServer::Request &) { return LocalHTTPServer::Reply {200, {}, body}; });
        mac.setEnvironment(QStringLiteral("STANDIN_DOWNLOADS"), downloads.url(QString()).toString());
        mac.setEnvironment(QStringLiteral("TARNWICK_HOMEBREW_INSTALL_URL"), downloads.url(QStringLiteral("/install.sh")).toString());
    }

    static MacRoot::Run fix(const MacRoot &mac)
    {
        return mac.runDoctor({QStringLiteral("--json"), QStringLiteral("--fix"), QStringLiteral("--yes")});
    }

    // What every run must leave: no process of its own, no password helper folder.
    static void expectTidy(const MacRoot &mac, const MacRoot::Run &run)
    {
        EXPECT_EQ(run.leftoverProcesses, QStringList());
        const QStringList temporary = mac.entries(QString::fromLatin1(MacRoot::kTemporaryFolder));
        EXPECT_TRUE(temporary.filter(QStringLiteral("twk-priv-")).isEmpty()) << temporary.join(u' ').toStdString();
    }

    LocalHTTPServer adoptium;
    LocalHTTPServer downloads;
};

