#pragma once

#include <cstdio>
#include <map>
#include <string>

// The lines the front end reads from a converter: "---- Started …", "[Stage] …", "Progress: N%",
// "[WARNING] …" and "[ERROR] …". Every line is flushed at once, so the log follows the work.
class Protocol
{
public:
    explicit Protocol(std::FILE *out = stdout);

    void started(const std::string &what);
    void stage(const std::string &name);
    // Printed only when the whole percentage changes, so a long loop costs a hundred lines at most.
    void progress(double percent);
    void warning(const std::string &text);
    void error(const std::string &text);
    void info(const std::string &text);

    // A problem that may repeat thousands of times: the first few are shown, the rest counted
    // under `kind` and reported once by flushWarnings().
    void repeatedWarning(const std::string &kind, const std::string &text);
    void flushWarnings();

    int lastPercent() const { return shownPercent; }

private:
    void line(const std::string &text);

    std::FILE *out;
    int shownPercent = -1;
    std::map<std::string, long long> repeated;
};
