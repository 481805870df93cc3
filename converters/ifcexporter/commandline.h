#pragma once

#include <string>
#include <vector>

// What the command line asks for, with every output path resolved.
struct ExportRequest
{
    std::string inputPath;
    // Empty when that format is skipped.
    std::string xlsxPath;
    std::string csvPath;
    std::string daePath;
    bool boundingBox = false;
};

// Reads the argument list the front end builds for the "ifc" converter:
//   <input.ifc> [--output-dae=P] [--output-xlsx=P] [--skip-xlsx] [--skip-dae] [--force-path] [--bbox] [--ui]
class CommandLine
{
public:
    struct Result
    {
        int exitCode = 0; // 0 when the request is usable
        std::string error;
        ExportRequest request;
    };

    // `timestamp` is inserted before every output extension unless --force-path is given.
    static Result parse(const std::vector<std::string> &arguments, const std::string &timestamp);

    // "_2026-02-20_143012" for the local time now.
    static std::string currentTimestamp();

    // The path with `insert` placed before its extension and the extension replaced by `extension`.
    static std::string withExtension(const std::string &path, const std::string &insert,
                                     const std::string &extension);
};
