#include "commandline.h"
#include "exitcode.h"
#include "exporter.h"
#include "protocol.h"

#include <exception>
#include <new>

// The open IFC exporter: reads an IFC2X3 or IFC4 file and writes its elements' properties as
// XLSX and CSV and their geometry as COLLADA, speaking the converter protocol of the front end.
int main(int argc, char *argv[])
{
    Protocol protocol;
    // Nothing may escape as a crash: whatever goes wrong inside ends as exit code 99 with a reason.
    try {
        const CommandLine::Result parsed = CommandLine::parse(std::vector<std::string>(argv + 1, argv + argc),
                                                              CommandLine::currentTimestamp());
        if (parsed.exitCode != 0) {
            protocol.error(parsed.error);
            return parsed.exitCode;
        }
        return Exporter(protocol).run(parsed.request);
    } catch (const std::bad_alloc &) {
        protocol.error("Out of memory");
    } catch (const std::exception &e) {
        protocol.error(std::string("Internal error: ") + e.what());
    } catch (...) {
        protocol.error("Internal error");
    }
    return ExitCode::InternalError;
}
