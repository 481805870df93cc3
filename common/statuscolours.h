#pragma once

#include <QRgb>

// The colours that carry a meaning, one constant each. They are the log's ANSI colours, so a
// failure reads the same red in the log, the error count, the file table and the tab alert.
namespace StatusColours {

inline constexpr QRgb error = qRgb(0xcd, 0x31, 0x31);
inline constexpr QRgb success = qRgb(0x0d, 0xbc, 0x79);
inline constexpr QRgb warning = qRgb(0xc0, 0x96, 0x00);
inline constexpr QRgb running = qRgb(0x24, 0x72, 0xc8);

} // namespace StatusColours
