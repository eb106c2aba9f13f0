#include "simulated/SimulatedMac.h"
#include "services/BlockingCallGuard.h"
#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"
#include "services/LiveProcessRunner.h"

#include <QThread>

#include <gtest/gtest.h>

#include <future>

// Once the app names its UI thread, every blocking service stops the process there, naming the
// call; a worker thread may still block, and quick file operations are not checked.
TEST(BlockingCallGuard, ABlockingCallOnTheUIThreadStopsTheApp)
{
    if (!blockingCallsAreChecked())
        GTEST_SKIP() << "compiled out with NDEBUG; the Debug (sanitizer) build runs this";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const LiveProcessRunner processes;
    const LiveHTTPFetcher http;
    const AppServices simulated = SimulatedMac::create(QStringLiteral("developer-no-java"))->services();
    const HTTPRequest request = HTTPRequest::get(QUrl(QStringLiteral("http://127.0.0.1:9/")));
    ProcessCancellation cancellation;
    const std::pair<const char *, std::function<void()>> calls[] = {
        {"LiveProcessRunner::stream", [&] { (void)processes.stream(QStringLiteral("/bin/true"), {}, std::nullopt, cancellation, [](const QString &) {}); }},
        {"LiveHTTPFetcher::download", [&] { (void)http.download(request, QStringLiteral("/tmp/never"), {}, nullptr); }},
        {"SimulatedProcessRunner::run", [&] { (void)simulated.processRunner->run(QStringLiteral("/usr/bin/uname"), {}, std::nullopt); }},
    };
    for (const auto &[call, make] : calls)
        EXPECT_DEATH({ forbidBlockingCallsOn(QThread::currentThread()); make(); }, std::string(call) + " blocks, and was called on the UI thread");

    forbidBlockingCallsOn(QThread::currentThread());
    const bool exists = LiveFileSystem().fileExists(QStringLiteral("/bin/true"));
    const int exitCode = std::async(std::launch::async, [&] { return processes.run(QStringLiteral("/bin/true"), {}, std::nullopt).exitCode; }).get();
    forbidBlockingCallsOn(nullptr);
    EXPECT_TRUE(exists);
    EXPECT_EQ(exitCode, 0);
}
