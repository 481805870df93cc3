#pragma once

#include <QString>

// Bytes as B, KB, MB or GB (1024-based, one decimal); the scanner's summary and the
// batch table show sizes through this one function.
QString formatSize(qint64 bytes);
