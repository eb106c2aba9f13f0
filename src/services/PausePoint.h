#pragma once

/// A named moment in a delicate sequence (a backup written but not yet renamed into place, say),
/// for the tests that kill the process exactly there. When the environment variable
/// TARNWICK_PAUSE_AT holds `name`, the process stops itself (SIGSTOP) on reaching it, and the
/// test that waits for the stop then sends what it wants (SIGKILL, SIGTERM, …). Otherwise, and in
/// every normal run, it does nothing.
void pausePoint(const char *name);
