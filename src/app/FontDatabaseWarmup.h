#pragma once

#include <thread>

// Reads the system's font list on a thread of its own while the window's QML loads.
//
// The first text laid out waits for the whole font list (on Linux, fontconfig parses its
// configuration and every font's entry: about a sixth of the work before the first frame). Nothing
// before the first text needs it, and the QML type loading that comes first needs no fonts, so
// the two can overlap on a second core. QFontDatabase guards its data with one lock: a text laid
// out before the list is read waits for it, as it would have read it itself.
//
// Construct it once QGuiApplication exists (the font list belongs to the platform integration);
// destroying it waits for the thread, so keep it inside the application's lifetime.
class FontDatabaseWarmup {
public:
    FontDatabaseWarmup();

private:
    std::jthread m_reader;
};
