#include "csvexport.h"

#include "closefile.h"

#include <charconv>
#include <cstring>

CsvExport::CsvExport(const std::string &path)
    : file(std::fopen(path.c_str(), "wb"))
{
}

CsvExport::~CsvExport()
{
    if (file)
        std::fclose(file);
}

std::string CsvExport::field(const CellValue &value)
{
    // Only text can hold a separator, a quote or a line break.
    std::string text = cellText(value);
    if (!std::holds_alternative<std::string>(value) || text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

void CsvExport::writeLine(const std::string &line)
{
    if (!file || failed)
        return;
    if (std::fwrite(line.data(), 1, line.size(), file) != line.size())
        failed = true;
}

void CsvExport::writeHeader(const std::vector<std::string> &columns)
{
    std::string line;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        if (c)
            line += ',';
        line += field(columns[c]);
    }
    writeLine(line + "\r\n");
}

void CsvExport::writeRow(const std::vector<CellValue> &cells)
{
    std::string line;
    for (std::size_t c = 0; c < cells.size(); ++c) {
        if (c)
            line += ',';
        line += field(cells[c]);
    }
    writeLine(line + "\r\n");
}

bool CsvExport::close(std::string &error)
{
    if (!file)
        return false;
    return closeResultFile(file, failed, error);
}
