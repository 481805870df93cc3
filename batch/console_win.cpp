#include "batch/console.h"

#include <io.h>
#include <stdio.h>
#include <windows.h>

bool Console::isTerminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

int Console::columns()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return info.srWindow.Right - info.srWindow.Left + 1;
    return 80;
}
