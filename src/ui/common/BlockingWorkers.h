#pragma once

#include <QThreadPool>

/// The threads the screens run their blocking work on: profiling, look-ups, fixes, file reads.
/// Whoever builds the screens' context owns one and hands it to the models through it.
///
/// Not Qt's global pool: Qt splits some of its own drawing work (image conversions, scaling) across
/// that pool and waits for it, and a fix holds its thread for minutes. On a two-core Mac the global
/// pool has two threads, so a fix and a profile would leave the window unable to draw, and a look-up
/// queued behind them could keep a screen that waits for it waiting too. This pool is not capped by
/// the core count: its threads mostly wait on other processes and the network.
class BlockingWorkers final : public QThreadPool {
public:
    BlockingWorkers() { setMaxThreadCount(kMostAtOnce); }

private:
    // More than the screens ever run at once (each model runs one job at a time).
    static constexpr int kMostAtOnce = 16;
};
