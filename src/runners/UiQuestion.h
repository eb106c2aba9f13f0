#pragma once

#include "profile_edit/FileAppendWriter.h"
#include "services/ProcessCancellation.h"

#include <QPointer>

#include <functional>
#include <memory>

/// One of the fix sequence's questions (FixSequence::FrontEnd's confirm… calls), as a screen
/// shows it.
struct ProfileQuestion {
    enum class Kind { zshrcAppend, zprofileWrite, shellenvAppend };
    Kind kind = Kind::zshrcAppend;
    FileAppendWriter::DiffPreview preview;
};

/// The answer a waiting worker is owed. Copies share one answer and the first `answer` wins;
/// later ones, and answers after a cancel, change nothing. When the last copy goes away
/// unanswered (the screen that showed the question closed) the answer is no.
class PendingAnswer {
public:
    void answer(bool yes) const;

private:
    friend class UiQuestion;
    struct Holder;
    std::shared_ptr<Holder> m_holder;
};

/// Puts a worker's yes/no question to an object on the UI thread (the application's thread) and
/// waits for the answer. The sheet model's FrontEnd implements each confirm… call as one `ask`;
/// the question reaches `present` through the UI thread's event loop, and the worker sleeps until
/// the screen answers or the run is cancelled.
class UiQuestion {
public:
    /// Runs on the UI thread, and only while `receiver` (a UI-thread object, e.g. the sheet
    /// model) lives; it keeps `reply` until the person answers.
    using Presenter = std::function<void(const ProfileQuestion &question, const PendingAnswer &reply)>;

    UiQuestion(QObject *receiver, Presenter present);

    /// Worker threads only (it blocks). True only when the screen answered yes. No when it said
    /// no, when `cancellation` was flipped before (nothing is shown) or while waiting (returns at
    /// once), or when the receiver is gone. Never called on the UI thread, which would wait
    /// on itself: debug builds stop there, others answer no.
    [[nodiscard]] bool ask(const ProfileQuestion &question, ProcessCancellation &cancellation) const;

private:
    QPointer<QObject> m_receiver;
    Presenter m_present;
};
