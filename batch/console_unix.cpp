#include "batch/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

bool Console::isTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

int Console::columns()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}
