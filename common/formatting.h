#pragma once

#include <QString>

// How sizes, durations and clocks read everywhere in the program.

// Bytes as B, KB, MB or GB (1024-based, one decimal).
QString formatSize(qint64 bytes);
// A file's conversion time: "850 ms", "12.4 s" or "3.5 min".
QString formatDuration(qint64 ms);
// A running clock: "mm:ss", or "h:mm:ss" from an hour on.
QString formatClock(qint64 ms);
// A range of time left: "about 12–15 min left", "about 2–3 h left", "less than a minute left".
QString formatTimeLeft(qint64 lowMs, qint64 highMs);
