#include "protocol.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr long long shownPerKind = 3;
}

Protocol::Protocol(std::FILE *out)
    : out(out)
{
}

void Protocol::line(const std::string &text)
{
    // One message is one line: the front end reads line by line, and library messages end in
    // line breaks of their own.
    std::string single = text;
    for (char &c : single) {
        if (c == '\n' || c == '\r')
            c = ' ';
    }
    while (!single.empty() && single.back() == ' ')
        single.pop_back();
    std::fputs(single.c_str(), out);
    std::fputc('\n', out);
    std::fflush(out);
}

void Protocol::started(const std::string &what)
{
    line("---- Started " + what + " ...");
}

void Protocol::stage(const std::string &name)
{
    line("[Stage] " + name);
}

void Protocol::progress(double percent)
{
    const int whole = static_cast<int>(std::floor(std::clamp(percent, 0.0, 100.0)));
    if (whole == shownPercent)
        return;
    shownPercent = whole;
    line("Progress: " + std::to_string(whole) + "%");
}

void Protocol::warning(const std::string &text)
{
    line("[WARNING] " + text);
}

void Protocol::error(const std::string &text)
{
    line("[ERROR] " + text);
}

void Protocol::info(const std::string &text)
{
    line(text);
}

void Protocol::repeatedWarning(const std::string &kind, const std::string &text)
{
    if (++repeated[kind] <= shownPerKind)
        warning(text);
}

void Protocol::flushWarnings()
{
    for (const auto &[kind, count] : repeated) {
        if (count > shownPerKind)
            warning(std::to_string(count - shownPerKind) + " more: " + kind);
    }
    repeated.clear();
}
