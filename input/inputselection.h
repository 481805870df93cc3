#pragma once

#include <QFileInfoList>
#include <QString>

// Which of the input panel's three ways of choosing input is active.
enum class InputMode { SingleFile, Folder, MultipleFiles };

// Everything the input panel holds at one moment: the mode and what each mode has chosen.
struct InputSelection
{
    InputMode mode = InputMode::SingleFile;
    QString filePath;
    QString folderPath;
    bool includeSubfolders = false;
    QFileInfoList files;
};
