#include "runners/UiQuestion.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// What the screen does with the question once the UI thread shows it.
enum class Screen { sayYes, sayNo, cancelRun, closeUnanswered, goAwayBeforeShown };

struct Case {
    const char *name;
    Screen screen;
    bool cancelledBefore;
    bool expectedAnswer;
    int expectedShown;
};

// A worker asks while this (the UI) thread runs its event loop, as the sheet does.
TEST(UiQuestion, TheWorkerGetsTheScreensAnswerOrNoOnCancelOrWhenNobodyCanAnswer)
{
    const Case cases[] = {
        {"answered yes", Screen::sayYes, false, true, 1},
        {"answered no", Screen::sayNo, false, false, 1},
        {"cancelled while waiting", Screen::cancelRun, false, false, 1},
        {"cancelled before asking", Screen::sayYes, true, false, 0},
        {"sheet closed unanswered", Screen::closeUnanswered, false, false, 1},
        {"receiver destroyed first", Screen::goAwayBeforeShown, false, false, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        auto receiver = std::make_unique<QObject>();
        ProcessCancellation cancellation;
        if (c.cancelledBefore)
            cancellation.cancel();
        int shown = 0;
        std::optional<PendingAnswer> kept;
        const UiQuestion question(receiver.get(), [&](const ProfileQuestion &asked, const PendingAnswer &reply) {
            EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
            EXPECT_EQ(asked.kind, ProfileQuestion::Kind::zprofileWrite);
            EXPECT_EQ(asked.preview.path, QStringLiteral("/Users/dev/.zprofile"));
            ++shown;
            switch (c.screen) {
            case Screen::sayYes: reply.answer(true); break;
            case Screen::sayNo: reply.answer(false); reply.answer(true); break; // the first answer holds
            case Screen::cancelRun: kept = reply; cancellation.cancel(); break;
            case Screen::closeUnanswered: break; // the handle is dropped with the sheet
            case Screen::goAwayBeforeShown: ADD_FAILURE() << "shown by a receiver that is gone"; break;
            }
        });

        std::atomic<bool> done = false;
        std::atomic<bool> answer = !c.expectedAnswer;
        std::thread worker([&] {
            ProfileQuestion asked {ProfileQuestion::Kind::zprofileWrite, {}};
            asked.preview.path = QStringLiteral("/Users/dev/.zprofile");
            answer = question.ask(asked, cancellation);
            done = true;
        });
        if (c.screen == Screen::goAwayBeforeShown)
            receiver.reset(); // before this thread's loop delivers the question
        QElapsedTimer clock;
        clock.start();
        while (!done && clock.elapsed() < 5000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        EXPECT_TRUE(done) << "the worker still waits after 5 s";
        kept.reset(); // never leave the worker stuck behind a failed expectation
        cancellation.cancel();
        worker.join();
        EXPECT_EQ(answer, c.expectedAnswer);
        EXPECT_EQ(shown, c.expectedShown);
    }
}

} // namespace
