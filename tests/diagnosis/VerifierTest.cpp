#include "StandIns.h"
#include "diagnosis/Verifier.h"
#include "diagnosis/XcodeCLTProbe.h"

#include <gtest/gtest.h>

TEST(Verifier, AShellThatCannotStartIsAFailedCheck)
{
    StandIns mac;
    mac.remove(QStringLiteral("/bin/zsh"));
    EXPECT_EQ(Verifier(mac.shell()).verify(), (Verifier::Result {QStringLiteral("Failed to start /bin/zsh: No such file or directory"), -1, std::nullopt}));
}

TEST(XcodeCLTProbe, ReadsTheToolsFolder)
{
    const std::pair<QByteArray, std::optional<QString>> cases[] = {
        {"printf '/Applications/Xcode.app/Contents/Developer\\n\\n'", QStringLiteral("/Applications/Xcode.app/Contents/Developer")},
        {"echo 'xcode-select: error: unable to get active developer directory' >&2; exit 2", std::nullopt},
        {"echo /Library/Developer/CommandLineTools; exit 1", std::nullopt},
        {"echo '   '", std::nullopt},
    };
    for (const auto &[script, expected] : cases) {
        StandIns mac;
        mac.add(QStringLiteral("/usr/bin/xcode-select"), script);
        EXPECT_EQ(XcodeCLTProbe(mac.shell()).probe(), expected) << script.constData();
    }
    StandIns bare;
    bare.remove(QStringLiteral("/usr/bin/xcode-select"));
    EXPECT_EQ(XcodeCLTProbe(bare.shell()).probe(), std::nullopt);
}
