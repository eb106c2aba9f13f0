#include "simulated/InMemoryKeyValueStore.h"
#include "services/LiveKeyValueStore.h"
#include "services/LiveProcessRunner.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString tool(const QStringList &arguments)
{
    const ProcessResult result = LiveProcessRunner().run(QStringLiteral(KVSTORE_TOOL), arguments, std::nullopt);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return result.standardOutput.trimmed();
}

} // namespace

TEST(LiveKeyValueStore, ValuesSurviveIntoAnotherProcess)
{
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("settings.ini"));
    const QString consented = QStringLiteral("ferrowood.tarnwick.consented");
    const QString session = QStringLiteral("ferrowood.tarnwick.session_id");

    // Written by another process, read here.
    tool({ini, QStringLiteral("set-bool"), consented, QStringLiteral("true")});
    tool({ini, QStringLiteral("set-string"), session, QStringLiteral("0F7C2D5E-1A2B-4C3D-8E9F-001122334455")});
    LiveKeyValueStore store(ini);
    EXPECT_TRUE(store.boolValue(consented));
    EXPECT_EQ(store.stringValue(session), QStringLiteral("0F7C2D5E-1A2B-4C3D-8E9F-001122334455"));

    // Written here, read by another process.
    store.setBool(consented, false);
    store.setBool(QStringLiteral("ferrowood.tarnwick.nps_submitted"), true);
    EXPECT_EQ(tool({ini, QStringLiteral("get-bool"), consented}), QStringLiteral("false"));
    EXPECT_EQ(tool({ini, QStringLiteral("get-bool"), QStringLiteral("ferrowood.tarnwick.nps_submitted")}), QStringLiteral("true"));
    EXPECT_EQ(tool({ini, QStringLiteral("get-string"), QStringLiteral("ferrowood.tarnwick.unset")}), QStringLiteral("(unset)"));
}

TEST(KeyValueStores, UnsetKeysReadAsAbsentAndFalse)
{
    QTemporaryDir dir;
    LiveKeyValueStore live(dir.filePath(QStringLiteral("settings.ini")));
    InMemoryKeyValueStore memory;
    for (KeyValueStoring *store : {static_cast<KeyValueStoring *>(&live), static_cast<KeyValueStoring *>(&memory)}) {
        EXPECT_EQ(store->stringValue(QStringLiteral("ferrowood.tarnwick.session_id")), std::nullopt);
        EXPECT_FALSE(store->boolValue(QStringLiteral("ferrowood.tarnwick.consented")));
        store->setString(QStringLiteral("ferrowood.tarnwick.session_id"), QStringLiteral("not a boolean"));
        EXPECT_FALSE(store->boolValue(QStringLiteral("ferrowood.tarnwick.session_id")));
        store->setBool(QStringLiteral("ferrowood.tarnwick.consented"), true);
        EXPECT_TRUE(store->boolValue(QStringLiteral("ferrowood.tarnwick.consented")));
    }
}
