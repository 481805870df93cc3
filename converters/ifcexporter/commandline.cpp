#include "commandline.h"

#include "exitcode.h"

#include <ctime>
#include <filesystem>

namespace {

bool startsWith(const std::string &text, const std::string &prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string lowered(std::string text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// The front end names results <stem>_<suffix>.<ext>; with no output folder they go beside the input
// under the same rule, so model.ifc and model.IFC never overwrite each other's results.
std::string besideInput(const std::string &input, const std::string &extension)
{
    const std::filesystem::path path(input);
    std::string stem = path.stem().string();
    std::string suffix = path.extension().string();
    if (!suffix.empty())
        stem += '_' + lowered(suffix.substr(1));
    return (path.parent_path() / (stem + extension)).string();
}

} // namespace

std::string CommandLine::withExtension(const std::string &path, const std::string &insert,
                                       const std::string &extension)
{
    std::filesystem::path result(path);
    const std::string stem = result.stem().string();
    result.replace_filename(stem + insert + extension);
    return result.string();
}

std::string CommandLine::currentTimestamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "_%Y-%m-%d_%H%M%S", &local);
    return text;
}

CommandLine::Result CommandLine::parse(const std::vector<std::string> &arguments,
                                       const std::string &timestamp)
{
    Result result;
    const auto fail = [&result](int code, std::string error) {
        result.exitCode = code;
        result.error = std::move(error);
        return result;
    };
    if (arguments.empty())
        return fail(ExitCode::NoArguments, "No arguments given. Usage: IfcExporter <model.ifc> [options]");

    std::string xlsx;
    std::string dae;
    bool skipXlsx = false;
    bool skipDae = false;
    bool forcePath = false;
    std::vector<std::string> inputs;
    for (const std::string &argument : arguments) {
        if (startsWith(argument, "--output-xlsx=") || startsWith(argument, "--output-dae=")) {
            const bool isXlsx = startsWith(argument, "--output-xlsx=");
            const std::string value = argument.substr(argument.find('=') + 1);
            const std::string extension = isXlsx ? ".xlsx" : ".dae";
            if (value.empty() || lowered(std::filesystem::path(value).extension().string()) != extension)
                return fail(ExitCode::InvalidArgumentValue, "Option " +
                                                                argument.substr(0, argument.find('=')) +
                                                                " needs a path ending in " + extension);
            (isXlsx ? xlsx : dae) = value;
        } else if (argument == "--skip-xlsx") {
            skipXlsx = true;
        } else if (argument == "--skip-dae") {
            skipDae = true;
        } else if (argument == "--force-path") {
            forcePath = true;
        } else if (argument == "--bbox") {
            result.request.boundingBox = true;
        } else if (argument == "--ui") {
            // The front end marks its runs; the output is the same either way.
        } else if (startsWith(argument, "--skip-") || startsWith(argument, "--force-path=") ||
                   startsWith(argument, "--bbox=") || startsWith(argument, "--ui=")) {
            return fail(ExitCode::InvalidArgumentValue, "Switch takes no value: " + argument);
        } else if (startsWith(argument, "-")) {
            return fail(ExitCode::InvalidArguments, "Unknown option: " + argument);
        } else {
            inputs.push_back(argument);
        }
    }
    if (inputs.size() != 1)
        return fail(ExitCode::InvalidArguments,
                    inputs.empty() ? "No input file given" : "Only one input file is accepted");

    ExportRequest &request = result.request;
    request.inputPath = inputs.front();
    const std::string insert = forcePath ? std::string() : timestamp;
    const std::string table = xlsx.empty() ? besideInput(request.inputPath, ".xlsx") : xlsx;
    // The CSV holds the same rows as the workbook and always goes beside it.
    request.csvPath = withExtension(table, insert, ".csv");
    if (!skipXlsx)
        request.xlsxPath = withExtension(table, insert, ".xlsx");
    if (!skipDae)
        request.daePath =
            withExtension(dae.empty() ? besideInput(request.inputPath, ".dae") : dae, insert, ".dae");
    return result;
}
