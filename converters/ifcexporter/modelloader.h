#pragma once

#include <memory>
#include <string>

class BuildingModel;
class Protocol;

// Reads an IFC STEP file into an IFC++ model and says why it cannot, as an exit code.
class ModelLoader
{
public:
    struct Result
    {
        int exitCode = 0;
        std::string error;
        std::string schema;
        std::shared_ptr<BuildingModel> model;
    };

    // Loads `path`, reporting progress from `fromPercent` to `toPercent`.
    static Result load(const std::string &path, Protocol &protocol, double fromPercent, double toPercent);

    // The checks made before IFC++ sees the text, which it would otherwise accept silently:
    // the ISO-10303-21 envelope, the DATA section and the END-ISO-10303-21; trailer of a
    // complete file. Returns 0 or the exit code, with the reason in `error`.
    static int checkEnvelope(const std::string &content, std::string &error);
    // The first schema name of FILE_SCHEMA, upper-cased ("" when there is none).
    static std::string schemaName(const std::string &content);
    static bool isSupportedSchema(const std::string &schema);
};
