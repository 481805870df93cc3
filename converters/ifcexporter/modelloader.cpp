#include "modelloader.h"

#include "exitcode.h"
#include "protocol.h"
#include "steptext.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <ifcpp/model/BuildingException.h>
#include <ifcpp/model/BuildingModel.h>
#include <ifcpp/reader/ReaderSTEP.h>
#include <new>
#include <sys/stat.h>

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Receives IFC++'s messages while it reads: progress moves the percentage on, and its
// warnings and errors about single entities are counted rather than printed one by one.
struct ReaderListener
{
    Protocol *protocol = nullptr;
    double from = 0;
    double to = 0;
    double furthest = 0;
    bool outOfMemory = false;

    static void receive(void *self, shared_ptr<StatusCallback::Message> message)
    {
        auto *listener = static_cast<ReaderListener *>(self);
        if (!message)
            return;
        switch (message->m_message_type) {
        case StatusCallback::MESSAGE_TYPE_PROGRESS_VALUE:
            if (message->m_progress_value >= 0) {
                listener->furthest = std::max(listener->furthest, std::min(message->m_progress_value, 1.0));
                listener->protocol->progress(listener->from +
                                             (listener->to - listener->from) * listener->furthest);
            }
            break;
        case StatusCallback::MESSAGE_TYPE_MINOR_WARNING:
        case StatusCallback::MESSAGE_TYPE_WARNING:
        case StatusCallback::MESSAGE_TYPE_ERROR: {
            const std::string text = StepText::toUtf8(message->m_message_text);
            // The reader catches std::bad_alloc itself and goes on with what it has; the model
            // is then incomplete, which must not pass for a file without a project.
            if (text.find("bad_alloc") != std::string::npos)
                listener->outOfMemory = true;
            listener->protocol->repeatedWarning("messages from the IFC reader", "IFC reader: " + text);
            break;
        }
        default: break;
        }
    }
};

} // namespace

std::string ModelLoader::schemaName(const std::string &content)
{
    const std::size_t headerEnd = std::min(content.find("DATA;"), content.size());
    const std::size_t key = content.find("FILE_SCHEMA", 0);
    if (key == std::string::npos || key > headerEnd)
        return {};
    const std::size_t open = content.find('\'', key);
    const std::size_t close = open == std::string::npos ? open : content.find('\'', open + 1);
    if (close == std::string::npos || close > headerEnd)
        return {};
    std::string name = content.substr(open + 1, close - open - 1);
    for (char &c : name)
        c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    name.erase(std::remove_if(name.begin(), name.end(), isSpace), name.end());
    return name;
}

bool ModelLoader::isSupportedSchema(const std::string &schema)
{
    // IFC++ reads these into its IFC4 classes; IFC4X1 and later it refuses.
    return schema == "IFC2X3" || schema == "IFC4";
}

int ModelLoader::checkEnvelope(const std::string &content, std::string &error)
{
    std::size_t first = 0;
    if (content.compare(0, 3, "\xEF\xBB\xBF") == 0)
        first = 3;
    while (first < content.size() && isSpace(content[first]))
        ++first;
    if (content.compare(first, 13, "ISO-10303-21;") != 0) {
        error = "Not an IFC STEP file: it does not start with ISO-10303-21;";
        return ExitCode::CorruptedFile;
    }
    std::size_t last = content.size();
    while (last > first && (isSpace(content[last - 1]) || content[last - 1] == '\0'))
        --last;
    static const std::string trailer = "END-ISO-10303-21;";
    if (last < trailer.size() || content.compare(last - trailer.size(), trailer.size(), trailer) != 0) {
        error = "The file is truncated: it does not end with END-ISO-10303-21;";
        return ExitCode::CorruptedFile;
    }
    if (content.find("DATA;") == std::string::npos) {
        error = "The file has no DATA section";
        return ExitCode::CorruptedFile;
    }
    return 0;
}

ModelLoader::Result ModelLoader::load(const std::string &path, Protocol &protocol, double fromPercent,
                                      double toPercent)
{
    Result result;
    struct stat info
    {
    };
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        result.exitCode = ExitCode::InputNotFound;
        result.error = "Input file not found: " + path;
        return result;
    }
    std::string content;
    {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            result.exitCode = ExitCode::CorruptedFile;
            result.error = "Cannot read " + path + ": " + std::strerror(errno);
            return result;
        }
        content.resize(static_cast<std::size_t>(info.st_size));
        in.read(content.data(), info.st_size);
        if (in.gcount() != info.st_size) {
            result.exitCode = ExitCode::CorruptedFile;
            result.error = "Cannot read all of " + path;
            return result;
        }
    }
    protocol.progress(fromPercent + (toPercent - fromPercent) * 0.05);

    if ((result.exitCode = checkEnvelope(content, result.error)) != 0)
        return result;
    result.schema = schemaName(content);
    if (!isSupportedSchema(result.schema)) {
        result.exitCode = ExitCode::UnsupportedVersion;
        result.error = "IFC schema " + (result.schema.empty() ? std::string("(none)") : result.schema) +
                       " is not supported; this exporter reads IFC2X3 and IFC4";
        return result;
    }

    // loadModelFromFile sets a locale name that glibc does not know and then reads nothing, so the
    // text is handed over as a string.
    auto model = std::make_shared<BuildingModel>();
    ReaderListener listener{&protocol, fromPercent + (toPercent - fromPercent) * 0.05, toPercent, 0};
    ReaderSTEP reader;
    reader.setMessageCallBack(&listener, &ReaderListener::receive);
    model->setMessageCallBack(&listener, &ReaderListener::receive);
    try {
        reader.loadModelFromString(content, model);
    } catch (const std::exception &e) {
        result.exitCode = ExitCode::CorruptedFile;
        result.error = std::string("The file cannot be read: ") + e.what();
        return result;
    }
    model->unsetMessageCallBack();
    if (listener.outOfMemory)
        throw std::bad_alloc();
    content.clear();
    content.shrink_to_fit();
    protocol.progress(toPercent);

    if (model->getMapIfcEntities().empty()) {
        result.exitCode = ExitCode::ModelNull;
        result.error = "The file holds no IFC entities";
        return result;
    }
    if (!model->getIfcProject()) {
        result.exitCode = ExitCode::NoProject;
        result.error = "The file has no IfcProject";
        return result;
    }
    result.model = std::move(model);
    return result;
}
