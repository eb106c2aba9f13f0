#pragma once

// What the end-to-end cases share: the Mac root, the local servers standing in for Adoptium and
// the tools' downloads, and the checks every run must pass.

#include "LocalHTTPServer.h"
#include "MacRoot.h"

#include <QCryptographicHash>
#include <QDate>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <source_location>

using namespace Qt::StringLiterals;

inline const QString kHome = QString::fromLatin1(MacRoot::kHome);
inline const QString kJVMs = u"/Library/Java/JavaVirtualMachines"_s;
inline const QString kTemurin21Home = kJVMs + "/temurin-21.jdk/Contents/Home"_L1;
inline const QString kPackageCache = kHome + "/Library/Caches/Tarnwick"_L1;
inline const QStringList kFix {u"--json"_s, u"--fix"_s, u"--yes"_s};
inline const QStringList kFixWithNobodyToAsk {u"--json"_s, u"--fix"_s};

// What the JAVA_HOME step appends to ~/.zprofile, after a blank line.
inline QByteArray javaHomeBlock()
{
    return "\n# " + QDate::currentDate().toString(u"yyyy-MM-dd"_s).toUtf8()
        + " Tarnwick — Java configuration\nexport JAVA_HOME=$(/usr/libexec/java_home)\nexport PATH=\"$JAVA_HOME/bin:$PATH\"\n";
}

inline QStringList linesOf(const MacRoot::Run &run) { return run.json["fix"_L1]["lines"_L1].toVariant().toStringList(); }

// A JSON value by its path: at(run.json, "fix.verify.passed").
inline QJsonValue at(const QJsonObject &object, const QString &path)
{
    QJsonValue value = object;
    for (const QString &key : path.split(u'.'))
        value = value[key];
    return value;
}

inline std::string show(const MacRoot::Run &run)
{
    return "exit " + std::to_string(run.exitCode) + "\n--- stdout\n" + run.out.toStdString() + "\n--- stderr\n" + run.err.toStdString();
}

// Checks the run's JSON at each of `expected`'s paths: expectAt(run, {{"fix.outcome", "success"}}).
inline void expectAt(const MacRoot::Run &run, const QJsonObject &expected, std::source_location where = std::source_location::current())
{
    QJsonObject actual;
    for (auto it = expected.begin(); it != expected.end(); ++it)
        actual.insert(it.key(), at(run.json, it.key()));
    const ::testing::ScopedTrace trace(where.file_name(), int(where.line()), "");
    EXPECT_EQ(QJsonDocument(actual).toJson(QJsonDocument::Compact), QJsonDocument(expected).toJson(QJsonDocument::Compact)) << show(run);
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
        serve(adoptium, "/v3/info/available_releases", R"({"available_lts_releases":[8,11,17,21],"available_releases":[8,11,17,21,22,23],)"
                                                       R"("most_recent_feature_release":23,"most_recent_lts":21})");
        const QByteArray package = MacRoot::temurinPackage(jdk);
        const QByteArray name = "OpenJDK21U-jdk_aarch64_mac_hotspot_" + jdk.version.toUtf8() + "_" + jdk.build.toUtf8() + ".pkg";
        const QByteArray checksum = QCryptographicHash::hash(checksumOf.isNull() ? package : checksumOf, QCryptographicHash::Sha256).toHex();
        const QByteArray asset = R"([{"binary":{"architecture":"aarch64","image_type":"jdk","installer":{"checksum":")" + checksum
            + R"(","link":")" + adoptium.url("/binaries/"_L1 + QString::fromLatin1(name)).toEncoded() + R"(","name":")" + name
            + R"(","size":)" + QByteArray::number(package.size()) + R"(},"os":"mac"},"release_name":"jdk-)" + jdk.version.toUtf8() + "+"
            + jdk.build.toUtf8() + R"(","vendor":"eclipse"}])";
        serve(adoptium, "/v3/assets/latest/21/hotspot", asset);
        serve(adoptium, "/binaries/" + name, package);
        mac.setEnvironment(u"TARNWICK_ADOPTIUM_URL"_s, adoptium.url(QString()).toString());
    }

    void serveDownload(MacRoot &mac, const QByteArray &path, const QByteArray &body)
    {
        serve(downloads, path, body);
        mac.setEnvironment(u"STANDIN_DOWNLOADS"_s, downloads.url(QString()).toString());
        mac.setEnvironment(u"TARNWICK_HOMEBREW_INSTALL_URL"_s, downloads.url(u"/install.sh"_s).toString());
    }

    static void serve(LocalHTTPServer &server, const QByteArray &path, const QByteArray &body)
    {
        server.route(path, [body](const LocalHTTPServer::Request &) { return LocalHTTPServer::Reply {200, {}, body}; });
    }

    LocalHTTPServer adoptium, downloads;
};
