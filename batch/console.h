#pragma once

// What the command needs to know about where its output goes.
class Console
{
public:
    // Standard output is a terminal (not a pipe, a file or a scheduler's log).
    static bool isTerminal();
    // The terminal's width in characters, 80 when it cannot be told.
    static int columns();
};
