#pragma once

#include <QString>

// Asks the desktop to show a file selected in its folder. Returns at once; a failure
// is ignored, since there is nothing the user could do about it.
void showFileInFolder(const QString &absolutePath);
