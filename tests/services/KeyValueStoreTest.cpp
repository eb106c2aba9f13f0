#include "simulated/InMemoryKeyValueStore.h"
#include "services/LiveKeyValueStore.h"
#include "services/LiveProcessRunner.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

TEST(KeyValueStores, ValuesSurviveIntoAnotherProcessAndUnsetKeysReadAsAbsentAndFalse)
{
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("settings.ini"));
    const auto tool = [&ini](const QStringList &arguments) {
        const ProcessResult result = LiveProcessRunner().run(QStringLiteral(KVSTORE_TOOL), QStringList {ini} + arguments, std::nullopt);
        EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
        return result.standardOutput.trimmed();
    };
    const QString consented = QStringLiteral("ferrowood.tarnwick.consented"), session = QStringLiteral("ferrowood.tarnwick.session_id");
    tool({QStringLiteral("set-bool"), consented, QStringLiteral("true")});
    tool({QStringLiteral("set-string"), session, QStringLiteral("0F7C2D5E")});
    LiveKeyValueStore live(ini);
    EXPECT_TRUE(live.boolValue(consented));
    EXPECT_EQ(live.stringValue(session), QStringLiteral("0F7C2D5E"));
    live.setBool(consented, false);
    EXPECT_EQ(tool({QStringLiteral("get-bool"), consented}), QStringLiteral("false"));
    EXPECT_EQ(tool({QStringLiteral("get-string"), QStringLiteral("ferrowood.tarnwick.unset")}), QStringLiteral("(unset)"));

    LiveKeyValueStore fresh(dir.filePath(QStringLiteral("other.ini")));
    InMemoryKeyValueStore memory;
    for (KeyValueStoring *store : std::initializer_list<KeyValueStoring *> {&fresh, &memory}) {
        EXPECT_EQ(store->stringValue(session), std::nullopt);
        EXPECT_FALSE(store->boolValue(consented));
        store->setString(session, QStringLiteral("not a boolean"));
        EXPECT_FALSE(store->boolValue(session));
        store->setBool(consented, true);
        EXPECT_TRUE(store->boolValue(consented));
    }
}
