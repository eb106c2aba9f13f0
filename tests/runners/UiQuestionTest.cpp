#include "runners/UiQuestion.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

// A worker asks while this (the UI) thread runs its event loop, as the sheet does.
TEST(UiQuestion, TheWorkerGetsTheScreensFirstAnswerOrNoOnCancelOrWhenNobodyCanAnswer)
{
    enum class Screen { sayYes, sayNoThenYes, cancelRun, closeUnanswered, goAwayBeforeShown };
    const struct { const char *name; Screen screen; bool cancelledBefore, expectedAnswer; int expectedShown, times = 1; } cases[] = {
        {"answered yes", Screen::sayYes, false, true, 1},
        // The worker may wake between the two answers or after both: many runs catch a second answer that overrides.
        {"answered no, then yes", Screen::sayNoThenYes, false, false, 1, 200},
        {"cancelled while waiting", Screen::cancelRun, false, false, 1},
        {"cancelled before asking", Screen::sayYes, true, false, 0},
        {"sheet closed unanswered", Screen::closeUnanswered, false, false, 1},
        {"receiver destroyed first", Screen::goAwayBeforeShown, false, false, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        for (int time = 0; time < c.times && !testing::Test::HasFailure(); ++time) {
            auto receiver = std::make_unique<QObject>();
            ProcessCancellation cancellation;
            if (c.cancelledBefore)
                cancellation.cancel();
            int shown = 0;
            std::optional<PendingAnswer> kept;
            const UiQuestion question(receiver.get(), [&](const ProfileQuestion &asked, const PendingAnswer &reply) {
                EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
                EXPECT_EQ(asked.preview.path, QStringLiteral("/Users/dev/.zprofile"));
                ++shown;
                switch (c.screen) {
                case Screen::sayYes: reply.answer(true); break;
                case Screen::sayNoThenYes: reply.answer(false); reply.answer(true); break;
                case Screen::cancelRun: kept = reply; cancellation.cancel(); break;
                case Screen::closeUnanswered: break; // the handle is dropped with the sheet
                case Screen::goAwayBeforeShown: ADD_FAILURE() << "shown by a receiver that is gone"; break;
                }
            });
            std::atomic<bool> done = false, answer = !c.expectedAnswer;
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
}
