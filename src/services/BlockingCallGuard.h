#pragma once

class QThread;

/// The live services block by design (a child process, an HTTP exchange). The app's UI thread
/// must never wait on one: the window would freeze for as long as a brew install takes. The app's
/// main() names that thread here; a blocking call made on it then stops the process with a message
/// naming the call (qFatal). Only debug builds check (the sanitizer build among them); with NDEBUG
/// both functions do nothing. The doctor and the tests never name a thread: their main thread may
/// block. Quick file operations are not checked.
void forbidBlockingCallsOn(QThread *thread);

/// Called by a blocking service on entry, with its name ("LiveProcessRunner::run").
void assertMayBlock(const char *call);

/// Whether this build checks at all (false with NDEBUG).
[[nodiscard]] bool blockingCallsAreChecked();
