#pragma once

class QThreadPool;

/// The threads the screens run their blocking work on: profiling, look-ups, fixes, file reads.
///
/// Not Qt's global pool: Qt splits some of its own drawing work (image conversions, scaling) across
/// that pool and waits for it, and a fix holds its thread for minutes. On a two-core Mac the global
/// pool has two threads, so a fix and a profile would leave the window unable to draw, and a look-up
/// queued behind them could keep a screen that waits for it waiting too. This pool is not capped by
/// the core count: its threads mostly wait on other processes and the network.
QThreadPool *blockingWorkers();
