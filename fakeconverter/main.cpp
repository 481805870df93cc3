// A stand-in for a real converter, for the tests and for trying the program without one.
// It is built as kavantolibs/RvtExporter.exe (and under the other converters' names) and is
// deliberately plain C++ (no Qt), so it starts in about a millisecond. Where MinGW-w64 is
// found it is also built as a Windows program, which the tests run through Wine.
//
// Usage: RvtExporter.exe <input file> [arguments...]
//   No arguments: prints a message and exits with 8. A missing input file: prints a
//   message and exits with 1, as the real converters do.
//
// The input file is a script, one command per line; blank lines and lines starting with
// '#' are ignored. A file with no command at all (an empty file, or a real model file)
// behaves like a quick successful conversion: stages, progress, a warning, the output
// files written, exit code 0. Otherwise the commands run in order and the program exits
// with 0 after the last one, unless a command ends it earlier.
//
// Like a real converter, it writes its results beside the input when no --output-...= path
// is given, named as the front end's command line would name them ("House.rvt" gives
// "House_rvt.xlsx"); which results depends on the name it was started under, as each
// converter writes its own formats.
//
//   progress <number>     prints "Progress: <number>%"
//   stage <text>          prints "[Stage] <text>"
//   started <text>        prints "---- Started <text> ..."
//   print <text>          prints <text> in one write; "\e" stands for the escape character
//                         (ANSI colours), "\n" for a line feed, "\r" for a carriage return,
//                         "\t" for a tab, "\\" for "\"
//   error <text>          prints "[ERROR] <text>" in red
//   warning <text>        prints "[WARNING] <text>" in yellow
//   stderr <text>         prints <text> on standard error
//   sleep <ms>            waits
//   burn <ms>             keeps one core busy for <ms> of processor time
//   flood <n>             prints n lines as fast as it can: a tenth progress lines, some
//                         ANSI-coloured, one in a hundred a stage line
//   nobreak <bytes>       prints <bytes> characters with no line break at all
//   invalidutf8           prints a line holding bytes that are not valid UTF-8
//   crprogress <steps>    redraws "Progress: n%" <steps> times, separated by bare carriage
//                         returns, and ends with a carriage return and line feed
//   pipesize <bytes>      asks for a larger pipe on standard output (Linux), so that much
//                         output can wait unread after the program has ended
//   outputs               writes a small file at every path given as --output-...=<path>
//                         or --output=<path>, or beside the input when none is given
//   arguments             prints every argument on a line of its own as "[ARG] <argument>"
//   hang                  waits until killed (or until its parent is gone)
//   spawn                 starts a helper process that sleeps until killed, and prints
//                         "[CHILD] <pid>" (not on Windows)
//   readstdin             reads standard input to its end, then prints "stdin closed"
//   crash                 aborts (dies from a signal)
//   exit <code>           exits with <code>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#ifdef _WIN32
// Also declares CommandLineToArgvW.
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

// Scripts are small; a real model file given by mistake is only looked at this far.
constexpr std::size_t maxScriptBytes = 8 * 1024 * 1024;

void writeLine(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string unescape(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        switch (text[++i]) {
        case 'e': out += '\x1b'; break;
        case 'n': out += '\n'; break;
        case 't': out += '\t'; break;
        case 'r': out += '\r'; break;
        case '\\': out += '\\'; break;
        default: out += '\\'; out += text[i];
        }
    }
    return out;
}

long long toNumber(std::string_view text, long long fallback)
{
    const std::string s(text);
    char *end = nullptr;
    const long long value = std::strtoll(s.c_str(), &end, 10);
    return end == s.c_str() ? fallback : value;
}

void sleepMs(long long ms)
{
#ifdef _WIN32
    // MinGW's default thread model has no std::this_thread.
    ::Sleep(static_cast<DWORD>(std::max(ms, 0LL)));
#else
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
#endif
}

// Paths arrive and are printed as UTF-8; on Windows the file functions need them wide.
std::filesystem::path toPath(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

bool parentIsGone([[maybe_unused]] long originalParent)
{
#ifndef _WIN32
    return static_cast<long>(getppid()) != originalParent;
#else
    return false;
#endif
}

long parentId()
{
#ifndef _WIN32
    return static_cast<long>(getppid());
#else
    return 0;
#endif
}

// Appends the decimal digits of value; the flood formats a million lines, so no printf.
void appendNumber(std::string &out, unsigned long value)
{
    char digits[24];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (n > 0)
        out += digits[--n];
}

void flood(unsigned long count)
{
    static char buffer[1 << 16];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    std::string line;
    for (unsigned long i = 0; i < count; ++i) {
        line.clear();
        if (i % 10 == 0) {
            line += "Progress: ";
            const unsigned long tenths = i * 1000 / count;
            appendNumber(line, tenths / 10);
            line += '.';
            appendNumber(line, tenths % 10);
            line += '%';
        } else if (i % 100 == 5) {
            line += "[Stage] Exporting element batch ";
            appendNumber(line, i / 100);
        } else if (i % 10 == 3) {
            line += "\x1b[32m[INFO]\x1b[0m Exported element ";
            appendNumber(line, i);
            line += " (Basic Wall: Generic - 200mm)";
        } else {
            line += "[INFO] Processing element ";
            appendNumber(line, i);
            line += " of ";
            appendNumber(line, count);
            line += ": category Walls, level 01";
        }
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
    }
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

void noBreak(unsigned long bytes)
{
    std::string block(1 << 16, 'x');
    while (bytes > 0) {
        const std::size_t n = bytes < block.size() ? bytes : block.size();
        std::fwrite(block.data(), 1, n, stdout);
        bytes -= n;
    }
    std::fflush(stdout);
}

void crProgress(long long steps)
{
    for (long long i = 1; i <= steps; ++i) {
        std::string text = "Progress: " + std::to_string(i * 100 / steps) + "%";
        text += i == steps ? "\r\n" : "\r";
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }
}

void setPipeSize([[maybe_unused]] long long bytes)
{
#ifdef F_SETPIPE_SZ
    if (fcntl(STDOUT_FILENO, F_SETPIPE_SZ, static_cast<int>(bytes)) < 0)
        writeLine("[WARNING] Cannot resize the output pipe");
#endif
}

// A helper process of the kind real converters start: it outlives its parent unless
// something ends it, and it keeps the output pipe open.
void spawnSleeper()
{
#ifndef _WIN32
    const pid_t child = fork();
    if (child == 0) {
        for (;;)
            pause();
    }
    if (child > 0) {
        std::string line = "[CHILD] ";
        appendNumber(line, static_cast<unsigned long>(child));
        writeLine(line);
    }
#endif
}

void writeFile(const std::string &path)
{
    std::ofstream out(toPath(path), std::ios::binary);
    if (!out) {
        writeLine("[ERROR] Cannot write " + path);
        return;
    }
    out << "test output\n";
    writeLine("[INFO] Written " + path);
}

bool hasArgument(const std::vector<std::string> &arguments, std::string_view wanted)
{
    return std::find(arguments.begin(), arguments.end(), wanted) != arguments.end();
}

std::string lowerCase(std::string_view text)
{
    std::string out(text);
    for (char &c : out) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

// The result extensions of the converter this program was started as, in the order the
// front end names them on the command line.
std::vector<std::string> resultExtensions(std::string_view programName,
                                          const std::vector<std::string> &arguments)
{
    const std::size_t slash = programName.find_last_of("/\\");
    const std::string name =
        lowerCase(slash == std::string_view::npos ? programName : programName.substr(slash + 1));
    if (name.rfind("rvt2ifc", 0) == 0)
        return {".ifc"};
    std::vector<std::string> extensions;
    const bool geometry = name.rfind("dwg", 0) != 0 && name.rfind("dgn", 0) != 0;
    if (geometry && !hasArgument(arguments, "--skip-dae"))
        extensions.push_back(".dae");
    if (!hasArgument(arguments, "--skip-xlsx"))
        extensions.push_back(".xlsx");
    return extensions;
}

// Results named by the front end's rule: the input's folder, its name without the last
// suffix, "_" and the lower-cased suffix.
void writeBesideInput(std::string_view programName, const std::vector<std::string> &arguments)
{
    const std::string &input = arguments.front();
    const std::size_t slash = input.find_last_of("/\\");
    const std::string folder = slash == std::string::npos ? std::string() : input.substr(0, slash + 1);
    const std::string file = slash == std::string::npos ? input : input.substr(slash + 1);
    const std::size_t dot = file.rfind('.');
    std::string stem = file.substr(0, dot);
    if (dot != std::string::npos && dot + 1 < file.size())
        stem += "_" + lowerCase(file.substr(dot + 1));
    for (const std::string &extension : resultExtensions(programName, arguments))
        writeFile(folder + stem + extension);
}

void writeOutputs(std::string_view programName, const std::vector<std::string> &arguments)
{
    bool named = false;
    for (const std::string_view arg : arguments) {
        if (arg.rfind("--output", 0) != 0)
            continue;
        const std::size_t eq = arg.find('=');
        if (eq == std::string_view::npos)
            continue;
        named = true;
        writeFile(std::string(arg.substr(eq + 1)));
    }
    if (!named)
        writeBesideInput(programName, arguments);
}

void defaultConversion(std::string_view programName, const std::vector<std::string> &arguments)
{
    writeLine("KVT demo converter 1.0: no real model is read");
    writeLine("---- Started Loading model ...");
    writeLine("Progress: 0%");
    writeLine("[Stage] Reading elements");
    writeLine("Progress: 25%");
    writeLine("\x1b[33m[WARNING]\x1b[0m 3 elements have no geometry and are exported without it");
    writeLine("[Stage] Exporting geometry");
    writeLine("Progress: 62.5%");
    writeLine("[Stage] Writing spreadsheet");
    writeLine("Progress: 100%");
    writeOutputs(programName, arguments);
    writeLine("\x1b[32mConversion finished.\x1b[0m");
}

// Keeps one core busy for this much processor time, as a converter computing geometry does.
void burnCpu(long long ms)
{
    const std::clock_t end = std::clock() + static_cast<std::clock_t>(ms) * CLOCKS_PER_SEC / 1000;
    volatile unsigned long sink = 0;
    while (std::clock() < end) {
        for (int i = 0; i < 10000; ++i)
            sink = sink + static_cast<unsigned long>(i);
    }
}

// Runs one script line; returns false when the program should end with exitCode.
bool runCommand(std::string_view command, std::string_view rest, std::string_view programName,
                const std::vector<std::string> &arguments, int &exitCode)
{
    if (command == "progress") {
        writeLine("Progress: " + std::string(rest) + "%");
    } else if (command == "stage") {
        writeLine("[Stage] " + std::string(rest));
    } else if (command == "started") {
        writeLine("---- Started " + std::string(rest) + " ...");
    } else if (command == "print") {
        writeLine(unescape(rest));
    } else if (command == "error") {
        writeLine("\x1b[31m[ERROR]\x1b[0m " + std::string(rest));
    } else if (command == "warning") {
        writeLine("\x1b[33m[WARNING]\x1b[0m " + std::string(rest));
    } else if (command == "stderr") {
        const std::string text = unescape(rest) + "\n";
        std::fwrite(text.data(), 1, text.size(), stderr);
        std::fflush(stderr);
    } else if (command == "sleep") {
        sleepMs(toNumber(rest, 0));
    } else if (command == "burn") {
        burnCpu(toNumber(rest, 0));
    } else if (command == "flood") {
        flood(static_cast<unsigned long>(toNumber(rest, 0)));
    } else if (command == "nobreak") {
        noBreak(static_cast<unsigned long>(toNumber(rest, 0)));
    } else if (command == "invalidutf8") {
        writeLine("Invalid bytes: \xff\xfe and \xc3\x28 end");
    } else if (command == "crprogress") {
        crProgress(toNumber(rest, 10));
    } else if (command == "pipesize") {
        setPipeSize(toNumber(rest, 0));
    } else if (command == "outputs") {
        writeOutputs(programName, arguments);
    } else if (command == "arguments") {
        for (const std::string &argument : arguments)
            writeLine("[ARG] " + argument);
    } else if (command == "hang") {
        const long parent = parentId();
        while (!parentIsGone(parent))
            sleepMs(50);
        exitCode = 99;
        return false;
    } else if (command == "spawn") {
        spawnSleeper();
    } else if (command == "readstdin") {
        char buffer[256];
        while (std::fread(buffer, 1, sizeof buffer, stdin) > 0) {
        }
        writeLine("stdin closed");
    } else if (command == "crash") {
        std::fflush(stdout);
        std::abort();
    } else if (command == "exit") {
        exitCode = static_cast<int>(toNumber(rest, 0));
        return false;
    }
    return true;
}

bool isCommand(std::string_view command)
{
    static constexpr std::string_view commands[] = {
        "progress", "stage", "started", "print",       "error",      "warning",   "stderr",
        "sleep",    "flood", "nobreak", "invalidutf8", "crprogress", "outputs",   "pipesize",
        "hang",     "crash", "exit",    "spawn",       "readstdin",  "arguments", "burn"};
    for (const std::string_view c : commands) {
        if (c == command)
            return true;
    }
    return false;
}

std::string_view stripLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
        line.remove_suffix(1);
    return line;
}

// The arguments as UTF-8. A Windows program's narrow arguments are in the ANSI code page,
// which cannot hold every file name, so there they are read wide and converted.
std::vector<std::string> utf8Arguments([[maybe_unused]] int argc, [[maybe_unused]] char **argv)
{
    std::vector<std::string> arguments;
#ifdef _WIN32
    int count = 0;
    wchar_t **wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    for (int i = 0; wide && i < count; ++i) {
        const int size = ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
        std::string text(static_cast<std::size_t>(std::max(size, 1)), '\0');
        ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), size, nullptr, nullptr);
        text.resize(std::strlen(text.c_str()));
        arguments.push_back(std::move(text));
    }
    ::LocalFree(wide);
#else
    arguments.assign(argv, argv + argc);
#endif
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> arguments = utf8Arguments(argc, argv);
    if (arguments.size() < 2) {
        writeLine("[ERROR] No arguments provided.");
        return 8;
    }
    const std::string programName = arguments.front();
    arguments.erase(arguments.begin());

    std::ifstream file(toPath(arguments.front()), std::ios::binary);
    if (!file) {
        writeLine("\x1b[31m[ERROR]\x1b[0m Input file not found: " + arguments.front());
        return 1;
    }
    file.seekg(0, std::ios::end);
    const auto fileSize = static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0));
    file.seekg(0, std::ios::beg);
    std::string script(std::min(fileSize, maxScriptBytes), '\0');
    file.read(script.data(), static_cast<std::streamsize>(script.size()));
    script.resize(static_cast<std::size_t>(file.gcount()));

    // Split into lines first, so a file that holds no command runs the default conversion.
    std::vector<std::pair<std::string_view, std::string_view>> commands;
    std::string_view rest(script);
    while (!rest.empty()) {
        const std::size_t nl = rest.find('\n');
        const std::string_view line = stripLineEnd(rest.substr(0, nl));
        rest = nl == std::string_view::npos ? std::string_view() : rest.substr(nl + 1);
        if (line.empty() || line.front() == '#')
            continue;
        const std::size_t space = line.find(' ');
        const std::string_view command = line.substr(0, space);
        if (!isCommand(command))
            continue;
        commands.emplace_back(command,
                              space == std::string_view::npos ? std::string_view() : line.substr(space + 1));
    }

    if (commands.empty()) {
        defaultConversion(programName, arguments);
        return 0;
    }
    int exitCode = 0;
    for (const auto &[command, text] : commands) {
        if (!runCommand(command, text, programName, arguments, exitCode))
            break;
    }
    std::fflush(stdout);
    return exitCode;
}
